#!/usr/bin/env bash
# Starts the application from a build folder: the window when there is a
# display to show it on, otherwise the demo on the command line.
set -euo pipefail
build_dir=${1:-build}
if [[ -z "${DISPLAY:-}" && -z "${WAYLAND_DISPLAY:-}" ]]; then
  echo "run: no display (neither DISPLAY nor WAYLAND_DISPLAY is set): running the command-line demo instead" >&2
  exec bash "$(dirname "$0")/demo.sh" "$build_dir"
fi
if [[ -x "$build_dir/bin/ferrydeck" ]]; then
  exec "$build_dir/bin/ferrydeck"
fi
exec "$build_dir/bin/ferrydeck-cli" --help

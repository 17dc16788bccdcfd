#!/usr/bin/env bash
# Starts the application from a build folder: the window when it is built,
# otherwise the command line's help.
set -euo pipefail
build_dir=${1:-build}
if [[ -x "$build_dir/bin/ferrydeck" ]]; then
  exec "$build_dir/bin/ferrydeck"
fi
exec "$build_dir/bin/ferrydeck-cli" --help

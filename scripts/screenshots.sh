#!/usr/bin/env bash
# Remakes docs/screenshots/*.png: the window offloads two generated cards on a
# virtual display (its own preferences and temporary folders, nothing of the
# user's is touched) and saves pictures of itself.
# Usage: scripts/screenshots.sh [BUILD_DIR] [OUT_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${1:-build}
out=${2:-docs/screenshots}
app="$build_dir/bin/ferrydeck"
[[ -x "$app" ]] || { echo "screenshots: build first (make build)" >&2; exit 2; }
command -v xvfb-run >/dev/null || { echo "screenshots: xvfb-run is missing (make deps)" >&2; exit 2; }
mkdir -p "$out"
xvfb-run -a -s "-screen 0 1600x1000x24" env QT_QPA_PLATFORM=xcb "$app" --screenshot "$out"

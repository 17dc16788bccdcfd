#!/usr/bin/env bash
# How long the window's GUI thread is ever kept busy during an offload of
# 20,000 small files in four jobs (offscreen), and how the 100,000-row file
# table fares. Usage: bench/gui.sh [BUILD_DIR] [FILES] [JOBS] [COPY_THREADS]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${1:-build}
bench="$build_dir/bin/bench-gui-block"
[[ -x "$bench" ]] || { echo "gui.sh: build first (make build)" >&2; exit 2; }
QT_QPA_PLATFORM=offscreen "$bench" "${2:-20000}" "${3:-4}" "${4:-10}"

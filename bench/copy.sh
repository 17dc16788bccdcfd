#!/usr/bin/env bash
# Times `ferrydeck-cli copy` against the tools people would use instead, in
# one run on one disk:
#   size verification     vs  cp -a, then sync (the same durability)
#   contents verification vs  cp -a, sync, then cmp of every file after its
#                             cached pages are dropped (dd iflag=nocache)
#   xxh64 checksums         vs  cp -a, then sync (and below contents)
# Usage: bench/copy.sh [BUILD_DIR] [BIG_FILES] [BIG_MB] [SMALL_FILES] [SMALL_KB]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${1:-build}
big=${2:-40}; big_mb=${3:-50}; small=${4:-2000}; small_kb=${5:-20}
cli="$build_dir/bin/ferrydeck-cli"
[[ -x "$cli" ]] || { echo "copy.sh: build first (make build)" >&2; exit 2; }

work=$(mktemp -d "${BENCH_DIR:-${TMPDIR:-/tmp}}/ferrydeck-copy-XXXXXX")
trap 'rm -rf "$work"' EXIT
card="$work/card"
mkdir -p "$card/CLIPS" "$card/DCIM"
for ((i = 0; i < big; i++)); do head -c $((big_mb * 1000000)) /dev/urandom > "$card/CLIPS/C$(printf %04d "$i").MOV"; done
for ((i = 0; i < small; i++)); do head -c $((small_kb * 1000)) /dev/urandom > "$card/DCIM/P$(printf %05d "$i").JPG"; done
sync

seconds() { local s e; s=$(date +%s.%N); "$@" >/dev/null; e=$(date +%s.%N); awk -v s="$s" -v e="$e" 'BEGIN{printf "%.3f", e-s}'; }
fresh() { rm -rf "$work/out"; mkdir -p "$work/out"; sync; }

cp_sync() { cp -a "$card" "$work/out/card" && sync; }
cp_sync_cmp() {
  cp_sync
  (cd "$card" && find . -type f -print0) | while IFS= read -r -d '' f; do
    dd if="$work/out/card/$f" iflag=nocache count=0 status=none
    cmp -- "$card/$f" "$work/out/card/$f"
  done
}

fresh; fd_size=$(seconds "$cli" copy "$card" "$work/out" --verify size --threads "${THREADS:-8}" --quiet)
fresh; cp_s=$(seconds cp_sync)
fresh; fd_contents=$(seconds "$cli" copy "$card" "$work/out" --verify contents --threads "${THREADS:-8}" --quiet)
fresh; cpcmp_s=$(seconds cp_sync_cmp)
fresh; fd_xxh64=$(seconds "$cli" copy "$card" "$work/out" --verify xxh64 --threads "${THREADS:-8}" --quiet)

echo "card: $big x ${big_mb} MB + $small x ${small_kb} KB"
printf '%-40s %8s s\n' "ferrydeck copy --verify size" "$fd_size" "cp -a + sync" "$cp_s" \
  "ferrydeck copy --verify contents" "$fd_contents" "cp -a + sync + cmp (cache dropped)" "$cpcmp_s" \
  "ferrydeck copy --verify xxh64" "$fd_xxh64"
awk -v a="$fd_size" -v b="$cp_s" 'BEGIN{printf "size verification:     %.2f x cp+sync      (target <= 1.05)\n", a/b}'
awk -v a="$fd_contents" -v b="$cpcmp_s" 'BEGIN{printf "contents verification: %.2f x cp+sync+cmp  (target <= 1.10)\n", a/b}'
awk -v a="$fd_xxh64" -v b="$cp_s" -v c="$fd_contents" \
  'BEGIN{printf "xxh64 checksums:       %.2f x cp+sync      (target <= 1.10; %.2f x contents, target < 1)\n", a/b, a/c}'

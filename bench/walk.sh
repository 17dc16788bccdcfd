#!/usr/bin/env bash
# Lists a generated tree of 100,000 files with Ferrydeck's source walk and
# with find, in one run, and prints the time ratio and the walk's peak memory.
# Usage: bench/walk.sh [BUILD_DIR] [FILES]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${1:-build}
files=${2:-100000}
walker="$build_dir/bin/bench-walk"
[[ -x "$walker" ]] || { echo "walk.sh: build first (make build)" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/ferrydeck-walk-XXXXXX")
trap 'rm -rf "$work"' EXIT
tree="$work/card"

# 100 folders of 10 sub-folders, each holding an equal share of small files.
python3 - "$tree" "$files" <<'PY'
import os, sys
root, total = sys.argv[1], int(sys.argv[2])
per = max(1, total // 1000)
made = 0
for a in range(100):
    for b in range(10):
        d = os.path.join(root, f"DCIM{a:03d}", f"CLIP{b:02d}")
        os.makedirs(d, exist_ok=True)
        for c in range(per):
            if made >= total:
                break
            with open(os.path.join(d, f"C{c:04d}.MOV"), "wb") as f:
                f.write(b"x" * (made % 4096))
            made += 1
PY

time_of() { # prints seconds of the best of 5 runs
  local best=999999
  for _ in 1 2 3 4 5; do
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null
    end=$(date +%s.%N)
    best=$(awk -v a="$best" -v b="$(awk -v s="$start" -v e="$end" 'BEGIN{print e-s}')" 'BEGIN{print (b<a)?b:a}')
  done
  echo "$best"
}

"$walker" "$tree" >/dev/null; find "$tree" -type f -printf '%s\n' >/dev/null # warm the cache for both
walk_s=$(time_of "$walker" "$tree")
find_s=$(time_of find "$tree" -type f -printf '%s\n')
peak_kb=$(/usr/bin/time -f '%M' "$walker" "$tree" 2>&1 >/dev/null | tail -n 1)

echo "files:        $("$walker" "$tree")"
printf 'walk:         %.3f s\nfind:         %.3f s\n' "$walk_s" "$find_s"
awk -v w="$walk_s" -v f="$find_s" 'BEGIN{printf "ratio:        %.2f x find (target <= 1.20)\n", w/f}'
awk -v k="$peak_kb" 'BEGIN{printf "peak memory:  %.1f MiB (target < 64)\n", k/1024}'

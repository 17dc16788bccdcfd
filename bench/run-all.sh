#!/usr/bin/env bash
# Times Ferrydeck's offload against the tools people would use instead, in one
# run on one disk, and writes the ratios (Ferrydeck ÷ peer) to bench/RESULTS.md.
#
#   size verification, two destinations   vs  two parallel `cp -a`, then `sync`
#                                         vs  `rsync -a --fsync` to each
#   content verification, two destinations vs `cp -a`, `sync`, cached pages of
#                                             the copies dropped, `cmp` of every file
#                                         vs  `rclone copy --checksum`, `sync`,
#                                             pages dropped, `rclone check`
#   listing the stills card               vs  `find -type f -printf '%s\n'`
#   peak memory of an offload of the stills card (/usr/bin/time)
#   the disk itself: dd of 2 GB with oflag=direct / iflag=direct
#
# Usage: bench/run-all.sh [BUILD_DIR]    (a Release build: make bench builds one)
# Environment:
#   BENCH_DIR=DIR    where the cards and copies go (default: $TMPDIR or /tmp);
#                    it needs about 35 GB free, on the disk to be measured
#   BENCH_QUICK=1    tiny cards and one run each: a smoke test of seconds
#   BENCH_RUNS=N     runs per figure, the median is kept (default 5: on a
#                    shared disk three rounds left a tool's median to chance)
#   BENCH_KEEP=1     keep the generated cards for the next run
#   BENCH_ONLY=RE    time only the groups whose name matches (size-video,
#                    size-stills, size-mixed, contents-video, contents-mixed,
#                    xxh64-video, xxh64-mixed,
#                    listing, memory, disk); the others are shown as "-"
#   THREADS=N        ferrydeck-cli --threads (default 4 per processor, as the app)
#   BENCH_RESULTS=F  where the table goes (default bench/RESULTS.md; quick runs
#                    write bench/out/RESULTS-quick.md)
set -euo pipefail

# ---------------------------------------------------------------------------
# One measured step, run by hyperfine through this same script so that every
# command line it times is a plain one without file names to quote.
if [[ "${1:-}" == "__step" ]]; then
  step=$2 card=$3
  src="$BENCH_WORK/cards/$card"
  out="$BENCH_WORK/out"
  a="$out/A" b="$out/B"
  # shellcheck disable=SC2317 # cmp_all, rclone_copy and rclone_check are called through both
  cmp_all() { # every file of the card against its copy below $1, one cmp each
    (cd "$src" && find . -type f -print0) | (cd "$1/$card" && xargs -0 -I{} cmp -s -- "$src/{}" "{}")
  }
  both() { # the command to A and to B at once; fails when either fails
    local first second
    "$@" "$a" &
    first=$!
    "$@" "$b" &
    second=$!
    wait "$first"
    wait "$second"
  }
  # shellcheck disable=SC2317
  rclone_copy() { rclone copy -q --checksum "$src" "$1/$card"; }
  # shellcheck disable=SC2317
  rclone_check() { rclone check -q "$src" "$1/$card"; }
  case "$step" in
    prepare) # fresh destinations; the card's pages are kept warm for every tool alike
      # ext4 without a journal skips inodes freed in the last minutes at every
      # allocation, so a run that follows the deletion of 40,000 files pays
      # for it, by seconds that vary from run to run. Copies of many files are
      # therefore set aside and deleted together between groups (trash).
      if [[ "$card" == VIDEO || ! -d "$out" ]]; then
        rm -rf "$out"
      else
        mkdir -p "$BENCH_WORK/trash"
        mv "$out" "$(mktemp -d "$BENCH_WORK/trash/XXXXXX")/"
      fi
      mkdir -p "$a" "$b"
      find "$src" -type f -print0 | xargs -0 cat >/dev/null
      sync
      ;;
    ferrydeck-size | ferrydeck-contents | ferrydeck-xxh64)
      "$BENCH_CLI" offload "$src" --dest "$a" --dest "$b" --verify "${step#ferrydeck-}" \
        --threads "$BENCH_THREADS" --yes --quiet --no-log
      ;;
    cp-sync)
      both cp -a "$src"
      sync
      ;;
    rsync)
      both rsync -a --fsync "$src"
      ;;
    cp-cmp)
      both cp -a "$src"
      sync
      "$BENCH_UNCACHE" "$a" "$b"
      both cmp_all
      ;;
    rclone)
      export RCLONE_CONFIG="$BENCH_WORK/rclone.conf"
      both rclone_copy
      sync
      "$BENCH_UNCACHE" "$a" "$b"
      both rclone_check
      ;;
    *) echo "run-all.sh: unknown step $step" >&2; exit 2 ;;
  esac
  exit 0
fi

cd "$(dirname "$0")/.."
build_dir=${1:-build-release}
cli="$PWD/$build_dir/bin/ferrydeck-cli"
walker="$PWD/$build_dir/bin/bench-walk"
uncache="$PWD/$build_dir/bin/bench-uncache"
for program in "$cli" "$walker" "$uncache"; do
  [[ -x "$program" ]] || { echo "run-all.sh: $program is missing: build first (make bench)" >&2; exit 2; }
done
bash scripts/install-deps.sh --bench
for tool in rsync rclone hyperfine cmp /usr/bin/time python3; do
  command -v "$tool" >/dev/null || { echo "run-all.sh: $tool is missing" >&2; exit 2; }
done

quick=${BENCH_QUICK:-0}
[[ "$quick" == 0 ]] || quick=1
if ((quick)); then
  runs=${BENCH_RUNS:-1}
  video=(4 5000000) stills=(300 30000) mixed=(2 5000000 150 30000 6) dd_mb=64
  results=${BENCH_RESULTS:-bench/out/RESULTS-quick.md}
else
  runs=${BENCH_RUNS:-5}
  # A video card: 40 clips of 50 MB; a stills card: 20,000 photos of 30 KB;
  # a mixed card: clips with XML sidecars, photos and thumbnails in folders.
  video=(40 50000000) stills=(20000 30000) mixed=(8 50000000 4000 30000 200)
  dd_mb=2000
  results=${BENCH_RESULTS:-bench/RESULTS.md}
fi
processors=$(nproc)
threads=${THREADS:-$((4 * processors))}

base=${BENCH_DIR:-${TMPDIR:-/tmp}}
# hyperfine splits its command lines itself: keep them free of quoting trouble.
[[ "$base" =~ ^[A-Za-z0-9_./+-]+$ ]] || { echo "run-all.sh: BENCH_DIR must be a plain path (letters, digits, _ . / + -)" >&2; exit 2; }
mkdir -p "$base"
work="$base/ferrydeck-bench"
mkdir -p "$work/cards" "$work/json"
cleanup() {
  rm -rf "$work/out" "$work/trash" "$work/json" "$work/dd.bin"
  [[ "${BENCH_KEEP:-0}" == 1 ]] || rm -rf "$work"
}
trap cleanup EXIT
export BENCH_WORK="$work" BENCH_CLI="$cli" BENCH_UNCACHE="$uncache" BENCH_THREADS="$threads"
self=$(printf %q "$PWD/bench/run-all.sh")
load_start=$(cut -d' ' -f1-3 /proc/loadavg)
started=$(date +%s)

# ---------------------------------------------------------------------------
# Cards: random bytes (nothing compresses or dedups), made once per shape.
make_card() { # name, then the shape's numbers
  local name=$1
  shift
  local stamp="$work/cards/.$name-$*"
  [[ -f "$stamp" ]] && return 0
  rm -rf "$work/cards/$name" "$work/cards/.$name-"*
  python3 - "$work/cards/$name" "$name" "$@" <<'PY'
import os, sys
root, kind, nums = sys.argv[1], sys.argv[2], [int(n) for n in sys.argv[3:]]
def put(path, size):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        left = size
        while left:
            chunk = min(left, 1 << 22)
            f.write(os.urandom(chunk))
            left -= chunk
if kind == "VIDEO":
    count, size = nums
    for i in range(count):
        put(f"{root}/PRIVATE/M4ROOT/CLIP/C{i + 1:04d}.MP4", size)
elif kind == "STILLS":
    count, size = nums
    for i in range(count):
        put(f"{root}/DCIM/{100 + i // 999}MSDCF/DSC{i % 9999 + 1:05d}.JPG", size)
else:
    clips, clip_size, photos, photo_size, sidecar_size = nums
    for i in range(clips):
        put(f"{root}/CONTENTS/CLIPS001/A{i + 1:03d}C001/A{i + 1:03d}C001.MXF", clip_size)
        put(f"{root}/CONTENTS/CLIPS001/A{i + 1:03d}C001/A{i + 1:03d}C001M01.XML", sidecar_size)
        put(f"{root}/CONTENTS/CLIPS001/A{i + 1:03d}C001/A{i + 1:03d}C001I01.PPM", 40000)
    for i in range(photos):
        put(f"{root}/DCIM/{100 + i // 500}EOS5D/IMG_{i % 9999 + 1:04d}.CR3", photo_size)
        if i % 10 == 0:
            put(f"{root}/DCIM/{100 + i // 500}EOS5D/IMG_{i % 9999 + 1:04d}.XMP", 4000)
PY
  touch "$stamp"
}
echo "run-all: making cards in $work/cards" >&2
make_card VIDEO "${video[@]}"
make_card STILLS "${stills[@]}"
make_card MIXED "${mixed[@]}"
sync

card_files() { find "$work/cards/$1" -type f | wc -l; }
card_mb() { du -sm --apparent-size "$work/cards/$1" | cut -f1; }

# ---------------------------------------------------------------------------
# Each group runs its tools in turn, one run each after a fresh `prepare`,
# $runs rounds over, and keeps each tool's median. Turn by turn rather than
# all runs of one tool and then the next: this disk's speed drifts from minute
# to minute by more than the tools differ, and a drift must hit every tool of
# a group alike.
median() { # command name, json files of the rounds
  python3 - "$@" <<'PY'
import json, statistics, sys
times = [t for f in sys.argv[2:] for r in json.load(open(f))["results"]
         if r["command"] == sys.argv[1] for t in r["times"]]
print(f"{statistics.median(times):.3f}")
PY
}
declare -A seconds
only=${BENCH_ONLY:-.}
wanted() { [[ "$1" =~ $only ]]; }
time_group() { # group name, card, steps...
  local group=$1 card=$2
  shift 2
  wanted "$group" || return 0
  local args=() rounds=()
  for step in "$@"; do args+=(-n "$step" "bash $self __step $step $card"); done
  echo "run-all: $group ($card)" >&2
  for ((round = 1; round <= runs; round++)); do
    hyperfine --style basic --runs 1 --shell bash \
      --prepare "bash $self __step prepare $card" \
      --export-json "$work/json/$group-$round.json" "${args[@]}" >&2
    rounds+=("$work/json/$group-$round.json")
  done
  for step in "$@"; do seconds[$group/$step]=$(median "$step" "${rounds[@]}"); done
}

# A failed offload must not pass for a fast one: check once that each kind ends
# with exit 0 and a complete copy before timing it.
check_offload() { # card, verification
  bash "$PWD/bench/run-all.sh" __step prepare "$1"
  bash "$PWD/bench/run-all.sh" __step "ferrydeck-$2" "$1" || { echo "run-all: ferrydeck-cli offload $1 --verify $2 failed" >&2; exit 1; }
  for d in A B; do
    # The hash list is the checksum run's proof, not part of the card.
    diff -r -x ascmhl "$work/cards/$1" "$work/out/$d/$1" >/dev/null || { echo "run-all: copy of $1 in $d differs" >&2; exit 1; }
  done
}
check_offload MIXED size
check_offload MIXED contents
check_offload MIXED xxh64

# The cards of many files first, while nothing is deleted (see prepare),
# then the video card, whose 40 files do not mind the deletions.
time_group size-stills STILLS ferrydeck-size cp-sync rsync
time_group size-mixed MIXED ferrydeck-size cp-sync rsync
time_group contents-mixed MIXED ferrydeck-contents cp-cmp rclone
time_group xxh64-mixed MIXED ferrydeck-xxh64
rm -rf "$work/out" "$work/trash"
time_group size-video VIDEO ferrydeck-size cp-sync rsync
time_group contents-video VIDEO ferrydeck-contents cp-cmp rclone
time_group xxh64-video VIDEO ferrydeck-xxh64 cp-sync

stills_dir="$work/cards/STILLS"
if wanted listing; then
  echo "run-all: listing (STILLS)" >&2
  hyperfine --style basic --warmup 3 --runs $((runs < 10 ? 10 : runs * 5)) -N \
    -n walk "$walker $stills_dir" -n find "find $stills_dir -type f -printf '%s\n'" \
    --export-json "$work/json/listing.json" >&2
  seconds[listing/walk]=$(median walk "$work/json/listing.json")
  seconds[listing/find]=$(median find "$work/json/listing.json")
fi

middle() { sort -n | sed -n "$(((runs + 1) / 2))p"; }
peak_kb=""
if wanted memory; then
  echo "run-all: peak memory (STILLS)" >&2
  peaks=()
  for ((i = 0; i < runs; i++)); do
    bash "$PWD/bench/run-all.sh" __step prepare STILLS
    peaks+=("$(/usr/bin/time -f '%M' "$cli" offload "$stills_dir" --dest "$work/out/A" --dest "$work/out/B" \
      --verify size --threads "$threads" --yes --quiet --no-log 2>&1 >/dev/null | tail -n 1)")
  done
  rm -rf "$work/out" "$work/trash"
  peak_kb=$(printf '%s\n' "${peaks[@]}" | middle)
fi

dd_write_mbs="" dd_read_mbs=""
if wanted disk; then
  echo "run-all: disk (dd, direct I/O)" >&2
  dd_write=() dd_read=()
  for ((i = 0; i < runs; i++)); do
    rm -f "$work/dd.bin"
    sync
    dd_write+=("$(dd if=/dev/zero of="$work/dd.bin" bs=1M count="$dd_mb" oflag=direct 2>&1 | awk '/copied/ {print $(NF-1) " " $NF}')")
    dd_read+=("$(dd if="$work/dd.bin" of=/dev/null bs=1M iflag=direct 2>&1 | awk '/copied/ {print $(NF-1) " " $NF}')")
  done
  rm -f "$work/dd.bin"
  to_mbs() { awk '{v = $1; if ($2 == "GB/s") v *= 1000; else if ($2 == "kB/s") v /= 1000; printf "%.0f\n", v}'; }
  dd_write_mbs=$(printf '%s\n' "${dd_write[@]}" | to_mbs | middle)
  dd_read_mbs=$(printf '%s\n' "${dd_read[@]}" | to_mbs | middle)
fi

load_end=$(cut -d' ' -f1-3 /proc/loadavg)
elapsed=$(($(date +%s) - started))

# ---------------------------------------------------------------------------
row() { # figure, ferrydeck seconds, peer name, peer seconds, target ("1.5" = at most, "<1" = faster)
  local figure=$1 ours=${2:--} peer=$3 theirs=${4:--} target=$5 r="-" verdict="not run"
  if [[ "$ours" != - && "$theirs" != - ]]; then
    r=$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.2f", a / b }')
    verdict=$(awk -v r="$r" -v a="$ours" -v b="$theirs" -v t="$target" 'BEGIN {
      ok = (t == "<1") ? (a < b) : (r <= t + 0); print ok ? "met" : "missed" }')
    ours="$ours s" theirs="$theirs s"
  fi
  [[ "$target" == "<1" ]] && target="< 1 (faster)" || target="≤ $target"
  printf '| %s | %s | %s | %s | %s | %s | %s |\n' "$figure" "$ours" "$peer" "$theirs" "$r" "$target" "$verdict"
}
s() { echo "${seconds[$1]:-}"; }
cpu=$(awk -F': ' '/model name/ {print $2; exit}' /proc/cpuinfo)
mem_gb=$(awk '/MemTotal/ {printf "%.0f", $2 / 1048576}' /proc/meminfo)
fs=$(findmnt -no FSTYPE -T "$work" 2>/dev/null || stat -f -c %T "$work")
table=$(
  echo "| Figure | Ferrydeck | Peer | Peer time | Ratio | Target | |"
  echo "|---|---|---|---|---|---|---|"
  for card in video stills mixed; do
    # Every card, stills included: an offload that checks its copies should cost
    # no more than the copies people make without checking.
    row "size, $card card" "$(s "size-$card/ferrydeck-size")" "2 × cp -a + sync" "$(s "size-$card/cp-sync")" "1.0"
    row "size, $card card" "$(s "size-$card/ferrydeck-size")" "2 × rsync -a --fsync" "$(s "size-$card/rsync")" "<1"
  done
  for card in video mixed; do
    row "contents, $card card" "$(s "contents-$card/ferrydeck-contents")" "2 × (cp -a + sync + cmp)" \
      "$(s "contents-$card/cp-cmp")" 1.1
    row "contents, $card card" "$(s "contents-$card/ferrydeck-contents")" "2 × (rclone copy + sync + check)" \
      "$(s "contents-$card/rclone")" "<1"
  done
  row "xxh64, video card" "$(s "xxh64-video/ferrydeck-xxh64")" "2 × cp -a + sync" "$(s "xxh64-video/cp-sync")" 1.1
  for card in video mixed; do
    row "xxh64, $card card" "$(s "xxh64-$card/ferrydeck-xxh64")" "Ferrydeck contents" \
      "$(s "contents-$card/ferrydeck-contents")" "<1"
  done
  row "listing, stills card" "$(s listing/walk)" "find -printf '%s\\n'" "$(s listing/find)" 1.2
)
cards=$(printf 'VIDEO %s files, %s MB; STILLS %s files, %s MB; MIXED %s files, %s MB' \
  "$(card_files VIDEO)" "$(card_mb VIDEO)" "$(card_files STILLS)" "$(card_mb STILLS)" \
  "$(card_files MIXED)" "$(card_mb MIXED)")
report=$(
  echo "# Benchmark results"
  echo
  echo "Written by \`bench/run-all.sh\`$( ((quick)) && echo ' (BENCH_QUICK: smoke sizes, not figures)'). Every time is the median of $runs run(s), the tools of a group taking turns;"
  echo "ratios are Ferrydeck ÷ peer, measured in the same run. Two destinations on the same disk as the"
  echo "card; ferrydeck-cli offload with --threads $threads; the cards' pages are warm for every tool."
  echo
  echo "- Date: $(date -u '+%Y-%m-%d %H:%M UTC'), $((elapsed / 60)) min $((elapsed % 60)) s"
  echo "- Machine: $processors × $cpu, $mem_gb GiB, $fs at $base ($(uname -r))"
  echo "- Load average (1, 5, 15 min): $load_start at the start, $load_end at the end"
  echo "- Cards: $cards"
  echo
  echo "$table"
  echo
  if [[ -n "$peak_kb" ]]; then
    awk -v k="$peak_kb" 'BEGIN { m = k / 1024
      printf "- Peak memory of the stills offload (two destinations): %.1f MiB (target < 100 MiB): %s\n", m, (m < 100) ? "met" : "missed" }'
  fi
  if [[ -n "$dd_write_mbs" ]]; then
    echo "- Disk, dd of $dd_mb MB with direct I/O: write $dd_write_mbs MB/s, read $dd_read_mbs MB/s"
    awk -v mb="$(card_mb VIDEO)" -v w="$dd_write_mbs" -v r="$dd_read_mbs" 'BEGIN {
      printf "- Floor for the video card on this disk: %.1f s to write two copies, %.1f s more to read them back\n", 2 * mb / w, 2 * mb / r }'
  fi
)
mkdir -p "$(dirname "$results")"
notes=""
[[ -f "$results" ]] && notes=$(sed -n '/^## Notes/,$p' "$results")
{
  echo "$report"
  if [[ -n "$notes" ]]; then
    echo
    echo "$notes"
  fi
} >"$results"
echo "$report"
echo "run-all: written to $results" >&2

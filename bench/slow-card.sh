#!/usr/bin/env bash
# An offload through a slow card reader: the card is an ext4 image on a loop
# device whose reads are throttled (100 MB/s by default, as an SD card behind a
# USB reader), and the measured commands run in a memory cgroup whose page
# cache is far smaller than the card, as with any 128–512 GB card. Caches are
# dropped before every run, so each run reads the card from its "medium".
#
#   the physical limit       one `tar` read of the whole card (piped, so that
#                            tar cannot skip the data for /dev/null)
#   what people do           two parallel `cp -a`, then `sync`
#   Ferrydeck                offload to two destinations with size and contents
#                            verification, and each checksum method it offers
#
# For each: the wall time (median of BENCH_RUNS, default 3), the bytes read
# from the card's device (the cgroup's I/O counters) and both as ratios to the
# limit (time) and to the card's size (card reads). The table goes to the
# "## Slow card reader" section of bench/RESULTS.md (replaced each run).
#
# Usage: bench/slow-card.sh [BUILD_DIR]   (needs root: a loop device, cgroups
#        and dropping caches; without root it says so and exits 0)
# Environment:
#   SLOW_CARD_BPS=N    read limit of the card in bytes/s (default 100000000)
#   SLOW_CARD_CACHE=N  page cache of the measured commands (default 256 MiB)
#   SLOW_CARD_MB=N     size of the card's clips in MB (default about 2,000)
#   BENCH_RUNS=N       runs per figure (default 3)
#   BENCH_DIR=DIR      where the image and the copies go (default $TMPDIR or /tmp)
#   BENCH_RESULTS=F    where the table goes (default bench/RESULTS.md)
#   BENCH_ONLY=REGEX   only the commands whose name matches (limit, cp, size, contents, xxh64);
#                      the limit is always measured, the ratios need it
set -euo pipefail

build=${1:-build-release}
cli="$build/bin/ferrydeck-cli"
if [[ $EUID -ne 0 ]]; then
  echo "slow-card.sh: needs root (loop device, cgroups, dropping caches); not run"
  exit 0
fi
[[ -x "$cli" ]] || { echo "slow-card.sh: $cli is missing (make bench builds it)" >&2; exit 2; }
cli=$(realpath "$cli")

rate=${SLOW_CARD_BPS:-100000000}
cache=${SLOW_CARD_CACHE:-268435456}
runs=${BENCH_RUNS:-3}
results=${BENCH_RESULTS:-bench/RESULTS.md}
base=${BENCH_DIR:-${TMPDIR:-/tmp}}
work="$base/ferrydeck-slow-card"
image="$work/card.img" mnt="$work/card" out="$work/out"
group=ferrydeck-slow-card.$$
loop="" cgroups=()

cleanup() {
  set +e
  mountpoint -q "$mnt" && umount "$mnt"
  [[ -n "$loop" ]] && losetup -d "$loop"
  for dir in "${cgroups[@]}"; do rmdir "$dir" 2>/dev/null; done
  rm -rf "$out"
}
trap cleanup EXIT

# --- the card: clips of 100–450 MB and a few hundred stills, in card folders
mkdir -p "$work" "$mnt"
clip_mb=(450 400 350 300 200 150 100)
if [[ -n "${SLOW_CARD_MB:-}" ]]; then
  scale=$((SLOW_CARD_MB * 100 / 1950))
  for i in "${!clip_mb[@]}"; do clip_mb[i]=$((clip_mb[i] * scale / 100 + 1)); done
fi
stills=300
total_mb=$(( $(IFS=+; echo "${clip_mb[*]}") + stills / 4 + 64 ))
if [[ ! -f "$image" || "$(cat "$image.layout" 2>/dev/null)" != "${clip_mb[*]} $stills" ]]; then
  echo "slow-card.sh: making the card image (${total_mb} MB)"
  rm -f "$image"
  truncate -s "$((total_mb * 1100 / 1000 + 64))M" "$image"
  mkfs.ext4 -q -F -L SLOWCARD "$image"
  mount -o loop "$image" "$mnt"
  mkdir -p "$mnt/PRIVATE/M4ROOT/CLIP" "$mnt/DCIM/100PHOTO"
  for i in "${!clip_mb[@]}"; do
    head -c "$((clip_mb[i] * 1000000))" /dev/urandom >"$mnt/PRIVATE/M4ROOT/CLIP/C000$((i + 1)).MP4"
  done
  for ((i = 1; i <= stills; i++)); do
    head -c 250000 /dev/urandom >"$mnt/DCIM/100PHOTO/DSC0$(printf %04d "$i").JPG"
  done
  umount "$mnt"
  echo "${clip_mb[*]} $stills" >"$image.layout"
fi

# Direct I/O on the loop device: the image file's own pages in the host's
# cache must not serve the card's reads.
loop=$(losetup --direct-io=on -f --show -r "$image")
mount -o ro "$loop" "$mnt"
device=$(cat "/sys/block/$(basename "$loop")/dev")
card_bytes=$(find "$mnt" -type f -printf '%s\n' | awk '{s += $1} END {print s}')

# --- the cgroups: the reader's limit and the small page cache
if [[ -d /sys/fs/cgroup/blkio && -d /sys/fs/cgroup/memory ]]; then
  blkio="/sys/fs/cgroup/blkio/$group" memory="/sys/fs/cgroup/memory/$group"
  mkdir "$blkio" "$memory"
  cgroups=("$blkio" "$memory")
  echo "$device $rate" >"$blkio/blkio.throttle.read_bps_device"
  echo "$cache" >"$memory/memory.limit_in_bytes"
  enter() { echo "$1" >"$blkio/cgroup.procs"; echo "$1" >"$memory/cgroup.procs"; }
  card_read() { awk -v d="$device" '$1 == d && $2 == "Read" {print $3; found = 1} END {if (!found) print 0}' \
    "$blkio/blkio.throttle.io_service_bytes"; }
elif [[ -f /sys/fs/cgroup/cgroup.controllers ]]; then
  unified="/sys/fs/cgroup/$group"
  echo "+io +memory" >/sys/fs/cgroup/cgroup.subtree_control
  mkdir "$unified"
  cgroups=("$unified")
  echo "$device rbps=$rate" >"$unified/io.max"
  echo "$cache" >"$unified/memory.max"
  enter() { echo "$1" >"$unified/cgroup.procs"; }
  card_read() { awk -v d="$device" '$1 == d {for (i = 2; i <= NF; i++) if ($i ~ /^rbytes=/) {sub("rbytes=", "", $i); print $i; found = 1}} END {if (!found) print 0}' \
    "$unified/io.stat"; }
else
  echo "slow-card.sh: no blkio/memory cgroups on this machine; not run"
  exit 0
fi

# --- the measured commands, each in the cgroups with fresh destinations
step() {
  case "$1" in
    limit) tar -cf - -C "$mnt" . | cat >/dev/null ;;
    cp)
      cp -a "$mnt" "$out/A/card" &
      local first=$!
      cp -a "$mnt" "$out/B/card" &
      wait "$first" && wait $!
      sync
      ;;
    *) "$cli" offload "$mnt" --dest "$out/A" --dest "$out/B" --verify "$1" --yes --quiet ;;
  esac
}

measure() { # name → "seconds bytes" of one run
  rm -rf "$out"
  mkdir -p "$out/A" "$out/B"
  sync
  echo 3 >/proc/sys/vm/drop_caches
  local before after start end
  before=$(card_read)
  start=$(date +%s.%N)
  (enter "$BASHPID" && step "$1") >/dev/null
  end=$(date +%s.%N)
  after=$(card_read)
  echo "$(awk -v a="$start" -v b="$end" 'BEGIN {print b - a}') $((after - before))"
}

median() { sort -g | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }

methods=(limit cp size contents)
# The field's usual checksum; the others differ only in the hash's own speed.
"$cli" offload --help 2>&1 | grep -q xxh64 && methods+=(xxh64)
only=${BENCH_ONLY:-.}
for i in "${!methods[@]}"; do
  [[ "${methods[i]}" == limit || "${methods[i]}" =~ $only ]] || unset 'methods[i]'
done
methods=("${methods[@]}")

declare -A seconds reads
for name in "${methods[@]}"; do
  times=() bytes=()
  for ((run = 1; run <= runs; run++)); do
    read -r s b < <(measure "$name")
    times+=("$s") bytes+=("$b")
    printf 'slow-card.sh: %-8s run %d: %6.2f s, %d MB read\n' "$name" "$run" "$s" $((b / 1000000))
  done
  seconds[$name]=$(printf '%s\n' "${times[@]}" | median)
  reads[$name]=$(printf '%s\n' "${bytes[@]}" | median)
done

# --- the table
label() {
  case "$1" in
    limit) echo "one tar read of the card (the limit)" ;;
    cp) echo "two parallel cp -a + sync" ;;
    *) echo "Ferrydeck, two destinations, --verify $1" ;;
  esac
}
section=$(
  echo "## Slow card reader"
  echo
  echo "\`bench/slow-card.sh\`, $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg);"
  echo "card: $((card_bytes / 1000000)) MB in $(find "$mnt" -type f | wc -l) files, reads limited to $((rate / 1000000)) MB/s,"
  echo "page cache of the commands $((cache / 1048576)) MiB, caches dropped before each run, medians of $runs."
  echo
  echo "| Command | Time (s) | × limit | Card read (MB) | Card reads |"
  echo "|---|---|---|---|---|"
  for name in "${methods[@]}"; do
    printf '| %s | %.2f | %.2f | %d | %.2f |\n' "$(label "$name")" "${seconds[$name]}" \
      "$(awk -v a="${seconds[$name]}" -v b="${seconds[limit]}" 'BEGIN {print a / b}')" $((${reads[$name]} / 1000000)) \
      "$(awk -v a="${reads[$name]}" -v b="$card_bytes" 'BEGIN {print a / b}')"
  done
  echo
)
echo "$section"
mkdir -p "$(dirname "$results")"
touch "$results"
# The section is replaced; everything else (the run-all table, the notes) stays in place.
awk -v section="$section" '
  /^## Slow card reader/ {skip = 1; next}
  /^## / && skip {skip = 0}
  /^## Notes/ && !done {print section; print ""; done = 1}
  !skip {print}
  END {if (!done) {print ""; print section}}
' "$results" >"$results.new"
mv "$results.new" "$results"

#!/usr/bin/env bash
# Times a resume against a full offload of a video card (xxh64, one
# destination): the offload is killed with SIGKILL once its journal holds
# 90 % of the card's clips, then `--resume` finishes it. The resume should
# take at most 15 % of the full offload's time. Medians of 3.
# Usage: bench/resume.sh [BUILD_DIR] [CLIPS] [CLIP_MB]
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${1:-build}
clips=${2:-20}; clip_mb=${3:-100}
cli="$build_dir/bin/ferrydeck-cli"
[[ -x "$cli" ]] || { echo "resume.sh: build first (make build)" >&2; exit 2; }

work=$(mktemp -d "${BENCH_DIR:-${TMPDIR:-/tmp}}/ferrydeck-resume-XXXXXX")
trap 'rm -rf "$work"' EXIT
card="$work/card"
mkdir -p "$card/CLIPS"
for ((i = 0; i < clips; i++)); do head -c $((clip_mb * 1000000)) /dev/urandom > "$card/CLIPS/C$(printf %04d "$i").MOV"; done
sync

now() { date +%s.%N; }
fresh() { rm -rf "$work/out"; mkdir -p "$work/out"; sync; echo 3 > /proc/sys/vm/drop_caches 2>/dev/null || true; }
args=(offload "$card" --dest "$work/out" --verify xxh64 --no-log --quiet)
median() { sort -n | awk '{v[NR]=$1} END{print v[int((NR+1)/2)]}'; }

want=$(( clips * 9 / 10 ))
full=(); resumed=(); kept=()
for run in 1 2 3; do
  fresh; s=$(now); "$cli" "${args[@]}" >/dev/null; e=$(now); full+=("$(awk -v s="$s" -v e="$e" 'BEGIN{print e-s}')")
  fresh
  # The program itself in the background, so that the kill reaches it. One
  # copy thread, so that clips end one at a time and the kill lands at 90 %
  # (eight threads end several clips within one poll); this run is not timed.
  "$cli" "${args[@]}" --threads 1 & pid=$!
  journal="$work/out/card/.ferrydeck-journal"
  while kill -0 "$pid" 2>/dev/null; do
    [[ -f "$journal" ]] && (( $(wc -l < "$journal") - 1 >= want )) && { kill -9 "$pid"; break; }
    sleep 0.02
  done
  wait "$pid" 2>/dev/null || true
  [[ -f "$journal" ]] || { echo "resume.sh: the offload ended before the kill; use more or larger clips" >&2; exit 1; }
  kept+=("$(( $(wc -l < "$journal") - 1 ))")
  sync; echo 3 > /proc/sys/vm/drop_caches 2>/dev/null || true
  s=$(now); "$cli" "${args[@]}" --resume >/dev/null; e=$(now); resumed+=("$(awk -v s="$s" -v e="$e" 'BEGIN{print e-s}')")
  [[ -z "$(ls -A "$work/out" | grep -v '^card$')" ]] || { echo "resume.sh: the resume made a new folder" >&2; exit 1; }
done
f=$(printf '%s\n' "${full[@]}" | median); r=$(printf '%s\n' "${resumed[@]}" | median)
echo "card: $clips x ${clip_mb} MB; killed with ${kept[*]} of $clips clips verified"
printf '%-44s %8.2f s\n' "full offload, xxh64" "$f" "resume after the kill, xxh64" "$r"
awk -v r="$r" -v f="$f" 'BEGIN{printf "resume: %.1f %% of a full offload (target <= 15 %%)\n", 100*r/f}'

#!/usr/bin/env bash
# Makes a small card-like source in a temporary folder, offloads it with
# xxh64 checksums to two temporary destinations under the card-name scheme,
# then re-checks one copy against the ASC MHL hash list the offload left in
# it, and tells where the copies and logs are.
set -euo pipefail
build_dir=${1:-build}
cli="$build_dir/bin/ferrydeck-cli"
demo=$(mktemp -d "${TMPDIR:-/tmp}/ferrydeck-demo-XXXXXX")
card="$demo/CARD_A001"
mkdir -p "$card/DCIM/100CANON" "$card/PRIVATE/M4ROOT/CLIP" "$demo/dest-1" "$demo/dest-2" "$demo/logs"
for i in 1 2 3 4 5; do head -c $((i * 200000)) /dev/urandom > "$card/PRIVATE/M4ROOT/CLIP/C000$i.MP4"; done
for i in $(seq 1 20); do head -c 30000 /dev/urandom > "$card/DCIM/100CANON/IMG_$(printf %04d "$i").JPG"; done
touch "$card/.DS_Store"

"$cli" offload "$card" --dest "$demo/dest-1" --dest "$demo/dest-2" --verify xxh64 --scheme card \
  --log-dir "$demo/logs"
copy=$(find "$demo/dest-1" -mindepth 2 -maxdepth 2 -type d -name CARD_A001 | head -1)
echo
echo "ferrydeck-cli verify $copy"
"$cli" verify "$copy"
echo
echo "source:       $card"
echo "copies:       $demo/dest-1 and $demo/dest-2"
echo "logs:         $demo/logs"
ls -1 "$demo/logs"

#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for SECONDS (default
# 600), starting from the seeds in fuzz/seeds. `make fuzz-smoke` runs it
# briefly in CI; `make fuzz` runs it longer on demand. A finding stops the
# run: the crashing input is left in BUILD_DIR/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
build=${FUZZ_BUILD_DIR:-build-fuzz}
jobs=${JOBS:-$(nproc)}

command -v clang++ >/dev/null || { echo "fuzz: clang++ is missing (scripts/install-deps.sh installs it)" >&2; exit 1; }
CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFUZZ=ON \
  -DFERRYDECK_BUILD_TESTS=OFF -DFERRYDECK_BUILD_BENCH=OFF >/dev/null

# target, starting corpus folder, dictionary
fuzzers=(
  "XmlUtilitiesFuzzer xml xml.dict"
  "MovieBoxReaderFuzzer movie movie.dict"
  "PreferencesFuzzer preferences preferences.dict"
  "MountTableFuzzer mountinfo mountinfo.dict"
)
targets=()
for entry in "${fuzzers[@]}"; do targets+=("${entry%% *}"); done
cmake --build "$build" -j "$jobs" --target "${targets[@]}"

mkdir -p "$build/findings"
for entry in "${fuzzers[@]}"; do
  read -r target seeds dict <<<"$entry"
  corpus="$build/corpus-$seeds"
  mkdir -p "$corpus"
  cp -n fuzz/seeds/"$seeds"/* "$corpus"/ 2>/dev/null || true
  echo "fuzz: $target for ${seconds}s"
  # -close_fd_mask=2 keeps the readers' own diagnostics out of the way;
  # libFuzzer and the sanitizers still report on a descriptor of their own.
  log="$build/$target.log"
  if ! "$build/bin/$target" -max_total_time="$seconds" -dict="fuzz/$dict" -close_fd_mask=2 \
      -artifact_prefix="$build/findings/$target-" -print_final_stats=1 "$corpus" >"$log" 2>&1; then
    tail -n 80 "$log" >&2
    echo "fuzz: $target found a problem; the input is in $build/findings" >&2
    exit 1
  fi
  grep -E '^(Done [0-9]+ runs|stat::peak_rss_mb)' "$log" | sed 's/^/  /' || true
done
echo "fuzz: all targets ran ${seconds}s without a finding"

#!/usr/bin/env bash
# Installs every Debian 12 package that building, testing and running Ferrydeck
# needs. Idempotent and quiet when everything is already present.
# --bench adds the tools `make bench` measures Ferrydeck against.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config
  # libraries
  libxml2-dev nlohmann-json3-dev libcli11-dev qt6-base-dev libcanberra-dev
  # checksums: xxHash and libcrypto (MD5, SHA-1, SHA-512 for C4)
  libxxhash-dev libssl-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev googletest
  # the window's screenshots under a virtual display, with a font to draw text
  xvfb xauth fonts-dejavu-core
  diffutils findutils coreutils time
  # independent checksums and the schema checker the hash-list tests compare against
  xxhash libxml2-utils
  # fuzzing (make fuzz, make fuzz-smoke): clang with the libFuzzer runtime;
  # make format-check: the layout every source keeps
  clang libclang-rt-14-dev clang-format
  # card rename tools and the test images they work on
  dosfstools exfatprogs e2fsprogs mtools
  # gdbus, to relabel cards through udisks2 (udisksctl comes with the
  # desktop's udisks2; without it eject falls back to umount)
  libglib2.0-bin
  # desktop notifications are tested on a private session bus (dbus-run-session, dbus-monitor)
  dbus-daemon dbus-bin
)
if [[ "${1:-}" == "--bench" ]]; then
  packages+=(rsync rclone hyperfine)
fi

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo_cmd=()
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "install-deps: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo_cmd=(sudo)
fi

echo "install-deps: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q >/dev/null
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" >/dev/null

#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need; does nothing when
# they are all present already.
set -euo pipefail

packages=(
  build-essential cmake make pkg-config ccache
  libgtest-dev libgmock-dev libbenchmark-dev
  libjpeg62-turbo-dev libpng-dev libtiff-dev zlib1g-dev
  libheif-dev libwebp-dev libgif-dev
  libheif-examples webp giflib-tools
  libcli11-dev nlohmann-json3-dev libexif-dev
  python3-dev pybind11-dev python3-numpy python3-pytest python3-dask python3-distributed
  clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"

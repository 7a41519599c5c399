#!/usr/bin/env bash
# Installs the build dependencies from Debian packages (when missing) and
# builds tevo into ./build. Run as root on a fresh Debian 12 machine.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build libgflags-dev libgoogle-glog-dev libboost-filesystem-dev
          zlib1g-dev libbz2-dev libhdf5-dev libgtest-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi

build_dir=${TEVO_BUILD_DIR:-build}
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
cmake --build "$build_dir"

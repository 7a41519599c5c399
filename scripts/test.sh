#!/usr/bin/env bash
# Builds tevo with its tests and runs the whole suite under CTest.
# Extra arguments go to CMake, e.g. -DTEVO_SANITIZE=ON.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh -DTEVO_BUILD_TESTS=ON "$@"
ctest --test-dir "${TEVO_BUILD_DIR:-build}" --output-on-failure -j2

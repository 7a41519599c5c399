#!/usr/bin/env bash
# Builds tevo with its tests and runs the whole suite under CTest.
# Extra arguments go to CMake, e.g. -DTEVO_SANITIZE=ON; TEVO_CTEST_ARGS goes to CTest.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh -DTEVO_BUILD_TESTS=ON "$@"
# shellcheck disable=SC2086
ctest --test-dir "${TEVO_BUILD_DIR:-build}" --output-on-failure -j2 ${TEVO_CTEST_ARGS:-}

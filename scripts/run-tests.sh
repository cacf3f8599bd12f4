#!/usr/bin/env bash
# Set up, build and run every test: the release build with warnings as
# errors, then the unit tests again under AddressSanitizer and UBSan.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)

cmake --preset ci >/dev/null
cmake --build --preset ci -j "$jobs"
ctest --preset ci -j "$jobs"
# ZMDB_PRUNE_BUILDS=1 (CI, whose disk is small) drops each build's tree once
# its tests have passed.
if [[ ${ZMDB_PRUNE_BUILDS:-0} == 1 ]]; then rm -rf build/ci; fi

cmake --preset asan >/dev/null
cmake --build --preset asan -j "$jobs"
ctest --preset asan -j "$jobs"
if [[ ${ZMDB_PRUNE_BUILDS:-0} == 1 ]]; then rm -rf build/asan; fi

#!/usr/bin/env bash
# Builds everything with warnings as errors and runs every test.
#   BUILD_DIR   build folder (default: build), relative to the repository root
#   arguments   extra CMake options, e.g. -DVELTRA_SANITIZE=ON
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/deps.sh

build=${BUILD_DIR:-build}
jobs=$(nproc)

# Without make, CMake needs to be told to write Ninja files for a new build folder.
if [[ ! -f $build/CMakeCache.txt && -z ${CMAKE_GENERATOR:-} ]] && ! command -v make >/dev/null; then
  export CMAKE_GENERATOR=Ninja
fi

cmake -S . -B "$build" -DVELTRA_WERROR=ON "$@"
cmake --build "$build" -j"$jobs"
# A test that hangs fails after five minutes instead of stalling the run; a build that
# runs no test at all is a broken build, not a green one.
ctest --test-dir "$build" --output-on-failure -j"$jobs" --timeout 300 --no-tests=error

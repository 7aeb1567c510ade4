#!/usr/bin/env bash
# The IK evaluation tests under ThreadSanitizer, in a build folder of their own
# (default build-tsan): the host's evaluation solves independent handles on
# several threads, and every shared write must be ordered.
#   BUILD_DIR   build folder (default: build-tsan), relative to the repository root
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=${BUILD_DIR:-build-tsan}
if [[ ! -f $build/CMakeCache.txt && -z ${CMAKE_GENERATOR:-} ]] && ! command -v make >/dev/null; then
  export CMAKE_GENERATOR=Ninja
fi
# GCC's sanitizer instrumentation brings false warnings of its own, so -Werror stays with the
# plain build.
cmake -S . -B "$build" -DVELTRA_TSAN=ON -DVELTRA_BENCH=OFF -DVELTRA_WERROR=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target test_anim test_node
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$PWD/scripts/tsan.supp ${TSAN_OPTIONS:-}"
"$build/bin/test_anim"
"$build/bin/test_node" --gtest_filter='ParallelEvaluation.*:Solve*:Reference*'

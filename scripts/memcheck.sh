#!/usr/bin/env bash
# Runs the test programs that load and unload plug-ins under valgrind's memcheck.
# Fails on any memory error, on any definite leak, and on heap blocks that are
# still held at exit and grow with the number of load and unload cycles.
#   BUILD_DIR   build folder (default: build-memcheck), relative to the repository
#               root; configured without the sanitizers, which valgrind cannot run with
#   arguments   extra CMake options
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if ! command -v valgrind >/dev/null; then
  echo "memcheck: valgrind is not installed (apt-get install valgrind)" >&2
  exit 2
fi

# An existing build folder (CI's plain build) is used as it is configured.
build=${BUILD_DIR:-build-memcheck}
if [[ -f $build/CMakeCache.txt ]]; then
  if grep -q '^VELTRA_SANITIZE:BOOL=ON' "$build/CMakeCache.txt"; then
    echo "memcheck: $build is a sanitized build, which valgrind cannot run" >&2
    exit 2
  fi
  if (($# > 0)); then
    cmake -S . -B "$build" "$@" >/dev/null
  fi
else
  if [[ -z ${CMAKE_GENERATOR:-} ]] && ! command -v make >/dev/null; then
    export CMAKE_GENERATOR=Ninja
  fi
  cmake -S . -B "$build" -DVELTRA_BENCH=OFF "$@" >/dev/null
fi
cmake --build "$build" -j"$(nproc)" --target test_plugin test_e2e test_hostsh

export VELTRA_SOURCE_DIR=$PWD
VELTRA_BINARY_DIR=$(cd "$build" && pwd)
export VELTRA_BINARY_DIR
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
status=0

# Runs one program under memcheck; its log goes to $logs/NAME.log.
memcheck() {
  local name=$1
  shift
  if ! valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite \
    --errors-for-leak-kinds=definite --error-exitcode=99 --child-silent-after-fork=yes \
    --log-file="$logs/$name.log" "$@" >"$logs/$name.out" 2>&1; then
    echo "memcheck: $name failed"
    tail -n 20 "$logs/$name.out"
    grep -A 30 -E 'Invalid|uninitialised|definitely lost in' "$logs/$name.log" | head -n 80 || true
    status=1
    return
  fi
  echo "memcheck: $name: $(grep -E 'ERROR SUMMARY' "$logs/$name.log" | sed 's/^==[0-9]*== //')"
}

# Blocks still held at exit by a run.
blocksAtExit() {
  sed -nE 's/.*in use at exit: [0-9,]+ bytes in ([0-9,]+) blocks.*/\1/p' "$logs/$1.log" | tr -d ,
}

bin=$VELTRA_BINARY_DIR/bin
memcheck plugin "$bin/test_plugin"
memcheck hostsh-plugins "$bin/test_hostsh" --gtest_filter='PluginManagerTest.*:MessagesTest.*'
# The long chain and the random rigs only repeat what the others load and solve.
memcheck e2e "$bin/test_e2e" --gtest_filter='DegenerateChain.*:-*LongChain*'

# Each test of test_plugin loads and unloads veltra.so once; four rounds must
# leave no more blocks behind than one.
memcheck plugin-once "$bin/test_plugin" --gtest_filter='PluginTest.*'
memcheck plugin-four "$bin/test_plugin" --gtest_filter='PluginTest.*' --gtest_repeat=4
once=$(blocksAtExit plugin-once)
four=$(blocksAtExit plugin-four)
if [[ -z $once || -z $four ]]; then
  echo "memcheck: no heap summary for the load and unload rounds"
  status=1
elif ((four > once)); then
  echo "memcheck: blocks held at exit grow with load and unload cycles: $once after one round, $four after four"
  status=1
else
  echo "memcheck: blocks held at exit after one and four load and unload rounds: $once, $four"
fi

if ((status == 0)); then
  echo "memcheck: passed"
fi
exit $status

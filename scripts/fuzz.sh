#!/usr/bin/env bash
# Fuzzes the command language and the scene loader with libFuzzer for a
# bounded time. Usage: scripts/fuzz.sh [SECONDS] (default 60).
# Builds with clang in build-fuzz/, the host libraries instrumented for
# coverage and AddressSanitizer; crashes land in build-fuzz/fuzz-findings/.
set -euo pipefail
seconds="${1:-60}"
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-fuzz"
if ! command -v clang++ >/dev/null; then
  echo "fuzz.sh: clang++ is needed (apt-get install clang)" >&2
  exit 2
fi
cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DVELTRA_FUZZ=ON -DVELTRA_BENCH=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link,address -fno-omit-frame-pointer" \
  -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address" >/dev/null
cmake --build "$build" -j2 --target hostsh_fuzz
mkdir -p "$build/fuzz-corpus" "$build/fuzz-findings"
cp -n "$root"/tests/fuzz/corpus/* "$build/fuzz-corpus/" 2>/dev/null || true
cd "$build"
ASAN_OPTIONS=detect_leaks=0 ./bin/hostsh_fuzz -max_total_time="$seconds" -max_len=4096 \
  -artifact_prefix="$build/fuzz-findings/" -print_final_stats=1 "$build/fuzz-corpus"

#!/usr/bin/env bash
# Instructions per call of one function under one benchmark of bench_node, exact and repeatable
# under callgrind (wall-clock times are not, on a shared machine):
#   scripts/instructions.sh 'BM_DoSolve/4$' 'veltra::doSolve()'
#   scripts/instructions.sh 'BM_Floor/10$' 'floorsolve::solve(floorsolve::Input const&)'
#   scripts/instructions.sh 'BM_KernelPart/4$' 'veltraKernel::solve(veltraKernelInput const&)'
# The first solve of each benchmark run, made through HIkSystem::solveHandle before the timed
# loop, creates the handle's stored data; it is left out, so the figure is a steady solve.
#   BUILD_DIR   build folder (default: build), relative to the repository root
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
if [[ $# -ne 2 ]]; then
  echo "usage: $0 BENCHMARK_FILTER FUNCTION" >&2
  exit 2
fi
build=${BUILD_DIR:-build}
out=$(mktemp)
trap 'rm -f "$out"' EXIT
valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect="$2" \
  "$build/bin/bench_node" --benchmark_filter="$1" --benchmark_min_time=0.2 >/dev/null 2>&1
callgrind_annotate --auto=no --tree=calling --inclusive=yes --threshold=100 "$out" |
  python3 -c '
import re, sys
function = sys.argv[1]
total = first = calls = 0
caller = ""
for line in sys.stdin:
    if "PROGRAM TOTALS" in line:
        total = int(line.split()[0].replace(",", ""))
    elif "*  " in line:
        caller = line
    m = re.match(r"\s*([\d,]+) .*>\s+\S*?\.(?:cpp|h):(.*) \(([\d,]+)x\)", line)
    if m and m.group(2).startswith(function):
        count = int(m.group(3).replace(",", ""))
        if "solveHandle" in caller or "runSolver" in caller:
            first += int(m.group(1).replace(",", ""))
        else:
            calls += count
if not calls:
    sys.exit("no calls of " + function)
print(f"{(total - first) / calls:.0f} instructions per call ({calls} calls)")
' "$2"

#!/usr/bin/env bash
# The main job: builds the host libraries, the plug-in and hostsh (nothing else), then has hostsh
# load the plug-in and solve an example scene.
#   scripts/run.sh [SCENE [MORE HOSTSH ARGUMENTS...]]   (default scene: examples/leg.hsa)
#   BUILD_DIR   build folder (default: build), relative to the repository root
set -euo pipefail

caller_dir=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scene=${1:-examples/leg.hsa}
[[ $# -gt 0 ]] && shift
# A scene path is taken from where the user stands, falling back to the repository root.
if [[ $scene != /* && -e $caller_dir/$scene ]]; then
  scene=$caller_dir/$scene
fi

bash scripts/deps.sh

build=${BUILD_DIR:-build}
if [[ ! -f $build/CMakeCache.txt && -z ${CMAKE_GENERATOR:-} ]] && ! command -v make >/dev/null; then
  export CMAKE_GENERATOR=Ninja
fi
# Same options as scripts/test.sh so that both share one build folder without rebuilding. Only
# what runs here is built (the host libraries, the plug-in, hostsh and what it links); the tests
# and benchmarks wait for scripts/test.sh.
cmake -S . -B "$build" -DVELTRA_WERROR=ON
cmake --build "$build" -j"$(nproc)" --target hostsh veltra

hostsh=$build/bin/hostsh
plugin=$build/lib/veltra.so
if [[ -x $hostsh && -f $plugin ]]; then
  if [[ ! -f $scene ]]; then
    echo "run.sh: no scene file '$scene'" >&2
    exit 1
  fi
  echo "run.sh: $hostsh $scene${*:+ $*}"
  exec "$hostsh" "$scene" "$@"
fi

echo
echo "Built so far in $build:"
shopt -s nullglob
built=("$build"/lib/* "$build"/bin/*)
if [[ ${#built[@]} -eq 0 ]]; then
  echo "  nothing yet"
else
  printf '  %s\n' "${built[@]}"
fi
[[ -x $hostsh ]] || echo "The application is not built yet: $hostsh is missing."
[[ -f $plugin ]] || echo "The plug-in is not built yet: $plugin is missing."

#!/usr/bin/env bash
# Makes sure this Debian machine has what the build needs: a C++17 compiler, CMake with CTest, a
# build tool, GoogleTest/GoogleMock, Google Benchmark, oneTBB, clang-format, valgrind, for hostpy
# Debian's Python 3 with its headers, pybind11, NumPy and pytest, for the viewport cpp-httplib,
# nlohmann-json, node, npm and chromium, tinygltf for the glTF export, libedit for the prompt,
# librsvg and cairo for PNG pictures, tmux for the prompt's test, and for the Debian package
# dpkg-dev and file. When everything is there it only looks (no network, well under a second).
# When something is missing it installs it as root, or otherwise names the missing Debian packages
# and fails.
set -euo pipefail

missing=()

# Tools count when they are on PATH, however they got there.
need_tool() {  # need_tool COMMAND DEBIAN_PACKAGE
  command -v "$1" >/dev/null 2>&1 || missing+=("$2")
}

# Libraries are found through their Debian packages: CMake finds them via the files these install.
need_pkg() {  # need_pkg DEBIAN_PACKAGE
  local status
  status=$(dpkg-query -W -f='${db:Status-Abbrev}' "$1" 2>/dev/null || true)
  [[ $status == ii* ]] || missing+=("$1")
}

if ! command -v dpkg-query >/dev/null 2>&1; then
  echo "deps.sh: this is not a Debian-based machine; install by hand: g++ (C++17), cmake >= 3.20," \
    "make or ninja, GoogleTest and GoogleMock, Google Benchmark, oneTBB, clang-format, valgrind," \
    "Python 3 with headers, pybind11, NumPy, pytest" >&2
  exit 1
fi

need_tool g++ g++
need_tool cmake cmake
need_tool ctest cmake
if ! command -v make >/dev/null 2>&1 && ! command -v ninja >/dev/null 2>&1; then
  missing+=(make)
fi
need_tool clang-format clang-format
need_tool valgrind valgrind
need_pkg libgtest-dev
need_pkg libgmock-dev
need_pkg libbenchmark-dev
# oneTBB: the IK system solves independent handles on a thread pool.
need_pkg libtbb-dev
# hostpy is built and tested with Debian's /usr/bin/python3, whatever python3 comes first on PATH.
need_pkg python3-dev
need_pkg pybind11-dev
need_pkg python3-numpy
need_pkg python3-pytest
# file -export to glTF: tinygltf writes the files (header-only: host/anim/TinyGltf.cpp compiles
# it); its JSON is nlohmann-json, below.
need_pkg libtinygltf-dev
# The live viewport (hostsh --serve): its HTTP server and JSON libraries, node and
# npm for three.js and the browser test, and the browser the test drives.
need_pkg libcpp-httplib-dev
need_pkg nlohmann-json3-dev
need_tool node nodejs
need_tool npm npm
need_tool chromium chromium
# cpack -G DEB works out the package's dependencies with dpkg-shlibdeps, finding the
# programs and libraries with file.
need_tool dpkg-shlibdeps dpkg-dev
need_tool file file
# hostsh's prompt: line editing, history and completion through libedit's readline interface.
need_pkg libedit-dev
# snapshot -o FILE.png renders the SVG drawing with librsvg onto a cairo surface.
need_pkg librsvg2-dev
need_pkg libcairo2-dev
# The prompt test drives an interactive hostsh in a tmux pane.
need_tool tmux tmux

if [[ ${#missing[@]} -eq 0 ]]; then
  exit 0
fi

# One name per package even when two checks point at it (cmake and ctest).
mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)

if [[ $(id -u) -ne 0 ]]; then
  echo "deps.sh: missing Debian packages: ${missing[*]}" >&2
  echo "deps.sh: as root run: apt-get update && apt-get install -y ${missing[*]}" >&2
  exit 1
fi

echo "deps.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
apt-get install -y -q --no-install-recommends "${missing[@]}"

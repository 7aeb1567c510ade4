#!/usr/bin/env bash
# The installed tree as a user gets it: cmake --install into a temporary prefix, the tree moved
# elsewhere, then from a third folder: hostsh solving a chain with the plug-in from the tree's
# own plug-in folder, hostpy from the moved tree (plain python3 and hostsh's interpreter), the
# plug-in template built against the moved SDK with its own CMake, installed into the tree and
# run, and the contents of the Debian package.
#   install_test.sh BUILD_DIR PYTHON
set -euo pipefail
build=$(cd "$1" && pwd)
python=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
unset HOST_PLUGIN_PATH PYTHONPATH
failures=0
fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

cmake --install "$build" --prefix "$tmp/staged" >/dev/null
mv "$tmp/staged" "$tmp/moved"
tree=$tmp/moved
mkdir "$tmp/elsewhere"
cd "$tmp/elsewhere"

# hostsh from the moved tree, its loader's log kept: every host library and plug-in it loads must
# come from the tree, and nothing may be looked for in the build folder.
hostsh() {
  rm -f "$tmp"/ld.*
  LD_DEBUG=libs LD_DEBUG_OUTPUT=$tmp/ld "$tree/bin/hostsh" "$@"
}
loaded_from_tree() {  # FILE...: each was loaded from the moved tree, nothing from the build
  local file
  for file in "$@"; do
    # The loader names a file by the run path that found it (bin/../lib/...).
    # (grep reads it all: with -q, sed could die of a closed pipe and fail the pipeline.)
    sed 's#/[^/]*/\.\./#/#g' "$tmp"/ld.* | grep "calling init: $tree/$file\$" >/dev/null ||
      fail "$file was not loaded from the moved tree"
  done
  if grep -qF "$build" "$tmp"/ld.*; then
    fail "the installed hostsh looked into the build folder: $(grep -F "$build" "$tmp"/ld.* | head -n 1)"
  fi
}
near() {  # near GOT WANT: the same numbers, within the solver's tolerance
  awk -v got="$1" -v want="$2" 'BEGIN {
    n = split(got, g, " "); if (n != split(want, w, " ")) exit 1
    for (i = 1; i <= n; ++i) { d = g[i] - w[i]; if (d > 1e-4 || d < -1e-4) exit 1 }
  }'
}

chain="createNode veltra -n veltra; joint -p 0 0 0; joint -p 1 1 0; joint -p 2 0 0; joint -p 3 1 0
ikHandle -sj joint1 -ee joint4 -sol veltra; move 2.5 0.5 0 ikHandle1"
if out=$(hostsh -c "loadPlugin veltra; $chain; xform -q -ws -t effector1"); then
  near "$(tail -n 1 <<<"$out")" "2.5 0.5 0" || fail "the chain's end is not on the handle: $out"
  loaded_from_tree lib/libHostFoundation.so lib/libHostCore.so lib/libHostAnim.so \
    lib/host/plugins/veltra.so
else
  fail "hostsh from the moved tree could not solve the chain: $out"
fi

# hostpy: plain python3 through the tree's site folder (its path file leads to the package), and
# hostsh's own interpreter, which finds the package beside itself.
site=$tree/lib/python3/dist-packages
out=$("$python" -c "import site; site.addsitedir('$site'); import hostpy; from hostpy import cmds
print(hostpy.__file__); cmds.loadPlugin('veltra'); cmds.createNode('veltra', n='veltra')
for p in [(0, 0, 0), (1, 1, 0), (2, 0, 0)]: cmds.joint(p=p)
cmds.ikHandle(sj='joint1', ee='joint3', sol='veltra'); cmds.move(1.5, 0.5, 0, 'ikHandle1')
print(*cmds.xform('effector1', q=True, ws=True, t=True))" 2>&1) || fail "python3 with the moved tree's hostpy: $out"
[[ $(head -n 1 <<<"$out") == "$tree"/lib/python3.*/dist-packages/hostpy/__init__.py ]] ||
  fail "python3 imported hostpy from elsewhere: $out"
near "$(tail -n 1 <<<"$out")" "1.5 0.5 0" || fail "hostpy's chain did not reach its handle: $out"
out=$(hostsh -c 'python "import hostpy; print(hostpy.__file__)"' 2>&1) || fail "hostsh's python: $out"
[[ $out == "$tree"/lib/python3.*/dist-packages/hostpy/__init__.py ]] ||
  fail "hostsh's interpreter imported hostpy from elsewhere: $out"

# The plug-in template, built with its own CMake against the moved SDK only and installed into
# the tree's plug-in folder, where hostsh finds it by name.
template=$tree/share/veltra/examples/plugin-template
if ! log=$(cmake -S "$template" -B "$tmp/template" -DCMAKE_PREFIX_PATH="$tree" \
  -DCMAKE_BUILD_TYPE=Release 2>&1 && cmake --build "$tmp/template" 2>&1 &&
  cmake --install "$tmp/template" 2>&1); then
  fail "the plug-in template did not build against the moved SDK: $log"
elif out=$(hostsh -c "loadPlugin templatePlugin; createNode templateNote -n note1
ls -type templateNote; loadPlugin veltra; $chain; templateDistance joint1 ikHandle1"); then
  near "$(tail -n 1 <<<"$out")" "2.5495097567963922" || fail "templateDistance answered: $out"
  grep -qx note1 <<<"$out" || fail "no templateNote node: $out"
  loaded_from_tree lib/host/plugins/templatePlugin.so
else
  fail "the template plug-in did not load and run in the moved hostsh: $out"
fi
if err=$(hostsh -c "loadPlugin templatePlugin; templateDistance nowhere joint1" 2>&1); then
  fail "templateDistance accepted a missing node: $err"
fi
grep -q "'nowhere' is not a DAG node" <<<"$err" || fail "templateDistance's error: $err"
if grep -rlF -e "$build" -e "$(dirname "$template")" "$tree/lib/cmake" >/dev/null; then
  fail "the CMake package names folders outside the installed tree"
fi

# The Debian package holds the same tree under /usr. Only its contents are checked, so the
# dependencies are not worked out (dpkg-shlibdeps takes most of cpack's time).
if log=$(cpack -G DEB -D CPACK_DEBIAN_PACKAGE_SHLIBDEPS=OFF --config "$build/CPackConfig.cmake" \
  -B "$tmp/package" 2>&1); then
  contents=$(dpkg-deb -c "$tmp"/package/*.deb)
  for file in bin/hostsh lib/libHostCore.so lib/host/plugins/veltra.so include/host/HFnPlugin.h \
    lib/cmake/HostSDK/HostSDKConfig.cmake lib/cmake/HostSDK/HostSDKConfigVersion.cmake \
    lib/python3/dist-packages/hostpy.pth share/veltra/examples/plugin-template/CMakeLists.txt; do
    grep -q " \./usr/$file\$" <<<"$contents" || fail "the Debian package has no /usr/$file"
  done
else
  fail "cpack -G DEB: $log"
fi

if [[ $failures -gt 0 ]]; then
  echo "install test: $failures failed" >&2
  exit 1
fi
echo "install test: the moved tree runs, imports, builds the template and packages"

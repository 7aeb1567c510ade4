#!/usr/bin/env python3
"""Breaks the code on purpose, one plausible fault at a time, and checks that the tests notice.

Each mutation below replaces one piece of code text (its anchor) in one file. For each, the
script applies it, rebuilds the build folder incrementally, runs ctest (stopping at the first
failed test) and puts the file back. It prints a table: mutation, file, and the test that caught
it, or "MISSED". A mutation whose anchor is not found exactly once is skipped and reported, so
the list survives edits elsewhere in the files.

    python3 scripts/mutate.py                       all mutations, build folder "build"
    python3 scripts/mutate.py --build DIR           another build folder (configured already)
    python3 scripts/mutate.py --only NAME...        some mutations
    python3 scripts/mutate.py --list                which anchors are found, without building
    python3 scripts/mutate.py --out now.tsv --compare before.tsv
                                                    save the results; fail if a mutation caught
                                                    in before.tsv is not caught now

It takes long (a rebuild and a test run per mutation), so it is not part of the test suite. The
build folder should not be in use meanwhile; configuring it with -DVELTRA_BENCH=OFF saves relinking
the benchmarks. The sources are always put back, also on Ctrl-C.
"""

import argparse
import os
import re
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# (name, file, anchor, replacement). Anchors are whole statements, so that they stay unique.
MUTATIONS = [
    # The command language and its quoting.
    ("unescape-quote-dropped", "host/core/commands/CommandLanguage.cpp",
     "if (e == '\"' || e == '\\\\') {", "if (e == '\\\\') {"),
    ("escape-backslash-dropped", "host/core/commands/CommandLanguage.cpp",
     "if (c == '\"' || c == '\\\\') {", "if (c == '\"') {"),
    ("newline-written-raw", "host/core/commands/CommandLanguage.cpp",
     'out += "\\\\n";', 'out += "\\n";'),
    ("backslash-word-unquoted", "host/core/commands/CommandLanguage.cpp",
     "if (endsWord(c) || c == '\\\\' || c == '\\0')", "if (endsWord(c) || c == '\\0')"),
    ("unsigned-accepts-negative", "host/core/commands/Syntax.cpp",
     "return word.isInt() && word.asInt() >= 0;", "return word.isInt();"),
    # Matrix caches and their invalidation.
    ("world-cache-children-kept", "host/core/graph/Scene.cpp",
     "  for (Node* child : node->children)\n    invalidateWorld(child);",
     "  for (Node* child : node->children)\n    (void)child;"),
    ("reparent-cache-kept", "host/core/graph/Scene.cpp",
     "  node->worldValid = true;  // force the walk below to reach the whole subtree\n", ""),
    ("write-keeps-matrix-cache", "host/core/graph/Plug.cpp",
     "  if (attribute->affectsMatrix)\n    invalidateMatrices(node);",
     "  if (false)\n    invalidateMatrices(node);"),
    ("connection-keeps-matrix-cache", "host/core/graph/Plug.cpp",
     "if (matrix || !target->children.empty())", "if (matrix && !target->children.empty())"),
    ("world-product-order", "host/core/graph/FnTransform.cpp",
     "node->world = localMatrix(node) * worldMatrix(node->parent);",
     "node->world = worldMatrix(node->parent) * localMatrix(node);"),
    # Scene graph rules.
    ("parent-lock-ignored", "host/core/graph/Plug.cpp",
     "    if (!ownOnly)\n      locked = locked || own;",
     "    if (!ownOnly)\n      locked = locked && own;"),
    ("default-names-from-zero", "host/core/graph/Scene.cpp",
     "unsigned long start = 1;", "unsigned long start = 0;"),
    ("modifier-undo-oldest-first", "host/core/graph/Modifier.cpp",
     "HStatus status = fOps[fDone - 1]->undoIt();",
     "HStatus status = fOps[fOps.size() - fDone]->undoIt();"),
    ("ramp-linear-sign", "host/core/graph/Ramp.cpp",
     "    default:\n      value = a.value + (b.value - a.value) * t;",
     "    default:\n      value = a.value - (b.value - a.value) * t;"),
    ("dag-pop-one-short", "host/core/graph/DagPath.cpp",
     "for (unsigned i = 0; i < count; ++i) {\n    target = target->parent;",
     "for (unsigned i = 0; i + 1 < count; ++i) {\n    target = target->parent;"),
    ("dag-length-one-short", "host/core/graph/DagPath.cpp",
     "for (Node* n = node; n; n = n->parent)\n    ++count;",
     "for (Node* n = node; n && n->parent; n = n->parent)\n    ++count;"),
    ("remove-unknown-callback-succeeds", "host/core/messages/Messages.cpp",
     "if (callbacks().erase(id) == 0)", "if (callbacks().erase(id) > 1)"),
    # Undo queue and numbers as text.
    ("undo-length-off-by-one", "host/core/commands/CommandEngine.cpp",
     "while (queue.done.size() + queue.undone.size() > queue.length) {",
     "while (queue.done.size() + queue.undone.size() > queue.length + 1) {"),
    ("undo-trim-drops-redo-first", "host/core/commands/CommandEngine.cpp",
     "queue.done.empty() ? queue.undone : queue.done;", "queue.undone.empty() ? queue.done : queue.undone;"),
    ("degrees-short-text", "host/core/commands/BuiltinSupport.cpp",
     "for (int fraction = 0; fraction <= 25; ++fraction) {",
     "for (int fraction = 0; fraction <= 3; ++fraction) {"),
    ("degrees-product-order", "host/core/commands/BuiltinSupport.cpp",
     "return static_cast<double>(degrees * kPi / 180.0L);",
     "return static_cast<double>(degrees / 180.0L * kPi);"),
    # Scene files.
    ("default-element-not-saved", "host/core/files/SceneWriter.cpp",
     "if (inElement || !sameBits(value, a->defaultValue))", "if (!sameBits(value, a->defaultValue))"),
    ("default-compound-element-not-saved", "host/core/files/SceneWriter.cpp",
     "bool differs = inElement;", "bool differs = false;"),
    ("failed-open-restores-in-wrong-order", "host/core/files/FileIO.cpp",
     "for (auto it = fDetached.rbegin(); it != fDetached.rend(); ++it) {",
     "for (auto it = fDetached.begin(); it != fDetached.end(); ++it) {"),
    ("failed-open-loses-selection", "host/core/files/FileIO.cpp",
     "    fDetached.clear();\n    HGlobal::setActiveSelectionList(fSelection);",
     "    fDetached.clear();"),
    ("open-keeps-undo-queue", "host/core/files/FileIO.cpp",
     "  gOpening = false;\n  clearUndoQueue();\n  previous.discard();",
     "  gOpening = false;\n  previous.discard();"),
    # Plug-ins and built-in commands.
    ("api-version-prefix-only", "host/core/plugins/PluginManager.cpp",
     "std::strncmp(version, H_API_VERSION, sizeof(H_API_VERSION)) == 0",
     "std::strncmp(version, H_API_VERSION, 2) == 0"),
    ("relative-move-sign", "host/core/builtins/BuiltinTransforms.cpp",
     "return current + step;", "return current - step;"),
    ("object-space-move-unrotated", "host/core/builtins/BuiltinTransforms.cpp",
     "step = objectSpace ? step * tm.asRotateMatrix() : step * parentWorldInverse(node);",
     "step = objectSpace ? step : step * parentWorldInverse(node);"),
    # IK evaluation and pictures.
    ("chain-rotation-dirties-handle", "host/anim/IkSystem.cpp",
     "if (chain && !rotation) {", "if (chain) {"),
    ("transform-above-not-dirtying", "host/anim/IkSystem.cpp",
     "bool matrix = attribute && attribute->affectsMatrix;", "bool matrix = false;"),
    ("lower-chains-solved-first", "host/anim/IkSystem.cpp",
     "return a.first < b.first;", "return a.first > b.first;"),
    ("svg-less-than-unescaped", "host/anim/SnapshotSvg.cpp",
     '      case \'<\':\n        out += "&lt;";\n        break;\n', ""),
    # Foundation.
    ("rotation-component-order", "host/foundation/HTransformationMatrix.cpp",
     "return (fRotateOrientation * fRotation * fJointOrientation).asMatrix();",
     "return (fRotation * fRotateOrientation * fJointOrientation).asMatrix();"),
    ("euler-closest-truncates", "host/foundation/HEulerRotation.cpp",
     "if (std::fabs(x - whole) >= 0.5)", "if (std::fabs(x - whole) >= 1.0)"),
    # The solver.
    ("twist-sign", "kernel/veltraKernelTwist.cpp",
     "return HQuaternion(input.twist, solved.rootToEndAxis);",
     "return HQuaternion(-input.twist, solved.rootToEndAxis);"),
    ("bisection-tolerance-loose", "kernel/veltraKernelRadial.cpp",
     "if (std::fabs(error) < 1e-05) {", "if (std::fabs(error) < 1e-02) {"),
]


def run(cmd, timeout=None):
    return subprocess.run(cmd, cwd=ROOT, capture_output=True, text=True, timeout=timeout)


def build(build_dir):
    return run(["cmake", "--build", build_dir, "-j2"]).returncode == 0


def failed_tests(output):
    names = re.findall(r"^\s*\d+ - (\S+) \(", output, re.M)
    return names or re.findall(r"Test\s+#\d+: (\S+) \.+\*+", output)


def test(build_dir):
    result = run(["ctest", "--test-dir", build_dir, "-j2", "--stop-on-failure", "--timeout", "120"])
    if result.returncode == 0:
        return None
    names = failed_tests(result.stdout)
    return names[0] if names else "ctest failed"


def try_mutation(build_dir, name, path, anchor, replacement):
    full = os.path.join(ROOT, path)
    if not os.path.exists(full):
        return "SKIPPED (no file)"
    with open(full) as f:
        original = f.read()
    count = original.count(anchor)
    if count != 1:
        return "SKIPPED (anchor found %d times)" % count
    try:
        with open(full, "w") as f:
            f.write(original.replace(anchor, replacement))
        if not build(build_dir):
            return "SKIPPED (does not build)"
        caught = test(build_dir)
        return caught if caught else "MISSED"
    finally:
        with open(full, "w") as f:
            f.write(original)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", default=os.environ.get("BUILD_DIR", "build"))
    parser.add_argument("--only", nargs="*")
    parser.add_argument("--out", help="write the results as tab-separated lines")
    parser.add_argument("--compare", help="results of an earlier run to compare with")
    parser.add_argument("--list", action="store_true", help="only say which anchors are found")
    args = parser.parse_args()

    chosen = [m for m in MUTATIONS if not args.only or m[0] in args.only]
    if args.list:
        for name, path, anchor, _ in chosen:
            full = os.path.join(ROOT, path)
            count = open(full).read().count(anchor) if os.path.exists(full) else 0
            print("%-40s %-44s %s" % (name, path, "ok" if count == 1 else "found %d times" % count))
        return
    if not build(args.build) or test(args.build) is not None:
        sys.exit("mutate.py: the unchanged code must build and pass its tests first")

    results = []
    width = max(len(m[0]) for m in chosen)
    print("| %-*s | %-42s | caught by |" % (width, "mutation", "file"))
    print("| %s | %s | --- |" % ("-" * width, "-" * 42))
    for name, path, anchor, replacement in chosen:
        started = time.time()
        outcome = try_mutation(args.build, name, path, anchor, replacement)
        results.append((name, path, outcome))
        print("| %-*s | %-42s | %s |" % (width, name, path, outcome), flush=True)
        sys.stderr.write("  (%s: %.0f s)\n" % (name, time.time() - started))
    build(args.build)  # leave the build matching the sources again

    caught = [r for r in results if not r[2].startswith(("MISSED", "SKIPPED"))]
    missed = [r for r in results if r[2] == "MISSED"]
    print("\n%d mutations: %d caught, %d missed, %d skipped"
          % (len(results), len(caught), len(missed), len(results) - len(caught) - len(missed)))
    if args.out:
        with open(args.out, "w") as f:
            for row in results:
                f.write("\t".join(row) + "\n")
    if args.compare:
        with open(args.compare) as f:
            before = {l.split("\t")[0]: l.rstrip("\n").split("\t")[2] for l in f if l.strip()}
        now = {r[0]: r[2] for r in results}
        lost = [n for n, o in before.items()
                if n in now and not o.startswith(("MISSED", "SKIPPED")) and now[n] == "MISSED"]
        for n in lost:
            print("caught before, missed now: " + n)
        if lost:
            sys.exit(1)
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()

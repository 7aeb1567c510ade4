// Cost of the solver node's solve: a full doSolve (inputs gathered through
// plugs, stored data read, kernel, both passes applied), the kernel part alone
// over the same inputs, and one IK evaluation of a scene with 1000 handles.

#include <benchmark/benchmark.h>

#include <HDagPath.h>
#include <HDagPathArray.h>
#include <HEulerRotation.h>
#include <HFileIO.h>
#include <HFnDependencyNode.h>
#include <HFnIkHandle.h>
#include <HFnIkJoint.h>
#include <HFnPlugin.h>
#include <HFnTransform.h>
#include <HIkHandleGroup.h>
#include <HIkSystem.h>
#include <HPluginManager.h>
#include <HSpace.h>
#include <veltra.h>
#include <veltraData.h>
#include <veltraKernel.h>

#include <cmath>
#include <vector>

#include "floor_solve.h"

namespace {

HStatus initBenchPlugin(HObject plugin) {
  HFnPlugin fnPlugin(plugin, "Quarrow", "1.0", "Any");
  return fnPlugin.registerNode("veltra", veltra::id, veltra::creator, veltra::initialize,
                               HPxNode::kIkSolverNode);
}

HStatus uninitBenchPlugin(HObject plugin) {
  HFnPlugin fnPlugin(plugin);
  return fnPlugin.deregisterNode(veltra::id);
}

void ensureRegistered() {
  if (!HPluginManager::isLoaded("veltraBench")) {
    HPluginManager::loadStatic("veltraBench", initBenchPlugin, uninitBenchPlugin);
  }
}

HDagPath pathOf(const HObject& node) {
  HDagPath path;
  HDagPath::getAPathTo(node, path);
  return path;
}

// A chain of `entries` entries, each joint oriented and bent a little so that
// the solve has real work, with a veltra solver and the handle moved to a
// reachable goal. Returns the handle.
HObject buildChain(unsigned entries, double offset, const HObject& solver) {
  HObject above;
  std::vector<HDagPath> joints;
  for (unsigned i = 0; i < entries; ++i) {
    HFnIkJoint fnJoint;
    const HObject joint = fnJoint.create(above);
    fnJoint.setTranslation(i == 0 ? HVector(offset, 0.0, 0.0) : HVector(1.0, 0.0, 0.0),
                           HSpace::kTransform);
    fnJoint.setOrientation(HEulerRotation(0.05 * i, -0.03 * i, 0.02));
    if (i > 0) {
      fnJoint.setRotateOrientation(HEulerRotation(0.1, 0.0, -0.05).asQuaternion(),
                                   HSpace::kTransform);
    }
    fnJoint.setRotation(HEulerRotation(0.0, 0.05, 0.35));
    joints.push_back(pathOf(joint));
    above = joint;
  }
  HFnIkHandle fnHandle;
  const HObject handle = fnHandle.create(joints.front(), joints.back());
  fnHandle.setSolver(solver);
  // Six tenths of the straight length, off the rest direction.
  const double reach = 0.6 * (entries - 1);
  fnHandle.setTranslation(HVector(offset + 0.6 * reach, 0.5 * reach, 0.3 * reach), HSpace::kWorld);
  return handle;
}

HObject newSolver() {
  HFnDependencyNode fnNode;
  return fnNode.create("veltra");
}

// A new scene with one chain of `entries` entries, solved once (which
// creates the stored data), as every single-chain benchmark starts.
struct SolvedChain {
  HObject solver, handle;
  HDagPath handlePath;
  HDagPathArray joints;
};

SolvedChain solvedChain(unsigned entries) {
  ensureRegistered();
  HFileIO::newFile(true);
  SolvedChain chain;
  chain.solver = newSolver();
  chain.handle = buildChain(entries, 0.0, chain.solver);
  HIkSystem::solveHandle(chain.handle);
  chain.handlePath = pathOf(chain.handle);
  veltraData::ikJointChain(chain.handlePath, chain.joints);
  return chain;
}

// The full solve entry, called on the node the host made, with the handle group
// the host would hand it.
void BM_DoSolve(benchmark::State& state) {
  const SolvedChain chain = solvedChain(unsigned(state.range(0)));
  const HObject& solver = chain.solver;
  const HObject& handle = chain.handle;
  veltra* node = static_cast<veltra*>(HFnDependencyNode(solver).userNode());
  HIkHandleGroup group;
  group.addHandle(handle);
  node->setHandleGroup(&group);
  for (auto _ : state) {
    benchmark::DoNotOptimize(node->doSolve());
  }
  node->setHandleGroup(nullptr);
}
BENCHMARK(BM_DoSolve)->Arg(4)->Arg(10)->Unit(benchmark::kMicrosecond);

// Everything doSolve gathers before it runs the kernel.
veltraKernelInput gatherInputs(const HDagPath& handlePath) {
  using namespace veltraData;
  HDagPathArray joints;
  ikJointChain(handlePath, joints);
  veltraKernelInput input;
  ikRestPose(joints, handlePath, input.restPose, nullptr);
  ikRestPoleVector(handlePath, input.restPoleVector, nullptr);
  ikAngleBias(joints, handlePath, input.angleBias, nullptr);
  ikPoleVector(handlePath, input.poleVector);
  ikTwist(handlePath, input.twist);
  ikKernelGeometry(joints, handlePath, input);
  return input;
}

// The kernel's part of the same solve: inputs gathered once outside the loop,
// then the solve and the composed writes, as doSolve runs them.
void BM_KernelPart(benchmark::State& state) {
  const SolvedChain chain = solvedChain(unsigned(state.range(0)));
  const HDagPathArray& joints = chain.joints;
  const veltraKernelInput input = gatherInputs(chain.handlePath);

  for (auto _ : state) {
    const veltraKernelResult result = veltraKernel::solve(input);
    veltraData::ikApplyResult(joints, input, result);
    benchmark::DoNotOptimize(result.bend.angles[0]);
  }
}
BENCHMARK(BM_KernelPart)->Arg(4)->Arg(10)->Unit(benchmark::kMicrosecond);

// Gathering alone: everything doSolve does before it runs the kernel.
void BM_GatherInputs(benchmark::State& state) {
  const SolvedChain chain = solvedChain(unsigned(state.range(0)));
  for (auto _ : state) {
    const veltraKernelInput input = gatherInputs(chain.handlePath);
    benchmark::DoNotOptimize(input.twist);
  }
}
BENCHMARK(BM_GatherInputs)->Arg(4)->Arg(10)->Unit(benchmark::kMicrosecond);

floorsolve::Affine plainAffine(const HMatrix& m) {
  floorsolve::Affine a;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c)
      a.m.m[r][c] = m(r, c);
  a.t = {m(3, 0), m(3, 1), m(3, 2)};
  return a;
}

// The floor's input: the gathered values copied into plain ones, once.
floorsolve::Input plainInput(const veltraKernelInput& input) {
  floorsolve::Input plain;
  const size_t n = input.localTransformations.size();
  for (size_t i = 0; i < n; ++i) {
    const HTransformationMatrix& tm = input.localTransformations[i];
    floorsolve::Entry e;
    tm.getScale(e.scale, HSpace::kTransform);
    tm.getShear(e.shear, HSpace::kTransform);
    const HQuaternion ra = tm.rotateOrientation(), jo = tm.jointOrientation();
    e.rotateAxis = {ra.x, ra.y, ra.z, ra.w};
    e.jointOrient = {jo.x, jo.y, jo.z, jo.w};
    HTransformationMatrix::RotationOrder order;
    tm.getRotation(e.rotation, order);
    e.order = int(HTransformationMatrix::toEulerOrder(order));
    if (i + 1 < n) {
      e.rotation[0] = input.restPose[unsigned(i)].x;
      e.rotation[1] = input.restPose[unsigned(i)].y;
      e.rotation[2] = input.restPose[unsigned(i)].z;
    }
    const HVector t = tm.translation(HSpace::kTransform);
    e.translate = {t.x, t.y, t.z};
    e.bias = input.angleBias[unsigned(i)];
    plain.entries.push_back(e);
  }
  plain.rootParent = plainAffine(input.rootParentWorldMatrix);
  plain.handleParent = plainAffine(input.handleParentWorldMatrix);
  const HPoint h = input.handleWorldPosition;
  plain.handle = {h.x, h.y, h.z};
  plain.pole = {input.poleVector.x, input.poleVector.y, input.poleVector.z};
  plain.restPole = {input.restPoleVector.x, input.restPoleVector.y, input.restPoleVector.z};
  plain.twist = input.twist;
  plain.oldStyle = input.oldStyle;
  return plain;
}

// The floor of the same solve as BM_DoSolve: the algorithm in plain code, no
// host. Before timing, its rotations must match what doSolve wrote (as
// matrices, within 1e-9), or the figure would measure some other work.
void BM_Floor(benchmark::State& state) {
  const SolvedChain chain = solvedChain(unsigned(state.range(0)));
  const HDagPathArray& joints = chain.joints;
  const floorsolve::Input plain = plainInput(gatherInputs(chain.handlePath));
  const floorsolve::Output floor = floorsolve::solve(plain);
  for (unsigned i = 0; i + 1 < joints.length(); ++i) {
    HEulerRotation written;
    HFnTransform(joints[i]).getRotation(written);
    const HEulerRotation mine(floor[i].x, floor[i].y, floor[i].z, written.order);
    const HMatrix a = written.asMatrix(), b = mine.asMatrix();
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c)
        if (!(std::fabs(a(r, c) - b(r, c)) < 1e-9)) {
          state.SkipWithError("the floor's rotations differ from doSolve's");
          return;
        }
  }
  for (auto _ : state) {
    const floorsolve::Output out = floorsolve::solve(plain);
    benchmark::DoNotOptimize(out[0].x);
  }
}
BENCHMARK(BM_Floor)->Arg(4)->Arg(10)->Unit(benchmark::kMicrosecond);

// One evaluation of a scene of 1000 dirty handles, each with its own chain
// (4 entries) and all sharing one solver node: on the calling thread alone,
// then in parallel (real time, since the work is spread over threads).
void evaluate1000Handles(benchmark::State& state, bool parallel) {
  ensureRegistered();
  HFileIO::newFile(true);
  const HObject solver = newSolver();
  std::vector<HObject> handles;
  for (int i = 0; i < 1000; ++i) {
    handles.push_back(buildChain(4, 10.0 * i, solver));
  }
  HIkSystem::setParallelEvaluation(parallel);
  HIkSystem::evaluate();
  for (auto _ : state) {
    state.PauseTiming();
    for (const HObject& handle : handles) {
      HIkSystem::markDirty(handle);
    }
    state.ResumeTiming();
    benchmark::DoNotOptimize(HIkSystem::evaluate());
  }
  HIkSystem::setParallelEvaluation(true);
}

void BM_Evaluate1000Handles(benchmark::State& state) {
  evaluate1000Handles(state, false);
}
BENCHMARK(BM_Evaluate1000Handles)->Unit(benchmark::kMillisecond);

void BM_Evaluate1000HandlesParallel(benchmark::State& state) {
  evaluate1000Handles(state, true);
}
BENCHMARK(BM_Evaluate1000HandlesParallel)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

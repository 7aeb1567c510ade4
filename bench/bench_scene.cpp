// Scene benchmarks: world matrices of a deep joint chain (cold after an edit
// at the root, and cached), and plug look-up and reads on a handle carrying
// dynamic attributes, as the solver does them; clearing a scene of many
// handles; and production-size scenes of 1 000 to 100 000 joints in 10-joint
// chains, each posed by a veltra handle that a separate driver node moves
// through a connection: moving every driver and solving, saving and opening.
// The per-handle cost must not grow with the scene.

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "HDGModifier.h"
#include "HDagPath.h"
#include "HFileIO.h"
#include "HFnDependencyNode.h"
#include "HFnIkHandle.h"
#include "HFnIkJoint.h"
#include "HFnNumericAttribute.h"
#include "HFnTransform.h"
#include "HIkSystem.h"
#include "HPlug.h"
#include "HPluginManager.h"

namespace {

struct JointChain {
  std::vector<HObject> joints;
  HDagPath tip;
};

JointChain buildChain(int depth) {
  JointChain chain;
  HObject parent;
  for (int i = 0; i < depth; ++i) {
    HFnIkJoint fn;
    HObject joint = fn.create(parent);
    fn.setTranslation(HVector(1.0, 0.1, 0.0), HSpace::kTransform);
    fn.setRotation(HEulerRotation(0.05, 0.1, 0.02 * i));
    fn.setOrientation(HEulerRotation(0.0, 0.0, 0.01));
    chain.joints.push_back(joint);
    parent = joint;
  }
  HDagPath::getAPathTo(parent, chain.tip);
  return chain;
}

void deleteChain(const JointChain& chain) {
  HDGModifier modifier;
  modifier.deleteNode(chain.joints.front());
  modifier.doIt();
}

// Every matrix of the chain recomputed: the root's rotation changes each time.
void BM_InclusiveMatrixColdAfterRootEdit(benchmark::State& state) {
  JointChain chain = buildChain(20);
  HFnTransform root(chain.joints.front());
  double angle = 0.0;
  for (auto _ : state) {
    angle += 1e-3;
    double r[3] = {angle, 0.0, 0.0};
    root.setRotation(r, HTransformationMatrix::kXYZ);
    benchmark::DoNotOptimize(chain.tip.inclusiveMatrix());
  }
  deleteChain(chain);
}
BENCHMARK(BM_InclusiveMatrixColdAfterRootEdit);

void BM_InclusiveMatrixRepeated(benchmark::State& state) {
  JointChain chain = buildChain(20);
  benchmark::DoNotOptimize(chain.tip.inclusiveMatrix());
  for (auto _ : state)
    benchmark::DoNotOptimize(chain.tip.inclusiveMatrix());
  deleteChain(chain);
}
BENCHMARK(BM_InclusiveMatrixRepeated);

// The solver's pattern: a function set on a path per joint, then a rotation.
void BM_RotateByOnChainJoint(benchmark::State& state) {
  JointChain chain = buildChain(20);
  HDagPath middle;
  HDagPath::getAPathTo(chain.joints[10], middle);
  HQuaternion q(1e-4, HVector(0, 0, 1));
  for (auto _ : state) {
    HFnTransform fn(middle);
    fn.rotateBy(q, HSpace::kObject);
    benchmark::DoNotOptimize(chain.tip.inclusiveMatrix());
  }
  deleteChain(chain);
}
BENCHMARK(BM_RotateByOnChainJoint);

void BM_FindPlugAndGetValueOnHandle(benchmark::State& state) {
  JointChain chain = buildChain(3);
  HDagPath start, end;
  HDagPath::getAPathTo(chain.joints[0], start);
  HDagPath::getAPathTo(chain.joints[2], end);
  HFnIkHandle fnHandle;
  HObject handle = fnHandle.create(start, end);
  HFnDependencyNode fnNode(handle);
  for (int i = 0; i < 20; ++i) {
    HFnNumericAttribute fn;
    std::string name = "dynamicValue" + std::to_string(i);
    fnNode.addAttribute(fn.create(name.c_str(), ("dv" + std::to_string(i)).c_str(),
                                  HFnNumericData::kDouble, double(i)));
  }
  const HString names[] = {"pvx", "pvy", "pvz", "twist", "dynamicValue7", "dv19"};
  for (auto _ : state) {
    double sum = 0.0;
    for (const HString& name : names) {
      double value = 0.0;
      HFnDependencyNode(handle).findPlug(name).getValue(value);
      sum += value;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * 6);
  HDGModifier modifier;
  modifier.deleteNode(handle);
  modifier.doIt();
  deleteChain(chain);
}
BENCHMARK(BM_FindPlugAndGetValueOnHandle);

// Clearing a scene of 1000 three-joint chains, each with a handle: every
// deletion tells the IK system which handles it touched.
void BM_NewFileAfter1000Handles(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    HFileIO::newFile(true);
    for (int i = 0; i < 1000; ++i) {
      JointChain chain = buildChain(3);
      HDagPath start;
      HDagPath::getAPathTo(chain.joints.front(), start);
      HFnIkHandle().create(start, chain.tip);
    }
    state.ResumeTiming();
    HFileIO::newFile(true);
  }
}
BENCHMARK(BM_NewFileAfter1000Handles)->Unit(benchmark::kMillisecond);

// --- Production-size scenes ---------------------------------------------------

constexpr int kJointsPerChain = 10;

// Bytes the heap has handed out and not taken back: unlike the resident size,
// this does not hide a scene in memory that an earlier, freed one left behind.
double heapBytes() {
  return double(mallinfo2().uordblks);
}

// A scene of `joints` joints in 10-joint chains, each with a veltra handle at
// its end whose translation a driver transform feeds through a connection.
struct RigScene {
  std::vector<HFnTransform> drivers;
  double bytesPerJoint = 0.0;
};

RigScene buildRigScene(int joints) {
  HFileIO::newFile(true);
  HStatus loaded;
  HPluginManager::load("veltra", &loaded);
  const double before = heapBytes();
  RigScene rig;
  HFnDependencyNode fnSolver;
  const HObject solver = fnSolver.create("veltra");
  HDGModifier connections;
  for (int c = 0; c < joints / kJointsPerChain; ++c) {
    HObject parent;
    HObject root;
    for (int i = 0; i < kJointsPerChain; ++i) {
      HFnIkJoint fn;
      const HObject joint = fn.create(parent);
      fn.setTranslation(i == 0 ? HVector(3.0 * (c % 100), 0.0, 3.0 * (c / 100))
                               : HVector(0.0, -1.0, i % 2 ? 0.15 : 0.0),
                        HSpace::kTransform);
      if (i == 0)
        root = joint;
      parent = joint;
    }
    HDagPath start, end;
    HDagPath::getAPathTo(root, start);
    HDagPath::getAPathTo(parent, end);
    HFnIkHandle fnHandle;
    const HObject handle = fnHandle.create(start, end);
    fnHandle.setSolver(solver);
    HFnTransform driver;
    driver.create();
    driver.setTranslation(HVector(3.0 * (c % 100), -8.0, 3.0 * (c / 100) + 1.0),
                          HSpace::kTransform);
    connections.connect(HFnDependencyNode(driver.object()).findPlug("translate"),
                        HFnDependencyNode(handle).findPlug("translate"));
    rig.drivers.push_back(driver);
  }
  connections.doIt();
  HIkSystem::evaluate();  // the first solves capture the rest poses
  rig.bytesPerJoint = (heapBytes() - before) / joints;
  return rig;
}

// Moves every driver a little and solves every handle.
void BM_MoveDriversAndSolve(benchmark::State& state) {
  const int joints = int(state.range(0));
  RigScene rig = buildRigScene(joints);
  double t = 0.0;
  for (auto _ : state) {
    t += 0.01;
    for (HFnTransform& driver : rig.drivers) {
      HVector at = driver.translation(HSpace::kTransform);
      at.y = -8.0 + 0.5 * std::sin(t);
      driver.setTranslation(at, HSpace::kTransform);
    }
    HIkSystem::evaluate();
  }
  const double handles = double(rig.drivers.size());
  state.counters["handles"] = handles;
  state.counters["per_handle"] = benchmark::Counter(
      handles, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_joint"] = rig.bytesPerJoint;
  HFileIO::newFile(true);
}
BENCHMARK(BM_MoveDriversAndSolve)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0);

std::string sceneFile(int joints) {
  return "/tmp/bench_scene_" + std::to_string(getpid()) + "_" + std::to_string(joints) + ".hsa";
}

void BM_SaveScene(benchmark::State& state) {
  const int joints = int(state.range(0));
  buildRigScene(joints);
  const std::string path = sceneFile(joints);
  for (auto _ : state)
    HFileIO::saveAs(HString(path.c_str()));
  std::remove(path.c_str());
  HFileIO::newFile(true);
}
BENCHMARK(BM_SaveScene)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

void BM_OpenScene(benchmark::State& state) {
  const int joints = int(state.range(0));
  buildRigScene(joints);
  const std::string path = sceneFile(joints);
  HFileIO::saveAs(HString(path.c_str()));
  HFileIO::newFile(true);
  for (auto _ : state)
    HFileIO::open(HString(path.c_str()));
  std::remove(path.c_str());
  HFileIO::newFile(true);
}
BENCHMARK(BM_OpenScene)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace

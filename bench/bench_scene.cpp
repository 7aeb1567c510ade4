// Scene benchmarks: world matrices of a deep joint chain (cold after an edit
// at the root, and cached), and plug look-up and reads on a handle carrying
// dynamic attributes, as the solver does them; clearing a scene of many handles.

#include <benchmark/benchmark.h>

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

}  // namespace

// Solving many handles on several threads gives exactly the poses of solving
// them one after another, including handles that depend on each other: a
// chain hanging from another chain's joint, a chain starting at another's end
// joint, and a handle parented into another chain.

#include <gtest/gtest.h>

#include <HDGModifier.h>
#include <HFileIO.h>
#include <HFnTransform.h>
#include <HIkSystem.h>

#include <cmath>
#include <vector>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

struct Rig {
  std::vector<HDagPath> joints;  // every joint of the scene
  std::vector<HDagPath> handles;
};

void addChain(Rig& rig, const SolverChain& chain) {
  rig.joints.insert(rig.joints.end(), chain.joints.begin(), chain.joints.end());
  rig.handles.push_back(chain.handle);
}

// 20 independent chains of 3 to 7 joints, half of them under one rotated
// parent, plus three pairs that must be solved in order. 23 groups.
Rig buildRig() {
  Rig rig;
  HFnTransform fnParent;
  const HObject parent = fnParent.create();
  fnParent.setRotation(HEulerRotation(0.3, -0.2, 0.5));
  for (unsigned i = 0; i < 20; ++i) {
    std::vector<JointDesc> descs = planarJoints(2 + i % 5, 1.0, 0.3 + 0.05 * i);
    descs[0].translate = HVector(3.0 * i, 0.0, 0.0);
    descs[1].rotateAxis = HVector(0.1 * i, 0.0, -0.05);
    addChain(rig, buildSolverChain(descs, true, i % 2 ? parent : HObject::kNullObj));
  }
  // A chain hanging from the middle joint of another.
  const SolverChain upper = buildSolverChain(planarJoints(3));
  addChain(rig, upper);
  addChain(rig, buildSolverChain(planarJoints(2, 0.5), true, upper.joints[1].node()));
  // Two handles on one line of joints: the second starts at the first's end.
  const SolverChain line = buildSolverChain(planarJoints(4, 1.0, 0.25));
  rig.joints.insert(rig.joints.end(), line.joints.begin(), line.joints.end());
  HFnIkHandle fnHandle;
  for (unsigned start : {0u, 2u}) {
    const HObject handle = fnHandle.create(line.joints[start], line.joints[start + 2]);
    fnHandle.setSolver(line.solver);
    rig.handles.push_back(pathOf(handle));
  }
  HIkSystem::solveHandle(line.handle.node());  // its own handle stays, unmoved
  // A handle parented under another chain's joint moves with it.
  const SolverChain carrier = buildSolverChain(planarJoints(3));
  const SolverChain carried = buildSolverChain(planarJoints(2));
  addChain(rig, carrier);
  addChain(rig, carried);
  HDagModifier reparent;
  reparent.reparentNode(carried.handle.node(), carrier.joints[1].node());
  reparent.doIt();
  rig.handles.back() = pathOf(carried.handle.node());
  return rig;
}

// Every joint's rotation after moving each handle to a goal of its own, twice.
std::vector<HVector> posesAfterSolving(bool parallel, unsigned& groups) {
  HFileIO::newFile(true);
  const Rig rig = buildRig();
  HIkSystem::setParallelEvaluation(parallel);
  std::vector<HVector> poses;
  for (int round = 0; round < 2; ++round) {
    for (size_t h = 0; h < rig.handles.size(); ++h) {
      const HVector start = worldPosition(rig.handles[h]);
      moveHandleTo(rig.handles[h],
                   start + HVector(0.3 * std::sin(h + round), -0.4 + 0.1 * round, 0.2));
    }
    EXPECT_EQ(HIkSystem::evaluate().statusCode(), HStatus::kSuccess);
    groups = HIkSystem::lastParallelGroupCount();
    const std::vector<HVector> rotations = rotationsOf(rig.joints);
    poses.insert(poses.end(), rotations.begin(), rotations.end());
  }
  HIkSystem::setParallelEvaluation(true);
  return poses;
}

TEST(ParallelEvaluation, PosesAreExactlyThoseOfSolvingInOrder) {
  registerVeltraNodeType();
  unsigned parallelGroups = 0, serialGroups = 0;
  const std::vector<HVector> parallel = posesAfterSolving(true, parallelGroups);
  const std::vector<HVector> serial = posesAfterSolving(false, serialGroups);
  // The dependent pairs share a group; every other chain has its own.
  EXPECT_EQ(parallelGroups, 23u);
  EXPECT_EQ(serialGroups, 0u);
  ASSERT_EQ(parallel.size(), serial.size());
  for (size_t i = 0; i < parallel.size(); ++i) {
    EXPECT_EQ(parallel[i].x, serial[i].x) << "joint rotation " << i;
    EXPECT_EQ(parallel[i].y, serial[i].y) << "joint rotation " << i;
    EXPECT_EQ(parallel[i].z, serial[i].z) << "joint rotation " << i;
  }
}

}  // namespace

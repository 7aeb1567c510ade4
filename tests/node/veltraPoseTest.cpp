// The chain walk, pose capture, preferred angles, the stored rest pose and
// rest pole vector, and snapping the handle onto its effector.

#include <gtest/gtest.h>

#include <HDGModifier.h>
#include <HFnDependencyNode.h>
#include <HFnTransform.h>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

class PoseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerVeltraNodeType();
    HFileIO::newFile(true);
  }

  // A three-bone chain with distinct rotations everywhere, no solver.
  void makeChain() {
    std::vector<JointDesc> descs = planarJoints(3);
    for (size_t i = 0; i < descs.size(); ++i) {
      descs[i].rotate = HVector(0.1 * i, -0.05 * i, 0.3 + 0.1 * i);
    }
    fChain = buildSolverChain(descs, false);
    fJoints = solverChainOf(fChain.handle);
  }

  SolverChain fChain;
  HDagPathArray fJoints;
};

TEST_F(PoseTest, ChainRunsFromStartJointToEffectorThroughPlainTransforms) {
  makeChain();
  ASSERT_EQ(fJoints.length(), 4u);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(fJoints[i], fChain.joints[i]) << i;
  }
  // The last entry is the effector, a sibling of the end joint.
  HDagPath effector;
  HFnIkHandle(fChain.handle).getEffector(effector);
  EXPECT_EQ(fJoints[3], effector);

  // root -> joint -> transform -> joint -> end: every node on the way counts.
  HFnIkJoint fnJoint;
  const HObject root = fnJoint.create();
  const HObject middle = fnJoint.create(root);
  fnJoint.setTranslation(HVector(1.0, 0.0, 0.0), HSpace::kTransform);
  const HObject group = HFnTransform().create(middle);
  const HObject last = fnJoint.create(group);
  fnJoint.setTranslation(HVector(1.0, 1.0, 0.0), HSpace::kTransform);
  const HObject end = fnJoint.create(last);
  fnJoint.setTranslation(HVector(0.0, 1.0, 0.0), HSpace::kTransform);
  const HObject handle = HFnIkHandle().create(pathOf(root), pathOf(end));
  const HDagPathArray joints = solverChainOf(pathOf(handle));
  ASSERT_EQ(joints.length(), 5u);
  EXPECT_EQ(joints[1].node(), middle);
  EXPECT_EQ(joints[2].node(), group);
  EXPECT_EQ(joints[3].node(), last);
}

TEST_F(PoseTest, PoseCapturesEveryEntryOrReportsANonTransform) {
  makeChain();
  HVectorArray pose(7, HVector(5.0, 5.0, 5.0));  // arrives with stale content
  ASSERT_EQ(veltraData::ikPose(fJoints, pose), HStatus::kSuccess);
  ASSERT_EQ(pose.length(), 4u);
  for (unsigned i = 0; i < 4; ++i) {
    EXPECT_TRUE(pose[i].isEquivalent(rotationOf(fJoints[i]), 1e-12)) << i;
  }
  HDagPathArray broken = fJoints;
  broken[2] = HDagPath();
  ErrorCapture errors;
  EXPECT_NE(veltraData::ikPose(broken, pose), HStatus::kSuccess);
  EXPECT_TRUE(errors.contains("veltra::ikPose() - Could not attach HFnTransform to joint."))
      << errors.text();
}

// Preferred angles go to and come from every entry but the last (the effector),
// which reads as zero; a single entry is thus only an end, and nothing is written.
TEST_F(PoseTest, PreferredAnglesRoundTripAndSkipTheEffector) {
  makeChain();
  HVectorArray written(4);
  for (unsigned i = 0; i < 4; ++i) {
    written[i] = HVector(0.2 * i, -0.1, 0.05 * i);
  }
  ASSERT_EQ(veltraData::ikPrefAnglesSet(fJoints, written), HStatus::kSuccess);
  HVectorArray read;
  ASSERT_EQ(veltraData::ikPrefAngles(fJoints, read), HStatus::kSuccess);
  ASSERT_EQ(read.length(), 4u);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_TRUE(read[i].isEquivalent(written[i], 1e-12)) << i;
  }
  EXPECT_EQ(read[3], HVector(0.0, 0.0, 0.0));

  HDagPathArray single;
  single.append(fJoints[0]);
  EXPECT_EQ(veltraData::ikPrefAnglesSet(single, HVectorArray(1, HVector(1.0, 1.0, 1.0))),
            HStatus::kSuccess);
  EXPECT_TRUE(preferredAngleOf(fJoints[0]).isEquivalent(written[0], 1e-12));
  EXPECT_EQ(veltraData::ikPrefAngles(single, read), HStatus::kSuccess);
  ASSERT_EQ(read.length(), 1u);
  EXPECT_EQ(read[0], HVector(0.0, 0.0, 0.0));
  EXPECT_EQ(veltraData::ikPrefAngles(HDagPathArray(), read), HStatus::kSuccess);
  EXPECT_EQ(read.length(), 0u);
}

TEST_F(PoseTest, RestPoseIsCapturedOnceAndThenReadFromPreferredAngles) {
  makeChain();
  const std::vector<HVector> posed = rotationsOf(fChain.joints);
  HVectorArray rest;
  EXPECT_EQ(veltraData::ikRestPoseGet(fJoints, fChain.handle, rest), HStatus::kFailure);
  ASSERT_EQ(veltraData::ikRestPose(fJoints, fChain.handle, rest, nullptr), HStatus::kSuccess);
  EXPECT_TRUE(veltraData::ikRestPoseExists(fChain.handle));
  ASSERT_EQ(rest.length(), 4u);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_TRUE(rest[i].isEquivalent(posed[i], 1e-12)) << i;
  }
  EXPECT_EQ(rest[3], HVector(0.0, 0.0, 0.0));

  // Posing the chain differently changes nothing; editing a preferred angle
  // changes the rest pose.
  HFnTransform(fJoints[1]).setRotation(HEulerRotation(0.7, 0.0, 0.0));
  ASSERT_EQ(veltraData::ikRestPoseCreate(fJoints, fChain.handle, nullptr), HStatus::kSuccess);
  HVectorArray again;
  veltraData::ikRestPose(fJoints, fChain.handle, again, nullptr);
  EXPECT_TRUE(again[1].isEquivalent(posed[1], 1e-12));
  const double edited[3] = {0.0, 0.25, 0.0};
  HFnIkJoint(fJoints[1]).setPreferedAngle(edited);
  veltraData::ikRestPoseGet(fJoints, fChain.handle, again);
  EXPECT_EQ(again[1], HVector(0.0, 0.25, 0.0));
}

TEST_F(PoseTest, RestPoseThroughAModifierUndoesOnlyTheMarker) {
  makeChain();
  HDGModifier modifier;
  HVectorArray rest;
  ASSERT_EQ(veltraData::ikRestPose(fJoints, fChain.handle, rest, &modifier), HStatus::kSuccess);
  EXPECT_TRUE(veltraData::ikRestPoseExists(fChain.handle));
  modifier.undoIt();
  EXPECT_FALSE(veltraData::ikRestPoseExists(fChain.handle));
  // The captured preferred angles went to the joints directly and stay.
  EXPECT_TRUE(preferredAngleOf(fJoints[1]).isEquivalent(rotationOf(fJoints[1]), 1e-12));
  HVectorArray untouched(2, HVector(3.0, 3.0, 3.0));
  EXPECT_EQ(veltraData::ikRestPoseGet(fJoints, fChain.handle, untouched), HStatus::kFailure);
  EXPECT_EQ(untouched[0], HVector(3.0, 3.0, 3.0));
}

TEST_F(PoseTest, RestPoleVectorKeepsTheFirstPoleVector) {
  makeChain();
  HVector poleVector;
  ASSERT_EQ(veltraData::ikPoleVector(fChain.handle, poleVector), HStatus::kSuccess);
  HVector rest(9.0, 9.0, 9.0);
  EXPECT_EQ(veltraData::ikRestPoleVectorGet(fChain.handle, rest), HStatus::kFailure);
  EXPECT_EQ(veltraData::ikRestPoleVectorSet(fChain.handle, rest), HStatus::kFailure);
  ASSERT_EQ(veltraData::ikRestPoleVector(fChain.handle, rest, nullptr), HStatus::kSuccess);
  EXPECT_EQ(rest, poleVector);

  HFnDependencyNode fnHandle(fChain.handle.node());
  fnHandle.findPlug("pvx").setValue(poleVector.x + 1.0);
  HVector later;
  veltraData::ikRestPoleVector(fChain.handle, later, nullptr);
  EXPECT_EQ(later, poleVector);
}

// The handle, under a moved parent, lands on the effector in world space and
// keeps its rotation.
TEST_F(PoseTest, SnapMovesTheHandleOntoTheEffector) {
  makeChain();
  HFnTransform fnGroup;
  const HObject group = fnGroup.create();
  fnGroup.setTranslation(HVector(3.0, -1.0, 2.0), HSpace::kTransform);
  fnGroup.setRotation(HEulerRotation(0.0, 0.5, 0.0));
  HFnDagNode(fChain.handle.node()).setParent(group);
  const HDagPath handle = pathOf(fChain.handle.node());
  HFnTransform fnHandle(handle);
  const HEulerRotation handleRotation(0.2, 0.3, 0.4);
  fnHandle.setRotation(handleRotation);
  moveHandleTo(handle, HVector(-4.0, 2.0, 7.0));
  HObject handleNode = handle.node();
  veltra().snapHandle(handleNode);
  EXPECT_TRUE(worldPosition(handle).isEquivalent(worldPosition(fJoints[3]), 1e-9));
  HEulerRotation after;
  fnHandle.getRotation(after);
  EXPECT_TRUE(after.asVector().isEquivalent(handleRotation.asVector(), 1e-12));
}

}  // namespace

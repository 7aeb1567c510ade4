// The solve entry driven by the host's IK evaluation: failure reporting, the
// data created on a handle's first solve, repeatability, and the handle's pole
// vector and twist reaching the solve.

#include <gtest/gtest.h>

#include <HDGModifier.h>
#include <HFnCompoundAttribute.h>
#include <HFnEnumAttribute.h>
#include <HFnNumericAttribute.h>
#include <HFnNumericData.h>
#include <HFnTypedAttribute.h>
#include <HIkHandleGroup.h>
#include <HPlug.h>
#include <HRampAttribute.h>

#include <cmath>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

const char* const kPrefix = "veltra::doSolve() - ";

class SolveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerVeltraNodeType();
    HFileIO::newFile(true);
  }

  static HObject attributeOf(const HDagPath& handle, const char* name) {
    return HFnDependencyNode(handle.node()).attribute(name);
  }

  // Solves the handle through the host and expects the given message and a
  // failure, with every joint's rotation as it was. Returns all that was printed.
  static std::string expectFailedSolve(const SolverChain& chain, const std::string& message) {
    const std::vector<HVector> before = rotationsOf(chain.joints);
    ErrorCapture errors;
    EXPECT_NE(HIkSystem::solveHandle(chain.handle.node()), HStatus::kSuccess);
    EXPECT_TRUE(errors.contains(kPrefix + message)) << errors.text();
    EXPECT_EQ(rotationsOf(chain.joints), before);
    return errors.text();
  }
};

TEST_F(SolveTest, MissingOrDeletedHandleIsReported) {
  const std::string message = std::string(kPrefix) + "Could not retrieve IK handle.";
  {
    veltra solver;  // no handle group at all
    ErrorCapture errors;
    EXPECT_EQ(solver.doSolve(), HStatus::kFailure);
    EXPECT_TRUE(errors.contains(message)) << errors.text();
  }
  const SolverChain chain = buildSolverChain(planarJoints(2));
  HIkHandleGroup group;
  group.addHandle(chain.handle.node());
  HFnDependencyNode(chain.handle.node()).findPlug("solverEnable").setValue(false);
  veltra solver;
  solver.setHandleGroup(&group);
  HDagModifier remove;
  remove.deleteNode(chain.handle.node());
  remove.doIt();
  const std::vector<HVector> before = rotationsOf(chain.joints);
  ErrorCapture errors;
  EXPECT_NE(solver.doSolve(), HStatus::kSuccess);
  EXPECT_TRUE(errors.contains(message)) << errors.text();
  EXPECT_EQ(rotationsOf(chain.joints), before);
}

TEST_F(SolveTest, EffectorOutsideTheStartJointsHierarchyIsRefused) {
  const SolverChain chain = buildSolverChain(planarJoints(2));
  const SolverChain other = buildSolverChain(planarJoints(2), false);
  // The walk up from the effector never meets a start joint in another hierarchy.
  HFnIkHandle(chain.handle).setStartJoint(other.joints[0]);
  expectFailedSolve(chain, "Could not retrieve the joint chain.");
}

TEST_F(SolveTest, SingleBoneChainIsRefused) {
  const SolverChain chain = buildSolverChain(planarJoints(1));
  expectFailedSolve(chain, "Joint chain does not form an IK system. Less than 2 bones.");
  // Refused before any stored data is created.
  EXPECT_FALSE(veltraData::ikRestPoseExists(chain.handle));
}

// Finite values whose product overflows: the kernel's check refuses the
// solve before any joint is written.
TEST_F(SolveTest, ParentMatrixThatOverflowsIsRefused) {
  HFnTransform fnOuter, fnInner;
  const HObject outer = fnOuter.create();
  const HObject inner = fnInner.create(outer);
  const double huge[3] = {1e200, 1e200, 1e200};
  fnOuter.setScale(huge);
  fnInner.setScale(huge);
  const SolverChain chain = buildSolverChain(planarJoints(2), true, inner);
  expectFailedSolve(chain, "The value of the root's parent matrix is not finite.");
}

TEST_F(SolveTest, UnwritablePreferredAngleFailsTheRestPose) {
  const SolverChain chain = buildSolverChain(planarJoints(2));
  // The last joint before the effector refuses its preferred angle, so the
  // capture of the rest pose fails after the marker was added.
  HFnDependencyNode fnJoint(chain.joints[1].node());
  fnJoint.findPlug("preferredAngle").setLocked(true);
  for (unsigned c = 0; c < 3; ++c) {
    fnJoint.findPlug("preferredAngle").child(c).setLocked(true);
  }
  const std::string printed = expectFailedSolve(chain, "Could not retrieve rest pose.");
  EXPECT_NE(printed.find("veltra::ikRestPose() - ikRestPoseCreate() failed."), std::string::npos);
  // Nothing is rolled back: the marker stays.
  EXPECT_TRUE(veltraData::ikRestPoseExists(chain.handle));
}

TEST_F(SolveTest, UnreadableRestPoleVectorIsReported) {
  const SolverChain chain = buildSolverChain(planarJoints(2));
  // A compound of that name whose children are strings: it exists, but its
  // components can't be read as doubles.
  HFnCompoundAttribute fnCompound;
  const HObject compound = fnCompound.create("wexelRestPoleVector", "wrpv");
  HFnTypedAttribute fnTyped;
  fnCompound.addChild(fnTyped.create("restX", "rsx", HFnData::kString));
  fnCompound.addChild(fnTyped.create("restY", "rsy", HFnData::kString));
  fnCompound.addChild(fnTyped.create("restZ", "rsz", HFnData::kString));
  HFnDependencyNode(chain.handle.node()).addAttribute(compound);
  expectFailedSolve(chain, "Could not retrieve pole vector rest.");
}

TEST_F(SolveTest, AngleBiasThatIsNoRampIsReported) {
  const SolverChain chain = buildSolverChain(planarJoints(3));
  HFnNumericAttribute fnNumeric;
  const HObject notARamp = fnNumeric.create("wexelAngleBias", "wab", HFnNumericData::kDouble, 0.0);
  HFnDependencyNode(chain.handle.node()).addAttribute(notARamp);
  expectFailedSolve(chain, "Could not retrieve angle bias.");
  // The earlier steps' data was created before the failure and stays.
  EXPECT_TRUE(veltraData::ikRestPoseExists(chain.handle));
  EXPECT_TRUE(veltraData::attributeExists(chain.handle, "wexelRestPoleVector"));
}

TEST_F(SolveTest, HandleInputsFailOnANonHandle) {
  const SolverChain chain = buildSolverChain(planarJoints(2));
  HVector poleVector(0.0, 0.0, 0.0);
  double twist = 7.0;
  EXPECT_NE(veltraData::ikPoleVector(chain.joints[0], poleVector), HStatus::kSuccess);
  EXPECT_NE(veltraData::ikTwist(chain.joints[0], twist), HStatus::kSuccess);
  // An unreadable twist means no twist, never a leftover value.
  EXPECT_EQ(twist, 0.0);
}

TEST_F(SolveTest, FirstSolveCreatesTheStoredData) {
  const SolverChain chain = buildSolverChain(planarJoints(4));  // 5 entries
  ASSERT_FALSE(veltraData::ikRestPoseExists(chain.handle));
  ErrorCapture errors;
  ASSERT_EQ(HIkSystem::solveHandle(chain.handle.node()), HStatus::kSuccess);
  EXPECT_EQ(errors.text(), "");

  // The marker: hidden int, default 1.
  {
    HFnNumericAttribute fn(attributeOf(chain.handle, "wexelRestPose"));
    EXPECT_EQ(fn.shortName(), "wrp");
    EXPECT_EQ(fn.unitType(), HFnNumericData::kInt);
    double value = 0.0;
    fn.getDefault(value);
    EXPECT_EQ(value, 1.0);
    EXPECT_TRUE(fn.isHidden());
  }
  // The rest pole vector: hidden three doubles holding the handle's pole vector.
  {
    HFnNumericAttribute fn(attributeOf(chain.handle, "wexelRestPoleVector"));
    EXPECT_EQ(fn.shortName(), "wrpv");
    EXPECT_EQ(fn.unitType(), HFnNumericData::k3Double);
    EXPECT_TRUE(fn.isHidden());
    HVector stored;
    ASSERT_EQ(veltraData::ikRestPoleVectorGet(chain.handle, stored), HStatus::kSuccess);
    HVector poleVector;
    veltraData::ikPoleVector(chain.handle, poleVector);
    EXPECT_EQ(stored, poleVector);
    EXPECT_GT(poleVector.length(), 0.5);
  }
  // The ramp: a visible array compound with three children.
  {
    HFnCompoundAttribute fn(attributeOf(chain.handle, "wexelAngleBias"));
    EXPECT_EQ(fn.shortName(), "wab");
    EXPECT_TRUE(fn.isArray());
    EXPECT_FALSE(fn.isHidden());
    ASSERT_EQ(fn.numChildren(), 3u);
    HFnNumericAttribute position(fn.child(0));
    EXPECT_EQ(position.name(), "wexelAngleBias_Position");
    EXPECT_EQ(position.shortName(), "wbp");
    EXPECT_EQ(position.unitType(), HFnNumericData::kFloat);
    double value = -1.0;
    position.getDefault(value);
    EXPECT_EQ(value, 0.0);
    HFnNumericAttribute floatValue(fn.child(1));
    EXPECT_EQ(floatValue.name(), "wexelAngleBias_FloatValue");
    EXPECT_EQ(floatValue.shortName(), "wbfv");
    floatValue.getDefault(value);
    EXPECT_EQ(value, 1.0);
    HFnEnumAttribute interp(fn.child(2));
    EXPECT_EQ(interp.name(), "wexelAngleBias_Interp");
    EXPECT_EQ(interp.shortName(), "wbi");
    short defaultField = 0;
    interp.getDefault(defaultField);
    EXPECT_EQ(defaultField, 3);
    EXPECT_EQ(interp.fieldName(0), "None");
    EXPECT_EQ(interp.fieldName(1), "Linear");
    EXPECT_EQ(interp.fieldName(2), "Smooth");
    EXPECT_EQ(interp.fieldName(3), "Spline");
  }
  // Three entries for three inner joints, at 0, 0.5 and 1, positions locked.
  HFloatArray positions, values;
  HIntArray interps;
  ASSERT_EQ(veltraData::ikAngleBiasGet(solverChainOf(chain.handle), chain.handle, positions, values,
                                       interps),
            HStatus::kSuccess);
  ASSERT_EQ(positions.length(), 3u);
  const HPlug ramp = HFnDependencyNode(chain.handle.node()).findPlug("wexelAngleBias");
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(positions[i], 0.5f * float(i));
    EXPECT_EQ(values[i], 0.5f);
    EXPECT_EQ(interps[i], int(HRampAttribute::kSpline));
    EXPECT_TRUE(ramp.elementByLogicalIndex(i).child(0).isLocked()) << "entry " << i;
    EXPECT_FALSE(ramp.elementByLogicalIndex(i).child(1).isLocked()) << "entry " << i;
  }
}

// The first solve captures the rest pose, later ones read it back from the
// preferred angles: both give the same rotations, and a handle back at the
// rest end gives the rest pose.
TEST_F(SolveTest, RepeatedSolvesAgreeAndTheRestEndKeepsTheRestPose) {
  const SolverChain chain = buildSolverChain(planarJoints(4));
  const std::vector<HVector> rest = rotationsOf(chain.joints);
  const HVector restEnd = worldPosition(chain.handle);
  moveHandleTo(chain.handle, HVector(2.0, 1.5, 0.5));
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  const std::vector<HVector> first = rotationsOf(chain.joints);
  HIkSystem::markDirty(chain.handle.node());
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  EXPECT_EQ(rotationsOf(chain.joints), first);

  moveHandleTo(chain.handle, restEnd);
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  const std::vector<HVector> solved = rotationsOf(chain.joints);
  for (size_t i = 0; i < rest.size(); ++i) {
    EXPECT_TRUE(solved[i].isEquivalent(rest[i], 1e-6)) << "joint " << i;
  }
}

TEST_F(SolveTest, ChainBendsTowardsThePoleVectorAndTwistsAboutTheGoalAxis) {
  const SolverChain chain = buildSolverChain(planarJoints(2, 1.0, 0.6));
  const HVector goal(1.2, 0.3, 0.4);
  moveHandleTo(chain.handle, goal);
  // The first solve records the handle's own pole vector, which the host set to
  // the chain's bend direction, as the rest pole vector.
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  const HVector root = worldPosition(chain.joints[0]);
  const HVector axis = (goal - root).normal();
  // A direction's part across the root-to-goal axis.
  const auto across = [&](const HVector& v) { return (v - axis * (v * axis)).normal(); };
  HFnDependencyNode fnHandle(chain.handle.node());
  for (const HVector& pole :
       {HVector(0.0, 0.0, 1.0), HVector(0.0, -1.0, 0.2), HVector(-0.3, 0.5, -1.0)}) {
    fnHandle.findPlug("pvx").setValue(pole.x);
    fnHandle.findPlug("pvy").setValue(pole.y);
    fnHandle.findPlug("pvz").setValue(pole.z);
    fnHandle.findPlug("twist").setValue(0.0);
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    const HVector bend = across(worldPosition(chain.joints[1]) - root);
    EXPECT_TRUE(bend.isEquivalent(across(pole), 1e-6)) << "pole " << pole << ": bend " << bend;

    // A quarter twist turns the bend a right-handed quarter turn about the axis.
    fnHandle.findPlug("twist").setValue(3.141592653589793 / 2.0);
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    const HVector twisted = across(worldPosition(chain.joints[1]) - root);
    EXPECT_NEAR(twisted * bend, 0.0, 1e-6) << "pole " << pole;
    EXPECT_NEAR((bend ^ twisted) * axis, 1.0, 1e-6) << "pole " << pole;
  }
}

}  // namespace

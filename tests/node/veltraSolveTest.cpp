// The solve entry driven by the host's IK evaluation: failure reporting, the
// data created on a handle's first solve, repeatability and reaching the goal.

#include <gtest/gtest.h>

#include <HDGModifier.h>
#include <HFnAttribute.h>
#include <HFnCompoundAttribute.h>
#include <HFnEnumAttribute.h>
#include <HFnNumericAttribute.h>
#include <HFnNumericData.h>
#include <HFnTypedAttribute.h>
#include <HIkHandleGroup.h>
#include <HPlug.h>
#include <HRampAttribute.h>

#include <cmath>
#include <random>

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
    HFnDependencyNode fnNode(handle.node());
    return fnNode.attribute(name);
  }

  // Solves the handle through the host and expects the given message and a
  // failure, with every joint's rotation as it was. Returns all that was printed.
  static std::string expectFailedSolve(const SolverChain& chain, const std::string& message) {
    const std::vector<HVector> before = rotationsOf(chain.joints);
    ErrorCapture errors;
    const HStatus status = HIkSystem::solveHandle(chain.handle.node());
    EXPECT_NE(status, HStatus::kSuccess);
    EXPECT_TRUE(errors.contains(kPrefix + message)) << errors.text();
    const std::vector<HVector> after = rotationsOf(chain.joints);
    for (size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(before[i], after[i]) << "joint " << i;
    }
    return errors.text();
  }
};

TEST_F(SolveTest, NodeWithoutHandleGroupReportsMissingHandle) {
  veltra solver;
  ErrorCapture errors;
  const HStatus status = solver.doSolve();
  EXPECT_EQ(status, HStatus::kFailure);
  EXPECT_TRUE(errors.contains("veltra::doSolve() - Could not retrieve IK handle."))
      << errors.text();
}

TEST_F(SolveTest, GroupWhoseHandleWasDeletedReportsMissingHandle) {
  const SolverChain chain = buildSolverChain(planarSpecs(2));
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
  EXPECT_TRUE(errors.contains("veltra::doSolve() - Could not retrieve IK handle."))
      << errors.text();
  EXPECT_EQ(rotationsOf(chain.joints), before);
}

TEST_F(SolveTest, EffectorOutsideTheStartJointsHierarchyIsRefused) {
  const SolverChain chain = buildSolverChain(planarSpecs(2));
  const SolverChain other = buildSolverChain(planarSpecs(2), false);
  // The start joint now lies in another hierarchy than the effector: the walk
  // up from the effector never meets it.
  HFnIkHandle fnHandle(chain.handle);
  fnHandle.setStartJoint(other.joints[0]);
  HDagPathArray joints;
  veltra solver;
  EXPECT_NE(solver.ikJointChain(chain.handle, joints), HStatus::kSuccess);
  expectFailedSolve(chain, "Could not retrieve the joint chain.");
}

TEST_F(SolveTest, SingleBoneChainIsRefused) {
  const SolverChain chain = buildSolverChain(planarSpecs(1));
  EXPECT_EQ(solverChainOf(chain.handle).length(), 2u);
  expectFailedSolve(chain, "Joint chain does not form an IK system. Less than 2 bones.");
  // Refused before any stored data is created.
  veltra solver;
  EXPECT_FALSE(solver.ikRestPoseExists(chain.handle));
}

TEST_F(SolveTest, UnwritablePreferredAngleFailsTheRestPose) {
  const SolverChain chain = buildSolverChain(planarSpecs(2));
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
  veltra solver;
  EXPECT_TRUE(solver.ikRestPoseExists(chain.handle));
}

TEST_F(SolveTest, UnreadableRestPoleVectorIsReported) {
  const SolverChain chain = buildSolverChain(planarSpecs(2));
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
  const SolverChain chain = buildSolverChain(planarSpecs(3));
  HFnNumericAttribute fnNumeric;
  const HObject notARamp = fnNumeric.create("wexelAngleBias", "wab", HFnNumericData::kDouble, 0.0);
  HFnDependencyNode(chain.handle.node()).addAttribute(notARamp);
  expectFailedSolve(chain, "Could not retrieve angle bias.");
  // The earlier steps' data was created before the failure and stays.
  veltra solver;
  EXPECT_TRUE(solver.ikRestPoseExists(chain.handle));
  EXPECT_TRUE(solver.attributeExists(chain.handle, "wexelRestPoleVector"));
}

TEST_F(SolveTest, HandleInputsFailOnANonHandle) {
  const SolverChain chain = buildSolverChain(planarSpecs(2));
  veltra solver;
  HVector poleVector(0.0, 0.0, 0.0);
  double twist = 7.0;
  EXPECT_NE(solver.ikPoleVector(chain.joints[0], poleVector), HStatus::kSuccess);
  EXPECT_NE(solver.ikTwist(chain.joints[0], twist), HStatus::kSuccess);
  // An unreadable twist means no twist, never a leftover value.
  EXPECT_EQ(twist, 0.0);
}

TEST_F(SolveTest, FirstSolveCreatesTheStoredData) {
  const SolverChain chain = buildSolverChain(planarSpecs(4));  // 5 entries
  veltra probe;
  ASSERT_FALSE(probe.ikRestPoseExists(chain.handle));
  ErrorCapture errors;
  ASSERT_EQ(HIkSystem::solveHandle(chain.handle.node()), HStatus::kSuccess);
  EXPECT_EQ(errors.text(), "");

  // The marker: hidden int, default 1.
  {
    HFnNumericAttribute fn(attributeOf(chain.handle, "wexelRestPose"));
    EXPECT_EQ(fn.name(), "wexelRestPose");
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
    ASSERT_EQ(probe.ikRestPoleVectorGet(chain.handle, stored), HStatus::kSuccess);
    HVector poleVector;
    probe.ikPoleVector(chain.handle, poleVector);
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
  {
    HStatus status;
    HRampAttribute ramp(chain.handle.node(), attributeOf(chain.handle, "wexelAngleBias"), &status);
    ASSERT_EQ(status, HStatus::kSuccess);
    HIntArray indices;
    HFloatArray positions, values;
    HIntArray interps;
    ramp.getEntries(indices, positions, values, interps);
    ASSERT_EQ(positions.length(), 3u);
    const float expected[3] = {0.0f, 0.5f, 1.0f};
    HPlug rampPlug(chain.handle.node(), attributeOf(chain.handle, "wexelAngleBias"));
    for (unsigned i = 0; i < 3; ++i) {
      EXPECT_EQ(positions[i], expected[i]);
      EXPECT_EQ(values[i], 0.5f);
      EXPECT_EQ(interps[i], int(HRampAttribute::kSpline));
      const HPlug element = rampPlug.elementByLogicalIndex(unsigned(indices[i]));
      EXPECT_TRUE(element.child(0).isLocked()) << "entry " << i;
      EXPECT_FALSE(element.child(1).isLocked()) << "entry " << i;
    }
    // A locked position refuses an edit, a value accepts one.
    ramp.setPositionAtIndex(0.25f, unsigned(indices[1]), &status);
    EXPECT_NE(status, HStatus::kSuccess);
    ramp.setValueAtIndex(0.75f, unsigned(indices[1]), &status);
    EXPECT_EQ(status, HStatus::kSuccess);
  }
}

TEST_F(SolveTest, ThreeEntryChainGetsOneMiddleEntry) {
  const SolverChain chain = buildSolverChain(planarSpecs(2));
  ASSERT_EQ(HIkSystem::solveHandle(chain.handle.node()), HStatus::kSuccess);
  veltra probe;
  HFloatArray positions, values;
  HIntArray interps;
  ASSERT_EQ(
      probe.ikAngleBiasGet(solverChainOf(chain.handle), chain.handle, positions, values, interps),
      HStatus::kSuccess);
  ASSERT_EQ(positions.length(), 1u);
  EXPECT_EQ(positions[0], 0.5f);
  EXPECT_EQ(values[0], 0.5f);
  EXPECT_EQ(interps[0], int(HRampAttribute::kSpline));
}

TEST_F(SolveTest, SolvingTwiceGivesTheSameRotations) {
  const SolverChain chain = buildSolverChain(planarSpecs(4));
  moveHandleTo(chain.handle, HVector(2.0, 1.5, 0.5));
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  const std::vector<HVector> first = rotationsOf(chain.joints);
  HIkSystem::markDirty(chain.handle.node());
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  EXPECT_EQ(rotationsOf(chain.joints), first);
}

TEST_F(SolveTest, HandleAtTheRestEndKeepsTheRestPose) {
  const SolverChain chain = buildSolverChain(planarSpecs(3));
  const std::vector<HVector> rest = rotationsOf(chain.joints);
  ASSERT_EQ(HIkSystem::solveHandle(chain.handle.node()), HStatus::kSuccess);
  const std::vector<HVector> solved = rotationsOf(chain.joints);
  for (size_t i = 0; i < rest.size(); ++i) {
    EXPECT_TRUE(solved[i].isEquivalent(rest[i], 1e-6)) << "joint " << i;
  }
}

TEST_F(SolveTest, ChainBendsTowardsThePoleVectorAndTwistsAboutTheGoalAxis) {
  const SolverChain chain = buildSolverChain(planarSpecs(2, 1.0, 0.6));
  const HVector goal(1.2, 0.3, 0.4);
  moveHandleTo(chain.handle, goal);
  HFnDependencyNode fnHandle(chain.handle.node());
  const HDagPathArray joints = solverChainOf(chain.handle);
  // The first solve records the handle's own pole vector, which the host set to
  // the chain's bend direction, as the rest pole vector.
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  // The bend direction: the middle joint's offset from the root-to-goal axis.
  const auto bendDirection = [&]() {
    const HVector root = worldPosition(joints[0]);
    const HVector axis = (goal - root).normal();
    HVector offset = worldPosition(joints[1]) - root;
    offset = offset - axis * (offset * axis);
    return offset.normal();
  };
  for (const HVector& pole :
       {HVector(0.0, 0.0, 1.0), HVector(0.0, -1.0, 0.2), HVector(-0.3, 0.5, -1.0)}) {
    fnHandle.findPlug("pvx").setValue(pole.x);
    fnHandle.findPlug("pvy").setValue(pole.y);
    fnHandle.findPlug("pvz").setValue(pole.z);
    fnHandle.findPlug("twist").setValue(0.0);
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    const HVector axis = (goal - worldPosition(joints[0])).normal();
    const HVector expected = (pole - axis * (pole * axis)).normal();
    const HVector bend = bendDirection();
    EXPECT_TRUE(bend.isEquivalent(expected, 1e-6)) << "pole " << pole << ": bend " << bend;
    EXPECT_LT((worldPosition(joints[2]) - goal).length(), 1e-4);

    // A quarter twist turns the bend direction by a quarter turn about the axis.
    fnHandle.findPlug("twist").setValue(3.141592653589793 / 2.0);
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    const HVector twisted = bendDirection();
    EXPECT_NEAR(twisted * bend, 0.0, 1e-6) << "pole " << pole;
    EXPECT_NEAR(std::fabs((bend ^ twisted) * axis), 1.0, 1e-6) << "pole " << pole;
    EXPECT_LT((worldPosition(joints[2]) - goal).length(), 1e-4);
  }
}

// Random chains of 3 to 10 entries with joint orients and rotate orientations,
// bent at rest; every goal between the fully folded reach and the straight
// length must be reached by the effector.
class ReachTest : public SolveTest, public ::testing::WithParamInterface<unsigned> {};

TEST_P(ReachTest, EffectorReachesEveryGoalWithinReach) {
  const unsigned entries = GetParam();
  std::mt19937 random(1234u + entries);
  std::uniform_real_distribution<double> length(0.5, 2.0);
  std::uniform_real_distribution<double> angle(-0.6, 0.6);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, 1.0);

  for (int trial = 0; trial < 3; ++trial) {
    HFileIO::newFile(true);
    std::vector<JointSpec> descs;
    std::vector<double> bones;
    for (unsigned i = 0; i < entries; ++i) {
      JointSpec desc;
      if (i > 0) {
        bones.push_back(length(random));
        desc.translate = HVector(bones.back(), 0.0, 0.0);
      }
      desc.jointOrient = HVector(angle(random), angle(random), angle(random));
      desc.rotate = HVector(angle(random) * 0.3, angle(random) * 0.3, 0.3 + angle(random) * 0.5);
      if (i > 0) {
        desc.rotateAxis = HVector(angle(random), angle(random), angle(random));
      }
      descs.push_back(desc);
    }
    const SolverChain chain = buildSolverChain(descs);
    // The effector takes the last joint's place in the chain.
    double straight = 0.0;
    double folded = 0.0;
    for (size_t i = 0; i < bones.size(); ++i) {
      straight += bones[i];
      folded += (i % 2 == 0 ? 1.0 : -1.0) * bones[i];
    }
    folded = std::fabs(folded);
    const HVector root = worldPosition(chain.joints[0]);

    for (int goal = 0; goal < 6; ++goal) {
      HVector direction(gauss(random), gauss(random), gauss(random));
      direction.normalize();
      const double distance = folded + (0.02 + 0.96 * unit(random)) * (straight - folded);
      const HVector target = root + direction * distance;
      moveHandleTo(chain.handle, target);
      ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
      const HDagPathArray joints = solverChainOf(chain.handle);
      const HVector end = worldPosition(joints[joints.length() - 1]);
      EXPECT_LT((end - target).length(), 1e-4)
          << entries << " entries, trial " << trial << ", goal " << goal << ", distance "
          << distance << " of " << folded << ".." << straight;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(ChainLengths, ReachTest, ::testing::Range(3u, 11u));

}  // namespace

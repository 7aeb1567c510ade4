// The angle bias ramp on a handle and the weights the solver derives from it.

#include <gtest/gtest.h>

#include <HFnDependencyNode.h>
#include <HPlug.h>
#include <HRampAttribute.h>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

class AngleBiasTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerVeltraNodeType();
    HFileIO::newFile(true);
  }

  // A chain of `entries` entries whose ramp has been created by a first solve.
  void makeSolvedChain(unsigned entries) {
    fChain = buildSolverChain(planarJoints(entries - 1));
    ASSERT_EQ(HIkSystem::solveHandle(fChain.handle.node()), HStatus::kSuccess);
    fJoints = solverChainOf(fChain.handle);
    ASSERT_EQ(fJoints.length(), entries);
  }

  HRampAttribute ramp() const {
    const HObject node = fChain.handle.node();
    return HRampAttribute(node, HFnDependencyNode(node).attribute("wexelAngleBias"));
  }

  // Writes ramp values through the ramp interface (values are never locked).
  void setValues(const std::vector<float>& values) {
    HRampAttribute r = ramp();
    for (unsigned i = 0; i < values.size(); ++i) {
      HStatus status;
      r.setValueAtIndex(values[i], i, &status);
      ASSERT_EQ(status, HStatus::kSuccess);
    }
  }

  void expectWeights(const std::vector<double>& expected) {
    HDoubleArray weights;
    EXPECT_EQ(veltraData::ikAngleBias(fJoints, fChain.handle, weights, nullptr), HStatus::kSuccess);
    ASSERT_EQ(weights.length(), expected.size());
    for (unsigned i = 0; i < expected.size(); ++i) {
      EXPECT_NEAR(weights[i], expected[i], 1e-6) << "entry " << i;
    }
  }

  SolverChain fChain;
  HDagPathArray fJoints;
};

TEST_F(AngleBiasTest, WeightsAreNormalisedToTheSmallestInnerWeight) {
  makeSolvedChain(5);
  expectWeights({1.0, 1.0, 1.0, 1.0, 1.0});  // the created ramp
  setValues({0.25f, 0.5f, 1.0f});
  // 1.25, 1.5, 2.0 divided by 1.25.
  expectWeights({1.0, 1.0, 1.2, 1.6, 1.0});
}

// Values are clamped to [0, 1] for the weights only; creating the ramp again
// keeps what the animator set.
TEST_F(AngleBiasTest, ValuesAreClampedWithoutWritingBackAndCreateKeepsThem) {
  makeSolvedChain(5);
  setValues({-0.5f, 0.5f, 3.0f});
  expectWeights({1.0, 1.0, 1.5, 2.0, 1.0});
  ASSERT_EQ(veltraData::ikAngleBiasCreate(fJoints, fChain.handle, nullptr), HStatus::kSuccess);
  HFloatArray positions, values;
  HIntArray interps;
  veltraData::ikAngleBiasGet(fJoints, fChain.handle, positions, values, interps);
  EXPECT_EQ(values[0], -0.5f);
  EXPECT_EQ(values[2], 3.0f);
}

// One inner joint gets one entry, in the middle, and weighs one whatever its value.
TEST_F(AngleBiasTest, SingleInnerJointGetsOneMiddleEntryAndWeighsOne) {
  makeSolvedChain(3);
  HFloatArray positions, values;
  HIntArray interps;
  veltraData::ikAngleBiasGet(fJoints, fChain.handle, positions, values, interps);
  ASSERT_EQ(positions.length(), 1u);
  EXPECT_EQ(positions[0], 0.5f);
  EXPECT_EQ(values[0], 0.5f);
  for (float value : {0.0f, 1.0f, 5.0f}) {
    setValues({value});
    expectWeights({1.0, 1.0, 1.0});
  }
}

TEST_F(AngleBiasTest, RampOrderNotPositionDecidesTheJoint) {
  makeSolvedChain(4);
  // Entry 0 stays at position 0 and entry 1 at position 1; moving the values
  // swaps which joint is heavier.
  setValues({1.0f, 0.0f});
  expectWeights({1.0, 2.0, 1.0, 1.0});
  setValues({0.0f, 1.0f});
  expectWeights({1.0, 1.0, 2.0, 1.0});
}

TEST_F(AngleBiasTest, ExtraRampEntriesAreIgnored) {
  makeSolvedChain(4);
  HRampAttribute r = ramp();
  HFloatArray positions(1, 0.5f), values(1, 0.7f);
  HIntArray interps(1, int(HRampAttribute::kLinear));
  r.addEntries(positions, values, interps);
  setValues({0.5f, 1.0f});
  // 1.5 and 2.0 divided by 1.5; the extra entry weights neither the end
  // effector nor the normalisation.
  expectWeights({1.0, 1.0, 2.0 / 1.5, 1.0});
}

TEST_F(AngleBiasTest, InnerJointsWithoutRampEntryGetTheNeutralWeight) {
  makeSolvedChain(5);
  // The animator removed the last entry: that joint weighs as a value of 0.
  HRampAttribute r = ramp();
  HIntArray indices;
  HFloatArray positions, values;
  HIntArray interps;
  r.getEntries(indices, positions, values, interps);
  HIntArray last(1, indices[indices.length() - 1]);
  r.deleteEntries(last);
  setValues({1.0f, 1.0f});
  expectWeights({1.0, 2.0, 2.0, 1.0, 1.0});

  // An empty ramp weighs every joint equally.
  r.getEntries(indices, positions, values, interps);
  r.deleteEntries(indices);
  expectWeights({1.0, 1.0, 1.0, 1.0, 1.0});
}

TEST_F(AngleBiasTest, SetWritesEntriesAndRelocksPositions) {
  makeSolvedChain(5);
  HFloatArray positions(3), values(3);
  HIntArray interps(3, int(HRampAttribute::kLinear));
  for (unsigned i = 0; i < 3; ++i) {
    positions[i] = 0.1f * float(i + 1);
    values[i] = 0.2f * float(i);
  }
  ASSERT_EQ(veltraData::ikAngleBiasSet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kSuccess);
  HFloatArray readPositions, readValues;
  HIntArray readInterps;
  ASSERT_EQ(
      veltraData::ikAngleBiasGet(fJoints, fChain.handle, readPositions, readValues, readInterps),
      HStatus::kSuccess);
  const HPlug plug = HFnDependencyNode(fChain.handle.node()).findPlug("wexelAngleBias");
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(readPositions[i], positions[i]);
    EXPECT_EQ(readValues[i], values[i]);
    EXPECT_EQ(readInterps[i], interps[i]);
    EXPECT_TRUE(plug.elementByLogicalIndex(i).child(0).isLocked()) << i;
  }
}

TEST_F(AngleBiasTest, FailedSetStillRelocks) {
  makeSolvedChain(5);
  // Entry 1 does not exist any more, so the write stops there.
  HRampAttribute r = ramp();
  HIntArray one(1, 1);
  r.deleteEntries(one);
  HFloatArray positions(3, 0.3f), values(3, 0.9f);
  HIntArray interps(3, int(HRampAttribute::kSmooth));
  EXPECT_NE(veltraData::ikAngleBiasSet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kSuccess);
  HFnDependencyNode fnNode(fChain.handle.node());
  const HPlug element = fnNode.findPlug("wexelAngleBias").elementByLogicalIndex(0);
  EXPECT_EQ(element.child(0).asFloat(), 0.3f);  // written before the failure
  EXPECT_TRUE(element.child(0).isLocked());
}

TEST_F(AngleBiasTest, MissingRampIsAFailureWithoutMessage) {
  fChain = buildSolverChain(planarJoints(3), false);
  fJoints = solverChainOf(fChain.handle);
  ErrorCapture errors;
  HFloatArray positions, values;
  HIntArray interps;
  EXPECT_EQ(veltraData::ikAngleBiasGet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kFailure);
  EXPECT_EQ(positions.length(), 2u);
  EXPECT_EQ(veltraData::ikAngleBiasSet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kFailure);
  EXPECT_EQ(errors.text(), "");
}

}  // namespace

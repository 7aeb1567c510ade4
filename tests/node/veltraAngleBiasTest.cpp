// The angle bias ramp on a handle and the weights the solver derives from it.

#include <gtest/gtest.h>

#include <HFnDependencyNode.h>
#include <HPlug.h>
#include <HRampAttribute.h>

#include <cmath>
#include <random>

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
    fChain = buildSolverChain(planarSpecs(entries - 1));
    ASSERT_EQ(HIkSystem::solveHandle(fChain.handle.node()), HStatus::kSuccess);
    fJoints = solverChainOf(fChain.handle);
    ASSERT_EQ(fJoints.length(), entries);
  }

  HRampAttribute ramp() const {
    HFnDependencyNode fnNode(fChain.handle.node());
    return HRampAttribute(fChain.handle.node(), fnNode.attribute("wexelAngleBias"));
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

  std::vector<double> weights() {
    HDoubleArray out;
    EXPECT_EQ(fSolver.ikAngleBias(fJoints, fChain.handle, out, nullptr), HStatus::kSuccess);
    return std::vector<double>(out.begin(), out.end());
  }

  static void expectWeights(const std::vector<double>& actual,
                            const std::vector<double>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_NEAR(actual[i], expected[i], 1e-6) << "entry " << i;
    }
  }

  SolverChain fChain;
  HDagPathArray fJoints;
  veltra fSolver;
};

TEST_F(AngleBiasTest, DefaultRampWeightsEveryEntryEqually) {
  makeSolvedChain(5);
  expectWeights(weights(), {1.0, 1.0, 1.0, 1.0, 1.0});
}

TEST_F(AngleBiasTest, WeightsAreNormalisedToTheSmallestInnerWeight) {
  makeSolvedChain(5);
  setValues({0.25f, 0.5f, 1.0f});
  // 1.25, 1.5, 2.0 divided by 1.25.
  expectWeights(weights(), {1.0, 1.0, 1.2, 1.6, 1.0});
}

TEST_F(AngleBiasTest, ValuesAreClampedWithoutWritingBack) {
  makeSolvedChain(5);
  setValues({-0.5f, 0.5f, 3.0f});
  expectWeights(weights(), {1.0, 1.0, 1.5, 2.0, 1.0});
  HFloatArray positions, values;
  HIntArray interps;
  fSolver.ikAngleBiasGet(fJoints, fChain.handle, positions, values, interps);
  EXPECT_EQ(values[0], -0.5f);
  EXPECT_EQ(values[2], 3.0f);
}

TEST_F(AngleBiasTest, SingleInnerJointAlwaysWeighsOne) {
  makeSolvedChain(3);
  for (float value : {0.0f, 0.3f, 1.0f, 5.0f}) {
    setValues({value});
    expectWeights(weights(), {1.0, 1.0, 1.0});
  }
}

TEST_F(AngleBiasTest, RampOrderNotPositionDecidesTheJoint) {
  makeSolvedChain(4);
  // Entry 0 stays at position 0 and entry 1 at position 1; moving the values
  // swaps which joint is heavier.
  setValues({1.0f, 0.0f});
  expectWeights(weights(), {1.0, 2.0, 1.0, 1.0});
  setValues({0.0f, 1.0f});
  expectWeights(weights(), {1.0, 1.0, 2.0, 1.0});
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
  expectWeights(weights(), {1.0, 1.0, 2.0 / 1.5, 1.0});
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
  expectWeights(weights(), {1.0, 2.0, 2.0, 1.0, 1.0});

  // An empty ramp weighs every joint equally.
  r.getEntries(indices, positions, values, interps);
  r.deleteEntries(indices);
  expectWeights(weights(), {1.0, 1.0, 1.0, 1.0, 1.0});
}

TEST_F(AngleBiasTest, RandomValuesGiveWeightsBetweenOneAndTwo) {
  makeSolvedChain(8);
  std::mt19937 random(42u);
  std::uniform_real_distribution<float> value(-1.0f, 2.0f);
  for (int trial = 0; trial < 50; ++trial) {
    std::vector<float> values(6);
    for (float& v : values) {
      v = value(random);
    }
    setValues(values);
    const std::vector<double> w = weights();
    ASSERT_EQ(w.size(), 8u);
    EXPECT_EQ(w.front(), 1.0);
    EXPECT_EQ(w.back(), 1.0);
    double smallest = 10.0;
    for (size_t k = 1; k + 1 < w.size(); ++k) {
      EXPECT_GE(w[k], 1.0 - 1e-12);
      EXPECT_LE(w[k], 2.0 + 1e-12);
      smallest = std::min(smallest, w[k]);
    }
    EXPECT_NEAR(smallest, 1.0, 1e-12);
  }
}

TEST_F(AngleBiasTest, SetWritesEntriesAndRelocksPositions) {
  makeSolvedChain(5);
  HFloatArray positions(3), values(3);
  HIntArray interps(3);
  for (unsigned i = 0; i < 3; ++i) {
    positions[i] = 0.1f * float(i + 1);
    values[i] = 0.2f * float(i);
    interps[i] = int(HRampAttribute::kLinear);
  }
  ASSERT_EQ(fSolver.ikAngleBiasSet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kSuccess);

  HFloatArray readPositions, readValues;
  HIntArray readInterps;
  ASSERT_EQ(fSolver.ikAngleBiasGet(fJoints, fChain.handle, readPositions, readValues, readInterps),
            HStatus::kSuccess);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(readPositions[i], positions[i]);
    EXPECT_EQ(readValues[i], values[i]);
    EXPECT_EQ(readInterps[i], interps[i]);
  }
  HFnDependencyNode fnNode(fChain.handle.node());
  const HPlug plug = fnNode.findPlug("wexelAngleBias");
  for (unsigned i = 0; i < 3; ++i) {
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
  EXPECT_NE(fSolver.ikAngleBiasSet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kSuccess);
  HFnDependencyNode fnNode(fChain.handle.node());
  const HPlug element = fnNode.findPlug("wexelAngleBias").elementByLogicalIndex(0);
  EXPECT_EQ(element.child(0).asFloat(), 0.3f);  // written before the failure
  EXPECT_TRUE(element.child(0).isLocked());
}

TEST_F(AngleBiasTest, MissingRampIsAFailureWithoutMessage) {
  fChain = buildSolverChain(planarSpecs(3), false);
  fJoints = solverChainOf(fChain.handle);
  ErrorCapture errors;
  HFloatArray positions, values;
  HIntArray interps;
  EXPECT_EQ(fSolver.ikAngleBiasGet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kFailure);
  EXPECT_EQ(positions.length(), 2u);
  EXPECT_EQ(fSolver.ikAngleBiasSet(fJoints, fChain.handle, positions, values, interps),
            HStatus::kFailure);
  EXPECT_EQ(errors.text(), "");
}

TEST_F(AngleBiasTest, CreateKeepsAnExistingRamp) {
  makeSolvedChain(5);
  setValues({0.9f, 0.1f, 0.4f});
  ASSERT_EQ(fSolver.ikAngleBiasCreate(fJoints, fChain.handle, nullptr), HStatus::kSuccess);
  HFloatArray positions, values;
  HIntArray interps;
  fSolver.ikAngleBiasGet(fJoints, fChain.handle, positions, values, interps);
  EXPECT_EQ(values[0], 0.9f);
  EXPECT_EQ(values[1], 0.1f);
}

}  // namespace

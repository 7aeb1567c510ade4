// The handle attribute store: vectors, scalar arrays and vector arrays on the
// node behind a handle path, and shape mismatches.

#include <gtest/gtest.h>

#include <HFnNumericAttribute.h>
#include <HFnNumericData.h>
#include <HPlug.h>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerVeltraNodeType();
    HFileIO::newFile(true);
    fChain = buildSolverChain(planarJoints(2), false);
  }

  void addNumeric(const char* name, const char* shortName, HFnNumericData::Type type, bool array) {
    HFnNumericAttribute fn;
    const HObject attribute = fn.create(name, shortName, type, 0.0);
    fn.setArray(array);
    EXPECT_EQ(HFnDependencyNode(fChain.handle.node()).addAttribute(attribute), HStatus::kSuccess);
  }

  HPlug plugOf(const char* name) const {
    return HFnDependencyNode(fChain.handle.node()).findPlug(name);
  }

  SolverChain fChain;
};

TEST_F(StoreTest, AttributeExistsForAnyKindAndOnlyByName) {
  addNumeric("someVectors", "svec", HFnNumericData::k3Double, true);
  EXPECT_TRUE(veltraData::attributeExists(fChain.handle, "someVectors"));
  EXPECT_TRUE(veltraData::attributeExists(fChain.handle, "twist"));  // static ones count too
  EXPECT_FALSE(veltraData::attributeExists(fChain.handle, "noSuchAttribute"));
}

TEST_F(StoreTest, VectorRoundTripsThroughACompoundAndNothingElse) {
  addNumeric("vec", "vec", HFnNumericData::k3Double, false);
  const HVector written(1.5, -2.25, 1e-9);
  ASSERT_EQ(veltraData::setCompAttr(fChain.handle, "vec", written), HStatus::kSuccess);
  EXPECT_EQ(plugOf("vec").child(1).asDouble(), -2.25);
  HVector read(9.0, 9.0, 9.0);
  ASSERT_EQ(veltraData::getCompAttr(fChain.handle, "vec", read), HStatus::kSuccess);
  EXPECT_EQ(read, written);

  addNumeric("scalar", "scl", HFnNumericData::kDouble, false);
  plugOf("scalar").setValue(4.0);
  // Writing a vector into a scalar fails before touching it; reading one
  // leaves the vector as it was.
  EXPECT_EQ(veltraData::setCompAttr(fChain.handle, "scalar", HVector(1.0, 2.0, 3.0)),
            HStatus::kFailure);
  EXPECT_EQ(plugOf("scalar").asDouble(), 4.0);
  HVector untouched(7.0, 8.0, 9.0);
  veltraData::getCompAttr(fChain.handle, "scalar", untouched);
  EXPECT_EQ(untouched, HVector(7.0, 8.0, 9.0));
  EXPECT_NE(veltraData::getCompAttr(fChain.handle, "missing", untouched), HStatus::kSuccess);
  EXPECT_NE(veltraData::setCompAttr(fChain.handle, "missing", untouched), HStatus::kSuccess);
  EXPECT_EQ(untouched, HVector(7.0, 8.0, 9.0));
}

// Reads and writes move exactly as many elements as the caller's array holds.
TEST_F(StoreTest, ArraysMoveOnlyTheCallersElements) {
  addNumeric("values", "vals", HFnNumericData::kDouble, true);
  HDoubleArray empty;
  EXPECT_EQ(veltraData::setArrayAttr(fChain.handle, "values", empty), HStatus::kSuccess);
  EXPECT_EQ(veltraData::getArrayAttr(fChain.handle, "values", empty), HStatus::kSuccess);
  EXPECT_EQ(plugOf("values").numElements(), 0u);
  HDoubleArray five(5);
  for (unsigned i = 0; i < 5; ++i) {
    five[i] = 10.0 + i;
  }
  ASSERT_EQ(veltraData::setArrayAttr(fChain.handle, "values", five), HStatus::kSuccess);
  HDoubleArray two(2);
  two[0] = -1.0;
  two[1] = -2.0;
  ASSERT_EQ(veltraData::setArrayAttr(fChain.handle, "values", two), HStatus::kSuccess);
  HDoubleArray read(5);
  ASSERT_EQ(veltraData::getArrayAttr(fChain.handle, "values", read), HStatus::kSuccess);
  for (unsigned i = 0; i < 5; ++i) {
    EXPECT_EQ(read[i], i < 2 ? two[i] : 10.0 + i) << i;
  }
  HDoubleArray three(3, 99.0);
  veltraData::getArrayAttr(fChain.handle, "values", three);
  EXPECT_EQ(three.length(), 3u);
}

TEST_F(StoreTest, ArrayOperationsRefuseTheWrongShape) {
  addNumeric("scalar", "scl", HFnNumericData::kDouble, false);
  addNumeric("values", "vals", HFnNumericData::kDouble, true);
  plugOf("scalar").setValue(4.0);
  HDoubleArray values(2, 1.0);
  EXPECT_EQ(veltraData::setArrayAttr(fChain.handle, "scalar", values), HStatus::kFailure);
  EXPECT_EQ(plugOf("scalar").asDouble(), 4.0);
  HDoubleArray read(2, 5.0);
  EXPECT_EQ(veltraData::getArrayAttr(fChain.handle, "scalar", read), HStatus::kFailure);
  EXPECT_EQ(read[0], 5.0);
  EXPECT_EQ(veltraData::getArrayAttr(fChain.handle, "missing", read), HStatus::kFailure);
  // Neither a scalar nor an array of scalars is a vector array.
  HVectorArray vectors(2, HVector(3.0, 3.0, 3.0));
  for (const char* name : {"scalar", "values"}) {
    EXPECT_EQ(veltraData::getArrayCompAttr(fChain.handle, name, vectors), HStatus::kFailure)
        << name;
    EXPECT_EQ(veltraData::setArrayCompAttr(fChain.handle, name, vectors), HStatus::kFailure)
        << name;
  }
  EXPECT_EQ(vectors[0], HVector(3.0, 3.0, 3.0));
}

// A failure in the middle of a vector array does not stop the loop, and the
// last element handled decides the result.
TEST_F(StoreTest, VectorArraysRoundTripAndTheLastElementDecidesTheResult) {
  addNumeric("points", "pts", HFnNumericData::k3Double, true);
  HVectorArray written(3);
  for (unsigned i = 0; i < 3; ++i) {
    written[i] = HVector(i, -double(i), 0.5 * i + 1.0);
  }
  ASSERT_EQ(veltraData::setArrayCompAttr(fChain.handle, "points", written), HStatus::kSuccess);
  HVectorArray read(3);
  ASSERT_EQ(veltraData::getArrayCompAttr(fChain.handle, "points", read), HStatus::kSuccess);
  for (unsigned i = 0; i < 3; ++i) {
    EXPECT_EQ(read[i], written[i]) << i;
  }
  // The middle element's write fails on a locked component, the last one's
  // succeeds.
  plugOf("points").elementByLogicalIndex(1).child(2).setLocked(true);
  const HVectorArray changed(3, HVector(-1.0, -1.0, -1.0));
  EXPECT_EQ(veltraData::setArrayCompAttr(fChain.handle, "points", changed), HStatus::kSuccess);
  veltraData::getArrayCompAttr(fChain.handle, "points", read);
  EXPECT_EQ(read[0], changed[0]);
  EXPECT_EQ(read[1].z, written[1].z);
  EXPECT_EQ(read[2], changed[2]);
}

}  // namespace

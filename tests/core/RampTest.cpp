// HRampAttribute: which attributes are ramps, entries, locks, interpolation.

#include <algorithm>
#include <vector>

#include "CoreTestUtil.h"
#include "HFnCompoundAttribute.h"
#include "HFnEnumAttribute.h"
#include "HFnNumericAttribute.h"
#include "HRampAttribute.h"

using namespace coretest;

namespace {

class RampTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    fNode = create("network", "holder");
  }

  // An array compound named like a ramp; the knobs break one rule at a time.
  HObject makeRamp(const std::string& name, bool array = true,
                   const char* valueSuffix = "_FloatValue", bool withInterp = true) {
    HFnCompoundAttribute fnCompound;
    HObject ramp = fnCompound.create(name.c_str(), (name + "s").c_str());
    HFnNumericAttribute fnNumeric;
    fnCompound.addChild(fnNumeric.create((name + "_Position").c_str(), (name + "p").c_str(),
                                         HFnNumericData::kFloat, 0.0));
    fnCompound.addChild(fnNumeric.create((name + valueSuffix).c_str(), (name + "v").c_str(),
                                         HFnNumericData::kFloat, 1.0));
    if (withInterp) {
      HFnEnumAttribute fnEnum;
      fnCompound.addChild(fnEnum.create((name + "_Interp").c_str(), (name + "i").c_str(), 0));
      fnEnum.addField("None", 0);
      fnEnum.addField("Linear", 1);
      fnEnum.addField("Smooth", 2);
      fnEnum.addField("Spline", 3);
    }
    fnCompound.setArray(array);
    EXPECT_TRUE(succeeded(HFnDependencyNode(fNode).addAttribute(ramp)));
    return ramp;
  }

  HRampAttribute rampWith(const std::vector<float>& positions, const std::vector<float>& values,
                          HRampAttribute::HInterpolation interp) {
    HObject attribute = makeRamp("curve");
    HStatus status;
    HRampAttribute ramp(fNode, attribute, &status);
    EXPECT_TRUE(succeeded(status));
    HFloatArray p, v;
    HIntArray in;
    for (size_t i = 0; i < positions.size(); ++i) {
      p.append(positions[i]);
      v.append(values[i]);
      in.append(int(interp));
    }
    ramp.addEntries(p, v, in, &status);
    EXPECT_TRUE(succeeded(status));
    return ramp;
  }

  float at(const HRampAttribute& ramp, float position) {
    float value = -99.0f;
    HStatus status;
    ramp.getValueAtPosition(position, value, &status);
    EXPECT_TRUE(succeeded(status));
    return value;
  }

  HObject fNode;
};

TEST_F(RampTest, ConstructionRefusesWhatIsNotARamp) {
  HStatus status;
  HRampAttribute missing(fNode, HObject(), &status);
  EXPECT_FALSE(succeeded(status));
  EXPECT_FALSE(missing.isValid());
  HRampAttribute(fNode, makeRamp("single", false), &status);
  EXPECT_FALSE(succeeded(status));
  HRampAttribute(fNode, makeRamp("misnamed", true, "_Value"), &status);
  EXPECT_FALSE(succeeded(status));
  HRampAttribute(fNode, makeRamp("short", true, "_FloatValue", false), &status);
  EXPECT_FALSE(succeeded(status));
  HFnNumericAttribute fn;
  HObject numbers = fn.create("numbers", "nums", HFnNumericData::kFloat);
  fn.setArray(true);
  HFnDependencyNode(fNode).addAttribute(numbers);
  HRampAttribute(fNode, numbers, &status);
  EXPECT_FALSE(succeeded(status));
  HRampAttribute good(fNode, makeRamp("good"), &status);
  EXPECT_TRUE(succeeded(status));
  // An attribute of another node is not this node's ramp.
  HObject other = create("network");
  HRampAttribute(other, HFnDependencyNode(fNode).attribute("good"), &status);
  EXPECT_FALSE(succeeded(status));
}

TEST_F(RampTest, EntriesRoundTrip) {
  HRampAttribute ramp = rampWith({0.0f, 0.5f, 1.0f}, {0.5f, 0.25f, 1.0f}, HRampAttribute::kSpline);
  HIntArray indices, interps;
  HFloatArray positions, values;
  ramp.getEntries(indices, positions, values, interps);
  ASSERT_EQ(indices.length(), 3u);
  EXPECT_EQ(ramp.getNumEntries(), 3u);
  for (unsigned i = 0; i < 3; ++i)
    EXPECT_EQ(indices[i], int(i));
  EXPECT_EQ(positions[1], 0.5f);
  EXPECT_EQ(values[1], 0.25f);
  EXPECT_EQ(interps[2], 3);
  HIntArray gone;
  gone.append(0);
  gone.append(1);
  ramp.deleteEntries(gone);
  HFloatArray p, v;
  HIntArray in;
  p.append(0.75f);
  v.append(0.125f);
  in.append(1);
  ramp.addEntries(p, v, in);
  ramp.getEntries(indices, positions, values, interps);
  ASSERT_EQ(indices.length(), 2u);
  EXPECT_EQ(indices[0], 2);
  EXPECT_EQ(indices[1], 3);  // new entries go after the last one
  EXPECT_EQ(values[1], 0.125f);
  HStatus status;
  ramp.setValueAtIndex(0.375f, 3, &status);
  EXPECT_TRUE(succeeded(status));
  ramp.setInterpolationAtIndex(HRampAttribute::kNone, 3, &status);
  EXPECT_TRUE(succeeded(status));
  ramp.setPositionAtIndex(0.5f, 0, &status);  // no entry 0 any more
  EXPECT_FALSE(succeeded(status));
  ramp.getEntries(indices, positions, values, interps);
  EXPECT_EQ(values[1], 0.375f);
  EXPECT_EQ(interps[1], 0);
}

// A field fed by a connection reads its source; the others, and the field
// once the connection is gone, read what the ramp stores.
TEST_F(RampTest, FieldsFedByConnectionsReadTheirSource) {
  HRampAttribute ramp = rampWith({0.0f, 0.5f}, {0.25f, 0.75f}, HRampAttribute::kLinear);
  const HObject driver = create("transform", "driver");
  ASSERT_TRUE(succeeded(plug(driver, "tx").setValue(0.625)));
  const HPlug fed = plug(fNode, "curve").elementByLogicalIndex(1).child(1u);
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(driver, "tx"), fed)));
  HIntArray indices, interps;
  HFloatArray positions, values;
  ramp.getEntries(indices, positions, values, interps);
  ASSERT_EQ(values.length(), 2u);
  EXPECT_EQ(values[0], 0.25f);
  EXPECT_EQ(values[1], 0.625f);
  EXPECT_EQ(positions[1], 0.5f);
  EXPECT_EQ(interps[1], int(HRampAttribute::kLinear));
  ASSERT_TRUE(succeeded(hostdetail::disconnectPlugs(plug(driver, "tx"), fed)));
  ramp.getEntries(indices, positions, values, interps);
  ASSERT_EQ(values.length(), 2u);
  EXPECT_EQ(values[1], 0.75f);
}

TEST_F(RampTest, LockedFieldsRefuse) {
  HRampAttribute ramp = rampWith({0.0f, 1.0f}, {0.0f, 1.0f}, HRampAttribute::kLinear);
  HPlug array(fNode, HFnDependencyNode(fNode).attribute("curve"));
  ASSERT_TRUE(succeeded(array.elementByLogicalIndex(1).child(0).setLocked(true)));
  HStatus status;
  ramp.setPositionAtIndex(0.5f, 1, &status);
  EXPECT_FALSE(succeeded(status));
  ramp.setValueAtIndex(0.5f, 1, &status);
  EXPECT_TRUE(succeeded(status));
  HIntArray indices, interps;
  HFloatArray positions, values;
  ramp.getEntries(indices, positions, values, interps);
  EXPECT_EQ(positions[1], 1.0f);
  EXPECT_EQ(values[1], 0.5f);
}

TEST_F(RampTest, InterpolationBetweenEntries) {
  HRampAttribute linear = rampWith({0.0f, 1.0f}, {2.0f, 4.0f}, HRampAttribute::kLinear);
  EXPECT_FLOAT_EQ(at(linear, 0.25f), 2.5f);
  EXPECT_FLOAT_EQ(at(linear, -1.0f), 2.0f);  // constant beyond the ends
  EXPECT_FLOAT_EQ(at(linear, 3.0f), 4.0f);
  hostdetail::resetScene();
  fNode = create("network", "holder");
  HRampAttribute step = rampWith({0.5f, 0.0f}, {7.0f, 1.0f}, HRampAttribute::kNone);
  EXPECT_FLOAT_EQ(at(step, 0.49f), 1.0f);  // sorted by position, not index
  EXPECT_FLOAT_EQ(at(step, 0.5f), 7.0f);
  hostdetail::resetScene();
  fNode = create("network", "holder");
  HRampAttribute smooth = rampWith({0.0f, 1.0f}, {0.0f, 1.0f}, HRampAttribute::kSmooth);
  EXPECT_FLOAT_EQ(at(smooth, 0.5f), 0.5f);
  EXPECT_LT(at(smooth, 0.1f), 0.1f);  // eases in
  EXPECT_GT(at(smooth, 0.9f), 0.9f);
  hostdetail::resetScene();
  fNode = create("network", "holder");
  // A spline passes through its entries and is smooth across them.
  HRampAttribute spline =
      rampWith({0.0f, 0.25f, 0.5f, 1.0f}, {0.0f, 1.0f, 0.0f, 1.0f}, HRampAttribute::kSpline);
  EXPECT_FLOAT_EQ(at(spline, 0.25f), 1.0f);
  EXPECT_FLOAT_EQ(at(spline, 0.5f), 0.0f);
  float peakLeft = at(spline, 0.24f), peakRight = at(spline, 0.26f);
  EXPECT_GT(peakLeft, 0.9f);
  EXPECT_GT(peakRight, 0.9f);
  float value = 0;
  HStatus status;
  HRampAttribute().getValueAtPosition(0.5f, value, &status);
  EXPECT_FALSE(succeeded(status));
}

TEST_F(RampTest, EmptyRampReadsZero) {
  HRampAttribute ramp = rampWith({}, {}, HRampAttribute::kLinear);
  EXPECT_EQ(ramp.getNumEntries(), 0u);
  EXPECT_EQ(at(ramp, 0.5f), 0.0f);
}

}  // namespace

// HRampAttribute: which attributes are ramps, entries, locks, interpolation.

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

  HRampAttribute rampWith(const HFloatArray& positions, const HFloatArray& values,
                          HRampAttribute::HInterpolation interp, const char* name = "curve") {
    HStatus status;
    HRampAttribute ramp(fNode, makeRamp(name), &status);
    EXPECT_TRUE(succeeded(status));
    ramp.addEntries(positions, values, HIntArray(positions.length(), int(interp)), &status);
    EXPECT_TRUE(succeeded(status));
    return ramp;
  }

  struct Entries {
    HIntArray indices, interps;
    HFloatArray positions, values;
  };
  Entries entries(const HRampAttribute& ramp) {
    Entries e;
    ramp.getEntries(e.indices, e.positions, e.values, e.interps);
    return e;
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
  Entries e = entries(ramp);
  EXPECT_EQ(ramp.getNumEntries(), 3u);
  EXPECT_EQ(e.indices, HIntArray({0, 1, 2}));
  EXPECT_EQ(e.positions[1], 0.5f);
  EXPECT_EQ(e.values[1], 0.25f);
  EXPECT_EQ(e.interps[2], 3);
  ramp.deleteEntries(HIntArray({0, 1}));
  ramp.addEntries(HFloatArray({0.75f}), HFloatArray({0.125f}), HIntArray({1}));
  e = entries(ramp);
  EXPECT_EQ(e.indices, HIntArray({2, 3}));  // new entries go after the last one
  EXPECT_EQ(e.values[1], 0.125f);
  HStatus status;
  ramp.setValueAtIndex(0.375f, 3, &status);
  EXPECT_TRUE(succeeded(status));
  ramp.setInterpolationAtIndex(HRampAttribute::kNone, 3, &status);
  EXPECT_TRUE(succeeded(status));
  ramp.setPositionAtIndex(0.5f, 0, &status);  // no entry 0 any more
  EXPECT_FALSE(succeeded(status));
  e = entries(ramp);
  EXPECT_EQ(e.values[1], 0.375f);
  EXPECT_EQ(e.interps[1], 0);
}

// A field fed by a connection reads its source; the others, and the field
// once the connection is gone, read what the ramp stores.
TEST_F(RampTest, FieldsFedByConnectionsReadTheirSource) {
  HRampAttribute ramp = rampWith({0.0f, 0.5f}, {0.25f, 0.75f}, HRampAttribute::kLinear);
  const HObject driver = create("transform", "driver");
  ASSERT_TRUE(succeeded(plug(driver, "tx").setValue(0.625)));
  const HPlug fed = plug(fNode, "curve").elementByLogicalIndex(1).child(1u);
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(driver, "tx"), fed)));
  Entries e = entries(ramp);
  EXPECT_EQ(e.values, HFloatArray({0.25f, 0.625f}));
  EXPECT_EQ(e.positions[1], 0.5f);
  EXPECT_EQ(e.interps[1], int(HRampAttribute::kLinear));
  ASSERT_TRUE(succeeded(hostdetail::disconnectPlugs(plug(driver, "tx"), fed)));
  EXPECT_EQ(entries(ramp).values, HFloatArray({0.25f, 0.75f}));
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
  const Entries e = entries(ramp);
  EXPECT_EQ(e.positions[1], 1.0f);
  EXPECT_EQ(e.values[1], 0.5f);
}

TEST_F(RampTest, InterpolationBetweenEntries) {
  HRampAttribute linear = rampWith({0.0f, 1.0f}, {2.0f, 4.0f}, HRampAttribute::kLinear, "lin");
  EXPECT_FLOAT_EQ(at(linear, 0.25f), 2.5f);
  EXPECT_FLOAT_EQ(at(linear, -1.0f), 2.0f);  // constant beyond the ends
  EXPECT_FLOAT_EQ(at(linear, 3.0f), 4.0f);
  HRampAttribute step = rampWith({0.5f, 0.0f}, {7.0f, 1.0f}, HRampAttribute::kNone, "step");
  EXPECT_FLOAT_EQ(at(step, 0.49f), 1.0f);  // sorted by position, not index
  EXPECT_FLOAT_EQ(at(step, 0.5f), 7.0f);
  HRampAttribute smooth = rampWith({0.0f, 1.0f}, {0.0f, 1.0f}, HRampAttribute::kSmooth, "smo");
  EXPECT_FLOAT_EQ(at(smooth, 0.5f), 0.5f);
  EXPECT_LT(at(smooth, 0.1f), 0.1f);  // eases in
  EXPECT_GT(at(smooth, 0.9f), 0.9f);
  // A spline passes through its entries and is smooth across them.
  HRampAttribute spline =
      rampWith({0.0f, 0.25f, 0.5f, 1.0f}, {0.0f, 1.0f, 0.0f, 1.0f}, HRampAttribute::kSpline, "spl");
  EXPECT_FLOAT_EQ(at(spline, 0.25f), 1.0f);
  EXPECT_FLOAT_EQ(at(spline, 0.5f), 0.0f);
  EXPECT_GT(at(spline, 0.24f), 0.9f);
  EXPECT_GT(at(spline, 0.26f), 0.9f);
  // An empty ramp reads zero; no ramp at all is an error.
  HRampAttribute empty = rampWith({}, {}, HRampAttribute::kLinear, "none");
  EXPECT_EQ(empty.getNumEntries(), 0u);
  EXPECT_EQ(at(empty, 0.5f), 0.0f);
  float value = 0;
  HStatus status;
  HRampAttribute().getValueAtPosition(0.5f, value, &status);
  EXPECT_FALSE(succeeded(status));
}

}  // namespace

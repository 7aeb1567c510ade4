// Attributes and plugs: dynamic attributes, shapes, sparse arrays, locks,
// names, connections.

#include "CoreTestUtil.h"
#include "HFnCompoundAttribute.h"
#include "HFnEnumAttribute.h"
#include "HFnNumericAttribute.h"
#include "HFnTypedAttribute.h"

using namespace coretest;

namespace {

class PlugTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    fNode = create("transform", "holder");
  }

  HObject addNumeric(const char* longName, const char* shortName, HFnNumericData::Type type,
                     double value = 0.0, bool array = false) {
    HFnNumericAttribute fn;
    HStatus status;
    HObject attribute = fn.create(longName, shortName, type, value, &status);
    EXPECT_TRUE(succeeded(status));
    if (array)
      fn.setArray(true);
    EXPECT_TRUE(succeeded(HFnDependencyNode(fNode).addAttribute(attribute)));
    return attribute;
  }

  HObject fNode;
};

TEST_F(PlugTest, NumericTypesStoreWhatTheirTypeHolds) {
  addNumeric("flag", "fl", HFnNumericData::kBoolean, 1.0);
  addNumeric("count", "cn", HFnNumericData::kInt, 3.0);
  addNumeric("ratio", "ra2", HFnNumericData::kFloat, 0.1);
  EXPECT_TRUE(plug(fNode, "flag").asBool());
  EXPECT_EQ(plug(fNode, "cn").asInt(), 3);
  EXPECT_EQ(plug(fNode, "ratio").asDouble(), double(0.1f));
  ASSERT_TRUE(succeeded(plug(fNode, "count").setValue(7.9)));
  EXPECT_EQ(plug(fNode, "count").asDouble(), 7.0);
  ASSERT_TRUE(succeeded(plug(fNode, "flag").setValue(0)));
  EXPECT_FALSE(plug(fNode, "flag").asBool());
  // Non-finite values are refused and leave the value alone.
  EXPECT_FALSE(succeeded(plug(fNode, "ratio").setValue(std::nan(""))));
  EXPECT_EQ(plug(fNode, "ratio").asFloat(), 0.1f);
}

TEST_F(PlugTest, Double3IsACompoundOfNamedDoubles) {
  HObject attribute = addNumeric("restPole", "rp", HFnNumericData::k3Double, 0.5);
  HPlug compound(fNode, attribute);
  ASSERT_TRUE(compound.isCompound());
  ASSERT_EQ(compound.numChildren(), 3u);
  EXPECT_EQ(compound.child(0).name(), HString("holder.restPoleX"));
  EXPECT_EQ(compound.child(1).asDouble(), 0.5);
  ASSERT_TRUE(succeeded(plug(fNode, "rpy").setValue(2.0)));
  EXPECT_EQ(compound.child(1).asDouble(), 2.0);
  // A compound holds no value of its own.
  double v = 0;
  EXPECT_FALSE(succeeded(compound.getValue(v)));
  HStatus status;
  compound.child(3, &status);
  EXPECT_FALSE(succeeded(status));
}

TEST_F(PlugTest, SparseArraysKeepElementsBeyondAWrite) {
  HObject attribute = addNumeric("weights", "w", HFnNumericData::kDouble, 9.0, true);
  HPlug array(fNode, attribute);
  ASSERT_TRUE(array.isArray());
  EXPECT_EQ(array.numElements(), 0u);
  for (unsigned i = 0; i < 5; ++i)
    ASSERT_TRUE(succeeded(array.elementByLogicalIndex(i).setValue(10.0 + i)));
  for (unsigned i = 0; i < 2; ++i)
    ASSERT_TRUE(succeeded(array.elementByLogicalIndex(i).setValue(-1.0)));
  EXPECT_EQ(array.numElements(), 5u);
  EXPECT_EQ(array.elementByLogicalIndex(1).asDouble(), -1.0);
  for (unsigned i = 2; i < 5; ++i)
    EXPECT_EQ(array.elementByLogicalIndex(i).asDouble(), 10.0 + i);
  // A missing element reads as the default and is not made by reading.
  EXPECT_EQ(array.elementByLogicalIndex(40).asDouble(), 9.0);
  EXPECT_EQ(array.numElements(), 5u);
  ASSERT_TRUE(succeeded(array.elementByLogicalIndex(40).setValue(1.0)));
  HIntArray indices;
  EXPECT_EQ(array.getExistingArrayAttributeIndices(indices), 6u);
  EXPECT_EQ(indices[5], 40);
  EXPECT_EQ(array.elementByPhysicalIndex(5).logicalIndex(), 40u);
  ASSERT_TRUE(succeeded(array.elementByLogicalIndex(3).removeElement()));
  EXPECT_EQ(array.numElements(), 5u);
  EXPECT_EQ(array.elementByLogicalIndex(3).asDouble(), 9.0);
  EXPECT_EQ(array.elementByLogicalIndex(40).name(), HString("holder.weights[40]"));
  // An array plug is no value, and a non-array has no elements.
  double v = 0;
  EXPECT_FALSE(succeeded(array.getValue(v)));
  HStatus status;
  plug(fNode, "tx").elementByLogicalIndex(0, &status);
  EXPECT_FALSE(succeeded(status));
}

TEST_F(PlugTest, ArrayOfCompoundsNamesElementsAndChildren) {
  HFnCompoundAttribute fnCompound;
  HObject compound = fnCompound.create("samples", "smp");
  HFnNumericAttribute fnNumeric;
  HObject position = fnNumeric.create("samplePos", "spo", HFnNumericData::kFloat, 0.25);
  ASSERT_TRUE(succeeded(fnCompound.addChild(position)));
  EXPECT_FALSE(succeeded(fnCompound.addChild(position)));  // already has a parent
  EXPECT_FALSE(succeeded(fnCompound.addChild(compound)));  // itself
  fnCompound.setArray(true);
  ASSERT_TRUE(succeeded(HFnDependencyNode(fNode).addAttribute(compound)));
  HPlug element = HPlug(fNode, compound).elementByLogicalIndex(2);
  HPlug child = element.child(0);
  EXPECT_EQ(child.name(), HString("holder.samples[2].samplePos"));
  EXPECT_EQ(child.asFloat(), 0.25f);
  ASSERT_TRUE(succeeded(child.setValue(0.5f)));
  EXPECT_TRUE(child.isChild());
  EXPECT_EQ(child.parent(), element);
  EXPECT_EQ(element.array(), HPlug(fNode, compound));
  // The same plug found by name.
  HPlug parsed = hostdetail::plugFromName("holder.smp[2].spo");
  EXPECT_EQ(parsed, child);
  EXPECT_EQ(parsed.asFloat(), 0.5f);
  EXPECT_EQ(HFnDependencyNode(fNode).findPlug("samples[2].samplePos"), child);
  HStatus status;
  hostdetail::plugFromName("holder.tx[1]", &status);  // not an array
  EXPECT_FALSE(succeeded(status));
  hostdetail::plugFromName("holder.smp[x].spo", &status);
  EXPECT_FALSE(succeeded(status));
  hostdetail::plugFromName("holder.tx.spo", &status);  // not a child of tx
  EXPECT_FALSE(succeeded(status));
  // Without the element index the child names a plug that holds nothing.
  HPlug loose = HFnDependencyNode(fNode).findPlug("spo");
  EXPECT_FALSE(loose.isNull());
  float f = 0;
  EXPECT_FALSE(succeeded(loose.getValue(f)));
  EXPECT_FALSE(succeeded(loose.setValue(1.0f)));
  // Adding children to a compound in use is refused.
  EXPECT_FALSE(
      succeeded(fnCompound.addChild(fnNumeric.create("late", "lt", HFnNumericData::kFloat))));
}

TEST_F(PlugTest, LockedPlugsRefuseWrites) {
  addNumeric("gain", "gn", HFnNumericData::kDouble, 1.0);
  HPlug gain = plug(fNode, "gain");
  ASSERT_TRUE(succeeded(gain.setLocked(true)));
  EXPECT_TRUE(gain.isLocked());
  EXPECT_FALSE(succeeded(gain.setValue(5.0)));
  EXPECT_EQ(gain.asDouble(), 1.0);
  ASSERT_TRUE(succeeded(gain.setLocked(false)));
  EXPECT_TRUE(succeeded(gain.setValue(5.0)));
  // A locked compound guards its children; the child's own flag stays clear.
  ASSERT_TRUE(succeeded(plug(fNode, "translate").setLocked(true)));
  EXPECT_FALSE(succeeded(plug(fNode, "ty").setValue(3.0)));
  EXPECT_TRUE(plug(fNode, "ty").isLocked());
  EXPECT_FALSE(hostdetail::plugOwnLocked(plug(fNode, "ty")));
  EXPECT_EQ(value(fNode, "ty"), 0.0);
  // A locked array refuses new elements.
  HObject list = addNumeric("list", "ls", HFnNumericData::kInt, 0.0, true);
  HPlug array(fNode, list);
  ASSERT_TRUE(succeeded(array.setLocked(true)));
  EXPECT_FALSE(succeeded(array.elementByLogicalIndex(0).setValue(1)));
  EXPECT_EQ(array.numElements(), 0u);
}

TEST_F(PlugTest, DynamicAttributeNamesMustBeFree) {
  addNumeric("gain", "gn", HFnNumericData::kDouble);
  HFnNumericAttribute fn;
  HObject clash = fn.create("other", "tx", HFnNumericData::kDouble);
  EXPECT_FALSE(succeeded(HFnDependencyNode(fNode).addAttribute(clash)));
  HObject again = fn.create("gain", "g2", HFnNumericData::kDouble);
  EXPECT_FALSE(succeeded(HFnDependencyNode(fNode).addAttribute(again)));
  HStatus status;
  fn.create("bad name", "bn", HFnNumericData::kDouble, 0.0, &status);
  EXPECT_FALSE(succeeded(status));
  EXPECT_TRUE(fn.create("x", "x", HFnNumericData::kInvalid, 0.0, &status).isNull());
  // An attribute on one node cannot go onto another at the same time.
  HObject gain = HFnDependencyNode(fNode).attribute("gain");
  HObject other = create("network");
  EXPECT_FALSE(succeeded(HFnDependencyNode(other).addAttribute(gain)));
  EXPECT_EQ(HFnDependencyNode(fNode).attributeClass(gain), HFnDependencyNode::kLocalDynamicAttr);
  EXPECT_EQ(HFnDependencyNode(fNode).attributeClass(HFnDependencyNode(fNode).attribute("tx")),
            HFnDependencyNode::kNormalAttr);
}

TEST_F(PlugTest, RemovedAttributeTakesItsValuesAlong) {
  HObject gain = addNumeric("gain", "gn", HFnNumericData::kDouble, 1.0);
  ASSERT_TRUE(succeeded(plug(fNode, "gain").setValue(4.0)));
  HPlug stale = plug(fNode, "gain");
  ASSERT_TRUE(succeeded(HFnDependencyNode(fNode).removeAttribute(gain)));
  EXPECT_FALSE(HFnDependencyNode(fNode).hasAttribute("gain"));
  EXPECT_TRUE(stale.isNull());
  EXPECT_FALSE(succeeded(stale.setValue(2.0)));
  // Added again, it starts from its default.
  ASSERT_TRUE(succeeded(HFnDependencyNode(fNode).addAttribute(gain)));
  EXPECT_EQ(value(fNode, "gain"), 1.0);
  EXPECT_FALSE(succeeded(
      HFnDependencyNode(fNode).removeAttribute(HFnDependencyNode(fNode).attribute("tx"))));
}

TEST_F(PlugTest, EnumsAndStrings) {
  HFnEnumAttribute fnEnum;
  HObject mode = fnEnum.create("mode", "md", 0);
  fnEnum.addField("Off", 0);
  fnEnum.addField("On", 4);
  EXPECT_FALSE(succeeded(fnEnum.addField("On", 5)));
  fnEnum.setDefault(4);
  HFnDependencyNode(fNode).addAttribute(mode);
  EXPECT_EQ(plug(fNode, "mode").asInt(), 4);
  EXPECT_EQ(plug(fNode, "mode").asString(), HString("On"));
  ASSERT_TRUE(succeeded(plug(fNode, "md").setValue("Off")));
  EXPECT_EQ(plug(fNode, "md").asInt(), 0);
  EXPECT_EQ(fnEnum.fieldIndex("On"), 4);
  short lo = -1, hi = -1;
  fnEnum.getMin(lo);
  fnEnum.getMax(hi);
  EXPECT_EQ(lo, 0);
  EXPECT_EQ(hi, 4);

  HFnTypedAttribute fnTyped;
  HObject label = fnTyped.create("label", "lb", HFnData::kString);
  HFnDependencyNode(fNode).addAttribute(label);
  ASSERT_TRUE(succeeded(plug(fNode, "label").setValue("left arm")));
  EXPECT_EQ(plug(fNode, "lb").asString(), HString("left arm"));
  double v = 0;
  EXPECT_FALSE(succeeded(plug(fNode, "lb").getValue(v)));
}

TEST_F(PlugTest, ConnectedPlugsReadTheirSource) {
  HObject driver = create("transform", "driver");
  ASSERT_TRUE(succeeded(plug(driver, "tx").setValue(3.0)));
  ASSERT_TRUE(
      succeeded(hostdetail::connectPlugs(plug(driver, "translate"), plug(fNode, "rotate"))));
  EXPECT_EQ(value(fNode, "rx"), 3.0);
  EXPECT_TRUE(plug(fNode, "rotate").isDestination());
  EXPECT_EQ(plug(fNode, "rotate").source(), plug(driver, "translate"));
  // The destination's matrix follows its source.
  ASSERT_TRUE(succeeded(plug(driver, "tx").setValue(0.5)));
  expectMatrixNear(pathTo(fNode).inclusiveMatrix(), rotationAbout(0, 0.5));
  EXPECT_FALSE(succeeded(plug(fNode, "rx").setValue(1.0)));  // fed by the connection
  EXPECT_FALSE(
      succeeded(hostdetail::connectPlugs(plug(fNode, "translate"), plug(driver, "scale"))));
  EXPECT_FALSE(succeeded(hostdetail::connectPlugs(plug(driver, "tx"), plug(fNode, "translate"))));
  ASSERT_TRUE(
      succeeded(hostdetail::disconnectPlugs(plug(driver, "translate"), plug(fNode, "rotate"))));
  EXPECT_EQ(value(fNode, "rx"), 0.0);
  expectMatrixNear(pathTo(fNode).inclusiveMatrix(), HMatrix());
}

}  // namespace

// HDGModifier / HDagModifier: doIt, undoIt newest first, redo, exact restore.

#include "CoreTestUtil.h"
#include "HDGModifier.h"
#include "HFnCompoundAttribute.h"
#include "HFnDagNode.h"
#include "HFnNumericAttribute.h"

using namespace coretest;

namespace {

class ModifierTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    fNode = create("transform", "holder");
  }

  // A ramp-like array compound with a locked field and values in two elements.
  HObject addArrayCompound() {
    HFnCompoundAttribute fnCompound;
    HObject compound = fnCompound.create("entries", "en");
    HFnNumericAttribute fnNumeric;
    fnCompound.addChild(fnNumeric.create("entryA", "ea", HFnNumericData::kFloat, 0.0));
    fnCompound.addChild(fnNumeric.create("entryB", "eb", HFnNumericData::kDouble, 1.0));
    fnCompound.setArray(true);
    HFnAttribute(compound).setHidden(true);
    return compound;
  }

  HObject fNode;
};

TEST_F(ModifierTest, AddedAttributeIsUndoneAndRedone) {
  HFnNumericAttribute fn;
  HObject attribute = fn.create("gain", "gn", HFnNumericData::kDouble, 2.0);
  HDGModifier modifier;
  ASSERT_TRUE(succeeded(modifier.addAttribute(fNode, attribute)));
  EXPECT_FALSE(HFnDependencyNode(fNode).hasAttribute("gain"));  // recorded, not done
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_EQ(value(fNode, "gain"), 2.0);
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  EXPECT_FALSE(HFnDependencyNode(fNode).hasAttribute("gain"));
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_TRUE(HFnDependencyNode(fNode).hasAttribute("gn"));
  // Only class 1 (local dynamic) is accepted.
  EXPECT_FALSE(succeeded(modifier.addAttribute(
      fNode, fn.create("x2", "x2", HFnNumericData::kDouble), HFnDependencyNode::kNormalAttr)));
}

TEST_F(ModifierTest, RemovedAttributeComesBackExactly) {
  HObject compound = addArrayCompound();
  ASSERT_TRUE(succeeded(HFnDependencyNode(fNode).addAttribute(compound)));
  HPlug array(fNode, compound);
  array.elementByLogicalIndex(1).child(0).setValue(0.5f);
  array.elementByLogicalIndex(7).child(1).setValue(-3.25);
  array.elementByLogicalIndex(7).child(0).setLocked(true);
  HObject driver = create("transform", "driver");
  ASSERT_TRUE(succeeded(
      hostdetail::connectPlugs(plug(driver, "tx"), array.elementByLogicalIndex(1).child(1))));
  plug(driver, "tx").setValue(6.0);

  HDGModifier modifier;
  ASSERT_TRUE(succeeded(modifier.removeAttribute(fNode, compound)));
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_FALSE(HFnDependencyNode(fNode).hasAttribute("entries"));
  EXPECT_TRUE(hostdetail::allConnections().empty());
  ASSERT_TRUE(succeeded(modifier.undoIt()));

  ASSERT_TRUE(HFnDependencyNode(fNode).hasAttribute("entries"));
  HIntArray indices;
  array.getExistingArrayAttributeIndices(indices);
  EXPECT_EQ(indices, HIntArray({1, 7}));
  EXPECT_EQ(array.elementByLogicalIndex(1).child(0).asFloat(), 0.5f);
  EXPECT_EQ(array.elementByLogicalIndex(7).child(1).asDouble(), -3.25);
  EXPECT_TRUE(array.elementByLogicalIndex(7).child(0).isLocked());
  EXPECT_FALSE(array.elementByLogicalIndex(1).child(0).isLocked());
  EXPECT_EQ(array.elementByLogicalIndex(1).child(1).asDouble(), 6.0);  // through the connection
  EXPECT_TRUE(HFnAttribute(compound).isHidden());
  ASSERT_EQ(hostdetail::allConnections().size(), 1u);
}

TEST_F(ModifierTest, OpsAreUndoneNewestFirstAndRedone) {
  HDagModifier modifier;
  HStatus status;
  HObject parent = modifier.createNode("transform", HObject(), &status);
  ASSERT_TRUE(succeeded(status));
  HObject child = modifier.createNode("transform", parent, &status);
  ASSERT_TRUE(succeeded(status));
  modifier.renameNode(child, "leaf");
  HPlug tx(child, HFnDependencyNode(fNode).attribute("tx"));
  modifier.newPlugValueDouble(tx, 4.0);
  modifier.reparentNode(fNode, parent);
  EXPECT_TRUE(parent.isNull());  // made, but not in the scene before doIt

  ASSERT_TRUE(succeeded(modifier.doIt()));
  ASSERT_FALSE(child.isNull());
  EXPECT_EQ(hostdetail::nodeName(child), "leaf");
  EXPECT_EQ(tx.asDouble(), 4.0);
  EXPECT_EQ(pathTo(child).fullPathName(), HString("|transform1|leaf"));
  EXPECT_EQ(hostdetail::nodeParent(fNode), parent);

  ASSERT_TRUE(succeeded(modifier.undoIt()));
  EXPECT_TRUE(parent.isNull());
  EXPECT_TRUE(child.isNull());
  EXPECT_TRUE(hostdetail::nodeParent(fNode).isNull());
  EXPECT_EQ(pathTo(fNode).fullPathName(), HString("|holder"));

  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_FALSE(child.isNull());  // the same objects come back
  EXPECT_EQ(tx.asDouble(), 4.0);
  EXPECT_EQ(hostdetail::nodeParent(fNode), parent);
}

TEST_F(ModifierTest, DeletedNodesComeBackWithValuesConnectionsAndPlace) {
  HObject a = create("transform", "a");
  HObject b = create("transform", "b");
  HObject c = create("transform", "c");
  HObject kid = create("joint", "kid", b);
  plug(kid, "rx").setValue(0.75);
  plug(kid, "tz").setLocked(true);
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(a, "ty"), plug(c, "tx"))));
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(kid, "ry"), plug(c, "ty"))));
  HDGModifier modifier;
  modifier.deleteNode(b);
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_TRUE(b.isNull());
  EXPECT_TRUE(kid.isNull());
  EXPECT_EQ(hostdetail::allConnections().size(), 1u);
  EXPECT_TRUE(hostdetail::findNode("kid").isNull());
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  EXPECT_EQ(value(kid, "rx"), 0.75);
  EXPECT_TRUE(plug(kid, "tz").isLocked());
  EXPECT_EQ(hostdetail::allConnections().size(), 2u);
  EXPECT_EQ(hostdetail::findNode("|b|kid"), kid);
  EXPECT_EQ(hostdetail::dagNodesParentFirst(), (std::vector<HObject>{fNode, a, b, kid, c}));
}

TEST_F(ModifierTest, ValueEditsRestoreExactlyIncludingMissingElements) {
  HFnNumericAttribute fn;
  HObject list = fn.create("list", "ls", HFnNumericData::kDouble, 0.0);
  fn.setArray(true);
  HFnDependencyNode(fNode).addAttribute(list);
  HPlug array(fNode, list);
  array.elementByLogicalIndex(0).setValue(1.0);
  HDGModifier modifier;
  modifier.newPlugValueDouble(array.elementByLogicalIndex(0), 2.0);
  modifier.newPlugValueDouble(array.elementByLogicalIndex(5), 3.0);
  modifier.setPlugLocked(array.elementByLogicalIndex(0), true);
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_EQ(array.numElements(), 2u);
  EXPECT_TRUE(array.elementByLogicalIndex(0).isLocked());
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  EXPECT_EQ(array.numElements(), 1u);
  EXPECT_EQ(array.elementByLogicalIndex(0).asDouble(), 1.0);
  EXPECT_FALSE(array.elementByLogicalIndex(0).isLocked());
}

TEST_F(ModifierTest, FailedOpStopsDoItAndIsRetried) {
  HPlug tx = plug(fNode, "tx");
  tx.setLocked(true);
  HDGModifier modifier;
  modifier.renameNode(fNode, "renamed");
  modifier.newPlugValueDouble(tx, 1.0);
  EXPECT_FALSE(succeeded(modifier.doIt()));
  EXPECT_EQ(hostdetail::nodeName(fNode), "renamed");
  tx.setLocked(false);
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_EQ(tx.asDouble(), 1.0);
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  EXPECT_EQ(tx.asDouble(), 0.0);
  EXPECT_EQ(hostdetail::nodeName(fNode), "holder");
}

}  // namespace

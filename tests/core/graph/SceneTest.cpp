// Node lifetime, names, types, the registry, and selection lists.

#include "CoreTestUtil.h"
#include "HFnDagNode.h"
#include "HFnPlugin.h"
#include "HGlobal.h"
#include "HPxNode.h"
#include "HSelectionList.h"

using namespace coretest;

namespace {

class NodeLifetimeTest : public SceneTest {};

TEST_F(NodeLifetimeTest, DeletedNodeObjectFailsCleanly) {
  HObject parent = create("transform", "top");
  HObject child = create("joint", "arm", parent);
  HPlug tx = plug(child, "tx");
  HDagPath path = pathTo(child);
  ASSERT_TRUE(succeeded(hostdetail::deleteNode(parent)));
  for (const HObject& gone : {parent, child}) {
    EXPECT_TRUE(gone.isNull());
    EXPECT_EQ(gone.apiType(), HFn::kInvalid);
    HStatus status;
    HFnDependencyNode fn(gone, &status);
    EXPECT_FALSE(succeeded(status));
    EXPECT_EQ(fn.name(&status), HString());
    EXPECT_FALSE(succeeded(status));
    EXPECT_FALSE(succeeded(fn.addAttribute(HObject())));
    HFnTransform fnTransform(gone, &status);
    EXPECT_FALSE(succeeded(status));
    EXPECT_FALSE(succeeded(fnTransform.setTranslation(HVector(1, 2, 3), HSpace::kWorld)));
  }
  EXPECT_TRUE(tx.isNull());
  EXPECT_FALSE(succeeded(tx.setValue(1.0)));
  double v = 5;
  EXPECT_FALSE(succeeded(tx.getValue(v)));
  EXPECT_FALSE(path.isValid());
  EXPECT_FALSE(succeeded(path.pop()));
  expectMatrixNear(path.inclusiveMatrix(), HMatrix(), 0.0);
  EXPECT_TRUE(hostdetail::findNode("arm").isNull());
  // A new node never takes over the old objects.
  HObject fresh = create("joint", "arm");
  EXPECT_NE(fresh, child);
  EXPECT_TRUE(child.isNull());
}

TEST_F(NodeLifetimeTest, NamesAreUniqueAndFollowTheType) {
  HObject t1 = create("transform");
  HObject t2 = create("transform");
  HObject j1 = create("joint");
  EXPECT_EQ(hostdetail::nodeName(t1), "transform1");
  EXPECT_EQ(hostdetail::nodeName(t2), "transform2");
  EXPECT_EQ(hostdetail::nodeName(j1), "joint1");
  HObject clash = create("joint", "transform2");
  EXPECT_EQ(hostdetail::nodeName(clash), "transform3");
  HStatus status;
  HString chosen = HFnDependencyNode(j1).setName("transform1", &status);
  EXPECT_TRUE(succeeded(status));
  EXPECT_EQ(chosen, HString("transform4"));
  EXPECT_EQ(hostdetail::findNode("transform4"), j1);
  HFnDependencyNode(j1).setName("1bad", &status);
  EXPECT_FALSE(succeeded(status));
  hostdetail::createNode("transform", "a|b", HObject(), &status);
  EXPECT_FALSE(succeeded(status));
  hostdetail::createNode("noSuchType", "", HObject(), &status);
  EXPECT_FALSE(succeeded(status));

  // A freed name is the first one taken again, whether its node was deleted
  // or renamed, and a taken numbered name continues above its own number.
  std::vector<HObject> joints{j1};
  for (int i = 0; i < 5; ++i)
    joints.push_back(create("joint"));
  EXPECT_EQ(hostdetail::nodeName(joints.back()), "joint5");
  hostdetail::deleteNode(joints[2]);                       // joint2
  HFnDependencyNode(joints[4]).setName("elbow", &status);  // joint4
  EXPECT_EQ(hostdetail::nodeName(create("joint")), "joint2");
  EXPECT_EQ(hostdetail::nodeName(create("joint")), "joint4");
  EXPECT_EQ(hostdetail::nodeName(create("joint")), "joint6");
  EXPECT_EQ(hostdetail::nodeName(create("joint", "joint3")), "joint7");
  hostdetail::deleteNode(joints[1]);  // joint1
  EXPECT_EQ(hostdetail::nodeName(create("joint", "joint3")), "joint8");
  EXPECT_EQ(hostdetail::nodeName(create("joint")), "joint1");
}

TEST_F(NodeLifetimeTest, TypesReportTheirFunctionSets) {
  HObject joint = create("joint");
  EXPECT_EQ(joint.apiType(), HFn::kJoint);
  EXPECT_TRUE(joint.hasFn(HFn::kTransform) && joint.hasFn(HFn::kDagNode));
  EXPECT_FALSE(joint.hasFn(HFn::kIkHandle));
  HObject net = create("network");
  EXPECT_TRUE(net.hasFn(HFn::kDependencyNode) && !net.hasFn(HFn::kDagNode));
  HFnDependencyNode fn(joint);
  EXPECT_EQ(fn.typeName(), HString("joint"));
  EXPECT_TRUE(fn.hasAttribute("preferredAngleX") && fn.hasAttribute("pax"));
  EXPECT_EQ(value(joint, "radius"), 1.0);
  EXPECT_EQ(value(joint, "sy"), 1.0);
  EXPECT_TRUE(plug(joint, "v").asBool());
}

TEST_F(NodeLifetimeTest, IterationOrders) {
  HObject a = create("transform", "a");
  HObject net = create("network", "net");
  HObject b = create("transform", "b");
  HObject a1 = create("transform", "a1", a);
  HFnDagNode(b).setParent(a1);
  EXPECT_EQ(hostdetail::nodesInCreationOrder(), (std::vector<HObject>{a, net, b, a1}));
  EXPECT_EQ(hostdetail::dagNodesParentFirst(), (std::vector<HObject>{a, a1, b}));
  EXPECT_EQ(hostdetail::findNode("|a|a1|b"), b);
  EXPECT_TRUE(hostdetail::findNode("|a1|b").isNull());
  EXPECT_EQ(hostdetail::findNode("a1|b"), b);
  hostdetail::resetScene();
  EXPECT_TRUE(hostdetail::nodesInCreationOrder().empty());
  EXPECT_TRUE(a.isNull());
}

// A plug-in node type registered through HFnPlugin.
struct CountingNode : HPxNode {
  static int live;
  static int constructed;
  CountingNode() { ++live; }
  ~CountingNode() override { --live; }
  void postConstructor() override { constructed += thisHObject().isNull() ? 0 : 1; }
};
int CountingNode::live = 0;
int CountingNode::constructed = 0;
void* countingCreator() {
  return new CountingNode();
}
HStatus countingInit() {
  return HStatus(HStatus::kSuccess);
}
HStatus failingInit() {
  return HStatus(HStatus::kFailure);
}

class PluginTypeTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    hostdetail::PluginRecord record;
    record.name = "countingPlugin";
    fPlugin = hostdetail::addPluginRecord(record);
  }
  void TearDown() override {
    SceneTest::TearDown();
    HFnPlugin fn;
    fn.setObject(fPlugin);
    fn.deregisterNode(HTypeId(0x7001));
    hostdetail::removePluginRecord(fPlugin);
  }
  HObject fPlugin;
};

TEST_F(PluginTypeTest, PluginNodesOwnTheirObjects) {
  HFnPlugin fn;
  fn.setObject(fPlugin);
  EXPECT_EQ(fPlugin.apiType(), HFn::kPlugin);
  ASSERT_TRUE(
      succeeded(fn.registerNode("counting", HTypeId(0x7001), countingCreator, countingInit)));
  EXPECT_FALSE(
      succeeded(fn.registerNode("counting", HTypeId(0x7002), countingCreator, countingInit)));
  EXPECT_FALSE(
      succeeded(fn.registerNode("failing", HTypeId(0x7003), countingCreator, failingInit)));
  EXPECT_EQ(hostdetail::findNodeType("failing"), nullptr);
  int before = CountingNode::constructed;
  HObject node = create("counting");
  EXPECT_EQ(CountingNode::constructed, before + 1);
  HFnDependencyNode fnNode(node);
  EXPECT_EQ(fnNode.pluginName(), HString("countingPlugin"));
  EXPECT_EQ(node.apiType(), HFn::kPluginDependNode);
  ASSERT_NE(fnNode.userNode(), nullptr);
  EXPECT_EQ(fnNode.userNode()->name(), HString("counting1"));
  EXPECT_EQ(hostdetail::countNodesOfType(hostdetail::findNodeType("counting")), 1u);
  // Deregistering is refused while a node of the type exists.
  EXPECT_FALSE(succeeded(fn.deregisterNode(HTypeId(0x7001))));
  int live = CountingNode::live;
  hostdetail::deleteNode(node);
  EXPECT_EQ(CountingNode::live, live - 1);
  EXPECT_TRUE(succeeded(fn.deregisterNode(HTypeId(0x7001))));
  EXPECT_EQ(hostdetail::findNodeType("counting"), nullptr);
  // Without a plug-in object there is nothing to register for.
  HFnPlugin unattached;
  EXPECT_FALSE(
      succeeded(unattached.registerNode("loose", HTypeId(0x7004), countingCreator, nullptr)));
}

class SelectionTest : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    fArm = create("joint", "arm");
    fArmTip = create("joint", "armTip", fArm);
    fLeg = create("joint", "leg");
    fNet = create("network", "armNet");
  }
  HObject fArm, fArmTip, fLeg, fNet;
};

TEST_F(SelectionTest, AddByNameWildcardAndPath) {
  HSelectionList list;
  ASSERT_TRUE(succeeded(list.add("arm*")));
  EXPECT_EQ(list.length(), 3u);  // arm, armTip, armNet, in creation order
  HObject node;
  list.getDependNode(2, node);
  EXPECT_EQ(node, fNet);
  ASSERT_TRUE(succeeded(list.add("arm")));  // no duplicates
  EXPECT_EQ(list.length(), 3u);
  HSelectionList single;
  ASSERT_TRUE(succeeded(single.add("|arm|armTip")));
  single.getDependNode(0, node);
  EXPECT_EQ(node, fArmTip);
  ASSERT_TRUE(succeeded(single.add("l?g")));
  EXPECT_EQ(single.length(), 2u);
  HStatus status = single.add("nothing*");
  EXPECT_EQ(status.statusCode(), HStatus::kInvalidParameter);
}

TEST_F(SelectionTest, DagPathsOnlyForDagEntries) {
  HSelectionList list;
  list.add("armNet");
  list.add("leg");
  HDagPath path;
  EXPECT_FALSE(succeeded(list.getDagPath(0, path)));
  ASSERT_TRUE(succeeded(list.getDagPath(1, path)));
  EXPECT_EQ(path.node(), fLeg);
  EXPECT_FALSE(succeeded(list.getDagPath(2, path)));
  // A deleted node drops out of the list.
  hostdetail::deleteNode(fNet);
  EXPECT_EQ(list.length(), 1u);
  ASSERT_TRUE(succeeded(list.getDagPath(0, path)));
  EXPECT_EQ(path.node(), fLeg);
}

TEST_F(SelectionTest, ActiveSelection) {
  auto active = [] {
    HSelectionList list;
    HGlobal::getActiveSelectionList(list);
    return list;
  };
  HSelectionList list, more;
  list.add("leg");
  ASSERT_TRUE(succeeded(HGlobal::setActiveSelectionList(list)));
  EXPECT_EQ(active().length(), 1u);
  more.add("arm");
  more.add("leg");
  HGlobal::setActiveSelectionList(more, HGlobal::kXORWithList);
  EXPECT_TRUE(active().length() == 1u && active().hasItem(fArm));
  HGlobal::setActiveSelectionList(more, HGlobal::kAddToList);
  EXPECT_EQ(active().length(), 2u);
  HGlobal::setActiveSelectionList(list, HGlobal::kRemoveFromList);
  EXPECT_TRUE(active().length() == 1u && active().hasItem(fArm));
  HSelectionList byName;
  ASSERT_TRUE(succeeded(HGlobal::getSelectionListByName("armTip", byName)));
  EXPECT_TRUE(byName.hasItem(fArmTip));
  HGlobal::clearSelectionList();
  EXPECT_TRUE(active().isEmpty());
}

}  // namespace

// IK handle creation, the effector following its end joint, joints' own
// attributes, and handle snapping.

#include <cmath>

#include "AnimTestUtil.h"
#include "HFnDagNode.h"
#include "HFnIkEffector.h"

using namespace animtest;

namespace {

void expectVectorNear(const HVector& a, const HVector& b, double tolerance = 1e-9) {
  EXPECT_NEAR(a.x, b.x, tolerance);
  EXPECT_NEAR(a.y, b.y, tolerance);
  EXPECT_NEAR(a.z, b.z, tolerance);
}

class IkHandleTest : public IkTest {};

TEST_F(IkHandleTest, EffectorSitsUnderTheEndJointsParentAtItsPosition) {
  HObject handle = makeHandle(false);
  HFnIkHandle fn(handle);
  HDagPath effector, start;
  ASSERT_TRUE(succeeded(fn.getEffector(effector)));
  ASSERT_TRUE(succeeded(fn.getStartJoint(start)));
  EXPECT_EQ(start.node(), fJoint1);
  EXPECT_EQ(effector.apiType(), HFn::kIkEffector);
  EXPECT_EQ(hostdetail::nodeParent(effector.node()), fJoint2);
  EXPECT_EQ(effector.fullPathName(), HString("|joint1|joint2|effector1"));
  expectVectorNear(worldPosition(effector.node()), worldPosition(fJoint3));
  expectVectorNear(worldPosition(handle), worldPosition(fJoint3));
  EXPECT_EQ(pathOf(handle).apiType(), HFn::kIkHandle);
  EXPECT_TRUE(fn.solver().isNull());
}

TEST_F(IkHandleTest, EffectorFollowsTheEndJointsTranslation) {
  HObject handle = makeHandle(false);
  HDagPath effector;
  HFnIkHandle(handle).getEffector(effector);
  HFnIkJoint(fJoint3).setTranslation(HVector(3, 0.5, -1), HSpace::kTransform);
  expectVectorNear(worldPosition(effector.node()), worldPosition(fJoint3));
  ASSERT_TRUE(succeeded(plug(fJoint3, "ty").setValue(-2.0)));
  expectVectorNear(worldPosition(effector.node()), worldPosition(fJoint3));
  // Rotating the end joint does not move its position, nor the effector.
  HVector before = worldPosition(effector.node());
  HFnIkJoint(fJoint3).setRotation(HEulerRotation(0.3, 0.2, 0.1));
  expectVectorNear(worldPosition(effector.node()), before);
}

TEST_F(IkHandleTest, PoleVectorIsTheChainsBendDirection) {
  HObject handle = makeHandle(false);
  HVector pole(plug(handle, "pvx").asDouble(), plug(handle, "pvy").asDouble(),
               plug(handle, "pvz").asDouble());
  HVector start = worldPosition(fJoint1), middle = worldPosition(fJoint2),
          end = worldPosition(fJoint3);
  HVector axis = (end - start).normal();
  EXPECT_NEAR(pole.length(), 1.0, 1e-12);
  EXPECT_NEAR(pole * axis, 0.0, 1e-12);
  EXPECT_GT(pole * (middle - start), 0.0);  // towards the bend, not away from it
  // A straight chain has no bend: the pole vector is (0, 1, 0).
  HFnIkJoint(fJoint2).setRotation(HEulerRotation(0, 0, 0));
  HFnIkHandle fn;
  HObject straight = fn.create(pathOf(fJoint1), pathOf(fJoint3));
  EXPECT_EQ(plug(straight, "pvx").asDouble(), 0.0);
  EXPECT_EQ(plug(straight, "poleVectorY").asDouble(), 1.0);
  // Coincident joints (zero-length bones) give the same finite fallback.
  HFnIkJoint(fJoint2).setTranslation(HVector(0, 0, 0), HSpace::kTransform);
  HFnIkJoint(fJoint3).setTranslation(HVector(0, 0, 0), HSpace::kTransform);
  HObject collapsed = fn.create(pathOf(fJoint1), pathOf(fJoint3));
  EXPECT_EQ(plug(collapsed, "pvy").asDouble(), 1.0);
  EXPECT_EQ(plug(collapsed, "pvx").asDouble(), 0.0);
}

TEST_F(IkHandleTest, CreationNeedsAnEndBelowTheStart) {
  HFnIkHandle fn;
  HStatus status;
  fn.create(pathOf(fJoint3), pathOf(fJoint1), &status);
  EXPECT_FALSE(succeeded(status));
  fn.create(pathOf(fJoint2), pathOf(fJoint2), &status);
  EXPECT_FALSE(succeeded(status));
  HFnIkJoint fnJoint;
  HObject loose = fnJoint.create();
  fn.create(pathOf(fJoint1), pathOf(loose), &status);
  EXPECT_FALSE(succeeded(status));
  HObject transform = HFnTransform().create();
  fn.create(pathOf(transform), pathOf(fJoint3), &status);
  EXPECT_FALSE(succeeded(status));
  EXPECT_TRUE(hostdetail::findNode("effector1").isNull());  // nothing left behind
}

TEST_F(IkHandleTest, LinksSurviveRenamesAndBreakOnDeletion) {
  HObject handle = makeHandle(true);
  HFnDependencyNode(fJoint1).setName("shoulder");
  HFnDependencyNode(fSolver).setName("mySolver");
  HFnIkHandle fn(handle);
  HDagPath start;
  ASSERT_TRUE(succeeded(fn.getStartJoint(start)));
  EXPECT_EQ(start.fullPathName(), HString("|shoulder"));
  EXPECT_EQ(fn.solver(), fSolver);
  EXPECT_FALSE(succeeded(fn.setSolver(fJoint2)));  // not a solver
  ASSERT_TRUE(succeeded(fn.setSolver(HString("mySolver"))));
  hostdetail::deleteNode(fSolver);
  EXPECT_TRUE(fn.solver().isNull());
  hostdetail::deleteNode(fJoint1);
  EXPECT_FALSE(succeeded(fn.getStartJoint(start)));
  HDagPath effector;
  EXPECT_FALSE(succeeded(fn.getEffector(effector)));
}

TEST_F(IkHandleTest, JointPreferredAngles) {
  HFnIkJoint fn(fJoint2);
  double angles[3] = {0.1, -0.2, 0.3};
  ASSERT_TRUE(succeeded(fn.setPreferedAngle(angles)));
  double back[3] = {0, 0, 0};
  ASSERT_TRUE(succeeded(fn.getPreferedAngle(back)));
  EXPECT_EQ(back[1], -0.2);
  EXPECT_EQ(plug(fJoint2, "pay").asDouble(), -0.2);
  double bad[3] = {0, NAN, 0};
  EXPECT_FALSE(succeeded(fn.setPreferedAngle(bad)));
  HStatus status;
  HFnIkJoint notJoint(HFnTransform().create(), &status);
  EXPECT_FALSE(succeeded(status));
  EXPECT_FALSE(succeeded(notJoint.setPreferedAngle(angles)));
}

TEST_F(IkHandleTest, SnapMovesTheHandleOntoTheEffector) {
  HObject handle = makeHandle(false);
  HObject group = HFnTransform().create();
  HFnTransform(group).setTranslation(HVector(0, 5, 0), HSpace::kTransform);
  double s[3] = {2, 2, 2};
  HFnTransform(group).setScale(s);
  HFnDagNode(handle).setParent(group);
  HFnTransform(handle).setTranslation(HVector(9, 9, 9), HSpace::kTransform);
  ASSERT_TRUE(succeeded(HIkSystem::snapHandle(handle)));
  HDagPath effector;
  HFnIkHandle(handle).getEffector(effector);
  expectVectorNear(worldPosition(handle), worldPosition(effector.node()));
  // With a solver, the solver's snapHandle is asked.
  HFnIkHandle(handle).setSolver(HFnDependencyNode().create("recordingSolver"));
  HFnIkJoint(fJoint1).setRotation(HEulerRotation(0, 0, 0.4));
  ASSERT_TRUE(succeeded(HIkSystem::snapHandle(handle)));
  EXPECT_EQ(RecordingSolver::snaps(), 1);
  expectVectorNear(worldPosition(handle), worldPosition(effector.node()));
  EXPECT_FALSE(succeeded(HIkSystem::snapHandle(fJoint1)));
}

}  // namespace

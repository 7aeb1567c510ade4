// World matrices, their cache, and the transform function set.

#include <random>
#include <string>
#include <vector>

#include "../../host/core/Attribute.h"
#include "CoreTestUtil.h"
#include "HFnDagNode.h"
#include "HQuaternion.h"
#include "HTransformationMatrix.h"

using namespace coretest;

namespace {

struct Components {
  double t[3], r[3], s[3], sh[3], ra[3], jo[3];
  int ro;
};

class HierarchyTest : public SceneTest {
 protected:
  std::mt19937 fRandom{20261123};

  double uniform(double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(fRandom);
  }

  Components randomComponents() {
    Components c;
    for (int i = 0; i < 3; ++i) {
      c.t[i] = uniform(-2, 2);
      c.r[i] = uniform(-3, 3);
      c.s[i] = uniform(0.5, 1.6) * (i == 1 ? -1.0 : 1.0);  // a mirrored axis too
      c.sh[i] = uniform(-0.3, 0.3);
      c.ra[i] = uniform(-1, 1);
      c.jo[i] = uniform(-1, 1);
    }
    c.ro = int(fRandom() % 6);
    return c;
  }

  void apply(const HObject& node, const Components& c) {
    static const char* kT[] = {"tx", "ty", "tz"};
    static const char* kR[] = {"rx", "ry", "rz"};
    static const char* kS[] = {"sx", "sy", "sz"};
    static const char* kSh[] = {"shxy", "shxz", "shyz"};
    static const char* kRa[] = {"rax", "ray", "raz"};
    static const char* kJo[] = {"jox", "joy", "joz"};
    for (int i = 0; i < 3; ++i) {
      ASSERT_TRUE(succeeded(plug(node, kT[i]).setValue(c.t[i])));
      ASSERT_TRUE(succeeded(plug(node, kR[i]).setValue(c.r[i])));
      ASSERT_TRUE(succeeded(plug(node, kS[i]).setValue(c.s[i])));
      ASSERT_TRUE(succeeded(plug(node, kSh[i]).setValue(c.sh[i])));
      ASSERT_TRUE(succeeded(plug(node, kRa[i]).setValue(c.ra[i])));
      if (HFnDependencyNode(node).hasAttribute("jo")) {
        ASSERT_TRUE(succeeded(plug(node, kJo[i]).setValue(c.jo[i])));
      }
    }
    ASSERT_TRUE(succeeded(plug(node, "ro").setValue(c.ro)));
  }

  // S * Sh * RA * R * JO * T from the components alone.
  HMatrix expectedLocal(const Components& c, bool joint) {
    HMatrix rx = rotationX(c.r[0]), ry = rotationY(c.r[1]), rz = rotationZ(c.r[2]);
    HMatrix r;
    switch (c.ro) {
      case 0:
        r = rx * ry * rz;
        break;
      case 1:
        r = ry * rz * rx;
        break;
      case 2:
        r = rz * rx * ry;
        break;
      case 3:
        r = rx * rz * ry;
        break;
      case 4:
        r = ry * rx * rz;
        break;
      default:
        r = rz * ry * rx;
        break;
    }
    HMatrix jo = joint ? eulerXYZ(c.jo[0], c.jo[1], c.jo[2]) : HMatrix();
    return scaling(c.s[0], c.s[1], c.s[2]) * shearing(c.sh[0], c.sh[1], c.sh[2]) *
           eulerXYZ(c.ra[0], c.ra[1], c.ra[2]) * r * jo * translation(c.t[0], c.t[1], c.t[2]);
  }

  // A chain of nodes, each under the previous, mixing joints and transforms.
  void buildChain(int depth) {
    HObject parent;
    for (int i = 0; i < depth; ++i) {
      bool joint = i % 3 != 1;
      HObject node = create(joint ? "joint" : "transform", "", parent);
      Components c = randomComponents();
      apply(node, c);
      fNodes.push_back(node);
      fComponents.push_back(c);
      fIsJoint.push_back(joint);
      parent = node;
    }
  }

  HMatrix expectedWorld(size_t index) {
    // Children apply first: world = local(index) * ... * local(0).
    HMatrix product;
    for (size_t i = index + 1; i-- > 0;)
      product = product * expectedLocal(fComponents[i], fIsJoint[i]);
    return product;
  }

  void expectAllWorldsRight() {
    for (size_t i = 0; i < fNodes.size(); ++i) {
      HDagPath path = pathTo(fNodes[i]);
      HMatrix expected = expectedWorld(i);
      expectMatrixNear(path.inclusiveMatrix(), expected, 1e-8);
      expectMatrixNear(path.inclusiveMatrix() * path.inclusiveMatrixInverse(), HMatrix(), 1e-8);
      HMatrix parentWorld = i ? expectedWorld(i - 1) : HMatrix();
      expectMatrixNear(path.exclusiveMatrix(), parentWorld, 1e-8);
    }
  }

  std::vector<HObject> fNodes;
  std::vector<Components> fComponents;
  std::vector<bool> fIsJoint;
};

TEST_F(HierarchyTest, WorldMatrixIsTheProductOfLocalMatrices) {
  buildChain(12);
  expectAllWorldsRight();
}

TEST_F(HierarchyTest, WorldMatricesFollowEditsAnywhereAbove) {
  buildChain(10);
  expectAllWorldsRight();  // fills the cache
  for (size_t level : {size_t(7), size_t(0), size_t(4), size_t(9), size_t(2)}) {
    Components c = randomComponents();
    apply(fNodes[level], c);
    fComponents[level] = c;
    expectAllWorldsRight();
  }
}

TEST_F(HierarchyTest, ReparentingMovesTheSubtreeWithItsLocalTransform) {
  buildChain(6);
  expectAllWorldsRight();
  HObject other = create("transform");
  Components c = randomComponents();
  apply(other, c);
  ASSERT_TRUE(succeeded(HFnDagNode(fNodes[3]).setParent(other)));
  // Nodes 3..5 now hang below `other` instead of node 2.
  HMatrix expected = expectedLocal(c, false);
  for (size_t i = 3; i < 6; ++i) {
    expected = expectedLocal(fComponents[i], fIsJoint[i]) * expected;
    expectMatrixNear(pathTo(fNodes[i]).inclusiveMatrix(), expected, 1e-8);
  }
  EXPECT_FALSE(succeeded(HFnDagNode(fNodes[0]).setParent(fNodes[2])));  // below itself
  EXPECT_FALSE(succeeded(HFnDagNode(other).setParent(fNodes[5])));
}

TEST_F(HierarchyTest, TransformationHoldsTheNodesComponents) {
  buildChain(2);
  HTransformationMatrix tm = HFnTransform(fNodes[0]).transformation();
  expectMatrixNear(tm.asMatrix(), expectedLocal(fComponents[0], true), 1e-9);
  // Setting it on another node reproduces the local matrix.
  HObject copy = create("joint");
  ASSERT_TRUE(succeeded(HFnTransform(copy).set(tm)));
  expectMatrixNear(pathTo(copy).inclusiveMatrix(), expectedLocal(fComponents[0], true), 1e-9);
}

class TransformFnTest : public SceneTest {};

TEST_F(TransformFnTest, RotateByInObjectSpaceActsAfterTheRotateOrientation) {
  HObject node = create("joint");
  HFnTransform fn(node);
  double r[3] = {0.3, -0.2, 0.5};
  fn.setRotation(r, HTransformationMatrix::kXYZ);
  fn.setRotateOrientation(HEulerRotation(0.4, 0.1, -0.6).asQuaternion(), HSpace::kTransform);
  double s[3] = {1.5, 0.7, 1.2};
  fn.setScale(s);
  HQuaternion q(0.8, HVector(1, 2, -1));
  ASSERT_TRUE(succeeded(fn.rotateBy(q, HSpace::kObject)));
  HMatrix expected =
      scaling(1.5, 0.7, 1.2) * eulerXYZ(0.4, 0.1, -0.6) * q.asMatrix() * eulerXYZ(0.3, -0.2, 0.5);
  expectMatrixNear(pathTo(node).inclusiveMatrix(), expected, 1e-9);
  // The new angles stay close to the old ones (no jump by a whole turn).
  HEulerRotation after;
  fn.getRotation(after);
  EXPECT_LT(std::fabs(after.x - 0.3) + std::fabs(after.y + 0.2) + std::fabs(after.z - 0.5), 3.0);
}

TEST_F(TransformFnTest, RotateByInTransformSpaceActsAfterTheExistingRotation) {
  HObject node = create("transform");
  HFnTransform fn(node);
  double r[3] = {0.3, -0.2, 0.5};
  fn.setRotation(r, HTransformationMatrix::kXYZ);
  HQuaternion q(-0.7, HVector(0, 1, 1));
  ASSERT_TRUE(succeeded(fn.rotateBy(q, HSpace::kTransform)));
  expectMatrixNear(pathTo(node).inclusiveMatrix(), eulerXYZ(0.3, -0.2, 0.5) * q.asMatrix(), 1e-9);
}

TEST_F(TransformFnTest, WorldTranslationGoesThroughTheParent) {
  HObject parent = create("transform");
  HFnTransform fnParent(parent);
  fnParent.setTranslation(HVector(1, 2, 3), HSpace::kTransform);
  double r[3] = {0, 0, 1.5707963267948966};
  fnParent.setRotation(r, HTransformationMatrix::kXYZ);
  double s[3] = {2, 2, 2};
  fnParent.setScale(s);
  HObject child = create("transform", "", parent);
  HFnTransform fn(child);
  fn.setTranslation(HVector(1, 0, 0), HSpace::kTransform);
  // (1,0,0) scaled by 2 and turned a quarter about z lands at (0,2,0), plus (1,2,3).
  HVector world = fn.translation(HSpace::kWorld);
  EXPECT_NEAR(world.x, 1, 1e-12);
  EXPECT_NEAR(world.y, 4, 1e-12);
  EXPECT_NEAR(world.z, 3, 1e-12);
  ASSERT_TRUE(succeeded(fn.translateBy(HVector(0, 0, 5), HSpace::kWorld)));
  world = fn.translation(HSpace::kWorld);
  EXPECT_NEAR(world.z, 8, 1e-12);
  EXPECT_NEAR(fn.translation(HSpace::kTransform).z, 2.5, 1e-12);
  ASSERT_TRUE(succeeded(fn.setTranslation(HVector(-1, -1, -1), HSpace::kWorld)));
  world = fn.translation(HSpace::kWorld);
  EXPECT_NEAR(world.x, -1, 1e-12);
  EXPECT_NEAR(world.y, -1, 1e-12);
  EXPECT_NEAR(world.z, -1, 1e-12);
}

TEST_F(TransformFnTest, SingularParentGivesFiniteResults) {
  HObject parent = create("transform");
  double zero[3] = {0, 0, 0};
  HFnTransform(parent).setScale(zero);
  HObject child = create("transform", "", parent);
  HFnTransform fn(child);
  ASSERT_TRUE(succeeded(fn.translateBy(HVector(1, 1, 1), HSpace::kWorld)));
  HMatrix inverse = pathTo(child).inclusiveMatrixInverse();
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      EXPECT_TRUE(std::isfinite(inverse.matrix[r][c]));
  EXPECT_TRUE(std::isfinite(fn.translation(HSpace::kTransform).x));
}

TEST_F(TransformFnTest, RotationOrderAndReorder) {
  HObject node = create("transform");
  HFnTransform fn(node);
  double r[3] = {0.4, 0.2, -0.3};
  fn.setRotation(r, HTransformationMatrix::kXYZ);
  HMatrix before = pathTo(node).inclusiveMatrix();
  ASSERT_TRUE(succeeded(fn.setRotationOrder(HTransformationMatrix::kZXY, true)));
  EXPECT_EQ(fn.rotationOrder(), HTransformationMatrix::kZXY);
  expectMatrixNear(pathTo(node).inclusiveMatrix(), before, 1e-9);
  EXPECT_EQ(plug(node, "ro").asInt(), 2);
  // Without reorder the angles stay and the orientation changes.
  ASSERT_TRUE(succeeded(fn.setRotationOrder(HTransformationMatrix::kXYZ, false)));
  EXPECT_FALSE(pathTo(node).inclusiveMatrix().isEquivalent(before, 1e-6));
  EXPECT_FALSE(succeeded(fn.setRotationOrder(HTransformationMatrix::kInvalid, false)));
}

TEST_F(TransformFnTest, LockedComponentsRefuseFunctionSetWrites) {
  HObject node = create("transform");
  ASSERT_TRUE(succeeded(plug(node, "rotate").setLocked(true)));
  HFnTransform fn(node);
  double r[3] = {1, 1, 1};
  EXPECT_FALSE(succeeded(fn.setRotation(r, HTransformationMatrix::kXYZ)));
  EXPECT_EQ(value(node, "rx"), 0.0);
  EXPECT_FALSE(succeeded(fn.rotateBy(HQuaternion(1.0, HVector(0, 0, 1)), HSpace::kObject)));
  double nan3[3] = {NAN, 0, 0};
  EXPECT_FALSE(succeeded(fn.setScale(nan3)));
  EXPECT_EQ(value(node, "sx"), 1.0);
}

// A three-component write stores the free components, refuses the locked
// one, and tells listeners once: of the leaf when one component changed, of
// the compound when more did, not at all when none did.
TEST_F(TransformFnTest, ThreeComponentWritesAreReportedOnce) {
  struct Heard {
    std::vector<std::string> names;
    static void listen(const hostdetail::Change& change, void* data) {
      if (change.kind == hostdetail::ChangeKind::kValueChanged && change.attribute)
        static_cast<Heard*>(data)->names.push_back(change.attribute->longName);
    }
  } heard;
  HObject node = create("transform");
  HFnTransform fn(node);
  const int id = hostdetail::addChangeListener(&Heard::listen, &heard);

  double r[3] = {0.5, -0.25, 1.0};
  EXPECT_TRUE(succeeded(fn.setRotation(r, HTransformationMatrix::kXYZ)));
  EXPECT_EQ(heard.names, std::vector<std::string>{"rotate"});

  heard.names.clear();
  EXPECT_TRUE(succeeded(fn.setRotation(r, HTransformationMatrix::kXYZ)));
  EXPECT_TRUE(heard.names.empty());

  r[1] = 0.75;
  EXPECT_TRUE(succeeded(fn.setRotation(r, HTransformationMatrix::kXYZ)));
  EXPECT_EQ(heard.names, std::vector<std::string>{"rotateY"});

  heard.names.clear();
  ASSERT_TRUE(succeeded(plug(node, "tx").setLocked(true)));
  heard.names.clear();
  EXPECT_FALSE(succeeded(fn.setTranslation(HVector(1.0, 2.0, 3.0), HSpace::kTransform)));
  EXPECT_EQ(value(node, "tx"), 0.0);
  EXPECT_EQ(value(node, "ty"), 2.0);
  EXPECT_EQ(value(node, "tz"), 3.0);
  EXPECT_EQ(heard.names, std::vector<std::string>{"translate"});
  // The world matrix follows the written components.
  EXPECT_EQ(pathTo(node).inclusiveMatrix().matrix[3][2], 3.0);
  hostdetail::removeChangeListener(id);
}

class DagPathTest : public SceneTest {};

TEST_F(DagPathTest, PathsNameTheTipAndItsAncestors) {
  HObject a = create("joint", "a");
  HObject b = create("joint", "b", a);
  HObject c = create("transform", "c", b);
  HDagPath path = pathTo(c);
  EXPECT_EQ(path.length(), 3u);
  EXPECT_EQ(path.fullPathName(), HString("|a|b|c"));
  EXPECT_EQ(path.partialPathName(), HString("c"));
  EXPECT_EQ(path.apiType(), HFn::kTransform);
  EXPECT_TRUE(path.hasFn(HFn::kDagNode));
  ASSERT_TRUE(succeeded(path.pop()));
  EXPECT_EQ(path.node(), b);
  EXPECT_EQ(path.apiType(), HFn::kJoint);
  EXPECT_FALSE(succeeded(path.pop(2)));  // would leave the world
  EXPECT_EQ(path.node(), b);
  ASSERT_TRUE(succeeded(path.pop(1)));
  EXPECT_FALSE(succeeded(path.pop()));
  EXPECT_EQ(path.node(), a);
  EXPECT_TRUE(succeeded(path.push(b)));
  EXPECT_FALSE(succeeded(path.push(a)));
}

TEST_F(DagPathTest, NonDagNodesHaveNoPath) {
  HObject net = create("network");
  HDagPath path;
  EXPECT_FALSE(succeeded(HDagPath::getAPathTo(net, path)));
  EXPECT_FALSE(path.isValid());
  HStatus status;
  HFnTransform fn(net, &status);
  EXPECT_FALSE(succeeded(status));
  // An invalid path gives the identity, never garbage.
  expectMatrixNear(path.inclusiveMatrix(), HMatrix(), 0.0);
}

}  // namespace

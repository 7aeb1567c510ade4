// World matrices, their cache, and the transform function set.

#include <random>
#include <string>
#include <vector>

#include "CoreTestUtil.h"
#include "HFnDagNode.h"
#include "HQuaternion.h"
#include "HTransformationMatrix.h"
#include "graph/Attribute.h"

using namespace coretest;

namespace {

// The values of kComponentPlugs, plus the rotation order.
struct Components {
  double v[6][3];
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
      c.v[0][i] = uniform(-2, 2);
      c.v[1][i] = uniform(-3, 3);
      c.v[2][i] = uniform(0.5, 1.6) * (i == 1 ? -1.0 : 1.0);  // a mirrored axis too
      c.v[3][i] = uniform(-0.3, 0.3);
      c.v[4][i] = uniform(-1, 1);
      c.v[5][i] = uniform(-1, 1);
    }
    c.ro = int(fRandom() % 6);
    return c;
  }

  void apply(const HObject& node, const Components& c) {
    const int groups = HFnDependencyNode(node).hasAttribute("jo") ? 6 : 5;
    for (int g = 0; g < groups; ++g)
      for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(succeeded(plug(node, kComponentPlugs[g][i]).setValue(c.v[g][i])));
    ASSERT_TRUE(succeeded(plug(node, "ro").setValue(c.ro)));
  }

  // S * Sh * RA * R * JO * T from the components alone.
  HMatrix expectedLocal(const Components& c, bool joint) {
    static const int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1},
                                    {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
    const double* r = c.v[1];
    const HMatrix axis[3] = {rotationAbout(0, r[0]), rotationAbout(1, r[1]),
                             rotationAbout(2, r[2])};
    const int* o = kAxes[c.ro];
    const double *t = c.v[0], *s = c.v[2], *sh = c.v[3], *ra = c.v[4], *jo = c.v[5];
    HMatrix joMatrix = joint ? eulerXYZ(jo[0], jo[1], jo[2]) : HMatrix();
    return scaling(s[0], s[1], s[2]) * shearing(sh[0], sh[1], sh[2]) *
           eulerXYZ(ra[0], ra[1], ra[2]) * axis[o[0]] * axis[o[1]] * axis[o[2]] * joMatrix *
           ftest::translationMatrix({t[0], t[1], t[2]});
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

TEST_F(HierarchyTest, WorldMatricesAreProductsOfLocalsAndFollowEditsAnywhereAbove) {
  buildChain(10);
  expectAllWorldsRight();  // also fills the cache
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

TEST_F(TransformFnTest, RotateByActsInTheGivenSpace) {
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
  // In transform space it acts after the existing rotation.
  HQuaternion p(-0.7, HVector(0, 1, 1));
  ASSERT_TRUE(succeeded(fn.rotateBy(p, HSpace::kTransform)));
  expectMatrixNear(pathTo(node).inclusiveMatrix(), expected * p.asMatrix(), 1e-9);
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
  EXPECT_TRUE(fn.translation(HSpace::kWorld).isEquivalent(HVector(1, 4, 3), 1e-12));
  ASSERT_TRUE(succeeded(fn.translateBy(HVector(0, 0, 5), HSpace::kWorld)));
  EXPECT_TRUE(fn.translation(HSpace::kWorld).isEquivalent(HVector(1, 4, 8), 1e-12));
  EXPECT_NEAR(fn.translation(HSpace::kTransform).z, 2.5, 1e-12);
  ASSERT_TRUE(succeeded(fn.setTranslation(HVector(-1, -1, -1), HSpace::kWorld)));
  EXPECT_TRUE(fn.translation(HSpace::kWorld).isEquivalent(HVector(-1, -1, -1), 1e-12));
}

TEST_F(TransformFnTest, SingularParentGivesFiniteResults) {
  HObject parent = create("transform");
  double zero[3] = {0, 0, 0};
  HFnTransform(parent).setScale(zero);
  HObject child = create("transform", "", parent);
  HFnTransform fn(child);
  ASSERT_TRUE(succeeded(fn.translateBy(HVector(1, 1, 1), HSpace::kWorld)));
  EXPECT_TRUE(pathTo(child).inclusiveMatrixInverse().isFinite());
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

// The function set remembers the transformations it builds and the
// decomposition of the last matrix; whatever changed a value in between, a
// read must give exactly the bits a fresh build from the current values gives.

#include <cmath>
#include <cstring>
#include <random>

#include "CoreTestUtil.h"
#include "HDGModifier.h"
#include "HQuaternion.h"
#include "HTransformationMatrix.h"

using namespace coretest;

namespace {

bool sameBits(const HQuaternion& a, const HQuaternion& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

bool sameBits(const HEulerRotation& a, const HEulerRotation& b) {
  const double x[3] = {a.x, a.y, a.z};
  const double y[3] = {b.x, b.y, b.z};
  return a.order == b.order && std::memcmp(x, y, sizeof x) == 0;
}

bool sameBits(const HMatrix& a, const HMatrix& b) {
  return std::memcmp(a.matrix, b.matrix, sizeof a.matrix) == 0;
}

class TransformMemoTest : public SceneTest {
 protected:
  // The node's transformation as built from its plug values, by hand.
  HTransformationMatrix expected(const HObject& node) {
    double v[6][3];
    for (int g = 0; g < 6; ++g)
      for (int i = 0; i < 3; ++i)
        v[g][i] = value(node, kComponentPlugs[g][i]);
    const double *t = v[0], *r = v[1], *s = v[2], *sh = v[3], *ra = v[4], *jo = v[5];
    HTransformationMatrix tm;
    tm.setScale(s, HSpace::kTransform);
    tm.setShear(sh, HSpace::kTransform);
    tm.setRotateOrientation(HEulerRotation(ra[0], ra[1], ra[2]).asQuaternion());
    tm.setRotation(r, HTransformationMatrix::RotationOrder(int(value(node, "ro")) + 1));
    tm.setJointOrientation(HEulerRotation(jo[0], jo[1], jo[2]).asQuaternion());
    tm.setTranslation(HVector(t[0], t[1], t[2]), HSpace::kTransform);
    return tm;
  }

  void expectFresh(const HObject& node, const char* when) {
    HFnTransform fn(node);
    const HTransformationMatrix tm = fn.transformation();
    const HTransformationMatrix want = expected(node);
    EXPECT_TRUE(tm == want) << when;
    EXPECT_TRUE(sameBits(tm.rotation(), want.rotation())) << when;
    EXPECT_TRUE(sameBits(tm.eulerRotation(), want.eulerRotation())) << when;
    EXPECT_TRUE(sameBits(tm.rotateOrientation(), want.rotateOrientation())) << when;
    EXPECT_TRUE(sameBits(tm.jointOrientation(), want.jointOrientation())) << when;
    EXPECT_TRUE(sameBits(tm.asMatrix(), want.asMatrix())) << when;
    const HQuaternion ra = fn.rotateOrientation(HSpace::kTransform);
    const HQuaternion wantRa =
        HEulerRotation(value(node, "rax"), value(node, "ray"), value(node, "raz")).asQuaternion();
    EXPECT_TRUE(sameBits(ra, wantRa)) << when;
  }
};

TEST_F(TransformMemoTest, ReadsFollowEveryKindOfWrite) {
  const HObject joint = create("joint");
  HFnTransform fn(joint);
  std::mt19937 random(7);
  std::uniform_real_distribution<double> angle(-2.0, 2.0);
  const char* const kLeaves[] = {"tx", "ry", "sz", "shxz", "rax", "raz", "jox", "joz", "ro"};
  // Values come back to earlier ones on purpose: the remembered entries must
  // be told apart by every value, not only by the last one written.
  for (int step = 0; step < 60; ++step) {
    const char* leaf = kLeaves[step % 9];
    const double v = std::string(leaf) == "ro" ? double(step % 6) : angle(random);
    ASSERT_TRUE(succeeded(plug(joint, leaf).setValue(v)));
    expectFresh(joint, leaf);
    if (step % 4 == 0) {
      ASSERT_TRUE(succeeded(plug(joint, leaf).setValue(0.25)));
      expectFresh(joint, "back and forth");
    }
  }
  // Through the function set, including a rotate orientation that returns
  // to an earlier one.
  const HQuaternion first = HEulerRotation(0.3, -0.2, 0.1).asQuaternion();
  fn.setRotateOrientation(first, HSpace::kTransform);
  expectFresh(joint, "setRotateOrientation");
  fn.setRotateOrientation(HEulerRotation(-0.5, 0.4, 0.0).asQuaternion(), HSpace::kTransform);
  expectFresh(joint, "setRotateOrientation again");
  fn.setRotateOrientation(first, HSpace::kTransform);
  expectFresh(joint, "setRotateOrientation back");
  fn.rotateBy(HQuaternion(0.7, HVector(1.0, 2.0, -1.0)), HSpace::kObject);
  expectFresh(joint, "rotateBy");
}

TEST_F(TransformMemoTest, SignedZeroAnglesAreDifferentInputs) {
  const HObject node = create("joint");
  // The rotation's Euler angles are handed back as stored, so a -0 read after
  // a +0 (which compare equal) must not be answered with the +0's entry.
  for (const char* leaf : {"rx", "rax", "jox", "tz"}) {
    ASSERT_TRUE(succeeded(plug(node, leaf).setValue(0.0)));
    expectFresh(node, leaf);
    ASSERT_TRUE(succeeded(plug(node, leaf).setValue(-0.0)));
    expectFresh(node, leaf);
  }
  EXPECT_TRUE(std::signbit(HFnTransform(node).transformation().eulerRotation().x));
}

TEST_F(TransformMemoTest, ConnectedValuesAreReadThroughTheirSource) {
  const HObject driver = create("transform");
  const HObject driven = create("joint");
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(driver, "ry"), plug(driven, "rax"))));
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(driver, "tx"), plug(driven, "rz"))));
  for (double v : {0.4, -1.1, 0.4, 2.5}) {
    ASSERT_TRUE(succeeded(plug(driver, "ry").setValue(v)));
    ASSERT_TRUE(succeeded(plug(driver, "tx").setValue(-v)));
    expectFresh(driven, "through the connection");
    EXPECT_EQ(value(driven, "rax"), v);
  }
}

// A node read many times in a row is answered without looking at its values
// again; a connection made or broken, and an undone write, must still show.
TEST_F(TransformMemoTest, ReadsFollowConnectionsBrokenAndWritesUndone) {
  const HObject driver = create("transform");
  const HObject driven = create("joint");
  ASSERT_TRUE(succeeded(plug(driven, "ry").setValue(0.75)));
  expectFresh(driven, "before the connection");
  ASSERT_TRUE(succeeded(plug(driver, "ry").setValue(-1.5)));
  ASSERT_TRUE(succeeded(hostdetail::connectPlugs(plug(driver, "ry"), plug(driven, "ry"))));
  expectFresh(driven, "connected");
  EXPECT_EQ(HFnTransform(driven).transformation().eulerRotation().y, -1.5);
  ASSERT_TRUE(succeeded(hostdetail::disconnectPlugs(plug(driver, "ry"), plug(driven, "ry"))));
  expectFresh(driven, "disconnected");
  expectFresh(driven, "disconnected, read again");

  HDGModifier modifier;
  ASSERT_TRUE(succeeded(modifier.newPlugValueDouble(plug(driven, "rz"), 0.5)));
  ASSERT_TRUE(succeeded(modifier.doIt()));
  expectFresh(driven, "written");
  EXPECT_EQ(HFnTransform(driven).transformation().eulerRotation().z, 0.5);
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  expectFresh(driven, "undone");
  EXPECT_EQ(HFnTransform(driven).transformation().eulerRotation().z, 0.0);
}

TEST_F(TransformMemoTest, RepeatedDecompositionsGiveTheFirstResult) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> element(-2.0, 2.0);
  auto randomMatrix = [&]() {
    HMatrix m;
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 3; ++c)
        m.matrix[r][c] = element(random);
    return m;
  };
  const HMatrix a = randomMatrix();
  const HMatrix b = randomMatrix();
  const HTransformationMatrix firstA(a);
  const HTransformationMatrix firstB(b);
  EXPECT_FALSE(firstA == firstB);
  // a, b, a again and b again: every repeat gives the same components.
  const HTransformationMatrix againA(a);
  EXPECT_TRUE(againA == firstA);
  EXPECT_TRUE(sameBits(againA.asMatrix(), firstA.asMatrix()));
  const HTransformationMatrix againB(b);
  EXPECT_TRUE(againB == firstB);
  EXPECT_TRUE(againB.asMatrix().isEquivalent(b, 1e-12));
  // One element of opposite zero sign is another matrix: its rotation keeps
  // the negative zero, also when +0's matrix was decomposed just before.
  HMatrix zero;
  zero.matrix[0][1] = 0.0;
  HMatrix negativeZero;
  negativeZero.matrix[0][1] = -0.0;
  const HTransformationMatrix fresh(negativeZero);  // b was the last one
  const HTransformationMatrix fromZero(zero);
  const HTransformationMatrix afterZero(negativeZero);
  EXPECT_TRUE(sameBits(afterZero.rotation(), fresh.rotation()));
  EXPECT_FALSE(sameBits(fromZero.rotation(), fresh.rotation()));
}

}  // namespace

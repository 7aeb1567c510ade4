#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "FoundationTestUtil.h"
#include "HTransformationMatrix.h"

namespace {

using ftest::matricesNear;
using ftest::rotationMatrix;

HMatrix scaleShearMatrix(const double s[3], const double sh[3]) {
  HMatrix scale, shear;
  for (int i = 0; i < 3; ++i)
    scale.matrix[i][i] = s[i];
  shear.matrix[1][0] = sh[0];  // xy
  shear.matrix[2][0] = sh[1];  // xz
  shear.matrix[2][1] = sh[2];  // yz
  return scale * shear;
}

HQuaternion randomRotation(ftest::Random& rnd) {
  return HQuaternion(rnd.uniform(-kPi, kPi), rnd.axis());
}

// A transformation with every component set, and the same composed by hand
// from explicit matrices in the order S * Sh * RA * R * JO * T.
struct Built {
  HTransformationMatrix tm;
  HMatrix expected;
};

Built randomTransformation(ftest::Random& rnd) {
  Built b;
  const double s[3] = {rnd.uniform(0.2, 3), rnd.uniform(0.2, 3), rnd.uniform(0.2, 3)};
  const double sh[3] = {rnd.uniform(-1, 1), rnd.uniform(-1, 1), rnd.uniform(-1, 1)};
  const double angles[3] = {rnd.uniform(-4, 4), rnd.uniform(-4, 4), rnd.uniform(-4, 4)};
  const HQuaternion ra = randomRotation(rnd), jo = randomRotation(rnd);
  const HVector t = rnd.vector(-10, 10);
  EXPECT_EQ(b.tm.setScale(s, HSpace::kTransform), HStatus::kSuccess);
  EXPECT_EQ(b.tm.setShear(sh, HSpace::kTransform), HStatus::kSuccess);
  EXPECT_EQ(b.tm.setRotation(angles, HTransformationMatrix::kZXY), HStatus::kSuccess);
  b.tm.setRotateOrientation(ra);
  b.tm.setJointOrientation(jo);
  b.tm.setTranslation(t, HSpace::kTransform);
  // ZXY: about z, then x, then y.
  const HMatrix r = rotationMatrix(HVector::zAxis, angles[2]) *
                    rotationMatrix(HVector::xAxis, angles[0]) *
                    rotationMatrix(HVector::yAxis, angles[1]);
  b.expected =
      scaleShearMatrix(s, sh) * ra.asMatrix() * r * jo.asMatrix() * ftest::translationMatrix(t);
  return b;
}

TEST(HTransformationMatrix, ComposesScaleShearOrientationsRotationAndTranslationInOrder) {
  ftest::Random rnd(41);
  for (int i = 0; i < 1000; ++i) {
    const Built b = randomTransformation(rnd);
    ASSERT_TRUE(matricesNear(b.tm.asMatrix(), b.expected, 1e-13));
    ASSERT_TRUE(matricesNear(b.tm.asMatrixInverse() * b.expected, HMatrix::identity, 1e-11));
  }
  EXPECT_EQ(HTransformationMatrix().asMatrix(), HMatrix::identity);
}

TEST(HTransformationMatrix, DecompositionRecomposesAffineMatrices) {
  ftest::Random rnd(42);
  for (int i = 0; i < 20000; ++i) {
    double s[3];
    bool mirrored = false;
    for (double& v : s) {
      v = rnd.uniform(0.05, 5) * (rnd.uniform(0, 1) < 0.3 ? -1 : 1);
      mirrored = mirrored || v < 0;
    }
    const double sh[3] = {rnd.uniform(-2, 2), rnd.uniform(-2, 2), rnd.uniform(-2, 2)};
    const HQuaternion q = randomRotation(rnd);
    const HVector t = rnd.vector(-100, 100);
    const HMatrix m = scaleShearMatrix(s, sh) * q.asMatrix() * ftest::translationMatrix(t);
    const HTransformationMatrix tm(m);
    ASSERT_TRUE(matricesNear(tm.asMatrix(), m, 1e-12)) << i;
    // The rotation component is a proper rotation, free of scale and shear.
    ASSERT_NEAR(tm.rotation().norm(), 1.0, 1e-14);
    ASSERT_NEAR(tm.rotation().asMatrix().det3x3(), 1.0, 1e-13);
    ASSERT_EQ(tm.rotationOrder(), HTransformationMatrix::kXYZ);
    ASSERT_TRUE(matricesNear(tm.eulerRotation().asMatrix(), tm.rotation().asMatrix(), 1e-13));
    ASSERT_TRUE(tm.translation(HSpace::kTransform).isEquivalent(t, 1e-15));
    if (mirrored)
      continue;
    // Without a mirror every component comes back as it went in.
    double gs[3], gsh[3];
    tm.getScale(gs, HSpace::kTransform);
    tm.getShear(gsh, HSpace::kTransform);
    for (int k = 0; k < 3; ++k) {
      ASSERT_NEAR(gs[k], s[k], 1e-12);
      ASSERT_NEAR(gsh[k], sh[k], 1e-12);
    }
    ASSERT_TRUE(tm.rotation().isEquivalent(q, 1e-13));
  }
}

TEST(HTransformationMatrix, AMirrorGoesIntoTheScale) {
  HMatrix mirror;
  mirror.matrix[0][0] = -2.0;
  const HTransformationMatrix tm(mirror);
  double s[3];
  tm.getScale(s, HSpace::kTransform);
  EXPECT_EQ(s[0], -2.0);
  EXPECT_EQ(s[1], 1.0);
  EXPECT_EQ(s[2], 1.0);
  EXPECT_TRUE(tm.rotation().isEquivalent(HQuaternion::identity, 1e-15));
  const HTransformationMatrix all(HMatrix::identity * -1.0);
  all.getScale(s, HSpace::kTransform);
  EXPECT_EQ(s[0] + s[1] + s[2], -3.0);
  EXPECT_TRUE(all.rotation().isEquivalent(HQuaternion::identity, 1e-15));
}

TEST(HTransformationMatrix, SingularMatricesDecomposeToFiniteComponents) {
  ftest::Random rnd(44);
  const HMatrix r = randomRotation(rnd).asMatrix();
  HMatrix flat = r;  // the y row collapsed onto the x row
  for (int c = 0; c < 3; ++c)
    flat.matrix[1][c] = 3.0 * flat.matrix[0][c];
  HMatrix line = HMatrix::identity * 0.0;  // only z survives
  line.matrix[2][2] = 2.0;
  line.matrix[3][3] = 1.0;
  HMatrix nan = r;
  nan.matrix[2][1] = std::numeric_limits<double>::quiet_NaN();
  for (const HMatrix& m : {flat, line, HMatrix::identity * 0.0, nan}) {
    const HTransformationMatrix tm(m);
    const HMatrix back = tm.asMatrix();
    EXPECT_TRUE(back.isFinite()) << m;
    EXPECT_NEAR(tm.rotation().asMatrix().det3x3(), 1.0, 1e-14) << m;
    const HEulerRotation e = tm.eulerRotation();
    EXPECT_TRUE(std::isfinite(e.x) && std::isfinite(e.y) && std::isfinite(e.z)) << m;
  }
  // What survives of a singular matrix is kept: the z row here.
  EXPECT_TRUE(matricesNear(HTransformationMatrix(line).asMatrix(), line, 1e-15));
  EXPECT_EQ(HTransformationMatrix(nan).asMatrix(), HMatrix::identity);
}

TEST(HTransformationMatrix, RotateByInObjectSpaceActsBetweenOrientationAndRotation) {
  ftest::Random rnd(45);
  for (int i = 0; i < 500; ++i) {
    Built b = randomTransformation(rnd);
    const HQuaternion q = randomRotation(rnd);
    const HMatrix before = b.tm.asMatrix();
    HTransformationMatrix obj = b.tm, trn = b.tm, post = b.tm;
    HStatus st;
    obj.rotateBy(q, HSpace::kObject, &st);
    ASSERT_EQ(st, HStatus::kSuccess);
    trn.rotateBy(q, HSpace::kTransform, &st);
    post.rotateBy(q, HSpace::kPostTransform, &st);
    // Space 2: R <- q * R; space 1: R <- R * q; space 3: q after JO.
    const HMatrix s = b.tm.asScaleMatrix(), ra = b.tm.rotateOrientation().asMatrix();
    const HMatrix r = b.tm.rotation().asMatrix(), jo = b.tm.jointOrientation().asMatrix();
    const HMatrix t = ftest::translationMatrix(b.tm.translation(HSpace::kTransform));
    const HMatrix qm = q.asMatrix();
    ASSERT_TRUE(matricesNear(obj.asMatrix(), s * ra * qm * r * jo * t, 1e-12));
    ASSERT_TRUE(matricesNear(trn.asMatrix(), s * ra * r * qm * jo * t, 1e-12));
    ASSERT_TRUE(matricesNear(post.asMatrix(), s * ra * r * jo * qm * t, 1e-12));
    ASSERT_TRUE(obj.rotation().isEquivalent(q * b.tm.rotation(), 1e-14));
    ASSERT_TRUE(trn.rotation().isEquivalent(b.tm.rotation() * q, 1e-14));
    // Nothing but the rotation changes.
    ASSERT_TRUE(matricesNear(obj.asRotateMatrix(), ra * qm * r * jo, 1e-13));
    ASSERT_TRUE(b.tm.asMatrix() == before);
  }
}

TEST(HTransformationMatrix, RotateByInAnInvalidSpaceChangesNothing) {
  ftest::Random rnd(46);
  Built b = randomTransformation(rnd);
  const HTransformationMatrix before = b.tm;
  HStatus st;
  b.tm.rotateBy(randomRotation(rnd), HSpace::kInvalid, &st);
  EXPECT_EQ(st, HStatus::kInvalidParameter);
  b.tm.rotateBy(randomRotation(rnd), HSpace::Space(9), &st);
  EXPECT_EQ(st, HStatus::kInvalidParameter);
  EXPECT_TRUE(b.tm == before);
  EXPECT_EQ(HTransformationMatrix().translation(HSpace::kInvalid, &st), HVector::zero);
  EXPECT_EQ(st, HStatus::kInvalidParameter);
}

TEST(HTransformationMatrix, RotateByKeepsEulerAnglesContinuous) {
  // Small steps about x carry the angle through pi and on, never back by a
  // whole turn.
  HTransformationMatrix tm;
  const double start[3] = {3.0, 0.2, -0.4};
  // XZY applies x first, so a rotation added before it adds to the x angle.
  tm.setRotation(start, HTransformationMatrix::kXZY);
  double previous = start[0];
  for (int i = 0; i < 100; ++i) {
    tm.rotateBy(HQuaternion(0.05, HVector::xAxis), HSpace::kPreTransform);
    double angles[3];
    HTransformationMatrix::RotationOrder order;
    tm.getRotation(angles, order);
    ASSERT_EQ(order, HTransformationMatrix::kXZY);
    ASSERT_NEAR(angles[0], previous + 0.05, 1e-9);
    ASSERT_NEAR(angles[1], start[1], 1e-9);
    previous = angles[0];
    if (i % 2)
      tm.setRotation(angles, order);  // as a host storing them now and then
  }
  EXPECT_GT(previous, 2 * kPi);
}

TEST(HTransformationMatrix, RotationFromAMatrixDecomposesInXYZ) {
  const HEulerRotation e(0.3, -0.6, 2.0);
  HMatrix m = e.asMatrix();
  m.matrix[0][0] *= 2.0;
  m.matrix[0][1] *= 2.0;
  m.matrix[0][2] *= 2.0;
  const HTransformationMatrix tm(m);
  EXPECT_TRUE(tm.eulerRotation().isEquivalent(e, 1e-14));
  // Turned a little about z from there, the angles move by as little.
  HTransformationMatrix turned = tm;
  turned.rotateBy(HQuaternion(1e-3, HVector::zAxis), HSpace::kTransform);
  EXPECT_TRUE(turned.eulerRotation().isEquivalent(HEulerRotation(0.3, -0.6, 2.001), 1e-12));
}

TEST(HTransformationMatrix, OrdersConvertAndReorderKeepsTheRotation) {
  for (int o = HTransformationMatrix::kXYZ; o < HTransformationMatrix::kLast; ++o) {
    const auto order = HTransformationMatrix::RotationOrder(o);
    EXPECT_EQ(HTransformationMatrix::fromEulerOrder(HTransformationMatrix::toEulerOrder(order)),
              order);
  }
  EXPECT_EQ(HTransformationMatrix::toEulerOrder(HTransformationMatrix::kZYX), HEulerRotation::kZYX);
  EXPECT_EQ(HTransformationMatrix::toEulerOrder(HTransformationMatrix::kInvalid),
            HEulerRotation::kXYZ);

  HTransformationMatrix tm;
  const double a[3] = {0.4, 1.1, -2.5};
  EXPECT_EQ(tm.setRotation(a, HTransformationMatrix::kInvalid), HStatus::kInvalidParameter);
  tm.setRotation(a, HTransformationMatrix::kXYZ);
  const HMatrix before = tm.asMatrix();
  EXPECT_EQ(tm.reorderRotation(HTransformationMatrix::kZYX), HStatus::kSuccess);
  EXPECT_EQ(tm.rotationOrder(), HTransformationMatrix::kZYX);
  EXPECT_TRUE(matricesNear(tm.asMatrix(), before, 1e-14));
  EXPECT_TRUE(matricesNear(tm.eulerRotation().asMatrix(), before, 1e-14));
  // Keeping the angles instead changes the rotation.
  tm.setRotationOrder(HTransformationMatrix::kYZX, false);
  EXPECT_TRUE(matricesNear(
      tm.asMatrix(), HEulerRotation(tm.eulerRotation().asVector(), HEulerRotation::kYZX).asMatrix(),
      1e-14));
}

TEST(HTransformationMatrix, SettersRefuseNonFiniteValues) {
  HTransformationMatrix tm;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double bad[3] = {1.0, nan, 1.0};
  EXPECT_EQ(tm.setScale(bad, HSpace::kTransform), HStatus::kInvalidParameter);
  EXPECT_EQ(tm.setShear(bad, HSpace::kTransform), HStatus::kInvalidParameter);
  EXPECT_EQ(tm.setRotation(bad, HTransformationMatrix::kXYZ), HStatus::kInvalidParameter);
  EXPECT_EQ(tm.setTranslation(HVector(nan, 0, 0), HSpace::kWorld), HStatus::kInvalidParameter);
  tm.setRotation(HQuaternion(nan, 0, 0, 1));
  tm.setRotateOrientation(HQuaternion(0, 0, 0, 0));
  EXPECT_EQ(tm.asMatrix(), HMatrix::identity);
  EXPECT_TRUE(tm == HTransformationMatrix::identity);
}

}  // namespace

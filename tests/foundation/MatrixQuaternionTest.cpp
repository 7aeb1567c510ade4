#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "FoundationTestUtil.h"
#include "HEulerRotation.h"
#include "HMatrix.h"
#include "HQuaternion.h"

namespace {

using ftest::matricesNear;
using ftest::rotationMatrix;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(HMatrix, ProductAppliesTheLeftMatrixFirst) {
  ftest::Random rnd(11);
  for (int i = 0; i < 200; ++i) {
    const HMatrix a = rnd.matrix(-2, 2), b = rnd.matrix(-2, 2);
    const HPoint p(rnd.uniform(-3, 3), rnd.uniform(-3, 3), rnd.uniform(-3, 3), rnd.uniform(-3, 3));
    ASSERT_TRUE((p * (a * b)).isEquivalent((p * a) * b, 1e-12));
  }
}

TEST(HMatrix, InverseOfRandomMatrices) {
  ftest::Random rnd(12);
  for (int i = 0; i < 1000; ++i) {
    const HMatrix a = rnd.matrix(-10, 10);
    if (a.isSingular())
      continue;
    // Agreement with the identity is limited by the matrix's conditioning;
    // random matrices of this size rarely lose more than a few digits.
    const double cond = ftest::maxAbs(a) * ftest::maxAbs(a.inverse());
    ASSERT_TRUE(matricesNear(a * a.inverse(), HMatrix::identity, 1e-14 * cond)) << a;
    ASSERT_TRUE(matricesNear(a.inverse() * a, HMatrix::identity, 1e-14 * cond)) << a;
  }
  // Scale alone is no singularity: a tiny uniform scale still inverts.
  const HMatrix tiny = HMatrix::identity * 1e-6;
  EXPECT_FALSE(tiny.isSingular());
  EXPECT_TRUE(matricesNear(tiny.inverse() * 1e-6, HMatrix::identity, 1e-12));
}

TEST(HMatrix, SingularAndNonFiniteMatricesInvertToTheIdentity) {
  HMatrix zeroRow;
  zeroRow.matrix[1][1] = 0.0;
  HMatrix dependent = ftest::Random(13).matrix(-1, 1);
  for (int c = 0; c < 4; ++c)
    dependent.matrix[2][c] = 2.0 * dependent.matrix[0][c];
  HMatrix nan;
  nan.matrix[0][3] = kNaN;
  HMatrix inf;
  inf.matrix[3][0] = std::numeric_limits<double>::infinity();
  for (const HMatrix& m : {zeroRow, dependent, HMatrix::identity * 0.0, nan, inf}) {
    EXPECT_TRUE(m.isSingular()) << m;
    EXPECT_EQ(m.inverse(), HMatrix::identity) << m;
  }
}

TEST(HMatrix, DeterminantsTransposeAndArithmetic) {
  const HMatrix r = rotationMatrix(HVector(1, 2, 3), 0.7);
  EXPECT_NEAR(r.det4x4(), 1.0, 1e-14);
  EXPECT_NEAR(r.det3x3(), 1.0, 1e-14);
  EXPECT_TRUE(matricesNear(r.transpose(), r.inverse(), 1e-14));  // orthonormal
  const HMatrix s = HMatrix::identity * 2.0;
  EXPECT_DOUBLE_EQ(s.det4x4(), 16.0);
  EXPECT_DOUBLE_EQ(s.det3x3(), 8.0);
  EXPECT_EQ(s - HMatrix::identity, HMatrix::identity);
  HMatrix m;
  m(3, 1) = 4.0;
  EXPECT_TRUE(m.isEquivalent(HMatrix::identity, 4.0));
  EXPECT_FALSE(m.isEquivalent(HMatrix::identity, 3.9));
}

TEST(HQuaternion, AngleAxisMatchesRodrigues) {
  ftest::Random rnd(21);
  for (int i = 0; i < 1000; ++i) {
    const HVector axis = rnd.axis() * rnd.uniform(0.01, 100.0);  // any length
    const double angle = rnd.uniform(-2 * kPi, 2 * kPi);
    const HQuaternion q(angle, axis);
    ASSERT_NEAR(q.norm(), 1.0, 1e-14);
    ASSERT_TRUE(matricesNear(q.asMatrix(), rotationMatrix(axis, angle), 1e-14));
    const HVector v = rnd.vector(-2, 2);
    ASSERT_TRUE(v.rotateBy(q).isEquivalent(v * rotationMatrix(axis, angle), 1e-13));
  }
}

TEST(HQuaternion, ProductFollowsMatrixOrder) {
  ftest::Random rnd(22);
  for (int i = 0; i < 1000; ++i) {
    const HQuaternion q(rnd.uniform(-kPi, kPi), rnd.axis());
    const HQuaternion r(rnd.uniform(-kPi, kPi), rnd.axis());
    HQuaternion s = q;
    s *= r;
    ASSERT_TRUE(matricesNear(s.asMatrix(), q.asMatrix() * r.asMatrix(), 1e-14));
  }
  // q * r applies q first: a quarter turn about z, then about x, takes the
  // x axis to y and then to z.
  const HQuaternion qz(kPi / 2, HVector::zAxis), qx(kPi / 2, HVector::xAxis);
  EXPECT_TRUE(HVector::xAxis.rotateBy(qz * qx).isEquivalent(HVector::zAxis, 1e-15));
}

TEST(HQuaternion, DegenerateInputsGiveTheIdentity) {
  EXPECT_EQ(HQuaternion(1.0, HVector::zero), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(0.0, HVector::xAxis), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(kNaN, HVector::xAxis), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(1.0, HVector(kNaN, 0, 0)), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(0, 0, 0, 0).asMatrix(), HMatrix::identity);
  EXPECT_EQ(HVector(1, 2, 3).rotateBy(HQuaternion(0, 0, 0, 0)), HVector(1, 2, 3));
  EXPECT_EQ(HQuaternion(0, 0, 0, 0).normal(), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(0, 0, 0, 0).inverse(), HQuaternion::identity);
  // From-to with a zero or non-finite vector.
  EXPECT_EQ(HQuaternion(HVector::zero, HVector::xAxis), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(HVector::xAxis, HVector::zero), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(HVector(kNaN, 0, 0), HVector::xAxis), HQuaternion::identity);
  EXPECT_EQ(HQuaternion(HVector::zero, HVector::zero, 0.5), HQuaternion::identity);
}

TEST(HQuaternion, GetAxisAngleRecoversTheRotation) {
  ftest::Random rnd(23);
  for (int i = 0; i < 1000; ++i) {
    const HVector axis = rnd.axis();
    const double angle = rnd.uniform(1e-6, 2 * kPi - 1e-6);
    HVector a;
    double t;
    ASSERT_TRUE(HQuaternion(angle, axis).getAxisAngle(a, t));
    ASSERT_NEAR(t, angle, 1e-12);
    ASSERT_TRUE(a.isEquivalent(axis.normal(), 1e-9));
  }
  HVector a;
  double t = 5.0;
  EXPECT_TRUE(HQuaternion::identity.getAxisAngle(a, t));
  EXPECT_EQ(t, 0.0);
  EXPECT_EQ(a, HVector::zAxis);
  EXPECT_TRUE(HQuaternion(0, 0, 0, -1).getAxisAngle(a, t));  // a full turn
  EXPECT_DOUBLE_EQ(t, 2 * kPi);
  EXPECT_FALSE(HQuaternion(0, 0, 0, 0).getAxisAngle(a, t));
  EXPECT_EQ(t, 0.0);
  EXPECT_FALSE(HQuaternion(kNaN, 0, 0, 1).getAxisAngle(a, t));
  EXPECT_EQ(a, HVector::zAxis);
  // A non-unit quaternion reads as its direction: w beyond 1 is not an
  // error.
  EXPECT_TRUE(HQuaternion(0, 0, 3, 3).getAxisAngle(a, t));
  EXPECT_NEAR(t, kPi / 2, 1e-15);
}

TEST(HQuaternion, FromToIsTheLeastRotation) {
  ftest::Random rnd(24);
  for (int i = 0; i < 1000; ++i) {
    const HVector from = rnd.axis() * rnd.uniform(0.1, 10), to = rnd.axis() * rnd.uniform(0.1, 10);
    const HQuaternion q(from, to);
    ASSERT_TRUE(from.normal().rotateBy(q).isEquivalent(to.normal(), 1e-14));
    HVector axis;
    double angle;
    q.getAxisAngle(axis, angle);
    ASSERT_NEAR(angle, from.angle(to), 1e-12);  // least: no more than the angle between
    const HQuaternion half(from, to, 0.5);
    ASSERT_TRUE((half * half).isEquivalent(q, 1e-14));
  }
  // Parallel: no rotation.
  EXPECT_TRUE(HQuaternion(HVector(1, 2, 3), HVector(2, 4, 6)).isEquivalent(HQuaternion::identity));
}

TEST(HQuaternion, FromToOppositeAndNearlyOppositeVectors) {
  for (const HVector& v : {HVector::xAxis, HVector::yNegAxis, HVector(1, 1, 1), HVector(3, -1, 2),
                           HVector(0, 1e-9, 1)}) {
    const HQuaternion q(v, -v * 2.0);
    HVector axis;
    double angle;
    q.getAxisAngle(axis, angle);
    EXPECT_NEAR(angle, kPi, 1e-15) << v;
    EXPECT_NEAR(axis * v.normal(), 0.0, 1e-15) << v;  // perpendicular to both
    EXPECT_TRUE(v.normal().rotateBy(q).isEquivalent(-v.normal(), 1e-15)) << v;
  }
  // Just short of opposite, the result still carries one onto the other.
  const HVector a(1, 0, 0), b(-1, 1e-9, 0);
  EXPECT_TRUE(a.rotateBy(HQuaternion(a, b)).isEquivalent(b.normal(), 1e-15));
}

TEST(HQuaternion, FromMatrixRoundTripsAndRemovesScale) {
  ftest::Random rnd(25);
  for (int i = 0; i < 1000; ++i) {
    const HQuaternion q(rnd.uniform(-kPi, kPi), rnd.axis());
    ASSERT_TRUE(HQuaternion(q.asMatrix()).isEquivalent(q, 1e-14));
    HMatrix scaled = q.asMatrix();
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 3; ++c)
        scaled.matrix[r][c] *= 1.0 + r;
    ASSERT_TRUE(HQuaternion(scaled).isEquivalent(q, 1e-14));
  }
  EXPECT_EQ(HQuaternion(HMatrix::identity * 0.0), HQuaternion::identity);
  HMatrix nan;
  nan.matrix[1][2] = kNaN;
  EXPECT_EQ(HQuaternion(nan), HQuaternion::identity);
}

TEST(HQuaternion, InverseConjugateAndEquivalence) {
  const HQuaternion q(0.9, HVector(1, -2, 0.5));
  EXPECT_TRUE((q * q.inverse()).isEquivalent(HQuaternion::identity, 1e-15));
  EXPECT_TRUE((q * q.conjugate()).isEquivalent(HQuaternion::identity, 1e-15));
  const HQuaternion big = q * 3.0;
  EXPECT_TRUE((big * big.inverse()).isEquivalent(HQuaternion::identity, 1e-15));
  HQuaternion n = q;
  n.negateIt();
  EXPECT_TRUE(n.isEquivalent(q));  // q and -q are one rotation
  EXPECT_FALSE(n == q);
  EXPECT_FALSE(q.isEquivalent(HQuaternion(0.9001, HVector(1, -2, 0.5)), 1e-6));
  EXPECT_TRUE(matricesNear(q.asEulerRotation().asMatrix(), q.asMatrix(), 1e-14));
}

}  // namespace

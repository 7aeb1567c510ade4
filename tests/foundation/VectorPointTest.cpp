#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "FoundationTestUtil.h"
#include "HPoint.h"
#include "HVector.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(HVector, CrossDotAndConstants) {
  EXPECT_EQ(HVector::xAxis ^ HVector::yAxis, HVector::zAxis);  // right-handed
  EXPECT_EQ(HVector::yAxis ^ HVector::xAxis, HVector::zNegAxis);
  EXPECT_EQ(HVector(1, 2, 3) * HVector(4, -5, 6), 12.0);
  EXPECT_EQ(2.0 * HVector(1, 2, 3), HVector(2, 4, 6));
  EXPECT_EQ(HVector::one - HVector::xAxis, HVector(0, 1, 1));
  EXPECT_EQ(-HVector::yAxis, HVector::yNegAxis);
}

TEST(HVector, NormalizeKeepsZeroAndRescuesTinyAndHuge) {
  HVector z = HVector::zero;
  EXPECT_EQ(z.normalize(), HStatus::kInvalidParameter);
  EXPECT_EQ(z, HVector::zero);
  EXPECT_EQ(HVector(kNaN, 1, 0).normal(), HVector::zero);
  EXPECT_TRUE(HVector(3e-200, 4e-200, 0).normal().isEquivalent(HVector(0.6, 0.8, 0), 1e-15));
  EXPECT_TRUE(HVector(3e200, 4e200, 0).normal().isEquivalent(HVector(0.6, 0.8, 0), 1e-15));
  HVector v(0, 3, 4);
  EXPECT_EQ(v.normalize(), HStatus::kSuccess);
  EXPECT_NEAR(v.length(), 1.0, 1e-15);
}

TEST(HVector, AngleIsInZeroToPiAndZeroForZeroVectors) {
  EXPECT_NEAR(HVector::xAxis.angle(HVector::yAxis), kPi / 2, 1e-15);
  EXPECT_NEAR(HVector::xAxis.angle(HVector(-5, 0, 0)), kPi, 1e-15);
  EXPECT_EQ(HVector::xAxis.angle(HVector(7, 0, 0)), 0.0);
  EXPECT_EQ(HVector::zero.angle(HVector::xAxis), 0.0);
  EXPECT_EQ(HVector::xAxis.angle(HVector::zero), 0.0);
  EXPECT_EQ(HVector(kNaN, 0, 0).angle(HVector::xAxis), 0.0);
  // Tiny angles keep their precision (acos of a rounded dot product loses it).
  EXPECT_NEAR(HVector(1, 0, 0).angle(HVector(1, 1e-9, 0)), 1e-9, 1e-20);
  ftest::Random rnd(7);
  for (int i = 0; i < 1000; ++i) {
    const HVector a = rnd.vector(-5, 5), b = rnd.vector(-5, 5);
    const double ang = a.angle(b);
    ASSERT_GE(ang, 0.0);
    ASSERT_LE(ang, kPi);
    ASSERT_NEAR(std::cos(ang), a * b / (a.length() * b.length()), 1e-12);
  }
}

TEST(HVector, IsParallelTreatsOppositeAndZeroAlike) {
  EXPECT_TRUE(HVector(1, 2, 3).isParallel(HVector(2, 4, 6)));
  EXPECT_TRUE(HVector(1, 2, 3).isParallel(HVector(-0.5, -1, -1.5)));
  EXPECT_TRUE(HVector::zero.isParallel(HVector::xAxis));
  EXPECT_TRUE(HVector::xAxis.isParallel(HVector::zero));
  EXPECT_FALSE(HVector::xAxis.isParallel(HVector::yAxis));
  // The tolerance bounds the squared sine of the angle between the
  // directions, whatever the lengths.
  const double small = 1e-6;  // sin^2 = 1e-12 <= 1e-10
  EXPECT_TRUE(HVector(1e-8, 0, 0).isParallel(HVector(1e8, 1e8 * small, 0)));
  const double wide = 1e-4;  // sin^2 = 1e-8 > 1e-10
  EXPECT_FALSE(HVector(1e-8, 0, 0).isParallel(HVector(-1e8, 1e8 * wide, 0)));
  EXPECT_TRUE(HVector(1, 0, 0).isParallel(HVector(-1, wide, 0), 1e-7));
}

TEST(HVector, TimesMatrixUsesTheUpperLeftBlockOnly) {
  HMatrix m = ftest::rotationMatrix(HVector::zAxis, kPi / 2) * ftest::translationMatrix({5, 6, 7});
  EXPECT_TRUE((HVector::xAxis * m).isEquivalent(HVector::yAxis, 1e-15));
  EXPECT_TRUE((HVector(0, 1, 0) *= m).isEquivalent(HVector::xNegAxis, 1e-15));
}

TEST(HPoint, DifferenceCartesianizesUnlessBothWAreOne) {
  EXPECT_EQ(HPoint(4, 5, 6) - HPoint(1, 1, 1), HVector(3, 4, 5));
  // (2, 4, 6, 2) is the point (1, 2, 3).
  EXPECT_EQ(HPoint(2, 4, 6, 2) - HPoint(0, 0, 1), HVector(1, 2, 2));
  EXPECT_EQ(HPoint(0, 0, 1) - HPoint(2, 4, 6, 2), HVector(-1, -2, -2));
  EXPECT_EQ(HPoint(3, 3, 3, 0.5) - HPoint(2, 2, 2, 4), HVector(5.5, 5.5, 5.5));
  // A point at infinity is used as it is.
  EXPECT_EQ(HPoint(1, 0, 0, 0) - HPoint(0, 0, 0, 0), HVector(1, 0, 0));
  EXPECT_DOUBLE_EQ(HPoint(2, 4, 6, 2).distanceTo(HPoint(1, 2, 3)), 0.0);
  // Cartesianizing leaves points at infinity alone.
  HPoint inf(1, 2, 3, 0);
  inf.cartesianize();
  EXPECT_EQ(inf, HPoint(1, 2, 3, 0));
  HPoint p(2, 4, 6, 2);
  p.cartesianize();
  EXPECT_EQ(p, HPoint(1, 2, 3, 1));
}

TEST(HPoint, MatrixProductIsHomogeneous) {
  HMatrix m = ftest::rotationMatrix(HVector::zAxis, kPi / 2) * ftest::translationMatrix({5, 6, 7});
  // Rotation first, then the translation (row-vector order).
  EXPECT_TRUE((HPoint(1, 0, 0) *= m).isEquivalent(HPoint(5, 7, 7), 1e-14));
  EXPECT_EQ(HPoint::origin * m, HPoint(5, 6, 7));
  // w scales the translation and is itself transformed.
  HMatrix p;
  p.matrix[2][3] = 1.0;  // w' = z + w
  const HPoint q = HPoint(1, 1, 1, 2) * (m * p);
  EXPECT_TRUE(q.isEquivalent(HPoint(9, 13, 15, 17), 1e-13));
  EXPECT_TRUE(q.cartesian().isEquivalent(HPoint(9.0 / 17, 13.0 / 17, 15.0 / 17), 1e-15));
}

TEST(HPoint, ConversionsAndSumsKeepXYZWithoutDividingByW) {
  EXPECT_EQ(HVector(HPoint(2, 4, 6, 2)), HVector(2, 4, 6));
  EXPECT_EQ(HPoint(HVector(2, 4, 6)), HPoint(2, 4, 6, 1));
  EXPECT_EQ(HPoint(1, 1, 1, 3) + HVector(1, 2, 3), HPoint(2, 3, 4, 3));
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "FoundationTestUtil.h"
#include "HEulerRotation.h"

namespace {

using ftest::matricesNear;
using ftest::rotationMatrix;

const HEulerRotation::RotationOrder kOrders[6] = {HEulerRotation::kXYZ, HEulerRotation::kYZX,
                                                  HEulerRotation::kZXY, HEulerRotation::kXZY,
                                                  HEulerRotation::kYXZ, HEulerRotation::kZYX};

// The order's axes in the sequence they apply, indexed by RotationOrder.
const int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};

const HVector kAxisVectors[3] = {HVector::xAxis, HVector::yAxis, HVector::zAxis};

// The rotation built from explicit single-axis matrices: the first axis of the
// order first (row vectors, so leftmost).
HMatrix explicitMatrix(const HEulerRotation& e) {
  const int* axes = kAxes[e.order];
  HMatrix m;
  for (int i = 0; i < 3; ++i)
    m *= rotationMatrix(kAxisVectors[axes[i]], e[axes[i]]);
  return m;
}

TEST(HEulerRotation, MatrixAndQuaternionMatchExplicitProducts) {
  ftest::Random rnd(31);
  for (auto order : kOrders) {
    for (int i = 0; i < 500; ++i) {
      const HEulerRotation e(rnd.uniform(-7, 7), rnd.uniform(-7, 7), rnd.uniform(-7, 7), order);
      ASSERT_TRUE(matricesNear(e.asMatrix(), explicitMatrix(e), 1e-14)) << e;
      ASSERT_TRUE(matricesNear(e.asQuaternion().asMatrix(), explicitMatrix(e), 1e-14)) << e;
    }
  }
}

// Many cheap random round trips, matrix -> Euler -> matrix, in every order.
TEST(HEulerRotation, DecomposeRoundTripsInEveryOrder) {
  ftest::Random rnd(32);
  for (auto order : kOrders) {
    const int* axes = kAxes[order];
    for (int i = 0; i < 100000; ++i) {
      const HEulerRotation e(rnd.uniform(-kPi, kPi), rnd.uniform(-kPi, kPi), rnd.uniform(-kPi, kPi),
                             order);
      const HMatrix m = e.asMatrix();
      const HEulerRotation d = HEulerRotation::decompose(m, order);
      ASSERT_EQ(d.order, order);
      ASSERT_TRUE(matricesNear(d.asMatrix(), m, 1e-13)) << e << " -> " << d;
      ASSERT_LE(std::fabs(d[axes[1]]), kPi / 2 + 1e-15) << d;
      ASSERT_LE(std::fabs(d[axes[0]]), kPi) << d;
      ASSERT_LE(std::fabs(d[axes[2]]), kPi) << d;
    }
  }
}

TEST(HEulerRotation, GimbalLockStillRecomposes) {
  ftest::Random rnd(33);
  for (auto order : kOrders) {
    const int* axes = kAxes[order];
    for (double middle : {kPi / 2, -kPi / 2, kPi / 2 + 1e-9, -kPi / 2 - 1e-12, 3 * kPi / 2}) {
      for (int i = 0; i < 200; ++i) {
        HEulerRotation e(0, 0, 0, order);
        e[axes[0]] = rnd.uniform(-kPi, kPi);
        e[axes[1]] = middle;
        e[axes[2]] = rnd.uniform(-kPi, kPi);
        const HEulerRotation d = HEulerRotation::decompose(e.asMatrix(), order);
        ASSERT_TRUE(std::isfinite(d.x) && std::isfinite(d.y) && std::isfinite(d.z)) << d;
        ASSERT_TRUE(matricesNear(d.asMatrix(), e.asMatrix(), 1e-13)) << e << " -> " << d;
      }
    }
  }
}

TEST(HEulerRotation, DecomposeRemovesScaleAndShear) {
  ftest::Random rnd(34);
  for (auto order : kOrders) {
    const int* axes = kAxes[order];
    for (int i = 0; i < 200; ++i) {
      // Angles in the principal range, so that the decomposition gives them
      // back rather than an equivalent triple.
      HEulerRotation e(0, 0, 0, order);
      e[axes[0]] = rnd.uniform(-kPi, kPi);
      e[axes[1]] = rnd.uniform(-1.5, 1.5);
      e[axes[2]] = rnd.uniform(-kPi, kPi);
      HMatrix scale;
      scale.matrix[0][0] = rnd.uniform(0.1, 5);
      scale.matrix[1][1] = rnd.uniform(0.1, 5);
      scale.matrix[2][2] = rnd.uniform(0.1, 5);
      scale.matrix[1][0] = rnd.uniform(-1, 1);  // shear
      const HMatrix m = scale * e.asMatrix() * ftest::translationMatrix(rnd.vector(-9, 9));
      ASSERT_TRUE(HEulerRotation::decompose(m, order).isEquivalent(e, 1e-12)) << e;
    }
  }
  const HEulerRotation z = HEulerRotation::decompose(HMatrix::identity * 0.0, HEulerRotation::kZXY);
  EXPECT_EQ(z, HEulerRotation(0, 0, 0, HEulerRotation::kZXY));
  HMatrix nan;
  nan.matrix[0][0] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(HEulerRotation::decompose(nan, HEulerRotation::kXYZ), HEulerRotation::identity);
}

TEST(HEulerRotation, ClosestSolutionStaysNearTheTarget) {
  ftest::Random rnd(35);
  for (auto order : kOrders) {
    for (int i = 0; i < 5000; ++i) {
      const HEulerRotation target(rnd.uniform(-20, 20), rnd.uniform(-20, 20), rnd.uniform(-20, 20),
                                  order);
      // A nearby pose, decomposed afresh into the principal range.
      HEulerRotation near(target.x + rnd.uniform(-0.3, 0.3), target.y + rnd.uniform(-0.3, 0.3),
                          target.z + rnd.uniform(-0.3, 0.3), order);
      const HEulerRotation plain = HEulerRotation::decompose(near.asMatrix(), order);
      const HEulerRotation closest = plain.closestSolution(target);
      ASSERT_TRUE(matricesNear(closest.asMatrix(), near.asMatrix(), 1e-12));
      // Every angle within pi of the target, and no further than the pose we
      // started from.
      for (int k = 0; k < 3; ++k)
        ASSERT_LE(std::fabs(closest[k] - target[k]), kPi) << k;
      ASSERT_LE((closest.asVector() - target.asVector()).length(),
                (near.asVector() - target.asVector()).length() + 1e-9);
    }
  }
}

TEST(HEulerRotation, ClosestSolutionChoosesTheReflectedTripleWhenNearer) {
  // (pi - 0.1, 0.2, pi - 0.1) is also (-0.1, pi - 0.2, -0.1): nearer zero.
  const HEulerRotation e(kPi - 0.1, 0.2, kPi - 0.1);
  const HEulerRotation c = e.closestSolution(HEulerRotation(0, 2.9, 0));
  EXPECT_TRUE(c.isEquivalent(HEulerRotation(-0.1, kPi - 0.2, -0.1), 1e-14)) << c;
  EXPECT_TRUE(matricesNear(c.asMatrix(), e.asMatrix(), 1e-14));
  // A whole turn apart: moved by the turn only.
  HEulerRotation w(0.1, 0.2, 0.3);
  w.setToClosestSolution(HEulerRotation(2 * kPi, -2 * kPi, 4 * kPi));
  EXPECT_TRUE(w.isEquivalent(HEulerRotation(0.1 + 2 * kPi, 0.2 - 2 * kPi, 0.3 + 4 * kPi), 1e-13));
}

TEST(HEulerRotation, ClosestCutMovesByWholeTurnsAndTiesGoAwayFromZero) {
  // Exactly half a turn from the target is a tie: the angle moves a whole
  // turn towards the target's side, as rounding halves away from zero does.
  HEulerRotation tie(0.0, 0.0, 0.25);
  tie.setToClosestCut(HEulerRotation(kPi, -kPi, 0.0));
  EXPECT_EQ(tie.x, 2 * kPi);
  EXPECT_EQ(tie.y, -2 * kPi);
  EXPECT_EQ(tie.z, 0.25);  // within half a turn: the angle stays as it was
  ftest::Random rnd(37);
  for (int i = 0; i < 20000; ++i) {
    const double value = rnd.uniform(-1e4, 1e4), target = rnd.uniform(-1e4, 1e4);
    HEulerRotation e(value, value, value);
    e.setToClosestCut(HEulerRotation(target, target, target));
    const double turns = std::round((target - value) / (2 * kPi));
    ASSERT_EQ(e.x, value + 2 * kPi * turns) << value << " " << target;
  }
}

TEST(HEulerRotation, BoundReorderAndInverse) {
  ftest::Random rnd(36);
  for (int i = 0; i < 2000; ++i) {
    const HEulerRotation e(rnd.uniform(-30, 30), rnd.uniform(-30, 30), rnd.uniform(-30, 30),
                           kOrders[i % 6]);
    const HEulerRotation b = e.bound();
    for (int k = 0; k < 3; ++k)
      ASSERT_LE(std::fabs(b[k]), kPi);
    ASSERT_TRUE(matricesNear(b.asMatrix(), e.asMatrix(), 1e-12));
    const HEulerRotation r = e.reorder(kOrders[(i + 1) % 6]);
    ASSERT_EQ(r.order, kOrders[(i + 1) % 6]);
    ASSERT_TRUE(matricesNear(r.asMatrix(), e.asMatrix(), 1e-12));
    ASSERT_TRUE(matricesNear(e.inverse().asMatrix() * e.asMatrix(), HMatrix::identity, 1e-12));
  }
}

TEST(HEulerRotation, IncrementalRotateByFollowsTheRotation) {
  HEulerRotation e(0.2, 0.3, kPi - 0.05);
  const HMatrix before = e.asMatrix();
  e.incrementalRotateBy(HVector::zAxis, 0.1);
  EXPECT_TRUE(matricesNear(e.asMatrix(), before * rotationMatrix(HVector::zAxis, 0.1), 1e-14));
  // Continuous: z goes past pi instead of jumping to -pi.
  EXPECT_NEAR(e.z, kPi + 0.05, 1e-12);
  HEulerRotation same = e;
  same.incrementalRotateBy(HVector::zero, 1.0);
  EXPECT_TRUE(same.isEquivalent(e, 1e-14));
}

}  // namespace

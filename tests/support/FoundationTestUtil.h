#pragma once
// Independent references for the foundation tests: rotation matrices built
// straight from Rodrigues' formula, element-wise matrix comparison and seeded
// random values.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "HMatrix.h"
#include "HVector.h"

namespace ftest {

// The row-vector matrix of the right-handed rotation by angle about the unit
// direction of axis: the transpose of cos I + sin [k]x + (1 - cos) k k^T.
inline HMatrix rotationMatrix(const HVector& axis, double angle) {
  const HVector k = axis / axis.length();
  const double c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
  const double col[3][3] = {{c + t * k.x * k.x, t * k.x * k.y - s * k.z, t * k.x * k.z + s * k.y},
                            {t * k.y * k.x + s * k.z, c + t * k.y * k.y, t * k.y * k.z - s * k.x},
                            {t * k.z * k.x - s * k.y, t * k.z * k.y + s * k.x, c + t * k.z * k.z}};
  HMatrix m;
  for (int r = 0; r < 3; ++r)
    for (int cc = 0; cc < 3; ++cc)
      m.matrix[r][cc] = col[cc][r];
  return m;
}

inline HMatrix translationMatrix(const HVector& t) {
  HMatrix m;
  m.matrix[3][0] = t.x;
  m.matrix[3][1] = t.y;
  m.matrix[3][2] = t.z;
  return m;
}

inline double maxAbsDifference(const HMatrix& a, const HMatrix& b) {
  double d = 0.0;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      d = std::fmax(d, std::fabs(a.matrix[r][c] - b.matrix[r][c]));
  return d;
}

inline double maxAbs(const HMatrix& a) {
  return maxAbsDifference(a, HMatrix() * 0.0);
}

// Matrices agree within tolerance scaled by their size (relative for large
// entries, absolute for small ones).
inline ::testing::AssertionResult matricesNear(const HMatrix& a, const HMatrix& b,
                                               double tolerance) {
  const double scale = std::fmax(1.0, std::fmax(maxAbs(a), maxAbs(b)));
  const double d = maxAbsDifference(a, b);
  if (d <= tolerance * scale)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "matrices differ by " << d << " (allowed " << tolerance * scale << ")\n"
         << a << "\n"
         << b;
}

class Random {
 public:
  explicit Random(unsigned seed) : fEngine(seed) {}
  double uniform(double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(fEngine);
  }
  HVector vector(double lo, double hi) {
    return HVector(uniform(lo, hi), uniform(lo, hi), uniform(lo, hi));
  }
  // A direction that is not too short to normalise meaningfully.
  HVector axis() {
    for (;;) {
      const HVector v = vector(-1.0, 1.0);
      if (v.length() > 0.1)
        return v;
    }
  }
  HMatrix matrix(double lo, double hi) {
    HMatrix m;
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        m.matrix[r][c] = uniform(lo, hi);
    return m;
  }

 private:
  std::mt19937 fEngine;
};

}  // namespace ftest

#include "HEulerRotation.h"

#include <cmath>
#include <ostream>

#include "AffineDecomposition.h"

const HEulerRotation HEulerRotation::identity;

namespace {

// An order as the axes in the sequence they apply, first to last. Odd orders
// are a reflection of XYZ under the relabelling of axes, which reverses the
// sense of every angle; even orders are a rotation of the labels.
struct Axes {
  int first, middle, last;
  bool odd;
};

Axes axesOf(HEulerRotation::RotationOrder order) {
  switch (order) {
    case HEulerRotation::kYZX:
      return {1, 2, 0, false};
    case HEulerRotation::kZXY:
      return {2, 0, 1, false};
    case HEulerRotation::kXZY:
      return {0, 2, 1, true};
    case HEulerRotation::kYXZ:
      return {1, 0, 2, true};
    case HEulerRotation::kZYX:
      return {2, 1, 0, true};
    case HEulerRotation::kXYZ:
    default:
      return {0, 1, 2, false};
  }
}

// Rx(a) * Ry(b) * Rz(c) for row vectors, written out.
void composeXYZ(double a, double b, double c, double m[3][3]) {
  const double ca = std::cos(a), sa = std::sin(a);
  const double cb = std::cos(b), sb = std::sin(b);
  const double cc = std::cos(c), sc = std::sin(c);
  m[0][0] = cb * cc;
  m[0][1] = cb * sc;
  m[0][2] = -sb;
  m[1][0] = sa * sb * cc - ca * sc;
  m[1][1] = sa * sb * sc + ca * cc;
  m[1][2] = sa * cb;
  m[2][0] = ca * sb * cc + sa * sc;
  m[2][1] = ca * sb * sc - sa * cc;
  m[2][2] = ca * cb;
}

// The inverse of composeXYZ for an orthonormal block. The first angle comes
// from the last column; taking it out of the matrix leaves Ry * Rz exactly,
// whose angles are then read without any division, so that even at gimbal
// lock (where the first angle is arbitrary) the three recompose to m.
void decomposeXYZ(const double m[3][3], double& a, double& b, double& c) {
  a = std::atan2(m[1][2], m[2][2]);
  const double ca = std::cos(a), sa = std::sin(a);
  // N = Rx(-a) * m = Ry(b) * Rz(c).
  const double n10 = ca * m[1][0] - sa * m[2][0];
  const double n11 = ca * m[1][1] - sa * m[2][1];
  const double n22 = sa * m[1][2] + ca * m[2][2];
  c = std::atan2(-n10, n11);
  b = std::atan2(-m[0][2], n22);
}

// std::round, exactly (halves away from zero, the sign of zero kept), without
// the library call: every angle written back to a joint goes through it six
// times.
double roundHalfAway(double x) {
  if (!(std::fabs(x) < 4503599627370496.0))  // 2^52: already whole (or not finite)
    return x;
  double whole = double(static_cast<long long>(x));  // towards zero
  if (std::fabs(x - whole) >= 0.5)
    whole += x < 0.0 ? -1.0 : 1.0;
  return std::copysign(whole, x);
}

double nearestTurn(double value, double target) {
  if (!std::isfinite(value) || !std::isfinite(target))
    return value;
  return value + kTwoPi * roundHalfAway((target - value) / kTwoPi);
}

double squaredDistance(const HEulerRotation& a, const HEulerRotation& b) {
  const double dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
  return dx * dx + dy * dy + dz * dz;
}

// True when the upper-left 3x3 block is orthonormal within 1e-14 and keeps
// handedness. Its finite elements are checked on the way: NaN fails every
// comparison.
bool isRotationBlock(const HMatrix& matrix) {
  const double(*m)[4] = matrix.matrix;
  const double kTolerance = 1e-14;
  auto dot = [m](int i, int j) {
    return m[i][0] * m[j][0] + m[i][1] * m[j][1] + m[i][2] * m[j][2];
  };
  if (!(std::fabs(dot(0, 0) - 1.0) <= kTolerance && std::fabs(dot(1, 1) - 1.0) <= kTolerance &&
        std::fabs(dot(2, 2) - 1.0) <= kTolerance && std::fabs(dot(0, 1)) <= kTolerance &&
        std::fabs(dot(0, 2)) <= kTolerance && std::fabs(dot(1, 2)) <= kTolerance))
    return false;
  const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                     m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                     m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  return det > 0.0;
}

}  // namespace

HMatrix HEulerRotation::asMatrix() const {
  const Axes ax = axesOf(order);
  const double sign = ax.odd ? -1.0 : 1.0;
  double r[3][3];
  composeXYZ(sign * (*this)[ax.first], sign * (*this)[ax.middle], sign * (*this)[ax.last], r);
  // Undo the relabelling: element (p, q) of the XYZ form is element
  // (axis p, axis q) of the result.
  const int label[3] = {ax.first, ax.middle, ax.last};
  HMatrix m;
  for (int p = 0; p < 3; ++p)
    for (int q = 0; q < 3; ++q)
      m.matrix[label[p]][label[q]] = r[p][q];
  return m;
}

HQuaternion HEulerRotation::asQuaternion() const {
  const Axes ax = axesOf(order);
  auto about = [this](int axis) {
    HQuaternion q;
    const double half = 0.5 * (*this)[axis];
    q[axis] = std::sin(half);
    q.w = std::cos(half);
    return q;
  };
  return about(ax.first) * about(ax.middle) * about(ax.last);
}

HEulerRotation HEulerRotation::decompose(const HMatrix& m, RotationOrder order) {
  HEulerRotation e(0.0, 0.0, 0.0, order);
  // A block that is already a rotation to rounding (as a quaternion's matrix
  // is) is read as it is: orthonormalising it would change it by rounding only.
  const double(*rotation)[4] = m.matrix;
  hfoundation::AffineParts parts;
  if (!isRotationBlock(m)) {
    if (!hfoundation::decomposeAffine(m, parts))
      return e;
    rotation = nullptr;
  }
  const Axes ax = axesOf(order);
  const int label[3] = {ax.first, ax.middle, ax.last};
  double r[3][3];
  for (int p = 0; p < 3; ++p)
    for (int q = 0; q < 3; ++q)
      r[p][q] = rotation ? rotation[label[p]][label[q]] : parts.rotation[label[p]][label[q]];
  double a, b, c;
  decomposeXYZ(r, a, b, c);
  const double sign = ax.odd ? -1.0 : 1.0;
  e[ax.first] = sign * a;
  e[ax.middle] = sign * b;
  e[ax.last] = sign * c;
  return e;
}

HEulerRotation& HEulerRotation::setToClosestCut(const HEulerRotation& target) {
  x = nearestTurn(x, target.x);
  y = nearestTurn(y, target.y);
  z = nearestTurn(z, target.z);
  return *this;
}

HEulerRotation& HEulerRotation::setToClosestSolution(const HEulerRotation& target) {
  // Ri(a) Rj(b) Rk(c) == Ri(a + pi) Rj(pi - b) Rk(c + pi) for any order of
  // three distinct axes, since the three half turns multiply to the identity.
  const Axes ax = axesOf(order);
  HEulerRotation other(*this);
  other[ax.first] += kPi;
  other[ax.middle] = kPi - other[ax.middle];
  other[ax.last] += kPi;
  setToClosestCut(target);
  other.setToClosestCut(target);
  if (squaredDistance(other, target) < squaredDistance(*this, target))
    *this = other;
  return *this;
}

HEulerRotation HEulerRotation::reorder(RotationOrder newOrder) const {
  HEulerRotation e = decompose(asMatrix(), newOrder);
  return e.setToClosestSolution(*this);
}

HEulerRotation& HEulerRotation::boundIt() {
  return setToClosestCut(HEulerRotation(0.0, 0.0, 0.0, order));
}

HEulerRotation& HEulerRotation::incrementalRotateBy(const HVector& axis, double angle) {
  const HQuaternion q = asQuaternion() * HQuaternion(angle, axis);
  HEulerRotation e = decompose(q.asMatrix(), order);
  *this = e.setToClosestSolution(*this);
  return *this;
}

HEulerRotation HEulerRotation::inverse() const {
  // (Ri Rj Rk)^-1 = Rk^-1 Rj^-1 Ri^-1: the reversed order, angles negated.
  static const RotationOrder kReversed[6] = {kZYX, kXZY, kYXZ, kYZX, kZXY, kXYZ};
  const RotationOrder reversed = (order >= kXYZ && order <= kZYX) ? kReversed[order] : kZYX;
  return HEulerRotation(-x, -y, -z, reversed);
}

bool HEulerRotation::isEquivalent(const HEulerRotation& o, double tolerance) const {
  return order == o.order && std::fabs(x - o.x) <= tolerance && std::fabs(y - o.y) <= tolerance &&
         std::fabs(z - o.z) <= tolerance;
}

std::ostream& operator<<(std::ostream& os, const HEulerRotation& e) {
  static const char* const kNames[6] = {"kXYZ", "kYZX", "kZXY", "kXZY", "kYXZ", "kZYX"};
  const char* name = (e.order >= 0 && e.order < 6) ? kNames[e.order] : "k?";
  return os << '(' << e.x << ", " << e.y << ", " << e.z << ", " << name << ')';
}

#include "HQuaternion.h"

#include <cmath>
#include <ostream>

#include "AffineDecomposition.h"
#include "HEulerRotation.h"

const HQuaternion HQuaternion::identity;

namespace {

// The least rotation from unit a to unit b as a unit axis and an angle in
// [0, pi]. Returns false when a zero or non-finite vector leaves no rotation.
bool leastRotation(const HVector& from, const HVector& to, HVector& axis, double& angle) {
  if (from.isZeroLength() || to.isZeroLength())
    return false;
  const HVector a = from.normal(), b = to.normal();
  HVector c = a ^ b;
  const double d = a * b;
  angle = std::atan2(c.length(), d);
  // Taking out the part of the axis along a keeps it perpendicular even when
  // a and b are nearly opposite and the cross product is mostly rounding.
  c -= a * (c * a);
  if (c * c > 1e-200) {
    axis = c.normal();
  } else if (d >= 0.0) {
    angle = 0.0;
    axis = HVector::zAxis;
  } else {
    // Opposite: any perpendicular axis gives a least rotation; take a crossed
    // with the world axis least aligned with it.
    const double ax = std::fabs(a.x), ay = std::fabs(a.y), az = std::fabs(a.z);
    const HVector e = (ax <= ay && ax <= az) ? HVector::xAxis
                      : (ay <= az)           ? HVector::yAxis
                                             : HVector::zAxis;
    axis = (a ^ e).normal();
    angle = kPi;
  }
  return true;
}

}  // namespace

HQuaternion::HQuaternion(const HVector& from, const HVector& to) : HQuaternion() {
  HVector axis;
  double angle;
  if (leastRotation(from, to, axis, angle))
    setAxisAngle(axis, angle);
}

HQuaternion::HQuaternion(const HVector& from, const HVector& to, double factor) : HQuaternion() {
  HVector axis;
  double angle;
  if (leastRotation(from, to, axis, angle))
    setAxisAngle(axis, angle * factor);
}

HQuaternion::HQuaternion(const HMatrix& m) : HQuaternion() {
  hfoundation::AffineParts parts;
  if (hfoundation::decomposeAffine(m, parts)) {
    *this = hfoundation::quaternionFromRotation(parts.rotation);
  }
}

HEulerRotation HQuaternion::asEulerRotation() const {
  return HEulerRotation::decompose(asMatrix(), HEulerRotation::kXYZ);
}

bool HQuaternion::getAxisAngle(HVector& axis, double& angle) const {
  axis = HVector::zAxis;
  angle = 0.0;
  const double n = norm();
  if (!(n > 0.0) || !std::isfinite(n))
    return false;
  const HVector v(x / n, y / n, z / n);
  const double vl = v.length();
  angle = 2.0 * std::atan2(vl, w / n);
  if (vl > 0.0)
    axis = v / vl;
  return true;
}

std::ostream& operator<<(std::ostream& os, const HQuaternion& q) {
  return os << '(' << q.x << ", " << q.y << ", " << q.z << ", " << q.w << ')';
}

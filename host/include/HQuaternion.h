#pragma once
#include <cmath>
#include <iosfwd>

#include "HMatrix.h"
#include "HVector.h"

class HEulerRotation;

// A rotation as a quaternion (x, y, z, w): w = cos(angle / 2) and (x, y, z)
// = sin(angle / 2) * unit axis, right-handed. Default constructed it is the
// identity (0, 0, 0, 1).
//
// Products follow the matrix order of the row-vector convention:
// (q * r).asMatrix() == q.asMatrix() * r.asMatrix(), so q * r applies q
// first. Operations that turn a quaternion into a rotation (asMatrix,
// rotating vectors) use its direction only; the zero quaternion counts as the
// identity there.
class HQuaternion {
 public:
  constexpr HQuaternion() : x(0.0), y(0.0), z(0.0), w(1.0) {}
  constexpr HQuaternion(double xx, double yy, double zz, double ww) : x(xx), y(yy), z(zz), w(ww) {}
  explicit HQuaternion(const double q[4]) : x(q[0]), y(q[1]), z(q[2]), w(q[3]) {}
  // Right-handed rotation by angle (radians) about the axis's direction,
  // whatever its length. A zero-length axis, a zero angle or a non-finite
  // angle gives the identity.
  HQuaternion(double angle, const HVector& axis) : x(0.0), y(0.0), z(0.0), w(1.0) {
    setAxisAngle(axis, angle);
  }
  // The least rotation carrying from's direction onto to's. Opposite
  // directions give a half turn about an axis perpendicular to both (from
  // crossed with the world axis least aligned with it); a zero-length vector
  // gives the identity.
  HQuaternion(const HVector& from, const HVector& to);
  // The same rotation with its angle scaled by factor (0 gives the identity,
  // 1 the full least rotation).
  HQuaternion(const HVector& from, const HVector& to, double factor);
  // The rotation of the upper-left 3x3 block. Scale and shear are removed by
  // orthonormalising the rows (as HTransformationMatrix does); a reflection
  // is moved into the scale, and a singular or non-finite block gives the
  // rotation of what remains of it (the identity if nothing does).
  explicit HQuaternion(const HMatrix& m);

  // 0 x, 1 y, 2 z, anything else w.
  double& operator[](unsigned i) { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
  double operator[](unsigned i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
  void get(double q[4]) const {
    q[0] = x;
    q[1] = y;
    q[2] = z;
    q[3] = w;
  }

  // q applied first, then r (see the class comment).
  HQuaternion operator*(const HQuaternion& r) const {
    // The Hamilton product r (x) q: rotating by q and then r.
    return HQuaternion(r.w * x + r.x * w + r.y * z - r.z * y,  //
                       r.w * y - r.x * z + r.y * w + r.z * x,  //
                       r.w * z + r.x * y - r.y * x + r.z * w,  //
                       r.w * w - r.x * x - r.y * y - r.z * z);
  }
  HQuaternion& operator*=(const HQuaternion& r) { return *this = *this * r; }
  HQuaternion operator-() const { return HQuaternion(-x, -y, -z, -w); }
  HQuaternion operator+(const HQuaternion& o) const {
    return HQuaternion(x + o.x, y + o.y, z + o.z, w + o.w);
  }
  HQuaternion operator-(const HQuaternion& o) const {
    return HQuaternion(x - o.x, y - o.y, z - o.z, w - o.w);
  }
  HQuaternion operator*(double k) const { return HQuaternion(x * k, y * k, z * k, w * k); }

  // The row-vector rotation matrix: v * q.asMatrix() is v rotated by q.
  HMatrix asMatrix() const {
    HMatrix m;
    const double n = x * x + y * y + z * z + w * w;
    if (!(n > 0.0) || !std::isfinite(n))
      return m;
    const double s = 2.0 / n;
    const double xs = x * s, ys = y * s, zs = z * s;
    const double wx = w * xs, wy = w * ys, wz = w * zs;
    const double xx = x * xs, xy = x * ys, xz = x * zs;
    const double yy = y * ys, yz = y * zs, zz = z * zs;
    m.matrix[0][0] = 1.0 - (yy + zz);
    m.matrix[0][1] = xy + wz;
    m.matrix[0][2] = xz - wy;
    m.matrix[1][0] = xy - wz;
    m.matrix[1][1] = 1.0 - (xx + zz);
    m.matrix[1][2] = yz + wx;
    m.matrix[2][0] = xz + wy;
    m.matrix[2][1] = yz - wx;
    m.matrix[2][2] = 1.0 - (xx + yy);
    return m;
  }
  // The same rotation as Euler angles in XYZ order.
  HEulerRotation asEulerRotation() const;

  // Splits the rotation into a unit axis and an angle in [0, 2 pi]: angle =
  // 2 * acos(w) of the normalised quaternion (computed as 2 * atan2(|v|, w),
  // the same value without acos's loss of precision near 0), axis = the unit
  // vector part. When the vector part is zero (the identity, or a full turn)
  // the axis is (0, 0, 1). Returns false, with angle 0 and axis (0, 0, 1),
  // only for a zero or non-finite quaternion. Never gives NaN.
  bool getAxisAngle(HVector& axis, double& angle) const;
  // Sets the rotation by angle about axis (rules of the constructor).
  HQuaternion& setAxisAngle(const HVector& axis, double angle) {
    const double len = axis.length();
    if (!(len > 0.0) || !std::isfinite(len) || angle == 0.0 || !std::isfinite(angle)) {
      return *this = HQuaternion();
    }
    const double s = std::sin(0.5 * angle) / len;
    x = axis.x * s;
    y = axis.y * s;
    z = axis.z * s;
    w = std::cos(0.5 * angle);
    return *this;
  }

  // The conjugate (x, y, z negated): the inverse of a unit quaternion.
  HQuaternion conjugate() const { return HQuaternion(-x, -y, -z, w); }
  HQuaternion& conjugateIt() { return *this = conjugate(); }
  // The multiplicative inverse (conjugate / norm squared); the zero
  // quaternion gives the identity.
  HQuaternion inverse() const {
    const double n = x * x + y * y + z * z + w * w;
    if (!(n > 0.0) || !std::isfinite(n))
      return HQuaternion();
    const double k = 1.0 / n;
    return HQuaternion(-x * k, -y * k, -z * k, w * k);
  }
  HQuaternion& invertIt() { return *this = inverse(); }
  // Unit length copy / in place; the zero or a non-finite quaternion becomes
  // the identity.
  HQuaternion normal() const {
    HQuaternion q(*this);
    return q.normalizeIt();
  }
  HQuaternion& normalizeIt() {
    const double n = x * x + y * y + z * z + w * w;
    if (!(n > 0.0) || !std::isfinite(n))
      return *this = HQuaternion();
    const double k = 1.0 / std::sqrt(n);
    x *= k;
    y *= k;
    z *= k;
    w *= k;
    return *this;
  }
  // All four components negated: the same rotation.
  HQuaternion& negateIt() { return *this = -*this; }
  double norm() const { return std::sqrt(x * x + y * y + z * z + w * w); }

  bool operator==(const HQuaternion& o) const {
    return x == o.x && y == o.y && z == o.z && w == o.w;
  }
  bool operator!=(const HQuaternion& o) const { return !(*this == o); }
  // Components within tolerance (absolute), with q and -q counting as
  // equivalent since they are the same rotation.
  bool isEquivalent(const HQuaternion& o, double tolerance = 1e-10) const {
    const bool same = std::fabs(x - o.x) <= tolerance && std::fabs(y - o.y) <= tolerance &&
                      std::fabs(z - o.z) <= tolerance && std::fabs(w - o.w) <= tolerance;
    if (same)
      return true;
    return std::fabs(x + o.x) <= tolerance && std::fabs(y + o.y) <= tolerance &&
           std::fabs(z + o.z) <= tolerance && std::fabs(w + o.w) <= tolerance;
  }

  static const HQuaternion identity;

  double x, y, z, w;
};

inline HVector HVector::rotateBy(const HQuaternion& q) const {
  const double n = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
  if (!(n > 0.0) || !std::isfinite(n))
    return *this;
  // v' = v + s (w (u ^ v) + u ^ (u ^ v)) with s = 2 / |q|^2, u the vector part.
  const HVector u(q.x, q.y, q.z);
  const HVector uv = u ^ *this;
  const HVector uuv = u ^ uv;
  return *this + (uv * q.w + uuv) * (2.0 / n);
}

// Writes "(x, y, z, w)".
std::ostream& operator<<(std::ostream& os, const HQuaternion& q);

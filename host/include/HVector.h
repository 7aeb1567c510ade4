#pragma once
#include <cmath>
#include <iosfwd>

#include "HMath.h"
#include "HMatrix.h"
#include "HStatus.h"

class HPoint;
class HQuaternion;

// A direction or displacement of three doubles. "Zero length" below means all
// three components are zero, or a component is not finite (such a vector has
// no usable direction).
class HVector {
 public:
  constexpr HVector() : x(0.0), y(0.0), z(0.0) {}
  constexpr HVector(double xx, double yy, double zz) : x(xx), y(yy), z(zz) {}
  explicit HVector(const double v[3]) : x(v[0]), y(v[1]), z(v[2]) {}
  // Takes x, y and z unchanged; w is ignored (no division by w).
  explicit HVector(const HPoint& p);

  // 0 x, 1 y, anything else z.
  double& operator[](unsigned i) { return i == 0 ? x : (i == 1 ? y : z); }
  double operator[](unsigned i) const { return i == 0 ? x : (i == 1 ? y : z); }
  void get(double v[3]) const {
    v[0] = x;
    v[1] = y;
    v[2] = z;
  }

  HVector operator+(const HVector& o) const { return HVector(x + o.x, y + o.y, z + o.z); }
  HVector operator-(const HVector& o) const { return HVector(x - o.x, y - o.y, z - o.z); }
  HVector operator-() const { return HVector(-x, -y, -z); }
  HVector& operator+=(const HVector& o) {
    x += o.x;
    y += o.y;
    z += o.z;
    return *this;
  }
  HVector& operator-=(const HVector& o) {
    x -= o.x;
    y -= o.y;
    z -= o.z;
    return *this;
  }
  HVector operator*(double k) const { return HVector(x * k, y * k, z * k); }
  HVector& operator*=(double k) {
    x *= k;
    y *= k;
    z *= k;
    return *this;
  }
  // Division by zero follows IEEE arithmetic (infinities); callers divide by
  // lengths they have checked.
  HVector operator/(double k) const { return HVector(x / k, y / k, z / k); }
  HVector& operator/=(double k) {
    x /= k;
    y /= k;
    z /= k;
    return *this;
  }
  // Cross product (right-handed).
  HVector operator^(const HVector& o) const {
    return HVector(y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x);
  }
  // Dot product.
  double operator*(const HVector& o) const { return x * o.x + y * o.y + z * o.z; }
  // Row vector times the upper-left 3x3 block; the translation is ignored.
  HVector operator*(const HMatrix& m) const {
    return HVector(x * m.matrix[0][0] + y * m.matrix[1][0] + z * m.matrix[2][0],
                   x * m.matrix[0][1] + y * m.matrix[1][1] + z * m.matrix[2][1],
                   x * m.matrix[0][2] + y * m.matrix[1][2] + z * m.matrix[2][2]);
  }
  HVector& operator*=(const HMatrix& m) { return *this = *this * m; }

  bool operator==(const HVector& o) const { return x == o.x && y == o.y && z == o.z; }
  bool operator!=(const HVector& o) const { return !(*this == o); }
  // Each component within tolerance (absolute).
  bool isEquivalent(const HVector& o, double tolerance = 1e-10) const {
    return std::fabs(x - o.x) <= tolerance && std::fabs(y - o.y) <= tolerance &&
           std::fabs(z - o.z) <= tolerance;
  }

  double length() const { return std::sqrt(x * x + y * y + z * z); }
  // True when the vector has zero length in the sense above.
  bool isZeroLength() const {
    return (x == 0.0 && y == 0.0 && z == 0.0) ||
           !(std::isfinite(x) && std::isfinite(y) && std::isfinite(z));
  }
  // The unit vector of the same direction; a zero-length vector gives the
  // zero vector. Vectors too short to square (below about 1e-154) are scaled
  // up first, so they still get their direction.
  HVector normal() const {
    HVector n(*this);
    n.normalize();
    return n;
  }
  // Makes the vector unit length in place. A zero-length vector becomes (or
  // stays) the zero vector and kInvalidParameter is returned.
  HStatus normalize() {
    const double len2 = x * x + y * y + z * z;
    if (len2 > 1e-300 && len2 < 1e300) {
      *this /= std::sqrt(len2);
      return HStatus::kSuccess;
    }
    return normalizeSlow();
  }
  // Angle to other in [0, pi]; 0 when either has zero length. Computed as
  // atan2(|a ^ b|, a * b), which equals acos of the normalised dot product
  // but keeps full precision near 0 and pi.
  double angle(const HVector& other) const {
    if (isZeroLength() || other.isZeroLength())
      return 0.0;
    const HVector a = normal(), b = other.normal();
    return std::atan2((a ^ b).length(), a * b);
  }
  // True when either vector has zero length, or when the squared length of
  // the cross product of the two unit vectors is at most tolerance: the same
  // and opposite directions count alike.
  bool isParallel(const HVector& other, double tolerance = 1e-10) const {
    if (isZeroLength() || other.isZeroLength())
      return true;
    const HVector c = normal() ^ other.normal();
    return c * c <= tolerance;
  }
  // This vector rotated by q (normalised first; a zero quaternion is no
  // rotation). Same as *this * q.asMatrix().
  HVector rotateBy(const HQuaternion& q) const;

  static const HVector zero;
  static const HVector one;
  static const HVector xAxis;
  static const HVector yAxis;
  static const HVector zAxis;
  static const HVector xNegAxis;
  static const HVector yNegAxis;
  static const HVector zNegAxis;

  double x, y, z;

 private:
  HStatus normalizeSlow();
};

inline HVector operator*(double k, const HVector& v) {
  return v * k;
}
// Writes "(x, y, z)".
std::ostream& operator<<(std::ostream& os, const HVector& v);

// The types that HVector converts from are completed here, so that including
// HVector.h is enough to use every member.
#include "HPoint.h"
#include "HQuaternion.h"

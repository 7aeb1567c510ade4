#pragma once
#include <cmath>
#include <iosfwd>

#include "HMatrix.h"
#include "HVector.h"

// A homogeneous point (x, y, z, w); w defaults to 1. A point with w == 1 is
// cartesian.
class HPoint {
 public:
  constexpr HPoint() : x(0.0), y(0.0), z(0.0), w(1.0) {}
  constexpr HPoint(double xx, double yy, double zz, double ww = 1.0) : x(xx), y(yy), z(zz), w(ww) {}
  explicit HPoint(const double p[4]) : x(p[0]), y(p[1]), z(p[2]), w(p[3]) {}
  // The point at the vector's tip: (v.x, v.y, v.z, 1).
  explicit constexpr HPoint(const HVector& v) : x(v.x), y(v.y), z(v.z), w(1.0) {}

  // 0 x, 1 y, 2 z, anything else w.
  double& operator[](unsigned i) { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
  double operator[](unsigned i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
  void get(double p[4]) const {
    p[0] = x;
    p[1] = y;
    p[2] = z;
    p[3] = w;
  }

  // The vector from other to this point. When both w are 1 the components
  // are subtracted as they are; otherwise both points are made cartesian
  // first (see cartesianize; a point with w == 0 is used as it is).
  HVector operator-(const HPoint& other) const {
    if (w == 1.0 && other.w == 1.0)
      return HVector(x - other.x, y - other.y, z - other.z);
    const HPoint a = cartesian(), b = other.cartesian();
    return HVector(a.x - b.x, a.y - b.y, a.z - b.z);
  }
  // Moves x, y and z by the vector; w is kept.
  HPoint operator+(const HVector& v) const { return HPoint(x + v.x, y + v.y, z + v.z, w); }
  HPoint operator-(const HVector& v) const { return HPoint(x - v.x, y - v.y, z - v.z, w); }
  HPoint& operator+=(const HVector& v) {
    x += v.x;
    y += v.y;
    z += v.z;
    return *this;
  }
  HPoint& operator-=(const HVector& v) {
    x -= v.x;
    y -= v.y;
    z -= v.z;
    return *this;
  }
  // The homogeneous row vector (x, y, z, w) times the 4x4 matrix; w is
  // transformed too and the result is not made cartesian.
  HPoint operator*(const HMatrix& m) const {
    return HPoint(
        x * m.matrix[0][0] + y * m.matrix[1][0] + z * m.matrix[2][0] + w * m.matrix[3][0],
        x * m.matrix[0][1] + y * m.matrix[1][1] + z * m.matrix[2][1] + w * m.matrix[3][1],
        x * m.matrix[0][2] + y * m.matrix[1][2] + z * m.matrix[2][2] + w * m.matrix[3][2],
        x * m.matrix[0][3] + y * m.matrix[1][3] + z * m.matrix[2][3] + w * m.matrix[3][3]);
  }
  HPoint& operator*=(const HMatrix& m) { return *this = *this * m; }

  // Divides x, y and z by w and sets w to 1. A point with w == 0 (a point at
  // infinity) or a non-finite w is left as it is.
  HPoint& cartesianize() {
    if (w != 1.0 && w != 0.0 && std::isfinite(w)) {
      const double inv = 1.0 / w;
      x *= inv;
      y *= inv;
      z *= inv;
      w = 1.0;
    }
    return *this;
  }
  HPoint cartesian() const {
    HPoint p(*this);
    return p.cartesianize();
  }
  // Length of the difference *this - other (rule of operator-).
  double distanceTo(const HPoint& other) const { return (*this - other).length(); }

  bool operator==(const HPoint& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
  bool operator!=(const HPoint& o) const { return !(*this == o); }
  // Each of the four components within tolerance (absolute); (2, 2, 2, 2)
  // and (1, 1, 1, 1) are therefore not equivalent, compare cartesian() copies
  // for that.
  bool isEquivalent(const HPoint& o, double tolerance = 1e-10) const {
    return std::fabs(x - o.x) <= tolerance && std::fabs(y - o.y) <= tolerance &&
           std::fabs(z - o.z) <= tolerance && std::fabs(w - o.w) <= tolerance;
  }

  static const HPoint origin;

  double x, y, z, w;
};

inline HVector::HVector(const HPoint& p) : x(p.x), y(p.y), z(p.z) {}

// Writes "(x, y, z, w)".
std::ostream& operator<<(std::ostream& os, const HPoint& p);

#pragma once
// Joint chains as plain values, and forward kinematics with matrix algebra of
// this file's own, so that a test's expectations never come from the host's
// transformation classes or the solver's arithmetic.

#include <HEulerRotation.h>
#include <HMatrix.h>
#include <HVector.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace chainfixture {

// One joint; angles in radians. The joint orient and rotate orientation are
// XYZ Euler angles, the rotation is in rotateOrder.
struct JointDesc {
  HVector translate;
  HVector rotate;
  HVector jointOrient;
  HVector rotateAxis;
  HEulerRotation::RotationOrder rotateOrder = HEulerRotation::kXYZ;
};

// A plain transform above the chain's root: translation, XYZ rotation
// (radians) and scale.
struct ParentDesc {
  HVector translate;
  HVector rotate;
  HVector scale = HVector(1.0, 1.0, 1.0);
};

using Mat4 = std::array<std::array<double, 4>, 4>;

struct Vec3 {
  double x = 0.0, y = 0.0, z = 0.0;
  Vec3 operator-(const Vec3& o) const { return {x - o.x, y - o.y, z - o.z}; }
  Vec3 operator+(const Vec3& o) const { return {x + o.x, y + o.y, z + o.z}; }
  Vec3 operator*(double k) const { return {x * k, y * k, z * k}; }
  double dot(const Vec3& o) const { return x * o.x + y * o.y + z * o.z; }
  Vec3 cross(const Vec3& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  double length() const { return std::sqrt(dot(*this)); }
};

inline Mat4 identity4() {
  Mat4 m{};
  for (int i = 0; i < 4; ++i)
    m[i][i] = 1.0;
  return m;
}

// Row vectors: a * b applies a first.
inline Mat4 operator*(const Mat4& a, const Mat4& b) {
  Mat4 p{};
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      for (int k = 0; k < 4; ++k)
        p[r][c] += a[r][k] * b[k][c];
  return p;
}

// Right-handed rotation about one axis (0 x, 1 y, 2 z), for row vectors.
inline Mat4 axisRotation(int axis, double angle) {
  Mat4 m = identity4();
  const double c = std::cos(angle), s = std::sin(angle);
  const int a = (axis + 1) % 3, b = (axis + 2) % 3;
  m[a][a] = c;
  m[a][b] = s;
  m[b][a] = -s;
  m[b][b] = c;
  return m;
}

// Orders as named by the rotateOrder enum: "xyz" rotates about x first.
inline Mat4 eulerMatrix(double x, double y, double z, int order) {
  static const char* kOrders[] = {"xyz", "yzx", "zxy", "xzy", "yxz", "zyx"};
  const double angles[3] = {x, y, z};
  Mat4 m = identity4();
  for (const char* c = kOrders[(order >= 0 && order < 6) ? order : 0]; *c; ++c) {
    const int axis = *c - 'x';
    m = m * axisRotation(axis, angles[axis]);
  }
  return m;
}

inline Mat4 translation4(const HVector& t) {
  Mat4 m = identity4();
  m[3][0] = t.x;
  m[3][1] = t.y;
  m[3][2] = t.z;
  return m;
}

// Right-handed rotation by angle about the axis's direction, for row vectors;
// the identity for a zero axis.
inline Mat4 axisAngleMatrix(double angle, const HVector& axis) {
  const double length = axis.length();
  if (!(length > 0.0))
    return identity4();
  const double k[3] = {axis.x / length, axis.y / length, axis.z / length};
  const double c = std::cos(angle), s = std::sin(angle);
  // Row vectors take the transpose of the column-vector Rodrigues matrix.
  const double cross[3][3] = {{0, k[2], -k[1]}, {-k[2], 0, k[0]}, {k[1], -k[0], 0}};
  Mat4 m = identity4();
  for (int r = 0; r < 3; ++r)
    for (int col = 0; col < 3; ++col)
      m[r][col] = (r == col ? c : 0.0) + (1.0 - c) * k[r] * k[col] + s * cross[r][col];
  return m;
}

// A joint's local matrix RA * added * R * JO * T (unscaled), with the
// rotation `rotate` in the joint's order and `added` composed in front of it,
// where rotations in object space go.
inline Mat4 jointMatrix(const JointDesc& d, const HVector& rotate, const Mat4& added) {
  const HVector& ra = d.rotateAxis;
  const HVector& jo = d.jointOrient;
  return eulerMatrix(ra.x, ra.y, ra.z, 0) * added *
         eulerMatrix(rotate.x, rotate.y, rotate.z, int(d.rotateOrder)) *
         eulerMatrix(jo.x, jo.y, jo.z, 0) * translation4(d.translate);
}

// S * R (XYZ) * T of a parent transform.
inline Mat4 parentMatrix(const ParentDesc& p) {
  Mat4 scale = identity4();
  scale[0][0] = p.scale.x;
  scale[1][1] = p.scale.y;
  scale[2][2] = p.scale.z;
  return scale * eulerMatrix(p.rotate.x, p.rotate.y, p.rotate.z, 0) * translation4(p.translate);
}

inline HMatrix toHMatrix(const Mat4& m) {
  HMatrix out;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      out.matrix[r][c] = m[r][c];
  return out;
}

inline Vec3 originOf(const Mat4& m) {
  return {m[3][0], m[3][1], m[3][2]};
}

inline Vec3 toVec3(const HVector& v) {
  return {v.x, v.y, v.z};
}

inline HVector toHVector(const Vec3& v) {
  return HVector(v.x, v.y, v.z);
}

// Distance of p from the ray that starts at origin and runs along direction.
inline double distanceFromRay(const Vec3& p, const Vec3& origin, const Vec3& direction) {
  const Vec3 d = direction * (1.0 / direction.length());
  const Vec3 rel = p - origin;
  const double along = rel.dot(d);
  return along < 0.0 ? rel.length() : (rel - d * along).length();
}

inline Vec3 rotateAbout(const Vec3& v, const Vec3& unitAxis, double angle) {
  const double c = std::cos(angle), s = std::sin(angle);
  return v * c + unitAxis.cross(v) * s + unitAxis * (unitAxis.dot(v) * (1.0 - c));
}

// Right-handed angle about axis from a to b, both projected across it.
inline double angleAbout(const Vec3& a, const Vec3& b, const Vec3& axis) {
  const Vec3 n = axis * (1.0 / axis.length());
  const Vec3 a2 = a - n * n.dot(a), b2 = b - n * n.dot(b);
  return std::atan2(a2.cross(b2).dot(n), a2.dot(b2));
}

// Joint i at world position positions[i], with no rotations.
inline std::vector<JointDesc> pointChain(const std::vector<HVector>& positions) {
  std::vector<JointDesc> descs(positions.size());
  descs[0].translate = positions[0];
  for (size_t i = 1; i < positions.size(); ++i)
    descs[i].translate = positions[i] - positions[i - 1];
  return descs;
}

inline HVector randomDirection(std::mt19937& rng) {
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (;;) {
    const HVector v(unit(rng), unit(rng), unit(rng));
    if (v.length() > 0.1 && v.length() <= 1.0)
      return v.normal();
  }
}

// n joints with bones 0.5 to 3 long in random directions, random rotations,
// joint orients, rotate orientations and rotate orders everywhere.
inline std::vector<JointDesc> randomChain(std::mt19937& rng, unsigned n) {
  const double pi = 3.141592653589793;
  std::uniform_real_distribution<double> angle(-pi, pi), length(0.5, 3.0);
  std::uniform_int_distribution<int> order(0, 5);
  const auto angles = [&] { return HVector(angle(rng), angle(rng), angle(rng)); };
  std::vector<JointDesc> descs(n);
  for (unsigned i = 0; i < n; ++i) {
    JointDesc& d = descs[i];
    d.translate = randomDirection(rng) * (i == 0 ? 2.0 : length(rng));
    d.rotate = angles();
    d.jointOrient = angles();
    d.rotateAxis = angles();
    d.rotateOrder = HEulerRotation::RotationOrder(order(rng));
  }
  return descs;
}

}  // namespace chainfixture

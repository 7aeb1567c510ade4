#pragma once
#include <iosfwd>

#include "HMath.h"
#include "HMatrix.h"
#include "HQuaternion.h"
#include "HVector.h"

// A rotation as three angles (radians) about the x, y and z axes, applied in
// the given order. kXYZ means about X first, then Y, then Z: the matrix is
// Rx * Ry * Rz with row vectors. Each Ri is the right-handed rotation about
// axis i.
class HEulerRotation {
 public:
  enum RotationOrder { kXYZ = 0, kYZX, kZXY, kXZY, kYXZ, kZYX };

  constexpr HEulerRotation() : x(0.0), y(0.0), z(0.0), order(kXYZ) {}
  constexpr HEulerRotation(double xx, double yy, double zz, RotationOrder ord = kXYZ)
      : x(xx), y(yy), z(zz), order(ord) {}
  explicit HEulerRotation(const HVector& v, RotationOrder ord = kXYZ)
      : x(v.x), y(v.y), z(v.z), order(ord) {}
  HEulerRotation(const double v[3], RotationOrder ord) : x(v[0]), y(v[1]), z(v[2]), order(ord) {}

  // 0 x, 1 y, anything else z.
  double& operator[](unsigned i) { return i == 0 ? x : (i == 1 ? y : z); }
  double operator[](unsigned i) const { return i == 0 ? x : (i == 1 ? y : z); }

  HMatrix asMatrix() const;
  HQuaternion asQuaternion() const;
  HVector asVector() const { return HVector(x, y, z); }

  // The angles in the given order of the rotation part of m (scale and shear
  // removed as HTransformationMatrix does). The first angle of the order and
  // the last lie in [-pi, pi], the middle one in [-pi/2, pi/2]. At gimbal
  // lock (middle angle +-pi/2) the first and last angles share one degree of
  // freedom; the result then still recomposes to the same matrix. A
  // non-finite matrix gives zero angles.
  static HEulerRotation decompose(const HMatrix& m, RotationOrder order);

  // Among the triples that give the same rotation in this order (each angle
  // moved by whole turns, and the alternate solution (x + pi, pi - y, z + pi)
  // with the first and last angle of the order moved by pi and the middle one
  // reflected) picks the one nearest target (least sum of squared angle
  // differences), so that animation never jumps by a whole turn. Ties keep
  // the unreflected solution. target's order is ignored: only its angles are
  // compared. Non-finite angles are left as they are.
  HEulerRotation& setToClosestSolution(const HEulerRotation& target);
  HEulerRotation closestSolution(const HEulerRotation& target) const {
    HEulerRotation e(*this);
    return e.setToClosestSolution(target);
  }
  // The closest of the angles differing by whole turns only (no reflected
  // solution).
  HEulerRotation& setToClosestCut(const HEulerRotation& target);

  // The same rotation in another order; of the possible angle triples, the
  // one closest to these angles.
  HEulerRotation reorder(RotationOrder newOrder) const;
  HEulerRotation& reorderIt(RotationOrder newOrder) { return *this = reorder(newOrder); }
  // Each angle moved by whole turns into [-pi, pi]; the rotation is
  // unchanged.
  HEulerRotation& boundIt();
  HEulerRotation bound() const {
    HEulerRotation e(*this);
    return e.boundIt();
  }
  // Follows this rotation by the rotation by angle about axis (matrix
  // asMatrix() * R(axis, angle): the axis is fixed in the frame the angles are
  // expressed in), keeping the angles closest to the current ones. A zero
  // axis adds nothing.
  HEulerRotation& incrementalRotateBy(const HVector& axis, double angle);
  // The inverse rotation: the angles negated, in the reversed order (the
  // inverse of an XYZ rotation is a ZYX one).
  HEulerRotation inverse() const;

  bool operator==(const HEulerRotation& o) const {
    return x == o.x && y == o.y && z == o.z && order == o.order;
  }
  bool operator!=(const HEulerRotation& o) const { return !(*this == o); }
  // Componentwise: the same order and each angle within tolerance. Triples
  // that differ by a whole turn are not equivalent here; compare
  // asQuaternion() values to compare rotations.
  bool isEquivalent(const HEulerRotation& o, double tolerance = 1e-10) const;

  static const HEulerRotation identity;

  double x, y, z;
  RotationOrder order;
};

// Writes "(x, y, z, kXYZ)".
std::ostream& operator<<(std::ostream& os, const HEulerRotation& e);

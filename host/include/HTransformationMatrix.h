#pragma once
#include <cstdint>
#include <iosfwd>

#include "HEulerRotation.h"
#include "HMatrix.h"
#include "HQuaternion.h"
#include "HSpace.h"
#include "HStatus.h"
#include "HVector.h"

// The components of a local transformation, composed with row vectors as
//   S * Sh * RA * R * JO * T
// scale S, shear Sh, rotate orientation RA (a quaternion), rotation R (Euler
// angles in a rotation order), joint orientation JO (a quaternion, identity on
// plain transforms) and translation T.
//
// Sh is the row-vector shear [[1, 0, 0], [xy, 1, 0], [xz, yz, 1]]:
// x' = x + xy * y + xz * z, y' = y + yz * z.
//
// The rotation is kept as a quaternion as well as Euler angles, so that
// rotateBy followed by asMatrix needs no Euler decomposition: the angles are
// worked out when asked for, as the solution closest to the angles held
// before (see rotateBy).
//
// Spaces: a standalone transformation has no parent, so translation, scale
// and shear read and write the same components in every valid space; kInvalid
// (or a value out of range) is refused with kInvalidParameter.
class HTransformationMatrix {
 public:
  // Note the shift by one against HEulerRotation::RotationOrder.
  enum RotationOrder { kInvalid = 0, kXYZ = 1, kYZX, kZXY, kXZY, kYXZ, kZYX, kLast };

  // The HEulerRotation order of a transform order; kInvalid and out-of-range
  // values give kXYZ.
  static HEulerRotation::RotationOrder toEulerOrder(RotationOrder order) {
    return (order > kInvalid && order < kLast)
               ? static_cast<HEulerRotation::RotationOrder>(order - 1)
               : HEulerRotation::kXYZ;
  }
  static RotationOrder fromEulerOrder(HEulerRotation::RotationOrder order) {
    return (order >= HEulerRotation::kXYZ && order <= HEulerRotation::kZYX)
               ? static_cast<RotationOrder>(order + 1)
               : kXYZ;
  }
  static bool isValidOrder(RotationOrder order) { return order > kInvalid && order < kLast; }

  HTransformationMatrix() = default;
  // Decomposes the affine part of m (column 3 is ignored) into translation,
  // rotation (XYZ), scale and shear, with RA = JO = identity, so that
  // asMatrix() gives m back (within rounding) for any non-singular affine m.
  // The rows of the upper 3x3 block are orthonormalised in order x, y, z: row
  // x gives the x scale, the part of row y along x the xy shear, and so on. A
  // negative determinant is put into the scale: the one axis, or all three,
  // whose negation leaves the rotation closest to the identity (largest
  // trace) is negated, with the shears that involve it. A row that is zero or
  // (within 1e-12 of its length) in the span of the rows before it gets scale
  // 0 and no shear, and the rotation is completed with directions
  // perpendicular to the remaining rows: singular matrices decompose to finite
  // components. A matrix with a non-finite element gives the identity.
  explicit HTransformationMatrix(const HMatrix& m);

  HMatrix asMatrix() const;
  // The inverse of asMatrix() (the identity when that is singular, as
  // HMatrix::inverse).
  HMatrix asMatrixInverse() const { return asMatrix().inverse(); }
  // The rotational part alone: RA * R * JO, without scale, shear or
  // translation.
  HMatrix asRotateMatrix() const;
  // S * Sh: the scale and shear part.
  HMatrix asScaleMatrix() const;

  HVector translation(HSpace::Space space, HStatus* status = nullptr) const;
  HStatus setTranslation(const HVector& translation, HSpace::Space space);
  HStatus addTranslation(const HVector& translation, HSpace::Space space);

  // The R component alone (free of scale, shear, RA and JO), unit length.
  HQuaternion rotation() const { return fRotation; }
  // R as Euler angles in the rotation order.
  HEulerRotation eulerRotation() const;
  HStatus getRotation(double angles[3], RotationOrder& order) const;
  // Replaces R by the angles (radians) in the given order; an invalid order
  // is refused with kInvalidParameter and nothing changes.
  HStatus setRotation(const double angles[3], RotationOrder order);
  HStatus setRotation(const HEulerRotation& rotation);
  // Replaces R by q (normalised; zero gives the identity), keeping the
  // rotation order. The Euler angles become the solution closest to the
  // previous ones.
  HStatus setRotation(const HQuaternion& q);
  HStatus setRotationQuaternion(double x, double y, double z, double w) {
    return setRotation(HQuaternion(x, y, z, w));
  }
  RotationOrder rotationOrder() const { return fromEulerOrder(fEuler.order); }
  // Changes the order and keeps the rotation (the angles change).
  HStatus reorderRotation(RotationOrder order);
  // Changes the order; reorder true keeps the rotation (as reorderRotation),
  // false keeps the angles (the rotation changes).
  HStatus setRotationOrder(RotationOrder order, bool reorder);

  // Composes q onto R:
  //   kObject / kPreTransform (2): R <- q * R, so q acts in the frame after
  //     RA and before the existing rotation;
  //   kTransform (1): R <- R * q, after the existing rotation and before JO;
  //   kPostTransform (3) and kWorld (4): R <- R * JO * q * JO^-1, so q acts
  //     after JO, in the parent's axes about the transform's own origin (the
  //     same as kTransform when JO is the identity).
  // kInvalid or an out-of-range space is refused with kInvalidParameter and
  // nothing changes. The new Euler angles are the solution closest to those
  // held before; successive rotations made without setting angles in
  // between are all resolved against the angles held before the first.
  HTransformationMatrix& rotateBy(const HQuaternion& q, HSpace::Space space,
                                  HStatus* status = nullptr);
  HTransformationMatrix& rotateBy(const HEulerRotation& rotation, HSpace::Space space,
                                  HStatus* status = nullptr) {
    return rotateBy(rotation.asQuaternion(), space, status);
  }

  HStatus getScale(double scale[3], HSpace::Space space) const;
  HStatus setScale(const double scale[3], HSpace::Space space);
  // Multiplies each scale component.
  HStatus scaleBy(const double scale[3], HSpace::Space space);
  // (xy, xz, yz).
  HStatus getShear(double shear[3], HSpace::Space space) const;
  HStatus setShear(const double shear[3], HSpace::Space space);

  HQuaternion rotateOrientation() const { return fRotateOrientation; }
  // Normalised; zero gives the identity.
  HStatus setRotateOrientation(const HQuaternion& q);
  HQuaternion jointOrientation() const { return fJointOrientation; }
  // Normalised; zero gives the identity.
  HStatus setJointOrientation(const HQuaternion& q);

  // True when the composed matrices agree within tolerance, element by
  // element.
  bool isEquivalent(const HTransformationMatrix& other, double tolerance = 1e-10) const;
  // Every component equal: translation, Euler angles and order, scale, shear,
  // rotate and joint orientation (as quaternions, exactly).
  bool operator==(const HTransformationMatrix& other) const;
  bool operator!=(const HTransformationMatrix& other) const { return !(*this == other); }

  static const HTransformationMatrix identity;

 private:
  // How fEuler relates to fRotation.
  enum EulerState : std::uint8_t {
    kEulerExact,      // fEuler holds R's angles.
    kEulerNear,       // R changed; its angles are the ones closest to fEuler.
    kEulerNearPlain,  // R changed; its angles are closest to the plain
                      // decomposition of fReference (set from a matrix).
    kEulerPlain       // set from a matrix: the plain decomposition of R.
  };
  void rotationChanged(const HQuaternion& newRotation);
  // The work of the constructor from a matrix, on a default-constructed object.
  void decompose(const HMatrix& m);

  HVector fTranslation;
  HQuaternion fRotation;
  HEulerRotation fEuler;
  HQuaternion fReference;
  double fScale[3] = {1.0, 1.0, 1.0};
  double fShear[3] = {0.0, 0.0, 0.0};
  HQuaternion fRotateOrientation;
  HQuaternion fJointOrientation;
  EulerState fEulerState = kEulerExact;
  // Whether RA and JO differ from the identity, kept by their setters so that
  // asMatrix, which runs many times per solve, tests a flag.
  bool fHasRotateOrientation = false;
  bool fHasJointOrientation = false;
};

// Inline: a solver composes rotations onto transformations and turns them into
// matrices many times per solve.

inline HMatrix HTransformationMatrix::asMatrix() const {
  // RA, R and JO are multiplied as quaternions (cheaper than three matrices)
  // and the lower-triangular S * Sh is applied to the rotation's rows.
  HQuaternion q = fRotation;
  if (fHasRotateOrientation)
    q = fRotateOrientation * q;
  if (fHasJointOrientation)
    q = q * fJointOrientation;
  HMatrix m = q.asMatrix();
  double(&a)[4][4] = m.matrix;
  const double xy = fShear[0], xz = fShear[1], yz = fShear[2];
  for (int c = 0; c < 3; ++c) {
    const double r0 = a[0][c], r1 = a[1][c], r2 = a[2][c];
    a[0][c] = fScale[0] * r0;
    a[1][c] = fScale[1] * (xy * r0 + r1);
    a[2][c] = fScale[2] * (xz * r0 + yz * r1 + r2);
  }
  a[3][0] = fTranslation.x;
  a[3][1] = fTranslation.y;
  a[3][2] = fTranslation.z;
  return m;
}

inline void HTransformationMatrix::rotationChanged(const HQuaternion& newRotation) {
  // The angles held now become the reference that the new angles are kept
  // closest to; an existing reference is kept (see rotateBy).
  if (fEulerState == kEulerExact) {
    fEulerState = kEulerNear;
  } else if (fEulerState == kEulerPlain) {
    fReference = fRotation;
    fEulerState = kEulerNearPlain;
  }
  fRotation = newRotation.normal();
}

inline HTransformationMatrix& HTransformationMatrix::rotateBy(const HQuaternion& q,
                                                              HSpace::Space space,
                                                              HStatus* status) {
  const HQuaternion u = q.normal();
  HQuaternion r;
  switch (space) {
    case HSpace::kPreTransform:
      r = u * fRotation;
      break;
    case HSpace::kTransform:
      r = fRotation * u;
      break;
    case HSpace::kPostTransform:
    case HSpace::kWorld:
      // R' * JO = R * JO * q: q follows the joint orientation.
      r = fRotation * fJointOrientation * u * fJointOrientation.conjugate();
      break;
    default:
      if (status)
        *status = HStatus(HStatus::kInvalidParameter);
      return *this;
  }
  rotationChanged(r);
  if (status)
    *status = HStatus::kSuccess;
  return *this;
}

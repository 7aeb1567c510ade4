#pragma once
#include "HEulerRotation.h"
#include "HFnDagNode.h"
#include "HQuaternion.h"
#include "HSpace.h"
#include "HTransformationMatrix.h"
#include "HVector.h"

// Function set for transforms (and joints, effectors and handles, which are
// transforms). Local matrix: S * Sh * RA * R * JO * T (JO identity on plain
// transforms). Rotations are Euler angles in radians in the node's rotate order.
// Writes go through the same rules as plug writes: locked (or connected)
// components and non-finite values are refused with a failure status; the
// free components of a three-component write are still written.
class HFnTransform : public HFnDagNode {
 public:
  HFnTransform() = default;
  explicit HFnTransform(const HObject& node, HStatus* status = nullptr);
  explicit HFnTransform(const HDagPath& path, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kTransform; }
  HStatus setObject(const HObject& object) override;

  // Creates a "transform" node under parent (the world when null).
  HObject create(const HObject& parent = HObject::kNullObj, HStatus* status = nullptr);

  HTransformationMatrix transformation(HStatus* status = nullptr) const;
  HStatus set(const HTransformationMatrix& transformation);

  // kWorld: the world position (translation of the world matrix); other
  // spaces: the local translation.
  HVector translation(HSpace::Space space, HStatus* status = nullptr) const;
  // kWorld: a world position, turned into the parent's space; other spaces set
  // the local translation.
  HStatus setTranslation(const HVector& vector, HSpace::Space space);
  // kWorld: a world displacement, turned into the parent's space (a singular
  // parent matrix inverts to the identity, so the result stays finite);
  // kObject: along the node's own rotated axes (RA, R, JO; no scale); other
  // spaces: in the parent's space.
  HStatus translateBy(const HVector& vector, HSpace::Space space);

  HTransformationMatrix::RotationOrder rotationOrder(HStatus* status = nullptr) const;
  HStatus setRotationOrder(HTransformationMatrix::RotationOrder order, bool reorder);
  HStatus getRotation(HEulerRotation& rotation) const;
  // The rotation component R alone, whatever the space.
  HStatus getRotation(HQuaternion& rotation, HSpace::Space space = HSpace::kTransform) const;
  HStatus getRotation(double rotation[3], HTransformationMatrix::RotationOrder& order) const;
  // A rotation in another order than the node's is re-expressed in the
  // node's order; the rotate order itself never changes here.
  HStatus setRotation(const HEulerRotation& rotation);
  HStatus setRotation(const double rotation[3], HTransformationMatrix::RotationOrder order);
  HStatus setRotation(const HQuaternion& rotation, HSpace::Space space = HSpace::kTransform);
  // Space 2 (object): R <- q * R; space 1 (transform): R <- R * q. The new
  // Euler angles are the solution closest to the old ones.
  HStatus rotateBy(const HQuaternion& rotation, HSpace::Space space);

  // The rotate orientation RA (stored as XYZ Euler angles in rotateAxis),
  // whatever the space. setRotateOrientation replaces it; balance (keeping
  // the world pose) is not supported and ignored.
  HQuaternion rotateOrientation(HSpace::Space space, HStatus* status = nullptr) const;
  HStatus setRotateOrientation(const HQuaternion& orientation, HSpace::Space space,
                               bool balance = false);

  HStatus getScale(double scale[3]) const;
  HStatus setScale(const double scale[3]);
  HStatus getShear(double shear[3]) const;
  HStatus setShear(const double shear[3]);
};

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

  HVector translation(HSpace::Space space, HStatus* status = nullptr) const;
  HStatus setTranslation(const HVector& vector, HSpace::Space space);
  HStatus translateBy(const HVector& vector, HSpace::Space space);

  HTransformationMatrix::RotationOrder rotationOrder(HStatus* status = nullptr) const;
  HStatus setRotationOrder(HTransformationMatrix::RotationOrder order, bool reorder);
  HStatus getRotation(HEulerRotation& rotation) const;
  HStatus getRotation(HQuaternion& rotation, HSpace::Space space = HSpace::kTransform) const;
  HStatus getRotation(double rotation[3], HTransformationMatrix::RotationOrder& order) const;
  HStatus setRotation(const HEulerRotation& rotation);
  HStatus setRotation(const double rotation[3], HTransformationMatrix::RotationOrder order);
  HStatus setRotation(const HQuaternion& rotation, HSpace::Space space = HSpace::kTransform);
  // Space 2 (object): R <- q * R; space 1 (transform): R <- R * q. The new
  // Euler angles are the solution closest to the old ones.
  HStatus rotateBy(const HQuaternion& rotation, HSpace::Space space);

  HQuaternion rotateOrientation(HSpace::Space space, HStatus* status = nullptr) const;
  HStatus setRotateOrientation(const HQuaternion& orientation, HSpace::Space space,
                               bool balance = false);

  HStatus getScale(double scale[3]) const;
  HStatus setScale(const double scale[3]);
  HStatus getShear(double shear[3]) const;
  HStatus setShear(const double shear[3]);
};

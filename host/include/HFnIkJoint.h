#pragma once
#include "HEulerRotation.h"
#include "HFnTransform.h"
#include "HQuaternion.h"

// Function set for joints ("joint" nodes): transforms with a joint orientation
// (jointOrient, Euler XYZ), a preferred angle and a radius. Local matrix:
// S * Sh * RA * R * JO * T.
class HFnIkJoint : public HFnTransform {
 public:
  HFnIkJoint() = default;
  explicit HFnIkJoint(const HObject& node, HStatus* status = nullptr);
  explicit HFnIkJoint(const HDagPath& path, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kJoint; }
  HStatus setObject(const HObject& object) override;

  // Creates a joint under parent (the world when null).
  HObject create(const HObject& parent = HObject::kNullObj, HStatus* status = nullptr);

  // The preferred angle, three Euler angles in radians (the joint's rotate order).
  HStatus getPreferedAngle(double rotation[3]) const;
  HStatus setPreferedAngle(const double rotation[3]);
  // The joint orientation is kept as XYZ angles; an orientation given in
  // another order is re-expressed.
  HStatus getOrientation(HEulerRotation& orientation) const;
  HStatus setOrientation(const HEulerRotation& orientation);
  HStatus getOrientation(HQuaternion& orientation) const;
  HStatus setOrientation(const HQuaternion& orientation);
};

#pragma once
#include "HFnTransform.h"

// Function set for IK end effectors ("ikEffector" nodes).
class HFnIkEffector : public HFnTransform {
 public:
  HFnIkEffector() = default;
  explicit HFnIkEffector(const HObject& node, HStatus* status = nullptr);
  explicit HFnIkEffector(const HDagPath& path, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kIkEffector; }
  HStatus setObject(const HObject& object) override;

  HObject create(const HObject& parent = HObject::kNullObj, HStatus* status = nullptr);
};

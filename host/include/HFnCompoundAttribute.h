#pragma once
#include "HFnAttribute.h"

// Compound attributes: a group of child attributes.
class HFnCompoundAttribute : public HFnAttribute {
 public:
  HFnCompoundAttribute() = default;
  explicit HFnCompoundAttribute(const HObject& attribute, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kCompoundAttribute; }
  HStatus setObject(const HObject& object) override;

  HObject create(const HString& longName, const HString& shortName, HStatus* status = nullptr);
  // Fails when the child already has a parent, is this attribute itself (or an
  // ancestor), shares a name with another child, or the compound is already
  // on a node.
  HStatus addChild(const HObject& child);
  unsigned numChildren(HStatus* status = nullptr) const;
  HObject child(unsigned index, HStatus* status = nullptr) const;
};

#pragma once
#include "HFnAttribute.h"

// Typed attributes; the host supports string data.
class HFnData {
 public:
  enum Type { kInvalid = 0, kString = 4 };
};

class HFnTypedAttribute : public HFnAttribute {
 public:
  HFnTypedAttribute() = default;
  explicit HFnTypedAttribute(const HObject& attribute, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kTypedAttribute; }
  HStatus setObject(const HObject& object) override;

  HObject create(const HString& longName, const HString& shortName, HFnData::Type type,
                 HStatus* status = nullptr);
  HFnData::Type attrType(HStatus* status = nullptr) const;
};

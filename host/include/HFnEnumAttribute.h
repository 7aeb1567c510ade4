#pragma once
#include "HFnAttribute.h"

// Enumerated attributes: named integer fields.
class HFnEnumAttribute : public HFnAttribute {
 public:
  HFnEnumAttribute() = default;
  explicit HFnEnumAttribute(const HObject& attribute, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kEnumAttribute; }
  HStatus setObject(const HObject& object) override;

  HObject create(const HString& longName, const HString& shortName, short defaultValue = 0,
                 HStatus* status = nullptr);
  HStatus addField(const HString& fieldName, short value);
  HString fieldName(short value, HStatus* status = nullptr) const;
  short fieldIndex(const HString& fieldName, HStatus* status = nullptr) const;
  HStatus getMin(short& value) const;
  HStatus getMax(short& value) const;
  HStatus setDefault(short value);
  HStatus getDefault(short& value) const;
};

#pragma once
#include "HFnAttribute.h"
#include "HFnNumericData.h"

// Numeric attributes. Single types (bool, int, float, double, ...) hold one
// value; k3Double (and the other k2/k3 types) is a compound of numeric
// children named <long>X/Y/Z (short <short>x/y/z), each holding the default.
class HFnNumericAttribute : public HFnAttribute {
 public:
  HFnNumericAttribute() = default;
  explicit HFnNumericAttribute(const HObject& attribute, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kNumericAttribute; }
  HStatus setObject(const HObject& object) override;

  // Creates a new attribute (not yet on any node) and attaches the function
  // set to it. Unsupported types fail and return a null object.
  HObject create(const HString& longName, const HString& shortName, HFnNumericData::Type type,
                 double defaultValue = 0.0, HStatus* status = nullptr);
  HFnNumericData::Type unitType(HStatus* status = nullptr) const;
  HStatus getDefault(double& value) const;
  // A new default applies to values not yet written and elements made later.
  // Non-finite defaults, minima and maxima are refused.
  HStatus setDefault(double value);
  HStatus setMin(double value);
  HStatus setMax(double value);
  // With true, commands (setAttr) refuse a value outside the minimum and
  // maximum with an error instead of clamping it; writes through the API
  // still clamp.
  HStatus setStrictRange(bool state);
};

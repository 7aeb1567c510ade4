#pragma once
#include "HFnBase.h"
#include "HString.h"

// Function set for attributes: names and flags. Flag defaults for a new
// attribute: readable, writable, storable; not keyable, not hidden, not array.
class HFnAttribute : public HFnBase {
 public:
  HFnAttribute() = default;
  explicit HFnAttribute(const HObject& attribute, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kAttribute; }
  HStatus setObject(const HObject& object) override;

  HString name(HStatus* status = nullptr) const;
  HString shortName(HStatus* status = nullptr) const;
  // The compound attribute this one is a child of (null at the top).
  HObject parent(HStatus* status = nullptr) const;

  bool isHidden(HStatus* status = nullptr) const;
  bool isKeyable(HStatus* status = nullptr) const;
  bool isStorable(HStatus* status = nullptr) const;
  bool isReadable(HStatus* status = nullptr) const;
  bool isWritable(HStatus* status = nullptr) const;
  bool isArray(HStatus* status = nullptr) const;
  HStatus setHidden(bool state);
  HStatus setKeyable(bool state);
  HStatus setStorable(bool state);
  HStatus setReadable(bool state);
  HStatus setWritable(bool state);
  // Fails once the attribute is on a node type or a node.
  HStatus setArray(bool state);
};

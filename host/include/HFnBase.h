#pragma once
#include "HFn.h"
#include "HObject.h"
#include "HStatus.h"

// Base of all function sets: attaches to an object.
class HFnBase {
 public:
  HFnBase() = default;
  explicit HFnBase(const HObject& object) : fObject(object) {}
  virtual ~HFnBase() = default;

  virtual HFn::Type type() const { return HFn::kBase; }
  HObject object(HStatus* status = nullptr) const;
  virtual HStatus setObject(const HObject& object);
  bool hasObj(HFn::Type type) const;

 protected:
  HObject fObject;
};

#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>

#include "HObject.h"

// A node's identity that outlives the node: tools keep state per node in
// unordered containers keyed by it. Unlike HObject, whose null objects all
// compare equal, two handles are equal only when they were made from the same
// node (or attribute), alive or not, so a handle's hash never changes.
class HObjectHandle {
 public:
  HObjectHandle() = default;
  explicit HObjectHandle(const HObject& object) : fObject(object) {}

  const HObject& object() const { return fObject; }
  // Whether the node (or attribute) is still there.
  bool isAlive() const { return !fObject.isNull(); }
  std::size_t hashCode() const {
    if (fObject.attributeDef())
      return std::hash<const void*>()(fObject.attributeDef().get());
    return std::hash<std::uint64_t>()((std::uint64_t(fObject.nodeGeneration()) << 32) |
                                      fObject.nodeSlot());
  }
  bool operator==(const HObjectHandle& other) const {
    return fObject.attributeDef() == other.fObject.attributeDef() &&
           fObject.nodeSlot() == other.fObject.nodeSlot() &&
           fObject.nodeGeneration() == other.fObject.nodeGeneration();
  }
  bool operator!=(const HObjectHandle& other) const { return !(*this == other); }

 private:
  HObject fObject;
};

template <>
struct std::hash<HObjectHandle> {
  std::size_t operator()(const HObjectHandle& handle) const noexcept { return handle.hashCode(); }
};

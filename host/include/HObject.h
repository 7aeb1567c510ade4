#pragma once
// A reference to a node or an attribute of the scene.
//
// An HObject never dangles: once the node it names is deleted it reads as null
// and every operation through it fails with a status. Attribute objects keep
// their attribute alive for as long as they are held (an attribute created by a
// function set exists before it is added to any node).

#include <cstdint>
#include <memory>
#include <utility>

#include "HFn.h"

namespace hostdetail {
struct Attribute;
}

class HObject {
 public:
  HObject() = default;

  bool isNull() const;
  // The type code of the object (HFn::kInvalid for a null object).
  HFn::Type apiType() const;
  bool hasFn(HFn::Type type) const;

  bool operator==(const HObject& other) const;
  bool operator!=(const HObject& other) const { return !(*this == other); }

  static const HObject kNullObj;

  // Host internals: a node is named by its slot and the slot's generation, so
  // that a deleted node's handle reads as null; an attribute by its definition.
  std::uint32_t nodeSlot() const { return fSlot; }
  std::uint32_t nodeGeneration() const { return fGeneration; }
  const std::shared_ptr<hostdetail::Attribute>& attributeDef() const { return fAttribute; }
  static HObject fromNode(std::uint32_t slot, std::uint32_t generation) {
    HObject object;
    object.fSlot = slot;
    object.fGeneration = generation;
    return object;
  }
  static HObject fromAttribute(std::shared_ptr<hostdetail::Attribute> attribute) {
    HObject object;
    object.fAttribute = std::move(attribute);
    return object;
  }

 private:
  std::uint32_t fSlot = 0;        // 0 = no node
  std::uint32_t fGeneration = 0;  // must match the slot's live generation
  std::shared_ptr<hostdetail::Attribute> fAttribute;
};

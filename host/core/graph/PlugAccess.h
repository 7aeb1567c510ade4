#pragma once
// Internal plug machinery shared by plugs, modifiers, ramps and transforms.

#include <memory>
#include <string>
#include <vector>

#include "HPlug.h"
#include "Node.h"

namespace hostdetail {

enum class PlugState {
  kInvalid,     // dead node, no attribute, or an attribute the node lacks
  kValue,       // a plug that holds a value (or compound of values)
  kArray,       // an array plug itself (its elements hold the values)
  kIncomplete,  // an array ancestor lacks its index: names a plug, holds nothing
};

struct PlugRef {
  Node* node = nullptr;
  const Attribute* attribute = nullptr;
};

inline const std::vector<unsigned>& plugIndices(const HPlug& plug) {
  return Attribute::indicesOf(plug);
}
inline void setPlugIndices(HPlug& plug, std::vector<unsigned> indices) {
  Attribute::setIndicesOf(plug, std::move(indices));
}

PlugState resolve(const HPlug& plug, PlugRef& ref);
// The block holding the plug's value (for an array plug: the block holding
// the array). Missing elements are made when create is set, else null.
Block* findBlock(const PlugRef& ref, const std::vector<unsigned>& indices, bool create);
// Locked: the plug's own lock, or (ownOnly false) that of any plug above it.
bool isLockedEffective(const PlugRef& ref, const std::vector<unsigned>& indices, bool ownOnly);
// The plug that a destination plug (or a plug below one) reads from.
bool connectedSource(const HPlug& plug, HPlug& source);
HStatus checkWritable(const HPlug& plug, PlugRef& ref);
// Cache invalidation and notification after a value of the node changed.
void afterWrite(Node* node, const Attribute* attribute);
HStatus writeNumber(const HPlug& plug, double value);
HStatus writeString(const HPlug& plug, const std::string& value);
HStatus setPlugLock(const HPlug& plug, bool locked);
bool elementExists(const HPlug& plug);
// Takes an element out of its array (ignoring locks), or puts one back.
HStatus removeArrayElement(const HPlug& plug, std::unique_ptr<Block>* removed);
HStatus insertArrayElement(const HPlug& plug, std::unique_ptr<Block> element);

}  // namespace hostdetail

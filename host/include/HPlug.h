#pragma once
// A plug names one value of a node: node + attribute + the logical indices of
// every array on the way down ("node.attr[2].child"). Plugs are cheap values;
// they hold no data of their own.
//
// Reading an array element that does not exist yet gives the attribute's
// default; writing it creates it. A locked plug refuses setValue with a
// failure status and keeps its value. Bad shapes (a child of a non-compound,
// an element of a non-array, a value of a compound) give failure statuses.
//
// Values as the host stores them: a value is converted to the attribute's
// type (bool 0/1, integers truncated towards zero and clamped to their range,
// floats rounded to single precision) and clamped to the attribute's minimum
// and maximum. Non-finite values (NaN, infinities) are refused and leave the
// plug unchanged. Enum plugs read and write their field names as strings.
// A plug that is the destination of a connection (or lies below one) reads
// its source's value and refuses setValue. A plug whose node was deleted, or
// whose attribute was removed, is null: every operation on it fails.
// A child plug below an array that lacks its element index names a plug but
// holds no value (reads and writes fail).

#include <vector>

#include "HDGContext.h"
#include "HIntArray.h"
#include "HObject.h"
#include "HStatus.h"
#include "HString.h"

class HPlug {
 public:
  HPlug() = default;
  HPlug(const HObject& node, const HObject& attribute);

  bool isNull(HStatus* status = nullptr) const;
  HObject node(HStatus* status = nullptr) const;
  HObject attribute(HStatus* status = nullptr) const;
  // "node.attr[2].child" with long attribute names. Compound parents appear
  // only when they carry an index ("node.translateX", "node.ramp[2].ramp_Position").
  HString name(HStatus* status = nullptr) const;
  // "attr[2].child" without the node, short names when useLongNames is false.
  HString partialName(bool includeNodeName = false, bool useLongNames = false,
                      HStatus* status = nullptr) const;

  // True for a plug of a compound attribute, array plugs of compounds included.
  bool isCompound(HStatus* status = nullptr) const;
  bool isArray(HStatus* status = nullptr) const;    // an array plug, not one of its elements
  bool isElement(HStatus* status = nullptr) const;  // one element of an array
  bool isChild(HStatus* status = nullptr) const;    // a child of a compound
  unsigned numChildren(HStatus* status = nullptr) const;
  HPlug child(unsigned index, HStatus* status = nullptr) const;
  HPlug child(const HObject& attribute, HStatus* status = nullptr) const;
  HPlug parent(HStatus* status = nullptr) const;  // compound parent of a child plug
  HPlug array(HStatus* status = nullptr) const;   // array plug of an element
  unsigned logicalIndex(HStatus* status = nullptr) const;

  HPlug elementByLogicalIndex(unsigned logicalIndex, HStatus* status = nullptr) const;
  // Existing elements of an array plug, in logical-index order.
  unsigned numElements(HStatus* status = nullptr) const;
  HPlug elementByPhysicalIndex(unsigned physicalIndex, HStatus* status = nullptr) const;
  unsigned getExistingArrayAttributeIndices(HIntArray& indices, HStatus* status = nullptr) const;
  // Removes an array element (and everything under it).
  HStatus removeElement() const;

  HStatus getValue(bool& value, HDGContext& context = HDGContext::fsNormal) const;
  HStatus getValue(int& value, HDGContext& context = HDGContext::fsNormal) const;
  HStatus getValue(short& value, HDGContext& context = HDGContext::fsNormal) const;
  HStatus getValue(float& value, HDGContext& context = HDGContext::fsNormal) const;
  HStatus getValue(double& value, HDGContext& context = HDGContext::fsNormal) const;
  HStatus getValue(HString& value, HDGContext& context = HDGContext::fsNormal) const;
  HStatus setValue(bool value) const;
  HStatus setValue(int value) const;
  HStatus setValue(short value) const;
  HStatus setValue(float value) const;
  HStatus setValue(double value) const;
  HStatus setValue(const HString& value) const;
  HStatus setValue(const char* value) const;

  bool asBool(HStatus* status = nullptr) const;
  int asInt(HStatus* status = nullptr) const;
  float asFloat(HStatus* status = nullptr) const;
  double asDouble(HStatus* status = nullptr) const;
  HString asString(HStatus* status = nullptr) const;

  // True when this plug or a plug above it (compound parent, array element,
  // array) is locked: the value cannot change. Locking a missing element
  // creates it; unlocking one does not.
  bool isLocked(HStatus* status = nullptr) const;
  HStatus setLocked(bool locked) const;

  // Connections: a destination plug reads its value from its source.
  bool isConnected(HStatus* status = nullptr) const;
  bool isDestination(HStatus* status = nullptr) const;
  HPlug source(HStatus* status = nullptr) const;

  bool operator==(const HPlug& other) const;
  bool operator!=(const HPlug& other) const { return !(*this == other); }

 private:
  friend struct hostdetail::Attribute;
  HObject fNode;
  HObject fAttribute;
  std::vector<unsigned> fIndices;  // logical indices of the arrays from the top down
};

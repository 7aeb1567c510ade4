#pragma once
// The host's attribute definitions. An attribute object (HObject) holds one of
// these through a shared_ptr; static attributes are built once per node type
// and shared by every node of it, dynamic ones belong to the one node they
// were added to.
//
// Values live in value blocks (see Node.h). Each attribute knows its slots in
// the block that holds it: the node's block for attributes outside any array,
// an element's block for attributes inside an array element. An array
// attribute has two homes: in its enclosing block it owns an array slot (the
// sparse map of its elements) and a lock slot (the lock of the array plug);
// inside each element block it owns the element's own slots.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HFn.h"
#include "HFnNumericData.h"
#include "HFnTypedAttribute.h"

class HPlug;

namespace hostdetail {

// Hash of attribute names, which are short and tell apart by their length and
// their ends: three 8-byte windows (start, middle, end) instead of every byte,
// since a solver looks names up on every solve. Names that agree in all three
// only share a bucket; the table still compares them in full.
struct NameHash {
  std::size_t operator()(const std::string& name) const noexcept {
    constexpr std::uint64_t kMix = 0x9E3779B97F4A7C15ull;
    const std::size_t n = name.size();
    const char* p = name.data();
    std::uint64_t h = (n + 1) * kMix;
    if (n >= 8) {
      std::uint64_t w[3];
      std::memcpy(&w[0], p, 8);
      std::memcpy(&w[1], p + n / 2 - 4, 8);
      std::memcpy(&w[2], p + n - 8, 8);
      for (std::uint64_t word : w)
        h = (h ^ word) * kMix;
    } else {
      std::uint64_t word = 0;
      std::memcpy(&word, p, n);
      h = (h ^ word) * kMix;
    }
    return std::size_t(h ^ (h >> 32));
  }
};

struct NodeType;

enum class AttrKind { kNumeric, kEnum, kCompound, kTyped };

// Shape of a value block: the defaults of its number and string slots and
// the counts of its lock and array slots.
struct BlockLayout {
  std::vector<double> numbers;
  std::vector<std::string> strings;
  int locks = 0;
  int arrays = 0;
};

struct Attribute : std::enable_shared_from_this<Attribute> {
  AttrKind kind = AttrKind::kNumeric;
  // k2/k3/k4 numeric types: a compound of numeric children.
  bool numericCompound = false;
  std::string longName;
  std::string shortName;

  HFnNumericData::Type numericType =
      HFnNumericData::kDouble;                 // numeric leaves and k3Double parents
  HFnData::Type dataType = HFnData::kInvalid;  // typed attributes
  double defaultValue = 0.0;                   // numeric and enum leaves (enum: the field value)
  std::string defaultString;                   // typed string attributes
  bool hasMin = false, hasMax = false;
  double minValue = 0.0, maxValue = 0.0;
  // Commands refuse a value outside [min, max] instead of clamping it: for
  // settings where a clamped number would not mean what the user typed.
  bool strictRange = false;
  std::vector<std::pair<std::string, short>> enumFields;  // in the order added

  bool hidden = false;
  bool keyable = false;
  bool storable = true;
  bool readable = true;
  bool writable = true;
  bool array = false;

  // Compound parent, null at the top. The parent owns its children; its
  // destructor clears this pointer in children that outlive it.
  Attribute* parent = nullptr;
  std::vector<std::shared_ptr<Attribute>> children;
  unsigned indexInParent = 0;

  // Set once the attribute (or its top ancestor) is given to a node type or
  // added to a node; its shape can no longer change then.
  bool frozen = false;
  bool isStatic = false;
  // Dynamic top-level attributes: the node they are on (slot 0: none).
  std::uint32_t ownerSlot = 0;
  std::uint32_t ownerGeneration = 0;
  // Static attributes: the node type that declared them.
  const NodeType* ownerType = nullptr;
  // Static transform attributes that feed the local matrix.
  bool affectsMatrix = false;
  // Index of the transform component this leaf feeds (see Node.h), -1 if none.
  int matrixComponent = -1;

  // Slots in the block that holds the attribute's value (element block for
  // arrays), assigned when the attribute is frozen. -1 when not applicable.
  int numSlot = -1;   // numeric and enum leaves
  int strSlot = -1;   // typed leaves
  int lockSlot = -1;  // every attribute (an array: the lock of each element)
  // Array attributes only: slots in the enclosing block, and the shape of
  // each element's block.
  int arraySlot = -1;
  int arrayLockSlot = -1;
  BlockLayout elementLayout;

  Attribute() = default;
  Attribute(const Attribute&) = delete;
  Attribute& operator=(const Attribute&) = delete;
  ~Attribute();

  bool isLeaf() const { return kind != AttrKind::kCompound; }
  HFn::Type apiType() const;
  Attribute* parentDef() const { return parent; }
  // The attribute at the top of this one's compound tree.
  const Attribute* top() const;
  // Number of array attributes from the top down to this one, itself included.
  unsigned arrayDepth() const;

  // Access to a plug's logical indices (HPlug befriends this type).
  static const std::vector<unsigned>& indicesOf(const HPlug& plug);
  static void setIndicesOf(HPlug& plug, std::vector<unsigned> indices);
  // The node object a plug names, without a copy.
  static const HObject& nodeObjectOf(const HPlug& plug);
};

// Identifier rules of attribute names: letters, digits and '_', not
// starting with a digit.
bool isValidAttributeName(const std::string& name);
// A value as a leaf of the given numeric type stores it: bool 0/1, integers
// truncated and clamped to their range, floats rounded to single precision.
// Non-finite values give 0.
double normaliseNumber(HFnNumericData::Type type, double value);
// A numeric attribute tree (k2/k3/k4 types get children <long>X/Y/Z/W and
// <short>x/y/z/w); null for unsupported types.
std::shared_ptr<Attribute> makeNumericAttribute(const std::string& longName,
                                                const std::string& shortName,
                                                HFnNumericData::Type type, double defaultValue);

// Assigns slots to a top-level attribute tree, appending to layout (the
// layout of the block that holds it), and freezes the tree.
void layoutAttribute(Attribute& top, BlockLayout& layout);

}  // namespace hostdetail

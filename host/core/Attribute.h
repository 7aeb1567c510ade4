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

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HFn.h"
#include "HFnNumericData.h"
#include "HFnTypedAttribute.h"

namespace hostdetail {

enum class AttrKind { kNumeric, kEnum, kCompound, kTyped };

// Slot counts of a value block.
struct BlockLayout {
  int numbers = 0;
  int strings = 0;
  int locks = 0;
  int arrays = 0;
};

struct Attribute {
  AttrKind kind = AttrKind::kNumeric;
  std::string longName;
  std::string shortName;

  HFnNumericData::Type numericType =
      HFnNumericData::kDouble;                 // numeric leaves and k3Double parents
  HFnData::Type dataType = HFnData::kInvalid;  // typed attributes
  double defaultValue = 0.0;                   // numeric and enum leaves (enum: the field value)
  std::string defaultString;                   // typed string attributes
  bool hasMin = false, hasMax = false;
  double minValue = 0.0, maxValue = 0.0;
  std::vector<std::pair<std::string, short>> enumFields;  // in the order added

  bool hidden = false;
  bool keyable = false;
  bool storable = true;
  bool readable = true;
  bool writable = true;
  bool array = false;

  std::weak_ptr<Attribute> parent;  // compound parent, empty at the top
  std::vector<std::shared_ptr<Attribute>> children;
  unsigned indexInParent = 0;

  // Set once the attribute (or its top ancestor) is given to a node type or
  // added to a node; its shape can no longer change then.
  bool frozen = false;
  bool isStatic = false;
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

  bool isLeaf() const { return kind != AttrKind::kCompound; }
  HFn::Type apiType() const;
  Attribute* parentDef() const { return parent.lock().get(); }
  // The attribute at the top of this one's compound tree.
  const Attribute* top() const;
  // Number of array attributes from the top down to this one, itself included.
  unsigned arrayDepth() const;
};

// Assigns slots to a top-level attribute tree, appending to layout (the
// layout of the block that holds it), and freezes the tree.
void layoutAttribute(Attribute& top, BlockLayout& layout);

}  // namespace hostdetail

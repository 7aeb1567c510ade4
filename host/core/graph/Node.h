#pragma once
// The core's scene storage: value blocks, nodes and the scene singleton.
// Internal to HostCore and HostAnim.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Attribute.h"
#include "Connections.h"
#include "HMatrix.h"
#include "HObject.h"
#include "HPlug.h"
#include "HPxNode.h"
#include "HStatus.h"
#include "HString.h"
#include "HTransformationMatrix.h"
#include "SceneInternal.h"

namespace hostdetail {

// Values of one scope: a node's static attributes, one dynamic attribute
// tree, or one array element. Numbers hold every numeric and enum leaf as a
// double (bool 0/1, integers exactly); arrays are sparse maps from logical
// index to the element's block.
struct Block {
  std::vector<double> numbers;
  std::vector<std::string> strings;
  std::vector<std::uint8_t> locks;
  std::vector<std::map<unsigned, std::unique_ptr<Block>>> arrays;

  Block() = default;
  explicit Block(const BlockLayout& layout) { init(layout); }
  void init(const BlockLayout& layout);
  std::unique_ptr<Block> clone() const;
};

// Fixed slots of the transform values in every DAG node's static block: the
// transform type's attributes are laid out first and in this order.
enum TransformSlot : int {
  kSlotTranslate = 0,    // 0..2
  kSlotRotate = 3,       // 3..5
  kSlotRotateOrder = 6,  // 6
  kSlotScale = 7,        // 7..9
  kSlotShear = 10,       // 10..12
  kSlotRotateAxis = 13,  // 13..15
  kSlotVisibility = 16,  // 16
  kTransformSlotCount = 17
};

// The local transformation of a DAG node as transformationOf last built it,
// keyed by the exact bits of the values it was built from, so that a solver
// reading the same joint many times converts its Euler angles once. Keying
// by value rather than by invalidation keeps the memo right whatever path
// changed a value (connections, undo, file reads). One entry: a solve reads
// each joint once and writes it once, so a second one only cost memory
// (about 0.4 KB for every transform of the scene).
struct TransformMemo {
  // translate, rotate, rotateOrder, scale, shear and rotateAxis (number slots
  // 0 to 15), and the joint orientation (zero for plain transforms).
  static constexpr int kTransformInputs = 16;
  struct Inputs {
    double transform[kTransformInputs];
    double jointOrient[3];
  };
  struct Entry {
    Inputs key;
    HTransformationMatrix transformation;
  };
  // An Euler-to-quaternion conversion in XYZ order, unnormalised, with the
  // angles it came from.
  struct Orientation {
    double angles[3];
    HQuaternion quaternion;
    bool filled = false;
  };
  static constexpr unsigned kEntries = 1;
  Entry entries[kEntries];
  unsigned filled = 0;  // entries in use
  unsigned last = 0;    // the entry read or built last
  Orientation rotateAxis;
  Orientation jointOrient;
};

struct DynamicAttribute {
  std::shared_ptr<Attribute> def;
  Block values;
};

struct Node {
  std::uint32_t slot = 0;
  std::uint32_t generation = 0;
  const NodeType* type = nullptr;
  // The generation with the alive and DAG flags above it, so that resolving
  // an object to its node takes one compare (see nodeOf). Zero while the node
  // is detached (deleted, kept for undo).
  std::uint64_t lookupKey = 0;
  static constexpr std::uint64_t kAliveBit = std::uint64_t(1) << 32;
  static constexpr std::uint64_t kDagBit = std::uint64_t(1) << 33;
  std::string name;

  Block values;  // static attributes
  std::vector<DynamicAttribute> dynamic;
  // Dynamic attributes of any depth by long and short name.
  std::unordered_map<std::string, Attribute*, NameHash> dynamicNames;

  // DAG
  Node* parent = nullptr;  // null: under the world (or not a DAG node)
  std::vector<Node*> children;

  // Matrix cache. A node whose world matrix is valid has valid ancestors, so
  // invalidation stops at nodes that are already invalid.
  mutable bool localValid = false;
  // The memo's last entry holds this node's transformation as it stands:
  // cleared with localValid by every write, and only set while the node has
  // no incoming connections, whose sources change without writing here.
  mutable bool transformCurrent = false;
  mutable bool worldValid = false;
  mutable bool worldInverseValid = false;
  mutable HMatrix local;
  mutable HMatrix world;
  mutable HMatrix worldInverse;
  mutable std::unique_ptr<TransformMemo> transformMemo;  // made on first use
  // The rotation (R component) an IK/FK blend poses this node with in place
  // of its rotate values, which keep the FK rotation; null when no blend
  // holds it. Set by the IK evaluation, never saved: it is solved again.
  std::unique_ptr<HQuaternion> blendedRotation;

  std::unique_ptr<HPxNode> user;
  std::vector<std::pair<std::string, HObject>> links;
  // The connection index's entries into and out of this node.
  std::vector<std::uint32_t> incoming;
  std::vector<std::uint32_t> outgoing;

  bool isDag() const { return type->isDag; }
  bool alive() const { return lookupKey != 0; }
  void setAlive(bool value) {
    lookupKey = value ? (generation | kAliveBit | (type->isDag ? kDagBit : 0)) : 0;
  }
  HObject object() const { return HObject::fromNode(slot, generation); }
  DynamicAttribute* findDynamic(const Attribute* top);
  // Attribute of this node by long or short name, any depth.
  Attribute* findAttribute(const std::string& name);
  // True when the attribute (any depth) belongs to this node.
  bool owns(const Attribute* attribute) const;
};

struct Listener {
  int id;
  ChangeListener function;
  void* clientData;
};

struct Scene {
  // Slot 0 stays empty so that a default HObject is null. Slots are never
  // reused: a node deleted for undo keeps its slot and comes back to it.
  std::vector<std::unique_ptr<Node>> slots{1};
  std::unordered_map<std::string, Node*> byName;
  // Per name stem ("joint" of "joint12"), a number below which every name of
  // that stem is taken, so that making the next default name does not try
  // every name the scene already holds.
  std::unordered_map<std::string, unsigned long> nameHints;
  std::vector<Node*> roots;  // DAG nodes under the world, in order
  ConnectionIndex connections;
  std::vector<Listener> listeners;
  int nextListenerId = 1;
  std::uint32_t nextGeneration = 1;
};

// The one scene, made on first use and never destroyed (plug-ins may outlive
// static teardown). scene() and nodeOf are inline because every function set
// call resolves its node through them; gScene starts out null before any
// constructor runs, so a static initializer elsewhere may call them too.
extern Scene* gScene;
Scene& makeScene();
inline Scene& scene() {
  return gScene ? *gScene : makeScene();
}

// The live node an object names, or null.
// Slot 0 holds no node, so a null object needs no test of its own; before
// the scene exists no object names a node, so it is not made here.
inline Node* slotNode(const HObject& object) {
  const std::uint32_t slot = object.nodeSlot();
  const Scene* s = gScene;
  return s && slot < s->slots.size() ? s->slots[slot].get() : nullptr;
}
inline Node* nodeOf(const HObject& object) {
  Node* node = slotNode(object);
  if (!node || (node->lookupKey & ~Node::kDagBit) != (object.nodeGeneration() | Node::kAliveBit))
    return nullptr;
  return node;
}
inline Node* nodeOf(const HObject& object, HStatus* status);
// The live DAG node an object names, or null. Every DAG node is a transform.
inline Node* dagNodeOf(const HObject& object) {
  Node* node = slotNode(object);
  if (!node || node->lookupKey != (object.nodeGeneration() | Node::kAliveBit | Node::kDagBit))
    return nullptr;
  return node;
}

void notify(const Change& change);
bool isPluginObject(const HObject& object);
void clearActiveSelection();
inline bool hasListeners() {
  return !scene().listeners.empty();
}
void notifyValue(Node* node, const Attribute* attribute);

// Nodes removed from the scene but kept so that an undo can restore them.
// They are named by slot so that a purge (the type deregistered) cannot leave
// a dangling pointer behind.
struct DetachedNodes {
  std::vector<std::uint32_t> slots;  // root of the subtree first
  std::uint32_t parentSlot = 0;      // 0: the world
  std::uint32_t parentGeneration = 0;
  size_t position = 0;  // index among the parent's (or the world's) children
  std::vector<Connection> connections;
};
// Takes the node and its DAG descendants out of the scene (kNodeDeleted sent
// for each, children first). The nodes stay in their slots, not alive.
DetachedNodes detachNode(Node* node);
// Puts detached nodes back; fails when the parent is gone or a node was purged.
HStatus restoreNodes(DetachedNodes& detached);
// Frees detached nodes for good (their HPxNode objects are deleted).
void purgeNodes(DetachedNodes& detached);
// Frees every detached node of a type (before the type goes away).
void purgeDetachedOfType(const NodeType* type);

// Dynamic attributes. A removed attribute keeps its values, locks, elements
// and connections in the RemovedAttribute so that it can be put back exactly.
struct RemovedAttribute {
  std::shared_ptr<Attribute> def;
  Block values;
  size_t position = 0;
  std::vector<Connection> connections;
};
HStatus addDynamicAttribute(Node* node, const std::shared_ptr<Attribute>& def);
HStatus removeDynamicAttribute(Node* node, const Attribute* def, RemovedAttribute* saved);
HStatus restoreDynamicAttribute(Node* node, RemovedAttribute& saved);
// Moves a DAG node under parent (null: world) at a position among its siblings.
HStatus reparentNodeAt(Node* node, Node* parent, size_t position);
size_t siblingPosition(const Node* node);

// Matrices (DAG nodes only). Reading a cached world matrix is inline: a
// solver asks for the same ones many times between writes.
const HMatrix& localMatrix(const Node* node);
const HMatrix& computeWorldMatrix(const Node* node);
const HMatrix& computeWorldInverseMatrix(const Node* node);
inline const HMatrix& worldMatrix(const Node* node) {
  return node->worldValid ? node->world : computeWorldMatrix(node);
}
inline const HMatrix& worldInverseMatrix(const Node* node) {
  return node->worldInverseValid ? node->worldInverse : computeWorldInverseMatrix(node);
}
void invalidateMatrices(Node* node);
// The components of a DAG node's local transform: inline while the memo is
// known to be current, built (or found by its inputs) otherwise.
HTransformationMatrix buildTransformation(const Node* node);
inline HTransformationMatrix transformationOf(const Node* node) {
  if (node->transformCurrent && node->incoming.empty())
    return node->transformMemo->entries[node->transformMemo->last].transformation;
  return buildTransformation(node);
}
// Writes a number into a transform slot of a DAG node, with the same checks
// and notifications as a plug write (locks, connections). Returns false when
// refused.
bool setTransformValue(Node* node, int slot, double value);
// Writes three consecutive transform slots as setTransformValue does each,
// telling listeners once; false when any component was refused.
bool setTransformValues(Node* node, int slot, const double values[3]);
// The leaf attribute behind a static number slot of the node's type.
const Attribute* staticLeafAt(const NodeType* type, int numSlot);

inline Node* nodeOf(const HObject& object, HStatus* status) {
  Node* node = nodeOf(object);
  if (status)
    *status = node ? HStatus(HStatus::kSuccess) : HStatus(HStatus::kInvalidParameter);
  return node;
}

inline HStatus ok() {
  return HStatus(HStatus::kSuccess);
}
inline HStatus fail(const char* message) {
  return HStatus(HStatus::kFailure, HString(message));
}
inline HStatus invalid(const char* message) {
  return HStatus(HStatus::kInvalidParameter, HString(message));
}
// Out of line, so that the hot queries that report through them keep no
// string handling of their own.
void assignOk(HStatus* status);
[[gnu::cold]] void assignInvalid(HStatus* status, const char* message);
// Reports success without building a status when the caller passed none.
inline void setOk(HStatus* status) {
  if (status)
    assignOk(status);
}
inline void setStatus(HStatus* status, const HStatus& value) {
  if (status)
    *status = value;
}

}  // namespace hostdetail

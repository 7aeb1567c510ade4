// Plugs: naming, shape navigation, values, locks and connections.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "HPlug.h"
#include "Node.h"
#include "PlugAccess.h"

HDGContext HDGContext::fsNormal;

namespace hostdetail {

namespace {

constexpr unsigned kMaxDepth = 16;

// The attributes from the top of the tree down to the given one.
unsigned chainOf(const Attribute* attribute, const Attribute* (&chain)[kMaxDepth]) {
  unsigned depth = 0;
  for (const Attribute* a = attribute; a && depth < kMaxDepth; a = a->parent)
    chain[depth++] = a;
  std::reverse(chain, chain + depth);
  return depth;
}

Block* topBlock(Node* node, const Attribute* top) {
  if (top->isStatic)
    return &node->values;
  DynamicAttribute* entry = node->findDynamic(top);
  return entry ? &entry->values : nullptr;
}

}  // namespace

PlugState resolve(const HPlug& plug, PlugRef& ref) {
  ref.node = nodeOf(Attribute::nodeObjectOf(plug));
  ref.attribute = plug.attribute().attributeDef().get();
  if (!ref.node || !ref.attribute || !ref.node->owns(ref.attribute))
    return PlugState::kInvalid;
  unsigned depth = ref.attribute->arrayDepth();
  size_t count = plugIndices(plug).size();
  if (count == depth)
    return PlugState::kValue;
  if (ref.attribute->array && count + 1 == depth)
    return PlugState::kArray;
  return PlugState::kIncomplete;
}

Block* findBlock(const PlugRef& ref, const std::vector<unsigned>& indices, bool create) {
  // Most plugs read lie in no array: their values are in the top block.
  const Attribute* top = ref.attribute;
  bool inArray = top->array;
  while (top->parent) {
    top = top->parent;
    inArray = inArray || top->array;
  }
  if (!inArray)
    return topBlock(ref.node, top);
  const Attribute* chain[kMaxDepth] = {};
  unsigned depth = chainOf(ref.attribute, chain);
  Block* block = topBlock(ref.node, chain[0]);
  size_t k = 0;
  for (unsigned i = 0; i < depth && block; ++i) {
    const Attribute* a = chain[i];
    if (!a->array)
      continue;
    if (k == indices.size())
      break;  // the array plug itself
    auto& elements = block->arrays[size_t(a->arraySlot)];
    auto it = elements.find(indices[k]);
    if (it == elements.end()) {
      if (!create)
        return nullptr;
      it = elements.emplace(indices[k], std::make_unique<Block>(a->elementLayout)).first;
    }
    block = it->second.get();
    ++k;
  }
  return block;
}

bool isLockedEffective(const PlugRef& ref, const std::vector<unsigned>& indices, bool ownOnly) {
  const Attribute* chain[kMaxDepth] = {};
  unsigned depth = chainOf(ref.attribute, chain);
  Block* block = topBlock(ref.node, chain[0]);
  if (!block)
    return false;
  size_t k = 0;
  bool locked = false;
  for (unsigned i = 0; i < depth; ++i) {
    const Attribute* a = chain[i];
    bool last = i + 1 == depth;
    if (a->array) {
      bool arrayLocked = block->locks[size_t(a->arrayLockSlot)] != 0;
      if (k == indices.size()) {
        // The array plug itself is the target (or an ancestor lacks its index).
        return ownOnly ? (last && arrayLocked) : (locked || arrayLocked);
      }
      if (!ownOnly)
        locked = locked || arrayLocked;
      auto& elements = block->arrays[size_t(a->arraySlot)];
      auto it = elements.find(indices[k]);
      if (it == elements.end())
        return ownOnly ? false : locked;  // missing elements are unlocked
      block = it->second.get();
      ++k;
    }
    bool own = block->locks[size_t(a->lockSlot)] != 0;
    if (last)
      return ownOnly ? own : (locked || own);
    if (!ownOnly)
      locked = locked || own;
  }
  return locked;
}

// The source plug whose value a destination plug (or a plug below one) reads.
bool connectedSource(const HPlug& plug, HPlug& source) {
  Node* node = nodeOf(Attribute::nodeObjectOf(plug));
  if (!node || node->incoming.empty())
    return false;
  // Walk from the plug up to its top, remembering the steps taken.
  struct Step {
    bool element;
    unsigned index;
  };
  std::vector<Step> steps;
  HPlug current = plug;
  for (unsigned guard = 0; guard < 64; ++guard) {
    if (const Connection* connection = scene().connections.into(node, current)) {
      HPlug mapped = connection->source;
      for (auto it = steps.rbegin(); it != steps.rend(); ++it) {
        HStatus status;
        mapped = it->element ? mapped.elementByLogicalIndex(it->index, &status)
                             : mapped.child(it->index, &status);
        if (status.statusCode() != HStatus::kSuccess)
          return false;
      }
      source = mapped;
      return true;
    }
    HStatus status;
    if (current.isElement()) {
      steps.push_back(Step{true, current.logicalIndex()});
      current = current.array(&status);
    } else if (current.isChild()) {
      steps.push_back(Step{false, current.attribute().attributeDef()->indexInParent});
      current = current.parent(&status);
    } else {
      return false;
    }
    if (status.statusCode() != HStatus::kSuccess)
      return false;
  }
  return false;
}

namespace {

// Reads a number through connections; depth guards against cycles.
HStatus readNumber(const HPlug& plug, double& value, unsigned depth = 0) {
  PlugRef ref;
  PlugState state = resolve(plug, ref);
  if (state == PlugState::kInvalid)
    return invalid("Plug does not exist");
  if (state != PlugState::kValue)
    return invalid("Plug is an array or lacks an element index");
  const Attribute* a = ref.attribute;
  if (a->kind != AttrKind::kNumeric && a->kind != AttrKind::kEnum)
    return invalid("Plug does not hold a number");
  HPlug source;
  if (depth < 32 && connectedSource(plug, source))
    return readNumber(source, value, depth + 1);
  const Block* block = findBlock(ref, plugIndices(plug), false);
  value = block ? block->numbers[size_t(a->numSlot)] : a->defaultValue;
  return ok();
}

HStatus readString(const HPlug& plug, HString& value, unsigned depth = 0) {
  PlugRef ref;
  PlugState state = resolve(plug, ref);
  if (state == PlugState::kInvalid)
    return invalid("Plug does not exist");
  if (state != PlugState::kValue)
    return invalid("Plug is an array or lacks an element index");
  const Attribute* a = ref.attribute;
  if (a->kind == AttrKind::kEnum) {
    double number = 0;
    HStatus status = readNumber(plug, number, depth);
    if (status.statusCode() != HStatus::kSuccess)
      return status;
    for (auto& field : a->enumFields) {
      if (field.second == short(number)) {
        value = HString(field.first);
        return ok();
      }
    }
    value = HString(std::to_string(int(number)));
    return ok();
  }
  if (a->kind != AttrKind::kTyped)
    return invalid("Plug does not hold a string");
  HPlug source;
  if (depth < 32 && connectedSource(plug, source))
    return readString(source, value, depth + 1);
  const Block* block = findBlock(ref, plugIndices(plug), false);
  value = HString(block ? block->strings[size_t(a->strSlot)] : a->defaultString);
  return ok();
}

}  // namespace

HStatus checkWritable(const HPlug& plug, PlugRef& ref) {
  PlugState state = resolve(plug, ref);
  if (state == PlugState::kInvalid)
    return invalid("Plug does not exist");
  if (state != PlugState::kValue)
    return invalid("Plug is an array or lacks an element index");
  if (isLockedEffective(ref, plugIndices(plug), false))
    return fail("Plug is locked");
  HPlug source;
  if (connectedSource(plug, source))
    return fail("Plug is the destination of a connection");
  return ok();
}

void afterWrite(Node* node, const Attribute* attribute) {
  if (attribute->affectsMatrix)
    invalidateMatrices(node);
  // Connected destinations read through, and so do theirs in turn: every
  // matrix and listener down the connections must hear, not only the first
  // hop (a driver feeding a node that feeds a handle moves the handle too).
  // Connections cannot form a cycle, but each node is visited once anyway.
  if (!node->outgoing.empty()) {
    std::vector<Node*> sources{node};
    for (size_t next = 0; next < sources.size(); ++next) {
      scene().connections.forEachOutgoing(sources[next], [&](const Connection& connection) {
        Node* destination = nodeOf(connection.destination.node());
        const Attribute* target = connection.destination.attribute().attributeDef().get();
        if (!destination || !target)
          return;
        bool matrix = false;
        for (const Attribute* a = target; a; a = a->parent)
          matrix = matrix || a->affectsMatrix;
        if (matrix || !target->children.empty())
          invalidateMatrices(destination);
        notifyValue(destination, target);
        if (!destination->outgoing.empty() &&
            std::find(sources.begin(), sources.end(), destination) == sources.end())
          sources.push_back(destination);
      });
    }
  }
  notifyValue(node, attribute);
}

HStatus writeNumber(const HPlug& plug, double value) {
  if (!std::isfinite(value))
    return invalid("Value is not finite");
  PlugRef ref;
  HStatus status = checkWritable(plug, ref);
  if (status.statusCode() != HStatus::kSuccess)
    return status;
  const Attribute* a = ref.attribute;
  if (a->kind != AttrKind::kNumeric && a->kind != AttrKind::kEnum)
    return invalid("Plug does not hold a number");
  if (a->hasMin && value < a->minValue)
    value = a->minValue;
  if (a->hasMax && value > a->maxValue)
    value = a->maxValue;
  value = a->kind == AttrKind::kEnum ? normaliseNumber(HFnNumericData::kShort, value)
                                     : normaliseNumber(a->numericType, value);
  Block* block = findBlock(ref, plugIndices(plug), true);
  block->numbers[size_t(a->numSlot)] = value;
  afterWrite(ref.node, a);
  return ok();
}

HStatus writeString(const HPlug& plug, const std::string& value) {
  PlugRef ref;
  HStatus status = checkWritable(plug, ref);
  if (status.statusCode() != HStatus::kSuccess)
    return status;
  const Attribute* a = ref.attribute;
  if (a->kind == AttrKind::kEnum) {
    for (auto& field : a->enumFields) {
      if (field.first == value)
        return writeNumber(plug, field.second);
    }
    return invalid("No such enum field");
  }
  if (a->kind != AttrKind::kTyped)
    return invalid("Plug does not hold a string");
  Block* block = findBlock(ref, plugIndices(plug), true);
  block->strings[size_t(a->strSlot)] = value;
  afterWrite(ref.node, a);
  return ok();
}

bool plugOwnLocked(const HPlug& plug) {
  PlugRef ref;
  if (resolve(plug, ref) == PlugState::kInvalid)
    return false;
  return isLockedEffective(ref, plugIndices(plug), true);
}

HStatus setPlugLock(const HPlug& plug, bool locked) {
  PlugRef ref;
  PlugState state = resolve(plug, ref);
  if (state == PlugState::kInvalid)
    return invalid("Plug does not exist");
  if (state == PlugState::kIncomplete)
    return invalid("Plug lacks an element index");
  const Attribute* a = ref.attribute;
  const auto& indices = plugIndices(plug);
  if (state == PlugState::kArray) {
    Block* block = findBlock(ref, indices, true);
    block->locks[size_t(a->arrayLockSlot)] = locked;
  } else {
    // Unlocking a missing element changes nothing, so it does not create it.
    Block* block = findBlock(ref, indices, locked);
    if (block)
      block->locks[size_t(a->lockSlot)] = locked;
  }
  return ok();
}

bool elementExists(const HPlug& plug) {
  PlugRef ref;
  if (resolve(plug, ref) == PlugState::kInvalid)
    return false;
  return findBlock(ref, plugIndices(plug), false) != nullptr;
}

HStatus removeArrayElement(const HPlug& plug, std::unique_ptr<Block>* removed) {
  PlugRef ref;
  if (resolve(plug, ref) != PlugState::kValue || !plug.isElement())
    return invalid("Plug is not an array element");
  const auto& indices = plugIndices(plug);
  std::vector<unsigned> parentIndices(indices.begin(), indices.end() - 1);
  Block* block = findBlock(ref, parentIndices, false);
  if (!block)
    return invalid("Element does not exist");
  // The enclosing block of an array attribute is the one found for its array plug.
  auto& elements = block->arrays[size_t(ref.attribute->arraySlot)];
  auto it = elements.find(indices.back());
  if (it == elements.end())
    return invalid("Element does not exist");
  if (removed)
    *removed = std::move(it->second);
  elements.erase(it);
  afterWrite(ref.node, ref.attribute);
  return ok();
}

HStatus insertArrayElement(const HPlug& plug, std::unique_ptr<Block> element) {
  PlugRef ref;
  if (resolve(plug, ref) != PlugState::kValue || !plug.isElement() || !element)
    return invalid("Plug is not an array element");
  const auto& indices = plugIndices(plug);
  std::vector<unsigned> parentIndices(indices.begin(), indices.end() - 1);
  Block* block = findBlock(ref, parentIndices, true);
  block->arrays[size_t(ref.attribute->arraySlot)][indices.back()] = std::move(element);
  afterWrite(ref.node, ref.attribute);
  return ok();
}

// ---------------------------------------------------------------------------
// Connections

namespace {

bool compatible(const Attribute* a, const Attribute* b) {
  if (a->kind == AttrKind::kTyped || b->kind == AttrKind::kTyped)
    return a->kind == b->kind;
  bool aLeaf = a->isLeaf(), bLeaf = b->isLeaf();
  if (aLeaf || bLeaf)
    return aLeaf && bLeaf;
  if (a->children.size() != b->children.size())
    return false;
  for (size_t i = 0; i < a->children.size(); ++i) {
    if (!compatible(a->children[i].get(), b->children[i].get()))
      return false;
  }
  return true;
}

bool plugReaches(const HPlug& from, const HPlug& target, unsigned depth) {
  // Would target read (through connections) from from? Guards against cycles.
  if (depth > 32)
    return true;
  const Node* node = nodeOf(from.node());
  if (!node)
    return false;
  bool reaches = false;
  scene().connections.forEachIncoming(node, [&](const Connection& connection) {
    reaches = reaches || connection.source.node() == target.node() ||
              plugReaches(connection.source, target, depth + 1);
  });
  return reaches;
}

}  // namespace

HStatus connectPlugs(const HPlug& source, const HPlug& destination) {
  PlugRef s, d;
  PlugState ss = resolve(source, s), ds = resolve(destination, d);
  if (ss != PlugState::kValue || ds != PlugState::kValue)
    return invalid("Both plugs must hold values");
  if (!compatible(s.attribute, d.attribute))
    return invalid("Plugs have different shapes");
  if (source == destination)
    return invalid("A plug cannot feed itself");
  HPlug existing;
  if (connectedSource(destination, existing))
    return fail("Destination is already connected");
  if (isLockedEffective(d, plugIndices(destination), false))
    return fail("Destination is locked");
  if (s.node == d.node || plugReaches(source, destination, 0)) {
    // A node feeding itself, directly or around a loop, could never settle.
    if (s.node == d.node)
      return invalid("A node cannot feed itself");
    return invalid("The connection would make a cycle");
  }
  scene().connections.add(Connection{source, destination}, s.node, d.node);
  afterWrite(d.node, d.attribute);
  return ok();
}

HStatus disconnectPlugs(const HPlug& source, const HPlug& destination) {
  if (!scene().connections.remove(source, destination))
    return invalid("Plugs are not connected");
  if (Node* d = nodeOf(destination.node()))
    afterWrite(d, destination.attribute().attributeDef().get());
  return ok();
}

std::vector<Connection> allConnections() {
  return scene().connections.all();
}

bool connectionInto(const HPlug& destination, Connection& found) {
  const Node* node = nodeOf(destination.node());
  const Connection* connection = node ? scene().connections.into(node, destination) : nullptr;
  if (connection)
    found = *connection;
  return connection != nullptr;
}

// ---------------------------------------------------------------------------
// Names

namespace {

std::string plugText(const HPlug& plug, bool withNode, bool longNames) {
  PlugRef ref;
  if (resolve(plug, ref) == PlugState::kInvalid)
    return std::string();
  const Attribute* chain[kMaxDepth] = {};
  unsigned depth = chainOf(ref.attribute, chain);
  const auto& indices = plugIndices(plug);
  std::string out = withNode ? ref.node->name + "." : std::string();
  size_t k = 0;
  bool first = true;
  for (unsigned i = 0; i < depth; ++i) {
    const Attribute* a = chain[i];
    bool last = i + 1 == depth;
    // Compound parents show only when they carry an index; names are unique per node.
    if (!last && !a->array)
      continue;
    if (!first)
      out += '.';
    first = false;
    out += longNames ? a->longName : a->shortName;
    if (a->array && k < indices.size())
      out += "[" + std::to_string(indices[k++]) + "]";
  }
  return out;
}

}  // namespace

HPlug plugFromName(const HObject& object, const std::string& text, HStatus* status) {
  Node* node = nodeOf(object);
  if (!node) {
    setStatus(status, invalid("Node does not exist"));
    return HPlug();
  }
  // Pieces "name" or "name[index]" separated by dots.
  std::vector<std::pair<const Attribute*, long>> pieces;
  size_t start = 0;
  while (start <= text.size()) {
    size_t dot = text.find('.', start);
    if (dot == std::string::npos)
      dot = text.size();
    std::string piece = text.substr(start, dot - start);
    long index = -1;
    size_t bracket = piece.find('[');
    if (bracket != std::string::npos) {
      if (piece.back() != ']') {
        setStatus(status, invalid("Malformed plug name"));
        return HPlug();
      }
      std::string digits = piece.substr(bracket + 1, piece.size() - bracket - 2);
      if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos ||
          digits.size() > 9) {
        setStatus(status, invalid("Malformed plug index"));
        return HPlug();
      }
      index = std::strtol(digits.c_str(), nullptr, 10);
      piece.resize(bracket);
    }
    Attribute* a = node->findAttribute(piece);
    if (!a) {
      setStatus(status, invalid("No such attribute"));
      return HPlug();
    }
    if (index >= 0 && !a->array) {
      setStatus(status, invalid("Index given for an attribute that is not an array"));
      return HPlug();
    }
    if (!pieces.empty()) {
      bool below = false;
      for (const Attribute* p = a->parent; p; p = p->parent)
        below = below || p == pieces.back().first;
      if (!below) {
        setStatus(status, invalid("Attribute is not a child of the one before it"));
        return HPlug();
      }
    }
    pieces.emplace_back(a, index);
    start = dot + 1;
  }
  if (pieces.empty()) {
    setStatus(status, invalid("Empty plug name"));
    return HPlug();
  }
  const Attribute* target = pieces.back().first;
  HPlug plug(object, HObject::fromAttribute(const_cast<Attribute*>(target)->shared_from_this()));
  const Attribute* chain[kMaxDepth] = {};
  unsigned depth = chainOf(target, chain);
  std::vector<unsigned> indices;
  for (unsigned i = 0; i < depth; ++i) {
    if (!chain[i]->array)
      continue;
    long index = -1;
    for (auto& piece : pieces) {
      if (piece.first == chain[i])
        index = piece.second;
    }
    if (index < 0)
      break;
    indices.push_back(unsigned(index));
  }
  setPlugIndices(plug, std::move(indices));
  setOk(status);
  return plug;
}

HPlug plugFromName(const std::string& text, HStatus* status) {
  size_t dot = text.find('.');
  if (dot == std::string::npos) {
    setStatus(status, invalid("Plug name lacks an attribute"));
    return HPlug();
  }
  HObject node = findNode(text.substr(0, dot));
  return plugFromName(node, text.substr(dot + 1), status);
}

const std::vector<unsigned>& Attribute::indicesOf(const HPlug& plug) {
  return plug.fIndices;
}
void Attribute::setIndicesOf(HPlug& plug, std::vector<unsigned> indices) {
  plug.fIndices = std::move(indices);
}
const HObject& Attribute::nodeObjectOf(const HPlug& plug) {
  return plug.fNode;
}

}  // namespace hostdetail

// ---------------------------------------------------------------------------
// HPlug

using namespace hostdetail;

HPlug::HPlug(const HObject& node, const HObject& attribute) : fNode(node), fAttribute(attribute) {}

bool HPlug::isNull(HStatus* status) const {
  PlugRef ref;
  bool null = resolve(*this, ref) == PlugState::kInvalid;
  setOk(status);
  return null;
}

HObject HPlug::node(HStatus* status) const {
  setStatus(status, nodeOf(fNode) ? ok() : invalid("Node does not exist"));
  return fNode;
}

HObject HPlug::attribute(HStatus* status) const {
  setStatus(status, fAttribute.attributeDef() ? ok() : invalid("No attribute"));
  return fAttribute;
}

HString HPlug::name(HStatus* status) const {
  std::string text = plugText(*this, true, true);
  setStatus(status, text.empty() ? invalid("Plug does not exist") : ok());
  return HString(text);
}

HString HPlug::partialName(bool includeNodeName, bool useLongNames, HStatus* status) const {
  std::string text = plugText(*this, includeNodeName, useLongNames);
  setStatus(status, text.empty() ? invalid("Plug does not exist") : ok());
  return HString(text);
}

#define PLUG_OR_FAIL(fallback)                         \
  PlugRef ref;                                         \
  PlugState state = resolve(*this, ref);               \
  if (state == PlugState::kInvalid) {                  \
    setStatus(status, invalid("Plug does not exist")); \
    return fallback;                                   \
  }                                                    \
  setOk(status);

bool HPlug::isCompound(HStatus* status) const {
  PLUG_OR_FAIL(false);
  return ref.attribute->kind == AttrKind::kCompound;
}

bool HPlug::isArray(HStatus* status) const {
  PLUG_OR_FAIL(false);
  return state == PlugState::kArray;
}

bool HPlug::isElement(HStatus* status) const {
  PLUG_OR_FAIL(false);
  return ref.attribute->array && state == PlugState::kValue;
}

bool HPlug::isChild(HStatus* status) const {
  PLUG_OR_FAIL(false);
  return ref.attribute->parent != nullptr;
}

unsigned HPlug::numChildren(HStatus* status) const {
  PLUG_OR_FAIL(0);
  return unsigned(ref.attribute->children.size());
}

HPlug HPlug::child(unsigned index, HStatus* status) const {
  PLUG_OR_FAIL(HPlug());
  if (ref.attribute->kind != AttrKind::kCompound || index >= ref.attribute->children.size()) {
    setStatus(status, invalid("No child of that index"));
    return HPlug();
  }
  HPlug plug(fNode, HObject::fromAttribute(ref.attribute->children[index]));
  plug.fIndices = fIndices;
  return plug;
}

HPlug HPlug::child(const HObject& attribute, HStatus* status) const {
  PLUG_OR_FAIL(HPlug());
  const Attribute* def = attribute.attributeDef().get();
  if (!def || def->parent != ref.attribute) {
    setStatus(status, invalid("Not a child of the plug's attribute"));
    return HPlug();
  }
  return child(def->indexInParent, status);
}

HPlug HPlug::parent(HStatus* status) const {
  PLUG_OR_FAIL(HPlug());
  Attribute* parentDef = ref.attribute->parent;
  if (!parentDef) {
    setStatus(status, invalid("Plug has no compound parent"));
    return HPlug();
  }
  HPlug plug(fNode, HObject::fromAttribute(parentDef->shared_from_this()));
  plug.fIndices = fIndices;
  // The child's own array index, if any, does not belong to the parent.
  unsigned depth = parentDef->arrayDepth();
  if (plug.fIndices.size() > depth)
    plug.fIndices.resize(depth);
  return plug;
}

HPlug HPlug::array(HStatus* status) const {
  PLUG_OR_FAIL(HPlug());
  if (!ref.attribute->array || state != PlugState::kValue) {
    setStatus(status, invalid("Plug is not an array element"));
    return HPlug();
  }
  HPlug plug(*this);
  plug.fIndices.pop_back();
  return plug;
}

unsigned HPlug::logicalIndex(HStatus* status) const {
  PLUG_OR_FAIL(0);
  if (!ref.attribute->array || state != PlugState::kValue) {
    setStatus(status, invalid("Plug is not an array element"));
    return 0;
  }
  return fIndices.back();
}

HPlug HPlug::elementByLogicalIndex(unsigned logicalIndex, HStatus* status) const {
  PLUG_OR_FAIL(HPlug());
  if (state != PlugState::kArray) {
    setStatus(status, invalid("Plug is not an array"));
    return HPlug();
  }
  HPlug plug(*this);
  plug.fIndices.push_back(logicalIndex);
  return plug;
}

namespace {
const std::map<unsigned, std::unique_ptr<Block>>* elementsOf(const HPlug& plug, PlugRef& ref) {
  if (resolve(plug, ref) != PlugState::kArray)
    return nullptr;
  Block* block = findBlock(ref, plugIndices(plug), false);
  return block ? &block->arrays[size_t(ref.attribute->arraySlot)] : nullptr;
}
}  // namespace

unsigned HPlug::numElements(HStatus* status) const {
  PLUG_OR_FAIL(0);
  if (state != PlugState::kArray) {
    setStatus(status, invalid("Plug is not an array"));
    return 0;
  }
  auto elements = elementsOf(*this, ref);
  return elements ? unsigned(elements->size()) : 0;
}

HPlug HPlug::elementByPhysicalIndex(unsigned physicalIndex, HStatus* status) const {
  PLUG_OR_FAIL(HPlug());
  auto elements = state == PlugState::kArray ? elementsOf(*this, ref) : nullptr;
  if (!elements || physicalIndex >= elements->size()) {
    setStatus(status, invalid("No element of that physical index"));
    return HPlug();
  }
  auto it = elements->begin();
  std::advance(it, physicalIndex);
  return elementByLogicalIndex(it->first, status);
}

unsigned HPlug::getExistingArrayAttributeIndices(HIntArray& indices, HStatus* status) const {
  indices.clear();
  PLUG_OR_FAIL(0);
  if (state != PlugState::kArray) {
    setStatus(status, invalid("Plug is not an array"));
    return 0;
  }
  if (auto elements = elementsOf(*this, ref)) {
    for (auto& element : *elements)
      indices.append(int(element.first));
  }
  return indices.length();
}

HStatus HPlug::removeElement() const {
  PlugRef ref;
  if (resolve(*this, ref) == PlugState::kInvalid)
    return invalid("Plug does not exist");
  if (isLockedEffective(ref, fIndices, false))
    return fail("Plug is locked");
  return removeArrayElement(*this, nullptr);
}

#undef PLUG_OR_FAIL

HStatus HPlug::getValue(bool& value, HDGContext&) const {
  double number = 0;
  HStatus status = readNumber(*this, number);
  if (status.statusCode() == HStatus::kSuccess)
    value = number != 0.0;
  return status;
}

HStatus HPlug::getValue(int& value, HDGContext&) const {
  double number = 0;
  HStatus status = readNumber(*this, number);
  if (status.statusCode() == HStatus::kSuccess)
    value = int(normaliseNumber(HFnNumericData::kInt, number));
  return status;
}

HStatus HPlug::getValue(short& value, HDGContext&) const {
  double number = 0;
  HStatus status = readNumber(*this, number);
  if (status.statusCode() == HStatus::kSuccess)
    value = short(normaliseNumber(HFnNumericData::kShort, number));
  return status;
}

HStatus HPlug::getValue(float& value, HDGContext&) const {
  double number = 0;
  HStatus status = readNumber(*this, number);
  if (status.statusCode() == HStatus::kSuccess)
    value = float(normaliseNumber(HFnNumericData::kFloat, number));
  return status;
}

HStatus HPlug::getValue(double& value, HDGContext&) const {
  double number = 0;
  HStatus status = readNumber(*this, number);
  if (status.statusCode() == HStatus::kSuccess)
    value = number;
  return status;
}

HStatus HPlug::getValue(HString& value, HDGContext&) const {
  return readString(*this, value);
}

HStatus HPlug::setValue(bool value) const {
  return writeNumber(*this, value ? 1.0 : 0.0);
}
HStatus HPlug::setValue(int value) const {
  return writeNumber(*this, double(value));
}
HStatus HPlug::setValue(short value) const {
  return writeNumber(*this, double(value));
}
HStatus HPlug::setValue(float value) const {
  return writeNumber(*this, double(value));
}
HStatus HPlug::setValue(double value) const {
  return writeNumber(*this, value);
}
HStatus HPlug::setValue(const HString& value) const {
  return writeString(*this, value.asStdString());
}
HStatus HPlug::setValue(const char* value) const {
  return writeString(*this, value ? value : "");
}

bool HPlug::asBool(HStatus* status) const {
  bool value = false;
  setStatus(status, getValue(value));
  return value;
}
int HPlug::asInt(HStatus* status) const {
  int value = 0;
  setStatus(status, getValue(value));
  return value;
}
float HPlug::asFloat(HStatus* status) const {
  float value = 0;
  setStatus(status, getValue(value));
  return value;
}
double HPlug::asDouble(HStatus* status) const {
  double value = 0;
  setStatus(status, getValue(value));
  return value;
}
HString HPlug::asString(HStatus* status) const {
  HString value;
  setStatus(status, getValue(value));
  return value;
}

bool HPlug::isLocked(HStatus* status) const {
  PlugRef ref;
  if (resolve(*this, ref) == PlugState::kInvalid) {
    setStatus(status, invalid("Plug does not exist"));
    return false;
  }
  setOk(status);
  return isLockedEffective(ref, fIndices, false);
}

HStatus HPlug::setLocked(bool locked) const {
  return setPlugLock(*this, locked);
}

bool HPlug::isConnected(HStatus* status) const {
  setOk(status);
  const Node* node = nodeOf(fNode);
  if (!node)
    return false;
  if (scene().connections.into(node, *this))
    return true;
  bool source = false;
  scene().connections.forEachOutgoing(
      node, [&](const Connection& connection) { source = source || connection.source == *this; });
  return source;
}

bool HPlug::isDestination(HStatus* status) const {
  setOk(status);
  const Node* node = nodeOf(fNode);
  return node && scene().connections.into(node, *this);
}

HPlug HPlug::source(HStatus* status) const {
  const Node* node = nodeOf(fNode);
  if (const Connection* connection = node ? scene().connections.into(node, *this) : nullptr) {
    setOk(status);
    return connection->source;
  }
  setStatus(status, invalid("Plug is not a destination"));
  return HPlug();
}

bool HPlug::operator==(const HPlug& other) const {
  return fNode == other.fNode && fAttribute.attributeDef() == other.fAttribute.attributeDef() &&
         fIndices == other.fIndices;
}

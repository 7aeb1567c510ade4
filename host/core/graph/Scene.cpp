// The global scene: node slots, names, the DAG, deletion for undo, change
// notification, node links, the evaluation hook and plug-in records.

#include <algorithm>
#include <cctype>

#include "HFnBase.h"
#include "HObject.h"
#include "Node.h"

namespace hostdetail {

Scene* gScene = nullptr;

Scene& makeScene() {
  if (!gScene)
    gScene = new Scene();
  return *gScene;
}

// ---------------------------------------------------------------------------
// Blocks

void Block::init(const BlockLayout& layout) {
  numbers = layout.numbers;
  strings = layout.strings;
  locks.assign(size_t(layout.locks), 0);
  arrays.clear();
  arrays.resize(size_t(layout.arrays));
}

std::unique_ptr<Block> Block::clone() const {
  auto copy = std::make_unique<Block>();
  copy->numbers = numbers;
  copy->strings = strings;
  copy->locks = locks;
  copy->arrays.resize(arrays.size());
  for (size_t i = 0; i < arrays.size(); ++i) {
    for (auto& element : arrays[i])
      copy->arrays[i][element.first] = element.second->clone();
  }
  return copy;
}

// ---------------------------------------------------------------------------
// Nodes

DynamicAttribute* Node::findDynamic(const Attribute* top) {
  for (auto& entry : dynamic) {
    if (entry.def.get() == top)
      return &entry;
  }
  return nullptr;
}

Attribute* Node::findAttribute(const std::string& attributeName) {
  if (Attribute* a = type->findStatic(attributeName))
    return a;
  auto it = dynamicNames.find(attributeName);
  return it == dynamicNames.end() ? nullptr : it->second;
}

bool Node::owns(const Attribute* attribute) const {
  const Attribute* top = attribute->top();
  if (!top->frozen)
    return false;
  if (top->isStatic) {
    for (const NodeType* t = type; t; t = t->parent) {
      if (t == top->ownerType)
        return true;
    }
    return false;
  }
  return top->ownerSlot == slot && top->ownerGeneration == generation;
}

// ---------------------------------------------------------------------------
// Change notification

void assignOk(HStatus* status) {
  *status = HStatus();
}

void assignInvalid(HStatus* status, const char* message) {
  if (status)
    *status = invalid(message);
}

void notify(const Change& change) {
  Scene& s = scene();
  // Listeners may add or remove listeners; walk by index over a stable count.
  size_t count = s.listeners.size();
  for (size_t i = 0; i < count && i < s.listeners.size(); ++i) {
    s.listeners[i].function(change, s.listeners[i].clientData);
  }
}

void notifyValue(Node* node, const Attribute* attribute) {
  if (!hasListeners())
    return;
  Change change{ChangeKind::kValueChanged, node->object(), attribute, std::string()};
  notify(change);
}

int addChangeListener(ChangeListener listener, void* clientData) {
  Scene& s = scene();
  int id = s.nextListenerId++;
  s.listeners.push_back(Listener{id, listener, clientData});
  return id;
}

void removeChangeListener(int id) {
  auto& list = scene().listeners;
  list.erase(
      std::remove_if(list.begin(), list.end(), [id](const Listener& l) { return l.id == id; }),
      list.end());
}

// ---------------------------------------------------------------------------
// Names

namespace {

bool isValidNodeName(const std::string& name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])))
    return false;
  for (char c : name) {
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_'))
      return false;
  }
  return true;
}

}  // namespace

namespace {

// "joint12" is stem "joint" and number 12; a name without trailing digits
// (or only digits) has no number.
bool splitName(const std::string& name, std::string& stem, unsigned long& number) {
  size_t digits = name.size();
  while (digits > 0 && std::isdigit(static_cast<unsigned char>(name[digits - 1])))
    --digits;
  if (digits == name.size() || digits == 0)
    return false;
  stem = name.substr(0, digits);
  number = std::stoul(name.substr(digits, 9));
  return true;
}

}  // namespace

std::string uniqueNodeName(const std::string& wanted, const std::string& prefix) {
  Scene& s = scene();
  if (!wanted.empty() && s.byName.find(wanted) == s.byName.end())
    return wanted;
  std::string stem = wanted.empty() ? prefix : wanted;
  // A taken "joint3" continues as "joint4", "joint5"...; a taken "arm" as "arm1".
  unsigned long start = 1;
  std::string numberedStem;
  unsigned long number = 0;
  if (splitName(stem, numberedStem, number)) {
    start = number + 1;
    stem = numberedStem;
  }
  if (stem.empty())
    stem = "node";
  // Every number below the stem's hint is taken: start there when it is higher.
  unsigned long& hint = s.nameHints[stem];
  const bool fromHint = hint > start;
  for (unsigned long n = fromHint ? hint : start;; ++n) {
    std::string candidate = stem + std::to_string(n);
    if (s.byName.find(candidate) == s.byName.end()) {
      if (fromHint || start <= std::max(hint, 1UL))
        hint = n;
      return candidate;
    }
  }
}

void releaseNodeName(const std::string& name) {
  Scene& s = scene();
  std::string stem;
  unsigned long number = 0;
  if (!splitName(name, stem, number))
    return;
  auto hint = s.nameHints.find(stem);
  if (hint != s.nameHints.end() && number < hint->second)
    hint->second = number;
}

// ---------------------------------------------------------------------------
// Creation, deletion, renaming, reparenting

namespace {

std::vector<Node*>& siblingsOf(Node* node) {
  return node->parent ? node->parent->children : scene().roots;
}

void collectSubtree(Node* node, std::vector<Node*>& out) {
  out.push_back(node);
  for (Node* child : node->children)
    collectSubtree(child, out);
}

void invalidateWorld(Node* node) {
  if (!node->worldValid && !node->worldInverseValid)
    return;
  node->worldValid = false;
  node->worldInverseValid = false;
  for (Node* child : node->children)
    invalidateWorld(child);
}

}  // namespace

void invalidateMatrices(Node* node) {
  node->localValid = false;
  node->transformCurrent = false;
  if (!node->worldValid && !node->worldInverseValid)
    return;
  invalidateWorld(node);
}

HObject createNode(const std::string& typeName, const std::string& name, const HObject& parent,
                   HStatus* status) {
  const NodeType* type = nodeTypeToCreate(typeName);
  if (!type) {
    setStatus(status, invalid("Unknown node type"));
    return HObject();
  }
  if (!name.empty() && !isValidNodeName(name)) {
    setStatus(status, invalid("Invalid node name"));
    return HObject();
  }
  Node* parentNode = nullptr;
  if (type->isDag && !parent.isNull()) {
    parentNode = nodeOf(parent);
    if (!parentNode || !parentNode->isDag()) {
      setStatus(status, invalid("Parent is not a DAG node"));
      return HObject();
    }
  }
  Scene& s = scene();
  auto owned = std::make_unique<Node>();
  Node* node = owned.get();
  node->slot = std::uint32_t(s.slots.size());
  node->generation = s.nextGeneration++;
  node->type = type;
  node->setAlive(true);
  node->name = uniqueNodeName(name, type->namePrefix);
  node->values.init(type->staticLayout);
  s.slots.push_back(std::move(owned));
  s.byName[node->name] = node;
  if (type->isDag) {
    node->parent = parentNode;
    siblingsOf(node).push_back(node);
  }
  if (type->creator) {
    node->user.reset(static_cast<HPxNode*>(type->creator()));
    if (node->user) {
      node->user->hostSetThis(node->object());
      node->user->postConstructor();
    }
  }
  setOk(status);
  if (hasListeners())
    notify(Change{ChangeKind::kNodeCreated, node->object(), nullptr, {}});
  return node->object();
}

DetachedNodes detachNode(Node* node) {
  Scene& s = scene();
  DetachedNodes detached;
  std::vector<Node*> nodes;
  collectSubtree(node, nodes);
  // Children hear of their deletion before their parents, while all still stand.
  if (hasListeners()) {
    for (auto it = nodes.rbegin(); it != nodes.rend(); ++it) {
      notify(Change{ChangeKind::kNodeDeleted, (*it)->object(), nullptr, {}});
    }
  }
  detached.connections = s.connections.removeTouching(nodes);
  if (node->isDag()) {
    // Searched from the back: whole scenes are taken apart newest node first,
    // so that each one is found and removed at the end of its siblings.
    auto& siblings = siblingsOf(node);
    auto found = std::find(siblings.rbegin(), siblings.rend(), node);
    auto it = found == siblings.rend() ? siblings.end() : std::prev(found.base());
    detached.position = size_t(it - siblings.begin());
    if (it != siblings.end())
      siblings.erase(it);
    detached.parentGeneration = node->parent ? node->parent->generation : 0;
    detached.parentSlot = node->parent ? node->parent->slot : 0;
  }
  for (Node* n : nodes) {
    auto named = s.byName.find(n->name);
    if (named != s.byName.end() && named->second == n) {
      s.byName.erase(named);
      releaseNodeName(n->name);
    }
    n->setAlive(false);
    detached.slots.push_back(n->slot);
  }
  return detached;
}

namespace {
// The detached node in a slot, or null once it was purged.
Node* detachedAt(std::uint32_t slot) {
  Scene& s = scene();
  if (slot >= s.slots.size() || !s.slots[slot] || s.slots[slot]->alive())
    return nullptr;
  return s.slots[slot].get();
}
}  // namespace

HStatus restoreNodes(DetachedNodes& detached) {
  Scene& s = scene();
  if (detached.slots.empty())
    return fail("Nothing to restore");
  std::vector<Node*> nodes;
  for (std::uint32_t slot : detached.slots) {
    Node* n = detachedAt(slot);
    if (!n)
      return fail("Node was purged");
    nodes.push_back(n);
  }
  Node* root = nodes.front();
  Node* parent = nullptr;
  if (detached.parentSlot) {
    parent = nodeOf(HObject::fromNode(detached.parentSlot, detached.parentGeneration));
    if (!parent)
      return fail("Parent of the node no longer exists");
  }
  for (Node* n : nodes) {
    n->setAlive(true);
    if (s.byName.count(n->name))
      n->name = uniqueNodeName(n->name, n->type->namePrefix);
    s.byName[n->name] = n;
  }
  if (root->isDag()) {
    root->parent = parent;
    auto& siblings = siblingsOf(root);
    size_t position = std::min(detached.position, siblings.size());
    siblings.insert(siblings.begin() + long(position), root);
    for (Node* n : nodes)
      n->worldValid = n->worldInverseValid = false;
  }
  for (auto& connection : detached.connections) {
    Node* destination = nodeOf(connection.destination.node());
    Node* source = nodeOf(connection.source.node());
    if (!source || !destination)
      continue;
    s.connections.add(connection, source, destination);
  }
  detached.connections.clear();
  if (hasListeners()) {
    for (Node* n : nodes)
      notify(Change{ChangeKind::kNodeCreated, n->object(), nullptr, {}, true});
  }
  return ok();
}

void purgeNodes(DetachedNodes& detached) {
  Scene& s = scene();
  for (std::uint32_t slot : detached.slots) {
    if (detachedAt(slot))
      s.slots[slot].reset();
  }
  detached.slots.clear();
  detached.connections.clear();
}

void purgeDetachedOfType(const NodeType* type) {
  for (auto& slot : scene().slots) {
    if (slot && !slot->alive() && slot->type == type)
      slot.reset();
  }
}

HStatus deleteNode(const HObject& object) {
  Node* node = nodeOf(object);
  if (!node)
    return invalid("Node does not exist");
  DetachedNodes detached = detachNode(node);
  purgeNodes(detached);
  return ok();
}

HStatus renameNode(const HObject& object, const std::string& name, std::string* chosen) {
  Node* node = nodeOf(object);
  if (!node)
    return invalid("Node does not exist");
  if (!isValidNodeName(name))
    return invalid("Invalid node name");
  Scene& s = scene();
  if (name != node->name) {
    s.byName.erase(node->name);
    releaseNodeName(node->name);
    node->name = uniqueNodeName(name, node->type->namePrefix);
    s.byName[node->name] = node;
  }
  if (chosen)
    *chosen = node->name;
  if (hasListeners())
    notify(Change{ChangeKind::kNodeRenamed, node->object(), nullptr, {}});
  return ok();
}

size_t siblingPosition(const Node* node) {
  auto& siblings = siblingsOf(const_cast<Node*>(node));
  return size_t(std::find(siblings.begin(), siblings.end(), node) - siblings.begin());
}

HStatus reparentNodeAt(Node* node, Node* parent, size_t position) {
  if (!node || !node->isDag())
    return invalid("Node is not a DAG node");
  if (parent) {
    if (!parent->alive() || !parent->isDag())
      return invalid("New parent is not a DAG node");
    for (Node* p = parent; p; p = p->parent) {
      if (p == node)
        return invalid("A node cannot be moved below itself");
    }
  }
  auto& oldSiblings = siblingsOf(node);
  oldSiblings.erase(std::find(oldSiblings.begin(), oldSiblings.end(), node));
  node->parent = parent;
  auto& newSiblings = siblingsOf(node);
  newSiblings.insert(newSiblings.begin() + long(std::min(position, newSiblings.size())), node);
  node->worldValid = true;  // force the walk below to reach the whole subtree
  invalidateWorld(node);
  if (hasListeners())
    notify(Change{ChangeKind::kReparented, node->object(), nullptr, {}});
  return ok();
}

HStatus reparentNode(const HObject& object, const HObject& newParent) {
  Node* node = nodeOf(object);
  if (!node)
    return invalid("Node does not exist");
  Node* parent = nullptr;
  if (!newParent.isNull()) {
    parent = nodeOf(newParent);
    if (!parent)
      return invalid("New parent does not exist");
  }
  return reparentNodeAt(node, parent, size_t(-1));
}

void resetScene() {
  Scene& s = scene();
  std::vector<Node*> tops;
  for (auto& slot : s.slots) {
    if (slot && slot->alive() && !slot->parent)
      tops.push_back(slot.get());
  }
  // Newest first: each node then comes off the end of the world's children.
  for (auto top = tops.rbegin(); top != tops.rend(); ++top) {
    if ((*top)->alive())
      deleteNode((*top)->object());
  }
  s.connections.clear();
  clearActiveSelection();
}

// ---------------------------------------------------------------------------
// Queries

HObject findNode(const std::string& nameOrPath) {
  Scene& s = scene();
  if (nameOrPath.find('|') == std::string::npos) {
    auto it = s.byName.find(nameOrPath);
    return it == s.byName.end() ? HObject() : it->second->object();
  }
  // "|a|b" or "a|b": the last name picks the node; the others must be its ancestors.
  std::vector<std::string> parts;
  size_t start = 0;
  bool anchored = !nameOrPath.empty() && nameOrPath[0] == '|';
  while (start <= nameOrPath.size()) {
    size_t bar = nameOrPath.find('|', start);
    if (bar == std::string::npos)
      bar = nameOrPath.size();
    if (bar > start)
      parts.push_back(nameOrPath.substr(start, bar - start));
    start = bar + 1;
  }
  if (parts.empty())
    return HObject();
  auto it = s.byName.find(parts.back());
  if (it == s.byName.end() || !it->second->isDag())
    return HObject();
  Node* node = it->second;
  Node* walk = node->parent;
  for (size_t i = parts.size() - 1; i-- > 0;) {
    if (!walk || walk->name != parts[i])
      return HObject();
    walk = walk->parent;
  }
  if (anchored && walk)
    return HObject();
  return node->object();
}

std::vector<HObject> nodesInCreationOrder() {
  std::vector<HObject> out;
  for (auto& slot : scene().slots) {
    if (slot && slot->alive())
      out.push_back(slot->object());
  }
  return out;
}

namespace {
void appendDepthFirst(Node* node, std::vector<HObject>& out) {
  out.push_back(node->object());
  for (Node* child : node->children)
    appendDepthFirst(child, out);
}
}  // namespace

std::vector<HObject> dagNodesParentFirst() {
  std::vector<HObject> out;
  for (Node* root : scene().roots)
    appendDepthFirst(root, out);
  return out;
}

const NodeType* nodeTypeOf(const HObject& object) {
  Node* node = nodeOf(object);
  return node ? node->type : nullptr;
}

std::string nodeName(const HObject& object) {
  Node* node = nodeOf(object);
  return node ? node->name : std::string();
}

HObject nodeParent(const HObject& object) {
  Node* node = nodeOf(object);
  return node && node->parent ? node->parent->object() : HObject();
}

std::vector<HObject> nodeChildren(const HObject& object) {
  std::vector<HObject> out;
  if (Node* node = nodeOf(object)) {
    for (Node* child : node->children)
      out.push_back(child->object());
  }
  return out;
}

HPxNode* userNodeOf(const HObject& object) {
  Node* node = nodeOf(object);
  return node ? node->user.get() : nullptr;
}

unsigned countNodesOfType(const NodeType* type) {
  unsigned count = 0;
  for (auto& slot : scene().slots) {
    if (slot && slot->alive() && slot->type == type)
      ++count;
  }
  return count;
}

std::vector<HObject> staticAttributesOf(const HObject& object) {
  std::vector<HObject> out;
  if (Node* node = nodeOf(object)) {
    for (auto& def : node->type->staticAttributes)
      out.push_back(HObject::fromAttribute(def));
  }
  return out;
}

std::vector<HObject> dynamicAttributesOf(const HObject& object) {
  std::vector<HObject> out;
  if (Node* node = nodeOf(object)) {
    for (auto& entry : node->dynamic)
      out.push_back(HObject::fromAttribute(entry.def));
  }
  return out;
}

bool isDynamicAttribute(const HObject& object, const HObject& attribute) {
  Node* node = nodeOf(object);
  const Attribute* def = attribute.attributeDef().get();
  return node && def && node->owns(def) && !def->top()->isStatic;
}

// ---------------------------------------------------------------------------
// Links

HObject nodeLink(const HObject& object, const std::string& key) {
  Node* node = nodeOf(object);
  if (!node)
    return HObject();
  for (auto& link : node->links) {
    if (link.first == key)
      return nodeOf(link.second) ? link.second : HObject();
  }
  return HObject();
}

HStatus setNodeLink(const HObject& object, const std::string& key, const HObject& target) {
  Node* node = nodeOf(object);
  if (!node)
    return invalid("Node does not exist");
  if (!target.isNull() && !nodeOf(target))
    return invalid("Link target does not exist");
  auto it = std::find_if(node->links.begin(), node->links.end(),
                         [&](const std::pair<std::string, HObject>& l) { return l.first == key; });
  if (target.isNull()) {
    if (it != node->links.end())
      node->links.erase(it);
  } else if (it != node->links.end()) {
    it->second = target;
  } else {
    node->links.emplace_back(key, target);
  }
  if (hasListeners())
    notify(Change{ChangeKind::kLinkChanged, node->object(), nullptr, key});
  return ok();
}

std::vector<std::pair<std::string, HObject>> nodeLinks(const HObject& object) {
  std::vector<std::pair<std::string, HObject>> out;
  if (Node* node = nodeOf(object)) {
    for (auto& link : node->links) {
      if (nodeOf(link.second))
        out.push_back(link);
    }
  }
  return out;
}

// ---------------------------------------------------------------------------
// Evaluation hook

namespace {
void (*gEvaluationHook)() = nullptr;
}

void setEvaluationHook(void (*hook)()) {
  gEvaluationHook = hook;
}

void runEvaluationHook() {
  if (gEvaluationHook)
    gEvaluationHook();
}

// ---------------------------------------------------------------------------
// Plug-in records. Their objects use slots with the top bit set, so they can
// never be mistaken for nodes.

namespace {

constexpr std::uint32_t kPluginBit = 0x80000000u;

struct PluginEntry {
  std::uint32_t serial;
  std::unique_ptr<PluginRecord> record;
};

std::vector<PluginEntry>& pluginTable() {
  static auto* table = new std::vector<PluginEntry>();
  return *table;
}

std::uint32_t gNextPluginSerial = 1;

}  // namespace

bool isPluginObject(const HObject& object) {
  return (object.nodeSlot() & kPluginBit) != 0 && pluginRecord(object) != nullptr;
}

// An unloaded plug-in's entry is taken again, so that load and unload cycles
// do not grow the table; the new serial keeps the old plug-in's objects from
// reading the new record.
HObject addPluginRecord(const PluginRecord& record) {
  auto& table = pluginTable();
  std::uint32_t serial = gNextPluginSerial++;
  size_t index = 0;
  while (index < table.size() && table[index].record)
    ++index;
  if (index == table.size())
    table.emplace_back();
  table[index] = PluginEntry{serial, std::make_unique<PluginRecord>(record)};
  return HObject::fromNode(kPluginBit | std::uint32_t(index), serial);
}

PluginRecord* pluginRecord(const HObject& plugin) {
  std::uint32_t slot = plugin.nodeSlot();
  if (!(slot & kPluginBit))
    return nullptr;
  auto& table = pluginTable();
  std::uint32_t index = slot & ~kPluginBit;
  if (index >= table.size() || table[index].serial != plugin.nodeGeneration())
    return nullptr;
  return table[index].record.get();
}

PluginRecord* pluginRecord(const std::string& name) {
  for (auto& entry : pluginTable()) {
    if (entry.record && entry.record->name == name)
      return entry.record.get();
  }
  return nullptr;
}

HObject pluginObject(const std::string& name) {
  auto& table = pluginTable();
  for (size_t i = 0; i < table.size(); ++i) {
    if (table[i].record && table[i].record->name == name) {
      return HObject::fromNode(kPluginBit | std::uint32_t(i), table[i].serial);
    }
  }
  return HObject();
}

void removePluginRecord(const HObject& plugin) {
  if (!pluginRecord(plugin))
    return;
  auto& entry = pluginTable()[plugin.nodeSlot() & ~kPluginBit];
  entry.record.reset();
  entry.serial = 0;
}

// In load order: serials grow with every load, entries are reused.
std::vector<HObject> pluginObjects() {
  std::vector<HObject> out;
  auto& table = pluginTable();
  for (size_t i = 0; i < table.size(); ++i) {
    if (table[i].record)
      out.push_back(HObject::fromNode(kPluginBit | std::uint32_t(i), table[i].serial));
  }
  std::sort(out.begin(), out.end(), [](const HObject& a, const HObject& b) {
    return a.nodeGeneration() < b.nodeGeneration();
  });
  return out;
}

}  // namespace hostdetail

// ---------------------------------------------------------------------------
// HObject and HFnBase

using namespace hostdetail;

const HObject HObject::kNullObj;

bool HObject::isNull() const {
  if (fAttribute)
    return false;
  return !nodeOf(*this) && !isPluginObject(*this);
}

HFn::Type HObject::apiType() const {
  if (fAttribute)
    return fAttribute->apiType();
  if (Node* node = nodeOf(*this))
    return node->type->apiType;
  if (isPluginObject(*this))
    return HFn::kPlugin;
  return HFn::kInvalid;
}

bool HObject::hasFn(HFn::Type type) const {
  if (type == HFn::kBase)
    return !isNull();
  if (fAttribute) {
    HFn::Type own = fAttribute->apiType();
    return type == HFn::kAttribute || type == own;
  }
  if (Node* node = nodeOf(*this))
    return node->type->hasFn(type);
  if (isPluginObject(*this))
    return type == HFn::kPlugin;
  return false;
}

// Two null objects are equal whatever stale node they once named.
bool HObject::operator==(const HObject& other) const {
  if (fAttribute || other.fAttribute)
    return fAttribute == other.fAttribute;
  bool nullA = isNull();
  bool nullB = other.isNull();
  if (nullA || nullB)
    return nullA == nullB;
  return fSlot == other.fSlot && fGeneration == other.fGeneration;
}

HObject HFnBase::object(HStatus* status) const {
  setStatus(status, fObject.isNull() ? invalid("No object attached") : ok());
  return fObject;
}

HStatus HFnBase::setObject(const HObject& object) {
  fObject = object;
  return ok();
}

bool HFnBase::hasObj(HFn::Type type) const {
  return fObject.hasFn(type);
}

// HDGModifier and HDagModifier: recorded scene edits that can be carried out,
// reversed newest first, and carried out again.

#include "HDGModifier.h"
#include "Node.h"
#include "PlugAccess.h"

namespace hostdetail {

struct ModifierOp {
  virtual ~ModifierOp() = default;
  virtual HStatus doIt() = 0;
  virtual HStatus undoIt() = 0;
};

namespace {

// A node made when the modifier records it and kept out of the scene until
// doIt, so that the object handed back stays valid through undo and redo.
struct CreateNodeOp : ModifierOp {
  HObject node;
  DetachedNodes detached;
  bool inScene = false;
  ~CreateNodeOp() override {
    if (!inScene)
      purgeNodes(detached);
  }
  HStatus doIt() override {
    HStatus status = restoreNodes(detached);
    inScene = status.statusCode() == HStatus::kSuccess;
    return status;
  }
  HStatus undoIt() override {
    Node* n = nodeOf(node);
    if (!n)
      return fail("Created node no longer exists");
    detached = detachNode(n);
    inScene = false;
    return ok();
  }
};

struct DeleteNodeOp : ModifierOp {
  HObject node;
  DetachedNodes detached;
  bool deleted = false;
  ~DeleteNodeOp() override {
    if (deleted)
      purgeNodes(detached);
  }
  HStatus doIt() override {
    Node* n = nodeOf(node);
    if (!n)
      return invalid("Node does not exist");
    detached = detachNode(n);
    deleted = true;
    return ok();
  }
  HStatus undoIt() override {
    HStatus status = restoreNodes(detached);
    if (status.statusCode() == HStatus::kSuccess)
      deleted = false;
    return status;
  }
};

struct RenameOp : ModifierOp {
  HObject node;
  std::string newName, oldName;
  HStatus doIt() override {
    oldName = nodeName(node);
    return renameNode(node, newName);
  }
  HStatus undoIt() override { return renameNode(node, oldName); }
};

struct AddAttributeOp : ModifierOp {
  HObject node;
  std::shared_ptr<Attribute> def;
  HStatus doIt() override { return addDynamicAttribute(nodeOf(node), def); }
  HStatus undoIt() override { return removeDynamicAttribute(nodeOf(node), def.get(), nullptr); }
};

struct RemoveAttributeOp : ModifierOp {
  HObject node;
  std::shared_ptr<Attribute> def;
  RemovedAttribute saved;
  HStatus doIt() override { return removeDynamicAttribute(nodeOf(node), def.get(), &saved); }
  HStatus undoIt() override { return restoreDynamicAttribute(nodeOf(node), saved); }
};

struct ConnectOp : ModifierOp {
  HPlug source, destination;
  bool connect = true;
  HStatus doIt() override {
    return connect ? connectPlugs(source, destination) : disconnectPlugs(source, destination);
  }
  HStatus undoIt() override {
    return connect ? disconnectPlugs(source, destination) : connectPlugs(source, destination);
  }
};

// The highest array element on the plug's way down that does not exist yet
// (a null plug when all do): undoing a write that made it removes it again.
HPlug firstMissingElement(const HPlug& plug) {
  const auto& indices = plugIndices(plug);
  const Attribute* def = plug.attribute().attributeDef().get();
  if (!def)
    return HPlug();
  std::vector<const Attribute*> arrays;
  for (const Attribute* a = def; a; a = a->parent) {
    if (a->array)
      arrays.insert(arrays.begin(), a);
  }
  for (size_t k = 0; k < indices.size() && k < arrays.size(); ++k) {
    HPlug element(plug.node(),
                  HObject::fromAttribute(const_cast<Attribute*>(arrays[k])->shared_from_this()));
    setPlugIndices(element, std::vector<unsigned>(indices.begin(), indices.begin() + long(k) + 1));
    if (!elementExists(element))
      return element;
  }
  return HPlug();
}

struct SetValueOp : ModifierOp {
  HPlug plug;
  bool isString = false;
  double number = 0.0;
  std::string text;
  // What the plug held before doIt.
  double oldNumber = 0.0;
  HString oldText;
  HPlug created;
  HStatus doIt() override {
    created = firstMissingElement(plug);
    HStatus status = isString ? plug.getValue(oldText) : plug.getValue(oldNumber);
    if (status.statusCode() != HStatus::kSuccess)
      return status;
    return isString ? writeString(plug, text) : writeNumber(plug, number);
  }
  HStatus undoIt() override {
    if (!created.isNull())
      return removeArrayElement(created, nullptr);
    return isString ? writeString(plug, oldText.asStdString()) : writeNumber(plug, oldNumber);
  }
};

struct LockOp : ModifierOp {
  HPlug plug;
  bool locked = false;
  bool wasLocked = false;
  HStatus doIt() override {
    wasLocked = plugOwnLocked(plug);
    return setPlugLock(plug, locked);
  }
  HStatus undoIt() override { return setPlugLock(plug, wasLocked); }
};

struct ReparentOp : ModifierOp {
  HObject node, newParent;
  HObject oldParent;
  size_t oldPosition = 0;
  HStatus doIt() override {
    Node* n = nodeOf(node);
    if (!n)
      return invalid("Node does not exist");
    oldParent = n->parent ? n->parent->object() : HObject();
    oldPosition = siblingPosition(n);
    return reparentNode(node, newParent);
  }
  HStatus undoIt() override {
    Node* n = nodeOf(node);
    if (!n)
      return fail("Node no longer exists");
    Node* parent = oldParent.isNull() ? nullptr : nodeOf(oldParent);
    if (!oldParent.isNull() && !parent)
      return fail("Former parent no longer exists");
    return reparentNodeAt(n, parent, oldPosition);
  }
};

// The node behind an object, alive or held out of the scene by a modifier.
Node* anyNodeOf(const HObject& object) {
  Scene& s = scene();
  std::uint32_t slot = object.nodeSlot();
  if (slot == 0 || slot >= s.slots.size() || !s.slots[slot])
    return nullptr;
  Node* node = s.slots[slot].get();
  return node->generation == object.nodeGeneration() ? node : nullptr;
}

bool recordablePlug(const HPlug& plug) {
  return anyNodeOf(plug.node()) && plug.attribute().attributeDef();
}

// The parent may itself be a node that an earlier op of the modifier makes:
// the new node goes under it when doIt puts it into the scene.
HObject recordCreate(std::vector<std::unique_ptr<ModifierOp>>& ops, const HString& typeName,
                     const HObject& parent, HStatus* status) {
  HObject node = createNode(typeName.asStdString(), "", HObject(), status);
  Node* n = nodeOf(node);
  if (!n)
    return HObject();
  auto op = std::make_unique<CreateNodeOp>();
  op->node = node;
  op->detached = detachNode(n);
  if (Node* p = anyNodeOf(parent)) {
    if (n->isDag()) {
      op->detached.parentSlot = p->slot;
      op->detached.parentGeneration = p->generation;
      op->detached.position = size_t(-1);
    }
  }
  ops.push_back(std::move(op));
  return node;
}

}  // namespace

}  // namespace hostdetail

using namespace hostdetail;

HDGModifier::HDGModifier() = default;

// Ops are destroyed newest first, so that nodes a later op refers to are
// still there while an earlier op lets go of them.
HDGModifier::~HDGModifier() {
  while (!fOps.empty())
    fOps.pop_back();
}

HObject HDGModifier::createNode(const HString& typeName, HStatus* status) {
  const NodeType* type = nodeTypeToCreate(typeName.asStdString());
  if (!type) {
    setStatus(status, invalid("Unknown node type"));
    return HObject();
  }
  return recordCreate(fOps, typeName, HObject(), status);
}

HStatus HDGModifier::deleteNode(const HObject& node) {
  if (!anyNodeOf(node))
    return invalid("Node does not exist");
  auto op = std::make_unique<DeleteNodeOp>();
  op->node = node;
  fOps.push_back(std::move(op));
  return ok();
}

HStatus HDGModifier::renameNode(const HObject& node, const HString& newName) {
  if (!anyNodeOf(node))
    return invalid("Node does not exist");
  auto op = std::make_unique<RenameOp>();
  op->node = node;
  op->newName = newName.asStdString();
  fOps.push_back(std::move(op));
  return ok();
}

HStatus HDGModifier::addAttribute(const HObject& node, const HObject& attribute,
                                  HFnDependencyNode::HAttrClass type) {
  if (type != HFnDependencyNode::kLocalDynamicAttr)
    return invalid("Only local dynamic attributes can be added");
  if (!anyNodeOf(node))
    return invalid("Node does not exist");
  auto def = attribute.attributeDef();
  if (!def || def->parent)
    return invalid("Not a top-level attribute");
  auto op = std::make_unique<AddAttributeOp>();
  op->node = node;
  op->def = def;
  fOps.push_back(std::move(op));
  return ok();
}

HStatus HDGModifier::removeAttribute(const HObject& node, const HObject& attribute,
                                     HFnDependencyNode::HAttrClass type) {
  if (type != HFnDependencyNode::kLocalDynamicAttr)
    return invalid("Only local dynamic attributes can be removed");
  if (!anyNodeOf(node))
    return invalid("Node does not exist");
  auto def = attribute.attributeDef();
  if (!def || def->parent)
    return invalid("Not a top-level attribute");
  auto op = std::make_unique<RemoveAttributeOp>();
  op->node = node;
  op->def = def;
  fOps.push_back(std::move(op));
  return ok();
}

HStatus HDGModifier::connect(const HPlug& source, const HPlug& destination) {
  if (!recordablePlug(source) || !recordablePlug(destination))
    return invalid("Plug does not exist");
  auto op = std::make_unique<ConnectOp>();
  op->source = source;
  op->destination = destination;
  fOps.push_back(std::move(op));
  return ok();
}

HStatus HDGModifier::disconnect(const HPlug& source, const HPlug& destination) {
  if (!recordablePlug(source) || !recordablePlug(destination))
    return invalid("Plug does not exist");
  auto op = std::make_unique<ConnectOp>();
  op->source = source;
  op->destination = destination;
  op->connect = false;
  fOps.push_back(std::move(op));
  return ok();
}

namespace {
HStatus recordValue(std::vector<std::unique_ptr<ModifierOp>>& ops, const HPlug& plug, double number,
                    const std::string* text) {
  if (!recordablePlug(plug))
    return invalid("Plug does not exist");
  auto op = std::make_unique<SetValueOp>();
  op->plug = plug;
  op->number = number;
  if (text) {
    op->isString = true;
    op->text = *text;
  }
  ops.push_back(std::move(op));
  return ok();
}
}  // namespace

HStatus HDGModifier::newPlugValueDouble(const HPlug& plug, double value) {
  return recordValue(fOps, plug, value, nullptr);
}
HStatus HDGModifier::newPlugValueInt(const HPlug& plug, int value) {
  return recordValue(fOps, plug, double(value), nullptr);
}
HStatus HDGModifier::newPlugValueBool(const HPlug& plug, bool value) {
  return recordValue(fOps, plug, value ? 1.0 : 0.0, nullptr);
}
HStatus HDGModifier::newPlugValueFloat(const HPlug& plug, float value) {
  return recordValue(fOps, plug, double(value), nullptr);
}
HStatus HDGModifier::newPlugValueString(const HPlug& plug, const HString& value) {
  return recordValue(fOps, plug, 0.0, &value.asStdString());
}

HStatus HDGModifier::setPlugLocked(const HPlug& plug, bool locked) {
  if (!recordablePlug(plug))
    return invalid("Plug does not exist");
  auto op = std::make_unique<LockOp>();
  op->plug = plug;
  op->locked = locked;
  fOps.push_back(std::move(op));
  return ok();
}

// Stops at the first op that fails; the ops before it stay carried out (and
// can be undone), the failed one and those after it are tried again by the
// next doIt.
HStatus HDGModifier::doIt() {
  while (fDone < fOps.size()) {
    HStatus status = fOps[fDone]->doIt();
    if (status.statusCode() != HStatus::kSuccess)
      return status;
    ++fDone;
  }
  return ok();
}

// Reverses every carried-out op, newest first; an op that cannot be reversed
// is reported, and the older ones are still reversed.
HStatus HDGModifier::undoIt() {
  HStatus result = ok();
  while (fDone > 0) {
    HStatus status = fOps[fDone - 1]->undoIt();
    if (status.statusCode() != HStatus::kSuccess && result.statusCode() == HStatus::kSuccess)
      result = status;
    --fDone;
  }
  return result;
}

HObject HDagModifier::createNode(const HString& typeName, const HObject& parent, HStatus* status) {
  const NodeType* type = nodeTypeToCreate(typeName.asStdString());
  if (!type) {
    setStatus(status, invalid("Unknown node type"));
    return HObject();
  }
  Node* parentNode = anyNodeOf(parent);
  if (parent.nodeSlot() != 0 && (!parentNode || !parentNode->isDag())) {
    setStatus(status, invalid("Parent is not a DAG node"));
    return HObject();
  }
  return recordCreate(fOps, typeName, parent, status);
}

HStatus HDagModifier::reparentNode(const HObject& node, const HObject& newParent) {
  Node* n = anyNodeOf(node);
  if (!n || !n->isDag())
    return invalid("Node is not a DAG node");
  auto op = std::make_unique<ReparentOp>();
  op->node = node;
  op->newParent = newParent;
  fOps.push_back(std::move(op));
  return ok();
}

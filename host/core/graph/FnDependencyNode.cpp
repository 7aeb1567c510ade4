// HFnDependencyNode, dynamic attributes and HPxNode's host-side members.

#include <algorithm>

#include "HFnDependencyNode.h"
#include "HPxNode.h"
#include "Node.h"
#include "PlugAccess.h"

namespace hostdetail {

namespace {

void collectNames(Attribute& attribute, std::vector<std::string>& names) {
  names.push_back(attribute.longName);
  names.push_back(attribute.shortName);
  for (auto& child : attribute.children)
    collectNames(*child, names);
}

void indexDynamic(Node* node, Attribute& attribute) {
  node->dynamicNames[attribute.longName] = &attribute;
  node->dynamicNames[attribute.shortName] = &attribute;
  for (auto& child : attribute.children)
    indexDynamic(node, *child);
}

void unindexDynamic(Node* node, const Attribute& attribute) {
  node->dynamicNames.erase(attribute.longName);
  node->dynamicNames.erase(attribute.shortName);
  for (auto& child : attribute.children)
    unindexDynamic(node, *child);
}

bool belongsTo(const HPlug& plug, const Node* node, const Attribute* top) {
  const Attribute* def = plug.attribute().attributeDef().get();
  return def && nodeOf(plug.node()) == node && def->top() == top;
}

HStatus attach(Node* node, const std::shared_ptr<Attribute>& def, Block values, size_t position) {
  def->ownerSlot = node->slot;
  def->ownerGeneration = node->generation;
  indexDynamic(node, *def);
  position = std::min(position, node->dynamic.size());
  node->dynamic.insert(node->dynamic.begin() + long(position),
                       DynamicAttribute{def, std::move(values)});
  if (hasListeners())
    notify(Change{ChangeKind::kAttributeAdded, node->object(), def.get(), {}});
  return ok();
}

}  // namespace

HStatus addDynamicAttribute(Node* node, const std::shared_ptr<Attribute>& def) {
  if (!node)
    return invalid("Node does not exist");
  if (!def)
    return invalid("Not an attribute");
  if (def->parent)
    return invalid("Only top-level attributes can be added");
  if (def->isStatic || def->ownerSlot != 0)
    return fail("Attribute is already on a node");
  std::vector<std::string> names;
  collectNames(*def, names);
  for (auto& name : names) {
    if (node->findAttribute(name))
      return invalid("Node already has an attribute of that name");
  }
  BlockLayout layout;
  layoutAttribute(*def, layout);
  return attach(node, def, Block(layout), node->dynamic.size());
}

HStatus removeDynamicAttribute(Node* node, const Attribute* def, RemovedAttribute* saved) {
  if (!node || !def)
    return invalid("Node or attribute does not exist");
  auto it = std::find_if(node->dynamic.begin(), node->dynamic.end(),
                         [def](const DynamicAttribute& d) { return d.def.get() == def; });
  if (it == node->dynamic.end())
    return invalid("Attribute is not a dynamic attribute of the node");
  if (hasListeners())
    notify(Change{ChangeKind::kAttributeRemoved, node->object(), def, {}});
  Scene& s = scene();
  std::vector<Connection> removed =
      s.connections.removeTouching({node}, [&](const Connection& connection) {
        return belongsTo(connection.source, node, def) ||
               belongsTo(connection.destination, node, def);
      });
  unindexDynamic(node, *def);
  std::shared_ptr<Attribute> owned = it->def;
  owned->ownerSlot = 0;
  owned->ownerGeneration = 0;
  if (saved) {
    saved->def = owned;
    saved->values = std::move(it->values);
    saved->position = size_t(it - node->dynamic.begin());
    saved->connections = std::move(removed);
  }
  node->dynamic.erase(it);
  return ok();
}

HStatus restoreDynamicAttribute(Node* node, RemovedAttribute& saved) {
  if (!node || !saved.def)
    return invalid("Nothing to restore");
  if (saved.def->ownerSlot != 0)
    return fail("Attribute is already on a node");
  std::vector<std::string> names;
  collectNames(*saved.def, names);
  for (auto& name : names) {
    if (node->findAttribute(name))
      return fail("Node already has an attribute of that name");
  }
  attach(node, saved.def, std::move(saved.values), saved.position);
  for (auto& connection : saved.connections) {
    Node* d = nodeOf(connection.destination.node());
    Node* src = nodeOf(connection.source.node());
    if (!d || !src)
      continue;
    scene().connections.add(connection, src, d);
  }
  saved.connections.clear();
  return ok();
}

}  // namespace hostdetail

using namespace hostdetail;

// ---------------------------------------------------------------------------
// HFnDependencyNode

HFnDependencyNode::HFnDependencyNode(const HObject& node, HStatus* status) {
  setStatus(status, setObject(node));
}

HStatus HFnDependencyNode::setObject(const HObject& object) {
  if (!nodeOf(object)) {
    fObject = HObject();
    return invalid("Object is not a node");
  }
  fObject = object;
  return ok();
}

HObject HFnDependencyNode::create(const HString& typeName, const HString& name, HStatus* status) {
  HObject node = createNode(typeName.asStdString(), name.asStdString(), HObject(), status);
  if (!node.isNull())
    fObject = node;
  return node;
}

#define NODE_OR_FAIL(fallback)                         \
  Node* node = nodeOf(fObject);                        \
  if (!node) {                                         \
    setStatus(status, invalid("Node does not exist")); \
    return fallback;                                   \
  }                                                    \
  setOk(status);

HString HFnDependencyNode::name(HStatus* status) const {
  NODE_OR_FAIL(HString());
  return HString(node->name);
}

HString HFnDependencyNode::setName(const HString& name, HStatus* status) {
  std::string chosen;
  HStatus result = renameNode(fObject, name.asStdString(), &chosen);
  setStatus(status, result);
  return HString(chosen);
}

HString HFnDependencyNode::typeName(HStatus* status) const {
  NODE_OR_FAIL(HString());
  return HString(node->type->name);
}

HTypeId HFnDependencyNode::typeId(HStatus* status) const {
  NODE_OR_FAIL(HTypeId());
  return node->type->id;
}

bool HFnDependencyNode::isFromPlugin(HStatus* status) const {
  NODE_OR_FAIL(false);
  return !node->type->pluginName.empty();
}

HString HFnDependencyNode::pluginName(HStatus* status) const {
  NODE_OR_FAIL(HString());
  return HString(node->type->pluginName);
}

HPxNode* HFnDependencyNode::userNode(HStatus* status) const {
  NODE_OR_FAIL(nullptr);
  return node->user.get();
}

HObject HFnDependencyNode::attribute(const HString& name, HStatus* status) const {
  NODE_OR_FAIL(HObject());
  Attribute* def = node->findAttribute(name.asStdString());
  if (!def) {
    setStatus(status, invalid("No attribute of that name"));
    return HObject();
  }
  return HObject::fromAttribute(def->shared_from_this());
}

namespace {
void flatten(const std::shared_ptr<Attribute>& def, std::vector<std::shared_ptr<Attribute>>& out) {
  out.push_back(def);
  for (auto& child : def->children)
    flatten(child, out);
}

// Every attribute of the node, parents before children, static ones first.
std::vector<std::shared_ptr<Attribute>> allAttributes(const Node* node) {
  std::vector<std::shared_ptr<Attribute>> out;
  for (auto& def : node->type->staticAttributes)
    flatten(def, out);
  for (auto& entry : node->dynamic)
    flatten(entry.def, out);
  return out;
}
}  // namespace

unsigned HFnDependencyNode::attributeCount(HStatus* status) const {
  NODE_OR_FAIL(0);
  return unsigned(allAttributes(node).size());
}

HObject HFnDependencyNode::attribute(unsigned index, HStatus* status) const {
  NODE_OR_FAIL(HObject());
  auto all = allAttributes(node);
  if (index >= all.size()) {
    setStatus(status, invalid("Attribute index out of range"));
    return HObject();
  }
  return HObject::fromAttribute(all[index]);
}

bool HFnDependencyNode::hasAttribute(const HString& name, HStatus* status) const {
  NODE_OR_FAIL(false);
  return node->findAttribute(name.asStdString()) != nullptr;
}

HFnDependencyNode::HAttrClass HFnDependencyNode::attributeClass(const HObject& attribute,
                                                                HStatus* status) const {
  NODE_OR_FAIL(kInvalidAttr);
  const Attribute* def = attribute.attributeDef().get();
  if (!def || !node->owns(def)) {
    setStatus(status, invalid("Attribute is not on the node"));
    return kInvalidAttr;
  }
  return def->top()->isStatic ? kNormalAttr : kLocalDynamicAttr;
}

// Plain names find the attribute's plug; "attr[2].child" finds that element's child.
HPlug HFnDependencyNode::findPlug(const HString& name, HStatus* status) const {
  NODE_OR_FAIL(HPlug());
  if (name.asStdString().find_first_of(".[") != std::string::npos) {
    return plugFromName(fObject, name.asStdString(), status);
  }
  Attribute* def = node->findAttribute(name.asStdString());
  if (!def) {
    setStatus(status, invalid("No attribute of that name"));
    return HPlug();
  }
  return HPlug(fObject, HObject::fromAttribute(def->shared_from_this()));
}

HPlug HFnDependencyNode::findPlug(const HString& name, bool, HStatus* status) const {
  return findPlug(name, status);
}

HPlug HFnDependencyNode::findPlug(const HObject& attribute, HStatus* status) const {
  NODE_OR_FAIL(HPlug());
  const Attribute* def = attribute.attributeDef().get();
  if (!def || !node->owns(def)) {
    setStatus(status, invalid("Attribute is not on the node"));
    return HPlug();
  }
  return HPlug(fObject, attribute);
}

HStatus HFnDependencyNode::addAttribute(const HObject& attribute, HAttrClass type) {
  if (type != kLocalDynamicAttr)
    return invalid("Only local dynamic attributes can be added");
  Node* node = nodeOf(fObject);
  if (!node)
    return invalid("Node does not exist");
  return addDynamicAttribute(node, attribute.attributeDef());
}

HStatus HFnDependencyNode::removeAttribute(const HObject& attribute, HAttrClass type) {
  if (type != kLocalDynamicAttr)
    return invalid("Only local dynamic attributes can be removed");
  Node* node = nodeOf(fObject);
  if (!node)
    return invalid("Node does not exist");
  return removeDynamicAttribute(node, attribute.attributeDef().get(), nullptr);
}

#undef NODE_OR_FAIL

// ---------------------------------------------------------------------------
// HPxNode

HString HPxNode::name() const {
  return HString(nodeName(fThis));
}

HString HPxNode::typeName() const {
  const NodeType* type = nodeTypeOf(fThis);
  return type ? HString(type->name) : HString();
}

HTypeId HPxNode::typeId() const {
  const NodeType* type = nodeTypeOf(fThis);
  return type ? type->id : HTypeId();
}

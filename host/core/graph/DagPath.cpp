// HDagPath and HFnDagNode. The host has no instancing: a path is named by the
// node at its tip, and its ancestors are that node's parents.

#include "HDagPath.h"
#include "HFnDagNode.h"
#include "Node.h"

using namespace hostdetail;

namespace {

#define PATH_OR_FAIL(fallback)                  \
  Node* node = dagNodeOf(fNode);                \
  if (!node) {                                  \
    assignInvalid(status, "Path is not valid"); \
    return fallback;                            \
  }                                             \
  setOk(status);

}  // namespace

HObject HDagPath::node(HStatus* status) const {
  PATH_OR_FAIL(HObject());
  return fNode;
}

HStatus HDagPath::pop(unsigned count) {
  Node* node = dagNodeOf(fNode);
  if (!node)
    return invalid("Path is not valid");
  Node* target = node;
  for (unsigned i = 0; i < count; ++i) {
    target = target->parent;
    // Popping the last node would leave the world, which is no path here.
    if (!target)
      return invalid("Path is too short to pop");
  }
  fNode = target->object();
  return ok();
}

unsigned HDagPath::length(HStatus* status) const {
  Node* node = dagNodeOf(fNode);
  setOk(status);
  unsigned count = 0;
  for (Node* n = node; n; n = n->parent)
    ++count;
  return count;
}

bool HDagPath::isValid(HStatus* status) const {
  setOk(status);
  return dagNodeOf(fNode) != nullptr;
}

HFn::Type HDagPath::apiType(HStatus* status) const {
  PATH_OR_FAIL(HFn::kInvalid);
  return node->type->apiType;
}

bool HDagPath::hasFn(HFn::Type type, HStatus* status) const {
  PATH_OR_FAIL(false);
  return node->type->hasFn(type);
}

HString HDagPath::fullPathName(HStatus* status) const {
  PATH_OR_FAIL(HString());
  std::string path;
  for (Node* n = node; n; n = n->parent)
    path = "|" + n->name + path;
  return HString(path);
}

HString HDagPath::partialPathName(HStatus* status) const {
  PATH_OR_FAIL(HString());
  return HString(node->name);  // names are unique, so the name alone is unambiguous
}

namespace {

// The world matrix (or its inverse) of a path's tip when it has to be
// computed or a status reported: kept apart so that the cached case makes no
// call and saves no registers.
[[gnu::noinline]] HMatrix tipWorldMatrix(const HObject& tip, bool inverse, HStatus* status) {
  Node* node = dagNodeOf(tip);
  if (!node) {
    assignInvalid(status, "Path is not valid");
    return HMatrix();
  }
  setOk(status);
  return inverse ? worldInverseMatrix(node) : worldMatrix(node);
}

}  // namespace

HMatrix HDagPath::inclusiveMatrix(HStatus* status) const {
  if (!status) {
    const Node* node = dagNodeOf(fNode);
    if (node && node->worldValid)
      return node->world;
  }
  return tipWorldMatrix(fNode, false, status);
}

HMatrix HDagPath::inclusiveMatrixInverse(HStatus* status) const {
  if (!status) {
    const Node* node = dagNodeOf(fNode);
    if (node && node->worldInverseValid)
      return node->worldInverse;
  }
  return tipWorldMatrix(fNode, true, status);
}

HMatrix HDagPath::exclusiveMatrix(HStatus* status) const {
  PATH_OR_FAIL(HMatrix());
  return node->parent ? worldMatrix(node->parent) : HMatrix();
}

HMatrix HDagPath::exclusiveMatrixInverse(HStatus* status) const {
  PATH_OR_FAIL(HMatrix());
  return node->parent ? worldInverseMatrix(node->parent) : HMatrix();
}

unsigned HDagPath::childCount(HStatus* status) const {
  PATH_OR_FAIL(0);
  return unsigned(node->children.size());
}

HObject HDagPath::child(unsigned index, HStatus* status) const {
  PATH_OR_FAIL(HObject());
  if (index >= node->children.size()) {
    setStatus(status, invalid("Child index out of range"));
    return HObject();
  }
  return node->children[index]->object();
}

HStatus HDagPath::push(const HObject& child) {
  Node* childNode = dagNodeOf(child);
  if (!childNode)
    return invalid("Not a DAG node");
  Node* tip = dagNodeOf(fNode);
  if (childNode->parent != tip)
    return invalid("Node is not a child of the path's tip");
  fNode = child;
  return ok();
}

HStatus HDagPath::getAPathTo(const HObject& node, HDagPath& path) {
  if (!dagNodeOf(node))
    return invalid("Object is not a DAG node");
  path.fNode = node;
  return ok();
}

bool HDagPath::operator==(const HDagPath& other) const {
  return fNode == other.fNode;
}

#undef PATH_OR_FAIL

// ---------------------------------------------------------------------------
// HFnDagNode

HFnDagNode::HFnDagNode(const HObject& node, HStatus* status) {
  setStatus(status, HFnDagNode::setObject(node));
}

HFnDagNode::HFnDagNode(const HDagPath& path, HStatus* status) {
  setStatus(status, HFnDagNode::setObject(path));
}

HStatus HFnDagNode::setObject(const HObject& object) {
  if (!dagNodeOf(object)) {
    fObject = HObject();
    return invalid("Object is not a DAG node");
  }
  fObject = object;
  return ok();
}

HStatus HFnDagNode::setObject(const HDagPath& path) {
  return setObject(path.node());
}

HObject HFnDagNode::create(const HString& typeName, const HObject& parent, HStatus* status) {
  return create(typeName, HString(), parent, status);
}

HObject HFnDagNode::create(const HString& typeName, const HString& name, const HObject& parent,
                           HStatus* status) {
  const NodeType* type = findNodeType(typeName.asStdString());
  if (!type || !type->isDag) {
    setStatus(status, invalid("Not a DAG node type"));
    return HObject();
  }
  HObject node = createNode(typeName.asStdString(), name.asStdString(), parent, status);
  if (!node.isNull())
    fObject = node;
  return node;
}

#define DAG_OR_FAIL(fallback)                     \
  Node* node = dagNodeOf(fObject);                \
  if (!node) {                                    \
    setStatus(status, invalid("Not a DAG node")); \
    return fallback;                              \
  }                                               \
  setOk(status);

unsigned HFnDagNode::parentCount(HStatus* status) const {
  DAG_OR_FAIL(0);
  return node->parent ? 1 : 0;
}

HObject HFnDagNode::parent(unsigned index, HStatus* status) const {
  DAG_OR_FAIL(HObject());
  if (index != 0 || !node->parent) {
    setStatus(status, invalid("No parent of that index"));
    return HObject();
  }
  return node->parent->object();
}

unsigned HFnDagNode::childCount(HStatus* status) const {
  DAG_OR_FAIL(0);
  return unsigned(node->children.size());
}

HObject HFnDagNode::child(unsigned index, HStatus* status) const {
  DAG_OR_FAIL(HObject());
  if (index >= node->children.size()) {
    setStatus(status, invalid("Child index out of range"));
    return HObject();
  }
  return node->children[index]->object();
}

HStatus HFnDagNode::setParent(const HObject& newParent) {
  return reparentNode(fObject, newParent);
}

HStatus HFnDagNode::getPath(HDagPath& path) const {
  return HDagPath::getAPathTo(fObject, path);
}

HDagPath HFnDagNode::dagPath(HStatus* status) const {
  HDagPath path;
  setStatus(status, HDagPath::getAPathTo(fObject, path));
  return path;
}

HString HFnDagNode::fullPathName(HStatus* status) const {
  HDagPath path;
  HStatus result = HDagPath::getAPathTo(fObject, path);
  setStatus(status, result);
  return result.statusCode() == HStatus::kSuccess ? path.fullPathName() : HString();
}

bool HFnDagNode::isChildOf(const HObject& other, HStatus* status) const {
  DAG_OR_FAIL(false);
  return node->parent && node->parent == dagNodeOf(other);
}

bool HFnDagNode::isParentOf(const HObject& other, HStatus* status) const {
  DAG_OR_FAIL(false);
  Node* child = dagNodeOf(other);
  return child && child->parent == node;
}

#undef DAG_OR_FAIL

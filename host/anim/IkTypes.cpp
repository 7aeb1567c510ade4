// The animation node types (joint, ikEffector, ikHandle) and their function
// sets.

#include <cmath>

#include "AnimInternal.h"
#include "HFnIkEffector.h"
#include "HFnIkHandle.h"
#include "HFnIkJoint.h"
#include "graph/Node.h"

namespace hostdetail {

namespace {

std::shared_ptr<Attribute> double3(const char* longName, const char* shortName, double value,
                                   bool affectsMatrix) {
  auto attribute = makeNumericAttribute(longName, shortName, HFnNumericData::k3Double, value);
  attribute->keyable = true;
  attribute->affectsMatrix = affectsMatrix;
  for (auto& child : attribute->children) {
    child->keyable = true;
    child->affectsMatrix = affectsMatrix;
  }
  return attribute;
}

std::shared_ptr<Attribute> scalar(const char* longName, const char* shortName,
                                  HFnNumericData::Type type, double value) {
  auto attribute = makeNumericAttribute(longName, shortName, type, value);
  attribute->keyable = true;
  return attribute;
}

// A double kept within [min, max].
std::shared_ptr<Attribute> ranged(const char* longName, const char* shortName, double value,
                                  double min, double max) {
  auto attribute = scalar(longName, shortName, HFnNumericData::kDouble, value);
  attribute->hasMin = attribute->hasMax = true;
  attribute->minValue = min;
  attribute->maxValue = max;
  attribute->strictRange = true;
  return attribute;
}

struct AnimTypes {
  AnimTypes() {
    registerBuiltinNodeType(
        "joint", HTypeId(0x48540003), HFn::kJoint, "transform", "joint",
        {double3("jointOrient", "jo", 0.0, true), double3("preferredAngle", "pa", 0.0, false),
         scalar("radius", "radi", HFnNumericData::kDouble, 1.0)});
    registerBuiltinNodeType("ikEffector", HTypeId(0x48540004), HFn::kIkEffector, "transform",
                            "effector", {});
    registerBuiltinNodeType("ikHandle", HTypeId(0x48540005), HFn::kIkHandle, "transform",
                            "ikHandle",
                            {double3("poleVector", "pv", 0.0, false),
                             scalar("twist", "twist", HFnNumericData::kDouble, 0.0),
                             scalar("splineIkOldStyle", "siko", HFnNumericData::kBoolean, 0.0),
                             scalar("solverEnable", "hsh", HFnNumericData::kBoolean, 1.0),
                             scalar("snapEnable", "snp", HFnNumericData::kBoolean, 1.0),
                             ranged("ikBlend", "ikb", 1.0, 0.0, 1.0)});
  }
};

AnimTypes gAnimTypes;

// A static number slot of a type, by the leaf's long name.
int slotOf(const Node* node, const char* leafName) {
  const Attribute* leaf = node->type->findStatic(leafName);
  return leaf ? leaf->numSlot : -1;
}

}  // namespace

HStatus readThree(const Node* node, const char* firstLeaf, double out[3]) {
  int slot = slotOf(node, firstLeaf);
  if (slot < 0)
    return invalid("Node lacks the attribute");
  for (int i = 0; i < 3; ++i)
    out[i] = node->values.numbers[size_t(slot + i)];
  if (!node->incoming.empty()) {
    // Connected components read their sources.
    for (int i = 0; i < 3; ++i) {
      const Attribute* leaf = staticLeafAt(node->type, slot + i);
      HPlug plug(node->object(),
                 HObject::fromAttribute(const_cast<Attribute*>(leaf)->shared_from_this()));
      plug.getValue(out[i]);
    }
  }
  return ok();
}

HStatus writeThree(Node* node, const char* firstLeaf, const double values[3]) {
  int slot = slotOf(node, firstLeaf);
  if (slot < 0)
    return invalid("Node lacks the attribute");
  for (int i = 0; i < 3; ++i) {
    if (!std::isfinite(values[i]))
      return invalid("Value is not finite");
  }
  return setTransformValues(node, slot, values) ? ok() : fail("A component is locked or connected");
}

}  // namespace hostdetail

using namespace hostdetail;

namespace {

Node* nodeWith(const HObject& object, HFn::Type type) {
  Node* node = nodeOf(object);
  return node && node->type->hasFn(type) ? node : nullptr;
}

HStatus attachTyped(const HObject& object, HObject& target, HFn::Type type) {
  if (!nodeWith(object, type)) {
    target = HObject();
    return invalid("Object is not of the function set's type");
  }
  target = object;
  return ok();
}

}  // namespace

// ---------------------------------------------------------------------------
// HFnIkJoint

HFnIkJoint::HFnIkJoint(const HObject& node, HStatus* status) {
  setStatus(status, attachTyped(node, fObject, HFn::kJoint));
}

HFnIkJoint::HFnIkJoint(const HDagPath& path, HStatus* status) {
  setStatus(status, attachTyped(path.node(), fObject, HFn::kJoint));
}

HStatus HFnIkJoint::setObject(const HObject& object) {
  return attachTyped(object, fObject, HFn::kJoint);
}

HObject HFnIkJoint::create(const HObject& parent, HStatus* status) {
  HObject node = createNode("joint", "", parent, status);
  if (!node.isNull())
    fObject = node;
  return node;
}

HStatus HFnIkJoint::getPreferedAngle(double rotation[3]) const {
  Node* node = nodeWith(fObject, HFn::kJoint);
  if (!node)
    return invalid("Not a joint");
  return readThree(node, "preferredAngleX", rotation);
}

HStatus HFnIkJoint::setPreferedAngle(const double rotation[3]) {
  Node* node = nodeWith(fObject, HFn::kJoint);
  if (!node)
    return invalid("Not a joint");
  return writeThree(node, "preferredAngleX", rotation);
}

HStatus HFnIkJoint::getOrientation(HEulerRotation& orientation) const {
  Node* node = nodeWith(fObject, HFn::kJoint);
  if (!node)
    return invalid("Not a joint");
  double values[3];
  HStatus status = readThree(node, "jointOrientX", values);
  orientation = HEulerRotation(values[0], values[1], values[2], HEulerRotation::kXYZ);
  return status;
}

// The joint orientation is kept as XYZ angles; other orders are re-expressed.
HStatus HFnIkJoint::setOrientation(const HEulerRotation& orientation) {
  Node* node = nodeWith(fObject, HFn::kJoint);
  if (!node)
    return invalid("Not a joint");
  HEulerRotation xyz = orientation.order == HEulerRotation::kXYZ
                           ? orientation
                           : orientation.reorder(HEulerRotation::kXYZ);
  double values[3] = {xyz.x, xyz.y, xyz.z};
  return writeThree(node, "jointOrientX", values);
}

HStatus HFnIkJoint::getOrientation(HQuaternion& orientation) const {
  HEulerRotation euler;
  HStatus status = getOrientation(euler);
  if (status.statusCode() == HStatus::kSuccess)
    orientation = euler.asQuaternion();
  return status;
}

HStatus HFnIkJoint::setOrientation(const HQuaternion& orientation) {
  return setOrientation(orientation.asEulerRotation());
}

// ---------------------------------------------------------------------------
// HFnIkEffector

HFnIkEffector::HFnIkEffector(const HObject& node, HStatus* status) {
  setStatus(status, attachTyped(node, fObject, HFn::kIkEffector));
}

HFnIkEffector::HFnIkEffector(const HDagPath& path, HStatus* status) {
  setStatus(status, attachTyped(path.node(), fObject, HFn::kIkEffector));
}

HStatus HFnIkEffector::setObject(const HObject& object) {
  return attachTyped(object, fObject, HFn::kIkEffector);
}

HObject HFnIkEffector::create(const HObject& parent, HStatus* status) {
  HObject node = createNode("ikEffector", "", parent, status);
  if (!node.isNull())
    fObject = node;
  return node;
}

// ---------------------------------------------------------------------------
// HFnIkHandle

HFnIkHandle::HFnIkHandle(const HObject& node, HStatus* status) {
  setStatus(status, attachTyped(node, fObject, HFn::kIkHandle));
}

HFnIkHandle::HFnIkHandle(const HDagPath& path, HStatus* status) {
  setStatus(status, attachTyped(path.node(), fObject, HFn::kIkHandle));
}

HStatus HFnIkHandle::setObject(const HObject& object) {
  return attachTyped(object, fObject, HFn::kIkHandle);
}

namespace {

HVector worldPosition(const Node* node) {
  const HMatrix& m = worldMatrix(node);
  return HVector(m.matrix[3][0], m.matrix[3][1], m.matrix[3][2]);
}

// The chain's bend direction: the part of (second - start) perpendicular to
// (end - start), normalised; (0, 1, 0) for a straight or degenerate chain.
HVector initialPoleVector(const Node* start, const Node* second, const Node* end) {
  HVector s = worldPosition(start);
  HVector axis = worldPosition(end) - s;
  HVector bone = worldPosition(second) - s;
  double axisLength2 = axis * axis;
  if (axisLength2 <= 1e-20)
    return HVector(0.0, 1.0, 0.0);
  HVector perpendicular = bone - axis * ((bone * axis) / axisLength2);
  double length = perpendicular.length();
  // Relative test: a bend this small is numerical noise of a straight chain.
  if (length <= 1e-10 * std::sqrt(axisLength2) || !std::isfinite(length))
    return HVector(0.0, 1.0, 0.0);
  return perpendicular / length;
}

}  // namespace

HObject HFnIkHandle::create(const HDagPath& startJoint, const HDagPath& endJoint, HStatus* status) {
  Node* start = nodeWith(startJoint.node(), HFn::kJoint);
  Node* end = nodeWith(endJoint.node(), HFn::kJoint);
  if (!start || !end) {
    setStatus(status, invalid("Start and end must be joints"));
    return HObject();
  }
  // The joint below the start on the way to the end; none if end is not below start.
  Node* second = end;
  while (second && second->parent != start)
    second = second->parent;
  if (!second || end == start) {
    setStatus(status, invalid("The end joint is not below the start joint"));
    return HObject();
  }
  HVector pole = initialPoleVector(start, second, end);
  HVector goal = worldPosition(end);

  HStatus result;
  HObject effector = createNode("ikEffector", "", end->parent->object(), &result);
  Node* effectorNode = nodeOf(effector);
  if (!effectorNode) {
    setStatus(status, result);
    return HObject();
  }
  double t[3];
  readThree(end, "translateX", t);
  writeThree(effectorNode, "translateX", t);
  setNodeLink(effector, kLinkEndJoint, end->object());

  HObject handle = createNode("ikHandle", "", HObject(), &result);
  Node* handleNode = nodeOf(handle);
  if (!handleNode) {
    deleteNode(effector);
    setStatus(status, result);
    return HObject();
  }
  double g[3] = {goal.x, goal.y, goal.z};
  writeThree(handleNode, "translateX", g);
  double pv[3] = {pole.x, pole.y, pole.z};
  writeThree(handleNode, "poleVectorX", pv);
  setNodeLink(handle, kLinkStartJoint, start->object());
  setNodeLink(handle, kLinkEndEffector, effector);
  fObject = handle;
  setOk(status);
  return handle;
}

HStatus HFnIkHandle::getStartJoint(HDagPath& startJoint) const {
  if (!nodeWith(fObject, HFn::kIkHandle))
    return invalid("Not an IK handle");
  HObject joint = nodeLink(fObject, kLinkStartJoint);
  if (joint.isNull())
    return fail("The handle has no start joint");
  return HDagPath::getAPathTo(joint, startJoint);
}

HStatus HFnIkHandle::setStartJoint(const HDagPath& startJoint) {
  if (!nodeWith(fObject, HFn::kIkHandle))
    return invalid("Not an IK handle");
  if (!nodeWith(startJoint.node(), HFn::kJoint))
    return invalid("Start joint is not a joint");
  return setNodeLink(fObject, kLinkStartJoint, startJoint.node());
}

HStatus HFnIkHandle::getEffector(HDagPath& effector) const {
  if (!nodeWith(fObject, HFn::kIkHandle))
    return invalid("Not an IK handle");
  HObject node = nodeLink(fObject, kLinkEndEffector);
  if (node.isNull())
    return fail("The handle has no end effector");
  return HDagPath::getAPathTo(node, effector);
}

HStatus HFnIkHandle::setEffector(const HDagPath& effector) {
  if (!nodeWith(fObject, HFn::kIkHandle))
    return invalid("Not an IK handle");
  if (!nodeWith(effector.node(), HFn::kIkEffector))
    return invalid("Not an IK effector");
  return setNodeLink(fObject, kLinkEndEffector, effector.node());
}

HObject HFnIkHandle::solver(HStatus* status) const {
  if (!nodeWith(fObject, HFn::kIkHandle)) {
    setStatus(status, invalid("Not an IK handle"));
    return HObject();
  }
  setOk(status);
  return nodeLink(fObject, kLinkSolver);
}

// A null object clears the solver.
HStatus HFnIkHandle::setSolver(const HObject& solverNode) {
  if (!nodeWith(fObject, HFn::kIkHandle))
    return invalid("Not an IK handle");
  if (!solverNode.isNull() && !nodeWith(solverNode, HFn::kIkSolver))
    return invalid("Not an IK solver node");
  return setNodeLink(fObject, kLinkSolver, solverNode);
}

HStatus HFnIkHandle::setSolver(const HString& solverName) {
  HObject node = findNode(solverName.asStdString());
  if (node.isNull())
    return invalid("No node of that name");
  return setSolver(node);
}

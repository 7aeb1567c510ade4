#pragma once
// Builds joint chains in the host's scene for solver tests, and recomposes
// world positions from the nodes' attribute values with plain matrix algebra
// of its own, so that a test's expectations never come from the host's
// cached matrices or its transformation classes.

#include <HDagPath.h>
#include <HDagPathArray.h>
#include <HEulerRotation.h>
#include <HFnDagNode.h>
#include <HFnDependencyNode.h>
#include <HFnIkHandle.h>
#include <HFnIkJoint.h>
#include <HFnTransform.h>
#include <HObject.h>
#include <HPlug.h>
#include <HQuaternion.h>
#include <HSpace.h>
#include <HTransformationMatrix.h>
#include <HVector.h>

#include <string>
#include <vector>

#include "ChainValues.h"

namespace chainfixture {

enum class Goal { kIkHandle, kTransform };

struct Chain {
  HObject parent;                // null without a parent transform
  std::vector<HDagPath> joints;  // every joint created, root first
  // The solver's view: root first, the end last. With an IK handle the end is
  // the handle's effector (a sibling of the last joint at its position);
  // with a plain transform goal it is the last joint itself.
  HDagPathArray entries;
  HDagPath goal;  // the IK handle or the goal transform
};

inline HDagPath pathTo(const HObject& node) {
  HDagPath path;
  HDagPath::getAPathTo(node, path);
  return path;
}

// Creates the joints one below the other, the first under `above` (the world
// when null).
inline std::vector<HDagPath> createJoints(const std::vector<JointDesc>& descs, HObject above) {
  std::vector<HDagPath> joints;
  for (const JointDesc& desc : descs) {
    HFnIkJoint fnJoint;
    const HObject joint = fnJoint.create(above);
    fnJoint.setTranslation(desc.translate, HSpace::kTransform);
    fnJoint.setOrientation(HEulerRotation(desc.jointOrient));
    fnJoint.setRotateOrientation(HEulerRotation(desc.rotateAxis).asQuaternion(),
                                 HSpace::kTransform);
    fnJoint.setRotationOrder(HTransformationMatrix::fromEulerOrder(desc.rotateOrder), false);
    fnJoint.setRotation(HEulerRotation(desc.rotate, desc.rotateOrder));
    joints.push_back(pathTo(joint));
    above = joint;
  }
  return joints;
}

// Creates the joints one below the other (the first under the parent
// transform when one is given, else under the world), then the goal at the
// last joint's world position. An IK handle gets no solver.
inline Chain buildChain(const std::vector<JointDesc>& descs, Goal goal = Goal::kTransform,
                        const ParentDesc* parent = nullptr) {
  Chain chain;
  HObject above;
  if (parent) {
    HFnTransform fnParent;
    chain.parent = fnParent.create();
    fnParent.setTranslation(parent->translate, HSpace::kTransform);
    fnParent.setRotation(HEulerRotation(parent->rotate));
    const double scale[3] = {parent->scale.x, parent->scale.y, parent->scale.z};
    fnParent.setScale(scale);
    above = chain.parent;
  }
  chain.joints = createJoints(descs, above);
  for (size_t i = 0; i + 1 < chain.joints.size(); ++i) {
    chain.entries.append(chain.joints[i]);
  }
  if (goal == Goal::kIkHandle) {
    HFnIkHandle fnHandle;
    chain.goal = pathTo(fnHandle.create(chain.joints.front(), chain.joints.back()));
    HDagPath effector;
    fnHandle.getEffector(effector);
    chain.entries.append(effector);
  } else {
    chain.entries.append(chain.joints.back());
    HFnTransform fnGoal;
    chain.goal = pathTo(fnGoal.create());
    const HVector end(HPoint::origin * chain.joints.back().inclusiveMatrix());
    fnGoal.setTranslation(end, HSpace::kTransform);
  }
  return chain;
}

// Moves a goal that sits under the world.
inline void placeGoal(const Chain& chain, const HVector& world) {
  HFnTransform(chain.goal).setTranslation(world, HSpace::kTransform);
}

// ---- Independent forward kinematics over the scene -------------------------

inline Vec3 readVec3(const HFnDependencyNode& fn, const std::string& name) {
  return {fn.findPlug((name + "X").c_str()).asDouble(),
          fn.findPlug((name + "Y").c_str()).asDouble(),
          fn.findPlug((name + "Z").c_str()).asDouble()};
}

// S * Sh * RA * R * JO * T from the node's attribute values, with R read from
// `rotation` where the node has that attribute (the rest pose keeps its
// angles in "preferredAngle") and from "rotate" otherwise.
inline Mat4 localMatrix(const HObject& node, const char* rotation = "rotate") {
  HFnDependencyNode fn(node);
  const auto read = [&fn](const char* name) {
    const Vec3 v = readVec3(fn, name);
    return HVector(v.x, v.y, v.z);
  };
  JointDesc joint;
  joint.translate = read("translate");
  joint.rotateAxis = read("rotateAxis");
  joint.jointOrient = fn.hasAttribute("jointOrient") ? read("jointOrient") : HVector::zero;
  joint.rotateOrder = HEulerRotation::RotationOrder(fn.findPlug("rotateOrder").asInt());
  const HVector s = read("scale");
  Mat4 scaleShear = identity4();
  scaleShear[0][0] = s.x;
  scaleShear[1][1] = s.y;
  scaleShear[2][2] = s.z;
  scaleShear[1][0] = s.y * fn.findPlug("shearXY").asDouble();
  scaleShear[2][0] = s.z * fn.findPlug("shearXZ").asDouble();
  scaleShear[2][1] = s.z * fn.findPlug("shearYZ").asDouble();
  return scaleShear *
         jointMatrix(joint, read(fn.hasAttribute(rotation) ? rotation : "rotate"), identity4());
}

// The node's local matrices multiplied up to the world.
inline Mat4 worldMatrix(const HObject& node) {
  Mat4 m = identity4();
  for (HObject n = node; !n.isNull(); n = HFnDagNode(n).parent()) {
    m = m * localMatrix(n);
  }
  return m;
}

inline Vec3 worldPosition(const HDagPath& path) {
  const Mat4 m = worldMatrix(path.node());
  return {m[3][0], m[3][1], m[3][2]};
}

inline std::vector<Vec3> worldPositions(const HDagPathArray& entries) {
  std::vector<Vec3> out;
  for (unsigned i = 0; i < entries.length(); ++i)
    out.push_back(worldPosition(entries[i]));
  return out;
}

}  // namespace chainfixture

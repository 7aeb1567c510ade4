#pragma once
// Helpers for driving the veltra solver node through the host in-process, as
// the host itself would: the node type is registered by a statically linked
// plug-in, chains are real joints with an IK handle, and solving goes through
// HIkSystem::evaluate.

#include <HDagPath.h>
#include <HDagPathArray.h>
#include <HEulerRotation.h>
#include <HFileIO.h>
#include <HFnDependencyNode.h>
#include <HFnIkHandle.h>
#include <HFnIkJoint.h>
#include <HFnPlugin.h>
#include <HFnTransform.h>
#include <HIkSystem.h>
#include <HPluginManager.h>
#include <HPxNode.h>
#include <HQuaternion.h>
#include <HSpace.h>
#include <HStatus.h>
#include <HVector.h>
#include <veltra.h>
#include <veltraData.h>

#include "ChainFixture.h"
#include "ErrorCapture.h"

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace veltratest {

inline HStatus initVeltraTestPlugin(HObject plugin) {
  HFnPlugin fnPlugin(plugin, "Quarrow", "1.0", "Any");
  return fnPlugin.registerNode("veltra", veltra::id, veltra::creator, veltra::initialize,
                               HPxNode::kIkSolverNode);
}

inline HStatus uninitVeltraTestPlugin(HObject plugin) {
  HFnPlugin fnPlugin(plugin);
  return fnPlugin.deregisterNode(veltra::id);
}

// Registers the node type once per test program.
inline void registerVeltraNodeType() {
  if (!HPluginManager::isLoaded("veltraTest")) {
    HPluginManager::loadStatic("veltraTest", initVeltraTestPlugin, uninitVeltraTestPlugin);
  }
}

// One joint of a chain under construction; angles in radians.
using chainfixture::JointDesc;

// A built chain: its joints from the root down, the IK handle and the solver.
struct SolverChain {
  std::vector<HDagPath> joints;
  HDagPath handle;
  HObject solver;
};

inline HDagPath pathOf(const HObject& node) {
  return chainfixture::pathTo(node);
}

// Builds joints, each the child of the previous one (the first under `parent`,
// the world when null), then an IK handle from the first to the last joint.
// With `withSolver` a veltra node is created and made the handle's solver.
inline SolverChain buildSolverChain(const std::vector<JointDesc>& descs, bool withSolver = true,
                                    const HObject& parent = HObject::kNullObj) {
  SolverChain chain;
  chain.joints = chainfixture::createJoints(descs, parent);
  HFnIkHandle fnHandle;
  const HObject handle = fnHandle.create(chain.joints.front(), chain.joints.back());
  chain.handle = pathOf(handle);
  if (withSolver) {
    HFnDependencyNode fnNode;
    chain.solver = fnNode.create("veltra");
    fnHandle.setSolver(chain.solver);
  }
  return chain;
}

// A planar chain bent in the xy plane: `bones` bones of the given length, every
// joint turned by `bend` about z.
inline std::vector<JointDesc> planarJoints(unsigned bones, double length = 1.0, double bend = 0.4) {
  std::vector<JointDesc> descs;
  for (unsigned i = 0; i <= bones; ++i) {
    JointDesc desc;
    desc.translate = i == 0 ? HVector(0.0, 0.0, 0.0) : HVector(length, 0.0, 0.0);
    desc.rotate = i < bones ? HVector(0.0, 0.0, bend) : HVector(0.0, 0.0, 0.0);
    descs.push_back(desc);
  }
  return descs;
}

// World position recomposed from the nodes' attribute values, independently of
// the host's matrices.
inline HVector worldPosition(const HDagPath& path) {
  const chainfixture::Vec3 p = chainfixture::worldPosition(path);
  return HVector(p.x, p.y, p.z);
}

inline HVector rotationOf(const HDagPath& path) {
  HFnTransform fnTransform(path);
  HEulerRotation rotation;
  fnTransform.getRotation(rotation);
  return rotation.asVector();
}

inline std::vector<HVector> rotationsOf(const std::vector<HDagPath>& joints) {
  std::vector<HVector> rotations;
  for (const HDagPath& joint : joints) {
    rotations.push_back(rotationOf(joint));
  }
  return rotations;
}

// The handle's chain as the solver sees it: start joint to end effector.
inline HDagPathArray solverChainOf(const HDagPath& handle) {
  HDagPathArray joints;
  veltraData::ikJointChain(handle, joints);
  return joints;
}

inline void moveHandleTo(const HDagPath& handle, const HVector& world) {
  HFnTransform fnTransform(handle);
  fnTransform.setTranslation(world, HSpace::kWorld);
}

inline HVector preferredAngleOf(const HDagPath& joint) {
  HFnIkJoint fnJoint(joint);
  double angle[3] = {0.0, 0.0, 0.0};
  fnJoint.getPreferedAngle(angle);
  return HVector(angle[0], angle[1], angle[2]);
}

}  // namespace veltratest

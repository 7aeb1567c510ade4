// The inputs a solve reads from the IK handle and its chain: the chain
// itself, the pole vector, the twist, the old-style flag and the geometry the
// kernel works from.

#include <HDGContext.h>
#include <HFnDependencyNode.h>
#include <HFnIkHandle.h>
#include <HFnTransform.h>
#include <HPlug.h>

#include "veltraData.h"

namespace veltraData {

HStatus ikJointChain(const HDagPath& handle, HDagPathArray& joints) {
  HStatus status;
  HFnIkHandle fnHandle(handle, &status);

  HDagPath startJoint;
  fnHandle.getStartJoint(startJoint);
  joints.append(startJoint);

  HDagPath walk;
  fnHandle.getEffector(walk);
  const HObject startNode = startJoint.node();
  // Walking up from the effector and inserting at index 1 leaves the
  // intermediate nodes in top-down order between the start joint and the
  // effector.
  while (walk.node() != startNode) {
    joints.insert(walk, 1);
    // An effector that does not lie below the start joint would walk off the
    // top of the hierarchy; stop there instead of looping forever.
    if (walk.pop(1) != HStatus::kSuccess) {
      return HStatus(HStatus::kFailure);
    }
  }
  return status;
}

HStatus ikPoleVector(const HDagPath& handle, HVector& poleVector) {
  HStatus status;
  HFnIkHandle fnHandle(handle, &status);
  fnHandle.findPlug("pvx").getValue(poleVector.x, HDGContext::fsNormal);
  fnHandle.findPlug("pvy").getValue(poleVector.y, HDGContext::fsNormal);
  fnHandle.findPlug("pvz").getValue(poleVector.z, HDGContext::fsNormal);
  return status;
}

HStatus ikTwist(const HDagPath& handle, double& twist) {
  HStatus status;
  HFnIkHandle fnHandle(handle, &status);
  // An unreadable twist plug means no twist rather than whatever the caller's
  // variable held: the kernel turns the chain by this angle unconditionally.
  double value = 0.0;
  if (fnHandle.findPlug("twist").getValue(value, HDGContext::fsNormal) != HStatus::kSuccess) {
    value = 0.0;
  }
  twist = value;
  return status;
}

bool ikOldStyle(const HDagPath& handle) {
  const HObject handleNode = handle.node();
  HFnDependencyNode fnHandle(handleNode);
  const HPlug plug(handleNode, fnHandle.attribute("splineIkOldStyle"));
  bool value = false;
  return plug.getValue(value, HDGContext::fsNormal) == HStatus::kSuccess && value;
}

void ikKernelGeometry(const HDagPathArray& joints, const HDagPath& handle,
                      veltraKernelInput& input) {
  const unsigned n = joints.length();
  input.localTransformations.resize(n);
  for (unsigned i = 0; i < n; ++i) {
    input.localTransformations[i] = HFnTransform(joints[i]).transformation();
  }
  // Each entry is the parent of the next, so the root's parent matrix is the
  // only one the kernel cannot build itself.
  input.rootParentWorldMatrix = n > 0 ? joints[0].exclusiveMatrix() : HMatrix();
  input.handleWorldPosition = HPoint::origin * handle.inclusiveMatrix();
  input.handleParentWorldMatrix = handle.exclusiveMatrix();
  input.oldStyle = ikOldStyle(handle);
}

}  // namespace veltraData

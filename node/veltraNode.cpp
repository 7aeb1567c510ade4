// The solver node's frame and the operations that gather a solve's live
// inputs from the IK handle: the handle itself, its chain, pole vector, twist.

#include <HDGContext.h>
#include <HFnIkHandle.h>
#include <HIkHandleGroup.h>
#include <HPlug.h>

#include "veltra.h"

HTypeId veltra::id(0x12345678);

veltra::veltra() = default;

veltra::~veltra() = default;

void* veltra::creator() {
  return new veltra();
}

// The node declares no static attributes: all per-chain data is added to the
// IK handle on its first solve.
HStatus veltra::initialize() {
  return HStatus(HStatus::kSuccess);
}

void veltra::postConstructor() {
  setSingleChainOnly(true);
  setRotatePlane(true);
  setPositionOnly(true);
  setSupportJointLimits(true);
}

HString veltra::solverTypeName() const {
  return HString("veltra");
}

void veltra::debugJointChainOutput(const HDagPathArray& joints) {
  (void)joints;
}

HStatus veltra::ikHandle(HDagPath& handle) {
  HIkHandleGroup* group = handleGroup();
  if (group == nullptr) {
    return HStatus(HStatus::kFailure);
  }
  // The solver is single-chain-only, so the group holds exactly the handle
  // being solved.
  HDagPath path;
  HStatus status = HDagPath::getAPathTo(group->handle(0), path);
  handle = path;
  return status;
}

HStatus veltra::ikJointChain(const HDagPath& handle, HDagPathArray& joints) {
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

HStatus veltra::ikPoleVector(const HDagPath& handle, HVector& poleVector) {
  HStatus status;
  HFnIkHandle fnHandle(handle, &status);
  fnHandle.findPlug("pvx").getValue(poleVector.x, HDGContext::fsNormal);
  fnHandle.findPlug("pvy").getValue(poleVector.y, HDGContext::fsNormal);
  fnHandle.findPlug("pvz").getValue(poleVector.z, HDGContext::fsNormal);
  return status;
}

HStatus veltra::ikTwist(const HDagPath& handle, double& twist) {
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

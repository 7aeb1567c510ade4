// The solver node's frame: registration, the solver's properties, the handle
// being solved and snapping a handle onto its end effector.

#include <HFnIkHandle.h>
#include <HFnTransform.h>
#include <HIkHandleGroup.h>
#include <HSpace.h>
#include <HTransformationMatrix.h>

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

void veltra::snapHandle(HObject& handle) {
  HFnIkHandle fnHandle(handle);
  HDagPath effectorPath;
  fnHandle.getEffector(effectorPath);
  HDagPath handlePath;
  HDagPath::getAPathTo(handle, handlePath);

  const HVector effectorWorld =
      HTransformationMatrix(effectorPath.inclusiveMatrix()).translation(HSpace::kWorld);
  const HVector handleWorld =
      HTransformationMatrix(handlePath.inclusiveMatrix()).translation(HSpace::kWorld);

  HFnTransform fnTransform(handlePath);
  fnTransform.translateBy(effectorWorld - handleWorld, HSpace::kWorld);
}

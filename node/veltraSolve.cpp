// The host's solve call: gather the handle's inputs (creating its stored data
// on the first solve), run the kernel over them and write the result: the
// rest pose with the bend pass and then the plane pass added, one write per
// joint.

#include <HString.h>
#include <veltraKernel.h>

#include "veltra.h"
#include "veltraData.h"

using namespace veltraData;

HStatus veltra::doSolve() {
  // Each gathering step stops the solve with its own message before any joint
  // is touched; attributes created by earlier steps stay on the handle.
  HDagPath handle;
  HStatus status = ikHandle(handle);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve IK handle.");
    return status;
  }

  HDagPathArray joints;
  status = ikJointChain(handle, joints);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve the joint chain.");
    return status;
  }

  if (joints.length() <= 2) {
    status = HStatus(HStatus::kFailure);
    status.perror("veltra::doSolve() - Joint chain does not form an IK system. Less than 2 bones.");
    return status;
  }

  veltraKernelInput input;
  status = ikRestPose(joints, handle, input.restPose, nullptr);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve rest pose.");
    return status;
  }

  status = ikRestPoleVector(handle, input.restPoleVector, nullptr);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve pole vector rest.");
    return status;
  }

  status = ikAngleBias(joints, handle, input.angleBias, nullptr);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve angle bias.");
    return status;
  }

  status = ikPoleVector(handle, input.poleVector);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve pole vector.");
    return status;
  }

  status = ikTwist(handle, input.twist);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve twist.");
    return status;
  }

  ikKernelGeometry(joints, handle, input);
  veltraSoftStretchPlugs softStretch;
  status = ikSoftStretch(handle, input, softStretch);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve softness and stretch.");
    return status;
  }
  HString problem;
  if (!veltraKernel::validate(input, problem)) {
    status = HStatus(HStatus::kFailure);
    HString message("veltra::doSolve() - ");
    message += problem;
    status.perror(message);
    return status;
  }
  const veltraKernelResult result = veltraKernel::solve(input);

  // The check measures the chain at rest; it runs once per rest pose.
  if (ikRestPoseCheckDue(handle, input.restPose)) {
    ikRestPoseWarnUnbendable(joints, handle,
                             veltraKernel::preKernelSolve(input).restWorldPositions);
  }
  // Both passes add to the rest pose rather than to whatever the previous
  // evaluation left: the bend pass first, then the root's plane rotation.
  ikApplyResult(joints, input, result);
  ikApplySoftStretch(joints, handle, input, result, softStretch);
  return HStatus(HStatus::kSuccess);
}

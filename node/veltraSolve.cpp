// The host's solve call: gather the handle's inputs (creating its stored data
// on the first solve), run one kernel over them and apply both result passes.

#include <veltraKernel.h>

#include "veltra.h"

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

  HVectorArray restPose;
  status = ikRestPose(joints, handle, restPose, nullptr);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve rest pose.");
    return status;
  }

  HVector restPoleVector(0.0, 0.0, 0.0);
  status = ikRestPoleVector(handle, restPoleVector, nullptr);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve pole vector rest.");
    return status;
  }

  HDoubleArray angleBias;
  status = ikAngleBias(joints, handle, angleBias, nullptr);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve angle bias.");
    return status;
  }

  HVector poleVector(0.0, 0.0, 0.0);
  status = ikPoleVector(handle, poleVector);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve pole vector.");
    return status;
  }

  double twist = 0.0;
  status = ikTwist(handle, twist);
  if (status != HStatus::kSuccess) {
    status.perror("veltra::doSolve() - Could not retrieve twist.");
    return status;
  }

  veltraKernel kernel(joints, handle, restPose, restPoleVector, angleBias, poleVector, twist);
  HDoubleArray bendAngles;
  HVectorArray bendAxes;
  HDoubleArray planeAngles;
  HVectorArray planeAxes;
  // solve leaves the chain in its rest pose, so both passes act on the rest
  // pose rather than on whatever the previous evaluation left. Its status is
  // not consulted: the kernel has no failure path once the inputs exist.
  kernel.solve(bendAngles, bendAxes, planeAngles, planeAxes);
  // The chain is at rest here, which is what the check measures; it only reads.
  if (ikRestPoseCheckDue(handle, restPose)) {
    ikRestPoseWarnUnbendable(joints, handle);
  }

  // The bend pass first: the root's plane rotation turns the already bent chain.
  kernel.ikApplyRotations(joints, bendAngles, bendAxes);
  kernel.ikApplyRotations(joints, planeAngles, planeAxes);
  return HStatus(HStatus::kSuccess);
}

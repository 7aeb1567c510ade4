// Reading the chain's current rotations, reading and writing its preferred
// angles (where the rest pose lives), and writing a solve's rotations.

#include <HEulerRotation.h>
#include <HFnIkJoint.h>
#include <HFnTransform.h>
#include <HSpace.h>
#include <HTransformationMatrix.h>

#include "veltraData.h"

namespace veltraData {

HStatus ikPose(const HDagPathArray& joints, HVectorArray& pose) {
  const unsigned n = joints.length();
  pose.clear();
  pose.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    HStatus status;
    HFnTransform fnTransform(joints[i], &status);
    if (status != HStatus::kSuccess) {
      status.perror("veltra::ikPose() - Could not attach HFnTransform to joint.");
      return status;
    }
    HEulerRotation rotation;
    status = fnTransform.getRotation(rotation);
    if (status != HStatus::kSuccess) {
      status.perror("veltra::ikPose() - Could not retrieve pose euler rotation.");
      return status;
    }
    // The rotation order is not kept: preferred angles are read back in the
    // joint's own order, which is the order these angles were taken in.
    pose[i] = rotation.asVector();
  }
  return HStatus(HStatus::kSuccess);
}

HStatus ikPrefAngles(const HDagPathArray& joints, HVectorArray& angles) {
  HStatus result;
  const unsigned n = joints.length();
  angles.clear();
  angles.setLength(n);
  // An empty chain has no entry to read or to zero; it reads as an empty pose.
  if (n == 0) {
    return result;
  }
  for (unsigned i = 0; i + 1 < n; ++i) {
    HFnIkJoint fnJoint(joints[i]);
    double rotation[3] = {0.0, 0.0, 0.0};
    result = fnJoint.getPreferedAngle(rotation);
    angles[i] = HVector(rotation[0], rotation[1], rotation[2]);
  }
  // The end effector has no preferred angle of its own.
  angles[n - 1] = HVector(0.0, 0.0, 0.0);
  return result;
}

HStatus ikPrefAnglesSet(const HDagPathArray& joints, const HVectorArray& angles) {
  HStatus result;
  const unsigned n = joints.length();
  // Nothing to write for an empty or single-entry chain (the end effector's
  // entry is never written).
  if (n <= 1) {
    return result;
  }
  // A pose shorter than the chain leaves the joints it does not cover as they
  // are rather than reading past its end.
  const unsigned count = angles.length() < n - 1 ? angles.length() : n - 1;
  for (unsigned i = 0; i < count; ++i) {
    HFnIkJoint fnJoint(joints[i]);
    const double rotation[3] = {angles[i].x, angles[i].y, angles[i].z};
    result = fnJoint.setPreferedAngle(rotation);
  }
  return result;
}

void ikApplyResult(const HDagPathArray& joints, const veltraKernelInput& input,
                   const veltraKernelResult& result) {
  // One write per entry: the kernel's solved rotation as Euler angles in the
  // entry's rotate order, the solution closest to the rest angles (as adding
  // the rotations to the rest pose one by one would keep them). The end entry
  // is left alone: its rotation moves nothing that the solve sees.
  const unsigned n = joints.length();
  for (unsigned i = 0; i + 1 < n && i < result.solvedRotations.size(); ++i) {
    const HEulerRotation::RotationOrder order =
        HTransformationMatrix::toEulerOrder(input.localTransformations[i].rotationOrder());
    HEulerRotation angles = HEulerRotation::decompose(result.solvedRotations[i].asMatrix(), order);
    angles.setToClosestSolution(HEulerRotation(input.restPose[i], order));
    HFnTransform(joints[i]).setRotation(angles);
  }
}

}  // namespace veltraData

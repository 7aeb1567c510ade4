// Kernel state and the solve sequence: rest pose and measurements, then the
// bend pair (radial and sphere solves), then the plane pair (rotate-plane and
// twist rotations combined into one rotation of the root).

#include "veltraKernel.h"

veltraKernel::veltraKernel(const HDagPathArray& joints, const HDagPath& handle,
                           const HVectorArray& restPose, const HVector& restPoleVector,
                           const HDoubleArray& angleBias, const HVector& poleVector,
                           const double& twist)
    : fJoints(joints),
      fHandle(handle),
      fRestPose(restPose),
      fRestPoleVector(restPoleVector),
      fAngleBias(angleBias),
      fPoleVector(poleVector),
      fTwist(twist),
      fChainSpan(0.0),
      fHandleDistance(0.0),
      fMinReach(0.0),
      fMaxReach(0.0),
      fPlaneNormal(0.0, 0.0, 0.0),
      fPoleAngleOffset(0.0) {}

veltraKernel::~veltraKernel() {}

HStatus veltraKernel::solve(HDoubleArray& bendAngles, HVectorArray& bendAxes,
                            HDoubleArray& planeAngles, HVectorArray& planeAxes) {
  // All three stages run; none has a failure path, so the status is simply
  // that of the last one.
  HStatus status(HStatus::kSuccess);
  status = preKernelSolve();
  status = kernelSolve();
  status = postKernelSolve();

  const unsigned n = fJoints.length();
  bendAngles.clear();
  bendAxes.clear();
  planeAngles.clear();
  planeAxes.clear();
  bendAngles.setLength(n);
  bendAxes.setLength(n);
  planeAngles.setLength(n);
  planeAxes.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    bendAngles[i] = fBendAngles[i];
    bendAxes[i] = fBendAxes[i];
    planeAngles[i] = fPlaneAngles[i];
    planeAxes[i] = fPlaneAxes[i];
  }
  return status;
}

HStatus veltraKernel::preKernelSolve() {
  HStatus status(HStatus::kSuccess);
  const unsigned n = fJoints.length();

  // Everything below measures the chain as the rest pose leaves it, and the
  // later stages query the host in that same state.
  ikApplyPose(fJoints, fRestPose);

  HPointArray worldPositions;
  ikJointPositions(fJoints, worldPositions);
  HDoubleArray interiorAnglesDeg;
  ikJointAngles(worldPositions, interiorAnglesDeg);
  ikJointRotationLimits(interiorAnglesDeg, fLowerLimits, fUpperLimits);

  fChainSpan = ikJointDistance(fJoints[0], fJoints[n - 1]);
  fHandleDistance = ikJointDistance(fJoints[0], fHandle);
  fMinReach = ikJointMinDistance(worldPositions);
  fMaxReach = ikJointMaxDistance(worldPositions);

  fPlaneNormal = ikJointPlaneNormal(fJoints);
  fPoleAngleOffset = ikPoleVectorAngleOffset(fPlaneNormal);

  fBendAngles.clear();
  fBendAxes.clear();
  fPlaneAngles.clear();
  fPlaneAxes.clear();
  fBendAngles.setLength(n);
  fBendAxes.setLength(n);
  fPlaneAngles.setLength(n);
  fPlaneAxes.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    fBendAngles[i] = 0.0;
    fBendAxes[i] = HVector::zero;
    fPlaneAngles[i] = 0.0;
    fPlaneAxes[i] = HVector::zero;
  }
  return status;
}

HStatus veltraKernel::kernelSolve() {
  // The sphere solve aims whatever the radial solve produced, so it runs
  // regardless of the radial solve's status.
  HStatus status = solveRadial();
  status = solveSphere();
  return status;
}

HStatus veltraKernel::postKernelSolve() {
  HStatus status(HStatus::kSuccess);
  HQuaternion planeRotation;
  status = solveRotatePlane(planeRotation, fPoleAngleOffset);
  HQuaternion twistRotation;
  status = solveTwist(twistRotation);

  // Both turn about the same root-to-end axis, so the product is one turn by
  // the sum of the two angles; the root receives it as one axis-angle pair.
  const HQuaternion rootRotation = planeRotation * twistRotation;
  rootRotation.getAxisAngle(fPlaneAxes[0], fPlaneAngles[0]);
  return status;
}

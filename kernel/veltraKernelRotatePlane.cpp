// Rotate-plane solve: the bent and aimed chain can still turn freely about
// its root-to-end axis. This settles that freedom from the handle's pole
// vector: the chain turns until the angle about the axis from its plane
// normal to the pole vector equals the one the rest pole vector had at rest.

#include <cmath>

#include <HMath.h>

#include "veltraKernel.h"

namespace veltraKernel {

HQuaternion solveRotatePlane(const veltraKernelInput& input, const veltraKernelSetup& setup,
                             const veltraKernelSolvedChain& solved) {
  const HVector& axis = solved.rootToEndAxis;

  HVector pole;
  if (!input.oldStyle) {
    // The pole vector lives in the handle's parent space; the full inverse of
    // the root's world matrix, scale included, brings it into the frame.
    pole = input.poleVector * input.handleParentWorldMatrix * solved.worldToSolvedRoot;
  } else {
    // Taken as a world direction: only the root's rotation is removed.
    pole = input.poleVector * setup.worldToRootRotation * solved.objectToSolvedRoot;
  }

  // Without a plane to turn into, the chain keeps the orientation the aim
  // gave it.
  HVector poleAcross, normalAcross;
  if (!ikAcrossAxis(axis, pole, setup.planeNormal, poleAcross, normalAcross)) {
    return HQuaternion();
  }

  // First from the normal onto the pole, then on by the offset the rest pole
  // vector had from the normal: both turns are about the axis.
  const double turn = ikSignedAngleAbout(normalAcross, poleAcross, axis);
  return HQuaternion(turn + setup.poleAngleOffset, axis);
}

}  // namespace veltraKernel

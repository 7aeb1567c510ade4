// Sphere solve: after the radial solve the end lies at the handle's distance
// from the root but still in the rest direction. One rotation of the root,
// the least one carrying the bent end's direction onto the handle's, aims it.

#include <cmath>

#include "veltraKernel.h"

HStatus veltraKernel::solveSphere() {
  HStatus status(HStatus::kSuccess);
  const unsigned n = fJoints.length();

  // World positions of the chain bent by the radial solve; entry 0 of the
  // bend pair is still no rotation, so the root is not turned.
  HPointArray worldPositions;
  ikSimulatedJointChain(worldPositions);
  ikSimulateRotations(worldPositions, fBendAngles, fBendAxes);

  // The bent end and the handle in the root's rotation frame, as directions
  // from the root.
  const RotationFrame rootFrame = ikJointRotationFrame(fJoints[0]);
  HPoint handlePosition;
  ikJointPosition(fHandle, handlePosition);
  const HVector endDirection(ikJointPositionRelative(worldPositions[n - 1], rootFrame));
  const HVector handleDirection(ikJointPositionRelative(handlePosition, rootFrame));

  const double angle = std::fabs(endDirection.angle(handleDirection));

  // A turn by the angle between them about end x handle carries the end onto
  // the handle's direction. On one line through the root the cross product
  // vanishes and a fixed axis stands in.
  HVector axis;
  if (endDirection.isParallel(handleDirection, 1e-10)) {
    axis = endDirection.isParallel(HVector::xAxis, 1e-10) ? HVector::yAxis : HVector::xAxis;
  } else {
    axis = endDirection ^ handleDirection;
  }

  fBendAngles[0] = angle;
  fBendAxes[0] = axis;
  return status;
}

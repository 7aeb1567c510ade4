// Sphere solve: after the radial solve the end lies at the handle's distance
// from the root but still in the rest direction. One rotation of the root,
// the least one carrying the bent end's direction onto the handle's, aims it.

#include <cmath>

#include "veltraKernel.h"

namespace veltraKernel {

void solveSphere(const veltraKernelInput& input, const veltraKernelSetup& setup,
                 const HVector& endBelowRoot, veltraKernelPass& bend) {
  // The bent end and the handle in the root's rotation frame, as directions
  // from the root. The root is not turned yet, so the bent end's place below
  // the root only needs the rotate orientation to enter that frame.
  const veltraKernelRotationFrame& rootFrame = setup.rootFrame;
  const HVector endDirection = endBelowRoot * rootFrame.orientation;
  const HVector handleDirection(ikPositionInRotationFrame(input.handleWorldPosition, rootFrame));

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

  bend.angles[0] = angle;
  bend.axes[0] = axis;
}

}  // namespace veltraKernel

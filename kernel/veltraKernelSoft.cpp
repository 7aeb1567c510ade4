// Soft IK and stretch: a pre-step that moves the distance the bend aims for,
// and the factor by which the solved chain grows to take up what is left.
// Both leave the solve untouched when they are off.

#include <algorithm>
#include <cmath>

#include "veltraKernel.h"

namespace veltraKernel {

double ikSoftDistance(double handleDistance, double straightLength, double softness) {
  if (!(softness > 0.0) || !(straightLength > 0.0)) {
    return handleDistance;
  }
  // A softness beyond the straight length would start easing before the root.
  const double s = std::min(softness, straightLength);
  const double softStart = straightLength - s;
  if (handleDistance <= softStart) {
    return handleDistance;
  }
  // The exponential meets the identity with slope 1 at softStart, so the bend
  // changes smoothly there, and tends to the straight length from below.
  return softStart + s * (1.0 - std::exp(-(handleDistance - softStart) / s));
}

double ikStretchScale(double handleDistance, double aimedDistance, double solvedDistance,
                      double stretch) {
  // Inside the reach without softness the bend aims at the handle itself and
  // nothing stretches; a handle on the root leaves no direction to grow along.
  if (!(stretch > 0.0) || !(handleDistance > aimedDistance) || !(solvedDistance > 1e-12)) {
    return 1.0;
  }
  return 1.0 + stretch * (handleDistance / solvedDistance - 1.0);
}

}  // namespace veltraKernel

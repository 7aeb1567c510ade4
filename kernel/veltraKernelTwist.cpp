// Twist solve: the handle's twist turns the solved chain about its own
// root-to-end axis, after the rotate-plane rotation.

#include <HMatrix.h>

#include "veltraKernel.h"

HStatus veltraKernel::solveTwist(HQuaternion& rotation) const {
  HStatus status(HStatus::kSuccess);
  const unsigned n = fJoints.length();

  // World positions of the chain posed by the bend pair, root aim included.
  HPointArray worldPositions;
  ikSimulatedJointChain(worldPositions);
  ikSimulateRotations(worldPositions, fBendAngles, fBendAxes);

  // Root-to-end axis in the solved root frame.
  const HVector axis(worldPositions[n - 1] * ikSolvedRootFrame().worldToFrame);

  // Right-handed: counter-clockwise seen from the end looking back at the root.
  rotation = HQuaternion(fTwist, axis);
  return status;
}

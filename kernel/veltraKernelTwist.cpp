// Twist solve: the handle's twist turns the solved chain about its own
// root-to-end axis, after the rotate-plane rotation.

#include "veltraKernel.h"

namespace veltraKernel {

HQuaternion solveTwist(const veltraKernelInput& input, const veltraKernelSolvedChain& solved) {
  // Right-handed: counter-clockwise seen from the end looking back at the
  // root. An axis of zero length gives the identity.
  return HQuaternion(input.twist, solved.rootToEndAxis);
}

}  // namespace veltraKernel

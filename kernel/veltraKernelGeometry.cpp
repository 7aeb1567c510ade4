// Chain geometry over the setup's rest pose: simulating added rotations and
// the solved root frame that the plane stages measure in.

#include <HSpace.h>

#include "veltraKernel.h"

namespace veltraKernel {

HPointArray ikSimulatedWorldPositions(const veltraKernelSetup& setup,
                                      const veltraKernelPass& pass) {
  const unsigned n = setup.restWorldPositions.length();
  HPointArray worldPositions = setup.restWorldPositions;

  // Each entry's rest transformation with its rotation added where the node
  // adds it (after the rotate orientation, before the rotation), chained onto
  // its parent's simulated world matrix. Even "no rotation" goes through
  // rotateBy, so that the result rounds exactly as the node's writes do.
  HMatrix worldMatrix = setup.rootParentWorldMatrix;
  for (unsigned i = 0; i < n; ++i) {
    HTransformationMatrix local = setup.restLocalTransformations[i];
    local.rotateBy(HQuaternion(pass.angles[i], pass.axes[i]), HSpace::kObject);
    worldMatrix = local.asMatrix() * worldMatrix;
    if (i > 0) {
      worldPositions[i] = HPoint::origin * worldMatrix;
    }
  }
  return worldPositions;
}

veltraKernelSolvedChain ikSolvedChain(const veltraKernelSetup& setup,
                                      const veltraKernelPass& bend) {
  // The aim is entry 0 of the bend pass and the root stands at rest, so its
  // rotation frame at rest turned back by the aim is the solved frame.
  const veltraKernelRotationFrame& rest = setup.restRotationFrames[0];
  const HMatrix aimInverse = HQuaternion(bend.angles[0], bend.axes[0]).conjugate().asMatrix();
  veltraKernelSolvedChain solved;
  solved.objectToSolvedRoot = rest.orientation * aimInverse;
  solved.worldToSolvedRoot = rest.worldToObject * solved.objectToSolvedRoot;

  const HPointArray worldPositions = ikSimulatedWorldPositions(setup, bend);
  solved.rootToEndAxis =
      HVector(worldPositions[worldPositions.length() - 1] * solved.worldToSolvedRoot);
  return solved;
}

}  // namespace veltraKernel

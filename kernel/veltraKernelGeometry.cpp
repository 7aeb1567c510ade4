// Chain geometry over the setup's rest pose: simulating added rotations and
// the solved root frame that the plane stages measure in.

#include <HSpace.h>

#include "veltraKernel.h"

namespace veltraKernel {

HVector ikThroughEntry(const veltraKernelSetup& setup, unsigned entry, const HQuaternion& added,
                       const HVector& point) {
  // The added rotation is a unit quaternion (HQuaternion(angle, axis) makes
  // one), so the point turns by v + 2w (u x v) + 2 u x (u x v) without being
  // normalised again: this runs for every inner joint of every trial.
  const HVector v = point * setup.aheadOfRotation[entry];
  const HVector u(added.x, added.y, added.z);
  const HVector t = (u ^ v) * 2.0;
  const HVector turned = v + t * added.w + (u ^ t);
  const HMatrix& behind = setup.behindRotation[entry];
  return turned * behind + HVector(behind(3, 0), behind(3, 1), behind(3, 2));
}

HPointArray ikSimulatedWorldPositions(const veltraKernelSetup& setup,
                                      const veltraKernelPass& pass) {
  const unsigned n = setup.restWorldPositions.length();
  HPointArray worldPositions = setup.restWorldPositions;
  // Each entry's rest transformation with its rotation added where the node
  // adds it (after the rotate orientation, before the rotation), chained onto
  // its parent's simulated world matrix.
  HMatrix worldMatrix = setup.rootParentWorldMatrix;
  for (unsigned i = 0; i < n; ++i) {
    worldMatrix = setup.aheadOfRotation[i] * HQuaternion(pass.angles[i], pass.axes[i]).asMatrix() *
                  setup.behindRotation[i] * worldMatrix;
    if (i > 0) {
      worldPositions[i] = HPoint::origin * worldMatrix;
    }
  }
  return worldPositions;
}

HVector ikEndBelowRoot(const veltraKernelSetup& setup, const veltraKernelPass& pass) {
  const unsigned n = setup.restWorldPositions.length();
  const HMatrix& end = setup.behindRotation[n - 1];
  HVector point(end(3, 0), end(3, 1), end(3, 2));
  for (unsigned i = n - 2; i >= 1; --i) {
    point = ikThroughEntry(setup, i, HQuaternion(pass.angles[i], pass.axes[i]), point);
  }
  return point;
}

veltraKernelSolvedChain ikSolvedChain(const veltraKernelSetup& setup, const veltraKernelPass& bend,
                                      const HVector& endBelowRoot) {
  // The aim is entry 0 of the bend pass and the root stands at rest, so its
  // rotation frame at rest turned back by the aim is the solved frame.
  const veltraKernelRotationFrame& rest = setup.restRotationFrames[0];
  const HQuaternion aim(bend.angles[0], bend.axes[0]);
  const HMatrix aimInverse = aim.conjugate().asMatrix();
  veltraKernelSolvedChain solved;
  solved.objectToSolvedRoot = rest.orientation * aimInverse;
  solved.worldToSolvedRoot = rest.worldToObject * solved.objectToSolvedRoot;

  solved.worldEnd =
      HPoint(ikThroughEntry(setup, 0, aim, endBelowRoot)) * setup.rootParentWorldMatrix;
  solved.rootToEndAxis = HVector(solved.worldEnd * solved.worldToSolvedRoot);
  return solved;
}

}  // namespace veltraKernel

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
  const veltraKernelEntry& at = setup.entries[entry];
  const HVector v = point * at.aheadOfRotation;
  const HVector u(added.x, added.y, added.z);
  const HVector t = (u ^ v) * 2.0;
  const HVector turned = v + t * added.w + (u ^ t);
  const HMatrix& behind = at.behindRotation;
  return turned * behind + HVector(behind(3, 0), behind(3, 1), behind(3, 2));
}

HVector ikEndBelowRoot(const veltraKernelSetup& setup, const veltraKernelPass& pass) {
  return ikEndBelowRootWith(
      setup, [&pass](unsigned i) { return HQuaternion(pass.angles[i], pass.axes[i]); });
}

veltraKernelSolvedChain ikSolvedChain(const veltraKernelSetup& setup, const veltraKernelPass& bend,
                                      const HVector& endBelowRoot) {
  // The aim is entry 0 of the bend pass and the root stands at rest, so its
  // rotation frame at rest turned back by the aim is the solved frame.
  const veltraKernelRotationFrame& rest = setup.rootFrame;
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

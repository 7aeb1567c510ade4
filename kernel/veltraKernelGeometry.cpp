// Chain geometry and joint access: world positions and local transformations
// read from the host, the rest-pose measurements derived from them, positions
// in an entry's rotation frame, simulation of added rotations, and the writes
// of rotations onto the chain.

#include <HFnTransform.h>
#include <HMatrix.h>
#include <HSpace.h>
#include <HTransformationMatrix.h>

#include <HMath.h>

#include "veltraKernel.h"

void veltraKernel::ikJointPosition(const HDagPath& entry, HPoint& worldPosition) const {
  worldPosition = HPoint::origin * entry.inclusiveMatrix();
}

void veltraKernel::ikJointPositions(const HDagPathArray& chain, HPointArray& worldPositions) const {
  const unsigned n = fJoints.length();
  worldPositions.clear();
  worldPositions.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    ikJointPosition(chain[i], worldPositions[i]);
  }
}

void veltraKernel::ikSimulatedJointChain(HPointArray& worldPositions) const {
  ikJointPositions(fJoints, worldPositions);
}

void veltraKernel::ikJointAngles(const HPointArray& worldPositions,
                                 HDoubleArray& interiorAnglesDeg) const {
  const unsigned m = worldPositions.length();
  interiorAnglesDeg.clear();
  interiorAnglesDeg.setLength(m);
  interiorAnglesDeg[0] = 0.0;
  interiorAnglesDeg[m - 1] = 0.0;
  for (unsigned i = 1; i + 1 < m; ++i) {
    const HVector toParent = worldPositions[i - 1] - worldPositions[i];
    const HVector toChild = worldPositions[i + 1] - worldPositions[i];
    interiorAnglesDeg[i] = toParent.angle(toChild) * 180.0 / kPi;
  }
}

void veltraKernel::ikJointRotationLimits(const HDoubleArray& interiorAnglesDeg,
                                         HDoubleArray& lowerDeg, HDoubleArray& upperDeg) const {
  // A bend of d degrees turns the interior angle a into a + d; the limits keep
  // it within [0, 180]: negative bends fold, positive ones straighten.
  const unsigned m = interiorAnglesDeg.length();
  lowerDeg.clear();
  upperDeg.clear();
  lowerDeg.setLength(m);
  upperDeg.setLength(m);
  lowerDeg[0] = 0.0;
  upperDeg[0] = 0.0;
  lowerDeg[m - 1] = 0.0;
  upperDeg[m - 1] = 0.0;
  for (unsigned i = 1; i + 1 < m; ++i) {
    lowerDeg[i] = -interiorAnglesDeg[i];
    upperDeg[i] = 180.0 - interiorAnglesDeg[i];
  }
}

double veltraKernel::ikJointDistance(const HDagPath& a, const HDagPath& b) const {
  HPoint worldA(0.0, 0.0, 0.0, 1.0);
  HPoint worldB(0.0, 0.0, 0.0, 1.0);
  ikJointPosition(a, worldA);
  ikJointPosition(b, worldB);
  return (worldB - worldA).length();
}

double veltraKernel::ikJointMinDistance(const HPointArray&) const {
  // The chain is taken to be able to fold its end onto its root.
  return 0.0;
}

double veltraKernel::ikJointMaxDistance(const HPointArray& worldPositions) const {
  // The reach of the fully straightened chain: the bone lengths laid end to end.
  double reach = 0.0;
  const unsigned m = worldPositions.length();
  for (unsigned i = 0; i + 1 < m; ++i) {
    reach += (worldPositions[i + 1] - worldPositions[i]).length();
  }
  return reach;
}

void veltraKernel::ikApplyJointPose(const HDagPath& entry, const HVector& rotation) const {
  HFnTransform fnTransform(entry);
  const HTransformationMatrix::RotationOrder order = fnTransform.rotationOrder();
  const double angles[3] = {rotation.x, rotation.y, rotation.z};
  fnTransform.setRotation(angles, order);
}

void veltraKernel::ikApplyPose(const HDagPathArray& chain, const HVectorArray& pose) const {
  // The end entry is left alone: its rotation moves nothing that the solve sees.
  const unsigned n = fJoints.length();
  for (unsigned i = 0; i + 1 < n; ++i) {
    ikApplyJointPose(chain[i], pose[i]);
  }
}

void veltraKernel::ikApplyJointRotation(const HDagPath& entry, const double& angle,
                                        const HVector& axis) const {
  // Object space: the rotation acts after the rotate orientation and before
  // the existing rotation, the frame the axes were computed in.
  HFnTransform fnTransform(entry);
  const HQuaternion rotation(angle, axis);
  fnTransform.rotateBy(rotation, HSpace::kObject);
}

void veltraKernel::ikApplyRotations(const HDagPathArray& chain, const HDoubleArray& angles,
                                    const HVectorArray& axes) const {
  const unsigned n = fJoints.length();
  for (unsigned i = 0; i < n; ++i) {
    ikApplyJointRotation(chain[i], angles[i], axes[i]);
  }
}

void veltraKernel::ikSimulateRotations(HPointArray& worldPositions, const HDoubleArray& angles,
                                       const HVectorArray& axes) const {
  const unsigned n = fJoints.length();

  // The root's simulated world matrix: its local transformation with the
  // root's rotation added where the node will add it (after the rotate
  // orientation, before the rotation), then its parent's world matrix.
  HMatrix worldMatrix;
  {
    HFnTransform fnRoot(fJoints[0]);
    HTransformationMatrix local = fnRoot.transformation();
    local.rotateBy(HQuaternion(angles[0], axes[0]), HSpace::kObject);
    worldMatrix = local.asMatrix() * fJoints[0].exclusiveMatrix();
  }

  // Each entry's local transformation, with its rotation added, is chained
  // onto the previous entry's simulated world matrix: entry i-1 is taken as
  // the parent of entry i.
  for (unsigned i = 1; i < n; ++i) {
    HFnTransform fnTransform(fJoints[i]);
    HTransformationMatrix local = fnTransform.transformation();
    local.rotateBy(HQuaternion(angles[i], axes[i]), HSpace::kObject);
    worldMatrix = local.asMatrix() * worldMatrix;
    worldPositions[i] = HPoint::origin * worldMatrix;
  }
}

HQuaternion veltraKernel::ikJointRotationAxis(const HDagPath& entry) const {
  HFnTransform fnTransform(entry);
  return fnTransform.rotateOrientation(HSpace::kTransform);
}

veltraKernel::RotationFrame veltraKernel::ikJointRotationFrame(const HDagPath& frame) const {
  // World to the frame entry's object space, then through its rotate
  // orientation into the frame its rotation acts in.
  return RotationFrame{frame.inclusiveMatrixInverse(), ikJointRotationAxis(frame).asMatrix()};
}

veltraKernel::SolvedRootFrame veltraKernel::ikSolvedRootFrame() const {
  // The aim is entry 0 of the bend pair; the root stands at rest, so its
  // rotation frame at rest turned back by the aim is the solved frame.
  const RotationFrame rest = ikJointRotationFrame(fJoints[0]);
  const HMatrix aimInverse = HQuaternion(fBendAngles[0], fBendAxes[0]).conjugate().asMatrix();
  const HMatrix objectToFrame = rest.orientation * aimInverse;
  return SolvedRootFrame{rest.worldToObject * objectToFrame, objectToFrame};
}

HPoint veltraKernel::ikJointPositionRelative(const HPoint& worldPoint,
                                             const HDagPath& frame) const {
  return ikJointPositionRelative(worldPoint, ikJointRotationFrame(frame));
}

HPoint veltraKernel::ikJointPositionRelative(const HDagPath& entry, const HDagPath& frame) const {
  HPoint worldPosition(0.0, 0.0, 0.0, 1.0);
  ikJointPosition(entry, worldPosition);
  return ikJointPositionRelative(worldPosition, frame);
}

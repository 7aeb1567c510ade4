// Rotate-plane solve: the bent and aimed chain can still turn freely about
// its root-to-end axis. This settles that freedom from the handle's pole
// vector: the chain turns until the angle about the axis from its plane
// normal to the pole vector equals the one the rest pole vector had at rest.

#include <HDGContext.h>
#include <HFnDependencyNode.h>
#include <HMatrix.h>
#include <HPlug.h>
#include <HTransformationMatrix.h>

#include <cmath>

#include <HMath.h>

#include "veltraKernel.h"

HStatus veltraKernel::solveRotatePlane(HQuaternion& rotation, const double& poleAngleOffset) const {
  HStatus status(HStatus::kSuccess);
  const unsigned n = fJoints.length();

  // World positions of the chain posed by the bend pair, root aim included.
  HPointArray worldPositions;
  ikSimulatedJointChain(worldPositions);
  ikSimulateRotations(worldPositions, fBendAngles, fBendAxes);

  // Root-to-end axis in the solved root frame.
  const SolvedRootFrame solvedRoot = ikSolvedRootFrame();
  const HVector axis(worldPositions[n - 1] * solvedRoot.worldToFrame);
  const double axisLength = axis.length();
  const HVector& planeNormal = fPlaneNormal;

  // A missing or unreadable attribute reads as false.
  bool oldStyle = false;
  {
    const HObject handleNode = fHandle.node();
    HFnDependencyNode fnHandle(handleNode);
    const HObject attribute = fnHandle.attribute("splineIkOldStyle");
    const HPlug plug(handleNode, attribute);
    bool value = false;
    if (plug.getValue(value, HDGContext::fsNormal) == HStatus::kSuccess) {
      oldStyle = value;
    }
  }

  HVector pole;
  if (!oldStyle) {
    // The pole vector lives in the handle's parent space; the full inverse of
    // the root's world matrix, scale included, brings it into the frame.
    pole = fPoleVector * fHandle.exclusiveMatrix() * solvedRoot.worldToFrame;
  } else {
    // Taken as a world direction: only the root's rotation is removed.
    const HTransformationMatrix rootTransformation(fJoints[0].inclusiveMatrix());
    const HMatrix worldToObjectRotation = rootTransformation.rotation().asMatrix().inverse();
    pole = fPoleVector * worldToObjectRotation * solvedRoot.objectToFrame;
  }

  HQuaternion turn(0.0, axis);

  // A pole vector along the axis, or an end at the root, leaves no plane to
  // turn into: the chain keeps the orientation the aim gave it.
  if (pole.isParallel(axis, 1e-10)) {
    return status;
  }
  if (axisLength * axisLength <= 1e-5) {
    return status;
  }

  // Only the parts perpendicular to the axis count.
  const double axisLengthSquared = axisLength * axisLength;
  const HVector normalAcross = planeNormal - axis * ((planeNormal * axis) / axisLengthSquared);
  const HVector poleAcross = pole - axis * ((pole * axis) / axisLengthSquared);

  const double cosine = (normalAcross * poleAcross) / (normalAcross.length() * poleAcross.length());

  // Both factors turn about the axis: first from the normal onto the pole,
  // then on by the offset the rest pole vector had from the normal. Opposite
  // directions take an explicit half turn about the axis, never the host's
  // choice of perpendicular axis.
  if (cosine < -1 || (cosine <= 1 && std::fabs(cosine + 1) < 1e-5)) {
    turn = HQuaternion(kPi, axis);
  } else {
    turn = HQuaternion(normalAcross, poleAcross);
  }
  turn *= HQuaternion(poleAngleOffset, axis);

  rotation = turn;
  return status;
}

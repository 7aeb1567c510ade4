// The plane in which the chain bends at rest and where the rest pole vector
// stood relative to it. Both are measured in the root's rotation frame right
// after the rest pose is applied, and steer the rotate-plane solve.

#include <HTransformationMatrix.h>

#include <cmath>

#include <HMath.h>

#include "veltraKernel.h"

namespace {

// Divides by the length unless the vector is too short to have a direction.
HVector normalised(const HVector& v) {
  const double lengthSquared = v * v;
  if (lengthSquared > 1e-20) {
    return v / std::sqrt(lengthSquared);
  }
  return v;
}

}  // namespace

HVector veltraKernel::ikJointPlaneNormal(const HDagPathArray& joints) const {
  const unsigned n = joints.length();
  HVector normal(0.0, 0.0, 0.0);

  // Entry positions in the root's rotation frame; the root is the origin.
  HPointArray rootFramePositions;
  rootFramePositions.setLength(n);
  const RotationFrame rootFrame = ikJointRotationFrame(joints[0]);
  for (unsigned i = 0; i < n; ++i) {
    HPoint worldPosition;
    ikJointPosition(joints[i], worldPosition);
    rootFramePositions[i] = ikJointPositionRelative(worldPosition, rootFrame);
  }

  bool counted = false;
  if (n >= 3) {
    HVector reference(0.0, 0.0, 0.0);
    for (unsigned i = 1; i + 1 < n; ++i) {
      const HVector toParent = rootFramePositions[i - 1] - rootFramePositions[i];
      const HVector toChild = rootFramePositions[i + 1] - rootFramePositions[i];
      if (toParent.isParallel(toChild, 1e-10)) {
        continue;  // straight here: no plane to contribute
      }
      // Unnormalised, so that longer bones and sharper bends weigh more.
      HVector bendNormal = toParent ^ toChild;
      if (!counted) {
        reference = bendNormal;
        normal = bendNormal;
        counted = true;
        continue;
      }
      // Bends that turn the other way are flipped to agree with the first.
      if (reference * bendNormal < 0) {
        bendNormal = -bendNormal;
      }
      normal += bendNormal;
    }
  }
  if (counted) {
    return normalised(normal);
  }

  // Straight at rest: any plane through the first bone will do; take the one
  // containing the x axis of the frame, or the y axis when the bone lies on x.
  const HVector firstBone = normalised(rootFramePositions[1] - rootFramePositions[0]);
  const HVector auxiliary =
      firstBone.isParallel(HVector::xAxis, 1e-10) ? HVector::yAxis : HVector::xAxis;
  return normalised(firstBone ^ auxiliary);
}

double veltraKernel::ikPoleVectorAngleOffset(const HVector& planeNormal) const {
  const unsigned n = fJoints.length();

  // Root-to-end axis at rest, in the root's rotation frame.
  const HVector axis(ikJointPositionRelative(fJoints[n - 1], fJoints[0]));
  const double axisLength = axis.length();

  // The rest pole vector is a world direction: only the root's rotation (not
  // its scale) is removed before the rotate orientation is applied.
  const HTransformationMatrix rootWorld(fJoints[0].inclusiveMatrix());
  const HMatrix worldToRootRotation = rootWorld.rotation().asMatrix().inverse();
  const HVector pole =
      (fRestPoleVector * worldToRootRotation) * ikJointRotationAxis(fJoints[0]).asMatrix();

  if (pole.isParallel(axis, 1e-10)) {
    return 0.0;
  }
  if (axisLength * axisLength <= 1e-5) {
    return 0.0;
  }

  // Only the parts perpendicular to the root-to-end axis count.
  const double axisLengthSquared = axisLength * axisLength;
  const HVector normalAcross = planeNormal - axis * ((planeNormal * axis) / axisLengthSquared);
  const HVector poleAcross = pole - axis * ((pole * axis) / axisLengthSquared);

  // A normal along the axis, or a pole that projects to nothing, leaves no
  // angle to measure; no offset is the value that fits the rest of the solve.
  const double lengths = normalAcross.length() * poleAcross.length();
  if (!(lengths > 0.0)) {
    return 0.0;
  }
  const double cosine = (normalAcross * poleAcross) / lengths;

  double angle;
  if (cosine < -1) {
    angle = kPi;
  } else if (cosine > 1) {
    angle = std::acos(1.0);
  } else if (std::fabs(cosine + 1) < 1e-5) {
    angle = kPi;
  } else {
    angle = std::acos(cosine);
  }

  // Right-handed about +axis from pole to normal: negative when pole x normal
  // points against the axis. A zero cross product (0 or pi) keeps the sign.
  const HVector turn = poleAcross ^ normalAcross;
  if (std::fabs((axis * turn) / (turn.length() * axisLength) + 1) < 1e-5) {
    angle = -angle;
  }
  return angle;
}

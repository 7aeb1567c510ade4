// The plane in which the chain bends at rest and where the rest pole vector
// stood relative to it. Both are measured in the root's rotation frame at
// rest, and steer the rotate-plane solve.

#include <cmath>

#include <HMath.h>

#include "veltraKernel.h"

namespace veltraKernel {

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

bool ikAcrossAxis(const HVector& axis, const HVector& pole, const HVector& normal,
                  HVector& poleAcross, HVector& normalAcross) {
  // A pole vector along the axis, or an end at the root, leaves no plane.
  if (pole.isParallel(axis, 1e-10)) {
    return false;
  }
  const double axisLengthSquared = axis.length() * axis.length();
  if (axisLengthSquared <= 1e-5) {
    return false;
  }
  normalAcross = normal - axis * ((normal * axis) / axisLengthSquared);
  poleAcross = pole - axis * ((pole * axis) / axisLengthSquared);
  return true;
}

double ikSignedAngleAbout(const HVector& from, const HVector& to, const HVector& axis) {
  // A vector with no part across the axis leaves no angle to measure; no
  // turn is the value that fits the rest of the solve.
  const double lengths = from.length() * to.length();
  if (!(lengths > 0.0)) {
    return 0.0;
  }
  const double cosine = (from * to) / lengths;
  // Nearly opposite: exactly a half turn, whichever side rounding put it on.
  if (std::fabs(cosine + 1) < 1e-5) {
    return kPi;
  }
  return std::atan2(((from ^ to) * axis) / axis.length(), from * to);
}

HVector ikJointPlaneNormal(const veltraKernelSetup& setup) {
  const unsigned n = setup.restWorldPositions.length();
  HVector normal(0.0, 0.0, 0.0);

  // Entry positions in the root's rotation frame; the root is the origin.
  HPointArray rootFramePositions;
  rootFramePositions.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    rootFramePositions[i] = ikPositionInRotationFrame(setup.restWorldPositions[i], setup.rootFrame);
  }

  bool counted = false;
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

double ikPoleVectorAngleOffset(const veltraKernelInput& input, const veltraKernelSetup& setup,
                               const HVector& planeNormal) {
  const veltraKernelRotationFrame& rootFrame = setup.rootFrame;
  const unsigned n = setup.restWorldPositions.length();

  // Root-to-end axis at rest, in the root's rotation frame.
  const HVector axis(ikPositionInRotationFrame(setup.restWorldPositions[n - 1], rootFrame));

  // The rest pole vector is a world direction: only the root's rotation (not
  // its scale) is removed before the rotate orientation is applied.
  const HVector pole = (input.restPoleVector * setup.worldToRootRotation) * rootFrame.orientation;

  HVector poleAcross, normalAcross;
  if (!ikAcrossAxis(axis, pole, planeNormal, poleAcross, normalAcross)) {
    return 0.0;
  }

  // Right-handed about +axis, from the pole to the normal.
  return ikSignedAngleAbout(poleAcross, normalAcross, axis);
}

}  // namespace veltraKernel

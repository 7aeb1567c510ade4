// The solve sequence: validation, the rest-pose measurements, then the bend
// pass (radial and sphere solves), then the plane pass (rotate-plane and
// twist rotations combined into one rotation of the root).

#include "veltraKernel.h"

#include <algorithm>
#include <cmath>

#include <HSpace.h>
#include <string>

namespace veltraKernel {

namespace {

bool finite(double v) {
  return std::isfinite(v);
}
bool finite(const HVector& v) {
  return finite(v.x) && finite(v.y) && finite(v.z);
}
bool finite(const HPoint& p) {
  return finite(p.x) && finite(p.y) && finite(p.z) && finite(p.w);
}

HString sentence(const std::string& text) {
  return HString(text.c_str());
}

}  // namespace

bool validate(const veltraKernelInput& input, HString& problem) {
  const size_t n = input.localTransformations.size();
  if (n < 3) {
    problem = sentence("The chain has " + std::to_string(n) +
                       " entries; a solve needs at least 3 (2 bones).");
    return false;
  }
  if (input.restPose.length() != n) {
    problem = sentence("The rest pose has " + std::to_string(input.restPose.length()) +
                       " rotations for a chain of " + std::to_string(n) + " entries.");
    return false;
  }
  if (input.angleBias.length() != n) {
    problem = sentence("The angle bias has " + std::to_string(input.angleBias.length()) +
                       " weights for a chain of " + std::to_string(n) + " entries.");
    return false;
  }
  for (size_t i = 0; i < n; ++i) {
    if (!input.localTransformations[i].asMatrix().isFinite() || !finite(input.restPose[i]) ||
        !finite(input.angleBias[i])) {
      problem = sentence("Chain entry " + std::to_string(i) +
                         " has a transformation, rest rotation or bias weight that is not "
                         "finite.");
      return false;
    }
  }
  const struct {
    bool ok;
    const char* what;
  } values[] = {
      {input.rootParentWorldMatrix.isFinite(), "the root's parent matrix"},
      {finite(input.handleWorldPosition), "the handle's position"},
      {input.handleParentWorldMatrix.isFinite(), "the handle's parent matrix"},
      {finite(input.poleVector), "the pole vector"},
      {finite(input.twist), "the twist"},
      {finite(input.restPoleVector), "the rest pole vector"},
      {finite(input.softness), "the softness"},
      {finite(input.stretch), "the stretch"},
  };
  for (const auto& value : values) {
    if (!value.ok) {
      problem = sentence(std::string("The value of ") + value.what + " is not finite.");
      return false;
    }
  }
  if (input.softness < 0.0) {
    problem = sentence("The softness is negative; it is a distance, 0 or more.");
    return false;
  }
  if (input.stretch < 0.0 || input.stretch > 1.0) {
    problem = sentence("The stretch lies outside 0 to 1.");
    return false;
  }
  problem = HString();
  return true;
}

veltraKernelResult solve(const veltraKernelInput& input) {
  veltraKernelResult result;
  veltraKernelSetup setup = preKernelSolve(input);
  // Soft IK only moves the distance the bend aims for; the aim still points
  // the end at the handle itself, so the end stays on the ray to it.
  const double handleDistance = setup.handleDistance;
  setup.handleDistance = ikSoftDistance(handleDistance, setup.maxReach, input.softness);
  HVector endBelowRoot;
  result.bend = kernelSolve(input, setup, result.bendFraction, endBelowRoot);
  // One simulation of the bent chain serves the aim, both plane stages and
  // the reach test.
  const veltraKernelSolvedChain solved = ikSolvedChain(setup, result.bend, endBelowRoot);
  result.plane = postKernelSolve(input, setup, solved);

  // Stretch grows the solved chain about its root, so the end moves along the
  // same ray; the reach test measures the end where it ends up.
  const HPoint& root = setup.restWorldPositions[0];
  const double aimed = std::min(setup.handleDistance, setup.maxReach);
  result.stretchScale =
      ikStretchScale(handleDistance, aimed, (solved.worldEnd - root).length(), input.stretch);
  const HPoint end = result.stretchScale == 1.0
                         ? solved.worldEnd
                         : root + (solved.worldEnd - root) * result.stretchScale;
  const double miss = (input.handleWorldPosition - end).length();
  result.reached = miss <= kReachTolerance;

  // Each added rotation acts in front of the rotation already there, the
  // bend first: R <- plane x (bend x R).
  const unsigned n = unsigned(input.localTransformations.size());
  result.solvedRotations.resize(n - 1);
  for (unsigned i = 0; i + 1 < n; ++i) {
    const HQuaternion bend(result.bend.angles[i], result.bend.axes[i]);
    const HQuaternion plane(result.plane.angles[i], result.plane.axes[i]);
    result.solvedRotations[i] =
        (plane * (bend * setup.restLocalTransformations[i].rotation()).normal()).normal();
  }
  return result;
}

namespace {

// A pass of n entries, every one no rotation.
veltraKernelPass noRotation(unsigned n) {
  veltraKernelPass pass;
  pass.angles = HDoubleArray(n, 0.0);
  pass.axes = HVectorArray(n, HVector::zero);
  return pass;
}

// Interior angle in degrees at every inner entry, 0 at both ends.
HDoubleArray interiorAnglesDeg(const HPointArray& worldPositions) {
  const unsigned n = worldPositions.length();
  HDoubleArray angles(n, 0.0);
  for (unsigned i = 1; i + 1 < n; ++i) {
    const HVector toParent = worldPositions[i - 1] - worldPositions[i];
    const HVector toChild = worldPositions[i + 1] - worldPositions[i];
    angles[i] = toParent.angle(toChild) * 180.0 / kPi;
  }
  return angles;
}

}  // namespace

veltraKernelSetup preKernelSolve(const veltraKernelInput& input) {
  veltraKernelSetup setup;
  const unsigned n = unsigned(input.localTransformations.size());

  // The rest pose, and the world matrices, positions and rotation frames of
  // the chain standing in it: every later stage measures from these.
  setup.restLocalTransformations = input.localTransformations;
  setup.rootParentWorldMatrix = input.rootParentWorldMatrix;
  setup.restWorldMatrices.resize(n);
  setup.restRotationFrames.resize(n);
  setup.aheadOfRotation.resize(n);
  setup.behindRotation.resize(n);
  setup.restWorldPositions.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    HTransformationMatrix& local = setup.restLocalTransformations[i];
    if (i + 1 < n) {
      // The end's rotation moves nothing that the solve sees.
      const double angles[3] = {input.restPose[i].x, input.restPose[i].y, input.restPose[i].z};
      local.setRotation(angles, local.rotationOrder());
    }
    const HMatrix& parentWorld =
        i == 0 ? input.rootParentWorldMatrix : setup.restWorldMatrices[i - 1];
    setup.restWorldMatrices[i] = local.asMatrix() * parentWorld;
    setup.restWorldPositions[i] = HPoint::origin * setup.restWorldMatrices[i];
    setup.restRotationFrames[i] = veltraKernelRotationFrame{setup.restWorldMatrices[i].inverse(),
                                                            local.rotateOrientation().asMatrix()};
    // The same transformation in two parts, each composed by the host's own
    // rule with the other part's components left out.
    HTransformationMatrix ahead = local, behind = local;
    const double noAngles[3] = {0.0, 0.0, 0.0}, unitScale[3] = {1.0, 1.0, 1.0};
    ahead.setRotation(noAngles, local.rotationOrder());
    ahead.setJointOrientation(HQuaternion());
    ahead.setTranslation(HVector::zero, HSpace::kTransform);
    behind.setScale(unitScale, HSpace::kTransform);
    behind.setShear(noAngles, HSpace::kTransform);
    behind.setRotateOrientation(HQuaternion());
    setup.aheadOfRotation[i] = ahead.asMatrix();
    setup.behindRotation[i] = behind.asMatrix();
  }

  // A bend of d degrees turns the interior angle a into a + d; the limits keep
  // it within [0, 180]: negative bends fold, positive ones straighten.
  const HDoubleArray anglesDeg = interiorAnglesDeg(setup.restWorldPositions);
  setup.lowerLimitsDeg = HDoubleArray(n, 0.0);
  setup.upperLimitsDeg = HDoubleArray(n, 0.0);
  for (unsigned i = 1; i + 1 < n; ++i) {
    setup.lowerLimitsDeg[i] = -anglesDeg[i];
    setup.upperLimitsDeg[i] = 180.0 - anglesDeg[i];
  }

  // Each inner joint bends about child x parent bone, seen in its own
  // rotation frame; parallel bones (straight or folded flat) give no axis.
  setup.bendAxes = HVectorArray(n, HVector::zero);
  for (unsigned i = 1; i + 1 < n; ++i) {
    const veltraKernelRotationFrame& frame = setup.restRotationFrames[i];
    const HVector toParent(ikPositionInRotationFrame(setup.restWorldPositions[i - 1], frame));
    const HVector toChild(ikPositionInRotationFrame(setup.restWorldPositions[i + 1], frame));
    if (!toChild.isParallel(toParent, 1e-10)) {
      setup.bendAxes[i] = toChild ^ toParent;
    }
  }

  // Normalise by the smallest inner bias, so that the joint with the smallest
  // bias reaches its limit exactly at bend fraction 1 and the others earlier.
  setup.biasRates = HDoubleArray(n, 0.0);
  double smallestBias = input.angleBias[1];
  for (unsigned i = 2; i + 1 < n; ++i) {
    if (smallestBias > input.angleBias[i]) {
      smallestBias = input.angleBias[i];
    }
  }
  const bool scaled = std::fabs(smallestBias) > 1e-05;
  const double scale = scaled ? 1.0 / smallestBias : 1.0;
  for (unsigned i = 1; i + 1 < n; ++i) {
    setup.biasRates[i] = scaled ? input.angleBias[i] * scale : input.angleBias[i];
  }

  const HPointArray& p = setup.restWorldPositions;
  setup.chainSpan = (p[n - 1] - p[0]).length();
  setup.handleDistance = (input.handleWorldPosition - p[0]).length();
  // The reach of the fully straightened chain: the bone lengths laid end to end.
  for (unsigned i = 0; i + 1 < n; ++i) {
    setup.maxReach += (p[i + 1] - p[i]).length();
  }

  setup.worldToRootRotation =
      HTransformationMatrix(setup.restWorldMatrices[0]).rotation().asMatrix().inverse();
  setup.planeNormal = ikJointPlaneNormal(setup);
  setup.poleAngleOffset = ikPoleVectorAngleOffset(input, setup, setup.planeNormal);
  return setup;
}

veltraKernelPass kernelSolve(const veltraKernelInput& input, const veltraKernelSetup& setup,
                             double& bendFraction, HVector& endBelowRoot) {
  veltraKernelPass bend = noRotation(setup.restWorldPositions.length());
  bendFraction = solveRadial(setup, bend);
  // The sphere solve aims whatever the radial solve produced.
  endBelowRoot = ikEndBelowRoot(setup, bend);
  solveSphere(input, setup, endBelowRoot, bend);
  return bend;
}

veltraKernelPass postKernelSolve(const veltraKernelInput& input, const veltraKernelSetup& setup,
                                 const veltraKernelSolvedChain& solved) {
  veltraKernelPass plane = noRotation(setup.restWorldPositions.length());
  const HQuaternion planeRotation = solveRotatePlane(input, setup, solved);
  const HQuaternion twistRotation = solveTwist(input, solved);

  // Both turn about the same root-to-end axis, so the product is one turn by
  // the sum of the two angles; the root receives it as one axis-angle pair.
  const HQuaternion rootRotation = planeRotation * twistRotation;
  rootRotation.getAxisAngle(plane.axes[0], plane.angles[0]);
  return plane;
}

}  // namespace veltraKernel

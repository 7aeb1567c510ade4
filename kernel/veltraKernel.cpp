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
    result.solvedRotations[i] = (plane * (bend * setup.entries[i].restRotation).normal()).normal();
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

// Where the parent's origin lies in an entry's child space: the point that the
// entry's local matrix carries onto the origin, x = -T x L^-1 for the upper
// 3x3 block L, by Cramer's rule. False for a block too close to singular
// (|det| at most 1e-14 times the product of its row lengths, as the host's
// inverse tests), where the entry has no usable frame.
bool parentInChildSpace(const HMatrix& local, HVector& parent) {
  const double(&m)[4][4] = local.matrix;
  const double c00 = m[1][1] * m[2][2] - m[1][2] * m[2][1];
  const double c01 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
  const double c02 = m[1][0] * m[2][1] - m[1][1] * m[2][0];
  const double det = m[0][0] * c00 + m[0][1] * c01 + m[0][2] * c02;
  double rows = 1.0;
  for (int r = 0; r < 3; ++r) {
    rows *= std::sqrt(m[r][0] * m[r][0] + m[r][1] * m[r][1] + m[r][2] * m[r][2]);
  }
  if (!(std::fabs(det) > 1e-14 * rows)) {
    return false;
  }
  // x L = -t: each coordinate is a determinant with one row of L replaced by -t.
  const double t[3] = {-m[3][0], -m[3][1], -m[3][2]};
  const double x0 = t[0] * c00 + t[1] * c01 + t[2] * c02;
  const double x1 = m[0][0] * (t[1] * m[2][2] - t[2] * m[2][1]) +
                    m[0][1] * (t[2] * m[2][0] - t[0] * m[2][2]) +
                    m[0][2] * (t[0] * m[2][1] - t[1] * m[2][0]);
  const double x2 = m[0][0] * (m[1][1] * t[2] - m[1][2] * t[1]) +
                    m[0][1] * (m[1][2] * t[0] - m[1][0] * t[2]) +
                    m[0][2] * (m[1][0] * t[1] - m[1][1] * t[0]);
  parent = HVector(x0 / det, x1 / det, x2 / det);
  return true;
}

}  // namespace

veltraKernelSetup preKernelSolve(const veltraKernelInput& input) {
  veltraKernelSetup setup;
  const unsigned n = unsigned(input.localTransformations.size());

  // The rest pose, and the matrices and positions of the chain standing in
  // it: every later stage measures from these. Each entry's transformation is
  // also kept in two parts around its rotation, for the trials.
  setup.rootParentWorldMatrix = input.rootParentWorldMatrix;
  setup.entries.resize(n);
  setup.restWorldPositions.setLength(n);
  HMatrix world = input.rootParentWorldMatrix;
  for (unsigned i = 0; i < n; ++i) {
    veltraKernelEntry& entry = setup.entries[i];
    // The entry's own composition of its rest transformation, as the host
    // composes it, not the product of the two parts below: rest positions
    // then agree to the last bit with the host's world matrices, and a goal
    // placed where the host says the end is lands on the same side of the
    // solve's tolerances.
    HTransformationMatrix local = input.localTransformations[i];
    if (i + 1 < n) {
      // The end's rotation moves nothing that the solve sees, so it keeps its own.
      const double angles[3] = {input.restPose[i].x, input.restPose[i].y, input.restPose[i].z};
      local.setRotation(angles, local.rotationOrder());
    }
    entry.restRotation = local.rotation();
    const HMatrix localMatrix = local.asMatrix();
    entry.aheadOfRotation = local.asScaleMatrix();
    const HQuaternion orientation = local.rotateOrientation();
    const HMatrix orientationMatrix = orientation.asMatrix();
    if (orientation != HQuaternion()) {
      entry.aheadOfRotation = entry.aheadOfRotation * orientationMatrix;
    }
    HMatrix& behind = entry.behindRotation;
    behind = (entry.restRotation * local.jointOrientation()).asMatrix();
    const HVector t = local.translation(HSpace::kTransform);
    behind(3, 0) = t.x;
    behind(3, 1) = t.y;
    behind(3, 2) = t.z;
    world = localMatrix * world;
    setup.restWorldPositions[i] = HPoint::origin * world;
    if (i == 0) {
      setup.rootWorldMatrix = world;
      setup.rootFrame = veltraKernelRotationFrame{world.inverse(), orientationMatrix};
    }

    // An inner joint bends about child x parent bone, seen in its own
    // rotation frame; parallel bones (straight or folded flat) give no axis.
    // The child sits at its own translation in the entry's child space, and
    // the rotate orientation turns both into the rotation frame.
    HVector parent;
    if (i > 0 && i + 1 < n && parentInChildSpace(localMatrix, parent)) {
      const HVector toParent = parent * orientationMatrix;
      const HVector toChild =
          input.localTransformations[i + 1].translation(HSpace::kTransform) * orientationMatrix;
      if (!toChild.isParallel(toParent, 1e-10)) {
        entry.bendAxis = toChild ^ toParent;
      }
    }
  }

  // A bend of d degrees turns the interior angle a into a + d; the limits keep
  // it within [0, 180]: negative bends fold, positive ones straighten.
  const HPointArray& p = setup.restWorldPositions;
  for (unsigned i = 1; i + 1 < n; ++i) {
    const double angleDeg = (p[i - 1] - p[i]).angle(p[i + 1] - p[i]) * 180.0 / kPi;
    setup.entries[i].lowerLimitDeg = -angleDeg;
    setup.entries[i].upperLimitDeg = 180.0 - angleDeg;
  }

  // Normalise by the smallest inner bias, so that the joint with the smallest
  // bias reaches its limit exactly at bend fraction 1 and the others earlier.
  double smallestBias = input.angleBias[1];
  for (unsigned i = 2; i + 1 < n; ++i) {
    if (smallestBias > input.angleBias[i]) {
      smallestBias = input.angleBias[i];
    }
  }
  const bool scaled = std::fabs(smallestBias) > 1e-05;
  const double scale = scaled ? 1.0 / smallestBias : 1.0;
  for (unsigned i = 1; i + 1 < n; ++i) {
    setup.entries[i].biasRate = scaled ? input.angleBias[i] * scale : input.angleBias[i];
  }

  setup.chainSpan = (p[n - 1] - p[0]).length();
  setup.handleDistance = (input.handleWorldPosition - p[0]).length();
  // The reach of the fully straightened chain: the bone lengths laid end to end.
  for (unsigned i = 0; i + 1 < n; ++i) {
    setup.maxReach += (p[i + 1] - p[i]).length();
  }

  // A rotation's inverse is its conjugate's matrix: no general 4x4 inverse.
  setup.worldToRootRotation =
      HTransformationMatrix(setup.rootWorldMatrix).rotation().conjugate().asMatrix();
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

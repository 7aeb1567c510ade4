// Radial solve: how much every inner joint bends. One bend fraction in [0, 1]
// moves all inner joints together towards their fold limits (handle nearer
// than the rest end) or their straight limits (handle farther), each at a
// rate set by its angle bias weight. A bisection on the fraction matches the
// root-to-end distance to the root-to-handle distance; the end's direction is
// left to the sphere solve.

#include <cmath>

#include <HMath.h>

#include "veltraKernel.h"

HStatus veltraKernel::solveRadial() {
  HStatus status(HStatus::kSuccess);

  // Distance the chain's end must gain (positive) or lose (negative).
  const double difference = fHandleDistance - fChainSpan;
  if (std::fabs(difference) < 1e-05) {
    return status;
  }

  const bool foldMode = difference < 0;
  RadialBisection found = solveRadialBisection(0.0, 1.0, foldMode);

  // The bisection assumes that the reach changes monotonically with the bend
  // fraction. A long chain that curls as it folds (a tail) reaches the same
  // distance at several fractions, and which one the bisection lands on can
  // change with the smallest move of the handle: the pose jumps from one curl
  // to the next. The pose the animator expects is the first one, where the
  // bend, growing from rest, first brings the end to the handle's distance, so
  // the fractions below the one found are sampled, and where the end already
  // went past the handle's distance the bisection runs again below that
  // sample. A chain with one inner joint always changes monotonically.
  constexpr int kSamples = 8;
  const unsigned n = fJoints.length();
  HDoubleArray sampleAngles;
  HVectorArray sampleAxes;
  for (int round = 0; n > 3 && found.bestIteration != -1 && round < 4; ++round) {
    const double foundFraction = found.fraction;
    bool earlier = false;
    for (int j = 1; j < kSamples && !earlier; ++j) {
      const double sample = foundFraction * j / kSamples;
      const double reach = solveRadialIteration(sample, foldMode, sampleAngles, sampleAxes);
      const double past = foldMode ? fHandleDistance - reach : reach - fHandleDistance;
      if (past > 1e-05) {
        const RadialBisection first =
            solveRadialBisection(foundFraction * (j - 1) / kSamples, sample, foldMode);
        if (first.bestIteration != -1) {
          found = first;
          earlier = true;
        }
      }
    }
    if (!earlier) {
      break;
    }
  }

  if (found.bestIteration != -1) {
    solveRadialIteration(found.fraction, foldMode, fBendAngles, fBendAxes);
  }
  return status;
}

veltraKernel::RadialBisection veltraKernel::solveRadialBisection(double lowerBound,
                                                                 double upperBound, bool foldMode) {
  double width = upperBound - lowerBound;
  double bendFraction = lowerBound + 0.5 * width;
  RadialBisection best{bendFraction, -1};
  double bestError = fHandleDistance - fChainSpan;  // the rest pose is the first candidate
  HDoubleArray trialAngles;
  HVectorArray trialAxes;

  for (int k = 0; k < 100; ++k) {
    const double reach = solveRadialIteration(bendFraction, foldMode, trialAngles, trialAxes);
    const double error = fHandleDistance - reach;

    // A trial replaces the best only if it is clearly better: smaller in
    // magnitude and more than the tolerance away from the best error.
    if (std::fabs(error - bestError) > 1e-05 && std::fabs(bestError) > std::fabs(error)) {
      best.bestIteration = k;
      bestError = error;
      best.fraction = bendFraction;
    }

    // The end lies at the handle's distance.
    if (std::fabs(error) < 1e-05) {
      break;
    }
    // The interval is exhausted.
    if (std::fabs(width) < 1e-10) {
      break;
    }
    // The chain is straight and the handle lies beyond its reach.
    if (std::fabs(reach - fMaxReach) < 1e-05 && fHandleDistance - fMaxReach > 0) {
      break;
    }
    // The end is folded onto the root and so is the handle.
    if (std::fabs(reach - fMinReach) < 1e-05 && std::fabs(fHandleDistance - fMinReach) < 1e-05) {
      break;
    }

    // Folding more shortens the reach, straightening lengthens it: an end
    // that falls short (error > 0) needs less folding or more straightening.
    if (error > 0) {
      if (foldMode) {
        upperBound = bendFraction;
      } else {
        lowerBound = bendFraction;
      }
    } else {
      if (foldMode) {
        lowerBound = bendFraction;
      } else {
        upperBound = bendFraction;
      }
    }
    width = upperBound - lowerBound;
    bendFraction = lowerBound + 0.5 * width;
  }
  return best;
}

double veltraKernel::solveRadialIteration(const double& bendFraction, const bool& foldMode,
                                          HDoubleArray& angles, HVectorArray& axes) {
  const unsigned n = fJoints.length();
  HDoubleArray bendsDeg;
  bendsDeg.setLength(n);
  bendsDeg[0] = 0.0;
  bendsDeg[n - 1] = 0.0;
  solveRadialUniformAngles(bendFraction, foldMode, bendsDeg);

  // Keep every interior angle within [0, 180].
  for (unsigned i = 1; i + 1 < n; ++i) {
    if (fLowerLimits[i] > bendsDeg[i]) {
      bendsDeg[i] = fLowerLimits[i];
    }
    if (bendsDeg[i] > fUpperLimits[i]) {
      bendsDeg[i] = fUpperLimits[i];
    }
  }
  return solveRadialRotateJoints(bendsDeg, angles, axes);
}

void veltraKernel::solveRadialUniformAngles(const double& bendFraction, const bool& foldMode,
                                            HDoubleArray& bendsDeg) {
  const unsigned n = fJoints.length();

  // Normalise by the smallest inner bias, so that the joint with the smallest
  // bias reaches its limit exactly at bend fraction 1 and the others earlier.
  double smallestBias = fAngleBias[1];
  for (unsigned i = 2; i + 1 < n; ++i) {
    if (smallestBias > fAngleBias[i]) {
      smallestBias = fAngleBias[i];
    }
  }
  HDoubleArray weights;
  weights.setLength(n);
  for (unsigned i = 1; i + 1 < n; ++i) {
    weights[i] = fAngleBias[i];
  }
  if (std::fabs(smallestBias) > 1e-05) {
    smallestBias = 1.0 / smallestBias;
    for (unsigned i = 1; i + 1 < n; ++i) {
      weights[i] *= smallestBias;
    }
  }

  for (unsigned i = 1; i + 1 < n; ++i) {
    double fraction = bendFraction * weights[i];
    if (fraction < 0) {
      fraction = 0;
    }
    if (fraction > 1.0) {
      fraction = 1.0;
    }
    bendsDeg[i] = (foldMode ? fLowerLimits[i] : fUpperLimits[i]) * fraction;
  }
}

double veltraKernel::solveRadialRotateJoints(const HDoubleArray& bendsDeg, HDoubleArray& angles,
                                             HVectorArray& axes) {
  const unsigned n = fJoints.length();
  angles.setLength(n);
  axes.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    angles[i] = 0.0;
    axes[i] = HVector::zero;
  }

  // The chain's world positions are read first: they are the parent and child
  // positions that each joint's axis needs, and the simulation starts from
  // them.
  HPointArray worldPositions;
  ikSimulatedJointChain(worldPositions);

  for (unsigned i = 1; i + 1 < n; ++i) {
    // Parent and child as seen in this joint's rotation frame.
    const RotationFrame frame = ikJointRotationFrame(fJoints[i]);
    const HVector toParent(ikJointPositionRelative(worldPositions[i - 1], frame));
    const HVector toChild(ikJointPositionRelative(worldPositions[i + 1], frame));
    if (toChild.isParallel(toParent, 1e-10)) {
      // Straight or fully folded at rest: no bend axis, so the joint stays.
      axes[i] = HVector::xAxis;
      angles[i] = 0.0;
    } else {
      // A positive turn about child x parent swings the child bone towards
      // the parent bone and folds the joint, so a fold (negative bend) is a
      // positive rotation and a straightening bend a negative one.
      axes[i] = toChild ^ toParent;
      angles[i] = std::fabs(bendsDeg[i]) * kPi / 180.0;
      if (bendsDeg[i] > 0) {
        angles[i] = -angles[i];
      }
    }
  }

  ikSimulateRotations(worldPositions, angles, axes);
  return (worldPositions[n - 1] - worldPositions[0]).length();
}

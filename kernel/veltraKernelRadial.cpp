// Radial solve: how much every inner joint bends. One bend fraction in [0, 1]
// moves all inner joints together towards their fold limits (handle nearer
// than the rest end) or their straight limits (handle farther), each at a
// rate set by its angle bias weight. A bisection on the fraction matches the
// root-to-end distance to the root-to-handle distance; the end's direction is
// left to the sphere solve.

#include <cmath>

#include <HMath.h>

#include "veltraKernel.h"

namespace veltraKernel {

namespace {

// The root does not turn in a trial, so its rest world matrix carries the
// end into the world; the root stays at its own translation.
double endReach(const veltraKernelSetup& setup, const HVector& endBelowRoot) {
  const HPoint worldEnd = HPoint(endBelowRoot) * setup.rootWorldMatrix;
  return (worldEnd - setup.restWorldPositions[0]).length();
}

// The bend pass of a fraction: entries 1 to n - 2 (a pass of another length
// is first reset to n entries of no rotation).
void radialBends(const veltraKernelSetup& setup, double bendFraction, bool foldMode,
                 veltraKernelPass& trial);

// The rotation (radians) of inner entry i for a fraction about its bend
// axis; 0 where it has none.
double radialBendAngle(const veltraKernelSetup& setup, unsigned i, double bendFraction,
                       bool foldMode);

// The world distance from the root to the end for a fraction: a trial of the
// bisection, with each entry's rotation made where it is used.
double radialReach(const veltraKernelSetup& setup, double bendFraction, bool foldMode) {
  const HVector endBelowRoot = ikEndBelowRootWith(setup, [&](unsigned i) {
    return HQuaternion(radialBendAngle(setup, i, bendFraction, foldMode),
                       setup.entries[i].bendAxis);
  });
  return endReach(setup, endBelowRoot);
}

// One bisection of [lowerBound, upperBound] with the solve's stopping rules:
// the best fraction, and whether any trial beat the rest pose.
struct RadialBisection {
  double fraction;
  bool improved;
};

RadialBisection solveRadialBisection(const veltraKernelSetup& setup, double lowerBound,
                                     double upperBound, bool foldMode) {
  double width = upperBound - lowerBound;
  double bendFraction = lowerBound + 0.5 * width;
  RadialBisection best{bendFraction, false};
  double bestError =
      setup.handleDistance - setup.chainSpan;  // the rest pose is the first candidate
  for (int k = 0; k < 100; ++k) {
    const double reach = radialReach(setup, bendFraction, foldMode);
    const double error = setup.handleDistance - reach;

    // A trial replaces the best only if it is clearly better: smaller in
    // magnitude and more than the tolerance away from the best error.
    if (std::fabs(error - bestError) > 1e-05 && std::fabs(bestError) > std::fabs(error)) {
      best.improved = true;
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
    if (std::fabs(reach - setup.maxReach) < 1e-05 && setup.handleDistance - setup.maxReach > 0) {
      break;
    }
    // The end is folded onto the root and so is the handle (the fold's reach
    // is taken to be 0).
    if (std::fabs(reach) < 1e-05 && std::fabs(setup.handleDistance) < 1e-05) {
      break;
    }

    // Folding more shortens the reach, straightening lengthens it: an end
    // that falls short (error > 0) needs less folding or more straightening.
    if ((error > 0) == foldMode) {
      upperBound = bendFraction;
    } else {
      lowerBound = bendFraction;
    }
    width = upperBound - lowerBound;
    bendFraction = lowerBound + 0.5 * width;
  }
  return best;
}

}  // namespace

double solveRadial(const veltraKernelSetup& setup, veltraKernelPass& bend) {
  // Distance the chain's end must gain (positive) or lose (negative).
  const double difference = setup.handleDistance - setup.chainSpan;
  if (std::fabs(difference) < 1e-05) {
    return 0.0;
  }

  const bool foldMode = difference < 0;
  RadialBisection found = solveRadialBisection(setup, 0.0, 1.0, foldMode);

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
  const unsigned n = setup.restWorldPositions.length();
  for (int round = 0; n > 3 && found.improved && round < 4; ++round) {
    const double foundFraction = found.fraction;
    bool earlier = false;
    for (int j = 1; j < kSamples && !earlier; ++j) {
      const double fraction = foundFraction * j / kSamples;
      const double reach = radialReach(setup, fraction, foldMode);
      const double past = foldMode ? setup.handleDistance - reach : reach - setup.handleDistance;
      if (past > 1e-05) {
        const RadialBisection first =
            solveRadialBisection(setup, foundFraction * (j - 1) / kSamples, fraction, foldMode);
        if (first.improved) {
          found = first;
          earlier = true;
        }
      }
    }
    if (!earlier) {
      break;
    }
  }

  if (!found.improved) {
    return 0.0;
  }
  radialBends(setup, found.fraction, foldMode, bend);
  return found.fraction;
}

double solveRadialIteration(const veltraKernelSetup& setup, double bendFraction, bool foldMode,
                            veltraKernelPass& trial) {
  radialBends(setup, bendFraction, foldMode, trial);
  return endReach(setup, ikEndBelowRoot(setup, trial));
}

namespace {

void radialBends(const veltraKernelSetup& setup, double bendFraction, bool foldMode,
                 veltraKernelPass& trial) {
  const unsigned n = setup.restWorldPositions.length();
  if (trial.angles.length() != n) {
    trial.angles = HDoubleArray(n, 0.0);
    trial.axes = HVectorArray(n, HVector::zero);
  }

  for (unsigned i = 1; i + 1 < n; ++i) {
    // Straight or fully folded at rest: no bend axis, so the joint stays.
    const HVector& axis = setup.entries[i].bendAxis;
    trial.axes[i] = axis != HVector::zero ? axis : HVector::xAxis;
    trial.angles[i] = radialBendAngle(setup, i, bendFraction, foldMode);
  }
}

double radialBendAngle(const veltraKernelSetup& setup, unsigned i, double bendFraction,
                       bool foldMode) {
  const veltraKernelEntry& entry = setup.entries[i];
  if (entry.bendAxis == HVector::zero) {
    return 0.0;
  }
  double fraction = bendFraction * entry.biasRate;
  if (fraction < 0) {
    fraction = 0;
  }
  if (fraction > 1.0) {
    fraction = 1.0;
  }
  double bendDeg = (foldMode ? entry.lowerLimitDeg : entry.upperLimitDeg) * fraction;
  // Keep every interior angle within [0, 180].
  if (entry.lowerLimitDeg > bendDeg) {
    bendDeg = entry.lowerLimitDeg;
  }
  if (bendDeg > entry.upperLimitDeg) {
    bendDeg = entry.upperLimitDeg;
  }
  // A positive turn about child x parent swings the child bone towards the
  // parent bone and folds the joint, so a fold (negative bend) is a positive
  // rotation and a straightening bend a negative one.
  const double angle = std::fabs(bendDeg) * kPi / 180.0;
  return bendDeg > 0 ? -angle : angle;
}

}  // namespace

}  // namespace veltraKernel

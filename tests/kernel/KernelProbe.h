#pragma once
// A kernel whose stages and measurements tests may call and read, and the
// inputs a solve borrows, kept together so that they outlive the kernel.

#include <HFileIO.h>
#include <HFnTransform.h>
#include <HMath.h>
#include <gtest/gtest.h>
#include <veltraKernel.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "ChainFixture.h"

namespace kerneltest {

using namespace chainfixture;

class KernelProbe : public veltraKernel {
 public:
  using veltraKernel::fChainSpan;
  using veltraKernel::fPlaneNormal;
  using veltraKernel::ikJointPositions;
  using veltraKernel::ikPoleVectorAngleOffset;
  using veltraKernel::ikSimulateRotations;
  using veltraKernel::preKernelSolve;
  using veltraKernel::solveRadialIteration;
  using veltraKernel::veltraKernel;
};

// The current rotation of every entry, in its rotate order.
inline HVectorArray currentPose(const HDagPathArray& entries) {
  HVectorArray pose;
  for (unsigned i = 0; i < entries.length(); ++i) {
    double angles[3];
    HTransformationMatrix::RotationOrder order;
    HFnTransform(entries[i]).getRotation(angles, order);
    pose.append(HVector(angles));
  }
  return pose;
}

// One solve's borrowed inputs; by default the chain's pose when made is the
// rest pose, every bias is 1 and the pole vectors are +Y.
struct Solve {
  explicit Solve(const Chain& c) : chain(c), restPose(currentPose(c.entries)) {
    angleBias = HDoubleArray(c.entries.length(), 1.0);
  }
  KernelProbe& kernel() {
    probe = std::make_unique<KernelProbe>(chain.entries, chain.goal, restPose, restPoleVector,
                                          angleBias, poleVector, twist);
    return *probe;
  }
  // solve, then the bend pair and the plane pair applied as the node does.
  void run() {
    solveOnly();
    applyBendPair();
    applyPlanePair();
  }
  void solveOnly() { kernel().solve(bendAngles, bendAxes, planeAngles, planeAxes); }
  void applyBendPair() { probe->ikApplyRotations(chain.entries, bendAngles, bendAxes); }
  void applyPlanePair() { probe->ikApplyRotations(chain.entries, planeAngles, planeAxes); }

  const Chain& chain;
  HVectorArray restPose;
  HVector restPoleVector = HVector::yAxis;
  HDoubleArray angleBias;
  HVector poleVector = HVector::yAxis;
  double twist = 0.0;
  HDoubleArray bendAngles, planeAngles;
  HVectorArray bendAxes, planeAxes;
  std::unique_ptr<KernelProbe> probe;
};

inline Vec3 toVec3(const HVector& v) {
  return {v.x, v.y, v.z};
}

// Distance of p from the ray that starts at origin and runs along direction.
inline double distanceFromRay(const Vec3& p, const Vec3& origin, const Vec3& direction) {
  const Vec3 d = direction * (1.0 / direction.length());
  const Vec3 rel = p - origin;
  const double along = rel.dot(d);
  return along < 0.0 ? rel.length() : (rel - d * along).length();
}

inline Vec3 rotateAbout(const Vec3& v, const Vec3& unitAxis, double angle) {
  const double c = std::cos(angle), s = std::sin(angle);
  return v * c + unitAxis.cross(v) * s + unitAxis * (unitAxis.dot(v) * (1.0 - c));
}

// Right-handed angle about axis from a to b, both projected across it.
inline double angleAbout(const Vec3& a, const Vec3& b, const Vec3& axis) {
  const Vec3 n = axis * (1.0 / axis.length());
  const Vec3 a2 = a - n * n.dot(a), b2 = b - n * n.dot(b);
  return std::atan2(a2.cross(b2).dot(n), a2.dot(b2));
}

// Joint i at world position positions[i], with no rotations.
inline std::vector<JointDesc> pointChain(const std::vector<HVector>& positions) {
  std::vector<JointDesc> descs(positions.size());
  descs[0].translate = positions[0];
  for (size_t i = 1; i < positions.size(); ++i)
    descs[i].translate = positions[i] - positions[i - 1];
  return descs;
}

inline HVector randomDirection(std::mt19937& rng) {
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (;;) {
    const HVector v(unit(rng), unit(rng), unit(rng));
    if (v.length() > 0.1 && v.length() <= 1.0)
      return v.normal();
  }
}

// n joints with bones 0.5 to 3 long in random directions, random rotations,
// joint orients, rotate orientations and rotate orders everywhere.
inline std::vector<JointDesc> randomChain(std::mt19937& rng, unsigned n) {
  std::uniform_real_distribution<double> angle(-kPi, kPi), length(0.5, 3.0);
  std::uniform_int_distribution<int> order(0, 5);
  const auto angles = [&] { return HVector(angle(rng), angle(rng), angle(rng)); };
  std::vector<JointDesc> descs(n);
  for (unsigned i = 0; i < n; ++i) {
    JointDesc& d = descs[i];
    d.translate = randomDirection(rng) * (i == 0 ? 2.0 : length(rng));
    d.rotate = angles();
    d.jointOrient = angles();
    d.rotateAxis = angles();
    d.rotateOrder = HEulerRotation::RotationOrder(order(rng));
  }
  return descs;
}

inline bool allFinite(const Solve& s) {
  for (unsigned i = 0; i < s.bendAngles.length(); ++i) {
    for (const HVector& v : {s.bendAxes[i], s.planeAxes[i]})
      if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z))
        return false;
    if (!std::isfinite(s.bendAngles[i]) || !std::isfinite(s.planeAngles[i]))
      return false;
  }
  for (const HVector& r : currentPose(s.chain.entries))
    if (!std::isfinite(r.x) || !std::isfinite(r.y) || !std::isfinite(r.z))
      return false;
  return true;
}

class KernelTest : public ::testing::Test {
 protected:
  void SetUp() override { HFileIO::newFile(true); }
};

}  // namespace kerneltest

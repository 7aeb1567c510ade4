// The solve's contract (rest pose, result layout), the chain geometry it
// relies on, degenerate chains, and the root's rotate orientation.

#include "KernelProbe.h"

namespace kerneltest {
namespace {

void setPose(const HDagPathArray& entries, const HVectorArray& pose) {
  for (unsigned i = 0; i < entries.length(); ++i) {
    HFnTransform fn(entries[i]);
    const double angles[3] = {pose[i].x, pose[i].y, pose[i].z};
    fn.setRotation(angles, fn.rotationOrder());
  }
}

HVectorArray randomPose(std::mt19937& rng, unsigned n) {
  HVectorArray pose;
  for (unsigned i = 0; i < n; ++i)
    pose.append(randomDirection(rng) * 3.0);
  return pose;
}

TEST_F(KernelTest, SolveStartsFromTheRestPoseAndReturnsNEntriesPerArray) {
  std::mt19937 rng(7);
  for (const unsigned n : {3u, 5u, 8u}) {
    HFileIO::newFile(true);
    const Chain chain = buildChain(randomChain(rng, n), Goal::kIkHandle);
    const std::vector<Vec3> rest = worldPositions(chain.entries);
    const double span = (rest.back() - rest.front()).length();
    Solve s(chain);
    s.twist = 0.4;
    // Near, far, and at the rest span in another direction (no bend at all).
    for (const double distance : {0.5 * span, 1.5 * span, span}) {
      const Vec3 handle = rest.front() + toVec3(randomDirection(rng)) * distance;
      placeGoal(chain, HVector(handle.x, handle.y, handle.z));
      const HVectorArray before = randomPose(rng, n);
      setPose(chain.entries, before);
      s.bendAngles = HDoubleArray(2, 9.0);
      s.bendAxes = HVectorArray(n + 4, HVector::one);
      s.planeAngles.clear();
      s.planeAxes = HVectorArray(1, HVector::one);
      s.solveOnly();

      const HVectorArray pose = currentPose(chain.entries);
      for (unsigned i = 0; i + 1 < n; ++i)
        EXPECT_TRUE(pose[i].isEquivalent(s.restPose[i], 1e-12)) << "entry " << i;
      EXPECT_EQ(pose[n - 1], before[n - 1]) << "the end entry keeps its rotation";
      for (const unsigned length : {s.bendAngles.length(), s.bendAxes.length(),
                                    s.planeAngles.length(), s.planeAxes.length()})
        ASSERT_EQ(length, n);
      for (unsigned i = 1; i < n; ++i) {
        EXPECT_EQ(s.planeAngles[i], 0.0);
        EXPECT_EQ(s.planeAxes[i], HVector::zero);
        if (i == n - 1 || distance == span) {
          EXPECT_EQ(s.bendAngles[i], 0.0);
          EXPECT_EQ(s.bendAxes[i], HVector::zero);
        }
      }
      EXPECT_GT(s.bendAngles[0], 0.0);

      s.applyBendPair();
      s.applyPlanePair();
      if (distance == span) {
        EXPECT_LT((worldPositions(chain.entries).back() - handle).length(), 1e-9);
      }
    }
  }
}

TEST_F(KernelTest, SimulatedRotationsMatchAppliedOnes) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> angle(-kPi, kPi);
  for (unsigned seed = 0; seed < 8; ++seed) {
    HFileIO::newFile(true);
    const unsigned n = 3 + seed;
    const ParentDesc parent{HVector(1, 2, 3), HVector(0.3, -1.2, 2.0), HVector(1.3, 1.3, 1.3)};
    const Chain chain = buildChain(randomChain(rng, n), Goal::kTransform, &parent);
    Solve s(chain);
    KernelProbe& kernel = s.kernel();
    HPointArray simulated;
    kernel.ikJointPositions(chain.entries, simulated);
    HDoubleArray angles(n);
    HVectorArray axes(n);
    for (unsigned i = 0; i < n; ++i) {
      angles[i] = angle(rng);
      axes[i] = randomDirection(rng) * 0.3;
    }
    kernel.ikSimulateRotations(simulated, angles, axes);
    kernel.ikApplyRotations(chain.entries, angles, axes);
    const std::vector<Vec3> expected = worldPositions(chain.entries);
    for (unsigned i = 0; i < n; ++i)
      EXPECT_LT((toVec3(HVector(simulated[i])) - expected[i]).length(), 1e-9) << i;
  }
}

// Zero-length bones, an end folded onto the root, a handle at the root and
// zero or axial pole vectors give finite rotations and never a NaN.
TEST_F(KernelTest, DegenerateChainsGiveFiniteResults) {
  const std::vector<std::vector<HVector>> chains = {
      {{0, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 1, 0}},  // two coincident joints
      {{0, 0, 0}, {1, 0, 0}, {0, 0, 0}},             // end on the root
      {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}},             // first bone of length zero
      {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}},             // straight
  };
  const HVector poles[] = {HVector::zero, HVector::xAxis, HVector::yAxis};
  const HVector handles[] = {{0, 0, 0}, {0.5, 0.5, 0}, {1, 1, 1}, {5, 0, 0}, {-5, 0, 0}};
  for (const auto& points : chains) {
    for (const HVector& pole : poles) {
      for (const HVector& handle : handles) {
        HFileIO::newFile(true);
        const Chain chain = buildChain(pointChain(points));
        placeGoal(chain, handle);
        Solve s(chain);
        s.poleVector = pole;
        s.restPoleVector = pole;
        s.twist = 1.0;
        s.run();
        EXPECT_TRUE(allFinite(s)) << points.size() << " entries, pole " << pole << ", handle "
                                  << handle;
      }
    }
  }
}

}  // namespace
}  // namespace kerneltest

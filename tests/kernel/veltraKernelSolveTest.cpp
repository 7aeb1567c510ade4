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

// Splits the root's rotation into a rotate orientation RA and a rotation R,
// or keeps it all in the rotation: the same world pose either way. The aim
// then turns the root in the frame after RA while the kernel brings the pole
// vector into its solved root frame by undoing the aim before RA, so the pole
// is seen turned by the aim conjugated by RA instead of the aim itself. The
// end stays on the handle all the same: the plane rotation turns about the
// end's own direction in the frame it acts in, so it cannot move the end off
// the ray; only the chain's plane about that axis differs. Both agree when
// the aim is the identity, which commutes with any RA.
TEST_F(KernelTest, RootRotateOrientationTurnsOnlyThePlaneAboutTheRootToEndAxis) {
  int turned = 0;
  for (unsigned seed = 0; seed < 10; ++seed) {
    HFileIO::newFile(true);
    std::mt19937 rng(500 + seed);
    const unsigned n = 3 + seed % 5;
    const std::vector<JointDesc> withRA = randomChain(rng, n, true);
    std::vector<JointDesc> withoutRA = withRA;
    const JointDesc& root = withRA[0];
    const HQuaternion combined = HEulerRotation(root.rotateAxis).asQuaternion() *
                                 HEulerRotation(root.rotate, root.rotateOrder).asQuaternion();
    withoutRA[0].rotateAxis = HVector::zero;
    withoutRA[0].rotate =
        HEulerRotation::decompose(combined.asMatrix(), root.rotateOrder).asVector();
    const Chain a = buildChain(withRA);
    const Chain b = buildChain(withoutRA);
    const std::vector<Vec3> rest = worldPositions(a.entries);

    const Vec3 origin = rest.front();
    const double span = (rest.back() - origin).length();
    const Vec3 restDirection = (rest.back() - origin) * (1.0 / span);
    const HVector pole = randomDirection(rng), restPole = randomDirection(rng);
    const HVectorArray restPoses[] = {currentPose(a.entries), currentPose(b.entries)};
    // Bent and aimed elsewhere, then where the rest end was (no bend, no aim).
    for (const bool aimed : {true, false}) {
      const Vec3 direction = aimed ? toVec3(randomDirection(rng)) : restDirection;
      const Vec3 handle = origin + direction * (aimed ? 0.9 * span : span);
      std::vector<std::vector<Vec3>> solved;
      for (const Chain* chain : {&a, &b}) {
        placeGoal(*chain, HVector(handle.x, handle.y, handle.z));
        Solve s(*chain);
        s.restPose = restPoses[chain == &a ? 0 : 1];
        s.poleVector = pole;
        s.restPoleVector = restPole;
        s.run();
        solved.push_back(worldPositions(chain->entries));
      }
      const Vec3 axis = solved[1].back() - origin;
      EXPECT_LT((solved[0].back() - solved[1].back()).length(), 1e-9);
      EXPECT_LT(distanceFromRay(solved[0].back(), origin, direction), 1e-9);
      // The chain with RA is the other one turned about the root-to-end axis.
      const Vec3 unitAxis = axis * (1.0 / axis.length());
      const double turn = angleAbout(solved[1][1] - origin, solved[0][1] - origin, axis);
      for (unsigned i = 1; i < n; ++i) {
        const Vec3 turnedB = origin + rotateAbout(solved[1][i] - origin, unitAxis, turn);
        EXPECT_LT((solved[0][i] - turnedB).length(), 1e-8) << "entry " << i;
      }
      if (aimed) {
        turned += std::fabs(turn) > 1e-3;
      } else {
        EXPECT_NEAR(turn, 0.0, 1e-9);
      }
    }
  }
  EXPECT_GE(turned, 8);
}

}  // namespace
}  // namespace kerneltest

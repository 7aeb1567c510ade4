// The kernel's stages on small chains whose answers can be worked out by hand:
// the radial bisection, the joint plane and pole offset, the rotate-plane
// rotation and the twist.

#include <HFnDependencyNode.h>
#include <HPlug.h>

#include "KernelProbe.h"

namespace kerneltest {
namespace {

double degrees(double radians) {
  return radians * 180.0 / kPi;
}

double interiorAngleDeg(const std::vector<Vec3>& p, size_t i) {
  const Vec3 u = p[i - 1] - p[i], v = p[i + 1] - p[i];
  return degrees(std::acos(u.dot(v) / (u.length() * v.length())));
}

// Two unit bones at a right angle: span sqrt(2), straight reach 2.
Chain rightAngleChain(Goal goal = Goal::kTransform) {
  return buildChain(pointChain({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}), goal);
}

// The bisection's trial k tries a fraction with denominator 2^(k+1), so the
// final fraction's denominator tells the iteration the loop stopped in.
TEST_F(KernelTest, RadialFoldsTowardsANearHandleAndStopsInTheTenthTrial) {
  const Chain chain = rightAngleChain();
  placeGoal(chain, HVector(0.0, 1.2, 0.0));
  Solve s(chain);
  s.run();

  // Fraction 185/1024 of the -90 degree fold limit, as a positive turn about
  // child x parent = +Z in the joint's rotation frame.
  EXPECT_DOUBLE_EQ(s.bendAngles[1], 16.259765625 * kPi / 180.0);
  EXPECT_TRUE(s.bendAxes[1].isEquivalent(HVector(0, 0, 1)));
  const std::vector<Vec3> p = worldPositions(chain.entries);
  EXPECT_NEAR(interiorAngleDeg(p, 1), 73.740234375, 1e-9);
  EXPECT_NEAR((p[2] - p[0]).length(), 1.2000061, 1e-7);
  EXPECT_NEAR((p[2] - Vec3{0, 1.2, 0}).length(), 6.1e-6, 1e-7);
}

TEST_F(KernelTest, RadialStraightensTowardsAFarHandleUntilTheChainIsStraight) {
  const Chain chain = rightAngleChain();
  placeGoal(chain, HVector(2.5, 0.0, 0.0));
  Solve s(chain);
  s.run();

  // Fraction 255/256: the loop ends in iteration 7 on the straight-chain test.
  EXPECT_DOUBLE_EQ(s.bendAngles[1], -89.6484375 * kPi / 180.0);
  const std::vector<Vec3> p = worldPositions(chain.entries);
  EXPECT_NEAR((p[2] - p[0]).length(), 1.9999906, 1e-7);
  EXPECT_LT(distanceFromRay(p[2], p[0], {1, 0, 0}), 1e-12);
}

// A joint 0.324 degrees short of straight gains at most about 0.8e-5 by
// straightening; the first trial (half way, gain 0.6e-5) ends the loop with
// error 0.6e-5, but lies within 1e-5 of the rest error 1.2e-5 and so is not
// taken: the chain stays unbent.
TEST_F(KernelTest, TrialCloseToTheBestErrorIsNotTakenEvenWhenItEndsTheLoop) {
  const double shortOfStraight = std::sqrt(3.2e-5);
  const Chain chain = buildChain(pointChain(
      {{0, 0, 0}, {1, 0, 0}, {1 + std::cos(shortOfStraight), std::sin(shortOfStraight), 0}}));
  const std::vector<Vec3> rest = worldPositions(chain.entries);
  placeGoal(chain, HVector((rest[2] - rest[0]).length() + 1.2e-5, 0, 0));
  Solve s(chain);
  s.solveOnly();
  EXPECT_EQ(s.bendAngles[1], 0.0);
  EXPECT_EQ(s.bendAxes[1], HVector::zero);
  HDoubleArray angles;
  HVectorArray axes;
  EXPECT_NEAR(s.probe->solveRadialIteration(0.5, false, angles, axes) - s.probe->fChainSpan, 0.6e-5,
              1e-8);
}

TEST_F(KernelTest, BiasWeightsSetHowFarEachJointBendsPerFraction) {
  const Chain chain = buildChain(pointChain({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}));
  Solve s(chain);
  KernelProbe& kernel = s.kernel();
  kernel.preKernelSolve();
  HDoubleArray angles;
  HVectorArray axes;
  struct Case {
    double bias1, bias2, fraction, bend1Deg, bend2Deg;
  };
  // Limits: fold -90 at both joints. The smaller bias reaches its limit at 1;
  // a bias twice as large at 1/2. Biases within 1e-5 of 0 are used raw.
  for (const Case& c : {Case{1.0, 2.0, 0.25, -22.5, -45.0}, Case{3.0, 1.5, 0.75, -90.0, -67.5},
                        Case{0.0, 0.5, 0.5, 0.0, -22.5}, Case{1.0, 1.0, 1.0, -90.0, -90.0}}) {
    s.angleBias[1] = c.bias1;
    s.angleBias[2] = c.bias2;
    kernel.solveRadialIteration(c.fraction, true, angles, axes);
    EXPECT_NEAR(degrees(angles[1]), -c.bend1Deg, 1e-12) << c.bias1 << " " << c.bias2;
    EXPECT_NEAR(degrees(angles[2]), -c.bend2Deg, 1e-12) << c.bias1 << " " << c.bias2;
  }
}

TEST_F(KernelTest, JointsStraightOrFoldedAtRestNeverBend) {
  // Joint 1 straight, joint 2 folded back onto its parent bone.
  const Chain chain = buildChain(pointChain({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {1, 0, 0}}));
  placeGoal(chain, HVector(0.0, 0.5, 0.0));
  Solve s(chain);
  KernelProbe& kernel = s.kernel();
  kernel.preKernelSolve();
  HDoubleArray angles;
  HVectorArray axes;
  kernel.solveRadialIteration(1.0, true, angles, axes);
  for (unsigned i : {1u, 2u}) {
    EXPECT_EQ(angles[i], 0.0);
    EXPECT_EQ(axes[i], HVector::xAxis);
  }
  // No trial improves on the rest pose, so the bend pair stays empty.
  s.run();
  EXPECT_EQ(s.bendAngles[1], 0.0);
  EXPECT_EQ(s.bendAxes[2], HVector::zero);
}

TEST_F(KernelTest, PlaneNormalFollowsTheFirstBendInTheRootFrame) {
  struct Case {
    std::vector<HVector> points;
    HVector normal;
  };
  const Case cases[] = {
      {{{0, 0, 0}, {1, 1, 0}, {2, 0, 0}}, {0, 0, 1}},              // one bend towards +Y
      {{{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 1, 0}}, {0, 0, 1}},   // zig-zag: second flipped
      {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}}, {0, 0, -1}},  // straight joint adds nothing
      {{{0, 0, 0}, {0, 1, 0}, {0, 2, 0}}, {0, 0, -1}},             // straight along +Y: Y x X
      {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 0, 1}},              // straight along +X: X x Y
  };
  for (const Case& c : cases) {
    HFileIO::newFile(true);
    const Chain chain = buildChain(pointChain(c.points));
    Solve s(chain);
    s.kernel().preKernelSolve();
    EXPECT_TRUE(s.probe->fPlaneNormal.isEquivalent(c.normal, 1e-12))
        << s.probe->fPlaneNormal << " for " << c.points.size() << " entries";
  }
}

TEST_F(KernelTest, PoleOffsetIsTheSignedTurnFromRestPoleToNormal) {
  const Chain chain = buildChain(pointChain({{0, 0, 0}, {1, 1, 0}, {2, 0, 0}}));
  Solve s(chain);
  KernelProbe& kernel = s.kernel();
  kernel.preKernelSolve();
  struct Case {
    HVector restPole;
    double offset;
  };
  const Case cases[] = {{{0, 1, 0}, kPi / 2}, {{0, -1, 0}, -kPi / 2}, {{0, 0, 1}, 0.0},
                        {{0, 0, -1}, kPi},    {{1, 0, 0}, 0.0},       {{-3, 0, 0}, 0.0},
                        {{5, 2, 0}, kPi / 2}, {{0, 0, 0}, 0.0}};
  for (const Case& c : cases) {
    s.restPoleVector = c.restPole;
    EXPECT_NEAR(kernel.ikPoleVectorAngleOffset(kernel.fPlaneNormal), c.offset, 1e-12) << c.restPole;
  }
  // A normal along the root-to-end axis leaves no angle to measure.
  s.restPoleVector = HVector(0, 1, 0);
  EXPECT_EQ(kernel.ikPoleVectorAngleOffset(HVector(1, 0, 0)), 0.0);
}

// Bent towards +Y with the rest pole vector along +Y (offset +pi/2): the
// joint follows the pole vector around the root-to-end axis, and the twist
// turns it further about the same axis.
TEST_F(KernelTest, RotatePlaneAndTwistTurnTheBendAboutTheRootToEndAxis) {
  struct Case {
    HVector pole;
    double twist;
    Vec3 knee;
  };
  const Case cases[] = {
      {{0, 1, 0}, 0.0, {1, 1, 0}},     {{0, 0, 1}, 0.0, {1, 0, 1}},
      {{0, -1, 0}, 0.0, {1, -1, 0}},   {{0, 0, -1}, 0.0, {1, 0, -1}},
      {{0, 1, 0}, kPi / 2, {1, 0, 1}}, {{0, 0, 1}, -kPi / 2, {1, 1, 0}},
      {{0, 1, 0}, 2 * kPi, {1, 1, 0}}, {{2, 0, 0}, 0.7, {1, std::cos(0.7), std::sin(0.7)}},
  };
  for (const Case& c : cases) {
    HFileIO::newFile(true);
    const Chain chain = buildChain(pointChain({{0, 0, 0}, {1, 1, 0}, {2, 0, 0}}));
    Solve s(chain);
    s.poleVector = c.pole;
    s.twist = c.twist;
    s.run();
    const std::vector<Vec3> p = worldPositions(chain.entries);
    EXPECT_NEAR((p[1] - c.knee).length(), 0.0, 1e-12) << c.pole << " twist " << c.twist;
    EXPECT_NEAR((p[2] - Vec3{2, 0, 0}).length(), 0.0, 1e-12);
  }
}

TEST_F(KernelTest, PoleVectorIsReadInTheHandlesParentSpaceUnlessOldStyle) {
  for (const bool oldStyle : {false, true}) {
    HFileIO::newFile(true);
    const Chain chain = buildChain(pointChain({{0, 0, 0}, {1, 1, 0}, {2, 0, 0}}), Goal::kIkHandle);
    // A parent turned a quarter about +X takes the handle's +Y to world +Z.
    HFnTransform fnParent;
    const HObject parent = fnParent.create();
    fnParent.setRotation(HEulerRotation(kPi / 2, 0, 0));
    HFnDagNode(chain.goal.node()).setParent(parent);
    HFnDependencyNode(chain.goal.node()).findPlug("splineIkOldStyle").setValue(oldStyle);
    Solve s(chain);
    s.run();
    const std::vector<Vec3> p = worldPositions(chain.entries);
    const Vec3 knee = oldStyle ? Vec3{1, 1, 0} : Vec3{1, 0, 1};
    EXPECT_NEAR((p[1] - knee).length(), 0.0, 1e-12) << "old style " << oldStyle;
  }
}

}  // namespace
}  // namespace kerneltest

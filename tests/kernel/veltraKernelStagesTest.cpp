// The kernel's stages on small chains whose answers can be worked out by hand:
// the radial bisection, the joint plane and pole offset, the rotate-plane
// rotation and the twist. Each stage runs on values alone.

#include <gtest/gtest.h>

#include "KernelFixture.h"

namespace kernelfixture {
namespace {

double degrees(double radians) {
  return radians * 180.0 / kPi;
}

double interiorAngleDeg(const std::vector<Vec3>& p, size_t i) {
  const Vec3 u = p[i - 1] - p[i], v = p[i + 1] - p[i];
  return degrees(std::acos(u.dot(v) / (u.length() * v.length())));
}

ValueChain chainAt(const std::vector<HVector>& points) {
  return {pointChain(points), identity4()};
}

// Two unit bones at a right angle: span sqrt(2), straight reach 2.
const std::vector<HVector> kRightAngle = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}};
// Bent towards +Y; the rest pole vector along +Y gives an offset of +pi/2.
const std::vector<HVector> kKnee = {{0, 0, 0}, {1, 1, 0}, {2, 0, 0}};

TEST(KernelRadial, FoldsTowardsANearHandleUntilTheEndIsAtItsDistance) {
  const ValueChain chain = chainAt(kRightAngle);
  const veltraKernelInput input = kernelInput(chain, {0.0, 1.2, 0.0});
  const veltraKernelResult result = veltraKernel::solve(input);

  // Fraction 185/1024 of the -90 degree fold limit, as a positive turn about
  // child x parent = +Z in the joint's rotation frame.
  EXPECT_EQ(result.bendFraction, 185.0 / 1024.0);
  EXPECT_DOUBLE_EQ(result.bend.angles[1], 16.259765625 * kPi / 180.0);
  EXPECT_TRUE(result.bend.axes[1].isEquivalent(HVector(0, 0, 1)));
  EXPECT_TRUE(result.reached);
  const std::vector<Vec3> p = solvedPositions(chain, input, result);
  EXPECT_NEAR(interiorAngleDeg(p, 1), 73.740234375, 1e-9);
  EXPECT_NEAR((p[2] - p[0]).length(), 1.2000061, 1e-7);
  EXPECT_NEAR((p[2] - Vec3{0, 1.2, 0}).length(), 6.1e-6, 1e-7);
}

TEST(KernelRadial, StraightensTowardsAFarHandleUntilTheChainIsStraight) {
  const ValueChain chain = chainAt(kRightAngle);
  const veltraKernelInput input = kernelInput(chain, {2.5, 0.0, 0.0});
  const veltraKernelResult result = veltraKernel::solve(input);

  // Fraction 255/256: the bisection stops once the chain is straight.
  EXPECT_EQ(result.bendFraction, 255.0 / 256.0);
  EXPECT_DOUBLE_EQ(result.bend.angles[1], -89.6484375 * kPi / 180.0);
  EXPECT_FALSE(result.reached);
  const std::vector<Vec3> p = solvedPositions(chain, input, result);
  EXPECT_NEAR((p[2] - p[0]).length(), 1.9999906, 1e-7);
  EXPECT_LT(distanceFromRay(p[2], p[0], {1, 0, 0}), 1e-12);
}

// A joint 0.324 degrees short of straight gains at most about 0.8e-5 by
// straightening; the first trial (half way, gain 0.6e-5) ends the loop with
// error 0.6e-5, but lies within 1e-5 of the rest error 1.2e-5 and so is not
// taken: the chain stays unbent.
TEST(KernelRadial, TrialCloseToTheBestErrorIsNotTakenEvenWhenItEndsTheLoop) {
  const double shortOfStraight = std::sqrt(3.2e-5);
  const ValueChain chain = chainAt(
      {{0, 0, 0}, {1, 0, 0}, {1 + std::cos(shortOfStraight), std::sin(shortOfStraight), 0}});
  const veltraKernelInput atRest = kernelInput(chain, {});
  const veltraKernelSetup setup = veltraKernel::preKernelSolve(atRest);
  const veltraKernelResult result =
      veltraKernel::solve(kernelInput(chain, {setup.chainSpan + 1.2e-5, 0, 0}));
  EXPECT_EQ(result.bend.angles[1], 0.0);
  EXPECT_EQ(result.bend.axes[1], HVector::zero);
  EXPECT_EQ(result.bendFraction, 0.0);
  veltraKernelPass trial;
  EXPECT_NEAR(veltraKernel::solveRadialIteration(setup, 0.5, false, trial) - setup.chainSpan,
              0.6e-5, 1e-8);
}

TEST(KernelRadial, BiasWeightsSetHowFarEachJointBendsPerFraction) {
  veltraKernelInput input = kernelInput(chainAt({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}), {});
  struct Case {
    double bias1, bias2, fraction, bend1Deg, bend2Deg;
  };
  // Limits: fold -90 at both joints. The smaller bias reaches its limit at 1;
  // a bias twice as large at 1/2. Biases within 1e-5 of 0 are used raw.
  for (const Case& c : {Case{1.0, 2.0, 0.25, -22.5, -45.0}, Case{3.0, 1.5, 0.75, -90.0, -67.5},
                        Case{0.0, 0.5, 0.5, 0.0, -22.5}, Case{1.0, 1.0, 1.0, -90.0, -90.0}}) {
    input.angleBias[1] = c.bias1;
    input.angleBias[2] = c.bias2;
    veltraKernelPass trial;
    veltraKernel::solveRadialIteration(veltraKernel::preKernelSolve(input), c.fraction, true,
                                       trial);
    EXPECT_NEAR(degrees(trial.angles[1]), -c.bend1Deg, 1e-12) << c.bias1 << " " << c.bias2;
    EXPECT_NEAR(degrees(trial.angles[2]), -c.bend2Deg, 1e-12) << c.bias1 << " " << c.bias2;
  }
}

TEST(KernelRadial, JointsStraightOrFoldedAtRestNeverBend) {
  // Joint 1 straight, joint 2 folded back onto its parent bone.
  const veltraKernelInput input =
      kernelInput(chainAt({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {1, 0, 0}}), {0.0, 0.5, 0.0});
  veltraKernelPass trial;
  veltraKernel::solveRadialIteration(veltraKernel::preKernelSolve(input), 1.0, true, trial);
  for (unsigned i : {1u, 2u}) {
    EXPECT_EQ(trial.angles[i], 0.0);
    EXPECT_EQ(trial.axes[i], HVector::xAxis);
  }
  // No trial improves on the rest pose, so the bend pass stays empty.
  const veltraKernelResult result = veltraKernel::solve(input);
  EXPECT_EQ(result.bend.angles[1], 0.0);
  EXPECT_EQ(result.bend.axes[2], HVector::zero);
  EXPECT_FALSE(result.reached);
}

TEST(KernelPlane, NormalFollowsTheFirstBendInTheRootFrame) {
  struct Case {
    std::vector<HVector> points;
    HVector normal;
  };
  const Case cases[] = {
      {kKnee, {0, 0, 1}},                                          // one bend towards +Y
      {{{0, 0, 0}, {1, 1, 0}, {2, 0, 0}, {3, 1, 0}}, {0, 0, 1}},   // zig-zag: second flipped
      {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}}, {0, 0, -1}},  // straight joint adds nothing
      {{{0, 0, 0}, {0, 1, 0}, {0, 2, 0}}, {0, 0, -1}},             // straight along +Y: Y x X
      {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {0, 0, 1}},              // straight along +X: X x Y
  };
  for (const Case& c : cases) {
    const HVector normal =
        veltraKernel::preKernelSolve(kernelInput(chainAt(c.points), {})).planeNormal;
    EXPECT_TRUE(normal.isEquivalent(c.normal, 1e-12)) << normal << " for " << c.points.size();
  }
}

TEST(KernelPlane, PoleOffsetIsTheSignedTurnFromRestPoleToNormal) {
  veltraKernelInput input = kernelInput(chainAt(kKnee), {});
  const veltraKernelSetup setup = veltraKernel::preKernelSolve(input);
  struct Case {
    HVector restPole;
    double offset;
  };
  const Case cases[] = {{{0, 1, 0}, kPi / 2}, {{0, -1, 0}, -kPi / 2}, {{0, 0, 1}, 0.0},
                        {{0, 0, -1}, kPi},    {{1, 0, 0}, 0.0},       {{-3, 0, 0}, 0.0},
                        {{5, 2, 0}, kPi / 2}, {{0, 0, 0}, 0.0}};
  for (const Case& c : cases) {
    input.restPoleVector = c.restPole;
    EXPECT_NEAR(veltraKernel::ikPoleVectorAngleOffset(input, setup, setup.planeNormal), c.offset,
                1e-12)
        << c.restPole;
  }
  // A normal along the root-to-end axis leaves no angle to measure.
  input.restPoleVector = HVector(0, 1, 0);
  EXPECT_EQ(veltraKernel::ikPoleVectorAngleOffset(input, setup, HVector(1, 0, 0)), 0.0);
}

// The plane stages alone, in a solved root frame that is the world: the
// root-to-end axis A = (2, 0, 0), the plane normal +Z and an offset of +pi/2
// (a chain bent towards +Y with the rest pole vector along +Y).
TEST(KernelPlane, RotatePlaneAndTwistAreTurnsAboutTheSolvedAxis) {
  veltraKernelInput input = kernelInput(chainAt(kKnee), {2, 0, 0});
  veltraKernelSetup setup;
  setup.planeNormal = HVector::zAxis;
  setup.poleAngleOffset = kPi / 2;
  const veltraKernelSolvedChain solved{HMatrix(), HMatrix(), HVector(2, 0, 0), HPoint(2, 0, 0)};
  struct Case {
    HVector pole;
    double twist, turnAboutX;
  };
  // +Y: back where it was; +Z: a quarter turn towards the pole; -Y: a half
  // turn; -Z (opposite the normal): a half turn and the offset. A pole along
  // the axis leaves the chain as aimed. The twist adds its own turn.
  for (const Case& c : {Case{{0, 1, 0}, 0.0, 0.0}, Case{{0, 0, 1}, 0.0, kPi / 2},
                        Case{{0, -1, 0}, 0.0, kPi}, Case{{0, 0, -1}, 0.0, 3 * kPi / 2},
                        Case{{-3, 0, 0}, 0.0, 0.0}, Case{{0, 1, 0}, -kPi / 2, -kPi / 2}}) {
    input.poleVector = c.pole;
    input.twist = c.twist;
    const HQuaternion turn = veltraKernel::solveRotatePlane(input, setup, solved) *
                             veltraKernel::solveTwist(input, solved);
    EXPECT_TRUE(
        turn.asMatrix().isEquivalent(HQuaternion(c.turnAboutX, HVector::xAxis).asMatrix(), 1e-12))
        << c.pole << " twist " << c.twist;
  }
  // The signed angle: right-handed about the axis, 0 without a direction,
  // exactly a half turn within 1e-5 of opposite in cosine.
  const HVector x = HVector::xAxis, y = HVector::yAxis, z = HVector::zAxis;
  EXPECT_DOUBLE_EQ(veltraKernel::ikSignedAngleAbout(y, z, x * 2.0), kPi / 2);
  EXPECT_DOUBLE_EQ(veltraKernel::ikSignedAngleAbout(z, y, x), -kPi / 2);
  EXPECT_EQ(veltraKernel::ikSignedAngleAbout(HVector::zero, y, x), 0.0);
  EXPECT_EQ(veltraKernel::ikSignedAngleAbout(y, HVector(0, -1, -0.004), x), kPi);
  EXPECT_NEAR(veltraKernel::ikSignedAngleAbout(y, HVector(0, -1, -0.005), x), -kPi + 0.005, 1e-7);
}

// The joint follows the pole vector around the root-to-end axis, and the
// twist turns it further about the same axis.
TEST(KernelPlane, RotatePlaneAndTwistTurnTheBendAboutTheRootToEndAxis) {
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
  const ValueChain chain = chainAt(kKnee);
  for (const Case& c : cases) {
    veltraKernelInput input = kernelInput(chain, {2, 0, 0});
    input.poleVector = c.pole;
    input.twist = c.twist;
    const std::vector<Vec3> p = solvedPositions(chain, input, veltraKernel::solve(input));
    EXPECT_NEAR((p[1] - c.knee).length(), 0.0, 1e-12) << c.pole << " twist " << c.twist;
    EXPECT_NEAR((p[2] - Vec3{2, 0, 0}).length(), 0.0, 1e-12);
  }
}

TEST(KernelPlane, PoleVectorIsReadInTheHandlesParentSpaceUnlessOldStyle) {
  const ValueChain chain = chainAt(kKnee);
  for (const bool oldStyle : {false, true}) {
    veltraKernelInput input = kernelInput(chain, {2, 0, 0});
    // A parent turned a quarter about +X takes the handle's +Y to world +Z.
    input.handleParentWorldMatrix = toHMatrix(axisRotation(0, kPi / 2));
    input.oldStyle = oldStyle;
    const std::vector<Vec3> p = solvedPositions(chain, input, veltraKernel::solve(input));
    const Vec3 knee = oldStyle ? Vec3{1, 1, 0} : Vec3{1, 0, 1};
    EXPECT_NEAR((p[1] - knee).length(), 0.0, 1e-12) << "old style " << oldStyle;
  }
}

}  // namespace
}  // namespace kernelfixture

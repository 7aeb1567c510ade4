// The solve's contract over values: what validate refuses, the layout of the
// result, the simulation the stages rely on, and degenerate chains.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "KernelFixture.h"

namespace kernelfixture {
namespace {

ValueChain threeJoints() {
  return {pointChain({{0, 0, 0}, {1, 1, 0}, {2, 0, 0}}), identity4()};
}

TEST(KernelValidate, RefusesImpossibleInputWithAReason) {
  using Input = veltraKernelInput;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<std::pair<std::function<void(Input&)>, const char*>> cases = {
      {[](Input& in) {
         in.localTransformations.pop_back(), in.restPose.remove(2), in.angleBias.remove(2);
       },
       "at least 3"},
      {[](Input& in) { in.angleBias.remove(1); }, "angle bias has 2 weights"},
      {[](Input& in) { in.restPose.append(HVector::zero); }, "rest pose has 4 rotations"},
      {[&](Input& in) { in.twist = nan; }, "twist"},
      {[&](Input& in) { in.poleVector.y = inf; }, "the pole vector"},
      {[&](Input& in) { in.restPoleVector.x = nan; }, "rest pole vector"},
      {[&](Input& in) { in.handleWorldPosition.z = -inf; }, "handle's position"},
      {[&](Input& in) { in.handleParentWorldMatrix.matrix[1][2] = nan; }, "handle's parent matrix"},
      {[&](Input& in) { in.rootParentWorldMatrix.matrix[3][0] = inf; }, "root's parent matrix"},
      {[&](Input& in) { in.angleBias[1] = nan; }, "entry 1"},
      {[&](Input& in) { in.restPose[0].z = inf; }, "entry 0"},
      // Components are finite by construction; their product can overflow.
      {[](Input& in) {
         const double scale[3] = {1.0, 1e200, 1.0}, shear[3] = {1e200, 0.0, 0.0};
         in.localTransformations[2].setScale(scale, HSpace::kTransform);
         in.localTransformations[2].setShear(shear, HSpace::kTransform);
       },
       "entry 2"},
  };
  HString problem("left over");
  const Input good = kernelInput(threeJoints(), {1, 0, 0});
  EXPECT_TRUE(veltraKernel::validate(good, problem));
  EXPECT_EQ(std::string(problem.asChar()), "");
  for (const auto& c : cases) {
    Input input = good;
    c.first(input);
    EXPECT_FALSE(veltraKernel::validate(input, problem)) << c.second;
    EXPECT_NE(std::string(problem.asChar()).find(c.second), std::string::npos) << problem.asChar();
  }
}

// Whatever rotations the entries hold when gathered, the solve starts from
// the rest pose; each pass has one entry per chain entry, zero where its
// stage writes nothing.
TEST(KernelSolve, StartsFromTheRestPoseAndFillsOnlyItsStagesEntries) {
  std::mt19937 rng(7);
  for (const unsigned n : {3u, 5u, 8u}) {
    ValueChain chain{randomChain(rng, n), identity4()};
    const std::vector<Vec3> rest = positionsOf(worldMatrices(chain, kernelInput(chain, {})));
    const double span = (rest.back() - rest.front()).length();
    // Near, far, and at the rest span in another direction (no bend at all).
    for (const double distance : {0.5 * span, 1.5 * span, span}) {
      const Vec3 handle = rest.front() + toVec3(randomDirection(rng)) * distance;
      veltraKernelInput input = kernelInput(chain, handle);
      input.twist = 0.4;
      const veltraKernelResult result = veltraKernel::solve(input);
      for (unsigned i = 0; i + 1 < n; ++i) {
        HTransformationMatrix& local = input.localTransformations[i];
        const HVector current = randomDirection(rng) * 3.0;
        const double angles[3] = {current.x, current.y, current.z};
        local.setRotation(angles, local.rotationOrder());
      }
      const veltraKernelResult again = veltraKernel::solve(input);

      for (const veltraKernelPass* pass : {&result.bend, &result.plane}) {
        ASSERT_EQ(pass->angles.length(), n);
        ASSERT_EQ(pass->axes.length(), n);
      }
      for (unsigned i = 0; i < n; ++i) {
        EXPECT_EQ(again.bend.angles[i], result.bend.angles[i]) << i;
        EXPECT_EQ(again.plane.angles[i], result.plane.angles[i]) << i;
        if (i > 0) {
          EXPECT_EQ(result.plane.angles[i], 0.0);
          EXPECT_EQ(result.plane.axes[i], HVector::zero);
        }
        if (i == n - 1 || (i > 0 && distance == span)) {
          EXPECT_EQ(result.bend.angles[i], 0.0);
          EXPECT_EQ(result.bend.axes[i], HVector::zero);
        }
      }
      EXPECT_GT(result.bend.angles[0], 0.0);
      if (distance == span) {
        EXPECT_EQ(result.bendFraction, 0.0);
        EXPECT_TRUE(result.reached);
        EXPECT_LT((solvedPositions(chain, input, result).back() - handle).length(), 1e-9);
      }
    }
  }
}

// The radial trials carry only the end through the bent chain; it must land
// where composing every entry's matrix puts it.
TEST(KernelSolve, BentEndMatchesIndependentForwardKinematics) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> angle(-kPi, kPi);
  for (const NamedParent& parent : testParents()) {
    for (unsigned n = 3; n < 9; ++n) {
      const ValueChain chain{randomChain(rng, n), parentMatrix(parent.desc)};
      const veltraKernelInput input = kernelInput(chain, {});
      veltraKernelPass pass;
      for (unsigned i = 0; i < n; ++i) {
        const bool inner = i > 0 && i + 1 < n;
        pass.angles.append(inner ? angle(rng) : 0.0);
        pass.axes.append(inner ? randomDirection(rng) * 0.3 : HVector::zero);
      }
      const veltraKernelSetup setup = veltraKernel::preKernelSolve(input);
      const HPoint end = HPoint(veltraKernel::ikEndBelowRoot(setup, pass)) * setup.rootWorldMatrix;
      const Vec3 expected = positionsOf(worldMatrices(chain, input, &pass)).back();
      EXPECT_LT((toVec3(HVector(end)) - expected).length(), 1e-9)
          << parent.name << ", " << n << " entries";
    }
  }
}

// Zero-length bones, an end folded onto the root, a handle at the root and
// zero or axial pole vectors give finite rotations and never a NaN.
TEST(KernelSolve, DegenerateChainsGiveFiniteResults) {
  const std::vector<std::vector<HVector>> chains = {
      {{0, 0, 0}, {1, 0, 0}, {1, 0, 0}, {1, 1, 0}},  // two coincident joints
      {{0, 0, 0}, {1, 0, 0}, {0, 0, 0}},             // end on the root
      {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}},             // first bone of length zero
      {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}},             // straight
  };
  const HVector poles[] = {HVector::zero, HVector::xAxis, HVector::yAxis};
  const Vec3 handles[] = {{0, 0, 0}, {0.5, 0.5, 0}, {1, 1, 1}, {5, 0, 0}, {-5, 0, 0}};
  for (const auto& points : chains) {
    const ValueChain chain{pointChain(points), identity4()};
    for (const HVector& pole : poles) {
      for (const Vec3& handle : handles) {
        veltraKernelInput input = kernelInput(chain, handle);
        input.poleVector = input.restPoleVector = pole;
        input.twist = 1.0;
        const veltraKernelResult result = veltraKernel::solve(input);
        EXPECT_TRUE(allFinite(result)) << points.size() << " entries, pole " << pole;
        for (const Vec3& p : solvedPositions(chain, input, result))
          EXPECT_TRUE(std::isfinite(p.x + p.y + p.z)) << points.size() << " entries";
      }
    }
  }
}

}  // namespace
}  // namespace kernelfixture

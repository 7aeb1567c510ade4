// Properties of whole solves over random chains, under every test parent.
// Every expectation comes from the fixture's own forward kinematics.
//
// Under any parent the root stays put and the end lies on the ray from the
// root towards the handle: the aim turns the end's direction in the root's
// own space, and a linear map keeps rays through the origin. The end's
// distance and the pole-vector angle are measured in the world, so they hold
// only where the parent keeps lengths in proportion and angles as they are:
// a non-uniform scale stretches the bent chain after the radial solve matched
// its length, and a mirror reverses the sense of turns about the axis.

#include <gtest/gtest.h>

#include "KernelFixture.h"

namespace kernelfixture {
namespace {

// Root-to-end distance with every inner joint folded until its child bone
// lies on its parent bone. Each joint turns its subtree about its own bend
// axis; turning the deepest joint first keeps every axis at its rest place.
double foldedReach(std::vector<Vec3> p) {
  for (size_t i = p.size() - 2; i >= 1; --i) {
    const Vec3 u = p[i - 1] - p[i], v = p[i + 1] - p[i];
    const Vec3 axis = v.cross(u);
    if (axis.length() < 1e-9 * u.length() * v.length())
      continue;  // straight or folded at rest: such a joint never bends
    const double angle =
        std::acos(std::max(-1.0, std::min(1.0, u.dot(v) / (u.length() * v.length()))));
    for (size_t j = i + 1; j < p.size(); ++j)
      p[j] = p[i] + rotateAbout(p[j] - p[i], axis * (1.0 / axis.length()), angle);
  }
  return (p.back() - p.front()).length();
}

// Unit normal of the plane the chain bends in: the sum of the bends' cross
// products, each turned to agree with the first.
Vec3 bendNormal(const std::vector<Vec3>& p) {
  Vec3 sum, first;
  for (size_t i = 1; i + 1 < p.size(); ++i) {
    Vec3 w = (p[i - 1] - p[i]).cross(p[i + 1] - p[i]);
    if (i == 1)
      first = w;
    sum = sum + (first.dot(w) < 0 ? w * -1.0 : w);
  }
  return sum * (1.0 / sum.length());
}

double wrapped(double angle) {
  return std::remainder(angle, 2.0 * kPi);
}

// A direction carried along with the root: through the rest world matrix
// back into the root (its transpose, for a rotation times a uniform scale)
// and out through the solved one.
Vec3 carried(const Vec3& v, const Mat4& rest, const Mat4& solved) {
  Vec3 local, out;
  for (int c = 0; c < 3; ++c)
    (&local.x)[c] = v.x * rest[c][0] + v.y * rest[c][1] + v.z * rest[c][2];
  for (int c = 0; c < 3; ++c)
    (&out.x)[c] = local.x * solved[0][c] + local.y * solved[1][c] + local.z * solved[2][c];
  return out;
}

double reachOf(const std::vector<Vec3>& p) {
  double sum = 0.0;
  for (size_t i = 0; i + 1 < p.size(); ++i)
    sum += (p[i + 1] - p[i]).length();
  return sum;
}

class KernelPropertyTest : public ::testing::TestWithParam<NamedParent> {};

TEST_P(KernelPropertyTest, RandomChainsAimAtTheHandleAndReachItWhereLengthsKeep) {
  const NamedParent& parent = GetParam();
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  int foldChecks = 0;
  for (unsigned seed = 0; seed < 30; ++seed) {
    std::mt19937 rng(1000 + seed);
    const unsigned n = 3 + seed % 10;
    const ValueChain chain{randomChain(rng, n), parentMatrix(parent.desc)};
    veltraKernelInput input = kernelInput(chain, {});
    const std::vector<Mat4> restWorld = worldMatrices(chain, input);
    const std::vector<Vec3> rest = positionsOf(restWorld);
    const Vec3 root = rest.front();
    const double span = (rest.back() - root).length();
    const double straight = reachOf(rest);
    const double folded = foldedReach(rest);
    const Vec3 restNormal = bendNormal(rest);
    input.restPoleVector = randomDirection(rng);
    const double restOffset =
        angleAbout(toVec3(input.restPoleVector), restNormal, rest.back() - root);
    SCOPED_TRACE(::testing::Message() << "seed " << seed << ", " << n << " entries");

    // With the rest pole vector and the handle at the rest end, nothing moves.
    input.handleWorldPosition = HPoint(toHVector(rest.back()));
    input.poleVector = input.restPoleVector;
    if (parent.similar) {
      const std::vector<Vec3> still = solvedPositions(chain, input, veltraKernel::solve(input));
      for (unsigned i = 0; i < n; ++i)
        EXPECT_LT((still[i] - rest[i]).length(), 1e-9 * straight) << "entry " << i;
    }

    enum Kind { kStraighten, kFold, kBeyond, kInsideFold };
    for (const Kind kind : {kStraighten, kFold, kBeyond, kInsideFold}) {
      double distance = 0.0;
      switch (kind) {
        case kStraighten:
          distance = span + (0.02 + 0.96 * unit(rng)) * (straight - span);
          break;
        case kFold:
          distance = folded + (0.02 + 0.96 * unit(rng)) * (span - folded);
          break;
        case kBeyond:
          distance = straight * (1.05 + unit(rng));
          break;
        case kInsideFold:
          distance = unit(rng) * folded;
          break;
      }
      if (kind == kFold && folded > span - 1e-3)
        continue;  // folding does not shorten this chain
      const Vec3 direction = toVec3(randomDirection(rng));
      const Vec3 handle = root + direction * distance;
      input.handleWorldPosition = HPoint(toHVector(handle));
      input.poleVector = randomDirection(rng);
      input.twist = kPi * (2.0 * unit(rng) - 1.0);
      const veltraKernelResult result = veltraKernel::solve(input);
      SCOPED_TRACE(::testing::Message() << "case " << kind << " at distance " << distance);

      ASSERT_TRUE(allFinite(result));
      const std::vector<Mat4> world = worldMatrices(chain, input, &result.bend, &result.plane);
      const std::vector<Vec3> p = positionsOf(world);
      EXPECT_LT((p.front() - root).length(), 1e-12 * straight);
      EXPECT_LT(distanceFromRay(p.back(), root, direction), 1e-6 * straight);
      // `reached` says what the forward kinematics find.
      const double miss = (p.back() - handle).length();
      if (std::fabs(miss - veltraKernel::kReachTolerance) > 1e-9) {
        EXPECT_EQ(result.reached, miss <= veltraKernel::kReachTolerance) << "miss " << miss;
      }
      if (!parent.similar)
        continue;

      // The rest plane, carried along by the root, keeps the angle from the
      // pole vector that it had from the rest pole vector, plus the twist.
      const Vec3 normal = carried(restNormal, restWorld[0], world[0]);
      const std::vector<Mat4> aimed = worldMatrices(chain, input, &result.bend);
      // Within 0.256 degrees of a half turn, either angle is taken as exactly
      // a half turn, which the result may then be off by.
      const double offset = angleAbout(toVec3(input.poleVector), normal, p.back() - root);
      const double aimedToPole = angleAbout(carried(restNormal, restWorld[0], aimed[0]),
                                            toVec3(input.poleVector), p.back() - root);
      const bool nearHalfTurn =
          std::fabs(restOffset) > kPi - 0.0045 || std::fabs(aimedToPole) > kPi - 0.0045;
      EXPECT_NEAR(wrapped(offset - restOffset - input.twist), 0.0, nearHalfTurn ? 0.0045 : 1e-7);
      const double reach = (p.back() - root).length();
      if (kind == kStraighten || kind == kFold) {
        EXPECT_LT(miss, 1e-4);
        EXPECT_TRUE(result.reached);
        foldChecks += kind == kFold;
      } else if (kind == kBeyond) {
        EXPECT_NEAR(reach, straight, 1e-4);
        EXPECT_FALSE(result.reached);
      }
    }
  }
  if (parent.similar) {
    EXPECT_GT(foldChecks, 15);
  }
}

INSTANTIATE_TEST_SUITE_P(Parents, KernelPropertyTest, ::testing::ValuesIn(testParents()),
                         [](const ::testing::TestParamInfo<NamedParent>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace
}  // namespace kernelfixture

// Properties of a full solve (solve, then the bend and plane passes) over
// random chains, under several transforms above the chain's root. Every
// expectation comes from the fixture's own forward kinematics.

#include "KernelProbe.h"

namespace kerneltest {
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

const ParentDesc kParents[] = {
    {},                                                                    // identity
    {HVector(3.0, -2.0, 5.0), HVector(), HVector(1, 1, 1)},                // translated
    {HVector(), HVector(0.7, -0.4, 1.1), HVector(1, 1, 1)},                // rotated
    {HVector(), HVector(), HVector(1.7, 1.7, 1.7)},                        // uniformly scaled
    {HVector(-1, 4, 2), HVector(-2.1, 0.3, 0.9), HVector(0.6, 0.6, 0.6)},  // all three
};

class KernelPropertyTest : public KernelTest, public ::testing::WithParamInterface<int> {};

TEST_P(KernelPropertyTest, RandomChainsReachOrAimAtTheHandle) {
  const ParentDesc& parent = kParents[GetParam()];
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  int foldChecks = 0;
  for (unsigned seed = 0; seed < 30; ++seed) {
    HFileIO::newFile(true);
    std::mt19937 rng(1000 + seed);
    const unsigned n = 3 + seed % 10;
    const Chain chain =
        buildChain(randomChain(rng, n), seed % 2 ? Goal::kIkHandle : Goal::kTransform, &parent);
    const std::vector<Vec3> rest = worldPositions(chain.entries);
    const Vec3 root = rest.front();
    const double span = (rest.back() - root).length();
    const double straight = reachOf(rest);
    const double folded = foldedReach(rest);
    const Mat4 restRoot = worldMatrix(chain.entries[0].node());
    const Vec3 restNormal = bendNormal(rest);
    Solve s(chain);
    s.restPoleVector = randomDirection(rng);
    const double restOffset = angleAbout(toVec3(s.restPoleVector), restNormal, rest.back() - root);
    SCOPED_TRACE(::testing::Message() << "seed " << seed << ", " << n << " entries");

    // With the rest pole vector and the handle at the rest end, nothing moves.
    placeGoal(chain, HVector(rest.back().x, rest.back().y, rest.back().z));
    s.poleVector = s.restPoleVector;
    s.run();
    const HVectorArray pose = currentPose(chain.entries);
    for (unsigned i = 0; i + 1 < n; ++i) {
      const HEulerRotation::RotationOrder order =
          HTransformationMatrix::toEulerOrder(HFnTransform(chain.entries[i]).rotationOrder());
      EXPECT_TRUE(HEulerRotation(pose[i], order)
                      .asQuaternion()
                      .isEquivalent(HEulerRotation(s.restPose[i], order).asQuaternion(), 1e-9))
          << "entry " << i;
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
      const HVector direction = randomDirection(rng);
      const Vec3 handle = root + toVec3(direction) * distance;
      placeGoal(chain, HVector(handle.x, handle.y, handle.z));
      s.poleVector = randomDirection(rng);
      s.twist = kPi * (2.0 * unit(rng) - 1.0);
      s.solveOnly();
      s.applyBendPair();
      const Mat4 aimedRoot = worldMatrix(chain.entries[0].node());
      s.applyPlanePair();
      SCOPED_TRACE(::testing::Message() << "case " << kind << " at distance " << distance);

      ASSERT_TRUE(allFinite(s));
      const std::vector<Vec3> p = worldPositions(chain.entries);
      EXPECT_LT((p.front() - root).length(), 1e-12 * straight);
      EXPECT_LT(distanceFromRay(p.back(), root, toVec3(direction)), 1e-6 * straight);
      const double reach = (p.back() - root).length();
      // The rest plane, carried along by the root, keeps the angle from the
      // pole vector that it had from the rest pole vector, plus the twist.
      const Vec3 normal = carried(restNormal, restRoot, worldMatrix(chain.entries[0].node()));
      // Within 0.256 degrees of a half turn, either angle is taken as exactly
      // a half turn, which the result may then be off by.
      const double offset = angleAbout(toVec3(s.poleVector), normal, p.back() - root);
      const double aimedToPole = angleAbout(carried(restNormal, restRoot, aimedRoot),
                                            toVec3(s.poleVector), p.back() - root);
      const bool nearHalfTurn =
          std::fabs(restOffset) > kPi - 0.0045 || std::fabs(aimedToPole) > kPi - 0.0045;
      EXPECT_NEAR(wrapped(offset - restOffset - s.twist), 0.0, nearHalfTurn ? 0.0045 : 1e-7);
      if (kind == kStraighten || kind == kFold) {
        EXPECT_LT((p.back() - handle).length(), 1e-4);
        foldChecks += kind == kFold;
      } else if (kind == kBeyond) {
        EXPECT_NEAR(reach, straight, 1e-4);
      }
    }
  }
  EXPECT_GT(foldChecks, 15);
}

INSTANTIATE_TEST_SUITE_P(Parents, KernelPropertyTest, ::testing::Range(0, 5));

}  // namespace
}  // namespace kerneltest

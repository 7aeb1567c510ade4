// Chains and handles at the edges of what the solver can measure: coincident
// joints, zero-length bones, straight and folded chains, a handle on the root
// or on the root-to-end line, a long chain, and values the host must refuse.
// None may crash or leave a value that is not finite.

#include <HFileIO.h>

#include "StackFixture.h"

namespace {

using e2e::JointPlan;
using e2e::num;
using e2e::Rig;
using e2e::runs;
using e2e::triple;
using e2e::Vec3;

std::vector<JointPlan> atPositions(const std::vector<Vec3>& positions) {
  std::vector<JointPlan> descs;
  for (const Vec3& p : positions) {
    JointPlan desc;
    desc.position = p;
    descs.push_back(desc);
  }
  return descs;
}

class DegenerateChain : public e2e::StackTest {
 protected:
  // Moves the handle and checks that every value stays finite and, where the
  // chain's end has a direction from the root and `aimed` holds, that it lies
  // on the ray to the handle.
  void moveAndCheck(const Rig& rig, const Vec3& target, bool aimed = true) {
    SCOPED_TRACE("handle at " + triple(target));
    ASSERT_TRUE(runs("move " + triple(target) + " ikHandle1"));
    expectFinite(rig);
    const std::vector<Vec3> positions = rig.positions();
    const double length = std::max(rig.reach().straight, 1.0);
    if (aimed && e2e::distance(positions.back(), positions.front()) > 1e-6 * length &&
        e2e::distance(target, positions.front()) > 1e-6 * length) {
      EXPECT_LE(e2e::distanceFromRay(positions.back(), positions.front(), target), 1e-6 * length)
          << "end at " << triple(positions.back());
    }
  }

  static void expectFinite(const Rig& rig) {
    EXPECT_EQ(rig.firstNonFiniteValue(), "") << "non-finite value";
  }

  // Handle positions around a chain whose root is at `root` and whose rest end
  // is at `end`, with whether the end must come to lie on the ray: the root
  // itself, the line through both in front of and behind the root, beyond the
  // end, off the line, and far away. Exactly behind the root, an end that
  // cannot bend points straight away from the handle; the solver then makes a
  // half turn about a fixed axis of the root's frame, which lands on the line
  // only when that axis is perpendicular to the end.
  static std::vector<std::pair<Vec3, bool>> probes(const Vec3& root, const Vec3& end) {
    const Vec3 along = end - root;
    return {{root, true},
            {root + along * 0.5, true},
            {root + along * 1.7, true},
            {root + along * -0.8, false},
            {end, true},
            {root + Vec3{0.3, -1.1, 0.7}, true},
            {root + Vec3{1e6, 2e6, -1e6}, true},
            {root, true}};
  }
};

TEST_F(DegenerateChain, CoincidentJointsAndZeroLengthBonesStayFiniteAndAim) {
  const std::vector<std::pair<const char*, std::vector<Vec3>>> chains = {
      {"root and first inner joint coincident", {{0, 0, 0}, {0, 0, 0}, {1, 1, 0}, {2, 0, 1}}},
      {"zero-length inner bone", {{0, 0, 0}, {1, 1, 0}, {1, 1, 0}, {2, 0, 1}}},
      {"zero-length last bone", {{0, 0, 0}, {1, 1, 0}, {2, 0, 1}, {2, 0, 1}}},
      {"every joint at one point", {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}, {1, 2, 3}}},
      {"end back on the root", {{0, 0, 0}, {1, 1, 0}, {0, 0, 0}}},
      {"straight along a diagonal", {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}}},
      {"folded flat", {{0, 0, 0}, {2, 1, 0}, {1, 0.5, 0}}},
  };
  for (const auto& chain : chains) {
    SCOPED_TRACE(chain.first);
    ASSERT_TRUE(runs("file -new -f"));
    Rig rig;
    ASSERT_TRUE(rig.build(atPositions(chain.second)));
    expectFinite(rig);
    for (const auto& probe : probes(chain.second.front(), chain.second.back())) {
      moveAndCheck(rig, probe.first, probe.second);
    }
    // A pole vector of zero length, and one along the root-to-handle line.
    ASSERT_TRUE(runs("setAttr ikHandle1.poleVector 0 0 0; setAttr ikHandle1.twist 45"));
    expectFinite(rig);
    const Vec3 along = rig.handle() - rig.positions().front();
    ASSERT_TRUE(runs("setAttr ikHandle1.poleVector " + triple(along)));
    expectFinite(rig);
    ASSERT_TRUE(runs("veltraRestPose ikHandle1; undo; redo"));
    expectFinite(rig);
  }
}

TEST_F(DegenerateChain, HandleOnTheRootToEndLineKeepsTheEndOnTheRay) {
  // A bent chain, not aligned with any axis of the root's frame, and the handle
  // ahead of the rest end, and behind the root where the chain must bend.
  Rig rig;
  ASSERT_TRUE(rig.build(atPositions({{0, 0, 0}, {1, 2, 0}, {2, 1, 1}, {3, 3, 2}})));
  const Vec3 end = rig.positions().back();
  const double span = end.length();
  for (const double along : {0.5, 0.9, 1.0, 1.2, -0.5, -2.0}) {
    moveAndCheck(rig, end * along);
  }
  // Exactly behind the root at the rest span nothing bends and the end points
  // straight away from the handle: the half turn about the fixed axis keeps the
  // span and every value finite, but not the aim.
  moveAndCheck(rig, end * -1.0, false);
  EXPECT_NEAR(e2e::distance(rig.positions().back(), rig.positions().front()), span, 1e-9);

  // With the rest end along the x axis of the root's frame the fixed axis is
  // the y axis, perpendicular to the end, and the half turn lands on the line.
  ASSERT_TRUE(runs("file -new -f"));
  Rig alongX;
  ASSERT_TRUE(alongX.build(atPositions({{0, 0, 0}, {1, 1, 0}, {2, -1, 0}, {3, 0, 0}})));
  moveAndCheck(alongX, {-3, 0, 0});
}

TEST_F(DegenerateChain, HandleOnTheRootFoldsAnEvenChainShut) {
  // Two equal bones fold onto the root exactly.
  Rig rig;
  ASSERT_TRUE(rig.build(atPositions({{1, 0, 0}, {2, 1, 0}, {3, 0, 0}})));
  ASSERT_TRUE(runs("move 1 0 0 ikHandle1"));
  expectFinite(rig);
  const std::vector<Vec3> positions = rig.positions();
  EXPECT_LE(e2e::distance(positions.back(), positions.front()), 1e-4);
}

// Only finiteness can be asked of these: singular or huge scales, and handles so
// far away that the square of their distance overflows.
TEST_F(DegenerateChain, ExtremeScalesAndOverflowingDistancesStayFinite) {
  for (const char* scale : {"1 1 1", "0 0 0", "0 1 1", "1e-12 1e-12 1e-12", "-1 1 1", "1e12 1 1"}) {
    SCOPED_TRACE(scale);
    ASSERT_TRUE(runs("file -new -f"));
    Rig rig;
    ASSERT_TRUE(rig.build(atPositions({{0, 0, 0}, {1, 1, 0}, {2, 0, 1}, {3, 1, 1}})));
    ASSERT_TRUE(runs(std::string("setAttr joint2.scale ") + scale));
    for (const char* target :
         {"1 2 0", "0 0 0", "-5 1 2", "1e200 1e200 0", "-1e300 0 1e300", "1.7e308 0 0"}) {
      ASSERT_TRUE(runs(std::string("move ") + target + " ikHandle1"));
      expectFinite(rig);
    }
  }
}

TEST_F(DegenerateChain, FarHandlesStraightenTheChain) {
  Rig rig;
  ASSERT_TRUE(rig.build(atPositions({{0, 0, 0}, {1, 1, 0}, {2, 0, 1}, {3, 1, 1}})));
  const double straight = rig.reach().straight;
  for (const Vec3& target : {Vec3{1e6, -2e6, 3e6}, Vec3{-1e9, 1e9, 1e9}}) {
    moveAndCheck(rig, target);
    const std::vector<Vec3> positions = rig.positions();
    EXPECT_NEAR(e2e::distance(positions.back(), positions.front()), straight, 1e-4);
  }
}

TEST_F(DegenerateChain, LongChainSolvesToTheHandle) {
  // 200 joints in a flat zig-zag: each inner joint bent by 90 degrees.
  std::vector<Vec3> positions;
  for (int i = 0; i < 200; ++i) {
    positions.push_back({0.1 * i, (i % 2) * 0.1, 0.0});
  }
  Rig rig;
  ASSERT_TRUE(rig.build(atPositions(positions)));
  const e2e::Reach reach = rig.reach();
  ASSERT_TRUE(reach.bendable);
  for (const double fraction : {0.9, 0.3}) {
    const double distance = reach.fold + fraction * (reach.straight - reach.fold);
    const Vec3 target = Vec3{0.2, 1.0, -0.4} * (distance / Vec3{0.2, 1.0, -0.4}.length());
    moveAndCheck(rig, target);
    EXPECT_LE(e2e::distance(rig.positions().back(), target), 1e-4);
  }
}

TEST_F(DegenerateChain, NonFiniteValuesAreRefusedAndChangeNothing) {
  Rig rig;
  ASSERT_TRUE(rig.build(atPositions({{0, 0, 0}, {1, 1, 0}, {2, 0, 1}})));
  ASSERT_TRUE(runs("move 1 1 1 ikHandle1"));
  const std::string before = HFileIO::sceneAsText().asChar();
  const std::vector<std::pair<std::string, std::string>> refused = {
      {"move inf 0 0 ikHandle1", "inf"},
      {"move -r 0 0 -inf ikHandle1", "-inf"},
      {"move 1e400 0 0 ikHandle1", "1e400"},
      {"setAttr ikHandle1.translateX nan", "nan"},
      {"setAttr ikHandle1.translate 0 inf 0", "inf"},
      {"xform -ws -t nan 0 0 ikHandle1", "nan"},
      {"setAttr ikHandle1.twist inf", "inf"},
      {"setAttr ikHandle1.wexelAngleBias[0].wexelAngleBias_FloatValue nan", "nan"},
      {"setAttr joint2.rotate 0 nan 0", "nan"},
  };
  for (const auto& command : refused) {
    SCOPED_TRACE(command.first);
    ErrorCapture errors;
    EXPECT_NE(HGlobal::executeCommand(HString(command.first.c_str()), false, true),
              HStatus::kSuccess);
    EXPECT_NE(errors.text().find(command.second), std::string::npos)
        << "the error does not name the value: " << errors.text();
    EXPECT_EQ(HFileIO::sceneAsText().asChar(), before);
  }
  // A relative move whose sum overflows is refused as well.
  ASSERT_TRUE(runs("move 1e308 0 0 ikHandle1"));
  const std::string far = HFileIO::sceneAsText().asChar();
  EXPECT_FALSE(runs("move -r 1e308 0 0 ikHandle1"));
  EXPECT_EQ(HFileIO::sceneAsText().asChar(), far);
  expectFinite(rig);
}

}  // namespace

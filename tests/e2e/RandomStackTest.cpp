// Seeded random rigs driven through the command language with the real
// plug-in loaded: after every handle move, pole vector, twist or ramp change,
// rest-pose command with undo and redo, and save and open, the chain must aim
// at the handle, reach it whenever it is within the chain's reach, hold only
// finite values, and come back from a scene file unchanged to the bit.

#include <algorithm>
#include <cstring>
#include <random>

#include "StackFixture.h"

namespace {

using e2e::JointPlan;
using e2e::num;
using e2e::Reach;
using e2e::Rig;
using e2e::runs;
using e2e::triple;
using e2e::Vec3;

constexpr double kDegree = 3.141592653589793 / 180.0;

class RandomStack : public e2e::StackTest {
 protected:
  Vec3 unit() {
    std::normal_distribution<double> gauss;
    for (;;) {
      const Vec3 v{gauss(fRng), gauss(fRng), gauss(fRng)};
      const double length = v.length();
      if (length > 1e-3) {
        return v * (1.0 / length);
      }
    }
  }
  double uniformIn(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(fRng);
  }
  int intIn(int low, int high) { return std::uniform_int_distribution<int>(low, high)(fRng); }

  // 3 to 16 joints in a random walk whose inner joints are clearly bent, with
  // random joint orients, rotate axes and scales; about half the rigs scale
  // every joint uniformly.
  std::vector<JointPlan> randomJoints() {
    const int count = intIn(3, 16);
    fUniformScale = intIn(0, 1) == 0;
    std::vector<JointPlan> descs(static_cast<size_t>(count));
    Vec3 position{uniformIn(-2, 2), uniformIn(-2, 2), uniformIn(-2, 2)};
    Vec3 previous = unit();
    for (JointPlan& desc : descs) {
      desc.position = position;
      desc.orientDeg = {uniformIn(-180, 180), uniformIn(-180, 180), uniformIn(-180, 180)};
      desc.rotateAxisDeg = {uniformIn(-90, 90), uniformIn(-90, 90), uniformIn(-90, 90)};
      const double s = uniformIn(0.5, 2.0);
      desc.scale =
          fUniformScale ? Vec3{s, s, s} : Vec3{s, uniformIn(0.5, 2.0), uniformIn(0.5, 2.0)};
      Vec3 direction = unit();
      // Interior angle between 15 and 165 degrees.
      while (std::fabs(direction.dot(previous)) > std::cos(15.0 * kDegree)) {
        direction = unit();
      }
      position = position + direction * uniformIn(0.3, 2.0);
      previous = direction;
    }
    return descs;
  }

  // The properties every step must keep.
  void checkPose(const Rig& rig) {
    const std::string bad = rig.firstNonFiniteValue();
    ASSERT_EQ(bad, "") << "non-finite value";

    const Reach reach = rig.reach();
    const std::vector<Vec3> positions = rig.positions();
    const Vec3 root = positions.front();
    const Vec3 end = positions.back();
    const Vec3 handle = rig.handle();
    const double handleDistance = e2e::distance(handle, root);

    // The aim and the plane turn act in the root's rotation frame, which the
    // solver takes without the root's own scale; a non-uniform scale there
    // shears that frame, so the end is only on the ray when it is uniform.
    const Vec3 rootScale = e2e::plugTriple(Rig::joint(0), "scale");
    const bool rootUniform = rootScale.x == rootScale.y && rootScale.y == rootScale.z;
    if (rootUniform && handleDistance > 1e-9 * reach.straight) {
      EXPECT_LE(e2e::distanceFromRay(end, root, handle), 1e-6 * reach.straight)
          << "end " << triple(end) << " root " << triple(root) << " handle " << triple(handle);
    }

    // A bend is a rotation of the joint in its own frame by the interior angle
    // measured in the world. A non-uniform scale on a joint or above it makes
    // the two disagree, so the fold and straight limits are only where they
    // were measured when every scale is uniform.
    if (fUniformScale && reach.bendable) {
      const double endDistance = e2e::distance(end, root);
      const std::string context = "handle at " + num(handleDistance) + ", reach " +
                                  num(reach.fold) + " to " + num(reach.straight);
      if (handleDistance > reach.straight) {
        // Beyond reach the chain straightens.
        EXPECT_NEAR(endDistance, reach.straight, 1e-4) << context;
      } else if (handleDistance >= reach.fold) {
        EXPECT_LE(e2e::distance(end, handle), 1e-4) << context;
      } else {
        // Nearer than the folded chain: a partly folded pose may come closer
        // than the fully folded one, but none that the solver keeps is worse.
        EXPECT_LE(std::fabs(endDistance - handleDistance), reach.fold - handleDistance + 1e-4)
            << context;
      }
    }
  }

  // A handle position: mostly within the chain's reach, sometimes beyond
  // it or nearer the root than the folded chain.
  std::string randomMove(const Rig& rig) {
    const Reach reach = rig.reach();
    const Vec3 root = rig.positions().front();
    double distance = 0.0;
    switch (intIn(0, 5)) {
      case 0:
        distance = uniformIn(1.0, 1.5) * reach.straight;
        break;
      case 1:
        distance = uniformIn(0.0, 1.0) * reach.fold;
        break;
      default:
        distance = uniformIn(reach.fold, reach.straight);
        break;
    }
    return "move " + triple(root + unit() * distance) + " ikHandle1";
  }

  std::string randomPoleVector(const Rig& rig) {
    if (intIn(0, 5) == 0) {
      // Along the root-to-handle line, where the plane is undefined.
      const Vec3 along = rig.handle() - rig.positions().front();
      return "setAttr ikHandle1.poleVector " + triple(along * uniformIn(-2, 2));
    }
    return "setAttr ikHandle1.poleVector " + triple(unit() * uniformIn(0.1, 3.0));
  }

  // veltraRestPose with its undo, and sometimes its redo: the preferred angles
  // take the pose of the moment and come back exactly.
  void restPoseRoundTrip(const Rig& rig) {
    const std::vector<double> before = rig.jointAngles();
    ASSERT_TRUE(runs("veltraRestPose ikHandle1"));
    const std::vector<double> stored = rig.jointAngles();
    // Each chain joint's preferred angle is its rotation from before the
    // command; the last joint is not in the chain (its effector is).
    for (size_t i = 0; i + 6 < before.size(); i += 6) {
      for (size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(stored[i + 3 + k], before[i + k]) << "joint " << i / 6 + 1;
      }
    }
    checkPose(rig);
    ASSERT_TRUE(runs("undo"));
    const std::vector<double> undone = rig.jointAngles();
    for (size_t i = 0; i < before.size(); i += 6) {
      for (size_t k = 3; k < 6; ++k) {
        EXPECT_EQ(undone[i + k], before[i + k]) << "joint " << i / 6 + 1;
      }
    }
    checkPose(rig);
    if (intIn(0, 1) == 0) {
      ASSERT_TRUE(runs("redo"));
      checkPose(rig);
    }
  }

  void saveAndOpen(const Rig& rig) {
    const std::string path = e2e::tempScene("random");
    const std::vector<double> before = rig.jointAngles();
    ASSERT_TRUE(runs("file -save \"" + path + "\""));
    ASSERT_TRUE(runs("file -new -f"));
    ASSERT_TRUE(runs("file -open \"" + path + "\""));
    std::remove(path.c_str());
    const std::vector<double> after = rig.jointAngles();
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(std::memcmp(after.data(), before.data(), before.size() * sizeof(double)), 0)
        << "a joint's rotation or preferred angle changed";
    checkPose(rig);
  }

  std::mt19937 fRng;
  bool fUniformScale = true;
};

TEST_F(RandomStack, EverySolveAimsReachesAndSurvivesSaveAndOpen) {
  const unsigned kRigs = 40;
  const int kSteps = 20;
  for (unsigned seed = 1; seed <= kRigs; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    fRng.seed(seed);
    ASSERT_TRUE(runs("file -new -f"));
    Rig rig;
    ASSERT_TRUE(rig.build(randomJoints()));
    checkPose(rig);
    for (int step = 0; step < kSteps && !HasFailure(); ++step) {
      const int op = intIn(0, 9);
      std::string command;
      if (op <= 3) {
        command = randomMove(rig);
      } else if (op == 4) {
        command = randomPoleVector(rig);
      } else if (op == 5) {
        command = "setAttr ikHandle1.twist " + num(uniformIn(-400, 400));
      } else if (op <= 7) {
        const int entry = intIn(0, rig.jointCount() - 3);
        command = "setAttr ikHandle1.wexelAngleBias[" + std::to_string(entry) +
                  "].wexelAngleBias_FloatValue " + num(uniformIn(-0.5, 1.5));
      }
      SCOPED_TRACE("step " + std::to_string(step) + ": " +
                   (command.empty() ? (op == 8 ? "rest pose" : "save and open") : command));
      if (op == 8) {
        restPoseRoundTrip(rig);
      } else if (op == 9) {
        saveAndOpen(rig);
      } else {
        ASSERT_TRUE(runs(command));
        checkPose(rig);
      }
    }
    if (HasFailure()) {
      break;
    }
  }
}

}  // namespace

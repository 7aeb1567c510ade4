// A solve must depend on where the chain is, not on how its joints' frames are
// written down. Each random chain is built twice with the same world rest
// positions and the same orientation of every joint, but with that
// orientation split differently between joint orient, rotate orientation and
// rotation, and in a different rotate order. Solved through the host for the
// same goals, pole vectors, twists and ramps, both must put every joint in
// the same world position.

#include <gtest/gtest.h>

#include <HRampAttribute.h>

#include <algorithm>
#include <iostream>
#include <random>
#include <vector>

#include <HMath.h>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

constexpr unsigned kChains = 500;
constexpr unsigned kGoals = 3;

using Rng = std::mt19937_64;

double uniform(Rng& rng, double lo, double hi) {
  return std::uniform_real_distribution<double>(lo, hi)(rng);
}

HVector randomAngles(Rng& rng, double range) {
  return HVector(uniform(rng, -range, range), uniform(rng, -range, range),
                 uniform(rng, -range, range));
}

HVector randomDirection(Rng& rng) {
  for (;;) {
    const HVector v = randomAngles(rng, 1.0);
    if (v.length() > 0.1 && v.length() <= 1.0) {
      return v.normal();
    }
  }
}

HVector xyzAngles(const HQuaternion& q) {
  return HEulerRotation::decompose(q.asMatrix(), HEulerRotation::kXYZ).asVector();
}

// One way of writing a joint's local orientation O = RA x R x JO (row
// vectors: the rotate orientation acts first): all of it in one of the three,
// or a random share in each, with the rotation in a random order.
JointDesc split(Rng& rng, const HVector& translate, const HQuaternion& orientation) {
  JointDesc desc;
  desc.translate = translate;
  desc.rotateOrder = HEulerRotation::RotationOrder(std::uniform_int_distribution<int>(0, 5)(rng));
  HQuaternion rotateAxis, jointOrient;
  switch (std::uniform_int_distribution<int>(0, 3)(rng)) {
    case 0:  // all in the joint orient
      jointOrient = orientation;
      break;
    case 1:  // all in the rotate orientation
      rotateAxis = orientation;
      break;
    case 2:  // all in the rotation
      break;
    default:
      rotateAxis = HEulerRotation(randomAngles(rng, kPi)).asQuaternion();
      jointOrient = HEulerRotation(randomAngles(rng, kPi)).asQuaternion();
      break;
  }
  // Written as Euler angles and read back, so that the rotation makes up for
  // exactly what the other two hold.
  desc.rotateAxis = xyzAngles(rotateAxis);
  desc.jointOrient = xyzAngles(jointOrient);
  const HQuaternion heldRotateAxis = HEulerRotation(desc.rotateAxis).asQuaternion();
  const HQuaternion heldJointOrient = HEulerRotation(desc.jointOrient).asQuaternion();
  const HQuaternion rotation =
      heldRotateAxis.conjugate() * orientation * heldJointOrient.conjugate();
  desc.rotate = HEulerRotation::decompose(rotation.asMatrix(), desc.rotateOrder).asVector();
  return desc;
}

struct Goal {
  HVector offset;  // from the root
  HVector pole;
  double twist;
};

// Builds one writing of the chain, solves it for every goal and returns the
// world positions of every chain entry after each solve, one after another.
// A rigid transform above the root, when `present`.
struct Parent {
  bool present;
  HVector translate, rotate;
};

std::vector<HVector> solveAll(const std::vector<JointDesc>& descs, const Parent& parentDesc,
                              const std::vector<float>& ramp, const std::vector<Goal>& goals) {
  HFileIO::newFile(true);
  HObject parent;
  if (parentDesc.present) {
    HFnTransform fnParent;
    parent = fnParent.create();
    fnParent.setTranslation(parentDesc.translate, HSpace::kTransform);
    fnParent.setRotation(HEulerRotation(parentDesc.rotate));
  }
  const SolverChain chain = buildSolverChain(descs, true, parent);
  const HDagPathArray entries = solverChainOf(chain.handle);
  std::vector<HVector> positions;
  EXPECT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);  // captures the rest pose

  const HObject handle = chain.handle.node();
  HRampAttribute rampAttribute(handle, HFnDependencyNode(handle).attribute("wexelAngleBias"));
  for (unsigned i = 0; i < ramp.size(); ++i) {
    rampAttribute.setValueAtIndex(ramp[i], i);
  }
  const HVector root = worldPosition(entries[0]);
  HFnDependencyNode fnHandle(handle);
  for (const Goal& goal : goals) {
    moveHandleTo(chain.handle, root + goal.offset);
    fnHandle.findPlug("pvx").setValue(goal.pole.x);
    fnHandle.findPlug("pvy").setValue(goal.pole.y);
    fnHandle.findPlug("pvz").setValue(goal.pole.z);
    fnHandle.findPlug("twist").setValue(goal.twist);
    EXPECT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    for (unsigned i = 0; i < entries.length(); ++i) {
      positions.push_back(worldPosition(entries[i]));
    }
  }
  return positions;
}

class FrameInvarianceTest : public ::testing::Test {
 protected:
  void SetUp() override { registerVeltraNodeType(); }
};

TEST_F(FrameInvarianceTest, SolvedPositionsDoNotDependOnHowOrientationsAreSplit) {
  unsigned failures = 0;
  double worstRelative = 0.0;
  for (unsigned c = 0; c < kChains; ++c) {
    Rng rng(0xf4a3e000u + c);
    const unsigned joints = 3 + unsigned(rng() % 10);
    std::vector<HVector> translates;
    std::vector<HQuaternion> orientations;
    double length = 0.0;
    for (unsigned i = 0; i < joints; ++i) {
      const double bone = i == 0 ? 1.0 : uniform(rng, 0.3, 2.0);
      translates.push_back(randomDirection(rng) * bone);
      length += i == 0 ? 0.0 : bone;
      orientations.push_back(HEulerRotation(randomAngles(rng, kPi)).asQuaternion());
    }
    std::vector<float> ramp(joints - 2);
    for (float& value : ramp) {
      value = float(uniform(rng, 0.0, 1.0));
    }
    const Parent parent{rng() % 2 == 0, randomAngles(rng, 3.0), randomAngles(rng, kPi)};
    std::vector<Goal> goals;
    for (unsigned g = 0; g < kGoals; ++g) {
      goals.push_back({randomDirection(rng) * (length * uniform(rng, 0.1, 1.2)),
                       randomAngles(rng, 2.0), uniform(rng, -kPi, kPi)});
    }

    std::vector<std::vector<HVector>> solved;
    for (int writing = 0; writing < 2; ++writing) {
      std::vector<JointDesc> descs;
      for (unsigned i = 0; i < joints; ++i) {
        descs.push_back(split(rng, translates[i], orientations[i]));
      }
      solved.push_back(solveAll(descs, parent, ramp, goals));
    }
    double largest = 0.0;
    for (size_t i = 0; i < solved[0].size(); ++i) {
      largest = std::max(largest, (solved[0][i] - solved[1][i]).length());
    }
    worstRelative = std::max(worstRelative, largest / length);
    if (!(largest <= 1e-9 * length) && ++failures <= 5) {
      ADD_FAILURE() << "chain " << c << " (" << joints << " joints): positions " << largest
                    << " apart, chain length " << length;
    }
  }
  EXPECT_EQ(failures, 0u);
  std::cout << "[ frames ] largest difference " << worstRelative << " of the chain's length\n";
}

}  // namespace

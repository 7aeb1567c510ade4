// Continuity of the solved pose under a handle that moves in small steps:
// circles about the root in several planes, circles that pass near the root
// and out beyond the chain's reach, lines through full extension and back,
// and a full turn of twist. Away from the places where the pose may
// legitimately jump (near the root; near the line through the root along the
// pole vector, where the pole plane is undefined; near full extension, where
// the bend changes infinitely fast) no joint may move more than 25 times the
// handle's step. The worst ratio of each chain is printed, so a run doubles
// as the report.

#include <gtest/gtest.h>

#include <HGlobal.h>
#include <HSelectionList.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include <HMath.h>

#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

constexpr double kMaxRatio = 25.0;
constexpr double kStepOfLength = 3e-3;  // handle step, as a fraction of the chain's length

struct Rig {
  const char* name;
  std::vector<const char*> joints;  // joint commands, root first, the last is the end
};

// A leg; an arm with joint orients along its bones and rotate orientations on
// shoulder and elbow; a twelve-joint tail whose root has a rotate orientation.
const std::vector<Rig>& rigs() {
  static const std::vector<Rig> kRigs = {
      {"leg", {"joint -p 0 10 0", "joint -p 0 5 0.6", "joint -p 0 0 0"}},
      {"arm",
       {"joint -p 0 15 0 -o 0 14 0 -ra 0 0 10", "joint -p 4 15 -1 -o 0 -28 0 -ra 15 0 -20",
        "joint -p 8 15 0"}},
      {"tail",
       {"joint -p 0 0 0 -ra 20 -10 30", "joint -p 1 0.02 0", "joint -p 2 0.08 0",
        "joint -p 3 0.18 0", "joint -p 4 0.32 0", "joint -p 5 0.5 0", "joint -p 6 0.72 0",
        "joint -p 7 0.98 0", "joint -p 8 1.28 0", "joint -p 9 1.62 0", "joint -p 10 2 0",
        "joint -p 11 2.42 0"}},
  };
  return kRigs;
}

void run(const std::string& command) {
  ASSERT_EQ(HGlobal::executeCommand(HString(command.c_str()), false, true), HStatus::kSuccess)
      << command;
}

// The chain of a rig, built by its commands with an IK handle on a veltra node.
struct Chain {
  HDagPathArray entries;  // joints, then the effector
  HDagPath handle;
  HVector root;
  HVector pole;   // the handle sits under the world, so this is a world direction
  double length;  // the sum of the rest bone lengths

  explicit Chain(const Rig& rig) {
    run("createNode veltra -n veltra");
    for (const char* joint : rig.joints) {
      run(joint);
    }
    run("select -cl");
    run("ikHandle -sj joint1 -ee joint" + std::to_string(rig.joints.size()) +
        " -sol veltra -n sweepIk");
    HSelectionList list;
    list.add(HString("sweepIk"));
    list.getDagPath(0, handle);
    entries = solverChainOf(handle);
    root = worldPosition(entries[0]);
    length = 0.0;
    for (unsigned i = 0; i + 1 < entries.length(); ++i) {
      length += (worldPosition(entries[i + 1]) - worldPosition(entries[i])).length();
    }
    HFnDependencyNode fnHandle(handle.node());
    double x = 0.0, y = 0.0, z = 0.0;
    fnHandle.findPlug("pvx").getValue(x);
    fnHandle.findPlug("pvy").getValue(y);
    fnHandle.findPlug("pvz").getValue(z);
    pole = HVector(x, y, z);
  }

  std::vector<HVector> pose() const {
    std::vector<HVector> positions;
    for (unsigned i = 0; i < entries.length(); ++i) {
      positions.push_back(worldPosition(entries[i]));
    }
    return positions;
  }

  // Whether a handle at `goal` is where the pose may jump.
  bool nearSingularity(const HVector& goal) const {
    const HVector toGoal = goal - root;
    const double distance = toGoal.length();
    if (distance < 0.1 * length || std::fabs(distance - length) < 0.02 * length) {
      return true;
    }
    const double angle = toGoal.angle(pole);
    return std::min(angle, kPi - angle) < 3.0 * kPi / 180.0;
  }
};

double largestMove(const std::vector<HVector>& a, const std::vector<HVector>& b) {
  double largest = 0.0;
  for (size_t i = 0; i < a.size(); ++i) {
    largest = std::max(largest, (a[i] - b[i]).length());
  }
  return largest;
}

struct Worst {
  double ratio = 0.0;
  std::string where;
  void take(double ratio, const std::string& where) {
    if (ratio > this->ratio) {
      this->ratio = ratio;
      this->where = where;
    }
  }
};

// Moves the handle along `path` (a function of t in [0, 1]) in steps of about
// `step`, and records the largest joint move per handle step of every step
// whose both ends are away from the singular places.
void sweepPath(const Chain& chain, const std::string& name,
               const std::function<HVector(double)>& path, double pathLength, Worst& worst) {
  const int steps = int(std::ceil(pathLength / (kStepOfLength * chain.length)));
  HVector previousGoal = path(0.0);
  moveHandleTo(chain.handle, previousGoal);
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  std::vector<HVector> previous = chain.pose();
  for (int k = 1; k <= steps; ++k) {
    const HVector goal = path(double(k) / steps);
    moveHandleTo(chain.handle, goal);
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    const std::vector<HVector> pose = chain.pose();
    if (!chain.nearSingularity(goal) && !chain.nearSingularity(previousGoal)) {
      const double step = (goal - previousGoal).length();
      worst.take(largestMove(pose, previous) / step, name + " at step " + std::to_string(k));
    }
    previous = pose;
    previousGoal = goal;
  }
}

// Two unit vectors spanning the plane of a circle.
struct Plane {
  const char* name;
  HVector u, v;
};

class ContinuityTest : public ::testing::TestWithParam<size_t> {
 protected:
  void SetUp() override {
    registerVeltraNodeType();
    HFileIO::newFile(true);
  }
};

TEST_P(ContinuityTest, NoJointJumpsAwayFromSingularities) {
  const Rig& rig = rigs()[GetParam()];
  const Chain chain(rig);
  ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);  // the first solve captures the rest pose
  const double R = chain.length;
  const HVector tilted = HVector(1.0, 1.0, 1.0).normal();
  const std::vector<Plane> planes = {
      {"xy", HVector::xAxis, HVector::yAxis},
      {"yz", HVector::yAxis, HVector::zAxis},
      {"zx", HVector::zAxis, HVector::xAxis},
      {"tilted", (tilted ^ HVector::zAxis).normal(), (tilted ^ (tilted ^ HVector::zAxis)).normal()},
  };

  Worst worst;
  for (const Plane& plane : planes) {
    // About the root: the bend stays, the aim and the pole plane turn.
    for (double radius : {0.5 * R, 0.85 * R}) {
      sweepPath(
          chain, std::string("circle about the root in ") + plane.name,
          [&](double t) {
            const double a = 2.0 * kPi * t;
            return chain.root + (plane.u * std::cos(a) + plane.v * std::sin(a)) * radius;
          },
          2.0 * kPi * radius, worst);
    }
    // About a point half a length out: the distance to the root runs from
    // near the root to beyond reach and back.
    const HVector centre = chain.root + plane.u * (0.55 * R);
    sweepPath(
        chain, std::string("circle through reach in ") + plane.name,
        [&](double t) {
          const double a = 2.0 * kPi * t;
          return centre + (plane.u * std::cos(a) + plane.v * std::sin(a)) * (0.6 * R);
        },
        2.0 * kPi * 0.6 * R, worst);
  }
  // Out through full extension and back, along directions off the pole line.
  for (const HVector& direction : {HVector(1.0, -2.0, 0.5), HVector(-1.0, 0.3, 1.0)}) {
    const HVector unit = direction.normal();
    sweepPath(
        chain, "through full extension",
        [&](double t) {
          const double s = t < 0.5 ? 2.0 * t : 2.0 - 2.0 * t;
          return chain.root + unit * ((0.2 + s) * R);
        },
        2.0 * R, worst);
  }
  // A full turn of twist with the handle at half reach: the largest arc any
  // joint may travel per step is the twist step times the chain's length.
  {
    const HVector goal = chain.root + HVector(1.0, -1.0, 0.4).normal() * (0.5 * R);
    moveHandleTo(chain.handle, goal);
    HPlug twist = HFnDependencyNode(chain.handle.node()).findPlug("twist");
    const int steps = 2000;
    const double step = 2.0 * kPi / steps;
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    std::vector<HVector> previous = chain.pose();
    for (int k = 1; k <= steps; ++k) {
      twist.setValue(k * step);
      ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
      const std::vector<HVector> pose = chain.pose();
      worst.take(largestMove(pose, previous) / (step * R), "twist at step " + std::to_string(k));
      previous = pose;
    }
  }

  std::cout << "[ continuity ] " << rig.name << ": worst joint move " << worst.ratio
            << " times the handle's step (" << worst.where << ")\n";
  EXPECT_LE(worst.ratio, kMaxRatio) << rig.name << ": " << worst.where;
}

INSTANTIATE_TEST_SUITE_P(Chains, ContinuityTest, ::testing::Range<size_t>(0, 3),
                         [](const ::testing::TestParamInfo<size_t>& info) {
                           return std::string(rigs()[info.param].name);
                         });

}  // namespace

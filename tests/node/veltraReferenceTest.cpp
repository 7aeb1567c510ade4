// Golden reference for the solver's results. Seeded random rigs are solved
// through the host's IK evaluation, and every joint rotation after every solve
// must match the values recorded in data/reference_rotations.txt within
// 1e-12 radians: speed work may change how results are rounded, never what a
// solve does.
//
// To record the file anew from the current build, run the test with
// VELTRA_WRITE_REFERENCE=1; it then writes the file into the source tree
// instead of comparing.

#include <gtest/gtest.h>

#include <HEulerRotation.h>
#include <HFnTransform.h>
#include <HMatrix.h>
#include <HRampAttribute.h>
#include <HTransformationMatrix.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "BuildPaths.h"
#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

constexpr unsigned kCases = 240;
constexpr unsigned kStepsPerCase = 6;  // the rest solve, then five goals
// Radians: rounding may differ, a solve may not.
constexpr double kTolerance = 1e-12;

std::string referencePath() {
  return buildpaths::sourceDir() + "/tests/node/data/reference_rotations.txt";
}

bool writingReference() {
  const char* flag = std::getenv("VELTRA_WRITE_REFERENCE");
  return flag != nullptr && std::string(flag) == "1";
}

// Doubles from the raw output of a 64-bit Mersenne twister, whose sequence the
// language fixes; the library's distributions are free to differ between
// implementations, and the rigs must be the same wherever the test runs.
class Random {
 public:
  explicit Random(std::uint64_t seed) : fEngine(seed) {}
  double unit() { return double(fEngine() >> 11) * 0x1.0p-53; }
  double uniform(double lo, double hi) { return lo + (hi - lo) * unit(); }
  unsigned below(unsigned n) { return unsigned(fEngine() % n); }
  bool chance(double p) { return unit() < p; }
  HVector vector(double lo, double hi) {
    const double x = uniform(lo, hi);
    const double y = uniform(lo, hi);
    const double z = uniform(lo, hi);
    return HVector(x, y, z);
  }
  HVector direction() {
    for (;;) {
      const HVector v = vector(-1.0, 1.0);
      const double length = v.length();
      if (length > 0.1 && length <= 1.0) {
        return v / length;
      }
    }
  }

 private:
  std::mt19937_64 fEngine;
};

struct Rig {
  std::vector<HDagPath> joints;  // every joint, root first
  HDagPathArray chain;           // the solver's chain: joints, then the effector
  HDagPath handle;
};

// A random rig: an optional scaled parent, a chain of 3 to 12 entries with
// joint orients, rotate orientations, rest rotations and sometimes another
// rotate order, or now and then a straight chain, then an IK handle with a
// veltra solver.
Rig buildRig(Random& random) {
  Rig rig;
  const unsigned entries = 3 + random.below(10);
  const bool straight = random.chance(0.1);
  HObject above;
  if (random.chance(0.3)) {
    HFnTransform fnParent;
    above = fnParent.create();
    fnParent.setTranslation(random.vector(-3.0, 3.0), HSpace::kTransform);
    fnParent.setRotation(HEulerRotation(random.vector(-1.5, 1.5)));
    const double scale[3] = {random.uniform(0.5, 2.0), random.uniform(0.5, 2.0),
                             random.uniform(0.5, 2.0)};
    fnParent.setScale(scale);
  }
  for (unsigned i = 0; i < entries; ++i) {
    HFnIkJoint fnJoint;
    const HObject joint = fnJoint.create(above);
    if (straight) {
      fnJoint.setTranslation(HVector(i == 0 ? 0.0 : random.uniform(0.3, 2.0), 0.0, 0.0),
                             HSpace::kTransform);
    } else {
      const HVector offset =
          i == 0 ? random.vector(-1.0, 1.0) : random.direction() * random.uniform(0.3, 2.0);
      fnJoint.setTranslation(offset, HSpace::kTransform);
      fnJoint.setOrientation(HEulerRotation(random.vector(-1.2, 1.2)));
      if (random.chance(0.7)) {
        fnJoint.setRotateOrientation(HEulerRotation(random.vector(-0.8, 0.8)).asQuaternion(),
                                     HSpace::kTransform);
      }
      if (random.chance(0.3)) {
        const unsigned order = random.below(6);
        fnJoint.setRotationOrder(HTransformationMatrix::RotationOrder(order + 1), false);
      }
      const HVector angles = random.vector(-1.0, 1.0);
      const double rotation[3] = {angles.x, angles.y, angles.z};
      fnJoint.setRotation(rotation, fnJoint.rotationOrder());
    }
    rig.joints.push_back(pathOf(joint));
    above = joint;
  }
  HFnIkHandle fnHandle;
  rig.handle = pathOf(fnHandle.create(rig.joints.front(), rig.joints.back()));
  HFnDependencyNode fnNode;
  fnHandle.setSolver(fnNode.create("veltra"));
  rig.chain = solverChainOf(rig.handle);
  return rig;
}

// Angle bias values for every inner entry, now and then beyond [0, 1].
void setRampValues(Random& random, const Rig& rig) {
  const HObject node = rig.handle.node();
  HRampAttribute ramp(node, HFnDependencyNode(node).attribute("wexelAngleBias"));
  HIntArray indices;
  HFloatArray positions, values;
  HIntArray interpolations;
  ramp.getEntries(indices, positions, values, interpolations);
  for (unsigned i = 0; i < indices.length(); ++i) {
    ramp.setValueAtIndex(float(random.uniform(-0.2, 1.2)), unsigned(indices[i]));
  }
}

// The chain's root-to-end span and straightened length in its rest pose (the
// joints' preferred angles), as the solve measures them. The joints' rotations
// are put back exactly afterwards, so goals placed from these follow the rig's
// inputs and never the last bits of an earlier solve's result, which could
// put a goal on either side of one of the solve's tolerances.
struct RestReach {
  double span = 0.0;
  double straight = 0.0;
};

RestReach restReach(const Rig& rig) {
  const unsigned n = rig.chain.length();
  std::vector<std::array<double, 3>> saved(n - 1);
  std::vector<HTransformationMatrix::RotationOrder> orders(n - 1);
  for (unsigned i = 0; i + 1 < n; ++i) {
    HFnIkJoint fnJoint(rig.chain[i]);
    fnJoint.getRotation(saved[i].data(), orders[i]);
    double preferred[3] = {0.0, 0.0, 0.0};
    fnJoint.getPreferedAngle(preferred);
    fnJoint.setRotation(preferred, orders[i]);
  }
  RestReach reach;
  reach.span = (worldPosition(rig.chain[n - 1]) - worldPosition(rig.chain[0])).length();
  for (unsigned i = 0; i + 1 < n; ++i) {
    reach.straight += (worldPosition(rig.chain[i + 1]) - worldPosition(rig.chain[i])).length();
  }
  for (unsigned i = 0; i + 1 < n; ++i) {
    HFnTransform(rig.chain[i]).setRotation(saved[i].data(), orders[i]);
  }
  return reach;
}

// Moves the handle to a random goal: folding, straightening, beyond reach,
// just inside or just outside the full reach (by 1e-4 to 1e-2 of it, clear of
// the solve's 1e-05 tolerances), at the root or at the rest span; with a
// random, zero or axis-aligned pole vector and a random or zero twist. Returns
// whether the goal is on the root.
bool placeGoal(Random& random, const Rig& rig) {
  const HVector root = worldPosition(rig.chain[0]);
  const RestReach reach = restReach(rig);
  double distance = 0.0;
  switch (random.below(6)) {
    case 0:
      distance = reach.span * random.uniform(0.05, 0.95);
      break;
    case 1:
      distance = reach.span + (reach.straight - reach.span) * random.uniform(0.05, 0.95);
      break;
    case 2:
      distance = reach.straight * random.uniform(1.05, 2.0);
      break;
    case 3:
      distance = 0.0;
      break;
    case 4: {
      const double side = random.chance(0.5) ? 1.0 : -1.0;
      distance = reach.straight * (1.0 + side * random.uniform(1e-4, 1e-2));
      break;
    }
    default:
      distance = reach.span;
      break;
  }
  const HVector direction = random.direction();
  moveHandleTo(rig.handle, root + direction * distance);

  HVector pole = random.vector(-2.0, 2.0);
  const double kind = random.unit();
  if (kind < 0.1) {
    pole = HVector(0.0, 0.0, 0.0);
  } else if (kind < 0.2) {
    pole = direction * random.uniform(-2.0, 2.0);
  }
  const double twist = random.chance(0.3) ? 0.0 : random.uniform(-3.2, 3.2);
  HFnDependencyNode fnHandle(rig.handle.node());
  fnHandle.findPlug("pvx").setValue(pole.x);
  fnHandle.findPlug("pvy").setValue(pole.y);
  fnHandle.findPlug("pvz").setValue(pole.z);
  fnHandle.findPlug("twist").setValue(twist);
  return distance == 0.0;
}

// Between goals the rig is sometimes edited through its plugs, as an animator
// would: a joint orient, rotate orientation, bone offset or preferred angle.
void editRig(Random& random, const Rig& rig) {
  if (!random.chance(0.35)) {
    return;
  }
  const unsigned joint = random.below(unsigned(rig.joints.size()) - 1);
  static const char* const kAttributes[] = {"jointOrient", "rotateAxis", "translate",
                                            "preferredAngle"};
  const char* attribute = kAttributes[random.below(4)];
  HFnDependencyNode fnJoint(rig.joints[joint].node());
  const HPlug plug = fnJoint.findPlug(attribute);
  const unsigned component = random.below(3);
  double value = 0.0;
  plug.child(component).getValue(value);
  plug.child(component).setValue(value + random.uniform(-0.3, 0.3));
}

// Every joint's and the effector's rotation after a solve, as Euler angles in
// each node's rotate order.
struct Rotation {
  HVector angles;
  HTransformationMatrix::RotationOrder order;
};

std::vector<Rotation> rotationsAfterSolve(const Rig& rig) {
  std::vector<HDagPath> nodes = rig.joints;
  nodes.push_back(rig.chain[rig.chain.length() - 1]);
  std::vector<Rotation> rotations;
  for (const HDagPath& node : nodes) {
    double angles[3] = {0.0, 0.0, 0.0};
    HTransformationMatrix::RotationOrder order;
    HFnTransform(node).getRotation(angles, order);
    rotations.push_back({HVector(angles[0], angles[1], angles[2]), order});
  }
  return rotations;
}

// How far apart two rotations are, in radians: the largest difference of
// their matrices' elements, which near equality is the angle between them and,
// unlike the Euler angles, is not thrown by a near gimbal lock.
double rotationDistance(const Rotation& a, const HVector& recordedAngles) {
  const HMatrix ma =
      HEulerRotation(a.angles, HTransformationMatrix::toEulerOrder(a.order)).asMatrix();
  const HMatrix mb =
      HEulerRotation(recordedAngles, HTransformationMatrix::toEulerOrder(a.order)).asMatrix();
  double largest = 0.0;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      largest = std::max(largest, std::fabs(ma(r, c) - mb(r, c)));
    }
  }
  return largest;
}

std::string key(unsigned rigCase, unsigned step) {
  return std::to_string(rigCase) + " " + std::to_string(step);
}

// Case and step to the recorded Euler angles of every node, in order.
std::map<std::string, std::vector<HVector>> readReference(const std::string& path) {
  std::map<std::string, std::vector<HVector>> reference;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') {
      continue;
    }
    std::istringstream fields(line);
    unsigned rigCase = 0, step = 0, nodes = 0;
    if (!(fields >> rigCase >> step >> nodes)) {
      continue;
    }
    std::vector<HVector> angles(nodes);
    for (HVector& a : angles) {
      fields >> a.x >> a.y >> a.z;
    }
    if (fields) {
      reference[key(rigCase, step)] = angles;
    }
  }
  return reference;
}

class ReferenceTest : public ::testing::Test {
 protected:
  void SetUp() override { registerVeltraNodeType(); }
};

TEST_F(ReferenceTest, EverySolveWritesTheRecordedRotations) {
  const bool write = writingReference();
  const std::string path = referencePath();
  std::map<std::string, std::vector<HVector>> reference;
  if (!write) {
    reference = readReference(path);
    ASSERT_EQ(reference.size(), size_t(kCases) * kStepsPerCase)
        << "missing or incomplete reference file " << path
        << " (VELTRA_WRITE_REFERENCE=1 records it)";
  }

  std::ostringstream written;
  written << "# Joint rotations after seeded random solves: case, step, number of nodes,\n"
          << "# then the Euler angles (radians, each node's rotate order) of every joint\n"
          << "# and the effector. Recorded by veltraReferenceTest with VELTRA_WRITE_REFERENCE=1.\n"
          << std::setprecision(17);
  unsigned mismatches = 0;
  for (unsigned rigCase = 0; rigCase < kCases; ++rigCase) {
    HFileIO::newFile(true);
    Random random(0x5eed0000u + rigCase);
    const Rig rig = buildRig(random);
    for (unsigned step = 0; step < kStepsPerCase; ++step) {
      bool goalOnRoot = false;
      if (step == 1) {
        setRampValues(random, rig);
      }
      if (step > 0) {
        editRig(random, rig);
        goalOnRoot = placeGoal(random, rig);
      }
      ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess) << "case " << rigCase << " step " << step;
      const std::vector<Rotation> rotations = rotationsAfterSolve(rig);
      written << rigCase << ' ' << step << ' ' << rotations.size();
      for (const Rotation& r : rotations) {
        EXPECT_TRUE(std::isfinite(r.angles.x) && std::isfinite(r.angles.y) &&
                    std::isfinite(r.angles.z))
            << "case " << rigCase << " step " << step;
        written << ' ' << r.angles.x << ' ' << r.angles.y << ' ' << r.angles.z;
      }
      written << '\n';
      if (write) {
        continue;
      }
      const std::vector<HVector>& recorded = reference[key(rigCase, step)];
      double distance = recorded.size() == rotations.size() ? 0.0 : HUGE_VAL;
      // A goal on the root gives the aim no direction: the root's rotation is
      // then whatever rounding makes it, and only the bend below it is compared.
      for (size_t i = goalOnRoot ? 1 : 0; i < rotations.size() && i < recorded.size(); ++i) {
        distance = std::max(distance, rotationDistance(rotations[i], recorded[i]));
      }
      if (!(distance <= kTolerance) && ++mismatches <= 5) {
        ADD_FAILURE() << "case " << rigCase << " step " << step << " (" << rig.chain.length()
                      << " entries): rotations " << distance << " from the reference";
      }
    }
  }
  EXPECT_EQ(mismatches, 0u) << "solves whose rotations differ from the reference";

  if (write) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path);
    out << written.str();
    ASSERT_TRUE(out.good()) << "could not write " << path;
    std::cout << "reference written to " << path << "\n";
  }
}

}  // namespace

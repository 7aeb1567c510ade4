#pragma once
// The whole stack in one process: the real veltra.so loaded by the host's
// plug-in manager, rigs built and driven through the command language, and
// the results read back through plugs and recomposed with the independent
// forward kinematics of ChainFixture.h.

#include <gtest/gtest.h>

#include <HDagPath.h>
#include <HDagPathArray.h>
#include <HFileIO.h>
#include <HFnDependencyNode.h>
#include <HGlobal.h>
#include <HPlug.h>
#include <HPluginManager.h>
#include <HSelectionList.h>
#include <HStatus.h>
#include <HString.h>
#include <HStringArray.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "BuildPaths.h"
#include "ChainFixture.h"
#include "ErrorCapture.h"

namespace e2e {

using buildpaths::pluginPath;

using chainfixture::Mat4;
using chainfixture::Vec3;

// A scene file path private to this test process.
inline std::string tempScene(const std::string& tag) {
  return ::testing::TempDir() + "veltra_e2e_" + tag + "_" + std::to_string(getpid()) + ".hsa";
}

// Shortest text that reads back as the same double.
inline std::string num(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

inline std::string triple(const Vec3& v) {
  return num(v.x) + " " + num(v.y) + " " + num(v.z);
}

// Runs a command string; a failure carries the host's error text.
inline ::testing::AssertionResult runs(const std::string& command) {
  ErrorCapture errors;
  const HStatus status = HGlobal::executeCommand(HString(command.c_str()), false, true);
  if (status == HStatus::kSuccess) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "'" << command << "' failed: " << errors.text();
}

inline HObject nodeNamed(const std::string& name) {
  HSelectionList list;
  list.add(HString(name.c_str()));
  HObject node;
  list.getDependNode(0, node);
  return node;
}

inline HDagPath pathNamed(const std::string& name) {
  HSelectionList list;
  list.add(HString(name.c_str()));
  HDagPath path;
  list.getDagPath(0, path);
  return path;
}

inline Vec3 plugTriple(const std::string& node, const std::string& attribute) {
  return chainfixture::readVec3(HFnDependencyNode(nodeNamed(node)), attribute);
}

// The first numeric value the plug holds, through compounds and array
// elements, that is NaN or infinite, or "" when all are finite.
inline std::string firstNonFinite(const HPlug& plug) {
  const bool array = plug.isArray();
  const unsigned count = array ? plug.numElements() : plug.numChildren();
  std::string bad;
  for (unsigned i = 0; i < count && bad.empty(); ++i) {
    bad = firstNonFinite(array ? plug.elementByPhysicalIndex(i) : plug.child(i));
  }
  double value = 0.0;
  if (!array && count == 0 && plug.getValue(value) == HStatus::kSuccess && !std::isfinite(value)) {
    bad = std::string(plug.name().asChar()) + " = " + num(value);
  }
  return bad;
}

// Names of every node of a type.
inline std::vector<std::string> nodesOfType(const std::string& type) {
  HStringArray result;
  HGlobal::executeCommand(HString(("ls -type " + type).c_str()), result);
  std::vector<std::string> names;
  for (const HString& name : result) {
    names.push_back(name.asChar());
  }
  return names;
}

inline double distance(const Vec3& a, const Vec3& b) {
  return (a - b).length();
}

// Distance of a point from the ray that starts at `origin` and runs through
// `through`; points behind the origin measure to the origin itself.
inline double distanceFromRay(const Vec3& point, const Vec3& origin, const Vec3& through) {
  const Vec3 axis = through - origin;
  const Vec3 offset = point - origin;
  const double along = offset.dot(axis) / axis.dot(axis);
  if (along <= 0.0) {
    return offset.length();
  }
  return (offset - axis * along).length();
}

// Rest lengths and the two limits of the distance the chain's end can have
// from its root.
struct Reach {
  double fold = 0.0;      // every inner joint folded shut (interior angle 0)
  double straight = 0.0;  // every inner joint straight: the sum of the bones
  bool bendable = true;   // every inner joint has a bend plane at rest
};

// World positions of the chain's entries in the rest pose. The chain hangs
// under the world, so each entry's parent is the entry before it.
inline std::vector<Vec3> restPositions(const HDagPathArray& entries) {
  using chainfixture::operator*;
  std::vector<Vec3> out;
  Mat4 world = chainfixture::identity4();
  for (unsigned i = 0; i < entries.length(); ++i) {
    world = chainfixture::localMatrix(entries[i].node(), "preferredAngle") * world;
    out.push_back({world[3][0], world[3][1], world[3][2]});
  }
  return out;
}

// The fully folded chain lies on one line, each bone doubling back on the one
// before it, so its reach is the alternating sum of the bone lengths.
inline Reach reachOf(const std::vector<Vec3>& rest) {
  Reach reach;
  double alternating = 0.0;
  for (size_t i = 0; i + 1 < rest.size(); ++i) {
    const double length = distance(rest[i + 1], rest[i]);
    reach.straight += length;
    alternating += (i % 2 == 0) ? length : -length;
    if (i > 0) {
      const Vec3 toParent = rest[i - 1] - rest[i];
      const Vec3 toChild = rest[i + 1] - rest[i];
      const double sine = toParent.cross(toChild).length() / (toParent.length() * toChild.length());
      reach.bendable = reach.bendable && std::isfinite(sine) && sine > 1e-3;
    }
  }
  reach.fold = std::fabs(alternating);
  return reach;
}

// One joint to build: world position at creation, then joint orient and
// rotate axis (degrees) and scale, set on it before its child is made.
struct JointPlan {
  Vec3 position;
  Vec3 orientDeg;
  Vec3 rotateAxisDeg;
  Vec3 scale{1.0, 1.0, 1.0};
};

// A chain joint1..jointN built through commands with an IK handle from the
// first to the last joint solved by a veltra node.
class Rig {
 public:
  // Builds the joints and the handle; false (with a test failure) when a
  // command is refused.
  bool build(const std::vector<JointPlan>& descs) {
    fJointCount = int(descs.size());
    std::string command = "select -cl";
    for (size_t i = 0; i < descs.size(); ++i) {
      const std::string name = joint(int(i));
      command += "; joint -p " + triple(descs[i].position) + "; setAttr " + name + ".jointOrient " +
                 triple(descs[i].orientDeg) + "; setAttr " + name + ".rotateAxis " +
                 triple(descs[i].rotateAxisDeg) + "; setAttr " + name + ".scale " +
                 triple(descs[i].scale);
    }
    const ::testing::AssertionResult built =
        runs(command + "; select -cl; ikHandle -sj joint1 -ee " + joint(fJointCount - 1) +
             " -sol veltra");
    EXPECT_TRUE(built);
    return bool(built);
  }

  int jointCount() const { return fJointCount; }
  static std::string joint(int index) { return "joint" + std::to_string(index + 1); }

  // The solver's chain: joint1 .. joint(N-1), then the effector.
  HDagPathArray entries() const {
    HDagPathArray result;
    for (int i = 0; i + 1 < fJointCount; ++i) {
      result.append(pathNamed(joint(i)));
    }
    result.append(pathNamed("effector1"));
    return result;
  }

  std::vector<Vec3> positions() const { return chainfixture::worldPositions(entries()); }
  Vec3 handle() const { return chainfixture::worldPosition(pathNamed("ikHandle1")); }
  Reach reach() const { return reachOf(restPositions(entries())); }

  // Every rotation and preferred angle of the joints, in order: what a
  // save and open must give back to the bit.
  std::vector<double> jointAngles() const {
    std::vector<double> values;
    for (int i = 0; i < fJointCount; ++i) {
      for (const char* attribute : {"rotate", "preferredAngle"}) {
        const Vec3 v = plugTriple(joint(i), attribute);
        values.insert(values.end(), {v.x, v.y, v.z});
      }
    }
    return values;
  }

  // The first value of the rig's nodes that is not finite, or "".
  std::string firstNonFiniteValue() const {
    std::vector<std::string> nodes = {"effector1", "ikHandle1"};
    for (int i = 0; i < fJointCount; ++i) {
      nodes.push_back(joint(i));
    }
    for (const std::string& node : nodes) {
      HFnDependencyNode fn(nodeNamed(node));
      for (unsigned i = 0; i < fn.attributeCount(); ++i) {
        const HPlug plug = fn.findPlug(fn.attribute(i));
        // Children of compounds are reached through their parents.
        const std::string bad = plug.isNull() || plug.isChild() ? "" : firstNonFinite(plug);
        if (!bad.empty()) {
          return node + ": " + bad;
        }
      }
    }
    return "";
  }

 private:
  int fJointCount = 0;
};

// Loads veltra.so into a fresh scene and takes it out again afterwards.
class StackTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HFileIO::newFile(true);
    HStatus status;
    HPluginManager::load(HString(pluginPath().c_str()), &status);
    ASSERT_EQ(status, HStatus::kSuccess) << "could not load " << pluginPath();
  }

  void TearDown() override {
    HFileIO::newFile(true);
    for (const std::string& node : nodesOfType("veltra")) {
      EXPECT_TRUE(runs("delete " + node));
    }
    EXPECT_EQ(HPluginManager::unload("veltra"), HStatus::kSuccess);
  }
};

}  // namespace e2e

// Soft IK, stretch, the reached flag and the IK/FK blend, driven as a user
// would, through commands: each one's effect, that leaving it at its default
// changes nothing, saving and opening, undo, and bad values refused. The
// continuity sweep through full extension prints its figures as the report.

#include <gtest/gtest.h>

#include <HGlobal.h>
#include <HMath.h>
#include <HSelectionList.h>
#include <HStringArray.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "BuildPaths.h"
#include "VeltraNodeScene.h"

using namespace veltratest;

namespace {

void run(const std::string& command) {
  ASSERT_EQ(HGlobal::executeCommand(HString(command.c_str()), false, true), HStatus::kSuccess)
      << command;
}

bool refused(const std::string& command) {
  ErrorCapture errors;
  return HGlobal::executeCommand(HString(command.c_str()), false, true) != HStatus::kSuccess &&
         !errors.text().empty();
}

double number(const std::string& query) {
  HString result;
  EXPECT_EQ(HGlobal::executeCommand(HString(query.c_str()), result), HStatus::kSuccess) << query;
  return std::stod(result.asStdString());
}

HDagPath pathNamed(const char* name) {
  HSelectionList list;
  list.add(HString(name));
  HDagPath path;
  list.getDagPath(0, path);
  return path;
}

// Where the host draws a node: its world matrix, blend included.
HVector drawn(const HDagPath& path) {
  return HVector(HPoint::origin * path.inclusiveMatrix());
}

// The leg of examples/soft_leg.hsa: hip, knee slightly forward, ankle.
class SoftLegTest : public ::testing::Test {
 protected:
  void SetUp() override {
    registerVeltraNodeType();
    HFileIO::newFile(true);
    run("createNode veltra -n veltra");
    run("joint -p 0 10 0; joint -p 0 5 0.6; joint -p 0 0 0; select -cl");
    run("ikHandle -sj joint1 -ee joint3 -sol veltra -n legIk");
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
    handle = pathNamed("legIk");
    chain = solverChainOf(handle);
    root = drawn(chain[0]);
    length = 2.0 * std::sqrt(25.0 + 0.36);
  }

  std::vector<HVector> pose() const {
    std::vector<HVector> out;
    for (unsigned i = 0; i < chain.length(); ++i) {
      out.push_back(drawn(chain[i]));
    }
    return out;
  }
  HVector end() const { return drawn(chain[chain.length() - 1]); }
  // The handle straight below the hip, `distance` from it.
  void handleAt(double distance) {
    moveHandleTo(handle, root - HVector::yAxis * distance);
    ASSERT_EQ(HIkSystem::evaluate(), HStatus::kSuccess);
  }
  std::vector<HVector> rotations() const { return rotationsOf({chain[0], chain[1]}); }

  HDagPath handle;
  HDagPathArray chain;
  HVector root;
  double length = 0.0;
};

double largestMove(const std::vector<HVector>& a, const std::vector<HVector>& b) {
  double largest = 0.0;
  for (size_t i = 0; i < a.size(); ++i) {
    largest = std::max(largest, (a[i] - b[i]).length());
  }
  return largest;
}

TEST_F(SoftLegTest, AttributesComeWithTheFirstSolveAndTheirDefaultsChangeNothing) {
  EXPECT_EQ(number("getAttr legIk.veltraSoftness"), 0.0);
  EXPECT_EQ(number("getAttr legIk.veltraStretch"), 0.0);
  EXPECT_EQ(number("getAttr legIk.ikBlend"), 1.0);
  handleAt(0.8 * length);
  EXPECT_EQ(number("getAttr legIk.veltraReached"), 1.0);
  const std::vector<HVector> before = rotations();
  // Softness and stretch that change nothing here (inside reach and away
  // from full extension) leave the pose bit for bit; so does turning them
  // back off after they did change it.
  run("setAttr legIk.veltraSoftness 0.5; setAttr legIk.veltraStretch 1");
  EXPECT_EQ(rotations(), before);
  handleAt(1.3 * length);
  run("setAttr legIk.veltraSoftness 0; setAttr legIk.veltraStretch 0");
  handleAt(0.8 * length);
  EXPECT_EQ(rotations(), before);
  EXPECT_EQ(number("getAttr joint1.scaleX"), 1.0);
  handleAt(1.3 * length);
  EXPECT_EQ(number("getAttr legIk.veltraReached"), 0.0);
}

// The figures of the sweep: the largest joint move per handle step through
// full extension and back, with softness 0 and 5 % of the length.
TEST_F(SoftLegTest, SoftnessKeepsTheKneeSmoothThroughFullExtension) {
  const double step = 1e-3 * length;
  double worst[2] = {0.0, 0.0};
  const double softness[2] = {0.0, 0.05 * length};
  for (int k = 0; k < 2; ++k) {
    run("setAttr legIk.veltraSoftness " + std::to_string(softness[k]));
    handleAt(0.8 * length);
    std::vector<HVector> previous = pose();
    const int steps = 800;  // 0.8 to 1.2 lengths and back
    for (int i = 1; i <= steps; ++i) {
      const int out = i <= steps / 2 ? i : steps - i;
      const double distance = 0.8 * length + out * step;
      handleAt(distance);
      const std::vector<HVector> now = pose();
      worst[k] = std::max(worst[k], largestMove(now, previous) / step);
      previous = now;
      // The end stays on the ray from the hip to the handle.
      const HVector toEnd = end() - root;
      EXPECT_LT((toEnd - (-HVector::yAxis) * (toEnd * -HVector::yAxis)).length(), 1e-6);
      if (k == 1 && distance > length - softness[k]) {
        const double eased =
            length - softness[k] +
            softness[k] * (1.0 - std::exp(-(distance - length + softness[k]) / softness[k]));
        EXPECT_NEAR(toEnd.length(), eased, 1e-4) << distance;
      }
    }
  }
  std::cout << "[ soft leg ] largest joint move per handle step through full extension: "
            << worst[0] << " (softness 0), " << worst[1] << " (softness 5 % of the length)\n";
  EXPECT_LE(worst[1], 5.0);
  EXPECT_GT(worst[0], worst[1]);
}

TEST_F(SoftLegTest, StretchTakesUpTheDistanceBeyondReach) {
  const HVector down = -HVector::yAxis;
  const HVector handlePoint = root + down * (1.5 * length);
  run("setAttr legIk.veltraStretch 1");
  handleAt(1.5 * length);
  const double miss = (end() - handlePoint).length();
  EXPECT_LT(miss, 1e-4);
  EXPECT_EQ(number("getAttr legIk.veltraReached"), 1.0);
  EXPECT_GT(number("getAttr joint1.scaleX"), 1.4);

  run("setAttr legIk.veltraStretch 0.5");
  // Half way between the straight end (the chain's length out) and the handle.
  const HVector halfWay = root + down * (1.25 * length);
  EXPECT_LT((end() - halfWay).length(), 1e-4);
  EXPECT_EQ(number("getAttr legIk.veltraReached"), 0.0);
  std::cout << "[ soft leg ] handle at 1.5 lengths: the end misses it by " << miss
            << " with stretch 1, and the half-way point by " << (end() - halfWay).length()
            << " with stretch 0.5\n";

  // With softness, stretch 1 still reaches; inside reach nothing is scaled.
  run("setAttr legIk.veltraStretch 1; setAttr legIk.veltraSoftness 1");
  handleAt(0.97 * length);
  EXPECT_LT((end() - (root + down * (0.97 * length))).length(), 1e-4);
  run("setAttr legIk.veltraSoftness 0");
  handleAt(0.9 * length);
  EXPECT_EQ(number("getAttr joint1.scaleX"), 1.0);
}

TEST_F(SoftLegTest, IkBlendSlerpsFromTheFkRotations) {
  handleAt(0.7 * length);
  const std::vector<HVector> ikPose = pose();
  run("setAttr legIk.ikBlend 0");
  EXPECT_EQ(pose(), ikPose);  // the FK rotations are the last solve's
  run("setAttr joint1.rotate 0 0 40; setAttr joint2.rotate 0 0 0");
  HIkSystem::evaluate();
  const std::vector<HVector> fkPose = pose();
  EXPECT_GT(largestMove(fkPose, ikPose), 1.0);

  run("setAttr legIk.ikBlend 0.5");
  HIkSystem::evaluate();
  EXPECT_EQ(number("getAttr joint1.rotateZ"), 40.0);  // the rotate values stay FK
  // The hip turns half way from its FK rotation to its solved one.
  const HQuaternion fk = HEulerRotation(0.0, 0.0, 40.0 * kPi / 180.0).asQuaternion();
  const HTransformationMatrix hip(chain[0].inclusiveMatrix());
  run("setAttr legIk.ikBlend 1");
  HIkSystem::evaluate();
  EXPECT_EQ(pose(), ikPose);
  const HQuaternion ik = HTransformationMatrix(chain[0].inclusiveMatrix()).rotation();
  const HQuaternion half = hip.rotation();
  auto angleBetween = [](const HQuaternion& a, const HQuaternion& b) {
    const double dot = std::fabs(a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w);
    return 2.0 * std::acos(std::min(1.0, dot));
  };
  EXPECT_GT(angleBetween(fk, ik), 0.1);
  EXPECT_NEAR(angleBetween(fk, half), 0.5 * angleBetween(fk, ik), 1e-9);
  EXPECT_NEAR(angleBetween(half, ik), 0.5 * angleBetween(fk, ik), 1e-9);
}

TEST_F(SoftLegTest, IkBlendUndoesAndRedoes) {
  handleAt(0.7 * length);
  run("setAttr legIk.ikBlend 0.4");
  run("setAttr joint1.rotate 0 0 30");
  HIkSystem::evaluate();
  const std::vector<HVector> blended = pose();
  run("setAttr legIk.ikBlend 0.9");
  HIkSystem::evaluate();
  EXPECT_NE(pose(), blended);
  run("undo");
  HIkSystem::evaluate();
  EXPECT_EQ(number("getAttr legIk.ikBlend"), 0.4);
  EXPECT_EQ(pose(), blended);
  run("redo");
  HIkSystem::evaluate();
  EXPECT_EQ(number("getAttr legIk.ikBlend"), 0.9);
}

TEST_F(SoftLegTest, SavedAndOpenedExactly) {
  run("setAttr legIk.veltraSoftness 0.6; setAttr legIk.veltraStretch 0.7");
  handleAt(1.2 * length);
  run("setAttr legIk.ikBlend 0.6; setAttr joint2.rotate 10 0 0");
  HIkSystem::evaluate();
  const std::vector<HVector> saved = pose();
  const double scale = number("getAttr joint1.scaleX");
  const std::string file = std::string(::testing::TempDir()) + "soft_leg_saved.hsa";
  run("file -save \"" + file + "\"");
  run("file -new -f");
  run("file -open \"" + file + "\"");
  HIkSystem::evaluate();
  handle = pathNamed("legIk");
  chain = solverChainOf(handle);
  EXPECT_EQ(pose(), saved);
  EXPECT_EQ(number("getAttr joint1.scaleX"), scale);
  EXPECT_EQ(number("getAttr legIk.veltraSoftness"), 0.6);
  EXPECT_EQ(number("getAttr legIk.veltraStretch"), 0.7);
  EXPECT_EQ(number("getAttr legIk.ikBlend"), 0.6);
  EXPECT_TRUE(refused("setAttr legIk.veltraStretch 2"));  // the strict range came back too
  std::FILE* in = std::fopen(file.c_str(), "r");
  ASSERT_NE(in, nullptr);
  std::string text;
  for (int c; (c = std::fgetc(in)) != EOF;) {
    text += char(c);
  }
  std::fclose(in);
  std::remove(file.c_str());
  // An output: its definition is kept, its value is not saved.
  EXPECT_NE(text.find("addAttr -ln veltraReached"), std::string::npos);
  EXPECT_EQ(text.find("setAttr legIk.veltraReached"), std::string::npos);
}

TEST_F(SoftLegTest, BadValuesAreRefusedAndChangeNothing) {
  run("setAttr legIk.veltraSoftness 0.5; setAttr legIk.veltraStretch 0.5; "
      "setAttr legIk.ikBlend 0.5");
  handleAt(1.2 * length);
  const std::vector<HVector> before = pose();
  for (const char* bad : {"setAttr legIk.veltraSoftness -0.1", "setAttr legIk.veltraSoftness nan",
                          "setAttr legIk.veltraStretch 1.5", "setAttr legIk.veltraStretch -1",
                          "setAttr legIk.veltraStretch nan", "setAttr legIk.ikBlend 2",
                          "setAttr legIk.ikBlend -0.5", "setAttr legIk.veltraReached 0"}) {
    EXPECT_TRUE(refused(bad)) << bad;
  }
  HIkSystem::evaluate();
  EXPECT_EQ(pose(), before);
  EXPECT_EQ(number("getAttr legIk.veltraSoftness"), 0.5);
  EXPECT_EQ(number("getAttr legIk.veltraStretch"), 0.5);
  EXPECT_EQ(number("getAttr legIk.ikBlend"), 0.5);
}

}  // namespace

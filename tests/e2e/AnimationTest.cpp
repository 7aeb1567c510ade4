// Animation through the command language: keys and their tangents, undo and
// scene files, bad input, and a key-framed leg that is scrubbed, played,
// baked and played again without the solver.

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <sstream>

#include "StackFixture.h"

namespace {

using e2e::runs;
using e2e::Vec3;

class Animation : public e2e::StackTest {
 protected:
  static std::vector<std::string> sortedLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
      lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
  }
  static std::vector<std::string> answer(const std::string& command) {
    HStringArray result;
    ErrorCapture errors;
    EXPECT_EQ(HGlobal::executeCommand(HString(command.c_str()), result, false, true),
              HStatus::kSuccess)
        << command << ": " << errors.text();
    std::vector<std::string> out;
    for (unsigned i = 0; i < result.length(); ++i)
      out.push_back(result[i].asChar());
    return out;
  }
  static std::string one(const std::string& command) {
    const std::vector<std::string> out = answer(command);
    return out.empty() ? std::string() : out[0];
  }
  static double number(const std::string& command) { return std::stod(one(command)); }
  static double valueAt(double frame, const std::string& plug) {
    EXPECT_TRUE(runs("currentTime " + e2e::num(frame)));
    return number("getAttr " + plug);
  }
  // A leg whose handle steps forward and back over 48 frames: the foot lifts
  // while it swings forward and slides back on the ground.
  static void buildWalkingLeg() {
    ASSERT_TRUE(runs(
        "createNode veltra -n veltra; select -cl; joint -p 0 10 0 -n hip; joint -p 0 5 1 -n knee;"
        "joint -p 0 0 0 -n ankle; ikHandle -sj hip -ee ankle -sol veltra -n legIk;"
        "setKeyframe -t 1 -v -2 legIk.tz; setKeyframe -t 13 -v 0 legIk.tz;"
        "setKeyframe -t 25 -v 2 legIk.tz; setKeyframe -t 49 -v -2 -itt linear legIk.tz;"
        "setKeyframe -t 1 -v 0 legIk.ty; setKeyframe -t 7 -v 1.2 legIk.ty;"
        "setKeyframe -t 13 -v 0.4 legIk.ty; setKeyframe -t 25 -v 0 -ott step legIk.ty;"
        "setKeyframe -t 49 -v 0 legIk.ty; playbackOptions -min 1 -max 48"));
  }
};

TEST_F(Animation, TangentsHitKeysAndNeverOvershoot) {
  ASSERT_TRUE(
      runs("createNode transform -n t; setKeyframe -t 0 -v 0 -ott linear t.tx;"
           "setKeyframe -t 10 -v 10 -itt linear -ott step t.tx;"
           "setKeyframe -t 20 -v 4 t.tx; setKeyframe -t 30 -v 4.5 t.tx;"
           "setKeyframe -t 40 -v 5 t.tx; setKeyframe -t 41 -v 90 t.tx;"
           "setKeyframe -t 50 -v 90 t.tx"));
  EXPECT_EQ(answer("keyframe -q -itt t.tx"),
            (std::vector<std::string>{"smooth", "linear", "smooth", "smooth", "smooth", "smooth",
                                      "smooth"}));
  struct Case {
    double frame, value;
  };
  const Case cases[] = {{-5, 0}, {0, 0},    {5, 5},   {10, 10}, {15, 10}, {19.9, 10},
                        {20, 4}, {30, 4.5}, {41, 90}, {45, 90}, {100, 90}};
  for (const Case& c : cases)
    EXPECT_EQ(valueAt(c.frame, "t.tx"), c.value) << "frame " << c.frame;
  // Smooth segments stay within their keys, even next to the jump to 90.
  const double keys[][2] = {{20, 4}, {30, 4.5}, {40, 5}, {41, 90}, {50, 90}};
  for (int k = 0; k + 1 < 5; ++k) {
    const double lo = std::min(keys[k][1], keys[k + 1][1]);
    const double hi = std::max(keys[k][1], keys[k + 1][1]);
    for (int i = 1; i < 10; ++i) {
      const double f = keys[k][0] + (keys[k + 1][0] - keys[k][0]) * i / 10.0;
      const double v = valueAt(f, "t.tx");
      EXPECT_TRUE(v >= lo && v <= hi) << f << " gives " << v;
    }
  }
  // A key between a lower and a higher one slopes; a flat run stays flat.
  EXPECT_GT(std::stod(answer("keyframe -q -os t.tx")[3]), 0);
  EXPECT_EQ(answer("keyframe -q -is t.tx")[5], "0");
}

TEST_F(Animation, RandomSmoothKeysStayWithinEachSegment) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> value(-50.0, 50.0), gap(0.5, 6.0);
  ASSERT_TRUE(runs("createNode transform -n t"));
  std::vector<std::pair<double, double>> keys;
  double frame = 0.0;
  for (int i = 0; i < 12; ++i) {
    keys.emplace_back(frame, value(random));
    ASSERT_TRUE(runs("setKeyframe -t " + e2e::num(frame) + " -v " + e2e::num(keys.back().second) +
                     " t.ty"));
    frame += gap(random);
  }
  for (size_t k = 0; k + 1 < keys.size(); ++k) {
    const double lo = std::min(keys[k].second, keys[k + 1].second);
    const double hi = std::max(keys[k].second, keys[k + 1].second);
    for (int i = 0; i <= 8; ++i) {
      const double f = keys[k].first + (keys[k + 1].first - keys[k].first) * i / 8.0;
      const double v = valueAt(f, "t.ty");
      EXPECT_TRUE(v >= lo && v <= hi) << "segment " << k << " frame " << f << " gives " << v;
    }
  }
}

TEST_F(Animation, KeysUndoRedoAndSaveExactly) {
  ASSERT_TRUE(
      runs("createNode transform -n t; setKeyframe -t 1 -v 0 t.rx;"
           "setKeyframe -t 9 -v 33.3 -itt step t.rx; setKeyframe -t 5 -v 2 t.translate"));
  const std::string keyed = HFileIO::sceneAsText().asChar();
  EXPECT_EQ(answer("keyframe -q t.rx"),
            (std::vector<std::string>{"1 0 smooth smooth 4.1625000000000005 4.1625000000000005",
                                      "9 33.3 step smooth 0 4.1625000000000005"}));
  EXPECT_EQ(one("keyframe -q -kc t.translate"), "3");
  EXPECT_EQ(valueAt(9, "t.rx"), 33.3);  // degrees in, degrees out

  ASSERT_TRUE(runs("cutKey -t 2:20 t.rx; cutKey t.translate"));
  EXPECT_EQ(one("keyframe -q -kc t"), "1");
  EXPECT_EQ(one("getAttr t.ty"), "2");  // left at the value it showed
  ASSERT_TRUE(runs("undo; undo"));
  EXPECT_EQ(sortedLines(HFileIO::sceneAsText().asChar()), sortedLines(keyed));
  ASSERT_TRUE(runs("undo; undo; undo"));
  EXPECT_EQ(one("keyframe -q -kc t"), "0");
  EXPECT_TRUE(e2e::nodesOfType("animCurve").empty());
  ASSERT_TRUE(runs("redo; redo; redo"));
  // Undo puts a deleted curve's connection back last: the same scene, in
  // another order.
  const std::string redone = HFileIO::sceneAsText().asChar();
  EXPECT_EQ(sortedLines(redone), sortedLines(keyed));

  const std::string path = e2e::tempScene("keys");
  ASSERT_TRUE(runs("file -save \"" + path + "\"; currentTime 3; file -open \"" + path + "\""));
  EXPECT_EQ(HFileIO::sceneAsText().asChar(), redone);
  EXPECT_EQ(valueAt(9, "t.rx"), 33.3);
  std::remove(path.c_str());
}

TEST_F(Animation, BadInputIsRefusedAndChangesNothing) {
  ASSERT_TRUE(
      runs("createNode transform -n t; setKeyframe -t 1 -v 1 t.tx; setKeyframe -t 8 "
           "-v 3 t.tx; currentTime 4"));
  const std::string scene = HFileIO::sceneAsText().asChar();
  const std::string svg = ::testing::TempDir() + "never.svg";
  const std::pair<const char*, const char*> cases[] = {
      {"setKeyframe -t nan -v 2 t.tx", "'nan' is not a frame number"},
      {"setKeyframe -t 1e400 t.tx", "is not a frame number"},
      {"setKeyframe -v nan t.tx", "not a number"},
      {"setKeyframe t.nothere", "nothere"},
      {"setKeyframe -itt wobbly t.tx", "Unknown tangent type 'wobbly'"},
      {"cutKey -t 8:1 t.tx", "runs backwards"},
      {"play -t 20:1", "runs backwards"},
      {"play -t 1:20 -by 0", "step must be above 0"},
      {"bakeResults -t 5:2 t", "runs backwards"},
      {"bakeResults t", "neither a joint nor an IK handle"},
      {"currentTime nan", "not a frame number"},
      {"keyframe -q nobody.tx", "nobody"},
      {"playbackOptions -min 10 -max 2", "runs backwards"},
  };
  for (const auto& c : cases) {
    ErrorCapture errors;
    EXPECT_NE(HGlobal::executeCommand(HString(c.first), false, true), HStatus::kSuccess) << c.first;
    EXPECT_TRUE(errors.contains(c.second)) << c.first << ": " << errors.text();
    EXPECT_EQ(HFileIO::sceneAsText().asChar(), scene) << c.first;
    EXPECT_EQ(one("currentTime -q"), "4") << c.first;
  }
  EXPECT_EQ(answer("playbackOptions -q"), (std::vector<std::string>{"1", "120"}));
}

TEST_F(Animation, WalkingLegScrubsPlaysAndBakesAlike) {
  buildWalkingLeg();
  const char* joints[] = {"hip", "knee"};
  auto pose = [&] {
    std::string text;
    for (const char* joint : joints)
      text += std::string(joint) + " " + one("getAttr " + std::string(joint) + ".rotate") + "\n";
    return text;
  };
  // Forwards, one frame at a time: the solved poses and the largest move.
  std::vector<std::string> solved(49);
  std::vector<Vec3> previous;
  double largest = 0.0;
  for (int f = 1; f <= 48; ++f) {
    ASSERT_TRUE(runs("currentTime " + std::to_string(f)));
    solved[size_t(f)] = pose();
    std::vector<Vec3> now;
    for (const char* joint : {"hip", "knee", "ankle"}) {
      const std::vector<std::string> p = answer("xform -q -ws -t " + std::string(joint));
      now.push_back(Vec3{std::stod(p[0]), std::stod(p[1]), std::stod(p[2])});
    }
    for (size_t j = 0; j < previous.size(); ++j)
      largest = std::max(largest, e2e::distance(now[j], previous[j]));
    previous = now;
  }
  // Scrubbing in any order gives the same poses: a solve keeps no history.
  std::vector<int> order(48);
  std::iota(order.begin(), order.end(), 1);
  std::shuffle(order.begin(), order.end(), std::mt19937(3));
  for (int f : order) {
    ASSERT_TRUE(runs("currentTime " + std::to_string(f)));
    EXPECT_EQ(pose(), solved[size_t(f)]) << "frame " << f;
  }
  // play reports the largest joint move between two frames.
  const double played = number("play");
  std::printf("largest joint move between two frames: %.6f\n", played);
  EXPECT_NEAR(played, largest, 1e-12);
  EXPECT_GT(played, 0.1);
  EXPECT_EQ(one("currentTime -q"), "48");

  ASSERT_TRUE(runs("currentTime 20"));
  EXPECT_EQ(one("bakeResults legIk"), "288");  // 2 joints x 3 rotations x 48 frames
  EXPECT_EQ(one("getAttr legIk.solverEnable"), "0");
  EXPECT_EQ(pose(), solved[20]);
  // Without the plug-in the keys alone give the same rotations, digit for digit.
  ASSERT_TRUE(runs("delete veltra; unloadPlugin veltra; play"));
  for (int f = 1; f <= 48; ++f) {
    ASSERT_TRUE(runs("currentTime " + std::to_string(f)));
    EXPECT_EQ(pose(), solved[size_t(f)]) << "frame " << f;
  }
  HStatus status;
  HPluginManager::load(HString(e2e::pluginPath().c_str()), &status);
  ASSERT_EQ(status, HStatus::kSuccess);
}

TEST_F(Animation, OnionSkinDrawsEveryNthFrameAndKeepsTheTime) {
  buildWalkingLeg();
  const std::string svg = e2e::tempScene("onion") + ".svg";
  ASSERT_TRUE(runs("currentTime 10; snapshot -record"));
  ASSERT_TRUE(runs("snapshot -o \"" + svg + "\" -view side -time 1:48 -by 8"));
  EXPECT_EQ(one("currentTime -q"), "10");
  std::ifstream in(svg);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  size_t ghosts = 0;
  for (size_t at = text.find("class=\"ghost\""); at != std::string::npos;
       at = text.find("class=\"ghost\"", at + 1))
    ++ghosts;
  EXPECT_EQ(ghosts, 6u);  // frames 1, 9, ..., 41
  EXPECT_NE(text.find(">41<"), std::string::npos);
  // The recorded pose is still there for a -ghost picture.
  ASSERT_TRUE(runs("snapshot -o \"" + svg + "\" -ghost"));
  std::ifstream again(svg);
  const std::string second((std::istreambuf_iterator<char>(again)),
                           std::istreambuf_iterator<char>());
  EXPECT_NE(second.find("1 ghost pose"), std::string::npos);
  std::remove(svg.c_str());
}

}  // namespace

// Bad input: every refused command names what was wrong and leaves the
// scene exactly as it was (same scene text, same undo history).

#include "BuiltinsFixture.h"

namespace builtinstest {
namespace {

struct Refusal {
  const char* command;
  const char* mentions;  // a word the error must name
};

// Built on the scene of BadInput::buildScene.
const Refusal kRefusals[] = {
    // Wrong values and types. What the argument parser refuses never reaches
    // a command; the hostsh tests check that.
    {"createNode spline", "spline"},
    {"createNode joint -n 9lives", "9lives"},
    {"createNode network -p joint1", "network"},
    {"setAttr joint1.translate 1 2", "3 values"},
    {"setAttr joint1.translateX abc", "abc"},
    {"setAttr joint1.visibility maybe", "maybe"},
    {"setAttr joint1.rotateOrder xzz", "xzz"},
    {"setAttr ikHandle1.solverEnable 2.5 1", "1 value"},
    {"setAttr -l perhaps joint1.translateX", "perhaps"},
    {"setAttr -type string joint1.translateX hello", "string"},
    {"setAttr -type matrix node1.label x", "matrix"},
    {"setAttr node1.label text", "-type string"},
    {"setAttr node1.bias 1 2", "element index"},
    {"setAttr node1.count 1.5", "1.5"},
    {"joint -roo abc", "abc"},
    {"move 1 2 three joint1", "three"},
    {"rotate 1 2 3 node1", "node1"},
    {"xform -q joint1", "-t"},
    {"getAttr -size joint1.translate", "not an array"},
    {"addAttr -ln extra -at vector joint1", "vector"},
    {"addAttr -ln extra joint1", "-at"},
    {"addAttr -ln extra -at enum joint1", "-en"},
    {"addAttr -ln extra -at enum -en \"A:B:A\" joint1", "'A'"},
    {"addAttr -ln extra -at enum -en \"A:B\" -dv 5 joint1", "-dv"},
    {"addAttr -ln extra -at compound joint1", "-nc"},
    {"addAttr -ln extra -at float -p nowhere joint1", "nowhere"},
    {"addAttr -ln translate -at float joint1", "translate"},
    {"addAttr -ln label -at float node1", "label"},
    {"addAttr -ln extra -sn t -at float joint1", "'t'"},
    {"addAttr -ln 2x -at float joint1", "2x"},
    {"addAttr -ln extra -at float -min 2 -max 1 joint1", "-min"},
    {"ikHandle -sj joint2 -ee joint1", "not below"},
    {"ikHandle -sj joint1 -ee node1", "node1"},
    {"ikHandle -sj joint1", "-ee"},
    {"ikHandle -sj joint1 -ee joint2 -sol joint3", "joint3"},
    {"ikHandle -e -ee joint2 ikHandle1", "joint2"},
    {"ikHandle -e -ej joint1 joint2", "joint2"},
    // Names that match nothing.
    {"select nobody", "nobody"},
    {"delete joint1 nobody", "nobody"},
    {"rename nobody somebody", "nobody"},
    {"rename joint1 \"two words\"", "two words"},
    {"getAttr nobody.translate", "nobody"},
    {"getAttr joint1.nothing", "joint1.nothing"},
    {"getAttr joint1.translate[", "joint1.translate["},
    {"connectAttr joint1.translateX nobody.translateX", "nobody"},
    {"deleteAttr joint1.translate", "translate"},
    {"deleteAttr ikHandle1.bias_Position", "bias_Position"},
    {"listAttr nobody", "nobody"},
    {"ls -type nothing", "nothing"},
    // Refusals of the scene itself: cycles, locks, connections.
    {"parent joint1 joint3", "joint3"},
    {"parent joint2 joint2", "joint2"},
    {"parent node1 joint1", "node1"},
    {"setAttr joint3.translateY 5", "locked"},
    {"move 0 9 0 joint3", "joint3"},
    {"setAttr joint2.scaleX 2", "connected"},
    {"connectAttr joint1.translateY joint2.scaleX", "already connected"},
    {"connectAttr joint1.translateX joint1.translateY", "joint1"},
    {"connectAttr joint1.translate joint2.translateX", "joint1.translate"},
    {"disconnectAttr joint1.translateZ joint2.scaleX", "not connected"},
};

class BadInput : public BuiltinsTest {
 protected:
  void buildScene() {
    run("joint -p 0 0 0; joint -p 0 2 0; joint -p 0 4 0");
    run("ikHandle -sj joint1 -ee joint3");
    run("createNode network -n node1");
    run("addAttr -ln label -dt string node1");
    run("addAttr -ln count -at long node1");
    run("addAttr -ln bias -at compound -nc 1 -m node1");
    run("addAttr -ln bias_Position -at float -p bias node1");
    run("addAttr -ln bias -at compound -nc 1 -m ikHandle1");
    run("addAttr -ln bias_Position -at float -p bias ikHandle1");
    run("setAttr -l on joint3.translateY");
    run("connectAttr joint1.translateY joint2.scaleX");
  }
};

TEST_F(BadInput, RefusedCommandsNameTheWordAndChangeNothing) {
  buildScene();
  const std::string before = sceneText();
  for (const Refusal& refusal : kRefusals) {
    std::string error = fails(refusal.command);
    EXPECT_NE(error.find(refusal.mentions), std::string::npos)
        << refusal.command << "\n  said: " << error;
    ASSERT_EQ(sceneText(), before) << refusal.command << " changed the scene";
  }
  // Nothing refused reached the undo queue: one undo takes back the last
  // command that succeeded (the connection).
  run("undo");
  EXPECT_EQ(value("joint2", "scaleX"), 1.0);
  EXPECT_EQ(sceneText().find("connectAttr"), std::string::npos);
}

TEST_F(BadInput, AFailureHalfWayThroughACommandTakesBackItsFirstHalf) {
  buildScene();
  run("createNode transform -n free1");
  const std::string before = sceneText();
  // free1 moves first; joint3's locked translateY then refuses.
  fails("move 5 5 5 free1 joint3");
  EXPECT_EQ(sceneText(), before);
  // Unlocking in the same command lets the value through.
  run("setAttr -l off joint3.translateY 7");
  EXPECT_EQ(value("joint3", "translateY"), 7.0);
  run("undo");
  EXPECT_TRUE(plug("joint3", "translateY").isLocked());
  EXPECT_EQ(value("joint3", "translateY"), 2.0);
}

TEST_F(BadInput, DeletedAndRenamedNodesNeverCrashLaterCommands) {
  run("joint -p 0 0 0; joint -p 1 0 0; joint -p 2 0 0");
  run("ikHandle -sj joint1 -ee joint3");
  run("select -r joint2");
  run("delete joint1");
  EXPECT_TRUE(run("ls -sl").empty());
  // The handle lost its chain; edits and saving still work.
  run("move 1 1 1 ikHandle1");
  run("ikHandle -e -twist 30 ikHandle1");
  EXPECT_EQ(sceneText().find("-sj"), std::string::npos);
  fails("ikHandle -e -sj joint1 ikHandle1");
  run("undo; undo; undo");
  EXPECT_EQ(run("ls -sl"), std::vector<std::string>{"joint2"});
  run("rename joint2 elbow");
  fails("getAttr joint2.rotate");
  EXPECT_EQ(run("getAttr elbow.rotate"), (std::vector<std::string>{"0", "0", "0"}));
  EXPECT_EQ(run("delete"), std::vector<std::string>{});
  fails("delete");
}

}  // namespace
}  // namespace builtinstest

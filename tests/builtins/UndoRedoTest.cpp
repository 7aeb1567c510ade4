// Undo and redo of the scene-editing commands. The scene writer's text holds
// every node, value (to the bit), definition, lock, connection, link and the
// selection, so equal texts mean an exactly restored scene; a few values are
// also compared through the C++ API.

#include "BuiltinsFixture.h"

namespace builtinstest {
namespace {

// Each step is one undoable command. The first children of a compound
// change nothing visible: the compound waits off the node for its last one.
const char* const kSteps[] = {
    "createNode transform -n grp1",
    "joint -p 0 0 0",
    "joint -p 0 2 0.5",
    "joint -p 0 4 0 -n wrist2",
    "ikHandle -sj joint1 -ee wrist2 -sol countingSolver -twist 15",
    "setAttr joint2.rotate 12.5 -7 0.1",
    "setAttr -l on joint1.translateY",
    "addAttr -ln bias -sn bs -at compound -nc 3 -m ikHandle1",
    "addAttr -ln bias_Position -at float -p bias ikHandle1",
    "addAttr -ln bias_FloatValue -at float -dv 1 -p bias ikHandle1",
    "addAttr -ln bias_Interp -at enum -en \"None:Linear:Smooth:Spline\" -dv 3 -p bias ikHandle1",
    "setAttr ikHandle1.bias[0] 0 0.25 1",
    "setAttr ikHandle1.bias[3].bias_FloatValue 0.75",
    "setAttr -l on ikHandle1.bias[0].bias_Position",
    "addAttr -ln marker -at long -dv 1 -h on ikHandle1",
    "addAttr -ln label -dt string grp1",
    "setAttr -type string grp1.label \"left arm\"",
    "connectAttr joint2.rotateX grp1.translateZ",
    "parent joint1 grp1",
    "rename grp1 arm7",
    "move -r 1 0 0 arm7",
    "rotate -r 0 45 0 arm7",
    "xform -ws -t 3 3 3 ikHandle1",
    "select -r joint2 wrist2",
    "deleteAttr ikHandle1.marker",
    "disconnectAttr joint2.rotateX arm7.translateZ",
    "delete joint2",
};

TEST_F(BuiltinsTest, UndoAndRedoWalkBackAndForthThroughEveryState) {
  std::vector<std::string> states{sceneText()};
  for (const char* step : kSteps) {
    run(step);
    states.push_back(sceneText());
    bool waits = std::string(step).find("-nc 3") != std::string::npos ||
                 std::string(step).find("_Position") != std::string::npos ||
                 std::string(step).find("_FloatValue") != std::string::npos;
    if (!waits) {
      EXPECT_NE(states.back(), states[states.size() - 2]) << step << " changed nothing";
    }
  }
  const size_t count = sizeof kSteps / sizeof kSteps[0];
  for (size_t i = count; i-- > 0;) {
    run("undo");
    EXPECT_EQ(sceneText(), states[i]) << "undo of " << kSteps[i];
  }
  for (size_t i = 0; i < count; ++i) {
    run("redo");
    EXPECT_EQ(sceneText(), states[i + 1]) << "redo of " << kSteps[i];
  }
  // Twice over: undo and redo leave nothing behind that changes a second pass.
  for (size_t i = count; i-- > 0;)
    run("undo");
  EXPECT_EQ(sceneText(), states[0]);
  for (size_t i = 0; i < count; ++i)
    run("redo");
  EXPECT_EQ(sceneText(), states[count]);
}

TEST_F(BuiltinsTest, UndoOfACompoundWaitingForChildrenTakesItsChildrenBackOneByOne) {
  run("createNode network -n store");
  run("addAttr -ln ramp -at compound -nc 2 -m store");
  run("addAttr -ln ramp_A -at float -p ramp store");
  run("addAttr -ln ramp_B -at double -dv 2 -p ramp store");
  EXPECT_EQ(run("listAttr -ud store"), (std::vector<std::string>{"ramp", "ramp_A", "ramp_B"}));
  run("undo");
  // Back to waiting for its second child, which can be declared anew.
  EXPECT_TRUE(run("listAttr -ud store").empty());
  run("addAttr -ln ramp_C -at long -p ramp store");
  EXPECT_EQ(run("listAttr -ud store"), (std::vector<std::string>{"ramp", "ramp_A", "ramp_C"}));
  run("undo; undo; undo");
  fails("addAttr -ln ramp_A -at float -p ramp store");
  run("redo; redo");
  run("redo");
  EXPECT_EQ(run("listAttr -ud store"), (std::vector<std::string>{"ramp", "ramp_A", "ramp_C"}));
  run("setAttr store.ramp[4] 0.5 3");
  EXPECT_EQ(run("getAttr store.ramp[4]"), (std::vector<std::string>{"0.5", "3"}));
}

}  // namespace
}  // namespace builtinstest

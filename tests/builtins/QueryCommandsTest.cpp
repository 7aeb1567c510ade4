// Selection, listing, naming and queries: select, ls, rename, createNode
// names, getAttr's lock and size, -precision, listAttr, distance.

#include "BuiltinsFixture.h"

namespace builtinstest {
namespace {

using Words = std::vector<std::string>;

TEST_F(BuiltinsTest, SelectReplacesAddsRemovesAndUndoes) {
  run("createNode transform -n arm1; createNode transform -n arm2; createNode joint -n leg1");
  run("select arm*");
  EXPECT_EQ(run("ls -sl"), (Words{"arm1", "arm2"}));
  run("select -add leg1 arm1");
  EXPECT_EQ(run("ls -sl"), (Words{"arm1", "arm2", "leg1"}));
  run("select -d arm1");
  EXPECT_EQ(run("ls -sl"), (Words{"arm2", "leg1"}));
  run("select -cl");
  EXPECT_TRUE(run("ls -sl").empty());
  run("undo; undo; undo");
  EXPECT_EQ(run("ls -sl"), (Words{"arm1", "arm2"}));
  run("redo");
  EXPECT_EQ(run("ls -sl"), (Words{"arm1", "arm2", "leg1"}));
  fails("select -add -d arm1");
}

TEST_F(BuiltinsTest, LsFiltersByTypeHierarchyAndPattern) {
  run("createNode joint -n root; createNode transform -n grp");
  run("createNode joint -n child -p grp; createNode network -n data");
  EXPECT_EQ(run("ls"), (Words{"root", "grp", "child", "data"}));
  // Joints are transforms; DAG order puts parents before children.
  EXPECT_EQ(run("ls -type transform"), (Words{"root", "grp", "child"}));
  EXPECT_EQ(run("ls -type joint"), (Words{"root", "child"}));
  EXPECT_EQ(run("ls -dag"), (Words{"root", "grp", "child"}));
  run("parent child root");
  EXPECT_EQ(run("ls -dag"), (Words{"root", "child", "grp"}));
  EXPECT_EQ(run("ls -type joint c* d?ta"), (Words{"child"}));
  EXPECT_TRUE(run("ls nothing*").empty());
}

TEST_F(BuiltinsTest, TakenNamesGetTheNextNumber) {
  EXPECT_EQ(runOne("createNode joint -n arm3"), "arm3");
  EXPECT_EQ(runOne("createNode joint -n arm3"), "arm4");
  EXPECT_EQ(runOne("createNode transform -n leg"), "leg");
  EXPECT_EQ(runOne("rename arm4 leg"), "leg1");
  EXPECT_EQ(runOne("rename leg1 leg1"), "leg1");
  run("undo");
  EXPECT_FALSE(node("leg1").isNull());
  run("undo");
  EXPECT_FALSE(node("arm4").isNull());
  EXPECT_EQ(runOne("createNode joint"), "joint1");
  run("undo");
  EXPECT_EQ(runOne("createNode joint"), "joint1");
}

TEST_F(BuiltinsTest, GetAttrReportsLocksSizesAndWholeArrays) {
  run("createNode network -n store");
  run("addAttr -ln ramp -at compound -nc 2 -m store");
  run("addAttr -ln ramp_Position -at float -p ramp store");
  run("addAttr -ln ramp_Value -at double -dv -2 -p ramp store");
  run("setAttr store.ramp[5].ramp_Position 0.1");
  run("setAttr store.ramp[2] 0.75 1e-300");
  EXPECT_EQ(runOne("getAttr -size store.ramp"), "2");
  // Index order, one value per leaf; floats print as the floats they are.
  EXPECT_EQ(run("getAttr store.ramp"), (Words{"0.75", "1e-300", "0.1", "-2"}));
  EXPECT_EQ(runOne("getAttr store.ramp[9].ramp_Value"), "-2");
  EXPECT_EQ(runOne("getAttr -l store.ramp[5].ramp_Position"), "0");
  run("setAttr -l on store.ramp[5]");
  // A locked element locks what lies below it.
  EXPECT_EQ(runOne("getAttr -l store.ramp[5].ramp_Position"), "1");
  fails("setAttr store.ramp[5].ramp_Position 0.2");
  run("setAttr store.ramp[2].ramp_Position 0.2");
  EXPECT_EQ(run("listAttr -ud store"), (Words{"ramp", "ramp_Position", "ramp_Value"}));
}

TEST_F(BuiltinsTest, PrecisionRoundsQueriesForReadingAndRefusesNonsense) {
  run("createNode joint -n j; setAttr j.translate 1.23456 -0.0004 2.5");
  run("setAttr j.rotate 10.33333 0 -90; setAttr j.radius 0.125");
  run("addAttr -ln count -at long j; setAttr j.count 7; addAttr -ln weight -at float j");
  run("setAttr j.weight 0.1");
  const struct {
    const char* query;
    Words expected;
  } cases[] = {
      // Without the flag every digit stays, so that the text reads back exactly.
      {"getAttr j.rotate", {"10.33333", "0", "-90"}},
      // Places after the point, trailing zeros dropped and no "-0".
      {"getAttr -precision 3 j.translate", {"1.235", "0", "2.5"}},
      {"getAttr -pre 1 j.rotate", {"10.3", "0", "-90"}},
      {"getAttr -pre 0 j.radius", {"0"}},
      {"getAttr -pre 2 j.weight", {"0.1"}},
      // Whole numbers and enums have nothing to round.
      {"getAttr -pre 0 j.count", {"7"}},
      {"getAttr -pre 2 -as j.rotateOrder", {"xyz"}},
      {"xform -q -t -precision 2 j", {"1.23", "0", "2.5"}},
      {"xform -q -ws -ro -pre 0 j", {"10", "0", "-90"}},
      {"xform -q -pre 4 -t -ro j", {"1.2346", "-0.0004", "2.5", "10.3333", "0", "-90"}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(run(c.query), c.expected) << c.query;

  for (const char* bad : {"getAttr -pre -1 j.translate", "getAttr -pre 18 j.translate",
                          "xform -q -t -pre 99 j", "xform -q -t -pre 1.5 j"})
    EXPECT_NE(fails(bad).find("-pre"), std::string::npos) << bad;
  EXPECT_NE(fails("xform -t 1 2 3 -pre 2 j").find("goes with -q"), std::string::npos);
  EXPECT_EQ(run("xform -q -t j"), (Words{"1.23456", "-4e-04", "2.5"}));
}

TEST_F(BuiltinsTest, DeleteAttrTakesValuesAndConnectionsAndUndoBringsThemBack) {
  run("createNode transform -n a; createNode transform -n b");
  run("addAttr -ln drive -at double -min -5 -max 5 a");
  run("setAttr a.drive 7");
  EXPECT_EQ(value("a", "drive"), 5.0);
  run("connectAttr a.drive b.translateX");
  run("setAttr -l on a.drive");
  EXPECT_EQ(value("b", "translateX"), 5.0);
  run("deleteAttr a.drive");
  EXPECT_TRUE(run("listAttr -ud a").empty());
  EXPECT_EQ(value("b", "translateX"), 0.0);
  run("undo");
  EXPECT_EQ(value("b", "translateX"), 5.0);
  EXPECT_TRUE(plug("a", "drive").isLocked());
  run("redo");
  EXPECT_TRUE(run("listAttr -ud a").empty());
}

TEST_F(BuiltinsTest, DistanceMeasuresBetweenWorldPositions) {
  run("createNode transform -n grp; setAttr grp.scale 2 2 2; setAttr grp.translate 1 0 0");
  run("createNode joint -n a -p grp; setAttr a.translate 0 1 0");
  run("createNode joint -n b; setAttr b.translate 4 6 0");
  // a sits at (1, 2, 0) in the world: the parent's scale counts.
  std::vector<std::string> result = run("distance a b");
  ASSERT_EQ(result.size(), 1u);
  EXPECT_DOUBLE_EQ(std::stod(result[0]), 5.0);
  fails("distance a nothing");
  run("createNode network -n data");
  fails("distance a data");
}

}  // namespace
}  // namespace builtinstest

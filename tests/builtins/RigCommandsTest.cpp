// Building rigs with joint, ikHandle, move, rotate, xform and parent, checked
// against world matrices read through the C++ API.

#include <cmath>

#include "BuiltinsFixture.h"
#include "HDagPath.h"
#include "HFnIkHandle.h"
#include "HFnTransform.h"
#include "HQuaternion.h"

namespace builtinstest {
namespace {

constexpr double kPi = 3.141592653589793;

void expectNear(const HVector& actual, double x, double y, double z, double tolerance = 1e-12) {
  EXPECT_NEAR(actual.x, x, tolerance);
  EXPECT_NEAR(actual.y, y, tolerance);
  EXPECT_NEAR(actual.z, z, tolerance);
}

TEST_F(BuiltinsTest, RepeatedJointBuildsAChainAtWorldPositions) {
  EXPECT_EQ(runOne("joint -p 0 0 0"), "joint1");
  EXPECT_EQ(runOne("joint -p 0 2 0"), "joint2");
  EXPECT_EQ(runOne("joint -p 1 3 0 -n tip12"), "tip12");
  EXPECT_EQ(parentName("joint2"), "joint1");
  EXPECT_EQ(parentName("tip12"), "joint2");
  expectNear(worldPosition("tip12"), 1, 3, 0);
  EXPECT_EQ(run("ls -sl"), std::vector<std::string>{"tip12"});
  EXPECT_EQ(numbers("xform -q -ws -t tip12"), (std::vector<double>{1, 3, 0}));
  // Local translation is relative to the parent.
  EXPECT_EQ(numbers("xform -q -os -t tip12"), (std::vector<double>{1, 1, 0}));

  // With nothing selected the next joint starts a new chain at the top.
  run("select -cl");
  run("joint -p 5 0 0");
  EXPECT_EQ(parentName("joint3"), "");
}

TEST_F(BuiltinsTest, JointUnderRotatedScaledParentLandsAtTheWorldPosition) {
  run("createNode transform -n rig");
  run("setAttr rig.rotate 30 -45 60; setAttr rig.scale 2 0.5 3; setAttr rig.translate 1 2 3");
  run("createNode joint -n root -p rig");
  run("select -r root");
  run("joint -p 4 -5 6 -o 0 90 0 -ra 10 0 0 -roo zxy");
  expectNear(worldPosition("joint1"), 4, -5, 6, 1e-12);
  EXPECT_EQ(parentName("joint1"), "root");
  EXPECT_EQ(value("joint1", "jointOrientY"), kPi / 2);
  EXPECT_EQ(runOne("getAttr -asString joint1.rotateOrder"), "zxy");
  EXPECT_EQ(run("getAttr joint1.rotateAxis"), (std::vector<std::string>{"10", "0", "0"}));
}

TEST_F(BuiltinsTest, IkHandleMakesEffectorAndHandleAtTheEndJoint) {
  run("joint -p 0 0 0; joint -p 0 2 1; joint -p 0 4 0");
  std::vector<std::string> made = run("ikHandle -sj joint1 -ee joint3");
  EXPECT_EQ(made, (std::vector<std::string>{"ikHandle1", "effector1"}));
  HFnIkHandle fn(node("ikHandle1"));
  HDagPath start, effector;
  ASSERT_TRUE(fn.getStartJoint(start).statusCode() == HStatus::kSuccess);
  ASSERT_TRUE(fn.getEffector(effector).statusCode() == HStatus::kSuccess);
  EXPECT_EQ(start.node(), node("joint1"));
  EXPECT_EQ(effector.node(), node("effector1"));
  EXPECT_EQ(parentName("effector1"), "joint2");
  expectNear(worldPosition("ikHandle1"), 0, 4, 0);
  expectNear(worldPosition("effector1"), 0, 4, 0);
  // The bend of the chain points the pole vector along +z.
  std::vector<double> pole = numbers("getAttr ikHandle1.poleVector");
  ASSERT_EQ(pole.size(), 3u);
  EXPECT_NEAR(pole[2], 1.0, 1e-12);

  run("move 2 2 0 ikHandle1");
  expectNear(worldPosition("ikHandle1"), 2, 2, 0);
  EXPECT_EQ(numbers("xform -q -ws -t ikHandle1"), (std::vector<double>{2, 2, 0}));
  run("move -r 0 1 -1 ikHandle1");
  expectNear(worldPosition("ikHandle1"), 2, 3, -1);
}

TEST_F(BuiltinsTest, IkHandleFindsOrMakesItsSolverAndSetsTwistAndPoleVector) {
  run("joint -p 0 0 0; joint -p 1 0 0; joint -p 2 0 0; joint -p 3 0 0");
  std::vector<std::string> first =
      run("ikHandle -sj joint1 -ee joint3 -sol countingSolver -n armIk -twist 90 -pv 0 0 -1");
  EXPECT_EQ(first[0], "armIk");
  // A solver type without a node of it gets a new node.
  HObject solver = HFnIkHandle(node("armIk")).solver();
  ASSERT_FALSE(solver.isNull());
  EXPECT_EQ(HFnDependencyNode(solver).name().asStdString(), "countingSolver1");
  EXPECT_EQ(value("armIk", "twist"), kPi / 2);
  EXPECT_EQ(numbers("getAttr armIk.poleVector"), (std::vector<double>{0, 0, -1}));

  // The type again: the existing node is used. A node name picks that node.
  run("select -cl; joint -p 0 5 0; joint -p 1 5 0; joint -p 2 5 0");
  run("ikHandle -sj joint5 -ee joint7 -sol countingSolver");
  EXPECT_EQ(HFnIkHandle(node("ikHandle1")).solver(), solver);
  run("createNode countingSolver -n spare");
  run("ikHandle -e -sol spare ikHandle1");
  EXPECT_EQ(HFnIkHandle(node("ikHandle1")).solver(), node("spare"));
  run("undo");
  EXPECT_EQ(HFnIkHandle(node("ikHandle1")).solver(), solver);

  // The solver runs once its handle moves.
  int before = CountingSolver::solves();
  run("move -r 0 1 0 armIk");
  EXPECT_GT(CountingSolver::solves(), before);
}

TEST_F(BuiltinsTest, RotateAndXformSetAnglesInDegrees) {
  run("createNode transform -n box");
  run("rotate 0 0 90 box");
  EXPECT_EQ(value("box", "rotateZ"), kPi / 2);
  run("move -r -os 1 0 0 box");  // along the node's own turned x axis
  expectNear(worldPosition("box"), 0, 1, 0);
  run("move 0 0 0 box");
  run("createNode transform -n child -p box; setAttr child.translate 1 0 0");
  expectNear(worldPosition("child"), 0, 1, 0);
  // Relative: a turn about the node's own axes.
  run("rotate -r 90 0 0 box");
  HQuaternion expected =
      HQuaternion(kPi / 2, HVector::xAxis) * HQuaternion(kPi / 2, HVector::zAxis);
  HQuaternion actual;
  HFnTransform(node("box")).getRotation(actual);
  EXPECT_TRUE(actual.isEquivalent(expected, 1e-12) || actual.isEquivalent(-expected, 1e-12));

  run("xform -ro 10 20 30 -t 1 2 3 box");
  EXPECT_EQ(run("xform -q -ro box"), (std::vector<std::string>{"10", "20", "30"}));
  EXPECT_EQ(numbers("xform -q -t box"), (std::vector<double>{1, 2, 3}));
  // World rotation of a child under a rotated parent.
  run("xform -ws -ro 0 0 0 child");
  HDagPath path;
  HDagPath::getAPathTo(node("child"), path);
  HMatrix world = path.inclusiveMatrix();
  for (unsigned r = 0; r < 3; ++r) {
    for (unsigned c = 0; c < 3; ++c)
      EXPECT_NEAR(world[r][c], r == c ? 1.0 : 0.0, 1e-12) << r << c;
  }
}

TEST_F(BuiltinsTest, ParentKeepsTheWorldPlacementUnlessRelative) {
  run("createNode transform -n a; setAttr a.translate 1 2 3; setAttr a.rotate 0 90 0");
  run("setAttr a.scale 2 2 2");
  run("joint -p 5 0 0 -o 0 0 45");
  run("setAttr joint1.rotate 10 0 0");
  HDagPath path;
  HDagPath::getAPathTo(node("joint1"), path);
  HMatrix before = path.inclusiveMatrix();
  run("parent joint1 a");
  EXPECT_EQ(parentName("joint1"), "a");
  EXPECT_TRUE(path.inclusiveMatrix().isEquivalent(before, 1e-12));
  // The joint orientation is kept; the rotation takes up the difference.
  EXPECT_EQ(value("joint1", "jointOrientZ"), kPi / 4);
  run("parent -w joint1");
  EXPECT_EQ(parentName("joint1"), "");
  EXPECT_TRUE(path.inclusiveMatrix().isEquivalent(before, 1e-12));
  double local[3] = {value("joint1", "translateX"), value("joint1", "translateY"),
                     value("joint1", "translateZ")};
  run("parent -r joint1 a");
  EXPECT_EQ(value("joint1", "translateX"), local[0]);
  EXPECT_FALSE(path.inclusiveMatrix().isEquivalent(before, 1e-6));
}

TEST_F(BuiltinsTest, ZeroScaleParentsGiveFiniteValues) {
  run("createNode transform -n flat; setAttr flat.scale 0 1 0; setAttr flat.rotate 0 0 30");
  run("createNode transform -n box; setAttr box.translate 1 2 3; setAttr box.rotate 10 20 30");
  run("parent box flat");
  run("move 4 5 6 box");
  run("rotate -r 15 0 0 box");
  run("createNode joint -n j0; setAttr j0.scale 0 0 0; select -r j0");
  run("joint -p 1 1 1");
  EXPECT_EQ(parentName("joint1"), "j0");
  run("parent -w box");
  for (const char* name : {"box", "joint1"}) {
    for (const char* attribute : {"translateX", "translateY", "translateZ", "rotateX", "rotateY",
                                  "rotateZ", "scaleX", "scaleY", "scaleZ", "shearXY"}) {
      EXPECT_TRUE(std::isfinite(value(name, attribute))) << name << "." << attribute;
    }
  }
}

}  // namespace
}  // namespace builtinstest

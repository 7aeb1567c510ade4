// Inputs of a solve that reach it other than by typing values on the handle:
// the spaces the handle and its parent put around the pole vector, drivers
// connected into transforms, and rest poses taken from joints of every
// rotate order.

#include "StackFixture.h"

namespace {

using e2e::runs;
using e2e::triple;
using e2e::Vec3;

class HandleInputs : public e2e::StackTest {
 protected:
  // A bent 4-joint chain (joint1..4) with a veltra handle.
  static void buildChain() {
    ASSERT_TRUE(
        runs("select -cl; joint -p 0 0 0; joint -p 1 1 0.2; joint -p 2 0.3 -0.2; "
             "joint -p 3 1 0; select -cl; ikHandle -sj joint1 -ee joint4 -sol veltra"));
  }
  static std::vector<double> rotations() {
    std::vector<double> values;
    for (const char* joint : {"joint1", "joint2", "joint3"}) {
      const Vec3 r = e2e::plugTriple(joint, "rotate");
      values.insert(values.end(), {r.x, r.y, r.z});
    }
    return values;
  }
  static void expectNear(const std::vector<double>& actual, const std::vector<double>& expected,
                         double tolerance, const std::string& what) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i)
      EXPECT_NEAR(actual[i], expected[i], tolerance) << what << ", value " << i;
  }
  // The host's own answer for a world position (xform -q -ws -t).
  static Vec3 hostWorld(const std::string& node) {
    HStringArray result;
    EXPECT_EQ(HGlobal::executeCommand(HString(("xform -q -ws -t " + node).c_str()), result),
              HStatus::kSuccess);
    if (result.length() != 3)
      return {};
    return {result[0].asDouble(), result[1].asDouble(), result[2].asDouble()};
  }
};

TEST_F(HandleInputs, PoleVectorIsTakenInTheHandlesParentSpace) {
  buildChain();
  // The handle hangs under a group at its goal, so rotating either one leaves
  // the goal where it is.
  ASSERT_TRUE(
      runs("createNode transform -n grp; move 2.2 0.8 0.4 grp; parent ikHandle1 grp; "
           "move 2.2 0.8 0.4 ikHandle1; setAttr ikHandle1.poleVector 0.3 1 0.5"));
  const std::vector<double> plain = rotations();

  // Turning the handle itself changes nothing.
  ASSERT_TRUE(runs("rotate 20 35 50 ikHandle1"));
  expectNear(rotations(), plain, 1e-9, "handle rotated");
  ASSERT_TRUE(runs("rotate 0 0 0 ikHandle1"));

  // Turning the parent turns the pole vector with it: the same as typing the
  // turned vector in under an unturned parent.
  // About x, nearly the root-to-goal axis: the chain's plane turns with it.
  ASSERT_TRUE(runs("rotate 90 10 0 grp"));
  const std::vector<double> parentTurned = rotations();
  const e2e::Mat4 turn = chainfixture::worldMatrix(e2e::nodeNamed("grp"));
  const Vec3 pole{0.3, 1, 0.5};
  const Vec3 turned{pole.x * turn[0][0] + pole.y * turn[1][0] + pole.z * turn[2][0],
                    pole.x * turn[0][1] + pole.y * turn[1][1] + pole.z * turn[2][1],
                    pole.x * turn[0][2] + pole.y * turn[1][2] + pole.z * turn[2][2]};
  ASSERT_TRUE(runs("rotate 0 0 0 grp; setAttr ikHandle1.poleVector " + triple(turned)));
  expectNear(rotations(), parentTurned, 1e-9, "pole vector turned by hand");
  double change = 0.0;
  for (size_t i = 0; i < plain.size(); ++i)
    change = std::max(change, std::fabs(parentTurned[i] - plain[i]));
  EXPECT_GT(change, 0.1) << "turning the parent must turn the chain";
}

TEST_F(HandleInputs, ConnectedDriversMoveTheirDestinations) {
  buildChain();
  // The handle is driven through a relay (two connections), the joint directly.
  ASSERT_TRUE(
      runs("select -cl; joint -p 5 0 0 -n armA; joint -p 6 0 0 -n armB; "
           "createNode transform -n driver; createNode transform -n relay; "
           "createNode transform -n spinner; "
           "connectAttr driver.translate relay.translate; "
           "connectAttr relay.translate ikHandle1.translate; "
           "connectAttr spinner.rotate armA.rotate"));
  for (const Vec3& goal : {Vec3{2, 1, 0.5}, Vec3{1.5, 1, 0.5}}) {
    ASSERT_TRUE(runs("setAttr driver.translate " + triple(goal)));
    EXPECT_LT(e2e::distance(hostWorld("ikHandle1"), goal), 1e-12) << triple(hostWorld("ikHandle1"));
    // The solve follows the driven handle: the chain's end reaches it.
    EXPECT_LT(e2e::distance(hostWorld("effector1"), goal), 1e-4) << triple(hostWorld("effector1"));
  }
  ASSERT_TRUE(runs("setAttr spinner.rotateZ 90"));
  EXPECT_LT(e2e::distance(hostWorld("armB"), Vec3{5, 1, 0}), 1e-12) << triple(hostWorld("armB"));
  ASSERT_TRUE(runs("undo"));
  EXPECT_LT(e2e::distance(hostWorld("armB"), Vec3{6, 0, 0}), 1e-12) << triple(hostWorld("armB"));
}

TEST_F(HandleInputs, RestPoseOfEveryRotateOrderComesBackAtTheRestEnd) {
  const std::vector<std::string> rotationsDeg = {"10 20 30", "-15 25 40", "5 -10 20"};
  for (const char* order : {"xyz", "yzx", "zxy", "xzy", "yxz", "zyx"}) {
    SCOPED_TRACE(order);
    ASSERT_TRUE(runs("file -new"));
    std::string build = "select -cl";
    for (const char* position : {"0 0 0", "1 1 0.2", "2 0.3 -0.2", "3 1 0"})
      build += std::string("; joint -roo ") + order + " -p " + position;
    for (size_t i = 0; i < rotationsDeg.size(); ++i)
      build += "; setAttr joint" + std::to_string(i + 1) + ".rotate " + rotationsDeg[i];
    ASSERT_TRUE(runs(build));
    const std::vector<double> posed = rotations();
    const Vec3 restEnd = hostWorld("joint4");
    // The first solve takes the pose as the rest pose and, with the handle at
    // the rest end, gives it back.
    ASSERT_TRUE(runs("select -cl; ikHandle -sj joint1 -ee joint4 -sol veltra"));
    std::vector<double> preferred;
    for (const char* joint : {"joint1", "joint2", "joint3"}) {
      const Vec3 p = e2e::plugTriple(joint, "preferredAngle");
      preferred.insert(preferred.end(), {p.x, p.y, p.z});
    }
    expectNear(preferred, posed, 1e-12, "preferred angles");
    expectNear(rotations(), posed, 1e-9, "first solve");
    ASSERT_TRUE(runs("move 1 2 1 ikHandle1; move " + triple(restEnd) + " ikHandle1"));
    expectNear(rotations(), posed, 1e-9, "back at the rest end");
    EXPECT_LT(e2e::distance(hostWorld("effector1"), restEnd), 1e-9);
  }
}

}  // namespace

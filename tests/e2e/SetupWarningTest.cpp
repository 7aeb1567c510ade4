// Set-ups that run but cannot do what is asked say so, once: inner joints that
// are straight or folded flat at rest, and handles without a solver.

#include <fstream>

#include "StackFixture.h"

namespace {

using e2e::runs;

class SetupWarning : public e2e::StackTest {
 protected:
  // Runs commands (each must succeed) and returns the warnings they printed.
  static std::string warningsOf(const std::string& commands) {
    ErrorCapture errors;
    const HStatus status = HGlobal::executeCommand(HString(commands.c_str()), false, true);
    EXPECT_EQ(status, HStatus::kSuccess) << commands << ": " << errors.text();
    return errors.text();
  }
  static std::string answer(const std::string& command) {
    HString result;
    EXPECT_EQ(HGlobal::executeCommand(HString(command.c_str()), result), HStatus::kSuccess);
    return result.asChar();
  }
  // A chain through the points, joint1..N, with a veltra handle over all of it.
  static std::string chain(const std::vector<std::string>& points) {
    std::string text = "select -cl";
    for (const std::string& p : points)
      text += "; joint -p " + p;
    return text + "; ikHandle -sj joint1 -ee joint" + std::to_string(points.size()) +
           " -sol veltra";
  }
};

TEST_F(SetupWarning, UnbendableRestJointsAreNamedOncePerRestPose) {
  const std::string straight = chain({"0 0 0", "1 0 0", "2 0 0", "3 0 0"});
  std::string said = warningsOf(straight);
  EXPECT_NE(said.find("Warning: ikHandle1: joint2 and joint3 lie straight or folded flat in the "
                      "rest pose, so they never bend"),
            std::string::npos)
      << said;
  EXPECT_NE(said.find("then run veltraRestPose ikHandle1."), std::string::npos) << said;
  // Further solves, and undoing them, do not repeat it.
  EXPECT_EQ(warningsOf("move 1 1 0 ikHandle1; move 2 0.5 0 ikHandle1; undo"), "");
  // A new rest pose is checked again: joint2 now bends, joint3 still cannot.
  said = warningsOf("setAttr joint2.preferredAngle 0 0 30");
  EXPECT_NE(said.find("Warning: ikHandle1: joint3 lies straight or folded flat in the rest pose, "
                      "so it never bends"),
            std::string::npos)
      << said;
  EXPECT_EQ(warningsOf("move 1 1 0 ikHandle1"), "");
  EXPECT_EQ(warningsOf("setAttr joint3.preferredAngle 0 0 -30; move 1 1.5 0 ikHandle1"), "");
}

TEST_F(SetupWarning, FoldedFlatJointsWarnAndBentChainsDoNot) {
  std::string said = warningsOf(chain({"0 0 0", "2 0 0", "1 0 0"}));
  EXPECT_NE(said.find("Warning: ikHandle1: joint2 lies straight or folded flat"), std::string::npos)
      << said;
  ASSERT_TRUE(runs("file -new"));
  EXPECT_EQ(warningsOf(chain({"0 0 0", "1 1 0", "2 0 0", "3 1 0"}) + "; move 2 0 0 ikHandle1"), "");
}

TEST_F(SetupWarning, HandlesWithoutASolverWarnOnceAndSayWhichSolverTheyHave) {
  ASSERT_TRUE(runs("select -cl; joint -p 0 0 0; joint -p 1 1 0; joint -p 2 0 0"));
  const std::string noSolver =
      "Warning: IK handle ikHandle1 has no solver (none was given, or it was deleted)";
  std::string said = warningsOf("ikHandle -sj joint1 -ee joint3");
  EXPECT_NE(said.find(noSolver), std::string::npos) << said;
  EXPECT_EQ(warningsOf("move 1 0 0 ikHandle1; move 1.5 0 0 ikHandle1"), "");
  EXPECT_EQ(answer("ikHandle -q -sol ikHandle1"), "");
  EXPECT_EQ(answer("ikHandle -q -sj ikHandle1"), "joint1");
  EXPECT_EQ(answer("ikHandle -q -ee ikHandle1"), "effector1");

  // Given a solver it solves; losing it warns again, once.
  EXPECT_EQ(warningsOf("ikHandle -e -sol veltra ikHandle1"), "");
  EXPECT_EQ(answer("ikHandle -query -solver ikHandle1"), "veltra1");  // made for it
  said = warningsOf("delete veltra1; move 1 0.5 0 ikHandle1");
  EXPECT_NE(said.find(noSolver), std::string::npos) << said;
  EXPECT_EQ(warningsOf("move 1 0.2 0 ikHandle1"), "");
  EXPECT_EQ(answer("ikHandle -q -sol ikHandle1"), "");

  // A saved scene, replayed command by command, creates each handle before
  // linking its chain and solver: no warning while it is being built.
  ASSERT_TRUE(runs("ikHandle -e -sol veltra ikHandle1"));
  const std::string saved = ::testing::TempDir() + "no_solver_warning.hsa";
  ASSERT_TRUE(runs("file -save " + saved + "; file -new -force"));
  std::ifstream in(saved);
  std::string line, replayed;
  while (std::getline(in, line))
    replayed += warningsOf(line);
  EXPECT_EQ(replayed, "");

  for (const char* bad : {"ikHandle -q -sol joint1", "ikHandle -q ikHandle1",
                          "ikHandle -q -sol -sj ikHandle1", "ikHandle -q -e -sol ikHandle1"}) {
    ErrorCapture errors;
    EXPECT_NE(HGlobal::executeCommand(bad), HStatus::kSuccess) << bad;
    EXPECT_NE(errors.text().find("Error: ikHandle: "), std::string::npos) << bad;
  }
}

}  // namespace

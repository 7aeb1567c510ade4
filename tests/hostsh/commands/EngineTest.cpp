// The engine around each command: results, error messages, the current
// command for displayError, nested commands, and the output of display mode.

#include "HPxCommand.h"
#include "HostshTestUtil.h"

#include <cmath>
#include <string>

using namespace hostshtest;

namespace {

class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override { resetProbe(); }
};

TEST_F(EngineTest, ResultsComeFromTheLastCommand) {
  EXPECT_EQ(results("probeArgs a b; probeCounter -by 4"), std::vector<std::string>{"4"});
  HString joined;
  ASSERT_TRUE(succeeded(HGlobal::executeCommand("probeArgs x y z", joined)));
  EXPECT_EQ(joined, "x y z");
  // A failure hands back no result.
  HStatus status;
  EXPECT_TRUE(results("probeArgs a; probeFail -quiet", &status).empty());
  EXPECT_FALSE(succeeded(status));
}

TEST_F(EngineTest, DisplayEchoesCommandsAndPrintsResults) {
  Capture capture;
  ASSERT_TRUE(
      succeeded(HGlobal::executeCommand("probeArgs 1 2.5 -3; probeArgs a 2; probeArgs", true)));
  // Numbers together on one line; a result with a name, one value per line;
  // no result, no line.
  EXPECT_EQ(capture.out(), "probeArgs 1 2.5 -3\n1 2.5 -3\nprobeArgs a 2\na\n2\nprobeArgs\n");
  capture.clear();
  ASSERT_TRUE(succeeded(HGlobal::executeCommand("probeArgs 1 2.5 -3", false)));
  EXPECT_EQ(capture.out(), "");
}

TEST_F(EngineTest, NumberResultsAreShortestRoundTrip) {
  struct ResultCommand : HPxCommand {
    HStatus doIt(const HArgList&) override { return HStatus(HStatus::kSuccess); }
  } command;
  for (double value : {0.1, 1.0 / 3.0, -2.5e-300, 1e21, -0.0}) {
    command.setResult(value);
    const std::string text = command.currentResult()[0].asStdString();
    EXPECT_EQ(std::stod(text), value) << text;
    EXPECT_EQ(std::signbit(std::stod(text)), std::signbit(value)) << text;
  }
  command.setResult(0.1);
  EXPECT_EQ(command.currentResult()[0], "0.1");
}

TEST_F(EngineTest, ErrorsNameTheCommandAndAreShownOnce) {
  Capture capture;
  HStatus status = run("probeFail");
  EXPECT_FALSE(succeeded(status));
  EXPECT_EQ(capture.err(), "Error: probeFail: the probe failed on purpose\n");
  EXPECT_EQ(status.errorString(), "probeFail: the probe failed on purpose");
  // A command that fails without a word gets the engine's message.
  capture.clear();
  status = run("probeFail -quiet");
  EXPECT_EQ(capture.err(), "Error: probeFail: quiet probe failure\n");
  // Outside any command there is no name to give.
  capture.clear();
  HPxCommand::displayError("plain");
  HPxCommand::displayWarning("careful");
  EXPECT_EQ(capture.err(), "Error: plain\nWarning: careful\n");
  HPxCommand::displayInfo("note");
  EXPECT_EQ(capture.out(), "note\n");
}

TEST_F(EngineTest, NestedCommandsReportTheirOwnNameAndTheScriptsLine) {
  Capture capture;
  HStatus status = run("probeRun \"probeCounter; probeFail\"");
  EXPECT_FALSE(succeeded(status));
  EXPECT_EQ(capture.err(), "Error: probeFail: the probe failed on purpose\n");
  EXPECT_EQ(probeLog().counter, 1);
  // Commands that a scripted command runs report the script's line.
  capture.clear();
  hostdetail::RunOptions options;
  options.source = "rig.hsa";
  status = hostdetail::runCommands("probeCounter\nprobeRun \"probeFail -quiet\"", options);
  EXPECT_EQ(capture.err(), "Error: rig.hsa:2: probeFail: quiet probe failure\n");
}

TEST_F(EngineTest, CommandObjectsAreDeletedUnlessQueued) {
  EXPECT_FALSE(succeeded(run("probeArgs a; probeFail -quiet; probeArgs b")));
  EXPECT_EQ(probeLog().alive, 0);
  ASSERT_TRUE(succeeded(run("probeCounter; probeCounter")));
  EXPECT_EQ(probeLog().alive, 2);  // both on the undo queue
  ASSERT_TRUE(succeeded(HGlobal::executeCommand("probeCounter", false, false)));
  EXPECT_EQ(probeLog().alive, 2);
  hostdetail::clearUndoQueue();
  EXPECT_EQ(probeLog().alive, 0);
}

}  // namespace

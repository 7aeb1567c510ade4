// The undo queue: what goes onto it, undo and redo order, the redo side,
// failures, and commands that are not recorded.

#include "HFileIO.h"
#include "HostshTestUtil.h"

using namespace hostshtest;

namespace {

class UndoTest : public ::testing::Test {
 protected:
  void SetUp() override { resetProbe(); }
  int counter() const { return probeLog().counter; }
};

TEST_F(UndoTest, UndoAndRedoWalkTheQueueInOrder) {
  ASSERT_TRUE(succeeded(run("probeCounter -by 1; probeCounter -by 10; probeCounter -by 100")));
  ASSERT_TRUE(succeeded(run("undo; undo; undo")));
  EXPECT_EQ(counter(), 0);
  ASSERT_TRUE(succeeded(run("redo; redo")));
  EXPECT_EQ(counter(), 11);
  const std::vector<std::string> calls = {"do counter 1",     "do counter 10",   "do counter 100",
                                          "undo counter 100", "undo counter 10", "undo counter 1",
                                          "do counter 1",     "do counter 10"};
  EXPECT_EQ(probeLog().calls, calls);
  // undo and redo are not queued themselves.
  EXPECT_EQ(hostdetail::undoDepth(), 2u);
  EXPECT_EQ(hostdetail::redoDepth(), 1u);
}

TEST_F(UndoTest, ANewCommandClearsTheRedoSide) {
  ASSERT_TRUE(succeeded(run("probeCounter -by 1; probeCounter -by 2; undo")));
  const int aliveBefore = probeLog().alive;
  ASSERT_TRUE(succeeded(run("probeCounter -by 5")));
  EXPECT_EQ(hostdetail::redoDepth(), 0u);
  EXPECT_EQ(probeLog().alive, aliveBefore);  // the dropped command was deleted
  Capture capture;
  ASSERT_TRUE(succeeded(run("redo")));
  EXPECT_TRUE(capture.errHas("Warning: redo: There are no more commands to redo."));
  EXPECT_EQ(counter(), 6);
}

TEST_F(UndoTest, CommandsThatAreNotRecordedLeaveTheQueueAlone) {
  ASSERT_TRUE(succeeded(run("probeCounter -by 1; undo")));
  // Neither commands that cannot be undone nor failures are a new branch.
  Capture capture;
  ASSERT_TRUE(succeeded(run("probeArgs x; print \"\"")));
  EXPECT_FALSE(succeeded(run("probeFail")));
  // Undoable commands run without undo: directly, while recording is off
  // (as while a file is read), or nested without asking for it.
  ASSERT_TRUE(succeeded(HGlobal::executeCommand("probeCounter -by 2", false, false)));
  hostdetail::setUndoRecording(false);
  ASSERT_TRUE(succeeded(run("probeCounter -by 3")));
  hostdetail::setUndoRecording(true);
  ASSERT_TRUE(succeeded(run("probeRun \"probeCounter -by 4\"")));
  EXPECT_EQ(hostdetail::undoDepth(), 0u);
  EXPECT_EQ(hostdetail::redoDepth(), 1u);
  ASSERT_TRUE(succeeded(run("redo")));
  EXPECT_EQ(counter(), 10);
  ASSERT_TRUE(succeeded(run("probeRun -undoable \"probeCounter -by 4\"")));
  EXPECT_EQ(hostdetail::undoDepth(), 2u);
}

TEST_F(UndoTest, AFailedUndoKeepsTheCommandInPlace) {
  ASSERT_TRUE(succeeded(run("probeCounter; probeBadUndo")));
  Capture capture;
  EXPECT_FALSE(succeeded(run("undo")));
  EXPECT_TRUE(capture.errHas("Error: undo: Undo of probeBadUndo failed: cannot go back"))
      << capture.err();
  EXPECT_EQ(hostdetail::undoDepth(), 2u);
  EXPECT_EQ(hostdetail::redoDepth(), 0u);
  // Nothing past it can be undone either: the order of history holds.
  EXPECT_FALSE(succeeded(run("undo")));
  EXPECT_EQ(counter(), 1);
}

TEST_F(UndoTest, ANewSceneEmptiesTheQueue) {
  ASSERT_TRUE(succeeded(run("probeCounter; probeCounter; undo")));
  ASSERT_TRUE(succeeded(run("file -new -f")));
  EXPECT_EQ(hostdetail::undoDepth(), 0u);
  EXPECT_EQ(hostdetail::redoDepth(), 0u);
  EXPECT_EQ(probeLog().alive, 0);
}

TEST_F(UndoTest, LongHistoriesUndoCompletely) {
  for (int i = 0; i < 500; ++i)
    ASSERT_TRUE(succeeded(run("probeCounter -by 2")));
  for (int i = 0; i < 500; ++i)
    ASSERT_TRUE(succeeded(run("undo")));
  EXPECT_EQ(counter(), 0);
}

}  // namespace

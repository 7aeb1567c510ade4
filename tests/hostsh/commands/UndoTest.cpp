// The undo queue: what goes onto it, undo and redo order, the redo side,
// failures, and commands that are not recorded.

#include <cstdio>
#include <fstream>
#include <sstream>

#include "HFileIO.h"
#include "HostshTestUtil.h"

using namespace hostshtest;

namespace {

class UndoTest : public ::testing::Test {
 protected:
  void SetUp() override { resetProbe(); }
  // The length is a setting of the whole session: every test leaves the default.
  void TearDown() override {
    hostdetail::setUndoInfinite(false);
    hostdetail::setUndoLength(hostdetail::kDefaultUndoLength);
  }
  int counter() const { return probeLog().counter; }
  // Adds 1, 2, 4, ... so that the counter tells exactly which steps are in effect.
  void addPowers(int first, int count) {
    for (int i = first; i < first + count; ++i)
      ASSERT_TRUE(succeeded(run("probeCounter -by " + std::to_string(1 << i))));
  }
  // Undoes until the queue says there is nothing left; the number undone.
  int undoAll() {
    int undone = 0;
    bool done = true;
    while (done && undone < 100000) {
      hostdetail::undoCommand(&done);
      undone += done ? 1 : 0;
    }
    return undone;
  }
  std::string query(const std::string& flag) {
    const std::vector<std::string> values = results("undoInfo -q " + flag);
    return values.empty() ? "" : values[0];
  }
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

// The queued commands refer to nodes of the scene that has gone.
TEST_F(UndoTest, ANewOrOpenedSceneEmptiesTheQueue) {
  const std::string saved = binaryDir() + "/undo_test_scene.hsa";
  ASSERT_TRUE(succeeded(run("file -new -f; file -save \"" + saved + "\"")));
  for (const std::string& clear : {std::string("file -new -f"), "file -open \"" + saved + "\""}) {
    ASSERT_TRUE(succeeded(run("probeCounter; probeCounter; undo")));
    ASSERT_TRUE(succeeded(run(clear))) << clear;
    EXPECT_EQ(hostdetail::undoDepth(), 0u) << clear;
    EXPECT_EQ(hostdetail::redoDepth(), 0u) << clear;
    EXPECT_EQ(probeLog().alive, 0) << clear;
  }
  std::remove(saved.c_str());
}

TEST_F(UndoTest, LongHistoriesUndoCompletely) {
  for (int i = 0; i < 500; ++i)
    ASSERT_TRUE(succeeded(run("probeCounter -by 2")));
  for (int i = 0; i < 500; ++i)
    ASSERT_TRUE(succeeded(run("undo")));
  EXPECT_EQ(counter(), 0);
}

TEST_F(UndoTest, TheLengthBoundsTheQueueAndDropsTheOldestSteps) {
  EXPECT_EQ(query("-length"), "1000");
  for (int length : {1, 3, 7}) {
    resetProbe();
    ASSERT_TRUE(succeeded(run("undoInfo -l " + std::to_string(length))));
    EXPECT_EQ(query("-l"), std::to_string(length));
    for (int i = 0; i < length + 4; ++i) {
      addPowers(i, 1);
      EXPECT_LE(hostdetail::undoDepth(), size_t(length));
      // Dropped commands are destroyed, not kept aside.
      EXPECT_EQ(probeLog().alive, std::min(i + 1, length));
    }
    EXPECT_EQ(undoAll(), length);
    // Only the newest steps came off: the four oldest stay in effect.
    EXPECT_EQ(counter(), 15) << "length " << length;
  }
}

TEST_F(UndoTest, ShrinkingDropsAtOnceAndKeepsTheNearestRedoSteps) {
  addPowers(0, 6);  // counter 63
  ASSERT_TRUE(succeeded(run("undo; undo")));
  ASSERT_EQ(counter(), 15);
  // Four undo steps and two redo steps do not fit in three: the three oldest
  // undo steps go, the redo steps stay.
  ASSERT_TRUE(succeeded(run("undoInfo -length 3")));
  EXPECT_EQ(hostdetail::undoDepth(), 1u);
  EXPECT_EQ(hostdetail::redoDepth(), 2u);
  EXPECT_EQ(probeLog().alive, 3);
  ASSERT_TRUE(succeeded(run("redo; redo")));
  EXPECT_EQ(counter(), 63);
  EXPECT_EQ(undoAll(), 3);
  EXPECT_EQ(counter(), 7);
  // Redo steps alone over the length: the furthest go, so that redo still
  // replays in order from where the scene is.
  ASSERT_TRUE(succeeded(run("undoInfo -length 1")));
  ASSERT_TRUE(succeeded(run("redo")));
  EXPECT_EQ(counter(), 15);
  Capture capture;
  ASSERT_TRUE(succeeded(run("redo")));
  EXPECT_TRUE(capture.errHas("There are no more commands to redo."));
  EXPECT_EQ(counter(), 15);
}

TEST_F(UndoTest, LengthZeroKeepsNothingAndInfinityKeepsEverything) {
  ASSERT_TRUE(succeeded(run("probeCounter; undoInfo -length 0")));
  EXPECT_EQ(probeLog().alive, 0);
  addPowers(0, 3);
  EXPECT_EQ(hostdetail::undoDepth(), 0u);
  EXPECT_EQ(undoAll(), 0);
  EXPECT_EQ(counter(), 8);

  ASSERT_TRUE(succeeded(run("undoInfo -length 2; undoInfo -infinity on")));
  EXPECT_EQ(query("-infinity"), "1");
  EXPECT_EQ(query("-length"), "2");  // kept for when the limit comes back
  addPowers(3, 5);
  EXPECT_EQ(hostdetail::undoDepth(), 5u);
  ASSERT_TRUE(succeeded(run("undoInfo -in off")));
  EXPECT_EQ(query("-in"), "0");
  EXPECT_EQ(hostdetail::undoDepth(), 2u);
  EXPECT_EQ(probeLog().alive, 2);
}

TEST_F(UndoTest, BadUndoInfoArgumentsAreRefusedAndChangeNothing) {
  addPowers(0, 3);
  ASSERT_TRUE(succeeded(run("undoInfo -length 5")));
  const struct {
    const char* command;
    const char* message;
  } cases[] = {
      {"undoInfo -length -1", "'-1' is not a number of steps (a whole number, 0 or more)"},
      {"undoInfo -length abc", "'abc' is not a number of steps"},
      {"undoInfo -length 2.5", "'2.5' is not a number of steps"},
      {"undoInfo -length 1e99", "'1e99' is not a number of steps"},
      {"undoInfo -length", "-length needs a number of steps"},
      {"undoInfo -infinity maybe", "'maybe' is not on or off"},
      {"undoInfo -infinity", "-infinity needs on or off"},
      {"undoInfo", "Give one of -length and -infinity"},
      {"undoInfo -length -infinity on", "Give one of -length and -infinity"},
      {"undoInfo -q -length 4", "A query takes no value"},
  };
  for (const auto& c : cases) {
    Capture capture;
    EXPECT_FALSE(succeeded(run(c.command))) << c.command;
    EXPECT_TRUE(capture.errHas(std::string("Error: undoInfo: ") + c.message))
        << c.command << ": " << capture.err();
  }
  EXPECT_EQ(query("-length"), "5");
  EXPECT_EQ(query("-infinity"), "0");
  EXPECT_EQ(hostdetail::undoDepth(), 3u);
}

TEST_F(UndoTest, TheLengthIsASessionSettingThatScenesNeitherSaveNorChange) {
  const std::string path =
      ::testing::TempDir() + "undo_length_" + std::to_string(getpid()) + ".hsa";
  ASSERT_TRUE(succeeded(run("undoInfo -length 7; createNode transform")));
  ASSERT_TRUE(succeeded(run("file -save \"" + path + "\"")));
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str().find("undoInfo"), std::string::npos) << text.str();
  ASSERT_TRUE(succeeded(run("undoInfo -length 3; file -new; probeCounter")));
  EXPECT_EQ(query("-length"), "3");
  ASSERT_TRUE(succeeded(run("file -open \"" + path + "\"")));
  EXPECT_EQ(query("-length"), "3");
  std::remove(path.c_str());
}

}  // namespace

// Completion at the prompt: which words are offered where, from the command
// table (plug-in commands included), the commands' flags and the scene.

#include "HFileIO.h"
#include "HostshTestUtil.h"
#include "commands/Complete.h"

using namespace hostshtest;

namespace {

using Words = std::vector<std::string>;

class CompleteTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resetProbe();
    HFileIO::newFile(true);
    ASSERT_TRUE(succeeded(run("createNode transform -n shoulder; createNode transform -n shin")));
    ASSERT_TRUE(succeeded(run("addAttr -ln shiny -at double shin")));
  }
  void TearDown() override { HFileIO::newFile(true); }
};

TEST_F(CompleteTest, OffersCommandsFlagsNodesAndAttributesByPlace) {
  const struct {
    const char* line;  // the cursor at the end, or at '|'
    size_t start;
    Words candidates;
  } cases[] = {
      {"crea", 0, {"createNode"}},
      {"ex", 0, {"exit"}},
      {"probeCo", 0, {"probeCounter"}},  // a plug-in's command
      {"select -r sh", 10, {"shin", "shoulder"}},
      {"print 1; select sho", 16, {"shoulder"}},
      {"getAttr shin.shi", 8, {"shin.shiny"}},
      {"getAttr shoulder.translateZ", 8, {"shoulder.translateZ"}},
      {"setAttr shoulder.rotateO", 8, {"shoulder.rotateOrder"}},
      {"getAttr -pre", 8, {"-pre", "-precision"}},
      {"probeCounter -b", 13, {"-b", "-by"}},  // a plug-in command's flag
      {"help ikH", 5, {"ikHandle"}},
      {"select -r | shin", 10, {"shin", "shoulder"}},
      // Nothing for unknown nodes and commands, inside strings and comments.
      {"getAttr elbow.tr", 8, {}},
      {"nosuch -f", 7, {}},
      {"print \"sh", 6, {}},
      {"// select sh", 12, {}},
  };
  for (const auto& c : cases) {
    std::string line = c.line;
    const size_t bar = line.find('|');
    size_t cursor = line.size();
    if (bar != std::string::npos) {
      line.erase(bar, 1);
      cursor = bar;
    }
    const hostdetail::Completion got = hostdetail::completeAt(line, cursor);
    EXPECT_EQ(got.candidates, c.candidates) << c.line;
    if (!c.candidates.empty()) {
      EXPECT_EQ(got.start, c.start) << c.line;
    }
    EXPECT_FALSE(got.path) << c.line;
  }
  // Commands and flags are whole words; a node name may go on with ".attr".
  EXPECT_TRUE(hostdetail::completeAt("crea", 4).wholeWord);
  EXPECT_FALSE(hostdetail::completeAt("select sh", 9).wholeWord);
}

TEST_F(CompleteTest, FilePathsAreLeftToTheFileSystem) {
  for (const char* line : {"source sc", "file -open sc", "snapshot -o pic", "print ./da"})
    EXPECT_TRUE(hostdetail::completeAt(line, std::string(line).size()).path) << line;
  EXPECT_FALSE(hostdetail::completeAt("snapshot -w 4", 13).path);
}

}  // namespace

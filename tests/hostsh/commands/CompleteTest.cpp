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
  }
  // Commands and flags are whole words; a node name may go on with ".attr".
  EXPECT_TRUE(hostdetail::completeAt("crea", 4).wholeWord);
  EXPECT_FALSE(hostdetail::completeAt("select sh", 9).wholeWord);
}

TEST_F(CompleteTest, PathsAreCompletedFromTheFileSystem) {
  char pattern[] = "/tmp/completeTestXXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const std::string dir = pattern;
  ASSERT_EQ(std::system(("mkdir '" + dir + "/scenes' && touch '" + dir + "/scenes/leg.hsa' '" +
                         dir + "/scenes/.hidden' '" + dir + "/scene.hsa' '" + dir + "/pic.png'")
                            .c_str()),
            0);
  const std::string d = dir + "/";
  const struct {
    std::string line;
    Words candidates;
  } cases[] = {
      // Folders end in '/', so that the next Tab goes into them.
      {"source " + d + "sc", {d + "scene.hsa", d + "scenes/"}},
      {"file -open " + d + "scenes/", {d + "scenes/leg.hsa"}},
      {"file -open " + d + "scenes/.", {d + "scenes/.hidden"}},
      {"snapshot -o " + d + "p", {d + "pic.png"}},
      {"print " + d + "pi", {d + "pic.png"}},  // a word with a slash
      {"source " + d + "none", {}},
      {"snapshot -w " + d + "p", {d + "pic.png"}},
  };
  for (const auto& c : cases) {
    const hostdetail::Completion got = hostdetail::completeAt(c.line, c.line.size());
    EXPECT_EQ(got.candidates, c.candidates) << c.line;
    EXPECT_FALSE(got.wholeWord) << c.line;
  }
  std::system(("rm -rf '" + dir + "'").c_str());
}

}  // namespace

// Seeded random mutation of command text and of scene files, run in-process
// for a bounded number of inputs. Properties checked on every input:
//  - nothing crashes, and the engine is back outside any command;
//  - undoing everything a command text queued gives back the empty scene;
//  - a scene file either opens, or leaves the scene exactly as it was;
//  - a scene file that opens saves, reopens and saves again to the same bytes.
// VELTRA_FUZZ_ITERATIONS scales the number of inputs (default 1).

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "HFileIO.h"
#include "HostshTestUtil.h"
#include "commands/CommandRegistry.h"

using namespace hostshtest;

namespace {

int scale() {
  const char* value = std::getenv("VELTRA_FUZZ_ITERATIONS");
  const int n = value ? std::atoi(value) : 1;
  return n > 0 ? n : 1;
}

const std::vector<std::string>& seeds() {
  static const std::vector<std::string> corpus = {
      "createNode transform -n a; createNode transform -n b -p a; setAttr a.tx 1.5",
      "joint -p 0 0 0; joint -p 1 1 0; joint -p 2 0 0; select -cl; ikHandle -sj joint1 -ee "
      "joint3",
      "createNode transform; rename transform1 \"top\"; createNode transform -n p; parent top p;"
      "move 1 2 3 top",
      "createNode transform -n n; addAttr -ln w -at double n; setAttr n.w 2; setAttr -l on n.w",
      "createNode transform -n s; addAttr -ln note -dt string s; setAttr -type string s.note "
      "\"a \\\"b\\\" \\\\ c\"",
      "createNode transform -n r; rotate 10 20 30 r; xform -q -ws -t r; getAttr r.rotate",
      "createNode transform -n x; delete x; undo; redo; undo",
      "probeCounter -by 3; probeArgs -5 \"-q\" // comment\nprobeSyntax -n a -m b -m c 1 d",
      "createNode transform -n q; select -cl; select q; ls -sl; listAttr -ud q; print \"x;y\" z",
  };
  return corpus;
}

const std::vector<std::string>& tokens() {
  static const std::vector<std::string> dictionary = {
      "\"",    ";",       "\n",     "//",     "\\",    "-",    "-n",         "-p",
      " ",     "[0]",     ".",      "|",      "undo",  "redo", "createNode", "transform",
      "joint", "setAttr", "delete", "parent", "1e308", "-0",   "nan",        "999999999999",
      "\xff",  "\t",      "a",      "\"\"",   "-l on",
  };
  return dictionary;
}

std::string mutate(std::string text, std::mt19937& random) {
  const int edits = 1 + int(random() % 3);
  for (int e = 0; e < edits; ++e) {
    const size_t at = text.empty() ? 0 : random() % (text.size() + 1);
    switch (random() % 6) {
      case 0:  // flip a byte
        if (!text.empty())
          text[at % text.size()] = char(random() % 256);
        break;
      case 1:  // insert a token
        text.insert(at, tokens()[random() % tokens().size()]);
        break;
      case 2: {  // delete a run
        const size_t length = random() % 8;
        if (at < text.size())
          text.erase(at, length);
        break;
      }
      case 3: {  // duplicate a run
        if (at < text.size()) {
          const std::string piece = text.substr(at, random() % 16);
          text.insert(random() % (text.size() + 1), piece);
        }
        break;
      }
      case 4:  // splice in another seed
        text.insert(at, seeds()[random() % seeds().size()]);
        break;
      default:  // cut the text short
        text.resize(at);
        break;
    }
  }
  return text;
}

// Takes the commands that reach outside the process (files, libraries) out
// of the table while fuzzing, and puts them back afterwards.
class WithoutOutsideCommands {
 public:
  WithoutOutsideCommands() {
    for (const char* name :
         {"file", "source", "loadPlugin", "unloadPlugin", "requires", "snapshot"}) {
      if (const hostdetail::CommandInfo* info = hostdetail::findCommand(name)) {
        fRemoved.push_back(*info);
        hostdetail::deregisterCommand(name);
      }
    }
  }
  ~WithoutOutsideCommands() {
    for (const hostdetail::CommandInfo& info : fRemoved)
      hostdetail::registerCommand(info);
  }

 private:
  std::vector<hostdetail::CommandInfo> fRemoved;
};

class FuzzTest : public ::testing::Test {
 protected:
  void SetUp() override { resetProbe(); }
  void TearDown() override { HFileIO::newFile(true); }
};

TEST_F(FuzzTest, MutatedCommandTextNeverBreaksTheEngineOrUndo) {
  std::mt19937 random(20261123);
  const std::string empty = HFileIO::sceneAsText().asStdString();
  const int iterations = 5000 * scale();
  int succeededRuns = 0;
  {
    WithoutOutsideCommands guard;
    Capture capture;
    for (int i = 0; i < iterations; ++i) {
      HFileIO::newFile(true);
      const std::string text = mutate(seeds()[random() % seeds().size()], random);
      capture.clear();
      if (succeeded(run(text)))
        ++succeededRuns;
      ASSERT_EQ(hostdetail::currentCommandName(), "") << text;
      // Only commands that change the scene go on the queue, so taking all
      // of them back must leave it empty again.
      const size_t depth = hostdetail::undoDepth();
      for (size_t k = 0; k < depth; ++k)
        run("undo");
      ASSERT_EQ(HFileIO::sceneAsText().asStdString(), empty) << "input " << i << ":\n"
                                                             << text << "\nerrors:\n"
                                                             << capture.err();
    }
  }
  // The mutations must not all be rejected at once, or nothing is tested.
  EXPECT_GT(succeededRuns, iterations / 50);
  std::printf("command fuzz: %d inputs, %d ran through\n", iterations, succeededRuns);
}

TEST_F(FuzzTest, MutatedSceneFilesOpenOrLeaveTheSceneAlone) {
  const std::string dir = ::testing::TempDir();
  const std::string path = dir + "fuzz_scene_" + std::to_string(getpid()) + ".hsa";
  const std::string again = dir + "fuzz_again_" + std::to_string(getpid()) + ".hsa";
  ASSERT_TRUE(succeeded(run(
      "joint -p 0 0 0; joint -p 1 2 0; joint -p 3 1 0; select -cl; ikHandle -sj joint1 -ee joint3;"
      "createNode transform -n box -p joint2; addAttr -ln note -dt string box;"
      "setAttr -type string box.note \"x \\\"y\\\"\"; addAttr -ln w -at double box;"
      "setAttr box.w 0.125; setAttr -l on box.w; rotate 5 10 15 joint1")));
  const std::string scene = HFileIO::sceneAsText().asStdString();
  ASSERT_FALSE(scene.empty());
  ASSERT_TRUE(succeeded(run("file -new; createNode transform -n keeper; setAttr keeper.tz 3")));
  const std::string before = HFileIO::sceneAsText().asStdString();

  std::mt19937 random(7);
  const int iterations = 150 * scale();
  int opened = 0;
  Capture capture;
  for (int i = 0; i < iterations; ++i) {
    const std::string text = mutate(scene, random);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    capture.clear();
    if (!succeeded(HFileIO::open(HString(path)))) {
      ASSERT_EQ(HFileIO::sceneAsText().asStdString(), before) << "input " << i << ":\n" << text;
      continue;
    }
    ++opened;
    ASSERT_TRUE(succeeded(HFileIO::saveAs(HString(path))));
    ASSERT_TRUE(succeeded(HFileIO::open(HString(path)))) << capture.err();
    ASSERT_TRUE(succeeded(HFileIO::saveAs(HString(again))));
    std::ifstream first(path), second(again);
    std::stringstream a, b;
    a << first.rdbuf();
    b << second.rdbuf();
    ASSERT_EQ(a.str(), b.str()) << "input " << i << ":\n" << text;
    // Back to the scene the next input must leave alone.
    ASSERT_TRUE(succeeded(run("file -new; createNode transform -n keeper; setAttr keeper.tz 3")));
  }
  std::remove(path.c_str());
  std::remove(again.c_str());
  EXPECT_GT(opened, 0);
  std::printf("scene fuzz: %d files, %d opened\n", iterations, opened);
}

}  // namespace

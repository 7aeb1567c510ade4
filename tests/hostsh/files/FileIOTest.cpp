// Scene files seen from the engine: a file that cannot be opened, or fails
// part-way, leaves the scene as it was and says where it failed; saving
// again after opening gives the same bytes; reading a file records no undo.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "HFileIO.h"
#include "HostshTestUtil.h"

using namespace hostshtest;

namespace {

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

class FileIOTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resetProbe();
    fPath = ::testing::TempDir() + "fileio_" + std::to_string(getpid()) + ".hsa";
    fOther = ::testing::TempDir() + "fileio_other_" + std::to_string(getpid()) + ".hsa";
  }
  void TearDown() override {
    std::remove(fPath.c_str());
    std::remove(fOther.c_str());
    HFileIO::newFile(true);
  }
  // A small rig, saved.
  void buildAndSave() {
    ASSERT_TRUE(succeeded(
        run("joint -p 0 0 0; joint -p 1 2 0; joint -p 3 1 0; select -cl;"
            "ikHandle -sj joint1 -ee joint3; createNode transform -n \"box\";"
            "addAttr -ln weight -at double box; setAttr box.weight 0.25; setAttr -l on box.tx;"
            "addAttr -ln note -dt \"string\" box; setAttr -type string box.note \"a \\\"long\\\" "
            "note\"")));
    ASSERT_TRUE(succeeded(run("file -save \"" + fPath + "\"")));
  }
  std::string scene() { return HFileIO::sceneAsText().asStdString(); }
  std::string fPath;
  std::string fOther;
};

TEST_F(FileIOTest, SaveOpenSaveGivesTheSameBytes) {
  buildAndSave();
  const std::string saved = readAll(fPath);
  ASSERT_FALSE(saved.empty());
  ASSERT_TRUE(succeeded(run("file -new; file -open \"" + fPath + "\"")));
  EXPECT_EQ(HFileIO::currentFile(), fPath);
  EXPECT_EQ(results("file -sceneName"), std::vector<std::string>{fPath});
  // Saving without a path writes the file that was opened.
  ASSERT_TRUE(succeeded(run("file -save")));
  EXPECT_EQ(readAll(fPath), saved);
  // Reading the file queued nothing for undo.
  EXPECT_EQ(hostdetail::undoDepth(), 0u);
}

// Every way an open can fail: the error names the file (and the line where
// there is one), and the scene, its name, the selection and the undo queue
// are exactly as they were.
TEST_F(FileIOTest, FailedOpensLoseNothing) {
  buildAndSave();
  const std::string saved = readAll(fPath);
  const std::string keptPath = fPath + ".kept.hsa";
  ASSERT_TRUE(
      succeeded(run("file -new; createNode transform -n keeper; setAttr keeper.ty 1.5; "
                    "joint -p 1 0 0; joint -p 2 1 0; select -r keeper joint2; "
                    "file -save \"" +
                    keptPath + "\"; setAttr keeper.tx 2")));
  const std::string before = scene();
  const std::vector<std::string> selected = results("ls -sl");
  ASSERT_EQ(selected, (std::vector<std::string>{"keeper", "joint2"}));

  // Line n of the saved file, counted from 1, and the file cut after a text.
  auto lineOf = [&](size_t offset) {
    return 1 + std::count(saved.begin(), saved.begin() + std::ptrdiff_t(offset), '\n');
  };
  const size_t middle = saved.find("\nsetAttr box.weight") + 1;
  const size_t quote = saved.find('"', middle);
  const size_t weight = saved.find("0.25", middle);
  ASSERT_NE(weight, std::string::npos);
  const std::string at = ":" + std::to_string(lineOf(middle)) + ": ";
  const std::string directory = ::testing::TempDir() + "fileio_dir_" + std::to_string(getpid());
  ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
  struct Case {
    const char* kind;
    std::string path;  // opened; written with text first unless null
    const char* text;
    std::string expected;  // the error after "Error: "
  };
  const std::string inserted[] = {
      saved.substr(0, middle) + "setAttr nowhere.tx 1\n" + saved.substr(middle),
      saved.substr(0, middle) + "qwerty uiop\n" + saved.substr(middle),
      saved.substr(0, middle) + "undo\n" + saved.substr(middle), saved.substr(0, quote + 1),
      saved.substr(0, weight + 3)};
  const Case cases[] = {
      {"directory", directory, nullptr,
       "file: Cannot open scene file " + directory + ": Is a directory"},
      {"missing", "/nonexistent/missing.hsa", nullptr,
       "file: Cannot open scene file /nonexistent/missing.hsa: No such file or directory"},
      {"unreadable", fOther, "", "file: Cannot open scene file " + fOther + ": Permission denied"},
      {"empty", fOther, "", "file: Cannot open scene file " + fOther + ": the file is empty"},
      {"bad line", fOther, inserted[0].c_str(), fOther + at + "setAttr: "},
      {"unknown command", fOther, inserted[1].c_str(), fOther + at + "Unknown command 'qwerty'."},
      {"undo inside", fOther, inserted[2].c_str(),
       fOther + at + "undo: Not allowed while a scene file is being opened"},
      {"cut in a string", fOther, inserted[3].c_str(),
       fOther + ":" + std::to_string(lineOf(quote)) + ": Unterminated string"},
      {"cut in a number", fOther, inserted[4].c_str(),
       "file: " + fOther + ":" + std::to_string(lineOf(weight)) +
           ": The file ends inside this line: it was cut short"},
  };
  for (const Case& c : cases) {
    std::remove(fOther.c_str());
    if (c.text)
      std::ofstream(c.path, std::ios::binary | std::ios::trunc) << c.text;
    if (std::string(c.kind) == "unreadable") {
      chmod(c.path.c_str(), 0);
      if (std::ifstream(c.path).good())
        continue;  // running as root: nothing is unreadable
    }
    Capture capture;
    EXPECT_FALSE(succeeded(run("file -open \"" + c.path + "\""))) << c.kind;
    EXPECT_TRUE(capture.errHas("Error: " + c.expected)) << c.kind << ": " << capture.err();
    EXPECT_EQ(scene(), before) << c.kind;
    EXPECT_EQ(HFileIO::currentFile(), keptPath) << c.kind;
    EXPECT_EQ(results("ls -sl"), selected) << c.kind;
    // The undo queue still holds the last command from before.
    ASSERT_TRUE(succeeded(run("undo"))) << c.kind;
    EXPECT_EQ(results("getAttr keeper.tx"), std::vector<std::string>{"0"}) << c.kind;
    ASSERT_TRUE(succeeded(run("redo"))) << c.kind;
    EXPECT_EQ(scene(), before) << c.kind;
  }
  rmdir(directory.c_str());
  std::remove(keptPath.c_str());
}

TEST_F(FileIOTest, FileCommandChecksItsFlags) {
  Capture capture;
  EXPECT_FALSE(succeeded(run("file")));
  EXPECT_FALSE(succeeded(run("file -new -open x")));
  EXPECT_FALSE(succeeded(run("file -open")));
  EXPECT_FALSE(succeeded(run("file -new x")));
  EXPECT_FALSE(succeeded(run("file -save")));  // no name yet
  EXPECT_TRUE(capture.errHas("Error: file: The scene has no file name: use file -save PATH"))
      << capture.err();
  EXPECT_FALSE(succeeded(run("file -save /nonexistent/dir/scene.hsa")));
  EXPECT_TRUE(capture.errHas("Cannot write /nonexistent/dir/scene.hsa")) << capture.err();
}

TEST_F(FileIOTest, SourceRunsAScriptInPlace) {
  std::ofstream(fOther) << "probeCounter -by 2\n// comment\nprobeCounter -by 3\n";
  ASSERT_TRUE(succeeded(run("source \"" + fOther + "\"")));
  EXPECT_EQ(probeLog().counter, 5);
  // Sourced commands are undoable one by one.
  EXPECT_EQ(hostdetail::undoDepth(), 2u);
  std::ofstream(fOther, std::ios::trunc) << "probeCounter\n\nprobeFail\nprobeCounter\n";
  Capture capture;
  EXPECT_FALSE(succeeded(run("source \"" + fOther + "\"")));
  EXPECT_EQ(capture.err(), "Error: " + fOther + ":3: probeFail: the probe failed on purpose\n");
  EXPECT_EQ(probeLog().counter, 6);
  capture.clear();
  EXPECT_FALSE(succeeded(run("source /nonexistent/script.hsa")));
  EXPECT_TRUE(capture.errHas("Error: source: Cannot read file: /nonexistent/script.hsa"))
      << capture.err();
}

TEST_F(FileIOTest, FilesThatReachForThemselvesFailCleanly) {
  // A script that sources itself stops at the nesting limit.
  std::ofstream(fOther) << "probeCounter\nsource \"" << fOther << "\"\n";
  Capture capture;
  EXPECT_FALSE(succeeded(run("source \"" + fOther + "\"")));
  EXPECT_TRUE(capture.errHas("Commands are nested too deeply")) << capture.err().substr(0, 500);
  EXPECT_GT(probeLog().counter, 10);

  // A scene file may neither open another scene nor empty the one it builds.
  ASSERT_TRUE(succeeded(run("createNode transform -n keeper")));
  const std::string before = scene();
  for (const std::string& inside : {"file -open \"" + fOther + "\"", std::string("file -new")}) {
    std::ofstream(fOther, std::ios::trunc) << "createNode transform -n partial\n" << inside << "\n";
    capture.clear();
    EXPECT_FALSE(succeeded(run("file -open \"" + fOther + "\""))) << inside;
    EXPECT_TRUE(capture.errHas(fOther + ":2: file: Not allowed while a scene file is being opened"))
        << capture.err();
    EXPECT_EQ(scene(), before) << inside;
  }
}

}  // namespace

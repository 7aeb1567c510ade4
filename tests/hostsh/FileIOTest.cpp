// Scene files seen from the engine: a file that cannot be opened, or fails
// part-way, leaves the scene as it was and says where it failed; saving
// again after opening gives the same bytes; reading a file records no undo.

#include <unistd.h>

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

TEST_F(FileIOTest, BrokenFilesLeaveTheSceneAsItWas) {
  buildAndSave();
  const std::string saved = readAll(fPath);
  ASSERT_TRUE(
      succeeded(run("file -new; createNode transform -n keeper; "
                    "setAttr keeper.ty 1.5; select keeper")));
  const std::string before = scene();
  ASSERT_FALSE(before.empty());
  const HString fileBefore = HFileIO::currentFile();

  // A file cut inside a string, and one garbled at its first line: each
  // says where it failed.
  const size_t quote = saved.find('"');
  ASSERT_NE(quote, std::string::npos);
  const std::string quoteLine =
      std::to_string(1 + std::count(saved.begin(), saved.begin() + std::ptrdiff_t(quote), '\n'));
  const std::pair<std::string, std::string> files[] = {
      {saved.substr(0, quote + 1), ":" + quoteLine + ": Unterminated string"},
      {"qwerty uiop\n" + saved, ":1: Unknown command: qwerty"},
  };
  for (const auto& broken : files) {
    std::ofstream(fOther, std::ios::binary | std::ios::trunc) << broken.first;
    Capture capture;
    EXPECT_FALSE(succeeded(run("file -open \"" + fOther + "\"")));
    EXPECT_TRUE(capture.errHas("Error: " + fOther + broken.second)) << capture.err();
    EXPECT_EQ(scene(), before) << broken.second;
    EXPECT_EQ(HFileIO::currentFile(), fileBefore) << broken.second;
  }
  Capture capture;
  EXPECT_FALSE(succeeded(run("file -open /nonexistent/missing.hsa")));
  EXPECT_TRUE(capture.errHas("Error: file: Cannot open scene file /nonexistent/missing.hsa"))
      << capture.err();
  EXPECT_EQ(scene(), before);
  // And the host goes on working on it.
  EXPECT_TRUE(succeeded(run("setAttr keeper.tx 2; undo; undo")));
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

// A veltra scene opened where the plug-in cannot be found: its nodes stay as
// placeholders that keep their attributes, values, connections and IK links,
// are never solved and save back byte for byte; reopened where the plug-in
// is found, or once it is loaded, they are real solvers again.
//
// veltra.so sits in the build's library folder, which is always searched, so
// the tests load a copy of it under another name from a folder of their own
// and make it go missing by leaving that folder out of HOST_PLUGIN_PATH.

#include <HFnIkHandle.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "StackFixture.h"

namespace {

using e2e::nodeNamed;
using e2e::runs;
using e2e::tempScene;

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> results(const std::string& command) {
  HStringArray values;
  HGlobal::executeCommand(HString(command.c_str()), values, false, true);
  std::vector<std::string> out;
  for (const HString& value : values)
    out.push_back(value.asChar());
  return out;
}

class PlaceholderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HFileIO::newFile(true);
    fFolder = ::testing::TempDir() + "veltra_away_" + std::to_string(getpid());
    mkdir(fFolder.c_str(), 0700);
    fLibrary = fFolder + "/veltraAway.so";
    std::ofstream(fLibrary, std::ios::binary) << fileText(e2e::pluginPath());
    unsetenv("HOST_PLUGIN_PATH");
  }
  void TearDown() override {
    HFileIO::newFile(true);
    if (HPluginManager::isLoaded("veltraAway")) {
      EXPECT_EQ(HPluginManager::unload("veltraAway"), HStatus::kSuccess);
    }
    unsetenv("HOST_PLUGIN_PATH");
    for (const std::string& path : {fLibrary, fFirst, fSecond})
      std::remove(path.c_str());
    rmdir(fFolder.c_str());
  }

  // Where the handle's move leaves the chain's joints.
  static std::vector<std::string> rotationsAfterMove() {
    EXPECT_TRUE(runs("move 2 1.25 0 ikHandle1"));
    std::vector<std::string> out;
    for (const char* joint : {"joint1", "joint2", "joint3"}) {
      for (const std::string& value : results(std::string("getAttr ") + joint + ".rotate"))
        out.push_back(value);
    }
    return out;
  }

  void unloadPlugin() {
    ASSERT_TRUE(runs("file -new; unloadPlugin veltraAway"));
    unsetenv("HOST_PLUGIN_PATH");
  }

  std::string fFolder, fLibrary;
  std::string fFirst = tempScene("placeholder_1"), fSecond = tempScene("placeholder_2");
};

TEST_F(PlaceholderTest, MissingPluginNodesSurviveAndSolveOnceItIsBack) {
  for (const std::string way : {"reopen", "loadPlugin"}) {
    SCOPED_TRACE(way);
    ASSERT_TRUE(runs("loadPlugin \"" + fLibrary + "\""));
    ASSERT_TRUE(
        runs("createNode veltra -n veltra; addAttr -ln gain -at double veltra; "
             "setAttr veltra.gain 0.5; addAttr -ln label -dt string veltra; "
             "setAttr -type string veltra.label \"left\\tleg\"; setAttr -l on veltra.label; "
             "createNode transform -n dial; connectAttr veltra.gain dial.tx; "
             "joint -p 0 0 0; joint -p 1 1 0; joint -p 2 0 0; joint -p 3 1 0; select -cl; "
             "ikHandle -sj joint1 -ee joint4 -sol veltra; move 2.5 0.5 0 ikHandle1; "
             "file -save \"" +
             fFirst + "\""));
    const std::vector<std::string> solved = rotationsAfterMove();
    unloadPlugin();

    // Without the plug-in: a warning, and placeholders holding all they had.
    ErrorCapture errors;
    ASSERT_EQ(HFileIO::open(HString(fFirst.c_str())), HStatus::kSuccess) << errors.text();
    EXPECT_TRUE(
        errors.contains("Warning: " + fFirst + ":2: requires: Plug-in veltraAway is missing"))
        << errors.text();
    HFnDependencyNode placeholder(nodeNamed("veltra"));
    EXPECT_EQ(std::string(placeholder.typeName().asChar()), "veltra");
    EXPECT_EQ(results("getAttr veltra.gain"), std::vector<std::string>{"0.5"});
    EXPECT_EQ(results("getAttr veltra.label"), std::vector<std::string>{"left\tleg"});
    EXPECT_TRUE(placeholder.findPlug("label").isLocked());
    EXPECT_EQ(results("getAttr dial.tx"), std::vector<std::string>{"0.5"});
    EXPECT_EQ(HFnIkHandle(nodeNamed("ikHandle1")).solver(), nodeNamed("veltra"));
    ASSERT_TRUE(runs("file -save \"" + fSecond + "\""));
    EXPECT_EQ(fileText(fSecond), fileText(fFirst));
    // A handle whose solver is a placeholder is simply not solved.
    const std::vector<std::string> resting = results("getAttr joint1.rotate");
    const std::vector<std::string> handleAt = results("getAttr ikHandle1.translate");
    ASSERT_TRUE(runs("move 2 1.25 0 ikHandle1"));
    EXPECT_EQ(results("getAttr joint1.rotate"), resting);

    // With the plug-in back, the same move poses the chain as before.
    if (way == "reopen") {
      setenv("HOST_PLUGIN_PATH", fFolder.c_str(), 1);
      ASSERT_TRUE(runs("file -open \"" + fSecond + "\""));
    } else {
      ASSERT_TRUE(runs("loadPlugin \"" + fLibrary + "\""));
      // Converted in place: the history from before the load still undoes.
      ASSERT_TRUE(runs("undo"));
      EXPECT_EQ(results("getAttr ikHandle1.translate"), handleAt);
    }
    EXPECT_TRUE(HFnDependencyNode(nodeNamed("veltra")).typeId() == HTypeId(0x12345678));
    EXPECT_EQ(rotationsAfterMove(), solved);
    unloadPlugin();
  }
}

}  // namespace

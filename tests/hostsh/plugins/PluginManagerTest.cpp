// Loading and unloading plug-ins: the test plug-in by path and by name, its
// node type, commands and undo across an unload, and every way a load can
// fail, after each of which the host must still work.

#include <cstdlib>
#include <fstream>
#include <string>

#include "HFileIO.h"
#include "HFnDependencyNode.h"
#include "HFnPlugin.h"
#include "HPluginManager.h"
#include "HStringResource.h"
#include "HostshTestUtil.h"
#include "graph/SceneInternal.h"
#include "messages/MessageInternal.h"

using namespace hostshtest;

namespace {

std::string libFolder() {
  return binaryDir() + "/lib";
}

std::string pluginPath(const char* name) {
  return libFolder() + "/" + name + ".so";
}

class PluginManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resetProbe();
    fCallbacksBefore = hostdetail::callbackCount();
  }
  void TearDown() override {
    HFileIO::newFile(true);
    if (HPluginManager::isLoaded("hostTestPlugin")) {
      EXPECT_TRUE(succeeded(HPluginManager::unload("hostTestPlugin")));
    }
    // Nothing a plug-in installed outlives it.
    EXPECT_EQ(hostdetail::callbackCount(), fCallbacksBefore);
    unsetenv("HOST_PLUGIN_PATH");
  }
  // The host still runs commands and keeps its probe plug-in.
  void expectHostUsable() {
    EXPECT_TRUE(succeeded(run("probeCounter -by 1; undo; file -new")));
    EXPECT_TRUE(HPluginManager::isLoaded("probe"));
  }
  HString load(const std::string& what, HStatus& status) {
    return HPluginManager::load(HString(what), &status);
  }
  int fCallbacksBefore = 0;
};

TEST_F(PluginManagerTest, LoadRegistersAndUnloadRemovesEverything) {
  HStatus status;
  EXPECT_EQ(load(pluginPath("hostTestPlugin"), status), "hostTestPlugin");
  ASSERT_TRUE(succeeded(status)) << status.errorString();
  EXPECT_TRUE(HPluginManager::isLoaded("hostTestPlugin"));

  EXPECT_EQ(results("testEcho a \"b c\""), (std::vector<std::string>{"a", "b c"}));
  EXPECT_EQ(results("testMakeNodes 2"), std::vector<std::string>{});
  EXPECT_EQ(hostdetail::countNodesOfType(hostdetail::findNodeType("hostTestNode")), 2u);

  // Loading it again is harmless.
  EXPECT_EQ(load("hostTestPlugin", status), "hostTestPlugin");
  EXPECT_TRUE(succeeded(status));
  EXPECT_EQ(results("testNewScenes"), std::vector<std::string>{"0"});

  // Refused while its nodes exist; fine once they are gone (by undo).
  Capture capture;
  HStatus refused = HPluginManager::unload("hostTestPlugin");
  EXPECT_FALSE(succeeded(refused));
  EXPECT_NE(refused.errorString().asStdString().find("while its nodes exist"), std::string::npos)
      << refused.errorString();
  ASSERT_TRUE(succeeded(run("undo")));
  EXPECT_EQ(hostdetail::countNodesOfType(hostdetail::findNodeType("hostTestNode")), 0u);
  ASSERT_TRUE(succeeded(run("unloadPlugin hostTestPlugin")));
  EXPECT_FALSE(HPluginManager::isLoaded("hostTestPlugin"));
  EXPECT_EQ(hostdetail::findNodeType("hostTestNode"), nullptr);
  // The queue held the plug-in's command: it went with the plug-in.
  EXPECT_EQ(hostdetail::redoDepth(), 0u);

  // Its commands are gone, including the one it forgot to deregister, and so
  // is the scene callback it left installed.
  for (const char* command : {"testEcho", "testLeftover", "testMakeNodes 1"}) {
    capture.clear();
    EXPECT_FALSE(succeeded(run(command)));
    EXPECT_TRUE(capture.errHas("Unknown command")) << command;
  }
  expectHostUsable();
}

TEST_F(PluginManagerTest, ReloadStartsAfresh) {
  HStatus status;
  for (int round = 0; round < 2; ++round) {
    setenv("HOST_PLUGIN_PATH", ("/nonexistent::" + libFolder()).c_str(), 1);
    EXPECT_EQ(load("hostTestPlugin", status), "hostTestPlugin");
    ASSERT_TRUE(succeeded(status)) << status.errorString();
    ASSERT_TRUE(succeeded(run("file -new; file -new")));
    // The callback counts this load's new scenes only.
    EXPECT_EQ(results("testNewScenes"), std::vector<std::string>{"2"}) << round;
    ASSERT_TRUE(succeeded(run("testMakeNodes 1; undo; unloadPlugin hostTestPlugin")));
  }
}

TEST_F(PluginManagerTest, LoadPluginCommandGivesTheName) {
  setenv("HOST_PLUGIN_PATH", libFolder().c_str(), 1);
  EXPECT_EQ(results("loadPlugin hostTestPlugin.so"), std::vector<std::string>{"hostTestPlugin"});
  EXPECT_TRUE(succeeded(run("requires hostTestPlugin \"2.5\"")));
  Capture capture;
  EXPECT_TRUE(succeeded(run("requires hostTestPlugin \"3.0\"")));
  EXPECT_TRUE(
      capture.errHas("Warning: requires: Plug-in hostTestPlugin 2.5 is loaded; the scene "
                     "asks for version 3.0"))
      << capture.err();
  ASSERT_TRUE(succeeded(run("unloadPlugin hostTestPlugin; requires hostTestPlugin")));
  EXPECT_TRUE(HPluginManager::isLoaded("hostTestPlugin"));
}

TEST_F(PluginManagerTest, FailedLoadsSayWhyAndLeaveTheHostUsable) {
  const std::string notALibrary = ::testing::TempDir() + "notALibrary.so";
  std::ofstream(notALibrary) << "just text\n";
  struct Case {
    std::string what;
    std::string message;
  };
  const Case cases[] = {
      {"/nonexistent/folder/missing.so", "Plug-in file not found: /nonexistent/folder/missing.so"},
      {"noSuchPlugin", "Plug-in not found: noSuchPlugin.so (searched "},
      {notALibrary, "Cannot load plug-in " + notALibrary + ": "},
      {pluginPath("hostBrokenPlugin"), "is not a plug-in: it exports no initializePlugin"},
      {pluginPath("hostOldPlugin"),
       "Plug-in hostOldPlugin was built for host API version \"201500\", this host implements "
       "201600"},
      {"", "No plug-in named"},
  };
  for (const Case& c : cases) {
    HStatus status;
    EXPECT_EQ(load(c.what, status), "");
    EXPECT_FALSE(succeeded(status)) << c.what;
    EXPECT_NE(status.errorString().asStdString().find(c.message), std::string::npos)
        << c.what << ": " << status.errorString();
    // The same through the command, with the command's name.
    Capture capture;
    EXPECT_FALSE(succeeded(run("loadPlugin \"" + c.what + "\"")));
    EXPECT_EQ(capture.err().rfind("Error: loadPlugin: ", 0), 0u) << capture.err();
    EXPECT_TRUE(capture.errHas(c.message)) << capture.err();
    EXPECT_FALSE(HPluginManager::isLoaded("hostBrokenPlugin"));
    EXPECT_FALSE(HPluginManager::isLoaded("hostOldPlugin"));
    expectHostUsable();
  }
  Capture capture;
  EXPECT_FALSE(succeeded(run("unloadPlugin neverLoaded")));
  EXPECT_TRUE(capture.errHas("Error: unloadPlugin: Plug-in neverLoaded is not loaded"));
  std::remove(notALibrary.c_str());
}

// A plug-in linked into the test that takes the test plug-in's node type id.
HStatus initializeSquatter(HObject object) {
  HFnPlugin plugin(object);
  HStatus status = plugin.registerCommand("squatterCommand", [] { return (void*)nullptr; });
  if (!status)
    return status;
  return plugin.registerNode(
      "squatterNode", HTypeId(0x0007F001), [] { return (void*)nullptr; },
      [] { return HStatus(HStatus::kSuccess); });
}
HStatus uninitializeSquatter(HObject) {
  return HStatus(HStatus::kSuccess);
}

TEST_F(PluginManagerTest, ATakenNodeIdFailsTheLoadAndRollsItBack) {
  HStatus status;
  load(pluginPath("hostTestPlugin"), status);
  ASSERT_TRUE(succeeded(status));
  Capture capture;
  status = HPluginManager::loadStatic("squatter", initializeSquatter, uninitializeSquatter);
  EXPECT_FALSE(succeeded(status));
  EXPECT_EQ(status.errorString(),
            "Plug-in squatter failed to initialize: Node type id already registered");
  EXPECT_FALSE(HPluginManager::isLoaded("squatter"));
  // What it registered before failing is gone with it.
  EXPECT_FALSE(succeeded(run("squatterCommand")));
  EXPECT_EQ(hostdetail::findNodeType("squatterNode"), nullptr);
  // The other way round: the file's registration fails, and reports it.
  ASSERT_TRUE(succeeded(HPluginManager::unload("hostTestPlugin")));
  ASSERT_TRUE(
      succeeded(HPluginManager::loadStatic("squatter", initializeSquatter, uninitializeSquatter)));
  capture.clear();
  load(pluginPath("hostTestPlugin"), status);
  EXPECT_FALSE(succeeded(status));
  EXPECT_TRUE(capture.errHas("Failed to register hostTestNode: Node type id already registered"))
      << capture.err();
  EXPECT_FALSE(HPluginManager::isLoaded("hostTestPlugin"));
  EXPECT_FALSE(succeeded(run("testEcho")));
  ASSERT_TRUE(succeeded(HPluginManager::unload("squatter")));
  // With the id free the plug-in loads, here by name from the build's folder.
  load("hostTestPlugin", status);
  EXPECT_TRUE(succeeded(status)) << status.errorString();
  expectHostUsable();
}

TEST_F(PluginManagerTest, StaticPluginsAreCheckedLikeLibraries) {
  EXPECT_FALSE(succeeded(
      HPluginManager::loadStatic("old", initializeSquatter, uninitializeSquatter, "201500")));
  EXPECT_FALSE(succeeded(HPluginManager::loadStatic("probe", initializeSquatter,
                                                    uninitializeSquatter)));  // name taken
  EXPECT_FALSE(succeeded(HPluginManager::loadStatic("", initializeSquatter, uninitializeSquatter)));
  EXPECT_FALSE(HPluginManager::isLoaded("old"));
}

TEST_F(PluginManagerTest, FunctionSetsOutsideALoadFail) {
  HFnPlugin detached;
  HStatus status;
  detached.name(&status);
  EXPECT_FALSE(succeeded(status));
  EXPECT_FALSE(succeeded(detached.registerCommand("stray", [] { return (void*)nullptr; })));
  EXPECT_FALSE(succeeded(detached.deregisterCommand("undo")));
  HFnPlugin probe(hostdetail::pluginObject("probe"));
  // A plug-in cannot take away what is not its own.
  EXPECT_FALSE(succeeded(probe.deregisterCommand("undo")));
  EXPECT_FALSE(succeeded(probe.registerCommand("undo", [] { return (void*)nullptr; })));
  EXPECT_FALSE(succeeded(probe.registerCommand("bad name", [] { return (void*)nullptr; })));
  EXPECT_TRUE(succeeded(run("undo")));
}

TEST_F(PluginManagerTest, StringResourcesFallBackToTheirDefault) {
  HStringResourceId id("hostTests", "kGreeting", "hello");
  HStatus status;
  EXPECT_EQ(
      HStringResource::getString(HStringResourceId("hostTests", "kNever", "fallback"), status),
      "fallback");
  EXPECT_FALSE(succeeded(status));
  ASSERT_TRUE(succeeded(HStringResource::registerString(id)));
  EXPECT_EQ(
      HStringResource::getString(HStringResourceId("hostTests", "kGreeting", "other"), status),
      "hello");
  EXPECT_TRUE(succeeded(status));
}

}  // namespace

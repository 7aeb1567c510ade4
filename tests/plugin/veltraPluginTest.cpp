// The real veltra.so loaded into the host process: registration and its
// failures, the rest-pose command with undo and redo, and the scene callbacks.
// Solving across save and open is covered end to end by the hostsh script test.

#include <HEulerRotation.h>
#include <HFnPlugin.h>
#include <HFnTransform.h>
#include <HPxNode.h>
#include <HTypeId.h>
#include <HVector.h>

#include "StackFixture.h"

namespace {

using e2e::nodesOfType;
using e2e::pathNamed;
using e2e::pluginPath;
using e2e::tempScene;

// Runs a command; its errors go to whatever captures them at the time.
HStatus run(const std::string& command) {
  return HGlobal::executeCommand(HString(command.c_str()), false, true);
}

bool hasAttribute(const char* node, const char* attribute) {
  return HFnDependencyNode(e2e::nodeNamed(node)).hasAttribute(attribute);
}

HVector preferredAngle(const char* joint) {
  const e2e::Vec3 angle = e2e::plugTriple(joint, "preferredAngle");
  return HVector(angle.x, angle.y, angle.z);
}

// A node type that takes veltra's type id, so that veltra's registration fails.
constexpr unsigned kVeltraTypeId = 0x12345678;
class Squatter : public HPxNode {};
void* createSquatter() {
  return new Squatter();
}
HStatus initializeSquatter() {
  return HStatus(HStatus::kSuccess);
}

HStatus initSquatter(HObject plugin) {
  HFnPlugin fnPlugin(plugin);
  return fnPlugin.registerNode("squatter", HTypeId(kVeltraTypeId), createSquatter,
                               initializeSquatter);
}
HStatus uninitSquatter(HObject plugin) {
  HFnPlugin fnPlugin(plugin);
  return fnPlugin.deregisterNode(HTypeId(kVeltraTypeId));
}

// Loads veltra.so into a fresh scene and takes it out again afterwards.
class PluginTest : public e2e::StackTest {
 protected:
  // joint1 -> joint2 -> joint3, bent at joint2, with an IK handle; with a
  // solver the handle is solved by veltra.
  void makeChain(bool withSolver) {
    ASSERT_EQ(run("joint -p 0 0 0; joint -p 1 1 0; joint -p 2 0 0; select -cl"), HStatus::kSuccess);
    ASSERT_EQ(
        run(std::string("ikHandle -sj joint1 -ee joint3") + (withSolver ? " -sol veltra" : "")),
        HStatus::kSuccess);
  }
};

TEST_F(PluginTest, LoadingRegistersTheNodeAndBothCommands) {
  EXPECT_TRUE(HPluginManager::isLoaded("veltra"));
  HFnDependencyNode fnNode;
  HStatus status;
  const HObject node = fnNode.create("veltra", "", &status);
  ASSERT_EQ(status, HStatus::kSuccess);
  // Unloading is refused while a node of the plug-in's type exists.
  EXPECT_NE(HPluginManager::unload("veltra"), HStatus::kSuccess);
  run("delete " + std::string(fnNode.name().asChar()));
  EXPECT_EQ(run("veltraCallbacks"), HStatus::kSuccess);
  ErrorCapture errors;
  EXPECT_NE(run("veltraRestPose"), HStatus::kSuccess);  // argument missing
  EXPECT_FALSE(errors.contains("Unknown command"));
}

TEST(PluginRegistration, TakenTypeIdFailsTheNodeRegistration) {
  HFileIO::newFile(true);
  ASSERT_EQ(HPluginManager::loadStatic("squatter", initSquatter, uninitSquatter),
            HStatus::kSuccess);
  {
    ErrorCapture errors;
    HStatus status;
    HPluginManager::load(pluginPath().c_str(), &status);
    EXPECT_NE(status, HStatus::kSuccess);
    EXPECT_TRUE(errors.contains("Failed to register veltra node.")) << errors.text();
    EXPECT_FALSE(HPluginManager::isLoaded("veltra"));
  }
  {
    // Neither command got registered.
    ErrorCapture errors;
    EXPECT_NE(run("veltraCallbacks"), HStatus::kSuccess);
  }
  ASSERT_EQ(HPluginManager::unload("squatter"), HStatus::kSuccess);
  // With the id free again the plug-in loads.
  HStatus status;
  HPluginManager::load(pluginPath().c_str(), &status);
  EXPECT_EQ(status, HStatus::kSuccess);
  EXPECT_EQ(HPluginManager::unload("veltra"), HStatus::kSuccess);
}

TEST_F(PluginTest, RestPoseRefusesWhatIsNoHandle) {
  makeChain(false);
  const std::string before = HFileIO::sceneAsText().asChar();
  for (const char* name : {"joint2", "noSuchNode"}) {
    ErrorCapture errors;
    EXPECT_NE(run(std::string("veltraRestPose ") + name), HStatus::kSuccess) << name;
    EXPECT_TRUE(errors.contains("Error: veltraRestPose: Command argument is not an IK handle."))
        << errors.text();
  }
  EXPECT_EQ(HFileIO::sceneAsText().asChar(), before);
}

TEST_F(PluginTest, RestPoseStoresTheCurrentPoseAndUndoRedoRestore) {
  // A never-solved handle: the command creates the marker, undo removes it.
  makeChain(false);
  run("rotate 0 0 30 joint2");
  ASSERT_EQ(run("veltraRestPose ikHandle1"), HStatus::kSuccess);
  EXPECT_TRUE(hasAttribute("ikHandle1", "wexelRestPose"));
  HEulerRotation rotation;
  HFnTransform(pathNamed("joint2")).getRotation(rotation);
  EXPECT_TRUE(preferredAngle("joint2").isEquivalent(rotation.asVector(), 1e-12));
  ASSERT_EQ(run("undo"), HStatus::kSuccess);
  EXPECT_FALSE(hasAttribute("ikHandle1", "wexelRestPose"));
  ASSERT_EQ(run("redo"), HStatus::kSuccess);
  EXPECT_TRUE(hasAttribute("ikHandle1", "wexelRestPose"));

  // A solved handle: the stored angles are replaced and restored, the marker stays.
  HFileIO::newFile(true);
  makeChain(true);
  ASSERT_TRUE(hasAttribute("ikHandle1", "wexelRestPose"));  // the first solve made it
  const HVector original = preferredAngle("joint2");
  // Pose the chain by hand (this does not dirty the handle) and store it.
  HFnTransform(pathNamed("joint2")).setRotation(HEulerRotation(0.0, 0.0, 0.3));
  HFnTransform(pathNamed("joint1")).setRotation(HEulerRotation(0.0, 0.0, -0.2));
  ASSERT_EQ(run("veltraRestPose ikHandle1"), HStatus::kSuccess);
  EXPECT_TRUE(preferredAngle("joint2").isEquivalent(HVector(0.0, 0.0, 0.3), 1e-12));
  EXPECT_TRUE(preferredAngle("joint1").isEquivalent(HVector(0.0, 0.0, -0.2), 1e-12));
  ASSERT_EQ(run("undo"), HStatus::kSuccess);
  EXPECT_TRUE(preferredAngle("joint2").isEquivalent(original, 1e-12));
  EXPECT_TRUE(hasAttribute("ikHandle1", "wexelRestPose"));
  // Redo stores the pose the joints have then, not the one of the first run.
  HFnTransform(pathNamed("joint2")).setRotation(HEulerRotation(0.1, 0.0, 0.5));
  ASSERT_EQ(run("redo"), HStatus::kSuccess);
  EXPECT_TRUE(preferredAngle("joint2").isEquivalent(HVector(0.1, 0.0, 0.5), 1e-12));
}

TEST_F(PluginTest, CallbacksPutOneSolverInEveryNewOrOpenedSceneThatLacksIt) {
  const std::string named = tempScene("named");
  const std::string withoutName = tempScene("unnamed");
  // A scene with a plain transform named "veltra", and one without.
  ASSERT_EQ(run("createNode transform -n veltra; createNode transform -n other"),
            HStatus::kSuccess);
  ASSERT_EQ(HFileIO::saveAs(named.c_str()), HStatus::kSuccess);
  HFileIO::newFile(true);
  ASSERT_EQ(run("createNode transform -n other"), HStatus::kSuccess);
  ASSERT_EQ(HFileIO::saveAs(withoutName.c_str()), HStatus::kSuccess);

  // Installed twice, still one solver; a second callback would make "veltra1".
  ASSERT_EQ(run("veltraCallbacks; veltraCallbacks"), HStatus::kSuccess);
  ASSERT_EQ(run("select other"), HStatus::kSuccess);
  HFileIO::newFile(true);
  EXPECT_EQ(nodesOfType("veltra"), std::vector<std::string>{"veltra"});
  HSelectionList selection;
  HGlobal::getActiveSelectionList(selection);
  EXPECT_EQ(selection.length(), 0u);

  ASSERT_EQ(HFileIO::open(named.c_str()), HStatus::kSuccess);
  EXPECT_TRUE(nodesOfType("veltra").empty());
  ASSERT_EQ(run("select other"), HStatus::kSuccess);
  ASSERT_EQ(HFileIO::open(withoutName.c_str()), HStatus::kSuccess);
  EXPECT_EQ(nodesOfType("veltra"), std::vector<std::string>{"veltra"});
  HStringArray names;
  HGlobal::getActiveSelectionList(selection);
  selection.getSelectionStrings(names);
  for (const HString& name : names) {
    EXPECT_NE(std::string(name.asChar()), "veltra");
  }
  std::remove(named.c_str());
  std::remove(withoutName.c_str());
}

}  // namespace

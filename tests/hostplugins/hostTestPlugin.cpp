// A plug-in for the host's own tests: a node type, an undoable command that
// makes nodes of it, a command that hands back its arguments, and an
// after-new-scene callback. Its uninitializePlugin deliberately leaves the
// callback and one command behind, so that the tests can check that the host
// removes them before it closes the library.

#include <HArgList.h>
#include <HArgParser.h>
#include <HDGModifier.h>
#include <HFnDependencyNode.h>
#include <HFnPlugin.h>
#include <HObject.h>
#include <HPxCommand.h>
#include <HPxNode.h>
#include <HSceneMessage.h>
#include <HStatus.h>
#include <HSyntax.h>
#include <HTypeId.h>

HLIBRARY_EXPORT const char HApiVersion[7] = H_API_VERSION;

namespace {

const HTypeId kTestNodeId(0x0007F001);
int gNewScenes = 0;

class TestNode : public HPxNode {};

void* createTestNode() {
  return new TestNode();
}

HStatus initializeTestNode() {
  return HStatus(HStatus::kSuccess);
}

// testMakeNodes COUNT: makes COUNT nodes of type hostTestNode; undoable.
class MakeNodes : public HPxCommand {
 public:
  bool isUndoable() const override { return true; }
  bool hasSyntax() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    HStatus status;
    HArgParser parser(syntax(), args, &status);
    if (!status)
      return status;
    int count = 0;
    status = parser.getCommandArgument(0, count);
    if (!status)
      return status;
    if (count < 1) {
      displayError("COUNT must be at least 1");
      return HStatus(HStatus::kInvalidParameter);
    }
    for (int i = 0; i < count; ++i)
      fModifier.createNode("hostTestNode");
    return redoIt();
  }
  HStatus redoIt() override { return fModifier.doIt(); }
  HStatus undoIt() override { return fModifier.undoIt(); }

  static void* creator() { return new MakeNodes(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addArg(HSyntax::kLong);
    return syntax;
  }

 private:
  HDGModifier fModifier;
};

// testEcho WORD...: the words as its result, one value each.
class Echo : public HPxCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    for (unsigned i = 0; i < args.length(); ++i)
      appendToResult(args.asString(i));
    return HStatus(HStatus::kSuccess);
  }
  static void* creator() { return new Echo(); }
};

// testNewScenes: how many new scenes this load of the plug-in has seen.
class NewScenes : public HPxCommand {
 public:
  HStatus doIt(const HArgList&) override {
    setResult(gNewScenes);
    return HStatus(HStatus::kSuccess);
  }
  static void* creator() { return new NewScenes(); }
};

void countNewScene(void*) {
  ++gNewScenes;
}

}  // namespace

HLIBRARY_EXPORT HStatus initializePlugin(HObject object) {
  HFnPlugin plugin(object, "Host tests", "2.5", "Any");
  HStatus status =
      plugin.registerNode("hostTestNode", kTestNodeId, createTestNode, initializeTestNode);
  if (!status) {
    status.perror("Failed to register hostTestNode");
    return status;
  }
  for (auto command : {std::make_pair("testMakeNodes", &MakeNodes::creator),
                       std::make_pair("testEcho", &Echo::creator),
                       std::make_pair("testNewScenes", &NewScenes::creator),
                       std::make_pair("testLeftover", &Echo::creator)}) {
    status = plugin.registerCommand(
        command.first, command.second,
        command.second == &MakeNodes::creator ? MakeNodes::newSyntax : nullptr);
    if (!status) {
      status.perror("Failed to register a command");
      return status;
    }
  }
  HSceneMessage::addCallback(HSceneMessage::kAfterNew, countNewScene);
  return status;
}

HLIBRARY_EXPORT HStatus uninitializePlugin(HObject object) {
  HFnPlugin plugin(object);
  HStatus status = plugin.deregisterNode(kTestNodeId);
  if (!status)
    return status;
  plugin.deregisterCommand("testMakeNodes");
  plugin.deregisterCommand("testEcho");
  plugin.deregisterCommand("testNewScenes");
  // testLeftover and the scene callback are left for the host to remove.
  return HStatus(HStatus::kSuccess);
}

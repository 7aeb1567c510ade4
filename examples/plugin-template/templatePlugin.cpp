// A small plug-in to start from: one node type and one command, using only
// the host's public headers.
//
//   loadPlugin templatePlugin
//   createNode templateNote -n note1
//   templateDistance joint1 ikHandle1    // the world distance between two DAG nodes

#include <HArgParser.h>
#include <HDagPath.h>
#include <HFnPlugin.h>
#include <HObject.h>
#include <HPoint.h>
#include <HPxCommand.h>
#include <HPxNode.h>
#include <HSelectionList.h>
#include <HStatus.h>
#include <HSyntax.h>
#include <HTypeId.h>

// The host refuses a plug-in built for another API version.
HLIBRARY_EXPORT const char HApiVersion[7] = H_API_VERSION;

namespace {

// Pick your own id: two node types with the same id cannot both be loaded.
const HTypeId kTemplateNoteId(0x0007F100);

// A node type of your own. Data goes onto nodes as dynamic attributes
// (addAttr, or HDGModifier::addAttribute from a command, which can be undone);
// the scene file saves them with their definitions.
class TemplateNote : public HPxNode {
 public:
  static void* creator() { return new TemplateNote(); }
  static HStatus initialize() { return HStatus(HStatus::kSuccess); }
};

// templateDistance A B: the distance in world space between two DAG nodes.
class TemplateDistance : public HPxCommand {
 public:
  bool hasSyntax() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    HStatus status;
    HArgParser parser(syntax(), args, &status);
    if (!status)
      return status;
    HPoint ends[2];
    for (unsigned i = 0; i < 2; ++i) {
      HString name;
      parser.getCommandArgument(i, name);
      HSelectionList list;
      HDagPath path;
      if (!list.add(name) || !list.getDagPath(0, path)) {
        displayError("'" + name + "' is not a DAG node.", true);
        return HStatus(HStatus::kInvalidParameter);
      }
      ends[i] = HPoint() * path.inclusiveMatrix();
    }
    setResult((ends[1] - ends[0]).length());
    return HStatus(HStatus::kSuccess);
  }

  static void* creator() { return new TemplateDistance(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addArg(HSyntax::kString);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
};

}  // namespace

HLIBRARY_EXPORT HStatus initializePlugin(HObject object) {
  HFnPlugin plugin(object, "Your studio", "1.0", "Any");
  HStatus status = plugin.registerNode("templateNote", kTemplateNoteId, TemplateNote::creator,
                                       TemplateNote::initialize);
  if (!status) {
    status.perror("Failed to register templateNote node");
    return status;
  }
  status = plugin.registerCommand("templateDistance", TemplateDistance::creator,
                                  TemplateDistance::newSyntax);
  if (!status)
    status.perror("Failed to register templateDistance command");
  return status;
}

HLIBRARY_EXPORT HStatus uninitializePlugin(HObject object) {
  HFnPlugin plugin(object);
  HStatus status = plugin.deregisterCommand("templateDistance");
  if (!status) {
    status.perror("Failed to deregister templateDistance command");
    return status;
  }
  status = plugin.deregisterNode(kTemplateNoteId);
  if (!status)
    status.perror("Failed to deregister templateNote node");
  return status;
}

// Built-in commands on nodes: createNode, select, ls, delete, rename, parent.
// Every scene edit goes through a modifier so that undo brings back exactly
// what was there, and a command that fails part-way reverses what it did.

#include <algorithm>
#include <set>

#include "HDGModifier.h"
#include "HDagPath.h"
#include "HGlobal.h"
#include "HPluginManager.h"
#include "HSelectionList.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"
#include "commands/Suggest.h"
#include "graph/Node.h"
#include "plugins/PluginSearch.h"

namespace hostdetail {
namespace builtin {
namespace {

// The type may belong to a plug-in that is not loaded yet: a plug-in file of
// that name says how to get it; otherwise a known type may be meant.
std::string unknownNodeType(const std::string& typeName) {
  const std::string message = "Unknown node type '" + typeName + "'.";
  if (!HPluginManager::isLoaded(HString(typeName)) && !pluginFileNamed(typeName).empty())
    return message + " Load its plug-in first: loadPlugin " + typeName;
  std::vector<std::string> names;
  for (const NodeType* type : nodeTypes())
    names.push_back(type->name);
  return message + didYouMean(typeName, names);
}

std::string statusText(const HStatus& status) {
  return status.errorString().asStdString();
}

// ---------------------------------------------------------------------------
// createNode TYPE [-n NAME] [-p PARENT]

class CreateNodeCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-n", "-name", HSyntax::kString);
    syntax.addFlag("-p", "-parent", HSyntax::kString);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 1)
      return failure("Expected one node type");
    std::string typeName = arg(0);
    const NodeType* type = nodeTypeToCreate(typeName);
    if (!type)
      return failure(unknownNodeType(typeName));
    std::string name = flag("-n") ? flagWord("-n") : std::string();
    if (flag("-n") && !isValidNodeName(name))
      return failure(
          "'" + name +
          "' is not a valid node name (letters, digits and _, not starting with a digit)");
    HObject parent;
    if (flag("-p")) {
      std::string error;
      parent = nodeByName(flagWord("-p"), error);
      if (parent.isNull())
        return failure(error);
      if (!type->isDag)
        return failure("A '" + typeName + "' node is not a DAG node and cannot have a parent");
      const NodeType* parentType = nodeTypeOf(parent);
      if (!parentType || !parentType->isDag)
        return failure("'" + flagWord("-p") + "' is not a DAG node");
    }
    HStatus status;
    // The new node reads as null until the modifier carries it out.
    HObject node = fMod.createNode(HString(typeName), parent, &status);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot create a '" + typeName + "' node: " + statusText(status));
    if (!name.empty())
      fMod.renameNode(node, HString(name));
    status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot create a '" + typeName + "' node: " + statusText(status));
    setResult(HString(nodeName(node)));
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDagModifier fMod;
};

// ---------------------------------------------------------------------------
// select [-r|-add|-d|-cl] NAMES...

class SelectCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-r", "-replace");
    syntax.addFlag("-add", "-add");
    syntax.addFlag("-d", "-deselect");
    syntax.addFlag("-cl", "-clear");
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    int modes = int(flag("-r")) + int(flag("-add")) + int(flag("-d")) + int(flag("-cl"));
    if (modes > 1)
      return failure("Give only one of -r, -add, -d and -cl");
    HGlobal::getActiveSelectionList(fBefore);
    HSelectionList named;
    for (unsigned i = 0; i < argCount(); ++i) {
      std::string word = arg(i);
      if (named.add(HString(word)).statusCode() != HStatus::kSuccess)
        return failure("No object matches '" + word + "'");
    }
    if (flag("-cl")) {
      if (argCount())
        return failure("-cl takes no names");
      fAfter.clear();
    } else if (flag("-add")) {
      fAfter = fBefore;
      for (unsigned i = 0; i < named.length(); ++i) {
        HObject node;
        named.getDependNode(i, node);
        fAfter.add(node);
      }
    } else if (flag("-d")) {
      fAfter.clear();
      for (unsigned i = 0; i < fBefore.length(); ++i) {
        HObject node;
        fBefore.getDependNode(i, node);
        if (!named.hasItem(node))
          fAfter.add(node);
      }
    } else {
      fAfter = named;
    }
    return HGlobal::setActiveSelectionList(fAfter);
  }
  HStatus undoIt() override { return HGlobal::setActiveSelectionList(fBefore); }
  HStatus redoIt() override { return HGlobal::setActiveSelectionList(fAfter); }

 private:
  HSelectionList fBefore, fAfter;
};

// ---------------------------------------------------------------------------
// ls [-sl] [-type TYPE] [-dag] [PATTERN...]

class LsCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-sl", "-selection");
    syntax.addFlag("-typ", "-type", HSyntax::kString);
    syntax.addFlag("-dag", "-dag");
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    std::vector<HObject> candidates;
    if (flag("-sl")) {
      HSelectionList active;
      HGlobal::getActiveSelectionList(active);
      for (unsigned i = 0; i < active.length(); ++i) {
        HObject node;
        if (active.getDependNode(i, node).statusCode() == HStatus::kSuccess)
          candidates.push_back(node);
      }
    } else if (flag("-dag")) {
      candidates = dagNodesParentFirst();
    } else {
      candidates = nodesInCreationOrder();
    }
    std::string typeName = flag("-typ") ? flagWord("-typ") : std::string();
    // Placeholders carry type names that no registered type has.
    auto placeholderType = [&] {
      for (const HObject& node : nodesInCreationOrder()) {
        if (nodeTypeOf(node)->placeholder && nodeTypeOf(node)->name == typeName)
          return true;
      }
      return false;
    };
    if (!typeName.empty() && !findNodeType(typeName) && !placeholderType())
      return failure(unknownNodeType(typeName));
    std::set<std::uint32_t> matching;
    for (unsigned i = 0; i < argCount(); ++i) {
      for (const HObject& node : nodesMatching(arg(i)))
        matching.insert(node.nodeSlot());
    }
    clearResult();
    for (const HObject& node : candidates) {
      const NodeType* type = nodeTypeOf(node);
      if (!type)
        continue;
      if (flag("-dag") && !type->isDag)
        continue;
      if (!typeName.empty() && !nodeIsOfType(node, typeName))
        continue;
      if (argCount() && !matching.count(node.nodeSlot()))
        continue;
      appendToResult(HString(nodeName(node)));
    }
    return HStatus::kSuccess;
  }
};

// ---------------------------------------------------------------------------
// delete NAMES...

class DeleteCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    std::vector<HObject> nodes;
    if (argCount() == 0) {
      HSelectionList active;
      HGlobal::getActiveSelectionList(active);
      for (unsigned i = 0; i < active.length(); ++i) {
        HObject node;
        if (active.getDependNode(i, node).statusCode() == HStatus::kSuccess)
          nodes.push_back(node);
      }
      if (nodes.empty())
        return failure("Nothing to delete: give names or select nodes");
    }
    for (unsigned i = 0; i < argCount(); ++i) {
      std::vector<HObject> found = nodesMatching(arg(i));
      if (found.empty())
        return failure("No object matches '" + arg(i) + "'");
      nodes.insert(nodes.end(), found.begin(), found.end());
    }
    // A node below another one that goes is deleted with it.
    std::set<std::uint32_t> chosen;
    for (const HObject& node : nodes)
      chosen.insert(node.nodeSlot());
    std::set<std::uint32_t> recorded;
    for (const HObject& node : nodes) {
      bool covered = false;
      for (HObject up = nodeParent(node); !up.isNull(); up = nodeParent(up))
        covered = covered || chosen.count(up.nodeSlot()) > 0;
      if (covered || !recorded.insert(node.nodeSlot()).second)
        continue;
      fMod.deleteNode(node);
    }
    HStatus status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot delete: " + statusText(status));
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

// ---------------------------------------------------------------------------
// rename OLD NEW

class RenameCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addArg(HSyntax::kString);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 2)
      return failure("Expected the old and the new name");
    std::string error;
    HObject node = nodeByName(arg(0), error);
    if (node.isNull())
      return failure(error);
    std::string name = arg(1);
    if (!isValidNodeName(name))
      return failure(
          "'" + name +
          "' is not a valid node name (letters, digits and _, not starting with a digit)");
    fMod.renameNode(node, HString(name));
    HStatus status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot rename '" + arg(0) + "': " + statusText(status));
    setResult(HString(nodeName(node)));
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

// ---------------------------------------------------------------------------
// parent [-r] CHILD... PARENT, parent -w [-r] CHILD...

class ParentCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-w", "-world");
    syntax.addFlag("-r", "-relative");
    syntax.setMinMaxArgs(1, 0);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    bool toWorld = flag("-w");
    unsigned count = argCount();
    if (count < (toWorld ? 1u : 2u))
      return failure(toWorld ? "Expected the nodes to move to the world"
                             : "Expected the child nodes and the new parent");
    unsigned childCount = toWorld ? count : count - 1;
    std::string error;
    HObject parent;
    std::string parentName = toWorld ? std::string() : arg(count - 1);
    if (!toWorld) {
      parent = nodeByName(parentName, error);
      if (parent.isNull())
        return failure(error);
      const NodeType* type = nodeTypeOf(parent);
      if (!type || !type->isDag)
        return failure("'" + parentName + "' is not a DAG node");
    }
    std::vector<HObject> children;
    for (unsigned i = 0; i < childCount; ++i) {
      HObject child = nodeByName(arg(i), error);
      if (child.isNull())
        return failure(error);
      const NodeType* type = nodeTypeOf(child);
      if (!type || !type->isDag)
        return failure("'" + arg(i) + "' is not a DAG node");
      for (HObject up = parent; !up.isNull(); up = nodeParent(up)) {
        if (up == child)
          return failure("Cannot put '" + arg(i) + "' under '" + parentName + "': '" + parentName +
                         (parent == child ? "' is the node itself" : "' lies below it (a cycle)"));
      }
      children.push_back(child);
    }
    // One child at a time, so that a later child's world matrix already
    // reflects the moves before it.
    HStatus status;
    for (const HObject& child : children) {
      Node* node = nodeOf(child);
      HMatrix world = worldMatrix(node);
      status = fMod.reparentNode(child, parent);
      if (status.statusCode() == HStatus::kSuccess && !flag("-r")) {
        // Keep the world placement: the new local matrix is the world matrix
        // seen from the new parent.
        HMatrix parentInverse = parent.isNull() ? HMatrix() : worldInverseMatrix(nodeOf(parent));
        status = recordComponents(fMod, child, componentsForLocal(child, world * parentInverse));
      }
      if (status.statusCode() == HStatus::kSuccess)
        status = fMod.doIt();
      if (status.statusCode() != HStatus::kSuccess) {
        fMod.undoIt();
        return failure("Cannot parent '" + nodeName(child) + "': " + statusText(status));
      }
    }
    clearResult();
    for (const HObject& child : children)
      appendToResult(HString(nodeName(child)));
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDagModifier fMod;
};

const BuiltinCommand kCreateNode("createNode", newCommand<CreateNodeCommand>,
                                 CreateNodeCommand::newSyntax,
                                 "createNode TYPE [-n NAME] [-p PARENT]");
const BuiltinCommand kSelect("select", newCommand<SelectCommand>, SelectCommand::newSyntax,
                             "select [-r|-add|-d|-cl] NAMES...");
const BuiltinCommand kLs("ls", newCommand<LsCommand>, LsCommand::newSyntax,
                         "ls [-sl] [-type TYPE] [-dag] [PATTERN...]");
const BuiltinCommand kDelete("delete", newCommand<DeleteCommand>, DeleteCommand::newSyntax,
                             "delete [NAMES...] (the selection when none)");
const BuiltinCommand kRename("rename", newCommand<RenameCommand>, RenameCommand::newSyntax,
                             "rename OLD NEW");
const BuiltinCommand kParent("parent", newCommand<ParentCommand>, ParentCommand::newSyntax,
                             "parent [-r] CHILD... PARENT | parent -w [-r] CHILD...");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

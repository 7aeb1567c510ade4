// Built-in commands that build IK rigs: joint and ikHandle.

#include "AnimInternal.h"
#include "HDGModifier.h"
#include "HDagPath.h"
#include "HFnDependencyNode.h"
#include "HFnIkHandle.h"
#include "HGlobal.h"
#include "HPoint.h"
#include "HSelectionList.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"

namespace hostdetail {
namespace builtin {
namespace {

const char* const kRotateOrders[] = {"xyz", "yzx", "zxy", "xzy", "yxz", "zyx"};

// ---------------------------------------------------------------------------
// joint [-p X Y Z] [-n NAME] [-o X Y Z] [-ra X Y Z] [-roo xyz]
//
// Like the joint tool of commercial hosts: the new joint goes under the
// selected joint (the world when no joint is selected), at the given world
// position, and becomes the selection, so that repeated calls build a chain.

class JointCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-p", "-position", HSyntax::kDouble, HSyntax::kDouble, HSyntax::kDouble);
    syntax.addFlag("-n", "-name", HSyntax::kString);
    syntax.addFlag("-o", "-orientation", HSyntax::kDouble, HSyntax::kDouble, HSyntax::kDouble);
    syntax.addFlag("-ra", "-rotateAxis", HSyntax::kDouble, HSyntax::kDouble, HSyntax::kDouble);
    syntax.addFlag("-roo", "-rotateOrder", HSyntax::kString);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    std::string name = flag("-n") ? flagWord("-n") : std::string();
    if (flag("-n") && !isValidNodeName(name))
      return failure(
          "'" + name +
          "' is not a valid node name (letters, digits and _, not starting with a digit)");
    double position[3] = {0.0, 0.0, 0.0}, orient[3] = {0.0, 0.0, 0.0}, axis[3] = {0.0, 0.0, 0.0};
    if (flag("-p") && !flagNumbers("-p", position, false))
      return HStatus::kFailure;
    if (flag("-o") && !flagNumbers("-o", orient, true))
      return HStatus::kFailure;
    if (flag("-ra") && !flagNumbers("-ra", axis, true))
      return HStatus::kFailure;
    int order = 0;
    if (flag("-roo")) {
      std::string word = flagWord("-roo");
      order = -1;
      for (int i = 0; i < 6; ++i) {
        if (word == kRotateOrders[i])
          order = i;
      }
      if (order < 0)
        return failure("'" + word + "' is not a rotate order (xyz, yzx, zxy, xzy, yxz, zyx)");
    }

    HGlobal::getActiveSelectionList(fSelectionBefore);
    HObject parent;
    for (unsigned i = 0; i < fSelectionBefore.length() && parent.isNull(); ++i) {
      HObject node;
      if (fSelectionBefore.getDependNode(i, node).statusCode() == HStatus::kSuccess &&
          nodeIsOfType(node, "joint"))
        parent = node;
    }

    HStatus status;
    // The new node reads as null until the modifier carries it out.
    HObject joint = fMod.createNode("joint", parent, &status);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot create a joint: " + status.errorString().asStdString());
    if (!name.empty())
      fMod.renameNode(joint, HString(name));
    status = runModifier(fMod);
    if (status.statusCode() == HStatus::kSuccess) {
      // The joint's origin sits at its translation in the parent's space.
      HMatrix parentInverse = parent.isNull() ? HMatrix() : worldInverseMatrix(nodeOf(parent));
      HPoint local = HPoint(position[0], position[1], position[2]) * parentInverse;
      local.cartesianize();
      double translate[3] = {local.x, local.y, local.z};
      status = recordThree(fMod, joint, "translate", translate);
      if (status.statusCode() == HStatus::kSuccess)
        status = recordThree(fMod, joint, "jointOrient", orient);
      if (status.statusCode() == HStatus::kSuccess)
        status = recordThree(fMod, joint, "rotateAxis", axis);
      if (status.statusCode() == HStatus::kSuccess && order != 0)
        status = fMod.newPlugValueInt(HFnDependencyNode(joint).findPlug("rotateOrder"), order);
      if (status.statusCode() == HStatus::kSuccess)
        status = fMod.doIt();
      if (status.statusCode() != HStatus::kSuccess)
        fMod.undoIt();
    }
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot create a joint: " + status.errorString().asStdString());
    fSelectionAfter.clear();
    fSelectionAfter.add(joint);
    HGlobal::setActiveSelectionList(fSelectionAfter);
    setResult(HString(nodeName(joint)));
    return HStatus::kSuccess;
  }
  HStatus undoIt() override {
    HStatus status = fMod.undoIt();
    HGlobal::setActiveSelectionList(fSelectionBefore);
    return status;
  }
  HStatus redoIt() override {
    HStatus status = fMod.doIt();
    HGlobal::setActiveSelectionList(fSelectionAfter);
    return status;
  }

 private:
  HDagModifier fMod;
  HSelectionList fSelectionBefore, fSelectionAfter;
};

// ---------------------------------------------------------------------------
// ikHandle -sj START -ee END [-sol SOLVER] [-n NAME] [-twist DEG] [-pv X Y Z]
// ikHandle -e [-sj JOINT] [-ee EFFECTOR] [-sol SOLVER] [-twist DEG] [-pv X Y Z] HANDLE
// ikHandle -e -ej JOINT EFFECTOR
// ikHandle -q -sol|-sj|-ee HANDLE
//
// The query form answers one link of a handle by name: nothing when the link
// is missing (a handle without a solver, or whose solver was deleted). The edit form ties an
// existing handle to its chain and solver (and an effector to the joint it follows) without making
// anything: scene files restore IK rigs with it.

// What -sol names: a solver node of that name, else the first node of the
// solver type of that name, else a new node of that type (typeToCreate).
// A placeholder node (its plug-in is missing) may be the solver too: the
// handle keeps it and is not solved.
bool findSolver(const std::string& word, HObject& solver, std::string& typeToCreate,
                std::string& error) {
  HObject named = findNode(word);
  const NodeType* namedType = nodeTypeOf(named);
  if (namedType && (namedType->hasFn(HFn::kIkSolver) || namedType->placeholder)) {
    solver = named;
    return true;
  }
  const NodeType* type = findNodeType(word);
  if (!type || !type->hasFn(HFn::kIkSolver)) {
    error = "'" + word + "' is neither an IK solver node nor an IK solver type";
    return false;
  }
  for (const HObject& node : nodesInCreationOrder()) {
    if (nodeTypeOf(node) == type) {
      solver = node;
      return true;
    }
  }
  typeToCreate = word;
  return true;
}

bool isBelow(const HObject& node, const HObject& ancestor) {
  for (HObject up = nodeParent(node); !up.isNull(); up = nodeParent(up)) {
    if (up == ancestor)
      return true;
  }
  return false;
}

class IkHandleCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-sj", "-startJoint", HSyntax::kString);
    syntax.addFlag("-ee", "-endEffector", HSyntax::kString);
    syntax.addFlag("-ej", "-endJoint", HSyntax::kString);
    syntax.addFlag("-sol", "-solver", HSyntax::kString);
    syntax.addFlag("-n", "-name", HSyntax::kString);
    syntax.addFlag("-tw", "-twist", HSyntax::kDouble);
    syntax.addFlag("-pv", "-poleVector", HSyntax::kDouble, HSyntax::kDouble, HSyntax::kDouble);
    syntax.addFlag("-e", "-edit");
    syntax.addFlag("-q", "-query");
    syntax.setMinMaxArgs(0, 1);
    return syntax;
  }
  bool isUndoable() const override { return !fQuery; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (flag("-q")) {
      fQuery = true;
      return query();
    }
    double twist = 0.0, pole[3] = {0.0, 0.0, 0.0};
    if (flag("-tw") && !parseDegrees(flagWord("-tw"), twist))
      return failure("'" + flagWord("-tw") + "' is not an angle in degrees for -twist");
    if (flag("-pv") && !flagNumbers("-pv", pole, false))
      return HStatus::kFailure;
    HObject solver;
    std::string solverType, error;
    if (flag("-sol") && !findSolver(flagWord("-sol"), solver, solverType, error))
      return failure(error);
    return flag("-e") ? edit(solver, solverType, twist, pole)
                      : create(solver, solverType, twist, pole);
  }

  HStatus undoIt() override {
    HStatus status = fMod.undoIt();
    for (auto it = fOldLinks.rbegin(); it != fOldLinks.rend(); ++it)
      setNodeLink(it->node, it->key, it->target);
    if (fCreated)
      fRemove.doIt();
    return status;
  }
  HStatus redoIt() override {
    if (fCreated)
      fRemove.undoIt();
    for (const Link& link : fNewLinks)
      setNodeLink(link.node, link.key, link.target);
    return fMod.doIt();
  }

 private:
  struct Link {
    HObject node;
    std::string key;
    HObject target;
  };

  // Records a link change (applied at once) with what it replaces.
  void link(const HObject& node, const char* key, const HObject& target) {
    fOldLinks.push_back(Link{node, key, nodeLink(node, key)});
    fNewLinks.push_back(Link{node, key, target});
    setNodeLink(node, key, target);
  }

  // The solver node to use, made through the modifier when it is new.
  HObject solverNode(const HObject& found, const std::string& type) {
    if (!found.isNull() || type.empty())
      return found;
    return fMod.createNode(HString(type));
  }

  HStatus recordHandleValues(const HObject& handle, bool hasTwist, double twist, bool hasPole,
                             const double pole[3]) {
    HStatus status;
    if (hasTwist) {
      HPlug plug = HFnDependencyNode(handle).findPlug("twist", &status);
      if (status.statusCode() == HStatus::kSuccess)
        status = fMod.newPlugValueDouble(plug, twist);
    }
    if (hasPole && status.statusCode() == HStatus::kSuccess)
      status = recordThree(fMod, handle, "poleVector", pole);
    return status;
  }

  HStatus create(const HObject& foundSolver, const std::string& solverType, double twist,
                 const double pole[3]) {
    if (argCount())
      return failure("'" + arg(0) + "': a new handle takes no node argument (use -e to edit one)");
    if (flag("-ej"))
      return failure("-ej is for editing an effector (ikHandle -e -ej JOINT EFFECTOR)");
    if (!flag("-sj") || !flag("-ee"))
      return failure("Give the chain with -sj START_JOINT -ee END_JOINT");
    std::string error;
    HObject start = nodeByName(flagWord("-sj"), error);
    if (start.isNull())
      return failure(error);
    HObject end = nodeByName(flagWord("-ee"), error);
    if (end.isNull())
      return failure(error);
    if (!start.hasFn(HFn::kJoint))
      return failure("Start '" + flagWord("-sj") + "' is not a joint");
    if (!end.hasFn(HFn::kJoint))
      return failure("End '" + flagWord("-ee") + "' is not a joint");
    if (!isBelow(end, start))
      return failure("End joint '" + flagWord("-ee") + "' is not below start joint '" +
                     flagWord("-sj") + "'");
    std::string name = flag("-n") ? flagWord("-n") : std::string();
    if (flag("-n") && !isValidNodeName(name))
      return failure(
          "'" + name +
          "' is not a valid node name (letters, digits and _, not starting with a digit)");

    HDagPath startPath, endPath;
    HDagPath::getAPathTo(start, startPath);
    HDagPath::getAPathTo(end, endPath);
    HFnIkHandle fn;
    HStatus status;
    HObject handle = fn.create(startPath, endPath, &status);
    if (handle.isNull())
      return failure("Cannot create the IK handle: " + status.errorString().asStdString());
    HDagPath effectorPath;
    fn.getEffector(effectorPath);
    HObject effector = effectorPath.node();

    if (!name.empty())
      fMod.renameNode(handle, HString(name));
    HObject solver = solverNode(foundSolver, solverType);
    status = recordHandleValues(handle, flag("-tw"), twist, flag("-pv"), pole);
    if (status.statusCode() == HStatus::kSuccess)
      status = runModifier(fMod);
    if (status.statusCode() == HStatus::kSuccess && !solver.isNull()) {
      status = fn.setSolver(solver);
      if (status.statusCode() != HStatus::kSuccess)
        fMod.undoIt();
    }
    if (status.statusCode() != HStatus::kSuccess) {
      deleteNode(handle);
      deleteNode(effector);
      return failure("Cannot create the IK handle: " + status.errorString().asStdString());
    }
    // Undo takes the handle and the effector out; redo puts them back.
    fRemove.deleteNode(handle);
    fRemove.deleteNode(effector);
    fCreated = true;
    clearResult();
    appendToResult(HString(nodeName(handle)));
    appendToResult(HString(nodeName(effector)));
    return HStatus::kSuccess;
  }

  HStatus query() {
    if (flag("-e"))
      return failure("Give -q or -e, not both");
    const char* const linked[] = {"-sol", "-sj", "-ee"};
    const char* asked = nullptr;
    for (const char* name : linked) {
      if (flag(name)) {
        if (asked)
          return failure("Query one of -sol, -sj and -ee at a time");
        asked = name;
      }
    }
    if (!asked)
      return failure("Give what to query: -sol, -sj or -ee");
    if (flag("-ej") || flag("-n") || flag("-tw") || flag("-pv"))
      return failure("A query takes only -sol, -sj or -ee and the handle");
    // The query flag takes no value, but the parser hands it the word after
    // it: that word is the handle unless the handle comes on its own.
    if (argCount() > 1 || (argCount() == 1 && !flagWord(asked).empty()))
      return failure("Give one handle to query");
    const std::string name = argCount() == 1 ? arg(0) : flagWord(asked);
    std::string error;
    HObject handle = nodeByName(name, error);
    if (handle.isNull())
      return failure(error.empty() ? "Give the handle to query" : error);
    if (!handle.hasFn(HFn::kIkHandle))
      return failure("'" + name + "' is not an IK handle");
    HObject answer;
    const std::string key = asked;
    if (key == "-sol")
      answer = nodeLink(handle, kLinkSolver);
    else if (key == "-sj")
      answer = nodeLink(handle, kLinkStartJoint);
    else
      answer = nodeLink(handle, kLinkEndEffector);
    clearResult();
    if (!answer.isNull())
      setResult(HString(nodeName(answer)));
    return HStatus::kSuccess;
  }

  HStatus edit(const HObject& foundSolver, const std::string& solverType, double twist,
               const double pole[3]) {
    if (argCount() != 1)
      return failure("Give the handle (or effector) to edit");
    if (flag("-n"))
      return failure("-n names a new handle; use rename to rename one");
    std::string error;
    HObject node = nodeByName(arg(0), error);
    if (node.isNull())
      return failure(error);
    if (node.hasFn(HFn::kIkEffector)) {
      if (flag("-sj") || flag("-ee") || flag("-sol") || flag("-tw") || flag("-pv"))
        return failure("An effector takes only -ej when edited");
      if (!flag("-ej"))
        return failure("Give the joint the effector follows with -ej");
      HObject joint = nodeByName(flagWord("-ej"), error);
      if (joint.isNull())
        return failure(error);
      if (!joint.hasFn(HFn::kJoint))
        return failure("'" + flagWord("-ej") + "' is not a joint");
      link(node, kLinkEndJoint, joint);
      return HStatus::kSuccess;
    }
    if (!node.hasFn(HFn::kIkHandle))
      return failure("'" + arg(0) + "' is neither an IK handle nor an IK effector");
    if (flag("-ej"))
      return failure("-ej is for effectors; a handle takes -sj, -ee, -sol, -twist and -pv");
    HObject start, effector;
    if (flag("-sj")) {
      start = nodeByName(flagWord("-sj"), error);
      if (start.isNull())
        return failure(error);
      if (!start.hasFn(HFn::kJoint))
        return failure("'" + flagWord("-sj") + "' is not a joint");
    }
    if (flag("-ee")) {
      effector = nodeByName(flagWord("-ee"), error);
      if (effector.isNull())
        return failure(error);
      if (!effector.hasFn(HFn::kIkEffector))
        return failure("'" + flagWord("-ee") + "' is not an IK effector");
    }
    HObject solver = solverNode(foundSolver, solverType);
    HStatus status = recordHandleValues(node, flag("-tw"), twist, flag("-pv"), pole);
    if (status.statusCode() == HStatus::kSuccess)
      status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot edit '" + arg(0) + "': " + status.errorString().asStdString());
    if (!start.isNull())
      link(node, kLinkStartJoint, start);
    if (!effector.isNull())
      link(node, kLinkEndEffector, effector);
    if (!solver.isNull())
      link(node, kLinkSolver, solver);
    return HStatus::kSuccess;
  }

  HDGModifier fMod;     // names, values and a new solver node
  HDGModifier fRemove;  // carried out by undo: takes a new handle out
  bool fCreated = false;
  bool fQuery = false;
  std::vector<Link> fOldLinks, fNewLinks;
};

const BuiltinCommand kJoint("joint", newCommand<JointCommand>, JointCommand::newSyntax,
                            "joint [-p X Y Z] [-n NAME] [-o X Y Z] [-ra X Y Z] [-roo xyz]");
const BuiltinCommand kIkHandle(
    "ikHandle", newCommand<IkHandleCommand>, IkHandleCommand::newSyntax,
    "ikHandle -sj START -ee END [-sol SOLVER] [-n NAME] [-twist DEG] [-pv X Y Z] | "
    "ikHandle -e [-sj JOINT] [-ee EFFECTOR] [-sol SOLVER] [-twist DEG] [-pv X Y Z] HANDLE | "
    "ikHandle -e -ej JOINT EFFECTOR | ikHandle -q -sol|-sj|-ee HANDLE");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

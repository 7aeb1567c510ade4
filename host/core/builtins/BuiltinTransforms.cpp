// Built-in commands that place transforms: move, rotate, xform. Positions
// are world positions unless -os is given; angles are degrees. The new
// values are worked out first and recorded in a modifier, so that undo puts
// back the old values to the bit.

#include "HDGModifier.h"
#include "HFnTransform.h"
#include "HGlobal.h"
#include "HPoint.h"
#include "HSelectionList.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"
#include "graph/Node.h"

namespace hostdetail {
namespace builtin {
namespace {

HMatrix parentWorldInverse(const HObject& node) {
  HObject parent = nodeParent(node);
  return parent.isNull() ? HMatrix() : worldInverseMatrix(nodeOf(parent));
}

// The transforms named by the words, or the selected ones when there are
// none; error names the first word that is not a transform.
bool transformsFrom(const std::vector<std::string>& words, std::vector<HObject>& nodes,
                    std::string& error) {
  if (words.empty()) {
    HSelectionList active;
    HGlobal::getActiveSelectionList(active);
    for (unsigned i = 0; i < active.length(); ++i) {
      HObject node;
      if (active.getDependNode(i, node).statusCode() == HStatus::kSuccess &&
          nodeIsOfType(node, "transform"))
        nodes.push_back(node);
    }
    if (nodes.empty()) {
      error = "No transform given or selected";
      return false;
    }
    return true;
  }
  for (const std::string& word : words) {
    HObject node = nodeByName(word, error);
    if (node.isNull())
      return false;
    if (!nodeIsOfType(node, "transform")) {
      error = "'" + word + "' is not a transform";
      return false;
    }
    nodes.push_back(node);
  }
  return true;
}

// The local translation that puts the node where a move asks.
HVector movedTranslation(const HObject& node, const double xyz[3], bool relative,
                         bool objectSpace) {
  HFnTransform fn(node);
  HTransformationMatrix tm = fn.transformation();
  HVector current = tm.translation(HSpace::kTransform);
  if (!relative && objectSpace)
    return HVector(xyz[0], xyz[1], xyz[2]);
  if (!relative) {
    HPoint local = HPoint(xyz[0], xyz[1], xyz[2]) * parentWorldInverse(node);
    local.cartesianize();
    return HVector(local.x, local.y, local.z);
  }
  HVector step(xyz[0], xyz[1], xyz[2]);
  // Object space: along the node's own rotated axes, without its scale.
  step = objectSpace ? step * tm.asRotateMatrix() : step * parentWorldInverse(node);
  return current + step;
}

HStatus recordTranslation(HDGModifier& mod, const HObject& node, const HVector& t) {
  double values[3] = {t.x, t.y, t.z};
  return recordThree(mod, node, "translate", values);
}

// Euler angles in the node's rotate order after turning it by the given
// angles (radians, in that order) about its own axes.
HEulerRotation rotatedBy(const HObject& node, const double angles[3]) {
  HFnTransform fn(node);
  HTransformationMatrix tm = fn.transformation();
  HEulerRotation turn(angles[0], angles[1], angles[2], tm.eulerRotation().order);
  tm.rotateBy(turn.asQuaternion(), HSpace::kObject);
  return tm.eulerRotation();
}

// ---------------------------------------------------------------------------
// move [-r] [-ws|-os] X Y Z [NAMES...]

class MoveCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-r", "-relative");
    syntax.addFlag("-a", "-absolute");
    syntax.addFlag("-ws", "-worldSpace");
    syntax.addFlag("-os", "-objectSpace");
    syntax.setMinMaxArgs(3, 0);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (flag("-r") && flag("-a"))
      return failure("Give -r or -a, not both");
    if (flag("-ws") && flag("-os"))
      return failure("Give -ws or -os, not both");
    if (argCount() < 3)
      return failure("Expected X Y Z and the nodes to move");
    double xyz[3];
    for (unsigned i = 0; i < 3; ++i) {
      if (!parseDouble(arg(i), xyz[i]))
        return failure("'" + arg(i) + "' is not a number");
    }
    std::vector<std::string> words;
    for (unsigned i = 3; i < argCount(); ++i)
      words.push_back(arg(i));
    std::vector<HObject> nodes;
    std::string error;
    if (!transformsFrom(words, nodes, error))
      return failure(error);
    // One node at a time, so that a child moved after its parent starts
    // from where the parent put it.
    for (const HObject& node : nodes) {
      HVector t = movedTranslation(node, xyz, flag("-r"), flag("-os"));
      HStatus status = recordTranslation(fMod, node, t);
      if (status.statusCode() == HStatus::kSuccess)
        status = fMod.doIt();
      if (status.statusCode() != HStatus::kSuccess) {
        fMod.undoIt();
        return failure("Cannot move '" + nodeName(node) +
                       "': " + status.errorString().asStdString());
      }
    }
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

// ---------------------------------------------------------------------------
// rotate [-r] X Y Z [NAMES...]: absolute sets the rotate values; relative
// turns the node about its own axes (after its rotate axis).

class RotateCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-r", "-relative");
    syntax.addFlag("-a", "-absolute");
    syntax.addFlag("-os", "-objectSpace");
    syntax.setMinMaxArgs(3, 0);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (flag("-r") && flag("-a"))
      return failure("Give -r or -a, not both");
    if (argCount() < 3)
      return failure("Expected X Y Z (degrees) and the nodes to rotate");
    double angles[3];
    for (unsigned i = 0; i < 3; ++i) {
      if (!parseDegrees(arg(i), angles[i]))
        return failure("'" + arg(i) + "' is not an angle in degrees");
    }
    std::vector<std::string> words;
    for (unsigned i = 3; i < argCount(); ++i)
      words.push_back(arg(i));
    std::vector<HObject> nodes;
    std::string error;
    if (!transformsFrom(words, nodes, error))
      return failure(error);
    for (const HObject& node : nodes) {
      double values[3] = {angles[0], angles[1], angles[2]};
      if (flag("-r")) {
        HEulerRotation r = rotatedBy(node, angles);
        values[0] = r.x;
        values[1] = r.y;
        values[2] = r.z;
      }
      HStatus status = recordThree(fMod, node, "rotate", values);
      if (status.statusCode() == HStatus::kSuccess)
        status = fMod.doIt();
      if (status.statusCode() != HStatus::kSuccess) {
        fMod.undoIt();
        return failure("Cannot rotate '" + nodeName(node) +
                       "': " + status.errorString().asStdString());
      }
    }
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

// ---------------------------------------------------------------------------
// xform [-q] [-ws|-os] [-r] [-t X Y Z] [-ro X Y Z] [-precision N] NAME
//
// Queries give three results each: -t the translation (world position with
// -ws), -ro the rotation in degrees in the node's rotate order (of the world
// matrix with -ws). They keep every digit unless -precision N rounds them to
// N places after the point for reading.

class XformCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-q", "-query");
    syntax.addFlag("-ws", "-worldSpace");
    syntax.addFlag("-os", "-objectSpace");
    syntax.addFlag("-r", "-relative");
    // -t and -ro take three numbers when editing and none when querying, so
    // the numbers are read by position below (see splitWords).
    syntax.addFlag("-t", "-translation");
    syntax.addFlag("-ro", "-rotation");
    syntax.addFlag("-pre", "-precision", HSyntax::kLong);
    syntax.setMinMaxArgs(1, 0);
    return syntax;
  }
  bool isUndoable() const override { return !fQuery; }

  HStatus doIt(const HArgList& args) override {
    fQuery = true;  // nothing to undo until an edit succeeds
    if (!parse(args))
      return HStatus::kFailure;
    if (flag("-ws") && flag("-os"))
      return failure("Give -ws or -os, not both");
    std::string error;
    if (!splitWords(error))
      return failure(error);
    if (fNames.size() != 1)
      return failure("Expected one transform");
    std::vector<HObject> nodes;
    if (!transformsFrom(fNames, nodes, error))
      return failure(error);
    HObject node = nodes[0];
    if (flag("-q"))
      return query(node);
    if (flag("-pre"))
      return failure("-precision goes with -q: it rounds what a query prints");
    if (!flag("-t") && !flag("-ro"))
      return failure("Nothing to do: give -t or -ro");
    double values[3];
    HStatus status;
    if (flag("-t")) {
      for (unsigned i = 0; i < 3; ++i) {
        if (!parseDouble(fTranslate[i], values[i]))
          return failure("'" + fTranslate[i] + "' is not a number for -t");
      }
      // Translations are world positions unless -os.
      HVector t = movedTranslation(node, values, flag("-r"), flag("-os"));
      status = recordTranslation(fMod, node, t);
    }
    if (flag("-ro") && status.statusCode() == HStatus::kSuccess) {
      for (unsigned i = 0; i < 3; ++i) {
        if (!parseDegrees(fRotate[i], values[i]))
          return failure("'" + fRotate[i] + "' is not an angle in degrees for -ro");
      }
      status = recordRotation(node, values);
    }
    if (status.statusCode() == HStatus::kSuccess)
      status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot transform '" + fNames[0] + "': " + status.errorString().asStdString());
    fQuery = false;
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  // Sorts the words into the numbers of -t and -ro (editing only) and the
  // node names.
  bool splitWords(std::string& error) {
    const bool query = flag("-q");
    for (unsigned i = 0; i < fArgs.length(); ++i) {
      std::string word = fArgs.asString(i).asStdString();
      bool quoted = fArgs.isQuoted(i);
      std::vector<std::string>* numbers = nullptr;
      if (!quoted && (word == "-t" || word == "-translation"))
        numbers = &fTranslate;
      else if (!quoted && (word == "-ro" || word == "-rotation"))
        numbers = &fRotate;
      if (!quoted && (word == "-pre" || word == "-precision")) {
        ++i;  // its number is not a node name
        continue;
      }
      if (numbers && !query) {
        if (i + 3 >= fArgs.length()) {
          error = word + " takes three numbers X Y Z";
          return false;
        }
        for (unsigned k = 1; k <= 3; ++k)
          numbers->push_back(fArgs.asString(i + k).asStdString());
        i += 3;
        continue;
      }
      double ignored = 0.0;
      bool flagWord = !quoted && word.size() > 1 && word[0] == '-' && !parseDouble(word, ignored);
      if (!flagWord)
        fNames.push_back(word);
    }
    return true;
  }

  HStatus query(const HObject& node) {
    if (!flag("-t") && !flag("-ro"))
      return failure("Query what? Give -t or -ro");
    int precision = -1;
    if (!precisionFlag(precision))
      return HStatus::kFailure;
    clearResult();
    Node* n = nodeOf(node);
    if (flag("-t")) {
      HVector t;
      if (flag("-ws")) {
        const HMatrix& world = worldMatrix(n);
        t = HVector(world[3][0], world[3][1], world[3][2]);
      } else {
        t = HFnTransform(node).translation(HSpace::kTransform);
      }
      for (double value : {t.x, t.y, t.z})
        appendToResult(
            HString(precision >= 0 ? formatRounded(value, precision) : formatDouble(value)));
    }
    if (flag("-ro")) {
      HFnTransform fn(node);
      HEulerRotation r = fn.transformation().eulerRotation();
      if (flag("-ws"))
        r = HEulerRotation::decompose(worldMatrix(n), r.order);
      for (double angle : {r.x, r.y, r.z})
        appendToResult(HString(precision >= 0 ? formatRounded(radiansToDegrees(angle), precision)
                                              : formatDegrees(angle)));
    }
    return HStatus::kSuccess;
  }

  // Object space (the default): the rotate values, or a turn about the
  // node's own axes with -r. World space: the node's world orientation in
  // its rotate order, keeping its world position, scale and shear.
  HStatus recordRotation(const HObject& node, const double angles[3]) {
    HFnTransform fn(node);
    HTransformationMatrix tm = fn.transformation();
    if (flag("-ws")) {
      HTransformationMatrix world(worldMatrix(nodeOf(node)));
      HEulerRotation wanted(angles[0], angles[1], angles[2], tm.eulerRotation().order);
      if (flag("-r"))
        world.rotateBy(wanted.asQuaternion(), HSpace::kTransform);
      else
        world.setRotation(wanted);
      HMatrix local = world.asMatrix() * parentWorldInverse(node);
      HTransformationMatrix components = componentsForLocal(node, local);
      HEulerRotation r = components.eulerRotation();
      double values[3] = {r.x, r.y, r.z};
      return recordThree(fMod, node, "rotate", values);
    }
    double values[3] = {angles[0], angles[1], angles[2]};
    if (flag("-r")) {
      HEulerRotation r = rotatedBy(node, angles);
      values[0] = r.x;
      values[1] = r.y;
      values[2] = r.z;
    }
    return recordThree(fMod, node, "rotate", values);
  }

  HDGModifier fMod;
  bool fQuery = true;
  std::vector<std::string> fTranslate, fRotate, fNames;
};

const BuiltinCommand kMove("move", newCommand<MoveCommand>, MoveCommand::newSyntax,
                           "move [-r] [-ws|-os] X Y Z [NAMES...]");
const BuiltinCommand kRotate("rotate", newCommand<RotateCommand>, RotateCommand::newSyntax,
                             "rotate [-r] X Y Z [NAMES...] (degrees)");
const BuiltinCommand kXform("xform", newCommand<XformCommand>, XformCommand::newSyntax,
                            "xform [-q] [-ws|-os] [-r] [-t X Y Z] [-ro X Y Z] [-precision N] NAME");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

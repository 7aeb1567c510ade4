// Built-in commands on values: setAttr, getAttr, connectAttr, disconnectAttr.

#include "HDGModifier.h"
#include "HIntArray.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"
#include "graph/Node.h"
#include "graph/PlugAccess.h"

namespace hostdetail {
namespace builtin {
namespace {

std::string plugText(const HPlug& plug) {
  return plug.name().asStdString();
}

// The range of a numeric leaf in words: "values from 0 to 1", "values of at
// least 0", "values of at most 1".
std::string rangeText(const Attribute* leaf) {
  auto number = [](double value) { return formatDouble(value); };
  if (leaf->hasMin && leaf->hasMax)
    return "values from " + number(leaf->minValue) + " to " + number(leaf->maxValue);
  if (leaf->hasMin)
    return "values of at least " + number(leaf->minValue);
  return "values of at most " + number(leaf->maxValue);
}

// Why a plug cannot take a new value, or "" when it can.
std::string writeProblem(const HPlug& plug, bool ignoreLocks) {
  PlugRef ref;
  PlugState state = resolve(plug, ref);
  if (state == PlugState::kInvalid)
    return "'" + plugText(plug) + "' does not exist";
  if (state == PlugState::kArray)
    return "'" + plugText(plug) + "' is an array: give an element index, as in " + plugText(plug) +
           "[0]";
  if (state == PlugState::kIncomplete)
    return "'" + plugText(plug) + "' lies in an array element: give the element's index";
  // An output (a solver's result, say) is for reading; what it holds is
  // written by its owner, not by a user.
  for (const Attribute* a = ref.attribute; a; a = a->parent) {
    if (!a->writable)
      return "'" + plugText(plug) + "' is read-only";
  }
  if (!ignoreLocks && isLockedEffective(ref, plugIndices(plug), false))
    return "'" + plugText(plug) + "' is locked";
  HPlug source;
  if (connectedSource(plug, source))
    return "'" + plugText(plug) + "' is connected from '" + plugText(source) +
           "' and cannot be set";
  return std::string();
}

// ---------------------------------------------------------------------------
// setAttr [-l on|off] [-type string] PLUG VALUE...

class SetAttrCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-l", "-lock", HSyntax::kString);
    syntax.addFlag("-typ", "-type", HSyntax::kString);
    syntax.setMinMaxArgs(1, 0);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() < 1)
      return failure("Expected a plug");
    std::string error;
    HPlug plug = plugByName(arg(0), error);
    if (plug.isNull())
      return failure(error);
    bool lockGiven = flag("-l");
    bool lock = false;
    if (lockGiven && !parseBool(flagWord("-l"), lock))
      return failure("'" + flagWord("-l") + "' is not on or off for -lock");
    unsigned valueCount = argCount() - 1;
    if (!lockGiven && valueCount == 0)
      return failure("Expected values for '" + plugText(plug) + "'");

    // Unlocking comes before new values, locking after them.
    if (lockGiven && !lock)
      fMod.setPlugLocked(plug, false);
    if (valueCount > 0) {
      std::string problem = writeProblem(plug, lockGiven && !lock);
      if (!problem.empty())
        return failure(problem);
      if (flag("-typ")) {
        std::string type = flagWord("-typ");
        if (type != "string")
          return failure("Unknown value type '" + type + "' for -type (string is known)");
        const Attribute* def = plug.attribute().attributeDef().get();
        if (!def || def->kind != AttrKind::kTyped)
          return failure("'" + plugText(plug) + "' does not hold a string");
        if (valueCount != 1)
          return failure("'" + plugText(plug) + "' takes one string, got " +
                         std::to_string(valueCount) + " values");
        fMod.newPlugValueString(plug, HString(arg(1)));
      } else {
        std::vector<HPlug> leaves = leafPlugs(plug);
        if (leaves.size() != valueCount)
          return failure("'" + plugText(plug) + "' takes " + std::to_string(leaves.size()) +
                         (leaves.size() == 1 ? " value" : " values") + ", got " +
                         std::to_string(valueCount));
        for (unsigned i = 0; i < leaves.size(); ++i) {
          const Attribute* leaf = leaves[i].attribute().attributeDef().get();
          if (leaf->kind == AttrKind::kTyped)
            return failure("'" + plugText(leaves[i]) + "' holds a string: use -type string");
          double value = 0.0;
          if (!parseLeafValue(leaf, arg(i + 1), value, error))
            return failure(error);
          // Outside a strict range a value is refused rather than clamped:
          // the number typed cannot mean what it says.
          if (leaf->strictRange && ((leaf->hasMin && value < leaf->minValue) ||
                                    (leaf->hasMax && value > leaf->maxValue)))
            return failure("'" + plugText(leaves[i]) + "' takes " + rangeText(leaf) + ", not " +
                           arg(i + 1));
          fMod.newPlugValueDouble(leaves[i], value);
        }
      }
    }
    if (lockGiven && lock)
      fMod.setPlugLocked(plug, true);
    HStatus status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot set '" + plugText(plug) + "': " + status.errorString().asStdString());
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

// ---------------------------------------------------------------------------
// getAttr [-l] [-size] [-as] [-precision N] PLUG
//
// Every value is one result: a compound gives the values of its leaves in
// the order of its children (hostsh prints a result of numbers on one line,
// space-separated), an array plug the values of all its elements in index
// order. Angles are in degrees, enums numbers (names with -asString).
// Numbers keep every digit, so that they read back exactly; -precision N
// rounds floats, doubles and angles to N places after the point.

class GetAttrCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-l", "-lock");
    syntax.addFlag("-s", "-size");
    syntax.addFlag("-as", "-asString");
    syntax.addFlag("-pre", "-precision", HSyntax::kLong);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 1)
      return failure("Expected one plug");
    int precision = -1;
    if (!precisionFlag(precision))
      return HStatus::kFailure;
    std::string error;
    HPlug plug = plugByName(arg(0), error);
    if (plug.isNull())
      return failure(error);
    PlugRef ref;
    PlugState state = resolve(plug, ref);
    clearResult();
    if (flag("-l")) {
      appendToResult(HString(plug.isLocked() ? "1" : "0"));
      return HStatus::kSuccess;
    }
    if (flag("-s")) {
      if (state != PlugState::kArray)
        return failure("'" + plugText(plug) + "' is not an array");
      appendToResult(int(plug.numElements()));
      return HStatus::kSuccess;
    }
    if (state == PlugState::kIncomplete)
      return failure("'" + plugText(plug) + "' lies in an array element: give the element's index");
    std::vector<HPlug> plugs;
    if (state == PlugState::kArray) {
      HIntArray indices;
      plug.getExistingArrayAttributeIndices(indices);
      for (unsigned i = 0; i < indices.length(); ++i)
        plugs.push_back(plug.elementByLogicalIndex(unsigned(indices[i])));
    } else {
      plugs.push_back(plug);
    }
    for (const HPlug& element : plugs) {
      for (const HPlug& leaf : leafPlugs(element)) {
        const Attribute* def = leaf.attribute().attributeDef().get();
        if (def->kind == AttrKind::kTyped) {
          HString text;
          leaf.getValue(text);
          appendToResult(text);
          continue;
        }
        double value = 0.0;
        HStatus status = leaf.getValue(value);
        if (status.statusCode() != HStatus::kSuccess)
          return failure("Cannot read '" + plugText(leaf) +
                         "': " + status.errorString().asStdString());
        appendToResult(HString(formatLeafValue(def, value, flag("-as"), precision)));
      }
    }
    return HStatus::kSuccess;
  }
};

// ---------------------------------------------------------------------------
// connectAttr [-f] SRC DST, disconnectAttr SRC DST

bool valuePlug(const HPlug& plug, std::string& error) {
  PlugRef ref;
  PlugState state = resolve(plug, ref);
  if (state == PlugState::kValue)
    return true;
  error = state == PlugState::kArray
              ? "'" + plugText(plug) + "' is an array: connect one of its elements"
              : "'" + plugText(plug) + "' lacks an element index";
  return false;
}

class ConnectAttrCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-f", "-force");
    syntax.addArg(HSyntax::kString);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 2)
      return failure("Expected a source and a destination plug");
    std::string error;
    HPlug source = plugByName(arg(0), error);
    if (source.isNull())
      return failure(error);
    HPlug destination = plugByName(arg(1), error);
    if (destination.isNull())
      return failure(error);
    if (!valuePlug(source, error) || !valuePlug(destination, error))
      return failure(error);
    Connection existing;
    if (connectionInto(destination, existing)) {
      if (existing.source == source)
        return failure("'" + plugText(source) + "' is already connected to '" +
                       plugText(destination) + "'");
      if (!flag("-f"))
        return failure("'" + plugText(destination) + "' is already connected from '" +
                       plugText(existing.source) + "' (use -f to replace it)");
      fMod.disconnect(existing.source, destination);
    }
    fMod.connect(source, destination);
    HStatus status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot connect '" + plugText(source) + "' to '" + plugText(destination) +
                     "': " + status.errorString().asStdString());
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

class DisconnectAttrCommand : public Command {
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
      return failure("Expected a source and a destination plug");
    std::string error;
    HPlug source = plugByName(arg(0), error);
    if (source.isNull())
      return failure(error);
    HPlug destination = plugByName(arg(1), error);
    if (destination.isNull())
      return failure(error);
    Connection existing;
    if (!connectionInto(destination, existing) || existing.source != source)
      return failure("'" + plugText(source) + "' is not connected to '" + plugText(destination) +
                     "'");
    fMod.disconnect(source, destination);
    HStatus status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot disconnect: " + status.errorString().asStdString());
    return HStatus::kSuccess;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

const BuiltinCommand kSetAttr("setAttr", newCommand<SetAttrCommand>, SetAttrCommand::newSyntax,
                              "setAttr [-l on|off] [-type string] PLUG [VALUE...]");
const BuiltinCommand kGetAttr("getAttr", newCommand<GetAttrCommand>, GetAttrCommand::newSyntax,
                              "getAttr [-l] [-size] [-asString] [-precision N] PLUG");
const BuiltinCommand kConnectAttr("connectAttr", newCommand<ConnectAttrCommand>,
                                  ConnectAttrCommand::newSyntax, "connectAttr [-f] SOURCE DEST");
const BuiltinCommand kDisconnectAttr("disconnectAttr", newCommand<DisconnectAttrCommand>,
                                     DisconnectAttrCommand::newSyntax,
                                     "disconnectAttr SOURCE DEST");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

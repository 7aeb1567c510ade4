// Built-in commands on dynamic attributes: addAttr, deleteAttr, listAttr.
//
// A compound is declared in several addAttr calls: first the compound with
// its number of children (-nc), then each child with -p. The host freezes an
// attribute's shape once it is on a node, so a compound waits here, off the
// node, until its last child is declared; that call adds the whole tree.

#include <map>

#include "HDGModifier.h"
#include "HFnCompoundAttribute.h"
#include "HFnDependencyNode.h"
#include "HFnEnumAttribute.h"
#include "HFnNumericAttribute.h"
#include "HFnTypedAttribute.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"
#include "graph/Node.h"

namespace hostdetail {
namespace builtin {
namespace {

// ---------------------------------------------------------------------------
// Compounds waiting for their children

struct PendingCompound {
  HObject node;
  std::shared_ptr<Attribute> top;
  // Number of children each compound of the tree is to get.
  std::map<const Attribute*, unsigned> expected;
};

std::vector<PendingCompound>& pendingCompounds() {
  static auto* list = new std::vector<PendingCompound>();
  return *list;
}

// Forgets compounds whose node has gone.
void dropDeadPending() {
  auto& list = pendingCompounds();
  for (size_t i = list.size(); i-- > 0;) {
    if (!nodeOf(list[i].node))
      list.erase(list.begin() + long(i));
  }
}

Attribute* findInTree(Attribute* tree, const std::string& name) {
  if (tree->longName == name || tree->shortName == name)
    return tree;
  for (auto& child : tree->children) {
    if (Attribute* found = findInTree(child.get(), name))
      return found;
  }
  return nullptr;
}

// The pending tree of the node that holds an attribute of that name.
PendingCompound* pendingWith(const HObject& node, const std::string& name, Attribute** found) {
  for (auto& entry : pendingCompounds()) {
    if (entry.node != node)
      continue;
    if (Attribute* a = findInTree(entry.top.get(), name)) {
      if (found)
        *found = a;
      return &entry;
    }
  }
  return nullptr;
}

bool isComplete(const PendingCompound& entry, const Attribute* a) {
  if (a->kind != AttrKind::kCompound || a->numericCompound)
    return true;
  auto it = entry.expected.find(a);
  if (it != entry.expected.end() && a->children.size() < it->second)
    return false;
  for (auto& child : a->children) {
    if (!isComplete(entry, child.get()))
      return false;
  }
  return true;
}

// A fresh, unfrozen copy of a definition (without one named child), so that
// an undone compound can wait for its children again.
std::shared_ptr<Attribute> cloneTree(const Attribute& source, const std::string& without,
                                     const PendingCompound& from, PendingCompound& to) {
  auto copy = std::make_shared<Attribute>();
  copy->kind = source.kind;
  copy->numericCompound = source.numericCompound;
  copy->longName = source.longName;
  copy->shortName = source.shortName;
  copy->numericType = source.numericType;
  copy->dataType = source.dataType;
  copy->defaultValue = source.defaultValue;
  copy->defaultString = source.defaultString;
  copy->hasMin = source.hasMin;
  copy->hasMax = source.hasMax;
  copy->minValue = source.minValue;
  copy->maxValue = source.maxValue;
  copy->strictRange = source.strictRange;
  copy->enumFields = source.enumFields;
  copy->hidden = source.hidden;
  copy->keyable = source.keyable;
  copy->storable = source.storable;
  copy->readable = source.readable;
  copy->writable = source.writable;
  copy->array = source.array;
  auto expected = from.expected.find(&source);
  if (expected != from.expected.end())
    to.expected[copy.get()] = expected->second;
  for (auto& child : source.children) {
    if (child->longName == without)
      continue;
    auto childCopy = cloneTree(*child, without, from, to);
    childCopy->parent = copy.get();
    childCopy->indexInParent = unsigned(copy->children.size());
    copy->children.push_back(childCopy);
  }
  return copy;
}

// ---------------------------------------------------------------------------
// addAttr

struct AttrDesc {
  enum Kind { kNumeric, kEnum, kCompound, kString };
  std::string longName, shortName;
  Kind kind = kNumeric;
  HFnNumericData::Type numericType = HFnNumericData::kDouble;
  bool hasDefault = false;
  double defaultValue = 0.0;
  bool hasMin = false, hasMax = false;
  double minValue = 0.0, maxValue = 0.0;
  bool strictRange = false;
  std::vector<std::pair<std::string, short>> fields;
  // -1: not given, the host's default applies.
  int hidden = -1, keyable = -1, storable = -1, readable = -1, writable = -1;
  bool multi = false;
  std::string parent;
  unsigned childCount = 0;
};

// "A:B:C" or "A=0:B=5"; a field without a value follows the one before it.
bool parseEnumFields(const std::string& text, std::vector<std::pair<std::string, short>>& fields,
                     std::string& error) {
  int next = 0;
  size_t start = 0;
  while (start <= text.size()) {
    size_t colon = text.find(':', start);
    if (colon == std::string::npos)
      colon = text.size();
    std::string piece = text.substr(start, colon - start);
    start = colon + 1;
    if (piece.empty())
      continue;
    std::string name = piece;
    size_t equals = piece.find('=');
    if (equals != std::string::npos) {
      name = piece.substr(0, equals);
      int value = 0;
      if (!parseInt(piece.substr(equals + 1), value) || value < -32768 || value > 32767) {
        error = "'" + piece + "' in -en: the value after = must be a whole number";
        return false;
      }
      next = value;
    }
    if (name.empty()) {
      error = "'" + piece + "' in -en has no field name";
      return false;
    }
    for (auto& field : fields) {
      if (field.first == name) {
        error = "Enum field '" + name + "' is given twice in -en";
        return false;
      }
    }
    if (next > 32767) {
      error = "Too many enum fields in -en";
      return false;
    }
    fields.emplace_back(name, short(next));
    ++next;
  }
  if (fields.empty()) {
    error = "-en gives no enum fields";
    return false;
  }
  return true;
}

HObject buildAttribute(const AttrDesc& desc, std::string& error) {
  HObject object;
  HStatus status;
  HString longName(desc.longName), shortName(desc.shortName);
  switch (desc.kind) {
    case AttrDesc::kNumeric: {
      HFnNumericAttribute fn;
      object = fn.create(longName, shortName, desc.numericType, desc.defaultValue, &status);
      if (desc.hasMin && status.statusCode() == HStatus::kSuccess)
        status = fn.setMin(desc.minValue);
      if (desc.hasMax && status.statusCode() == HStatus::kSuccess)
        status = fn.setMax(desc.maxValue);
      if (desc.strictRange && status.statusCode() == HStatus::kSuccess)
        status = fn.setStrictRange(true);
      break;
    }
    case AttrDesc::kEnum: {
      HFnEnumAttribute fn;
      object = fn.create(longName, shortName, 0, &status);
      for (auto& field : desc.fields) {
        if (status.statusCode() == HStatus::kSuccess)
          status = fn.addField(HString(field.first), field.second);
      }
      if (desc.hasDefault && status.statusCode() == HStatus::kSuccess)
        status = fn.setDefault(short(desc.defaultValue));
      break;
    }
    case AttrDesc::kCompound: {
      HFnCompoundAttribute fn;
      object = fn.create(longName, shortName, &status);
      break;
    }
    case AttrDesc::kString: {
      HFnTypedAttribute fn;
      object = fn.create(longName, shortName, HFnData::kString, &status);
      break;
    }
  }
  if (object.isNull() || status.statusCode() != HStatus::kSuccess) {
    error =
        "Cannot define attribute '" + desc.longName + "': " + status.errorString().asStdString();
    return HObject();
  }
  HFnAttribute fn(object);
  if (desc.multi)
    fn.setArray(true);
  if (desc.hidden >= 0)
    fn.setHidden(desc.hidden != 0);
  if (desc.keyable >= 0)
    fn.setKeyable(desc.keyable != 0);
  if (desc.storable >= 0)
    fn.setStorable(desc.storable != 0);
  if (desc.readable >= 0)
    fn.setReadable(desc.readable != 0);
  if (desc.writable >= 0)
    fn.setWritable(desc.writable != 0);
  return object;
}

class AddAttrCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-ln", "-longName", HSyntax::kString);
    syntax.addFlag("-sn", "-shortName", HSyntax::kString);
    syntax.addFlag("-at", "-attributeType", HSyntax::kString);
    syntax.addFlag("-dt", "-dataType", HSyntax::kString);
    syntax.addFlag("-en", "-enumName", HSyntax::kString);
    syntax.addFlag("-dv", "-defaultValue", HSyntax::kDouble);
    syntax.addFlag("-min", "-minValue", HSyntax::kDouble);
    syntax.addFlag("-max", "-maxValue", HSyntax::kDouble);
    syntax.addFlag("-sr", "-strictRange");
    syntax.addFlag("-h", "-hidden", HSyntax::kString);
    syntax.addFlag("-k", "-keyable", HSyntax::kString);
    syntax.addFlag("-s", "-storable", HSyntax::kString);
    syntax.addFlag("-r", "-readable", HSyntax::kString);
    syntax.addFlag("-w", "-writable", HSyntax::kString);
    syntax.addFlag("-m", "-multi");
    syntax.addFlag("-p", "-parent", HSyntax::kString);
    syntax.addFlag("-nc", "-numberOfChildren", HSyntax::kLong);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 1)
      return failure("Expected one node");
    std::string error;
    fNode = nodeByName(arg(0), error);
    if (fNode.isNull())
      return failure(error);
    if (!readDesc(error))
      return failure(error);
    dropDeadPending();
    if (!checkNames(error))
      return failure(error);
    HStatus status = apply(error);
    if (status.statusCode() != HStatus::kSuccess)
      return failure(error);
    return status;
  }

  HStatus undoIt() override {
    switch (fDone) {
      case Done::kAdded:
        return fMod->undoIt();
      case Done::kPendingTop: {
        auto& list = pendingCompounds();
        for (size_t i = 0; i < list.size(); ++i) {
          if (list[i].node == fNode && list[i].top->longName == fDesc.longName) {
            list.erase(list.begin() + long(i));
            break;
          }
        }
        return HStatus::kSuccess;
      }
      case Done::kPendingChild: {
        Attribute* child = nullptr;
        if (PendingCompound* entry = pendingWith(fNode, fDesc.longName, &child)) {
          Attribute* parent = child->parent;
          if (parent && !parent->children.empty() && parent->children.back().get() == child) {
            entry->expected.erase(child);
            child->parent = nullptr;
            parent->children.pop_back();
          }
        }
        return HStatus::kSuccess;
      }
      case Done::kCompleted: {
        HStatus status = fMod->undoIt();
        // The compound waits for its last child again.
        PendingCompound again;
        again.node = fNode;
        again.top = cloneTree(*fCompleted.top, fDesc.longName, fCompleted, again);
        pendingCompounds().push_back(again);
        return status;
      }
      case Done::kNothing:
        break;
    }
    return HStatus::kSuccess;
  }

  HStatus redoIt() override {
    if (fDone == Done::kAdded)
      return fMod->doIt();
    if (fDone == Done::kCompleted) {
      // The very definition goes back, so that plugs recorded by later
      // commands find it; the copy that waited in its place is dropped.
      auto& list = pendingCompounds();
      for (size_t i = list.size(); i-- > 0;) {
        if (list[i].node == fNode && list[i].top->longName == fCompleted.top->longName)
          list.erase(list.begin() + long(i));
      }
      return fMod->doIt();
    }
    std::string error;
    HStatus status = apply(error);
    if (status.statusCode() != HStatus::kSuccess)
      displayError(HString(error));
    return status;
  }

 private:
  enum class Done { kNothing, kAdded, kPendingTop, kPendingChild, kCompleted };

  bool boolFlag(const char* name, int& out, std::string& error) {
    if (!flag(name))
      return true;
    bool value = false;
    if (!parseBool(flagWord(name), value)) {
      error = "'" + flagWord(name) + "' is not on or off for " + name;
      return false;
    }
    out = value ? 1 : 0;
    return true;
  }

  bool numberFlag(const char* name, bool& given, double& out, std::string& error) {
    if (!flag(name))
      return true;
    if (!parseDouble(flagWord(name), out)) {
      error = "'" + flagWord(name) + "' is not a number for " + name;
      return false;
    }
    given = true;
    return true;
  }

  bool readDesc(std::string& error) {
    AttrDesc& s = fDesc;
    if (!flag("-ln")) {
      error = "Give the attribute's long name with -ln";
      return false;
    }
    s.longName = flagWord("-ln");
    s.shortName = flag("-sn") ? flagWord("-sn") : s.longName;
    if (!isValidAttributeName(s.longName)) {
      error = "'" + s.longName + "' is not a valid attribute name";
      return false;
    }
    if (!isValidAttributeName(s.shortName)) {
      error = "'" + s.shortName + "' is not a valid attribute name";
      return false;
    }
    if (flag("-at") == flag("-dt")) {
      error = "Give the attribute's type with either -at or -dt";
      return false;
    }
    if (flag("-dt")) {
      if (flagWord("-dt") != "string") {
        error = "Unknown data type '" + flagWord("-dt") + "' for -dt (string is known)";
        return false;
      }
      s.kind = AttrDesc::kString;
    } else {
      std::string type = flagWord("-at");
      if (type == "enum") {
        s.kind = AttrDesc::kEnum;
      } else if (type == "compound") {
        s.kind = AttrDesc::kCompound;
      } else {
        s.numericType = numericTypeFromName(type);
        if (s.numericType == HFnNumericData::kInvalid) {
          error = "Unknown attribute type '" + type +
                  "' for -at (bool, long, float, double, double3, enum, compound...)";
          return false;
        }
      }
    }
    if (flag("-en") != (s.kind == AttrDesc::kEnum)) {
      error = s.kind == AttrDesc::kEnum ? "An enum attribute needs its fields: -en \"A:B:C\""
                                        : "-en is for enum attributes only";
      return false;
    }
    if (s.kind == AttrDesc::kEnum && !parseEnumFields(flagWord("-en"), s.fields, error))
      return false;
    if (flag("-nc") != (s.kind == AttrDesc::kCompound)) {
      error = s.kind == AttrDesc::kCompound
                  ? "A compound attribute needs its number of children: -nc N"
                  : "-nc is for compound attributes only";
      return false;
    }
    if (s.kind == AttrDesc::kCompound) {
      int count = 0;
      if (!parseInt(flagWord("-nc"), count) || count < 1) {
        error = "'" + flagWord("-nc") + "' is not a number of children (1 or more) for -nc";
        return false;
      }
      s.childCount = unsigned(count);
    }
    bool numeric = s.kind == AttrDesc::kNumeric || s.kind == AttrDesc::kEnum;
    if (!numeric && (flag("-dv") || flag("-min") || flag("-max"))) {
      error = "-dv, -min and -max are for numeric and enum attributes only";
      return false;
    }
    if (s.kind == AttrDesc::kEnum && (flag("-min") || flag("-max"))) {
      error = "-min and -max are for numeric attributes only";
      return false;
    }
    if (!numberFlag("-dv", s.hasDefault, s.defaultValue, error) ||
        !numberFlag("-min", s.hasMin, s.minValue, error) ||
        !numberFlag("-max", s.hasMax, s.maxValue, error))
      return false;
    if (s.kind == AttrDesc::kEnum && s.hasDefault) {
      bool known = false;
      for (auto& field : s.fields)
        known = known || field.second == s.defaultValue;
      if (!known) {
        error = "-dv " + flagWord("-dv") + " is not the value of one of the enum's fields";
        return false;
      }
    }
    s.strictRange = flag("-sr");
    if (s.strictRange && !s.hasMin && !s.hasMax) {
      error = "-strictRange needs -min or -max";
      return false;
    }
    if (s.hasMin && s.hasMax && s.minValue > s.maxValue) {
      error = "-min is above -max";
      return false;
    }
    if (!boolFlag("-h", s.hidden, error) || !boolFlag("-k", s.keyable, error) ||
        !boolFlag("-s", s.storable, error) || !boolFlag("-r", s.readable, error) ||
        !boolFlag("-w", s.writable, error))
      return false;
    s.multi = flag("-m");
    s.parent = flag("-p") ? flagWord("-p") : std::string();
    return true;
  }

  bool checkNames(std::string& error) {
    HFnDependencyNode fn(fNode);
    for (const std::string& name : {fDesc.longName, fDesc.shortName}) {
      if (fn.hasAttribute(HString(name)) || pendingWith(fNode, name, nullptr)) {
        error = "'" + nodeName(fNode) + "' already has an attribute named '" + name + "'";
        return false;
      }
    }
    if (!fDesc.parent.empty()) {
      Attribute* parent = nullptr;
      PendingCompound* entry = pendingWith(fNode, fDesc.parent, &parent);
      if (!entry || parent->kind != AttrKind::kCompound || parent->numericCompound) {
        error = "'" + fDesc.parent + "' is not a compound being declared on '" + nodeName(fNode) +
                "' (declare it first with -at compound -nc N)";
        return false;
      }
      if (parent->children.size() >= entry->expected[parent]) {
        error = "Compound '" + fDesc.parent + "' already has its " +
                std::to_string(entry->expected[parent]) + " children";
        return false;
      }
    }
    return true;
  }

  // Defines the attribute and puts it where it goes: onto the node, or into
  // a compound that is still waiting for children.
  HStatus apply(std::string& error) {
    HObject object = buildAttribute(fDesc, error);
    if (object.isNull())
      return HStatus::kFailure;
    std::shared_ptr<Attribute> def = object.attributeDef();
    if (fDesc.parent.empty()) {
      if (fDesc.kind == AttrDesc::kCompound) {
        PendingCompound entry;
        entry.node = fNode;
        entry.top = def;
        entry.expected[def.get()] = fDesc.childCount;
        pendingCompounds().push_back(entry);
        fDone = Done::kPendingTop;
        return HStatus::kSuccess;
      }
      return addToNode(object, Done::kAdded, error);
    }
    Attribute* parent = nullptr;
    PendingCompound* entry = pendingWith(fNode, fDesc.parent, &parent);
    if (!entry) {
      error = "Compound '" + fDesc.parent + "' is no longer being declared";
      return HStatus::kFailure;
    }
    HFnCompoundAttribute compound(HObject::fromAttribute(parent->shared_from_this()));
    HStatus status = compound.addChild(object);
    if (status.statusCode() != HStatus::kSuccess) {
      error = "Cannot add '" + fDesc.longName + "' to '" + fDesc.parent +
              "': " + status.errorString().asStdString();
      return status;
    }
    if (fDesc.kind == AttrDesc::kCompound)
      entry->expected[def.get()] = fDesc.childCount;
    if (!isComplete(*entry, entry->top.get())) {
      fDone = Done::kPendingChild;
      return HStatus::kSuccess;
    }
    // The last child: the whole tree goes onto the node.
    fCompleted = *entry;
    pendingCompounds().erase(pendingCompounds().begin() + (entry - &pendingCompounds()[0]));
    status = addToNode(HObject::fromAttribute(fCompleted.top), Done::kCompleted, error);
    if (status.statusCode() != HStatus::kSuccess) {
      // Back to waiting, without the child that was just declared.
      parent->children.pop_back();
      def->parent = nullptr;
      pendingCompounds().push_back(fCompleted);
    }
    return status;
  }

  HStatus addToNode(const HObject& attribute, Done done, std::string& error) {
    fMod = std::make_unique<HDGModifier>();
    fMod->addAttribute(fNode, attribute);
    HStatus status = runModifier(*fMod);
    if (status.statusCode() != HStatus::kSuccess) {
      error = "Cannot add '" + fDesc.longName + "' to '" + nodeName(fNode) +
              "': " + status.errorString().asStdString();
      return status;
    }
    fDone = done;
    return status;
  }

  AttrDesc fDesc;
  HObject fNode;
  Done fDone = Done::kNothing;
  std::unique_ptr<HDGModifier> fMod;
  PendingCompound fCompleted;
};

// ---------------------------------------------------------------------------
// deleteAttr NODE.ATTR | deleteAttr -at ATTR NODE

class DeleteAttrCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-at", "-attribute", HSyntax::kString);
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
  bool isUndoable() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 1)
      return failure("Expected NODE.ATTRIBUTE, or -at ATTRIBUTE NODE");
    std::string name = flag("-at") ? arg(0) + "." + flagWord("-at") : arg(0);
    std::string error;
    HPlug plug = plugByName(name, error);
    if (plug.isNull())
      return failure(error);
    const Attribute* def = plug.attribute().attributeDef().get();
    if (def->isStatic)
      return failure("'" + def->longName + "' belongs to the node type and cannot be deleted");
    if (def->parent)
      return failure("'" + def->longName + "' is a child of '" + def->top()->longName +
                     "': delete the whole compound");
    fMod.removeAttribute(plug.node(), plug.attribute());
    HStatus status = runModifier(fMod);
    if (status.statusCode() != HStatus::kSuccess)
      return failure("Cannot delete '" + name + "': " + status.errorString().asStdString());
    return status;
  }
  HStatus undoIt() override { return fMod.undoIt(); }
  HStatus redoIt() override { return fMod.doIt(); }

 private:
  HDGModifier fMod;
};

// ---------------------------------------------------------------------------
// listAttr [-ud] NODE: long names, parents before their children.

class ListAttrCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-ud", "-userDefined");
    syntax.addArg(HSyntax::kString);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() != 1)
      return failure("Expected one node");
    std::string error;
    HObject node = nodeByName(arg(0), error);
    if (node.isNull())
      return failure(error);
    HFnDependencyNode fn(node);
    clearResult();
    for (unsigned i = 0; i < fn.attributeCount(); ++i) {
      HObject attribute = fn.attribute(i);
      const Attribute* def = attribute.attributeDef().get();
      if (!def || (flag("-ud") && def->isStatic))
        continue;
      appendToResult(HString(def->longName));
    }
    return HStatus::kSuccess;
  }
};

const BuiltinCommand kAddAttr(
    "addAttr", newCommand<AddAttrCommand>, AddAttrCommand::newSyntax,
    "addAttr -ln LONG [-sn SHORT] (-at TYPE | -dt string) [-en \"A:B\"] [-dv V] [-min V] "
    "[-max V] [-h on] [-k on] [-s off] [-r off] [-w off] [-m] [-p PARENT] [-nc N] NODE");
const BuiltinCommand kDeleteAttr("deleteAttr", newCommand<DeleteAttrCommand>,
                                 DeleteAttrCommand::newSyntax,
                                 "deleteAttr NODE.ATTRIBUTE | deleteAttr -at ATTRIBUTE NODE");
const BuiltinCommand kListAttr("listAttr", newCommand<ListAttrCommand>, ListAttrCommand::newSyntax,
                               "listAttr [-ud] NODE");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

// The scene writer: the scene as a command script that rebuilds it.
//
// The script has sections in a fixed order, so that what a later line needs
// is already there when it runs: plug-ins, then each node with its dynamic
// attribute definitions and values, then connections (a connected plug
// refuses setAttr), IK links (they name nodes made further down), locks (a
// locked plug refuses values and connections) and last the selection.
//
// Values are the ones the plugs store themselves, not what connections feed
// them, written only where they differ from the default (array elements are
// always written, since writing is what makes them). Doubles use their
// shortest round-trip text and angles a degree text that converts back to
// the same radians, so opening the file gives every double back to the bit,
// and saving again gives the same bytes. Values of attributes marked not
// storable are left out (their definitions are kept).

#include "SceneWriter.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>
#include <string>

#include "HGlobal.h"
#include "HIntArray.h"
#include "HSelectionList.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandLanguage.h"
#include "graph/Node.h"
#include "graph/PlugAccess.h"
#include "graph/SceneInternal.h"

namespace hostdetail {

namespace {

using namespace builtin;

bool sameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

std::string quoted(const std::string& text) {
  return quoteString(text);
}

std::string valueText(const Attribute* leaf, double value) {
  if (isAngleAttribute(leaf))
    return formatDegrees(value);
  switch (leaf->kind == AttrKind::kEnum ? HFnNumericData::kShort : leaf->numericType) {
    case HFnNumericData::kFloat:
    case HFnNumericData::k2Float:
    case HFnNumericData::k3Float:
      return formatFloat(value);
    default:
      return formatDouble(value);
  }
}

bool storableChain(const Attribute* a) {
  for (; a; a = a->parent) {
    if (!a->storable)
      return false;
  }
  return true;
}

class Writer {
 public:
  explicit Writer(std::ostream& out) : fOut(out) {}

  void run() {
    fOut << kSceneFileHeader << '\n';
    std::vector<HObject> nodes;
    for (const HObject& node : nodesInCreationOrder()) {
      if (!nodeTypeOf(node)->isDag)
        nodes.push_back(node);
    }
    for (const HObject& node : dagNodesParentFirst())
      nodes.push_back(node);
    writeRequires(nodes);
    for (const HObject& node : nodes)
      writeNode(node);
    for (const Connection& connection : allConnections()) {
      fOut << "connectAttr " << connection.source.name().asStdString() << ' '
           << connection.destination.name().asStdString() << '\n';
    }
    for (const HObject& node : nodes)
      writeLinks(node);
    for (const HObject& node : nodes) {
      for (const HObject& attribute : staticAttributesOf(node))
        writeLocks(HPlug(node, attribute));
      for (const HObject& attribute : dynamicAttributesOf(node))
        writeLocks(HPlug(node, attribute));
    }
    writeSelection();
  }

 private:
  // One line per plug-in, with the version loaded, or for a plug-in that
  // was missing when its placeholders were read, the version the file asked.
  void writeRequires(const std::vector<HObject>& nodes) {
    std::map<std::string, std::string> plugins;  // name -> " VERSION" or ""
    for (const HObject& node : nodes) {
      const NodeType* type = nodeTypeOf(node);
      if (!type->pluginName.empty())
        plugins[type->pluginName];
      for (const NodeType::MissingPlugin& missing : type->missingPlugins) {
        if (!plugins.count(missing.name))
          plugins[missing.name] = missing.hasVersion ? ' ' + quoted(missing.version) : "";
      }
    }
    for (auto& plugin : plugins) {
      fOut << "requires " << plugin.first;
      if (const PluginRecord* record = pluginRecord(plugin.first))
        fOut << ' ' << quoted(record->version);
      else
        fOut << plugin.second;
      fOut << '\n';
    }
  }

  void writeNode(const HObject& node) {
    const NodeType* type = nodeTypeOf(node);
    const std::string name = nodeName(node);
    fOut << "createNode " << type->name << " -n " << name;
    HObject parent = nodeParent(node);
    if (!parent.isNull())
      fOut << " -p " << nodeName(parent);
    fOut << '\n';
    for (const HObject& attribute : dynamicAttributesOf(node))
      writeDefinition(*attribute.attributeDef(), name, nullptr);
    for (const HObject& attribute : staticAttributesOf(node))
      writeValues(HPlug(node, attribute), false);
    for (const HObject& attribute : dynamicAttributesOf(node))
      writeValues(HPlug(node, attribute), false);
  }

  void writeDefinition(const Attribute& a, const std::string& node, const Attribute* parent) {
    fOut << "addAttr -ln " << a.longName;
    if (a.shortName != a.longName)
      fOut << " -sn " << a.shortName;
    switch (a.kind) {
      case AttrKind::kTyped:
        fOut << " -dt string";
        break;
      case AttrKind::kCompound:
        if (a.numericCompound)
          writeNumericDefinition(a);
        else
          fOut << " -at compound -nc " << a.children.size();
        break;
      case AttrKind::kEnum: {
        fOut << " -at enum -en ";
        std::string fields;
        int next = 0;
        for (auto& field : a.enumFields) {
          if (!fields.empty())
            fields += ':';
          fields += field.first;
          if (field.second != next)
            fields += "=" + std::to_string(field.second);
          next = field.second + 1;
        }
        fOut << quoted(fields);
        if (!sameBits(a.defaultValue, 0.0))
          fOut << " -dv " << formatDouble(a.defaultValue);
        break;
      }
      case AttrKind::kNumeric:
        writeNumericDefinition(a);
        break;
    }
    if (a.array)
      fOut << " -m";
    if (a.hidden)
      fOut << " -h on";
    if (a.keyable)
      fOut << " -k on";
    if (!a.storable)
      fOut << " -s off";
    if (!a.readable)
      fOut << " -r off";
    if (!a.writable)
      fOut << " -w off";
    if (parent)
      fOut << " -p " << parent->longName;
    fOut << ' ' << node << '\n';
    if (a.kind == AttrKind::kCompound && !a.numericCompound) {
      for (auto& child : a.children)
        writeDefinition(*child, node, &a);
    }
  }

  void writeNumericDefinition(const Attribute& a) {
    fOut << " -at " << numericTypeName(a.numericType);
    const bool single = a.kind == AttrKind::kNumeric;
    if (!sameBits(a.defaultValue, 0.0))
      fOut << " -dv " << (single ? valueText(&a, a.defaultValue) : formatDouble(a.defaultValue));
    if (a.hasMin)
      fOut << " -min " << formatDouble(a.minValue);
    if (a.hasMax)
      fOut << " -max " << formatDouble(a.maxValue);
    if (a.strictRange)
      fOut << " -sr";
  }

  // Values of a plug and everything below it. inElement: the plug lies in
  // an array element, whose values are all written so that it is made.
  void writeValues(const HPlug& plug, bool inElement) {
    const Attribute* a = plug.attribute().attributeDef().get();
    if (!a || !storableChain(a))
      return;
    PlugRef ref;
    if (resolve(plug, ref) == PlugState::kArray) {
      HIntArray indices;
      plug.getExistingArrayAttributeIndices(indices);
      for (unsigned i = 0; i < indices.length(); ++i)
        writeElement(plug.elementByLogicalIndex(unsigned(indices[i])));
      return;
    }
    if (a->kind == AttrKind::kTyped) {
      std::string text;
      rawString(plug, text);
      if (inElement || text != a->defaultString)
        fOut << "setAttr -type string " << plug.name().asStdString() << ' ' << quoted(text) << '\n';
      return;
    }
    if (a->isLeaf()) {
      double value = 0.0;
      rawNumber(plug, value);
      if (inElement || !sameBits(value, a->defaultValue))
        fOut << "setAttr " << plug.name().asStdString() << ' ' << valueText(a, value) << '\n';
      return;
    }
    if (a->numericCompound) {
      bool differs = inElement;
      std::string values;
      for (unsigned i = 0; i < a->children.size(); ++i) {
        const Attribute* child = a->children[i].get();
        double value = 0.0;
        rawNumber(plug.child(i), value);
        differs = differs || !sameBits(value, child->defaultValue);
        values += ' ' + valueText(child, value);
      }
      if (differs)
        fOut << "setAttr " << plug.name().asStdString() << values << '\n';
      return;
    }
    for (unsigned i = 0; i < a->children.size(); ++i)
      writeValues(plug.child(i), inElement);
  }

  // An element whose values are all numbers goes on one line; others are
  // written child by child.
  void writeElement(const HPlug& element) {
    const Attribute* a = element.attribute().attributeDef().get();
    bool flat = a->kind == AttrKind::kCompound && !a->numericCompound;
    for (auto& child : a->children) {
      flat = flat && !child->array && storableChain(child.get()) &&
             (child->kind == AttrKind::kNumeric || child->kind == AttrKind::kEnum);
    }
    if (!flat) {
      writeValues(element, true);
      return;
    }
    fOut << "setAttr " << element.name().asStdString();
    for (unsigned i = 0; i < a->children.size(); ++i) {
      double value = 0.0;
      rawNumber(element.child(i), value);
      fOut << ' ' << valueText(a->children[i].get(), value);
    }
    fOut << '\n';
  }

  void writeLinks(const HObject& node) {
    const NodeType* type = nodeTypeOf(node);
    if (type->hasFn(HFn::kIkHandle)) {
      std::string flags;
      const std::pair<const char*, const char*> keys[] = {
          {"startJoint", "-sj"}, {"endEffector", "-ee"}, {"solver", "-sol"}};
      for (auto& key : keys) {
        HObject target = nodeLink(node, key.first);
        if (!target.isNull())
          flags += std::string(" ") + key.second + " " + nodeName(target);
      }
      if (!flags.empty())
        fOut << "ikHandle -e" << flags << ' ' << nodeName(node) << '\n';
    } else if (type->hasFn(HFn::kIkEffector)) {
      HObject joint = nodeLink(node, "endJoint");
      if (!joint.isNull())
        fOut << "ikHandle -e -ej " << nodeName(joint) << ' ' << nodeName(node) << '\n';
    }
  }

  void writeLocks(const HPlug& plug) {
    if (plugOwnLocked(plug))
      fOut << "setAttr -l on " << plug.name().asStdString() << '\n';
    const Attribute* a = plug.attribute().attributeDef().get();
    PlugRef ref;
    if (resolve(plug, ref) == PlugState::kArray) {
      HIntArray indices;
      plug.getExistingArrayAttributeIndices(indices);
      for (unsigned i = 0; i < indices.length(); ++i)
        writeLocks(plug.elementByLogicalIndex(unsigned(indices[i])));
      return;
    }
    for (unsigned i = 0; i < a->children.size(); ++i)
      writeLocks(plug.child(i));
  }

  void writeSelection() {
    HSelectionList active;
    HGlobal::getActiveSelectionList(active);
    if (active.length() == 0)
      return;
    fOut << "select -r";
    for (unsigned i = 0; i < active.length(); ++i) {
      HObject node;
      if (active.getDependNode(i, node).statusCode() == HStatus::kSuccess)
        fOut << ' ' << nodeName(node);
    }
    fOut << '\n';
  }

  std::ostream& fOut;
};

}  // namespace

HStatus writeScene(std::ostream& out) {
  Writer writer(out);
  writer.run();
  return out ? HStatus(HStatus::kSuccess)
             : HStatus(HStatus::kFailure, HString("Could not write the scene text"));
}

}  // namespace hostdetail

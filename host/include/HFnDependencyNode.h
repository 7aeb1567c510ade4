#pragma once
#include "HFnBase.h"
#include "HPlug.h"
#include "HString.h"
#include "HTypeId.h"

class HPxNode;

// Function set for every node: its name, type, attributes and plugs.
class HFnDependencyNode : public HFnBase {
 public:
  enum HAttrClass { kInvalidAttr = 0, kLocalDynamicAttr = 1, kNormalAttr = 2 };

  HFnDependencyNode() = default;
  explicit HFnDependencyNode(const HObject& node, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kDependencyNode; }
  HStatus setObject(const HObject& object) override;

  // Creates a node of a registered type (built-in or plug-in) at the top of
  // the scene; the name is made unique by the host (type name + number when
  // empty; a taken "name3" becomes "name4", a taken "arm" "arm1"). Names are
  // letters, digits and '_', not starting with a digit; others fail.
  HObject create(const HString& typeName, const HString& name = HString(),
                 HStatus* status = nullptr);

  HString name(HStatus* status = nullptr) const;
  // Renames; the host makes the name unique and returns what it chose.
  HString setName(const HString& name, HStatus* status = nullptr);
  HString typeName(HStatus* status = nullptr) const;
  HTypeId typeId(HStatus* status = nullptr) const;
  bool isFromPlugin(HStatus* status = nullptr) const;
  HString pluginName(HStatus* status = nullptr) const;
  // The plug-in object behind a node made by a plug-in (null otherwise).
  HPxNode* userNode(HStatus* status = nullptr) const;

  // Attributes, static and dynamic, looked up by long or short name.
  HObject attribute(const HString& name, HStatus* status = nullptr) const;
  // Every attribute, children of compounds included: static ones first,
  // parents before their children, then dynamic ones in the order added.
  unsigned attributeCount(HStatus* status = nullptr) const;
  HObject attribute(unsigned index, HStatus* status = nullptr) const;
  bool hasAttribute(const HString& name, HStatus* status = nullptr) const;
  HAttrClass attributeClass(const HObject& attribute, HStatus* status = nullptr) const;
  // By long or short name; a name with indices and children
  // ("ramp[2].ramp_Position") gives that plug.
  HPlug findPlug(const HString& name, HStatus* status = nullptr) const;
  HPlug findPlug(const HString& name, bool wantNetworkedPlug, HStatus* status = nullptr) const;
  HPlug findPlug(const HObject& attribute, HStatus* status = nullptr) const;

  // Adds or removes a dynamic attribute of this node (not undoable; use an
  // HDGModifier for undo). Only kLocalDynamicAttr is accepted. Adding fails
  // for a child attribute, an attribute already on a node, or a long or short
  // name (of it or its children) that the node already has. A removed
  // attribute takes its values and connections along; added again, it starts
  // from its defaults.
  HStatus addAttribute(const HObject& attribute, HAttrClass type = kLocalDynamicAttr);
  HStatus removeAttribute(const HObject& attribute, HAttrClass type = kLocalDynamicAttr);
};

#pragma once
// Records scene edits so that they can be carried out and reversed as one.
// doIt carries out what it has not yet carried out; undoIt reverses what was
// carried out, newest first; doIt after undoIt carries it all out again.

#include <memory>
#include <vector>

#include "HDagPath.h"
#include "HFnDependencyNode.h"
#include "HObject.h"
#include "HPlug.h"
#include "HStatus.h"
#include "HString.h"

namespace hostdetail {
struct ModifierOp;
}

class HDGModifier {
 public:
  HDGModifier();
  virtual ~HDGModifier();
  HDGModifier(const HDGModifier&) = delete;
  HDGModifier& operator=(const HDGModifier&) = delete;

  HObject createNode(const HString& typeName, HStatus* status = nullptr);
  HStatus deleteNode(const HObject& node);
  HStatus renameNode(const HObject& node, const HString& newName);
  HStatus addAttribute(const HObject& node, const HObject& attribute,
                       HFnDependencyNode::HAttrClass type = HFnDependencyNode::kLocalDynamicAttr);
  HStatus removeAttribute(const HObject& node, const HObject& attribute,
                          HFnDependencyNode::HAttrClass type = HFnDependencyNode::kLocalDynamicAttr);
  HStatus connect(const HPlug& source, const HPlug& destination);
  HStatus disconnect(const HPlug& source, const HPlug& destination);
  // Value edits, restored exactly on undo.
  HStatus newPlugValueDouble(const HPlug& plug, double value);
  HStatus newPlugValueInt(const HPlug& plug, int value);
  HStatus newPlugValueBool(const HPlug& plug, bool value);
  HStatus newPlugValueFloat(const HPlug& plug, float value);
  HStatus newPlugValueString(const HPlug& plug, const HString& value);
  HStatus setPlugLocked(const HPlug& plug, bool locked);

  HStatus doIt();
  HStatus undoIt();

 protected:
  std::vector<std::unique_ptr<hostdetail::ModifierOp>> fOps;
  size_t fDone = 0;  // ops [0, fDone) are carried out
};

// Adds DAG edits: create under a parent, reparent.
class HDagModifier : public HDGModifier {
 public:
  HObject createNode(const HString& typeName, const HObject& parent = HObject::kNullObj,
                     HStatus* status = nullptr);
  HStatus reparentNode(const HObject& node, const HObject& newParent = HObject::kNullObj);
};

#pragma once
// Records scene edits so that they can be carried out and reversed as one.
// doIt carries out what it has not yet carried out; undoIt reverses what was
// carried out, newest first; doIt after undoIt carries it all out again.
//
// doIt stops at the first op that fails and returns its status; the ops
// before it stay carried out, and the next doIt tries the failed one again.
// undoIt reverses every carried-out op and reports the first that could not
// be reversed. Deleted nodes and removed attributes come back exactly (values,
// locks, array elements, connections, place among siblings). Recording
// accepts nodes that an earlier op of the same modifier creates.

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

  // The node exists from the call on, but stays out of the scene (its object
  // reads as null) until doIt; undo and redo keep the same object.
  HObject createNode(const HString& typeName, HStatus* status = nullptr);
  HStatus deleteNode(const HObject& node);
  HStatus renameNode(const HObject& node, const HString& newName);
  HStatus addAttribute(const HObject& node, const HObject& attribute,
                       HFnDependencyNode::HAttrClass type = HFnDependencyNode::kLocalDynamicAttr);
  HStatus removeAttribute(
      const HObject& node, const HObject& attribute,
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

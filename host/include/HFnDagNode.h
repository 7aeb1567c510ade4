#pragma once
#include "HDagPath.h"
#include "HFnDependencyNode.h"

// Function set for DAG nodes: parent, children, path.
class HFnDagNode : public HFnDependencyNode {
 public:
  HFnDagNode() = default;
  explicit HFnDagNode(const HObject& node, HStatus* status = nullptr);
  explicit HFnDagNode(const HDagPath& path, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kDagNode; }
  HStatus setObject(const HObject& object) override;
  HStatus setObject(const HDagPath& path);

  // Creates a DAG node of the given type under parent (the world when null).
  HObject create(const HString& typeName, const HObject& parent = HObject::kNullObj,
                 HStatus* status = nullptr);
  HObject create(const HString& typeName, const HString& name, const HObject& parent,
                 HStatus* status = nullptr);

  unsigned parentCount(HStatus* status = nullptr) const;  // 1, or 0 for a node under the world
  HObject parent(unsigned index = 0, HStatus* status = nullptr) const;
  unsigned childCount(HStatus* status = nullptr) const;
  HObject child(unsigned index, HStatus* status = nullptr) const;
  // Moves this node under newParent (null: the world), keeping its local
  // transform. Fails for a cycle (newParent below this node).
  HStatus setParent(const HObject& newParent);
  HStatus getPath(HDagPath& path) const;
  HDagPath dagPath(HStatus* status = nullptr) const;
  HString fullPathName(HStatus* status = nullptr) const;
  bool isChildOf(const HObject& node, HStatus* status = nullptr) const;
  bool isParentOf(const HObject& node, HStatus* status = nullptr) const;
};

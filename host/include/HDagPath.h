#pragma once
// The path from the world to a DAG node. The host has no instancing, so a
// node has exactly one path and a path is named by the node at its tip.

#include "HFn.h"
#include "HMatrix.h"
#include "HObject.h"
#include "HStatus.h"
#include "HString.h"

class HDagPath {
 public:
  HDagPath() = default;

  // The node at the tip of the path (null for an empty path).
  HObject node(HStatus* status = nullptr) const;
  // Shortens the path by count nodes towards the world; fails (path unchanged)
  // when the path has fewer than count + 1 nodes.
  HStatus pop(unsigned count = 1);
  // Number of nodes below the world on the path (0 for an empty or invalid path).
  unsigned length(HStatus* status = nullptr) const;
  bool isValid(HStatus* status = nullptr) const;
  HFn::Type apiType(HStatus* status = nullptr) const;
  bool hasFn(HFn::Type type, HStatus* status = nullptr) const;
  HString fullPathName(HStatus* status = nullptr) const;     // "|joint1|joint2"
  HString partialPathName(HStatus* status = nullptr) const;  // shortest unique name

  // Object-to-world matrix of the tip (its own transform included), its
  // inverse, and the world matrix of the tip's parent. An invalid path gives
  // the identity. Cached by the host; cheap to ask for again and again.
  HMatrix inclusiveMatrix(HStatus* status = nullptr) const;
  HMatrix inclusiveMatrixInverse(HStatus* status = nullptr) const;
  HMatrix exclusiveMatrix(HStatus* status = nullptr) const;
  HMatrix exclusiveMatrixInverse(HStatus* status = nullptr) const;

  unsigned childCount(HStatus* status = nullptr) const;
  HObject child(unsigned index, HStatus* status = nullptr) const;
  // Fails unless child is a DAG child of the tip (or a node under the world
  // for an empty path).
  HStatus push(const HObject& child);

  // Fails (path unchanged) for a null or non-DAG node.
  static HStatus getAPathTo(const HObject& node, HDagPath& path);

  bool operator==(const HDagPath& other) const;

  // Host internals: the node at the path's tip as stored, unchecked (it may
  // name a deleted node), so that function sets can check it only once.
  const HObject& tipObject() const { return fNode; }
  bool operator!=(const HDagPath& other) const { return !(*this == other); }

 private:
  HObject fNode;
};

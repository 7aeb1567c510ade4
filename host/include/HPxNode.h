#pragma once
#include "HObject.h"
#include "HPlug.h"
#include "HStatus.h"
#include "HString.h"
#include "HTypeId.h"

// Base of node types defined by plug-ins. The host creates the object through
// the registered creator, ties it to a scene node and deletes it with the node.
class HPxNode {
 public:
  // Node kinds given at registration.
  enum Type {
    kDependNode = 0,
    kLocatorNode = 1,
    kDeformerNode = 2,
    kManipContainer = 3,
    kSurfaceShape = 4,
    kFieldNode = 5,
    kEmitterNode = 6,
    kSpringNode = 7,
    kIkSolverNode = 8,
    kLast
  };

  HPxNode() = default;
  virtual ~HPxNode() = default;
  HPxNode(const HPxNode&) = delete;
  HPxNode& operator=(const HPxNode&) = delete;

  // Called once the host has tied the object to its scene node.
  virtual void postConstructor() {}
  virtual HStatus compute(const HPlug& plug) {
    (void)plug;
    return HStatus(HStatus::kUnknownParameter);
  }
  virtual Type type() const { return kDependNode; }

  // The scene node of this object (null before the host ties it).
  HObject thisHObject() const { return fThis; }
  HString name() const;
  HString typeName() const;
  HTypeId typeId() const;

  // Host internal: ties the object to its node.
  void hostSetThis(const HObject& node) { fThis = node; }

 private:
  HObject fThis;
};

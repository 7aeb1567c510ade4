#pragma once
#include "HDagPath.h"
#include "HFnTransform.h"

// Function set for IK handles ("ikHandle" nodes): a transform that knows its
// start joint, its end effector and its solver node; attributes poleVector
// (pvx, pvy, pvz), twist (radians inside), splineIkOldStyle, solverEnable,
// snapEnable. Its world position is the goal.
class HFnIkHandle : public HFnTransform {
 public:
  HFnIkHandle() = default;
  explicit HFnIkHandle(const HObject& node, HStatus* status = nullptr);
  explicit HFnIkHandle(const HDagPath& path, HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kIkHandle; }
  HStatus setObject(const HObject& object) override;

  // Creates a handle from startJoint to endJoint (a joint below it): makes an
  // "ikEffector" under the end joint's parent at the end joint's position,
  // its translation following the end joint's; the handle sits at the end
  // joint's world position under the world; its pole vector is the chain's
  // bend direction (see host conventions).
  // Fails (and makes nothing) unless both are joints and endJoint lies
  // strictly below startJoint. The new handle has no solver.
  HObject create(const HDagPath& startJoint, const HDagPath& endJoint, HStatus* status = nullptr);

  HStatus getStartJoint(HDagPath& startJoint) const;
  HStatus setStartJoint(const HDagPath& startJoint);
  HStatus getEffector(HDagPath& effector) const;
  HStatus setEffector(const HDagPath& effector);
  // The solver node (a node of an IK-solver type); null when none. A null
  // object clears it; a node of another type is refused.
  HObject solver(HStatus* status = nullptr) const;
  HStatus setSolver(const HObject& solverNode);
  HStatus setSolver(const HString& solverName);
};

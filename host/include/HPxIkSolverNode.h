#pragma once
#include "HIkHandleGroup.h"
#include "HPxNode.h"

// Base of IK solver node types. For each dirty, enabled handle that names a
// node of the type as its solver, the host sets the handle group, calls
// preSolve, doSolve, postSolve. snapHandle is asked when a handle is snapped
// onto its effector.
class HPxIkSolverNode : public HPxNode {
 public:
  HPxIkSolverNode() = default;
  ~HPxIkSolverNode() override = default;

  Type type() const override { return kIkSolverNode; }
  virtual HStatus preSolve() { return HStatus(HStatus::kSuccess); }
  virtual HStatus doSolve() = 0;
  virtual HStatus postSolve(HStatus status) { return status; }
  virtual HString solverTypeName() const;
  virtual bool isSingleChainOnly() const { return fSingleChainOnly; }
  virtual bool isPositionOnly() const { return fPositionOnly; }
  virtual bool hasJointLimitSupport() const { return fSupportJointLimits; }
  virtual bool hasUniqueSolution() const { return true; }
  virtual bool groupHandlesByTopology() const { return true; }
  virtual void setHandleGroup(HIkHandleGroup* group) { fGroup = group; }
  virtual HIkHandleGroup* handleGroup() const { return fGroup; }
  // Default: moves the handle onto its end effector.
  virtual void snapHandle(HObject& handle);

  void setSingleChainOnly(bool value) { fSingleChainOnly = value; }
  void setRotatePlane(bool value) { fRotatePlane = value; }
  bool rotatePlane() const { return fRotatePlane; }
  void setPositionOnly(bool value) { fPositionOnly = value; }
  void setSupportJointLimits(bool value) { fSupportJointLimits = value; }
  void setUniqueSolution(bool value) { (void)value; }

 private:
  HIkHandleGroup* fGroup = nullptr;
  bool fSingleChainOnly = false;
  bool fRotatePlane = false;
  bool fPositionOnly = false;
  bool fSupportJointLimits = false;
};

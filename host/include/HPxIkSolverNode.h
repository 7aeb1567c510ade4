#pragma once
#include "HIkHandleGroup.h"
#include "HPxNode.h"

// Base of IK solver node types. For each dirty, enabled handle that names a
// node of the type as its solver, the host sets the handle group, calls
// preSolve, doSolve, postSolve. Handles that share no joints may be solved on
// several threads at once, so a solver keeps no per-solve state in members. snapHandle is asked
// when a handle is snapped onto its effector.
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
  // Whether doSolve may run on several threads at once for handles that share
  // no joints (it then touches only its own handle and chain and keeps
  // nothing in members). Off unless a solver says so.
  virtual bool isThreadSafe() const { return false; }
  // The group is kept per thread: the host may solve handles that share one
  // solver node on several threads at once, each with its own group.
  virtual void setHandleGroup(HIkHandleGroup* group);
  virtual HIkHandleGroup* handleGroup() const;
  // Default: moves the handle onto its end effector.
  virtual void snapHandle(HObject& handle);

  void setSingleChainOnly(bool value) { fSingleChainOnly = value; }
  void setRotatePlane(bool value) { fRotatePlane = value; }
  bool rotatePlane() const { return fRotatePlane; }
  void setPositionOnly(bool value) { fPositionOnly = value; }
  void setSupportJointLimits(bool value) { fSupportJointLimits = value; }
  void setUniqueSolution(bool value) { (void)value; }

 private:
  bool fSingleChainOnly = false;
  bool fRotatePlane = false;
  bool fPositionOnly = false;
  bool fSupportJointLimits = false;
};

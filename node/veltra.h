#pragma once
// The IK solver node `veltra`: the host's frame around one solve.
//
// The node keeps no state of its own, so the host may solve handles that
// share no joints on several threads at once. A solve gathers the handle's inputs
// from the scene (veltraData.h), runs the kernel over them (veltraKernel.h)
// and writes the result back onto the chain.

#include <HDagPath.h>
#include <HObject.h>
#include <HPxIkSolverNode.h>
#include <HStatus.h>
#include <HString.h>
#include <HTypeId.h>

class veltra : public HPxIkSolverNode {
 public:
  veltra();
  ~veltra() override;

  // Declares the solver's properties: single chain, rotate plane, position
  // only, joint-limit support.
  void postConstructor() override;
  // Poses the chain of the handle being solved so that its end reaches the
  // handle. On failure a message is printed and no joint is changed.
  HStatus doSolve() override;
  HString solverTypeName() const override;
  // A solve touches only its own handle and chain (and the rest pose check's
  // memory, which locks).
  bool isThreadSafe() const override { return true; }
  // Moves the handle onto its end effector (world space); nothing else changes.
  void snapHandle(HObject& handle) override;

  static void* creator();
  static HStatus initialize();
  // The node type id, 0x12345678.
  static HTypeId id;

  // The path of the first handle of the group the host is solving; a failure
  // status when the host gave none.
  HStatus ikHandle(HDagPath& handle);
};

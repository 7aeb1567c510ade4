#pragma once
#include "HObject.h"
#include "HStatus.h"

// IK evaluation. A handle is dirty when its own attributes or transform change,
// when a transform above it changes, when its solver changes, or when the
// preferred angles of its chain change; editing the rotations of its chain's
// joints by hand does not dirty it. The command engine solves every dirty,
// enabled handle before a command reads scene state and at the end of every
// command; reads through the C++ API never trigger evaluation.
class HIkSystem {
 public:
  // Solves every dirty handle whose solverEnable is on and whose solver is set;
  // returns the first failure (every handle is still tried). Handles are
  // solved parents first (by the depth of their start joint). A solved
  // handle is clean afterwards, whatever its solve changed or returned; a
  // disabled or solverless one stays dirty. Does nothing while suspended or
  // when called again from inside a solve.
  static HStatus evaluate();
  // Solves one handle now, dirty or not; fails without a solver or when
  // solverEnable is off.
  static HStatus solveHandle(const HObject& handle);
  static bool isDirty(const HObject& handle);
  static void markDirty(const HObject& handle);
  // Moves the handle onto its effector through its solver's snapHandle.
  static HStatus snapHandle(const HObject& handle);
  // Whether evaluate may solve on several threads (on by default). Handles
  // then go in groups: two handles fall into one group when they share a
  // joint, or when one's chain lies above the other's chain or handle; the
  // groups run in parallel, each in the order above. Only when every handle
  // to solve has a thread-safe solver, nothing connected to its chain, and
  // there are enough groups to be worth it; otherwise everything runs in
  // order on the calling thread. The poses are the same either way.
  static void setParallelEvaluation(bool enabled);
  static bool isParallelEvaluation();
  // How many groups the last evaluate solved in parallel; 0 when it solved on
  // the calling thread alone.
  static unsigned lastParallelGroupCount();
  // Globally suspends solving (e.g. while a scene file is read).
  static void setSolvingSuspended(bool suspended);
  static bool isSolvingSuspended();
};

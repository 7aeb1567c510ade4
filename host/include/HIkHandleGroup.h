#pragma once
#include <vector>

#include "HObject.h"
#include "HStatus.h"

// The handles that the host hands to a solver node for one solve.
class HIkHandleGroup {
 public:
  HIkHandleGroup() = default;
  unsigned handleCount() const { return unsigned(fHandles.size()); }
  // The handle of that index (null out of range).
  HObject handle(unsigned index) const;
  HStatus addHandle(const HObject& handle);
  void clear() { fHandles.clear(); }
  int solverPriority() const { return fPriority; }
  void setSolverPriority(int priority) { fPriority = priority; }

 private:
  std::vector<HObject> fHandles;
  int fPriority = 0;
};

#pragma once
// Fixtures of the animation tests: a three-joint chain and a recording solver
// node type registered through the plug-in registry.

#include <gtest/gtest.h>

#include <vector>

#include "HDagPath.h"
#include "HFnIkHandle.h"
#include "HFnIkJoint.h"
#include "HFnPlugin.h"
#include "HIkSystem.h"
#include "HPxIkSolverNode.h"
#include "HStatus.h"
#include "graph/SceneInternal.h"

namespace animtest {

inline bool succeeded(const HStatus& status) {
  return status.statusCode() == HStatus::kSuccess;
}

inline HDagPath pathOf(const HObject& node) {
  HDagPath path;
  HDagPath::getAPathTo(node, path);
  return path;
}

inline HVector worldPosition(const HObject& node) {
  const HMatrix m = pathOf(node).inclusiveMatrix();
  return HVector(m.matrix[3][0], m.matrix[3][1], m.matrix[3][2]);
}

// Records every solve: which handles the group held, in which order the
// calls came. Optionally behaves like a first solve that adds an attribute
// to the handle and writes the chain's preferred angles and rotations.
struct RecordingSolver : HPxIkSolverNode {
  struct Call {
    std::vector<HObject> handles;
    bool preSolved = false;
  };
  static std::vector<Call>& calls() {
    static std::vector<Call> list;
    return list;
  }
  static bool& editsDuringSolve() {
    static bool value = false;
    return value;
  }
  static int& snaps() {
    static int value = 0;
    return value;
  }
  bool fPreSolved = false;

  HStatus preSolve() override {
    fPreSolved = true;
    return HStatus(HStatus::kSuccess);
  }
  HStatus doSolve() override;
  HStatus postSolve(HStatus status) override {
    fPreSolved = false;
    return status;
  }
  void snapHandle(HObject& handle) override {
    ++snaps();
    HPxIkSolverNode::snapHandle(handle);
  }
};

void* recordingCreator();

constexpr unsigned kRecordingTypeId = 0x7101;

// A fresh scene with the recording solver type registered, and a chain
// joint1 -> joint2 -> joint3 bent in the xy plane.
class IkTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  HObject makeHandle(bool withSolver = true);
  HPlug plug(const HObject& node, const char* name) {
    return HFnDependencyNode(node).findPlug(name);
  }

  HObject fPlugin;
  HObject fJoint1, fJoint2, fJoint3;
  HObject fSolver;
};

}  // namespace animtest

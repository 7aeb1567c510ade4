#pragma once
// Shared fixtures of the core tests: a fresh scene per test and independent
// matrix builders to check the host's transforms against.

#include <gtest/gtest.h>

#include "FoundationTestUtil.h"
#include "HDagPath.h"
#include "HEulerRotation.h"
#include "HFnDependencyNode.h"
#include "HFnTransform.h"
#include "HIkSystem.h"
#include "HMatrix.h"
#include "HPlug.h"
#include "HStatus.h"
#include "graph/SceneInternal.h"

namespace coretest {

inline bool succeeded(const HStatus& status) {
  return status.statusCode() == HStatus::kSuccess;
}

// Every test starts from an empty scene.
class SceneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Joints live in the animation library; using it keeps it loaded.
    HIkSystem::setSolvingSuspended(false);
    hostdetail::resetScene();
  }
  void TearDown() override { hostdetail::resetScene(); }

  HObject create(const char* type, const char* name = "", const HObject& parent = HObject()) {
    HStatus status;
    HObject node = hostdetail::createNode(type, name, parent, &status);
    EXPECT_TRUE(succeeded(status)) << type << " " << name;
    return node;
  }
  HPlug plug(const HObject& node, const char* name) {
    HStatus status;
    HPlug p = HFnDependencyNode(node).findPlug(name, &status);
    EXPECT_TRUE(succeeded(status)) << name;
    return p;
  }
  double value(const HObject& node, const char* name) { return plug(node, name).asDouble(); }
  HDagPath pathTo(const HObject& node) {
    HDagPath path;
    EXPECT_TRUE(succeeded(HDagPath::getAPathTo(node, path)));
    return path;
  }
};

// The leaf plugs of translate, rotate, scale, shear, rotate orientation and
// joint orient, in that order.
inline const char* const kComponentPlugs[6][3] = {{"tx", "ty", "tz"},    {"rx", "ry", "rz"},
                                                  {"sx", "sy", "sz"},    {"shxy", "shxz", "shyz"},
                                                  {"rax", "ray", "raz"}, {"jox", "joy", "joz"}};

// Row-vector matrices built from first principles, independent of
// HTransformationMatrix; rotations and translations come from the foundation
// tests' Rodrigues builder.
inline HMatrix scaling(double x, double y, double z) {
  HMatrix m;
  m.matrix[0][0] = x;
  m.matrix[1][1] = y;
  m.matrix[2][2] = z;
  return m;
}

// Shear (xy, xz, yz): x picks up xy*y and xz*z, y picks up yz*z; as rows.
inline HMatrix shearing(double xy, double xz, double yz) {
  HMatrix m;
  m.matrix[1][0] = xy;
  m.matrix[2][0] = xz;
  m.matrix[2][1] = yz;
  return m;
}

// About x, y or z (0, 1, 2), right-handed.
inline HMatrix rotationAbout(int axis, double angle) {
  const HVector axes[3] = {HVector::xAxis, HVector::yAxis, HVector::zAxis};
  return ftest::rotationMatrix(axes[axis], angle);
}

inline HMatrix eulerXYZ(double x, double y, double z) {
  return rotationAbout(0, x) * rotationAbout(1, y) * rotationAbout(2, z);
}

inline void expectMatrixNear(const HMatrix& a, const HMatrix& b, double tolerance = 1e-9) {
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) {
      EXPECT_NEAR(a.matrix[r][c], b.matrix[r][c], tolerance) << "element " << r << "," << c;
    }
  }
}

}  // namespace coretest

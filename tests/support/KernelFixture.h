#pragma once
// Kernel inputs built straight from chain values (no scene), and the forward
// kinematics of a kernel result over them, with ChainValues.h's own algebra.

#include <HDoubleArray.h>
#include <HMath.h>
#include <HPoint.h>
#include <HSpace.h>
#include <HTransformationMatrix.h>
#include <veltraKernel.h>

#include <vector>

#include "ChainValues.h"

namespace kernelfixture {

using namespace chainfixture;

// The local transformation of a joint as the host holds it.
inline HTransformationMatrix localTransformation(const JointDesc& d) {
  HTransformationMatrix tm;
  tm.setTranslation(d.translate, HSpace::kTransform);
  tm.setRotateOrientation(HEulerRotation(d.rotateAxis).asQuaternion());
  tm.setRotation(HEulerRotation(d.rotate, d.rotateOrder));
  tm.setJointOrientation(HEulerRotation(d.jointOrient).asQuaternion());
  return tm;
}

// Joints, each the parent of the next, under a parent matrix.
struct ValueChain {
  std::vector<JointDesc> joints;
  Mat4 parent = identity4();
};

// A solve's input: the joints' rotations are the rest pose, every weight is
// 1, both pole vectors are +Y, the handle's parent is the world, no twist.
inline veltraKernelInput kernelInput(const ValueChain& chain, const Vec3& handle) {
  veltraKernelInput input;
  for (const JointDesc& d : chain.joints) {
    input.localTransformations.push_back(localTransformation(d));
    input.restPose.append(d.rotate);
  }
  input.rootParentWorldMatrix = toHMatrix(chain.parent);
  input.handleWorldPosition = HPoint(handle.x, handle.y, handle.z);
  input.poleVector = HVector::yAxis;
  input.restPoleVector = HVector::yAxis;
  input.angleBias = HDoubleArray(unsigned(chain.joints.size()), 1.0);
  return input;
}

// World matrices of the entries in the input's rest pose with the passes
// added in object space, the bend pass first, as the node writes them.
inline std::vector<Mat4> worldMatrices(const ValueChain& chain, const veltraKernelInput& input,
                                       const veltraKernelPass* bend = nullptr,
                                       const veltraKernelPass* plane = nullptr) {
  std::vector<Mat4> world;
  Mat4 above = chain.parent;
  const size_t n = chain.joints.size();
  for (size_t i = 0; i < n; ++i) {
    const unsigned k = unsigned(i);
    // R <- q x R per pass: the later pass acts first on a row vector.
    Mat4 added = identity4();
    if (plane)
      added = added * axisAngleMatrix(plane->angles[k], plane->axes[k]);
    if (bend)
      added = added * axisAngleMatrix(bend->angles[k], bend->axes[k]);
    const HVector rotate = i + 1 < n ? input.restPose[k] : chain.joints[i].rotate;
    above = jointMatrix(chain.joints[i], rotate, added) * above;
    world.push_back(above);
  }
  return world;
}

inline std::vector<Vec3> positionsOf(const std::vector<Mat4>& world) {
  std::vector<Vec3> out;
  for (const Mat4& m : world)
    out.push_back(originOf(m));
  return out;
}

// Positions after the whole result.
inline std::vector<Vec3> solvedPositions(const ValueChain& chain, const veltraKernelInput& input,
                                         const veltraKernelResult& result) {
  return positionsOf(worldMatrices(chain, input, &result.bend, &result.plane));
}

inline bool allFinite(const veltraKernelResult& r) {
  for (const veltraKernelPass* pass : {&r.bend, &r.plane})
    for (unsigned i = 0; i < pass->angles.length(); ++i)
      if (!std::isfinite(pass->angles[i]) || !std::isfinite(pass->axes[i].x) ||
          !std::isfinite(pass->axes[i].y) || !std::isfinite(pass->axes[i].z))
        return false;
  return std::isfinite(r.bendFraction);
}

}  // namespace kernelfixture

namespace kernelfixture {

// Parents the chain tests loop over. Similar ones (rotation, translation and
// a uniform positive scale) keep lengths in proportion and angles as they are.
struct NamedParent {
  const char* name;
  ParentDesc desc;
  bool similar;
};

inline const std::vector<NamedParent>& testParents() {
  static const std::vector<NamedParent> parents = {
      {"identity", {}, true},
      {"translated", {HVector(3.0, -2.0, 5.0), HVector(), HVector(1, 1, 1)}, true},
      {"rotated", {HVector(), HVector(0.7, -0.4, 1.1), HVector(1, 1, 1)}, true},
      {"uniformlyScaled", {HVector(), HVector(), HVector(1.7, 1.7, 1.7)}, true},
      {"allThree", {HVector(-1, 4, 2), HVector(-2.1, 0.3, 0.9), HVector(0.6, 0.6, 0.6)}, true},
      {"nonUniformlyScaled",
       {HVector(1, 0, -2), HVector(0.4, 0.2, -0.5), HVector(2.0, 0.5, 1.3)},
       false},
      {"mirrored", {HVector(0, 1, 0), HVector(0.3, -0.8, 0.1), HVector(-1.0, 1.0, 1.0)}, false},
  };
  return parents;
}

}  // namespace kernelfixture

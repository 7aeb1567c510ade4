// Soft IK, stretch and the reached flag on the handle: their attributes, the
// pre-step that hands their values to the kernel with the chain unstretched,
// and the post-step that stretches the chain and reports whether it reached.
//
// Stretch grows the chain about its root by scaling the root joint uniformly.
// A child's world matrix is its local matrix times its parent's, so the
// root's scale carries every bone below it (and the end joint's own
// children) by the same factor: each bone lengthens in proportion, the chain
// keeps its shape and its end stays on the ray from the root to the handle.
// A per-bone scale along each bone would need the bones to lie along a joint
// axis, which a chain built joint by joint does not. The factor applied last
// is kept on the handle ("wexelStretchScale", saved with the scene) and
// divided out before the next solve, so that the solve always measures the
// unstretched chain and a rigger's own root scale is kept underneath.

#include <cmath>

#include <HDGContext.h>
#include <HFnDependencyNode.h>
#include <HFnNumericAttribute.h>
#include <HFnNumericData.h>
#include <HFnTransform.h>
#include <HPlug.h>
#include <HSpace.h>

#include "veltraData.h"

namespace veltraData {

namespace {

const char* const kSoftnessName = "veltraSoftness";
const char* const kStretchName = "veltraStretch";
const char* const kReachedName = "veltraReached";
const char* const kStretchScaleName = "wexelStretchScale";

HPlug handlePlug(const HDagPath& handle, const char* name) {
  const HObject node = handle.node();
  HStatus status;
  const HObject attribute = HFnDependencyNode(node).attribute(name, &status);
  return status == HStatus::kSuccess ? HPlug(node, attribute) : HPlug();
}

// A keyable double with the given range (no maximum when max < min).
HStatus addDouble(const HDagPath& handle, const char* name, const char* shortName, double min,
                  double max) {
  if (attributeExists(handle, name)) {
    return HStatus(HStatus::kSuccess);
  }
  HFnNumericAttribute fnAttribute;
  const HObject attribute = fnAttribute.create(name, shortName, HFnNumericData::kDouble, 0.0);
  fnAttribute.setKeyable(true);
  fnAttribute.setMin(min);
  fnAttribute.setStrictRange(true);
  if (max >= min) {
    fnAttribute.setMax(max);
  }
  return addHandleAttribute(handle, attribute, nullptr);
}

}  // namespace

HStatus ikSoftStretchCreate(const HDagPath& handle) {
  HStatus status = addDouble(handle, kSoftnessName, "vsof", 0.0, -1.0);
  if (status == HStatus::kSuccess) {
    status = addDouble(handle, kStretchName, "vstr", 0.0, 1.0);
  }
  if (status == HStatus::kSuccess && !attributeExists(handle, kReachedName)) {
    // An output: the solve writes it, a user only reads it, and a scene file
    // has no use for it (the next solve writes it anew).
    HFnNumericAttribute fnAttribute;
    const HObject attribute =
        fnAttribute.create(kReachedName, "vrch", HFnNumericData::kBoolean, 0.0);
    fnAttribute.setWritable(false);
    fnAttribute.setStorable(false);
    status = addHandleAttribute(handle, attribute, nullptr);
  }
  return status;
}

HStatus ikSoftStretch(const HDagPath& handle, veltraKernelInput& input, double& appliedStretch) {
  const HStatus created = ikSoftStretchCreate(handle);
  if (created != HStatus::kSuccess) {
    return created;
  }
  HStatus status = handlePlug(handle, kSoftnessName).getValue(input.softness, HDGContext::fsNormal);
  if (status == HStatus::kSuccess) {
    status = handlePlug(handle, kStretchName).getValue(input.stretch, HDGContext::fsNormal);
  }
  appliedStretch = 1.0;
  const HPlug applied = handlePlug(handle, kStretchScaleName);
  if (!applied.isNull() &&
      applied.getValue(appliedStretch, HDGContext::fsNormal) == HStatus::kSuccess &&
      appliedStretch != 1.0 && std::isfinite(appliedStretch) && appliedStretch > 0.0 &&
      !input.localTransformations.empty()) {
    // The solve measures the chain as it stands without the last stretch.
    double scale[3];
    HTransformationMatrix& root = input.localTransformations[0];
    root.getScale(scale, HSpace::kTransform);
    for (double& component : scale) {
      component /= appliedStretch;
    }
    root.setScale(scale, HSpace::kTransform);
  } else {
    appliedStretch = 1.0;
  }
  return status;
}

void ikApplySoftStretch(const HDagPathArray& joints, const HDagPath& handle,
                        const veltraKernelInput& input, const veltraKernelResult& result,
                        double appliedStretch) {
  const HPlug reached = handlePlug(handle, kReachedName);
  if (!reached.isNull()) {
    reached.setValue(result.reached);
  }
  if (result.stretchScale == appliedStretch || joints.length() == 0) {
    return;
  }
  double scale[3];
  input.localTransformations[0].getScale(scale, HSpace::kTransform);
  for (double& component : scale) {
    component *= result.stretchScale;
  }
  if (HFnTransform(joints[0]).setScale(scale) != HStatus::kSuccess) {
    HStatus(HStatus::kFailure)
        .perror(
            "veltra::doSolve() - Could not stretch the chain: its root's scale is locked or "
            "connected.");
    return;
  }
  HPlug factor = handlePlug(handle, kStretchScaleName);
  if (factor.isNull()) {
    HFnNumericAttribute fnAttribute;
    const HObject attribute =
        fnAttribute.create(kStretchScaleName, "wsts", HFnNumericData::kDouble, 1.0);
    fnAttribute.setHidden(true);
    addHandleAttribute(handle, attribute, nullptr);
    factor = handlePlug(handle, kStretchScaleName);
  }
  factor.setValue(result.stretchScale);
}

}  // namespace veltraData

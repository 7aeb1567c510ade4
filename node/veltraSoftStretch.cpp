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

// Looked up by their short names: the host hashes a short name faster and
// keeps it without allocating.
const char* const kSoftnessShortName = "vsof";
const char* const kStretchShortName = "vstr";
const char* const kReachedShortName = "vrch";
const char* const kStretchScaleShortName = "wsts";

HPlug handlePlug(const HFnDependencyNode& fnHandle, const HObject& node, const char* name,
                 bool& found) {
  HStatus status;
  const HObject attribute = fnHandle.attribute(name, &status);
  found = status == HStatus::kSuccess;
  return found ? HPlug(node, attribute) : HPlug();
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

// The handle's soft, stretch, reached and stretch factor plugs, one lookup
// each; the factor's is null until a solve first stretches the chain.
void findSoftStretchPlugs(const HDagPath& handle, veltraSoftStretchPlugs& plugs) {
  const HObject node = handle.node();
  const HFnDependencyNode fnHandle(node);
  bool softness = false, stretch = false, reached = false;
  plugs.softness = handlePlug(fnHandle, node, kSoftnessShortName, softness);
  plugs.stretch = handlePlug(fnHandle, node, kStretchShortName, stretch);
  plugs.reached = handlePlug(fnHandle, node, kReachedShortName, reached);
  plugs.stretchScale = handlePlug(fnHandle, node, kStretchScaleShortName, plugs.stretched);
  plugs.complete = softness && stretch && reached;
}

}  // namespace

HStatus ikSoftStretchCreate(const HDagPath& handle) {
  HStatus status = addDouble(handle, kSoftnessName, kSoftnessShortName, 0.0, -1.0);
  if (status == HStatus::kSuccess) {
    status = addDouble(handle, kStretchName, kStretchShortName, 0.0, 1.0);
  }
  if (status == HStatus::kSuccess && !attributeExists(handle, kReachedName)) {
    // An output: the solve writes it, a user only reads it, and a scene file
    // has no use for it (the next solve writes it anew).
    HFnNumericAttribute fnAttribute;
    const HObject attribute =
        fnAttribute.create(kReachedName, kReachedShortName, HFnNumericData::kBoolean, 0.0);
    fnAttribute.setWritable(false);
    fnAttribute.setStorable(false);
    status = addHandleAttribute(handle, attribute, nullptr);
  }
  return status;
}

HStatus ikSoftStretch(const HDagPath& handle, veltraKernelInput& input,
                      veltraSoftStretchPlugs& plugs) {
  findSoftStretchPlugs(handle, plugs);
  if (!plugs.complete) {
    // Only a handle's first solve (or one whose attributes were deleted) gets here.
    const HStatus created = ikSoftStretchCreate(handle);
    if (created != HStatus::kSuccess) {
      return created;
    }
    findSoftStretchPlugs(handle, plugs);
  }
  HStatus status = plugs.softness.getValue(input.softness, HDGContext::fsNormal);
  if (status == HStatus::kSuccess) {
    status = plugs.stretch.getValue(input.stretch, HDGContext::fsNormal);
  }
  double& appliedStretch = plugs.appliedStretch;
  appliedStretch = 1.0;
  if (plugs.stretched &&
      plugs.stretchScale.getValue(appliedStretch, HDGContext::fsNormal) == HStatus::kSuccess &&
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
                        const veltraSoftStretchPlugs& plugs) {
  // Written only when it changes: a write notifies whoever watches the handle.
  bool wasReached = !result.reached;
  if (plugs.reached.getValue(wasReached, HDGContext::fsNormal) != HStatus::kSuccess ||
      wasReached != result.reached) {
    plugs.reached.setValue(result.reached);
  }
  if (result.stretchScale == plugs.appliedStretch || joints.length() == 0) {
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
  HPlug factor = plugs.stretchScale;
  if (!plugs.stretched) {
    HFnNumericAttribute fnAttribute;
    const HObject attribute =
        fnAttribute.create(kStretchScaleName, kStretchScaleShortName, HFnNumericData::kDouble, 1.0);
    fnAttribute.setHidden(true);
    addHandleAttribute(handle, attribute, nullptr);
    const HObject node = handle.node();
    bool found = false;
    factor = handlePlug(HFnDependencyNode(node), node, kStretchScaleShortName, found);
  }
  factor.setValue(result.stretchScale);
}

}  // namespace veltraData

// The angle bias ramp "wexelAngleBias" on the IK handle and the per-joint
// weights derived from it.
//
// Ramp entry i weights chain entry i + 1 by its order in the ramp, not by its
// position, so the positions are locked: they only lay the entries out evenly
// along the curve for the animator.

#include <HDGContext.h>
#include <HFnAttribute.h>
#include <HFnCompoundAttribute.h>
#include <HFnDependencyNode.h>
#include <HFnEnumAttribute.h>
#include <HFnNumericAttribute.h>
#include <HFnNumericData.h>
#include <HPlug.h>
#include <HRampAttribute.h>
#include <HStringArray.h>

#include "veltraData.h"

namespace veltraData {

namespace {

const char* const kAngleBiasName = "wexelAngleBias";
const char* const kPositionChildName = "wexelAngleBias_Position";

// Number of inner joints of a chain of `length` entries; 0 for chains too short
// to have any.
unsigned innerCount(const HDagPathArray& joints) {
  const unsigned length = joints.length();
  return length > 2 ? length - 2 : 0;
}

// The ramp view of a named attribute of the handle's node; the statuses of the
// lookup and of the ramp construction go into `status` in turn.
HRampAttribute findRamp(const HDagPath& handle, const HString& name, HStatus& status) {
  const HObject node = handle.node();
  HFnDependencyNode fnNode(node);
  const HObject attribute = fnNode.attribute(name, &status);
  return HRampAttribute(node, attribute, &status);
}

}  // namespace

HStatus ikAngleBiasCreate(const HDagPathArray& joints, const HDagPath& handle,
                          HDGModifier* modifier) {
  // An existing ramp carries the animator's edits and is never reset.
  if (attributeExists(handle, kAngleBiasName)) {
    return HStatus(HStatus::kSuccess);
  }

  // Creation statuses are not tested; a bad child shows when it is added.
  HFnCompoundAttribute fnRamp;
  const HObject ramp = fnRamp.create(kAngleBiasName, "wab");
  fnRamp.setArray(true);

  HFnNumericAttribute fnNumeric;
  const HObject position = fnNumeric.create(kPositionChildName, "wbp", HFnNumericData::kFloat, 0.0);
  const HObject value =
      fnNumeric.create("wexelAngleBias_FloatValue", "wbfv", HFnNumericData::kFloat, 1.0);

  HFnEnumAttribute fnEnum;
  const HObject interpolation = fnEnum.create("wexelAngleBias_Interp", "wbi", 0);
  fnEnum.addField("None", HRampAttribute::kNone);
  fnEnum.addField("Linear", HRampAttribute::kLinear);
  fnEnum.addField("Smooth", HRampAttribute::kSmooth);
  fnEnum.addField("Spline", HRampAttribute::kSpline);
  fnEnum.setDefault(HRampAttribute::kSpline);

  HStatus result = fnRamp.addChild(position);
  if (result != HStatus::kSuccess) {
    return result;
  }
  result = fnRamp.addChild(value);
  if (result != HStatus::kSuccess) {
    return result;
  }
  result = fnRamp.addChild(interpolation);
  if (result != HStatus::kSuccess) {
    return result;
  }

  result = addHandleAttribute(handle, ramp, modifier);
  if (result != HStatus::kSuccess) {
    return result;
  }

  // One entry per inner joint, spread evenly over [0, 1] and computed in
  // single precision as the ramp stores them; a single inner joint sits in the
  // middle. A flat value makes every weight 1.0.
  const unsigned count = innerCount(joints);
  HFloatArray positions(count);
  HFloatArray values(count);
  HIntArray interpolations(count);
  if (count == 1) {
    positions[0] = 0.5f;
    values[0] = 0.5f;
    interpolations[0] = HRampAttribute::kSpline;
  } else if (count > 1) {
    const float step = 1.0f / float(count - 1);
    for (unsigned i = 0; i < count; ++i) {
      positions[i] = float(i) * step;
      values[i] = 0.5f;
      interpolations[i] = HRampAttribute::kSpline;
    }
  }

  result = initRampAttr(handle, kAngleBiasName, positions, values, interpolations);
  ikAngleBiasLockPosition(handle, joints, true);
  return result;
}

HStatus initRampAttr(const HDagPath& handle, const HString& name, const HFloatArray& positions,
                     const HFloatArray& values, const HIntArray& interpolations) {
  HStatus result;
  HRampAttribute ramp = findRamp(handle, name, result);
  if (result != HStatus::kSuccess) {
    return result;
  }
  // Replace whatever the ramp holds, including entries the host may have
  // created by default.
  HIntArray oldIndices;
  HFloatArray oldPositions;
  HFloatArray oldValues;
  HIntArray oldInterpolations;
  ramp.getEntries(oldIndices, oldPositions, oldValues, oldInterpolations, &result);
  ramp.deleteEntries(oldIndices, &result);
  ramp.addEntries(positions, values, interpolations, &result);
  return result;
}

HStatus getRampAttr(const HDagPath& handle, const HString& name, HFloatArray& positions,
                    HFloatArray& values, HIntArray& interpolations) {
  HStatus result;
  HRampAttribute ramp = findRamp(handle, name, result);
  if (result != HStatus::kSuccess) {
    return result;
  }
  HIntArray indices;
  ramp.getEntries(indices, positions, values, interpolations, &result);
  return result;
}

HStatus setRampAttr(const HDagPath& handle, const HString& name, const HFloatArray& positions,
                    const HFloatArray& values, const HIntArray& interpolations) {
  HStatus result;
  const unsigned count = values.length();
  HRampAttribute ramp = findRamp(handle, name, result);
  if (result != HStatus::kSuccess || count == 0) {
    return result;
  }
  for (unsigned i = 0; i < count; ++i) {
    ramp.setPositionAtIndex(positions[i], i, &result);
    if (result != HStatus::kSuccess) {
      return result;
    }
    ramp.setValueAtIndex(values[i], i, &result);
    if (result != HStatus::kSuccess) {
      return result;
    }
    ramp.setInterpolationAtIndex(HRampAttribute::HInterpolation(interpolations[i]), i, &result);
    if (result != HStatus::kSuccess) {
      return result;
    }
  }
  return result;
}

HStatus ikAngleBiasLockPosition(const HDagPath& handle, const HDagPathArray& joints, bool lock) {
  const HObject node = handle.node();
  HFnDependencyNode fnNode(node);
  const HPlug plug(node, fnNode.attribute(kAngleBiasName));
  const unsigned count = innerCount(joints);
  // Only the elements tied to inner joints are visited; anything the animator
  // added beyond them stays editable.
  for (unsigned i = 0; i < count; ++i) {
    if (!plug.isArray()) {
      continue;
    }
    const HPlug element = plug.elementByLogicalIndex(i);
    if (!element.isCompound()) {
      continue;
    }
    const unsigned children = element.numChildren();
    for (unsigned c = 0; c < children; ++c) {
      const HPlug child = element.child(c);
      HStringArray pieces;
      child.name().split('.', pieces);
      if (pieces.length() > 0 && pieces[pieces.length() - 1] == kPositionChildName) {
        child.setLocked(lock);
      }
    }
  }
  return HStatus(HStatus::kSuccess);
}

HStatus ikAngleBiasGet(const HDagPathArray& joints, const HDagPath& handle, HFloatArray& positions,
                       HFloatArray& values, HIntArray& interpolations) {
  const unsigned count = innerCount(joints);
  positions.setLength(count);
  values.setLength(count);
  interpolations.setLength(count);
  if (!attributeExists(handle, kAngleBiasName)) {
    return HStatus(HStatus::kFailure);
  }
  return getRampAttr(handle, kAngleBiasName, positions, values, interpolations);
}

HStatus ikAngleBiasSet(const HDagPathArray& joints, const HDagPath& handle,
                       const HFloatArray& positions, const HFloatArray& values,
                       const HIntArray& interpolations) {
  if (!attributeExists(handle, kAngleBiasName)) {
    return HStatus(HStatus::kFailure);
  }
  ikAngleBiasLockPosition(handle, joints, false);
  const HStatus result = setRampAttr(handle, kAngleBiasName, positions, values, interpolations);
  // Relock even after a refused write so the ramp never stays editable.
  ikAngleBiasLockPosition(handle, joints, true);
  return result;
}

HStatus ikAngleBias(const HDagPathArray& joints, const HDagPath& handle, HDoubleArray& weights,
                    HDGModifier* modifier) {
  // Every solve comes here: the ramp is looked up once by reading it, and
  // only a missing one (the first solve) is created and read again.
  HFloatArray positions;
  HFloatArray values;
  HIntArray interpolations;
  const unsigned count = innerCount(joints);
  positions.setLength(count);
  values.setLength(count);
  interpolations.setLength(count);
  HStatus result = getRampAttr(handle, kAngleBiasName, positions, values, interpolations);
  if (result != HStatus::kSuccess && !attributeExists(handle, kAngleBiasName)) {
    const HStatus created = ikAngleBiasCreate(joints, handle, modifier);
    if (created != HStatus::kSuccess) {
      created.perror("veltra::ikAngleBias() - ikAngleBiasCreate() failed.");
      return created;
    }
    // A failed read is returned, but the weights are still computed so they
    // are always finite; the caller discards them on failure.
    result = ikAngleBiasGet(joints, handle, positions, values, interpolations);
  }

  const unsigned n = joints.length();
  const unsigned inner = innerCount(joints);
  weights.setLength(n);
  if (n == 0) {
    return result;
  }
  weights[0] = 1.0;
  weights[n - 1] = 1.0;
  // Inner joints without a ramp entry (a ramp made for a shorter chain, or one
  // the animator emptied) get the neutral weight, as if their value were 0.
  for (unsigned k = 1; k <= inner; ++k) {
    weights[k] = 1.0;
  }

  const unsigned used = values.length() < inner ? values.length() : inner;
  for (unsigned i = 0; i < used; ++i) {
    float value = values[i];
    // Written so that a NaN value also clamps to 0 instead of reaching the kernel.
    if (!(value >= 0.0f)) {
      value = 0.0f;
    }
    if (value > 1.0f) {
      value = 1.0f;
    }
    weights[i + 1] = double(1.0f + value);
  }

  if (inner == 0) {
    return result;
  }
  double smallest = weights[1];
  for (unsigned k = 2; k <= inner; ++k) {
    if (weights[k] < smallest) {
      smallest = weights[k];
    }
  }
  if (smallest > 1e-05 || smallest < -1e-05) {
    const double scale = 1.0 / smallest;
    for (unsigned k = 1; k <= inner; ++k) {
      weights[k] *= scale;
    }
  }
  return result;
}

}  // namespace veltraData

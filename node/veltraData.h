#pragma once
// What the solver keeps with a chain and reads from it: the handle's inputs,
// its stored attributes (rest pose marker, rest pole vector, angle bias ramp),
// the joints' poses and preferred angles, and the writes of a solve's result.
//
// Stateless free functions, used alike by the solver node and the rest-pose
// command: everything lives in the scene, on the IK handle (dynamic
// attributes) and on the chain's joints (preferred angles), so it is saved
// with it. The one exception is the rest pose check's memory of what it has
// already warned about.
//
// The chain: an HDagPathArray, root first. Entry 0 is the handle's start
// joint, then every node on the hierarchy path down to the end effector, the
// last entry being the end effector's own path. n entries, n - 1 bones,
// entries 1 to n - 2 are the inner joints.
//
// A pose (rest pose, captured pose, preferred angles) is an HVectorArray with
// one (x, y, z) rotation in radians per chain entry.

#include <HDGModifier.h>
#include <HDagPath.h>
#include <HDagPathArray.h>
#include <HDoubleArray.h>
#include <HFloatArray.h>
#include <HIntArray.h>
#include <HObject.h>
#include <HPlug.h>
#include <HPointArray.h>
#include <HStatus.h>
#include <HString.h>
#include <HVector.h>
#include <HVectorArray.h>
#include <veltraKernel.h>

namespace veltraData {

// --- Handle inputs (a failure status means the out-parameter is unusable) ----
// Appends the handle's chain to `joints` (callers pass an empty array).
HStatus ikJointChain(const HDagPath& handle, HDagPathArray& joints);
// The handle's pole vector (pvx, pvy, pvz) as stored, no unit conversion.
HStatus ikPoleVector(const HDagPath& handle, HVector& poleVector);
// The handle's twist in radians; 0.0 (no twist) when its plug can't be read.
HStatus ikTwist(const HDagPath& handle, double& twist);
// The handle's "splineIkOldStyle"; false when missing or unreadable.
bool ikOldStyle(const HDagPath& handle);
// The chain's and the handle's geometry for the kernel: every entry's local
// transformation, the root's parent matrix, the handle's world position and
// parent matrix, and the old-style flag. The caller fills in the rest.
void ikKernelGeometry(const HDagPathArray& joints, const HDagPath& handle,
                      veltraKernelInput& input);

// --- Handle attribute store ------------------------------------------------------
// Reads and writes named attributes of the node behind a handle path in three
// shapes. The caller's array length decides how many elements move; reads
// never resize, writes never remove elements.
bool attributeExists(const HDagPath& handle, const HString& name);
HStatus getCompAttr(const HDagPath& handle, const HString& name, HVector& value);
HStatus setCompAttr(const HDagPath& handle, const HString& name, const HVector& value);
HStatus getArrayAttr(const HDagPath& handle, const HString& name, HIntArray& values);
HStatus getArrayAttr(const HDagPath& handle, const HString& name, HDoubleArray& values);
HStatus setArrayAttr(const HDagPath& handle, const HString& name, const HIntArray& values);
HStatus setArrayAttr(const HDagPath& handle, const HString& name, const HDoubleArray& values);
HStatus getArrayCompAttr(const HDagPath& handle, const HString& name, HVectorArray& values);
HStatus setArrayCompAttr(const HDagPath& handle, const HString& name, const HVectorArray& values);
// Adds a new dynamic attribute to the handle's node: through the modifier
// (recorded, then carried out, so that the caller can undo it) or directly.
HStatus addHandleAttribute(const HDagPath& handle, const HObject& attribute, HDGModifier* modifier);

// --- Rest pose and rest pole vector ---------------------------------------------
// "wexelRestPose" marks that the joints' preferred angles hold the rest pose;
// "wexelRestPoleVector" holds the pole vector captured with it.
bool ikRestPoseExists(const HDagPath& handle);
HStatus ikRestPoseGet(const HDagPathArray& joints, const HDagPath& handle, HVectorArray& restPose);
HStatus ikRestPoseSet(const HDagPathArray& joints, const HDagPath& handle,
                      const HVectorArray& restPose);
HStatus ikRestPoseCreate(const HDagPathArray& joints, const HDagPath& handle,
                         HDGModifier* modifier);
HStatus ikRestPose(const HDagPathArray& joints, const HDagPath& handle, HVectorArray& restPose,
                   HDGModifier* modifier);
HStatus ikRestPoleVectorGet(const HDagPath& handle, HVector& restPoleVector);
HStatus ikRestPoleVectorSet(const HDagPath& handle, const HVector& restPoleVector);
HStatus ikRestPoleVectorCreate(const HDagPath& handle, HDGModifier* modifier);
HStatus ikRestPoleVector(const HDagPath& handle, HVector& restPoleVector, HDGModifier* modifier);

// --- Rest pose check ----------------------------------------------------------------
// True the first time a handle is solved with this rest pose (its preferred
// angles), and again only after they change; kept in the plug-in, not the scene.
bool ikRestPoseCheckDue(const HDagPath& handle, const HVectorArray& restPose);
// Warns, naming them, about inner joints whose bones are parallel (straight
// or folded flat) at rest, which never bend; the world positions are the
// chain's in its rest pose, root first.
void ikRestPoseWarnUnbendable(const HDagPathArray& joints, const HDagPath& handle,
                              const HPointArray& restWorldPositions);

// --- Angle bias ramp -------------------------------------------------------------------
// "wexelAngleBias": one ramp entry per inner joint, positions locked so that
// ramp entry i stays tied to chain entry i + 1.
// Weights, one per chain entry: the ends 1.0, inner entries 1 + value clamped
// to [0, 1], normalised so that the smallest inner weight is 1.0.
HStatus ikAngleBias(const HDagPathArray& joints, const HDagPath& handle, HDoubleArray& weights,
                    HDGModifier* modifier);
HStatus ikAngleBiasCreate(const HDagPathArray& joints, const HDagPath& handle,
                          HDGModifier* modifier);
HStatus ikAngleBiasGet(const HDagPathArray& joints, const HDagPath& handle, HFloatArray& positions,
                       HFloatArray& values, HIntArray& interpolations);
HStatus ikAngleBiasSet(const HDagPathArray& joints, const HDagPath& handle,
                       const HFloatArray& positions, const HFloatArray& values,
                       const HIntArray& interpolations);
// Always success: locking is best effort over logical indices 0 to n - 3.
HStatus ikAngleBiasLockPosition(const HDagPath& handle, const HDagPathArray& joints, bool lock);
HStatus initRampAttr(const HDagPath& handle, const HString& name, const HFloatArray& positions,
                     const HFloatArray& values, const HIntArray& interpolations);
HStatus getRampAttr(const HDagPath& handle, const HString& name, HFloatArray& positions,
                    HFloatArray& values, HIntArray& interpolations);
HStatus setRampAttr(const HDagPath& handle, const HString& name, const HFloatArray& positions,
                    const HFloatArray& values, const HIntArray& interpolations);

// --- Soft IK, stretch and the reached flag -------------------------------------------
// "veltraSoftness" (distance, 0 or more), "veltraStretch" (0 to 1) and the
// output "veltraReached" (not saved), added to the handle if missing.
HStatus ikSoftStretchCreate(const HDagPath& handle);
// The handle's plugs that one solve reads and writes, looked up once, and
// the stretch factor the last solve applied (1 when none).
struct veltraSoftStretchPlugs {
  HPlug softness, stretch, reached, stretchScale;
  bool complete = false;   // softness, stretch and reached all exist
  bool stretched = false;  // a solve has stretched the chain: the factor exists
  double appliedStretch = 1.0;
};
// Creates them if missing, reads softness and stretch into the input, and
// takes the stretch the last solve applied out of the root's scale in the
// input.
HStatus ikSoftStretch(const HDagPath& handle, veltraKernelInput& input,
                      veltraSoftStretchPlugs& plugs);
// Writes the reached flag when it changed and, when the stretch factor
// changed, the root's scale (its unstretched scale in the input times the new
// factor) and the factor itself.
void ikApplySoftStretch(const HDagPathArray& joints, const HDagPath& handle,
                        const veltraKernelInput& input, const veltraKernelResult& result,
                        const veltraSoftStretchPlugs& plugs);

// --- Poses ---------------------------------------------------------------------------
// Every entry's own rotation (end effector included), radians.
HStatus ikPose(const HDagPathArray& joints, HVectorArray& pose);
// Preferred angles of entries 0 to n - 2; the last entry reads (0, 0, 0).
HStatus ikPrefAngles(const HDagPathArray& joints, HVectorArray& angles);
// Writes entries 0 to n - 2 as preferred angles; the last entry is ignored.
HStatus ikPrefAnglesSet(const HDagPathArray& joints, const HVectorArray& angles);
// Sets the rotation of every entry but the end to the result's solved
// rotation (its rest rotation with the bend and plane rotations added), one
// write per entry; the end keeps its own.
void ikApplyResult(const HDagPathArray& joints, const veltraKernelInput& input,
                   const veltraKernelResult& result);

}  // namespace veltraData

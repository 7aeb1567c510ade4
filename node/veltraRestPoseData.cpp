// The rest pose and the rest pole vector stored with the chain.
//
// The rest pose lives in the joints' preferred angles; the handle only carries
// the hidden marker "wexelRestPose", whose presence says that those angles have
// been captured for this solver. The rest pole vector is a hidden three-double
// attribute, "wexelRestPoleVector". Both are created, and their contents
// captured, on first use.

#include <HFnAttribute.h>
#include <HFnNumericAttribute.h>
#include <HFnNumericData.h>

#include "veltraData.h"

namespace veltraData {

namespace {
const char* const kRestPoseName = "wexelRestPose";
const char* const kRestPoseShortName = "wrp";
const char* const kRestPoleVectorName = "wexelRestPoleVector";
const char* const kRestPoleVectorShortName = "wrpv";

// Kept as one string object: the name is looked up several times per solve,
// and one this long would be copied to the heap each time.
const HString& restPoleVectorName() {
  static const HString name(kRestPoleVectorName);
  return name;
}
}  // namespace

bool ikRestPoseExists(const HDagPath& handle) {
  return attributeExists(handle, kRestPoseName);
}

HStatus ikRestPoseGet(const HDagPathArray& joints, const HDagPath& handle, HVectorArray& restPose) {
  if (!ikRestPoseExists(handle)) {
    return HStatus(HStatus::kFailure);
  }
  return ikPrefAngles(joints, restPose);
}

HStatus ikRestPoseSet(const HDagPathArray& joints, const HDagPath& handle,
                      const HVectorArray& restPose) {
  if (!ikRestPoseExists(handle)) {
    return HStatus(HStatus::kFailure);
  }
  return ikPrefAnglesSet(joints, restPose);
}

HStatus ikRestPoseCreate(const HDagPathArray& joints, const HDagPath& handle,
                         HDGModifier* modifier) {
  // An existing rest pose is never recaptured here; only the rest-pose command
  // replaces it on purpose.
  if (ikRestPoseExists(handle)) {
    return HStatus(HStatus::kSuccess);
  }

  // Creation statuses are not tested: a bad attribute object makes the
  // addition below fail.
  HFnNumericAttribute fnAttribute;
  const HObject attribute =
      fnAttribute.create(kRestPoseName, kRestPoseShortName, HFnNumericData::kInt, 1.0);
  fnAttribute.setHidden(true);

  const HStatus added = addHandleAttribute(handle, attribute, modifier);
  if (added != HStatus::kSuccess) {
    return added;
  }

  // ikPose reports its own failures; whatever it captured becomes the rest pose.
  HVectorArray pose;
  ikPose(joints, pose);
  return ikRestPoseSet(joints, handle, pose);
}

HStatus ikRestPose(const HDagPathArray& joints, const HDagPath& handle, HVectorArray& restPose,
                   HDGModifier* modifier) {
  // Every solve comes here: the marker is looked up once, and once more only
  // on the first solve, after it is created.
  if (ikRestPoseExists(handle)) {
    return ikPrefAngles(joints, restPose);
  }
  const HStatus created = ikRestPoseCreate(joints, handle, modifier);
  if (created != HStatus::kSuccess) {
    created.perror("veltra::ikRestPose() - ikRestPoseCreate() failed.");
    return created;
  }
  return ikRestPoseGet(joints, handle, restPose);
}

HStatus ikRestPoleVectorGet(const HDagPath& handle, HVector& restPoleVector) {
  if (!attributeExists(handle, restPoleVectorName())) {
    return HStatus(HStatus::kFailure);
  }
  return getCompAttr(handle, restPoleVectorName(), restPoleVector);
}

HStatus ikRestPoleVectorSet(const HDagPath& handle, const HVector& restPoleVector) {
  if (!attributeExists(handle, restPoleVectorName())) {
    return HStatus(HStatus::kFailure);
  }
  return setCompAttr(handle, restPoleVectorName(), restPoleVector);
}

HStatus ikRestPoleVectorCreate(const HDagPath& handle, HDGModifier* modifier) {
  if (attributeExists(handle, restPoleVectorName())) {
    return HStatus(HStatus::kSuccess);
  }

  HFnNumericAttribute fnAttribute;
  const HObject attribute = fnAttribute.create(kRestPoleVectorName, kRestPoleVectorShortName,
                                               HFnNumericData::k3Double, 0.0);
  fnAttribute.setHidden(true);

  const HStatus added = addHandleAttribute(handle, attribute, modifier);
  if (added != HStatus::kSuccess) {
    return added;
  }

  // The handle's pole vector at the time of capture; an unreadable one leaves
  // the zero vector.
  HVector poleVector(0.0, 0.0, 0.0);
  ikPoleVector(handle, poleVector);
  return ikRestPoleVectorSet(handle, poleVector);
}

HStatus ikRestPoleVector(const HDagPath& handle, HVector& restPoleVector, HDGModifier* modifier) {
  // Every solve comes here: reading looks the attribute up, and only a
  // missing one (the first solve) is created and read again.
  HVector stored = restPoleVector;
  if (getCompAttr(handle, restPoleVectorName(), stored) == HStatus::kSuccess) {
    restPoleVector = stored;
    return HStatus(HStatus::kSuccess);
  }
  if (attributeExists(handle, restPoleVectorName())) {
    // There, but not a readable three-double value: the read's failure stands.
    return ikRestPoleVectorGet(handle, restPoleVector);
  }
  const HStatus created = ikRestPoleVectorCreate(handle, modifier);
  if (created != HStatus::kSuccess) {
    created.perror("veltra::ikRestPoleVector() - ikRestPoleVectorCreate() failed.");
    return created;
  }
  return ikRestPoleVectorGet(handle, restPoleVector);
}

}  // namespace veltraData

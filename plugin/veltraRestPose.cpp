// The rest-pose command. The stored data and its reading and writing are the
// solver's (veltraData.h); the command drives them and keeps what undo and
// redo need.

#include <HArgParser.h>
#include <HFn.h>
#include <HSelectionList.h>
#include <HStringResource.h>
#include <HStringResourceId.h>
#include <veltraData.h>

#include "veltraRestPose.h"

namespace {
const HStringResourceId kCommandArgumentFailed("veltra", "kCommandArgumentFailed",
                                               "Could not retrieve command argument.");
const HStringResourceId kNotIkHandle("veltra", "kNotIkHandle",
                                     "Command argument is not an IK handle.");

HString resourceText(const HStringResourceId& id) {
  HStatus status;
  return HStringResource::getString(id, status);
}
}  // namespace

veltraRestPose::veltraRestPose() = default;

veltraRestPose::~veltraRestPose() = default;

void* veltraRestPose::creator() {
  return new veltraRestPose();
}

HSyntax veltraRestPose::newSyntax() {
  HSyntax syntax;
  syntax.addArg(HSyntax::kString);
  return syntax;
}

HDagPath veltraRestPose::ikHandle(const HString& name) {
  HSelectionList list;
  HDagPath path;
  list.add(name, false);
  list.getDagPath(0, path, const_cast<HObject&>(HObject::kNullObj));
  return path;
}

HStatus veltraRestPose::doIt(const HArgList& args) {
  HStatus status;
  HArgParser parser(syntax(), args, &status);
  if (status != HStatus::kSuccess) {
    return status;
  }

  HString name;
  status = parser.getCommandArgument(0, name);
  if (status != HStatus::kSuccess) {
    displayError(resourceText(kCommandArgumentFailed), false);
    return status;
  }

  if (ikHandle(name).apiType() != HFn::kIkHandle) {
    displayError(resourceText(kNotIkHandle), false);
    return HStatus(HStatus::kFailure);
  }
  fHandleName = name;
  redoIt();
  return status;
}

HStatus veltraRestPose::redoIt() {
  using namespace veltraData;
  const HDagPath handle = ikHandle(fHandleName);
  HDagPathArray joints;
  ikJointChain(handle, joints);

  if (ikRestPoseExists(handle)) {
    ikRestPoseGet(joints, handle, fSavedRestPose);
    HVectorArray pose;
    ikPose(joints, pose);
    ikRestPoseSet(joints, handle, pose);
  } else {
    // Only the marker's addition goes through the modifier; the captured
    // preferred angles are written to the joints directly.
    fModifier.reset(new HDGModifier());
    HVectorArray restPose;
    ikRestPose(joints, handle, restPose, fModifier.get());
    fCreated = true;
  }
  return HStatus(HStatus::kSuccess);
}

HStatus veltraRestPose::undoIt() {
  if (fCreated) {
    if (fModifier) {
      fModifier->undoIt();
    }
    return HStatus(HStatus::kSuccess);
  }

  using namespace veltraData;
  const HDagPath handle = ikHandle(fHandleName);
  HDagPathArray joints;
  ikJointChain(handle, joints);

  HVectorArray taken;
  ikRestPoseGet(joints, handle, taken);
  ikRestPoseSet(joints, handle, fSavedRestPose);
  // Keep what the undo took away so that the next undo after a redo restores
  // the same pose. The copy stays within both arrays in case the chain's
  // length changed since the redo.
  const unsigned count = joints.length();
  for (unsigned i = 0; i < count && i < taken.length() && i < fSavedRestPose.length(); ++i) {
    fSavedRestPose[i] = taken[i];
  }
  return HStatus(HStatus::kSuccess);
}

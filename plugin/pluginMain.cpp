// The plug-in's entry points: registration of the UI strings, the solver node
// and the two commands on load, and their removal on unload.

#include <HFnPlugin.h>
#include <HObject.h>
#include <HPxNode.h>
#include <HStatus.h>
#include <HStringResource.h>
#include <HStringResourceId.h>
#include <veltra.h>

#include "veltraCallbacks.h"
#include "veltraRestPose.h"

// The host API version this plug-in was built for.
HLIBRARY_EXPORT const char HApiVersion[7] = H_API_VERSION;

namespace {

HStatus veltraInitStrings() {
  HStringResource::registerString(HStringResourceId("veltra", "kCommandArgumentFailed",
                                                    "Could not retrieve command argument."));
  HStringResource::registerString(
      HStringResourceId("veltra", "kNotIkHandle", "Command argument is not an IK handle."));
  return HStatus(HStatus::kSuccess);
}

}  // namespace

// Registration is not transactional: a failure leaves what was registered
// before it in place, and the host is told of the failure.
HLIBRARY_EXPORT HStatus initializePlugin(HObject object) {
  HFnPlugin plugin(object, "Quarrow", "1.0", "Any");

  HStatus status = plugin.registerUIStrings(veltraInitStrings, "veltraInitStrings");
  if (status != HStatus::kSuccess) {
    status.perror("registerUIStrings");
    return status;
  }

  status = plugin.registerNode("veltra", veltra::id, veltra::creator, veltra::initialize,
                               HPxNode::kIkSolverNode);
  if (status != HStatus::kSuccess) {
    status.perror("Failed to register veltra node.");
    return status;
  }

  status =
      plugin.registerCommand("veltraRestPose", veltraRestPose::creator, veltraRestPose::newSyntax);
  if (status != HStatus::kSuccess) {
    status.perror("Failed to register veltraRestPose command.");
    return status;
  }

  status = plugin.registerCommand("veltraCallbacks", veltraCallbacks::creator);
  if (status != HStatus::kSuccess) {
    status.perror("Failed to register veltraCallbacks command.");
    return status;
  }
  return status;
}

// The callbacks go first: they create veltra nodes and must not outlive the
// node type.
HLIBRARY_EXPORT HStatus uninitializePlugin(HObject object) {
  HFnPlugin plugin(object, "Unknown", "Unknown", "Any");

  HStatus status = veltraCallbacks::removeCallbacks();
  if (status != HStatus::kSuccess) {
    status.perror("Failed to remove veltraCallbacks.");
    return status;
  }

  status = plugin.deregisterNode(veltra::id);
  if (status != HStatus::kSuccess) {
    status.perror("Failed to deregister veltra node.");
    return status;
  }

  status = plugin.deregisterCommand("veltraRestPose");
  if (status != HStatus::kSuccess) {
    status.perror("Failed to deregister veltraRestPose command.");
    return status;
  }

  status = plugin.deregisterCommand("veltraCallbacks");
  if (status != HStatus::kSuccess) {
    status.perror("Failed to deregister veltraCallbacks command.");
    return status;
  }
  return status;
}

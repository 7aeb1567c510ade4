// A library that claims to be a plug-in but lacks initializePlugin.

#include <HFnPlugin.h>
#include <HObject.h>
#include <HStatus.h>

HLIBRARY_EXPORT const char HApiVersion[7] = H_API_VERSION;

HLIBRARY_EXPORT HStatus uninitializePlugin(HObject) {
  return HStatus(HStatus::kSuccess);
}

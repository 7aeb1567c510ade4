// A plug-in built for an older host API: the host must refuse it before
// running any of its code.

#include <HFnPlugin.h>
#include <HObject.h>
#include <HStatus.h>

#include <cstdlib>

HLIBRARY_EXPORT const char HApiVersion[7] = "201500";

HLIBRARY_EXPORT HStatus initializePlugin(HObject) {
  std::abort();  // never called
}

HLIBRARY_EXPORT HStatus uninitializePlugin(HObject) {
  std::abort();
}

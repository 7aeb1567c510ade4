#pragma once
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"

class HObject;

// Loading and unloading plug-ins (what `loadPlugin` and `unloadPlugin` run).
class HPluginManager {
 public:
  using HEntryFunction = HStatus (*)(HObject);

  // pathOrName: a path to a shared library, or a name searched as NAME.so in
  // HOST_PLUGIN_PATH (colon-separated), then the installed host's plug-in
  // folder (lib/host/plugins beside the host libraries), then, when the host
  // runs from its build folder, the build's plug-in folder.
  // Opens it, checks HApiVersion, calls initializePlugin. A failed load leaves
  // the host as it was, apart from what the plug-in registered itself.
  // Returns the plug-in's name (the file name without .so).
  static HString load(const HString& pathOrName, HStatus* status = nullptr);
  // Refused while nodes of the plug-in's types exist; otherwise calls
  // uninitializePlugin, then closes the library.
  static HStatus unload(const HString& name);
  // Registers entry points linked into the program itself as a plug-in (for
  // tests and embedding); behaves like load without the library.
  static HStatus loadStatic(const HString& name, HEntryFunction initializePlugin,
                            HEntryFunction uninitializePlugin, const char* apiVersion = "201600");
  static bool isLoaded(const HString& name);
  static HStringArray loadedPlugins();
};

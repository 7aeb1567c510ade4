// Loading and unloading plug-ins, the registration side of HFnPlugin that is
// not about node types, and the table of UI strings.
//
// A plug-in is known by its name (the library's file name without ".so").
// Whatever a plug-in leaves registered when it goes, or when its
// initialisation fails, is removed by the host before the library is
// closed, since every creator and callback it holds points into that
// library.

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "HFnPlugin.h"
#include "HPluginManager.h"
#include "HStringResource.h"
#include "commands/CommandEngine.h"
#include "commands/CommandRegistry.h"
#include "files/SceneFiles.h"
#include "graph/Placeholders.h"
#include "graph/SceneInternal.h"
#include "messages/MessageInternal.h"
#include "plugins/PluginSearch.h"

#ifndef VELTRA_PLUGIN_DIR
#define VELTRA_PLUGIN_DIR ""
#endif
#ifndef HOST_PLUGIN_SUBDIR
#define HOST_PLUGIN_SUBDIR "host/plugins"
#endif

using namespace hostdetail;

namespace {

struct PluginState {
  HPluginManager::HEntryFunction initialize = nullptr;
  HPluginManager::HEntryFunction uninitialize = nullptr;
  bool initializing = false;
  std::vector<std::string> uiProcedures;
};

std::map<std::string, PluginState>& states() {
  static auto* table = new std::map<std::string, PluginState>();
  return *table;
}

HStatus failure(HStatus::HStatusCode code, const std::string& message) {
  return HStatus(code, message);
}

bool isFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string baseName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string withoutSuffix(const std::string& name) {
  const std::string suffix = ".so";
  if (name.size() > suffix.size() &&
      name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
    return name.substr(0, name.size() - suffix.size());
  return name;
}

std::string canonical(const std::string& path) {
  char* resolved = realpath(path.c_str(), nullptr);
  if (!resolved)
    return path;
  std::string out(resolved);
  std::free(resolved);
  return out;
}

bool isFolder(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The folder of the host library holding this code, as the loader found it:
// an installed tree keeps its plug-ins beside its libraries, so it finds them
// wherever the tree was moved to.
std::string hostLibraryFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<const void*>(&hostLibraryFolder), &info) == 0 ||
      info.dli_fname == nullptr)
    return "";
  const std::string path = canonical(info.dli_fname);
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// The folders searched for a plug-in given by name: HOST_PLUGIN_PATH, then
// the installed tree's plug-in folder, then the build's library folder when
// the host libraries run from the build (never from an installed copy, which
// must not depend on the machine that built it).
std::vector<std::string> searchFolders() {
  std::vector<std::string> folders;
  if (const char* path = std::getenv("HOST_PLUGIN_PATH")) {
    std::string list(path);
    size_t start = 0;
    while (start <= list.size()) {
      size_t colon = list.find(':', start);
      if (colon == std::string::npos)
        colon = list.size();
      if (colon > start)
        folders.push_back(list.substr(start, colon - start));
      start = colon + 1;
    }
  }
  const std::string libraryFolder = hostLibraryFolder();
  if (!libraryFolder.empty()) {
    const std::string installed = libraryFolder + "/" HOST_PLUGIN_SUBDIR;
    if (isFolder(installed))
      folders.push_back(installed);
  }
  if (std::strlen(VELTRA_PLUGIN_DIR) > 0 &&
      (libraryFolder.empty() || canonical(VELTRA_PLUGIN_DIR) == libraryFolder))
    folders.push_back(VELTRA_PLUGIN_DIR);
  return folders;
}

// A word with a slash is a path; any other word a name looked up in the
// search folders.
HStatus resolve(const std::string& pathOrName, std::string& path, std::string& name) {
  if (pathOrName.empty())
    return failure(HStatus::kInvalidParameter, "No plug-in named");
  if (pathOrName.find('/') != std::string::npos) {
    path = pathOrName;
    name = withoutSuffix(baseName(pathOrName));
    if (!isFile(path))
      return failure(HStatus::kNotFound, "Plug-in file not found: " + path);
    return HStatus(HStatus::kSuccess);
  }
  name = withoutSuffix(pathOrName);
  std::string searched;
  for (const std::string& folder : searchFolders()) {
    const std::string candidate = folder + "/" + name + ".so";
    if (isFile(candidate)) {
      path = candidate;
      return HStatus(HStatus::kSuccess);
    }
    searched += (searched.empty() ? "" : ":") + folder;
  }
  return failure(HStatus::kNotFound, "Plug-in not found: " + name + ".so (searched " +
                                         (searched.empty() ? std::string("no folder") : searched) +
                                         ")");
}

template <typename Call>
HStatus guarded(Call&& call) {
  try {
    return call();
  } catch (const std::exception& e) {
    return HStatus(HStatus::kFailure, std::string("Unexpected exception: ") + e.what());
  } catch (...) {
    return HStatus(HStatus::kFailure, "Unexpected exception");
  }
}

// The load address of the library that holds an address, or null.
const void* libraryBaseOf(const void* address) {
  Dl_info info;
  if (address == nullptr || dladdr(address, &info) == 0)
    return nullptr;
  return info.dli_fbase;
}

// Removes what the plug-in left registered: commands, node types and the
// message callbacks that point into its library. False when a node type
// could not go (nodes of it exist), so the library must stay open.
bool removeLeftovers(const std::string& name, const void* libraryBase) {
  bool clean = true;
  for (const HString& command : commandNames()) {
    const CommandInfo* info = findCommand(command);
    if (info && info->pluginName.asStdString() == name)
      deregisterCommand(command);
  }
  for (const std::string& typeName : nodeTypesOfPlugin(name)) {
    if (const NodeType* type = findNodeType(typeName)) {
      if (!deregisterNodeType(type->id))
        clean = false;
    }
  }
  if (libraryBase != nullptr) {
    removeCallbacksWhere(
        [libraryBase](const void* function) { return libraryBaseOf(function) == libraryBase; });
  }
  return clean;
}

// The part of loading shared by libraries and plug-ins linked in: the record,
// initializePlugin, and the clean-up of a failed initialisation.
HStatus initialize(const std::string& name, const std::string& path, void* handle,
                   HPluginManager::HEntryFunction init, HPluginManager::HEntryFunction uninit) {
  PluginRecord record;
  record.name = name;
  record.path = path;
  record.libraryHandle = handle;
  const HObject plugin = addPluginRecord(record);
  PluginState& state = states()[name];
  state = PluginState();
  state.initialize = init;
  state.uninitialize = uninit;
  state.initializing = true;
  HStatus status = guarded([&] { return init(plugin); });
  states()[name].initializing = false;
  if (status)
    return status;

  const void* base = handle ? libraryBaseOf(reinterpret_cast<const void*>(init)) : nullptr;
  const bool clean = removeLeftovers(name, base);
  removePluginRecord(plugin);
  states().erase(name);
  // A library whose node types could not be removed keeps its code mapped:
  // closing it would leave nodes with dangling code.
  if (handle && clean)
    dlclose(handle);
  return failure(
      status.statusCode() == HStatus::kSuccess ? HStatus::kFailure : status.statusCode(),
      "Plug-in " + name + " failed to initialize: " + status.errorString().asStdString());
}

bool isApiVersion(const char* version) {
  return version != nullptr && std::strncmp(version, H_API_VERSION, sizeof(H_API_VERSION)) == 0;
}

std::string printableVersion(const char* version) {
  std::string out;
  for (size_t i = 0; version[i] != '\0' && i < 32; ++i)
    out += (version[i] >= 32 && version[i] < 127) ? version[i] : '?';
  return out;
}

}  // namespace

// ---------------------------------------------------------------------------
// HPluginManager

HString HPluginManager::load(const HString& pathOrName, HStatus* status) {
  auto finish = [&](const HStatus& result, const std::string& name) {
    if (status)
      *status = result;
    return result ? HString(name) : HString();
  };
  std::string path, name;
  HStatus found = resolve(pathOrName.asStdString(), path, name);
  if (!found)
    return finish(found, "");
  if (PluginRecord* loaded = pluginRecord(name)) {
    // Loading again what is loaded is harmless; a different library under a
    // taken name is not.
    if (canonical(loaded->path) == canonical(path))
      return finish(HStatus(HStatus::kSuccess), name);
    return finish(failure(HStatus::kFailure,
                          "A plug-in named " + name + " is already loaded from " + loaded->path),
                  "");
  }

  dlerror();
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = dlerror();
    return finish(failure(HStatus::kFailure,
                          "Cannot load plug-in " + path + ": " + (why ? why : "unknown error")),
                  "");
  }
  auto refuse = [&](const std::string& message) {
    dlclose(handle);
    return finish(failure(HStatus::kFailure, message), "");
  };
  const char* version = static_cast<const char*>(dlsym(handle, "HApiVersion"));
  if (!version)
    return refuse(path + " is not a plug-in: it exports no HApiVersion");
  if (!isApiVersion(version))
    return refuse("Plug-in " + name + " was built for host API version \"" +
                  printableVersion(version) + "\", this host implements " + H_API_VERSION);
  auto init = reinterpret_cast<HEntryFunction>(dlsym(handle, "initializePlugin"));
  auto uninit = reinterpret_cast<HEntryFunction>(dlsym(handle, "uninitializePlugin"));
  if (!init || !uninit)
    return refuse(path + " is not a plug-in: it exports no " +
                  (init ? "uninitializePlugin" : "initializePlugin"));
  HStatus loaded = initialize(name, canonical(path), handle, init, uninit);
  // Placeholders left by a scene opened without the plug-in become its nodes.
  if (loaded)
    convertPlaceholders();
  return finish(loaded, name);
}

HStatus HPluginManager::unload(const HString& name) {
  const std::string plugin = name.asStdString();
  PluginRecord* record = pluginRecord(plugin);
  auto state = states().find(plugin);
  if (!record || state == states().end())
    return failure(HStatus::kNotFound, "Plug-in " + plugin + " is not loaded");
  // Unloading clears the undo queue, which a failing open must give back.
  if (isOpeningSceneFile())
    return refuseWhileOpening();
  if (state->second.initializing || isPluginCommandRunning(plugin))
    return failure(HStatus::kFailure, "Plug-in " + plugin + " is in use and cannot be unloaded");
  std::string inUse;
  for (const std::string& typeName : nodeTypesOfPlugin(plugin)) {
    const unsigned count = countNodesOfType(findNodeType(typeName));
    if (count > 0)
      inUse += (inUse.empty() ? "" : ", ") + std::to_string(count) + " of type " + typeName;
  }
  if (!inUse.empty())
    return failure(HStatus::kFailure,
                   "Cannot unload plug-in " + plugin + " while its nodes exist (" + inUse + ")");

  // Queued commands may be the plug-in's own objects, or hold its nodes for
  // undo; they must go while its code is still there.
  clearUndoQueue();
  const HObject object = pluginObject(plugin);
  const HEntryFunction uninit = state->second.uninitialize;
  HStatus status = guarded([&] { return uninit(object); });
  if (!status)
    return failure(status.statusCode(), "Plug-in " + plugin + " failed to uninitialize: " +
                                            status.errorString().asStdString());

  record = pluginRecord(plugin);
  void* handle = record ? record->libraryHandle : nullptr;
  const void* base =
      handle ? libraryBaseOf(reinterpret_cast<const void*>(states()[plugin].initialize)) : nullptr;
  const bool clean = removeLeftovers(plugin, base);
  removePluginRecord(object);
  states().erase(plugin);
  if (handle && clean)
    dlclose(handle);
  return HStatus(HStatus::kSuccess);
}

HStatus HPluginManager::loadStatic(const HString& name, HEntryFunction initializePlugin,
                                   HEntryFunction uninitializePlugin, const char* apiVersion) {
  const std::string plugin = name.asStdString();
  if (plugin.empty() || !initializePlugin || !uninitializePlugin)
    return failure(HStatus::kInvalidParameter, "A plug-in needs a name and both entry points");
  if (pluginRecord(plugin))
    return failure(HStatus::kFailure, "A plug-in named " + plugin + " is already loaded");
  if (!isApiVersion(apiVersion))
    return failure(HStatus::kFailure, "Plug-in " + plugin + " was built for host API version \"" +
                                          printableVersion(apiVersion ? apiVersion : "") +
                                          "\", this host implements " + H_API_VERSION);
  return initialize(plugin, std::string(), nullptr, initializePlugin, uninitializePlugin);
}

bool HPluginManager::isLoaded(const HString& name) {
  auto state = states().find(name.asStdString());
  return state != states().end() && !state->second.initializing &&
         pluginRecord(name.asStdString()) != nullptr;
}

HStringArray HPluginManager::loadedPlugins() {
  HStringArray names;
  for (const HObject& object : pluginObjects()) {
    if (PluginRecord* record = pluginRecord(object)) {
      if (isLoaded(HString(record->name)))
        names.append(HString(record->name));
    }
  }
  return names;
}

// ---------------------------------------------------------------------------
// HFnPlugin (node types are registered in PluginNodeRegistration.cpp)

HFnPlugin::HFnPlugin(const HObject& plugin, const char* vendor, const char* version,
                     const char* requiredApiVersion, HStatus* status)
    : HFnBase(plugin) {
  PluginRecord* record = pluginRecord(plugin);
  if (!record) {
    if (status)
      *status = failure(HStatus::kInvalidParameter, "Not a loaded plug-in");
    return;
  }
  // The names given while loading describe the plug-in; those given while
  // unloading are placeholders.
  auto state = states().find(record->name);
  if (state != states().end() && state->second.initializing) {
    record->vendor = vendor ? vendor : "Unknown";
    record->version = version ? version : "Unknown";
    record->requiredApiVersion = requiredApiVersion ? requiredApiVersion : "Any";
  }
  const HString required(requiredApiVersion ? requiredApiVersion : "Any");
  if (status) {
    *status = HStatus(HStatus::kSuccess);
    if (required != "Any" &&
        (!required.isInt() || required.asInt() > HString(H_API_VERSION).asInt()))
      *status = failure(HStatus::kFailure, "The plug-in requires host API version " +
                                               required.asStdString() + ", this host implements " +
                                               H_API_VERSION);
  }
}

namespace {
HString recordField(const HObject& plugin, HStatus* status, std::string PluginRecord::*field) {
  PluginRecord* record = pluginRecord(plugin);
  if (status)
    *status = record ? HStatus(HStatus::kSuccess)
                     : failure(HStatus::kInvalidParameter, "Not a loaded plug-in");
  return record ? HString(record->*field) : HString();
}
}  // namespace

HString HFnPlugin::vendor(HStatus* status) const {
  return recordField(fObject, status, &PluginRecord::vendor);
}

HString HFnPlugin::version(HStatus* status) const {
  return recordField(fObject, status, &PluginRecord::version);
}

HString HFnPlugin::name(HStatus* status) const {
  return recordField(fObject, status, &PluginRecord::name);
}

HString HFnPlugin::loadPath(HStatus* status) const {
  return recordField(fObject, status, &PluginRecord::path);
}

HStatus HFnPlugin::registerCommand(const HString& commandName, HCreatorFunction creatorFunction,
                                   HCreateSyntaxFunction createSyntaxFunction) {
  PluginRecord* record = pluginRecord(fObject);
  if (!record)
    return failure(HStatus::kInvalidParameter, "Not a loaded plug-in");
  CommandInfo info;
  info.name = commandName;
  info.creator = creatorFunction;
  info.syntax = createSyntaxFunction;
  info.pluginName = record->name;
  return hostdetail::registerCommand(info);
}

HStatus HFnPlugin::deregisterCommand(const HString& commandName) {
  PluginRecord* record = pluginRecord(fObject);
  if (!record)
    return failure(HStatus::kInvalidParameter, "Not a loaded plug-in");
  const CommandInfo* info = findCommand(commandName);
  if (!info)
    return failure(HStatus::kNotFound, "No command named " + commandName.asStdString());
  if (info->pluginName.asStdString() != record->name)
    return failure(HStatus::kInvalidParameter,
                   "Command " + commandName.asStdString() + " belongs to " +
                       (info->pluginName.isEmpty() ? std::string("the host")
                                                   : "plug-in " + info->pluginName.asStdString()));
  return hostdetail::deregisterCommand(commandName);
}

HStatus HFnPlugin::registerUIStrings(HStringRegisterFunction registerFunction,
                                     const HString& procName) {
  PluginRecord* record = pluginRecord(fObject);
  if (!record)
    return failure(HStatus::kInvalidParameter, "Not a loaded plug-in");
  if (!registerFunction)
    return failure(HStatus::kInvalidParameter, "No string registration function");
  states()[record->name].uiProcedures.push_back(procName.asStdString());
  return guarded([&] { return registerFunction(); });
}

// ---------------------------------------------------------------------------
// HStringResource

namespace {
std::map<std::pair<std::string, std::string>, std::string>& strings() {
  static auto* table = new std::map<std::pair<std::string, std::string>, std::string>();
  return *table;
}
}  // namespace

HStatus HStringResource::registerString(const HStringResourceId& id) {
  if (id.key().isEmpty())
    return failure(HStatus::kInvalidParameter, "A string resource needs a key");
  strings()[{id.pluginId().asStdString(), id.key().asStdString()}] = id.defaultText().asStdString();
  return HStatus(HStatus::kSuccess);
}

HString HStringResource::getString(const HStringResourceId& id, HStatus& status) {
  auto it = strings().find({id.pluginId().asStdString(), id.key().asStdString()});
  if (it == strings().end()) {
    status = failure(HStatus::kNotFound, "No string resource " + id.pluginId().asStdString() + ":" +
                                             id.key().asStdString());
    return id.defaultText();
  }
  status = HStatus(HStatus::kSuccess);
  return HString(it->second);
}

std::string hostdetail::pluginFileNamed(const std::string& name) {
  if (name.empty() || name.find('/') != std::string::npos)
    return std::string();
  std::string path, pluginName;
  return resolve(name, path, pluginName) ? path : std::string();
}

#pragma once
#include "HFnBase.h"
#include "HPxNode.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"
#include "HSyntax.h"
#include "HTypeId.h"

class HPxCommand;

// The version of the host API that this host implements; a plug-in exports
// `HApiVersion` with the version it was built for.
#define H_API_VERSION "201600"
#define HLIBRARY_EXPORT extern "C" __attribute__((visibility("default")))

// Function set over a plug-in being loaded or unloaded: registers its node
// types, commands and UI strings.
class HFnPlugin : public HFnBase {
 public:
  using HCreatorFunction = void* (*)();
  using HInitializeFunction = HStatus (*)();
  using HCreateSyntaxFunction = HSyntax (*)();
  using HStringRegisterFunction = HStatus (*)();

  HFnPlugin() = default;
  HFnPlugin(const HObject& plugin, const char* vendor = "Unknown", const char* version = "Unknown",
            const char* requiredApiVersion = "Any", HStatus* status = nullptr);
  HFn::Type type() const override { return HFn::kPlugin; }

  HString vendor(HStatus* status = nullptr) const;
  HString version(HStatus* status = nullptr) const;
  HString name(HStatus* status = nullptr) const;
  HString loadPath(HStatus* status = nullptr) const;

  // Node type names and ids must be unique across the host.
  HStatus registerNode(const HString& typeName, const HTypeId& typeId,
                       HCreatorFunction creatorFunction, HInitializeFunction initFunction,
                       HPxNode::Type type = HPxNode::kDependNode,
                       const HString* classification = nullptr);
  HStatus deregisterNode(const HTypeId& typeId);
  HStatus registerCommand(const HString& commandName, HCreatorFunction creatorFunction,
                          HCreateSyntaxFunction createSyntaxFunction = nullptr);
  HStatus deregisterCommand(const HString& commandName);
  // Remembers the procedure name and runs the function at once.
  HStatus registerUIStrings(HStringRegisterFunction registerFunction, const HString& procName);
};

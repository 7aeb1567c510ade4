#pragma once
// The host's table of commands. Built-in commands are HPxCommand subclasses
// like plug-in commands; they register themselves at static-initialisation
// time with a BuiltinCommand object, plug-ins through HFnPlugin.

#include <string>

#include "HPxCommand.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"
#include "HSyntax.h"

namespace hostdetail {

using CommandCreator = void* (*)();  // returns a new HPxCommand
using SyntaxCreator = HSyntax (*)();

struct CommandInfo {
  HString name;
  CommandCreator creator = nullptr;
  SyntaxCreator syntax = nullptr;  // may be null: arguments passed unparsed
  HString usage;                   // one-line usage shown in error messages ("-h" style)
  HString pluginName;              // empty for built-in commands
};

HStatus registerCommand(const CommandInfo& info);
HStatus deregisterCommand(const HString& name);
const CommandInfo* findCommand(const HString& name);
HStringArray commandNames();
// "Unknown command 'mvoe'. Did you mean 'move'?" (the question only when a
// registered command is close).
std::string unknownCommandMessage(const std::string& name);

// Registers a built-in command when the library that defines it is loaded.
struct BuiltinCommand {
  BuiltinCommand(const char* name, CommandCreator creator, SyntaxCreator syntax, const char* usage);
};

}  // namespace hostdetail

// The table of commands: built-in commands register at static-initialisation
// time, plug-in commands while their plug-in loads.

#include "CommandRegistry.h"

#include <cctype>
#include <map>
#include <string>
#include <vector>

#include "Suggest.h"

namespace hostdetail {

namespace {

// Built here on first use: BuiltinCommand objects in other translation units
// register before any ordering of globals could be relied on.
std::map<std::string, CommandInfo>& table() {
  static auto* commands = new std::map<std::string, CommandInfo>();
  return *commands;
}

bool isValidCommandName(const std::string& name) {
  if (name.empty() || !(std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_'))
    return false;
  for (char c : name) {
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_'))
      return false;
  }
  return true;
}

}  // namespace

HStatus registerCommand(const CommandInfo& info) {
  const std::string& name = info.name.asStdString();
  if (!isValidCommandName(name))
    return HStatus(HStatus::kInvalidParameter, "Invalid command name: \"" + name + "\"");
  if (info.creator == nullptr)
    return HStatus(HStatus::kInvalidParameter, "Command " + name + " has no creator");
  auto& commands = table();
  if (commands.count(name) != 0)
    return HStatus(HStatus::kFailure, "Command " + name + " is already registered");
  commands.emplace(name, info);
  return HStatus(HStatus::kSuccess);
}

HStatus deregisterCommand(const HString& name) {
  auto& commands = table();
  auto it = commands.find(name.asStdString());
  if (it == commands.end())
    return HStatus(HStatus::kNotFound, "No command named " + name.asStdString());
  commands.erase(it);
  return HStatus(HStatus::kSuccess);
}

const CommandInfo* findCommand(const HString& name) {
  auto& commands = table();
  auto it = commands.find(name.asStdString());
  return it == commands.end() ? nullptr : &it->second;
}

HStringArray commandNames() {
  HStringArray names;
  for (const auto& entry : table())
    names.append(HString(entry.first));
  return names;
}

std::string unknownCommandMessage(const std::string& name) {
  std::vector<std::string> names;
  for (const auto& entry : table())
    names.push_back(entry.first);
  return "Unknown command '" + name + "'." + didYouMean(name, names);
}

BuiltinCommand::BuiltinCommand(const char* name, CommandCreator creator, SyntaxCreator syntax,
                               const char* usage) {
  CommandInfo info;
  info.name = name;
  info.creator = creator;
  info.syntax = syntax;
  info.usage = usage;
  // A clash between two built-ins is a programming error that the registry
  // test catches; there is no one to report it to this early.
  registerCommand(info);
}

}  // namespace hostdetail

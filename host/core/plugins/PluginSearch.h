#pragma once
// Where a plug-in given by name would be loaded from, for commands that
// want to point the user at loadPlugin.

#include <string>

namespace hostdetail {

// The file NAME.so in the plug-in search folders; "" when there is none or
// name is not a plain plug-in name.
std::string pluginFileNamed(const std::string& name);

}  // namespace hostdetail

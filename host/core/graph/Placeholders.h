#pragma once
// Placeholder node types: what a scene file's nodes become when the plug-in
// that provides their type is missing. The scene files note the missing
// plug-ins while a file opens; the node registry asks here for a type nobody
// registered; loading the plug-in later turns the nodes into real ones.

#include <string>

#include "SceneInternal.h"

namespace hostdetail {

// Forgets the plug-ins noted missing by the last file; each open starts so.
void forgetMissingPlugins();
// A `requires` line of the file being opened named a plug-in that cannot be
// loaded; version is null when the line gave none. From now on, until the
// next open, a type nobody registered is made as a placeholder.
void noteMissingPlugin(const std::string& name, const std::string* version);
// The placeholder type for a type name, or null when no plug-in is missing.
const NodeType* placeholderTypeFor(const std::string& name);

// Turns every live placeholder node whose type is registered now into a
// real node of that type, in place: it keeps its name, dynamic attributes,
// values, connections, links and undo history. Returns how many changed.
unsigned convertPlaceholders();

}  // namespace hostdetail

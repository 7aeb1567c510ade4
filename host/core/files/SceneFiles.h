#pragma once
// What the rest of the host needs to know about scene files being opened:
// whether one is, the plug-ins its `requires` lines named but could not
// load, and the placeholder nodes that stand in for those plug-ins' nodes.

#include <string>

#include "graph/SceneInternal.h"

namespace hostdetail {

// True while HFileIO::open runs a file's commands (or rolls them back).
bool isOpeningSceneFile();
// The failure of what a file being opened may not do (open another file, a
// new scene, undo, unload a plug-in): each would reach past the half-built
// scene to the one that comes back should the file fail.
HStatus refuseWhileOpening();

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

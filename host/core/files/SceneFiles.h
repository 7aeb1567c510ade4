#pragma once
// What the rest of the host needs to know about scene files being opened:
// whether one is, and the refusal of what may not happen meanwhile. The
// placeholders for a file's missing plug-ins are in graph/Placeholders.h.

#include "HStatus.h"

namespace hostdetail {

// True while HFileIO::open runs a file's commands (or rolls them back).
bool isOpeningSceneFile();
// The failure of what a file being opened may not do (open another file, a
// new scene, undo, unload a plug-in): each would reach past the half-built
// scene to the one that comes back should the file fail.
HStatus refuseWhileOpening();

}  // namespace hostdetail

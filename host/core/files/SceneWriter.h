#pragma once
// The scene writer: the text of a scene file (.hsa) for the scene as it is.
// HFileIO saves through it (and sceneAsText gives it to tools and tests).

#include <ostream>

#include "HStatus.h"

namespace hostdetail {

// The first line of every scene file the writer makes.
constexpr char kSceneFileHeader[] =
    "// hostsh scene file: a command script that rebuilds the scene.";

// Writes the whole scene as a command script that rebuilds it: `requires`
// lines for the plug-ins whose node types are used, then nodes, values,
// dynamic attributes, ramp entries, locks and connections. Opening the text
// in an empty scene and writing again gives the same bytes. Fails (writing
// nothing useful) only when the scene holds something it cannot express.
HStatus writeScene(std::ostream& out);

}  // namespace hostdetail

#pragma once
#include "HStatus.h"
#include "HString.h"

// Scene files (.hsa): command scripts that rebuild the scene.
class HFileIO {
 public:
  // Empties the scene (sending before-new and after-new messages) and clears undo.
  static HStatus newFile(bool force = true);
  // Starts a new scene and runs the file without recording undo and without
  // solving until it is all read, then sends after-open. On failure the scene
  // is left as it was before.
  static HStatus open(const HString& path);
  static HStatus saveAs(const HString& path);
  static HString currentFile();
  // The script text that `saveAs` would write.
  static HString sceneAsText(HStatus* status = nullptr);
};

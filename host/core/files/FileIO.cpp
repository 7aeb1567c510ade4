// HFileIO: new scene, open, save.
//
// Opening replaces the scene by running the file's commands, and a file
// that fails anywhere (it cannot be read, is empty, is cut short, or one of
// its commands fails) must leave the scene, its name, the selection and the
// undo queue exactly as they were. So the old scene is not deleted but set
// aside, node by node, the way a deletion is kept for undo: the nodes keep
// their slots, and every HObject (those the undo queue holds included)
// names them again once they are put back. The file then runs into the
// emptied scene. If it fails, its nodes are deleted and the old ones put
// back with their selection; if it succeeds, the old nodes are freed and the
// undo queue, whose commands refer to them, is cleared.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Export.h"
#include "HFileIO.h"
#include "HGlobal.h"
#include "HSceneMessage.h"
#include "HSelectionList.h"
#include "SceneFiles.h"
#include "SceneWriter.h"
#include "commands/CommandEngine.h"
#include "graph/Node.h"
#include "graph/Placeholders.h"
#include "graph/SceneInternal.h"

using namespace hostdetail;

namespace {

// Set while a file is being read: the scene is half-built, and a new scene
// or a second open from inside the file would pull it away underneath.
bool gOpening = false;

std::string& currentPath() {
  static auto* path = new std::string();
  return *path;
}

// Runs scene text the way a file is read: nothing queued for undo and no
// solving until all of it has run.
HStatus runSceneText(const std::string& text, const std::string& source) {
  const bool wasRecording = isUndoRecording();
  setUndoRecording(false);
  suspendEvaluation();
  RunOptions options;
  options.source = source;
  options.undoable = false;
  HStatus status = runCommands(text, options);
  resumeEvaluation();
  setUndoRecording(wasRecording);
  return status;
}

// Reads the whole file; fails, naming it, for anything that is not a
// readable, non-empty regular file.
HStatus readSceneFile(const std::string& file, std::string& text) {
  auto refuse = [&](const std::string& why) {
    return HStatus(HStatus::kFailure, "Cannot open scene file " + file + ": " + why);
  };
  struct stat info;
  if (stat(file.c_str(), &info) != 0)
    return HStatus(HStatus::kNotFound,
                   "Cannot open scene file " + file + ": " + std::strerror(errno));
  if (S_ISDIR(info.st_mode))
    return refuse(std::strerror(EISDIR));
  std::ifstream in(file, std::ios::binary);
  if (!in)
    return refuse(std::strerror(errno));
  std::ostringstream read;
  read << in.rdbuf();
  if (in.bad())
    return refuse("the file could not be read");
  text = read.str();
  // Even a scene with no nodes has its header line, so an empty file is a
  // save that went wrong, not an empty scene.
  if (text.empty())
    return refuse("the file is empty");
  return HStatus(HStatus::kSuccess);
}

// The writer ends every line, so a file of ours whose last line has no end
// was cut short, possibly inside a number that still reads as one.
HStatus checkNotCutShort(const std::string& file, const std::string& text) {
  if (text.compare(0, sizeof kSceneFileHeader - 1, kSceneFileHeader) != 0 || text.back() == '\n')
    return HStatus(HStatus::kSuccess);
  const long line = 1 + std::count(text.begin(), text.end(), '\n');
  return HStatus(HStatus::kFailure, file + ":" + std::to_string(line) +
                                        ": The file ends inside this line: it was cut short");
}

// The scene as it was before an open, out of sight until the open ends.
class SetAsideScene {
 public:
  SetAsideScene() {
    HGlobal::getActiveSelectionList(fSelection);
    std::vector<Node*> tops;
    for (auto& slot : scene().slots) {
      if (slot && slot->alive() && !slot->parent)
        tops.push_back(slot.get());
    }
    // Newest first, so that each comes off the end of the world's children.
    for (auto top = tops.rbegin(); top != tops.rend(); ++top)
      fDetached.push_back(detachNode(*top));
    clearActiveSelection();
  }
  ~SetAsideScene() { discard(); }

  // Deletes whatever is in the scene now and brings the old scene back,
  // newest set-aside first so that every node regains its place among its
  // siblings and every connection both of its ends.
  HStatus putBack() {
    resetScene();
    HStatus status(HStatus::kSuccess);
    for (auto it = fDetached.rbegin(); it != fDetached.rend(); ++it) {
      HStatus restored = restoreNodes(*it);
      if (!restored)
        status = restored;
    }
    fDetached.clear();
    HGlobal::setActiveSelectionList(fSelection);
    return status;
  }

  void discard() {
    for (DetachedNodes& detached : fDetached)
      purgeNodes(detached);
    fDetached.clear();
  }

 private:
  std::vector<DetachedNodes> fDetached;
  HSelectionList fSelection;
};

}  // namespace

namespace hostdetail {

bool isOpeningSceneFile() {
  return gOpening;
}

HStatus refuseWhileOpening() {
  return HStatus(HStatus::kFailure, "Not allowed while a scene file is being opened");
}

}  // namespace hostdetail

HStatus HFileIO::newFile(bool) {
  if (gOpening)
    return refuseWhileOpening();
  // There is no tracking of unsaved changes, so force changes nothing.
  HSceneMessage::hostSend(HSceneMessage::kBeforeNew);
  clearUndoQueue();
  resetScene();
  currentPath().clear();
  HSceneMessage::hostSend(HSceneMessage::kAfterNew);
  return HStatus(HStatus::kSuccess);
}

HStatus HFileIO::open(const HString& path) {
  if (gOpening)
    return refuseWhileOpening();
  const std::string file = path.asStdString();
  std::string text;
  HStatus read = readSceneFile(file, text);
  if (!read)
    return read;

  HSceneMessage::hostSend(HSceneMessage::kBeforeOpen);
  gOpening = true;
  forgetMissingPlugins();
  SetAsideScene previous;
  HStatus status = runSceneText(text, file);
  if (status)
    status = checkNotCutShort(file, text);
  forgetMissingPlugins();
  if (!status) {
    HStatus restored = previous.putBack();
    // A plug-in the file loaded may serve placeholders of the old scene.
    convertPlaceholders();
    gOpening = false;
    std::string message = status.errorString().asStdString();
    if (!restored)
      message += "; the previous scene could not be fully restored";
    return HStatus(status.statusCode(), message);
  }
  gOpening = false;
  clearUndoQueue();
  previous.discard();
  evaluateScene();
  currentPath() = file;
  HSceneMessage::hostSend(HSceneMessage::kAfterOpen);
  return HStatus(HStatus::kSuccess);
}

HStatus HFileIO::saveAs(const HString& path) {
  const std::string file = path.asStdString();
  if (file.empty())
    return HStatus(HStatus::kInvalidParameter, "No file name to save to");
  HSceneMessage::hostSend(HSceneMessage::kBeforeSave);
  std::ostringstream text;
  HStatus written = writeScene(text);
  if (!written) {
    return HStatus(written.statusCode(),
                   "Cannot save " + file + ": " + written.errorString().asStdString());
  }
  HStatus replaced = replaceFile(file, text.str());
  if (!replaced)
    return replaced;
  currentPath() = file;
  HSceneMessage::hostSend(HSceneMessage::kAfterSave);
  return HStatus(HStatus::kSuccess);
}

HString HFileIO::currentFile() {
  return HString(currentPath());
}

HString HFileIO::sceneAsText(HStatus* status) {
  std::ostringstream text;
  HStatus written = writeScene(text);
  if (status)
    *status = written;
  return written ? HString(text.str()) : HString();
}

// HFileIO: new scene, open, save.
//
// Opening replaces the scene by running the file's commands. So that a bad
// file cannot leave a half-built scene behind, the scene is first written
// to text as a save would write it; if any command of the file fails, the
// scene is emptied again and that text is replayed. The undo queue does not
// survive either way: its commands refer to the nodes of the old scene.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "CommandEngine.h"
#include "HFileIO.h"
#include "HSceneMessage.h"
#include "SceneInternal.h"
#include "SceneWriter.h"

using namespace hostdetail;

namespace {

// Set while a file is being read: the scene is half-built, and a new scene
// or a second open from inside the file would pull it away underneath.
bool gOpening = false;

HStatus refuseWhileOpening() {
  return HStatus(HStatus::kFailure, "Not allowed while a scene file is being opened");
}

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

}  // namespace

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
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    return HStatus(HStatus::kNotFound,
                   "Cannot open scene file " + file + ": " + std::strerror(errno));
  }
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad())
    return HStatus(HStatus::kFailure, "Cannot read scene file " + file);

  std::ostringstream restorePoint;
  HStatus kept = writeScene(restorePoint);
  if (!kept) {
    return HStatus(HStatus::kFailure, "Cannot open " + file +
                                          ": the current scene could not be kept to restore it (" +
                                          kept.errorString().asStdString() + ")");
  }

  HSceneMessage::hostSend(HSceneMessage::kBeforeOpen);
  clearUndoQueue();
  resetScene();
  gOpening = true;
  HStatus status = runSceneText(text.str(), file);
  if (!status) {
    resetScene();
    HStatus restored = runSceneText(restorePoint.str(), "(previous scene)");
    gOpening = false;
    std::string message = status.errorString().asStdString();
    if (!restored)
      message += "; the previous scene could not be fully restored";
    return HStatus(status.statusCode(), message);
  }
  gOpening = false;
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
  // Written beside the target and renamed over it, so that a failed save
  // never leaves a truncated file where the last good one was.
  const std::string temporary = file + ".saving";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (out) {
      const std::string data = text.str();
      out.write(data.data(), std::streamsize(data.size()));
      out.close();
    }
    if (!out) {
      const std::string why = std::strerror(errno);
      std::remove(temporary.c_str());
      return HStatus(HStatus::kFailure, "Cannot write " + file + ": " + why);
    }
  }
  if (std::rename(temporary.c_str(), file.c_str()) != 0) {
    const std::string why = std::strerror(errno);
    std::remove(temporary.c_str());
    return HStatus(HStatus::kFailure, "Cannot write " + file + ": " + why);
  }
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

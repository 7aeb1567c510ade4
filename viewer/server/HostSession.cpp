#include "HostSession.h"

#include <sstream>

#include "commands/CommandEngine.h"
#include "HStatus.h"
#include "HStringArray.h"
#include "SceneJson.h"

namespace viewer {

namespace {

// Sends the host's result and error output to one string while a request
// runs, and puts the streams back afterwards whatever happens.
class CapturedOutput {
 public:
  CapturedOutput() {
    hostdetail::setOutputStream(&fText);
    HStatus::setErrorStream(&fText);
  }
  ~CapturedOutput() {
    hostdetail::setOutputStream(nullptr);
    HStatus::setErrorStream(nullptr);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  std::string text() const { return fText.str(); }

 private:
  std::ostringstream fText;
};

hostdetail::RunOptions printingOptions() {
  hostdetail::RunOptions options;
  options.printResults = true;
  return options;
}

}  // namespace

HostSession::HostSession() {
  std::lock_guard<std::mutex> host(fHostMutex);
  refreshScene();
}

CommandReply HostSession::runRequest(const std::string& text, bool undoable) {
  CommandReply reply;
  {
    std::lock_guard<std::mutex> host(fHostMutex);
    const std::size_t depthBefore = hostdetail::undoDepth();
    hostdetail::RunOptions options = printingOptions();
    options.undoable = undoable;
    HStringArray result;
    CapturedOutput captured;
    const HStatus status = hostdetail::runCommands(text, options, &result);
    reply.ok = bool(status);
    if (reply.ok) {
      reply.result = hostdetail::formatResult(result);
    } else {
      reply.error = status.errorString().asStdString();
      // Take back what the earlier commands of this text did. Steps that a
      // command dropped from the queue (file -new empties it) cannot be.
      std::size_t undone = 0;
      while (hostdetail::undoDepth() > depthBefore) {
        bool done = false;
        hostdetail::undoCommand(&done);
        if (!done)
          break;
        ++undone;
      }
      if (undone > 0)
        hostdetail::discardRedoSteps();
      if (hostdetail::undoDepth() > depthBefore)
        reply.error += " (the commands before it could not all be undone)";
    }
    reply.output = captured.text();
    refreshScene();
  }
  reply.version = version();
  return reply;
}

bool HostSession::runTerminalLine(const std::string& line, int lineNumber) {
  std::lock_guard<std::mutex> host(fHostMutex);
  hostdetail::RunOptions options = printingOptions();
  options.firstLine = lineNumber;
  const bool ok = bool(hostdetail::runCommands(line, options));
  refreshScene();
  return ok;
}

bool HostSession::runScript(const std::string& path) {
  std::lock_guard<std::mutex> host(fHostMutex);
  const bool ok = bool(hostdetail::runScriptFile(path, printingOptions()));
  refreshScene();
  return ok;
}

void HostSession::refreshScene() {
  // Undo run from here is no command, so nothing has solved the handles it
  // moved; the page must see the pose a command would.
  hostdetail::evaluateScene();
  // The time goes with the nodes, so that a new frame is news to the page.
  std::string nodes = sceneNodesJson().dump() + ",\"time\":" + sceneTimeJson().dump();
  std::lock_guard<std::mutex> state(fStateMutex);
  if (nodes == fNodesText && !fSceneText.empty())
    return;
  fNodesText = std::move(nodes);
  ++fVersion;
  fSceneText = "{\"version\":" + std::to_string(fVersion) + ",\"nodes\":" + fNodesText + "}";
  fChanged.notify_all();
}

std::string HostSession::sceneText() {
  std::lock_guard<std::mutex> state(fStateMutex);
  return fSceneText;
}

std::uint64_t HostSession::version() {
  std::lock_guard<std::mutex> state(fStateMutex);
  return fVersion;
}

std::uint64_t HostSession::waitForChange(std::uint64_t seen, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> state(fStateMutex);
  fChanged.wait_for(state, timeout, [&] { return fVersion != seen || fShutDown; });
  return fVersion;
}

void HostSession::shutdown() {
  std::lock_guard<std::mutex> state(fStateMutex);
  fShutDown = true;
  fChanged.notify_all();
}

bool HostSession::isShutDown() {
  std::lock_guard<std::mutex> state(fStateMutex);
  return fShutDown;
}

}  // namespace viewer

#pragma once
// The host as the viewer server shares it: every command, from a page or from
// the terminal, runs under one lock, so the host never runs two at once. After
// each run the scene is read again; the version grows whenever what a page
// draws has changed, and waiters (the event streams) are woken.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

namespace viewer {

struct CommandReply {
  bool ok = false;
  std::string result;  // the last command's result, as hostsh prints it
  std::string output;  // everything printed: results, print, warnings
  std::string error;   // the host's message when ok is false
  std::uint64_t version = 0;
};

class HostSession {
 public:
  HostSession();

  // Runs command text for a page: output is captured into the reply instead
  // of the terminal. When a command fails, those of the same text that ran
  // before it are undone, so a request changes all or nothing; undoable false
  // keeps the commands off the undo queue (the previews of a drag).
  CommandReply runRequest(const std::string& text, bool undoable);
  // Runs a line typed at the terminal as the prompt does; true on success.
  bool runTerminalLine(const std::string& line, int lineNumber);
  // Runs a scene script as `hostsh SCRIPT` does; true on success.
  bool runScript(const std::string& path);

  // The scene JSON ({"version", "nodes"}) as of the last change.
  std::string sceneText();
  std::uint64_t version();
  // Blocks until the version passes seen, the timeout runs out or shutdown();
  // returns the version then.
  std::uint64_t waitForChange(std::uint64_t seen, std::chrono::milliseconds timeout);
  void shutdown();
  bool isShutDown();

 private:
  // Reads the scene again (host lock held) and moves the version on when it
  // differs from what the pages have.
  void refreshScene();

  std::mutex fHostMutex;  // the host: held while commands run or the scene is read
  std::mutex fStateMutex;  // the fields below
  std::condition_variable fChanged;
  std::string fNodesText;
  std::string fSceneText;
  std::uint64_t fVersion = 0;
  bool fShutDown = false;
};

}  // namespace viewer

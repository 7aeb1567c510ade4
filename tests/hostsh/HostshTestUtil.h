#pragma once
// Shared pieces of the command engine tests: capture of the host's output
// and error streams, and "probe" commands linked into the test program as a
// plug-in, whose doIt, undoIt and redoIt record what the engine did.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include <sstream>
#include <string>
#include <vector>

#include "BuildPaths.h"
#include "HGlobal.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"
#include "commands/CommandEngine.h"

namespace hostshtest {

using buildpaths::binaryDir;

inline std::string scriptDir() {
  return buildpaths::sourceDir() + "/tests/hostsh/scripts";
}

inline bool succeeded(const HStatus& status) {
  return status.statusCode() == HStatus::kSuccess;
}

// Redirects the host's error output (perror, displayError) and its result
// output for the lifetime of the object.
class Capture {
 public:
  Capture() {
    HStatus::setErrorStream(&fErr);
    hostdetail::setOutputStream(&fOut);
  }
  ~Capture() {
    HStatus::setErrorStream(nullptr);
    hostdetail::setOutputStream(nullptr);
  }
  std::string err() const { return fErr.str(); }
  std::string out() const { return fOut.str(); }
  bool errHas(const std::string& piece) const { return err().find(piece) != std::string::npos; }
  void clear() {
    fErr.str("");
    fOut.str("");
  }

 private:
  std::ostringstream fErr;
  std::ostringstream fOut;
};

// Runs commands undoably, as typed at the host.
inline HStatus run(const std::string& commands) {
  return HGlobal::executeCommand(HString(commands), false, true);
}

inline std::vector<std::string> results(const std::string& commands, HStatus* status = nullptr) {
  HStringArray values;
  HStatus s = HGlobal::executeCommand(HString(commands), values, false, true);
  if (status)
    *status = s;
  std::vector<std::string> out;
  for (const HString& v : values)
    out.push_back(v.asStdString());
  return out;
}

// What the probe commands saw and did.
struct ProbeLog {
  // probeArgs: the words of its last call and whether each was quoted.
  std::vector<std::string> words;
  std::vector<bool> quoted;
  // probeCounter: the value it edits.
  int counter = 0;
  // Calls in order, e.g. "do counter 1", "undo counter 1".
  std::vector<std::string> calls;
  // Probe command objects alive (made and not yet deleted).
  int alive = 0;
};

ProbeLog& probeLog();
// Loads the probe plug-in (once) and clears the log; the scene is emptied
// and the undo queue cleared.
void resetProbe();

}  // namespace hostshtest

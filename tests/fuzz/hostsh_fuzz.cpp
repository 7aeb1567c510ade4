// libFuzzer entry: the first byte picks the mode, the rest is the text.
//  - even: run the text as commands in an empty scene, then undo everything
//    that was queued; the scene must be empty again.
//  - odd: open the text as a scene file over a small scene; a failed open
//    must leave that scene exactly as it was.
// Commands that reach outside the process (files, libraries) are removed
// from the command table first.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "HFileIO.h"
#include "HGlobal.h"
#include "HIkSystem.h"
#include "commands/CommandEngine.h"
#include "commands/CommandRegistry.h"

namespace {

std::ostringstream gDiscard;

struct Setup {
  std::string emptyScene;
  std::string path;
  Setup() {
    HIkSystem::setSolvingSuspended(false);
    HStatus::setErrorStream(&gDiscard);
    hostdetail::setOutputStream(&gDiscard);
    for (const char* name :
         {"file", "source", "loadPlugin", "unloadPlugin", "requires", "snapshot"})
      hostdetail::deregisterCommand(name);
    emptyScene = HFileIO::sceneAsText().asStdString();
    path = "/tmp/hostsh_fuzz_" + std::to_string(getpid()) + ".hsa";
  }
};

void check(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "property broken: %s\n", what);
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Setup setup;
  if (size == 0)
    return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  gDiscard.str("");
  HFileIO::newFile(true);
  if ((data[0] & 1) == 0) {
    HGlobal::executeCommand(HString(text), false, true);
    check(hostdetail::currentCommandName().empty(), "the engine is outside every command");
    const std::size_t depth = hostdetail::undoDepth();
    for (std::size_t i = 0; i < depth; ++i)
      HGlobal::executeCommand("undo", false, false);
    check(HFileIO::sceneAsText().asStdString() == setup.emptyScene,
          "undoing everything empties the scene");
    return 0;
  }
  HGlobal::executeCommand("createNode transform -n keeper; setAttr keeper.tx 2", false, false);
  const std::string before = HFileIO::sceneAsText().asStdString();
  std::ofstream(setup.path, std::ios::binary | std::ios::trunc) << text;
  if (!HFileIO::open(HString(setup.path)))
    check(HFileIO::sceneAsText().asStdString() == before, "a failed open restores the scene");
  return 0;
}

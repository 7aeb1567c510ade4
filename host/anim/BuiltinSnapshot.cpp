// The built-in command snapshot: a picture of the scene as an SVG or PNG file.
//
//   snapshot -o FILE.svg|FILE.png [-view front|side|top] [-ghost] [-w WIDTH] [-title TEXT]
//   snapshot -record
//   snapshot -clear
//
// -record appends the current world positions of the joints, effectors and
// IK handles to the session's ghost list; -ghost draws every recorded pose
// faint behind the current scene, older poses fainter. So a sequence of handle
// moves, each followed by `snapshot -record`, ends in one picture with
// `snapshot -o moves.svg -ghost`. -clear empties the list. The flags combine
// and act in the order clear, draw, record, so `snapshot -o f.svg -ghost
// -record` draws the earlier poses and then adds the current one.
//
// The file's extension picks the format (.svg or .png, any case); a PNG is
// the SVG drawing rendered at its size in pixels. The result is the file
// written (nothing without -o). Not undoable: it
// changes no scene state, and the ghost list is a drawing aid, not part of
// the scene.

#include <cctype>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

#include "Snapshot.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"

namespace hostdetail {
namespace builtin {
namespace {

enum class Format { kSvg, kPng, kUnknown };

Format formatOf(const std::string& path) {
  const size_t dot = path.find_last_of('.');
  const size_t slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
    return Format::kUnknown;
  std::string extension = path.substr(dot + 1);
  for (char& c : extension)
    c = char(std::tolower(static_cast<unsigned char>(c)));
  return extension == "svg" ? Format::kSvg : extension == "png" ? Format::kPng : Format::kUnknown;
}

// Writes through a file beside the target and renames it into place, so
// that a failed write leaves whatever was there before.
bool writeWhole(const std::string& path, const std::string& bytes) {
  const std::string partial = path + ".partial";
  std::ofstream file(partial, std::ios::binary | std::ios::trunc);
  if (file)
    file.write(bytes.data(), std::streamsize(bytes.size()));
  file.close();
  if (file && std::rename(partial.c_str(), path.c_str()) == 0)
    return true;
  std::remove(partial.c_str());
  return false;
}

class SnapshotCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-o", "-output", HSyntax::kString);
    syntax.addFlag("-v", "-view", HSyntax::kString);
    syntax.addFlag("-g", "-ghost");
    syntax.addFlag("-w", "-width", HSyntax::kString);
    syntax.addFlag("-t", "-title", HSyntax::kString);
    syntax.addFlag("-r", "-record");
    syntax.addFlag("-c", "-clear");
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() > 0)
      return failure("Unexpected argument '" + arg(0) + "'");
    const bool draw = flag("-o");
    if (!draw && !flag("-r") && !flag("-c"))
      return failure("Nothing to do: give -o FILE.svg (or .png), -record or -clear");
    for (const char* drawingFlag : {"-v", "-g", "-w", "-t"}) {
      if (flag(drawingFlag) && !draw)
        return failure(std::string(drawingFlag) + " needs -o FILE.svg (or .png)");
    }

    snapshot::Options options;
    std::string path;
    Format format = Format::kUnknown;
    if (draw) {
      path = flagWord("-o");
      if (path.empty())
        return failure("-o needs a file name");
      format = formatOf(path);
      if (format == Format::kUnknown)
        return failure("Cannot write '" + path +
                       "': snapshot writes .svg or .png files; give one of those extensions");
      if (flag("-v") && !snapshot::parseView(flagWord("-v"), options.view))
        return failure("Unknown view '" + flagWord("-v") + "' (front, side or top)");
      if (flag("-w")) {
        const std::string word = flagWord("-w");
        double width = 0.0;
        if (!parseDouble(word, width) || width < snapshot::kMinWidth || width > snapshot::kMaxWidth)
          return failure("Width '" + word + "' is not a number of pixels from " +
                         formatDouble(snapshot::kMinWidth) + " to " +
                         formatDouble(snapshot::kMaxWidth));
        options.width = width;
      }
      options.ghost = flag("-g");
      options.title = flagWord("-t");
    }

    if (flag("-c"))
      snapshot::clearPoses();
    if (draw) {
      std::string bytes = snapshot::renderSvg(options);
      if (format == Format::kPng) {
        std::string png, error;
        if (!snapshot::svgToPng(bytes, png, error))
          return failure("Could not make '" + path + "': " + error);
        bytes.swap(png);
      }
      if (!writeWhole(path, bytes))
        return failure("Could not write '" + path + "'");
      setResult(HString(path));
    }
    if (flag("-r"))
      snapshot::recordPose();
    return HStatus::kSuccess;
  }
};

const BuiltinCommand kSnapshot(
    "snapshot", newCommand<SnapshotCommand>, SnapshotCommand::newSyntax,
    "snapshot -o FILE.svg|FILE.png [-view front|side|top] [-ghost] [-w WIDTH] [-title TEXT] "
    "[-record] "
    "[-clear]  (-record keeps the current pose for -ghost pictures; -clear forgets them)");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

// The built-in command snapshot: a picture of the scene as an SVG or PNG file.
//
//   snapshot -o FILE.svg|FILE.png [-view front|side|top] [-ghost] [-w WIDTH] [-title TEXT]
//   snapshot -record
//   snapshot -clear
//   snapshot -o FILE.svg -time START:END [-by STEP] [view and picture flags]
//
// -time draws an onion skin: the poses at every STEP-th frame of the range
// (every frame without -by) faint, labelled with their frames at the
// handles, and the current frame solid. The time comes back to the current
// frame afterwards, and the recorded ghost list is neither drawn nor changed.
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

#include "AnimCommands.h"
#include "AnimTime.h"
#include "Snapshot.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"
#include "files/Export.h"

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
    syntax.addFlag("-tm", "-time", HSyntax::kString);
    syntax.addFlag("-by", "-by", HSyntax::kString);
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
    for (const char* drawingFlag : {"-v", "-g", "-w", "-t", "-tm", "-by"}) {
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

    std::vector<double> frames;
    if (flag("-tm") || flag("-by")) {
      if (flag("-r") || flag("-c") || flag("-g"))
        return failure(
            "An onion skin (-time) draws its own frames: leave out -record, -clear "
            "and -ghost");
      std::string error;
      if (!flag("-tm"))
        return failure("-by needs -time START:END");
      if (!builtin::framesFromFlags(true, flagWord("-tm"), flag("-by"), flagWord("-by"), frames,
                                    error))
        return failure(error);
      if (frames.size() > snapshot::kMaxPoses)
        return failure("An onion skin draws at most " + std::to_string(snapshot::kMaxPoses) +
                       " frames: give a larger -by");
      options.ghost = true;
    }

    if (flag("-c"))
      snapshot::clearPoses();
    std::vector<snapshot::GhostPose> recorded;
    if (!frames.empty()) {
      recorded = snapshot::takePoses();
      const double now = timeState().current();
      for (double frame : frames) {
        if (frame == now)
          continue;
        setTimeAndEvaluate(frame);
        snapshot::recordPose(formatDouble(frame));
      }
      setTimeAndEvaluate(now);
    }
    if (draw) {
      std::string bytes = snapshot::renderSvg(options);
      if (!frames.empty())
        snapshot::putPoses(std::move(recorded));
      if (format == Format::kPng) {
        std::string png, error;
        if (!snapshot::svgToPng(bytes, png, error))
          return failure("Could not make '" + path + "': " + error);
        bytes.swap(png);
      }
      // A failed write leaves whatever was there before.
      const HStatus written = hostdetail::replaceFile(path, bytes);
      if (!written)
        return failure(written.errorString().asStdString());
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
    "[-record] [-clear] [-time START:END [-by STEP]]  (-record keeps the current pose for -ghost "
    "pictures; -clear forgets them; -time draws an onion skin of the range)");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

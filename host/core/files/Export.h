#pragma once
// Exporting the scene to other applications' formats (`file -export`).
//
// The core knows no format: a library above it registers one exporter per
// file extension (libHostAnim registers glTF for .gltf and .glb), and
// exportScene picks it by the path's extension, checks everything that can
// be checked before anything is sampled, and writes the bytes the exporter
// produced beside the target and renames them over it, so that a failed
// export leaves any earlier file in place.
//
// Frames: an export over a frame range samples the scene by setting each
// frame through a FrameSetter. The host's time module installs the one the
// `file` command uses with setFrameHook (libHostAnim's time does so when it
// loads); until one is installed, a frame
// range is refused (exporting the same pose for every frame would look like
// a success and animate nothing).

#include <functional>
#include <string>
#include <vector>

#include "HStatus.h"

namespace hostdetail {

// Moves the scene to a frame: sets the time and whatever follows from it.
// The exporter solves the scene after each call before it reads it.
using FrameSetter = std::function<HStatus(double frame)>;

// What an export samples: frames start, start + 1, ... up to end, and end
// itself when the step does not land on it (never empty).
struct ExportRange {
  double start = 0.0;
  double end = 0.0;
  double framesPerSecond = 24.0;
  FrameSetter setFrame;
  std::vector<double> frames;
};

// Turns the scene (sampled over range when it is not null; the current pose
// otherwise) into the file's bytes. Writes nothing to disk; a failure's
// message names what could not be exported.
using Exporter = HStatus (*)(const ExportRange* range, std::string& bytes);

// extension: with its dot, in lower case (".gltf"). A later registration of
// the same extension replaces the earlier one.
void registerExporter(const std::string& extension, Exporter exporter);
// The registered extensions in order, for messages and help.
std::vector<std::string> exporterExtensions();

// What the time module provides: the frame setter, the current frame (so an
// export can put it back when it is done) and the rate that turns frames
// into seconds. An empty setFrame removes the hook.
struct FrameHook {
  FrameSetter setFrame;
  std::function<double()> currentFrame;
  std::function<double()> framesPerSecond;  // 24 when not given
};
void setFrameHook(const FrameHook& hook);
const FrameHook& frameHook();

// `file -export PATH [-frameRange START END]`: range is null for the current
// pose, else {START, END}. Refuses, before sampling anything, an unknown or
// missing extension, a folder or a path that cannot be written, a backwards
// or too long range and a range without a frame hook. After sampling it puts
// the frame back where it was, whether the export succeeded or not (a hook
// without currentFrame leaves the scene at the last frame sampled).
HStatus exportScene(const std::string& path, const double* range);

// Writes data to file through a temporary file beside it renamed over it;
// on failure the file is as it was and no temporary file is left.
HStatus replaceFile(const std::string& file, const std::string& data);

}  // namespace hostdetail

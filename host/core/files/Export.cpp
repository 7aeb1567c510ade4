// The exporter registry, the frame hook and the checks and writing that
// every export shares (see Export.h).

#include "Export.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <utility>

#include "commands/BuiltinSupport.h"
#include "commands/CommandEngine.h"

namespace hostdetail {

namespace {

std::map<std::string, Exporter>& exporters() {
  static auto* table = new std::map<std::string, Exporter>();
  return *table;
}

FrameHook& hook() {
  static auto* current = new FrameHook();
  return *current;
}

std::string knownExtensions() {
  std::string list;
  for (const std::string& extension : exporterExtensions())
    list += (list.empty() ? "" : ", ") + extension;
  return list.empty() ? "none" : list;
}

// The extension of the path's last component, with its dot, in lower case;
// empty when it has none.
std::string extensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
    return std::string();
  std::string extension = path.substr(dot);
  for (char& c : extension)
    c = char(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

// Refuses a path the export could not be written to, before any frame is
// sampled: a folder, a missing or read-only folder around it, a read-only
// file.
HStatus checkWritable(const std::string& path) {
  auto refuse = [&](const std::string& why) {
    return HStatus(HStatus::kFailure, "Cannot write " + path + ": " + why);
  };
  struct stat info;
  if (stat(path.c_str(), &info) == 0) {
    if (S_ISDIR(info.st_mode))
      return refuse(std::strerror(EISDIR));
    if (access(path.c_str(), W_OK) != 0)
      return refuse(std::strerror(errno));
  }
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos
                                 ? std::string(".")
                                 : path.substr(0, std::max<std::size_t>(slash, 1));
  if (stat(folder.c_str(), &info) != 0)
    return refuse(std::strerror(errno));
  if (!S_ISDIR(info.st_mode))
    return refuse(std::strerror(ENOTDIR));
  if (access(folder.c_str(), W_OK | X_OK) != 0)
    return refuse(std::strerror(errno));
  return HStatus(HStatus::kSuccess);
}

HStatus checkRange(const double* range, ExportRange& out) {
  const std::string text =
      builtin::formatDouble(range[0]) + " to " + builtin::formatDouble(range[1]);
  if (!std::isfinite(range[0]) || !std::isfinite(range[1]))
    return HStatus(HStatus::kInvalidParameter, "The frame range " + text + " is not finite");
  if (range[1] < range[0]) {
    return HStatus(HStatus::kInvalidParameter,
                   "The frame range " + text + " runs backwards: give the start frame first");
  }
  std::string error;
  if (!builtin::sampleFrames(range[0], range[1], 1.0, out.frames, error))
    return HStatus(HStatus::kInvalidParameter, error);
  if (out.frames.back() < range[1])
    out.frames.push_back(range[1]);
  if (!hook().setFrame) {
    return HStatus(HStatus::kFailure,
                   "Cannot export frames " + text +
                       ": no time module is loaded to set them (leave out -frameRange to export "
                       "the current pose)");
  }
  out.start = range[0];
  out.end = range[1];
  out.framesPerSecond = hook().framesPerSecond ? hook().framesPerSecond() : 24.0;
  out.setFrame = hook().setFrame;
  return HStatus(HStatus::kSuccess);
}

}  // namespace

void registerExporter(const std::string& extension, Exporter exporter) {
  exporters()[extension] = exporter;
}

std::vector<std::string> exporterExtensions() {
  std::vector<std::string> list;
  for (const auto& entry : exporters())
    list.push_back(entry.first);
  return list;
}

void setFrameHook(const FrameHook& newHook) {
  hook() = newHook.setFrame ? newHook : FrameHook();
}

const FrameHook& frameHook() {
  return hook();
}

HStatus exportScene(const std::string& path, const double* range) {
  if (path.empty())
    return HStatus(HStatus::kInvalidParameter, "-export needs the path of the file to write");
  const std::string extension = extensionOf(path);
  const auto found = exporters().find(extension);
  if (found == exporters().end()) {
    return HStatus(HStatus::kInvalidParameter,
                   "Cannot export to " + path + ": " +
                       (extension.empty() ? std::string("the name has no extension")
                                          : "no exporter writes '" + extension + "' files") +
                       " (known: " + knownExtensions() + ")");
  }
  HStatus status = checkWritable(path);
  if (!status)
    return status;
  ExportRange frames;
  if (range) {
    status = checkRange(range, frames);
    if (!status)
      return status;
  }

  std::string bytes;
  if (!range) {
    status = found->second(nullptr, bytes);
  } else {
    // The frame the scene is at, put back afterwards: an export looks at the
    // animation, it does not move the user along it.
    const FrameHook saved = hook();
    const bool knowsFrame = bool(saved.currentFrame);
    const double before = knowsFrame ? saved.currentFrame() : 0.0;
    status = found->second(&frames, bytes);
    if (knowsFrame) {
      const HStatus back = saved.setFrame(before);
      evaluateScene();
      if (status && !back) {
        status =
            HStatus(back.statusCode(), "Cannot return to frame " + builtin::formatDouble(before) +
                                           ": " + back.errorString().asStdString());
      }
    }
  }
  if (!status)
    return status;
  return replaceFile(path, bytes);
}

HStatus replaceFile(const std::string& file, const std::string& data) {
  // Written beside the target and renamed over it, so that a failed write
  // never leaves a truncated file where the last good one was.
  const std::string temporary = file + ".saving";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (out) {
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
  return HStatus(HStatus::kSuccess);
}

}  // namespace hostdetail

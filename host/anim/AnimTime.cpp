// The session's time and moving to a frame.

#include "AnimTime.h"

#include <cmath>

#include "AnimCurve.h"
#include "HIkSystem.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandEngine.h"
#include "files/Export.h"

namespace hostdetail {

namespace {

HStatus refuse(const std::string& text) {
  return HStatus(HStatus::kInvalidParameter, HString(text));
}

bool validFrame(double frame) {
  return std::isfinite(frame) && std::fabs(frame) <= TimeState::kMaxFrame;
}

std::string frameLimit() {
  return "a frame must be a finite number within " + builtin::formatDouble(TimeState::kMaxFrame) +
         " of 0";
}

}  // namespace

HStatus TimeState::setCurrent(double frame) {
  if (!validFrame(frame))
    return refuse("Cannot go to frame " + builtin::formatDouble(frame) + ": " + frameLimit());
  fCurrent = frame;
  return HStatus(HStatus::kSuccess);
}

HStatus TimeState::setFps(double fps) {
  if (!std::isfinite(fps) || fps <= 0.0 || fps > 1000.0)
    return refuse("Frames per second must be above 0 and at most 1000");
  fFps = fps;
  return HStatus(HStatus::kSuccess);
}

HStatus TimeState::setPlaybackRange(double start, double end) {
  if (!validFrame(start) || !validFrame(end))
    return refuse("Cannot set the playback range: " + frameLimit());
  if (end < start)
    return refuse("The playback range " + builtin::formatDouble(start) + ":" +
                  builtin::formatDouble(end) +
                  " runs backwards: the start must not be after "
                  "the end");
  fStart = start;
  fEnd = end;
  return HStatus(HStatus::kSuccess);
}

TimeState& timeState() {
  static auto* instance = new TimeState();
  return *instance;
}

HStatus setTimeAndEvaluate(double frame) {
  HStatus status = timeState().setCurrent(frame);
  if (!status)
    return status;
  markAllCurvesDirty();
  if (isEvaluationSuspended())
    return status;
  evaluateCurves();
  return HIkSystem::evaluate();
}

namespace {

// An export over a frame range (file -export -frameRange) samples the
// session's own time, and puts it back where the user left it.
const bool kFrameHookInstalled = [] {
  FrameHook hook;
  hook.setFrame = setTimeAndEvaluate;
  hook.currentFrame = [] { return timeState().current(); };
  hook.framesPerSecond = [] { return timeState().fps(); };
  setFrameHook(hook);
  return true;
}();

}  // namespace

}  // namespace hostdetail

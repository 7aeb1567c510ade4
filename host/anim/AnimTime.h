#pragma once
// The session's time: the current frame, frames per second and the playback
// range, and the one function that moves to a frame and evaluates the scene
// there (animation curves first, then the IK handles they move).
//
// Time belongs to the session, like the undo length: a scene file does not
// save it, and a new or opened scene keeps the frame the session is on, so
// that opening a file evaluates its curves at that frame.

#include "HStatus.h"

namespace hostdetail {

class TimeState {
 public:
  static constexpr double kDefaultFps = 24.0;
  static constexpr double kDefaultStart = 1.0;
  static constexpr double kDefaultEnd = 120.0;
  // Frames further from 0 than this are refused: beyond it a double no
  // longer tells consecutive sub-frames apart well.
  static constexpr double kMaxFrame = 1e9;

  double current() const { return fCurrent; }
  double fps() const { return fFps; }
  double playbackStart() const { return fStart; }
  double playbackEnd() const { return fEnd; }

  // The setters refuse non-finite or out-of-range values, a frame rate that
  // is not above zero and a backwards range, each with a message, and then
  // change nothing. setCurrent only moves the clock: evaluation is
  // setTimeAndEvaluate's.
  HStatus setCurrent(double frame);
  HStatus setFps(double fps);
  HStatus setPlaybackRange(double start, double end);

 private:
  double fCurrent = kDefaultStart;
  double fFps = kDefaultFps;
  double fStart = kDefaultStart;
  double fEnd = kDefaultEnd;
};

// The session's one time state.
TimeState& timeState();

// Makes frame the current time and evaluates there: every animation curve
// writes its value to the attribute it drives, then the IK handles that
// this (or anything earlier) dirtied are solved, as after a move. While a
// scene file is being read only the clock moves; the curves are evaluated
// with the rest once the file has run. This is the frame-setting function
// that tools sampling a frame range (playback, baking, export) call.
HStatus setTimeAndEvaluate(double frame);

}  // namespace hostdetail

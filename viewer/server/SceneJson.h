#pragma once
// The scene as the viewer page reads it: every DAG node with its name, type,
// parent and world matrix, and for IK handles what the page draws and edits.

#include <nlohmann/json.hpp>

namespace viewer {

// An array with one object per DAG node, parents before children:
//   {"name", "type", "parent" (null at the top), "matrix" (16 numbers, the
//    world matrix row by row, row vectors: translation in elements 12..14)}
// IK handles add "ik": {"startJoint", "effector", "chain" (the joints from the
// start joint to the effector's parent), "solver" (null when none),
// "poleVector" [x, y, z], "twist" (degrees, as in commands), "ramp"
// [{"index", "position", "value"}] (the angle-bias ramp; empty before the
// handle's first solve)}.
// Reads the scene through the public API only and evaluates nothing; the
// caller holds the host and has evaluated it.
nlohmann::json sceneNodesJson();
// The session's time: {"current", "fps", "start", "end"} (frames; start and
// end are the playback range).
nlohmann::json sceneTimeJson();

}  // namespace viewer

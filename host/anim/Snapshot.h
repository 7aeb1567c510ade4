#pragma once
// Pictures of the scene for the `snapshot` command: an SVG drawing of the
// joints, bones, effectors, IK handles, pole vectors and angle-bias ramps,
// projected orthographically and fitted to the picture, plus the session's
// ghost poses (earlier joint positions kept in memory on request).
//
// Views (u to the right of the picture, v up; all three are true views from
// outside, so none is mirrored):
//   front  seen from +Z looking along -Z:  u = X,  v = Y
//   side   seen from +X looking along -X:  u = -Z, v = Y  (+Z points left)
//   top    seen from +Y looking along -Y:  u = X,  v = -Z (+Z points down)
//
// The drawing is a pure function of the scene, the options and the ghost
// list: the same inputs give the same bytes. Coordinates are printed with at
// most two decimals; nothing non-finite is ever written.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "HObject.h"
#include "HVector.h"

namespace hostdetail {
namespace snapshot {

enum class View { kFront, kSide, kTop };

// "front", "side" or "top"; false for anything else (view unchanged).
bool parseView(const std::string& text, View& view);
const char* viewName(View view);

// The view coordinates (u right, v up) of a world point.
struct ViewPoint {
  double u = 0.0;
  double v = 0.0;
};
ViewPoint project(const HVector& world, View view);

// Picture widths outside this range are refused by the command.
constexpr double kMinWidth = 160.0;
constexpr double kMaxWidth = 8192.0;

struct Options {
  View view = View::kFront;
  bool ghost = false;    // draw the recorded poses faint behind the scene
  double width = 720.0;  // pixels; the height follows from the scene's shape
  std::string title;     // drawn at the top when not empty
};

// The SVG text of the current scene. Reads the scene only; does not
// evaluate IK (the caller does that first when it wants solved poses).
std::string renderSvg(const Options& options);
// The picture of an SVG drawing as PNG bytes, at the drawing's own size in
// pixels; false with a reason when it cannot be rendered.
bool svgToPng(const std::string& svg, std::string& png, std::string& error);

// Ghost poses. recordPose appends the world positions of every joint,
// effector and IK handle as they are now; the list keeps the newest
// kMaxPoses poses. Poses are drawn only for nodes that still exist, so the
// poses of a scene that has been replaced (new or opened file) disappear on
// their own.
// A label (an onion skin's frame number) is drawn at the pose's handles
// instead of its place in the list.
constexpr std::size_t kMaxPoses = 256;
void recordPose(const std::string& label = std::string());
void clearPoses();

struct GhostJoint {
  HObject node;
  HVector world;
  int parent = -1;
};

struct GhostPose {
  std::vector<GhostJoint> joints;
  std::vector<std::pair<HObject, HVector>> markers;  // effectors and handles
  std::string label;
};

// Sets the list aside and brings it back, so that an onion skin draws only
// its own frames and leaves the recorded poses as they were.
std::vector<GhostPose> takePoses();
void putPoses(std::vector<GhostPose> poses);

}  // namespace snapshot
}  // namespace hostdetail

// Draws the scene as SVG for the snapshot command, and keeps the session's
// ghost poses. See Snapshot.h for the views and the guarantees.

#include "Snapshot.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "HDagPath.h"
#include "HFloatArray.h"
#include "HFnDependencyNode.h"
#include "HFnIkHandle.h"
#include "HIntArray.h"
#include "HMatrix.h"
#include "HObject.h"
#include "HPlug.h"
#include "HRampAttribute.h"
#include "graph/SceneInternal.h"

namespace hostdetail {
namespace snapshot {

// ---------------------------------------------------------------------------
// Views

bool parseView(const std::string& text, View& view) {
  if (text == "front")
    view = View::kFront;
  else if (text == "side")
    view = View::kSide;
  else if (text == "top")
    view = View::kTop;
  else
    return false;
  return true;
}

const char* viewName(View view) {
  switch (view) {
    case View::kSide:
      return "side";
    case View::kTop:
      return "top";
    case View::kFront:
      break;
  }
  return "front";
}

ViewPoint project(const HVector& world, View view) {
  ViewPoint p;
  switch (view) {
    case View::kFront:
      p.u = world.x;
      p.v = world.y;
      break;
    case View::kSide:
      p.u = -world.z;
      p.v = world.y;
      break;
    case View::kTop:
      p.u = world.x;
      p.v = -world.z;
      break;
  }
  return p;
}

namespace {

// The world axis that points out of the picture, towards the viewer.
HVector towardsViewer(View view) {
  switch (view) {
    case View::kSide:
      return HVector(1.0, 0.0, 0.0);
    case View::kTop:
      return HVector(0.0, 1.0, 0.0);
    case View::kFront:
      break;
  }
  return HVector(0.0, 0.0, 1.0);
}

const char* viewCaption(View view) {
  switch (view) {
    case View::kSide:
      return "side view (from +X): -Z right, Y up";
    case View::kTop:
      return "top view (from +Y): X right, Z down";
    case View::kFront:
      break;
  }
  return "front view (from +Z): X right, Y up";
}

bool isFinite(const HVector& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

// The world position of a DAG node (the translation of its world matrix).
bool worldPosition(const HObject& node, HVector& out) {
  HDagPath path;
  if (HDagPath::getAPathTo(node, path).statusCode() != HStatus::kSuccess)
    return false;
  const HMatrix m = path.inclusiveMatrix();
  out = HVector(m.matrix[3][0], m.matrix[3][1], m.matrix[3][2]);
  return isFinite(out);
}

double plugDouble(const HFnDependencyNode& fn, const char* name, double fallback) {
  HStatus status;
  const HPlug plug = fn.findPlug(name, &status);
  if (status.statusCode() != HStatus::kSuccess)
    return fallback;
  double value = fallback;
  if (plug.getValue(value).statusCode() != HStatus::kSuccess || !std::isfinite(value))
    return fallback;
  return value;
}

// ---------------------------------------------------------------------------
// What is drawn, gathered from the scene first so that the layout can fit it.

struct JointMark {
  HObject node;
  std::string name;
  HVector world;
  double radius = 1.0;  // the joint's radius attribute
  int parent = -1;      // index of the parent joint in the list, -1 when none
};

struct PointMark {
  std::string name;
  HVector world;
};

struct RampCurve {
  std::vector<float> positions;  // entries, in the ramp's order
  std::vector<float> values;
  std::vector<float> samples;  // curve values at evenly spaced positions 0..1
};

struct HandleMark {
  std::string name;
  HVector world;
  bool hasStart = false;
  HVector startWorld;        // the chain's root
  double startRadius = 1.0;  // the root joint's radius attribute
  HVector poleWorld;         // unit pole direction in world space, zero when none
  double poleLength = 0;     // world length of the drawn arrow
  double twist = 0.0;        // radians
  bool hasRamp = false;
  RampCurve ramp;
};

std::vector<GhostPose>& ghostPoses() {
  static std::vector<GhostPose> poses;
  return poses;
}

struct SceneMarks {
  std::vector<JointMark> joints;
  std::vector<PointMark> effectors;
  std::vector<HandleMark> handles;
  std::vector<PointMark> transforms;  // plain transforms (groups)
};

constexpr int kRampSamples = 48;
// The pole arrow's length against the chain's length: long enough to read
// its direction, short enough not to dominate the drawing.
constexpr double kPoleFraction = 0.25;

// The summed bone lengths from the handle's start joint down to its end
// effector; the straight distance to the handle when the chain cannot be
// walked.
double chainLength(const HFnIkHandle& fn, const HVector& startWorld, const HVector& handleWorld) {
  HDagPath start, effector;
  if (fn.getStartJoint(start).statusCode() == HStatus::kSuccess &&
      fn.getEffector(effector).statusCode() == HStatus::kSuccess) {
    const HObject startNode = start.node();
    HObject node = effector.node();
    HVector below;
    if (worldPosition(node, below)) {
      double length = 0.0;
      // Bounded walk: a chain deeper than this is not a chain anyone draws.
      for (int depth = 0; depth < 100000 && !node.isNull(); ++depth) {
        if (node == startNode)
          return length;
        node = nodeParent(node);
        HVector here;
        if (node.isNull() || !worldPosition(node, here))
          break;
        length += (below - here).length();
        below = here;
      }
    }
  }
  return (handleWorld - startWorld).length();
}

void readRamp(const HObject& handle, RampCurve& out, bool& present) {
  present = false;
  HFnDependencyNode fn(handle);
  if (!fn.hasAttribute("wexelAngleBias"))
    return;
  HStatus status;
  const HObject attribute = fn.attribute("wexelAngleBias", &status);
  if (status.statusCode() != HStatus::kSuccess)
    return;
  HRampAttribute ramp(handle, attribute, &status);
  if (status.statusCode() != HStatus::kSuccess || !ramp.isValid())
    return;
  HIntArray indices, interps;
  HFloatArray positions, values;
  ramp.getEntries(indices, positions, values, interps, &status);
  if (status.statusCode() != HStatus::kSuccess)
    return;
  present = true;
  for (unsigned i = 0; i < positions.length() && i < values.length(); ++i) {
    out.positions.push_back(positions[i]);
    out.values.push_back(values[i]);
  }
  for (int i = 0; i <= kRampSamples; ++i) {
    float value = 0.0f;
    ramp.getValueAtPosition(float(i) / float(kRampSamples), value);
    out.samples.push_back(value);
  }
}

HandleMark gatherHandle(const HObject& node, const std::string& name, const HVector& world) {
  HandleMark mark;
  mark.name = name;
  mark.world = world;
  HFnIkHandle fn(node);
  HDagPath start;
  if (fn.getStartJoint(start).statusCode() == HStatus::kSuccess) {
    mark.hasStart = worldPosition(start.node(), mark.startWorld);
    mark.startRadius = plugDouble(HFnDependencyNode(start.node()), "radius", 1.0);
  }

  HVector pole(plugDouble(fn, "pvx", 0.0), plugDouble(fn, "pvy", 0.0), plugDouble(fn, "pvz", 0.0));
  HStatus status;
  const HPlug oldStyle = fn.findPlug("splineIkOldStyle", &status);
  bool worldPole = false;
  if (status.statusCode() == HStatus::kSuccess)
    oldStyle.getValue(worldPole);
  // The solver reads the pole vector in the handle's parent space unless the
  // old-style mapping takes it as a world direction; draw what it uses.
  if (!worldPole) {
    HDagPath handlePath;
    HDagPath::getAPathTo(node, handlePath);
    pole = pole * handlePath.exclusiveMatrix();
  }
  const double poleLength = pole.length();
  if (mark.hasStart && std::isfinite(poleLength) && poleLength > 1e-12) {
    mark.poleWorld = pole / poleLength;
    const double length = chainLength(fn, mark.startWorld, world);
    mark.poleLength = std::isfinite(length) ? kPoleFraction * length : 0.0;
  }
  mark.twist = plugDouble(fn, "twist", 0.0);
  readRamp(node, mark.ramp, mark.hasRamp);
  return mark;
}

SceneMarks gatherScene() {
  SceneMarks marks;
  std::unordered_map<std::uint32_t, int> jointIndex;  // node slot -> index in marks.joints
  for (const HObject& node : dagNodesParentFirst()) {
    HVector world;
    if (!worldPosition(node, world))
      continue;  // a non-finite matrix has no place in the picture
    const std::string name = nodeName(node);
    if (node.hasFn(HFn::kJoint)) {
      JointMark mark;
      mark.node = node;
      mark.name = name;
      mark.world = world;
      mark.radius = plugDouble(HFnDependencyNode(node), "radius", 1.0);
      const HObject parent = nodeParent(node);
      if (!parent.isNull()) {
        auto found = jointIndex.find(parent.nodeSlot());
        if (found != jointIndex.end())
          mark.parent = found->second;
      }
      jointIndex[node.nodeSlot()] = int(marks.joints.size());
      marks.joints.push_back(mark);
    } else if (node.hasFn(HFn::kIkEffector)) {
      marks.effectors.push_back({name, world});
    } else if (node.hasFn(HFn::kIkHandle)) {
      marks.handles.push_back(gatherHandle(node, name, world));
    } else if (node.hasFn(HFn::kTransform)) {
      marks.transforms.push_back({name, world});
    }
  }
  return marks;
}

// ---------------------------------------------------------------------------
// Text output

// Pixel coordinates with at most two decimals, trailing zeros dropped;
// non-finite values (which a fitted picture never produces) print as 0.
std::string num(double value) {
  if (!std::isfinite(value))
    return "0";
  const double rounded = std::round(value * 100.0) / 100.0;
  if (rounded == 0.0)
    return "0";
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.2f", rounded);
  std::string text(buffer);
  while (!text.empty() && text.back() == '0')
    text.pop_back();
  if (!text.empty() && text.back() == '.')
    text.pop_back();
  return text;
}

std::string escapeXml(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        // Control characters are not allowed in XML 1.0 text.
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n')
          out += ' ';
        else
          out += c;
    }
  }
  return out;
}

// Degrees with at most one decimal, for the twist label.
std::string degreesText(double radians) {
  const double degrees = radians * 180.0 / 3.141592653589793;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.1f", std::round(degrees * 10.0) / 10.0);
  std::string text(buffer);
  if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0)
    text.resize(text.size() - 2);
  if (text == "-0")
    text = "0";
  return text;
}

// ---------------------------------------------------------------------------
// Layout: a uniform scale from view units to pixels, v flipped (SVG y grows
// downwards), plus the picture's size.

struct Layout {
  View view = View::kFront;
  double scale = 1.0;  // pixels per world unit
  double uMin = 0.0, vMax = 0.0;
  double originX = 0.0, originY = 0.0;  // pixel position of (uMin, vMax)
  double width = 0.0, height = 0.0;
  double areaLeft = 0.0, areaTop = 0.0, areaWidth = 0.0, areaHeight = 0.0;
  double rampLeft = 0.0, rampWidth = 0.0;

  double x(const HVector& world) const { return originX + (project(world, view).u - uMin) * scale; }
  double y(const HVector& world) const { return originY + (vMax - project(world, view).v) * scale; }
};

constexpr double kMargin = 48.0;  // room for labels around the drawing
constexpr double kTitleHeight = 32.0;
constexpr double kCaptionHeight = 24.0;
constexpr double kRampBlock = 118.0;  // title, box and gap of one ramp
constexpr double kRampBoxHeight = 80.0;

Layout fit(const SceneMarks& marks, const std::vector<const GhostPose*>& ghosts,
           const Options& options) {
  Layout layout;
  layout.view = options.view;
  double uMin = HUGE_VAL, uMax = -HUGE_VAL, vMin = HUGE_VAL, vMax = -HUGE_VAL;
  auto include = [&](const HVector& world) {
    const ViewPoint p = project(world, options.view);
    uMin = std::min(uMin, p.u);
    uMax = std::max(uMax, p.u);
    vMin = std::min(vMin, p.v);
    vMax = std::max(vMax, p.v);
  };
  for (const JointMark& joint : marks.joints)
    include(joint.world);
  for (const PointMark& effector : marks.effectors)
    include(effector.world);
  for (const PointMark& transform : marks.transforms)
    include(transform.world);
  unsigned ramps = 0;
  for (const HandleMark& handle : marks.handles) {
    include(handle.world);
    if (handle.poleLength > 0.0)
      include(handle.startWorld + handle.poleWorld * handle.poleLength);
    ramps += handle.hasRamp ? 1 : 0;
  }
  for (const GhostPose* pose : ghosts) {
    for (const GhostJoint& joint : pose->joints)
      if (!joint.node.isNull())
        include(joint.world);
    for (const auto& marker : pose->markers)
      if (!marker.first.isNull())
        include(marker.second);
  }
  if (uMin > uMax) {  // nothing to draw: a unit square about the origin
    uMin = vMin = -0.5;
    uMax = vMax = 0.5;
  }
  double du = uMax - uMin, dv = vMax - vMin;
  if (!(std::max(du, dv) > 1e-9)) {  // a single point: a unit square about it
    const double uMid = 0.5 * (uMin + uMax), vMid = 0.5 * (vMin + vMax);
    uMin = uMid - 0.5;
    vMax = vMid + 0.5;
    du = dv = 1.0;
  }

  layout.width = options.width;
  layout.rampWidth = ramps ? std::min(180.0, 0.35 * options.width) : 0.0;
  const double top = (options.title.empty() ? 0.0 : kTitleHeight) + kMargin;
  layout.areaLeft = kMargin;
  layout.areaTop = top;
  layout.areaWidth = std::max(options.width - 2.0 * kMargin - layout.rampWidth, 32.0);
  // Tall scenes may make the picture up to 1.25 times as tall as it is wide.
  const double maxAreaHeight =
      std::max(1.25 * options.width - top - kMargin - kCaptionHeight, 64.0);
  double scale = HUGE_VAL;
  if (du > 0.0)
    scale = std::min(scale, layout.areaWidth / du);
  if (dv > 0.0)
    scale = std::min(scale, maxAreaHeight / dv);
  if (!std::isfinite(scale) || !(scale > 0.0))
    scale = 1.0;
  layout.scale = scale;
  layout.areaHeight = std::max({dv * scale, 64.0, ramps * kRampBlock - kMargin});
  if (!std::isfinite(layout.areaHeight))
    layout.areaHeight = maxAreaHeight;
  layout.uMin = uMin;
  layout.vMax = vMax;
  layout.originX = layout.areaLeft + 0.5 * (layout.areaWidth - du * scale);
  layout.originY = layout.areaTop + 0.5 * (layout.areaHeight - dv * scale);
  layout.rampLeft = options.width - layout.rampWidth;
  layout.height = std::ceil(top + layout.areaHeight + kMargin + kCaptionHeight);
  return layout;
}

// Joint circles: a tenth of the radius attribute in world units, kept
// between 3 and 14 pixels so that joints stay visible at every scene size.
double jointPixels(double radius, double scale) {
  const double pixels = 0.1 * std::fabs(radius) * scale;
  if (!std::isfinite(pixels))
    return 14.0;
  return std::clamp(pixels, 3.0, 14.0);
}

// Rough width of label text at 11 pixels, to keep labels inside the picture.
double labelWidth(const std::string& text) {
  unsigned chars = 0;
  for (char c : text)
    chars += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  return 6.6 * chars;
}

class SvgWriter {
 public:
  // rightLimit: labels end before it (the ramp column or the picture's edge).
  explicit SvgWriter(double rightLimit) : fRightLimit(rightLimit) {}

  // A label beside a point: on its right (side > 0, starting gap pixels
  // right of x) or its left (ending gap pixels left of x), moved to the
  // other side when it would leave the picture.
  void label(double x, double y, const std::string& content, int side, double gap) {
    const double width = labelWidth(content);
    if (side > 0 && x + gap + width > fRightLimit)
      side = -1;
    else if (side < 0 && x - gap - width < 2.0)
      side = +1;
    if (side > 0)
      text("label", x + gap, y, content);
    else
      text("label", x - gap, y, content, "end");
  }

  void line(const char* cls, double x1, double y1, double x2, double y2,
            const std::string& name = std::string()) {
    fOut += "<line class=\"" + std::string(cls) + "\"" + nameAttr(name) + " x1=\"" + num(x1) +
            "\" y1=\"" + num(y1) + "\" x2=\"" + num(x2) + "\" y2=\"" + num(y2) + "\"/>\n";
  }
  void circle(const char* cls, double cx, double cy, double r,
              const std::string& name = std::string()) {
    fOut += "<circle class=\"" + std::string(cls) + "\"" + nameAttr(name) + " cx=\"" + num(cx) +
            "\" cy=\"" + num(cy) + "\" r=\"" + num(r) + "\"/>\n";
  }
  void rect(const char* cls, double x, double y, double w, double h,
            const std::string& name = std::string()) {
    fOut += "<rect class=\"" + std::string(cls) + "\"" + nameAttr(name) + " x=\"" + num(x) +
            "\" y=\"" + num(y) + "\" width=\"" + num(w) + "\" height=\"" + num(h) + "\"/>\n";
  }
  void polygon(const char* cls, const std::vector<double>& xy,
               const std::string& name = std::string()) {
    fOut += "<polygon class=\"" + std::string(cls) + "\"" + nameAttr(name) + " points=\"" +
            points(xy) + "\"/>\n";
  }
  void polyline(const char* cls, const std::vector<double>& xy,
                const std::string& name = std::string()) {
    fOut += "<polyline class=\"" + std::string(cls) + "\"" + nameAttr(name) + " points=\"" +
            points(xy) + "\"/>\n";
  }
  void text(const char* cls, double x, double y, const std::string& content,
            const char* anchor = nullptr) {
    fOut += "<text class=\"" + std::string(cls) + "\" x=\"" + num(x) + "\" y=\"" + num(y) + "\"";
    if (anchor)
      fOut += " text-anchor=\"" + std::string(anchor) + "\"";
    fOut += ">" + escapeXml(content) + "</text>\n";
  }
  void raw(const std::string& text) { fOut += text; }
  const std::string& str() const { return fOut; }

 private:
  static std::string nameAttr(const std::string& name) {
    return name.empty() ? std::string() : " data-name=\"" + escapeXml(name) + "\"";
  }
  static std::string points(const std::vector<double>& xy) {
    std::string out;
    for (size_t i = 0; i + 1 < xy.size(); i += 2) {
      if (i)
        out += ' ';
      out += num(xy[i]) + "," + num(xy[i + 1]);
    }
    return out;
  }

  double fRightLimit;
  std::string fOut;
};

const char* kStyle =
    "<style>\n"
    ".background{fill:#fff}\n"
    "text{font-family:'DejaVu Sans',Arial,sans-serif;font-size:11px;fill:#333}\n"
    ".title{font-size:16px;font-weight:bold;fill:#222}\n"
    ".caption{font-size:11px;fill:#777}\n"
    ".axis{stroke:#ccc;stroke-width:1;stroke-dasharray:4 4}\n"
    ".bone{stroke:#34495e;stroke-width:3;stroke-linecap:round}\n"
    ".joint{fill:#fff;stroke:#2c3e50;stroke-width:2}\n"
    ".effector{fill:#e67e22;stroke:#a04000;stroke-width:1}\n"
    ".transform{fill:none;stroke:#95a5a6;stroke-width:1.5}\n"
    ".handle{fill:none;stroke:#c0392b;stroke-width:2}\n"
    ".handle-cross{stroke:#c0392b;stroke-width:2}\n"
    ".pole{stroke:#27ae60;stroke-width:2;stroke-dasharray:6 3}\n"
    ".pole-head{fill:#27ae60}\n"
    ".pole-end{fill:none;stroke:#27ae60;stroke-width:2}\n"
    ".pole-dot{fill:#27ae60}\n"
    ".ghost-bone{stroke:#7f8c8d;stroke-width:2;stroke-linecap:round}\n"
    ".ghost-joint{fill:#ecf0f1;stroke:#7f8c8d;stroke-width:1}\n"
    ".ghost-marker{fill:#7f8c8d}\n"
    ".ghost-label{font-size:10px;font-weight:bold;fill:#7f8c8d}\n"
    ".pole-x{stroke:#27ae60;stroke-width:2}\n"
    ".ramp-box{fill:#fafafa;stroke:#999;stroke-width:1}\n"
    ".ramp-grid{stroke:#e3e3e3;stroke-width:1}\n"
    ".ramp-curve{fill:none;stroke:#2980b9;stroke-width:2}\n"
    ".ramp-entry{fill:#2980b9;stroke:#fff;stroke-width:1}\n"
    ".ramp-label{font-size:10px;fill:#555}\n"
    ".ramp-axis{font-size:9px;fill:#999}\n"
    "</style>\n";

void drawAxes(SvgWriter& svg, const Layout& layout) {
  // The world's zero lines, where they cross the drawing, to read positions by.
  const double x0 = layout.originX - layout.uMin * layout.scale;
  const double y0 = layout.originY + layout.vMax * layout.scale;
  const double left = layout.areaLeft, right = layout.areaLeft + layout.areaWidth;
  const double top = layout.areaTop, bottom = layout.areaTop + layout.areaHeight;
  if (std::isfinite(x0) && x0 >= left && x0 <= right)
    svg.line("axis", x0, top - 0.5 * kMargin, x0, bottom + 0.5 * kMargin);
  if (std::isfinite(y0) && y0 >= top && y0 <= bottom)
    svg.line("axis", left - 0.5 * kMargin, y0, right + 0.5 * kMargin, y0);
}

// A pose's own label (an onion skin's frame), else its place in the list.
std::string poseLabel(const GhostPose& pose, size_t index) {
  return pose.label.empty() ? std::to_string(index + 1) : pose.label;
}

void drawGhosts(SvgWriter& svg, const Layout& layout, const std::vector<const GhostPose*>& ghosts) {
  struct Number {
    double x, y;
    std::string text;
  };
  std::vector<Number> numbers;  // where the handles were, with the poses' numbers
  const size_t count = ghosts.size();
  for (size_t i = 0; i < count; ++i) {
    const GhostPose& pose = *ghosts[i];
    // Older poses fade more, so the sequence reads in time order.
    const double opacity = 0.25 + 0.35 * double(i + 1) / double(count);
    svg.raw("<g class=\"ghost\" data-pose=\"" + std::to_string(i) + "\" opacity=\"" + num(opacity) +
            "\">\n");
    for (const GhostJoint& joint : pose.joints) {
      if (joint.parent < 0 || joint.node.isNull() || pose.joints[joint.parent].node.isNull())
        continue;
      const HVector& from = pose.joints[joint.parent].world;
      svg.line("ghost-bone", layout.x(from), layout.y(from), layout.x(joint.world),
               layout.y(joint.world));
    }
    for (const GhostJoint& joint : pose.joints) {
      if (!joint.node.isNull())
        svg.circle("ghost-joint", layout.x(joint.world), layout.y(joint.world), 3.0,
                   nodeName(joint.node));
    }
    for (const auto& marker : pose.markers) {
      if (marker.first.isNull())
        continue;
      const double x = layout.x(marker.second), y = layout.y(marker.second);
      svg.circle("ghost-marker", x, y, 2.0, nodeName(marker.first));
      if (!marker.first.hasFn(HFn::kIkHandle))
        continue;
      // Poses whose handle stayed put share one label: "1,2,3".
      bool merged = false;
      for (Number& n : numbers) {
        if (std::hypot(n.x - x, n.y - y) < 6.0) {
          n.text += "," + poseLabel(pose, i);
          merged = true;
          break;
        }
      }
      if (!merged)
        numbers.push_back({x, y, poseLabel(pose, i)});
    }
    svg.raw("</g>\n");
  }
  // The numbers go outside the faded groups so that the order of the moves
  // reads off the picture, below and left of the spot where node labels
  // (above and right) are not.
  for (const Number& n : numbers)
    svg.text("ghost-label", n.x - 5.0, n.y + 14.0, n.text, "end");
}

// The pole vector as an arrow out of the chain's root, drawn over the root
// joint's circle and starting at its rim so that both stay readable.
void drawPole(SvgWriter& svg, const Layout& layout, const HandleMark& handle, double rootPixels) {
  if (handle.poleLength <= 0.0)
    return;
  const double x1 = layout.x(handle.startWorld), y1 = layout.y(handle.startWorld);
  const HVector tip = handle.startWorld + handle.poleWorld * handle.poleLength;
  double dx = layout.x(tip) - x1, dy = layout.y(tip) - y1;
  const double pixels = std::hypot(dx, dy);
  if (!std::isfinite(pixels))
    return;
  const double along = handle.poleWorld * towardsViewer(layout.view);
  if (pixels < 6.0) {
    // Pointing (nearly) along the line of sight: a ring round the root with
    // a dot for towards the viewer, a cross for away, as drawings show a
    // vector out of or into the page.
    const double ring = rootPixels + 5.0;
    svg.circle("pole-end", x1, y1, ring, handle.name);
    if (along >= 0.0) {
      svg.circle("pole-dot", x1, y1, 2.5);
    } else {
      svg.line("pole-x", x1 - 4.0, y1 - 4.0, x1 + 4.0, y1 + 4.0);
      svg.line("pole-x", x1 - 4.0, y1 + 4.0, x1 + 4.0, y1 - 4.0);
    }
    svg.label(x1 - ring - 3.0, y1 + ring + 8.0, "pole", -1, 0.0);
    return;
  }
  // A chain too small on the picture still gets an arrow one can see.
  const double shortest = rootPixels + 24.0;
  if (pixels < shortest) {
    dx *= shortest / pixels;
    dy *= shortest / pixels;
  }
  const double length = std::hypot(dx, dy);
  const double ux = dx / length, uy = dy / length;
  const double x2 = x1 + dx, y2 = y1 + dy;
  svg.line("pole", x1 + ux * (rootPixels + 2.0), y1 + uy * (rootPixels + 2.0), x2, y2, handle.name);
  const double head = 9.0, half = 4.5;
  svg.polygon("pole-head", {x2, y2, x2 - head * ux - half * uy, y2 - head * uy + half * ux,
                            x2 - head * ux + half * uy, y2 - head * uy - half * ux});
  // The label continues the arrow: beyond its head, on the side it points to.
  if (ux < -0.5)
    svg.label(x2, y2 + 4.0, "pole", -1, 6.0);
  else if (ux > 0.5)
    svg.label(x2, y2 + 4.0, "pole", +1, 6.0);
  else
    svg.text("label", x2, uy > 0.0 ? y2 + 16.0 : y2 - 8.0, "pole", "middle");
}

void drawHandle(SvgWriter& svg, const HandleMark& handle, double x, double y) {
  const double h = 7.0;
  svg.rect("handle", x - h, y - h, 2.0 * h, 2.0 * h, handle.name);
  svg.line("handle-cross", x - h, y - h, x + h, y + h);
  svg.line("handle-cross", x - h, y + h, x + h, y - h);
}

void drawRamp(SvgWriter& svg, const Layout& layout, const HandleMark& handle, unsigned slot) {
  const double left = layout.rampLeft + 14.0;
  const double width = std::max(layout.rampWidth - 30.0, 40.0);
  const double labelY = layout.areaTop + slot * kRampBlock;
  const double top = labelY + 8.0;
  const double bottom = top + kRampBoxHeight;
  svg.raw("<g class=\"ramp\" data-name=\"" + escapeXml(handle.name) + "\">\n");
  svg.text("ramp-label", left, labelY, handle.name + " angle bias");
  svg.rect("ramp-box", left, top, width, kRampBoxHeight);
  for (int i = 1; i < 4; ++i) {
    const double gx = left + width * i / 4.0, gy = top + kRampBoxHeight * i / 4.0;
    svg.line("ramp-grid", gx, top, gx, bottom);
    svg.line("ramp-grid", left, gy, left + width, gy);
  }
  // Values are drawn clamped to 0..1, the range the solver reads them in.
  auto yOf = [&](double value) {
    const double v = std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
    return bottom - v * kRampBoxHeight;
  };
  std::vector<double> curve;
  const size_t samples = handle.ramp.samples.size();
  for (size_t i = 0; i < samples; ++i) {
    curve.push_back(left + width * double(i) / double(samples > 1 ? samples - 1 : 1));
    curve.push_back(yOf(handle.ramp.samples[i]));
  }
  if (!handle.ramp.positions.empty())
    svg.polyline("ramp-curve", curve);
  for (size_t i = 0; i < handle.ramp.positions.size(); ++i) {
    const double p = std::isfinite(handle.ramp.positions[i])
                         ? std::clamp(double(handle.ramp.positions[i]), 0.0, 1.0)
                         : 0.0;
    svg.circle("ramp-entry", left + p * width, yOf(handle.ramp.values[i]), 3.5, std::to_string(i));
  }
  if (handle.ramp.positions.empty())
    svg.text("ramp-axis", left + 0.5 * width, top + 0.5 * kRampBoxHeight + 3.0, "no entries",
             "middle");
  svg.text("ramp-axis", left - 3.0, top + 3.0, "1", "end");
  svg.text("ramp-axis", left - 3.0, bottom + 3.0, "0", "end");
  svg.raw("</g>\n");
}

}  // namespace

// ---------------------------------------------------------------------------

std::string renderSvg(const Options& options) {
  const SceneMarks marks = gatherScene();
  std::vector<const GhostPose*> ghosts;
  if (options.ghost)
    for (const GhostPose& pose : ghostPoses())
      ghosts.push_back(&pose);
  Options fitted = options;
  if (!std::isfinite(fitted.width))
    fitted.width = Options().width;
  fitted.width = std::clamp(std::round(fitted.width), kMinWidth, kMaxWidth);
  const Layout layout = fit(marks, ghosts, fitted);

  SvgWriter svg(layout.rampWidth > 0.0 ? layout.rampLeft : layout.width - 2.0);
  svg.raw("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  svg.raw("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + num(layout.width) +
          "\" height=\"" + num(layout.height) + "\" viewBox=\"0 0 " + num(layout.width) + " " +
          num(layout.height) + "\" data-view=\"" + viewName(fitted.view) + "\" data-scale=\"" +
          num(layout.scale) + "\">\n");
  svg.raw(kStyle);
  svg.rect("background", 0.0, 0.0, layout.width, layout.height);
  if (!fitted.title.empty())
    svg.text("title", kMargin, 0.5 * kTitleHeight + 10.0, fitted.title);

  drawAxes(svg, layout);
  drawGhosts(svg, layout, ghosts);

  for (const JointMark& joint : marks.joints) {
    if (joint.parent < 0)
      continue;
    const HVector& from = marks.joints[joint.parent].world;
    svg.line("bone", layout.x(from), layout.y(from), layout.x(joint.world), layout.y(joint.world),
             joint.name);
  }
  for (const PointMark& transform : marks.transforms) {
    const double x = layout.x(transform.world), y = layout.y(transform.world);
    svg.rect("transform", x - 4.0, y - 4.0, 8.0, 8.0, transform.name);
  }
  for (const JointMark& joint : marks.joints)
    svg.circle("joint", layout.x(joint.world), layout.y(joint.world),
               jointPixels(joint.radius, layout.scale), joint.name);
  for (const PointMark& effector : marks.effectors) {
    const double x = layout.x(effector.world), y = layout.y(effector.world), d = 5.0;
    svg.polygon("effector", {x, y - d, x + d, y, x, y + d, x - d, y}, effector.name);
  }
  for (const HandleMark& handle : marks.handles)
    drawPole(svg, layout, handle, jointPixels(handle.startRadius, layout.scale));
  for (const HandleMark& handle : marks.handles)
    drawHandle(svg, handle, layout.x(handle.world), layout.y(handle.world));

  // Labels go on different sides per kind, because an effector always sits
  // on its end joint and a reached handle on both.
  for (const JointMark& joint : marks.joints) {
    const double r = jointPixels(joint.radius, layout.scale);
    svg.label(layout.x(joint.world), layout.y(joint.world) - r, joint.name, +1, r + 3.0);
  }
  for (const PointMark& effector : marks.effectors)
    svg.label(layout.x(effector.world), layout.y(effector.world) + 15.0, effector.name, +1, 8.0);
  for (const PointMark& transform : marks.transforms)
    svg.label(layout.x(transform.world), layout.y(transform.world) + 15.0, transform.name, -1, 7.0);
  for (const HandleMark& handle : marks.handles) {
    std::string label = handle.name;
    if (std::fabs(handle.twist) > 1e-9)
      label += " (twist " + degreesText(handle.twist) + "\xC2\xB0)";
    svg.label(layout.x(handle.world), layout.y(handle.world) - 10.0, label, -1, 10.0);
  }

  unsigned slot = 0;
  for (const HandleMark& handle : marks.handles)
    if (handle.hasRamp)
      drawRamp(svg, layout, handle, slot++);

  if (marks.joints.empty() && marks.effectors.empty() && marks.handles.empty() &&
      marks.transforms.empty())
    svg.text("caption", layout.areaLeft + 0.5 * layout.areaWidth,
             layout.areaTop + 0.5 * layout.areaHeight, "(empty scene)", "middle");

  std::string caption = viewCaption(fitted.view);
  if (!ghosts.empty())
    caption += ", " + std::to_string(ghosts.size()) +
               (ghosts.size() == 1 ? " ghost pose" : " ghost poses");
  svg.text("caption", kMargin, layout.height - 0.5 * kCaptionHeight, caption);
  svg.raw("</svg>\n");
  return svg.str();
}

// ---------------------------------------------------------------------------
// Ghost poses

void recordPose(const std::string& label) {
  GhostPose pose;
  pose.label = label;
  std::unordered_map<std::uint32_t, int> jointIndex;
  for (const HObject& node : dagNodesParentFirst()) {
    HVector world;
    if (!worldPosition(node, world))
      continue;
    if (node.hasFn(HFn::kJoint)) {
      GhostJoint joint;
      joint.node = node;
      joint.world = world;
      const HObject parent = nodeParent(node);
      if (!parent.isNull()) {
        auto found = jointIndex.find(parent.nodeSlot());
        if (found != jointIndex.end())
          joint.parent = found->second;
      }
      jointIndex[node.nodeSlot()] = int(pose.joints.size());
      pose.joints.push_back(joint);
    } else if (node.hasFn(HFn::kIkEffector) || node.hasFn(HFn::kIkHandle)) {
      pose.markers.emplace_back(node, world);
    }
  }
  std::vector<GhostPose>& poses = ghostPoses();
  if (poses.size() >= kMaxPoses)
    poses.erase(poses.begin(), poses.begin() + (poses.size() - kMaxPoses + 1));
  poses.push_back(std::move(pose));
}

void clearPoses() {
  ghostPoses().clear();
}

std::vector<GhostPose> takePoses() {
  std::vector<GhostPose> poses;
  poses.swap(ghostPoses());
  return poses;
}

void putPoses(std::vector<GhostPose> poses) {
  ghostPoses() = std::move(poses);
}

}  // namespace snapshot
}  // namespace hostdetail

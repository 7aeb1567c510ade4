// The snapshot command, driven as scripts drive it: the pictures are read
// back and their marks compared with an orthographic projection of the
// scene's world positions computed here.

#include <cairo.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "HFileIO.h"
#include "HFloatArray.h"
#include "HFnCompoundAttribute.h"
#include "HFnDependencyNode.h"
#include "HFnEnumAttribute.h"
#include "HFnIkHandle.h"
#include "HFnNumericAttribute.h"
#include "HGlobal.h"
#include "HIntArray.h"
#include "HRampAttribute.h"
#include "HSelectionList.h"
#include "HStatus.h"
#include "HStringArray.h"
#include "SvgReader.h"

namespace {

using svgtest::Document;
using svgtest::Element;

struct UV {
  double u, v;
};

// The three views as a viewer standing on the +Z, +X and +Y axis sees them.
UV viewOf(const std::vector<double>& p, const std::string& view) {
  if (view == "side")
    return {-p[2], p[1]};
  if (view == "top")
    return {p[0], -p[2]};
  return {p[0], p[1]};
}

// x = a + s u, y = b - s v: one uniform scale, v flipped.
struct Mapping {
  double s = 0, a = 0, b = 0;
  double x(UV p) const { return a + s * p.u; }
  double y(UV p) const { return b - s * p.v; }
};

class SnapshotTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HStatus::setErrorStream(&fErrors);
    HFileIO::newFile(true);
    run("snapshot -clear");
    char dir[] = "/tmp/snapshotTestXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    fDir = dir;
  }
  void TearDown() override {
    HFileIO::newFile(true);
    HStatus::setErrorStream(nullptr);
    std::system(("rm -rf '" + fDir + "'").c_str());
  }

  std::string run(const std::string& text) {
    HStringArray result;
    HStatus status = HGlobal::executeCommand(HString(text), result, false, false);
    EXPECT_EQ(status.statusCode(), HStatus::kSuccess) << text << "\n" << fErrors.str();
    std::string out;
    for (unsigned i = 0; i < result.length(); ++i)
      out += (i ? " " : "") + result[i].asStdString();
    return out;
  }
  bool refused(const std::string& text) {
    return HGlobal::executeCommand(HString(text)).statusCode() != HStatus::kSuccess;
  }
  static HObject node(const char* name) {
    HSelectionList list;
    HGlobal::getSelectionListByName(name, list);
    HObject object;
    list.getDependNode(0, object);
    return object;
  }
  std::vector<double> world(const std::string& node) {
    std::istringstream in(run("xform -q -ws -t " + node));
    std::vector<double> p(3);
    in >> p[0] >> p[1] >> p[2];
    return p;
  }
  std::string picture(const std::string& flags) {
    const std::string path = fDir + "/p.svg";
    EXPECT_EQ(run("snapshot -o " + path + " " + flags), path);
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  Document drawn(const std::string& flags) {
    Document doc = svgtest::parse(picture(flags));
    EXPECT_TRUE(doc.wellFormed) << doc.error;
    return doc;
  }
  // A bent four-joint chain with a handle from joint1 to joint4 (no solver).
  void buildChain() {
    run("joint -p 0 0 0; joint -p 2 3 1; joint -p 5 4 -1; joint -p 7 1 2; select -cl");
    run("ikHandle -sj joint1 -ee joint4");
  }
  // The mapping from the joints' circles, checked for every joint.
  Mapping jointMapping(const Document& doc, const std::string& view) {
    std::vector<std::pair<UV, const Element*>> pairs;
    for (const Element* circle : doc.find("circle", "joint"))
      pairs.push_back({viewOf(world(circle->attr("data-name")), view), circle});
    EXPECT_GE(pairs.size(), 2u);
    Mapping m;
    double farthest = 0;
    for (auto& p : pairs) {  // the scale from the pair farthest apart
      for (auto& q : pairs) {
        const double d = std::hypot(p.first.u - q.first.u, p.first.v - q.first.v);
        if (d > farthest) {
          farthest = d;
          m.s = std::hypot(p.second->number("cx") - q.second->number("cx"),
                           p.second->number("cy") - q.second->number("cy")) /
                d;
          m.a = p.second->number("cx") - m.s * p.first.u;
          m.b = p.second->number("cy") + m.s * p.first.v;
        }
      }
    }
    for (auto& p : pairs)
      expectAt(m, p.first, p.second->number("cx"), p.second->number("cy"));
    return m;
  }
  // Pictures are written with two decimals.
  static void expectAt(const Mapping& m, UV p, double x, double y) {
    EXPECT_NEAR(x, m.x(p), 0.02);
    EXPECT_NEAR(y, m.y(p), 0.02);
  }

  std::ostringstream fErrors;
  std::string fDir;
};

TEST_F(SnapshotTest, MarksLandOnTheProjectedWorldPositionsInEveryView) {
  buildChain();
  run("createNode transform -n rig; parent joint1 rig; setAttr rig.rotate 10 -35 60");
  run("setAttr rig.scale 2 0.5 1.5; setAttr rig.translate 3 -1 4");
  for (const char* view : {"front", "side", "top"}) {
    SCOPED_TRACE(view);
    const Document doc = drawn(std::string("-w 500 -view ") + view);
    ASSERT_EQ(doc.find("circle", "joint").size(), 4u);
    EXPECT_EQ(doc.elements[0].attr("width"), "500");
    const Mapping m = jointMapping(doc, view);
    // Fitted wherever the rig is and however large: inside the picture, and
    // filling it along one side.
    double left = 1e9, right = -1e9, top = 1e9, bottom = -1e9;
    for (const Element* c : doc.find("circle", "joint")) {
      left = std::min(left, c->number("cx") - c->number("r"));
      right = std::max(right, c->number("cx") + c->number("r"));
      top = std::min(top, c->number("cy") - c->number("r"));
      bottom = std::max(bottom, c->number("cy") + c->number("r"));
    }
    const double width = doc.elements[0].number("width"), height = doc.elements[0].number("height");
    EXPECT_TRUE(left >= 0 && top >= 0 && right <= width && bottom <= height);
    EXPECT_GT(std::max((right - left) / width, (bottom - top) / height), 0.6);
    const auto bones = doc.find("line", "bone");  // from each joint's parent joint to it
    ASSERT_EQ(bones.size(), 3u);
    for (int i = 0; i < 3; ++i) {
      expectAt(m, viewOf(world("joint" + std::to_string(i + 1)), view), bones[i]->number("x1"),
               bones[i]->number("y1"));
      expectAt(m, viewOf(world("joint" + std::to_string(i + 2)), view), bones[i]->number("x2"),
               bones[i]->number("y2"));
    }
    const auto handle = doc.find("rect", "handle");
    ASSERT_EQ(handle.size(), 1u);
    expectAt(m, viewOf(world("ikHandle1"), view),
             handle[0]->number("x") + 0.5 * handle[0]->number("width"),
             handle[0]->number("y") + 0.5 * handle[0]->number("height"));
    EXPECT_EQ(doc.find("polygon", "effector").size(), 1u);
  }
}

TEST_F(SnapshotTest, GhostsShowTheNewestRecordedPosesFaintBehindTheScene) {
  buildChain();
  std::vector<std::vector<std::vector<double>>> recorded;
  for (const char* turn : {"0 0 0", "0 0 30", "0 20 60"}) {
    run(std::string("rotate ") + turn + " joint1");
    if (recorded.size() < 2) {
      run("snapshot -record");
      recorded.push_back({world("joint1"), world("joint2"), world("joint3"), world("joint4")});
    }
  }
  EXPECT_TRUE(drawn("").find("g", "ghost").empty());  // only with -ghost

  const Document doc = drawn("-ghost");
  const Mapping m = jointMapping(doc, "front");
  const auto poses = doc.find("g", "ghost");
  ASSERT_EQ(poses.size(), 2u);
  EXPECT_LT(poses[0]->number("opacity"), poses[1]->number("opacity"));  // older is fainter
  EXPECT_LT(poses[1]->number("opacity"), 1.0);
  std::vector<int> perPose(2, 0);
  for (const Element* c : doc.find("circle", "ghost-joint")) {
    const int pose = int(doc.elements[c->parent].number("data-pose"));
    const int joint = c->attr("data-name").back() - '1';
    expectAt(m, viewOf(recorded[pose][joint], "front"), c->number("cx"), c->number("cy"));
    ++perPose[pose];
  }
  EXPECT_EQ(perPose, std::vector<int>({4, 4}));
  EXPECT_EQ(doc.find("line", "ghost-bone").size(), 6u);

  // Drawing and recording in one command: the drawing comes first.
  EXPECT_EQ(svgtest::parse(picture("-ghost -record")).find("g", "ghost").size(), 2u);
  EXPECT_EQ(drawn("-ghost").find("g", "ghost").size(), 3u);
  // A replaced scene's poses draw nothing, though the names are the same.
  HFileIO::newFile(true);
  buildChain();
  EXPECT_TRUE(drawn("-ghost").find("circle", "ghost-joint").empty());
  run("snapshot -clear");
  EXPECT_TRUE(drawn("-ghost").find("g", "ghost").empty());
  for (int i = 0; i < 300; ++i)
    run("snapshot -record");
  EXPECT_EQ(drawn("-ghost").find("g", "ghost").size(), 256u);
}

TEST_F(SnapshotTest, PoleArrowPointsAlongThePoleVectorFromTheChainsRoot) {
  buildChain();
  // The arrow's unit direction on the picture; its shaft starts on the rim of
  // the handle's start joint, in line with the joint's centre.
  auto arrow = [&](const std::string& view) {
    const Document doc = drawn("-view " + view);
    HDagPath start;
    HFnIkHandle(node("ikHandle1")).getStartJoint(start);
    const Element* root = doc.find("circle", "joint")[0];
    const auto line = doc.find("line", "pole");
    if (root->attr("data-name") != HFnDependencyNode(start.node()).name().asStdString() ||
        line.size() != 1) {
      ADD_FAILURE() << "no root joint or no single pole arrow";
      return std::vector<double>{0, 0};
    }
    const double dx = line[0]->number("x2") - line[0]->number("x1");
    const double dy = line[0]->number("y2") - line[0]->number("y1");
    const double sx = line[0]->number("x1") - root->number("cx");
    const double sy = line[0]->number("y1") - root->number("cy");
    EXPECT_NEAR(std::hypot(sx, sy), root->number("r") + 2.0, 0.05);
    EXPECT_NEAR(sx * dy - sy * dx, 0.0, 0.05 * std::hypot(dx, dy));
    return std::vector<double>{dx / std::hypot(dx, dy), dy / std::hypot(dx, dy)};
  };
  auto pole = [&](const char* xyz) { run(std::string("setAttr ikHandle1.poleVector ") + xyz); };
  pole("3 4 0");
  std::vector<double> d = arrow("front");
  EXPECT_NEAR(d[0], 0.6, 1e-3);
  EXPECT_NEAR(d[1], -0.8, 1e-3);
  // Along the line of sight: a ring with a dot (towards the viewer) or a cross.
  pole("0 0 1");
  EXPECT_EQ(drawn("-view front").find("circle", "pole-dot").size(), 1u);
  pole("0 0 -1");
  Document doc = drawn("-view front");
  EXPECT_EQ(doc.find("circle", "pole-end").size(), 1u);
  EXPECT_EQ(doc.find("circle", "pole-dot").size(), 0u);
  EXPECT_EQ(doc.find("line", "pole-x").size(), 2u);

  // The pole vector lives in the handle's parent space, unless old-style
  // mapping takes it as a world direction.
  run("createNode transform -n holder; setAttr holder.rotateZ 90; parent ikHandle1 holder");
  pole("1 0 0");
  d = arrow("front");
  EXPECT_NEAR(d[0], 0.0, 1e-3);
  EXPECT_NEAR(d[1], -1.0, 1e-3);
  run("setAttr ikHandle1.splineIkOldStyle 1");
  EXPECT_NEAR(arrow("front")[0], 1.0, 1e-3);
  pole("0 0 0");
  doc = drawn("");
  EXPECT_TRUE(doc.find("line", "pole").empty() && doc.find("circle", "pole-end").empty());
}

TEST_F(SnapshotTest, AngleBiasRampIsDrawnFromTheHandlesEntries) {
  buildChain();
  run("joint -p 0 -5 0; joint -p 1 -6 0; joint -p 2 -5 0; select -cl");
  run("ikHandle -sj joint5 -ee joint7");
  const HObject handle = node("ikHandle1");
  HFnCompoundAttribute fnRamp;
  const HObject ramp = fnRamp.create("wexelAngleBias", "wab");
  fnRamp.setArray(true);
  HFnNumericAttribute fnNumber;
  fnRamp.addChild(fnNumber.create("wexelAngleBias_Position", "wbp", HFnNumericData::kFloat, 0.0));
  fnRamp.addChild(fnNumber.create("wexelAngleBias_FloatValue", "wbfv", HFnNumericData::kFloat, 1));
  HFnEnumAttribute fnInterp;
  const HObject interp = fnInterp.create("wexelAngleBias_Interp", "wbi", 1);
  fnInterp.addField("Linear", 1);
  fnRamp.addChild(interp);
  ASSERT_EQ(HFnDependencyNode(handle).addAttribute(ramp).statusCode(), HStatus::kSuccess);

  Document doc = drawn("");
  ASSERT_EQ(doc.find("g", "ramp").size(), 1u);  // only the handle with a ramp
  EXPECT_EQ(doc.find("g", "ramp")[0]->attr("data-name"), "ikHandle1");
  EXPECT_TRUE(doc.find("polyline", "ramp-curve").empty());  // no entries yet

  HFloatArray positions, values;
  HIntArray interps;
  for (const auto& entry : {std::pair<float, float>{0.0f, 0.2f}, {0.5f, 0.5f}, {1.0f, 1.4f}}) {
    positions.append(entry.first);
    values.append(entry.second);  // the last beyond 1: drawn at the top
    interps.append(HRampAttribute::kLinear);
  }
  HRampAttribute(handle, ramp).addEntries(positions, values, interps);

  doc = drawn("");
  const Element* box = doc.find("rect", "ramp-box")[0];
  const double left = box->number("x"), width = box->number("width");
  const double height = box->number("height"), bottom = box->number("y") + height;
  const auto dots = doc.find("circle", "ramp-entry");
  ASSERT_EQ(dots.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(dots[i]->number("cx"), left + positions[i] * width, 0.02);
    EXPECT_NEAR(dots[i]->number("cy"), bottom - std::min(values[i], 1.0f) * height, 0.02);
  }
  // The curve: linear from 0.2 to 0.5, then towards 1.4, seen through 0..1.
  std::istringstream points(doc.find("polyline", "ramp-curve")[0]->attr("points"));
  std::string point;
  int count = 0;
  for (; points >> point; ++count) {
    const double t = (std::stod(point) - left) / width;
    const double v = t < 0.5 ? 0.2 + 0.6 * t : std::min(0.5 + 1.8 * (t - 0.5), 1.0);
    EXPECT_NEAR(std::stod(point.substr(point.find(',') + 1)), bottom - v * height, 0.03) << t;
  }
  EXPECT_GT(count, 20);
}

TEST_F(SnapshotTest, DegenerateScenesGiveFiniteWellFormedPictures) {
  for (const std::string scene : {
           "",  // empty
           "joint -p 1 2 3",
           "joint -p 1 1 1; joint -p 1 1 1; joint -p 1 1 1; ikHandle -sj joint1 -ee joint3",
           "joint -p 0 1e150 0; joint -p -1e150 0 1e150; setAttr joint1.radius 0",
           "joint -p 0 0 0; joint -p 1e-9 0 0; joint -p 1e-9 1e-9 0; ikHandle -sj joint1 -ee "
           "joint3",
       }) {
    SCOPED_TRACE(scene);
    HFileIO::newFile(true);
    run(scene + "; snapshot -record");
    for (const char* view : {"front", "side", "top"}) {
      const std::string text = picture(std::string("-ghost -view ") + view);
      EXPECT_EQ(text.find("nan"), std::string::npos);
      EXPECT_EQ(text.find("inf"), std::string::npos);
      const Document doc = svgtest::parse(text);
      EXPECT_TRUE(doc.wellFormed) << doc.error;
    }
  }
}

TEST_F(SnapshotTest, SameSceneSameBytesAndTitlesAreEscaped) {
  buildChain();
  run("snapshot -record");
  const std::string flags = "-ghost -title \"leg <1> & \\\"knee\\\" 'bend' \xC2\xB0\"";
  const std::string first = picture(flags);
  EXPECT_EQ(picture(flags), first);
  const Document doc = svgtest::parse(first);
  ASSERT_TRUE(doc.wellFormed) << doc.error;
  ASSERT_EQ(doc.find("text", "title").size(), 1u);
  EXPECT_EQ(doc.find("text", "title")[0]->text, "leg <1> & \"knee\" 'bend' \xC2\xB0");
}

// Reads a PNG back through cairo, a decoder independent of the writer's path.
struct Png {
  explicit Png(const std::string& path)
      : surface(cairo_image_surface_create_from_png(path.c_str())) {}
  ~Png() { cairo_surface_destroy(surface); }
  bool ok() const { return cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS; }
  int width() const { return cairo_image_surface_get_width(surface); }
  int height() const { return cairo_image_surface_get_height(surface); }
  uint32_t pixel(double x, double y) const {
    const unsigned char* row =
        cairo_image_surface_get_data(surface) + int(y) * cairo_image_surface_get_stride(surface);
    return reinterpret_cast<const uint32_t*>(row)[int(x)];
  }
  cairo_surface_t* surface;
};

TEST_F(SnapshotTest, PngIsTheSameDrawingRenderedAtItsSize) {
  buildChain();
  const Document doc = drawn("-w 400 -view side");
  const std::string path = fDir + "/p.PNG";
  EXPECT_EQ(run("snapshot -w 400 -view side -o " + path), path);
  std::ifstream in(path, std::ios::binary);
  std::string magic(8, '\0');
  in.read(&magic[0], 8);
  EXPECT_EQ(magic, "\x89PNG\r\n\x1a\n");
  const Png png(path);
  ASSERT_TRUE(png.ok());
  EXPECT_EQ(png.width(), 400);
  EXPECT_EQ(png.height(), int(std::ceil(doc.elements[0].number("height"))));
  // Each joint's circle outline is drawn over the background of the corner.
  const uint32_t background = png.pixel(1, 1);
  ASSERT_EQ(doc.find("circle", "joint").size(), 4u);
  for (const Element* joint : doc.find("circle", "joint"))
    EXPECT_NE(png.pixel(joint->number("cx") + joint->number("r"), joint->number("cy")), background)
        << joint->attr("data-name");
}

TEST_F(SnapshotTest, RefusesRequestsItCannotCarryOut) {
  buildChain();
  const std::string path = fDir + "/no.svg";
  for (const std::string& flags : std::vector<std::string>{
           "", "-ghost", "-view top", "-o " + path + " -view diagonal", "-o " + path + " -w 10",
           "-o " + path + " -w wide", "-o " + path + " extra", "-o " + fDir + "/missing/d.svg",
           "-o " + fDir + "/p.jpg", "-o " + fDir + "/p", "-o " + fDir + "/p.svg.bak",
           "-o " + fDir + "/missing/d.png"}) {
    EXPECT_TRUE(refused("snapshot " + flags)) << flags;
    EXPECT_NE(fErrors.str().find("snapshot"), std::string::npos) << flags;
    fErrors.str("");
  }
  EXPECT_NE(access(path.c_str(), F_OK), 0);
  EXPECT_TRUE(refused("snapshot -o " + fDir + "/p.tif"));
  EXPECT_NE(fErrors.str().find(".svg or .png"), std::string::npos);
  // Nothing is left behind by the refusals, not even a partial file.
  EXPECT_EQ(std::system(("test -z \"$(ls -A '" + fDir + "')\"").c_str()), 0);
}

}  // namespace

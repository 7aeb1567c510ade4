// file -export to glTF: the file is read back with tinygltf and every joint's
// world matrix is rebuilt from the nodes and the animation with glTF's own
// (column-vector) rules, independent of the host's matrix code, and compared
// with the host's at every frame of the rig's keyed motion.
//
// With VELTRA_GLTF_KEEP_DIR set, every file written is copied there for the
// Khronos validator (tests/anim/validate-gltf.mjs, the ctest gltf_validator).

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "HDagPath.h"
#include "HFileIO.h"
#include "HGlobal.h"
#include "HSelectionList.h"
#include "HStringArray.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandEngine.h"
#include "files/Export.h"

namespace {

using hostdetail::FrameHook;

const char* const kJoints[] = {"hip", "knee", "ankle", "toe", "tail1", "tail2"};

// A rig under a scaled, rotated, moving group, with joint orients, rotate
// orientations and a rotate order, a second skeleton under the world, and
// a prop under a joint (not exported).
const char* const kRig =
    "joint -p 0 0 0 -n hip; joint -p 0.3 1 0.2 -n knee; joint -p 1.1 1.2 -0.4 -n ankle;"
    "joint -p 1.5 0.8 0 -n toe; select -cl; joint -p -1 0 0 -n tail1; joint -p -2 0.5 0 -n tail2;"
    "createNode transform -n rig; parent hip rig; createNode transform -n prop -p knee;"
    "setAttr rig.rotate 10 20 30; setAttr rig.scale 1.5 0.75 1.25;"
    "setAttr hip.jointOrient 15 -30 40; setAttr knee.rotateAxis 20 10 -5;"
    "setAttr knee.rotateOrder 3; setAttr ankle.jointOrient -60 0 25; setAttr toe.rotateAxis 0 45 0";

HObject node(const std::string& name) {
  HSelectionList list;
  HObject object;
  if (list.add(HString(name)))
    list.getDependNode(0, object);
  return object;
}

HMatrix hostWorld(const std::string& name) {
  HDagPath path;
  HDagPath::getAPathTo(node(name), path);
  return path.inclusiveMatrix();
}

// Keys at frames 1 and 12 that turn the joints in every axis, move the group
// and stretch a tail bone: plug, value at 1, value at 12.
const struct {
  const char* plug;
  double first, last;
} kKeys[] = {{"hip.rx", 0, 150},  {"hip.ry", 0, -75},   {"hip.rz", 0, 45},    {"knee.rx", 5, 5},
             {"knee.ry", 0, 105}, {"knee.rz", 0, -150}, {"ankle.rx", 0, -60}, {"ankle.rz", 0, 135},
             {"toe.rx", 0, 150},  {"toe.ry", 0, 150},   {"tail1.rz", 0, 90},  {"rig.tx", 0, 1.2},
             {"rig.tz", 0, -0.6}, {"tail2.sx", 1, 1.6}};

// glTF's node transform as p' = m p + t on column vectors.
struct Affine {
  double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  double t[3] = {0, 0, 0};
};

Affine fromTrs(const double* t, const double* q, const double* s) {
  const double n = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  const double x = q[0] / n, y = q[1] / n, z = q[2] / n, w = q[3] / n;
  const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
                          {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
                          {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}};
  Affine a;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j)
      a.m[i][j] = r[i][j] * s[j];
    a.t[i] = t[i];
  }
  return a;
}

Affine compose(const Affine& parent, const Affine& child) {
  Affine out;
  for (int i = 0; i < 3; ++i) {
    out.t[i] = parent.t[i];
    for (int j = 0; j < 3; ++j) {
      out.m[i][j] = 0.0;
      for (int k = 0; k < 3; ++k)
        out.m[i][j] += parent.m[i][k] * child.m[k][j];
      out.t[i] += parent.m[i][j] * child.t[j];
    }
  }
  return out;
}

std::vector<float> accessorFloats(const tinygltf::Model& model, int index) {
  const tinygltf::Accessor& accessor = model.accessors.at(std::size_t(index));
  EXPECT_EQ(accessor.componentType, TINYGLTF_COMPONENT_TYPE_FLOAT);
  const tinygltf::BufferView& view = model.bufferViews.at(std::size_t(accessor.bufferView));
  const unsigned char* data = model.buffers.at(std::size_t(view.buffer)).data.data() +
                              view.byteOffset + accessor.byteOffset;
  std::vector<float> values(
      accessor.count * std::size_t(tinygltf::GetNumComponentsInType(std::uint32_t(accessor.type))));
  std::copy(data, data + values.size() * sizeof(float),
            reinterpret_cast<unsigned char*>(values.data()));
  return values;
}

// The world transforms of every node of a read-back file at one key of its
// animation (key < 0: the nodes alone), by node name.
std::map<std::string, Affine> gltfWorlds(const tinygltf::Model& model, int key) {
  std::vector<std::vector<double>> trs[3];  // translation, rotation, scale per node
  for (const tinygltf::Node& n : model.nodes) {
    trs[0].push_back(n.translation.empty() ? std::vector<double>{0, 0, 0} : n.translation);
    trs[1].push_back(n.rotation.empty() ? std::vector<double>{0, 0, 0, 1} : n.rotation);
    trs[2].push_back(n.scale.empty() ? std::vector<double>{1, 1, 1} : n.scale);
  }
  if (key >= 0) {
    for (const tinygltf::AnimationChannel& channel : model.animations.at(0).channels) {
      const int which = channel.target_path == "translation" ? 0
                        : channel.target_path == "rotation"  ? 1
                                                             : 2;
      const std::vector<float> values = accessorFloats(
          model, model.animations[0].samplers.at(std::size_t(channel.sampler)).output);
      std::vector<double>& target = trs[which][std::size_t(channel.target_node)];
      for (std::size_t i = 0; i < target.size(); ++i)
        target[i] = values.at(std::size_t(key) * target.size() + i);
    }
  }
  std::map<std::string, Affine> worlds;
  std::vector<std::pair<int, Affine>> pending;
  for (int root : model.scenes.at(std::size_t(model.defaultScene)).nodes)
    pending.emplace_back(root, Affine());
  while (!pending.empty()) {
    const auto [index, parent] = pending.back();
    pending.pop_back();
    const std::size_t i = std::size_t(index);
    const Affine world =
        compose(parent, fromTrs(trs[0][i].data(), trs[1][i].data(), trs[2][i].data()));
    worlds[model.nodes[i].name] = world;
    for (int child : model.nodes[i].children)
      pending.emplace_back(child, world);
  }
  return worlds;
}

// Row-vector host matrix against the column-vector glTF transform.
void expectSameWorld(const HMatrix& host, const Affine& gltf, double tolerance,
                     const std::string& what) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(host.matrix[3][i], gltf.t[i], tolerance) << what << " position " << i;
    for (int j = 0; j < 3; ++j)
      EXPECT_NEAR(host.matrix[i][j], gltf.m[j][i], tolerance) << what << " axis " << i << j;
  }
}

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::set<std::string> folderEntries(const std::string& folder) {
  std::set<std::string> names;
  if (DIR* dir = opendir(folder.c_str())) {
    while (dirent* entry = readdir(dir))
      names.insert(entry->d_name);
    closedir(dir);
  }
  return names;
}

class GltfExport : public ::testing::Test {
 protected:
  void SetUp() override {
    HStatus::setErrorStream(&fErrors);
    HFileIO::newFile(true);
    fFolder = testing::TempDir() + "gltf_export_" +
              testing::UnitTest::GetInstance()->current_test_info()->name();
    mkdir(fFolder.c_str(), 0755);
    ASSERT_TRUE(run(kRig));
    for (const auto& key : kKeys) {
      ASSERT_TRUE(run("setKeyframe -t 1 -v " + hostdetail::builtin::formatDouble(key.first) + " " +
                      key.plug + "; setKeyframe -t 12 -v " +
                      hostdetail::builtin::formatDouble(key.last) + " " + key.plug))
          << fErrors.str();
    }
    ASSERT_TRUE(run("currentTime 7"));
    fSessionTime = hostdetail::frameHook();
  }
  void TearDown() override {
    hostdetail::setFrameHook(fSessionTime);
    HFileIO::newFile(true);
    HStatus::setErrorStream(nullptr);
  }

  static std::string currentTime() {
    HString frame;
    EXPECT_TRUE(HGlobal::executeCommand("currentTime -q", frame));
    return frame.asChar();
  }

  bool run(const std::string& text) {
    fErrors.str("");
    return bool(HGlobal::executeCommand(HString(text), false, true));
  }

  // Exports to the test's folder; the path, the file kept for the validator.
  std::string exportTo(const std::string& name, const std::string& flags = "") {
    const std::string path = fFolder + "/" + name;
    EXPECT_TRUE(run("file -export \"" + path + "\"" + flags)) << fErrors.str();
    if (const char* keep = std::getenv("VELTRA_GLTF_KEEP_DIR"))
      std::ofstream(std::string(keep) + "/" + name, std::ios::binary) << fileText(path);
    return path;
  }

  static tinygltf::Model load(const std::string& path) {
    tinygltf::TinyGLTF loader;
    tinygltf::Model model;
    std::string error, warning;
    const bool binary = path.size() > 4 && path.compare(path.size() - 4, 4, ".glb") == 0;
    const bool loaded = binary ? loader.LoadBinaryFromFile(&model, &error, &warning, path)
                               : loader.LoadASCIIFromFile(&model, &error, &warning, path);
    EXPECT_TRUE(loaded) << path << ": " << error << warning;
    return model;
  }

  std::ostringstream fErrors;
  std::string fFolder;
  FrameHook fSessionTime;  // the host's own time, put back after each test
};

// Frames first to last in steps of one, the last one also when the step
// misses it; key k of the file is frame frames[k].
TEST_F(GltfExport, AnimationReproducesEveryJointAtEveryFrame) {
  const struct {
    const char* file;
    const char* range;
    std::vector<double> frames;
  } cases[] = {{"animated.gltf", " -frameRange 1 12", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
               {"animated.glb", " -fr -2 2.5", {-2, -1, 0, 1, 2, 2.5}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const std::string before = HFileIO::sceneAsText().asStdString();
    const tinygltf::Model model = load(exportTo(c.file, c.range));
    // The scene is back at the frame it was at, as it was.
    EXPECT_EQ(currentTime(), "7");
    EXPECT_EQ(HFileIO::sceneAsText().asStdString(), before);

    ASSERT_EQ(model.nodes.size(), 7u);  // six joints and the group; no prop
    ASSERT_EQ(model.animations.size(), 1u);
    std::set<std::string> channels;
    for (const tinygltf::AnimationChannel& channel : model.animations[0].channels) {
      channels.insert(model.nodes.at(std::size_t(channel.target_node)).name + "." +
                      channel.target_path);
      const std::vector<float> times = accessorFloats(
          model, model.animations[0].samplers.at(std::size_t(channel.sampler)).input);
      ASSERT_EQ(times.size(), c.frames.size());
      for (std::size_t k = 0; k < times.size(); ++k)
        EXPECT_FLOAT_EQ(times[k], float((c.frames[k] - c.frames[0]) / 24.0));
    }
    const std::set<std::string> expected = {"hip.rotation",    "knee.rotation",  "ankle.rotation",
                                            "toe.rotation",    "tail1.rotation", "tail2.rotation",
                                            "rig.translation", "tail2.scale"};
    EXPECT_EQ(channels, expected);

    // The nodes alone hold the pose the scene was in (frame 7), as doubles.
    std::map<std::string, Affine> worlds = gltfWorlds(model, -1);
    for (const char* joint : kJoints)
      expectSameWorld(hostWorld(joint), worlds.at(joint), 1e-12, std::string(joint) + " at rest");
    for (std::size_t k = 0; k < c.frames.size(); ++k) {
      ASSERT_TRUE(run("currentTime " + hostdetail::builtin::formatDouble(c.frames[k])));
      worlds = gltfWorlds(model, int(k));
      for (const char* joint : kJoints) {
        expectSameWorld(hostWorld(joint), worlds.at(joint), 1e-6,
                        std::string(joint) + " at frame " + std::to_string(c.frames[k]));
      }
    }
    ASSERT_TRUE(run("currentTime 7"));
  }
}

TEST_F(GltfExport, WithoutFrameRangeWritesTheCurrentPoseOnly) {
  for (const char* file : {"pose.gltf", "pose.glb"}) {
    SCOPED_TRACE(file);
    const tinygltf::Model model = load(exportTo(file));
    EXPECT_TRUE(model.animations.empty());
    ASSERT_EQ(model.scenes.size(), 1u);
    EXPECT_EQ(model.scenes[0].nodes.size(), 2u);  // rig and tail1
    const std::map<std::string, Affine> worlds = gltfWorlds(model, -1);
    for (const char* joint : kJoints)
      expectSameWorld(hostWorld(joint), worlds.at(joint), 1e-12, joint);
  }
  // The same without a time module.
  hostdetail::setFrameHook(FrameHook());
  EXPECT_EQ(load(exportTo("pose-no-time.gltf")).nodes.size(), 7u);
}

// Each refusal names the problem, sets no frame, writes no file, leaves an
// existing file alone and changes nothing in the scene.
TEST_F(GltfExport, BadInputIsRefusedAndChangesNothing) {
  const std::string old = fFolder + "/old.gltf";
  std::ofstream(old) << "earlier export";
  mkdir((fFolder + "/folder.gltf").c_str(), 0755);
  const struct {
    std::string command;
    std::string error;
  } cases[] = {
      {"file -export " + old + " -frameRange 10 1", "runs backwards: give the start frame first"},
      {"file -export " + old + " -frameRange 0 1e9", "more than 100000 frames"},
      {"file -export " + old + " -frameRange 1 x", "'x' is not a frame number for -frameRange"},
      {"file -export " + fFolder + "/missing/a.gltf", "Cannot write " + fFolder + "/missing"},
      {"file -export " + fFolder + "/folder.gltf", "Is a directory"},
      {"file -export " + fFolder + "/a.fbx -frameRange 1 2", "no exporter writes '.fbx' files"},
      {"file -export " + fFolder + "/a", "the name has no extension (known: .glb, .gltf)"},
      {"file -export", "-export needs the path of the file to write"},
      {"file -save " + old + " -frameRange 1 2", "-frameRange goes with -export PATH"},
      {"file -new -export " + old, "Give one of -new"},
  };
  const std::string scene = HFileIO::sceneAsText().asStdString();
  const std::set<std::string> files = folderEntries(fFolder);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.command);
    EXPECT_FALSE(run(c.command));
    EXPECT_NE(fErrors.str().find(c.error), std::string::npos) << fErrors.str();
    EXPECT_EQ(currentTime(), "7");
    EXPECT_EQ(fileText(old), "earlier export");
    EXPECT_EQ(folderEntries(fFolder), files);
    EXPECT_EQ(HFileIO::sceneAsText().asStdString(), scene);
  }
}

// What the scene cannot give, or a host without time, is refused the same way.
TEST_F(GltfExport, SceneAndTimeProblemsAreRefused) {
  const std::string path = fFolder + "/a.gltf";
  const struct {
    const char* setup;
    const char* range;
    const char* error;
    bool noTime;
  } cases[] = {
      {"", " -fr 1 5", "no time module is loaded to set them (leave out -frameRange", true},
      {"setAttr knee.shear 0.1 0 0", "", "knee has shear, which a glTF node cannot hold", false},
      {"delete rig tail1", "", "Nothing to export: the scene has no joints", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    ASSERT_TRUE(run(c.setup)) << fErrors.str();
    if (c.noTime)
      hostdetail::setFrameHook(FrameHook());
    const std::string scene = HFileIO::sceneAsText().asStdString();
    EXPECT_FALSE(run("file -export " + path + c.range));
    EXPECT_NE(fErrors.str().find(c.error), std::string::npos) << fErrors.str();
    EXPECT_EQ(currentTime(), "7");
    EXPECT_EQ(HFileIO::sceneAsText().asStdString(), scene);
    struct stat info;
    EXPECT_NE(stat(path.c_str(), &info), 0);
    hostdetail::setFrameHook(fSessionTime);
  }
}

}  // namespace

// glTF 2.0 export of the skeleton and its motion, for `file -export` with a
// .gltf (JSON, the buffer embedded as a data URI) or .glb (binary) path.
//
// What is written:
// - One glTF node per joint and per non-joint transform above a joint (the
//   rig's groups), in the same hierarchy, named as in the scene. Effectors,
//   handles and other nodes below or beside the joints are left out: glTF
//   has no IK, and the joints carry the solved pose.
// - Each node's translation, rotation and scale are its local transform as
//   the scene stands when the command runs (what a viewer shows with the
//   animation stopped). A joint's local matrix is S * Sh * RA * R * JO * T
//   (row vectors), which is glTF's T * R * S with R = RA * R * JO folded into
//   one quaternion; a node with shear has no TRS form and is refused.
// - With a frame range, one animation: every frame is set through the
//   range's frame setter, the scene is solved and every node's local
//   transform read. Every joint gets a rotation channel; a translation or
//   scale channel, and any channel of a group, only where the value changes
//   over the range. Keys are at (frame - start) / frames per second seconds,
//   interpolated linearly. glTF stores keys as 32-bit floats, so a key
//   keeps about seven digits: world positions come back within about 1e-7
//   times the rig's size.

#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <tiny_gltf.h>

#include "HFnTransform.h"
#include "HObject.h"
#include "HQuaternion.h"
#include "HTransformationMatrix.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandEngine.h"
#include "files/Export.h"
#include "graph/SceneInternal.h"

namespace hostdetail {
namespace {

// A local transform in glTF's terms: translation, rotation (x, y, z, w) and
// scale.
struct Trs {
  double t[3] = {0.0, 0.0, 0.0};
  double r[4] = {0.0, 0.0, 0.0, 1.0};
  double s[3] = {1.0, 1.0, 1.0};
};

struct ExportNode {
  HObject node;
  std::string name;
  bool joint = false;
  std::vector<int> children;
  std::vector<Trs> samples;  // one per frame
};

// The joints and the transforms above them, every parent before its
// children; roots receives the nodes under the world.
std::vector<ExportNode> collectNodes(std::vector<int>& roots) {
  const std::vector<HObject> dag = dagNodesParentFirst();
  std::map<std::string, bool> wanted;
  for (const HObject& node : dag) {
    if (!node.hasFn(HFn::kJoint))
      continue;
    for (HObject up = node; !up.isNull() && !wanted[nodeName(up)]; up = nodeParent(up))
      wanted[nodeName(up)] = true;
  }
  std::vector<ExportNode> nodes;
  std::map<std::string, int> index;
  for (const HObject& node : dag) {
    const std::string name = nodeName(node);
    const auto found = wanted.find(name);
    if (found == wanted.end() || !found->second)
      continue;
    const int at = int(nodes.size());
    ExportNode entry;
    entry.node = node;
    entry.name = name;
    entry.joint = node.hasFn(HFn::kJoint);
    nodes.push_back(entry);
    index[name] = at;
    const HObject parent = nodeParent(node);
    if (parent.isNull())
      roots.push_back(at);
    else
      nodes[std::size_t(index.at(nodeName(parent)))].children.push_back(at);
  }
  return nodes;
}

bool allFinite(const double* values, int count) {
  for (int i = 0; i < count; ++i) {
    if (!std::isfinite(values[i]))
      return false;
  }
  return true;
}

HStatus readTrs(const ExportNode& node, Trs& out) {
  HStatus status;
  const HTransformationMatrix tm = HFnTransform(node.node).transformation(&status);
  if (!status)
    return HStatus(status.statusCode(), "Cannot read the transform of " + node.name);
  double shear[3] = {0.0, 0.0, 0.0};
  tm.getShear(shear, HSpace::kTransform);
  if (shear[0] != 0.0 || shear[1] != 0.0 || shear[2] != 0.0) {
    return HStatus(HStatus::kFailure,
                   node.name + " has shear, which a glTF node cannot hold: set its shear to 0");
  }
  const HVector t = tm.translation(HSpace::kTransform);
  const HQuaternion q = tm.rotateOrientation() * tm.rotation() * tm.jointOrientation();
  out.t[0] = t.x;
  out.t[1] = t.y;
  out.t[2] = t.z;
  out.r[0] = q.x;
  out.r[1] = q.y;
  out.r[2] = q.z;
  out.r[3] = q.w;
  tm.getScale(out.s, HSpace::kTransform);
  if (!allFinite(out.t, 3) || !allFinite(out.r, 4) || !allFinite(out.s, 3))
    return HStatus(HStatus::kFailure, node.name + " has a transform that is not finite");
  return HStatus(HStatus::kSuccess);
}

HStatus sampleAll(std::vector<ExportNode>& nodes) {
  for (ExportNode& node : nodes) {
    node.samples.emplace_back();
    HStatus status = readTrs(node, node.samples.back());
    if (!status)
      return status;
  }
  return HStatus(HStatus::kSuccess);
}

// Appends floats to the model's one buffer as a view and an accessor of
// the given type (TINYGLTF_TYPE_SCALAR, VEC3, VEC4); its index.
int addAccessor(tinygltf::Model& model, const std::vector<float>& values, int type, int width,
                bool withBounds) {
  tinygltf::Buffer& buffer = model.buffers[0];
  tinygltf::BufferView view;
  view.buffer = 0;
  view.byteOffset = buffer.data.size();
  view.byteLength = values.size() * sizeof(float);
  const auto* bytes = reinterpret_cast<const unsigned char*>(values.data());
  buffer.data.insert(buffer.data.end(), bytes, bytes + view.byteLength);
  model.bufferViews.push_back(view);

  tinygltf::Accessor accessor;
  accessor.bufferView = int(model.bufferViews.size()) - 1;
  accessor.componentType = TINYGLTF_COMPONENT_TYPE_FLOAT;
  accessor.type = type;
  accessor.count = values.size() / std::size_t(width);
  if (withBounds) {
    accessor.minValues.assign(std::size_t(width), values[0]);
    accessor.maxValues.assign(std::size_t(width), values[0]);
    for (std::size_t i = 0; i < values.size(); ++i) {
      double& low = accessor.minValues[i % std::size_t(width)];
      double& high = accessor.maxValues[i % std::size_t(width)];
      low = std::min(low, double(values[i]));
      high = std::max(high, double(values[i]));
    }
  }
  model.accessors.push_back(accessor);
  return int(model.accessors.size()) - 1;
}

// One channel of a node's samples; path is "translation", "rotation" or "scale".
void addChannel(tinygltf::Model& model, tinygltf::Animation& animation, int nodeIndex,
                const ExportNode& node, int times, const char* path) {
  const bool rotation = std::string(path) == "rotation";
  const int width = rotation ? 4 : 3;
  std::vector<float> values;
  double previous[4] = {0.0, 0.0, 0.0, 1.0};
  for (const Trs& trs : node.samples) {
    const double* v = rotation ? trs.r : (std::string(path) == "translation" ? trs.t : trs.s);
    double sign = 1.0;
    if (rotation) {
      // q and -q are the same rotation; keeping each key in the half-space
      // of the one before makes linear interpolation take the short way.
      const double dot =
          v[0] * previous[0] + v[1] * previous[1] + v[2] * previous[2] + v[3] * previous[3];
      sign = dot < 0.0 ? -1.0 : 1.0;
      for (int i = 0; i < 4; ++i)
        previous[i] = sign * v[i];
    }
    for (int i = 0; i < width; ++i)
      values.push_back(float(sign * v[i]));
  }
  tinygltf::AnimationSampler sampler;
  sampler.input = times;
  sampler.output =
      addAccessor(model, values, rotation ? TINYGLTF_TYPE_VEC4 : TINYGLTF_TYPE_VEC3, width, false);
  sampler.interpolation = "LINEAR";
  animation.samplers.push_back(sampler);
  tinygltf::AnimationChannel channel;
  channel.sampler = int(animation.samplers.size()) - 1;
  channel.target_node = nodeIndex;
  channel.target_path = path;
  animation.channels.push_back(channel);
}

// True when any sample differs from the first in this component.
template <std::size_t N>
bool changes(const std::vector<Trs>& samples, double (Trs::*member)[N]) {
  for (const Trs& trs : samples) {
    for (std::size_t i = 0; i < N; ++i) {
      if ((trs.*member)[i] != (samples.front().*member)[i])
        return true;
    }
  }
  return false;
}

void addAnimation(tinygltf::Model& model, const std::vector<ExportNode>& nodes,
                  const ExportRange& range, const std::vector<double>& frames) {
  model.buffers.emplace_back();
  std::vector<float> seconds;
  for (double frame : frames)
    seconds.push_back(float((frame - range.start) / range.framesPerSecond));
  const int times = addAccessor(model, seconds, TINYGLTF_TYPE_SCALAR, 1, true);

  tinygltf::Animation animation;
  animation.name =
      "frames " + builtin::formatDouble(range.start) + " to " + builtin::formatDouble(range.end);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const ExportNode& node = nodes[i];
    if (changes(node.samples, &Trs::t))
      addChannel(model, animation, int(i), node, times, "translation");
    if (node.joint || changes(node.samples, &Trs::r))
      addChannel(model, animation, int(i), node, times, "rotation");
    if (changes(node.samples, &Trs::s))
      addChannel(model, animation, int(i), node, times, "scale");
  }
  if (!animation.channels.empty())
    model.animations.push_back(animation);
}

// The glTF model: the nodes at their first sample (the pose before any
// frame was set), and the animation over the frames after it.
tinygltf::Model buildModel(const std::vector<ExportNode>& nodes, const std::vector<int>& roots,
                           const ExportRange* range, const std::vector<double>& frames) {
  tinygltf::Model model;
  model.asset.version = "2.0";
  model.asset.generator = "hostsh glTF exporter";
  for (const ExportNode& node : nodes) {
    tinygltf::Node out;
    out.name = node.name;
    out.children = node.children;
    const Trs& pose = node.samples.front();
    if (pose.t[0] != 0.0 || pose.t[1] != 0.0 || pose.t[2] != 0.0)
      out.translation.assign(pose.t, pose.t + 3);
    if (pose.r[0] != 0.0 || pose.r[1] != 0.0 || pose.r[2] != 0.0 || pose.r[3] != 1.0)
      out.rotation.assign(pose.r, pose.r + 4);
    if (pose.s[0] != 1.0 || pose.s[1] != 1.0 || pose.s[2] != 1.0)
      out.scale.assign(pose.s, pose.s + 3);
    model.nodes.push_back(out);
  }
  tinygltf::Scene scene;
  scene.nodes = roots;
  model.scenes.push_back(scene);
  model.defaultScene = 0;
  if (range) {
    std::vector<ExportNode> animated = nodes;
    for (ExportNode& node : animated)
      node.samples.erase(node.samples.begin());
    addAnimation(model, animated, *range, frames);
  }
  return model;
}

HStatus exportGltf(const ExportRange* range, std::string& bytes, bool binary) {
  std::vector<int> roots;
  std::vector<ExportNode> nodes = collectNodes(roots);
  if (nodes.empty() || roots.empty())
    return HStatus(HStatus::kFailure, "Nothing to export: the scene has no joints");
  evaluateScene();
  HStatus status = sampleAll(nodes);
  std::vector<double> frames;
  if (status && range) {
    frames = range->frames;
    for (double frame : frames) {
      const HStatus set = range->setFrame(frame);
      if (!set) {
        return HStatus(set.statusCode(), "Cannot set frame " + builtin::formatDouble(frame) + ": " +
                                             set.errorString().asStdString());
      }
      evaluateScene();
      status = sampleAll(nodes);
      if (!status) {
        return HStatus(status.statusCode(), "At frame " + builtin::formatDouble(frame) + ": " +
                                                status.errorString().asStdString());
      }
    }
  }
  if (!status)
    return status;

  const tinygltf::Model model = buildModel(nodes, roots, range, frames);
  std::ostringstream out;
  tinygltf::TinyGLTF writer;
  if (!writer.WriteGltfSceneToStream(&model, out, !binary, binary))
    return HStatus(HStatus::kFailure, "The glTF writer failed");
  bytes = out.str();
  return HStatus(HStatus::kSuccess);
}

HStatus exportText(const ExportRange* range, std::string& bytes) {
  return exportGltf(range, bytes, false);
}
HStatus exportBinary(const ExportRange* range, std::string& bytes) {
  return exportGltf(range, bytes, true);
}

// Registered when the library loads, as the built-in commands are.
const bool kRegistered = [] {
  registerExporter(".gltf", exportText);
  registerExporter(".glb", exportBinary);
  return true;
}();

}  // namespace
}  // namespace hostdetail

#include "SceneJson.h"

#include <cmath>
#include <string>
#include <vector>

#include "HDagPath.h"
#include "HFloatArray.h"
#include "HFn.h"
#include "HFnDagNode.h"
#include "AnimTime.h"
#include "HFnDependencyNode.h"
#include "HFnIkHandle.h"
#include "HIntArray.h"
#include "HMatrix.h"
#include "HObject.h"
#include "HPlug.h"
#include "HRampAttribute.h"
#include "HSelectionList.h"

namespace viewer {

namespace {

// The ramp the solver adds to every handle it solves.
constexpr const char* kAngleBiasRamp = "wexelAngleBias";
constexpr double kDegreesPerRadian = 180.0 / 3.141592653589793;

// A JSON number, or null where the scene holds something non-finite: the
// page must never be handed a NaN to draw or send back.
nlohmann::json number(double value) {
  return std::isfinite(value) ? nlohmann::json(value) : nlohmann::json(nullptr);
}

std::string nodeName(const HObject& node) {
  return HFnDependencyNode(node).name().asStdString();
}

double plugDouble(const HFnDependencyNode& node, const char* name) {
  double value = 0.0;
  node.findPlug(HString(name)).getValue(value);
  return value;
}

nlohmann::json ikJson(const HDagPath& handlePath) {
  HFnIkHandle handle(handlePath);
  nlohmann::json ik;
  HDagPath start;
  HDagPath effector;
  handle.getStartJoint(start);
  handle.getEffector(effector);
  ik["startJoint"] = start.isValid() ? nlohmann::json(nodeName(start.node())) : nullptr;
  ik["effector"] = effector.isValid() ? nlohmann::json(nodeName(effector.node())) : nullptr;

  // The chain runs from the start joint down to the effector's parent; it is
  // collected bottom-up and turned round.
  std::vector<std::string> chain;
  if (start.isValid() && effector.isValid()) {
    HObject joint = HFnDagNode(effector).parent();
    const HObject startNode = start.node();
    while (!joint.isNull()) {
      chain.push_back(nodeName(joint));
      if (joint == startNode)
        break;
      joint = HFnDagNode(joint).parent();
    }
    if (joint.isNull())
      chain.clear();  // the effector is not below the start joint: no chain
  }
  ik["chain"] = nlohmann::json(std::vector<std::string>(chain.rbegin(), chain.rend()));

  const HObject solver = handle.solver();
  ik["solver"] = solver.isNull() ? nlohmann::json(nullptr) : nlohmann::json(nodeName(solver));
  ik["poleVector"] = {number(plugDouble(handle, "pvx")), number(plugDouble(handle, "pvy")),
                      number(plugDouble(handle, "pvz"))};
  ik["twist"] = number(plugDouble(handle, "twist") * kDegreesPerRadian);

  nlohmann::json ramp = nlohmann::json::array();
  HStatus found;
  const HObject rampAttribute = handle.attribute(HString(kAngleBiasRamp), &found);
  HStatus valid;
  HRampAttribute rampFn(handlePath.node(), rampAttribute, &valid);
  if (found && valid) {
    HIntArray indexes;
    HFloatArray positions;
    HFloatArray values;
    HIntArray interps;
    rampFn.getEntries(indexes, positions, values, interps);
    for (unsigned i = 0; i < indexes.length(); ++i) {
      ramp.push_back(
          {{"index", indexes[i]}, {"position", number(positions[i])}, {"value", number(values[i])}});
    }
  }
  ik["ramp"] = ramp;
  return ik;
}

nlohmann::json nodeJson(const HDagPath& path) {
  HFnDagNode dag(path);
  nlohmann::json node;
  node["name"] = dag.name().asStdString();
  node["type"] = dag.typeName().asStdString();
  const HObject parent = dag.parentCount() > 0 ? dag.parent() : HObject();
  node["parent"] = parent.isNull() ? nlohmann::json(nullptr) : nlohmann::json(nodeName(parent));
  const HMatrix world = path.inclusiveMatrix();
  nlohmann::json matrix = nlohmann::json::array();
  for (unsigned row = 0; row < 4; ++row) {
    for (unsigned col = 0; col < 4; ++col)
      matrix.push_back(number(world(row, col)));
  }
  node["matrix"] = matrix;
  if (path.apiType() == HFn::kIkHandle)
    node["ik"] = ikJson(path);
  return node;
}

// Depth first from a node, so that every parent comes before its children.
void addSubtree(const HDagPath& path, nlohmann::json& nodes) {
  nodes.push_back(nodeJson(path));
  HFnDagNode dag(path);
  for (unsigned i = 0; i < dag.childCount(); ++i) {
    HDagPath child;
    if (HFnDagNode(dag.child(i)).getPath(child))
      addSubtree(child, nodes);
  }
}

}  // namespace

nlohmann::json sceneTimeJson() {
  const hostdetail::TimeState& time = hostdetail::timeState();
  return {{"current", number(time.current())},
          {"fps", number(time.fps())},
          {"start", number(time.playbackStart())},
          {"end", number(time.playbackEnd())}};
}

nlohmann::json sceneNodesJson() {
  nlohmann::json nodes = nlohmann::json::array();
  HSelectionList all;
  all.add(HString("*"));
  for (unsigned i = 0; i < all.length(); ++i) {
    HDagPath path;
    if (!all.getDagPath(i, path))
      continue;  // a dependency node that is no DAG node (a solver)
    if (HFnDagNode(path).parentCount() == 0)
      addSubtree(path, nodes);
  }
  return nodes;
}

}  // namespace viewer

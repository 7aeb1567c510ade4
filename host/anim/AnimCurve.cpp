// Animation curves: key interpolation, the animCurve node type, and keeping
// each curve's output at its value for the current time.
//
// Evaluation is pushed, not pulled: a curve writes its output when its keys
// change or the time moves, and the write travels down the connection like
// any other edit (the driven attribute's listeners, matrix caches and IK
// dirty tracking hear it). So a frame change costs one evaluation per curve
// and nothing per other node of the scene.

#include "AnimCurve.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>

#include "AnimTime.h"
#include "HIntArray.h"
#include "graph/Node.h"

namespace hostdetail {

// ---------------------------------------------------------------------------
// Keys

namespace {

constexpr const char* kTangentNames[] = {"smooth", "linear", "step"};

// The slope of the straight line from key i to key i + 1.
double secant(const KeyList& keys, size_t i) {
  return (keys[i + 1].value - keys[i].value) / (keys[i + 1].time - keys[i].time);
}

// The clamped smooth slope at key i (see AnimCurve.h).
double smoothSlope(const KeyList& keys, size_t i) {
  const size_t n = keys.size();
  if (n < 2)
    return 0.0;
  if (i == 0)
    return secant(keys, 0);
  if (i == n - 1)
    return secant(keys, n - 2);
  const double before = secant(keys, i - 1), after = secant(keys, i);
  if (!(before * after > 0.0))
    return 0.0;
  double slope = (keys[i + 1].value - keys[i - 1].value) / (keys[i + 1].time - keys[i - 1].time);
  // A Hermite segment whose end slopes have the sign of its line and at most
  // three times its steepness is monotone (Fritsch and Carlson), so neither
  // segment meeting here can overshoot its keys.
  const double limit = 3.0 * std::min(std::fabs(before), std::fabs(after));
  return std::copysign(std::min(std::fabs(slope), limit), slope);
}

}  // namespace

bool parseTangent(const std::string& text, Tangent& tangent) {
  for (int i = 0; i < 3; ++i) {
    if (text == kTangentNames[i]) {
      tangent = Tangent(i);
      return true;
    }
  }
  return false;
}

const char* tangentName(Tangent tangent) {
  const int index = int(tangent);
  return index >= 0 && index < 3 ? kTangentNames[index] : "smooth";
}

void keySlopes(const KeyList& keys, size_t i, double& in, double& out) {
  in = out = 0.0;
  if (i >= keys.size() || keys.size() < 2)
    return;
  auto slope = [&](Tangent type, bool incoming) {
    switch (type) {
      case Tangent::kStep:
        return 0.0;
      case Tangent::kLinear:
        if (incoming)
          return i > 0 ? secant(keys, i - 1) : 0.0;
        return i + 1 < keys.size() ? secant(keys, i) : 0.0;
      case Tangent::kSmooth:
        break;
    }
    return smoothSlope(keys, i);
  };
  in = slope(keys[i].in, true);
  out = slope(keys[i].out, false);
}

double evaluateKeys(const KeyList& keys, double time) {
  if (keys.empty())
    return 0.0;
  if (time <= keys.front().time)
    return keys.front().value;
  if (time >= keys.back().time)
    return keys.back().value;
  // The segment [i, i + 1] with keys[i].time <= time < keys[i + 1].time.
  const auto after = std::upper_bound(keys.begin(), keys.end(), time,
                                      [](double t, const Key& key) { return t < key.time; });
  const size_t i = size_t(after - keys.begin()) - 1;
  const Key& a = keys[i];
  const Key& b = keys[i + 1];
  if (time == a.time || a.out == Tangent::kStep || b.in == Tangent::kStep)
    return a.value;
  double unused, outSlope, inSlope;
  keySlopes(keys, i, unused, outSlope);
  keySlopes(keys, i + 1, inSlope, unused);
  const double h = b.time - a.time;
  const double s = (time - a.time) / h;
  const double s2 = s * s, s3 = s2 * s;
  const double value = (2 * s3 - 3 * s2 + 1) * a.value + (s3 - 2 * s2 + s) * h * outSlope +
                       (-2 * s3 + 3 * s2) * b.value + (s3 - s2) * h * inSlope;
  // The slopes keep the cubic within its keys; rounding must not step out.
  return std::clamp(value, std::min(a.value, b.value), std::max(a.value, b.value));
}

// ---------------------------------------------------------------------------
// The node type

namespace {

std::shared_ptr<Attribute> numeric(const char* longName, const char* shortName) {
  return makeNumericAttribute(longName, shortName, HFnNumericData::kDouble, 0.0);
}

std::shared_ptr<Attribute> tangentAttribute(const char* longName, const char* shortName) {
  auto attribute = std::make_shared<Attribute>();
  attribute->kind = AttrKind::kEnum;
  attribute->longName = longName;
  attribute->shortName = shortName;
  attribute->numericType = HFnNumericData::kShort;
  for (short i = 0; i < 3; ++i)
    attribute->enumFields.emplace_back(kTangentNames[i], i);
  return attribute;
}

struct CurveAttributes {
  std::shared_ptr<Attribute> keys, output;
  const NodeType* type = nullptr;
};

CurveAttributes& curveAttributes() {
  static auto* attributes = new CurveAttributes();
  return *attributes;
}

struct CurveType {
  CurveType() {
    CurveAttributes& a = curveAttributes();
    a.keys = std::make_shared<Attribute>();
    a.keys->kind = AttrKind::kCompound;
    a.keys->longName = "keyTimeValue";
    a.keys->shortName = "ktv";
    a.keys->array = true;
    for (auto child :
         {numeric("keyTime", "kt"), numeric("keyValue", "kv"),
          tangentAttribute("inTangentType", "itt"), tangentAttribute("outTangentType", "ott")}) {
      child->parent = a.keys.get();
      child->indexInParent = unsigned(a.keys->children.size());
      a.keys->children.push_back(child);
    }
    a.output = numeric("output", "o");
    a.output->storable = false;
    registerBuiltinNodeType(kAnimCurveType, HTypeId(0x48540006), HFn::kDependencyNode, "",
                            kAnimCurveType, {a.keys, a.output});
    a.type = findNodeType(kAnimCurveType);
  }
};

CurveType gCurveType;

HPlug keysPlug(const HObject& curve) {
  return HPlug(curve, HObject::fromAttribute(curveAttributes().keys));
}

// ---------------------------------------------------------------------------
// Which curves exist, which need evaluating, and their keys sorted.

struct CurveEntry {
  HObject node;
  bool dirty = false;
  bool cached = false;
  KeyList keys;
};

struct CurveState {
  std::map<std::uint32_t, CurveEntry> curves;  // by slot: creation order
  std::vector<std::uint32_t> dirty;
};

CurveState& curveState() {
  static auto* instance = new CurveState();
  return *instance;
}

void markDirty(CurveEntry& entry, std::uint32_t slot) {
  if (!entry.dirty) {
    entry.dirty = true;
    curveState().dirty.push_back(slot);
  }
}

bool isCurveNode(const Node* node) {
  return node && node->type == curveAttributes().type;
}

void onChange(const Change& change, void*) {
  const Node* node = nodeOf(change.node);
  if (!isCurveNode(node))
    return;
  CurveState& s = curveState();
  switch (change.kind) {
    case ChangeKind::kNodeCreated: {
      CurveEntry& entry = s.curves[node->slot];
      entry.node = change.node;
      entry.cached = false;
      markDirty(entry, node->slot);
      break;
    }
    case ChangeKind::kNodeDeleted:
      s.curves.erase(node->slot);
      break;
    case ChangeKind::kValueChanged: {
      if (change.attribute == curveAttributes().output.get())
        break;
      auto it = s.curves.find(node->slot);
      if (it != s.curves.end()) {
        it->second.cached = false;
        markDirty(it->second, node->slot);
      }
      break;
    }
    default:
      break;
  }
}

struct ListenerInstaller {
  ListenerInstaller() { addChangeListener(&onChange, nullptr); }
};

ListenerInstaller gListenerInstaller;

KeyList readKeys(const HObject& curve) {
  KeyList keys;
  const HPlug array = keysPlug(curve);
  HIntArray indices;
  array.getExistingArrayAttributeIndices(indices);
  for (unsigned i = 0; i < indices.length(); ++i) {
    const HPlug element = array.elementByLogicalIndex(unsigned(indices[i]));
    Key key;
    int in = 0, out = 0;
    element.child(0).getValue(key.time);
    element.child(1).getValue(key.value);
    element.child(2).getValue(in);
    element.child(3).getValue(out);
    key.in = Tangent(std::clamp(in, 0, 2));
    key.out = Tangent(std::clamp(out, 0, 2));
    keys.push_back(key);
  }
  // Keys set through setAttr may come in any order or share a time; the
  // later element wins a shared time.
  std::stable_sort(keys.begin(), keys.end(),
                   [](const Key& a, const Key& b) { return a.time < b.time; });
  KeyList unique;
  for (const Key& key : keys) {
    if (!unique.empty() && unique.back().time == key.time)
      unique.back() = key;
    else
      unique.push_back(key);
  }
  return unique;
}

}  // namespace

bool isAnimCurve(const HObject& node) {
  return isCurveNode(nodeOf(node));
}

HObject curveDriving(const HPlug& plug) {
  Connection connection;
  if (!connectionInto(plug, connection))
    return HObject();
  const HObject source = connection.source.node();
  if (!isAnimCurve(source) ||
      connection.source.attribute().attributeDef() != curveAttributes().output)
    return HObject();
  return source;
}

HPlug curveOutput(const HObject& curve) {
  return HPlug(curve, HObject::fromAttribute(curveAttributes().output));
}

KeyList curveKeys(const HObject& curve) {
  const Node* node = nodeOf(curve);
  if (!isCurveNode(node))
    return KeyList();
  auto it = curveState().curves.find(node->slot);
  if (it == curveState().curves.end())
    return readKeys(curve);
  if (!it->second.cached) {
    it->second.keys = readKeys(curve);
    it->second.cached = true;
  }
  return it->second.keys;
}

HStatus writeCurveKeys(const HObject& curve, const KeyList& keys) {
  if (!isAnimCurve(curve))
    return HStatus(HStatus::kInvalidParameter, "Not an animation curve");
  const HPlug array = keysPlug(curve);
  HIntArray indices;
  array.getExistingArrayAttributeIndices(indices);
  for (unsigned i = 0; i < indices.length(); ++i) {
    HStatus status = array.elementByLogicalIndex(unsigned(indices[i])).removeElement();
    if (!status)
      return status;
  }
  for (unsigned i = 0; i < keys.size(); ++i) {
    const HPlug element = array.elementByLogicalIndex(i);
    const double values[4] = {keys[i].time, keys[i].value, double(int(keys[i].in)),
                              double(int(keys[i].out))};
    for (unsigned c = 0; c < 4; ++c) {
      HStatus status = element.child(c).setValue(values[c]);
      if (!status)
        return status;
    }
  }
  return HStatus(HStatus::kSuccess);
}

void evaluateCurves() {
  CurveState& s = curveState();
  const double time = timeState().current();
  // An output may feed another curve's keys; what that dirties is taken in
  // the next round (connections cannot form a cycle, so the rounds end).
  for (unsigned round = 0; round < 64 && !s.dirty.empty(); ++round) {
    std::vector<std::uint32_t> slots;
    slots.swap(s.dirty);
    for (std::uint32_t slot : slots) {
      auto it = s.curves.find(slot);
      if (it == s.curves.end())
        continue;
      it->second.dirty = false;
      const HObject node = it->second.node;
      const KeyList keys = curveKeys(node);
      if (keys.empty())
        continue;
      const double value = evaluateKeys(keys, time);
      const HPlug output = curveOutput(node);
      double current = 0.0;
      output.getValue(current);
      if (std::memcmp(&current, &value, sizeof value) != 0)
        output.setValue(value);
    }
  }
}

void markAllCurvesDirty() {
  for (auto& entry : curveState().curves)
    markDirty(entry.second, entry.first);
}

size_t curveCount() {
  return curveState().curves.size();
}

}  // namespace hostdetail

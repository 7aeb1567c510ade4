// The built-in animation commands:
//
//   currentTime FRAME | currentTime -q | currentTime -fps N | currentTime -q -fps
//   playbackOptions -min START -max END | playbackOptions -q
//   setKeyframe [-t FRAME] [-v VALUE] [-itt TYPE] [-ott TYPE] TARGET...
//   keyframe -q [-kc] [-tc] [-vc] [-itt] [-ott] [-is] [-os] PLUG...
//   cutKey [-t START:END] TARGET...
//   play [-t START:END] [-by STEP]
//   bakeResults [-t START:END] [-by STEP] TARGET...
//
// A TARGET is a plug (a compound keys each of its leaves) or a node (every
// keyable number leaf of it). Values are in command units (degrees for
// angles). Key edits are undoable; moving the time is not, since it changes
// only what follows from the keys.

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "AnimCommands.h"
#include "AnimCurve.h"
#include "AnimInternal.h"
#include "AnimTime.h"
#include "HDGModifier.h"
#include "HFnDependencyNode.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandRegistry.h"
#include "graph/Node.h"
#include "graph/PlugAccess.h"

namespace hostdetail {
namespace builtin {

// "START:END" or a single frame; an error naming the word otherwise.
bool parseFrameRange(const std::string& word, double& start, double& end, std::string& error) {
  const size_t colon = word.find(':', 1);
  const std::string first = colon == std::string::npos ? word : word.substr(0, colon);
  const std::string second = colon == std::string::npos ? word : word.substr(colon + 1);
  if (!parseDouble(first, start) || !parseDouble(second, end) ||
      std::fabs(start) > TimeState::kMaxFrame || std::fabs(end) > TimeState::kMaxFrame) {
    error = "'" + word + "' is not a frame range: give START:END, two frame numbers";
    return false;
  }
  if (end < start) {
    error = "The frame range " + word + " runs backwards: give START:END with START <= END";
    return false;
  }
  return true;
}

// The frames of a -t START:END (the playback range without it) and -by STEP.
bool framesFromFlags(bool hasRange, const std::string& range, bool hasStep,
                     const std::string& stepWord, std::vector<double>& frames, std::string& error) {
  double start = timeState().playbackStart(), end = timeState().playbackEnd(), step = 1.0;
  if (hasRange && !parseFrameRange(range, start, end, error))
    return false;
  if (hasStep && !parseDouble(stepWord, step)) {
    error = "'" + stepWord + "' is not a step in frames for -by";
    return false;
  }
  return sampleFrames(start, end, step, frames, error);
}

namespace {

std::string plugText(const HPlug& plug) {
  return plug.name().asStdString();
}

const Attribute* leafDef(const HPlug& plug) {
  return plug.attribute().attributeDef().get();
}

bool isNumberLeaf(const Attribute* a) {
  return a && (a->kind == AttrKind::kNumeric || a->kind == AttrKind::kEnum);
}

// The base of the commands that edit keys. New curves and their connections
// are made first, then keys are written, then curves left without keys are
// deleted (and whatever else the command switches); undo runs the same steps
// backwards, so every edit comes back exactly.
class KeyEditCommand : public Command {
 public:
  bool isUndoable() const override { return true; }
  HStatus undoIt() override {
    HStatus status = fFinish.undoIt();
    for (auto it = fEdits.rbegin(); it != fEdits.rend(); ++it) {
      if (isAnimCurve(it->curve))
        writeCurveKeys(it->curve, it->before);
    }
    HStatus created = fCreate.undoIt();
    return status ? created : status;
  }
  HStatus redoIt() override { return apply(); }

 protected:
  struct CurveEdit {
    HObject curve;
    KeyList before, after;
  };

  // The leaves a target names, each once, in order; false (error shown) for
  // an unknown node or attribute or a plug that holds no number.
  bool collectLeaves(const std::string& target, std::vector<HPlug>& leaves) {
    std::string error;
    std::vector<HPlug> found;
    if (target.find('.') == std::string::npos) {
      const HObject node = nodeByName(target, error);
      if (node.isNull()) {
        failure(error);
        return false;
      }
      std::vector<HObject> attributes = staticAttributesOf(node);
      for (const HObject& a : dynamicAttributesOf(node))
        attributes.push_back(a);
      for (const HObject& attribute : attributes) {
        for (const HPlug& leaf : leafPlugs(HPlug(node, attribute))) {
          const Attribute* def = leafDef(leaf);
          if (isNumberLeaf(def) && def->keyable)
            found.push_back(leaf);
        }
      }
      if (found.empty()) {
        failure("'" + target + "' has no keyable attributes");
        return false;
      }
    } else {
      const HPlug plug = plugByName(target, error);
      if (plug.isNull()) {
        failure(error);
        return false;
      }
      PlugRef ref;
      if (resolve(plug, ref) != PlugState::kValue) {
        failure("'" + target + "' is an array or lacks an element index: name one value");
        return false;
      }
      for (const HPlug& leaf : leafPlugs(plug)) {
        if (!isNumberLeaf(leafDef(leaf))) {
          failure("'" + plugText(leaf) + "' does not hold a number and cannot be animated");
          return false;
        }
        found.push_back(leaf);
      }
    }
    for (const HPlug& leaf : found) {
      if (std::find(leaves.begin(), leaves.end(), leaf) == leaves.end())
        leaves.push_back(leaf);
    }
    return true;
  }

  // The leaves of every argument, in order.
  bool argumentLeaves(std::vector<HPlug>& leaves) {
    for (unsigned i = 0; i < argCount(); ++i) {
      if (!collectLeaves(arg(i), leaves))
        return false;
    }
    return true;
  }

  // Whether the keys of a leaf may change; false (error shown) when the leaf
  // or its curve's keys are locked or something else drives it.
  bool keyable(const HPlug& leaf) {
    if (leaf.isLocked())
      return failure("'" + plugText(leaf) + "' is locked"), false;
    const HObject curve = curveDriving(leaf);
    if (curve.isNull() && leaf.isDestination())
      return failure("'" + plugText(leaf) + "' is driven by '" + plugText(leaf.source()) +
                     "' and cannot be animated"),
             false;
    if (!curve.isNull() && HFnDependencyNode(curve).findPlug("keyTimeValue").isLocked())
      return failure("The keys of '" + plugText(leaf) + "' are locked"), false;
    return true;
  }

  // Records new keys for a leaf: on its curve, or on a new one connected to it.
  void recordKeys(const HPlug& leaf, const KeyList& keys) {
    HObject curve = curveDriving(leaf);
    CurveEdit edit;
    if (curve.isNull()) {
      curve = fCreate.createNode(kAnimCurveType);
      const std::string name = nodeName(leaf.node()) + "_" + leafDef(leaf)->longName;
      fCreate.renameNode(curve, HString(name));
      fCreate.connect(curveOutput(curve), leaf);
    } else {
      edit.before = curveKeys(curve);
    }
    edit.curve = curve;
    edit.after = keys;
    fEdits.push_back(edit);
  }

  // Carries out what was recorded; on failure takes back what it did.
  HStatus apply() {
    HStatus status = runModifier(fCreate);
    for (size_t i = 0; status && i < fEdits.size(); ++i)
      status = writeCurveKeys(fEdits[i].curve, fEdits[i].after);
    if (status)
      status = runModifier(fFinish);
    if (!status) {
      undoIt();
      return failure("Cannot change the keys: " + status.errorString().asStdString());
    }
    return status;
  }

  // The frame of a -t flag, the current one without it.
  bool timeFlag(double& frame) {
    frame = timeState().current();
    if (!flag("-t"))
      return true;
    const std::string word = flagWord("-t");
    if (!parseDouble(word, frame) || std::fabs(frame) > TimeState::kMaxFrame)
      return failure("'" + word + "' is not a frame number for -time"), false;
    return true;
  }

  bool rangeFlag(double& start, double& end) {
    std::string error;
    if (!parseFrameRange(flagWord("-t"), start, end, error))
      return failure(error), false;
    return true;
  }

  HDGModifier fCreate;
  HDGModifier fFinish;
  std::vector<CurveEdit> fEdits;
};

// ---------------------------------------------------------------------------

class SetKeyframeCommand : public KeyEditCommand {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-t", "-time", HSyntax::kString);
    syntax.addFlag("-v", "-value", HSyntax::kString);
    syntax.addFlag("-itt", "-inTangentType", HSyntax::kString);
    syntax.addFlag("-ott", "-outTangentType", HSyntax::kString);
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() == 0)
      return failure("Give the attributes to key, as in setKeyframe legIk.translateX");
    double time = 0.0;
    if (!timeFlag(time))
      return HStatus::kFailure;
    Tangent in = Tangent::kSmooth, out = Tangent::kSmooth;
    for (auto tangent : {std::make_pair("-itt", &in), std::make_pair("-ott", &out)}) {
      if (flag(tangent.first) && !parseTangent(flagWord(tangent.first), *tangent.second))
        return failure("Unknown tangent type '" + flagWord(tangent.first) +
                       "' (smooth, linear or step)");
    }
    std::vector<HPlug> leaves;
    if (!argumentLeaves(leaves))
      return HStatus::kFailure;
    for (const HPlug& leaf : leaves) {
      if (!keyable(leaf))
        return HStatus::kFailure;
      double value = 0.0;
      if (flag("-v")) {
        std::string error;
        if (!parseLeafValue(leafDef(leaf), flagWord("-v"), value, error))
          return failure(error);
      } else {
        leaf.getValue(value);
      }
      const HObject curve = curveDriving(leaf);
      KeyList keys = curve.isNull() ? KeyList() : curveKeys(curve);
      auto at = std::lower_bound(keys.begin(), keys.end(), time,
                                 [](const Key& key, double t) { return key.time < t; });
      if (at == keys.end() || at->time != time) {
        at = keys.insert(at, Key{time, value, in, out});
      } else {
        at->value = value;
        at->in = flag("-itt") ? in : at->in;
        at->out = flag("-ott") ? out : at->out;
      }
      recordKeys(leaf, keys);
    }
    HStatus status = apply();
    if (status)
      setResult(int(leaves.size()));
    return status;
  }
};

// ---------------------------------------------------------------------------

class CutKeyCommand : public KeyEditCommand {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-t", "-time", HSyntax::kString);
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() == 0)
      return failure("Give the attributes whose keys to cut");
    double start = -HUGE_VAL, end = HUGE_VAL;
    if (flag("-t") && !rangeFlag(start, end))
      return HStatus::kFailure;
    std::vector<HPlug> leaves;
    if (!argumentLeaves(leaves))
      return HStatus::kFailure;
    int removed = 0;
    for (const HPlug& leaf : leaves) {
      const HObject curve = curveDriving(leaf);
      if (curve.isNull())
        continue;
      if (!keyable(leaf))
        return HStatus::kFailure;
      KeyList keys = curveKeys(curve);
      const size_t before = keys.size();
      keys.erase(
          std::remove_if(keys.begin(), keys.end(),
                         [&](const Key& key) { return key.time >= start && key.time <= end; }),
          keys.end());
      removed += int(before - keys.size());
      if (keys.size() == before)
        continue;
      recordKeys(leaf, keys);
      if (keys.empty()) {
        // The attribute keeps the value it shows now.
        double value = 0.0;
        leaf.getValue(value);
        fFinish.deleteNode(curve);
        fFinish.newPlugValueDouble(leaf, value);
      }
    }
    HStatus status = apply();
    if (status)
      setResult(removed);
    return status;
  }
};

// ---------------------------------------------------------------------------

class KeyframeCommand : public KeyEditCommand {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-q", "-query");
    syntax.addFlag("-kc", "-keyframeCount");
    syntax.addFlag("-tc", "-timeChange");
    syntax.addFlag("-vc", "-valueChange");
    syntax.addFlag("-itt", "-inTangentType");
    syntax.addFlag("-ott", "-outTangentType");
    syntax.addFlag("-is", "-inSlope");
    syntax.addFlag("-os", "-outSlope");
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }
  bool isUndoable() const override { return false; }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (!flag("-q"))
      return failure("keyframe lists keys: give -q with -kc, -tc, -vc, -itt, -ott, -is or -os");
    if (argCount() == 0)
      return failure("Give the attributes whose keys to list");
    std::vector<HPlug> leaves;
    if (!argumentLeaves(leaves))
      return HStatus::kFailure;
    const char* fields[] = {"-tc", "-vc", "-itt", "-ott", "-is", "-os"};
    int count = 0;
    for (const HPlug& leaf : leaves) {
      const HObject curve = curveDriving(leaf);
      const KeyList keys = curve.isNull() ? KeyList() : curveKeys(curve);
      count += int(keys.size());
      const Attribute* def = leafDef(leaf);
      for (size_t i = 0; i < keys.size(); ++i) {
        double inSlope = 0.0, outSlope = 0.0;
        keySlopes(keys, i, inSlope, outSlope);
        auto slopeText = [&](double slope) {
          return formatDouble(isAngleAttribute(def) ? radiansToDegrees(slope) : slope);
        };
        const std::string texts[] = {
            formatDouble(keys[i].time), formatLeafValue(def, keys[i].value),
            tangentName(keys[i].in),    tangentName(keys[i].out),
            slopeText(inSlope),         slopeText(outSlope)};
        std::string line;
        for (size_t f = 0; f < 6; ++f) {
          if (flag(fields[f]))
            appendToResult(HString(texts[f]));
          line += (f ? " " : "") + texts[f];
        }
        if (!anyField())
          appendToResult(HString(line));
      }
    }
    if (flag("-kc")) {
      clearResult();
      setResult(count);
    }
    return HStatus::kSuccess;
  }

 private:
  bool anyField() const {
    for (const char* f : {"-kc", "-tc", "-vc", "-itt", "-ott", "-is", "-os"}) {
      if (flag(f))
        return true;
    }
    return false;
  }
};

// ---------------------------------------------------------------------------

class CurrentTimeCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-q", "-query");
    syntax.addFlag("-fps", "-framesPerSecond", HSyntax::kString);
    syntax.setMinMaxArgs(0, 1);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    TimeState& time = timeState();
    if (flag("-q")) {
      if (argCount() > 0)
        return failure("A query takes no frame");
      setResult(HString(formatDouble(flag("-fps") ? time.fps() : time.current())));
      return HStatus::kSuccess;
    }
    if (flag("-fps")) {
      if (argCount() > 0)
        return failure("Give either a frame or -fps N");
      double fps = 0.0;
      if (!parseDouble(flagWord("-fps"), fps))
        return failure("'" + flagWord("-fps") + "' is not a number of frames per second");
      HStatus status = time.setFps(fps);
      return status ? status : failure(status.errorString().asStdString());
    }
    if (argCount() != 1)
      return failure("Give the frame to go to, or -q to ask for the current one");
    double frame = 0.0;
    if (!parseDouble(arg(0), frame))
      return failure("'" + arg(0) + "' is not a frame number");
    HStatus status = time.setCurrent(frame);
    if (!status)
      return failure(status.errorString().asStdString());
    // A solve that fails has said why; the time has moved all the same.
    setTimeAndEvaluate(frame);
    setResult(HString(formatDouble(frame)));
    return HStatus::kSuccess;
  }
};

class PlaybackOptionsCommand : public Command {
 public:
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-q", "-query");
    syntax.addFlag("-min", "-minTime", HSyntax::kString);
    syntax.addFlag("-max", "-maxTime", HSyntax::kString);
    syntax.setMinMaxArgs(0, 0);
    return syntax;
  }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    TimeState& time = timeState();
    if (flag("-q")) {
      if (flag("-min") || flag("-max"))
        return failure("-q gives the range as START END: it takes no -min or -max");
      appendToResult(HString(formatDouble(time.playbackStart())));
      appendToResult(HString(formatDouble(time.playbackEnd())));
      return HStatus::kSuccess;
    }
    if (!flag("-min") && !flag("-max"))
      return failure("Give -min START and/or -max END");
    double start = time.playbackStart(), end = time.playbackEnd();
    for (auto bound : {std::make_pair("-min", &start), std::make_pair("-max", &end)}) {
      if (flag(bound.first) && !parseDouble(flagWord(bound.first), *bound.second))
        return failure("'" + flagWord(bound.first) + "' is not a frame number for " + bound.first);
    }
    HStatus status = time.setPlaybackRange(start, end);
    return status ? status : failure(status.errorString().asStdString());
  }
};

// ---------------------------------------------------------------------------

// -t START:END and -by STEP, as play and bakeResults take them.
HSyntax rangeSyntax() {
  HSyntax syntax;
  syntax.addFlag("-t", "-time", HSyntax::kString);
  syntax.addFlag("-by", "-by", HSyntax::kString);
  syntax.setMinMaxArgs(0, 0);
  return syntax;
}

// World positions of the joints, in a fixed order.
std::vector<HVector> jointPositions(const std::vector<HObject>& joints) {
  std::vector<HVector> positions;
  for (const HObject& joint : joints) {
    const Node* node = nodeOf(joint);
    const HMatrix& m = node ? worldMatrix(node) : HMatrix();
    positions.emplace_back(m[3][0], m[3][1], m[3][2]);
  }
  return positions;
}

class PlayCommand : public Command {
 public:
  static HSyntax newSyntax() { return rangeSyntax(); }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    std::vector<double> frames;
    std::string error;
    if (!framesFromFlags(flag("-t"), flagWord("-t"), flag("-by"), flagWord("-by"), frames, error))
      return failure(error);
    std::vector<HObject> joints;
    for (const HObject& node : dagNodesParentFirst()) {
      if (node.hasFn(HFn::kJoint))
        joints.push_back(node);
    }
    double largest = 0.0;
    std::vector<HVector> previous;
    for (double frame : frames) {
      setTimeAndEvaluate(frame);
      std::vector<HVector> positions = jointPositions(joints);
      for (size_t j = 0; j < previous.size(); ++j)
        largest = std::max(largest, (positions[j] - previous[j]).length());
      previous.swap(positions);
    }
    setResult(HString(formatDouble(largest)));
    return HStatus::kSuccess;
  }
};

// ---------------------------------------------------------------------------

class BakeResultsCommand : public KeyEditCommand {
 public:
  static HSyntax newSyntax() { return rangeSyntax(); }

  HStatus doIt(const HArgList& args) override {
    if (!parse(args))
      return HStatus::kFailure;
    if (argCount() == 0)
      return failure("Give the joints (or IK handles, for their chains) to bake");
    std::vector<double> frames;
    std::string error;
    if (!framesFromFlags(flag("-t"), flagWord("-t"), flag("-by"), flagWord("-by"), frames, error))
      return failure(error);

    std::vector<HObject> joints;
    for (unsigned i = 0; i < argCount(); ++i) {
      const HObject node = nodeByName(arg(i), error);
      if (node.isNull())
        return failure(error);
      std::vector<HObject> found;
      if (node.hasFn(HFn::kIkHandle)) {
        const HObject start = nodeLink(node, kLinkStartJoint);
        const HObject effector = nodeLink(node, kLinkEndEffector);
        for (HObject n = nodeParent(effector); !n.isNull(); n = nodeParent(n)) {
          found.insert(found.begin(), n);
          if (n == start)
            break;
        }
        if (found.empty() || found.front() != start)
          return failure("IK handle '" + arg(i) + "' has no chain to bake");
      } else if (node.hasFn(HFn::kJoint)) {
        found.push_back(node);
      } else {
        return failure("'" + arg(i) + "' is neither a joint nor an IK handle");
      }
      for (const HObject& joint : found) {
        if (std::find(joints.begin(), joints.end(), joint) == joints.end())
          joints.push_back(joint);
      }
    }
    std::vector<HPlug> leaves;
    for (const HObject& joint : joints) {
      if (!collectLeaves(nodeName(joint) + ".rotate", leaves))
        return HStatus::kFailure;
    }
    for (const HPlug& leaf : leaves) {
      if (!keyable(leaf))
        return HStatus::kFailure;
    }

    // Sample the solved rotations, then go back to where the time was.
    const double now = timeState().current();
    std::vector<KeyList> sampled(leaves.size());
    for (double frame : frames) {
      setTimeAndEvaluate(frame);
      for (size_t i = 0; i < leaves.size(); ++i) {
        double value = 0.0;
        leaves[i].getValue(value);
        sampled[i].push_back(Key{frame, value, Tangent::kLinear, Tangent::kLinear});
      }
    }
    setTimeAndEvaluate(now);

    // Keys outside the range stay; those inside are replaced.
    for (size_t i = 0; i < leaves.size(); ++i) {
      const HObject curve = curveDriving(leaves[i]);
      KeyList keys = curve.isNull() ? KeyList() : curveKeys(curve);
      keys.erase(std::remove_if(keys.begin(), keys.end(),
                                [&](const Key& key) {
                                  return key.time >= frames.front() && key.time <= frames.back();
                                }),
                 keys.end());
      keys.insert(keys.end(), sampled[i].begin(), sampled[i].end());
      std::sort(keys.begin(), keys.end(),
                [](const Key& a, const Key& b) { return a.time < b.time; });
      recordKeys(leaves[i], keys);
    }
    switchOffHandles(joints);
    HStatus status = apply();
    if (status)
      setResult(int(leaves.size() * frames.size()));
    return status;
  }

 private:
  // Handles whose chains hold a baked joint would fight the keys: they are
  // switched off (undo switches them on again).
  void switchOffHandles(const std::vector<HObject>& joints) {
    for (const HObject& handle : nodesMatching("*")) {
      if (!handle.hasFn(HFn::kIkHandle))
        continue;
      const HObject start = nodeLink(handle, kLinkStartJoint);
      bool baked = false;
      for (HObject n = nodeParent(nodeLink(handle, kLinkEndEffector)); !n.isNull() && !baked;
           n = nodeParent(n)) {
        baked = std::find(joints.begin(), joints.end(), n) != joints.end();
        if (n == start)
          break;
      }
      const HPlug enable = HFnDependencyNode(handle).findPlug("solverEnable");
      if (baked && enable.asBool())
        fFinish.newPlugValueBool(enable, false);
    }
  }
};

const BuiltinCommand kCurrentTime(
    "currentTime", newCommand<CurrentTimeCommand>, CurrentTimeCommand::newSyntax,
    "currentTime FRAME | currentTime -q | currentTime -fps N | currentTime -q -fps  (going to a "
    "frame evaluates the animation curves, then the IK handles)");
const BuiltinCommand kPlaybackOptions(
    "playbackOptions", newCommand<PlaybackOptionsCommand>, PlaybackOptionsCommand::newSyntax,
    "playbackOptions -min START -max END | playbackOptions -q  (the range, START END, that "
    "play, bakeResults and the viewport's slider use)");
const BuiltinCommand kSetKeyframe(
    "setKeyframe", newCommand<SetKeyframeCommand>, SetKeyframeCommand::newSyntax,
    "setKeyframe [-t FRAME] [-v VALUE] [-itt smooth|linear|step] [-ott smooth|linear|step] "
    "PLUG|NODE...  (keys the current value at the current frame by default)");
const BuiltinCommand kKeyframe(
    "keyframe", newCommand<KeyframeCommand>, KeyframeCommand::newSyntax,
    "keyframe -q [-kc] [-tc] [-vc] [-itt] [-ott] [-is] [-os] PLUG|NODE...  (without a field "
    "flag: one line per key, 'time value in out inSlope outSlope')");
const BuiltinCommand kCutKey("cutKey", newCommand<CutKeyCommand>, CutKeyCommand::newSyntax,
                             "cutKey [-t START:END] PLUG|NODE...  (every key without -t; an "
                             "attribute left without keys keeps its current value)");
const BuiltinCommand kPlay("play", newCommand<PlayCommand>, PlayCommand::newSyntax,
                           "play [-t START:END] [-by STEP]  (evaluates every frame, ends on the "
                           "last; the result is the largest joint move between two frames)");
const BuiltinCommand kBakeResults(
    "bakeResults", newCommand<BakeResultsCommand>, BakeResultsCommand::newSyntax,
    "bakeResults [-t START:END] [-by STEP] JOINT|IKHANDLE...  (keys the solved rotations on "
    "the joints and switches their IK handles off)");

}  // namespace
}  // namespace builtin
}  // namespace hostdetail

#pragma once
// Animation curves: the keys of one animated attribute, how a value is found
// between them, and the `animCurve` node type that holds them in the scene.
//
// An animCurve node keeps its keys in the array attribute keyTimeValue
// (ktv), one element per key with the children keyTime (kt, frames),
// keyValue (kv, in the driven attribute's internal unit: radians for
// angles) and the tangent types inTangentType (itt) and outTangentType
// (ott). Its output (o) is connected to the attribute it drives; output is
// not saved, since it follows from the keys and the current time.
//
// Between two keys the value is a cubic Hermite segment whose end slopes
// come from the keys' tangent types:
//   linear  the slope of the straight line to the neighbouring key;
//   smooth  clamped: the slope through both neighbours, zero at a key that is
//           not strictly between them (a peak, a trough or a flat), and at
//           most three times either neighbouring line's slope, which is
//           enough for a cubic never to leave the range of its two keys;
//   step    the segment after a key with a step out tangent (or before a key
//           with a step in tangent) holds the earlier key's value.
// Before the first key and after the last the value stays at that key's.

#include <cstdint>
#include <string>
#include <vector>

#include "HObject.h"
#include "HPlug.h"
#include "HStatus.h"

namespace hostdetail {

enum class Tangent : int { kSmooth = 0, kLinear = 1, kStep = 2 };

// "smooth", "linear" or "step"; false for anything else.
bool parseTangent(const std::string& text, Tangent& tangent);
const char* tangentName(Tangent tangent);

struct Key {
  double time = 0.0;   // frames
  double value = 0.0;  // the driven attribute's internal unit
  Tangent in = Tangent::kSmooth;
  Tangent out = Tangent::kSmooth;
};

// Keys sorted by time with no two at one time (setKeyframe keeps them so).
using KeyList = std::vector<Key>;

// The value at a time. Exactly a key's value at its time; the first or last
// key's value outside them; 0 for no keys.
double evaluateKeys(const KeyList& keys, double time);
// The slopes (value per frame) the segments meeting at key i use on its in
// and out side; 0 for step tangents.
void keySlopes(const KeyList& keys, size_t i, double& in, double& out);

// ---------------------------------------------------------------------------
// Curves in the scene

constexpr const char* kAnimCurveType = "animCurve";

bool isAnimCurve(const HObject& node);
// The curve node that drives a plug through its output, or null.
HObject curveDriving(const HPlug& plug);
HPlug curveOutput(const HObject& curve);
// The curve's keys, sorted by time (cached until the keys change).
KeyList curveKeys(const HObject& curve);
// Replaces the curve's keys (written in time order, one element per key).
HStatus writeCurveKeys(const HObject& curve, const KeyList& keys);

// Writes the value of every curve whose keys changed since it was last
// evaluated (all of them after markAllCurvesDirty) at the current time to its
// output, so that what it drives follows. Called by the evaluation hook
// before the IK handles are solved.
void evaluateCurves();
void markAllCurvesDirty();
// How many curves the scene holds (evaluated per frame change).
size_t curveCount();

}  // namespace hostdetail

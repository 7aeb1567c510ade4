// HRampAttribute: a curve ramp stored as an array of (position, value,
// interpolation) compounds.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "HRampAttribute.h"
#include "Node.h"
#include "PlugAccess.h"

using namespace hostdetail;

namespace {

// The three children of a ramp element, found by their names.
struct RampChildren {
  int position = -1;
  int value = -1;
  int interp = -1;
};

// True when name is stem followed by suffix. Checked in place: ramps are read
// on every solve, and building the joined name would allocate each time.
bool isStemAndSuffix(const std::string& name, const std::string& stem, const char* suffix) {
  const size_t suffixLength = std::strlen(suffix);
  return name.size() == stem.size() + suffixLength && name.compare(0, stem.size(), stem) == 0 &&
         name.compare(stem.size(), suffixLength, suffix) == 0;
}

bool rampShape(const Attribute* def, RampChildren& children) {
  if (!def || !def->array || def->kind != AttrKind::kCompound || def->numericCompound)
    return false;
  for (size_t i = 0; i < def->children.size(); ++i) {
    const Attribute* child = def->children[i].get();
    bool numeric = child->kind == AttrKind::kNumeric && !child->array;
    if (isStemAndSuffix(child->longName, def->longName, "_Position") && numeric)
      children.position = int(i);
    if (isStemAndSuffix(child->longName, def->longName, "_FloatValue") && numeric)
      children.value = int(i);
    if (isStemAndSuffix(child->longName, def->longName, "_Interp") && !child->array &&
        (child->kind == AttrKind::kEnum || child->kind == AttrKind::kNumeric))
      children.interp = int(i);
  }
  return children.position >= 0 && children.value >= 0 && children.interp >= 0;
}

bool validRamp(const HPlug& plug, RampChildren& children) {
  PlugRef ref;
  if (resolve(plug, ref) != PlugState::kArray)
    return false;
  return rampShape(ref.attribute, children);
}

struct Entry {
  unsigned index;
  float position;
  float value;
  int interp;
};

// A ramp of a node that nothing feeds is read straight from its element
// blocks, as the element plugs would read it: a solver reads its ramp on
// every solve.
bool readStoredEntries(const HPlug& plug, const RampChildren& c, std::vector<Entry>& entries) {
  PlugRef ref;
  if (resolve(plug, ref) != PlugState::kArray || !ref.node->incoming.empty())
    return false;
  const Block* block = findBlock(ref, plugIndices(plug), false);
  if (!block)
    return true;
  const auto& children = ref.attribute->children;
  const size_t position = size_t(children[size_t(c.position)]->numSlot);
  const size_t value = size_t(children[size_t(c.value)]->numSlot);
  const size_t interp = size_t(children[size_t(c.interp)]->numSlot);
  const auto& elements = block->arrays[size_t(ref.attribute->arraySlot)];
  entries.reserve(elements.size());
  for (const auto& element : elements) {
    const std::vector<double>& numbers = element.second->numbers;
    entries.push_back(Entry{element.first,
                            float(normaliseNumber(HFnNumericData::kFloat, numbers[position])),
                            float(normaliseNumber(HFnNumericData::kFloat, numbers[value])),
                            int(normaliseNumber(HFnNumericData::kInt, numbers[interp]))});
  }
  return true;
}

std::vector<Entry> readEntries(const HPlug& plug, const RampChildren& c) {
  std::vector<Entry> entries;
  if (readStoredEntries(plug, c, entries))
    return entries;
  HIntArray indices;
  plug.getExistingArrayAttributeIndices(indices);
  for (unsigned i = 0; i < indices.length(); ++i) {
    HPlug element = plug.elementByLogicalIndex(unsigned(indices[i]));
    Entry e{unsigned(indices[i]), 0.0f, 0.0f, 0};
    element.child(unsigned(c.position)).getValue(e.position);
    element.child(unsigned(c.value)).getValue(e.value);
    element.child(unsigned(c.interp)).getValue(e.interp);
    entries.push_back(e);
  }
  return entries;
}

float smoothstep(float t) {
  return t * t * (3.0f - 2.0f * t);
}

// Catmull-Rom through p1..p2 with neighbours p0 and p3.
float catmullRom(float p0, float p1, float p2, float p3, float t) {
  float t2 = t * t, t3 = t2 * t;
  return 0.5f * (2.0f * p1 + (p2 - p0) * t + (2.0f * p0 - 5.0f * p1 + 4.0f * p2 - p3) * t2 +
                 (3.0f * p1 - p0 - 3.0f * p2 + p3) * t3);
}

}  // namespace

HRampAttribute::HRampAttribute(const HObject& node, const HObject& attribute, HStatus* status)
    : HRampAttribute(HPlug(node, attribute), status) {}

HRampAttribute::HRampAttribute(const HPlug& plug, HStatus* status) {
  RampChildren children;
  if (!validRamp(plug, children)) {
    setStatus(status, invalid("Attribute is not a ramp"));
    return;
  }
  fPlug = plug;
  setOk(status);
}

bool HRampAttribute::isValid() const {
  RampChildren children;
  return validRamp(fPlug, children);
}

#define RAMP_OR_FAIL(fallback)                       \
  RampChildren children;                             \
  if (!validRamp(fPlug, children)) {                 \
    setStatus(status, invalid("Ramp is not valid")); \
    return fallback;                                 \
  }                                                  \
  setOk(status);

unsigned HRampAttribute::getNumEntries(HStatus* status) const {
  RAMP_OR_FAIL(0);
  return fPlug.numElements();
}

void HRampAttribute::getEntries(HIntArray& indexes, HFloatArray& positions, HFloatArray& values,
                                HIntArray& interps, HStatus* status) const {
  RAMP_OR_FAIL();
  auto entries = readEntries(fPlug, children);
  unsigned n = unsigned(entries.size());
  indexes.setLength(n);
  positions.setLength(n);
  values.setLength(n);
  interps.setLength(n);
  for (unsigned i = 0; i < n; ++i) {
    indexes[i] = int(entries[i].index);
    positions[i] = entries[i].position;
    values[i] = entries[i].value;
    interps[i] = entries[i].interp;
  }
}

void HRampAttribute::addEntries(const HFloatArray& positions, const HFloatArray& values,
                                const HIntArray& interps, HStatus* status) {
  RAMP_OR_FAIL();
  if (positions.length() != values.length() || positions.length() != interps.length()) {
    setStatus(status, invalid("Entry arrays differ in length"));
    return;
  }
  HIntArray existing;
  fPlug.getExistingArrayAttributeIndices(existing);
  unsigned next = existing.length() ? unsigned(existing[existing.length() - 1]) + 1 : 0;
  for (unsigned i = 0; i < positions.length(); ++i) {
    HPlug element = fPlug.elementByLogicalIndex(next + i);
    HStatus result = element.child(unsigned(children.position)).setValue(positions[i]);
    if (result.statusCode() == HStatus::kSuccess)
      result = element.child(unsigned(children.value)).setValue(values[i]);
    if (result.statusCode() == HStatus::kSuccess)
      result = element.child(unsigned(children.interp)).setValue(interps[i]);
    if (result.statusCode() != HStatus::kSuccess) {
      setStatus(status, result);
      return;
    }
  }
}

// An entry goes unless its element or the whole ramp is locked (locks on
// single fields guard those fields only).
void HRampAttribute::deleteEntries(const HIntArray& indexes, HStatus* status) {
  RAMP_OR_FAIL();
  for (unsigned i = 0; i < indexes.length(); ++i) {
    if (indexes[i] < 0) {
      setStatus(status, invalid("Negative entry index"));
      continue;
    }
    HStatus result = fPlug.elementByLogicalIndex(unsigned(indexes[i])).removeElement();
    if (result.statusCode() != HStatus::kSuccess)
      setStatus(status, result);
  }
}

namespace {
HStatus setField(const HPlug& ramp, unsigned index, int child, double value) {
  HPlug element = ramp.elementByLogicalIndex(index);
  if (!elementExists(element))
    return invalid("No ramp entry of that index");
  return element.child(unsigned(child)).setValue(value);
}
}  // namespace

void HRampAttribute::setPositionAtIndex(float position, unsigned index, HStatus* status) {
  RAMP_OR_FAIL();
  setStatus(status, setField(fPlug, index, children.position, double(position)));
}

void HRampAttribute::setValueAtIndex(float value, unsigned index, HStatus* status) {
  RAMP_OR_FAIL();
  setStatus(status, setField(fPlug, index, children.value, double(value)));
}

void HRampAttribute::setInterpolationAtIndex(HInterpolation interp, unsigned index,
                                             HStatus* status) {
  RAMP_OR_FAIL();
  if (interp < kNone || interp > kSpline) {
    setStatus(status, invalid("Unknown interpolation"));
    return;
  }
  setStatus(status, setField(fPlug, index, children.interp, double(interp)));
}

// Each segment uses the interpolation of the entry that starts it. Unknown
// interpolation values read as linear; entries sharing a position resolve to
// the later one.
void HRampAttribute::getValueAtPosition(float position, float& value, HStatus* status) const {
  RAMP_OR_FAIL();
  auto entries = readEntries(fPlug, children);
  if (entries.empty() || !std::isfinite(position)) {
    value = entries.empty() ? 0.0f : entries.front().value;
    return;
  }
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.position < b.position; });
  if (position <= entries.front().position) {
    value = entries.front().value;
    return;
  }
  if (position >= entries.back().position) {
    value = entries.back().value;
    return;
  }
  size_t i = 0;
  while (i + 1 < entries.size() && entries[i + 1].position <= position)
    ++i;
  const Entry& a = entries[i];
  const Entry& b = entries[i + 1];
  float span = b.position - a.position;
  float t = span > 0.0f ? (position - a.position) / span : 1.0f;
  switch (a.interp) {
    case kNone:
      value = a.value;
      break;
    case kSmooth:
      value = a.value + (b.value - a.value) * smoothstep(t);
      break;
    case kSpline: {
      float p0 = i > 0 ? entries[i - 1].value : a.value;
      float p3 = i + 2 < entries.size() ? entries[i + 2].value : b.value;
      value = catmullRom(p0, a.value, b.value, p3, t);
      break;
    }
    default:
      value = a.value + (b.value - a.value) * t;
      break;
  }
}

#undef RAMP_OR_FAIL

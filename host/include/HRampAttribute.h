#pragma once
#include "HFloatArray.h"
#include "HIntArray.h"
#include "HObject.h"
#include "HPlug.h"
#include "HStatus.h"

// A curve ramp: an array compound attribute whose children are a float
// position, a float value and an interpolation enum, named after the ramp with
// "_Position", "_FloatValue" and "_Interp". Indices are logical indices of the
// array's elements; entries are listed in logical-index order.
class HRampAttribute {
 public:
  enum HInterpolation { kNone = 0, kLinear = 1, kSmooth = 2, kSpline = 3 };

  HRampAttribute() = default;
  // Fails (status) for a missing attribute or one that is not ramp-shaped.
  HRampAttribute(const HObject& node, const HObject& attribute, HStatus* status = nullptr);
  explicit HRampAttribute(const HPlug& plug, HStatus* status = nullptr);

  bool isValid() const;
  unsigned getNumEntries(HStatus* status = nullptr) const;
  void getEntries(HIntArray& indexes, HFloatArray& positions, HFloatArray& values,
                  HIntArray& interps, HStatus* status = nullptr) const;
  // Adds one entry per element of the three arrays, at the logical indices
  // after the last existing one. Arrays of different lengths are refused.
  void addEntries(const HFloatArray& positions, const HFloatArray& values, const HIntArray& interps,
                  HStatus* status = nullptr);
  // Deletes the entries of the given logical indices; an entry is refused only
  // when its element or the whole ramp is locked (field locks guard the field).
  void deleteEntries(const HIntArray& indexes, HStatus* status = nullptr);
  // Overwrite one field of the entry of the given logical index; a locked
  // field or a missing entry refuses with a failure status.
  void setPositionAtIndex(float position, unsigned index, HStatus* status = nullptr);
  void setValueAtIndex(float value, unsigned index, HStatus* status = nullptr);
  void setInterpolationAtIndex(HInterpolation interp, unsigned index, HStatus* status = nullptr);
  // The curve's value at a position, interpolated between the entries sorted by
  // position; constant beyond the first and last entries; 0 for an empty ramp.
  // Each segment uses the interpolation of the entry that starts it: None
  // holds that entry's value, Linear, Smooth (smoothstep), Spline
  // (Catmull-Rom through the neighbouring entries, the ends repeated).
  // Entries sharing a position resolve to the later one; unknown
  // interpolation values act as Linear.
  void getValueAtPosition(float position, float& value, HStatus* status = nullptr) const;

 private:
  HPlug fPlug;
};

// Arrays of numbers, vectors and points keep their first entries inside the
// array object and move to the heap beyond that; every operation must behave
// the same on either side of that boundary and across it.

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "HDoubleArray.h"
#include "HIntArray.h"
#include "HPointArray.h"
#include "HVectorArray.h"

namespace {

// Lengths around the number of entries held without the heap.
template <class Array>
std::vector<unsigned> lengthsAroundTheBoundary() {
  using T = typename Array::value_type;
  const unsigned inlineCount = unsigned(hostarray::SmallStorage<T>::kInline);
  return {0u, 1u, inlineCount - 1, inlineCount, inlineCount + 1, 3 * inlineCount + 2};
}

// An array and the std::vector it should equal, driven side by side.
TEST(ArrayStorage, MatchesAVectorThroughEveryOperation) {
  for (unsigned length : lengthsAroundTheBoundary<HIntArray>()) {
    HIntArray array;
    std::vector<int> model;
    for (unsigned i = 0; i < length; ++i) {
      array.append(int(i));
      model.push_back(int(i));
    }
    // Inserting one of the array's own entries while it has to grow.
    if (length > 0) {
      array.insert(array[0], length / 2);
      model.insert(model.begin() + length / 2, model[0]);
      array.append(array[length / 2]);
      model.push_back(model[length / 2]);
    }
    array.insert(-7, 0);
    model.insert(model.begin(), -7);
    array.remove(array.length() - 1);
    model.pop_back();
    ASSERT_EQ(array.length(), model.size()) << "length " << length;
    for (unsigned i = 0; i < model.size(); ++i)
      EXPECT_EQ(array[i], model[i]) << "length " << length << " entry " << i;

    // Copies and moves keep the entries and leave the source usable.
    HIntArray copied(array);
    EXPECT_EQ(copied, array);
    HIntArray moved(std::move(copied));
    EXPECT_EQ(moved, array);
    EXPECT_EQ(copied.length(), 0u);
    copied.append(5);
    EXPECT_EQ(copied, HIntArray({5}));
    HIntArray assigned({1, 2, 3});
    assigned = moved;
    EXPECT_EQ(assigned, array);
    assigned = HIntArray({9});
    EXPECT_EQ(assigned, HIntArray({9}));
    moved = std::move(assigned);
    EXPECT_EQ(moved, HIntArray({9}));
  }
}

TEST(ArrayStorage, ShrinkingThenGrowingGivesFreshEntries) {
  for (unsigned length : lengthsAroundTheBoundary<HPointArray>()) {
    HPointArray points(length, HPoint(1.0, 2.0, 3.0, 4.0));
    points.setLength(length / 2);
    points.setLength(length + 3);
    for (unsigned i = 0; i < points.length(); ++i) {
      const HPoint expected = i < length / 2 ? HPoint(1.0, 2.0, 3.0, 4.0) : HPoint::origin;
      EXPECT_EQ(points[i], expected) << "length " << length << " entry " << i;
    }
  }
  HDoubleArray values(70, 2.5);
  values.clear();
  values.setLength(2);
  EXPECT_EQ(values, HDoubleArray({0.0, 0.0}));
}

TEST(ArrayStorage, EqualityAndIterationCoverEveryEntry) {
  for (unsigned length : lengthsAroundTheBoundary<HVectorArray>()) {
    HVectorArray a, b;
    for (unsigned i = 0; i < length; ++i) {
      a.append(HVector(i, -1.0, 0.5 * i));
      b.append(HVector(i, -1.0, 0.5 * i));
    }
    EXPECT_EQ(a, b);
    double sum = 0.0;
    for (const HVector& v : a)
      sum += v.x;
    EXPECT_EQ(sum, 0.5 * length * (length - 1.0)) << "length " << length;
    if (length > 0) {
      b[length - 1].y = 1.0;  // only the last entry differs
      EXPECT_NE(a, b);
    }
  }
}

}  // namespace

#pragma once
#include <initializer_list>
#include <ostream>
#include <type_traits>
#include <utility>
#include <vector>

#include "HArrayStorage.h"
#include "HStatus.h"

// The one array template behind every H*Array type. T must be copyable and
// default constructible. New entries made by setLength are value-initialised
// (0 for numbers, the zero vector, the origin point, an empty string).
//
// Indexing past the end never touches memory outside the array: a const read
// gives a value-initialised T, and a write goes to a scratch value that is
// thrown away. Operations that take an index report a bad one with
// kInvalidParameter and leave the array unchanged.
template <class T>
class HArray {
  // Plain-data elements keep short arrays inside the object (see
  // HArrayStorage.h); others use a vector.
  using Storage = typename std::conditional<std::is_trivially_copyable<T>::value &&
                                                std::is_trivially_destructible<T>::value,
                                            hostarray::SmallStorage<T>, std::vector<T>>::type;

 public:
  using value_type = T;
  using iterator = decltype(std::declval<Storage&>().begin());
  using const_iterator = decltype(std::declval<const Storage&>().begin());

  HArray() = default;
  explicit HArray(unsigned n, const T& init = T()) : fData(n, init) {}
  HArray(std::initializer_list<T> values) : fData(values) {}
  HArray(const T* values, unsigned n) : fData(values, values + (values ? n : 0)) {}

  unsigned length() const { return static_cast<unsigned>(fData.size()); }
  HStatus setLength(unsigned n) {
    fData.resize(n);
    return HStatus::kSuccess;
  }
  // Keeps room for n entries without changing the length.
  void setSizeIncrement(unsigned n) { fData.reserve(fData.size() + n); }
  HStatus clear() {
    fData.clear();
    return HStatus::kSuccess;
  }
  HStatus append(const T& value) {
    fData.push_back(value);
    return HStatus::kSuccess;
  }
  // index == length() appends.
  HStatus insert(const T& value, unsigned index) {
    if (index > fData.size())
      return HStatus::kInvalidParameter;
    fData.insert(fData.begin() + index, value);
    return HStatus::kSuccess;
  }
  HStatus remove(unsigned index) {
    if (index >= fData.size())
      return HStatus::kInvalidParameter;
    fData.erase(fData.begin() + index);
    return HStatus::kSuccess;
  }
  HStatus set(const T& value, unsigned index) {
    if (index >= fData.size())
      return HStatus::kInvalidParameter;
    fData[index] = value;
    return HStatus::kSuccess;
  }
  HStatus copy(const HArray& other) {
    if (this != &other)
      fData = other.fData;
    return HStatus::kSuccess;
  }

  T& operator[](unsigned index) {
    if (index < fData.size())
      return fData[index];
    return scratch();
  }
  const T& operator[](unsigned index) const {
    if (index < fData.size())
      return fData[index];
    static const T kEmpty{};
    return kEmpty;
  }

  iterator begin() { return fData.begin(); }
  iterator end() { return fData.end(); }
  const_iterator begin() const { return fData.begin(); }
  const_iterator end() const { return fData.end(); }
  T* data() { return fData.data(); }
  const T* data() const { return fData.data(); }

  bool operator==(const HArray& other) const { return fData == other.fData; }
  bool operator!=(const HArray& other) const { return !(fData == other.fData); }

 private:
  static T& scratch() {
    thread_local T value{};
    value = T{};
    return value;
  }

  Storage fData;
};

// Writes "[a, b, c]".
template <class T>
std::ostream& operator<<(std::ostream& os, const HArray<T>& array) {
  os << '[';
  for (unsigned i = 0; i < array.length(); ++i) {
    if (i)
      os << ", ";
    os << array[i];
  }
  return os << ']';
}

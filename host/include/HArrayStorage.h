#pragma once
// Storage behind HArray for element types that copy as plain bytes (numbers,
// vectors, points): the first entries live inside the array object itself,
// so the short arrays that solvers make and drop many times per solve never
// touch the heap; longer ones move to the heap as a vector would. It offers
// the part of std::vector's interface that HArray uses.

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <type_traits>

namespace hostarray {

template <class T>
class SmallStorage {
  static_assert(std::is_trivially_copyable<T>::value && std::is_trivially_destructible<T>::value,
                "SmallStorage holds plain-data elements only");

 public:
  // Entries held without a heap block: half a kilobyte's worth.
  static constexpr std::size_t kInline = 512 / sizeof(T) > 0 ? 512 / sizeof(T) : 1;

  SmallStorage() = default;
  SmallStorage(std::size_t n, const T& init) {
    reserve(n);
    for (std::size_t i = 0; i < n; ++i)
      new (fBegin + i) T(init);
    fSize = n;
  }
  SmallStorage(std::initializer_list<T> values) : SmallStorage(values.begin(), values.end()) {}
  SmallStorage(const T* first, const T* last) { assign(first, std::size_t(last - first)); }
  SmallStorage(const SmallStorage& other) { assign(other.fBegin, other.fSize); }
  SmallStorage(SmallStorage&& other) noexcept { take(other); }
  SmallStorage& operator=(const SmallStorage& other) {
    if (this != &other) {
      fSize = 0;
      assign(other.fBegin, other.fSize);
    }
    return *this;
  }
  SmallStorage& operator=(SmallStorage&& other) noexcept {
    if (this != &other) {
      release();
      take(other);
    }
    return *this;
  }
  ~SmallStorage() { release(); }

  std::size_t size() const { return fSize; }
  T* data() { return fBegin; }
  const T* data() const { return fBegin; }
  T* begin() { return fBegin; }
  T* end() { return fBegin + fSize; }
  const T* begin() const { return fBegin; }
  const T* end() const { return fBegin + fSize; }
  T& operator[](std::size_t i) { return fBegin[i]; }
  const T& operator[](std::size_t i) const { return fBegin[i]; }

  void reserve(std::size_t n) {
    if (n <= fCapacity)
      return;
    std::size_t capacity = fCapacity * 2;
    if (capacity < n)
      capacity = n;
    T* block = static_cast<T*>(std::malloc(capacity * sizeof(T)));
    if (!block)
      throw std::bad_alloc();
    if (fSize)
      std::memcpy(static_cast<void*>(block), fBegin, fSize * sizeof(T));
    release();
    fBegin = block;
    fCapacity = capacity;
  }
  // New entries are value-initialised, as std::vector::resize makes them.
  void resize(std::size_t n) {
    reserve(n);
    for (std::size_t i = fSize; i < n; ++i)
      new (fBegin + i) T();
    fSize = n;
  }
  void clear() { fSize = 0; }
  void push_back(const T& value) {
    const T copy = value;  // value may live in this array, which may move
    reserve(fSize + 1);
    new (fBegin + fSize) T(copy);
    ++fSize;
  }
  T* insert(T* position, const T& value) {
    const std::size_t index = std::size_t(position - fBegin);
    const T copy = value;
    reserve(fSize + 1);
    std::memmove(static_cast<void*>(fBegin + index + 1), fBegin + index,
                 (fSize - index) * sizeof(T));
    new (fBegin + index) T(copy);
    ++fSize;
    return fBegin + index;
  }
  T* erase(T* position) {
    const std::size_t index = std::size_t(position - fBegin);
    std::memmove(static_cast<void*>(fBegin + index), fBegin + index + 1,
                 (fSize - index - 1) * sizeof(T));
    --fSize;
    return fBegin + index;
  }

  bool operator==(const SmallStorage& other) const {
    if (fSize != other.fSize)
      return false;
    for (std::size_t i = 0; i < fSize; ++i) {
      if (!(fBegin[i] == other.fBegin[i]))
        return false;
    }
    return true;
  }

 private:
  T* inlineBlock() { return reinterpret_cast<T*>(fInline); }
  bool onHeap() const { return fBegin != reinterpret_cast<const T*>(fInline); }

  void assign(const T* values, std::size_t n) {
    reserve(n);
    if (n)
      std::memcpy(static_cast<void*>(fBegin), values, n * sizeof(T));
    fSize = n;
  }
  void release() {
    if (onHeap())
      std::free(fBegin);
    fBegin = inlineBlock();
    fCapacity = kInline;
  }
  // Moves other's entries here (this holds nothing) and leaves other empty.
  void take(SmallStorage& other) {
    if (other.onHeap()) {
      fBegin = other.fBegin;
      fCapacity = other.fCapacity;
      fSize = other.fSize;
      other.fBegin = other.inlineBlock();
      other.fCapacity = kInline;
    } else {
      fBegin = inlineBlock();
      fCapacity = kInline;
      assign(other.fBegin, other.fSize);
    }
    other.fSize = 0;
  }

  alignas(T) unsigned char fInline[kInline * sizeof(T)];
  T* fBegin = reinterpret_cast<T*>(fInline);
  std::size_t fSize = 0;
  std::size_t fCapacity = kInline;
};

}  // namespace hostarray

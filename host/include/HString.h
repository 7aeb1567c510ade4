#pragma once
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

class HStatus;
class HStringArray;

// A UTF-8 string. Indices and lengths count bytes, except numChars(), which
// counts code points.
class HString {
 public:
  HString() = default;
  HString(const char* text) : fText(text ? text : "") {}  // NOLINT: implicit by design
  HString(const char* text, int byteCount);
  HString(const std::string& text) : fText(text) {}        // NOLINT: implicit by design
  HString(std::string&& text) : fText(std::move(text)) {}  // NOLINT: implicit by design

  const char* asChar() const { return fText.c_str(); }
  const std::string& asStdString() const { return fText; }
  // Bytes, not counting the terminating null.
  unsigned length() const { return static_cast<unsigned>(fText.size()); }
  // UTF-8 code points (bytes that do not continue a multi-byte sequence).
  unsigned numChars() const;
  bool isEmpty() const { return fText.empty(); }
  void clear() { fText.clear(); }

  HString& operator+=(const HString& other) {
    fText += other.fText;
    return *this;
  }
  HString& operator+=(const char* text) {
    if (text)
      fText += text;
    return *this;
  }
  HString& operator+=(char c) {
    fText += c;
    return *this;
  }
  // Numbers append in their shortest form that reads back to the same value.
  HString& operator+=(int value);
  HString& operator+=(unsigned value);
  HString& operator+=(double value);
  HString& operator+=(float value) { return *this += static_cast<double>(value); }

  // Splits at every occurrence of delimiter; empty pieces are dropped, so
  // "a,,b," gives "a", "b" and an empty string gives no piece. Always succeeds.
  HStatus split(char delimiter, HStringArray& pieces) const;
  // Bytes start to end, both inclusive. Indices are clamped to the string; an
  // empty range (start > end, or start past the end) gives "".
  HString substring(int start, int end) const;
  // Byte index of the first / last occurrence of c, or -1.
  int indexW(char c) const;
  int rindexW(char c) const;
  // Copies with ASCII letters converted; other bytes are unchanged.
  HString toLowerCase() const;
  HString toUpperCase() const;

  // Whole-string numbers: optional surrounding whitespace, an optional sign,
  // then digits (isInt, within the range of int) or a finite decimal or
  // exponent number (isDouble). asInt / asDouble give 0 when the test fails.
  bool isInt() const;
  int asInt() const;
  bool isDouble() const;
  double asDouble() const;

 private:
  std::string fText;
};

inline HString operator+(const HString& a, const HString& b) {
  return HString(a.asStdString() + b.asStdString());
}
inline HString operator+(const HString& a, const char* b) {
  HString r(a);
  r += b;
  return r;
}
inline HString operator+(const char* a, const HString& b) {
  return HString(a) + b;
}
inline bool operator==(const HString& a, const HString& b) {
  return a.asStdString() == b.asStdString();
}
inline bool operator!=(const HString& a, const HString& b) {
  return !(a == b);
}
inline bool operator<(const HString& a, const HString& b) {
  return a.asStdString() < b.asStdString();
}
inline bool operator==(const HString& a, const char* b) {
  return a.asStdString() == (b ? b : "");
}
inline bool operator!=(const HString& a, const char* b) {
  return !(a == b);
}
std::ostream& operator<<(std::ostream& os, const HString& s);

namespace std {
template <>
struct hash<HString> {
  size_t operator()(const HString& s) const noexcept {
    return std::hash<std::string>()(s.asStdString());
  }
};
}  // namespace std

// HStatus needs the complete HString; including it last lets either header
// be included first.
#include "HStatus.h"

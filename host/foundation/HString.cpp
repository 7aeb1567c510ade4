#include "HString.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "HStringArray.h"

HString::HString(const char* text, int byteCount) {
  if (text && byteCount > 0)
    fText.assign(text, static_cast<size_t>(byteCount));
}

unsigned HString::numChars() const {
  unsigned n = 0;
  for (unsigned char c : fText) {
    if ((c & 0xC0) != 0x80)
      ++n;
  }
  return n;
}

HString& HString::operator+=(int value) {
  fText += std::to_string(value);
  return *this;
}

HString& HString::operator+=(unsigned value) {
  fText += std::to_string(value);
  return *this;
}

HString& HString::operator+=(double value) {
  // The shortest %g form that reads back to the same double, so messages stay
  // short and no precision is lost.
  char buffer[32];
  for (int precision = 1; precision <= 17; ++precision) {
    std::snprintf(buffer, sizeof buffer, "%.*g", precision, value);
    if (std::strtod(buffer, nullptr) == value || std::isnan(value))
      break;
  }
  fText += buffer;
  return *this;
}

HStatus HString::split(char delimiter, HStringArray& pieces) const {
  pieces.clear();
  size_t start = 0;
  while (start <= fText.size()) {
    size_t end = fText.find(delimiter, start);
    if (end == std::string::npos)
      end = fText.size();
    if (end > start)
      pieces.append(HString(fText.substr(start, end - start)));
    start = end + 1;
  }
  return HStatus::kSuccess;
}

HString HString::substring(int start, int end) const {
  const int n = static_cast<int>(fText.size());
  if (start < 0)
    start = 0;
  if (end >= n)
    end = n - 1;
  if (start > end)
    return HString();
  return HString(fText.substr(static_cast<size_t>(start), static_cast<size_t>(end - start + 1)));
}

int HString::indexW(char c) const {
  const size_t i = fText.find(c);
  return i == std::string::npos ? -1 : static_cast<int>(i);
}

int HString::rindexW(char c) const {
  const size_t i = fText.rfind(c);
  return i == std::string::npos ? -1 : static_cast<int>(i);
}

HString HString::toLowerCase() const {
  std::string s(fText);
  for (char& c : s) {
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  }
  return HString(std::move(s));
}

HString HString::toUpperCase() const {
  std::string s(fText);
  for (char& c : s) {
    if (c >= 'a' && c <= 'z')
      c = static_cast<char>(c - 'a' + 'A');
  }
  return HString(std::move(s));
}

namespace {

bool isSpace(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The text without surrounding whitespace.
std::string trimmed(const std::string& s) {
  size_t b = 0, e = s.size();
  while (b < e && isSpace(s[b]))
    ++b;
  while (e > b && isSpace(s[e - 1]))
    --e;
  return s.substr(b, e - b);
}

bool parseInt(const std::string& text, int& value) {
  const std::string s = trimmed(text);
  size_t i = 0;
  if (i < s.size() && (s[i] == '+' || s[i] == '-'))
    ++i;
  if (i == s.size())
    return false;
  for (size_t k = i; k < s.size(); ++k) {
    if (s[k] < '0' || s[k] > '9')
      return false;
  }
  errno = 0;
  const long long v = std::strtoll(s.c_str(), nullptr, 10);
  if (errno == ERANGE || v < INT_MIN || v > INT_MAX)
    return false;
  value = static_cast<int>(v);
  return true;
}

bool parseDouble(const std::string& text, double& value) {
  const std::string s = trimmed(text);
  // Only decimal notation: strtod alone would also accept hex, inf and nan.
  bool digits = false;
  for (char c : s) {
    if (c >= '0' && c <= '9') {
      digits = true;
    } else if (c != '+' && c != '-' && c != '.' && c != 'e' && c != 'E') {
      return false;
    }
  }
  if (!digits)
    return false;
  char* end = nullptr;
  const double v = std::strtod(s.c_str(), &end);
  if (end != s.c_str() + s.size() || !std::isfinite(v))
    return false;
  value = v;
  return true;
}

}  // namespace

bool HString::isInt() const {
  int v;
  return parseInt(fText, v);
}

int HString::asInt() const {
  int v = 0;
  return parseInt(fText, v) ? v : 0;
}

bool HString::isDouble() const {
  double v;
  return parseDouble(fText, v);
}

double HString::asDouble() const {
  double v = 0.0;
  return parseDouble(fText, v) ? v : 0.0;
}

std::ostream& operator<<(std::ostream& os, const HString& s) {
  return os << s.asStdString();
}

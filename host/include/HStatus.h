#pragma once
#include <iosfwd>

#include "HString.h"

// The result of an operation: a code and an error string. A status built from
// a code alone reads back the code's default string, e.g. kFailure gives
// "(kFailure): Unexpected internal failure".
class HStatus {
 public:
  enum HStatusCode {
    kSuccess = 0,
    kFailure = 1,
    kInvalidParameter = 2,
    kNotFound = 3,
    kNotImplemented = 4,
    kUnknownParameter = 5
  };

  HStatus() = default;
  HStatus(HStatusCode code)
      : fCode(code) {}  // NOLINT: implicit so that `return HStatus::kFailure;` works
  HStatus(HStatusCode code, const HString& errorString) : fCode(code), fError(errorString) {}

  HStatusCode statusCode() const { return fCode; }
  // The string given at construction, or the code's default string.
  HString errorString() const;
  // Writes "text: <errorString>\n" to the error stream.
  void perror(const HString& text) const;
  void perror(const char* text) const;

  bool error() const { return fCode != kSuccess; }
  explicit operator bool() const { return fCode == kSuccess; }
  bool operator==(HStatusCode code) const { return fCode == code; }
  bool operator!=(HStatusCode code) const { return fCode != code; }
  bool operator==(const HStatus& other) const { return fCode == other.fCode; }
  bool operator!=(const HStatus& other) const { return fCode != other.fCode; }

  // Where perror writes: std::cerr unless redirected. Passing null restores
  // std::cerr. The host application and tests redirect it to capture errors.
  static void setErrorStream(std::ostream* stream);
  static std::ostream& errorStream();

  // The default string of a code; codes outside the enumeration give
  // "(unknown status code)".
  static const char* defaultErrorString(HStatusCode code);

 private:
  HStatusCode fCode = kSuccess;
  HString fError;
};

std::ostream& operator<<(std::ostream& os, const HStatus& status);

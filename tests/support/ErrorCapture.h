#pragma once
// Sends the host's error output to a string for as long as it lives.

#include <HStatus.h>

#include <sstream>
#include <string>

class ErrorCapture {
 public:
  ErrorCapture() { HStatus::setErrorStream(&fStream); }
  ~ErrorCapture() { HStatus::setErrorStream(nullptr); }
  ErrorCapture(const ErrorCapture&) = delete;
  ErrorCapture& operator=(const ErrorCapture&) = delete;
  std::string text() const { return fStream.str(); }
  bool contains(const std::string& piece) const {
    return fStream.str().find(piece) != std::string::npos;
  }

 private:
  std::ostringstream fStream;
};

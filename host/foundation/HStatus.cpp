#include "HStatus.h"

#include <atomic>
#include <iostream>
#include <mutex>

namespace {
// Null means std::cerr. Atomic so that a redirect from one thread does not
// tear a read on another.
std::atomic<std::ostream*> gErrorStream{nullptr};
}  // namespace

const char* HStatus::defaultErrorString(HStatusCode code) {
  switch (code) {
    case kSuccess:
      return "(kSuccess): No error";
    case kFailure:
      return "(kFailure): Unexpected internal failure";
    case kInvalidParameter:
      return "(kInvalidParameter): Invalid parameter passed to method";
    case kNotFound:
      return "(kNotFound): Object or file not found";
    case kNotImplemented:
      return "(kNotImplemented): Method not implemented";
    case kUnknownParameter:
      return "(kUnknownParameter): Unknown parameter";
  }
  return "(unknown status code)";
}

HString HStatus::errorString() const {
  if (!fError.isEmpty())
    return fError;
  return HString(defaultErrorString(fCode));
}

void HStatus::perror(const HString& text) const {
  // Solves on several threads may report at once; one line at a time.
  static std::mutex lock;
  const std::lock_guard<std::mutex> guard(lock);
  std::ostream& os = errorStream();
  os << text.asStdString() << ": " << errorString().asStdString() << '\n';
  os.flush();
}

void HStatus::perror(const char* text) const {
  perror(HString(text));
}

void HStatus::setErrorStream(std::ostream* stream) {
  gErrorStream.store(stream);
}

std::ostream& HStatus::errorStream() {
  std::ostream* os = gErrorStream.load();
  return os ? *os : std::cerr;
}

std::ostream& operator<<(std::ostream& os, const HStatus& status) {
  return os << status.errorString();
}

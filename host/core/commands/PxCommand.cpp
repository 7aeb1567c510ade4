// The non-inline members of HPxCommand: messages and results.

#include <charconv>
#include <cmath>

#include "CommandEngine.h"
#include "HPxCommand.h"

using namespace hostdetail;

namespace {

// The shortest text that reads back to the same double. Results are parsed
// by scripts and tests, so no digit may be lost and none added.
HString shortest(double value) {
  if (!std::isfinite(value))
    return HString(std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf"));
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value);
  return HString(std::string(buffer, end.ptr));
}

}  // namespace

void HPxCommand::displayError(const HString& text, bool) {
  reportMessage("Error", text.asStdString());
}

void HPxCommand::displayWarning(const HString& text, bool) {
  reportMessage("Warning", text.asStdString());
}

void HPxCommand::displayInfo(const HString& text) {
  std::ostream& out = outputStream();
  out << text.asStdString() << '\n';
  out.flush();
}

void HPxCommand::clearResult() {
  fResult.clear();
}

void HPxCommand::setResult(const HString& value) {
  fResult.clear();
  fResult.append(value);
}

void HPxCommand::setResult(const char* value) {
  setResult(HString(value));
}

void HPxCommand::setResult(double value) {
  setResult(shortest(value));
}

void HPxCommand::setResult(int value) {
  HString text;
  text += value;
  setResult(text);
}

void HPxCommand::setResult(bool value) {
  setResult(HString(value ? "1" : "0"));
}

void HPxCommand::appendToResult(const HString& value) {
  fResult.append(value);
}

void HPxCommand::appendToResult(double value) {
  fResult.append(shortest(value));
}

void HPxCommand::appendToResult(int value) {
  HString text;
  text += value;
  fResult.append(text);
}

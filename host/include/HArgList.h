#pragma once
#include <vector>

#include "HStatus.h"
#include "HString.h"

// The words of one command invocation after the command name, as typed
// (quotes removed). Each word remembers whether it was quoted, so that a
// quoted "-x" is an argument and never a flag.
class HArgList {
 public:
  HArgList() = default;
  unsigned length(HStatus* status = nullptr) const {
    (void)status;
    return unsigned(fArgs.size());
  }
  HString asString(unsigned index, HStatus* status = nullptr) const;
  double asDouble(unsigned index, HStatus* status = nullptr) const;
  int asInt(unsigned index, HStatus* status = nullptr) const;
  bool asBool(unsigned index, HStatus* status = nullptr) const;
  // Index of a flag ("-n" or "-name"), or kInvalidArgIndex.
  unsigned flagIndex(const char* shortFlag, const char* longFlag = nullptr) const;
  HArgList& addArg(const HString& arg);
  HArgList& addArg(const HString& arg, bool quoted);
  bool isQuoted(unsigned index) const { return index < fQuoted.size() && fQuoted[index]; }

  static constexpr unsigned kInvalidArgIndex = 0xffffffffu;

 private:
  std::vector<HString> fArgs;
  std::vector<bool> fQuoted;
};

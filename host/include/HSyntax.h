#pragma once
#include <vector>

#include "HStatus.h"
#include "HString.h"

// The arguments and flags a command accepts.
class HSyntax {
 public:
  enum HArgType {
    kInvalidArgType = 0,
    kNoArg = 1,
    kBoolean = 2,
    kLong = 3,
    kDouble = 4,
    kString = 5,
    kUnsigned = 6,
    kDistance = 7,
    kAngle = 8,
    kTime = 9,
    kSelectionItem = 10,
    kLastArgType
  };

  struct Flag {
    HString shortName;  // "-n"
    HString longName;   // "-name"
    std::vector<HArgType> argTypes;
    bool multiUse = false;
  };

  HSyntax() = default;
  // Flags are given with their leading dash: addFlag("-n", "-name", kString).
  HStatus addFlag(const char* shortName, const char* longName, HArgType a1 = kNoArg,
                  HArgType a2 = kNoArg, HArgType a3 = kNoArg);
  HStatus makeFlagMultiUse(const char* flag);
  // Command arguments after the flags, in order.
  HStatus addArg(HArgType type);
  // Trailing arguments of one type that may be given any number of times
  // between min and max (max 0: unlimited).
  HStatus setMinMaxArgs(unsigned minimum, unsigned maximum);

  const std::vector<Flag>& flags() const { return fFlags; }
  const std::vector<HArgType>& args() const { return fArgs; }
  unsigned minArgs() const { return fMinArgs; }
  unsigned maxArgs() const { return fMaxArgs; }
  bool argsSetExplicitly() const { return fMinMaxSet; }

 private:
  std::vector<Flag> fFlags;
  std::vector<HArgType> fArgs;
  unsigned fMinArgs = 0;
  unsigned fMaxArgs = 0;
  bool fMinMaxSet = false;
};

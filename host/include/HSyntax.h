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
  // A flag takes up to three arguments (the types before the first kNoArg).
  // Fails for a name without a leading dash followed by a letter, or one
  // already taken by another flag.
  HStatus addFlag(const char* shortName, const char* longName, HArgType a1 = kNoArg,
                  HArgType a2 = kNoArg, HArgType a3 = kNoArg);
  HStatus makeFlagMultiUse(const char* flag);
  // Command arguments (the words that are not flags or flag arguments), in
  // order. Without setMinMaxArgs each one declared is required and no more
  // are accepted.
  HStatus addArg(HArgType type);
  // Allows between minimum and maximum command arguments in all (maximum 0:
  // unlimited). The first ones are checked against the addArg types; those
  // past them take the type of the last addArg (kString when none was added),
  // so "move 1 2 3 a b" is addArg(kDouble) x3, addArg(kSelectionItem),
  // setMinMaxArgs(3, 0). Fails when minimum > maximum > 0.
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

// HSyntax, HArgList and HArgParser: what a command accepts, the words it was
// given, and the parse of one against the other.

#include <cctype>
#include <string>

#include "HArgList.h"
#include "HArgParser.h"
#include "HSyntax.h"
#include "Suggest.h"

namespace {

HStatus success() {
  return HStatus(HStatus::kSuccess);
}

HStatus invalidParameter(const std::string& message) {
  return HStatus(HStatus::kInvalidParameter, message);
}

// "-n", "-name": a dash and a letter first.
bool isFlagName(const char* name) {
  return name != nullptr && name[0] == '-' && std::isalpha(static_cast<unsigned char>(name[1]));
}

// "-inf", "-nan", "-Infinity": a negative number's spelling, not a flag, so
// that the command refuses it as a value that is not a number rather than as
// an unknown flag.
bool isNegativeNonFiniteWord(const char* word) {
  std::string rest;
  for (const char* c = word + 1; *c; ++c)
    rest += char(std::tolower(static_cast<unsigned char>(*c)));
  return rest == "inf" || rest == "infinity" || rest == "nan";
}

bool parseBoolWord(const std::string& word, bool& value) {
  std::string lower;
  for (char c : word)
    lower += char(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "on" || lower == "true" || lower == "yes" || lower == "1") {
    value = true;
    return true;
  }
  if (lower == "off" || lower == "false" || lower == "no" || lower == "0") {
    value = false;
    return true;
  }
  return false;
}

const char* typeWord(HSyntax::HArgType type) {
  switch (type) {
    case HSyntax::kBoolean:
      return "a boolean";
    case HSyntax::kLong:
      return "an integer";
    case HSyntax::kUnsigned:
      return "a non-negative integer";
    case HSyntax::kDouble:
    case HSyntax::kDistance:
    case HSyntax::kAngle:
    case HSyntax::kTime:
      return "a number";
    default:
      return "a string";
  }
}

// Whether word can stand for an argument of the type.
bool matchesType(const HString& word, HSyntax::HArgType type) {
  switch (type) {
    case HSyntax::kBoolean: {
      bool unused = false;
      return parseBoolWord(word.asStdString(), unused);
    }
    case HSyntax::kLong:
      return word.isInt();
    case HSyntax::kUnsigned:
      return word.isInt() && word.asInt() >= 0;
    case HSyntax::kDouble:
    case HSyntax::kDistance:
    case HSyntax::kAngle:
    case HSyntax::kTime:
      return word.isDouble();
    default:
      return true;
  }
}

std::string quoted(const HString& word) {
  return "\"" + word.asStdString() + "\"";
}

}  // namespace

// ---------------------------------------------------------------------------
// HSyntax

HStatus HSyntax::addFlag(const char* shortName, const char* longName, HArgType a1, HArgType a2,
                         HArgType a3) {
  if (!isFlagName(shortName) || !isFlagName(longName))
    return invalidParameter("Flag names start with a dash and a letter");
  for (const Flag& flag : fFlags) {
    for (const HString& taken : {flag.shortName, flag.longName}) {
      if (taken == shortName || taken == longName)
        return invalidParameter("Flag " + taken.asStdString() + " is already defined");
    }
  }
  Flag flag;
  flag.shortName = shortName;
  flag.longName = longName;
  for (HArgType type : {a1, a2, a3}) {
    if (type == kNoArg)
      break;
    if (type <= kNoArg || type >= kLastArgType)
      return invalidParameter("Invalid argument type for flag " + std::string(longName));
    flag.argTypes.push_back(type);
  }
  fFlags.push_back(flag);
  return success();
}

HStatus HSyntax::makeFlagMultiUse(const char* name) {
  for (Flag& flag : fFlags) {
    if (flag.shortName == name || flag.longName == name) {
      flag.multiUse = true;
      return success();
    }
  }
  return invalidParameter("No flag " + std::string(name ? name : ""));
}

HStatus HSyntax::addArg(HArgType type) {
  if (type <= kNoArg || type >= kLastArgType)
    return invalidParameter("Invalid argument type");
  fArgs.push_back(type);
  return success();
}

HStatus HSyntax::setMinMaxArgs(unsigned minimum, unsigned maximum) {
  if (maximum != 0 && minimum > maximum)
    return invalidParameter("The minimum number of arguments exceeds the maximum");
  fMinArgs = minimum;
  fMaxArgs = maximum;
  fMinMaxSet = true;
  return success();
}

// ---------------------------------------------------------------------------
// HArgList

HArgList& HArgList::addArg(const HString& arg) {
  return addArg(arg, false);
}

HArgList& HArgList::addArg(const HString& arg, bool quoted) {
  fArgs.push_back(arg);
  fQuoted.push_back(quoted);
  return *this;
}

HString HArgList::asString(unsigned index, HStatus* status) const {
  if (index >= fArgs.size()) {
    if (status)
      *status = invalidParameter("Argument index out of range");
    return HString();
  }
  if (status)
    *status = success();
  return fArgs[index];
}

double HArgList::asDouble(unsigned index, HStatus* status) const {
  if (index >= fArgs.size() || !fArgs[index].isDouble()) {
    if (status)
      *status = invalidParameter(index >= fArgs.size() ? "Argument index out of range"
                                                       : "Argument is not a number");
    return 0.0;
  }
  if (status)
    *status = success();
  return fArgs[index].asDouble();
}

int HArgList::asInt(unsigned index, HStatus* status) const {
  if (index >= fArgs.size() || !fArgs[index].isInt()) {
    if (status)
      *status = invalidParameter(index >= fArgs.size() ? "Argument index out of range"
                                                       : "Argument is not an integer");
    return 0;
  }
  if (status)
    *status = success();
  return fArgs[index].asInt();
}

bool HArgList::asBool(unsigned index, HStatus* status) const {
  bool value = false;
  if (index >= fArgs.size() || !parseBoolWord(fArgs[index].asStdString(), value)) {
    if (status)
      *status = invalidParameter(index >= fArgs.size() ? "Argument index out of range"
                                                       : "Argument is not a boolean");
    return false;
  }
  if (status)
    *status = success();
  return value;
}

unsigned HArgList::flagIndex(const char* shortFlag, const char* longFlag) const {
  for (unsigned i = 0; i < fArgs.size(); ++i) {
    if (isQuoted(i))
      continue;
    if ((shortFlag && fArgs[i] == shortFlag) || (longFlag && fArgs[i] == longFlag))
      return i;
  }
  return kInvalidArgIndex;
}

// ---------------------------------------------------------------------------
// HArgParser

HArgParser::HArgParser(const HSyntax& syntax, const HArgList& args, HStatus* status)
    : fSyntax(syntax) {
  const unsigned count = args.length();
  std::vector<unsigned> commandArgIndices;
  for (unsigned i = 0; i < count && fError.isEmpty(); ++i) {
    const HString word = args.asString(i);
    if (args.isQuoted(i) || !isFlagName(word.asChar())) {
      commandArgIndices.push_back(i);
      continue;
    }
    const HSyntax::Flag* flag = findFlag(word.asChar());
    if (!flag && isNegativeNonFiniteWord(word.asChar())) {
      commandArgIndices.push_back(i);
      continue;
    }
    if (!flag) {
      const std::string hint =
          hostdetail::didYouMean(word.asStdString(), hostdetail::flagNames(syntax));
      fError = "Invalid flag: " + word.asStdString() + (hint.empty() ? "" : "." + hint);
      break;
    }
    std::vector<HArgList>& uses = fFlagUses[flag->shortName];
    if (!uses.empty() && !flag->multiUse) {
      fError = "Flag " + word.asStdString() + " can be given only once";
      break;
    }
    HArgList flagArgs;
    for (size_t k = 0; k < flag->argTypes.size(); ++k) {
      if (i + 1 >= count) {
        const size_t n = flag->argTypes.size();
        fError = "Flag " + word.asStdString() + " needs " + std::to_string(n) +
                 (n == 1 ? " argument" : " arguments");
        break;
      }
      ++i;
      const HString value = args.asString(i);
      if (!matchesType(value, flag->argTypes[k])) {
        fError = "Flag " + word.asStdString() + ": " + quoted(value) + " is not " +
                 typeWord(flag->argTypes[k]);
        break;
      }
      flagArgs.addArg(value, args.isQuoted(i));
    }
    uses.push_back(flagArgs);
  }

  if (fError.isEmpty()) {
    const std::vector<HSyntax::HArgType>& types = syntax.args();
    const unsigned given = unsigned(commandArgIndices.size());
    unsigned minimum = unsigned(types.size());
    unsigned maximum = unsigned(types.size());
    if (syntax.argsSetExplicitly()) {
      minimum = syntax.minArgs();
      maximum = syntax.maxArgs();  // 0: unlimited
    }
    if (given < minimum) {
      const unsigned missing = minimum - given;
      fError = "Missing " + std::to_string(missing) + (missing == 1 ? " argument" : " arguments");
    } else if (maximum != 0 ? given > maximum : (!syntax.argsSetExplicitly() && given > 0)) {
      fError = "Too many arguments: " + quoted(args.asString(commandArgIndices[maximum]));
    } else {
      for (unsigned k = 0; k < given; ++k) {
        HSyntax::HArgType type = HSyntax::kString;
        if (k < types.size())
          type = types[k];
        else if (!types.empty())
          type = types.back();
        const HString value = args.asString(commandArgIndices[k]);
        if (!matchesType(value, type)) {
          fError = "Argument " + quoted(value) + " is not " + typeWord(type);
          break;
        }
        fCommandArgs.push_back(value);
      }
    }
  }

  if (!fError.isEmpty()) {
    fFlagUses.clear();
    fCommandArgs.clear();
  }
  if (status)
    *status = fError.isEmpty() ? success() : invalidParameter(fError.asStdString());
}

const HSyntax::Flag* HArgParser::findFlag(const char* flag) const {
  if (flag == nullptr)
    return nullptr;
  for (const HSyntax::Flag& f : fSyntax.flags()) {
    if (f.shortName == flag || f.longName == flag)
      return &f;
  }
  return nullptr;
}

bool HArgParser::isFlagSet(const char* flag, HStatus* status) const {
  const HSyntax::Flag* f = findFlag(flag);
  if (status)
    *status = f ? success() : invalidParameter("No flag " + std::string(flag ? flag : ""));
  return f && fFlagUses.count(f->shortName) != 0;
}

unsigned HArgParser::numberOfFlagUses(const char* flag) const {
  const HSyntax::Flag* f = findFlag(flag);
  if (!f)
    return 0;
  auto it = fFlagUses.find(f->shortName);
  return it == fFlagUses.end() ? 0 : unsigned(it->second.size());
}

HStatus HArgParser::getFlagArgumentList(const char* flag, unsigned use, HArgList& args) const {
  const HSyntax::Flag* f = findFlag(flag);
  if (!f)
    return invalidParameter("No flag " + std::string(flag ? flag : ""));
  auto it = fFlagUses.find(f->shortName);
  if (it == fFlagUses.end() || use >= it->second.size())
    return HStatus(HStatus::kNotFound, "Flag " + std::string(flag) + " was not given");
  args = it->second[use];
  return success();
}

HStatus HArgParser::getFlagArgument(const char* flag, unsigned index, HString& value) const {
  HArgList args;
  HStatus status = getFlagArgumentList(flag, 0, args);
  if (!status)
    return status;
  value = args.asString(index, &status);
  return status;
}

HStatus HArgParser::getFlagArgument(const char* flag, unsigned index, double& value) const {
  HArgList args;
  HStatus status = getFlagArgumentList(flag, 0, args);
  if (!status)
    return status;
  const double read = args.asDouble(index, &status);
  if (status)
    value = read;
  return status;
}

HStatus HArgParser::getFlagArgument(const char* flag, unsigned index, int& value) const {
  HArgList args;
  HStatus status = getFlagArgumentList(flag, 0, args);
  if (!status)
    return status;
  const int read = args.asInt(index, &status);
  if (status)
    value = read;
  return status;
}

HStatus HArgParser::getFlagArgument(const char* flag, unsigned index, unsigned& value) const {
  int read = 0;
  HStatus status = getFlagArgument(flag, index, read);
  if (!status)
    return status;
  if (read < 0)
    return invalidParameter("Flag " + std::string(flag) + " needs a non-negative integer");
  value = unsigned(read);
  return status;
}

HStatus HArgParser::getFlagArgument(const char* flag, unsigned index, bool& value) const {
  HArgList args;
  HStatus status = getFlagArgumentList(flag, 0, args);
  if (!status)
    return status;
  const bool read = args.asBool(index, &status);
  if (status)
    value = read;
  return status;
}

HStatus HArgParser::getCommandArgument(unsigned index, HString& value) const {
  if (index >= fCommandArgs.size())
    return invalidParameter("Command argument index out of range");
  value = fCommandArgs[index];
  return success();
}

HStatus HArgParser::getCommandArgument(unsigned index, double& value) const {
  if (index >= fCommandArgs.size() || !fCommandArgs[index].isDouble())
    return invalidParameter(index >= fCommandArgs.size() ? "Command argument index out of range"
                                                         : "Command argument is not a number");
  value = fCommandArgs[index].asDouble();
  return success();
}

HStatus HArgParser::getCommandArgument(unsigned index, int& value) const {
  if (index >= fCommandArgs.size() || !fCommandArgs[index].isInt())
    return invalidParameter(index >= fCommandArgs.size() ? "Command argument index out of range"
                                                         : "Command argument is not an integer");
  value = fCommandArgs[index].asInt();
  return success();
}

HStatus HArgParser::getCommandArgument(unsigned index, bool& value) const {
  bool read = false;
  if (index >= fCommandArgs.size() || !parseBoolWord(fCommandArgs[index].asStdString(), read))
    return invalidParameter(index >= fCommandArgs.size() ? "Command argument index out of range"
                                                         : "Command argument is not a boolean");
  value = read;
  return success();
}

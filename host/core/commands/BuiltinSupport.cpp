// Number text, angle units, look-ups and the command base shared by the
// built-in scene commands and the scene writer.

#include "BuiltinSupport.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "HFnAttribute.h"
#include "HFnDependencyNode.h"
#include "HFnTransform.h"
#include "HSelectionList.h"
#include "Suggest.h"
#include "graph/Node.h"
#include "graph/PlugAccess.h"

namespace hostdetail {
namespace builtin {

// ---------------------------------------------------------------------------
// Numbers as text

std::string formatDouble(double value) {
  if (!std::isfinite(value))
    return "0";
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string formatFloat(double value) {
  if (!std::isfinite(value))
    return "0";
  float single = static_cast<float>(value);
  // A value that is not exactly a float (never stored by the host in a float
  // attribute, but possible through a default) keeps all its digits.
  if (static_cast<double>(single) != value)
    return formatDouble(value);
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, single);
  return std::string(buffer, result.ptr);
}

std::string formatRounded(double value, int digits) {
  if (!std::isfinite(value))
    return "0";
  char buffer[400];  // the largest double has 309 digits before the point
  std::snprintf(buffer, sizeof buffer, "%.*f", digits, value);
  std::string text(buffer);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
      text.pop_back();
  }
  // A small negative value rounds to "-0", which means nothing to a reader.
  if (text == "-0")
    text = "0";
  return text;
}

bool sampleFrames(double start, double end, double step, std::vector<double>& frames,
                  std::string& error) {
  if (!(step > 0.0)) {
    error = "The step must be above 0";
    return false;
  }
  const double count = std::floor((end - start) / step + 1e-9) + 1.0;
  if (count > double(kMaxFrameSamples)) {
    error = "The range " + formatDouble(start) + ":" + formatDouble(end) + " by " +
            formatDouble(step) + " holds more than " + std::to_string(kMaxFrameSamples) + " frames";
    return false;
  }
  frames.clear();
  for (size_t i = 0; i < size_t(count); ++i)
    frames.push_back(start + double(i) * step);
  return true;
}

namespace {

// The shape of a decimal number: [+-]digits[.digits][(e|E)[+-]digits], with
// at least one digit before the exponent.
bool isDecimalWord(const std::string& text) {
  size_t i = 0, n = text.size();
  if (i < n && (text[i] == '+' || text[i] == '-'))
    ++i;
  size_t digits = 0;
  while (i < n && std::isdigit(static_cast<unsigned char>(text[i]))) {
    ++i;
    ++digits;
  }
  if (i < n && text[i] == '.') {
    ++i;
    while (i < n && std::isdigit(static_cast<unsigned char>(text[i]))) {
      ++i;
      ++digits;
    }
  }
  if (digits == 0)
    return false;
  if (i < n && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < n && (text[i] == '+' || text[i] == '-'))
      ++i;
    size_t exponent = 0;
    while (i < n && std::isdigit(static_cast<unsigned char>(text[i]))) {
      ++i;
      ++exponent;
    }
    if (exponent == 0)
      return false;
  }
  return i == n;
}

}  // namespace

bool parseDouble(const std::string& text, double& value) {
  if (!isDecimalWord(text))
    return false;
  // strtod rounds correctly; the word has been checked so that nothing
  // locale- or hex-specific slips through.
  double parsed = std::strtod(text.c_str(), nullptr);
  if (!std::isfinite(parsed))
    return false;
  value = parsed;
  return true;
}

bool parseInt(const std::string& text, int& value) {
  if (text.empty())
    return false;
  const char* first = text.c_str();
  const char* last = first + text.size();
  if (*first == '+')
    ++first;
  int parsed = 0;
  auto result = std::from_chars(first, last, parsed);
  if (result.ec != std::errc() || result.ptr != last)
    return false;
  value = parsed;
  return true;
}

bool parseBool(const std::string& text, bool& value) {
  std::string lower;
  for (char c : text)
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

// ---------------------------------------------------------------------------
// Angles

namespace {

// pi as the host's doubles hold it, widened: 90 degrees give exactly the
// double pi / 2 that C++ code computes.
constexpr long double kPi = static_cast<long double>(3.141592653589793);

double toRadians(long double degrees) {
  return static_cast<double>(degrees * kPi / 180.0L);
}

}  // namespace

bool parseDegrees(const std::string& text, double& radians) {
  if (!isDecimalWord(text))
    return false;
  long double degrees = std::strtold(text.c_str(), nullptr);
  if (!std::isfinite(degrees))
    return false;
  double result = toRadians(degrees);
  if (!std::isfinite(result))
    return false;
  radians = result;
  return true;
}

double degreesToRadians(double degrees) {
  return toRadians(static_cast<long double>(degrees));
}

double radiansToDegrees(double radians) {
  return static_cast<double>(static_cast<long double>(radians) * 180.0L / kPi);
}

namespace {
bool readsBackAs(const char* text, double radians) {
  double back = 0.0;
  return parseDegrees(text, back) && std::memcmp(&back, &radians, sizeof back) == 0;
}
}  // namespace

// Extended precision holds the degrees closely enough that rounding the
// product back to double lands on the radians; 21 significant digits always
// do. Plain decimals are tried first, with as few fraction digits as work.
std::string formatDegrees(double radians) {
  if (!std::isfinite(radians))
    return "0";
  const long double degrees = static_cast<long double>(radians) * 180.0L / kPi;
  char buffer[96];
  const long double magnitude = std::fabs(degrees);
  if (magnitude == 0.0L || (magnitude >= 1e-4L && magnitude < 1e15L)) {
    for (int fraction = 0; fraction <= 25; ++fraction) {
      std::snprintf(buffer, sizeof buffer, "%.*Lf", fraction, degrees);
      if (readsBackAs(buffer, radians))
        return buffer;
    }
  }
  for (int digits = 1; digits <= 21; ++digits) {
    std::snprintf(buffer, sizeof buffer, "%.*Lg", digits, degrees);
    if (readsBackAs(buffer, radians))
      return buffer;
  }
  std::snprintf(buffer, sizeof buffer, "%.21Lg", degrees);
  return buffer;
}

bool isAngleAttribute(const Attribute* attribute) {
  if (!attribute || !attribute->isStatic)
    return false;
  const std::string& name = attribute->top()->longName;
  return name == "rotate" || name == "rotateAxis" || name == "jointOrient" ||
         name == "preferredAngle" || name == "twist";
}

// ---------------------------------------------------------------------------
// Names

bool isValidNodeName(const std::string& name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])))
    return false;
  for (char c : name) {
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_'))
      return false;
  }
  return true;
}

HObject nodeByName(const std::string& name, std::string& error) {
  HObject node = findNode(name);
  if (node.isNull())
    error = "No node named '" + name + "'";
  return node;
}

std::vector<std::string> attributeNames(const HObject& node, bool shortNamesToo) {
  HFnDependencyNode fn(node);
  std::vector<std::string> names;
  for (unsigned i = 0; i < fn.attributeCount(); ++i) {
    HFnAttribute attribute(fn.attribute(i));
    names.push_back(attribute.name().asStdString());
    if (shortNamesToo)
      names.push_back(attribute.shortName().asStdString());
  }
  return names;
}

namespace {

// The attribute name in a plug path ("ramp[2].ramp_Position") that the node
// does not have, with a suggestion from the names it does have.
std::string attributeSuggestion(const HObject& node, const std::string& path) {
  HFnDependencyNode fn(node);
  const std::vector<std::string> names = attributeNames(node, true);
  size_t start = 0;
  while (start < path.size()) {
    size_t end = path.find('.', start);
    if (end == std::string::npos)
      end = path.size();
    const std::string part = path.substr(start, std::min(end, path.find('[', start)) - start);
    if (!fn.hasAttribute(HString(part)))
      return didYouMean(part, names);
    start = end + 1;
  }
  return std::string();
}

}  // namespace

HPlug plugByName(const std::string& name, std::string& error) {
  size_t dot = name.find('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) {
    error = "'" + name + "' is not a plug name (node.attribute)";
    return HPlug();
  }
  std::string nodeText = name.substr(0, dot);
  HObject node = findNode(nodeText);
  if (node.isNull()) {
    error = "No node named '" + nodeText + "' in '" + name + "'";
    return HPlug();
  }
  HStatus status;
  HPlug plug = plugFromName(node, name.substr(dot + 1), &status);
  if (status.statusCode() != HStatus::kSuccess) {
    error = "Cannot find plug '" + name + "': " + status.errorString().asStdString();
    const std::string hint = attributeSuggestion(node, name.substr(dot + 1));
    if (!hint.empty())
      error += "." + hint;
    return HPlug();
  }
  return plug;
}

std::vector<HObject> nodesMatching(const std::string& pattern) {
  HSelectionList list;
  std::vector<HObject> out;
  if (list.add(HString(pattern)).statusCode() != HStatus::kSuccess)
    return out;
  for (unsigned i = 0; i < list.length(); ++i) {
    HObject node;
    if (list.getDependNode(i, node).statusCode() == HStatus::kSuccess)
      out.push_back(node);
  }
  return out;
}

bool nodeIsOfType(const HObject& node, const std::string& typeName) {
  for (const NodeType* t = nodeTypeOf(node); t; t = t->parent) {
    if (t->name == typeName)
      return true;
  }
  return false;
}

// ---------------------------------------------------------------------------
// Values

bool rawNumber(const HPlug& plug, double& value) {
  PlugRef ref;
  if (resolve(plug, ref) != PlugState::kValue)
    return false;
  const Attribute* a = ref.attribute;
  if (a->kind != AttrKind::kNumeric && a->kind != AttrKind::kEnum)
    return false;
  const Block* block = findBlock(ref, plugIndices(plug), false);
  value = block ? block->numbers[size_t(a->numSlot)] : a->defaultValue;
  return true;
}

bool rawString(const HPlug& plug, std::string& value) {
  PlugRef ref;
  if (resolve(plug, ref) != PlugState::kValue)
    return false;
  const Attribute* a = ref.attribute;
  if (a->kind != AttrKind::kTyped)
    return false;
  const Block* block = findBlock(ref, plugIndices(plug), false);
  value = block ? block->strings[size_t(a->strSlot)] : a->defaultString;
  return true;
}

std::string formatLeafValue(const Attribute* leaf, double value, bool asString, int precision) {
  if (leaf->kind == AttrKind::kEnum) {
    if (asString) {
      for (auto& field : leaf->enumFields) {
        if (field.second == short(value))
          return field.first;
      }
    }
    return std::to_string(int(value));
  }
  if (isAngleAttribute(leaf))
    return precision >= 0 ? formatRounded(radiansToDegrees(value), precision)
                          : formatDegrees(value);
  switch (leaf->numericType) {
    case HFnNumericData::kFloat:
    case HFnNumericData::k2Float:
    case HFnNumericData::k3Float:
      return precision >= 0 ? formatRounded(value, precision) : formatFloat(value);
    case HFnNumericData::kDouble:
    case HFnNumericData::k2Double:
    case HFnNumericData::k3Double:
    case HFnNumericData::k4Double:
      return precision >= 0 ? formatRounded(value, precision) : formatDouble(value);
    default:
      // Bools and integers are stored as whole numbers.
      return formatDouble(value);
  }
}

bool parseLeafValue(const Attribute* leaf, const std::string& word, double& value,
                    std::string& error) {
  const std::string plugName = leaf->longName;
  if (leaf->kind == AttrKind::kEnum) {
    for (auto& field : leaf->enumFields) {
      if (field.first == word) {
        value = field.second;
        return true;
      }
    }
    int number = 0;
    if (parseInt(word, number)) {
      for (auto& field : leaf->enumFields) {
        if (field.second == number) {
          value = number;
          return true;
        }
      }
    }
    std::string fields;
    for (auto& field : leaf->enumFields)
      fields += (fields.empty() ? "" : ", ") + field.first + "=" + std::to_string(field.second);
    error = "'" + word + "' is not a field of enum " + plugName + " (" + fields + ")";
    return false;
  }
  if (leaf->kind != AttrKind::kNumeric) {
    error = plugName + " does not hold a number";
    return false;
  }
  if (isAngleAttribute(leaf)) {
    if (!parseDegrees(word, value)) {
      error = "'" + word + "' is not an angle in degrees for " + plugName;
      return false;
    }
    return true;
  }
  switch (leaf->numericType) {
    case HFnNumericData::kBoolean: {
      bool flag = false;
      if (!parseBool(word, flag)) {
        error = "'" + word + "' is not a boolean (on/off, true/false, 1/0) for " + plugName;
        return false;
      }
      value = flag ? 1.0 : 0.0;
      return true;
    }
    case HFnNumericData::kByte:
    case HFnNumericData::kChar:
    case HFnNumericData::kShort:
    case HFnNumericData::kInt:
    case HFnNumericData::kInt64: {
      double number = 0.0;
      if (!parseDouble(word, number) || number != std::trunc(number)) {
        error = "'" + word + "' is not an integer for " + plugName;
        return false;
      }
      value = number;
      return true;
    }
    default:
      if (!parseDouble(word, value)) {
        error = "'" + word + "' is not a number for " + plugName;
        return false;
      }
      return true;
  }
}

namespace {
void collectLeaves(const HPlug& plug, std::vector<HPlug>& out) {
  const Attribute* a = plug.attribute().attributeDef().get();
  if (!a)
    return;
  if (a->isLeaf()) {
    out.push_back(plug);
    return;
  }
  for (unsigned i = 0; i < a->children.size(); ++i) {
    if (a->children[i]->array)
      continue;
    collectLeaves(plug.child(i), out);
  }
}
}  // namespace

std::vector<HPlug> leafPlugs(const HPlug& plug) {
  std::vector<HPlug> out;
  collectLeaves(plug, out);
  return out;
}

namespace {
const std::pair<const char*, HFnNumericData::Type> kNumericTypes[] = {
    {"bool", HFnNumericData::kBoolean},    {"byte", HFnNumericData::kByte},
    {"char", HFnNumericData::kChar},       {"short", HFnNumericData::kShort},
    {"short2", HFnNumericData::k2Short},   {"short3", HFnNumericData::k3Short},
    {"long", HFnNumericData::kInt},        {"long2", HFnNumericData::k2Int},
    {"long3", HFnNumericData::k3Int},      {"int64", HFnNumericData::kInt64},
    {"float", HFnNumericData::kFloat},     {"float2", HFnNumericData::k2Float},
    {"float3", HFnNumericData::k3Float},   {"double", HFnNumericData::kDouble},
    {"double2", HFnNumericData::k2Double}, {"double3", HFnNumericData::k3Double},
    {"double4", HFnNumericData::k4Double}};
}  // namespace

HFnNumericData::Type numericTypeFromName(const std::string& name) {
  if (name == "int")
    return HFnNumericData::kInt;
  for (auto& entry : kNumericTypes) {
    if (name == entry.first)
      return entry.second;
  }
  return HFnNumericData::kInvalid;
}

std::string numericTypeName(HFnNumericData::Type type) {
  for (auto& entry : kNumericTypes) {
    if (type == entry.second)
      return entry.first;
  }
  return std::string();
}

HStatus runModifier(HDGModifier& mod) {
  HStatus status = mod.doIt();
  if (status.statusCode() != HStatus::kSuccess)
    mod.undoIt();
  return status;
}

// ---------------------------------------------------------------------------
// Transforms

HTransformationMatrix componentsForLocal(const HObject& node, const HMatrix& local) {
  HFnTransform fn(node);
  HTransformationMatrix tm = fn.transformation();
  // local = S * Sh * RA * R * JO * T: take the translation row and JO off,
  // split the rest into scale, shear and one rotation, then RA off that.
  HMatrix upper = local;
  for (unsigned c = 0; c < 3; ++c) {
    upper[3][c] = 0.0;
    upper[c][3] = 0.0;
  }
  upper[3][3] = 1.0;
  HMatrix withoutJo = upper * tm.jointOrientation().asMatrix().inverse();
  HTransformationMatrix split(withoutJo);
  double scale[3], shear[3];
  split.getScale(scale, HSpace::kTransform);
  split.getShear(shear, HSpace::kTransform);
  HQuaternion rotation = tm.rotateOrientation().inverse() * split.rotation();
  tm.setRotation(rotation);
  tm.setScale(scale, HSpace::kTransform);
  tm.setShear(shear, HSpace::kTransform);
  tm.setTranslation(HVector(local[3][0], local[3][1], local[3][2]), HSpace::kTransform);
  return tm;
}

namespace {
bool sameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}
}  // namespace

HStatus recordThree(HDGModifier& mod, const HObject& node, const char* attribute,
                    const double values[3]) {
  HFnDependencyNode fn(node);
  HStatus status;
  HPlug parent = fn.findPlug(HString(attribute), &status);
  if (status.statusCode() != HStatus::kSuccess)
    return status;
  for (unsigned i = 0; i < 3; ++i) {
    HPlug child = parent.child(i);
    // Compared with what the plug reads, so that a component fed by a
    // connection and left as it is does not count as a change.
    double current = 0.0;
    child.getValue(current);
    if (sameBits(current, values[i]))
      continue;
    if (!std::isfinite(values[i]))
      return HStatus(HStatus::kInvalidParameter, HString("The value is not finite"));
    status = mod.newPlugValueDouble(child, values[i]);
    if (status.statusCode() != HStatus::kSuccess)
      return status;
  }
  return HStatus(HStatus::kSuccess);
}

HStatus recordComponents(HDGModifier& mod, const HObject& node, const HTransformationMatrix& tm) {
  HVector t = tm.translation(HSpace::kTransform);
  HEulerRotation r = tm.eulerRotation();
  double translate[3] = {t.x, t.y, t.z};
  double rotate[3] = {r.x, r.y, r.z};
  double scale[3], shear[3];
  tm.getScale(scale, HSpace::kTransform);
  tm.getShear(shear, HSpace::kTransform);
  HStatus status = recordThree(mod, node, "translate", translate);
  if (status.statusCode() == HStatus::kSuccess)
    status = recordThree(mod, node, "rotate", rotate);
  if (status.statusCode() == HStatus::kSuccess)
    status = recordThree(mod, node, "scale", scale);
  if (status.statusCode() == HStatus::kSuccess)
    status = recordThree(mod, node, "shear", shear);
  return status;
}

// ---------------------------------------------------------------------------
// Command base

bool Command::parse(const HArgList& args) {
  fArgs = args;
  HStatus status;
  fParser = std::make_unique<HArgParser>(syntax(), args, &status);
  if (status.statusCode() != HStatus::kSuccess) {
    std::string message = fParser->errorMessage().asStdString();
    if (message.empty())
      message = status.errorString().asStdString();
    failure(message);
    return false;
  }
  return true;
}

HStatus Command::failure(const std::string& text) {
  displayError(HString(text));
  return HStatus(HStatus::kFailure, HString(text));
}

bool Command::flag(const char* name) const {
  return fParser && fParser->isFlagSet(name);
}

std::string Command::flagWord(const char* name, unsigned index) const {
  if (!fParser)
    return std::string();
  HString word;
  if (fParser->getFlagArgument(name, index, word).statusCode() == HStatus::kSuccess)
    return word.asStdString();
  double number = 0.0;
  if (fParser->getFlagArgument(name, index, number).statusCode() == HStatus::kSuccess)
    return formatDouble(number);
  return std::string();
}

bool Command::precisionFlag(int& digits) {
  digits = -1;
  if (!flag("-pre"))
    return true;
  const std::string word = flagWord("-pre");
  if (!parseInt(word, digits) || digits < 0 || digits > kMaxPrecision) {
    digits = -1;
    failure("-precision takes the number of places after the point, 0 to " +
            std::to_string(kMaxPrecision) + ", not '" + word + "'");
    return false;
  }
  return true;
}

bool Command::flagNumbers(const char* name, double out[3], bool degrees) {
  for (unsigned i = 0; i < 3; ++i) {
    std::string word = flagWord(name, i);
    bool good = degrees ? parseDegrees(word, out[i]) : parseDouble(word, out[i]);
    if (!good) {
      failure("'" + word + "' is not a number for " + name);
      return false;
    }
  }
  return true;
}

unsigned Command::argCount() const {
  return fParser ? fParser->numberOfCommandArguments() : 0;
}

std::string Command::arg(unsigned index) const {
  HString word;
  if (fParser)
    fParser->getCommandArgument(index, word);
  return word.asStdString();
}

}  // namespace builtin
}  // namespace hostdetail

#pragma once
// Shared pieces of the built-in scene commands (createNode, setAttr, joint...)
// and the scene writer: number text that reads back to the last bit, angle
// units, plug and node look-up with messages that name the offending word,
// and a base class that parses arguments and reports errors the same way in
// every command.

#include <memory>
#include <string>
#include <vector>

#include "HArgList.h"
#include "HArgParser.h"
#include "HDGModifier.h"
#include "HMatrix.h"
#include "HObject.h"
#include "HPlug.h"
#include "HPxCommand.h"
#include "HStatus.h"
#include "HString.h"
#include "HSyntax.h"
#include "HTransformationMatrix.h"
#include "graph/Attribute.h"

namespace hostdetail {
namespace builtin {

// ---------------------------------------------------------------------------
// Numbers as text

// Shortest text that reads back to the same double (std::to_chars); -0 keeps
// its sign. Non-finite values (never stored by the host) print as 0.
std::string formatDouble(double value);
// The same for a value held in single precision: the shortest text that
// reads back to the same float, which widens to the same double.
std::string formatFloat(double value);
// Text for people rather than for files: rounded to `digits` places after
// the point, trailing zeros dropped ("1.5" for 1.5 at 3 places) and no "-0",
// as animation hosts show values in their fields.
std::string formatRounded(double value, int digits);
// The largest -precision the queries accept: beyond it a double has no more
// digits to show for values around 1.
constexpr int kMaxPrecision = 17;
// Whole-word numbers: optional sign, digits, optional fraction and exponent.
// Non-finite results (overflow, "nan", "inf") are refused.
bool parseDouble(const std::string& text, double& value);
// Whole-word integers within the range of int.
bool parseInt(const std::string& text, int& value);
// on/off, true/false, yes/no, 1/0 (letters in any case).
bool parseBool(const std::string& text, bool& value);

// ---------------------------------------------------------------------------
// Frame ranges

// More frames than this are refused: a typing slip such as 1:1e7 would
// otherwise hold the host for hours (and an export write gigabytes).
constexpr size_t kMaxFrameSamples = 100000;
// The frames from start to end, step apart (the end included when a step
// lands on it within a rounding error); refuses a step not above 0 and more
// than kMaxFrameSamples frames. start and end are finite, start <= end.
bool sampleFrames(double start, double end, double step, std::vector<double>& frames,
                  std::string& error);

// ---------------------------------------------------------------------------
// Angles: degrees in the command language and in scene files, radians inside.
//
// Degrees are read in extended precision and multiplied by pi/180 there
// before rounding to double, so that every double number of radians has a
// decimal number of degrees that reads back to it exactly; the scene writer
// relies on that to save angles to the last bit.

bool parseDegrees(const std::string& text, double& radians);
double degreesToRadians(double degrees);
double radiansToDegrees(double radians);
// The shortest degrees text that parseDegrees turns back into exactly these
// radians: "-30" for what "-30" gave, more digits where they are needed.
std::string formatDegrees(double radians);

// True for the static leaves (or compounds) that hold angles: rotate,
// rotateAxis, jointOrient, preferredAngle and twist and their children.
bool isAngleAttribute(const Attribute* attribute);

// ---------------------------------------------------------------------------
// Names

// Node names: letters, digits and '_', not starting with a digit.
bool isValidNodeName(const std::string& name);
// A node by name or |path; a clear message naming the word when none.
HObject nodeByName(const std::string& name, std::string& error);
// A plug "node.attr[2].child"; the message names the word and says what is
// wrong (no node, no attribute, malformed index).
HPlug plugByName(const std::string& name, std::string& error);
// The node's attributes, static and dynamic, children of compounds too, by
// long name, each followed by its short name when asked.
std::vector<std::string> attributeNames(const HObject& node, bool shortNamesToo);
// Nodes matching a name, |path or wildcard pattern, in creation order.
std::vector<HObject> nodesMatching(const std::string& pattern);
// The node's type, or one of its ancestor types, is typeName.
bool nodeIsOfType(const HObject& node, const std::string& typeName);

// ---------------------------------------------------------------------------
// Values of plugs

// The value the plug stores itself (not what a connection feeds it), for
// numeric and enum leaves; the attribute's default for a missing element.
bool rawNumber(const HPlug& plug, double& value);
bool rawString(const HPlug& plug, std::string& value);
// A leaf value as result text: floats and doubles shortest, angles in
// degrees, bools and enums as numbers (enums as names with asString).
// Precision 0 or more rounds floats, doubles and angles to that many places
// after the point (formatRounded); -1 keeps every digit.
std::string formatLeafValue(const Attribute* leaf, double value, bool asString = false,
                            int precision = -1);
// Parses a word for a numeric or enum leaf into the number to store: bools
// from on/off..., integers, enum field names or values, angles in degrees.
// error names the word and the type expected.
bool parseLeafValue(const Attribute* leaf, const std::string& word, double& value,
                    std::string& error);

// The leaves of a plug in order (itself for a leaf; the children of a
// compound, depth first), skipping array attributes below it.
std::vector<HPlug> leafPlugs(const HPlug& plug);

// The addAttr -at names of numeric types ("bool", "long", "double3"...), and
// back; kInvalid / "" for unknown ones.
HFnNumericData::Type numericTypeFromName(const std::string& name);
std::string numericTypeName(HFnNumericData::Type type);

// Carries out a modifier; on failure reverses what it did, so that a
// command that fails changes nothing.
HStatus runModifier(HDGModifier& mod);

// ---------------------------------------------------------------------------
// Transforms

// The components that give a transform node the local matrix `local`,
// keeping its rotate axis, joint orientation and rotate order; of the Euler
// angles, those closest to the current ones.
HTransformationMatrix componentsForLocal(const HObject& node, const HMatrix& local);
// Records into mod the translate, rotate, scale and shear values of tm that
// differ (to the bit) from the node's current ones.
HStatus recordComponents(HDGModifier& mod, const HObject& node, const HTransformationMatrix& tm);
// Records three values of a double3 attribute of the node (long name of the
// compound), those that differ from the current ones.
HStatus recordThree(HDGModifier& mod, const HObject& node, const char* attribute,
                    const double values[3]);

// ---------------------------------------------------------------------------
// Commands

// Base of the built-in commands: parses the arguments with the command's
// syntax and reports failures as "Error: COMMAND: text" with a status that
// carries the same text.
class Command : public HPxCommand {
 public:
  bool hasSyntax() const override { return true; }

 protected:
  // Parses args with the registered syntax; false (error shown) on failure.
  bool parse(const HArgList& args);
  HStatus failure(const std::string& text);

  bool flag(const char* name) const;
  // The flag's argument as the word typed.
  std::string flagWord(const char* name, unsigned index = 0) const;
  // Three numbers of a flag; false (error shown) when a word is not a number.
  bool flagNumbers(const char* name, double out[3], bool degrees);
  // The number of places of "-precision N" (flag -pre), -1 when not given;
  // false (error shown) for a word that is not 0 to kMaxPrecision.
  bool precisionFlag(int& digits);
  unsigned argCount() const;
  std::string arg(unsigned index) const;

  std::unique_ptr<HArgParser> fParser;
  HArgList fArgs;
};

// The creator a BuiltinCommand registration takes.
template <class T>
void* newCommand() {
  return static_cast<HPxCommand*>(new T());
}

}  // namespace builtin
}  // namespace hostdetail

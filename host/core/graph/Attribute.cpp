// Attribute definitions and the attribute function sets.

#include "Attribute.h"

#include <cmath>
#include <limits>

#include "HFnAttribute.h"
#include "HFnCompoundAttribute.h"
#include "HFnEnumAttribute.h"
#include "HFnNumericAttribute.h"
#include "HFnTypedAttribute.h"
#include "Node.h"

namespace hostdetail {

Attribute::~Attribute() {
  for (auto& child : children) {
    if (child && child->parent == this)
      child->parent = nullptr;
  }
}

HFn::Type Attribute::apiType() const {
  switch (kind) {
    case AttrKind::kNumeric:
      return HFn::kNumericAttribute;
    case AttrKind::kEnum:
      return HFn::kEnumAttribute;
    case AttrKind::kTyped:
      return HFn::kTypedAttribute;
    case AttrKind::kCompound:
      return numericCompound ? HFn::kNumericAttribute : HFn::kCompoundAttribute;
  }
  return HFn::kAttribute;
}

const Attribute* Attribute::top() const {
  const Attribute* attribute = this;
  while (attribute->parent)
    attribute = attribute->parent;
  return attribute;
}

unsigned Attribute::arrayDepth() const {
  unsigned depth = 0;
  for (const Attribute* a = this; a; a = a->parent)
    depth += a->array ? 1 : 0;
  return depth;
}

namespace {

void layoutTree(Attribute& attribute, BlockLayout& layout);

// Slots of the attribute's own value, in the block that holds it.
void layoutInScope(Attribute& attribute, BlockLayout& layout) {
  attribute.lockSlot = layout.locks++;
  switch (attribute.kind) {
    case AttrKind::kNumeric:
    case AttrKind::kEnum:
      attribute.numSlot = int(layout.numbers.size());
      layout.numbers.push_back(attribute.defaultValue);
      break;
    case AttrKind::kTyped:
      attribute.strSlot = int(layout.strings.size());
      layout.strings.push_back(attribute.defaultString);
      break;
    case AttrKind::kCompound:
      for (auto& child : attribute.children)
        layoutTree(*child, layout);
      break;
  }
}

void layoutTree(Attribute& attribute, BlockLayout& layout) {
  attribute.frozen = true;
  attribute.numSlot = attribute.strSlot = attribute.lockSlot = -1;
  attribute.arraySlot = attribute.arrayLockSlot = -1;
  if (attribute.array) {
    attribute.arraySlot = layout.arrays++;
    attribute.arrayLockSlot = layout.locks++;
    attribute.elementLayout = BlockLayout();
    layoutInScope(attribute, attribute.elementLayout);
  } else {
    layoutInScope(attribute, layout);
  }
}

}  // namespace

void layoutAttribute(Attribute& top, BlockLayout& layout) {
  layoutTree(top, layout);
}

bool isValidAttributeName(const std::string& name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])))
    return false;
  for (char c : name) {
    if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_'))
      return false;
  }
  return true;
}

double normaliseNumber(HFnNumericData::Type type, double value) {
  if (!std::isfinite(value))
    return 0.0;
  auto clampInt = [](double v, double lo, double hi) {
    v = std::trunc(v);
    return v < lo ? lo : (v > hi ? hi : v);
  };
  switch (type) {
    case HFnNumericData::kBoolean:
      return value != 0.0 ? 1.0 : 0.0;
    case HFnNumericData::kByte:
      return clampInt(value, 0, 255);
    case HFnNumericData::kChar:
      return clampInt(value, -128, 127);
    case HFnNumericData::kShort:
    case HFnNumericData::k2Short:
    case HFnNumericData::k3Short:
      return clampInt(value, -32768, 32767);
    case HFnNumericData::kInt:
    case HFnNumericData::k2Int:
    case HFnNumericData::k3Int:
      return clampInt(value, double(std::numeric_limits<int>::min()),
                      double(std::numeric_limits<int>::max()));
    case HFnNumericData::kInt64:
      return clampInt(value, -9007199254740992.0, 9007199254740992.0);
    case HFnNumericData::kFloat:
    case HFnNumericData::k2Float:
    case HFnNumericData::k3Float: {
      const double limit = double(std::numeric_limits<float>::max());
      double clamped = value < -limit ? -limit : (value > limit ? limit : value);
      return double(float(clamped));
    }
    default:
      return value;
  }
}

namespace {

Attribute* defOf(const HObject& object) {
  return object.attributeDef().get();
}

HStatus attach(const HObject& object, HObject& target, bool (*accept)(const Attribute&)) {
  Attribute* def = defOf(object);
  if (!def || !accept(*def)) {
    target = HObject();
    return invalid("Object is not an attribute of this kind");
  }
  target = object;
  return ok();
}

bool anyAttribute(const Attribute&) {
  return true;
}
bool numericAttribute(const Attribute& a) {
  return a.kind == AttrKind::kNumeric || (a.kind == AttrKind::kCompound && a.numericCompound);
}
bool enumAttribute(const Attribute& a) {
  return a.kind == AttrKind::kEnum;
}
bool compoundAttribute(const Attribute& a) {
  return a.kind == AttrKind::kCompound;
}
bool typedAttribute(const Attribute& a) {
  return a.kind == AttrKind::kTyped;
}

// Names of new attributes: the short name defaults to the long name.
bool prepareNames(const HString& longName, const HString& shortName, std::string& longOut,
                  std::string& shortOut) {
  longOut = longName.asStdString();
  shortOut = shortName.length() ? shortName.asStdString() : longOut;
  return isValidAttributeName(longOut) && isValidAttributeName(shortOut);
}

HFnNumericData::Type elementType(HFnNumericData::Type type, unsigned& count) {
  switch (type) {
    case HFnNumericData::k2Short:
      count = 2;
      return HFnNumericData::kShort;
    case HFnNumericData::k3Short:
      count = 3;
      return HFnNumericData::kShort;
    case HFnNumericData::k2Int:
      count = 2;
      return HFnNumericData::kInt;
    case HFnNumericData::k3Int:
      count = 3;
      return HFnNumericData::kInt;
    case HFnNumericData::k2Float:
      count = 2;
      return HFnNumericData::kFloat;
    case HFnNumericData::k3Float:
      count = 3;
      return HFnNumericData::kFloat;
    case HFnNumericData::k2Double:
      count = 2;
      return HFnNumericData::kDouble;
    case HFnNumericData::k3Double:
      count = 3;
      return HFnNumericData::kDouble;
    case HFnNumericData::k4Double:
      count = 4;
      return HFnNumericData::kDouble;
    case HFnNumericData::kBoolean:
    case HFnNumericData::kByte:
    case HFnNumericData::kChar:
    case HFnNumericData::kShort:
    case HFnNumericData::kInt:
    case HFnNumericData::kInt64:
    case HFnNumericData::kFloat:
    case HFnNumericData::kDouble:
      count = 1;
      return type;
    default:
      count = 0;
      return HFnNumericData::kInvalid;
  }
}

}  // namespace

std::shared_ptr<Attribute> makeNumericAttribute(const std::string& longName,
                                                const std::string& shortName,
                                                HFnNumericData::Type type, double defaultValue) {
  unsigned count = 0;
  HFnNumericData::Type leafType = elementType(type, count);
  if (count == 0)
    return nullptr;
  auto attribute = std::make_shared<Attribute>();
  attribute->longName = longName;
  attribute->shortName = shortName;
  attribute->numericType = type;
  double value = normaliseNumber(leafType, defaultValue);
  if (count == 1) {
    attribute->kind = AttrKind::kNumeric;
    attribute->defaultValue = value;
    return attribute;
  }
  attribute->kind = AttrKind::kCompound;
  attribute->numericCompound = true;
  attribute->defaultValue = value;
  static const char* kLong[] = {"X", "Y", "Z", "W"};
  static const char* kShort[] = {"x", "y", "z", "w"};
  for (unsigned i = 0; i < count; ++i) {
    auto child = std::make_shared<Attribute>();
    child->kind = AttrKind::kNumeric;
    child->longName = longName + kLong[i];
    child->shortName = shortName + kShort[i];
    child->numericType = leafType;
    child->defaultValue = value;
    child->parent = attribute.get();
    child->indexInParent = i;
    attribute->children.push_back(child);
  }
  return attribute;
}

}  // namespace hostdetail

using namespace hostdetail;

// ---------------------------------------------------------------------------
// HFnAttribute

HFnAttribute::HFnAttribute(const HObject& attribute, HStatus* status) {
  HStatus result = attach(attribute, fObject, anyAttribute);
  setStatus(status, result);
}

HStatus HFnAttribute::setObject(const HObject& object) {
  return attach(object, fObject, anyAttribute);
}

#define ATTRIBUTE_OR_FAIL(fallback)                      \
  Attribute* def = defOf(fObject);                       \
  if (!def) {                                            \
    setStatus(status, invalid("No attribute attached")); \
    return fallback;                                     \
  }                                                      \
  setOk(status);

HString HFnAttribute::name(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(HString());
  return HString(def->longName);
}

HString HFnAttribute::shortName(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(HString());
  return HString(def->shortName);
}

HObject HFnAttribute::parent(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(HObject());
  if (!def->parent)
    return HObject();
  return HObject::fromAttribute(def->parent->shared_from_this());
}

bool HFnAttribute::isHidden(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(false);
  return def->hidden;
}
bool HFnAttribute::isKeyable(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(false);
  return def->keyable;
}
bool HFnAttribute::isStorable(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(false);
  return def->storable;
}
bool HFnAttribute::isReadable(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(false);
  return def->readable;
}
bool HFnAttribute::isWritable(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(false);
  return def->writable;
}
bool HFnAttribute::isArray(HStatus* status) const {
  ATTRIBUTE_OR_FAIL(false);
  return def->array;
}

#undef ATTRIBUTE_OR_FAIL

namespace {
HStatus setFlag(const HObject& object, bool Attribute::*flag, bool state) {
  Attribute* def = defOf(object);
  if (!def)
    return invalid("No attribute attached");
  def->*flag = state;
  return ok();
}
}  // namespace

HStatus HFnAttribute::setHidden(bool state) {
  return setFlag(fObject, &Attribute::hidden, state);
}
HStatus HFnAttribute::setKeyable(bool state) {
  return setFlag(fObject, &Attribute::keyable, state);
}
HStatus HFnAttribute::setStorable(bool state) {
  return setFlag(fObject, &Attribute::storable, state);
}
HStatus HFnAttribute::setReadable(bool state) {
  return setFlag(fObject, &Attribute::readable, state);
}
HStatus HFnAttribute::setWritable(bool state) {
  return setFlag(fObject, &Attribute::writable, state);
}

HStatus HFnAttribute::setArray(bool state) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  // Array-ness decides where values live, so it is fixed once the attribute is in use.
  if (def->frozen)
    return fail("Attribute is already in use; it cannot change to or from an array");
  def->array = state;
  return ok();
}

// ---------------------------------------------------------------------------
// HFnNumericAttribute

HFnNumericAttribute::HFnNumericAttribute(const HObject& attribute, HStatus* status) {
  setStatus(status, attach(attribute, fObject, numericAttribute));
}

HStatus HFnNumericAttribute::setObject(const HObject& object) {
  return attach(object, fObject, numericAttribute);
}

HObject HFnNumericAttribute::create(const HString& longName, const HString& shortName,
                                    HFnNumericData::Type type, double defaultValue,
                                    HStatus* status) {
  std::string longText, shortText;
  if (!prepareNames(longName, shortName, longText, shortText)) {
    setStatus(status, invalid("Invalid attribute name"));
    return HObject();
  }
  auto attribute = makeNumericAttribute(longText, shortText, type, defaultValue);
  if (!attribute) {
    setStatus(status, invalid("Unsupported numeric type"));
    return HObject();
  }
  fObject = HObject::fromAttribute(attribute);
  setOk(status);
  return fObject;
}

HFnNumericData::Type HFnNumericAttribute::unitType(HStatus* status) const {
  Attribute* def = defOf(fObject);
  setStatus(status, def ? ok() : invalid("No attribute attached"));
  return def ? def->numericType : HFnNumericData::kInvalid;
}

HStatus HFnNumericAttribute::getDefault(double& value) const {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  value = def->defaultValue;
  return ok();
}

// Defaults decide the value of elements and attributes not yet written; a
// change after the attribute is in use affects only elements made afterwards.
HStatus HFnNumericAttribute::setDefault(double value) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  if (!std::isfinite(value))
    return invalid("Default must be finite");
  if (def->kind == AttrKind::kCompound) {
    for (auto& child : def->children)
      child->defaultValue = normaliseNumber(child->numericType, value);
    def->defaultValue = value;
  } else {
    def->defaultValue = normaliseNumber(def->numericType, value);
  }
  return ok();
}

HStatus HFnNumericAttribute::setMin(double value) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  if (!std::isfinite(value))
    return invalid("Minimum must be finite");
  def->hasMin = true;
  def->minValue = value;
  for (auto& child : def->children) {
    child->hasMin = true;
    child->minValue = value;
  }
  return ok();
}

HStatus HFnNumericAttribute::setStrictRange(bool state) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  def->strictRange = state;
  for (auto& child : def->children)
    child->strictRange = state;
  return ok();
}

HStatus HFnNumericAttribute::setMax(double value) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  if (!std::isfinite(value))
    return invalid("Maximum must be finite");
  def->hasMax = true;
  def->maxValue = value;
  for (auto& child : def->children) {
    child->hasMax = true;
    child->maxValue = value;
  }
  return ok();
}

// ---------------------------------------------------------------------------
// HFnEnumAttribute

HFnEnumAttribute::HFnEnumAttribute(const HObject& attribute, HStatus* status) {
  setStatus(status, attach(attribute, fObject, enumAttribute));
}

HStatus HFnEnumAttribute::setObject(const HObject& object) {
  return attach(object, fObject, enumAttribute);
}

HObject HFnEnumAttribute::create(const HString& longName, const HString& shortName,
                                 short defaultValue, HStatus* status) {
  std::string longText, shortText;
  if (!prepareNames(longName, shortName, longText, shortText)) {
    setStatus(status, invalid("Invalid attribute name"));
    return HObject();
  }
  auto attribute = std::make_shared<Attribute>();
  attribute->kind = AttrKind::kEnum;
  attribute->longName = longText;
  attribute->shortName = shortText;
  attribute->numericType = HFnNumericData::kShort;
  attribute->defaultValue = defaultValue;
  fObject = HObject::fromAttribute(attribute);
  setOk(status);
  return fObject;
}

HStatus HFnEnumAttribute::addField(const HString& fieldName, short value) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  const std::string& name = fieldName.asStdString();
  if (name.empty())
    return invalid("Empty field name");
  for (auto& field : def->enumFields) {
    if (field.first == name || field.second == value)
      return invalid("Duplicate enum field");
  }
  def->enumFields.emplace_back(name, value);
  return ok();
}

HString HFnEnumAttribute::fieldName(short value, HStatus* status) const {
  Attribute* def = defOf(fObject);
  if (def) {
    for (auto& field : def->enumFields) {
      if (field.second == value) {
        setOk(status);
        return HString(field.first);
      }
    }
  }
  setStatus(status, invalid("No such enum field"));
  return HString();
}

short HFnEnumAttribute::fieldIndex(const HString& fieldName, HStatus* status) const {
  Attribute* def = defOf(fObject);
  if (def) {
    for (auto& field : def->enumFields) {
      if (field.first == fieldName.asStdString()) {
        setOk(status);
        return field.second;
      }
    }
  }
  setStatus(status, invalid("No such enum field"));
  return 0;
}

// An enum without fields reports 0 as both bounds.
HStatus HFnEnumAttribute::getMin(short& value) const {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  value = 0;
  bool first = true;
  for (auto& field : def->enumFields) {
    if (first || field.second < value)
      value = field.second;
    first = false;
  }
  return ok();
}

HStatus HFnEnumAttribute::getMax(short& value) const {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  value = 0;
  bool first = true;
  for (auto& field : def->enumFields) {
    if (first || field.second > value)
      value = field.second;
    first = false;
  }
  return ok();
}

HStatus HFnEnumAttribute::setDefault(short value) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  def->defaultValue = value;
  return ok();
}

HStatus HFnEnumAttribute::getDefault(short& value) const {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  value = short(def->defaultValue);
  return ok();
}

// ---------------------------------------------------------------------------
// HFnCompoundAttribute

HFnCompoundAttribute::HFnCompoundAttribute(const HObject& attribute, HStatus* status) {
  setStatus(status, attach(attribute, fObject, compoundAttribute));
}

HStatus HFnCompoundAttribute::setObject(const HObject& object) {
  return attach(object, fObject, compoundAttribute);
}

HObject HFnCompoundAttribute::create(const HString& longName, const HString& shortName,
                                     HStatus* status) {
  std::string longText, shortText;
  if (!prepareNames(longName, shortName, longText, shortText)) {
    setStatus(status, invalid("Invalid attribute name"));
    return HObject();
  }
  auto attribute = std::make_shared<Attribute>();
  attribute->kind = AttrKind::kCompound;
  attribute->longName = longText;
  attribute->shortName = shortText;
  fObject = HObject::fromAttribute(attribute);
  setOk(status);
  return fObject;
}

namespace {
bool containsName(const Attribute& tree, const Attribute& candidate) {
  if (tree.longName == candidate.longName || tree.shortName == candidate.shortName ||
      tree.longName == candidate.shortName || tree.shortName == candidate.longName)
    return true;
  for (auto& child : tree.children) {
    if (containsName(*child, candidate))
      return true;
  }
  return false;
}
}  // namespace

HStatus HFnCompoundAttribute::addChild(const HObject& child) {
  Attribute* def = defOf(fObject);
  if (!def)
    return invalid("No attribute attached");
  std::shared_ptr<Attribute> childDef = child.attributeDef();
  if (!childDef)
    return invalid("Child is not an attribute");
  if (childDef.get() == def)
    return invalid("A compound cannot be its own child");
  if (childDef->parent)
    return invalid("Attribute already has a parent");
  if (def->frozen || childDef->frozen)
    return fail("Attribute is already in use");
  for (const Attribute* a = def; a; a = a->parent) {
    if (a == childDef.get())
      return invalid("Adding the child would make a cycle");
  }
  for (auto& existing : def->children) {
    if (containsName(*existing, *childDef))
      return invalid("Duplicate child name");
  }
  childDef->parent = def;
  childDef->indexInParent = unsigned(def->children.size());
  def->children.push_back(std::move(childDef));
  return ok();
}

unsigned HFnCompoundAttribute::numChildren(HStatus* status) const {
  Attribute* def = defOf(fObject);
  setStatus(status, def ? ok() : invalid("No attribute attached"));
  return def ? unsigned(def->children.size()) : 0;
}

HObject HFnCompoundAttribute::child(unsigned index, HStatus* status) const {
  Attribute* def = defOf(fObject);
  if (!def || index >= def->children.size()) {
    setStatus(status, invalid("Child index out of range"));
    return HObject();
  }
  setOk(status);
  return HObject::fromAttribute(def->children[index]);
}

// ---------------------------------------------------------------------------
// HFnTypedAttribute

HFnTypedAttribute::HFnTypedAttribute(const HObject& attribute, HStatus* status) {
  setStatus(status, attach(attribute, fObject, typedAttribute));
}

HStatus HFnTypedAttribute::setObject(const HObject& object) {
  return attach(object, fObject, typedAttribute);
}

HObject HFnTypedAttribute::create(const HString& longName, const HString& shortName,
                                  HFnData::Type type, HStatus* status) {
  std::string longText, shortText;
  if (!prepareNames(longName, shortName, longText, shortText)) {
    setStatus(status, invalid("Invalid attribute name"));
    return HObject();
  }
  if (type != HFnData::kString) {
    setStatus(status, invalid("Only string data is supported"));
    return HObject();
  }
  auto attribute = std::make_shared<Attribute>();
  attribute->kind = AttrKind::kTyped;
  attribute->dataType = type;
  attribute->longName = longText;
  attribute->shortName = shortText;
  fObject = HObject::fromAttribute(attribute);
  setOk(status);
  return fObject;
}

HFnData::Type HFnTypedAttribute::attrType(HStatus* status) const {
  Attribute* def = defOf(fObject);
  setStatus(status, def ? ok() : invalid("No attribute attached"));
  return def ? def->dataType : HFnData::kInvalid;
}

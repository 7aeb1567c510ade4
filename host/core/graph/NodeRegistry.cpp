// The node type registry and the core's built-in types ("transform",
// "network").

#include <algorithm>

#include "HFnEnumAttribute.h"
#include "Node.h"
#include "Placeholders.h"

namespace hostdetail {

namespace {

struct Registry {
  std::vector<std::unique_ptr<NodeType>> types;
};

Registry& registry() {
  static auto* instance = new Registry();
  return *instance;
}

void indexNames(NodeType& type, Attribute& attribute) {
  type.staticNames.emplace(attribute.longName, &attribute);
  type.staticNames.emplace(attribute.shortName, &attribute);
  for (auto& child : attribute.children)
    indexNames(type, *child);
}

void markStatic(Attribute& attribute, const NodeType* owner) {
  attribute.isStatic = true;
  attribute.ownerType = owner;
  for (auto& child : attribute.children)
    markStatic(*child, owner);
}

bool nameTaken(const NodeType& type, const Attribute& attribute) {
  if (type.staticNames.count(attribute.longName) || type.staticNames.count(attribute.shortName))
    return true;
  for (auto& child : attribute.children) {
    if (nameTaken(type, *child))
      return true;
  }
  return false;
}

// Registers a type whose static attributes extend its parent's.
HStatus addType(std::unique_ptr<NodeType> type,
                std::vector<std::shared_ptr<Attribute>> attributes) {
  Registry& r = registry();
  if (type->name.empty())
    return invalid("Empty node type name");
  if (findNodeType(type->name))
    return fail("Node type name already registered");
  if (findNodeType(type->id))
    return fail("Node type id already registered");
  if (const NodeType* parent = type->parent) {
    type->staticAttributes = parent->staticAttributes;
    type->staticLayout = parent->staticLayout;
    type->staticNames = parent->staticNames;
    type->jointOrientSlot = parent->jointOrientSlot;
  }
  for (auto& attribute : attributes) {
    if (!attribute || attribute->frozen || attribute->parent)
      return invalid("Attribute in use");
    if (nameTaken(*type, *attribute))
      return invalid("Duplicate static attribute name");
    layoutAttribute(*attribute, type->staticLayout);
    markStatic(*attribute, type.get());
    indexNames(*type, *attribute);
    type->staticAttributes.push_back(attribute);
    if (attribute->longName == "jointOrient" && attribute->children.size() == 3 &&
        !attribute->array) {
      type->jointOrientSlot = attribute->children[0]->numSlot;
    }
  }
  type->staticNumberLeaves.assign(type->staticLayout.numbers.size(), nullptr);
  for (auto& entry : type->staticNames) {
    const Attribute* a = entry.second;
    bool inArray = false;
    for (const Attribute* p = a; p; p = p->parent)
      inArray = inArray || p->array;
    if (a->numSlot >= 0 && !inArray)
      type->staticNumberLeaves[size_t(a->numSlot)] = a;
  }
  r.types.push_back(std::move(type));
  return ok();
}

}  // namespace

bool NodeType::hasFn(HFn::Type code) const {
  switch (code) {
    case HFn::kBase:
    case HFn::kNamedObject:
    case HFn::kDependencyNode:
      return true;
    case HFn::kDagNode:
      return isDag;
    default:
      break;
  }
  for (const NodeType* t = this; t; t = t->parent) {
    if (t->apiType == code)
      return true;
    if (t->apiType == HFn::kPluginIkSolver && code == HFn::kIkSolver)
      return true;
    if (t->apiType == HFn::kPluginIkSolver && code == HFn::kPluginDependNode)
      return true;
  }
  return false;
}

Attribute* NodeType::findStatic(const std::string& attributeName) const {
  auto it = staticNames.find(attributeName);
  return it == staticNames.end() ? nullptr : it->second;
}

const NodeType* findNodeType(const std::string& name) {
  for (auto& type : registry().types) {
    if (type->name == name)
      return type.get();
  }
  return nullptr;
}

const NodeType* findNodeType(HTypeId id) {
  for (auto& type : registry().types) {
    if (type->id == id)
      return type.get();
  }
  return nullptr;
}

const NodeType* nodeTypeToCreate(const std::string& name) {
  if (const NodeType* type = findNodeType(name))
    return type;
  return placeholderTypeFor(name);
}

std::vector<const NodeType*> nodeTypes() {
  std::vector<const NodeType*> out;
  for (auto& type : registry().types)
    out.push_back(type.get());
  return out;
}

std::vector<std::string> nodeTypesOfPlugin(const std::string& pluginName) {
  std::vector<std::string> out;
  for (auto& type : registry().types) {
    if (!type->pluginName.empty() && type->pluginName == pluginName)
      out.push_back(type->name);
  }
  return out;
}

HStatus registerBuiltinNodeType(const std::string& name, HTypeId id, HFn::Type apiType,
                                const std::string& parentName, const std::string& namePrefix,
                                std::vector<std::shared_ptr<Attribute>> attributes) {
  auto type = std::make_unique<NodeType>();
  type->name = name;
  type->id = id;
  type->apiType = apiType;
  type->namePrefix = namePrefix.empty() ? name : namePrefix;
  if (!parentName.empty()) {
    type->parent = findNodeType(parentName);
    if (!type->parent)
      return invalid("Unknown parent node type");
    type->isDag = type->parent->isDag;
  }
  return addType(std::move(type), std::move(attributes));
}

HStatus registerPluginNodeType(const std::string& pluginName, const std::string& name, HTypeId id,
                               HFnPlugin::HCreatorFunction creator,
                               HFnPlugin::HInitializeFunction initialize, HPxNode::Type pxType) {
  if (!creator)
    return invalid("A plug-in node type needs a creator");
  if (findNodeType(name))
    return fail("Node type name already registered");
  if (findNodeType(id))
    return fail("Node type id already registered");
  if (initialize) {
    HStatus status = initialize();
    if (status.statusCode() != HStatus::kSuccess)
      return status;
  }
  auto type = std::make_unique<NodeType>();
  type->name = name;
  type->id = id;
  type->apiType = pxType == HPxNode::kIkSolverNode ? HFn::kPluginIkSolver : HFn::kPluginDependNode;
  type->namePrefix = name;
  type->creator = creator;
  type->pxType = pxType;
  type->pluginName = pluginName;
  return addType(std::move(type), {});
}

HStatus deregisterNodeType(HTypeId id) {
  Registry& r = registry();
  auto it = std::find_if(r.types.begin(), r.types.end(),
                         [&](const std::unique_ptr<NodeType>& t) { return t->id == id; });
  if (it == r.types.end())
    return invalid("No node type with that id");
  if ((*it)->pluginName.empty())
    return fail("Built-in node types cannot be deregistered");
  if (countNodesOfType(it->get()))
    return fail("Nodes of the type still exist");
  for (auto& other : r.types) {
    if (other->parent == it->get())
      return fail("Other node types derive from the type");
  }
  purgeDetachedOfType(it->get());
  r.types.erase(it);
  return ok();
}

// ---------------------------------------------------------------------------
// Built-in types of the core.

namespace {

std::shared_ptr<Attribute> double3(const char* longName, const char* shortName, double value,
                                   bool affectsMatrix) {
  auto attribute = makeNumericAttribute(longName, shortName, HFnNumericData::k3Double, value);
  attribute->keyable = true;
  attribute->affectsMatrix = affectsMatrix;
  for (auto& child : attribute->children) {
    child->keyable = true;
    child->affectsMatrix = affectsMatrix;
  }
  return attribute;
}

std::shared_ptr<Attribute> shear() {
  auto attribute = double3("shear", "sh", 0.0, true);
  static const char* kLong[] = {"shearXY", "shearXZ", "shearYZ"};
  static const char* kShort[] = {"shxy", "shxz", "shyz"};
  for (unsigned i = 0; i < 3; ++i) {
    attribute->children[i]->longName = kLong[i];
    attribute->children[i]->shortName = kShort[i];
  }
  return attribute;
}

std::shared_ptr<Attribute> rotateOrder() {
  auto attribute = std::make_shared<Attribute>();
  attribute->kind = AttrKind::kEnum;
  attribute->longName = "rotateOrder";
  attribute->shortName = "ro";
  attribute->numericType = HFnNumericData::kShort;
  attribute->affectsMatrix = true;
  static const char* kFields[] = {"xyz", "yzx", "zxy", "xzy", "yxz", "zyx"};
  for (short i = 0; i < 6; ++i)
    attribute->enumFields.emplace_back(kFields[i], i);
  return attribute;
}

// The layout puts these at the fixed TransformSlot positions.
std::vector<std::shared_ptr<Attribute>> transformAttributes() {
  auto visibility = makeNumericAttribute("visibility", "v", HFnNumericData::kBoolean, 1.0);
  visibility->keyable = true;
  return {double3("translate", "t", 0.0, true),
          double3("rotate", "r", 0.0, true),
          rotateOrder(),
          double3("scale", "s", 1.0, true),
          shear(),
          double3("rotateAxis", "ra", 0.0, true),
          visibility};
}

struct CoreTypes {
  CoreTypes() {
    registerBuiltinNodeType("transform", HTypeId(0x48540001), HFn::kTransform, "", "transform",
                            transformAttributes());
    auto& types = registry().types;
    types.back()->isDag = true;
    // A plain dependency node, handy for holding attributes and connections.
    registerBuiltinNodeType("network", HTypeId(0x48540002), HFn::kDependencyNode, "", "network",
                            {});
  }
};

CoreTypes gCoreTypes;

}  // namespace

const Attribute* staticLeafAt(const NodeType* type, int numSlot) {
  if (numSlot < 0 || size_t(numSlot) >= type->staticNumberLeaves.size())
    return nullptr;
  return type->staticNumberLeaves[size_t(numSlot)];
}

}  // namespace hostdetail

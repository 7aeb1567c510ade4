#pragma once
// Host-internal access to the scene for the rest of the host (command engine,
// scene files, plug-in manager, IK evaluation). Not part of the public API:
// plug-ins never see this header.
//
// There is one global scene. Nodes are named by HObject (slot + generation),
// so every function here accepts stale objects and fails (or returns an empty
// result) for them instead of crashing.

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Attribute.h"
#include "HFn.h"
#include "HFnPlugin.h"
#include "HObject.h"
#include "HPlug.h"
#include "HPxNode.h"
#include "HStatus.h"
#include "HTypeId.h"

namespace hostdetail {

// ---------------------------------------------------------------------------
// Node types

struct NodeType {
  std::string name;
  HTypeId id;
  HFn::Type apiType = HFn::kDependencyNode;
  const NodeType* parent = nullptr;  // transform for joint, effector and handle
  bool isDag = false;
  std::string namePrefix;  // stem of default names ("effector" for ikEffector)
  // Static attributes, top level, inherited ones first; children are reached
  // through the definitions.
  std::vector<std::shared_ptr<Attribute>> staticAttributes;
  BlockLayout staticLayout;
  // Static attributes of any depth by long and short name.
  std::unordered_map<std::string, Attribute*, NameHash> staticNames;
  // Number slot of jointOrientX (Y, Z follow) for types with a joint
  // orientation; -1 otherwise.
  int jointOrientSlot = -1;
  // The static leaf attribute of each number slot of the static block.
  std::vector<const Attribute*> staticNumberLeaves;
  // Plug-in types: the creator of the HPxNode and the plug-in that registered it.
  HFnPlugin::HCreatorFunction creator = nullptr;
  HPxNode::Type pxType = HPxNode::kDependNode;
  std::string pluginName;  // empty for built-in types
  // A placeholder stands in for a type whose plug-in was missing when a scene
  // file was opened; it lives outside the registry, so the real type can
  // still be registered. It has no static attributes (no plug-in type has),
  // and missingPlugins holds the plug-ins the file required but could not
  // load, so that saving writes their `requires` lines back.
  bool placeholder = false;
  struct MissingPlugin {
    std::string name;
    std::string version;
    bool hasVersion = false;
  };
  std::vector<MissingPlugin> missingPlugins;

  // True when the type is, or derives from, the given type code.
  bool hasFn(HFn::Type type) const;
  // Static attribute (any depth) by long or short name; null when none.
  Attribute* findStatic(const std::string& name) const;
};

const NodeType* findNodeType(const std::string& name);
const NodeType* findNodeType(HTypeId id);
std::vector<const NodeType*> nodeTypes();  // in registration order
// Live nodes of the type (nodes held only for undo are not counted).
unsigned countNodesOfType(const NodeType* type);

// Built-in types. attributes are the type's own top-level static attributes
// (the parent's are inherited); they are frozen by the call. Fails for a
// taken name or id, or an unknown parent.
HStatus registerBuiltinNodeType(const std::string& name, HTypeId id, HFn::Type apiType,
                                const std::string& parentName, const std::string& namePrefix,
                                std::vector<std::shared_ptr<Attribute>> attributes);
// Plug-in types: names and ids must be unique across the host; the
// initialize function is run at registration and its failure refuses it.
HStatus registerPluginNodeType(const std::string& pluginName, const std::string& name, HTypeId id,
                               HFnPlugin::HCreatorFunction creator,
                               HFnPlugin::HInitializeFunction initialize, HPxNode::Type pxType);
// Fails while live nodes of the type exist. Nodes of it held for undo are
// dropped (their undo then fails).
HStatus deregisterNodeType(HTypeId id);
std::vector<std::string> nodeTypesOfPlugin(const std::string& pluginName);
// The type that createNode makes for a name: the registered one, or, while a
// scene file whose plug-ins are missing is opened, a placeholder type.
const NodeType* nodeTypeToCreate(const std::string& name);

// ---------------------------------------------------------------------------
// Nodes

// By exact name, or by a "|a|b" path (a leading "|" anchors at the world).
HObject findNode(const std::string& nameOrPath);
std::vector<HObject> nodesInCreationOrder();
// DAG nodes, every parent before its children (depth first, children in order).
std::vector<HObject> dagNodesParentFirst();
// Creates a node of a registered type. An empty name gives namePrefix + the
// next free number; a taken name gets the next free number. parent is used
// for DAG types only (null: the world). Plug-in nodes get their HPxNode
// (hostSetThis, then postConstructor).
HObject createNode(const std::string& typeName, const std::string& name, const HObject& parent,
                   HStatus* status = nullptr);
// Deletes the node and its DAG descendants, with their connections. Not undoable.
HStatus deleteNode(const HObject& node);
// Renames to the name made unique; chosen receives it.
HStatus renameNode(const HObject& node, const std::string& name, std::string* chosen = nullptr);
// Moves a DAG node under newParent (null: the world), keeping its local
// transform. Fails for a cycle or a non-DAG node.
HStatus reparentNode(const HObject& node, const HObject& newParent);
// The name the host would give for a wanted name ("" or taken: next number).
std::string uniqueNodeName(const std::string& wanted, const std::string& prefix = "node");
// Tells the name search that a name left the scene (deleted or renamed).
void releaseNodeName(const std::string& name);
// New scene: deletes every node (not undoable) and clears the active selection.
void resetScene();

const NodeType* nodeTypeOf(const HObject& node);
std::string nodeName(const HObject& node);
HObject nodeParent(const HObject& node);                 // null under the world
std::vector<HObject> nodeChildren(const HObject& node);  // DAG children in order
HPxNode* userNodeOf(const HObject& node);

// ---------------------------------------------------------------------------
// Attributes and values

std::vector<HObject> staticAttributesOf(const HObject& node);   // top level, type order
std::vector<HObject> dynamicAttributesOf(const HObject& node);  // top level, order added
bool isDynamicAttribute(const HObject& node, const HObject& attribute);
// The lock set on this very plug (HPlug::isLocked also reports locks of the
// plugs above it).
bool plugOwnLocked(const HPlug& plug);
// Parses "node.attr[2].child" (node by name or |path; attributes by long or
// short name; a child may be named without its compound parents). A plug
// whose array ancestors lack an index is returned but holds no value.
HPlug plugFromName(const std::string& text, HStatus* status = nullptr);
// The same below a given node: "attr[2].child".
HPlug plugFromName(const HObject& node, const std::string& text, HStatus* status = nullptr);

// ---------------------------------------------------------------------------
// Links between nodes that are not plugs. They follow renames; a link to a
// deleted node reads as null. The animation library uses the keys
// "startJoint", "endEffector" and "solver" on IK handles and "endJoint" on
// effectors (the joint whose translation the effector follows).

HObject nodeLink(const HObject& node, const std::string& key);
HStatus setNodeLink(const HObject& node, const std::string& key, const HObject& target);
std::vector<std::pair<std::string, HObject>> nodeLinks(const HObject& node);

// ---------------------------------------------------------------------------
// Connections

struct Connection {
  HPlug source;
  HPlug destination;
};
// Every connection, oldest first.
std::vector<Connection> allConnections();
// The connection whose destination is exactly this plug, if any.
bool connectionInto(const HPlug& destination, Connection& found);
HStatus connectPlugs(const HPlug& source, const HPlug& destination);
HStatus disconnectPlugs(const HPlug& source, const HPlug& destination);

// ---------------------------------------------------------------------------
// Change notification. Listeners run synchronously after the change.

enum class ChangeKind {
  kNodeCreated,
  kNodeDeleted,  // sent before the node goes (it is still readable)
  kNodeRenamed,
  kReparented,    // sent after the move
  kValueChanged,  // attribute = the leaf (or array/compound) written
  kAttributeAdded,
  kAttributeRemoved,  // sent before the attribute goes
  kLinkChanged,       // a node link was set
};

struct Change {
  ChangeKind kind;
  HObject node;
  const Attribute* attribute = nullptr;  // kValueChanged, kAttributeAdded/Removed
  std::string key;                       // kLinkChanged: the link's key
  bool restored = false;                 // kNodeCreated: an undone deletion brought the node back
};

using ChangeListener = void (*)(const Change& change, void* clientData);
int addChangeListener(ChangeListener listener, void* clientData);  // returns an id > 0
void removeChangeListener(int id);

// ---------------------------------------------------------------------------
// IK evaluation. Core cannot link the animation library, which installs its
// evaluator here when it is loaded. runEvaluationHook does nothing without one.

void setEvaluationHook(void (*hook)());
void runEvaluationHook();

// ---------------------------------------------------------------------------
// Plug-ins. The plug-in manager keeps one record per loaded plug-in; an
// HObject of type HFn::kPlugin names a record (and reads as null once the
// record is removed).

struct PluginRecord {
  std::string name;
  std::string path;
  std::string vendor = "Unknown";
  std::string version = "Unknown";
  std::string requiredApiVersion = "Any";
  void* libraryHandle = nullptr;
  std::shared_ptr<void> managerData;  // whatever the plug-in manager keeps
};

HObject addPluginRecord(const PluginRecord& record);
PluginRecord* pluginRecord(const HObject& plugin);
PluginRecord* pluginRecord(const std::string& name);
HObject pluginObject(const std::string& name);
void removePluginRecord(const HObject& plugin);
std::vector<HObject> pluginObjects();

}  // namespace hostdetail

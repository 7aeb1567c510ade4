// The node-type part of HFnPlugin: registering and deregistering the node
// types of the plug-in that the function set stands for.

#include "HFnPlugin.h"
#include "graph/Node.h"

using namespace hostdetail;

HStatus HFnPlugin::registerNode(const HString& typeName, const HTypeId& typeId,
                                HCreatorFunction creatorFunction, HInitializeFunction initFunction,
                                HPxNode::Type type, const HString*) {
  PluginRecord* record = pluginRecord(fObject);
  if (!record)
    return invalid("The function set is not attached to a loaded plug-in");
  return registerPluginNodeType(record->name, typeName.asStdString(), typeId, creatorFunction,
                                initFunction, type);
}

// Only the plug-in's own types can be deregistered through it.
HStatus HFnPlugin::deregisterNode(const HTypeId& typeId) {
  PluginRecord* record = pluginRecord(fObject);
  if (!record)
    return invalid("The function set is not attached to a loaded plug-in");
  const NodeType* type = findNodeType(typeId);
  if (!type)
    return invalid("No node type with that id");
  if (type->pluginName != record->name)
    return invalid("The node type belongs to another plug-in");
  return deregisterNodeType(typeId);
}

// Placeholder nodes: what a scene file's nodes become when the plug-in that
// provides their type is missing. They keep everything a plug-in node can
// hold here (plug-in types have no static attributes, so that is the type
// name, dynamic attributes with their values, connections and links), are
// never evaluated (they have no HPxNode) and are saved back unchanged. When
// the plug-in is loaded later they become real nodes in place.

#include <algorithm>
#include <memory>
#include <vector>

#include "Node.h"
#include "Placeholders.h"

namespace hostdetail {

namespace {

struct PlaceholderState {
  std::vector<NodeType::MissingPlugin> missing;  // of the file being opened
  // Never freed: nodes (also those held for undo) point at their type.
  std::vector<std::unique_ptr<NodeType>> types;
};

PlaceholderState& state() {
  static auto* instance = new PlaceholderState();
  return *instance;
}

bool sameMissing(const std::vector<NodeType::MissingPlugin>& a,
                 const std::vector<NodeType::MissingPlugin>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const NodeType::MissingPlugin& x, const NodeType::MissingPlugin& y) {
                      return x.name == y.name && x.version == y.version &&
                             x.hasVersion == y.hasVersion;
                    });
}

}  // namespace

void forgetMissingPlugins() {
  state().missing.clear();
}

void noteMissingPlugin(const std::string& name, const std::string* version) {
  auto& missing = state().missing;
  for (const auto& plugin : missing) {
    if (plugin.name == name)
      return;
  }
  NodeType::MissingPlugin plugin;
  plugin.name = name;
  plugin.hasVersion = version != nullptr;
  plugin.version = version ? *version : std::string();
  missing.push_back(plugin);
}

// Which missing plug-in a type belongs to cannot be known, so a placeholder
// is tied to every plug-in its file missed; one type per name and set.
const NodeType* placeholderTypeFor(const std::string& name) {
  PlaceholderState& s = state();
  if (s.missing.empty() || name.empty())
    return nullptr;
  for (auto& type : s.types) {
    if (type->name == name && sameMissing(type->missingPlugins, s.missing))
      return type.get();
  }
  auto type = std::make_unique<NodeType>();
  type->name = name;
  type->namePrefix = name;
  type->placeholder = true;
  type->missingPlugins = s.missing;
  s.types.push_back(std::move(type));
  return s.types.back().get();
}

unsigned convertPlaceholders() {
  std::vector<const Node*> converted;
  for (const HObject& object : nodesInCreationOrder()) {
    Node* node = nodeOf(object);
    if (!node || !node->type->placeholder)
      continue;
    const NodeType* real = findNodeType(node->type->name);
    // A real type with static attributes would need values the placeholder
    // never held; such a scene is reopened instead.
    if (!real || real->isDag || !real->staticAttributes.empty() || !real->creator)
      continue;
    node->type = real;
    node->values.init(real->staticLayout);
    node->user.reset(static_cast<HPxNode*>(real->creator()));
    if (node->user) {
      node->user->hostSetThis(node->object());
      node->user->postConstructor();
    }
    converted.push_back(node);
  }
  if (converted.empty())
    return 0;
  // Links to the converted nodes are set again, so that whoever follows
  // them (IK handles and their solvers) hears of the change.
  for (const HObject& object : nodesInCreationOrder()) {
    for (const auto& link : nodeLinks(object)) {
      const Node* target = nodeOf(link.second);
      if (std::find(converted.begin(), converted.end(), target) != converted.end())
        setNodeLink(object, link.first, link.second);
    }
  }
  return unsigned(converted.size());
}

}  // namespace hostdetail

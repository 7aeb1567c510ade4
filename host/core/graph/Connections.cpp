// The connection index: entries in one table, each node listing the entries
// that leave it and those that arrive at it.

#include "Connections.h"

#include <algorithm>

#include "Node.h"

namespace hostdetail {

namespace {

void dropId(std::vector<std::uint32_t>& ids, std::uint32_t id) {
  auto it = std::find(ids.begin(), ids.end(), id);
  if (it != ids.end())
    ids.erase(it);
}

}  // namespace

void ConnectionIndex::add(const Connection& connection, Node* source, Node* destination) {
  std::uint32_t id;
  if (!fFree.empty()) {
    id = fFree.back();
    fFree.pop_back();
  } else {
    id = std::uint32_t(fEntries.size());
    fEntries.emplace_back();
  }
  Entry& entry = fEntries[id];
  entry.connection = connection;
  entry.source = source;
  entry.destination = destination;
  entry.order = fNextOrder++;
  entry.alive = true;
  source->outgoing.push_back(id);
  destination->incoming.push_back(id);
  ++fAlive;
}

void ConnectionIndex::erase(std::uint32_t id) {
  Entry& entry = fEntries[id];
  dropId(entry.source->outgoing, id);
  dropId(entry.destination->incoming, id);
  entry = Entry();
  fFree.push_back(id);
  --fAlive;
}

bool ConnectionIndex::remove(const HPlug& source, const HPlug& destination) {
  const Node* node = nodeOf(destination.node());
  if (!node)
    return false;
  for (std::uint32_t id : node->incoming) {
    const Connection& c = fEntries[id].connection;
    if (c.destination == destination && c.source == source) {
      erase(id);
      return true;
    }
  }
  return false;
}

const Connection* ConnectionIndex::into(const Node* node, const HPlug& plug) const {
  for (std::uint32_t id : node->incoming) {
    if (fEntries[id].connection.destination == plug)
      return &fEntries[id].connection;
  }
  return nullptr;
}

void ConnectionIndex::forEachOutgoing(const Node* node,
                                      const std::function<void(const Connection&)>& f) const {
  // A copy of the ids: the callback may connect or disconnect.
  const std::vector<std::uint32_t> ids = node->outgoing;
  for (std::uint32_t id : ids) {
    if (fEntries[id].alive)
      f(fEntries[id].connection);
  }
}

void ConnectionIndex::forEachIncoming(const Node* node,
                                      const std::function<void(const Connection&)>& f) const {
  const std::vector<std::uint32_t> ids = node->incoming;
  for (std::uint32_t id : ids) {
    if (fEntries[id].alive)
      f(fEntries[id].connection);
  }
}

std::vector<Connection> ConnectionIndex::removeTouching(
    const std::vector<Node*>& nodes, const std::function<bool(const Connection&)>& touches) {
  std::vector<std::uint32_t> ids;
  for (const Node* node : nodes) {
    for (const std::vector<std::uint32_t>* list : {&node->incoming, &node->outgoing}) {
      for (std::uint32_t id : *list) {
        if (!touches || touches(fEntries[id].connection))
          ids.push_back(id);
      }
    }
  }
  // A connection between two of the nodes is listed twice.
  std::sort(ids.begin(), ids.end(), [this](std::uint32_t a, std::uint32_t b) {
    return fEntries[a].order < fEntries[b].order;
  });
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  std::vector<Connection> removed;
  removed.reserve(ids.size());
  for (std::uint32_t id : ids) {
    removed.push_back(fEntries[id].connection);
    erase(id);
  }
  return removed;
}

std::vector<Connection> ConnectionIndex::all() const {
  std::vector<const Entry*> alive;
  alive.reserve(fAlive);
  for (const Entry& entry : fEntries) {
    if (entry.alive)
      alive.push_back(&entry);
  }
  std::sort(alive.begin(), alive.end(),
            [](const Entry* a, const Entry* b) { return a->order < b->order; });
  std::vector<Connection> connections;
  connections.reserve(alive.size());
  for (const Entry* entry : alive)
    connections.push_back(entry->connection);
  return connections;
}

void ConnectionIndex::clear() {
  for (Entry& entry : fEntries) {
    if (entry.alive) {
      entry.source->outgoing.clear();
      entry.destination->incoming.clear();
    }
  }
  fEntries.clear();
  fFree.clear();
  fAlive = 0;
}

}  // namespace hostdetail

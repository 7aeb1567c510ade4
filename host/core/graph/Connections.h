#pragma once
// The scene's connections, indexed by the nodes at both ends.
//
// Reading a plug asks for the connection into it, and a write walks the
// connections out of its node. Both visit only the connections of the node
// concerned, so their cost does not grow with the size of the scene. The
// connections keep the order in which they were made, which is the order a
// scene file writes them in.

#include <cstdint>
#include <functional>
#include <vector>

#include "SceneInternal.h"

namespace hostdetail {

struct Node;

class ConnectionIndex {
 public:
  // Adds a connection between two live nodes, as the newest.
  void add(const Connection& connection, Node* source, Node* destination);
  // Removes the connection from `source` to `destination`; false when there
  // is none.
  bool remove(const HPlug& source, const HPlug& destination);
  // The connection whose destination is exactly `plug` (a plug of `node`), or
  // null.
  const Connection* into(const Node* node, const HPlug& plug) const;
  // Every connection out of, or into, a node, oldest first.
  void forEachOutgoing(const Node* node, const std::function<void(const Connection&)>& f) const;
  void forEachIncoming(const Node* node, const std::function<void(const Connection&)>& f) const;
  // Takes out every connection with an end on one of `nodes` for which
  // `touches` holds (every connection of those nodes when it is empty), each
  // once, and returns them oldest first.
  std::vector<Connection> removeTouching(
      const std::vector<Node*>& nodes,
      const std::function<bool(const Connection&)>& touches = nullptr);
  // Every connection, oldest first.
  std::vector<Connection> all() const;
  void clear();

 private:
  struct Entry {
    Connection connection;
    Node* source = nullptr;
    Node* destination = nullptr;
    std::uint64_t order = 0;  // when it was made, for listing and saving
    bool alive = false;
  };
  void erase(std::uint32_t id);

  std::vector<Entry> fEntries;
  std::vector<std::uint32_t> fFree;  // dead entries, reused by add
  std::uint64_t fNextOrder = 0;
  std::size_t fAlive = 0;
};

}  // namespace hostdetail

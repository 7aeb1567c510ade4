// IK evaluation: dirty tracking of handles, solving through solver nodes,
// effectors following their end joints, handle groups and the solver base.
//
// Dirty tracking listens to the core's change notifications. Which handles a
// change touches is looked up in an index (node -> handles whose chain holds
// it, node -> handles that sit below it or whose start joint does), so that
// the many rotation writes of a solve cost two look-ups each. Link changes and
// the creation, deletion or move of a node without children (all that building
// or opening a scene does) update the index in place; other structural edits
// have it rebuilt when it is next needed.
//
// Evaluation may solve on several threads (see HIkSystem.h). While it does,
// every thread writes only its own chains' values and the matrix caches below
// them; what all of them share is reached under one lock: this file's state
// (dirty set, index), through the change notifications that a write sends,
// and the per-thread handle group of the solver node.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <numeric>
#include <unordered_map>
#include <unordered_set>

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>

#include "AnimCurve.h"
#include "AnimInternal.h"
#include "HFnDependencyNode.h"
#include "HFnIkHandle.h"
#include "HFnTransform.h"
#include "HGlobal.h"
#include "HIkHandleGroup.h"
#include "HIkSystem.h"
#include "HPxIkSolverNode.h"
#include "graph/Node.h"

namespace hostdetail {

namespace {

// Handles per node slot. Slots are small and dense (never reused), so a
// vector indexed by slot answers in one step; nodes made after the index was
// built lie beyond its end and belong to no handle yet.
using HandlesBySlot = std::vector<std::vector<std::uint32_t>>;

// How far the index can be trusted. After deletions alone its lists still
// name every handle that a node touches, and some that it no longer does: that
// is enough to find the handles a further deletion dirties, so that clearing a
// scene of N nodes does not rebuild the index N times.
enum class IndexState { kCurrent, kCoversDeletions, kStale };

struct IkState {
  std::unordered_set<std::uint32_t> dirty;  // slots of dirty handles
  IndexState index = IndexState::kStale;
  std::vector<HObject> handles;                                       // in creation order
  HandlesBySlot chainOf;                                              // node -> handles
  HandlesBySlot aboveOf;                                              // node -> handles
  std::unordered_map<std::uint32_t, std::vector<HObject>> followers;  // joint -> effectors
  // What each handle and effector put into the index, so that a change of
  // its links can take it out again instead of rebuilding the whole index
  // (which made building or opening a scene of N handles cost N rebuilds).
  struct HandleEntry {
    std::vector<std::uint32_t> chain, above;  // slots whose lists name the handle
    std::uint32_t effector = 0;               // slot of the linked effector, 0 for none
  };
  std::unordered_map<std::uint32_t, HandleEntry> entries;     // handle slot -> entry
  std::unordered_map<std::uint32_t, std::uint32_t> followed;  // effector slot -> linked joint slot
  // The same links the other way, alive or not: node slot -> slots linking to it.
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> handlesUsing;    // effector ->
  std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> effectorsUsing;  // joint ->
  // Dirty handles without a solver that have been warned about; a handle
  // leaves it once it solves again, so that losing its solver later warns anew.
  std::unordered_set<std::uint32_t> warnedNoSolver;
  bool suspended = false;
  bool evaluating = false;
  bool parallel = true;
  unsigned lastParallelGroups = 0;
  // Held by whoever reads or changes the state above while solves may run
  // on other threads; recursive, since a write inside a notification
  // (an effector following its end joint) notifies again.
  std::recursive_mutex lock;
  const Attribute* rotate = nullptr;
  const Attribute* translate = nullptr;
};

IkState& state() {
  static auto* instance = new IkState();
  return *instance;
}

bool isType(const Node* node, HFn::Type type) {
  return node && node->type->apiType == type;
}

// The chain of a handle: the end effector and every node up to and including
// the start joint. Empty when the links are broken or the effector is not
// below the start joint.
std::vector<Node*> chainNodes(const Node* handle) {
  std::vector<Node*> chain;
  Node* start = nodeOf(nodeLink(handle->object(), kLinkStartJoint));
  Node* effector = nodeOf(nodeLink(handle->object(), kLinkEndEffector));
  if (!start || !effector)
    return chain;
  for (Node* n = effector; n; n = n->parent) {
    chain.push_back(n);
    if (n == start)
      return chain;
  }
  chain.clear();
  return chain;
}

void removeValue(std::vector<std::uint32_t>& values, std::uint32_t value) {
  auto at = std::find(values.begin(), values.end(), value);
  if (at != values.end())
    values.erase(at);
}

// Takes one value out of a key's list, and the key out of the map once its
// list is empty, so that the maps do not grow with every node ever linked.
template <class Value, class Matches>
void removeFromKey(std::unordered_map<std::uint32_t, std::vector<Value>>& map, std::uint32_t key,
                   Matches matches) {
  auto it = map.find(key);
  if (it == map.end())
    return;
  auto at = std::find_if(it->second.begin(), it->second.end(), matches);
  if (at != it->second.end())
    it->second.erase(at);
  if (it->second.empty())
    map.erase(it);
}

// The slot a link names, whether or not its node is there now (an undone
// deletion brings a node back to its slot); 0 for no link.
std::uint32_t linkedSlot(const Node* node, const char* key) {
  for (const auto& link : node->links) {
    if (link.first == key)
      return link.second.nodeSlot();
  }
  return 0;
}

// Lists the handle under every node it sits below, every node of its chain
// and every node above its chain.
void indexHandle(const Node* handle) {
  IkState& s = state();
  IkState::HandleEntry& entry = s.entries[handle->slot];
  entry.effector = linkedSlot(handle, kLinkEndEffector);
  s.handlesUsing[entry.effector].push_back(handle->slot);
  auto list = [&](HandlesBySlot& map, std::vector<std::uint32_t>& record, const Node* n) {
    if (n->slot >= map.size())
      map.resize(scene().slots.size());
    map[n->slot].push_back(handle->slot);
    record.push_back(n->slot);
  };
  for (const Node* n = handle->parent; n; n = n->parent)
    list(s.aboveOf, entry.above, n);
  const std::vector<Node*> chain = chainNodes(handle);
  for (const Node* n : chain)
    list(s.chainOf, entry.chain, n);
  if (!chain.empty()) {
    for (const Node* n = chain.back()->parent; n; n = n->parent)
      list(s.aboveOf, entry.above, n);
  }
}

void unindexHandle(std::uint32_t handle) {
  IkState& s = state();
  auto it = s.entries.find(handle);
  if (it == s.entries.end())
    return;
  // One occurrence per record: a node both above the handle and above its
  // chain lists the handle twice.
  auto unlist = [&](HandlesBySlot& map, const std::vector<std::uint32_t>& record) {
    for (std::uint32_t slot : record)
      removeValue(map[slot], handle);
  };
  unlist(s.chainOf, it->second.chain);
  unlist(s.aboveOf, it->second.above);
  removeFromKey(s.handlesUsing, it->second.effector,
                [&](std::uint32_t slot) { return slot == handle; });
  s.entries.erase(it);
}

void indexEffector(const Node* effector) {
  IkState& s = state();
  const std::uint32_t jointSlot = linkedSlot(effector, kLinkEndJoint);
  s.followed[effector->slot] = jointSlot;
  s.effectorsUsing[jointSlot].push_back(effector->slot);
  // Only a joint that is there now is followed.
  if (nodeOf(nodeLink(effector->object(), kLinkEndJoint)))
    s.followers[jointSlot].push_back(effector->object());
}

void unindexEffector(std::uint32_t effector) {
  IkState& s = state();
  auto it = s.followed.find(effector);
  if (it == s.followed.end())
    return;
  removeFromKey(s.followers, it->second,
                [&](const HObject& object) { return object.nodeSlot() == effector; });
  removeFromKey(s.effectorsUsing, it->second, [&](std::uint32_t slot) { return slot == effector; });
  s.followed.erase(it);
}

void rebuildIndex() {
  IkState& s = state();
  s.handles.clear();
  const size_t slots = scene().slots.size();
  s.chainOf.assign(slots, {});
  s.aboveOf.assign(slots, {});
  s.followers.clear();
  s.entries.clear();
  s.followed.clear();
  s.handlesUsing.clear();
  s.effectorsUsing.clear();
  for (const HObject& object : nodesInCreationOrder()) {
    Node* node = nodeOf(object);
    if (isType(node, HFn::kIkEffector)) {
      indexEffector(node);
    } else if (isType(node, HFn::kIkHandle)) {
      s.handles.push_back(object);
      indexHandle(node);
    }
  }
  s.index = IndexState::kCurrent;
}

// A handle's or effector's link changed: its part of a current index is
// redone; an index that is not current is rebuilt when next needed.
void relink(Node* node) {
  IkState& s = state();
  if (s.index != IndexState::kCurrent) {
    s.index = IndexState::kStale;
    return;
  }
  if (isType(node, HFn::kIkEffector)) {
    unindexEffector(node->slot);
    indexEffector(node);
    return;
  }
  unindexHandle(node->slot);
  indexHandle(node);
  // Handles are kept in creation order, which is slot order.
  auto at = std::lower_bound(
      s.handles.begin(), s.handles.end(), node->slot,
      [](const HObject& handle, std::uint32_t slot) { return handle.nodeSlot() < slot; });
  if (at == s.handles.end() || at->nodeSlot() != node->slot)
    s.handles.insert(at, node->object());
}

void ensureIndex() {
  if (state().index != IndexState::kCurrent)
    rebuildIndex();
}

const std::vector<std::uint32_t>* lookup(const HandlesBySlot& map, std::uint32_t slot) {
  if (slot >= map.size() || map[slot].empty())
    return nullptr;
  return &map[slot];
}

bool contains(const std::vector<std::uint32_t>* list, std::uint32_t slot) {
  return list && std::find(list->begin(), list->end(), slot) != list->end();
}

// The transform type's static attribute of that name, found once.
const Attribute* transformAttribute(const Attribute*& cached, const char* name) {
  if (!cached) {
    if (const NodeType* transform = findNodeType("transform"))
      cached = transform->findStatic(name);
  }
  return cached;
}

bool isRotation(const Attribute* attribute) {
  return attribute && attribute->isStatic &&
         attribute->top() == transformAttribute(state().rotate, "rotate");
}

bool isTranslation(const Attribute* attribute) {
  return attribute && attribute->isStatic &&
         attribute->top() == transformAttribute(state().translate, "translate");
}

// The end joint's translation moved: its effectors follow.
void followEndJoint(Node* joint) {
  ensureIndex();
  auto it = state().followers.find(joint->slot);
  if (it == state().followers.end())
    return;
  std::vector<HObject> effectors = it->second;  // the writes below may rebuild the index
  double t[3];
  readThree(joint, "translateX", t);
  for (const HObject& object : effectors) {
    if (Node* effector = nodeOf(object))
      writeThree(effector, "translateX", t);
  }
}

void unblendChain(const Node* handle) {
  for (Node* node : chainNodes(handle)) {
    if (node->blendedRotation) {
      node->blendedRotation.reset();
      invalidateMatrices(node);
    }
  }
}

void valueChanged(Node* node, const Attribute* attribute) {
  IkState& s = state();
  if (isType(node, HFn::kIkHandle))
    s.dirty.insert(node->slot);
  if (isType(node, HFn::kJoint) && isTranslation(attribute))
    followEndJoint(node);
  ensureIndex();
  const auto* chain = lookup(s.chainOf, node->slot);
  bool rotation = isRotation(attribute);
  // A blended joint's rotate values are its FK pose: posing them re-blends;
  // one that no handle blends any more shows them as they are.
  if (rotation && node->blendedRotation && !chain) {
    node->blendedRotation.reset();
    invalidateMatrices(node);
  }
  if (chain && (!rotation || node->blendedRotation)) {
    for (std::uint32_t h : *chain)
      s.dirty.insert(h);
  }
  bool matrix = attribute && attribute->affectsMatrix;
  if (!matrix)
    return;
  if (const auto* above = lookup(s.aboveOf, node->slot)) {
    // Rotating a joint of a handle's own chain never dirties that handle.
    for (std::uint32_t h : *above) {
      if (!(rotation && contains(chain, h)))
        s.dirty.insert(h);
    }
  }
}

// Marks a handle of the index dirty unless it has been deleted since.
void markListedHandle(std::uint32_t slot) {
  const Scene& current = scene();
  if (slot < current.slots.size() && current.slots[slot] && current.slots[slot]->alive())
    state().dirty.insert(slot);
}

// A node came, went or moved: every handle it may sit above or in is dirty.
// A deleted node is looked up in an index that may be out of date by earlier
// deletions (deleting only ever removes what a node touches).
void structureChanged(Node* node, bool deleted = false) {
  IkState& s = state();
  if (isType(node, HFn::kIkHandle))
    s.dirty.insert(node->slot);
  if (!(deleted && s.index == IndexState::kCoversDeletions))
    ensureIndex();
  if (const auto* chain = lookup(s.chainOf, node->slot)) {
    for (std::uint32_t h : *chain)
      markListedHandle(h);
  }
  if (const auto* above = lookup(s.aboveOf, node->slot)) {
    for (std::uint32_t h : *above)
      markListedHandle(h);
  }
}

// A node without children came back or moved (as every node that a scene
// file or script creates does, through a modifier and under a parent). Chains
// run up from their effector, so such a node can be in a chain only as the
// effector a handle links to: only the entries of those handles, and the
// node's own entry when it is a handle or an effector, and the effectors that
// follow it when it is their end joint, change.
void leafPlaced(Node* node) {
  IkState& s = state();
  if (isType(node, HFn::kIkHandle)) {
    s.dirty.insert(node->slot);
    relink(node);
  } else if (isType(node, HFn::kIkEffector)) {
    relink(node);
  }
  // Relinking changes the maps, so the nodes that link here are found first.
  const auto handlesIt = s.handlesUsing.find(node->slot);
  const auto effectorsIt = s.effectorsUsing.find(node->slot);
  const std::vector<std::uint32_t> handles =
      handlesIt == s.handlesUsing.end() ? std::vector<std::uint32_t>() : handlesIt->second;
  const std::vector<std::uint32_t> effectors =
      effectorsIt == s.effectorsUsing.end() ? std::vector<std::uint32_t>() : effectorsIt->second;
  for (std::uint32_t slot : handles) {
    s.dirty.insert(slot);
    relink(scene().slots[slot].get());
  }
  for (std::uint32_t slot : effectors)
    relink(scene().slots[slot].get());
}

// A node without children is being deleted. Returns true when the index could
// be kept current: a node in no list stays out of it (see leafPlaced), an
// effector in no chain only leaves the joint it followed, and a handle only
// takes out its own entry.
// Lists that a departed handle emptied keep their buffers: a node that goes
// gives its own back, or a scene cleared handles first would keep one for
// every node it ever held.
void releaseLists(const Node* node) {
  IkState& s = state();
  for (HandlesBySlot* map : {&s.chainOf, &s.aboveOf}) {
    if (node->slot < map->size())
      std::vector<std::uint32_t>().swap((*map)[node->slot]);
  }
}

bool leafRemoved(Node* node) {
  IkState& s = state();
  if (isType(node, HFn::kIkHandle)) {
    unindexHandle(node->slot);
    // In slot order (see leafPlaced), so found by bisection: a scene of many
    // handles takes each out without walking all the others.
    auto at = std::lower_bound(
        s.handles.begin(), s.handles.end(), node->slot,
        [](const HObject& handle, std::uint32_t slot) { return handle.nodeSlot() < slot; });
    if (at != s.handles.end() && *at == node->object())
      s.handles.erase(at);
    releaseLists(node);
    return true;
  }
  if (lookup(s.chainOf, node->slot) || lookup(s.aboveOf, node->slot))
    return false;
  if (isType(node, HFn::kIkEffector))
    unindexEffector(node->slot);
  releaseLists(node);
  return true;
}

void onChange(const Change& change, void*) {
  IkState& s = state();
  const std::lock_guard<std::recursive_mutex> guard(s.lock);
  Node* node = nodeOf(change.node);
  if (!node)
    return;
  switch (change.kind) {
    case ChangeKind::kValueChanged:
      valueChanged(node, change.attribute);
      break;
    case ChangeKind::kAttributeAdded:
    case ChangeKind::kAttributeRemoved:
      structureChanged(node);
      break;
    case ChangeKind::kNodeDeleted:
      // Without its handle a chain shows its own (FK) rotations again.
      if (isType(node, HFn::kIkHandle))
        unblendChain(node);
      structureChanged(node, true);
      s.dirty.erase(node->slot);
      s.warnedNoSolver.erase(node->slot);
      if (!(s.index == IndexState::kCurrent && node->children.empty() && leafRemoved(node))) {
        s.index = IndexState::kCoversDeletions;
        // What the node itself put into the index is not needed again (a node
        // restored into an index that is not current has it rebuilt), and
        // keeping it would let the index grow with every node ever deleted.
        unindexHandle(node->slot);
        unindexEffector(node->slot);
        if (node->slot < s.chainOf.size())
          std::vector<std::uint32_t>().swap(s.chainOf[node->slot]);
        if (node->slot < s.aboveOf.size())
          std::vector<std::uint32_t>().swap(s.aboveOf[node->slot]);
      }
      break;
    case ChangeKind::kNodeCreated:
      // A brand-new node has no children and no links yet, so it is in no
      // chain and above no handle: the index stays right. A restored one may
      // bring back a subtree, links and chain members.
      if (change.restored) {
        if (s.index == IndexState::kCurrent && node->children.empty()) {
          leafPlaced(node);
        } else {
          s.index = IndexState::kStale;
          structureChanged(node);
        }
      }
      if (isType(node, HFn::kIkHandle))
        s.dirty.insert(node->slot);
      break;
    case ChangeKind::kReparented:
      if (s.index == IndexState::kCurrent && node->children.empty()) {
        leafPlaced(node);
        break;
      }
      // The old place is gone from the index: dirty what was there, then what is here.
      structureChanged(node);
      s.index = IndexState::kStale;
      structureChanged(node);
      break;
    case ChangeKind::kLinkChanged:
      if (isType(node, HFn::kIkHandle)) {
        s.dirty.insert(node->slot);
        if (change.key != kLinkSolver)
          relink(node);
      } else if (isType(node, HFn::kIkEffector)) {
        relink(node);
        structureChanged(node);
      } else {
        s.index = IndexState::kStale;
      }
      break;
    case ChangeKind::kNodeRenamed:
      break;
  }
}

HPxIkSolverNode* solverOf(const HObject& handle) {
  HObject solver = nodeLink(handle, kLinkSolver);
  Node* node = nodeOf(solver);
  if (!node || !node->user || node->user->type() != HPxNode::kIkSolverNode)
    return nullptr;
  return static_cast<HPxIkSolverNode*>(node->user.get());
}

bool solverEnabled(const HObject& handle) {
  HFnDependencyNode fn(handle);
  bool enabled = false;
  fn.findPlug("solverEnable").getValue(enabled);
  return enabled;
}

double ikBlendOf(const HObject& handle) {
  HFnDependencyNode fn(handle);
  double blend = 1.0;
  fn.findPlug("ikBlend").getValue(blend);
  return std::isfinite(blend) ? std::min(1.0, std::max(0.0, blend)) : 1.0;
}

// Spherical interpolation from a to b along the shorter arc; t in [0, 1].
HQuaternion slerp(const HQuaternion& a, HQuaternion b, double t) {
  double cosine = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  if (cosine < 0.0) {
    b = HQuaternion(-b.x, -b.y, -b.z, -b.w);
    cosine = -cosine;
  }
  double wa = 1.0 - t, wb = t;
  // Nearly equal rotations: the linear blend is exact to rounding and avoids
  // dividing by a vanishing sine.
  if (cosine < 1.0 - 1e-12) {
    const double angle = std::acos(std::min(1.0, cosine));
    const double sine = std::sin(angle);
    wa = std::sin((1.0 - t) * angle) / sine;
    wb = std::sin(t * angle) / sine;
  }
  return HQuaternion(wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z,
                     wa * a.w + wb * b.w)
      .normal();
}

// IK/FK blend. While a handle's ikBlend is below 1 its chain's rotate values
// are the FK rotations, which the animator poses and keys, and each joint is
// posed with the slerp from its FK rotation to the solved one. The solver
// writes the solved rotations into the rotate values as it always does;
// they are read back and the FK values put back. At 1 the solver's writes
// stand, exactly as without a blend.
struct FkRotations {
  std::vector<Node*> nodes;    // the chain but its end effector
  std::vector<double> values;  // three rotate values per node
  double blend = 1.0;
};

FkRotations takeFkRotations(const HObject& handle) {
  FkRotations fk;
  fk.blend = ikBlendOf(handle);
  const Node* handleNode = nodeOf(handle);
  if (fk.blend >= 1.0) {
    // Nothing to keep; only a blend that just ended leaves joints to unblend.
    // The walk up from the effector allocates nothing, as most handles come here.
    Node* start = nodeOf(nodeLink(handleNode->object(), kLinkStartJoint));
    Node* effector = nodeOf(nodeLink(handleNode->object(), kLinkEndEffector));
    const Node* n = effector;
    while (n && n != start)
      n = n->parent;
    if (!start || !n)
      return fk;  // no chain: the effector is not below the start joint
    for (Node* joint = effector; joint != start;) {
      joint = joint->parent;
      if (joint->blendedRotation) {
        joint->blendedRotation.reset();
        invalidateMatrices(joint);
      }
    }
    return fk;
  }
  std::vector<Node*> chain = chainNodes(handleNode);
  for (size_t i = 1; i < chain.size(); ++i) {  // chain[0] is the effector
    Node* node = chain[i];
    // The solver starts from unblended joints: it reads the matrices it writes.
    if (node->blendedRotation) {
      node->blendedRotation.reset();
      invalidateMatrices(node);
    }
    fk.nodes.push_back(node);
    for (int c = 0; c < 3; ++c)
      fk.values.push_back(node->values.numbers[size_t(kSlotRotate + c)]);
  }
  return fk;
}

void blendWithFk(const FkRotations& fk) {
  for (size_t i = 0; i < fk.nodes.size(); ++i) {
    Node* node = fk.nodes[i];
    const HQuaternion solved = transformationOf(node).rotation();
    for (int c = 0; c < 3; ++c)
      node->values.numbers[size_t(kSlotRotate + c)] = fk.values[3 * i + size_t(c)];
    invalidateMatrices(node);
    const HQuaternion own = transformationOf(node).rotation();
    node->blendedRotation.reset(new HQuaternion(slerp(own, solved, fk.blend)));
    invalidateMatrices(node);
  }
}

HStatus runSolver(const HObject& handle, HPxIkSolverNode* solver) {
  const FkRotations fk = takeFkRotations(handle);
  HIkHandleGroup group;
  group.addHandle(handle);
  solver->setHandleGroup(&group);
  HStatus status = solver->preSolve();
  if (status.statusCode() == HStatus::kSuccess)
    status = solver->doSolve();
  status = solver->postSolve(status);
  solver->setHandleGroup(nullptr);
  blendWithFk(fk);
  // What the solve itself changed on the handle (first-solve attributes,
  // preferred angles) must not leave it dirty.
  const std::lock_guard<std::recursive_mutex> guard(state().lock);
  state().dirty.erase(handle.nodeSlot());
  return status;
}

// A handle that should solve but has no solver (none given, or its solver
// node deleted) would otherwise just stop following silently.
void warnNoSolver(const HObject& handle) {
  if (!state().warnedNoSolver.insert(handle.nodeSlot()).second)
    return;
  const std::string name = nodeName(handle);
  HGlobal::displayWarning(HString("IK handle " + name +
                                  " has no solver (none was given, or it was deleted), so it "
                                  "does not solve; give it one with ikHandle -e -sol SOLVER " +
                                  name));
}

int depthOf(const Node* node) {
  int depth = 0;
  for (const Node* n = node; n; n = n->parent)
    ++depth;
  return depth;
}

// Handles to solve in one evaluation, split into groups that can be solved
// at the same time: a group's solves only write nodes that no other group's
// solves read or write. Solving a chain writes its joints and moves every
// node below them, and a solve reads its own chain, the nodes above it and
// its handle with the nodes above that. So two handles go into one group
// when they share a chain node, or when a chain node of one is the other's
// handle or lies above the other's start joint or handle.
std::vector<std::vector<HObject>> independentGroups(const std::vector<HObject>& handles) {
  std::vector<size_t> parent(handles.size());
  std::iota(parent.begin(), parent.end(), size_t(0));
  auto find = [&](size_t i) {
    while (parent[i] != i)
      i = parent[i] = parent[parent[i]];
    return i;
  };
  auto join = [&](size_t a, size_t b) { parent[find(a)] = find(b); };

  std::unordered_map<std::uint32_t, size_t> chainOwner;  // node slot -> handle index
  for (size_t h = 0; h < handles.size(); ++h) {
    for (const Node* n : chainNodes(nodeOf(handles[h]))) {
      auto inserted = chainOwner.emplace(n->slot, h);
      if (!inserted.second)
        join(h, inserted.first->second);
    }
  }
  for (size_t h = 0; h < handles.size(); ++h) {
    const Node* handle = nodeOf(handles[h]);
    const Node* start = nodeOf(nodeLink(handles[h], kLinkStartJoint));
    const Node* above[2] = {handle, start ? start->parent : nullptr};
    for (const Node* from : above) {
      for (const Node* n = from; n; n = n->parent) {
        auto owner = chainOwner.find(n->slot);
        if (owner != chainOwner.end() && owner->second != h)
          join(h, owner->second);
      }
    }
  }

  std::vector<std::vector<HObject>> groups;
  std::unordered_map<size_t, size_t> groupOf;  // union root -> group index
  for (size_t h = 0; h < handles.size(); ++h) {
    auto at = groupOf.emplace(find(h), groups.size());
    if (at.second)
      groups.emplace_back();
    groups[at.first->second].push_back(handles[h]);
  }
  return groups;
}

// A chain or handle with a connection can move or be moved by nodes outside
// every group; such an evaluation stays on one thread.
bool touchesConnections(const HObject& handle) {
  const Node* node = nodeOf(handle);
  if (!node->incoming.empty() || !node->outgoing.empty())
    return true;
  for (const Node* n : chainNodes(node)) {
    if (!n->incoming.empty() || !n->outgoing.empty())
      return true;
  }
  return false;
}

// Fewer groups than this are solved in order: starting tasks costs more than
// a handful of solves.
constexpr size_t kMinParallelGroups = 8;
// Groups handed to one task at a time.
constexpr size_t kGroupsPerTask = 4;

// Whether the handles may be solved in groups on several threads.
bool solvableInParallel(const std::vector<HObject>& handles) {
  if (!state().parallel || handles.size() < kMinParallelGroups)
    return false;
  for (const HObject& handle : handles) {
    HPxIkSolverNode* solver = solverOf(handle);
    if (!solver || !solver->isThreadSafe() || touchesConnections(handle))
      return false;
  }
  return true;
}

// The world matrices a solve reads above its chain and its handle, computed
// now on one thread: two solves may read the same ones, and reading a matrix
// that is not cached yet writes the cache.
void cacheMatricesAbove(const HObject& handle) {
  const Node* node = nodeOf(handle);
  if (node->parent)
    worldMatrix(node->parent);
  if (const Node* start = nodeOf(nodeLink(handle, kLinkStartJoint))) {
    if (start->parent)
      worldMatrix(start->parent);
  }
}

// Solves the handles that are dirty when their turn comes, in order. Solving
// an upper chain dirties the lower ones below it, which are then solved after
// it in this same evaluation.
void solveInOrder(const std::vector<HObject>& handles, HStatus* statuses) {
  IkState& s = state();
  for (size_t i = 0; i < handles.size(); ++i) {
    bool dirty;
    {
      const std::lock_guard<std::recursive_mutex> guard(s.lock);
      dirty = nodeOf(handles[i]) && s.dirty.count(handles[i].nodeSlot());
    }
    if (dirty)
      statuses[i] = runSolver(handles[i], solverOf(handles[i]));
  }
}

// The groups of one parallel evaluation and what their solves returned.
struct ParallelSolve {
  const std::vector<std::vector<HObject>>* groups;
  std::vector<std::vector<HStatus>> statuses;
  std::atomic<size_t> tasksDone;
};

// The evaluation under way. TBB hands tasks from thread to thread inside its
// own library, where a race detector cannot see it, so the tasks carry no
// data of ours: they find the job here, and the release and acquire on this
// pointer and on the job's counter order everything before the loop before
// every task, and every task before what follows the loop. Evaluation never
// runs twice at once.
std::atomic<ParallelSolve*> gParallelSolve{nullptr};

void solveGroupsInParallel(ParallelSolve& job) {
  gParallelSolve.store(&job, std::memory_order_release);
  // Fixed chunks of groups (a simple partitioner): solves cost about the
  // same, so adapting the split gains nothing.
  tbb::parallel_for(
      tbb::blocked_range<size_t>(0, job.groups->size(), kGroupsPerTask),
      [](const tbb::blocked_range<size_t>& range) {
        ParallelSolve& current = *gParallelSolve.load(std::memory_order_acquire);
        for (size_t g = range.begin(); g != range.end(); ++g) {
          const std::vector<HObject>& group = (*current.groups)[g];
          current.statuses[g].assign(group.size(), ok());
          solveInOrder(group, current.statuses[g].data());
        }
        current.tasksDone.fetch_add(1, std::memory_order_acq_rel);
      },
      tbb::simple_partitioner());
  job.tasksDone.load(std::memory_order_acquire);
  gParallelSolve.store(nullptr, std::memory_order_release);
}

// Animation curves first: what they write can move handles and chains.
void evaluationHook() {
  evaluateCurves();
  HIkSystem::evaluate();
}

// Installs the evaluator into the core when the library is loaded.
struct Installer {
  Installer() {
    addChangeListener(&onChange, nullptr);
    setEvaluationHook(&evaluationHook);
  }
};

Installer gInstaller;

}  // namespace

// The default handle snap: moves the handle (in world space) onto its end
// effector's world position.
void snapHandleToEffector(const HObject& handle) {
  HFnIkHandle fn(handle);
  HDagPath effectorPath, handlePath;
  if (fn.getEffector(effectorPath).statusCode() != HStatus::kSuccess)
    return;
  if (HDagPath::getAPathTo(handle, handlePath).statusCode() != HStatus::kSuccess)
    return;
  HVector effectorPosition =
      HTransformationMatrix(effectorPath.inclusiveMatrix()).translation(HSpace::kWorld);
  HVector handlePosition =
      HTransformationMatrix(handlePath.inclusiveMatrix()).translation(HSpace::kWorld);
  HFnTransform transform(handlePath);
  transform.translateBy(effectorPosition - handlePosition, HSpace::kWorld);
}

}  // namespace hostdetail

using namespace hostdetail;

// ---------------------------------------------------------------------------
// HIkSystem

HStatus HIkSystem::evaluate() {
  IkState& s = state();
  if (s.suspended || s.evaluating || s.dirty.empty())
    return ok();
  s.evaluating = true;
  ensureIndex();
  // Parents first: solving an upper chain may move (and dirty) a lower one.
  std::vector<std::pair<int, HObject>> order;
  for (const HObject& handle : s.handles) {
    Node* node = nodeOf(handle);
    if (!node || !s.dirty.count(node->slot))
      continue;
    Node* start = nodeOf(nodeLink(handle, kLinkStartJoint));
    order.emplace_back(start ? depthOf(start) : depthOf(node), handle);
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const std::pair<int, HObject>& a, const std::pair<int, HObject>& b) {
                     return a.first < b.first;
                   });
  // Which handles solve: warnings and checks happen here, on this thread.
  std::vector<HObject> toSolve;
  for (auto& entry : order) {
    const HObject& handle = entry.second;
    if (!nodeOf(handle) || !s.dirty.count(handle.nodeSlot()))
      continue;
    HPxIkSolverNode* solver = solverOf(handle);
    if (!solver) {
      // A handle without a chain yet is being built (a scene file links the
      // chain and the solver after creating the handle): nothing to warn of.
      if (nodeOf(nodeLink(handle, kLinkStartJoint)))
        warnNoSolver(handle);
      continue;  // stays dirty until it has a solver
    }
    if (!solverEnabled(handle))
      continue;  // stays dirty until it can be solved
    if (!s.warnedNoSolver.empty())
      s.warnedNoSolver.erase(handle.nodeSlot());
    toSolve.push_back(handle);
  }

  std::vector<HStatus> statuses(toSolve.size(), ok());
  std::vector<std::vector<HObject>> groups;
  if (solvableInParallel(toSolve))
    groups = independentGroups(toSolve);
  s.lastParallelGroups = groups.size() >= kMinParallelGroups ? unsigned(groups.size()) : 0u;
  if (s.lastParallelGroups) {
    for (const HObject& handle : toSolve)
      cacheMatricesAbove(handle);
    // Each group's statuses, in the group's order; reported in the
    // evaluation's order below.
    ParallelSolve job{&groups, std::vector<std::vector<HStatus>>(groups.size()), {0}};
    solveGroupsInParallel(job);
    std::unordered_map<std::uint32_t, HStatus> bySlot;
    for (size_t g = 0; g < groups.size(); ++g) {
      for (size_t i = 0; i < groups[g].size(); ++i)
        bySlot[groups[g][i].nodeSlot()] = job.statuses[g][i];
    }
    for (size_t i = 0; i < toSolve.size(); ++i)
      statuses[i] = bySlot[toSolve[i].nodeSlot()];
  } else {
    solveInOrder(toSolve, statuses.data());
  }

  HStatus result = ok();
  for (const HStatus& status : statuses) {
    if (status.statusCode() != HStatus::kSuccess && result.statusCode() == HStatus::kSuccess)
      result = status;
  }
  s.evaluating = false;
  return result;
}

HStatus HIkSystem::solveHandle(const HObject& handle) {
  if (!isType(nodeOf(handle), HFn::kIkHandle))
    return invalid("Not an IK handle");
  HPxIkSolverNode* solver = solverOf(handle);
  if (!solver)
    return fail("The handle has no solver");
  if (!solverEnabled(handle))
    return fail("The handle's solver is disabled");
  IkState& s = state();
  bool wasEvaluating = s.evaluating;
  s.evaluating = true;
  HStatus status = runSolver(handle, solver);
  s.evaluating = wasEvaluating;
  return status;
}

bool HIkSystem::isDirty(const HObject& handle) {
  Node* node = nodeOf(handle);
  return isType(node, HFn::kIkHandle) && state().dirty.count(node->slot) != 0;
}

void HIkSystem::markDirty(const HObject& handle) {
  Node* node = nodeOf(handle);
  if (isType(node, HFn::kIkHandle))
    state().dirty.insert(node->slot);
}

HStatus HIkSystem::snapHandle(const HObject& handle) {
  if (!isType(nodeOf(handle), HFn::kIkHandle))
    return invalid("Not an IK handle");
  HObject target = handle;
  if (HPxIkSolverNode* solver = solverOf(handle)) {
    solver->snapHandle(target);
  } else {
    snapHandleToEffector(handle);
  }
  return ok();
}

void HIkSystem::setParallelEvaluation(bool enabled) {
  state().parallel = enabled;
}

bool HIkSystem::isParallelEvaluation() {
  return state().parallel;
}

unsigned HIkSystem::lastParallelGroupCount() {
  return state().lastParallelGroups;
}

void HIkSystem::setSolvingSuspended(bool suspended) {
  state().suspended = suspended;
}

bool HIkSystem::isSolvingSuspended() {
  return state().suspended;
}

// ---------------------------------------------------------------------------
// HIkHandleGroup and HPxIkSolverNode

HObject HIkHandleGroup::handle(unsigned index) const {
  return index < fHandles.size() ? fHandles[index] : HObject();
}

HStatus HIkHandleGroup::addHandle(const HObject& handle) {
  if (!isType(nodeOf(handle), HFn::kIkHandle))
    return invalid("Not an IK handle");
  if (std::find(fHandles.begin(), fHandles.end(), handle) != fHandles.end())
    return invalid("The handle is already in the group");
  fHandles.push_back(handle);
  return ok();
}

namespace {

// The group each solver node was given on this thread.
thread_local std::vector<std::pair<const HPxIkSolverNode*, HIkHandleGroup*>> tHandleGroups;

}  // namespace

void HPxIkSolverNode::setHandleGroup(HIkHandleGroup* group) {
  auto at = std::find_if(tHandleGroups.begin(), tHandleGroups.end(),
                         [this](const auto& entry) { return entry.first == this; });
  if (at != tHandleGroups.end()) {
    if (group)
      at->second = group;
    else
      tHandleGroups.erase(at);
  } else if (group) {
    tHandleGroups.emplace_back(this, group);
  }
}

HIkHandleGroup* HPxIkSolverNode::handleGroup() const {
  for (const auto& entry : tHandleGroups) {
    if (entry.first == this)
      return entry.second;
  }
  return nullptr;
}

HString HPxIkSolverNode::solverTypeName() const {
  return typeName();
}

void HPxIkSolverNode::snapHandle(HObject& handle) {
  snapHandleToEffector(handle);
}

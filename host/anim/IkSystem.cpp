// IK evaluation: dirty tracking of handles, solving through solver nodes,
// effectors following their end joints, handle groups and the solver base.
//
// Dirty tracking listens to the core's change notifications. Which handles a
// change touches is looked up in an index (node -> handles whose chain holds
// it, node -> handles that sit below it or whose start joint does), rebuilt
// lazily after the scene's structure changes, so that the many rotation
// writes of a solve cost two hash look-ups each.

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "AnimInternal.h"
#include "HFnIkHandle.h"
#include "HFnTransform.h"
#include "HIkHandleGroup.h"
#include "HIkSystem.h"
#include "HPxIkSolverNode.h"
#include "Node.h"

namespace hostdetail {

namespace {

// Handles per node slot. Slots are small and dense (never reused), so a
// vector indexed by slot answers in one step; nodes made after the index was
// built lie beyond its end and belong to no handle yet.
using HandlesBySlot = std::vector<std::vector<std::uint32_t>>;

struct IkState {
  std::unordered_set<std::uint32_t> dirty;  // slots of dirty handles
  bool indexValid = false;
  std::vector<HObject> handles;                                       // in creation order
  HandlesBySlot chainOf;                                              // node -> handles
  HandlesBySlot aboveOf;                                              // node -> handles
  std::unordered_map<std::uint32_t, std::vector<HObject>> followers;  // joint -> effectors
  bool suspended = false;
  bool evaluating = false;
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

void rebuildIndex() {
  IkState& s = state();
  s.handles.clear();
  const size_t slots = scene().slots.size();
  s.chainOf.assign(slots, {});
  s.aboveOf.assign(slots, {});
  s.followers.clear();
  for (const HObject& object : nodesInCreationOrder()) {
    Node* node = nodeOf(object);
    if (isType(node, HFn::kIkEffector)) {
      if (Node* joint = nodeOf(nodeLink(object, kLinkEndJoint)))
        s.followers[joint->slot].push_back(object);
      continue;
    }
    if (!isType(node, HFn::kIkHandle))
      continue;
    s.handles.push_back(object);
    for (Node* n = node->parent; n; n = n->parent)
      s.aboveOf[n->slot].push_back(node->slot);
    std::vector<Node*> chain = chainNodes(node);
    for (Node* n : chain)
      s.chainOf[n->slot].push_back(node->slot);
    if (!chain.empty()) {
      for (Node* n = chain.back()->parent; n; n = n->parent)
        s.aboveOf[n->slot].push_back(node->slot);
    }
  }
  s.indexValid = true;
}

void ensureIndex() {
  if (!state().indexValid)
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

void valueChanged(Node* node, const Attribute* attribute) {
  IkState& s = state();
  if (isType(node, HFn::kIkHandle))
    s.dirty.insert(node->slot);
  if (isType(node, HFn::kJoint) && isTranslation(attribute))
    followEndJoint(node);
  ensureIndex();
  const auto* chain = lookup(s.chainOf, node->slot);
  bool rotation = isRotation(attribute);
  if (chain && !rotation) {
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

// A node came, went or moved: every handle it may sit above or in is dirty.
void structureChanged(Node* node) {
  IkState& s = state();
  if (isType(node, HFn::kIkHandle))
    s.dirty.insert(node->slot);
  ensureIndex();
  if (const auto* chain = lookup(s.chainOf, node->slot)) {
    for (std::uint32_t h : *chain)
      s.dirty.insert(h);
  }
  if (const auto* above = lookup(s.aboveOf, node->slot)) {
    for (std::uint32_t h : *above)
      s.dirty.insert(h);
  }
}

void onChange(const Change& change, void*) {
  IkState& s = state();
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
      structureChanged(node);
      s.dirty.erase(node->slot);
      s.indexValid = false;
      break;
    case ChangeKind::kNodeCreated:
      // A brand-new node has no children and no links yet, so it is in no
      // chain and above no handle: the index stays right. A restored one may
      // bring back a subtree, links and chain members.
      if (change.restored) {
        s.indexValid = false;
        structureChanged(node);
      }
      if (isType(node, HFn::kIkHandle))
        s.dirty.insert(node->slot);
      break;
    case ChangeKind::kReparented:
      // The old place is gone from the index: dirty what was there, then what is here.
      structureChanged(node);
      s.indexValid = false;
      structureChanged(node);
      break;
    case ChangeKind::kLinkChanged:
      s.indexValid = false;
      if (isType(node, HFn::kIkHandle))
        s.dirty.insert(node->slot);
      if (isType(node, HFn::kIkEffector))
        structureChanged(node);
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

HStatus runSolver(const HObject& handle, HPxIkSolverNode* solver) {
  HIkHandleGroup group;
  group.addHandle(handle);
  solver->setHandleGroup(&group);
  HStatus status = solver->preSolve();
  if (status.statusCode() == HStatus::kSuccess)
    status = solver->doSolve();
  status = solver->postSolve(status);
  solver->setHandleGroup(nullptr);
  // What the solve itself changed on the handle (first-solve attributes,
  // preferred angles) must not leave it dirty.
  state().dirty.erase(handle.nodeSlot());
  return status;
}

int depthOf(const Node* node) {
  int depth = 0;
  for (const Node* n = node; n; n = n->parent)
    ++depth;
  return depth;
}

void evaluationHook() {
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
  HStatus result = ok();
  for (auto& entry : order) {
    const HObject& handle = entry.second;
    if (!nodeOf(handle) || !s.dirty.count(handle.nodeSlot()))
      continue;
    HPxIkSolverNode* solver = solverOf(handle);
    if (!solver || !solverEnabled(handle))
      continue;  // stays dirty until it can be solved
    HStatus status = runSolver(handle, solver);
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

HString HPxIkSolverNode::solverTypeName() const {
  return typeName();
}

void HPxIkSolverNode::snapHandle(HObject& handle) {
  snapHandleToEffector(handle);
}

// Transform values, the matrix cache and HFnTransform.
//
// Every DAG node keeps its transform components at fixed number slots (see
// TransformSlot), so the function set reads and writes them without name
// look-ups. World matrices are cached per node; a write that changes a local
// matrix invalidates the node's subtree.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "HFnTransform.h"
#include "Node.h"
#include "PlugAccess.h"

namespace hostdetail {

namespace {

// A transform component, read through a connection when the node has any.
double componentValue(const Node* node, int slot) {
  if (node->incoming.empty())
    return node->values.numbers[size_t(slot)];
  const Attribute* leaf = staticLeafAt(node->type, slot);
  if (!leaf)
    return node->values.numbers[size_t(slot)];
  HPlug plug(node->object(),
             HObject::fromAttribute(const_cast<Attribute*>(leaf)->shared_from_this()));
  double value = node->values.numbers[size_t(slot)];
  plug.getValue(value);
  return value;
}

// Small helpers of every transform read, kept inline in them.
#define HOT_INLINE [[gnu::always_inline]] inline

HOT_INLINE void components(const Node* node, int slot, double out[3]) {
  if (node->incoming.empty()) {
    std::memcpy(out, node->values.numbers.data() + slot, 3 * sizeof(double));
    return;
  }
  for (int i = 0; i < 3; ++i)
    out[i] = componentValue(node, slot + i);
}

HTransformationMatrix::RotationOrder orderFromValue(double value) {
  int ro = int(value);
  if (ro < 0 || ro > 5)
    ro = 0;
  return HTransformationMatrix::RotationOrder(ro + 1);
}

HTransformationMatrix::RotationOrder orderOf(const Node* node) {
  return orderFromValue(componentValue(node, kSlotRotateOrder));
}

HQuaternion eulerXYZ(const double angles[3]) {
  return HEulerRotation(angles[0], angles[1], angles[2], HEulerRotation::kXYZ).asQuaternion();
}

// Compared as bit patterns, so that -0.0 and 0.0 count as different inputs:
// they can lead to results that differ in sign.
template <int kCount>
HOT_INLINE bool sameBits(const double* a, const double* b) {
  int i = 0;
  std::uint64_t differ = 0;
#if defined(__SSE2__)
  // Two at a time: this compare runs on every read of a transformation.
  __m128i pairs = _mm_setzero_si128();
  for (; i + 2 <= kCount; i += 2) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
    pairs = _mm_or_si128(pairs, _mm_xor_si128(x, y));
  }
  differ = std::uint64_t(_mm_cvtsi128_si64(pairs)) |
           std::uint64_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(pairs, pairs)));
#endif
  for (; i < kCount; ++i) {
    std::uint64_t x, y;
    std::memcpy(&x, a + i, sizeof x);
    std::memcpy(&y, b + i, sizeof y);
    differ |= x ^ y;
  }
  return differ == 0;
}

HOT_INLINE TransformMemo& memoOf(const Node* node) {
  if (!node->transformMemo)
    node->transformMemo = std::make_unique<TransformMemo>();
  return *node->transformMemo;
}

// The memoised conversion of three XYZ Euler angles.
HOT_INLINE const HQuaternion& orientation(TransformMemo::Orientation& memo,
                                          const double angles[3]) {
  if (!memo.filled || !sameBits<3>(memo.angles, angles)) {
    std::memcpy(memo.angles, angles, sizeof memo.angles);
    memo.quaternion = eulerXYZ(angles);
    memo.filled = true;
  }
  return memo.quaternion;
}

constexpr int kTransformInputs = TransformMemo::kTransformInputs;
static_assert(kSlotRotateAxis + 3 == kTransformInputs, "transform slots moved");

const double kNoJointOrient[3] = {0.0, 0.0, 0.0};

}  // namespace

HTransformationMatrix buildTransformation(const Node* node) {
  // The values the transformation is built from: straight from the node's
  // block, or read through its connections into `read`.
  const int jointOrientSlot = node->type->jointOrientSlot;
  const double* values;
  const double* jointOrient;
  TransformMemo::Inputs read;
  if (node->incoming.empty()) {
    values = node->values.numbers.data();
    jointOrient = jointOrientSlot >= 0 ? values + jointOrientSlot : kNoJointOrient;
  } else {
    for (int slot = 0; slot < kTransformInputs; ++slot)
      read.transform[slot] = componentValue(node, slot);
    for (int i = 0; i < 3; ++i)
      read.jointOrient[i] = jointOrientSlot >= 0 ? componentValue(node, jointOrientSlot + i) : 0.0;
    values = read.transform;
    jointOrient = read.jointOrient;
  }

  TransformMemo& memo = memoOf(node);
  for (unsigned k = 0; k < memo.filled; ++k) {
    // The entry used last first: most reads repeat the previous one.
    const unsigned e = (memo.last + k) % TransformMemo::kEntries;
    const TransformMemo::Inputs& key = memo.entries[e].key;
    if (sameBits<kTransformInputs>(key.transform, values) &&
        sameBits<3>(key.jointOrient, jointOrient)) {
      memo.last = e;
      node->transformCurrent = node->incoming.empty();
      return memo.entries[e].transformation;
    }
  }

  const double* v = values;
  HTransformationMatrix tm;
  tm.setScale(v + kSlotScale, HSpace::kTransform);
  tm.setShear(v + kSlotShear, HSpace::kTransform);
  tm.setRotateOrientation(orientation(memo.rotateAxis, v + kSlotRotateAxis));
  tm.setRotation(v + kSlotRotate, orderFromValue(v[kSlotRotateOrder]));
  if (jointOrientSlot >= 0) {
    tm.setJointOrientation(orientation(memo.jointOrient, jointOrient));
  }
  tm.setTranslation(HVector(v[kSlotTranslate], v[kSlotTranslate + 1], v[kSlotTranslate + 2]),
                    HSpace::kTransform);
  // A free entry, else the one after the entry used last makes way.
  const unsigned e = memo.filled < TransformMemo::kEntries
                         ? memo.filled
                         : (memo.last + 1) % TransformMemo::kEntries;
  TransformMemo::Entry& entry = memo.entries[e];
  std::memcpy(entry.key.transform, values, sizeof entry.key.transform);
  std::memcpy(entry.key.jointOrient, jointOrient, sizeof entry.key.jointOrient);
  entry.transformation = tm;
  memo.last = e;
  if (memo.filled < TransformMemo::kEntries)
    ++memo.filled;
  node->transformCurrent = node->incoming.empty();
  return tm;
}

const HMatrix& localMatrix(const Node* node) {
  if (!node->localValid) {
    if (node->blendedRotation) {
      HTransformationMatrix blended = transformationOf(node);
      blended.setRotation(*node->blendedRotation);
      node->local = blended.asMatrix();
      node->localValid = true;
      return node->local;
    }
    node->local = transformationOf(node).asMatrix();
    node->localValid = true;
  }
  return node->local;
}

const HMatrix& computeWorldMatrix(const Node* node) {
  if (!node->worldValid) {
    if (node->parent) {
      node->world = localMatrix(node) * worldMatrix(node->parent);
    } else {
      node->world = localMatrix(node);
    }
    node->worldValid = true;
  }
  return node->world;
}

const HMatrix& computeWorldInverseMatrix(const Node* node) {
  if (!node->worldInverseValid) {
    node->worldInverse = worldMatrix(node).inverse();
    node->worldInverseValid = true;
  }
  return node->worldInverse;
}

namespace {

enum class Stored { kRefused, kUnchanged, kChanged };

// Stores a number in a transform slot of a node without incoming connections,
// with the lock checks of a plug write; the caller reports the change.
Stored storeTransformValue(Node* node, const Attribute* leaf, int slot, double value) {
  const auto& locks = node->values.locks;
  if (locks[size_t(leaf->lockSlot)] || (leaf->parent && locks[size_t(leaf->parent->lockSlot)]))
    return Stored::kRefused;
  double& stored = node->values.numbers[size_t(slot)];
  value = normaliseNumber(leaf->numericType, value);
  if (stored == value)
    return Stored::kUnchanged;  // an unchanged value dirties nothing
  stored = value;
  return Stored::kChanged;
}

}  // namespace

bool setTransformValue(Node* node, int slot, double value) {
  if (!std::isfinite(value))
    return false;
  const Attribute* leaf = staticLeafAt(node->type, slot);
  if (!leaf)
    return false;
  if (!node->incoming.empty()) {
    HPlug plug(node->object(),
               HObject::fromAttribute(const_cast<Attribute*>(leaf)->shared_from_this()));
    return writeNumber(plug, value).statusCode() == HStatus::kSuccess;
  }
  const Stored result = storeTransformValue(node, leaf, slot, value);
  if (result == Stored::kChanged)
    afterWrite(node, leaf);
  return result != Stored::kRefused;
}

bool setTransformValues(Node* node, int slot, const double values[3]) {
  if (!node->incoming.empty()) {
    bool allWritten = true;
    for (int i = 0; i < 3; ++i)
      allWritten = setTransformValue(node, slot + i, values[i]) && allWritten;
    return allWritten;
  }
  // One report for the components that changed: listeners are told of the
  // leaf when only one did, of its compound parent when more did.
  bool allWritten = true;
  const Attribute* changed = nullptr;
  for (int i = 0; i < 3; ++i) {
    const Attribute* leaf = staticLeafAt(node->type, slot + i);
    const Stored result = leaf && std::isfinite(values[i])
                              ? storeTransformValue(node, leaf, slot + i, values[i])
                              : Stored::kRefused;
    if (result == Stored::kRefused)
      allWritten = false;
    else if (result == Stored::kChanged)
      changed = changed && changed != leaf && leaf->parent ? leaf->parent : leaf;
  }
  if (changed)
    afterWrite(node, changed);
  return allWritten;
}

}  // namespace hostdetail

using namespace hostdetail;

namespace {

Node* transformOf(const HObject& object) {
  return dagNodeOf(object);
}

[[gnu::noinline, gnu::cold]] void refuseObject(HStatus* status) {
  setStatus(status, invalid("Object is not a transform"));
}

// Writes three components; those that are free are written even when another
// is locked, and the status then reports the refusal.
HStatus setThree(Node* node, int slot, const double values[3]) {
  for (int i = 0; i < 3; ++i) {
    if (!std::isfinite(values[i]))
      return invalid("Value is not finite");
  }
  return setTransformValues(node, slot, values) ? ok() : fail("A component is locked or connected");
}

HStatus setAngles(Node* node, const HEulerRotation& rotation) {
  double values[3] = {rotation.x, rotation.y, rotation.z};
  return setThree(node, kSlotRotate, values);
}

}  // namespace

#define TRANSFORM_OR_FAIL(fallback)           \
  Node* node = transformOf(fObject);          \
  if (!node) {                                \
    assignInvalid(status, "Not a transform"); \
    return fallback;                          \
  }                                           \
  setOk(status);

#define TRANSFORM_OR_RETURN          \
  Node* node = transformOf(fObject); \
  if (!node)                         \
    return invalid("Not a transform");

HFnTransform::HFnTransform(const HObject& node, HStatus* status) {
  setStatus(status, HFnTransform::setObject(node));
}

// A valid path names a DAG node, and every DAG node is a transform here, so
// the node the path resolves to needs no second look-up.
HFnTransform::HFnTransform(const HDagPath& path, HStatus* status) {
  if (!dagNodeOf(path.tipObject())) {
    refuseObject(status);
    return;
  }
  // A path's tip names a node, never an attribute, so only its slot and
  // generation need copying.
  fObject = HObject::fromNode(path.tipObject().nodeSlot(), path.tipObject().nodeGeneration());
  setOk(status);
}

HStatus HFnTransform::setObject(const HObject& object) {
  if (!transformOf(object)) {
    fObject = HObject();
    return invalid("Object is not a transform");
  }
  fObject = object;
  return ok();
}

HObject HFnTransform::create(const HObject& parent, HStatus* status) {
  HObject node = createNode("transform", "", parent, status);
  if (!node.isNull())
    fObject = node;
  return node;
}

HTransformationMatrix HFnTransform::transformation(HStatus* status) const {
  TRANSFORM_OR_FAIL(HTransformationMatrix());
  return transformationOf(node);
}

HStatus HFnTransform::set(const HTransformationMatrix& tm) {
  TRANSFORM_OR_RETURN;
  HStatus result = ok();
  auto keep = [&](const HStatus& s) {
    if (s.statusCode() != HStatus::kSuccess)
      result = s;
  };
  double values[3];
  tm.getScale(values, HSpace::kTransform);
  keep(setThree(node, kSlotScale, values));
  tm.getShear(values, HSpace::kTransform);
  keep(setThree(node, kSlotShear, values));
  HEulerRotation ra = tm.rotateOrientation().asEulerRotation();
  double raValues[3] = {ra.x, ra.y, ra.z};
  keep(setThree(node, kSlotRotateAxis, raValues));
  HTransformationMatrix::RotationOrder order;
  tm.getRotation(values, order);
  if (!setTransformValue(node, kSlotRotateOrder, double(int(order) - 1))) {
    keep(fail("Rotate order is locked"));
  }
  keep(setThree(node, kSlotRotate, values));
  if (node->type->jointOrientSlot >= 0) {
    HEulerRotation jo = tm.jointOrientation().asEulerRotation();
    double joValues[3] = {jo.x, jo.y, jo.z};
    keep(setThree(node, node->type->jointOrientSlot, joValues));
  }
  HVector t = tm.translation(HSpace::kTransform);
  double tValues[3] = {t.x, t.y, t.z};
  keep(setThree(node, kSlotTranslate, tValues));
  return result;
}

HVector HFnTransform::translation(HSpace::Space space, HStatus* status) const {
  TRANSFORM_OR_FAIL(HVector());
  if (space == HSpace::kWorld) {
    const HMatrix& world = worldMatrix(node);
    return HVector(world.matrix[3][0], world.matrix[3][1], world.matrix[3][2]);
  }
  double values[3];
  components(node, kSlotTranslate, values);
  return HVector(values[0], values[1], values[2]);
}

// World positions are turned into the parent's space: the origin of a node
// lands on its translation, so world = translation * parent's world matrix.
HStatus HFnTransform::setTranslation(const HVector& vector, HSpace::Space space) {
  TRANSFORM_OR_RETURN;
  HVector local = vector;
  if (space == HSpace::kWorld && node->parent) {
    HPoint p = HPoint(vector) * worldInverseMatrix(node->parent);
    local = HVector(p.cartesian());
  }
  double values[3] = {local.x, local.y, local.z};
  return setThree(node, kSlotTranslate, values);
}

// kWorld: a world displacement, turned into the parent's space (a singular
// parent matrix inverts to the identity, so the move stays finite). kObject:
// along the node's own rotated axes (RA, R, JO; scale not applied). Others:
// in the parent's space.
HStatus HFnTransform::translateBy(const HVector& vector, HSpace::Space space) {
  TRANSFORM_OR_RETURN;
  HVector delta = vector;
  if (space == HSpace::kWorld && node->parent) {
    delta = vector * worldInverseMatrix(node->parent);
  } else if (space == HSpace::kObject) {
    HTransformationMatrix tm = transformationOf(node);
    HQuaternion q = tm.rotateOrientation() * tm.rotation() * tm.jointOrientation();
    delta = vector * q.asMatrix();
  }
  double values[3];
  components(node, kSlotTranslate, values);
  double moved[3] = {values[0] + delta.x, values[1] + delta.y, values[2] + delta.z};
  return setThree(node, kSlotTranslate, moved);
}

HTransformationMatrix::RotationOrder HFnTransform::rotationOrder(HStatus* status) const {
  TRANSFORM_OR_FAIL(HTransformationMatrix::kInvalid);
  return orderOf(node);
}

HStatus HFnTransform::setRotationOrder(HTransformationMatrix::RotationOrder order, bool reorder) {
  TRANSFORM_OR_RETURN;
  if (!HTransformationMatrix::isValidOrder(order))
    return invalid("Invalid rotation order");
  if (reorder) {
    // Keep the orientation: re-express the same rotation in the new order.
    HEulerRotation current;
    getRotation(current);
    HEulerRotation re = current.reorder(HTransformationMatrix::toEulerOrder(order));
    if (!setTransformValue(node, kSlotRotateOrder, double(int(order) - 1)))
      return fail("Rotate order is locked");
    return setAngles(node, re);
  }
  if (!setTransformValue(node, kSlotRotateOrder, double(int(order) - 1)))
    return fail("Rotate order is locked");
  return ok();
}

HStatus HFnTransform::getRotation(HEulerRotation& rotation) const {
  TRANSFORM_OR_RETURN;
  double values[3];
  components(node, kSlotRotate, values);
  rotation = HEulerRotation(values[0], values[1], values[2],
                            HTransformationMatrix::toEulerOrder(orderOf(node)));
  return ok();
}

// The rotation component alone (R), whatever the space.
HStatus HFnTransform::getRotation(HQuaternion& rotation, HSpace::Space) const {
  HEulerRotation euler;
  HStatus status = getRotation(euler);
  if (status.statusCode() == HStatus::kSuccess)
    rotation = euler.asQuaternion();
  return status;
}

HStatus HFnTransform::getRotation(double rotation[3],
                                  HTransformationMatrix::RotationOrder& order) const {
  TRANSFORM_OR_RETURN;
  components(node, kSlotRotate, rotation);
  order = orderOf(node);
  return ok();
}

// A rotation given in another order is re-expressed in the node's order, so
// the node's rotate order never changes here.
HStatus HFnTransform::setRotation(const HEulerRotation& rotation) {
  TRANSFORM_OR_RETURN;
  HEulerRotation::RotationOrder nodeOrder = HTransformationMatrix::toEulerOrder(orderOf(node));
  if (rotation.order == nodeOrder)
    return setAngles(node, rotation);
  return setAngles(node, rotation.reorder(nodeOrder));
}

HStatus HFnTransform::setRotation(const double rotation[3],
                                  HTransformationMatrix::RotationOrder order) {
  if (!HTransformationMatrix::isValidOrder(order))
    return invalid("Invalid rotation order");
  return setRotation(HEulerRotation(rotation, HTransformationMatrix::toEulerOrder(order)));
}

HStatus HFnTransform::setRotation(const HQuaternion& rotation, HSpace::Space) {
  TRANSFORM_OR_RETURN;
  HTransformationMatrix tm = transformationOf(node);
  tm.setRotation(rotation);
  HTransformationMatrix::RotationOrder order;
  double values[3];
  tm.getRotation(values, order);
  return setThree(node, kSlotRotate, values);
}

HStatus HFnTransform::rotateBy(const HQuaternion& rotation, HSpace::Space space) {
  TRANSFORM_OR_RETURN;
  HTransformationMatrix tm = transformationOf(node);
  HStatus status;
  tm.rotateBy(rotation, space, &status);
  if (status.statusCode() != HStatus::kSuccess)
    return status;
  HTransformationMatrix::RotationOrder order;
  double values[3];
  tm.getRotation(values, order);
  return setThree(node, kSlotRotate, values);
}

namespace {

[[gnu::noinline]] HQuaternion rotateOrientationOf(const HObject& object, HStatus* status) {
  Node* node = transformOf(object);
  if (!node) {
    assignInvalid(status, "Not a transform");
    return HQuaternion();
  }
  setOk(status);
  double angles[3];
  components(node, kSlotRotateAxis, angles);
  return orientation(memoOf(node).rotateAxis, angles);
}

}  // namespace

HQuaternion HFnTransform::rotateOrientation(HSpace::Space, HStatus* status) const {
  // Asked for again and again with nothing changed in between: answered
  // without a call while the remembered angles are the node's own.
  if (!status) {
    const Node* node = dagNodeOf(fObject);
    if (node && node->incoming.empty() && node->transformMemo) {
      const TransformMemo::Orientation& memo = node->transformMemo->rotateAxis;
      if (memo.filled && sameBits<3>(memo.angles, node->values.numbers.data() + kSlotRotateAxis))
        return memo.quaternion;
    }
  }
  return rotateOrientationOf(fObject, status);
}

// balance (keeping the world pose by compensating the rotation) is not done:
// the rotate orientation is simply replaced.
HStatus HFnTransform::setRotateOrientation(const HQuaternion& orientation, HSpace::Space, bool) {
  TRANSFORM_OR_RETURN;
  HEulerRotation ra = orientation.asEulerRotation();
  double values[3] = {ra.x, ra.y, ra.z};
  return setThree(node, kSlotRotateAxis, values);
}

HStatus HFnTransform::getScale(double scale[3]) const {
  TRANSFORM_OR_RETURN;
  components(node, kSlotScale, scale);
  return ok();
}

HStatus HFnTransform::setScale(const double scale[3]) {
  TRANSFORM_OR_RETURN;
  return setThree(node, kSlotScale, scale);
}

HStatus HFnTransform::getShear(double shear[3]) const {
  TRANSFORM_OR_RETURN;
  components(node, kSlotShear, shear);
  return ok();
}

HStatus HFnTransform::setShear(const double shear[3]) {
  TRANSFORM_OR_RETURN;
  return setThree(node, kSlotShear, shear);
}

#undef TRANSFORM_OR_FAIL
#undef TRANSFORM_OR_RETURN

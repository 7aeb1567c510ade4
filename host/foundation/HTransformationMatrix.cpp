#include "HTransformationMatrix.h"

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "AffineDecomposition.h"

const HTransformationMatrix HTransformationMatrix::identity;

namespace {

bool validSpace(HSpace::Space space) {
  return space > HSpace::kInvalid && space < HSpace::kLast;
}

bool finite3(const double v[3]) {
  return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

bool finiteVector(const HVector& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

HStatus refuse() {
  return HStatus(HStatus::kInvalidParameter);
}

// The last matrix decomposed and its components. Solvers decompose the same
// world matrix again and again while they iterate, and the decomposition is a
// pure function of the sixteen elements, so a repeat is answered from here
// with exactly the bits it had the first time. A thread that finds the memo
// in use by another simply decomposes.
struct DecompositionMemo {
  std::atomic<bool> busy{false};
  bool filled = false;
  std::uint64_t key[16];
  HTransformationMatrix value;
};

DecompositionMemo gLastDecomposition;

bool sameBits(const HMatrix& m, const std::uint64_t (&key)[16]) {
  // All sixteen words at once, without an early exit: a repeat is the
  // common case, and then every word has to be looked at anyway.
  std::uint64_t bits[16];
  std::memcpy(bits, m.matrix, sizeof bits);
  std::uint64_t differ = 0;
  for (int i = 0; i < 16; ++i)
    differ |= bits[i] ^ key[i];
  return differ == 0;
}

}  // namespace

HTransformationMatrix::HTransformationMatrix(const HMatrix& m) {
  DecompositionMemo& memo = gLastDecomposition;
  if (memo.busy.exchange(true, std::memory_order_acquire)) {
    decompose(m);
    return;
  }
  if (memo.filled && sameBits(m, memo.key)) {
    *this = memo.value;
  } else {
    decompose(m);
    std::memcpy(memo.key, m.matrix, sizeof memo.key);
    memo.value = *this;
    memo.filled = true;
  }
  memo.busy.store(false, std::memory_order_release);
}

void HTransformationMatrix::decompose(const HMatrix& m) {
  hfoundation::AffineParts parts;
  if (!hfoundation::decomposeAffine(m, parts) || !std::isfinite(m.matrix[3][0]) ||
      !std::isfinite(m.matrix[3][1]) || !std::isfinite(m.matrix[3][2])) {
    return;
  }
  fTranslation = HVector(m.matrix[3][0], m.matrix[3][1], m.matrix[3][2]);
  for (int i = 0; i < 3; ++i) {
    fScale[i] = parts.scale[i];
    fShear[i] = parts.shear[i];
  }
  fRotation = hfoundation::quaternionFromRotation(parts.rotation);
  fEuler = HEulerRotation();
  fEulerState = kEulerPlain;
}

HMatrix HTransformationMatrix::asRotateMatrix() const {
  return (fRotateOrientation * fRotation * fJointOrientation).asMatrix();
}

HMatrix HTransformationMatrix::asScaleMatrix() const {
  HMatrix m;
  m.matrix[0][0] = fScale[0];
  m.matrix[1][0] = fScale[1] * fShear[0];
  m.matrix[1][1] = fScale[1];
  m.matrix[2][0] = fScale[2] * fShear[1];
  m.matrix[2][1] = fScale[2] * fShear[2];
  m.matrix[2][2] = fScale[2];
  return m;
}

HVector HTransformationMatrix::translation(HSpace::Space space, HStatus* status) const {
  if (!validSpace(space)) {
    if (status)
      *status = refuse();
    return HVector::zero;
  }
  if (status)
    *status = HStatus::kSuccess;
  return fTranslation;
}

HStatus HTransformationMatrix::setTranslation(const HVector& t, HSpace::Space space) {
  if (!validSpace(space) || !finiteVector(t))
    return refuse();
  fTranslation = t;
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::addTranslation(const HVector& t, HSpace::Space space) {
  if (!validSpace(space) || !finiteVector(t))
    return refuse();
  fTranslation += t;
  return HStatus::kSuccess;
}

HEulerRotation HTransformationMatrix::eulerRotation() const {
  switch (fEulerState) {
    case kEulerExact:
      return fEuler;
    case kEulerNear:
      return HEulerRotation::decompose(fRotation.asMatrix(), fEuler.order)
          .setToClosestSolution(fEuler);
    case kEulerPlain:
      return HEulerRotation::decompose(fRotation.asMatrix(), fEuler.order);
    case kEulerNearPlain:
      break;
  }
  const HEulerRotation before = HEulerRotation::decompose(fReference.asMatrix(), fEuler.order);
  return HEulerRotation::decompose(fRotation.asMatrix(), fEuler.order).setToClosestSolution(before);
}

HStatus HTransformationMatrix::getRotation(double angles[3], RotationOrder& order) const {
  const HEulerRotation e = eulerRotation();
  angles[0] = e.x;
  angles[1] = e.y;
  angles[2] = e.z;
  order = rotationOrder();
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setRotation(const double angles[3], RotationOrder order) {
  if (!isValidOrder(order) || !finite3(angles))
    return refuse();
  return setRotation(HEulerRotation(angles, toEulerOrder(order)));
}

HStatus HTransformationMatrix::setRotation(const HEulerRotation& rotation) {
  if (rotation.order < HEulerRotation::kXYZ || rotation.order > HEulerRotation::kZYX ||
      !std::isfinite(rotation.x) || !std::isfinite(rotation.y) || !std::isfinite(rotation.z)) {
    return refuse();
  }
  fEuler = rotation;
  fRotation = rotation.asQuaternion().normalizeIt();
  fEulerState = kEulerExact;
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setRotation(const HQuaternion& q) {
  rotationChanged(q);
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::reorderRotation(RotationOrder order) {
  if (!isValidOrder(order))
    return refuse();
  const HEulerRotation e = eulerRotation().reorder(toEulerOrder(order));
  fEuler = e;
  fEulerState = kEulerExact;
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setRotationOrder(RotationOrder order, bool reorder) {
  if (!isValidOrder(order))
    return refuse();
  if (reorder)
    return reorderRotation(order);
  HEulerRotation e = eulerRotation();
  e.order = toEulerOrder(order);
  return setRotation(e);
}

HStatus HTransformationMatrix::getScale(double scale[3], HSpace::Space space) const {
  if (!validSpace(space))
    return refuse();
  for (int i = 0; i < 3; ++i)
    scale[i] = fScale[i];
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setScale(const double scale[3], HSpace::Space space) {
  if (!validSpace(space) || !finite3(scale))
    return refuse();
  for (int i = 0; i < 3; ++i)
    fScale[i] = scale[i];
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::scaleBy(const double scale[3], HSpace::Space space) {
  if (!validSpace(space) || !finite3(scale))
    return refuse();
  for (int i = 0; i < 3; ++i)
    fScale[i] *= scale[i];
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::getShear(double shear[3], HSpace::Space space) const {
  if (!validSpace(space))
    return refuse();
  for (int i = 0; i < 3; ++i)
    shear[i] = fShear[i];
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setShear(const double shear[3], HSpace::Space space) {
  if (!validSpace(space) || !finite3(shear))
    return refuse();
  for (int i = 0; i < 3; ++i)
    fShear[i] = shear[i];
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setRotateOrientation(const HQuaternion& q) {
  fRotateOrientation = q.normal();
  fHasRotateOrientation = fRotateOrientation != HQuaternion::identity;
  return HStatus::kSuccess;
}

HStatus HTransformationMatrix::setJointOrientation(const HQuaternion& q) {
  fJointOrientation = q.normal();
  fHasJointOrientation = fJointOrientation != HQuaternion::identity;
  return HStatus::kSuccess;
}

bool HTransformationMatrix::isEquivalent(const HTransformationMatrix& other,
                                         double tolerance) const {
  return asMatrix().isEquivalent(other.asMatrix(), tolerance);
}

bool HTransformationMatrix::operator==(const HTransformationMatrix& o) const {
  for (int i = 0; i < 3; ++i)
    if (fScale[i] != o.fScale[i] || fShear[i] != o.fShear[i])
      return false;
  return fTranslation == o.fTranslation && fRotateOrientation == o.fRotateOrientation &&
         fJointOrientation == o.fJointOrientation && eulerRotation() == o.eulerRotation();
}

#include "HEulerRotation.h"

#include <ostream>

const HEulerRotation HEulerRotation::identity;

// Provisional bodies.
HMatrix HEulerRotation::asMatrix() const {
  return HMatrix();
}
HQuaternion HEulerRotation::asQuaternion() const {
  return HQuaternion();
}
HEulerRotation HEulerRotation::decompose(const HMatrix&, RotationOrder order) {
  return HEulerRotation(0, 0, 0, order);
}
HEulerRotation& HEulerRotation::setToClosestSolution(const HEulerRotation&) {
  return *this;
}
HEulerRotation& HEulerRotation::setToClosestCut(const HEulerRotation&) {
  return *this;
}
HEulerRotation HEulerRotation::reorder(RotationOrder newOrder) const {
  return HEulerRotation(x, y, z, newOrder);
}
HEulerRotation& HEulerRotation::boundIt() {
  return *this;
}
HEulerRotation& HEulerRotation::incrementalRotateBy(const HVector&, double) {
  return *this;
}
HEulerRotation HEulerRotation::inverse() const {
  return HEulerRotation(-x, -y, -z, order);
}
bool HEulerRotation::isEquivalent(const HEulerRotation& o, double) const {
  return *this == o;
}

std::ostream& operator<<(std::ostream& os, const HEulerRotation& e) {
  return os << '(' << e.x << ", " << e.y << ", " << e.z << ", " << int(e.order) << ')';
}

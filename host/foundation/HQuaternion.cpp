#include "HQuaternion.h"

#include <ostream>

#include "HEulerRotation.h"

const HQuaternion HQuaternion::identity;

// Provisional: filled in with the decomposition helpers.
HQuaternion::HQuaternion(const HVector&, const HVector&) : HQuaternion() {}
HQuaternion::HQuaternion(const HVector&, const HVector&, double) : HQuaternion() {}
HQuaternion::HQuaternion(const HMatrix&) : HQuaternion() {}
HEulerRotation HQuaternion::asEulerRotation() const {
  return HEulerRotation();
}
bool HQuaternion::getAxisAngle(HVector& axis, double& angle) const {
  axis = HVector::zAxis;
  angle = 0.0;
  return true;
}

std::ostream& operator<<(std::ostream& os, const HQuaternion& q) {
  return os << '(' << q.x << ", " << q.y << ", " << q.z << ", " << q.w << ')';
}

#include "HTransformationMatrix.h"

const HTransformationMatrix HTransformationMatrix::identity;

// Provisional bodies.
HTransformationMatrix::HTransformationMatrix(const HMatrix&) {}
HMatrix HTransformationMatrix::asMatrix() const {
  return HMatrix();
}
HMatrix HTransformationMatrix::asRotateMatrix() const {
  return HMatrix();
}
HMatrix HTransformationMatrix::asScaleMatrix() const {
  return HMatrix();
}
HVector HTransformationMatrix::translation(HSpace::Space, HStatus*) const {
  return fTranslation;
}
HStatus HTransformationMatrix::setTranslation(const HVector& t, HSpace::Space) {
  fTranslation = t;
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::addTranslation(const HVector& t, HSpace::Space) {
  fTranslation += t;
  return HStatus::kSuccess;
}
HEulerRotation HTransformationMatrix::eulerRotation() const {
  return fEuler;
}
HStatus HTransformationMatrix::getRotation(double a[3], RotationOrder& order) const {
  a[0] = fEuler.x;
  a[1] = fEuler.y;
  a[2] = fEuler.z;
  order = rotationOrder();
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setRotation(const double a[3], RotationOrder order) {
  fEuler = HEulerRotation(a, toEulerOrder(order));
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setRotation(const HEulerRotation& r) {
  fEuler = r;
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setRotation(const HQuaternion& q) {
  fRotation = q;
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::reorderRotation(RotationOrder) {
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setRotationOrder(RotationOrder, bool) {
  return HStatus::kSuccess;
}
HTransformationMatrix& HTransformationMatrix::rotateBy(const HQuaternion&, HSpace::Space,
                                                       HStatus*) {
  return *this;
}
HStatus HTransformationMatrix::getScale(double s[3], HSpace::Space) const {
  for (int i = 0; i < 3; ++i)
    s[i] = fScale[i];
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setScale(const double s[3], HSpace::Space) {
  for (int i = 0; i < 3; ++i)
    fScale[i] = s[i];
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::scaleBy(const double s[3], HSpace::Space) {
  for (int i = 0; i < 3; ++i)
    fScale[i] *= s[i];
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::getShear(double s[3], HSpace::Space) const {
  for (int i = 0; i < 3; ++i)
    s[i] = fShear[i];
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setShear(const double s[3], HSpace::Space) {
  for (int i = 0; i < 3; ++i)
    fShear[i] = s[i];
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setRotateOrientation(const HQuaternion& q) {
  fRotateOrientation = q;
  return HStatus::kSuccess;
}
HStatus HTransformationMatrix::setJointOrientation(const HQuaternion& q) {
  fJointOrientation = q;
  return HStatus::kSuccess;
}
bool HTransformationMatrix::isEquivalent(const HTransformationMatrix& o, double tol) const {
  return asMatrix().isEquivalent(o.asMatrix(), tol);
}
bool HTransformationMatrix::operator==(const HTransformationMatrix&) const {
  return true;
}
void HTransformationMatrix::rotationChanged(const HQuaternion&) {}

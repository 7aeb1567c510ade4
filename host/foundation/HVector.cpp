#include "HVector.h"

#include <ostream>

const HVector HVector::zero(0.0, 0.0, 0.0);
const HVector HVector::one(1.0, 1.0, 1.0);
const HVector HVector::xAxis(1.0, 0.0, 0.0);
const HVector HVector::yAxis(0.0, 1.0, 0.0);
const HVector HVector::zAxis(0.0, 0.0, 1.0);
const HVector HVector::xNegAxis(-1.0, 0.0, 0.0);
const HVector HVector::yNegAxis(0.0, -1.0, 0.0);
const HVector HVector::zNegAxis(0.0, 0.0, -1.0);

const HPoint HPoint::origin(0.0, 0.0, 0.0, 1.0);

HStatus HVector::normalizeSlow() {
  if (isZeroLength()) {
    *this = zero;
    return HStatus::kInvalidParameter;
  }
  // The squares under- or overflowed: bring the largest component near 1
  // first, which leaves the direction as it is.
  const double big = std::fmax(std::fabs(x), std::fmax(std::fabs(y), std::fabs(z)));
  *this /= big;
  *this /= length();
  return HStatus::kSuccess;
}

std::ostream& operator<<(std::ostream& os, const HVector& v) {
  return os << '(' << v.x << ", " << v.y << ", " << v.z << ')';
}

std::ostream& operator<<(std::ostream& os, const HPoint& p) {
  return os << '(' << p.x << ", " << p.y << ", " << p.z << ", " << p.w << ')';
}

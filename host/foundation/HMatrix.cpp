#include "HMatrix.h"

#include <cmath>
#include <ostream>

const HMatrix HMatrix::identity;

bool HMatrix::isEquivalent(const HMatrix& other, double tolerance) const {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      if (!(std::fabs(matrix[r][c] - other.matrix[r][c]) <= tolerance))
        return false;
  return true;
}

bool HMatrix::isFinite() const {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      if (!std::isfinite(matrix[r][c]))
        return false;
  return true;
}

namespace {

// The 2x2 minors of rows 0-1 and rows 2-3 (Laplace expansion by pairs of
// rows), shared by the determinant and the inverse.
struct Minors {
  double s0, s1, s2, s3, s4, s5;  // rows 0 and 1
  double c0, c1, c2, c3, c4, c5;  // rows 2 and 3
  explicit Minors(const double (&m)[4][4]) {
    s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1];
    s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2];
    s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3];
    s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2];
    s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3];
    s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3];
    c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3];
    c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3];
    c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2];
    c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3];
    c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2];
    c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1];
  }
  double det() const { return s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0; }
};

double rowLengthProduct(const double (&m)[4][4]) {
  double p = 1.0;
  for (int r = 0; r < 4; ++r)
    p *= std::sqrt(m[r][0] * m[r][0] + m[r][1] * m[r][1] + m[r][2] * m[r][2] + m[r][3] * m[r][3]);
  return p;
}

}  // namespace

double HMatrix::det4x4() const {
  return Minors(matrix).det();
}

bool HMatrix::isSingular() const {
  if (!isFinite())
    return true;
  const double det = det4x4();
  // Hadamard's inequality bounds |det| by the product of the row lengths, so
  // the ratio is a scale-free measure of how far the rows are from dependent.
  return !(std::fabs(det) > 1e-14 * rowLengthProduct(matrix));
}

HMatrix HMatrix::inverse() const {
  // The test of isSingular, sharing its minors with the inverse.
  if (!isFinite())
    return HMatrix();
  const Minors n(matrix);
  const double det = n.det();
  if (!(std::fabs(det) > 1e-14 * rowLengthProduct(matrix)))
    return HMatrix();
  const double inv = 1.0 / det;
  const double(&a)[4][4] = matrix;
  HMatrix r;
  double(&b)[4][4] = r.matrix;
  b[0][0] = (a[1][1] * n.c5 - a[1][2] * n.c4 + a[1][3] * n.c3) * inv;
  b[0][1] = (-a[0][1] * n.c5 + a[0][2] * n.c4 - a[0][3] * n.c3) * inv;
  b[0][2] = (a[3][1] * n.s5 - a[3][2] * n.s4 + a[3][3] * n.s3) * inv;
  b[0][3] = (-a[2][1] * n.s5 + a[2][2] * n.s4 - a[2][3] * n.s3) * inv;
  b[1][0] = (-a[1][0] * n.c5 + a[1][2] * n.c2 - a[1][3] * n.c1) * inv;
  b[1][1] = (a[0][0] * n.c5 - a[0][2] * n.c2 + a[0][3] * n.c1) * inv;
  b[1][2] = (-a[3][0] * n.s5 + a[3][2] * n.s2 - a[3][3] * n.s1) * inv;
  b[1][3] = (a[2][0] * n.s5 - a[2][2] * n.s2 + a[2][3] * n.s1) * inv;
  b[2][0] = (a[1][0] * n.c4 - a[1][1] * n.c2 + a[1][3] * n.c0) * inv;
  b[2][1] = (-a[0][0] * n.c4 + a[0][1] * n.c2 - a[0][3] * n.c0) * inv;
  b[2][2] = (a[3][0] * n.s4 - a[3][1] * n.s2 + a[3][3] * n.s0) * inv;
  b[2][3] = (-a[2][0] * n.s4 + a[2][1] * n.s2 - a[2][3] * n.s0) * inv;
  b[3][0] = (-a[1][0] * n.c3 + a[1][1] * n.c1 - a[1][2] * n.c0) * inv;
  b[3][1] = (a[0][0] * n.c3 - a[0][1] * n.c1 + a[0][2] * n.c0) * inv;
  b[3][2] = (-a[3][0] * n.s3 + a[3][1] * n.s1 - a[3][2] * n.s0) * inv;
  b[3][3] = (a[2][0] * n.s3 - a[2][1] * n.s1 + a[2][2] * n.s0) * inv;
  // Rounding can still overflow for a matrix just past the singularity test.
  return r.isFinite() ? r : HMatrix();
}

std::ostream& operator<<(std::ostream& os, const HMatrix& m) {
  os << '[';
  for (int r = 0; r < 4; ++r) {
    os << (r ? ", [" : "[");
    for (int c = 0; c < 4; ++c)
      os << (c ? ", " : "") << m.matrix[r][c];
    os << ']';
  }
  return os << ']';
}

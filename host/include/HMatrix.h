#pragma once
#include <iosfwd>

#include "HMath.h"

// A 4x4 matrix of doubles for row vectors: a point transforms as p * M, the
// translation sits in row 3 (matrix[3][0..2]) and A * B applies A first, so
// p * (A * B) == (p * A) * B. Default constructed it is the identity.
class HMatrix {
 public:
  constexpr HMatrix()
      : matrix{{1.0, 0.0, 0.0, 0.0},
               {0.0, 1.0, 0.0, 0.0},
               {0.0, 0.0, 1.0, 0.0},
               {0.0, 0.0, 0.0, 1.0}} {}
  explicit HMatrix(const double m[4][4]) {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        matrix[r][c] = m[r][c];
  }

  // Indices are taken modulo 4, so a bad index never reaches outside the
  // matrix.
  double& operator()(unsigned row, unsigned col) { return matrix[row & 3][col & 3]; }
  double operator()(unsigned row, unsigned col) const { return matrix[row & 3][col & 3]; }
  // Row pointer, so that m[r][c] reads element (r, c).
  double* operator[](unsigned row) { return matrix[row & 3]; }
  const double* operator[](unsigned row) const { return matrix[row & 3]; }
  void get(double m[4][4]) const {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        m[r][c] = matrix[r][c];
  }

  HMatrix operator*(const HMatrix& right) const {
    HMatrix p(kUninitialised);
    for (int r = 0; r < 4; ++r) {
      const double a0 = matrix[r][0], a1 = matrix[r][1], a2 = matrix[r][2], a3 = matrix[r][3];
      for (int c = 0; c < 4; ++c)
        p.matrix[r][c] = a0 * right.matrix[0][c] + a1 * right.matrix[1][c] +
                         a2 * right.matrix[2][c] + a3 * right.matrix[3][c];
    }
    return p;
  }
  HMatrix& operator*=(const HMatrix& right) { return *this = *this * right; }
  HMatrix operator+(const HMatrix& right) const {
    HMatrix s(kUninitialised);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        s.matrix[r][c] = matrix[r][c] + right.matrix[r][c];
    return s;
  }
  HMatrix operator-(const HMatrix& right) const {
    HMatrix s(kUninitialised);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        s.matrix[r][c] = matrix[r][c] - right.matrix[r][c];
    return s;
  }
  HMatrix operator*(double k) const {
    HMatrix s(kUninitialised);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        s.matrix[r][c] = matrix[r][c] * k;
    return s;
  }
  HMatrix& operator+=(const HMatrix& right) { return *this = *this + right; }
  HMatrix& operator-=(const HMatrix& right) { return *this = *this - right; }
  HMatrix& operator*=(double k) { return *this = *this * k; }

  bool operator==(const HMatrix& other) const {
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        if (matrix[r][c] != other.matrix[r][c])
          return false;
    return true;
  }
  bool operator!=(const HMatrix& other) const { return !(*this == other); }
  // Every element within tolerance (absolute).
  bool isEquivalent(const HMatrix& other, double tolerance = 1e-10) const;

  // The inverse. A singular matrix (see isSingular) or one with a non-finite
  // element has no usable inverse and gives the identity, so the result is
  // always finite.
  HMatrix inverse() const;
  HMatrix transpose() const {
    HMatrix t(kUninitialised);
    for (int r = 0; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        t.matrix[r][c] = matrix[c][r];
    return t;
  }
  HMatrix& setToIdentity() { return *this = HMatrix(); }
  double det4x4() const;
  // Determinant of the upper-left 3x3 block.
  double det3x3() const {
    return matrix[0][0] * (matrix[1][1] * matrix[2][2] - matrix[1][2] * matrix[2][1]) -
           matrix[0][1] * (matrix[1][0] * matrix[2][2] - matrix[1][2] * matrix[2][0]) +
           matrix[0][2] * (matrix[1][0] * matrix[2][1] - matrix[1][1] * matrix[2][0]);
  }
  // True when the determinant is zero or tiny against the matrix's size
  // (|det| <= 1e-14 times the product of the row lengths, a scale-free test),
  // or when an element is not finite.
  bool isSingular() const;
  // True when every element is finite.
  bool isFinite() const;

  static const HMatrix identity;

  double matrix[4][4];

 private:
  enum Uninitialised { kUninitialised };
  explicit HMatrix(Uninitialised) {}
};

inline HMatrix operator*(double k, const HMatrix& m) {
  return m * k;
}
// Writes the four rows as [[a, b, c, d], ...].
std::ostream& operator<<(std::ostream& os, const HMatrix& m);

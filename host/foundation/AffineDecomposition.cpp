#include "AffineDecomposition.h"

#include <cmath>

namespace hfoundation {

namespace {

double dot(const double a[3], const double b[3]) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double norm(const double a[3]) {
  return std::sqrt(dot(a, a));
}

// a -= k * b
void subtractScaled(double a[3], double k, const double b[3]) {
  a[0] -= k * b[0];
  a[1] -= k * b[1];
  a[2] -= k * b[2];
}

void cross(const double a[3], const double b[3], double out[3]) {
  out[0] = a[1] * b[2] - a[2] * b[1];
  out[1] = a[2] * b[0] - a[0] * b[2];
  out[2] = a[0] * b[1] - a[1] * b[0];
}

void setIdentity(AffineParts& p) {
  for (int i = 0; i < 3; ++i) {
    p.scale[i] = 1.0;
    p.shear[i] = 0.0;
    for (int j = 0; j < 3; ++j)
      p.rotation[i][j] = i == j ? 1.0 : 0.0;
  }
}

// A unit vector perpendicular to the unit vector a: a crossed with the world
// axis least aligned with it.
void perpendicular(const double a[3], double out[3]) {
  int least = 0;
  for (int i = 1; i < 3; ++i)
    if (std::fabs(a[i]) < std::fabs(a[least]))
      least = i;
  double e[3] = {0.0, 0.0, 0.0};
  e[least] = 1.0;
  cross(a, e, out);
  const double n = norm(out);
  for (int i = 0; i < 3; ++i)
    out[i] /= n;
}

// A remainder this much shorter than its row counts as lost in rounding: the
// row lies in the span of the rows before it.
constexpr double kDependentRow = 1e-12;

}  // namespace

bool decomposeAffine(const HMatrix& m, AffineParts& p) {
  setIdentity(p);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      if (!std::isfinite(m.matrix[i][j]))
        return false;

  double(&r)[3][3] = p.rotation;
  bool valid[3] = {false, false, false};
  // Projections of row i onto the rotation rows before it: (0,1) (0,2) (1,2).
  double proj[3] = {0.0, 0.0, 0.0};

  for (int i = 0; i < 3; ++i) {
    double v[3] = {m.matrix[i][0], m.matrix[i][1], m.matrix[i][2]};
    const double rowLength = norm(v);
    // Gram-Schmidt, run twice against the earlier rows: the second pass takes
    // out what rounding left of the first, keeping the rows orthogonal to
    // full precision even for strongly sheared input.
    for (int pass = 0; pass < 2; ++pass) {
      for (int j = 0; j < i; ++j) {
        if (!valid[j])
          continue;
        const double k = dot(v, r[j]);
        subtractScaled(v, k, r[j]);
        proj[i + j - 1] += k;  // (0,1)->0, (0,2)->1, (1,2)->2
      }
    }
    const double n = norm(v);
    if (n > 0.0 && n > kDependentRow * rowLength) {
      valid[i] = true;
      p.scale[i] = n;
      for (int c = 0; c < 3; ++c)
        r[i][c] = v[c] / n;
    } else {
      p.scale[i] = 0.0;
    }
  }
  p.shear[0] = valid[1] ? proj[0] / p.scale[1] : 0.0;
  p.shear[1] = valid[2] ? proj[1] / p.scale[2] : 0.0;
  p.shear[2] = valid[2] ? proj[2] / p.scale[2] : 0.0;

  const int count = int(valid[0]) + int(valid[1]) + int(valid[2]);
  if (count == 0) {
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        r[i][j] = i == j ? 1.0 : 0.0;
    return true;
  }
  if (count == 1) {
    // Complete the frame: the next missing row perpendicular to the valid
    // one; the last missing row then follows by the cross product below.
    const int a = valid[0] ? 0 : (valid[1] ? 1 : 2);
    const int b = (a + 1) % 3;
    perpendicular(r[a], r[b]);
    valid[b] = true;
  }
  if (count <= 2) {
    // Rows cyclic after the missing one give it with determinant +1.
    for (int i = 0; i < 3; ++i) {
      if (!valid[i])
        cross(r[(i + 1) % 3], r[(i + 2) % 3], r[i]);
    }
    return true;
  }

  double det[3];
  cross(r[1], r[2], det);
  if (dot(r[0], det) < 0.0) {
    // A reflection: negate the scale whose negation leaves the rotation with
    // the largest trace (closest to the identity); all three is the fourth
    // choice. Negating axis i flips row i and every shear that involves i.
    const double trace = r[0][0] + r[1][1] + r[2][2];
    int best = 0;
    double bestTrace = trace - 2.0 * r[0][0];
    for (int i = 1; i < 3; ++i) {
      if (trace - 2.0 * r[i][i] > bestTrace) {
        best = i;
        bestTrace = trace - 2.0 * r[i][i];
      }
    }
    if (-trace > bestTrace)
      best = 3;
    for (int i = 0; i < 3; ++i) {
      if (best != 3 && best != i)
        continue;
      p.scale[i] = -p.scale[i];
      for (int c = 0; c < 3; ++c)
        r[i][c] = -r[i][c];
    }
    if (best != 3) {
      // shear index k involves the axis pair (0,1), (0,2), (1,2).
      static const int kPairs[3][2] = {{0, 1}, {0, 2}, {1, 2}};
      for (int k = 0; k < 3; ++k)
        if (kPairs[k][0] == best || kPairs[k][1] == best)
          p.shear[k] = -p.shear[k];
    }
  }
  return true;
}

HQuaternion quaternionFromRotation(const double r[3][3]) {
  // Shepperd's method: divide by the largest of the four candidate terms, so
  // the square root never comes near zero.
  HQuaternion q;
  const double trace = r[0][0] + r[1][1] + r[2][2];
  if (trace > 0.0) {
    const double s = 2.0 * std::sqrt(trace + 1.0);
    q.w = 0.25 * s;
    q.x = (r[1][2] - r[2][1]) / s;
    q.y = (r[2][0] - r[0][2]) / s;
    q.z = (r[0][1] - r[1][0]) / s;
  } else if (r[0][0] >= r[1][1] && r[0][0] >= r[2][2]) {
    const double s = 2.0 * std::sqrt(1.0 + r[0][0] - r[1][1] - r[2][2]);
    q.x = 0.25 * s;
    q.w = (r[1][2] - r[2][1]) / s;
    q.y = (r[0][1] + r[1][0]) / s;
    q.z = (r[0][2] + r[2][0]) / s;
  } else if (r[1][1] >= r[2][2]) {
    const double s = 2.0 * std::sqrt(1.0 + r[1][1] - r[0][0] - r[2][2]);
    q.y = 0.25 * s;
    q.w = (r[2][0] - r[0][2]) / s;
    q.x = (r[0][1] + r[1][0]) / s;
    q.z = (r[1][2] + r[2][1]) / s;
  } else {
    const double s = 2.0 * std::sqrt(1.0 + r[2][2] - r[0][0] - r[1][1]);
    q.z = 0.25 * s;
    q.w = (r[0][1] - r[1][0]) / s;
    q.x = (r[0][2] + r[2][0]) / s;
    q.y = (r[1][2] + r[2][1]) / s;
  }
  if (q.w < 0.0)
    q.negateIt();
  return q.normalizeIt();
}

}  // namespace hfoundation

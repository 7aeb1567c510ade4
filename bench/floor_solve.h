#pragma once
// The floor of one solve: the same algorithm as the solver (bisection with the
// same stopping rules and trials, the earlier-crossing samples, aim, rotate
// plane, twist, rotations written out as Euler angles), in plain code over
// plain values, with no host in between. What cannot change during a solve is
// read once per solve; nothing is kept from one solve to the next.
//
// It stands beside BM_DoSolve so that the ratio of the real solve to this
// floor is measured in one run. It is not the solver: no scene, no plugs, no
// validation, and it assumes affine parent matrices without reflection.

#include <algorithm>
#include <cmath>
#include <vector>

namespace floorsolve {

constexpr double kPi = 3.141592653589793;

struct V3 {
  double x = 0.0, y = 0.0, z = 0.0;
};
inline V3 operator+(V3 a, V3 b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline V3 operator-(V3 a, V3 b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline V3 operator*(V3 a, double s) {
  return {a.x * s, a.y * s, a.z * s};
}
inline double dot(V3 a, V3 b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline V3 cross(V3 a, V3 b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(V3 a) {
  return std::sqrt(dot(a, a));
}
inline V3 unit(V3 a) {
  const double l = length(a);
  return l > 0.0 ? a * (1.0 / l) : a;
}
inline double angleBetween(V3 a, V3 b) {
  if (length(a) == 0.0 || length(b) == 0.0)
    return 0.0;
  const V3 ua = unit(a), ub = unit(b);
  return std::atan2(length(cross(ua, ub)), dot(ua, ub));
}
inline bool parallel(V3 a, V3 b) {
  if (length(a) == 0.0 || length(b) == 0.0)
    return true;
  const V3 c = cross(unit(a), unit(b));
  return dot(c, c) <= 1e-10;
}

// Row-vector 3x3 matrix.
struct M3 {
  double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};
inline V3 operator*(V3 v, const M3& a) {
  return {v.x * a.m[0][0] + v.y * a.m[1][0] + v.z * a.m[2][0],
          v.x * a.m[0][1] + v.y * a.m[1][1] + v.z * a.m[2][1],
          v.x * a.m[0][2] + v.y * a.m[1][2] + v.z * a.m[2][2]};
}
inline M3 operator*(const M3& a, const M3& b) {
  M3 r;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
  return r;
}
inline M3 inverse(const M3& a) {
  const auto& m = a.m;
  const double c00 = m[1][1] * m[2][2] - m[1][2] * m[2][1];
  const double c01 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
  const double c02 = m[1][0] * m[2][1] - m[1][1] * m[2][0];
  const double det = m[0][0] * c00 + m[0][1] * c01 + m[0][2] * c02;
  const double s = det != 0.0 ? 1.0 / det : 0.0;
  M3 r;
  r.m[0][0] = c00 * s;
  r.m[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) * s;
  r.m[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) * s;
  r.m[1][0] = c01 * s;
  r.m[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) * s;
  r.m[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) * s;
  r.m[2][0] = c02 * s;
  r.m[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) * s;
  r.m[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) * s;
  return r;
}

// Affine row-vector transform: p * a = p * a.m + a.t.
struct Affine {
  M3 m;
  V3 t;
};
inline V3 operator*(V3 p, const Affine& a) {
  return p * a.m + a.t;
}
inline Affine operator*(const Affine& a, const Affine& b) {
  return {a.m * b.m, a.t * b};
}
inline Affine inverse(const Affine& a) {
  const M3 inv = inverse(a.m);
  return {inv, (V3{} - a.t) * inv};
}

// Quaternion; q * r applies q first, as the host's product does.
struct Q {
  double x = 0.0, y = 0.0, z = 0.0, w = 1.0;
};
inline Q operator*(const Q& q, const Q& r) {
  return {
      r.w * q.x + r.x * q.w + r.y * q.z - r.z * q.y, r.w * q.y - r.x * q.z + r.y * q.w + r.z * q.x,
      r.w * q.z + r.x * q.y - r.y * q.x + r.z * q.w, r.w * q.w - r.x * q.x - r.y * q.y - r.z * q.z};
}
inline Q axisAngle(double angle, V3 axis) {
  const double l = length(axis);
  if (l == 0.0 || angle == 0.0)
    return {};
  const double s = std::sin(0.5 * angle) / l;
  return {axis.x * s, axis.y * s, axis.z * s, std::cos(0.5 * angle)};
}
inline Q conjugate(const Q& q) {
  return {-q.x, -q.y, -q.z, q.w};
}
inline M3 matrix(const Q& q) {
  M3 r;
  const double xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
  const double xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
  const double wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
  r.m[0][0] = 1 - 2 * (yy + zz), r.m[0][1] = 2 * (xy + wz), r.m[0][2] = 2 * (xz - wy);
  r.m[1][0] = 2 * (xy - wz), r.m[1][1] = 1 - 2 * (xx + zz), r.m[1][2] = 2 * (yz + wx);
  r.m[2][0] = 2 * (xz + wy), r.m[2][1] = 2 * (yz - wx), r.m[2][2] = 1 - 2 * (xx + yy);
  return r;
}
inline V3 rotate(V3 v, const Q& q) {
  const V3 u{q.x, q.y, q.z};
  const V3 t = cross(u, v) * 2.0;
  return v + t * q.w + cross(u, t);
}

// Euler orders as the host numbers them (XYZ, YZX, ZXY, XZY, YXZ, ZYX): the
// axes in order of application, and whether the order is odd.
struct Order {
  int first, middle, last;
  bool odd;
};
inline Order orderOf(int order) {
  static const Order orders[6] = {{0, 1, 2, false}, {1, 2, 0, false}, {2, 0, 1, false},
                                  {0, 2, 1, true},  {1, 0, 2, true},  {2, 1, 0, true}};
  return orders[order];
}
inline Q eulerQuaternion(const double e[3], int order) {
  const Order o = orderOf(order);
  auto about = [&](int axis) {
    V3 a;
    (axis == 0 ? a.x : axis == 1 ? a.y : a.z) = 1.0;
    return axisAngle(e[axis], a);
  };
  return about(o.first) * about(o.middle) * about(o.last);
}
// Euler angles of a rotation, the solution nearest the previous angles.
inline void eulerAngles(const Q& q, int order, const double previous[3], double out[3]) {
  const Order o = orderOf(order);
  const M3 m = matrix(q);
  const int label[3] = {o.first, o.middle, o.last};
  double r[3][3];
  for (int p = 0; p < 3; ++p)
    for (int k = 0; k < 3; ++k)
      r[p][k] = m.m[label[p]][label[k]];
  const double a = std::atan2(r[1][2], r[2][2]);
  const double ca = std::cos(a), sa = std::sin(a);
  const double c = std::atan2(-(ca * r[1][0] - sa * r[2][0]), ca * r[1][1] - sa * r[2][1]);
  const double b = std::atan2(-r[0][2], sa * r[1][2] + ca * r[2][2]);
  const double sign = o.odd ? -1.0 : 1.0;
  double one[3], other[3];
  one[o.first] = sign * a, one[o.middle] = sign * b, one[o.last] = sign * c;
  other[o.first] = one[o.first] + kPi, other[o.middle] = kPi - one[o.middle];
  other[o.last] = one[o.last] + kPi;
  double d1 = 0.0, d2 = 0.0;
  for (int k = 0; k < 3; ++k) {
    one[k] += 2 * kPi * std::round((previous[k] - one[k]) / (2 * kPi));
    other[k] += 2 * kPi * std::round((previous[k] - other[k]) / (2 * kPi));
    d1 += (one[k] - previous[k]) * (one[k] - previous[k]);
    d2 += (other[k] - previous[k]) * (other[k] - previous[k]);
  }
  std::copy(d2 < d1 ? other : one, (d2 < d1 ? other : one) + 3, out);
}

// One chain entry's local transformation: S * Sh * RA * R * JO * T.
struct Entry {
  double scale[3] = {1, 1, 1};
  double shear[3] = {0, 0, 0};  // xy, xz, yz
  Q rotateAxis, jointOrient;
  double rotation[3] = {0, 0, 0};  // rest rotation (the end's own)
  int order = 0;
  V3 translate;
  double bias = 1.0;
};

struct Input {
  std::vector<Entry> entries;
  Affine rootParent, handleParent;
  V3 handle, pole, restPole;
  double twist = 0.0;
  bool oldStyle = false;
};

// Per entry, the Euler angles written after the solve (entries 0 to n - 2).
using Output = std::vector<V3>;

namespace detail {

// What one solve keeps for all its trials.
struct Chain {
  unsigned n = 0;
  std::vector<M3> before;       // S * Sh * RA: ahead of an added rotation
  std::vector<Affine> after;    // R * JO * T: behind it
  std::vector<Q> rest, orient;  // rest rotation, rotate orientation
  std::vector<V3> axes;         // bend axes (zero where none)
  std::vector<double> lower, upper, rates;
  Affine root;  // the root's rest world matrix
  double span = 0.0, distance = 0.0, maxReach = 0.0;
};

// The bend of inner entry i at a fraction, as the solver's trial makes it.
inline Q bendOf(const Chain& c, unsigned i, double fraction, bool fold) {
  double f = std::min(1.0, std::max(0.0, fraction * c.rates[i]));
  double deg = (fold ? c.lower[i] : c.upper[i]) * f;
  deg = std::min(c.upper[i], std::max(c.lower[i], deg));
  const V3& a = c.axes[i];
  if (a.x == 0.0 && a.y == 0.0 && a.z == 0.0)
    return {};
  double angle = std::fabs(deg) * kPi / 180.0;
  return axisAngle(deg > 0 ? -angle : angle, a);
}

// The end's position in the root's child space with the bends of a fraction.
inline V3 bentEnd(const Chain& c, double fraction, bool fold) {
  V3 v = c.after[c.n - 1].t;
  for (unsigned i = c.n - 2; i >= 1; --i)
    v = rotate(v * c.before[i], bendOf(c, i, fraction, fold)) * c.after[i];
  return v;
}

struct Found {
  double fraction;
  bool improved;
};

inline Found bisect(const Chain& c, double lo, double hi, bool fold) {
  double width = hi - lo, f = lo + 0.5 * width;
  Found best{f, false};
  double bestError = c.distance - c.span;
  for (int k = 0; k < 100; ++k) {
    const double reach = length(bentEnd(c, f, fold) * c.root.m);
    const double error = c.distance - reach;
    if (std::fabs(error - bestError) > 1e-05 && std::fabs(bestError) > std::fabs(error)) {
      best = {f, true};
      bestError = error;
    }
    if (std::fabs(error) < 1e-05 || std::fabs(width) < 1e-10)
      break;
    if (std::fabs(reach - c.maxReach) < 1e-05 && c.distance - c.maxReach > 0)
      break;
    if (std::fabs(reach) < 1e-05 && std::fabs(c.distance) < 1e-05)
      break;
    ((error > 0) == fold ? hi : lo) = f;
    width = hi - lo;
    f = lo + 0.5 * width;
  }
  return best;
}

inline void across(V3 axis, V3 v, V3& out) {
  out = v - axis * (dot(v, axis) / dot(axis, axis));
}
inline double signedAngle(V3 from, V3 to, V3 axis) {
  const double lengths = length(from) * length(to);
  if (!(lengths > 0.0))
    return 0.0;
  if (std::fabs(dot(from, to) / lengths + 1) < 1e-5)
    return kPi;
  return std::atan2(dot(cross(from, to), axis) / length(axis), dot(from, to));
}
// The angle about the axis between the parts of the pole and the normal
// across it (from the pole when fromPole), false without a plane.
inline bool planeAngle(V3 axis, V3 pole, V3 normal, bool fromPole, double& angle) {
  if (parallel(pole, axis) || dot(axis, axis) <= 1e-5)
    return false;
  V3 p, q;
  across(axis, pole, p);
  across(axis, normal, q);
  angle = fromPole ? signedAngle(p, q, axis) : signedAngle(q, p, axis);
  return true;
}

}  // namespace detail

// Kept out of line, so that callgrind can count it as one function.
[[gnu::noinline]] inline Output solve(const Input& in) {
  using namespace detail;
  Chain c;
  const unsigned n = c.n = unsigned(in.entries.size());
  c.before.resize(n), c.after.resize(n), c.rest.resize(n), c.orient.resize(n);
  std::vector<V3> p(n);
  std::vector<Affine> world(n);
  for (unsigned i = 0; i < n; ++i) {
    const Entry& e = in.entries[i];
    c.orient[i] = e.rotateAxis;
    c.rest[i] = eulerQuaternion(e.rotation, e.order);
    M3 ss;
    ss.m[0][0] = e.scale[0];
    ss.m[1][0] = e.scale[1] * e.shear[0], ss.m[1][1] = e.scale[1];
    ss.m[2][0] = e.scale[2] * e.shear[1], ss.m[2][1] = e.scale[2] * e.shear[2];
    ss.m[2][2] = e.scale[2];
    c.before[i] = ss * matrix(e.rotateAxis);
    c.after[i] = {matrix(c.rest[i] * e.jointOrient), e.translate};
    const Affine local{c.before[i] * c.after[i].m, e.translate};
    world[i] = local * (i == 0 ? in.rootParent : world[i - 1]);
    p[i] = world[i].t;
  }
  c.root = world[0];

  c.lower.assign(n, 0.0), c.upper.assign(n, 0.0), c.rates.assign(n, 0.0);
  c.axes.assign(n, V3{});
  double smallest = in.entries[1].bias;
  for (unsigned i = 2; i + 1 < n; ++i)
    smallest = std::min(smallest, in.entries[i].bias);
  const bool scaled = std::fabs(smallest) > 1e-05;
  for (unsigned i = 1; i + 1 < n; ++i) {
    const double deg = angleBetween(p[i - 1] - p[i], p[i + 1] - p[i]) * 180.0 / kPi;
    c.lower[i] = -deg, c.upper[i] = 180.0 - deg;
    c.rates[i] = scaled ? in.entries[i].bias / smallest : in.entries[i].bias;
    // The bones from entry i in its rotation frame, from its local transformation.
    const M3 orient = matrix(c.orient[i]);
    const V3 toChild = c.after[i + 1].t * orient;
    const V3 toParent = ((V3{} - c.after[i].t) * inverse(c.before[i] * c.after[i].m)) * orient;
    if (!parallel(toChild, toParent))
      c.axes[i] = cross(toChild, toParent);
  }
  c.span = length(p[n - 1] - p[0]);
  c.distance = length(in.handle - p[0]);
  for (unsigned i = 0; i + 1 < n; ++i)
    c.maxReach += length(p[i + 1] - p[i]);

  // The root's rotation frame, the rest plane normal and the pole offset.
  const Affine rootInverse = inverse(c.root);
  const M3 rootOrient = matrix(c.orient[0]);
  auto inRootFrame = [&](V3 world) { return (world * rootInverse) * rootOrient; };
  M3 rotationOnly;  // Gram-Schmidt on the rows of the root's world matrix
  {
    const M3& w = c.root.m;
    const V3 x = unit({w.m[0][0], w.m[0][1], w.m[0][2]});
    V3 y{w.m[1][0], w.m[1][1], w.m[1][2]};
    y = unit(y - x * dot(x, y));
    const V3 z = cross(x, y);
    const V3 rows[3] = {x, y, z};
    for (int r = 0; r < 3; ++r)  // the transpose: its inverse
      rotationOnly.m[0][r] = rows[r].x, rotationOnly.m[1][r] = rows[r].y,
      rotationOnly.m[2][r] = rows[r].z;
  }
  V3 normal, reference;
  bool counted = false;
  std::vector<V3> framed(n);
  for (unsigned i = 0; i < n; ++i)
    framed[i] = inRootFrame(p[i]);
  for (unsigned i = 1; i + 1 < n; ++i) {
    const V3 a = framed[i - 1] - framed[i], b = framed[i + 1] - framed[i];
    if (parallel(a, b))
      continue;
    V3 bn = cross(a, b);
    if (!counted) {
      reference = normal = bn;
      counted = true;
    } else {
      normal = normal + (dot(reference, bn) < 0 ? V3{} - bn : bn);
    }
  }
  if (counted) {
    normal = unit(normal);
  } else {
    const V3 bone = unit(framed[1] - framed[0]);
    normal = unit(cross(bone, parallel(bone, V3{1, 0, 0}) ? V3{0, 1, 0} : V3{1, 0, 0}));
  }
  double offset = 0.0;
  planeAngle(framed[n - 1], (in.restPole * rotationOnly) * rootOrient, normal, true, offset);

  // Radial solve with the earlier-crossing samples.
  Found found{0.0, false};
  const double difference = c.distance - c.span;
  const bool fold = difference < 0;
  if (std::fabs(difference) >= 1e-05) {
    found = bisect(c, 0.0, 1.0, fold);
    for (int round = 0; n > 3 && found.improved && round < 4; ++round) {
      const double at = found.fraction;
      bool earlier = false;
      for (int j = 1; j < 8 && !earlier; ++j) {
        const double reach = length(bentEnd(c, at * j / 8, fold) * c.root.m);
        const double past = fold ? c.distance - reach : reach - c.distance;
        if (past > 1e-05) {
          const Found first = bisect(c, at * (j - 1) / 8, at * j / 8, fold);
          if (first.improved) {
            found = first;
            earlier = true;
          }
        }
      }
      if (!earlier)
        break;
    }
  }
  const double fraction = found.improved ? found.fraction : 0.0;

  // Aim: the bent end's direction onto the handle's, in the root's rotation frame.
  const V3 bent = bentEnd(c, fraction, fold);
  const V3 endDirection = bent * rootOrient;
  const V3 handleDirection = inRootFrame(in.handle);
  V3 aimAxis = cross(endDirection, handleDirection);
  if (parallel(endDirection, handleDirection))
    aimAxis = parallel(endDirection, V3{1, 0, 0}) ? V3{0, 1, 0} : V3{1, 0, 0};
  const Q aim = axisAngle(std::fabs(angleBetween(endDirection, handleDirection)), aimAxis);

  // Rotate plane and twist about the aimed chain's root-to-end axis.
  const M3 aimInverse = matrix(conjugate(aim));
  const M3 objectToSolved = rootOrient * aimInverse;
  const V3 aimed = rotate(bent * c.before[0], aim) * c.after[0] * in.rootParent;
  const V3 axis = (aimed * rootInverse) * objectToSolved;
  const V3 pole = in.oldStyle ? (in.pole * rotationOnly) * objectToSolved
                              : (in.pole * in.handleParent.m) * (rootInverse.m * objectToSolved);
  double turn = 0.0;
  const Q plane =
      planeAngle(axis, pole, normal, false, turn) ? axisAngle(turn + offset, axis) : Q{};
  const Q rootTurn = plane * axisAngle(in.twist, axis);

  Output out(n - 1);
  for (unsigned i = 0; i + 1 < n; ++i) {
    const Q added = i == 0 ? rootTurn * aim : bendOf(c, i, fraction, fold);
    double e[3];
    eulerAngles(added * c.rest[i], in.entries[i].order, in.entries[i].rotation, e);
    out[i] = {e[0], e[1], e[2]};
  }
  return out;
}

}  // namespace floorsolve

#pragma once
// Internal to the foundation library: the one decomposition of a 3x3 block
// into scale, shear and rotation, shared by HTransformationMatrix,
// HQuaternion(const HMatrix&) and HEulerRotation::decompose so that all three
// agree on what "the rotation of a matrix" is.

#include "HMatrix.h"
#include "HQuaternion.h"

namespace hfoundation {

struct AffineParts {
  double scale[3];        // x, y, z
  double shear[3];        // xy, xz, yz
  double rotation[3][3];  // orthonormal rows, determinant +1
};

// Splits the upper-left 3x3 block of m as S * Sh * R (row vectors); the rules
// are those documented on HTransformationMatrix(const HMatrix&). Returns false
// (and the identity parts) when an element of the block is not finite.
bool decomposeAffine(const HMatrix& m, AffineParts& parts);

// The unit quaternion (w >= 0) of an orthonormal row-vector rotation block.
HQuaternion quaternionFromRotation(const double r[3][3]);

}  // namespace hfoundation

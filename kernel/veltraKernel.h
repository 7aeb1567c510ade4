#pragma once
// The mathematics of one solve of a veltra IK handle, over values.
//
// The node gathers one veltraKernelInput from the scene; `solve` works out
// the rotations to add on top of the rest pose and touches nothing else:
//   - the bend pass: the bend of every inner joint (radial solve) and the
//     root's aim at the handle (sphere solve);
//   - the plane pass: one rotation of the root about its root-to-end axis, the
//     rotate-plane rotation followed by the handle's twist.
// Entry i of a pass means "rotate chain entry i by angle i (radians) about
// axis i in the entry's object space" (R <- q x R, after the rotate
// orientation); axes need not be unit length and angle 0 about the zero axis
// is no rotation. The node writes each entry's rest rotation with the bend
// pass and then the plane pass added, composed into one write.
//
// Frames used throughout:
//   - world: the host's world space;
//   - rotation frame of an entry: a world point times the entry's inclusive
//     inverse matrix times its rotate-orientation matrix, i.e. the frame in
//     which the entry's rotation acts;
//   - solved root frame: the root's rotation frame after the aim rotation.
//     The aim acts inside the rotation frame, in front of the root's
//     rotation, so a world point enters it through the rotation frame at rest
//     and then the inverse aim: inclusive inverse x rotate orientation x
//     aim^-1.
// Interior angles and bend limits are in degrees; every other angle is in
// radians. Distances are in world units.
//
// Awkward but legal input (zero-length bones, a handle on the root, a pole
// vector along the chain) is not an error: it gives finite rotations. Only
// impossible input is refused, by `validate`, before anything is solved.

#include <HDoubleArray.h>
#include <HMatrix.h>
#include <HPoint.h>
#include <HPointArray.h>
#include <HQuaternion.h>
#include <HString.h>
#include <HTransformationMatrix.h>
#include <HVector.h>
#include <HVectorArray.h>

#include <vector>

// Everything one solve reads, gathered by the node.
struct veltraKernelInput {
  // Per chain entry, root first, end effector last: the entry's local
  // transformation in its parent's space (scale, shear, rotate orientation,
  // rotation in its rotate order, joint orient, translation). Entry i's
  // parent is entry i - 1. The rotation of entries 0 to n - 2 is replaced by
  // the rest pose; the end keeps its own.
  std::vector<HTransformationMatrix> localTransformations;
  // World matrix of the root's parent (the identity under the world).
  HMatrix rootParentWorldMatrix;
  // The goal: the handle's origin in world space.
  HPoint handleWorldPosition;
  // World matrix of the handle's parent, the space the pole vector is given in.
  HMatrix handleParentWorldMatrix;
  HVector poleVector;  // handle's parent space (a world direction when oldStyle)
  double twist = 0.0;  // radians, right-handed about the solved root-to-end axis
  // Per entry, the rest rotation as Euler angles in radians, in the entry's
  // rotate order; entries 0 to n - 2 are used.
  HVectorArray restPose;
  HVector restPoleVector;  // world direction, recorded with the rest pose
  HDoubleArray angleBias;  // per entry, the bias weight; inner entries used
  // The handle's splineIkOldStyle: the pole vector is a world direction and
  // only the root's rotation (not its scale) is taken out of it.
  bool oldStyle = false;
  // Soft IK (world units, 0 or more; 0 is off): within this distance of the
  // chain's straight length the bend aims for a nearer distance that eases
  // towards full extension (ikSoftDistance).
  double softness = 0.0;
  // 0 to 1 (0 is off): how much of the distance the bend leaves between the
  // end and the handle the chain takes up by growing about its root
  // (ikStretchScale).
  double stretch = 0.0;
};

// One pass of rotations, one entry per chain entry (see above).
struct veltraKernelPass {
  HDoubleArray angles;  // radians
  HVectorArray axes;    // each entry's rotation frame (object space after RA)
};

// The frame an entry's rotation acts in, as the two matrices that bring a
// world point into it.
struct veltraKernelRotationFrame {
  HMatrix worldToObject;  // the entry's inclusive inverse matrix
  HMatrix orientation;    // its rotate orientation
};

// What one chain entry keeps for every trial of a solve, together in one
// place: a trial walks the entries in turn.
struct veltraKernelEntry {
  HQuaternion restRotation;  // its rest rotation R (the end keeps its own), unit length
  // The rest transformation split where an added rotation acts: S x Sh x RA
  // ahead of it, R x JO x T (rest R) behind it, so that a trial moves a point
  // through the entry with two small products and a quaternion.
  HMatrix aheadOfRotation;
  HMatrix behindRotation;
  // Inner entries: the bend axis in the rotation frame (child x parent
  // bone); the zero vector where the bones are parallel and no bend exists.
  HVector bendAxis;
  double lowerLimitDeg = 0.0;  // minus the rest interior angle; 0 at the ends
  double upperLimitDeg = 0.0;  // 180 minus the rest interior angle; 0 at the ends
  // The bias weight divided by the smallest inner one (raw when that is
  // within 1e-5 of 0), so that the least biased joint reaches its limit at
  // bend fraction 1; 0 at the ends.
  double biasRate = 0.0;
};

// What stays fixed during one solve, measured once from the rest pose: the
// scene stands in the rest pose while a solve runs, so every trial reuses it.
struct veltraKernelSetup {
  std::vector<veltraKernelEntry> entries;  // per chain entry, root first
  HMatrix rootParentWorldMatrix;           // as in the input
  HMatrix rootWorldMatrix;                 // the root's world matrix at rest
  HPointArray restWorldPositions;          // per entry
  // The root's rotation frame at rest; the plane stages and the aim measure
  // in it (inner entries need only their bend axes).
  veltraKernelRotationFrame rootFrame;
  double chainSpan = 0.0;       // world distance root to end at rest
  double handleDistance = 0.0;  // world distance root to handle
  double maxReach = 0.0;        // sum of the rest bone lengths; the fold reaches 0
  // World to the root's object space without its scale or shear: the inverse
  // of the rotation component of the root's rest world matrix.
  HMatrix worldToRootRotation;
  HVector planeNormal;           // unit normal of the rest bend plane, root's rotation frame
  double poleAngleOffset = 0.0;  // radians about the root-to-end axis, rest pole to normal
};

// The solved chain as the plane stages see it.
struct veltraKernelSolvedChain {
  HMatrix worldToSolvedRoot;   // inclusive inverse x rotate orientation x aim^-1
  HMatrix objectToSolvedRoot;  // rotate orientation x aim^-1, for directions without scale
  HVector rootToEndAxis;       // solved root frame
  HPoint worldEnd;             // the bent and aimed end in world space
};

struct veltraKernelResult {
  veltraKernelPass bend;   // first pass: inner bends and the root's aim
  veltraKernelPass plane;  // second pass: the root's turn about its root-to-end axis
  // The bisection's bend fraction in [0, 1]; 0 when the chain stays unbent.
  double bendFraction = 0.0;
  // Whether the solved end (stretched, when it is) lies within
  // kReachTolerance of the handle.
  bool reached = false;
  // The factor by which the solved chain grows about its root so that its
  // end takes up the stretch; exactly 1 when nothing stretches.
  double stretchScale = 1.0;
  // Per entry but the end: its rest rotation with the bend and then the plane
  // rotation added in object space (plane x bend x rest, unit length), the
  // rotation the node writes.
  std::vector<HQuaternion> solvedRotations;
};

namespace veltraKernel {

// World distance within which the end counts as at the handle: ten times the
// radial solve's distance tolerance, room for the aim's rounding.
constexpr double kReachTolerance = 1e-4;

// False, with a sentence saying why, for input no solve can use: fewer than
// three entries, a rest pose or bias weights whose count is not the chain's,
// or a value that is not finite.
bool validate(const veltraKernelInput& input, HString& problem);

// The whole solve, for input that passed `validate`.
veltraKernelResult solve(const veltraKernelInput& input);

// Stages of solve, in order.
veltraKernelSetup preKernelSolve(const veltraKernelInput& input);
// The bend pass, the bend fraction and the bent end (ikEndBelowRoot).
veltraKernelPass kernelSolve(const veltraKernelInput& input, const veltraKernelSetup& setup,
                             double& bendFraction, HVector& endBelowRoot);
// The plane pass of the solved chain.
veltraKernelPass postKernelSolve(const veltraKernelInput& input, const veltraKernelSetup& setup,
                                 const veltraKernelSolvedChain& solved);

// Radial solve: one bend fraction in [0, 1] drives every inner joint towards
// its fold or straight limit; a bisection finds the fraction at which the
// root-to-end distance equals the root-to-handle distance. Fills entries 1 to
// n - 2 of the pass (left all zero when no bend beats the rest pose) and
// returns the fraction (0 then).
double solveRadial(const veltraKernelSetup& setup, veltraKernelPass& bend);
// One trial: the bend pass for a fraction (inner entries), and the world
// distance from the root to the end it gives.
double solveRadialIteration(const veltraKernelSetup& setup, double bendFraction, bool foldMode,
                            veltraKernelPass& trial);

// Sphere solve: the root's aim, the least rotation (in the root's rotation
// frame) carrying the bent end's direction onto the handle's. Writes entry 0.
// `endBelowRoot` is the end of the chain bent by the pass (ikEndBelowRoot).
void solveSphere(const veltraKernelInput& input, const veltraKernelSetup& setup,
                 const HVector& endBelowRoot, veltraKernelPass& bend);

// The chain posed by the bend pass (bent as `endBelowRoot` says, aimed by
// entry 0), seen from the solved root frame.
veltraKernelSolvedChain ikSolvedChain(const veltraKernelSetup& setup, const veltraKernelPass& bend,
                                      const HVector& endBelowRoot);
// Rotate-plane and twist rotations about the solved chain's root-to-end
// axis, in the solved root frame.
HQuaternion solveRotatePlane(const veltraKernelInput& input, const veltraKernelSetup& setup,
                             const veltraKernelSolvedChain& solved);
HQuaternion solveTwist(const veltraKernelInput& input, const veltraKernelSolvedChain& solved);

// ---- Soft IK and stretch -------------------------------------------------

// The root-to-end distance the bend aims for. With R the straight length and
// s the softness (taken as at most R), a handle at distance d > R - s gives
// R - s + s (1 - exp(-(d - (R - s)) / s)), which meets d with the same slope
// at R - s and only nears R as d grows, so the chain slows down smoothly
// instead of snapping straight. Unchanged (bit for bit) when s is 0.
double ikSoftDistance(double handleDistance, double straightLength, double softness);
// The factor by which the solved chain grows about its root: 1 + stretch x
// (d / solved - 1), so that its end moves from the solved distance towards
// the handle's distance d by the fraction `stretch`. 1 when the bend aimed at
// the handle's own distance (inside the reach, no softness), when stretch is
// 0, or when the solved end lies on the root.
double ikStretchScale(double handleDistance, double aimedDistance, double solvedDistance,
                      double stretch);

// ---- Chain geometry -------------------------------------------------------

// The end of the chain with the rotations of entries 1 to n - 2 of the pass
// added to the rest pose, as a point in the root's child space (the space
// the root's local transformation maps into its parent's): what every trial
// of the radial solve needs, without the other entries' positions.
HVector ikEndBelowRoot(const veltraKernelSetup& setup, const veltraKernelPass& pass);
// A point of an entry's child space moved into its parent's space through the
// entry's rest transformation with a rotation (a unit quaternion) added.
HVector ikThroughEntry(const veltraKernelSetup& setup, unsigned entry, const HQuaternion& added,
                       const HVector& point);
// The same with the rotation added to inner entry i given by rotationOf(i)
// (a unit quaternion), for the radial trials, which make their rotations as
// they go instead of filling a pass.
template <class RotationOf>
HVector ikEndBelowRootWith(const veltraKernelSetup& setup, RotationOf rotationOf) {
  const unsigned n = setup.restWorldPositions.length();
  const HMatrix& end = setup.entries[n - 1].behindRotation;
  HVector point(end(3, 0), end(3, 1), end(3, 2));
  for (unsigned i = n - 2; i >= 1; --i) {
    point = ikThroughEntry(setup, i, rotationOf(i), point);
  }
  return point;
}
// A world point in a rotation frame.
inline HPoint ikPositionInRotationFrame(const HPoint& worldPoint,
                                        const veltraKernelRotationFrame& frame) {
  return (worldPoint * frame.worldToObject) * frame.orientation;
}
// The parts of the pole vector and the plane normal across the axis
// (perpendicular to it); false, with nothing written, when the pole vector
// lies along the axis within 1e-10 or the axis is shorter than about 0.00316
// (squared length 1e-5 or less): there is then no plane to measure in.
bool ikAcrossAxis(const HVector& axis, const HVector& pole, const HVector& normal,
                  HVector& poleAcross, HVector& normalAcross);
// Signed angle (radians, in [-pi, pi]) about the axis from one vector to
// another, both across the axis: atan2 of their cross product along the axis
// and their dot product. 0 when either has zero length; exactly pi when their
// directions are within about 0.00447 radians of opposite (cosine within 1e-5
// of -1), so that a half turn never depends on rounding.
double ikSignedAngleAbout(const HVector& from, const HVector& to, const HVector& axis);
// Unit normal of the rest bend plane in the root's rotation frame.
HVector ikJointPlaneNormal(const veltraKernelSetup& setup);
// Signed angle (radians) about the rest root-to-end axis from the rest pole
// vector to the plane normal.
double ikPoleVectorAngleOffset(const veltraKernelInput& input, const veltraKernelSetup& setup,
                               const HVector& planeNormal);

}  // namespace veltraKernel

#pragma once
// The mathematics of one solve of a veltra IK handle.
//
// The kernel borrows the chain and the handle's inputs, puts the chain into its
// rest pose through the host, measures it, and works out two result pairs of
// rotations to add on top of that rest pose:
//   - the bend pair: the bend of every inner joint (radial solve) and the
//     root's aim at the handle (sphere solve);
//   - the plane pair: one rotation of the root about its root-to-end axis, the
//     rotate-plane rotation followed by the handle's twist.
// Entry i of a pair means "rotate chain entry i by angle i (radians) about
// axis i in the entry's object space"; axes need not be unit length and angle
// 0 about the zero axis is no rotation.
//
// Frames used throughout:
//   - world: the host's world space;
//   - rotation frame of an entry: a world point times the entry's inclusive
//     inverse matrix times its rotate-orientation matrix, i.e. the frame in
//     which the entry's rotation acts;
//   - solved root frame: the root's rotation frame after the aim rotation.
//     The node adds the aim inside the rotation frame, in front of the root's
//     rotation, so a world point enters it through the rotation frame at rest
//     and then the inverse aim: inclusive inverse x rotate orientation x
//     aim^-1.
// Interior angles and bend limits are in degrees; every angle exchanged with
// the host is in radians.
//
// The kernel reports no failure: every stage returns success and host calls
// are made without status out-parameters. It keeps nothing between solves,
// and two kernels must never work on the same chain at once.

#include <HDagPath.h>
#include <HDagPathArray.h>
#include <HDoubleArray.h>
#include <HPoint.h>
#include <HPointArray.h>
#include <HQuaternion.h>
#include <HStatus.h>
#include <HVector.h>
#include <HVectorArray.h>

class veltraKernel {
 public:
  // Binds the seven inputs, which belong to the caller, must outlive the
  // kernel and are never written: the chain (root first, end effector last,
  // at least three entries), the IK handle (its world position is the goal),
  // the rest pose (Euler angles in radians per entry, in each entry's rotate
  // order), the rest pole vector (a world direction), the angle bias weights
  // (one per entry, inner entries used), the handle's pole vector (in the
  // handle's parent space) and the twist (radians).
  veltraKernel(const HDagPathArray& joints, const HDagPath& handle, const HVectorArray& restPose,
               const HVector& restPoleVector, const HDoubleArray& angleBias,
               const HVector& poleVector, const double& twist);
  virtual ~veltraKernel();

  veltraKernel(const veltraKernel&) = delete;
  veltraKernel& operator=(const veltraKernel&) = delete;

  // Runs the three stages and copies out both result pairs, n entries each
  // (arrays that arrive non-empty are cleared first). Leaves entries 0 to n-2
  // of the chain in the rest pose. Always succeeds.
  HStatus solve(HDoubleArray& bendAngles, HVectorArray& bendAxes, HDoubleArray& planeAngles,
                HVectorArray& planeAxes);

  // Adds rotation i (radians about axis i, object space) to chain entry i, for
  // every entry in index order.
  void ikApplyRotations(const HDagPathArray& chain, const HDoubleArray& angles,
                        const HVectorArray& axes) const;

 protected:
  // Stages of solve.
  HStatus preKernelSolve();
  HStatus kernelSolve();
  HStatus postKernelSolve();

  // Radial solve: one bend fraction in [0, 1] drives every inner joint towards
  // its fold or straight limit; a bisection finds the fraction at which the
  // root-to-end distance equals the root-to-handle distance.
  HStatus solveRadial();
  // One bisection of [lowerBound, upperBound] with the solve's stopping rules:
  // the best fraction, and the trial that set it (-1 when no trial beat the
  // rest pose).
  struct RadialBisection {
    double fraction;
    int bestIteration;
  };
  RadialBisection solveRadialBisection(double lowerBound, double upperBound, bool foldMode);
  double solveRadialIteration(const double& bendFraction, const bool& foldMode,
                              HDoubleArray& angles, HVectorArray& axes);
  void solveRadialUniformAngles(const double& bendFraction, const bool& foldMode,
                                HDoubleArray& bendsDeg);
  double solveRadialRotateJoints(const HDoubleArray& bendsDeg, HDoubleArray& angles,
                                 HVectorArray& axes);

  // Sphere solve: the root rotation that aims the bent chain's end at the handle.
  HStatus solveSphere();

  // Joint plane normal (root's rotation frame, unit length) and the signed
  // angle about the root-to-end axis from the rest pole vector to that normal.
  HVector ikJointPlaneNormal(const HDagPathArray& joints) const;
  double ikPoleVectorAngleOffset(const HVector& planeNormal) const;

  // Rotate-plane and twist rotations about the solved chain's root-to-end
  // axis, in the solved root frame.
  HStatus solveRotatePlane(HQuaternion& rotation, const double& poleAngleOffset) const;
  HStatus solveTwist(HQuaternion& rotation) const;

  // Chain geometry and joint access: the kernel's only contact with the scene.
  void ikJointPosition(const HDagPath& entry, HPoint& worldPosition) const;
  void ikJointPositions(const HDagPathArray& chain, HPointArray& worldPositions) const;
  void ikSimulatedJointChain(HPointArray& worldPositions) const;
  void ikJointAngles(const HPointArray& worldPositions, HDoubleArray& interiorAnglesDeg) const;
  void ikJointRotationLimits(const HDoubleArray& interiorAnglesDeg, HDoubleArray& lowerDeg,
                             HDoubleArray& upperDeg) const;
  double ikJointDistance(const HDagPath& a, const HDagPath& b) const;
  double ikJointMinDistance(const HPointArray& worldPositions) const;
  double ikJointMaxDistance(const HPointArray& worldPositions) const;
  void ikApplyJointPose(const HDagPath& entry, const HVector& rotation) const;
  void ikApplyPose(const HDagPathArray& chain, const HVectorArray& pose) const;
  void ikApplyJointRotation(const HDagPath& entry, const double& angle, const HVector& axis) const;
  void ikSimulateRotations(HPointArray& worldPositions, const HDoubleArray& angles,
                           const HVectorArray& axes) const;
  HQuaternion ikJointRotationAxis(const HDagPath& entry) const;
  // An entry's rotation frame as the two matrices that bring a world point
  // into it, read once when several points go into the same frame.
  struct RotationFrame {
    HMatrix worldToObject;  // the entry's inclusive inverse matrix
    HMatrix orientation;    // its rotate orientation
  };
  RotationFrame ikJointRotationFrame(const HDagPath& frame) const;
  static HPoint ikJointPositionRelative(const HPoint& worldPoint, const RotationFrame& frame) {
    return (worldPoint * frame.worldToObject) * frame.orientation;
  }
  // The solved root frame (see above) as the matrix that brings a world point
  // into it, and the part after the root's object space, which directions
  // taken without the root's scale go through.
  struct SolvedRootFrame {
    HMatrix worldToFrame;   // inclusive inverse x rotate orientation x aim^-1
    HMatrix objectToFrame;  // rotate orientation x aim^-1
  };
  SolvedRootFrame ikSolvedRootFrame() const;
  HPoint ikJointPositionRelative(const HPoint& worldPoint, const HDagPath& frame) const;
  HPoint ikJointPositionRelative(const HDagPath& entry, const HDagPath& frame) const;

  // Borrowed inputs.
  const HDagPathArray& fJoints;
  const HDagPath& fHandle;
  const HVectorArray& fRestPose;   // radians, per entry
  const HVector& fRestPoleVector;  // world direction
  const HDoubleArray& fAngleBias;  // per entry, inner entries used
  const HVector& fPoleVector;      // handle's parent space
  const double& fTwist;            // radians

  // Measurements of the rest pose and the results.
  HDoubleArray fLowerLimits;  // degrees: minus the rest interior angle
  HDoubleArray fUpperLimits;  // degrees: 180 minus the rest interior angle
  double fChainSpan;          // world distance root to end at rest
  double fHandleDistance;     // world distance root to handle
  double fMinReach;           // always 0
  double fMaxReach;           // sum of the rest bone lengths (world)
  HVector fPlaneNormal;       // root's rotation frame at rest, unit length
  double fPoleAngleOffset;    // radians, about the root-to-end axis
  HDoubleArray fBendAngles;   // bend pair: radians
  HVectorArray fBendAxes;     // bend pair: axes in each entry's rotation frame
  HDoubleArray fPlaneAngles;  // plane pair: radians
  HVectorArray fPlaneAxes;    // plane pair: axes in the solved root frame
};

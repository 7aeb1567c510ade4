#pragma once
// Internals shared by the animation library's files.

#include "graph/Node.h"

namespace hostdetail {

// Keys of the node links that tie IK nodes together (see nodeLinks).
constexpr const char* kLinkStartJoint = "startJoint";    // handle -> start joint
constexpr const char* kLinkEndEffector = "endEffector";  // handle -> end effector
constexpr const char* kLinkSolver = "solver";            // handle -> solver node
constexpr const char* kLinkEndJoint = "endJoint";        // effector -> the joint it follows

// Three consecutive static number slots starting at the named leaf.
HStatus readThree(const Node* node, const char* firstLeaf, double out[3]);
HStatus writeThree(Node* node, const char* firstLeaf, const double values[3]);

}  // namespace hostdetail

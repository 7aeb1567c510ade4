// The warning about rest poses that cannot work: an inner joint whose bones
// are parallel at rest has no plane to bend in, so the solve leaves it
// straight (or folded flat) and a straight chain never reaches a nearer handle.
//
// The check runs once per handle and rest pose. What was checked is kept in
// the plug-in, keyed by the handle and a hash of its preferred angles, so that
// nothing is added to the scene and a changed rest pose is checked again.

#include <HFnDependencyNode.h>
#include <HGlobal.h>
#include <HObjectHandle.h>
#include <HPoint.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "veltraData.h"

namespace veltraData {

namespace {

// Handle -> hash of the rest pose last checked. Entries of deleted handles are
// dropped whenever the map has doubled since the last sweep.
struct CheckedRestPoses {
  std::mutex lock;  // handles may be solved on several threads at once
  std::unordered_map<HObjectHandle, std::uint64_t> byHandle;
  std::size_t sizeAtSweep = 0;
};

CheckedRestPoses& checkedRestPoses() {
  static CheckedRestPoses checked;
  return checked;
}

// The bits of every angle mixed a whole word at a time (a multiply and a
// shift each, as in FNV with 64-bit digits): any edit of a preferred angle,
// or a chain of another length, gives another key. It runs on every solve.
std::uint64_t restPoseKey(const HVectorArray& restPose) {
  std::uint64_t key = 1469598103934665603ull;
  auto mix = [&key](std::uint64_t word) {
    key = (key ^ word) * 1099511628211ull;
    key ^= key >> 29;
  };
  mix(restPose.length());
  for (unsigned i = 0; i < restPose.length(); ++i) {
    for (double angle : {restPose[i].x, restPose[i].y, restPose[i].z}) {
      std::uint64_t bits = 0;
      std::memcpy(&bits, &angle, sizeof bits);
      mix(bits);
    }
  }
  return key;
}

// "a", "a and b", "a, b and c".
std::string joinNames(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0)
      text += i + 1 == names.size() ? " and " : ", ";
    text += names[i];
  }
  return text;
}

}  // namespace

bool ikRestPoseCheckDue(const HDagPath& handle, const HVectorArray& restPose) {
  CheckedRestPoses& checked = checkedRestPoses();
  const std::uint64_t key = restPoseKey(restPose);
  const std::lock_guard<std::mutex> guard(checked.lock);
  auto inserted = checked.byHandle.emplace(HObjectHandle(handle.node()), key);
  if (!inserted.second) {
    if (inserted.first->second == key)
      return false;
    inserted.first->second = key;
    return true;
  }
  if (checked.byHandle.size() > 2 * checked.sizeAtSweep + 64) {
    for (auto it = checked.byHandle.begin(); it != checked.byHandle.end();) {
      it = it->first.isAlive() ? std::next(it) : checked.byHandle.erase(it);
    }
    checked.sizeAtSweep = checked.byHandle.size();
  }
  return true;
}

void ikRestPoseWarnUnbendable(const HDagPathArray& joints, const HDagPath& handle,
                              const HPointArray& restWorldPositions) {
  const unsigned n =
      joints.length() < restWorldPositions.length() ? joints.length() : restWorldPositions.length();
  std::vector<std::string> straight;
  for (unsigned i = 1; i + 1 < n; ++i) {
    // World positions: parallel bones stay parallel in every joint's own frame,
    // which is where the solve looks for the bend plane.
    const HPoint& parent = restWorldPositions[i - 1];
    const HPoint& self = restWorldPositions[i];
    const HPoint& child = restWorldPositions[i + 1];
    if ((parent - self).isParallel(child - self, 1e-10))
      straight.push_back(HFnDependencyNode(joints[i].node()).name().asChar());
  }
  if (straight.empty())
    return;
  const std::string handleName = HFnDependencyNode(handle.node()).name().asChar();
  const bool one = straight.size() == 1;
  HGlobal::displayWarning(HString(
      (handleName + ": " + joinNames(straight) + (one ? " lies" : " lie") +
       " straight or folded flat in the rest pose, so " +
       (one ? "it never bends" : "they never bend") +
       " and the chain cannot reach a nearer handle. Give " + (one ? "it" : "them") +
       " a preferred angle: bend " + (one ? "it" : "them") +
       " a little with the handle's solverEnable off, then run veltraRestPose " + handleName + ".")
          .c_str()));
}

}  // namespace veltraData

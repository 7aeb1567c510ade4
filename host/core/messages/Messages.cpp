// HMessage and HSceneMessage: callbacks around scene-wide events.

#include <map>
#include <string>
#include <vector>

#include "HSceneMessage.h"
#include "MessageInternal.h"

namespace {

struct Callback {
  HSceneMessage::Message message;
  HSceneMessage::HBasicFunction function;
  void* clientData;
};

// Ordered by id, which grows with every installation: sending walks the
// callbacks oldest first.
std::map<HCallbackId, Callback>& callbacks() {
  static auto* table = new std::map<HCallbackId, Callback>();
  return *table;
}

HCallbackId gNextId = 1;

}  // namespace

HStatus HMessage::removeCallback(HCallbackId id) {
  if (callbacks().erase(id) == 0)
    return HStatus(HStatus::kInvalidParameter, "No callback with id " + std::to_string(id));
  return HStatus(HStatus::kSuccess);
}

HCallbackId HSceneMessage::addCallback(Message message, HBasicFunction function, void* clientData,
                                       HStatus* status) {
  if (function == nullptr || message < kBeforeNew || message >= kLast) {
    if (status)
      *status = HStatus(HStatus::kInvalidParameter,
                        function == nullptr ? "No callback function" : "Unknown scene message");
    return 0;
  }
  const HCallbackId id = gNextId++;
  callbacks().emplace(id, Callback{message, function, clientData});
  if (status)
    *status = HStatus(HStatus::kSuccess);
  return id;
}

void HSceneMessage::hostSend(Message message) {
  // A callback may add or remove callbacks: walk a snapshot of the ids and
  // skip those removed meanwhile. Callbacks added during the send wait for
  // the next one.
  std::vector<HCallbackId> ids;
  for (const auto& entry : callbacks()) {
    if (entry.second.message == message)
      ids.push_back(entry.first);
  }
  for (HCallbackId id : ids) {
    auto it = callbacks().find(id);
    if (it == callbacks().end())
      continue;
    const Callback callback = it->second;
    callback.function(callback.clientData);
  }
}

namespace hostdetail {

int removeCallbacksWhere(const std::function<bool(const void* function)>& owned) {
  int removed = 0;
  auto& table = callbacks();
  for (auto it = table.begin(); it != table.end();) {
    if (owned(reinterpret_cast<const void*>(it->second.function))) {
      it = table.erase(it);
      ++removed;
    } else {
      ++it;
    }
  }
  return removed;
}

int callbackCount() {
  return int(callbacks().size());
}

}  // namespace hostdetail

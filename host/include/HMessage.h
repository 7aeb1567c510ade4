#pragma once
#include <cstdint>

#include "HStatus.h"

using HCallbackId = std::uint64_t;

// Base of the message classes: removal of installed callbacks.
class HMessage {
 public:
  // Fails for an id that is not installed (0 included).
  static HStatus removeCallback(HCallbackId id);
};

#pragma once
// Host-internal access to the installed message callbacks: the plug-in
// manager removes the callbacks that point into a library it closes.

#include <functional>

#include "HMessage.h"

namespace hostdetail {

// Removes every callback whose function address satisfies owned; returns
// how many went.
int removeCallbacksWhere(const std::function<bool(const void* function)>& owned);
// Number of callbacks installed (all messages).
int callbackCount();

}  // namespace hostdetail

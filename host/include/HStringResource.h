#pragma once
#include "HStatus.h"
#include "HString.h"
#include "HStringResourceId.h"

// The table of user-interface strings, keyed by plug-in id and key.
class HStringResource {
 public:
  static HStatus registerString(const HStringResourceId& id);
  // The registered text; the id's default text (and a failure status) when
  // the string was never registered.
  static HString getString(const HStringResourceId& id, HStatus& status);
};

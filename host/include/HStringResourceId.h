#pragma once
#include "HString.h"

// Names a string resource of a plug-in and gives its default text.
class HStringResourceId {
 public:
  HStringResourceId() = default;
  HStringResourceId(const HString& pluginId, const HString& key, const HString& defaultText)
      : fPluginId(pluginId), fKey(key), fDefault(defaultText) {}
  const HString& pluginId() const { return fPluginId; }
  const HString& key() const { return fKey; }
  const HString& defaultText() const { return fDefault; }

 private:
  HString fPluginId, fKey, fDefault;
};

#pragma once
// The context in which plugs are read. The host evaluates in one context only.

class HDGContext {
 public:
  HDGContext() = default;
  bool isNormal() const { return true; }
  static HDGContext fsNormal;
};

#pragma once
#include "HArray.h"
#include "HString.h"

class HStringArray : public HArray<HString> {
 public:
  using HArray<HString>::HArray;
};

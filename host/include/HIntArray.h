#pragma once
#include "HArray.h"

class HIntArray : public HArray<int> {
 public:
  using HArray<int>::HArray;
};

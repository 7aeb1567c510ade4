#pragma once
#include "HArray.h"

class HFloatArray : public HArray<float> {
 public:
  using HArray<float>::HArray;
};

#pragma once
#include "HArray.h"
#include "HVector.h"

class HVectorArray : public HArray<HVector> {
 public:
  using HArray<HVector>::HArray;
};

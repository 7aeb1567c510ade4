#pragma once
#include "HArray.h"
#include "HPoint.h"

class HPointArray : public HArray<HPoint> {
 public:
  using HArray<HPoint>::HArray;
};

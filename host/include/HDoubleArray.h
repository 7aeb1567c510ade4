#pragma once
#include "HArray.h"

class HDoubleArray : public HArray<double> {
 public:
  using HArray<double>::HArray;
};

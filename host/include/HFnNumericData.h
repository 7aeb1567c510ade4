#pragma once
// Numeric data types of numeric attributes.
class HFnNumericData {
 public:
  enum Type {
    kInvalid = 0,
    kBoolean = 1,
    kByte = 2,
    kChar = 3,
    kShort = 4,
    k2Short = 5,
    k3Short = 6,
    kInt = 7,
    kLong = 7,
    k2Int = 8,
    k3Int = 9,
    kInt64 = 10,
    kFloat = 11,
    k2Float = 12,
    k3Float = 13,
    kDouble = 14,
    k2Double = 15,
    k3Double = 16,
    k4Double = 17,
    kLast
  };
};

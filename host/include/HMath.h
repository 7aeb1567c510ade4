#pragma once
// Constants shared by the value types. Angles are radians throughout the C++ API.

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 2.0 * kPi;
constexpr double kHalfPi = 0.5 * kPi;

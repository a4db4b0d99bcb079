#pragma once

#include <cmath>

namespace kolvo::base {

// Every continuous control lives in 0 … 1. NaN becomes 0 rather than travelling on to the
// hardware: fmax prefers the number over the NaN.
inline float clamp_unit(float value) { return std::fmin(std::fmax(value, 0.0f), 1.0f); }
inline double clamp_unit(double value) { return std::fmin(std::fmax(value, 0.0), 1.0); }

}  // namespace kolvo::base

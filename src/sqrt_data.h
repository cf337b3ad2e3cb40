// Seed table and constants of the square root (src/sqrt_data.cpp, generated
// by tools/gen/gen_sqrt.cpp).  Internal to the library.
#pragma once

namespace kel::sqrt_tab {

// Row indices of the constants that follow the 512 seeds.
inline constexpr int kPrescale = 512;  // 2^200
inline constexpr int kZero = 513;      // 0.0
inline constexpr int kHalf = 514;      // 0.5
inline constexpr int kParity = 515;    // {1.0, 2.0}, indexed by exponent parity
inline constexpr int kOne = 515;       // 1.0: template of the result scale
inline constexpr int kTwo = 516;       // 2.0
inline constexpr int kSplit = 517;     // 2^27 + 1

}  // namespace kel::sqrt_tab

extern "C" const double _orxdSqrtHATab[518];

// Classes of a double read from its bit pattern, for the complex kernels'
// special cases (no comparison instruction, so no flag for a signalling NaN).
#pragma once

#include "x87.h"

namespace kel::cplx {

inline bool is_nan(double v) { return is_inf_or_nan(v) && (bits(v) << 12) != 0; }
inline bool is_inf(double v) { return is_inf_or_nan(v) && (bits(v) << 12) == 0; }
inline bool is_negative(double v) { return (high_word(v) >> 31) != 0; }
inline bool is_finite(double v) { return !is_inf_or_nan(v); }
inline int exponent_field(double v) { return (high_word(v) >> 20) & 0x7FF; }
inline double with_sign_of(double magnitude, double sign_source) {
  return double_from_bits((bits(magnitude) & ~(1ull << 63)) | (bits(sign_source) & (1ull << 63)));
}
// fabs clears the sign bit in the register: -0 gives +0, and no flag.
inline long double abs_ld(long double v) { return __builtin_fabsl(v); }

}  // namespace kel::cplx

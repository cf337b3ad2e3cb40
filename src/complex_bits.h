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
inline double quieted(double v) { return double_from_bits(bits(v) | (1ull << 51)); }
inline float quieted(float v) { return float_from_bits(bits(v) | 0x00400000u); }

// Signalling NaNs in complex arguments.  Every complex kernel, and the float
// shim before it widens, first replaces each signalling-NaN part by its quiet
// twin (quiet bit set, sign and payload kept) and raises invalid once for the
// element; all arithmetic after that sees quiet NaNs only.  This is decided on
// the bit patterns read from memory because the x87 load that would otherwise
// quiet the NaN is not reliable across builds (an emulated load may skip the
// invalid flag), whereas which of two quiet NaNs an x87 operation returns (the
// larger significand) and the silence of quiet-NaN loads are the same on
// hardware and under emulation.  So both builds give the same parts and flags.
template <class C>
inline C quiet_signalling(const C& z) {
  const bool re = is_signalling(z.re), im = is_signalling(z.im);
  if (!re && !im) return z;
  raise_invalid();
  return C{re ? quieted(z.re) : z.re, im ? quieted(z.im) : z.im};
}

// -v by its sign bit; a NaN keeps its sign.
inline double negated(double v) { return is_nan(v) ? v : double_from_bits(bits(v) ^ (1ull << 63)); }

// Multiplication by i and by -i, exact: swap the parts and negate one
// (i w = -Im w + i Re w; -i w = Im w - i Re w).  The circular and inverse
// circular kernels reach the hyperbolic ones this way.
inline Kel64fc times_i(Kel64fc w) { return {negated(w.im), w.re}; }
inline Kel64fc times_minus_i(Kel64fc w) { return {w.im, negated(w.re)}; }

// fabs clears the sign bit in the register: -0 gives +0, and no flag.
inline long double abs_ld(long double v) { return __builtin_fabsl(v); }

}  // namespace kel::cplx

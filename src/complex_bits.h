// Pattern helpers of the complex kernels' special cases (on the bit pattern:
// no comparison instruction, so no flag for a signalling NaN).
#pragma once

#include "api.h"
#include "fp.h"
#include "x87.h"

namespace kel::cplx {

inline bool is_finite(double v) { return Format<double>::finite(v); }
inline double with_sign_of(double magnitude, double sign_source) {
  return double_from_bits((bits(magnitude) & ~(1ull << 63)) | (bits(sign_source) & (1ull << 63)));
}
inline double quieted(double v) { return Format<double>::quieted(v); }
inline float quieted(float v) { return Format<float>::quieted(v); }

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

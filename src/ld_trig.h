// Shared pieces of the long-double circular kernels and the square root:
// error-free transforms on 64-bit significands and the kernels' tables.
//
// Every helper assumes what the kernels assume: the caller's precision control
// is 64 bits and rounding is to nearest.  Under those conditions each long
// double operation is one correctly rounded IEEE operation on the stored
// format, so Knuth's two-sum and Dekker's product (split by 2^32 + 1) are
// exact.  No helper converts a long double to an integer: that conversion
// would rewrite the control word around a fistp.
#pragma once

#include <cstdint>

#include "fp.h"
#include "x87.h"

namespace kel::ld {

// Double-long-double values: hi + lo with |lo| <= ulp(hi) / 2.
struct DD {
  long double hi, lo;
};

// a + b = s + e exactly (any order of magnitudes).
inline DD two_sum(long double a, long double b) {
  const long double s = a + b;
  const long double bb = s - a;
  const long double e = (a - (s - bb)) + (b - bb);
  return {s, e};
}

// a + b = s + e exactly when |a| >= |b| (or a = 0).
inline DD fast_two_sum(long double a, long double b) {
  const long double s = a + b;
  return {s, b - (s - a)};
}

// Splits a into hi + lo, each with at most 32 significant bits.
inline DD split(long double a) {
  const long double c = a * 0x1.00000001p+32L;  // 2^32 + 1
  const long double hi = c - (c - a);
  return {hi, a - hi};
}

// a * b = p + e exactly, provided no partial product underflows or overflows.
inline DD two_prod(long double a, long double b) {
  const long double p = a * b;
  const DD as = split(a), bs = split(b);
  const long double e = ((as.hi * bs.hi - p) + as.hi * bs.lo + as.lo * bs.hi) + as.lo * bs.lo;
  return {p, e};
}

// ---- Tables (generated sources *_data.cpp) ----

// Sine and cosine: tools/gen/gen_sincosl.cpp.
struct SinCosRow {
  long double sin_hi, sin_lo, cos_hi, cos_lo;  // sin(j/64), cos(j/64)
};
struct SinCosData {
  long double two_over_pi;
  long double pio2_cw[4];  // pi/2 = [0] + [1] + [2] + [3]; [0..2] have 44 bits
  DD pio2;
  long double sin_poly[4];  // u^3 .. u^9
  long double cos_poly[4];  // u^2 .. u^8
  SinCosRow rows[52];
};
extern const SinCosData kSinCos;
extern const uint32_t kTwoOverPi[520];

// Arctangent: tools/gen/gen_atan2l.cpp.
struct Atan2Data {
  DD pi, pio2, pio4, three_pio4;
  long double poly[5];  // v^3 .. v^11
  DD rows[65];          // atan(j/64)
};
extern const Atan2Data kAtan2;

// Square root: tools/gen/gen_sqrtl.cpp.  Seeds 2^16 / sqrt(m) at the
// midpoints of the 192 intervals [i/64, (i+1)/64) of m in [1, 4).
extern const uint16_t kRsqrtSeed[192];

// Flags of a kernel whose result is x (its odd part: sin, tan, sinh, tanh)
// or 1 (its even part) for |x| < 2^-32: inexact for x nonzero, and underflow
// when x is subnormal and the odd part is wanted.
inline void raise_tiny_argument_flags(long double x, LdBits f, bool odd_wanted) {
  if (f.mant == 0) return;
  if (odd_wanted && Ld::biased_exponent(f) == 0) kel::raise_by_store<long double>(kel::opaque(x) * x);
  kel::raise_by_store<long double>(kel::opaque(1.0L) + 0x1p-100L);
}

}  // namespace kel::ld

// Double-length pieces shared by the real long-double power and the complex
// power: the natural logarithm and the sine and cosine of an angle in degrees,
// each taking and giving unevaluated sums hi + lo of two long doubles.  All
// assume the caller's 64-bit precision with rounding to nearest.
#pragma once

#include "ld_trig.h"

namespace kel::pw {

// pi/180 and 180/pi, each as a 64-bit head and the next 64 bits.
inline constexpr ld::DD kPiOver180 = {0x4.77d1a894a74e457p-8L, 0x7.62fb374a42e26c8p-76L};
inline constexpr ld::DD k180OverPi = {0x3.94bb834c783ef70cp+4L, 0x2.a5d4dfd03495f5ccp-64L};

// ln(v.hi + v.lo) for a positive finite v (|v.lo| <= ulp(v.hi)), relative
// error below 2^-78 (see powl.cpp).
ld::DD log_dd(ld::DD v);

// sin and cos of an angle of d.hi + d.lo degrees, d.hi finite, |d.lo| <=
// ulp(d.hi): d.hi is reduced exactly modulo 360 and 90, so multiples of 90
// give exact zeros and ones.  Absolute error near 2^-64 (see degrees.cpp).
void sincos_degrees(ld::DD d, long double* sine, long double* cosine);

// The angle d.hi + d.lo degrees reduced exactly modulo 90 (both parts modulo
// 360 first), returned in radians (|hi| <= pi/4 + 2^-60) with the number of
// quarter turns taken out, modulo 4, in *quadrant.
ld::DD reduce_degrees(ld::DD d, uint32_t* quadrant);

// (sine, cosine) of an angle q quarter turns beyond the one of (s, c).
void rotate_quadrant(uint32_t q, long double s, long double c, long double* sine, long double* cosine);

// sin and cos of r.hi + r.lo radians: the kernels at r.hi corrected by the
// first-order term of r.lo.
void sincos_dd(ld::DD r, long double* sine, long double* cosine);

// An integer y with |y| <= 64 as an int, else 0 (y itself is then not such an
// integer, or is 0).
int small_integer(long double y);

// a^n for 2 <= n <= 64 by repeated squaring when every product is exact in a
// 64-bit significand; false (and *out untouched) when one is not.
bool exact_power(long double a, int n, long double* out);

}  // namespace kel::pw

// Double-length pieces shared by the real long-double power and the complex
// power: the natural logarithm and the sine and cosine of an angle in degrees,
// each taking and giving unevaluated sums hi + lo of two long doubles.  All
// assume the caller's 64-bit precision with rounding to nearest.
#pragma once

#include "ld_trig.h"

namespace kel::pw {

// ln(v.hi + v.lo) for a positive finite v (|v.lo| <= ulp(v.hi)), relative
// error below 2^-78 (see powl.cpp).
ld::DD log_dd(ld::DD v);

// sin and cos of an angle of d.hi + d.lo degrees, d.hi finite, |d.lo| <=
// ulp(d.hi): d.hi is reduced exactly modulo 360 and 90, so multiples of 90
// give exact zeros and ones.  Absolute error near 2^-64 (see degrees.cpp).
void sincos_degrees(ld::DD d, long double* sine, long double* cosine);

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

// Shared pieces of the long-double circular kernels and the square root:
// error-free transforms on 64-bit significands.
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

// Flags of a kernel whose result is x (its odd part: sin, tan, sinh, tanh)
// or 1 (its even part) for |x| < 2^-32: inexact for x nonzero, and underflow
// when x is subnormal and the odd part is wanted.
inline void raise_tiny_argument_flags(long double x, LdBits f, bool odd_wanted) {
  if (f.mant == 0) return;
  if (odd_wanted && Ld::biased_exponent(f) == 0) kel::raise_by_store<long double>(kel::opaque(x) * x);
  kel::raise_by_store<long double>(kel::opaque(1.0L) + 0x1p-100L);
}

}  // namespace kel::ld

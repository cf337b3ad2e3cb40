// Extended-precision inverse circular and inverse hyperbolic kernels:
// orxasinl_scalar, orxacosl_scalar, orxasinhl_scalar, orxacoshl_scalar and
// orxatanhl_scalar.  They serve the real families (which add the reports) and
// the complex inverse kernels.
//
//   asin x  = atan2(x, c),  acos x = atan2(c, x),  c = sqrt((1 - x)(1 + x))
//   asinh a = log1p(a + a^2 / (1 + sqrt(1 + a^2))),  a = |x|, sign restored
//   acosh x = log1p(t + sqrt(t (2 + t))),  t = x - 1
//   atanh a = log1p(2a / (1 - a)) / 2,  a = |x|, sign restored
// 1 - x is exact for |x| >= 1/2 and x - 1 for x in [1, 2] (Sterbenz); where
// they round, the quantity they feed is far from any cancellation.  Each
// formula is well conditioned in what it rounds, so the error is a few units
// of 2^-64 relative: measured against MPFR over 2 x 10^5 arguments each, at
// most 1.41 ulp (asinl), 1.20 (acosl), 1.36 (asinhl), 1.95 (acoshl, just
// above 1) and 1.20 (atanhl) of the 64-bit significand.  Beyond 2^8000
// the squares would leave the extended range: there asinh a and acosh a are
// ln a + ln 2 (the neglected 1/(4a^2) is below 2^-16000 relative), and below
// 2^-8000 asinh a = a (1 - a^2/6) rounds like log1p a = a (1 - a/2).
//
// Runs under the caller's 64-bit precision, rounding to nearest.  Special
// values follow C99: asin and acos of |x| > 1 and atanh of |x| > 1 are NaN
// with invalid from the square root or log1p of a negative number, acosh of
// x < 1 from inf * 0; atanh(+-1) = +-inf with divide-by-zero from 2/0; NaNs
// propagate quiet; asinh(+-inf) = +-inf and acosh(+inf) = +inf.
#include "api.h"
#include "fp.h"
#include "x87.h"

namespace {

constexpr long double kLn2 = 0xb.17217f7d1cf79acp-4L;
constexpr int kHugeExponent = kel::Ld::kBias + 8000;  // |x| >= 2^8001: x^2 would overflow
constexpr int kTinyExponent = kel::Ld::kBias - 8000;  // |x| < 2^-7999

inline bool negative(long double x) { return (kel::Ld::bits(x).se >> 15) != 0; }
inline long double with_sign_of(long double x, long double r) { return negative(x) ? -r : r; }

// sqrt((1 - x)(1 + x)): NaN with invalid for |x| > 1.
inline long double cofactor(long double x) { return orxsqrtl_scalar((1.0L - x) * (1.0L + x)); }

// ln(2a) for a >= 2^8001.
inline long double log_twice(long double a) { return orxlogl_scalar(a) + kLn2; }

}  // namespace

KEL_API long double orxasinl_scalar(long double x) { return orxatan2l_scalar(x, cofactor(x)); }

KEL_API long double orxacosl_scalar(long double x) { return orxatan2l_scalar(cofactor(x), x); }

KEL_API long double orxasinhl_scalar(long double x) {
  const kel::LdBits b = kel::Ld::bits(x);
  const int e = kel::Ld::biased_exponent(b);
  if (e == 0x7FFF) return x + x;  // +-inf, NaN
  const long double a = __builtin_fabsl(x);
  long double r;
  if (e > kHugeExponent) {
    r = log_twice(a);
  } else if (e < kTinyExponent) {
    r = orxlog1pl_scalar(a);
  } else {
    const long double a2 = a * a;
    r = orxlog1pl_scalar(a + a2 / (1.0L + orxsqrtl_scalar(1.0L + a2)));
  }
  return with_sign_of(x, r);
}

KEL_API long double orxacoshl_scalar(long double x) {
  const kel::LdBits b = kel::Ld::bits(x);
  if (kel::Ld::is_nan(b)) return x + x;
  if (b.se >= 0x8000 || kel::Ld::key(b) < 0x3FFF8000) {  // x < 1, -0 and -inf included
    return kel::opaque(__builtin_infl()) * kel::opaque(0.0L);  // NaN, invalid
  }
  if (kel::Ld::biased_exponent(b) > kHugeExponent) return log_twice(x);  // +inf gives +inf
  const long double t = x - 1.0L;
  return orxlog1pl_scalar(t + orxsqrtl_scalar(t * (2.0L + t)));
}

KEL_API long double orxatanhl_scalar(long double x) {
  const long double a = __builtin_fabsl(x);
  return with_sign_of(x, 0.5L * orxlog1pl_scalar(2.0L * a / (1.0L - a)));
}

// Complex square root, principal branch (real part >= 0, imaginary part with
// the sign of y):
//   t = |z| = sqrt(x^2 + y^2),  s = sqrt((t + |x|)/2),
//   x > 0:  (s, y/(2s));   x <= 0:  (|y|/(2s), s) with the sign of y.
// The modulus is formed in x87 extended range, where squares of doubles
// cannot overflow, so no scaling is needed even at 1e308 + 1e308 i; t + |x|
// adds two nonnegative numbers, so there is no cancellation.  Each part is
// rounded once to double.
#include "complex.h"
#include "complex_bits.h"

namespace {

using kel::round_to;
using kel::is_inf;
using kel::is_nan;
using kel::is_negative;
using kel::cplx::with_sign_of;

constexpr double kMinNormal = 0x1p-1022;

}  // namespace

// The core for finite nonzero x and y.
KEL_API Kel64fc _orx_internal_csqrt(Kel64fc z) {
  const long double x = z.re, y = z.im;
  const long double h = orxsqrtl_scalar(x * x + y * y) / 2;
  long double re, im;
  if (x > 0) {
    const long double s = orxsqrtl_scalar(h + x / 2);
    re = s;
    im = (y / 2) / s;
  } else {
    const long double s = orxsqrtl_scalar(h - x / 2);
    re = kel::cplx::abs_ld((y / 2) / s);
    im = s;
  }
  Kel64fc r = {round_to<double>(re), round_to<double>(im)};
  if (!is_nan(r.im) && is_negative(r.im) != is_negative(z.im)) r.im = -r.im;
  return r;
}

namespace {

Kel64fc sqrt_kernel(Kel64fc z) {
  const double x = z.re, y = z.im;
  const double inf = __builtin_inf();
  Kel64fc r;
  if (is_inf(y)) {
    r = {inf, y};
  } else if (!is_nan(x) && !is_nan(y)) {
    if (is_inf(x)) {
      r = is_negative(x) ? Kel64fc{0.0, with_sign_of(inf, y)} : Kel64fc{inf, with_sign_of(0.0, y)};
    } else if (kel::is_zero(y) && !kel::is_zero(x)) {
      r = is_negative(x) ? Kel64fc{0.0, with_sign_of(round_to<double>(orxsqrtl_scalar(-static_cast<long double>(x))), y)}
                         : Kel64fc{round_to<double>(orxsqrtl_scalar(x)), y};
    } else if (kel::is_zero(x)) {
      // sqrt(+-0 + iy) = sqrt(|y|/2) (1 + i sign y); y = +-0 gives (+0, y).
      const double m = round_to<double>(orxsqrtl_scalar(kel::cplx::abs_ld(y) * 0.5L));
      r = {m, with_sign_of(m, y)};
    } else {
      r = _orx_internal_csqrt(z);
    }
  } else if (is_inf(x)) {
    // One part NaN, y not infinite: csqrt(-inf + i NaN) = (NaN, +inf),
    // csqrt(+inf + i NaN) = (+inf, NaN).
    const double n = round_to<double>(static_cast<long double>(y) * y);
    r = is_negative(x) ? Kel64fc{n, inf} : Kel64fc{inf, n};
  } else {
    const double n = round_to<double>(static_cast<long double>(x) * y);
    r = {n, n};
  }
  if (kel::is_subnormal(r.re) || kel::is_subnormal(r.im)) {
    kel::raise_by_store<double>(kel::opaque(kMinNormal) * kel::opaque(kMinNormal));
  }
  return r;
}

}  // namespace

KEL_API Kel64fc orxcsqrt_scalar(Kel64fc z) { return kel::cplx::entry<sqrt_kernel>(z); }

KEL_COMPLEX_UNARY(Sqrt, orxcsqrt_scalar)

// Complex exponential e^(x+iy) = e^x (cos y + i sin y), in x87 extended
// precision on the long-double kernels; each part is rounded once to double.
//
// For |x| < 2048 the real exponential (orxexpl_scalar) and the sine and cosine
// (kel::fast::sin_cos: 2^-62 relative for 2^-32 <= |y| < 2^20, the exported
// kernel elsewhere) are long double values good to a few ulp of a 64-bit
// significand, so the products round correctly to double except in rare
// near-halfway cases.  Beyond that e^x is
// outside even the product range that could come back to a finite double or
// a nonzero one, and the result is the square of an extreme constant, which
// raises overflow or underflow at its store to double.
#include "complex.h"
#include "complex_bits.h"
#include "fast.h"

namespace {

using kel::round_to;

constexpr long double kBig = 0x1p16383L;
constexpr long double kSmall = 0x1p-16382L;
constexpr double kMinNormal = 0x1p-1022;

using kel::is_zero;
using kel::is_inf;
using kel::is_nan;
using kel::is_negative;

Kel64fc exp_kernel(Kel64fc z) {
  const double x = z.re, y = z.im;
  Kel64fc r;
  if (!kel::is_inf_or_nan(x) && !is_zero(x)) {
    if (kel::is_inf_or_nan(y)) {
      // sin(inf) raises invalid; a NaN stays a NaN.
      const double s = round_to<double>(orxsinl_scalar(y));
      r = {s, s};
    } else if (!is_zero(y)) {
      if (kel::Format<double>::biased_exponent(x) < 1034) {  // |x| < 2048
        const long double e = orxexpl_scalar(x);
        const kel::fast::SinCos t = kel::fast::sin_cos(y);
        r = {round_to<double>(e * t.cos), round_to<double>(e * t.sin)};
      } else {
        const long double c = is_negative(x) ? kSmall : kBig;
        const double e = round_to<double>(kel::opaque(c) * kel::opaque(c));
        const long double s = kel::is_subnormal(y) ? static_cast<long double>(y) : orxsinl_scalar(y);
        r = {round_to<double>(e * orxcosl_scalar(y)), round_to<double>(e * s)};
      }
    } else {
      r = {round_to<double>(orxexpl_scalar(x)), y};
    }
  } else if (is_zero(y)) {
    // e^(+-0 +- i0) = (1, +-0), e^(+inf +- i0) = (+inf, +-0), e^(-inf +- i0) = (+0, +-0).
    r = {round_to<double>(orxexpl_scalar(x)), y};
  } else if (kel::is_inf_or_nan(y)) {
    if (is_zero(x)) {
      const double s = round_to<double>(orxsinl_scalar(y));
      r = {s, s};
    } else if (is_nan(x)) {
      const double re = round_to<double>(static_cast<long double>(x) * x);
      r = {re, round_to<double>(y * static_cast<long double>(re))};
    } else if (is_negative(x)) {
      // e^(-inf + i inf) = (+0, +-0): the zero carries the sign of an infinite y.
      r = {0.0, is_inf(y) && is_negative(y) ? -0.0 : 0.0};
    } else {
      r = {round_to<double>(orxexpl_scalar(x)), round_to<double>(orxsinl_scalar(y))};
    }
  } else {
    // x zero, infinite or NaN, y finite nonzero: e^x rounded to double times
    // cos y and sin y rounded to double.
    const double e = round_to<double>(orxexpl_scalar(x));
    const double c = round_to<double>(orxcosl_scalar(y));
    const double s = kel::is_subnormal(y) && !is_zero(x) ? y : round_to<double>(orxsinl_scalar(y));
    r = {round_to<double>(static_cast<long double>(e) * c), round_to<double>(static_cast<long double>(e) * s)};
  }
  if (kel::is_subnormal(r.re) || kel::is_subnormal(r.im)) {
    kel::raise_by_store<double>(kel::opaque(kMinNormal) * kel::opaque(kMinNormal));
  }
  return r;
}

}  // namespace

KEL_API Kel64fc orxcexp_scalar(Kel64fc z) { return kel::cplx::entry<exp_kernel>(z); }

KEL_COMPLEX_UNARY(Exp, orxcexp_scalar)

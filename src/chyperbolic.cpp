// Complex hyperbolic cosine, sine and tangent, and the circular ones through
// them, in x87 extended precision; each part is rounded once to double.
//
//   cosh(x + iy) = cosh x cos y + i sinh x sin y
//   sinh(x + iy) = sinh x cos y + i cosh x sin y
//   tanh(x + iy) = (sinh x cosh x + i sin y cos y) / (sinh^2 x + cos^2 y)
//                  (Kahan's (b s rho + i t) / (1 + b s^2) with t = tan y,
//                  b = 1 + t^2 = 1/cos^2 y, multiplied through by cos^2 y)
//
// sinh x and cosh x come from kel::fast::sinh_cosh (a short series below
// |x| = 1/2, one exponential beyond), cos y and sin y from kel::fast::sin_cos
// (a short reduction and table for |y| < 2^20, the exact reduction of
// orxsincosl_scalar beyond); all are good to 2^-62 relative or better, so
// each part is within 0.5 + 2^-8 ulp of double before its one rounding.  The extended exponent
// range holds cosh x up to |x| = 11356, so parts that are finite doubles (say
// cosh 715 times a small sin y) never overflow on the way: e^|x| needs no
// scaling until it overflows the extended range itself, and then every
// nonzero product overflows the double range too.  The denominator of tanh is
// a sum of squares: nothing cancels; for 1/2 <= |x| < 23 it is multiplied
// through by 4 e^(2|x|) = 4f, giving ((f - 1)(f + 1) + i 4f sin y cos y) /
// ((f - 1)^2 + 4f cos^2 y) from one exponential.  For |x| >= 23, where 1 - |tanh x| <
// 2^-65, the tangent is sign(x) + i 4 sin y cos y e^(-2|x|), a relative change
// below 2^-64 that needs no sinh^2 x (which would overflow from |x| = 5678 on).
// Measured against MPC over 2*10^5 arguments per function: at most 0.5007 ulp
// normwise for the double functions, correctly rounded normwise (0.5 ulp) for
// the float ones, no class errors.
//
// The circular functions are the hyperbolic ones at iz:
//   cos z = cosh(iz),  sin z = -i sinh(iz),  tan z = -i tanh(iz),
// each multiplication by +-i a swap of the parts and the negation of one (a
// NaN keeps its sign), so they share every bound and special value.
//
// Special values are those of C99 Annex G (G.6.2.4-6) with exact conj and
// odd/even symmetry.  Where Annex G leaves a sign open: the zero part of
// ccosh(+-0 + i inf/NaN), ccosh(NaN +- i0) and ccosh(+-0 +- i0) carries the
// sign of x times y; csinh(+-0 + i inf/NaN) = (+-0, NaN) keeps the sign of x;
// csinh(+-inf + i inf/NaN) = (+-inf, NaN); ctanh(+-inf + i inf/NaN) has the
// zero imaginary part of y's sign; ccosh(+-inf +- i inf) is (inf, NaN) with
// the sign of x times y on the infinity, as MPC gives it (even, but the one
// case where conjugation does not commute).  A nonzero subnormal part raises
// underflow.
#include "fast.h"
#include "complex.h"
#include "complex_bits.h"
#include "hyperbolicl.h"

namespace {

using kel::is_zero;
using kel::round_to;
using namespace kel::cplx;
using kel::is_inf;
using kel::is_nan;
using kel::is_negative;

constexpr double kTanhSaturation = 23.0;  // 2 e^-46 = 2^-65.4

inline double signed_zero(bool negative) { return negative ? -0.0 : 0.0; }

// Rounds each part once to double; a nonzero subnormal part raises underflow.
inline Kel64fc finish(long double re, long double im) {
  return kel::cplx::underflow_checked({round_to<double>(re), round_to<double>(im)});
}

// cosh (Sinh false) or sinh (Sinh true) of x + iy.
template <bool Sinh>
Kel64fc cosh_sinh(Kel64fc z) {
  const double x = z.re, y = z.im;
  if (__builtin_expect(!is_finite(y), 0)) {
    // NaN, and invalid for an infinite y whatever x is (a NaN x included):
    // opaque() keeps the subtraction here rather than in the branches using it.
    const long double undefined = kel::opaque(static_cast<long double>(y) - y);
    if (is_nan(x)) return finish(static_cast<long double>(x) + y, static_cast<long double>(x) + y);
    if (is_zero(x)) {
      // The part that carries sinh(+-0) = +-0 stays a zero.
      if (Sinh) return finish(x, undefined);
      return finish(undefined, signed_zero(is_negative(x) != is_negative(y)));
    }
    if (is_inf(x)) {
      if (Sinh) return finish(x, undefined);
      const bool minus = is_inf(y) && is_negative(x) != is_negative(y);
      return finish(minus ? -__builtin_inf() : __builtin_inf(), undefined);
    }
    return finish(undefined, undefined);
  }
  if (is_zero(y)) {
    // cosh(x +- i0) = (cosh x, +-0 sinh x), sinh(x +- i0) = (sinh x, +-0).
    const kel::ld::SinhCosh h = kel::fast::sinh_cosh(x);
    if (Sinh) return finish(h.sinh, y);
    return finish(h.cosh, signed_zero(is_negative(x) != is_negative(y)));
  }
  if (__builtin_expect(is_nan(x), 0)) return finish(x, x);
  // x finite or infinite (sinh_cosh gives +-inf, +inf), y finite nonzero, so
  // sin y and cos y are nonzero and no infinity meets a zero.
  const kel::ld::SinhCosh h = kel::fast::sinh_cosh(x);
  const kel::fast::SinCos t = kel::fast::sin_cos(y);
  if (Sinh) return finish(h.sinh * t.cos, h.cosh * t.sin);
  return finish(h.cosh * t.cos, h.sinh * t.sin);
}

Kel64fc tanh_kernel(Kel64fc z) {
  const double x = z.re, y = z.im;
  if (__builtin_expect(!is_finite(x) || !is_finite(y), 0)) {
    if (is_inf(x)) {
      // tanh(+-inf + iy) = +-1 + i0 sin 2y; +-1 +- i0 for an infinite or NaN y.
      bool minus = is_negative(y);
      if (is_finite(y) && !is_zero(y)) {
        long double sn, cs;
        orxsincosl_scalar(y, &sn, &cs);
        minus = (sn < 0) != (cs < 0);
      }
      return finish(is_negative(x) ? -1.0 : 1.0, signed_zero(minus));
    }
    if (is_nan(x) && is_zero(y)) return finish(x, y);
    // x NaN or finite with y infinite or NaN: NaN + i NaN (invalid for an
    // infinite y beside a finite x).
    const long double nan = is_nan(x) ? static_cast<long double>(x) + y : static_cast<long double>(y) - y;
    return finish(nan, nan);
  }
  const kel::fast::SinCos t = kel::fast::sin_cos(y);
  const long double sn = t.sin, cs = t.cos;
  if (kel::Format<double>::biased_exponent(x) >= 0x403 && __builtin_fabs(x) >= kTanhSaturation) {  // |x| >= 23
    const long double re = kel::opaque(1.0L) - 0x1p-100L;  // 1, inexact
    const long double e = orxexpl_scalar(-2.0L * __builtin_fabs(x));
    return finish(is_negative(x) ? -re : re, 4.0L * (sn * cs) * e);
  }
  if (kel::Format<double>::biased_exponent(x) >= 0x3FE) {  // 1/2 <= |x| < 23
    // Numerator and denominator times 4 e^(2|x|) = 4f: one exponential and
    // one division, f - 1 >= (e - 1) f / e losing at most a factor 1.6.
    const long double f = kel::fast::exp_moderate(2.0L * __builtin_fabs(x));
    const long double fm1 = f - 1.0L;
    const long double inv = 1.0L / (fm1 * fm1 + 4.0L * f * (cs * cs));
    const long double re = (fm1 * (f + 1.0L)) * inv;
    return finish(is_negative(x) ? -re : re, (4.0L * f) * (sn * cs) * inv);
  }
  const kel::ld::SinhCosh h = kel::fast::sinh_cosh(x);
  const long double inv = 1.0L / (h.sinh * h.sinh + cs * cs);
  return finish((h.sinh * h.cosh) * inv, (sn * cs) * inv);
}


Kel64fc cos_kernel(Kel64fc z) { return cosh_sinh<false>(times_i(z)); }
Kel64fc sin_kernel(Kel64fc z) { return times_minus_i(cosh_sinh<true>(times_i(z))); }
Kel64fc tan_kernel(Kel64fc z) { return times_minus_i(tanh_kernel(times_i(z))); }

}  // namespace

KEL_API Kel64fc orxccosh_scalar(Kel64fc z) { return kel::cplx::entry<cosh_sinh<false>>(z); }
KEL_API Kel64fc orxcsinh_scalar(Kel64fc z) { return kel::cplx::entry<cosh_sinh<true>>(z); }
KEL_API Kel64fc orxctanh_scalar(Kel64fc z) { return kel::cplx::entry<tanh_kernel>(z); }
KEL_API Kel64fc orxccos_scalar(Kel64fc z) { return kel::cplx::entry<cos_kernel>(z); }
KEL_API Kel64fc orxcsin_scalar(Kel64fc z) { return kel::cplx::entry<sin_kernel>(z); }
KEL_API Kel64fc orxctan_scalar(Kel64fc z) { return kel::cplx::entry<tan_kernel>(z); }

KEL_COMPLEX_UNARY(Cosh, orxccosh_scalar)
KEL_COMPLEX_UNARY(Sinh, orxcsinh_scalar)
KEL_COMPLEX_UNARY(Tanh, orxctanh_scalar)
KEL_COMPLEX_UNARY(Cos, orxccos_scalar)
KEL_COMPLEX_UNARY(Sin, orxcsin_scalar)
KEL_COMPLEX_UNARY(Tan, orxctan_scalar)

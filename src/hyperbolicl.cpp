// Long-double hyperbolic sine, cosine and tangent: orxsinhl_scalar,
// orxcoshl_scalar, orxtanhl_scalar, and the pair kel::ld::sinh_cosh for the
// complex kernels.
//
// Method, on a = |x| (sinh and tanh are odd, cosh is even):
//   a < 2^-32         sinh a = tanh a = a and cosh a = 1 after rounding (the
//                     next terms, a^3/6, a^3/3 and a^2/2, are below half an ulp);
//   a < 1/2           Taylor polynomials, sinh a = a + a^3 S(a^2) through a^17
//                     and cosh a = 1 + a^2 C(a^2) through a^16, whose first
//                     omitted terms are below 2^-70 of the value; tanh a is
//                     their quotient.  Nothing cancels, so tiny arguments keep
//                     their full relative accuracy;
//   a < 11356         E = e^a from orxexpl_scalar (0.505 ulp):
//                     sinh a = E/2 - 1/(2E), cosh a = E/2 + 1/(2E), the
//                     reciprocal dropped from a = 32 on (below 2^-92 of E/2);
//                     the difference loses at most a factor coth(1/2) = 2.2
//                     of E's error.  tanh a = 1 - 2/(e^(2a) + 1) below a = 23
//                     and 1 beyond, where 1 - tanh a < 2^-65.4 rounds away;
//   a >= 11356        e^a would overflow before sinh a and cosh a do:
//                     both are (h/2) h with h = e^(a/2).
// Measured against MPFR over 2*10^5 arguments from the generators of the real
// families: at most 1.86 ulp of the 64-bit significand for sinh (near a = 0.7),
// 1.71 for cosh (near the overflow limit), 2.30 for tanh (near a = 0.06).
//
// Runs under the caller's 64-bit precision, round to nearest; the control word
// is never touched.  Special values: sinh(+-0) = +-0, tanh(+-0) = +-0 and
// cosh(+-0) = 1 exactly; sinh(+-inf) = +-inf, cosh(+-inf) = +inf,
// tanh(+-inf) = +-1; NaNs come back quiet (invalid for a signalling one) and
// unnormals give the default NaN with invalid.  Overflow of sinh and cosh is
// the overflow of the final product, with its flag.
#include "api.h"
#include "hyperbolicl.h"
#include "ld_trig.h"
#include "x87.h"

namespace {

using namespace kel::ld;
using kel::Ld;
using kel::LdBits;

// 1/n!, rounded once to a 64-bit significand by the compiler (n! itself is
// exact in the format for n <= 20).
constexpr long double inv_factorial(int n) {
  long double f = 1;
  for (int k = 2; k <= n; ++k) f *= k;
  return 1.0L / f;
}

// sinh a - a = a^3 (S[0] + S[1] a^2 + ... + S[7] a^14): S[k] = 1/(2k+3)!.
constexpr long double kS[8] = {inv_factorial(3),  inv_factorial(5),  inv_factorial(7),  inv_factorial(9),
                               inv_factorial(11), inv_factorial(13), inv_factorial(15), inv_factorial(17)};
// cosh a - 1 = a^2 (C[0] + C[1] a^2 + ... + C[7] a^14): C[k] = 1/(2k+2)!.
constexpr long double kC[8] = {inv_factorial(2),  inv_factorial(4),  inv_factorial(6),  inv_factorial(8),
                               inv_factorial(10), inv_factorial(12), inv_factorial(14), inv_factorial(16)};

constexpr long double kPolyLimit = 0.5L;
constexpr long double kTanhSaturation = 23.0L;  // 2/(e^46 + 1) = 2^-65.4
constexpr long double kNoReciprocal = 32.0L;    // 1/E^2 = e^-64 < 2^-92
constexpr long double kSplitExp = 11356.0L;     // e^a overflows from 0x1.62e42fefa39ef358p+13

// p0 + p1 u + ... + p7 u^7, in two interleaved halves on u^2.
inline long double poly8(const long double (&p)[8], long double u) {
  const long double u2 = u * u;
  const long double even = p[0] + u2 * (p[2] + u2 * (p[4] + u2 * p[6]));
  const long double odd = p[1] + u2 * (p[3] + u2 * (p[5] + u2 * p[7]));
  return even + u * odd;
}

enum : unsigned { kSinh = 1, kCosh = 2, kTanh = 4 };

// The requested values of x (Want: kSinh and kCosh, or kTanh alone in *sh).
template <unsigned Want>
void hyperbolic(long double x, long double* sh, long double* ch) {
  const LdBits f = Ld::bits(x);
  const uint32_t e = f.se & Ld::kExponentMask;
  const bool neg = (f.se >> 15) != 0;

  if (__builtin_expect(e == Ld::kExponentMask || Ld::is_unnormal(f), 0)) {
    // Infinities: sinh keeps x, cosh is +inf, tanh is +-1.  NaN: quieted
    // (invalid for a signalling one).  Unnormal: invalid, default NaN.
    const bool inf = e == Ld::kExponentMask && f.mant == 0x8000000000000000ull;
    const long double r = x + x;
    if (Want & kSinh) *sh = r;
    if (Want & kCosh) *ch = __builtin_fabsl(r);
    if (Want & kTanh) *sh = inf ? (neg ? -1.0L : 1.0L) : r;
    return;
  }
  if (e < Ld::kBias - 32) {  // |x| < 2^-32
    raise_tiny_argument_flags(x, f, Want & (kSinh | kTanh));
    if (Want & (kSinh | kTanh)) *sh = x;
    if (Want & kCosh) *ch = 1.0L;
    return;
  }

  const long double a = Ld::make(f.mant, e);
  long double s = 0, c = 0;
  if (a < kPolyLimit) {
    const long double a2 = a * a;
    if (Want & (kSinh | kTanh)) s = a + (a * a2) * poly8(kS, a2);
    if (Want & (kCosh | kTanh)) c = 1.0L + a2 * poly8(kC, a2);
    if (Want & kTanh) s = s / c;
  } else if (Want & kTanh) {
    s = a < kTanhSaturation ? 1.0L - 2.0L / (orxexpl_scalar(a + a) + 1.0L)
                            : kel::opaque(1.0L) - 0x1p-100L;  // 1, inexact
  } else if (a < kSplitExp) {
    const long double half = 0.5L * orxexpl_scalar(a);
    const long double r = a < kNoReciprocal ? 0.25L / half : 0.0L;
    s = half - r;
    c = half + r;
  } else {
    const long double h = orxexpl_scalar(0.5L * a);
    s = c = (0.5L * h) * h;
  }
  if (Want & (kSinh | kTanh)) *sh = neg ? -s : s;
  if (Want & kCosh) *ch = c;
}

}  // namespace

kel::ld::SinhCosh kel::ld::sinh_cosh(long double x) {
  SinhCosh r;
  hyperbolic<kSinh | kCosh>(x, &r.sinh, &r.cosh);
  return r;
}

KEL_API long double orxsinhl_scalar(long double x) {
  long double s;
  hyperbolic<kSinh>(x, &s, nullptr);
  return s;
}

KEL_API long double orxcoshl_scalar(long double x) {
  long double c;
  hyperbolic<kCosh>(x, nullptr, &c);
  return c;
}

KEL_API long double orxtanhl_scalar(long double x) {
  long double t;
  hyperbolic<kTanh>(x, &t, nullptr);
  return t;
}

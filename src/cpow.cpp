// Complex power orxcpow_scalar(x, y) = x^y (principal value), and the Pow and
// Powx complex families.
//
// Method, for finite nonzero x = a + ib and finite nonzero y = c + id:
//   L = ln(a^2 + b^2)   (a^2 + b^2 as an exact Dekker sum, L in double length,
//                        so |x| near 1 loses nothing),
//   A = arg x in degrees (exact at multiples of 45), A' = arg x in radians;
//   |x^y|   = e^(L c / 2 - A' d)                      (one exponential),
//   arg x^y = L d / 2 radians + A c degrees,
// the degree part reduced exactly modulo 360 and 90 before it becomes
// radians (for a complex y with |c| < 2^16, where no exact right angle can
// arise, A' c is taken in radians directly), then one sine and cosine of the
// sum from the short kernel of fast.h (2^-62) with a low-part correction.
// Every product that feeds the exponential or
// an angle is a Dekker product, so the exponent and the angle carry absolute
// errors near 2^-64 (A is turned into |A| <= 45 first, so an angle near an
// axis keeps its offset); each part is then rounded once to double.  Error:
// at most 0.57 ulp normwise measured over 7 * 10^5 arguments whose result
// angle is below 2^10 radians (glibc's cpow: up to 1800 ulp on the same
// arguments); beyond, the error grows with the angle, |A c| 2^-64.
//
// Exact cases.  y real with 2 <= y <= 64 an integer: left-to-right powering
// with Dekker products, kept when every product and sum is exact in 64 bits
// ((1+i)^2 = 2i, (2+3i)^3 = -46+9i).  y = 1 gives x.  y real and x on an axis:
// the modulus is the real long-double power of the nonzero part (2^10 = 1024
// + 0i) and the angle A c is a multiple of 90 degrees exactly when the result
// lies on an axis (i^2 = -1 + 0i).
//
// Special values, as C99's cpow = cexp(y clog x) implies, with x^0 = 1:
//   y = +-0 +- i0 (any x, NaN included)   1 + i0 (sign of the zero below)
//   x = +-0 +- i0, y finite:   Re y > 0   +0 +- i0 (the sign of Im x, so
//                                         that conj(x)^conj(y) = conj(x^y))
//                              Re y < 0   +inf + i NaN  (divide-by-zero)
//                              Re y = 0   NaN + i NaN   (invalid)
//   any other infinite or NaN part    cexp(y clog x), with the products of
//                                     y and clog x formed as written (no
//                                     recovery of infinities), so e.g.
//                                     inf^2 = inf + i NaN, 2^inf = inf + i NaN,
//                                     0.5^inf = +0 + i0, 1^inf = NaN + i NaN.
// The zero imaginary part of 1 is -0 when Im y and ln|x| have opposite signs,
// else +0.  Signalling-NaN parts are quieted first, raising
// invalid once (kel::cplx::entry).  The kernel never reports.
#include "atan2l_data.h"
#include "fast.h"
#include "complex.h"
#include "complex_bits.h"
#include "powl.h"

namespace {

using kel::round_to;
using kel::ld::DD;
using kel::ld::two_prod;
using kel::ld::two_sum;

constexpr long double kLimit = 0x1p8000L, kTiny = 0x1p-8000L;

// Parts of exact powers stay far from overflow and underflow, so that the
// Dekker error terms are themselves exact.
inline bool in_range(long double w) {
  const long double aw = kel::cplx::abs_ld(w);
  return aw <= kLimit && (aw >= kTiny || w == 0);
}

// One complex product with every part exact, or false.  Squares use
// (p^2 - q^2) + i 2pq, other products (pr - qs) + i(ps + qr).
bool exact_product(long double p, long double q, long double r, long double s, bool square, long double* re,
                   long double* im) {
  const DD pr = two_prod(p, r), qs = two_prod(q, s);
  const DD ps = two_prod(p, s), qr = two_prod(q, r);
  if (pr.lo != 0 || qs.lo != 0 || ps.lo != 0 || qr.lo != 0) return false;
  const DD u = two_sum(pr.hi, -qs.hi);
  const DD v = square ? DD{2 * ps.hi, 0.0L} : two_sum(ps.hi, qr.hi);
  if (u.lo != 0 || v.lo != 0) return false;
  if (!in_range(u.hi) || !in_range(v.hi)) return false;
  *re = u.hi;
  *im = v.hi;
  return true;
}

// (a + ib)^n, 2 <= n <= 64, when every step is exact.
bool exact_complex_power(double a, double b, int n, Kel64fc* out) {
  if (!in_range(a) || !in_range(b)) return false;
  long double re = a, im = b;
  for (int bit = 30 - __builtin_clz(static_cast<unsigned>(n)); bit >= 0; --bit) {
    if (!exact_product(re, im, re, im, true, &re, &im)) return false;
    if (((n >> bit) & 1) && !exact_product(re, im, a, b, false, &re, &im)) return false;
  }
  // An exact zero part is +0 (the exact sum of nonzero terms); a part that
  // underflows keeps its sign.
  *out = {re == 0 ? 0.0 : round_to<double>(re), im == 0 ? 0.0 : round_to<double>(im)};
  return true;
}

// m times a sine or cosine: an exact zero stays a zero (with its sign) even
// when the modulus has overflowed the extended range.
inline long double scaled(long double m, long double trig) { return trig == 0 ? trig : m * trig; }

Kel64fc assemble(long double modulus, long double cosine, long double sine) {
  return {round_to<double>(scaled(modulus, cosine)), round_to<double>(scaled(modulus, sine))};
}

// x on an axis (one part a signed zero), y = c real: the modulus is the real
// power of the nonzero part and the angle c A degrees, a multiple of 90
// exactly when the result lies on an axis.  The zero part of such a result:
// on the real axis it has the sign of the angle (that of b, flipped for
// c < 0); from the imaginary axis an integer n gives a zero real part for odd
// n, with the sign of the zero a flipped when |n| = 3 mod 4, and a zero
// imaginary part for even n, with the sign of b flipped when |n| = 0 mod 4 and
// again for a = -0 (the signs that repeated multiplication by +-0 + ib gives,
// kept for -n), as MPC has them.
Kel64fc pow_on_axis(double a, double b, double c, int n) {
  const bool imaginary_axis = kel::is_zero(a);
  const long double modulus = orxpowl_scalar(kel::cplx::abs_ld(imaginary_axis ? b : a), c);
  long double sn, cs;
  kel::pw::sincos_degrees(two_prod(orxatan2dl_scalar(b, a), c), &sn, &cs);
  Kel64fc r = assemble(modulus, cs, sn);
  if (imaginary_axis && n != 0) {
    const unsigned m = static_cast<unsigned>(n < 0 ? -n : n) & 3;
    const bool minus_a = kel::is_negative(a);
    if (m & 1) {
      r.re = (m == 3) != minus_a ? -0.0 : 0.0;
    } else {
      r.im = ((m == 0) != kel::is_negative(b)) != minus_a ? -0.0 : 0.0;
    }
  }
  return r;
}

// arg x in degrees and in radians, each as hi + lo, for x off the axes.  x is
// first turned by a multiple of 90 degrees (exactly: parts swapped and
// negated) into the sector |arg| <= 45, where the arctangent is accurate
// relative to itself, so that an angle near an axis keeps its small offset
// (-180 + 1e-320 degrees is not -180).
struct Arg {
  DD degrees, radians;
};
Arg arg_of(double a, double b) {
  const kel::atan2l_data::Tables& k = kel::atan2l_data::kTables;
  const long double aa = kel::cplx::abs_ld(a), ab = kel::cplx::abs_ld(b);
  const bool na = kel::is_negative(a), nb = kel::is_negative(b);
  long double base, ra, rb;
  DD base_rad;
  if (ab <= aa) {
    base = na ? (nb ? -180.0L : 180.0L) : 0.0L;
    base_rad = na ? (nb ? DD{-k.pi.hi, -k.pi.lo} : k.pi) : DD{0.0L, 0.0L};
    ra = aa;
    rb = na ? -static_cast<long double>(b) : b;
  } else {
    base = nb ? -90.0L : 90.0L;
    base_rad = nb ? DD{-k.pio2.hi, -k.pio2.lo} : k.pio2;
    ra = ab;
    rb = nb ? a : -static_cast<long double>(a);
  }
  const long double r = orxatan2l_scalar(rb, ra);
  const DD rd = two_prod(r, kel::pw::k180OverPi.hi);
  const DD deg = two_sum(base, rd.hi);
  const DD rad = two_sum(base_rad.hi, r);
  return {kel::ld::fast_two_sum(deg.hi, deg.lo + (rd.lo + r * kel::pw::k180OverPi.lo)),
          kel::ld::fast_two_sum(rad.hi, rad.lo + base_rad.lo)};
}

// sin and cos of r.hi + r.lo radians: the short kernel at r.hi corrected to
// first order by r.lo (the second-order term is below 2^-65); the low part of
// a huge angle is itself a large angle, left to kel::pw::sincos_dd.
void sincos_of(DD r, long double* sine, long double* cosine) {
  if (__builtin_expect(__builtin_fabsl(r.lo) >= 0x1p-32L, 0)) return kel::pw::sincos_dd(r, sine, cosine);
  const kel::fast::SinCos v = kel::fast::sin_cos(r.hi);
  *sine = v.sin + r.lo * v.cos;
  *cosine = v.cos - r.lo * v.sin;
}

// Short path for x off the axes and a complex y of moderate size, in plain
// extended precision: ln|x| = ln(a^2 + b^2)/2 by half_log_norm below (within
// 2^-63 (|ln|x|| + 1)) and arg x by
// fast::atan2_pos (2^-62.5 relative); then t = c ln|x| - d arg x and the
// angle c arg x + d ln|x| are each within 2^-61.5 W absolute, with
// W = (|c| + |d|) (|ln|x|| + |arg x| + 1).  Taken for W <= kShortWeight = 16,
// where both errors stay below 2^-57.5 (0.04 ulp of the result at worst);
// larger W goes to the double-length path below.  e^t and the sine and
// cosine come from the short kernels of fast.h (2^-63 and 2^-62).
//
// The logarithm, the arctangent and the sine and cosine are separate
// functions: inlined together they need more than the x87's eight registers,
// and the compiler spills 80-bit temporaries (an 80-bit load costs several
// times a 64-bit one); a long double comes back in st(0) for free.
constexpr double kShortWeight = 16;

// ln|x| for 2^-499 <= |a|, |b| < 2^499.  As in fast::log_sum, with
// w = a^2 + b^2 (two roundings, 2^-63 relative) = 2^k m, 1 <= m < 2, the top
// 8 fraction bits j of w and r_j logl's 11-bit reciprocal (1 for j = 0):
//   ln w = k ln2 - ln r_j + ln(1 + s),  s = m r_j - 1,  |s| < 2^-8,
// but s from one rounded product (m r_j is within 2^-8 of 1: an absolute
// error below 2^-63.9) instead of an exact part plus a remainder, three
// dependent operations after the scale 2^-k instead of seven.  With the
// roundings of (k ln2_hi - ln r_j) + s and of the last sum, 2 ln|x| is
// within 2^-63 (2 |ln|x|| + 1.6) + 2^-66 |s|: ln|x| within
// 2^-63 (|ln|x|| + 1), the bound the weight test budgets.
[[gnu::noinline]] long double half_log_norm(double a, double b) {
  const long double w = static_cast<long double>(a) * a + static_cast<long double>(b) * b;
  const uint64_t wb = kel::bits_rounded_to_double(w);
  const int k = static_cast<int>(wb >> 52) - 1023;
  const unsigned j = static_cast<unsigned>(wb >> 44) & 0xFF;
  const long double scale = kel::double_from_bits(static_cast<uint64_t>(1023 - k) << 52);  // 2^-k
  const long double r = j == 0 ? 1.0L : orx_orx_rcp_table_256[j];
  const long double s = (w * scale) * r - 1;
  const long double fk = k;
  const long double head = (fk * kel::fast::kLn2Hi + (j == 0 ? 0.0L : orx_orx_logl_table_256[j][0])) + s;
  const long double lo = fk * kel::fast::kLn2Lo + (j == 0 ? 0.0L : orx_orx_logl_table_256[j][1]);
  return 0.5L * (head + (lo + kel::fast::log1p_minus_s<double>(s)));
}
[[gnu::noinline]] long double arg_short(double a, double b) {
  return b > 0 ? kel::fast::atan2_pos(b, a) : -kel::fast::atan2_pos(-b, a);
}
// modulus (cos angle + i sin angle), for a finite nonzero modulus; each part
// rounded by one store and read back as bits (a reload through the x87 would
// cost a second store to reach the return registers).
[[gnu::noinline]] Kel64fc polar(long double modulus, long double angle) {
  const kel::fast::SinCos v = kel::fast::sin_cos(angle);
  return {kel::double_from_bits(kel::bits_rounded_to_double(modulus * v.cos)),
          kel::double_from_bits(kel::bits_rounded_to_double(modulus * v.sin))};
}
bool pow_short(double a, double b, double c, double d, Kel64fc* out) {
  if (__builtin_fabs(c) + __builtin_fabs(d) > kShortWeight) return false;
  const long double ln_abs = half_log_norm(a, b);
  const long double arg = arg_short(a, b);
  const long double cd = kel::cplx::abs_ld(c) + kel::cplx::abs_ld(d);
  if (cd * (kel::cplx::abs_ld(ln_abs) + kel::cplx::abs_ld(arg) + 1) > kShortWeight) return false;
  const long double modulus = kel::fast::exp_moderate(c * ln_abs - d * arg);  // |t| <= W
  *out = polar(modulus, c * arg + d * ln_abs);
  return true;
}

// Finite nonzero x, finite nonzero y.
Kel64fc pow_finite(double a, double b, double c, double d) {
  const bool real_exponent = kel::is_zero(d);
  if (real_exponent) {
    const int n = kel::pw::small_integer(c);
    if (n == 1) return {a, b};
    if (kel::is_zero(a) || kel::is_zero(b)) return pow_on_axis(a, b, c, n);
    Kel64fc exact;
    if (n >= 2 && exact_complex_power(a, b, n, &exact)) return exact;
  }
  const DD aa = two_prod(a, a), bb = two_prod(b, b);
  const DD s0 = two_sum(aa.hi, bb.hi);
  const DD norm = kel::ld::fast_two_sum(s0.hi, s0.lo + (aa.lo + bb.lo));
  const DD l = kel::pw::log_dd(norm);
  const DD half = {0.5L * l.hi, 0.5L * l.lo};  // ln|x|
  const Arg arg = arg_of(a, b);

  // Exponent of the modulus: c ln|x| - d arg x.
  const DD p1 = two_prod(half.hi, c), p2 = two_prod(arg.radians.hi, d);
  const DD t0 = two_sum(p1.hi, -p2.hi);
  const DD t = kel::ld::fast_two_sum(t0.hi, t0.lo + ((p1.lo + half.lo * c) - (p2.lo + arg.radians.lo * d)));
  constexpr long double kBeyondRange = 0x1p14L;  // e^t is 0 or infinite in every format
  const long double modulus =
      t.hi > kBeyondRange || t.hi < -kBeyondRange ? orxexpl_scalar(t.hi) : orxexpl_scalar(t.hi) * (1.0L + t.lo);

  // Angle: c A degrees, reduced exactly to a quadrant and at most 45 degrees
  // in radians, plus d ln|x| radians; one sine and cosine of the sum.  With
  // d != 0 and |c| < 2^16 the angle cannot be an exact multiple of 90 degrees
  // (d ln|x| != 0 off the axes, as |x| = 1 has no dyadic solution there) and
  // stays below 2^18 radians: c arg x + d ln|x| is formed in radians directly,
  // with the same absolute error.
  uint32_t q = 0;
  DD angle;
  if (!real_exponent && __builtin_fabs(c) < 0x1p16) {
    const DD ct = two_prod(arg.radians.hi, c), r = two_prod(half.hi, d);
    const DD sum = two_sum(ct.hi, r.hi);
    angle = kel::ld::fast_two_sum(sum.hi, sum.lo + ((ct.lo + arg.radians.lo * c) + (r.lo + half.lo * d)));
  } else {
    const DD turn = two_prod(arg.degrees.hi, c);
    angle = kel::pw::reduce_degrees(kel::ld::fast_two_sum(turn.hi, turn.lo + arg.degrees.lo * c), &q);
    if (!real_exponent) {
      const DD r = two_prod(half.hi, d);
      const DD sum = two_sum(r.hi, angle.hi);
      angle = kel::ld::fast_two_sum(sum.hi, sum.lo + ((r.lo + half.lo * d) + angle.lo));
    }
  }
  long double sn, cs, sine, cosine;
  sincos_of(angle, &sn, &cs);
  kel::pw::rotate_quadrant(q, sn, cs, &sine, &cosine);
  // Off the axes an exact zero part (a real exponent, a multiple of 90
  // degrees) is +0.
  return assemble(modulus, cosine == 0 ? 0.0L : cosine, sine == 0 ? 0.0L : sine);
}

// The zero imaginary part of x^0 = e^(0 ln|x| + i 0 ...): -0 when d and ln|x|
// have opposite signs (|x| compared with 1 exactly), else +0; +0 for a zero or
// NaN x.
double zero_of_unit_power(double a, double b, double d) {
  if (kel::is_nan(a) || kel::is_nan(b) || (kel::is_zero(a) && kel::is_zero(b))) return 0.0;
  int log_sign = 1;  // an infinite part: ln|x| = +inf
  if (kel::cplx::is_finite(a) && kel::cplx::is_finite(b)) {
    const DD aa = two_prod(a, a), bb = two_prod(b, b);
    const DD s = two_sum(aa.hi, bb.hi);
    const long double excess = (s.hi - 1.0L) + (s.lo + (aa.lo + bb.lo));  // s.hi - 1 is exact near 1
    log_sign = excess > 0 ? 1 : excess < 0 ? -1 : 0;
  }
  return log_sign != 0 && (log_sign < 0) != kel::is_negative(d) ? -0.0 : 0.0;
}

// Every case but the short path's, out of line.
[[gnu::noinline]] Kel64fc pow_general(Kel64fc x, Kel64fc y) {
  const double a = x.re, b = x.im, c = y.re, d = y.im;
  if (kel::is_zero(c) && kel::is_zero(d)) return {1.0, zero_of_unit_power(a, b, d)};
  const bool x_finite = kel::cplx::is_finite(a) && kel::cplx::is_finite(b);
  const bool y_finite = kel::cplx::is_finite(c) && kel::cplx::is_finite(d);
  if (x_finite && y_finite) {
    if (!kel::is_zero(a) || !kel::is_zero(b)) return pow_finite(a, b, c, d);
    if (kel::is_zero(c)) {
      const double n = round_to<double>(kel::opaque(0.0L) / kel::opaque(0.0L));  // NaN, invalid
      return {n, n};
    }
    if (kel::is_negative(c)) {
      const double inf = round_to<double>(1.0L / kel::opaque(0.0L));  // divide-by-zero
      return {inf, round_to<double>(kel::opaque(0.0L) * inf)};       // NaN, invalid
    }
    return {0.0, kel::is_negative(b) ? -0.0 : 0.0};
  }
  // Some part infinite or NaN: cexp(y clog x) with the products as written.
  const Kel64fc l = orxclog_scalar(x);
  const long double lr = l.re, li = l.im;
  const Kel64fc w = {round_to<double>(c * lr - d * li), round_to<double>(c * li + d * lr)};
  return orxcexp_scalar(w);
}

Kel64fc pow_kernel(Kel64fc x, Kel64fc y) {
  const double a = x.re, b = x.im, c = y.re, d = y.im;
  // The common case first: x off the axes, y not real, every part finite.
  // One branch on the bits: a and b in [2^-499, 2^499) in magnitude, d
  // normal, c finite.
  const auto outside = [](double v, uint64_t lo, uint64_t width) {
    return static_cast<uint64_t>(kel::Format<double>::biased_exponent(v)) - lo >= width;
  };
  if (!(outside(a, 1023 - 499, 998) | outside(b, 1023 - 499, 998) | outside(d, 1, 2046) |
        (kel::Format<double>::biased_exponent(c) == 2047))) {
    Kel64fc r;
    if (pow_short(a, b, c, d, &r)) return r;
  }
  return pow_general(x, y);
}

}  // namespace

KEL_API Kel64fc orxcpow_scalar(Kel64fc x, Kel64fc y) { return kel::cplx::entry<pow_kernel>(x, y); }

// The frame quiets signalling NaNs itself: its elements call the kernel proper.
KEL_COMPLEX_BINARY(Pow, pow_kernel)
KEL_COMPLEX_SCALAR_EXPONENT(Powx, pow_kernel)

// Complex inverse functions casinh, cacosh, catanh, casin, cacos and catan:
// principal values, computed in x87 extended precision on the long-double
// kernels, each part rounded once to double.  casin and catan come from
// asin z = -i asinh(iz) and atan z = -i atanh(iz); cacos and cacosh share one
// arccosine core.  Measured against MPC: at most 0.500 ulp normwise for every
// function, on random arguments and on samples of the hard regions (branch
// points, both sides of the cuts, huge, tiny and subnormal parts).
//
// Arcsine and arccosine (Hull, Fairgrieve and Tang, ACM TOMS 23, 1997).  For
// w = x + iy with x, y >= 0, r = |w + 1|, s = |w - 1|, A = (r + s)/2 >= 1 and
// B = x/A, the point lies on the ellipse and hyperbola x = A B,
// y^2 = (A^2 - 1)(1 - B^2), so with S = sqrt(A^2 - 1):
//   Re asin w = atan2(x S, A y),  Re acos w = atan2(A y, x S),
//   |Im| = ln(A + S) = log1p(A1 + S),  A1 = A - 1.
// Near the segment [-1, 1] (A <= 1.5) A1 is written without cancellation
// from r - (x + 1) = y^2/(r + x + 1) and s -+ (x - 1) = y^2/(s +- (x - 1)):
//   x < 1:   A1 = (y^2/(r + x + 1) + y^2/(s + 1 - x))/2,
//   x >= 1:  A1 = (y^2/(r + x + 1) + (s + x - 1))/2,
// and S^2 = A1 (A + 1).  Every quantity is then known to a few units of
// 2^-64 relative, and atan2 of two such numbers keeps that relative accuracy
// whatever their ratio, so the real part needs none of the method's switch to
// asin(B).  The squares of doubles lie well inside the extended exponent
// range, so none of its scaled regions for huge or tiny parts are needed
// either: r, s, A and x S cannot overflow even at DBL_MAX, and y^2 of a
// subnormal y is a normal long double.  Both parts below 2^-12 take the odd
// series of asin instead.  Each part is good to about ten units of 2^-64
// relative before its rounding to double.
//
// Hyperbolic arctangent (Kahan, "Branch cuts for complex elementary
// functions", 1987), for x, y >= 0:
//   Re atanh z = log1p(4x / ((1 - x)^2 + y^2)) / 4,
//   Im atanh z = atan2(2y, (1 - x)(1 + x) - y^2) / 2.
// 1 - x is exact near x = 1, so the real part keeps full relative accuracy at
// the branch points +-1 and next to the cuts; the cancellation in the
// denominator of the imaginary part happens only where |z| is near 1 and y is
// not small, where atan2 no longer depends on that denominator to first order.
//
// Branch cuts and special values follow C99 Annex G: the sign of a zero part
// selects the side of a cut, conj and the odd/even symmetries hold exactly
// because the magnitudes are computed from |x| and |y| and the signs put back
// on the bit patterns, and every infinite or NaN combination gives the value
// of the tables without invalid.  A nonzero subnormal double part raises
// underflow.
#include "complex.h"
#include "catanh_data.h"
#include "complex_bits.h"
#include "fast.h"

namespace {

using kel::is_zero;
using kel::round_to;
using namespace kel::cplx;
using kel::is_inf;
using kel::is_nan;
using kel::is_negative;

constexpr long double kPi = 3.14159265358979323846264338327950288L;
constexpr long double kHalfPi = kPi / 2;
constexpr long double kQuarterPi = kPi / 4;
constexpr long double kInf = __builtin_infl();
constexpr long double kACrossover = 1.5L;  // below: imaginary part by log1p
constexpr long double kFastLogLimit = 0x1p998L;  // below: the short logarithms of fast.h

// v with the sign of s; a NaN keeps its own sign.
inline double signed_like(double v, double s) { return is_nan(v) ? v : kel::cplx::with_sign_of(v, s); }

// v rounded to double by one store, read back as bits (a reload through the
// x87 would cost a second store to reach the integer registers).
inline double rounded(long double v) { return kel::double_from_bits(kel::bits_rounded_to_double(v)); }

inline long double hypot_ld(long double a, long double b) { return kel::sqrt_x87(a * a + b * b); }

// Both parts below 2^-12: w + w^3 (c0 + c1 w^2 + c2 w^4) for w = x + iy, the
// odd series of asin (1/6, 3/40, 5/112) or atanh (1/3, 1/5, 1/7) truncated
// before its w^9 term, which is below 2^-92 relative.  Each part is its own
// leading term plus corrections below 2^-22 of it.  The coefficients are
// constexpr: under -frounding-math an inexact quotient elsewhere is a run-time
// division.
constexpr long double kTiny = 0x1p-12L;
constexpr long double kAsinSeries[3] = {1.0L / 6, 3.0L / 40, 5.0L / 112};
constexpr long double kAtanhSeries[3] = {1.0L / 3, 1.0L / 5, 1.0L / 7};
inline void odd_series(long double x, long double y, const long double (&c)[3], long double* re, long double* im) {
  const long double c0 = c[0], c1 = c[1], c2 = c[2];
  const long double u = (x - y) * (x + y), v = 2 * x * y;  // w^2
  const long double pr = c1 + c2 * u, pi = c2 * v;
  const long double qr = c0 + (u * pr - v * pi), qi = u * pi + v * pr;  // c0 + w^2 (c1 + c2 w^2)
  const long double tr = u * qr - v * qi, ti = u * qi + v * qr;         // w^2 times that
  *re = x + (x * tr - y * ti);
  *im = y + (x * ti + y * tr);
}

// Real part and |imaginary part| of asin(x + iy) (Cosine false, x >= 0) or of
// acos(x + iy) (Cosine true, x of either sign), for finite x and y >= 0.
template <bool Cosine>
void arcsine_finite(double xd, double yd, long double* re, long double* im) {
  const long double x = xd, ax = abs_ld(x), y = yd;
  if (is_zero(yd)) {
    if (ax <= 1) {
      *re = Cosine ? orxacosl_scalar(x) : orxasinl_scalar(ax);
      *im = 0;
    } else {
      *re = Cosine ? (is_negative(xd) ? kPi : 0.0L) : kHalfPi;
      *im = orxacoshl_scalar(ax);
    }
    return;
  }
  if (is_zero(xd)) {
    *re = Cosine ? kHalfPi : 0.0L;
    *im = orxasinhl_scalar(y);
    return;
  }
  if (ax < kTiny && y < kTiny) {
    long double sr;
    odd_series(ax, y, kAsinSeries, &sr, im);
    *re = Cosine ? kHalfPi - (is_negative(xd) ? -sr : sr) : sr;
    return;
  }
  const long double xp1 = ax + 1, xm1 = ax - 1, y2 = y * y;
  const long double r = hypot_ld(xp1, y), s = hypot_ld(xm1, y);
  const long double a = 0.5L * (r + s);
  long double sa;  // sqrt(A^2 - 1)
  if (a <= kACrossover) {
    const long double am1 = 0.5L * (y2 / (r + xp1) + (ax < 1 ? y2 / (s - xm1) : s + xm1));
    sa = kel::sqrt_x87(am1 * (a + 1));
    *im = kel::fast::log1p_pos(am1 + sa);
  } else {
    sa = kel::sqrt_x87((a - 1) * (a + 1));
    *im = a < kFastLogLimit ? kel::fast::log_sum(a + sa, 0) : orxlogl_scalar(a + sa);
  }
  *re = Cosine ? kel::fast::atan2_pos(a * y, x * sa) : kel::fast::atan2_pos(ax * sa, a * y);
}

// The same for x or y infinite or NaN (y not negative).
template <bool Cosine>
void arcsine_special(double x, double y, long double* re, long double* im) {
  if (is_nan(x) || is_nan(y)) {
    const long double nan = static_cast<long double>(x) + y;  // quiet: no flag
    *re = is_nan(x) || !is_zero(x) ? nan : Cosine ? kHalfPi : 0.0L;
    *im = is_inf(x) || is_inf(y) ? kInf : nan;
  } else if (is_inf(x)) {
    *im = kInf;
    if (!Cosine) {
      *re = is_inf(y) ? kQuarterPi : kHalfPi;
    } else if (is_inf(y)) {
      *re = is_negative(x) ? 3 * kQuarterPi : kQuarterPi;
    } else {
      *re = is_negative(x) ? kPi : 0.0L;
    }
  } else {  // y infinite, x finite
    *im = kInf;
    *re = Cosine ? kHalfPi : 0.0L;
  }
}

template <bool Cosine>
void arcsine(double x, double y, long double* re, long double* im) {
  if (is_finite(x) && is_finite(y)) {
    arcsine_finite<Cosine>(x, y, re, im);
  } else {
    arcsine_special<Cosine>(x, y, re, im);
  }
}

// asinh(x + iy) = i asin(y - ix): with asin(|y| + i|x|) = u + iv,
// asinh z = (v with the sign of x, u with the sign of y).
Kel64fc asinh_kernel(Kel64fc z) {
  long double u, v;
  arcsine<false>(__builtin_fabs(z.im), __builtin_fabs(z.re), &u, &v);
  return underflow_checked({signed_like(rounded(v), z.re), signed_like(rounded(u), z.im)});
}

// acos(x + iy) = u - iv with the sign of y on v, u in [0, pi].
Kel64fc acos_kernel(Kel64fc z) {
  long double u, v;
  arcsine<true>(z.re, __builtin_fabs(z.im), &u, &v);
  return underflow_checked({rounded(u), signed_like(rounded(v), negated(z.im))});
}

// acosh z = v + iu with the sign of y on u (acos z = u -+ iv); a NaN y gives
// a NaN imaginary part even where acos has a number (acosh(+-0 + i NaN)).
Kel64fc acosh_kernel(Kel64fc z) {
  long double u, v;
  arcsine<true>(z.re, __builtin_fabs(z.im), &u, &v);
  const double im = is_nan(z.im) ? rounded(static_cast<long double>(z.im) + u) : rounded(u);
  return underflow_checked({rounded(v), signed_like(im, z.im)});
}

// The logarithm of the real part of atanh, on a table of doubles
// (src/catanh_data.h): an 80-bit load or store costs several times a 64-bit
// one, and this logarithm sets the speed of catanh and catan.
//
// ln(1 + q)/4 for 0 <= q < 2^998, within about 2^-63 relative.  w = 1 + q
// and e = q - (w - 1) exactly (w - 1 is exact for w < 2^64); wd = 2^k m, w
// rounded to double by one store, gives k, the row j of m's top 8 fraction
// bits and m itself (wd's bits with the exponent of 1), and lo = (w - wd) + e.
// With r the row's 11-bit reciprocal (1 for j = 0, so that no table constant
// cancels against a small result):
//   ln(1 + q) = k ln2 - ln r + ln(1 + s),  s = u + t,
//   u = m r - 1 (exact: 53 times 11 bits, |u| <= 2^-8),  t = lo 2^-k r,
// ln(1 + s) - s by Taylor to s^8 (the next term is below 2^-66 |s|), and
// k ln2_hi - ln r's head exact.  The factor 1/4 is in the table (r/4 and
// -ln(r)/4), so the sums run on s/4 and u/4 with the coefficients scaled to
// match: every step is the unscaled one times a power of 2.
inline long double quarter_log1p(long double q) {
  constexpr double kLn2Hi = 64 * kel::expl::kLn2Over256[0], kLn2Lo = 64 * kel::expl::kLn2Over256[1];
  constexpr uint64_t kExponent = uint64_t{0x7FF} << 52, kOne = uint64_t{1023} << 52;
  const long double w = 1 + q;
  const uint64_t wb = kel::bits_rounded_to_double(w);
  const long double wd = kel::double_from_bits(wb);
  const long double lo = (w - wd) + (q - (w - 1));
  const int32_t k = static_cast<int32_t>(wb >> 52) - 1023;
  const kel::catanh_data::LogRow& row = kel::catanh_data::kLogRows[(wb >> 44) & 0xFF];
  const long double m = kel::double_from_bits((wb & ~kExponent) | kOne);
  const long double scale = kel::double_from_bits(kOne - (static_cast<uint64_t>(k) << 52));  // 2^-k
  const long double u = m * row.r4 - 0.25L;  // u/4
  const long double t = (lo * scale) * row.r4;
  const long double fk = k;
  const long double head = u + (fk * kLn2Hi + row.head);
  const long double tail = t + (fk * kLn2Lo + row.tail);
  // (ln(1 + 4v) - 4v)/4 = v^2 (c[0] + c[1] v + ... + c[6] v^6), c[n] = (-1)^(n+1) 4^(n+1)/(n+2).
  constexpr double c[7] = {-2.0, 16.0 / 3, -16.0, 256.0 / 5, -512.0 / 3, 4096.0 / 7, -2048.0};
  const long double v = u + t, v2 = v * v, v4 = v2 * v2;
  const long double poly = v2 * (((c[0] + v * c[1]) + v2 * (c[2] + v * c[3])) + v4 * ((c[4] + v * c[5]) + v2 * c[6]));
  return (tail + poly) + head;
}

// The argument of the arctangent below: t = min(y, |x|)/max(y, |x|) and
// the index of the placement, 2 (y > |x|) + (x < 0).  (Two results rather
// than a record: GCC stores a long double member of a record to memory.)
inline long double atan_ratio(long double y, long double x, uint32_t* placement) {
  const long double ax = __builtin_fabsl(x);
  const bool swap = y > ax, negative = x < 0;
  *placement = 2u * swap + negative;
  return swap ? ax / y : y / ax;
}

// atan2(y, x)/2 for y, x finite, y >= 0, not both zero, from t = atan_ratio(y, x),
// within 2^-63 relative.  With c = j/128 nearest to t and h = t - c (exact,
// Sterbenz; |h| <= 2^-8), atan(t) = atan(c) + h (a_1 + a_2 h + ... + a_8 h^7),
// the Taylor expansion at c from a table of doubles (atan(c) and a_1 as heads
// and tails): the first omitted term |h|^9/9 stays below 2^-67 of atan(t).
// j comes from t 128 by an integer store (fistl rounds to nearest as
// t + 1.5 2^56 does).  The placement (K + sign atan(t))/2 (K = 0, pi/2, pi)
// never cancels, atan(t) <= pi/4 <= K/2, and its halved constants make the
// factor 1/2 exact and free.
inline long double half_atan(long double t, uint32_t placement) {
  constexpr long double kShifter = 0x1.8p56L;  // its ulp is 2^-7: t + kShifter rounds t to c
  int32_t j;
  asm("fistl %0" : "=m"(j) : "t"(t * 128));
  const kel::catanh_data::AtanRow& r = kel::catanh_data::kAtanRows[j];
  const long double h = t - ((t + kShifter) - kShifter);
  const long double h2 = h * h;
  const double* a = r.a;
  const long double p = ((r.a1hi + (r.a1lo + h * a[0])) + h2 * (a[1] + h * a[2])) +
                        (h2 * h2) * ((a[3] + h * a[4]) + h2 * (a[5] + h * a[6]));
  const kel::catanh_data::AtanPlacement& k = kel::catanh_data::kAtanPlacements[placement];
  const long double head = k.hi + k.sign * r.hi;
  return head + ((k.lo + k.sign * r.lo) + (k.sign * h) * p);
}

// The finite elements the short kernels do not serve (q beyond the short
// logarithm, y = 0 or a zero denominator of the arctangent), out of line:
// the same formulas, with the exported long-double kernels where needed.
[[gnu::noinline, gnu::cold]] Kel64fc arctanh_general(double xd, double yd) {
  const long double x = xd, y = yd, xm = 1 - x, y2 = y * y;
  const long double d = xm * (1 + x) - y2;
  const long double q = 4 * x / (xm * xm + y2);  // atanh(1 + i0): +inf, divide-by-zero
  const double re = rounded(q < kFastLogLimit ? quarter_log1p(q) : 0.25L * orxlog1pl_scalar(q));
  if (y > 0 && d != 0) {
    uint32_t placement;
    const long double t = atan_ratio(2 * y, d, &placement);
    return {re, rounded(half_atan(t, placement))};
  }
  return {re, rounded(0.5L * orxatan2l_scalar(2 * y, d))};
}

// atanh of x + iy for x, y >= 0 (magnitudes of the parts), each part rounded
// once to double.  On the main path the arctangent's division is issued
// before the logarithm: the x87 stack then holds only its quotient across
// the logarithm (no 80-bit spill), and the two divisions overlap.
Kel64fc arctanh(double xd, double yd) {
  if (is_finite(xd) && is_finite(yd)) {
    const long double x = xd, y = yd, y2 = y * y;
    if (x < kTiny && y < kTiny) {
      long double sr, si;
      odd_series(x, y, kAtanhSeries, &sr, &si);
      return {rounded(sr), rounded(si)};
    }
    const long double xm = 1 - x;
    const long double d = xm * (1 + x) - y2;
    const long double q = 4 * x / (xm * xm + y2);
    // Below the limit, d = 0 only as +0 and y = 0 only with d != 0: atan2 of
    // (2y, +0) and of (+0, d) come out of the placements exactly.
    if (__builtin_expect(!(q < kFastLogLimit), 0)) return arctanh_general(xd, yd);
    uint32_t placement;
    const long double t = atan_ratio(2 * y, d, &placement);
    const double re = rounded(quarter_log1p(q));
    return {re, rounded(half_atan(t, placement))};
  }
  if (is_nan(xd) || is_nan(yd)) {
    const long double nan = static_cast<long double>(xd) + yd;  // quiet: no flag
    return {round_to<double>(is_inf(xd) || is_inf(yd) || is_zero(xd) ? 0.0L : nan),
            round_to<double>(is_inf(yd) ? kHalfPi : nan)};
  }
  return {0, round_to<double>(kHalfPi)};
}

Kel64fc atanh_kernel(Kel64fc z) {
  const Kel64fc w = arctanh(kel::abs_bits(z.re), kel::abs_bits(z.im));
  return underflow_checked({signed_like(w.re, z.re), signed_like(w.im, z.im)});
}

Kel64fc asin_kernel(Kel64fc z) { return times_minus_i(asinh_kernel(times_i(z))); }
Kel64fc atan_kernel(Kel64fc z) { return times_minus_i(atanh_kernel(times_i(z))); }

}  // namespace

KEL_API Kel64fc orxcasinh_scalar(Kel64fc z) { return kel::cplx::entry<asinh_kernel>(z); }
KEL_API Kel64fc orxcacosh_scalar(Kel64fc z) { return kel::cplx::entry<acosh_kernel>(z); }
KEL_API Kel64fc orxcatanh_scalar(Kel64fc z) { return kel::cplx::entry<atanh_kernel>(z); }
KEL_API Kel64fc orxcasin_scalar(Kel64fc z) { return kel::cplx::entry<asin_kernel>(z); }
KEL_API Kel64fc orxcacos_scalar(Kel64fc z) { return kel::cplx::entry<acos_kernel>(z); }
KEL_API Kel64fc orxcatan_scalar(Kel64fc z) { return kel::cplx::entry<atan_kernel>(z); }

KEL_COMPLEX_UNARY(Asinh, orxcasinh_scalar)
KEL_COMPLEX_UNARY(Acosh, orxcacosh_scalar)
KEL_COMPLEX_UNARY(Atanh, orxcatanh_scalar)
KEL_COMPLEX_UNARY(Asin, orxcasin_scalar)
KEL_COMPLEX_UNARY(Acos, orxcacos_scalar)
KEL_COMPLEX_UNARY(Atan, orxcatan_scalar)

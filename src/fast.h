// Short extended-precision kernels, inline in their callers: sine and
// cosine, hyperbolic sine and cosine and the exponential of moderate
// arguments (the complex circular, hyperbolic and power functions), and an
// arctangent and logarithms of screened arguments (the complex inverse
// functions, the complex power and the real Atan2).  They trade the last bits
// of the exported long-double kernels for speed and hand the arguments they
// are not built for back to their callers or to the exact kernels.
//
// Sine, cosine, hyperbolic sine and cosine, exponential: for the moderate
// arguments of the complex circular, hyperbolic and power functions.  The
// exported long-double kernels give 0.51 ulp of the 64-bit significand;
// each of these is good to about 2^-62 relative, which still
// leaves a double result within 0.5 + 2^-8 ulp before its one rounding, and
// each hands the arguments it is not built for to the exact kernel.  Both run
// under the caller's 64-bit precision with rounding to nearest.
//
// sin_cos: for 2^-32 <= |x| < 2^20, x = k pi/2 + r by a three-piece
// Cody-Waite reduction (pi/2 = P1 + P2 + P3, 44 bits each, so k Pi is exact
// for |k| < 2^20 and |x| - k P1 is exact); the absolute error of r is below
// 2^-87, so r keeps a relative error below 2^-64 + 2^-67 as long as
// |r| >= 2^-20, and the rare arguments closer to a multiple of pi/2 go to
// orxsincosl_scalar.  Then |r| = j/64 + u with |u| <= 1/128 (u exact) and
//   sin r = S_j + C_j u + (S_j (cos u - 1) + C_j (sin u - u)),
//   cos r = C_j - S_j u + (C_j (cos u - 1) - S_j (sin u - u)),
// with S_j, C_j as double heads and tails (106 bits, src/sincos_dd_data.cpp)
// and Taylor polynomials through u^7 and u^6 (truncation below 2^-71).  The
// only large rounding errors are those of C_j u (or S_j u) and of the final
// sum, each below 2^-64 of the result: relative error below 2^-62 in all.
//
// sinh_cosh: for 2^-32 <= a = |x| < 1/2, the Taylor series
//   sinh a = a + a^3 (1/3! + a^2/5! + ... + a^14/17!),
//   cosh a = 1 + a^2 (1/2! + a^2/4! + ... + a^14/16!),
// truncated below 2^-70, each sum of positive terms evaluated by Estrin's
// scheme in a^2, a^4, a^8 (depth 4 instead of 8); below 2^-8 three terms of
// each suffice, by Horner.  Only 1/3! needs more than a double (its term
// reaches 2^-4.6 of sinh a); every other coefficient's term is below 2^-12 of
// the result.  Relative error below 2^-63.
#pragma once

#include "api.h"
#include "catan_data.h"
#include "expl.h"
#include "fp.h"
#include "hyperbolicl.h"
#include "kelvm.h"
#include "sincos_dd_data.h"
#include "x87.h"

namespace kel::fast::detail {

inline constexpr double kShifter52 = 0x1.8p52;  // 1.5 * 2^52: a double sum with it is an integer
// 1.5 * 2^63 and 1.5 * 2^57: a long-double sum with them is a multiple of 1
// and of 1/64; 1.5 * 2^46: a double sum with it, a multiple of 1/64.
inline constexpr double kShifter63 = 0x1.8p63, kShifter57 = 0x1.8p57, kShifter46 = 0x1.8p46;
// Constants read as doubles (an 80-bit load costs several times a 64-bit
// one): pi/4 rounded down (no double lies between it and pi/4, and a long
// double there reduces by k = 0 to itself), 2^-20, and sincosl_data's three
// 44-bit pieces of pi/2, exact in a double.
inline constexpr double kPio4 = 0x1.921fb54442d18p-1;
// 2/pi rounded to double: |x| 2/pi is then within 2^-33 of its value, so k
// misses the nearest integer only at a near-tie, where |r| <= pi/4 + 2^-32.
inline constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;
inline constexpr double kSmallestR = 0x1p-20;
inline constexpr double kPio2Cw[3] = {0xc.90fdaa2217p-3, -0xe.7b9676733bp-48, 0xb.80dc1cd129p-95};

// 1/n! rounded to double: the terms they scale are below 2^-23 of the
// result, so the 2^-54 relative error of a double coefficient stays below
// 2^-77 (long-double constants would cost an 80-bit load each).
constexpr double inv_factorial(int n) {
  long double f = 1;
  for (int k = 2; k <= n; ++k) f *= k;
  return static_cast<double>(1.0L / f);
}
// sin u - u = u^3 (kSin[0] + kSin[1] u^2 + kSin[2] u^4), cos u - 1 = u^2 (kCos[0] + ...).
inline constexpr double kSin[3] = {-inv_factorial(3), inv_factorial(5), -inv_factorial(7)};
inline constexpr double kCos[3] = {-inv_factorial(2), inv_factorial(4), -inv_factorial(6)};

// sinh a - a = a^3 (kSinh0 + kSinh[0] a^2 + ... + kSinh[6] a^14),
// cosh a - 1 = a^2 (kCosh[0] + kCosh[1] a^2 + ... + kCosh[7] a^14).
inline constexpr long double kSinh0 = 1.0L / 6;
inline constexpr double kSinh[7] = {inv_factorial(5),  inv_factorial(7),  inv_factorial(9), inv_factorial(11),
                                    inv_factorial(13), inv_factorial(15), inv_factorial(17)};
inline constexpr double kCosh[8] = {inv_factorial(2),  inv_factorial(4),  inv_factorial(6),  inv_factorial(8),
                                    inv_factorial(10), inv_factorial(12), inv_factorial(14), inv_factorial(16)};

}  // namespace kel::fast::detail

namespace kel::fast {

struct SinCos {
  long double sin, cos;
};

// The exact kernel, out of line: the arguments the short path leaves.
[[gnu::noinline]] inline SinCos exact_sin_cos(long double x) {
  SinCos v;
  orxsincosl_scalar(x, &v.sin, &v.cos);
  return v;
}

// sin x and cos x; relative error below 2^-62 for 2^-32 <= |x| < 2^20,
// orxsincosl_scalar's result elsewhere.  T is double or long double: the
// range test reads a double's bits and compares a long double's magnitude.
template <class T>
[[gnu::always_inline]] inline SinCos sin_cos(T x) {
  using namespace detail;
  // |x| < 2^-32 (flags of a tiny argument), |x| >= 2^20, inf, NaN, unnormals.
  bool moderate, small;  // small: |x| < 1/128
  if constexpr (sizeof(T) == sizeof(double)) {
    const int e = Format<double>::biased_exponent(x);
    moderate = e >= 1023 - 32 && e < 1023 + 20;
    small = e < 1023 - 7;
  } else {
    // Quiet comparisons of the value already in a register (storing it to
    // read its bits costs an 80-bit store and a stalled reload); NaN fails
    // both.  Callers pass computed values, never unnormals.
    const long double ax = __builtin_fabsl(x);
    moderate = __builtin_isgreaterequal(ax, 0x1p-32L) && __builtin_isless(ax, 0x1p20L);
    small = __builtin_isless(ax, 0x1p-7L);
  }
  if (__builtin_expect(!moderate, 0)) return exact_sin_cos(x);
  if (small) {
    // Row 0 (sin 0 = 0, cos 0 = 1, no tails) with u = x: the sums below with
    // their vanishing terms left out, bit for bit the same values.
    const long double u = x, u2 = u * u;
    return {u + (u * u2) * (kSin[0] + u2 * (kSin[1] + u2 * kSin[2])),
            1 + u2 * (kCos[0] + u2 * (kCos[1] + u2 * kCos[2]))};
  }

  // The roundings to an integer (k) and to a multiple of 1/64 (the row) add
  // and subtract a long double whose ulp is that step (1.5 * 2^63, 1.5 * 2^57)
  // in the registers, so that they stay on the floating chain; the integers
  // k mod 4 and j are read beside that chain from the bits of the rounded
  // value, placed exactly in a double by a second shifter and one 64-bit
  // store.  k need only be within 1 of the nearest integer.
  const long double ax = __builtin_fabsl(x);
  long double r = ax;
  uint32_t q = 0;
  if (ax > kPio4) {
    const long double k = (ax * kTwoOverPi + kShifter63) - kShifter63;
    q = static_cast<uint32_t>(bits_rounded_to_double(k + kShifter52)) & 3;
    r = (ax - k * kPio2Cw[0]) - (k * kPio2Cw[1] + k * kPio2Cw[2]);
    if (__builtin_expect(__builtin_fabsl(r) < kSmallestR, 0)) return exact_sin_cos(x);
  }
  const long double ar = __builtin_fabsl(r);
  const long double row = (ar + kShifter57) - kShifter57;  // j/64
  // ar <= pi/4 + 2^-32 puts j in [0, 50]; the clamp only guards the table
  // read under a directed rounding the kernels are not built for.
  using kel::sincos_dd_data::kRows;
  constexpr uint32_t kLastRow = sizeof kRows / sizeof kRows[0] - 1;
  uint32_t j = static_cast<uint32_t>(bits_rounded_to_double(row + kShifter46)) & 63;
  if (__builtin_expect(j > kLastRow, 0)) j = kLastRow;
  // Exact, |u| <= 1/128: ar and j/64 lie within 1/128 on a common grid.
  const long double u = ar - row;
  const long double u2 = u * u;
  const long double ps = (u * u2) * (kSin[0] + u2 * (kSin[1] + u2 * kSin[2]));
  const long double pc = u2 * (kCos[0] + u2 * (kCos[1] + u2 * kCos[2]));

  // sin x = sin r, cos r, -sin r, -cos r for k = 0..3 (then x's sign);
  // cos x = cos r, -sin r, -cos r, sin r.  With S + C u + ... the sine of
  // |r| and C - S u + ... its cosine, each result part is +-part(S, C) or
  // +-part(C, -S), a negation being exact: the row's entries +-S, +-C are
  // picked by integer index (t: the (C, -S) form, n: negated), so that no
  // branch depends on the quadrant or the signs.
  const kel::sincos_dd_data::Row& w = kRows[j];
  const auto part = [&](uint32_t t, uint32_t n) {
    const uint32_t p = t + 2 * n, o = (1 - t) + 2 * (n ^ t);
    return w.hi[p] + (w.hi[o] * u + ((w.lo[p] + w.lo[o] * u) + (w.hi[p] * pc + w.hi[o] * ps)));
  };
  uint32_t sx;  // x < 0, from a double's sign bit (no register held for it)
  if constexpr (sizeof(T) == sizeof(double)) {
    sx = static_cast<uint32_t>(bits(x) >> 63);
  } else {
    sx = x < 0;
  }
  const uint32_t odd = q & 1, s2 = (q >> 1) & 1, sr = r < 0;
  return {part(odd, sx ^ s2 ^ (sr & (odd ^ 1))), part(odd ^ 1, s2 ^ (odd & (sr ^ 1)))};
}

// e^x for |x| <= 704, relative error below 2^-63: x = n ln2/256 + r
// with orxexpl_scalar's constants (n ln2/256 in two pieces, the first of 29
// bits, so that n times it is exact for |n| < 2^18 and so is its difference
// with x; |r| <= ln2/512 plus rounding), e^r - 1 = q = r + r^2 P(r) with its fit kP (2^-66.4), and
// e^x = 2^m (T + t)(1 + q), T + t = 2^(j/256) from its table, n = 256 m + j;
// the roundings of T q and of the last sum are each below 2^-64 of the result.
inline long double exp_moderate(long double x) {
  using namespace kel::expl;
  const uint64_t nb = bits_rounded_to_double(x * k256OverLn2 + detail::kShifter52);
  const long double fn = double_from_bits(nb) - detail::kShifter52;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(nb));  // the low bits of 1.5 * 2^52 + n
  const int32_t j = static_cast<int8_t>(n & 0xFF);
  const long double r = (x - fn * kLn2Over256[0]) - fn * kLn2Over256[1];
  const long double r2 = r * r;
  const long double q = r + r2 * ((kP[0] + r2 * (kP[2] + r2 * kP[4])) + r * (kP[1] + r2 * kP[3]));
  const long double T = orx_orx_expl_table_256[128 + j][0], t = orx_orx_expl_table_256[128 + j][1];
  const long double scale = double_from_bits(static_cast<uint64_t>(1023 + (n - j) / 256) << 52);
  return (T + (t + (T * q + t * q))) * scale;
}

// sinh x and cosh x; relative error below 2^-62 for 2^-32 <= |x| < 1/2,
// kel::ld::sinh_cosh's result elsewhere.
inline ld::SinhCosh sinh_cosh(double x) {
  using namespace detail;
  const int e = Format<double>::biased_exponent(x);
  if (__builtin_expect(e < 1023 - 32 || e >= 1022, 0)) return ld::sinh_cosh(x);  // |x| < 2^-32 or >= 1/2
  const long double a = x;
  if (e < 1023 - 8) {  // |x| < 2^-8: through a^7 and a^6, truncation below 2^-79
    const long double a2 = a * a;
    constexpr double kSixth = static_cast<double>(kSinh0);  // its term is below 2^-18 of sinh a
    return {a + (a * a2) * (kSixth + a2 * (kSinh[0] + a2 * kSinh[1])),
            1.0L + a2 * (kCosh[0] + a2 * (kCosh[1] + a2 * kCosh[2]))};
  }
  const long double a2 = a * a, a4 = a2 * a2, a8 = a4 * a4;
  const long double ps = (kSinh0 + a2 * kSinh[0]) + a4 * (kSinh[1] + a2 * kSinh[2]) +
                         a8 * ((kSinh[3] + a2 * kSinh[4]) + a4 * (kSinh[5] + a2 * kSinh[6]));
  const long double pc = (kCosh[0] + a2 * kCosh[1]) + a4 * (kCosh[2] + a2 * kCosh[3]) +
                         a8 * ((kCosh[4] + a2 * kCosh[5]) + a4 * (kCosh[6] + a2 * kCosh[7]));
  return {a + (a * a2) * ps, 1.0L + a2 * pc};
}

// ---- Arctangent and logarithms of screened arguments ----
//
// For the complex inverse functions (src/cinverse.cpp), the complex power
// (src/cpow.cpp) and the real Atan2 (src/invtrig.cpp).  They serve arguments their callers have already
// screened (finite, nonzero, of known sign), skip the special-value logic and
// the double-length arithmetic of the exported long-double kernels, and are
// accurate to a few units of 2^-64 relative: enough, since their own
// arguments carry errors of that size and each result part is rounded once to
// double afterwards.  They run under the frame's 64-bit precision, rounding to
// nearest.

// atan2(y, x) for y > 0 and x finite and nonzero, within 2^-63 relative.
// With a = min(y, |x|), b = max(y, |x|), t = a/b (one rounding), the point
// c = j/128 nearest to t and h = t - c (exact, Sterbenz; |h| <= 2^-8),
// atan(t) = atan(c) + h (a_1 + a_2 h + ... + a_8 h^7), the Taylor expansion
// at c read from a table: no second division, and the first omitted term
// |h|^9/9 stays below 2^-67 of atan(t).  The placement K +- atan(t)
// (K = 0, pi/2, pi) never cancels: atan(t) <= pi/4 <= K/2.
inline long double atan2_pos(long double y, long double x) {
  using kel::catan_data::kRows;
  constexpr long double kShifter = 0x1.8p56L;  // its ulp is 2^-7: t + kShifter rounds t to c
  const long double ax = __builtin_fabsl(x);
  const bool swap = y > ax, negative = x < 0;
  const long double t = swap ? ax / y : y / ax;
  const long double s = t + kShifter;
  uint64_t mant;  // the significand's low bits are j (an 80-bit store, read back in part)
  __builtin_memcpy(&mant, &s, sizeof mant);
  const kel::catan_data::Row& r = kRows[mant & 0xFF];
  const long double h = t - (s - kShifter);
  const long double h2 = h * h;
  const double* a = r.a;
  const long double p = ((r.a1 + h * a[0]) + h2 * (a[1] + h * a[2])) +
                        (h2 * h2) * ((a[3] + h * a[4]) + h2 * (a[5] + h * a[6]));
  // K + sign atan(t), K and sign by an integer index instead of a branch on
  // the data's signs; the heads K + sign atan(c) summed while p is evaluated.
  const kel::catan_data::Placement& k = kel::catan_data::kPlacements[2 * swap + negative];
  const long double head = k.hi + k.sign * r.hi;
  return head + ((k.lo + k.sign * r.lo) + (k.sign * h) * p);
}

// ln 2 in two pieces, the head of 29 bits (k ln2_hi exact for any exponent k).
inline constexpr long double kLn2Hi = 256 * kel::expl::kLn2Over256[0], kLn2Lo = 256 * kel::expl::kLn2Over256[1];

// ln(1 + s) - s for |s| < 2^-8: Taylor to s^8, within 2^-66 |s|.  With
// double coefficients (C = double) the error they add stays below 2^-79 |s|.
template <class C = long double>
inline long double log1p_minus_s(long double s) {
  constexpr C c[7] = {-1.0L / 2, 1.0L / 3, -1.0L / 4, 1.0L / 5, -1.0L / 6, 1.0L / 7, -1.0L / 8};
  const long double s2 = s * s, s4 = s2 * s2;
  return s2 * (((c[0] + s * c[1]) + s2 * (c[2] + s * c[3])) + s4 * ((c[4] + s * c[5]) + s2 * c[6]));
}

// ln(w + e) for 1 <= w < 2^1000 and |e| <= ulp(w)/2, within about 2^-63
// relative.  The exponent k and the top 8 fraction bits j of w come from one
// double store (a rounding that carries into the next cell or binade leaves
// |s| below 2^-8 all the same); with m = w 2^-k, mh = m on a 2^-31 grid and
// r_j the 11-bit reciprocal of logl's table (1 for j = 0, so that no table
// constant cancels against a small result):
//   ln(w + e) = k ln2 - ln r_j + ln(1 + s),
//   s = (mh r_j - 1) + ((m - mh) + e 2^-k) r_j,
// the first bracket exact, |s| < 2^-8, ln(1 + s) - s Taylor to s^8 (below
// 2^-66 |s|), and k ln2_hi - ln r_j's head exact.
inline long double log_sum(long double w, long double e) {
  constexpr long double kTwo32H = 0x1.8p32L;  // rounds [1, 2) to a 2^-31 grid
  const uint64_t wb = bits_rounded_to_double(w);
  const int k = static_cast<int>(wb >> 52) - 1023;
  const unsigned j = static_cast<unsigned>(wb >> 44) & 0xFF;
  const long double scale = double_from_bits(static_cast<uint64_t>(1023 - k) << 52);  // 2^-k
  const long double m = w * scale;
  const long double mh = (m + kTwo32H) - kTwo32H;
  const long double r = j == 0 ? 1.0L : orx_orx_rcp_table_256[j];
  const long double u = mh * r - 1;
  const long double t = ((m - mh) + e * scale) * r;
  const long double s = u + t;
  const long double poly = log1p_minus_s(s);
  const long double fk = k;
  const long double hi = fk * kLn2Hi + (j == 0 ? 0.0L : orx_orx_logl_table_256[j][0]);
  const long double lo = fk * kLn2Lo + (j == 0 ? 0.0L : orx_orx_logl_table_256[j][1]);
  return ((t + poly) + lo) + (u + hi);
}

// ln(1 + q) for 0 <= q < 2^999: w + e = 1 + q exactly (Fast2Sum, the larger
// operand first), then log_sum.
inline long double log1p_pos(long double q) {
  const long double w = 1 + q;
  return log_sum(w, q > 1 ? (q - w) + 1 : (1 - w) + q);
}

}  // namespace kel::fast

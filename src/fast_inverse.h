// Short extended-precision arctangent and logarithms, for the complex inverse
// functions (src/cinverse.cpp), the complex power (src/cpow.cpp) and the real
// Atan2 (src/invtrig.cpp).  They serve arguments their callers have already
// screened (finite, nonzero, of known sign), skip the special-value logic and
// the double-length arithmetic of the exported long-double kernels, and are
// accurate to a few units of 2^-64 relative: enough, since their own
// arguments carry errors of that size and each result part is rounded once to
// double afterwards.  They run under the frame's 64-bit precision, rounding to
// nearest.
#pragma once

#include "catan_data.h"
#include "expl.h"
#include "fp.h"
#include "kelvm.h"
#include "x87.h"

namespace kel::cplx::fast {

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
  constexpr long double kLn2Hi = 256 * kel::expl::kLn2Over256[0], kLn2Lo = 256 * kel::expl::kLn2Over256[1];
  const uint64_t wb = bits_rounded_to_double(w);
  const int k = static_cast<int>(wb >> 52) - 1023;
  const unsigned j = static_cast<unsigned>(wb >> 44) & 0xFF;
  const long double scale = double_from_bits(static_cast<uint64_t>(1023 - k) << 52);  // 2^-k
  const long double m = w * scale;
  const long double mh = (m + kTwo32H) - kTwo32H;
  const long double r = j == 0 ? 1.0L : orx_orx_rcp_table_256[j];
  const long double u = mh * r - 1;
  const long double t = ((m - mh) + e * scale) * r;
  constexpr long double c[7] = {-1.0L / 2, 1.0L / 3, -1.0L / 4, 1.0L / 5, -1.0L / 6, 1.0L / 7, -1.0L / 8};
  const long double s = u + t, s2 = s * s, s4 = s2 * s2;
  const long double poly = s2 * (((c[0] + s * c[1]) + s2 * (c[2] + s * c[3])) + s4 * ((c[4] + s * c[5]) + s2 * c[6]));
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

}  // namespace kel::cplx::fast

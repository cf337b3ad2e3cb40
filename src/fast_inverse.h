// Short extended-precision kernels of the complex inverse functions
// (src/cinverse.cpp).  They serve arguments the complex kernels have already
// screened (finite, nonzero, of known sign), skip the special-value logic and
// the double-length arithmetic of the exported long-double kernels, and are
// accurate to a few units of 2^-64 relative: enough, since their own
// arguments carry errors of that size and each result part is rounded once to
// double afterwards.  They run under the complex frame's 64-bit precision,
// rounding to nearest.
#pragma once

#include "atan2l_data.h"
#include "expl.h"
#include "fp.h"
#include "kelvm.h"
#include "x87.h"

namespace kel::cplx::fast {

// atan2(y, x) for y > 0 and x finite and nonzero, within 2^-62.5 relative.
// With a = min(y, |x|), b = max(y, |x|), t = a/b (one rounding) and the table
// point c = j/64 nearest to t, atan(t) = atan(c) + atan(v) with
// v = (t - c)/(1 + c t): t - c is exact (Sterbenz), |v| <= 1/128, and
// atan(v) - v to v^9 (Taylor) leaves below 2^-70 |v|.  The placement
// K +- atan(t) (K = 0, pi/2, pi) never cancels: atan(t) <= pi/4 <= K/2.
inline long double atan2_pos(long double y, long double x) {
  const kel::atan2l_data::Tables& k = kel::atan2l_data::kTables;
  constexpr long double kShifter = 0x1.8p63L;  // rounds 64 t to an integer
  const long double ax = __builtin_fabsl(x);
  const bool swap = y > ax;
  const long double t = swap ? ax / y : y / ax;
  const long double n = (t * 64 + kShifter) - kShifter;
  const long double c = n * 0x1p-6L;
  // j = n read from the low bits of a double store (n + 2^52 + 2^51 is exact).
  const unsigned j = static_cast<unsigned>(bits_rounded_to_double(n + 0x1.8p52L)) & 127;
  const long double v = (t - c) / (1 + c * t);
  const long double v2 = v * v;
  const long double* p = k.poly;
  const long double at =
      k.rows[j].hi + (v + (k.rows[j].lo + v * v2 * ((p[0] + v2 * p[1]) + (v2 * v2) * (p[2] + v2 * p[3]))));
  if (!swap) return x > 0 ? at : k.pi.hi + (k.pi.lo - at);
  return k.pio2.hi + (k.pio2.lo + (x > 0 ? -at : at));
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

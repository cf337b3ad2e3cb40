// Long-double sine, cosine and tangent: orxsinl_scalar, orxcosl_scalar,
// orxsincosl_scalar, orxtanl_scalar.
//
// Method.  x = k pi/2 + r with |r| <= pi/4 (plus 2^-40 in the medium range),
// r carried as a pair rh + rl of about 128 bits:
//   |x| < pi/4      r = x, k = 0;
//   |x| < 2^20      Cody-Waite: k from x * 2/pi with the 1.5 * 2^63 shifter,
//                   then x - k P1 - k P2 - k P3 - k P4 where P1..P3 hold 44
//                   bits each (k P is exact for |k| < 2^20) and P4 the next 64;
//   otherwise       Payne-Hanek on integers: the 64-bit significand times a
//                   288-bit window of 2/pi chosen by the exponent, so the
//                   quadrant and at least 190 fraction bits are exact; the
//                   fraction times pi/2 gives r.
// Over the whole long-double range x 2/pi comes no closer to an integer than
// about 2^-76 (the hardest cases, found by continued fractions, are in the
// tests), so both reductions leave r with more than 96 good bits.
// Then |r| = j/64 + u, |u| <= 1/128, and
//   sin(j/64 + u) = S_j cos u + C_j sin u,  cos(j/64 + u) = C_j cos u - S_j sin u
// with S_j, C_j from the table as head + tail, the products C_j u and S_j u
// exact (Dekker), and Taylor polynomials for sin u - u and cos u - 1 whose
// contribution is below 2^-14 of the result.  The tangent divides the two
// head + tail pairs (tan r, or -cos r / sin r for odd k) with one rounding.
// Measured error: below 0.51 ulp of the 64-bit significand on every range
// (see tests/ld_trig_test.cpp).
//
// All arithmetic assumes the caller's 64-bit precision with rounding to
// nearest; the control word is never touched.  Special values: sin(+-0) = +-0
// and cos(+-0) = 1 exactly; |x| < 2^-32 gives x and 1 with the inexact flag
// (and underflow for a subnormal x); infinities give NaN with the invalid
// flag; NaNs propagate quietly.
#include "api.h"
#include "ld_trig.h"
#include "sincosl_data.h"
#include "x87.h"

namespace {

using namespace kel::ld;
using kel::Ld;
using kel::LdBits;
using kel::sincosl_data::kTables;

constexpr long double kShifter = 0x1.8p63L;  // 1.5 * 2^63: adding it rounds to an integer
constexpr long double kPio4 = 0x1.921fb54442d18469898cc51701b8p-1L;

struct Reduced {
  long double hi, lo;  // r = hi + lo
  uint32_t quadrant;   // k mod 4
};

// Cody-Waite for pi/4 <= ax < 2^20.
inline Reduced reduce_medium(long double ax) {
  const kel::sincosl_data::Tables& t = kTables;
  const long double sh = ax * t.two_over_pi + kShifter;
  const long double k = sh - kShifter;
  const uint32_t q = static_cast<uint32_t>(Ld::bits(sh).mant) & 3;
  // ax and k P1 lie within a factor 2 of each other and are multiples of
  // ulp(ax) or 2^-64: the difference is exact.  So are the products.
  const long double a = ax - k * t.pio2_cw[0];
  const DD s = two_sum(a, -(k * t.pio2_cw[1]));
  const DD s2 = two_sum(s.hi, -(k * t.pio2_cw[2]));
  const long double tail = (s.lo + s2.lo) - k * t.pio2_cw[3];
  const DD r = fast_two_sum(s2.hi, tail);
  return {r.hi, r.lo, q};
}

// Bits [pos, pos + 64) of the little-endian word array p (zero beyond it).
inline uint64_t bits_at(const uint32_t* p, int pos) {
  const int w = pos >> 5, sh = pos & 31;
  const uint64_t lo = p[w] | static_cast<uint64_t>(p[w + 1]) << 32;
  const uint64_t hi = p[w + 2];
  return sh ? (lo >> sh) | (hi << (64 - sh)) : lo;
}

// Payne-Hanek for finite ax >= 2^20, given its fields.
__attribute__((noinline)) Reduced reduce_large(LdBits f) {
  // ax = M 2^e, M the 64-bit significand.  The words of 2/pi before j0 only
  // contribute multiples of 4 to ax * 2/pi; nine words from j0 leave at
  // least 255 fraction bits, of which the truncated tail spoils the last 64.
  const int e = static_cast<int>(f.se & Ld::kExponentMask) - static_cast<int>(Ld::kBias) - 63;
  const int j0 = e >= 2 ? (e - 2) >> 5 : 0;
  constexpr int kN = 9;
  uint32_t w[kN];
  for (int i = 0; i < kN; ++i) w[i] = kTables.two_over_pi_bits[j0 + kN - 1 - i];  // little-endian

  // P = M * W, 11 words, plus two zero words for bits_at.
  uint32_t p[kN + 4] = {};
  const uint32_t m[2] = {static_cast<uint32_t>(f.mant), static_cast<uint32_t>(f.mant >> 32)};
  for (int a = 0; a < 2; ++a) {
    uint64_t carry = 0;
    for (int i = 0; i < kN; ++i) {
      const uint64_t t = static_cast<uint64_t>(m[a]) * w[i] + p[a + i] + carry;
      p[a + i] = static_cast<uint32_t>(t);
      carry = t >> 32;
    }
    p[a + kN] = static_cast<uint32_t>(carry);
  }

  // The binary point of P * 2^(e - 32 (j0 + 9)) lies at bit b.
  const int b = 32 * (j0 + kN) - e;
  uint32_t q = static_cast<uint32_t>(bits_at(p, b)) & 3;
  uint64_t f0 = bits_at(p, b - 64), f1 = bits_at(p, b - 128), f2 = bits_at(p, b - 192);
  uint32_t sign = 0;
  if (f0 >> 63) {  // fraction >= 1/2: use fraction - 1 and the next quadrant
    q = (q + 1) & 3;
    sign = 0x8000;
    f0 = ~f0, f1 = ~f1, f2 = ~f2;
    if (++f2 == 0 && ++f1 == 0) ++f0;
  }
  // Normalise the 192-bit fraction (it is never zero: pi is irrational and
  // the hardest long double leaves about 76 leading zero bits).
  int z = 0;
  while (f0 == 0 && z < 128) f0 = f1, f1 = f2, f2 = 0, z += 64;
  const int c = __builtin_clzll(f0);
  if (c) {
    f0 = (f0 << c) | (f1 >> (64 - c));
    f1 = (f1 << c) | (f2 >> (64 - c));
  }
  z += c;
  const long double fh = Ld::make(f0, Ld::kBias - 1 - z);
  long double fl = 0;
  if (f1) {
    const int c1 = __builtin_clzll(f1);
    fl = Ld::make(f1 << c1, Ld::kBias - 1 - 64 - z - c1);
  }
  // r = (fh + fl) * pi/2, with a relative error below 2^-124.
  const DD& pio2 = kTables.pio2;
  const DD pr = two_prod(fh, pio2.hi);
  const DD r = fast_two_sum(pr.hi, pr.lo + (fh * pio2.lo + fl * pio2.hi));
  if (sign) return {-r.hi, -r.lo, q};
  return {r.hi, r.lo, q};
}

// sin and cos of a reduced argument 0 <= rh + rl, split at the table point.
struct Point {
  const kel::sincosl_data::Row* row;
  long double d, rl;  // r = j/64 + d + rl, d exact
  long double ps, pc; // sin u - u, cos u - 1 for u = d + rl
};

inline Point locate(long double rh, long double rl) {
  const kel::sincosl_data::Tables& t = kTables;
  const long double sh = rh * 64 + kShifter;
  // 0 <= rh <= pi/4 under round to nearest puts j in [0, 51].  The kernels
  // are not built for directed rounding, where the reduction can leave rh
  // slightly outside that interval; the clamp keeps the row inside the table
  // there (the result is then meaningless, but no read leaves the table).
  constexpr uint32_t kLastRow = sizeof t.rows / sizeof t.rows[0] - 1;
  const uint32_t j = __builtin_expect((static_cast<uint32_t>(Ld::bits(sh).mant) & 63) > kLastRow, 0)
                         ? kLastRow
                         : static_cast<uint32_t>(Ld::bits(sh).mant) & 63;
  const long double d = rh - (sh - kShifter) * 0x1p-6L;  // exact: same binade scale
  const long double u = d + rl;
  const long double u2 = u * u;
  const long double ps = u * u2 * (t.sin_poly[0] + u2 * (t.sin_poly[1] + u2 * (t.sin_poly[2] + u2 * t.sin_poly[3])));
  const long double pc = u2 * (t.cos_poly[0] + u2 * (t.cos_poly[1] + u2 * (t.cos_poly[2] + u2 * t.cos_poly[3])));
  return {&t.rows[j], d, rl, ps, pc};
}

// S cos u + C sin u = S_hi + C_hi d + (the small terms), as head + tail.
inline DD sin_dd(const Point& p) {
  const kel::sincosl_data::Row& w = *p.row;
  const DD cd = two_prod(w.cos_hi, p.d);
  const DD h = fast_two_sum(w.sin_hi, cd.hi);
  const long double tail =
      cd.lo + w.sin_lo + w.cos_hi * p.rl + w.cos_lo * p.d + (w.sin_hi * p.pc + w.cos_hi * p.ps);
  return {h.hi, h.lo + tail};
}

// C cos u - S sin u = C_hi - S_hi d + (the small terms), as head + tail.
inline DD cos_dd(const Point& p) {
  const kel::sincosl_data::Row& w = *p.row;
  const DD sd = two_prod(w.sin_hi, p.d);
  const DD h = fast_two_sum(w.cos_hi, -sd.hi);
  const long double tail =
      w.cos_lo - sd.lo - w.sin_hi * p.rl - w.sin_lo * p.d + (w.cos_hi * p.pc - w.sin_hi * p.ps);
  return {h.hi, h.lo + tail};
}

inline long double sin_at(const Point& p) {
  const DD v = sin_dd(p);
  return v.hi + v.lo;
}
inline long double cos_at(const Point& p) {
  const DD v = cos_dd(p);
  return v.hi + v.lo;
}

// n / d for head + tail pairs, rounded once: the quotient head q, the exact
// remainder n_hi - q d_hi (Dekker product, Sterbenz subtraction), one
// correction.
inline long double divide(const DD& n, const DD& d) {
  const long double q = n.hi / d.hi;
  const DD qd = two_prod(q, d.hi);
  return q + (((n.hi - qd.hi) - qd.lo) + n.lo - q * d.lo) / d.hi;
}

inline long double negate_if(long double v, bool neg) { return neg ? -v : v; }

enum : int { kSine = 1, kCosine = 2, kTangent = 4 };

// Stores sin(x) to *sn and cos(x) to *cs for the members of Want; for
// kTangent, tan(x) to *sn.
template <int Want>
inline void sincos(long double x, long double* sn, long double* cs) {
  const LdBits f = Ld::bits(x);
  const uint32_t e = f.se & Ld::kExponentMask;
  const bool xneg = (f.se >> 15) != 0;

  if (__builtin_expect(e == Ld::kExponentMask || Ld::is_unnormal(f), 0)) {
    // Infinity: invalid, NaN.  NaN: quieted.  Unnormal: invalid, NaN.
    const long double r = (e == Ld::kExponentMask && f.mant == 0x8000000000000000ull) ? x - x : x + x;
    if (Want & (kSine | kTangent)) *sn = r;
    if (Want & kCosine) *cs = r;
    return;
  }
  if (e < Ld::kBias - 32) {  // |x| < 2^-32: sin x = tan x = x, cos x = 1 after rounding
    raise_tiny_argument_flags(x, f, Want & (kSine | kTangent));
    if (Want & (kSine | kTangent)) *sn = x;
    if (Want & kCosine) *cs = 1.0L;
    return;
  }

  const long double ax = Ld::make(f.mant, e);
  Reduced r;
  if (ax < kPio4)
    r = {ax, 0.0L, 0};
  else if (e < Ld::kBias + 20)  // |x| < 2^20
    r = reduce_medium(ax);
  else
    r = reduce_large(f);

  const bool rneg = r.hi < 0;
  const Point p = rneg ? locate(-r.hi, -r.lo) : locate(r.hi, r.lo);
  const bool odd = r.quadrant & 1;
  // sin(x) = sin(r), cos(r), -sin(r), -cos(r) for k = 0..3 (then x's sign);
  // cos(x) = cos(r), -sin(r), -cos(r), sin(r).
  if constexpr (Want == (kSine | kCosine)) {
    const long double s = negate_if(sin_at(p), rneg), c = cos_at(p);
    *sn = negate_if(odd ? c : s, ((r.quadrant & 2) != 0) != xneg);
    *cs = negate_if(odd ? s : c, ((r.quadrant + 1) & 2) != 0);
  } else if constexpr (Want == kSine) {
    const long double v = odd ? cos_at(p) : negate_if(sin_at(p), rneg);
    *sn = negate_if(v, ((r.quadrant & 2) != 0) != xneg);
  } else if constexpr (Want == kCosine) {
    const long double v = odd ? negate_if(sin_at(p), rneg) : cos_at(p);
    *cs = negate_if(v, ((r.quadrant + 1) & 2) != 0);
  } else {
    // tan(x) = tan(r) for even k, -cos(r)/sin(r) for odd k; odd in r and x.
    // The tails are up to 2^-14 of the heads: renormalise before dividing.
    const DD s0 = sin_dd(p), c0 = cos_dd(p);
    const DD s = fast_two_sum(s0.hi, s0.lo), c = fast_two_sum(c0.hi, c0.lo);
    *sn = negate_if(odd ? -divide(c, s) : divide(s, c), rneg != xneg);
  }
}

}  // namespace

KEL_API long double orxsinl_scalar(long double x) {
  long double s;
  sincos<kSine>(x, &s, nullptr);
  return s;
}

KEL_API long double orxcosl_scalar(long double x) {
  long double c;
  sincos<kCosine>(x, nullptr, &c);
  return c;
}

KEL_API void orxsincosl_scalar(long double x, long double* sine, long double* cosine) {
  long double s, c;
  sincos<kSine | kCosine>(x, &s, &c);
  *sine = s;
  *cosine = c;
}

KEL_API long double orxtanl_scalar(long double x) {
  long double t;
  sincos<kTangent>(x, &t, nullptr);
  return t;
}

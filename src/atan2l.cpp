// Long-double arctangent of y/x in the quadrant of (x, y), orxatan2l_scalar,
// and the arctangent orxatanl_scalar.
//
// Method.  With a = min(|x|, |y|) and b = max(|x|, |y|), both scaled by the
// same power of 2 so that b lies in [1, 2), the kernel computes atan(a/b) in
// [0, pi/4] as a head + tail pair and places it:
//   |y| <= |x|:  x > 0: atan(a/b)        x < 0: pi - atan(a/b)
//   |y| >  |x|:  x > 0: pi/2 - atan(a/b) x < 0: pi/2 + atan(a/b)
// and gives the result the sign of y.  For t = a/b the table point c = j/64
// nearest to t gives
//   atan(t) = atan(c) + atan(v),  v = (a - c b) / (b + c a),  |v| <= 1/128,
// where a - c b is formed exactly (Dekker product, Sterbenz subtraction),
// b + c a to 128 bits and v by a double-length division, so t itself is never
// rounded.  atan(v) - v is a Taylor polynomial to v^11 (truncation below
// 2^-86 relative).  A ratio below 2^-80 gives atan(t) = t = a/b, divided from
// the unscaled arguments so that tiny quotients round once into the subnormal
// range.  Measured error: below 0.51 ulp of the 64-bit significand.
//
// Special values follow C99 Annex F: atan2(+-0, +-0) = +-0 or +-pi by the
// sign of x, atan2(+-y, 0) = +-pi/2, atan2(+-inf, +-inf) = +-pi/4 or
// +-3pi/4, atan2(+-y, +inf) = +-0, atan2(+-y, -inf) = +-pi; NaNs propagate.
// Runs under the caller's 64-bit precision, rounding to nearest.
#include "api.h"
#include "atan2l_data.h"
#include "ld_trig.h"
#include "x87.h"

namespace {

using namespace kel::ld;
using kel::Ld;
using kel::LdBits;

constexpr long double kShifter = 0x1.8p63L;

inline long double negate_if(long double v, bool neg) { return neg ? -v : v; }

// A head + tail constant, rounded once (inexact, as the exact value is
// irrational).
inline long double constant(const DD& k) { return kel::opaque(k.hi) + k.lo; }

// atan(a / b) for 0 < a <= b, with b in [1, 2) and a >= 2^-81.
inline DD atan_ratio(long double a, long double b) {
  const kel::atan2l_data::Tables& t = kel::atan2l_data::kTables;
  const long double sh = (a / b) * 64 + kShifter;
  const uint32_t j = static_cast<uint32_t>(Ld::bits(sh).mant) & 127;
  const long double c = (sh - kShifter) * 0x1p-6L;

  // Numerator a - c b exactly: a and c b agree to within a factor 2 for j > 0.
  const DD cb = two_prod(c, b);
  const DD num = two_sum(a - cb.hi, -cb.lo);
  // Denominator b + c a to about 128 bits.
  const DD ca = two_prod(c, a);
  const DD s = two_sum(b, ca.hi);
  const DD den = fast_two_sum(s.hi, s.lo + ca.lo);
  // v = num / den in double length.
  const long double vh = num.hi / den.hi;
  const DD vd = two_prod(vh, den.hi);
  const long double vl = (((num.hi - vd.hi) - vd.lo) + num.lo - vh * den.lo) / den.hi;

  const long double v2 = vh * vh;
  const long double* p = t.poly;
  const long double poly = vh * v2 * (p[0] + v2 * (p[1] + v2 * (p[2] + v2 * (p[3] + v2 * p[4]))));
  const DD& row = t.rows[j];
  const DD h = fast_two_sum(row.hi, vh);
  return {h.hi, h.lo + (row.lo + vl + poly)};
}

inline long double atan2_core(long double y, long double x) {
  const kel::atan2l_data::Tables& t = kel::atan2l_data::kTables;
  LdBits fy = Ld::bits(y), fx = Ld::bits(x);
  const uint32_t ey = fy.se & Ld::kExponentMask, ex = fx.se & Ld::kExponentMask;
  const bool yneg = (fy.se >> 15) != 0, xneg = (fx.se >> 15) != 0;
  constexpr uint64_t kInfMant = 0x8000000000000000ull;

  // NaNs (and the invalid unnormal encodings) propagate through x + y.
  if ((ey == Ld::kExponentMask && fy.mant != kInfMant) || (ex == Ld::kExponentMask && fx.mant != kInfMant) ||
      Ld::is_unnormal(fy) || Ld::is_unnormal(fx))
    return x + y;
  if (ey == Ld::kExponentMask) {  // y infinite
    if (ex == Ld::kExponentMask) return negate_if(constant(xneg ? t.three_pio4 : t.pio4), yneg);
    return negate_if(constant(t.pio2), yneg);
  }
  if (ex == Ld::kExponentMask) return xneg ? negate_if(constant(t.pi), yneg) : negate_if(0.0L, yneg);
  if (fy.mant == 0) return xneg ? negate_if(constant(t.pi), yneg) : y;  // y = +-0
  if (fx.mant == 0) return negate_if(constant(t.pio2), yneg);            // x = +-0, y != 0

  // Finite and nonzero.  a = min(|x|, |y|) <= b = max(|x|, |y|).
  long double ay = Ld::make(fy.mant, ey), ax = Ld::make(fx.mant, ex);
  const bool swap = ay > ax;
  long double a = swap ? ax : ay, b = swap ? ay : ax;
  // Placement: result = +-(K + sa * atan(a/b)).
  const DD zero = {0.0L, 0.0L};
  const DD& k = swap ? t.pio2 : (xneg ? t.pi : zero);
  const bool sub = swap != xneg;  // K - atan for (x > 0, swapped) and (x < 0, not swapped)

  DD at;
  LdBits fa = Ld::bits(a), fb = Ld::bits(b);
  if (fb.se < 128) {  // b tiny (perhaps subnormal): scale both up, exactly
    a *= 0x1p256L, b *= 0x1p256L;  // b >= 2^-16189 afterwards
    fa = Ld::bits(a), fb = Ld::bits(b);
  }
  const int delta = static_cast<int>(fb.se) - static_cast<int>(fa.se);  // a, b >= 0: se is the exponent
  if (delta > 80) {
    // atan(t) = t (1 - t^2/3 + ...) rounds like t.  Placed against K the
    // exact t no longer matters beyond its being tiny: use 2^-100 to avoid
    // a spurious underflow.
    long double ratio;
    if (swap || xneg) {
      ratio = delta > 120 ? 0x1p-100L : a / b;
    } else {
      ratio = a / b;
      if ((Ld::bits(ratio).se & Ld::kExponentMask) == 0) kel::raise_by_store<long double>(kel::opaque(ratio) * ratio);
      kel::raise_by_store<long double>(kel::opaque(1.0L) + 0x1p-100L);  // atan(t) != t
    }
    at = {ratio, 0.0L};
  } else {
    const long double bs = Ld::make(fb.mant, Ld::kBias);
    const long double as = Ld::make(fa.mant, Ld::kBias - static_cast<uint32_t>(delta));
    at = atan_ratio(as, bs);
  }

  long double r;
  if (!swap && !xneg) {
    r = at.hi + at.lo;
  } else {
    const DD h = two_sum(k.hi, sub ? -at.hi : at.hi);
    r = h.hi + (h.lo + (k.lo + (sub ? -at.lo : at.lo)));
  }
  return negate_if(r, yneg);
}

}  // namespace

KEL_API long double orxatan2l_scalar(long double y, long double x) { return atan2_core(y, x); }

// atan(x) = atan2(x, 1): the same placement and error, with atan(+-inf) =
// +-pi/2 and a tiny x returned as itself (inexact, and underflow when
// subnormal).
KEL_API long double orxatanl_scalar(long double x) { return atan2_core(x, 1.0L); }

// Real long-double power orxpowl_scalar(x, y) = x^y, and the double-length
// logarithm it shares with the complex power.
//
// Logarithm (kel::pw::log_dd).  v = 2^k m with 1 <= m < 2; m is cut to mh on a
// 2^-31 grid and multiplied by r_j, the 11-bit reciprocal of the midpoint of
// its 1/256 sub-interval (the exported tables of logl), so that
//   ln v = k ln2 - ln r_j + ln(1 + s),  s = u + t,  u = mh r_j - 1 (exact),
//   t = (m - mh) r_j (exact) plus the low part of v times r_j,
// with |s| < 2^-8.  The first and last sub-intervals, where ln v may be tiny
// and would cancel against the table, take r = 1 instead (m or m/2 near 1).
// ln(1 + s) = s - s^2/2 + s^3 P(s): s and s^2/2 are carried in double length
// (Dekker product), P to s^10 in extended precision (truncation below 2^-80
// relative).  k ln2 uses a 48-bit head (k ln2_hi exact) and a 64-bit tail;
// -ln r_j the table's head and tail (about 83 bits).  Relative error below
// 2^-78.
//
// Power.  For finite x > 0 and finite y, t = y ln x in double length and
// x^y = e^t_hi (1 + t_lo) with the extended-precision exponential: at most
// |t| 2^-78 + 2^-64 relative before the final rounding: measured at most 1.9
// ulp of the 64-bit significand over 2 * 10^5 arguments.  Exact cases are
// exact: a power of two with an integer exponent k y, an integer exponent
// |y| <= 64 whose repeated squaring stays exact in 64 bits (1/x^|y| is then
// rounded once), y = 1/2 by the correctly rounded square root.
//
// Special values follow C99 Annex F (pow): x^(+-0) = 1 and 1^y = 1 even for
// NaNs; (-1)^(+-inf) = 1; (+-0)^y is +-0 or +0 for y > 0 and +-inf or +inf
// with divide-by-zero for y < 0 (the sign for odd integers y); |x| < 1 or > 1
// with y = +-inf gives +0 or +inf; infinite x gives the signed zero or
// infinity of C; x < 0 with a finite non-integer y is NaN with invalid; other
// NaNs propagate.  Runs under the caller's 64-bit precision.
#include "api.h"
#include "powl.h"
#include "x87.h"

namespace {

using kel::ld::DD;
using kel::Ld;
using kel::LdBits;

constexpr long double kLn2Hi = 0xb.17217f7d1cfp-4L;  // 48 bits
constexpr long double kLn2Lo = 0x7.9abc9e3b39803f3p-52L;
constexpr long double kTwo32H = 0x1.8p+32L;  // rounds [1, 2) to a 2^-31 grid
constexpr uint64_t kLeading = Ld::kLeadingBit;
constexpr uint32_t kExpMask = Ld::kExponentMask;

// ln(1 + s) - s + s^2/2 = s^3 (1/3 - s/4 + s^2/5 - ...), to s^10.
inline long double log1p_tail(long double s) {
  constexpr long double c[8] = {1.0L / 3, -1.0L / 4, 1.0L / 5, -1.0L / 6, 1.0L / 7, -1.0L / 8, 1.0L / 9, -1.0L / 10};
  long double p = c[7];
  for (int i = 6; i >= 0; --i) p = c[i] + s * p;
  return s * s * s * p;
}

enum class Parity { kNone, kOdd, kEven };

// Whether a finite long double is an integer, and which.
Parity parity(LdBits f) {
  const int e = static_cast<int>(f.se & kExpMask) - 16383;
  if (e < 0) return f.mant == 0 ? Parity::kEven : Parity::kNone;
  if (e > 63) return Parity::kEven;
  if (e < 63 && (f.mant << (e + 1)) != 0) return Parity::kNone;
  return (f.mant >> (63 - e)) & 1 ? Parity::kOdd : Parity::kEven;
}

// NaNs and the encodings the x87 refuses as operands both give a NaN.
inline bool is_nan_or_unnormal(LdBits f) { return Ld::is_nan(f) || Ld::is_unnormal(f); }

// An integral long double of magnitude below 2^31 as an int, read from the
// significand after a shifter addition (no fistp, no control-word change).
inline int to_int(long double v) {
  return static_cast<int32_t>(static_cast<uint32_t>(Ld::bits(v + 0x1.8p63L).mant));
}

// 2^n exactly for an integer n in the extended range (subnormals included).
long double exact_pow2(int n) {
  if (n >= -16382) return Ld::make(kLeading, static_cast<uint32_t>(n + 16383));
  return Ld::make(kLeading >> (-16382 - n), 0);
}

// x^y for finite x > 0, y finite and nonzero.
long double power_positive(long double x, long double y) {
  const LdBits fx = Ld::bits(x);
  // A power of two: 2^(e y) is exact when e y is an integer in range.
  if (fx.mant == kLeading && (fx.se & kExpMask) != 0) {
    const long double e = static_cast<int>(fx.se & kExpMask) - 16383;
    const DD p = kel::ld::two_prod(e, y);
    if (p.lo == 0 && p.hi >= -16445 && p.hi <= 16383 && parity(Ld::bits(p.hi)) != Parity::kNone) {
      return exact_pow2(to_int(p.hi));
    }
  }
  if (const int n = kel::pw::small_integer(y); n != 0) {
    if (n == 1) return x;
    long double p;
    if (n == -1) return 1.0L / x;
    if (kel::pw::exact_power(x, n < 0 ? -n : n, &p)) return n < 0 ? 1.0L / p : p;
  }
  if (y == 0.5L) return orxsqrtl_scalar(x);
  const DD l = kel::pw::log_dd({x, 0.0L});
  const DD p = kel::ld::two_prod(y, l.hi);
  constexpr long double kBeyondRange = 0x1p14L;  // e^t is 0 or infinite in every format
  if (p.hi > kBeyondRange || p.hi < -kBeyondRange) return orxexpl_scalar(p.hi);  // p.hi may be infinite
  DD t = kel::ld::fast_two_sum(p.hi, p.lo + y * l.lo);
  // Near the ends of the range e^t_hi alone could overflow or underflow
  // where e^t does not: take 64 ln2 out of t and put 2^64 back.
  if (t.hi > 11000 || t.hi < -11000) {
    const long double k = t.hi > 0 ? 64 : -64;
    t = kel::ld::fast_two_sum(t.hi - k * kLn2Hi, t.lo - k * kLn2Lo);  // k ln2_hi exact, subtraction exact
    const long double scale = t.hi > 0 ? 0x1p64L : 0x1p-64L;
    return (orxexpl_scalar(t.hi) * (1.0L + t.lo)) * scale;
  }
  return orxexpl_scalar(t.hi) * (1.0L + t.lo);
}

}  // namespace

namespace kel::pw {

DD log_dd(DD v) {
  long double hi = v.hi, lo = v.lo;
  int k = 0;
  if ((Ld::bits(hi).se & kExpMask) == 0) {  // subnormal: scale into the normal range
    hi *= 0x1p200L;
    lo *= 0x1p200L;
    k = -200;
  }
  const LdBits f = Ld::bits(hi);
  const int e = f.se & kExpMask;
  k += e - 16383;
  long double m = Ld::make(f.mant, 16383);
  long double ml = lo / Ld::make(kLeading, static_cast<uint32_t>(e));
  int j = static_cast<int>(f.mant >> 55) & 0xFF;
  long double r = 1, head = 0, tail = 0;
  if (j == 255) {  // m near 2: m/2 near 1 with r = 1
    m *= 0.5L;
    ml *= 0.5L;
    ++k;
  } else if (j != 0) {
    r = orx_orx_rcp_table_256[j];
    head = orx_orx_logl_table_256[j][0];
    tail = orx_orx_logl_table_256[j][1];
  }
  const long double mh = (m + kTwo32H) - kTwo32H;
  const long double u = mh * r - 1.0L;
  const long double t = (m - mh) * r + ml * r;
  const DD s = ld::two_sum(u, t);
  const DD sq = ld::two_prod(s.hi, s.hi);
  const DD a = ld::fast_two_sum(s.hi, -0.5L * sq.hi);
  const long double low = a.lo + ((s.lo - s.hi * s.lo) - 0.5L * sq.lo + log1p_tail(s.hi));
  const long double fk = k;
  const DD h = ld::two_sum(fk * kLn2Hi + head, a.hi);  // k ln2_hi + head is exact
  return ld::fast_two_sum(h.hi, h.lo + (low + (fk * kLn2Lo + tail)));
}

int small_integer(long double y) {
  const LdBits f = Ld::bits(y);
  const int e = static_cast<int>(f.se & Ld::kExponentMask) - 16383;
  if (e < 0 || e > 6 || (f.mant << (e + 1)) != 0) return 0;
  const int n = static_cast<int>(f.mant >> (63 - e));
  if (n > 64) return 0;
  return (f.se >> 15) != 0 ? -n : n;
}

bool exact_power(long double a, int n, long double* out) {
  // Left-to-right binary powering; a product is exact when Dekker's error
  // term is zero, and stays away from overflow and underflow (checked on the
  // operands, so the error term itself is exact).
  constexpr long double kLimit = 0x1p8000L, kTiny = 0x1p-8000L;
  const long double aa = __builtin_fabsl(a);
  if (aa > kLimit || aa < kTiny) return false;
  int bit = 31 - __builtin_clz(static_cast<unsigned>(n));
  long double p = a;
  while (--bit >= 0) {
    DD q = ld::two_prod(p, p);
    if (q.lo != 0 || q.hi > kLimit || q.hi < kTiny) return false;
    p = q.hi;
    if ((n >> bit) & 1) {
      q = ld::two_prod(p, a);
      if (q.lo != 0 || __builtin_fabsl(q.hi) > kLimit || __builtin_fabsl(q.hi) < kTiny) return false;
      p = q.hi;
    }
  }
  *out = p;
  return true;
}

}  // namespace kel::pw

KEL_API long double orxpowl_scalar(long double x, long double y) {
  const LdBits fx = Ld::bits(x), fy = Ld::bits(y);
  if (Ld::is_zero(fy) || (fx.se == 0x3FFF && fx.mant == kLeading)) return 1.0L;
  if (is_nan_or_unnormal(fx) || is_nan_or_unnormal(fy)) return x + y;  // quiet NaN; invalid for a signalling one
  const Parity p = Ld::is_inf(fy) ? Parity::kEven : parity(fy);
  const bool odd = p == Parity::kOdd, yneg = Ld::negative(fy);
  if (Ld::is_zero(fx)) {
    if (yneg) return 1.0L / (odd ? x : 0.0L);  // +-inf, divide-by-zero
    return odd ? x : 0.0L;
  }
  if (Ld::is_inf(fy)) {
    const long double ax = __builtin_fabsl(x);
    if (ax == 1.0L) return 1.0L;
    return (ax < 1.0L) == yneg ? __builtin_infl() : 0.0L;
  }
  if (Ld::is_inf(fx)) {
    const long double magnitude = yneg ? 0.0L : __builtin_infl();
    return Ld::negative(fx) && odd ? -magnitude : magnitude;
  }
  if (Ld::negative(fx) && p == Parity::kNone) return kel::opaque(__builtin_infl()) * kel::opaque(0.0L);  // NaN, invalid
  const long double r = power_positive(__builtin_fabsl(x), y);
  return Ld::negative(fx) && odd ? -r : r;
}

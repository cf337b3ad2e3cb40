// Powers: Pow (x[i]^y[i]) and Powx (x[i]^y, one exponent for the array).
//
// For finite x > 0 and finite y, x^y = e^t with t = y ln x.  ln x comes from
// a 256-row table and a short polynomial, no division (log_parts); e^t from
// the extended exponential's 2^(j/256) table and a Taylor polynomial
// (exp_sum), then one rounding to the destination format.  For |y| < 2^7 and
// results in the double range (power_moderate) y ln x is split so that its
// large part is one exact product and the rest is small enough for plain
// extended products; other elements take double-length ln x and Dekker's
// product (power_of_magnitude).  Before the rounding the relative error is
// below 2^-62.3 on both paths, so results are within 0.51 ulp in double
// (measured 0.500 over 10^6 arguments, including the neighbourhoods of
// overflow and underflow).
//
// The extended-precision steps need 64-bit significands: the call runs at
// 64-bit precision control, set once (kel::frame::kExtendedRealGuard), and
// drops to the real frame's 53-bit setting only around an error report.
// Float members run the same algorithm and are correctly rounded: a result
// within kPowErrorUnits of a float midpoint goes to power_accurate, which
// recognises exact powers from the operands and otherwise evaluates
// e^(y ln x) in double length (float_rounding.h).
//
// Special elements follow C99: x^(+-0) = 1 and 1^y = 1 for every x and y,
// NaNs included; otherwise a NaN operand gives a quiet NaN without a report.
// (+-0)^y for y < 0 is +inf, or +-inf for an odd integer y, with the
// singularity report; (+-0)^y for y > 0 is +0, or +-0 for an odd integer y.
// (-1)^(+-inf) = 1; |x| < 1 or > 1 with y = +-inf gives +0 or +inf exactly;
// infinite x gives the signed zero or infinity C specifies.  A finite x < 0
// with a finite non-integer y has no real power: NaN with the domain report.
// Results that overflow are stored as +-inf with the overflow report; results
// that round to a subnormal or zero are stored so and reported as underflow
// unless the operands make them exact (see exact_power).  Exact normal results such
// as 2^10 come out exactly but may raise inexact.
#include <type_traits>

#include "expl.h"
#include "float_rounding.h"
#include "frame.h"
#include "fp.h"
#include "ld_trig.h"
#include "pow_data.h"

KEL_NAME_OBJECT

namespace {

using kel::round_to;

// What kind of number a finite y is: not an integer, an odd integer or an
// even integer.  Every double of magnitude 2^53 or more is an even integer.
enum class Parity { kNone, kOdd, kEven };

inline Parity parity(double y) {
  const uint64_t b = kel::bits(y);
  const int e = static_cast<int>((b >> 52) & 0x7FF) - 1023;
  if (e < 0) return (b << 1) == 0 ? Parity::kEven : Parity::kNone;
  if (e > 52) return Parity::kEven;
  const uint64_t m = (b & ((uint64_t{1} << 52) - 1)) | (uint64_t{1} << 52);
  const int fraction_bits = 52 - e;
  if (m & ((uint64_t{1} << fraction_bits) - 1)) return Parity::kNone;
  return (m >> fraction_bits) & 1 ? Parity::kOdd : Parity::kEven;
}

using kel::is_inf;
using kel::is_nan;
using kel::is_negative;

// The reduction of ln x for finite x > 0, without a division.  x = 2^k m with
// m in [1, 2), row j of the table by the top eight fraction bits: u = m r_j - 1
// is exact (53 by 11 bits) with |u| <= 2^-8, and
//   ln x = head + u + (tail + (ln(1 + u) - u)),
// head = k ln2_hi + hi_j exact (both on the 2^-40 grid, |head| < 2^10: at
// most 50 bits) and at least as large as u unless it is zero (rows 0 and 255
// make it zero next to x = 1, where ln x = u + ...: no cancellation anywhere),
// tail = k ln2_lo + lo_j.
struct LogParts {
  long double head, u, tail;
};

inline LogParts log_parts(double x) {
  using kel::pow_data::kTables;
  uint64_t b = kel::bits(x);
  int bias = 1023;
  if (__builtin_expect((b >> 52) == 0, 0)) {  // subnormal: scaled by 2^64 exactly
    b = kel::bits(round_to<double>(x * 0x1p64L));
    bias += 64;
  }
  const int k = static_cast<int>(b >> 52) - bias;
  const kel::pow_data::LogRow& row = kTables.rows[(b >> 44) & 0xFF];
  const long double m = kel::double_from_bits((b & ((uint64_t{1} << 52) - 1)) | (uint64_t{1023} << 52));
  const long double fk = k;
  return {fk * kTables.ln2_hi + row.hi, m * row.r - 1.0L, fk * kTables.ln2_lo + row.lo};
}

// e^t for t = hi + lo, |t| < 2048, given w within 2^-10 of t, in extended
// precision: t = n ln2/256 + r with the extended exponential's constants, n
// the integer nearest w 256/ln2, hi - n L1 exact (L1 has 29 bits, |n| < 2^20),
// |r| <= ln2/512 + 2^-10 < 2^-8.7; e^r - 1 = q by its Taylor polynomial to r^6
// (truncation below 2^-73), e^t = 2^m (T + T')(1 + q) with T + T' = 2^(j/256)
// from its table (T has 30 bits), n = 256 m + j.  scale(m) returns 2^m; the
// products of the table by it are exact.  Relative error below 2^-63.9 beside
// the error of r (the roundings of the last sum and of the products and sums
// of q).  n is picked from w, not from hi + lo, so that the reduction does not
// wait for the whole of lo.
using kel::expl::k256OverLn2;
using kel::expl::kLn2Over256;
constexpr double kExpTaylor[5] = {1.0 / 2, 1.0 / 6, 1.0 / 24, 1.0 / 120, 1.0 / 720};

template <class Scale>
inline long double exp_sum(long double w, long double hi, long double lo, Scale scale) {
  constexpr long double kShifter = 0x1.8p63L;  // adding it rounds to an integer
  const long double fn = (w * k256OverLn2 + kShifter) - kShifter;
  int32_t n;
  asm("fistl %0" : "=m"(n) : "t"(fn));  // exact: fn is an integer
  const int32_t j = static_cast<int8_t>(n & 0xFF);
  const long double r = ((hi - fn * kLn2Over256[0]) - fn * kLn2Over256[1]) + lo;
  const long double s = scale((n - j) / 256);
  const long double T = orx_orx_expl_table_256[128 + j][0] * s, Tl = orx_orx_expl_table_256[128 + j][1] * s;
  const double* c = kExpTaylor;
  const long double r2 = r * r;
  const long double q = r + (r2 * (c[0] + r * c[1]) + (r2 * r2) * ((c[2] + r * c[3]) + r2 * c[4]));
  return T + (Tl + (T + Tl) * q);
}

// |x|^y for finite nonzero x and finite nonzero y, in extended precision, for
// every y: ln x = hi + lo with relative error below 2^-74 (ln(1 + u) - u by
// its Taylor polynomial to u^9, truncation below 2^-83, Estrin's scheme; its
// roundings and the table's stay below 2^-75 of ln x), y ln x = th + tl by
// Dekker's product, then e^t.  Relative error below 2^-62.5 (|y ln x| < 2^11
// contributes at most 2^-64).  Beyond |th| = 2048 every format overflows or
// underflows: 2^+-3000 stands in.
constexpr long double kLogPoly[8] = {-1.0L / 2, 1.0L / 3, -1.0L / 4, 1.0L / 5, -1.0L / 6, 1.0L / 7, -1.0L / 8, 1.0L / 9};

[[gnu::noinline]] long double power_of_magnitude(double ax, double y) {
  const LogParts l = log_parts(ax);
  const long double u = l.u, u2 = u * u, u4 = u2 * u2;
  const long double* c = kLogPoly;
  const long double poly = u2 * ((c[0] + u * c[1]) + u2 * (c[2] + u * c[3])) +
                           (u4 * u2) * ((c[4] + u * c[5]) + u2 * (c[6] + u * c[7]));
  const kel::ld::DD s = kel::ld::fast_two_sum(l.head, u);
  const kel::ld::DD ln = kel::ld::fast_two_sum(s.hi, s.lo + (l.tail + poly));
  const long double ye = y;
  const kel::ld::DD p = kel::ld::two_prod(ye, ln.hi);
  const kel::ld::DD t = kel::ld::fast_two_sum(p.hi, p.lo + ye * ln.lo);
  if (!(t.hi < 2048.0L && t.hi > -2048.0L)) return t.hi > 0 ? 0x1p3000L : 0x1p-3000L;
  return exp_sum(t.hi, t.hi, t.lo, [](int m) { return kel::Ld::pow2_field(m + kel::Ld::kBias); });
}

// The same for |y| < 2^7 and results in the normal double range, without
// double-length products: y = yh + yl with yh the top 14 bits of y, so that
// yh head is exact (14 by 50 bits) and |yl head| <= 2^-13 |y head|, and
//   y ln x = yh head + (yl head + y (u + tail)) + y (ln(1 + u) - u),
// the middle term below 2^-3.5 + 2^-1, the last below 2^-10 (so the first two
// pick n for the exponential while the polynomial is evaluated).
// ln(1 + u) - u by its Taylor polynomial to u^8 in double coefficients:
// truncation below 2^-75, which y makes 2^-68.  The roundings of the last two
// terms and of r stay below 2^-62.8 absolute, the exponential's below 2^-63.9
// relative: before the rounding to the destination the relative error is
// below 2^-62.3, 0.5008 ulp in double.  Other elements take
// power_of_magnitude.
constexpr double kLogPoly8[7] = {-1.0 / 2, 1.0 / 3, -1.0 / 4, 1.0 / 5, -1.0 / 6, 1.0 / 7, -1.0 / 8};

[[gnu::always_inline]] inline long double power_moderate(double ax, double y) {
  constexpr long double kLimit = 708;  // e^+-708 is a normal double
  if ((kel::bits(y) << 1) >= (uint64_t{1023 + 7} << 53)) return power_of_magnitude(ax, y);  // |y| >= 2^7
  const LogParts l = log_parts(ax);
  const double yh = kel::double_from_bits(kel::bits(y) & ~((uint64_t{1} << 39) - 1));
  const long double p = yh * l.head;
  const long double near = (y - yh) * l.head + y * (l.u + l.tail);
  const long double w = p + near;
  if (!(__builtin_fabsl(w) < kLimit)) return power_of_magnitude(ax, y);
  const long double u = l.u, u2 = u * u;
  const double* c = kLogPoly8;
  const long double poly = u2 * (((c[0] + u * c[1]) + u2 * (c[2] + u * c[3])) +
                                 (u2 * u2) * ((c[4] + u * c[5]) + u2 * c[6]));
  // y read again as a double operand: an extended copy kept from above would
  // be spilled by an 80-bit store and load, the dearest x87 memory accesses.
  return exp_sum(w, p, near + kel::opaque(y) * poly, [](int m) {
    return static_cast<long double>(kel::double_from_bits(static_cast<uint64_t>(m + 1023) << 52));
  });
}

// v = odd 2^exp for a finite nonzero double v (sign ignored).
struct OddScaled {
  uint64_t odd;
  int exp;
};
inline OddScaled odd_scaled(double v) {
  const uint64_t b = kel::bits(v);
  const int field = static_cast<int>((b >> 52) & 0x7FF);
  uint64_t m = b & ((uint64_t{1} << 52) - 1);
  if (field != 0) m |= uint64_t{1} << 52;
  const int tz = __builtin_ctzll(m);
  return {m >> tz, (field != 0 ? field - 1075 : -1074) + tz};
}

// The integer square root of n < 2^53 when n is a perfect square, else 0.
inline uint64_t exact_sqrt(uint64_t n) {
  const long double shifted = orxsqrtl_scalar(static_cast<long double>(n)) + 0x1.8p63L;
  const uint64_t r = kel::Ld::bits(shifted).mant - 0xC000000000000000ull;
  return r * r == n ? r : 0;
}

// Recognises from the operands a power ax^y (ax > 0, x != 1, y finite and
// nonzero) that is exactly a long double, and stores it in *out.  With
// ax = a 2^k (a odd) and y = n 2^-d (n odd, d > 0) or y an integer, ax^y is
// a dyadic rational only if ax has an exact 2^d-th root: k divisible by 2^d
// and a a perfect 2^d-th power (found by repeated integer square roots; a
// root of an odd a > 1 is at least 3, so at most five roots of a < 2^53
// succeed).  The root raised to the integer power Y is then exact if Y < 0
// only for a = 1 (1/a^|Y| is not dyadic otherwise), and for Y > 0 if a^Y fits
// in 64 bits; the exponent k Y must lie in the extended range.  Every float
// or double result and every float or double midpoint is such a long double,
// so a power that is not recognised here is inexact in every format.
bool exact_power(double ax, double y, long double* out) {
  constexpr int64_t kMaxExponent = 16000;
  const OddScaled xs = odd_scaled(ax), ys = odd_scaled(y);
  int64_t k = xs.exp;
  uint64_t a = xs.odd;
  for (int d = ys.exp; d < 0; ++d) {
    if (k % 2 != 0) return false;
    k /= 2;
    if (a > 1 && (a = exact_sqrt(a)) == 0) return false;
  }
  // |y| > 2^21 takes every x != 1 beyond the extended range.
  if (__builtin_fabs(y) > 0x1p21 || (is_negative(y) && a != 1)) return false;
  const int64_t magnitude = static_cast<int64_t>(ys.odd << (ys.exp > 0 ? ys.exp : 0));
  uint64_t power = 1;
  for (int64_t i = 0; a != 1 && i < magnitude; ++i)
    if (__builtin_mul_overflow(power, a, &power)) return false;
  const int64_t e = k * (is_negative(y) ? -magnitude : magnitude);
  if (e > kMaxExponent || e < -kMaxExponent) return false;
  *out = static_cast<long double>(power) * kel::Ld::pow2_field(static_cast<int>(e) + kel::Ld::kBias);
  return true;
}

// Error bound of power_moderate and power_of_magnitude in units of the last
// bit of their result (below 5: 2^-61.7 relative), with a margin, for the
// float screen.
constexpr uint64_t kPowErrorUnits = 64;

// The float power next to a float midpoint: exact when the operands say so,
// otherwise e^(y ln x) in double length (about 2^-105 relative for the
// |y ln x| < 2^14 of a float result), rounded as the exact value would be.
[[gnu::noinline]] long double power_accurate(double ax, double y, bool* exact) {
  long double e;
  if (exact_power(ax, y, &e)) {
    *exact = true;
    return e;
  }
  const kel::fr::DD t = kel::fr::mul({static_cast<long double>(y), 0.0L}, kel::fr::log_dd(ax));
  return kel::fr::settle(kel::fr::exp_dd(t));
}

// Stores r (exactly |x|^y when exact is set) rounded to T and tells overflow
// and underflow apart from normal results: a result below the smallest normal
// is an underflow unless it is the exact power (a power of nonzero finite
// operands is never zero), and the flag is raised even where the rounding to
// T happens to be exact for an inexact r.
template <class T>
int store_power(long double r, bool exact, T* out) {
  const T v = round_to<T>(r);
  *out = v;
  if (kel::is_inf_or_nan(v)) return kelStatusOverflow;
  const T tiny = sizeof(T) == 8 ? T(0x1p-1022) : T(0x1p-126f);
  if (v < tiny && v > -tiny && (!exact || static_cast<long double>(v) != r)) {
    kel::raise_by_store<T>(kel::opaque(static_cast<long double>(tiny)) * tiny);
    return kelStatusUnderflow;
  }
  return kelStatusNoError;
}

// Below the smallest normal of T the operands decide whether the power is
// exact (and then unreported); overflow and underflow are reported here.
template <class T>
[[gnu::noinline]] int store_beyond_normal(long double r, bool exact, double ax, double y, bool minus, T* out) {
  constexpr long double kMinNormal = sizeof(T) == 8 ? 0x1p-1022L : 0x1p-126L;
  if (!exact && r < kMinNormal) exact = exact_power(ax, y, &r);
  return store_power(minus ? -r : r, exact, out);
}

// |x|^y, negated when minus is set, stored to *out with its report.  Float
// results next to a float midpoint are settled by power_accurate.
template <class T>
[[gnu::always_inline]] inline int power_element(double ax, double y, bool minus, T* out) {
  constexpr long double kMinNormal = sizeof(T) == 8 ? 0x1p-1022L : 0x1p-126L;
  constexpr long double kMax = sizeof(T) == 8 ? 0x1.fffffffffffffp1023L : 0x1.fffffep127L;
  long double r = power_moderate(ax, y);
  bool exact = false;
  if constexpr (sizeof(T) == 4) {
    if (!kel::fr::settles<kPowErrorUnits>(r)) r = power_accurate(ax, y, &exact);
  }
  if (!(r >= kMinNormal && r <= kMax)) return store_beyond_normal(r, exact, ax, y, minus, out);
  *out = static_cast<T>(minus ? -r : r);  // the store rounds
  return kelStatusNoError;
}

// Every element that is not a finite positive x with a finite y: C99's
// special cases and negative bases.
template <class T>
[[gnu::noinline]] int pow_special(T xt, T yt, T* out) {
  const double x = xt, y = yt;
  const double inf = __builtin_inf();
  if (kel::is_zero(y) || x == 1.0) {
    *out = T(1);
    return kelStatusNoError;
  }
  if (is_nan(x) || is_nan(y)) {
    *out = round_to<T>(static_cast<long double>(x) + static_cast<long double>(y));  // quiet; invalid for signalling
    return kelStatusNoError;
  }
  const Parity p = is_inf(y) ? Parity::kEven : parity(y);
  const bool odd = p == Parity::kOdd;
  if (kel::is_zero(x)) {
    if (y < 0) {
      *out = round_to<T>(1.0L / static_cast<long double>(odd ? x : 0.0));  // +-inf, divide-by-zero
      return kelStatusSingularity;
    }
    *out = odd ? xt : T(0);
    return kelStatusNoError;
  }
  if (is_inf(y)) {
    const double ax = is_negative(x) ? -x : x;
    if (ax == 1.0) {
      *out = T(1);
    } else {
      *out = (ax < 1.0) == (y < 0) ? T(inf) : T(0);
    }
    return kelStatusNoError;
  }
  if (is_inf(x)) {
    const bool minus = is_negative(x) && odd;
    const T magnitude = y < 0 ? T(0) : T(inf);
    *out = minus ? -magnitude : magnitude;
    return kelStatusNoError;
  }
  if (p == Parity::kNone) {  // x < 0
    *out = round_to<T>(kel::opaque(static_cast<long double>(inf)) * kel::opaque(0.0L));  // NaN, invalid
    return kelStatusDomain;
  }
  return power_element(-x, y, odd, out);
}

// The element kernel for both formats: float operands are widened exactly.
// One integer test sends everything but a finite positive x (subnormals
// included) with a finite y to pow_special; x = 1 and y = 0 need no case of
// their own on the main path (ln 1 = 0 and e^0 = 1 exactly).
template <class T>
int pow_element(T xt, T yt, T* out) {
  using Bits = std::conditional_t<sizeof(T) == 8, uint64_t, uint32_t>;
  constexpr Bits kInf = sizeof(T) == 8 ? Bits{0x7FF} << 52 : Bits{0xFF} << 23;
  const Bits bx = kel::bits(xt), by = kel::bits(yt);
  if (bx - 1 < kInf - 1 && (by & (kInf | (kInf - 1))) < kInf) return power_element(xt, yt, false, out);
  // A signalling NaN operand raises invalid even where the result does not
  // depend on it (x^0 = 1).  Decided here, on the bits read from the arrays:
  // passing the operand on by value may copy it through an x87 load, which
  // quiets it and (under emulation, for floats) may not raise the flag.
  if (kel::is_signalling(xt) || kel::is_signalling(yt)) kel::raise_invalid();
  return pow_special(xt, yt, out);
}

}  // namespace

KEL_REAL_FAMILY(BINARY, kExtendedRealGuard, Pow, pow_element<float>, pow_element<double>, pow_element<double>)
KEL_REAL_FAMILY(SCALAR_EXPONENT, kExtendedRealGuard, Powx,
                pow_element<float>, pow_element<double>, pow_element<double>)

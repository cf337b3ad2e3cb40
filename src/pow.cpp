// Powers: Pow (x[i]^y[i]) and Powx (x[i]^y, one exponent for the array).
//
// For finite x > 0 and finite y, x^y = e^t with t = y ln x.  ln x is
// computed as an unevaluated sum of two extended-precision numbers with a
// relative error below 2^-74 from a 256-row table and a short polynomial, no
// division (ln_pair below); t = th + tl comes from Dekker's exact product of
// y and the head plus y times the tail; then e^t from the extended
// exponential's 2^(j/256) table and a degree-6 polynomial (exp_pair), and one
// rounding to the destination format.  Before that rounding the relative
// error is below 2^-62.5, so results are within 0.51 ulp in double (measured
// 0.5002 over 10^6 arguments, including the neighbourhoods of
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

// ln x for finite x > 0 as an unevaluated sum hi + lo, relative error below
// 2^-74, without a division.  x = 2^k m with m in [1, 2), row j of the table
// by the top eight fraction bits: u = m r_j - 1 is exact (53 by 11 bits) with
// |u| <= 2^-8, and
//   ln x = (k ln2_hi + hi_j) + u + (k ln2_lo + lo_j + (ln(1 + u) - u)),
// where the first sum is exact (both on the 2^-40 grid) and at least as
// large as u unless it is zero (rows 0 and 255 make it zero next to x = 1,
// where ln x = u + ...: no cancellation anywhere).  ln(1 + u) - u is its
// Taylor polynomial to u^9 (truncation below 2^-83), evaluated by Estrin's
// scheme; its rounding errors and the table's (2^-94) stay below 2^-75
// relative to ln x.
constexpr long double kLogPoly[8] = {-1.0L / 2, 1.0L / 3, -1.0L / 4, 1.0L / 5, -1.0L / 6, 1.0L / 7, -1.0L / 8, 1.0L / 9};

inline kel::ld::DD ln_pair(double x) {
  using kel::pow_data::kTables;
  uint64_t b = kel::bits(x);
  int bias = 1023;
  if ((b >> 52) == 0) {  // subnormal: scaled by 2^64 exactly
    b = kel::bits(round_to<double>(x * 0x1p64L));
    bias += 64;
  }
  const int k = static_cast<int>(b >> 52) - bias;
  const kel::pow_data::LogRow& row = kTables.rows[(b >> 44) & 0xFF];
  const long double m = kel::double_from_bits((b & ((uint64_t{1} << 52) - 1)) | (uint64_t{1023} << 52));
  const long double u = m * row.r - 1.0L;
  const long double u2 = u * u, u4 = u2 * u2;
  const long double* c = kLogPoly;
  const long double poly = u2 * ((c[0] + u * c[1]) + u2 * (c[2] + u * c[3])) +
                           (u4 * u2) * ((c[4] + u * c[5]) + u2 * (c[6] + u * c[7]));
  const long double fk = k;
  const kel::ld::DD s = kel::ld::fast_two_sum(fk * kTables.ln2_hi + row.hi, u);
  return kel::ld::fast_two_sum(s.hi, s.lo + ((fk * kTables.ln2_lo + row.lo) + poly));
}

// e^t for t = th + tl (|tl| <= 2^-63 |th|), in extended precision, relative
// error below 2^-63 plus the rounding of the sum at the end.  t = n ln2/256 +
// r with |r| <= ln2/512 (plus tl): th - n L1 is exact (L1 has 29 bits,
// |n| < 2^20), then the small corrections; e^t = 2^m 2^(j/256) e^r with
// n = 256 m + j, 2^(j/256) = T + T' from the extended exponential's table,
// e^r - 1 = r + r^2 P(r) of degree 6 (truncation below 2^-78).  Beyond
// |th| = 2048 every format overflows or underflows: 2^+-3000 stands in.
// The constants and the polynomial are those of the extended exponential.
using kel::expl::k256OverLn2;
using kel::expl::kLn2Over256;

inline long double exp_pair(kel::ld::DD t) {
  constexpr long double kShifter = 0x1.8p63L;  // adding it rounds to an integer
  if (!(t.hi < 2048.0L && t.hi > -2048.0L)) return t.hi > 0 ? 0x1p3000L : 0x1p-3000L;
  const long double shifted = t.hi * k256OverLn2 + kShifter;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(kel::Ld::bits(shifted).mant));
  const long double fn = shifted - kShifter;
  const long double r = ((t.hi - fn * kLn2Over256[0]) - fn * kLn2Over256[1]) + t.lo;
  const int j = static_cast<int8_t>(n & 0xFF);
  const long double T = orx_orx_expl_table_256[128 + j][0], Tl = orx_orx_expl_table_256[128 + j][1];
  const long double r2 = r * r;
  const double* c = kel::expl::kP;
  const long double p = r + r2 * ((c[0] + r * c[1]) + r2 * ((c[2] + r * c[3]) + r2 * c[4]));
  const long double v = T + (Tl + (T + Tl) * p);
  return v * kel::Ld::pow2_field((n - j) / 256 + kel::Ld::kBias);
}

// |x|^y for finite nonzero x and finite nonzero y, in extended precision:
// e^(y ln x) with y ln x = th + tl by Dekker's product.  Relative error below
// 2^-62.5 (|y ln x| < 2^11 contributes at most 2^-64).
inline long double power_of_magnitude(double ax, double y) {
  const kel::ld::DD l = ln_pair(ax);
  const long double ye = y;
  const kel::ld::DD p = kel::ld::two_prod(ye, l.hi);
  return exp_pair(kel::ld::fast_two_sum(p.hi, p.lo + ye * l.lo));
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

// Error bound of power_of_magnitude in units of the last bit of its result
// (below 4, see the head of this file), with a margin, for the float screen.
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
inline int power_element(double ax, double y, bool minus, T* out) {
  constexpr long double kMinNormal = sizeof(T) == 8 ? 0x1p-1022L : 0x1p-126L;
  constexpr long double kMax = sizeof(T) == 8 ? 0x1.fffffffffffffp1023L : 0x1.fffffep127L;
  long double r = power_of_magnitude(ax, y);
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

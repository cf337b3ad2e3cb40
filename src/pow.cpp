// Powers: Pow (x[i]^y[i]) and Powx (x[i]^y, one exponent for the array).
//
// For finite x > 0 and finite y, x^y = e^t with t = y ln x.  ln x is
// computed as an unevaluated sum of two extended-precision numbers with a
// relative error near 2^-70 (log_dd below); t = th + tl comes from Dekker's
// exact product of y and the head plus y times the tail, so its relative
// error stays near 2^-70 as well; then x^y = e^th (1 + tl) with the
// extended-precision exponential (0.505 ulp of its 64-bit significand) and one
// rounding to the destination format.  Before that rounding the relative
// error is below 2^-63 + |t| 2^-70 < 2^-62, so results are within 0.51 ulp in
// double (measured 0.503 over 10^6 arguments, including the neighbourhoods of
// overflow and underflow) and correctly rounded in all but rare float cases.
//
// The extended-precision steps need 64-bit significands, so each element runs
// at 64-bit precision control (kel::frame::Extended) inside the real frame.
// Float members run the same algorithm and round to float.
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
// unless they are exact (see power_of_magnitude).  Exact normal results such
// as 2^10 come out exactly but may raise inexact.
#include "float_rounding.h"
#include "frame.h"
#include "ld.h"
#include "ld_trig.h"

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

inline bool is_nan(double v) { return (kel::bits(v) << 1) > (uint64_t{0x7FF} << 53); }
inline bool is_inf(double v) { return (kel::bits(v) << 1) == (uint64_t{0x7FF} << 53); }
inline bool negative(double v) { return kel::bits(v) >> 63; }

// ln x for finite x > 0 as an unevaluated sum hi + lo with a relative error
// near 2^-70, in extended precision.  x = 2^k m with sqrt(1/2) <= m < sqrt(2);
// ln m = 2 atanh(s) = 2 (s + s^3/3 + s^5/5 + ...), s = (m - 1)/(m + 1), with
// |s| < 0.1716.  m - 1 and m + 1 are exact, s is carried as s_hi + s_lo (the
// remainder of the division found with Dekker's product), and the series
// beyond 2s, at most 1% of it, is summed in extended precision to s^29
// (truncation below 2^-78 s).  k ln 2 uses a 32-bit head of ln 2, so k ln2_hi
// is exact, and a tail good to 2^-86.
struct LnSeries {
  long double c[14];  // 1/3, 1/5, ..., 1/29, rounded by the compiler
  constexpr LnSeries() : c() {
    for (int n = 0; n < 14; ++n) c[n] = 1.0L / (2 * n + 3);
  }
};
constexpr LnSeries kLnSeries;
constexpr long double kLn2Hi = 0x1.62e42feep-1L;          // 32 bits
constexpr long double kLn2Lo = 0x1.a39ef35793c7673p-33L;  // ln 2 - kLn2Hi

inline kel::ld::DD log_dd(long double x) {
  const kel::LdBits b = kel::ld_bits(x);
  int k = kel::ld_exponent(b) - kel::kLdBias;
  long double m = kel::ld_from(b.m, kel::kLdBias);
  if (m > 0x1.6a09e667f3bcc908p+0L) {  // sqrt(2)
    m = m * 0.5L;
    ++k;
  }
  const long double num = m - 1.0L, den = m + 1.0L;
  const long double s_hi = num / den;
  const kel::ld::DD p = kel::ld::two_prod(s_hi, den);
  const long double s_lo = ((num - p.hi) - p.lo) / den;
  const long double z = s_hi * s_hi;
  long double series = kLnSeries.c[13];
  for (int n = 12; n >= 0; --n) series = kLnSeries.c[n] + z * series;
  const long double tail = 2.0L * (s_lo * (1.0L + z) + s_hi * z * series);
  const long double fk = k;
  const kel::ld::DD head = kel::ld::two_sum(fk * kLn2Hi, 2.0L * s_hi);
  return kel::ld::fast_two_sum(head.hi, head.lo + (tail + fk * kLn2Lo));
}

// |x|^y for finite nonzero x and finite nonzero y, in extended precision:
// e^th (1 + tl) with th + tl = y ln x.  Beyond |th| = 2^14 the exponential is
// 0 or infinite in every format and tl (up to 2^-50 |th|) must not touch it.
inline long double power_of_magnitude(double ax, double y) {
  constexpr long double kBeyondRange = 0x1p14L;
  const long double axe = ax, ye = y;
  const kel::ld::DD l = log_dd(axe);
  const kel::ld::DD p = kel::ld::two_prod(ye, l.hi);
  const kel::ld::DD t = kel::ld::fast_two_sum(p.hi, p.lo + ye * l.lo);
  if (t.hi > kBeyondRange || t.hi < -kBeyondRange) return orxexpl_scalar(t.hi);
  return orxexpl_scalar(t.hi) * (1.0L + t.lo);
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
  const uint64_t r = kel::ld_bits(shifted).m - 0xC000000000000000ull;
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
  if (__builtin_fabs(y) > 0x1p21 || (negative(y) && a != 1)) return false;
  const int64_t magnitude = static_cast<int64_t>(ys.odd << (ys.exp > 0 ? ys.exp : 0));
  uint64_t power = 1;
  for (int64_t i = 0; a != 1 && i < magnitude; ++i)
    if (__builtin_mul_overflow(power, a, &power)) return false;
  const int64_t e = k * (negative(y) ? -magnitude : magnitude);
  if (e > kMaxExponent || e < -kMaxExponent) return false;
  *out = static_cast<long double>(power) * kel::ld_pow2_field(static_cast<int>(e) + kel::kLdBias);
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

// The element kernel for both formats: float operands are widened exactly.
template <class T>
int pow_element(T xt, T yt, T* out) {
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
    const double ax = negative(x) ? -x : x;
    if (ax == 1.0) {
      *out = T(1);
    } else {
      *out = (ax < 1.0) == (y < 0) ? T(inf) : T(0);
    }
    return kelStatusNoError;
  }
  if (is_inf(x)) {
    const bool minus = negative(x) && odd;
    const T magnitude = y < 0 ? T(0) : T(inf);
    *out = minus ? -magnitude : magnitude;
    return kelStatusNoError;
  }
  if (negative(x) && p == Parity::kNone) {
    *out = round_to<T>(kel::opaque(static_cast<long double>(inf)) * kel::opaque(0.0L));  // NaN, invalid
    return kelStatusDomain;
  }
  const double ax = negative(x) ? -x : x;
  long double r = power_of_magnitude(ax, y);
  bool exact = false;
  if constexpr (sizeof(T) == 4) {
    if (!kel::fr::settles(r, kPowErrorUnits)) r = power_accurate(ax, y, &exact);
  }
  constexpr long double kMinNormal = sizeof(T) == 8 ? 0x1p-1022L : 0x1p-126L;
  if (!exact && r < kMinNormal) exact = exact_power(ax, y, &r);
  return store_power(negative(x) && odd ? -r : r, exact, out);
}

}  // namespace

KEL_REAL_BINARY(Pow, (kel::frame::Extended<pow_element<float>>{}), (kel::frame::Extended<pow_element<double>>{}),
                (kel::frame::Extended<pow_element<double>>{}))
KEL_REAL_SCALAR_EXPONENT(Powx, (kel::frame::Extended<pow_element<float>>{}),
                         (kel::frame::Extended<pow_element<double>>{}), (kel::frame::Extended<pow_element<double>>{}))

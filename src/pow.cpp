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
//
// A result below the smallest normal of T is compared with the nearest
// multiple of T's smallest subnormal q: when it lies within the error bound
// of the computation, the power is taken to be that multiple exactly
// (2^-1074, 0.5^1074, ...), so that storing it raises neither underflow nor
// inexact and no underflow is reported.
template <class T>
long double power_of_magnitude(double ax, double y) {
  constexpr long double kBeyondRange = 0x1p14L;
  constexpr long double kNearestInteger = 0x1p63L;  // ulp 1 at 64-bit precision
  constexpr long double q = sizeof(T) == 8 ? 0x1p-1074L : 0x1p-149L;
  constexpr long double min_normal = sizeof(T) == 8 ? 0x1p-1022L : 0x1p-126L;
  const long double axe = ax, ye = y;
  const kel::ld::DD l = log_dd(axe);
  const kel::ld::DD p = kel::ld::two_prod(ye, l.hi);
  const kel::ld::DD t = kel::ld::fast_two_sum(p.hi, p.lo + ye * l.lo);
  if (t.hi > kBeyondRange || t.hi < -kBeyondRange) return orxexpl_scalar(t.hi);
  long double r = orxexpl_scalar(t.hi) * (1.0L + t.lo);
  if (r < min_normal) {
    const long double s = r / q;  // exact: a power-of-two scaling
    const long double n = (s + kNearestInteger) - kNearestInteger;
    const long double bound = ((t.hi < 0 ? -t.hi : t.hi) * 0x1p-6L + 4.0L) * 0x1p-63L * s;
    if (s - n <= bound && n - s <= bound) r = n * q;
  }
  return r;
}

// Stores r rounded to T and tells overflow and underflow apart from normal
// results: a power of nonzero finite operands is never zero, so a zero result
// has underflowed, like a subnormal one that is not exact.
template <class T>
int store_power(long double r, T* out) {
  const T v = round_to<T>(r);
  *out = v;
  if (kel::is_inf_or_nan(v)) return kelStatusOverflow;
  const T tiny = sizeof(T) == 8 ? T(0x1p-1022) : T(0x1p-126f);
  if (v < tiny && v > -tiny && (v == 0 || static_cast<long double>(v) != r)) return kelStatusUnderflow;
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
  const long double r = power_of_magnitude<T>(negative(x) ? -x : x, y);
  return store_power(negative(x) && odd ? -r : r, out);
}

}  // namespace

KEL_REAL_BINARY(Pow, (kel::frame::Extended<pow_element<float>>{}), (kel::frame::Extended<pow_element<double>>{}),
                (kel::frame::Extended<pow_element<double>>{}))
KEL_REAL_SCALAR_EXPONENT(Powx, (kel::frame::Extended<pow_element<float>>{}),
                         (kel::frame::Extended<pow_element<double>>{}), (kel::frame::Extended<pow_element<double>>{}))

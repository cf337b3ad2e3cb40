// Error function, complementary error function and inverse error function.
//
// Every member evaluates in x87 extended precision: the call runs at 64-bit
// precision control (set once, the real guard restored around a report) and
// each element computes a long double whose relative error is a few units of
// the 64-bit significand, rounded once when the element is stored.  The float members run the same algorithm and
// store to float; the A50 member shares the A53 one.  The rounding from 64 to
// 53 bits can only go wrong when the long double lands within a few 64-bit
// ulps of a midpoint, which adds about 2^-10 ulp to the half-ulp of the
// final rounding.  With a = |x|:
//
//   erf x   = x P(x^2)                               a < 1/2
//           = sign(x) (1 - erfc a)                   1/2 <= a < 6
//           = sign(x) (1 - 2^-70), rounding to +-1   a >= 6 (erfc 6 < 2^-54)
//   erfc x  = 1 - x P(x^2)                           a < 1/2
//           = e^(-a^2) Q_i(a - m_i)                  1/2 <= x < 28
//           = 2 - e^(-a^2) Q_i(a - m_i)              -6 < x <= -1/2
// P is erf(x)/x in x^2; Q_i is the scaled erfc(a) e^(a^2) on the piece i of
// [1/2, 32) (four pieces per binade, picked by the exponent and the top two
// significand bits of a; m_i its midpoint, so a - m_i is exact); both are
// within 2^-64 of their functions (tools/gen/gen_erf.cpp checks it).  The
// square a^2 = h + l is formed exactly (Dekker's product of the 53-bit a),
// e^(-a^2) = e^(-h) (1 - l) with |l| <= 2^-64 h, and e^(-h) comes from the
// long-double exponential kernel (0.505 ulp of 64 bits).  For 1/2 <= a the
// subtraction 1 - erfc a loses nothing: erfc a < 0.48 < erf a.
//
// erfinv x for 2^-32 <= a < 1: a first guess within 2^-30 from a polynomial
// (in x^2 below 3/4, in w = sqrt(-ln(1 - a)) above, with the long-double
// logarithm and square root kernels), then two Newton steps on erf, the
// residual taken as erfc y - (1 - a) once y >= 1/2 (see newton()).
//
// Tiny arguments, a < 2^-32: erf x = (2/sqrt(pi)) x and erfinv x =
// (sqrt(pi)/2) x (the x^3 terms are below 2^-64 of them), correctly rounded
// also into the subnormal range.  With the constant = H + L, H of 11 bits,
// x H is exact; x L is a Dekker product, and round_once() settles the one
// case where rounding the long double sum again would be wrong: a long double
// exactly halfway between two values of the format (about one tiny argument
// in 8000 without it).
//
// Reports: underflow (status 17) whenever the stored result is zero or
// subnormal while the exact one is not zero: erf and erfinv of a tiny
// nonzero x whose result is subnormal, erfc of large x.  Such results are
// always inexact (the functions take no nonzero representable value at a
// representable nonzero argument), and the store raises the underflow and
// inexact flags.  erfinv(+-1) = +-Inf with divide-by-zero and the pole report
// (18); erfinv of |x| > 1 (Inf included) is NaN with invalid and the domain
// report (19); erfinv(+-0) = +-0.  erfc x for x >= 28 is below 2^-1100 and
// is stored as +0 directly.  erf(+-0) = +-0, erf(+-Inf) = +-1,
// erfc(+Inf) = +0, erfc(-Inf) = 2, all exact; NaNs pass through quietly (a
// signalling NaN raises invalid) with no report.
#include "erf_data.h"
#include "expl.h"
#include "float_rounding.h"
#include "frame.h"
#include "ld_trig.h"

KEL_NAME_OBJECT

namespace {

using kel::erf_data::kTables;
using kel::ld::DD;

using kel::is_nan;
using kel::is_negative;

template <class T>
inline long double magnitude(T x) {
  return is_negative(x) ? -static_cast<long double>(x) : static_cast<long double>(x);
}

constexpr long double kTiny = 0x1p-32L;     // below: erf x = (2/sqrt(pi)) x
constexpr long double kSeries = 0.5L;       // below: the series P
constexpr long double kErfOne = 6.0L;       // from here erf rounds to +-1, erfc(-a) to 2
constexpr long double kErfcZero = 28.0L;    // from here erfc rounds to +0
constexpr long double kNudge = 0x1p-70L;    // 1 - kNudge and 2 - kNudge round up, inexact
constexpr long double kTinyValue = 0x1p-10000L;
constexpr long double kInvCentral = 0.75L;  // below: erfinv from the series in x^2

// ---- Core, in long double ----

// The polynomials run in Estrin's scheme: pairs c[k] + c[k+1] t combined
// with t^2, t^4, t^8, a dependency chain of about log2 of the degree
// multiplications instead of one per coefficient.  Their terms fall by a
// factor 4 or more from one degree to the next, so the scheme's roundings
// stay within the final addition's half unit, as Horner's would.
inline long double pair(const long double* c, long double t) { return c[0] + c[1] * t; }

// x P(x^2) for |x| < 1/2 (P of degree 10).
inline long double erf_series(long double x) {
  static_assert(kel::erf_data::kErfDegree == 10);
  const long double* p = kTables.erf_poly;
  const long double z = x * x, z2 = z * z, z4 = z2 * z2, z8 = z4 * z4;
  const long double low = pair(p, z) + z2 * pair(p + 2, z);
  const long double mid = pair(p + 4, z) + z2 * pair(p + 6, z);
  const long double high = pair(p + 8, z) + z2 * p[10];
  return x * (low + (z4 * mid + z8 * high));
}

// Q_i(v) of degree 15.
inline long double erfc_poly(const long double* c, long double v) {
  static_assert(kel::erf_data::kErfcDegree == 15);
  const long double v2 = v * v, v4 = v2 * v2, v8 = v4 * v4;
  const long double q0 = pair(c, v) + v2 * pair(c + 2, v);
  const long double q1 = pair(c + 4, v) + v2 * pair(c + 6, v);
  const long double q2 = pair(c + 8, v) + v2 * pair(c + 10, v);
  const long double q3 = pair(c + 12, v) + v2 * pair(c + 14, v);
  return (q0 + v4 * q1) + v8 * (q2 + v4 * q3);
}

// erfc a and e^(-a^2) for 1/2 <= a < 28 (a with at most 64 bits).
struct Erfc {
  long double value, gauss;
};

inline Erfc erfc_parts(long double a) {
  const kel::LdBits f = kel::Ld::bits(a);
  const int i = (static_cast<int>(f.se) - 16382) * 4 + static_cast<int>((f.mant >> 61) & 3);
  const kel::erf_data::ErfcPiece& piece = kTables.erfc[i];
  const long double v = a - piece.mid;  // exact: both on the 64-bit grid of a's binade
  const long double q = erfc_poly(piece.c, v);
  const DD sq = kel::ld::two_prod(a, a);
  const long double gauss = orxexpl_scalar(-sq.hi) * (1.0L - sq.lo);
  return {gauss * q, gauss};
}

inline long double erfc_positive(long double a) { return erfc_parts(a).value; }

// s + err rounded once to T, for |err| below half a 64-bit ulp of s.  The
// store rounds s; it can only differ from rounding s + err when s lies
// exactly halfway between h and its neighbour 2s - h in T, and then the sign
// of err decides.
template <class T>
inline T round_once(long double s, long double err) {
  const T h = kel::round_to<T>(s);
  const long double d = s - h;  // exact
  if (d == 0 || err == 0) return h;
  const long double other = s + d;
  if (kel::round_to<T>(other) != other) return h;  // not a midpoint
  return (d > 0) == (err > 0) ? static_cast<T>(other) : h;
}

// (hi + lo) x rounded once to T, for a constant with an 11-bit head hi (so
// x hi is exact) and |lo| < 2^-11 hi.
template <class T>
inline T scaled_once(long double x, long double hi, long double lo) {
  const long double p = x * hi;
  const DD q = kel::ld::two_prod(x, lo);
  const DD s = kel::ld::fast_two_sum(p, q.hi);
  return round_once<T>(s.hi, s.lo + q.lo);
}

// ---- Inverse ----

// One Newton step on erf y = a from y: y + (a - erf y) / erf'(y).  From
// y >= 1/2 on the residual is formed as erfc y - q with q = 1 - a (exact),
// which keeps its relative accuracy as a approaches 1, where a - erf y would
// cancel.  The iteration converges quadratically: a relative error e of y
// becomes about y^2 e^2.
inline long double newton(long double y, long double a, long double q) {
  const long double two_over_sqrt_pi = kTables.two_over_sqrt_pi_hi + kTables.two_over_sqrt_pi_lo;
  if (y < kSeries) {
    const long double slope = two_over_sqrt_pi * orxexpl_scalar(-(y * y));
    return y + (a - erf_series(y)) / slope;
  }
  const Erfc e = erfc_parts(y);
  return y + (e.value - q) / (two_over_sqrt_pi * e.gauss);
}

// erfinv a for 2^-32 <= a < 1: a first guess within 2^-30 (relative), from
// erfinv(a)/a in a^2 below 3/4 and from a polynomial in
// w = sqrt(-ln(1 - a)) in [1.177, 6.06] above, then two Newton steps, after
// which the error of the guess is below 2^-64 even at y = 5.9 (the largest
// result for a double a < 1).
inline long double erfinv_positive(long double a) {
  const long double q = 1.0L - a;  // exact
  long double y;
  if (a < kInvCentral) {
    const long double* p = kTables.inv_poly;
    const long double z = a * a;
    long double s = p[kel::erf_data::kInvDegree];
    for (int k = kel::erf_data::kInvDegree - 1; k >= 0; --k) s = s * z + p[k];
    y = a * s;
  } else {
    const long double w = kel::sqrt_x87(-orxlogl_scalar(q));
    int i = 0;
    while (i + 1 < kel::erf_data::kInvTailPieces && w >= kTables.inv_tail[i + 1].lo) ++i;
    const kel::erf_data::InvTailPiece& piece = kTables.inv_tail[i];
    const long double v = w - piece.lo;
    y = piece.c[kel::erf_data::kInvTailDegree];
    for (int k = kel::erf_data::kInvTailDegree - 1; k >= 0; --k) y = y * v + piece.c[k];
  }
  return newton(newton(y, a, q), a, q);
}

// ---- Element kernels ----

// (hi + lo) x for |x| < 2^-32, the tiny path of erf and erfinv; a zero
// keeps its sign and is exact.
template <class T>
inline int store_tiny(T x, long double hi, long double lo, T* y) {
  if (kel::is_zero(x)) {
    *y = x;
    return kelStatusNoError;
  }
  const T r = scaled_once<T>(x, hi, lo);
  *y = r;
  return kel::Format<T>::is_zero_or_subnormal(r) ? kelStatusUnderflow : kelStatusNoError;
}

// Stores +0 with underflow and inexact (the square of 2^-10000 is zero in
// every format at the store).
template <class T>
inline int underflow_to_zero(T* y) {
  *y = kel::opaque(kTinyValue) * kel::opaque(kTinyValue);
  return kelStatusUnderflow;
}

template <class T>
int erf_kernel(T x, T* y) {
  if (kel::is_inf_or_nan(x)) {
    if (is_nan(x))
      *y = x + x;  // quiet; a signalling NaN raises invalid
    else
      *y = is_negative(x) ? T(-1) : T(1);
    return kelStatusNoError;
  }
  const long double a = magnitude(x);
  if (a < kTiny) return store_tiny(x, kTables.two_over_sqrt_pi_hi, kTables.two_over_sqrt_pi_lo, y);
  long double v;
  if (a < kSeries)
    v = erf_series(a);
  else if (a < kErfOne)
    v = 1.0L - erfc_positive(a);
  else
    v = 1.0L - kel::opaque(kNudge);
  *y = is_negative(x) ? -v : v;
  return kelStatusNoError;
}

template <class T>
int erfc_kernel(T x, T* y) {
  if (kel::is_inf_or_nan(x)) {
    if (is_nan(x))
      *y = x + x;
    else
      *y = is_negative(x) ? T(2) : T(0);
    return kelStatusNoError;
  }
  const long double a = magnitude(x);
  if (a < kSeries) {  // 1 - erf x; exactly 1 at zero, inexact 1 for tiny x
    *y = 1.0L - (a < kTiny ? x * kTables.erf_poly[0] : erf_series(x));
    return kelStatusNoError;
  }
  if (is_negative(x)) {
    *y = a < kErfOne ? 2.0L - erfc_positive(a) : 2.0L - kel::opaque(kNudge);
    return kelStatusNoError;
  }
  if (a >= kErfcZero) return underflow_to_zero(y);
  const T r = kel::round_to<T>(erfc_positive(a));
  *y = r;
  return kel::Format<T>::is_zero_or_subnormal(r) ? kelStatusUnderflow : kelStatusNoError;
}

template <class T>
int erfinv_kernel(T x, T* y) {
  if (is_nan(x)) {
    *y = x + x;
    return kelStatusNoError;
  }
  const long double a = magnitude(x);
  if (a >= 1.0L) {
    if (a == 1.0L) {  // +-Inf with divide-by-zero
      *y = (is_negative(x) ? -1.0L : 1.0L) / kel::opaque(0.0L);
      return kelStatusSingularity;
    }
    *y = kel::opaque(0.0L) / kel::opaque(0.0L);  // NaN with invalid, also for +-Inf
    return kelStatusDomain;
  }
  if (a < kTiny) return store_tiny(x, kTables.sqrt_pi_over_2_hi, kTables.sqrt_pi_over_2_lo, y);
  const long double v = erfinv_positive(a);
  *y = is_negative(x) ? -v : v;
  return kelStatusNoError;
}

// ---- Fast paths ----
//
// The members' main paths, 2^-32 <= |x| below their limits, evaluate short
// polynomials with double coefficients (kFast; the three leading ones carry
// a double tail) and no division, with a = |x|:
//
//   erf a  = a P(a^2)                        a < 1/2
//          = E_i(a - m_i)                    1/2 <= a < 6
//   erfc a = e^(-a^2) C_i(a - m_i)           1/2 <= a < 28
//
// on cells of an eighth of a binade picked by the exponent and the top three
// significand bits of x (m_i the midpoint, so a - m_i is exact); erfc x for
// x < 1/2 is 1 - erf x, and erfc(-a) = 1 + erf a.  Each polynomial is within
// 2^-63 of its function with the stored coefficients (tools/gen/gen_erf.cpp
// checks it), and Estrin's scheme adds about 2^-63.  e^(-a^2) is formed from
// a^2 = h + l split exactly (Veltkamp: h = hi^2, hi the top 32 bits of a,
// l = lo (a + hi)) and reduced as -(h + l) = n ln2/256 + r with expl's
// constants, e^r - 1 from its polynomial and 2^(j/256) from its table (about
// 2^-63.5).  In all the long double lies within 2^-61 of the function, six
// units of its last bit: a double result within 0.5 + 2^-8 ulp, a float one
// checked by the rounding test, which hands the few elements near a float
// midpoint to the element kernels above.

using kel::erf_data::kFast;
using kel::erf_data::kFastLeading;

constexpr uint64_t kFastErrorUnits = 16;  // bound of the float rounding test, units of the last bit

// c[0] + c[1] v + ... by Estrin's scheme: terms paired with v, the pairs with
// v^2, and so on; the leading coefficients are c[k] + lo[k] in long double.
template <int Degree>
[[gnu::always_inline]] inline long double fast_poly(const kel::erf_data::FastPoly<Degree>& p, long double v) {
  long double t[Degree + 1];
#pragma GCC unroll 16
  for (int k = 0; k <= Degree; ++k) t[k] = k < kFastLeading ? p.c[k] + static_cast<long double>(p.lo[k]) : p.c[k];
  long double w = v;
#pragma GCC unroll 8
  for (int n = Degree + 1; n > 1; n = (n + 1) / 2) {
#pragma GCC unroll 8
    for (int i = 0; 2 * i < n; ++i) t[i] = 2 * i + 1 < n ? t[2 * i] + t[2 * i + 1] * w : t[2 * i];
    w = w * w;
  }
  return t[0];
}

// The cell of |x| in [1/2, 32): 8 (e + 1) + k for 2^e (1 + k/8) <= |x|.
inline int fast_cell(double x) { return static_cast<int>((kel::high_word(x) & 0x7FFFFFFF) >> 17) - (1022 << 3); }
inline int fast_cell(float x) { return static_cast<int>((kel::bits(x) & 0x7FFFFFFF) >> 20) - (126 << 3); }

// erf a for 1/2 <= a = |x| < 6.
template <class T>
inline long double fast_erf_cell(T x, long double a) {
  const kel::erf_data::FastCell& c = kFast.erf[fast_cell(x)];
  return fast_poly(c.p, a - c.mid);
}

// e^(-a^2) c for 1/2 <= a < 28, a with at most 53 bits.  The quotient n
// comes from a^2 rounded, beside the split; it need only be near.
inline long double fast_gauss_times(long double a, long double c) {
  using namespace kel::expl;
  constexpr long double kSplit = 0x1p32L + 1;
  constexpr double kShifter = 0x1.8p52;  // a double sum with it is an integer
  const uint64_t nb = kel::bits_rounded_to_double((a * a) * -k256OverLn2 + kShifter);
  const long double t = a * kSplit;
  const long double hi = t - (t - a), lo = a - hi;
  const long double h = hi * hi, l = lo * (a + hi);  // h and a + hi exact
  const long double fn = kel::double_from_bits(nb) - kShifter;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(nb));  // the low bits of 1.5 * 2^52 + n
  const int32_t j = static_cast<int8_t>(n & 0xFF);
  const long double r = ((-h - fn * kLn2Over256[0]) - l) - fn * kLn2Over256[1];  // the first difference exact
  const long double r2 = r * r;
  const long double q = r + r2 * ((kP[0] + r2 * (kP[2] + r2 * kP[4])) + r * (kP[1] + r2 * kP[3]));
  const long double scaled = c * kel::double_from_bits(static_cast<uint64_t>(1023 + ((n - j) >> 8)) << 52);
  const double* e = orx_orx_expl_table_256[128 + j];
  return (e[0] + (e[1] + (e[0] * q + e[1] * q))) * scaled;
}

using kel::fr::store_fast;

// ---- Members ----
//
// The whole call runs at 64-bit precision, two elements at a time.  The main
// path takes 2^-32 <= |x| < Limit, where no element reports; the rest (zeros,
// tiny, large, infinite and NaN elements) goes to the element kernels above,
// out of line.  The main paths are flattened: a long double passed to a call
// goes through memory.  Limits are the high words of the double and float bounds.
template <uint32_t LimitDouble, uint32_t LimitFloat>
using MainRange = kel::frame::MagnitudeScreen<0x3DF00000, LimitDouble, 0x2F800000, LimitFloat>;
constexpr uint32_t kSixDouble = 0x40180000, kSixFloat = 0x40C00000;  // 6
constexpr uint32_t kOneDouble = 0x3FF00000, kOneFloat = 0x3F800000;  // 1

struct ErfFast : MainRange<kSixDouble, kSixFloat> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* y) {
    const long double a = magnitude(x);
    const long double v = a < kSeries ? a * fast_poly(kFast.series, a * a) : fast_erf_cell(x, a);
    store_fast<kFastErrorUnits>(is_negative(x) ? -v : v, x, y, erf_kernel<T>);
  }
  template <class T>
  static int element(T x, T* y) {
    return erf_kernel(x, y);
  }
};

// erfc x for |x| up to 26 (double) or 9 (float) stays normal, unreported;
// from 6 on, 2 - erfc(a) rounds to 2 as 2 - 2^-70 does.
constexpr uint32_t kErfcLimitDouble = 0x403A0000, kErfcLimitFloat = 0x41100000;  // 26, 9

struct ErfcFast : MainRange<kErfcLimitDouble, kErfcLimitFloat> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* y) {
    const long double a = magnitude(x);
    long double v;
    if (a < kSeries) {
      v = 1.0L - x * fast_poly(kFast.series, a * a);
    } else if (is_negative(x)) {
      v = a < kErfOne ? 1.0L + fast_erf_cell(x, a) : 2.0L - kel::opaque(kNudge);
    } else {
      const kel::erf_data::FastCell& c = kFast.erfc[fast_cell(x)];
      v = fast_gauss_times(a, fast_poly(c.p, a - c.mid));
    }
    store_fast<kFastErrorUnits>(v, x, y, erfc_kernel<T>);
  }
  template <class T>
  static int element(T x, T* y) {
    return erfc_kernel(x, y);
  }
};

struct ErfInvFast : MainRange<kOneDouble, kOneFloat> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* y) {
    const long double v = erfinv_positive(magnitude(x));
    *y = kel::round_to<T>(is_negative(x) ? -v : v);
  }
  template <class T>
  static int element(T x, T* y) {
    return erfinv_kernel(x, y);
  }
};

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Erf, ErfFast, ErfFast, ErfFast)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Erfc, ErfcFast, ErfcFast, ErfcFast)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, ErfInv, ErfInvFast, ErfInvFast, ErfInvFast)

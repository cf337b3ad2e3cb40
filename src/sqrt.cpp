// Square root without the x87 square-root instruction.
//
// Method, for positive finite x (float elements are widened to double
// exactly and go through the same path):
//   x = 2^u * m with m in [1, 2); p = u & 1 and m' = m * 2^p in [1, 4), so
//   sqrt(x) = 2^((u - p)/2) * sqrt(m').
//   A seed y ~ 1/sqrt(m') to 11 bits comes from a 512-entry table indexed by
//   p and the top eight fraction bits.  g = m' * y approximates sqrt(m') and
//   h = y/2 approximates 1/(2 sqrt(m')); three coupled Newton steps
//       r = 1/2 - g*h,  g += r*g,  h += r*h
//   roughly square the relative error each time (below 2^-8.7 for the seed,
//   then about 2^-17, 2^-35 and finally the rounding level of g, a few
//   ulps; at most 2 measured).  Then g is split into 26-bit halves (Dekker,
//   constant 2^27 + 1) so that the residual d = m' - g^2 is formed from exact
//   products with one rounding at most, in the last subtraction, and
//   z = g + h*d is one Newton correction.  Before its last rounding z is
//   below sqrt(m') by (g - sqrt m')^2 / (2 sqrt m') and off by the roundings
//   of d and h*d and the error of h times |d|: a small multiple of 2^-53 ulp.  The result
//   2^k * z (k = (u - p)/2) is exact: the root of a positive double lies in
//   [2^-537, 2^512).
//
// Measured: every result is correctly rounded on every positive float
// (2139095039 of them), on 10^8 random doubles, and on every significand
// whose root lies within 2^-43 ulp of the midpoint between two doubles (the
// hardest cases, enumerated in tests/sqrt_test.cpp).
//
// Rounding points.  Every step is a double operation: under the 0x200 guard
// each x87 add, subtract and multiply already rounds its significand to 53
// bits, and every intermediate (seeds, g, h, the residuals, z) is zero or of
// magnitude between 2^-120 and 4, far inside the double exponent range, so
// the register value is the rounded double that a store would give.  The
// Dekker split and the exact residual depend on that 53-bit rounding to
// nearest, which is why the guard matters here (a 64-bit register would
// leave ghi with 37 bits).  The one value that must be in memory as a double
// is the pre-scaled subnormal, whose exponent field is read back (round_to
// below); it is exact.  The only inexact rounding of a float member is the
// final store of the double z * 2^k to the float element, and for a square
// root that double rounding is harmless: a float square root is never within
// 2^-50 relative of a float rounding boundary, the double z is within 2^-53.
#include "frame.h"
#include "sqrt_data.h"

KEL_NAME_OBJECT

namespace {

using kel::sqrt_data::kTables;

// sqrt(x) for x positive and finite, rounded to a double.  subnormal says
// whether x is a subnormal of the element's format (the float members pass
// their own classification: a float subnormal is a normal double).
[[gnu::always_inline]] inline double positive_root(double x, bool subnormal) {
  // A subnormal becomes normal after the exact scaling by 2^200; its root is
  // then 2^100 too large, which the result scale takes back.
  int c = 0;
  if (subnormal) {
    x = kel::round_to<double>(x * kTables.prescale);
    c = 100;
  }

  const uint64_t b = kel::bits(x);
  const int u = static_cast<int>(b >> 52) - 1023;  // sign bit is clear
  const int p = u & 1;                              // parity, also for u < 0
  const double m = kel::double_from_bits((b & kel::Format<double>::kFractionMask) | kel::bits(kTables.parity[0]));
  const double mp = m * kTables.parity[p];  // m' in [1, 4), exact

  // 2^k with k = (u - p)/2 - c in [-537, 511]: k + 1023 written into the
  // exponent field of 1.0 (the mask keeps the field arithmetic modulo 2^11).
  const int k = (u - p) / 2 - c;
  const double s = kel::double_from_bits((kel::bits(kTables.parity[0]) & ~kel::Format<double>::kExponentMask) |
                                         (static_cast<uint64_t>((k + 1023) & 0x7FF) << 52));

  const double y = kTables.seeds[p][(b >> 44) & 0xFF];
  const double half = kTables.half;
  double g = mp * y;
  double h = half * y;
  for (int i = 0; i < 3; ++i) {
    const double r = half - g * h;
    const double gn = g + r * g;
    const double hn = h + r * h;
    g = gn;
    h = hn;
  }

  // Dekker split: ghi has 26 significant bits and glo = g - ghi fits in 26,
  // so ghi*ghi, (2*ghi)*glo and glo*glo are exact products.  d1 and d2 are
  // exact subtractions (m' and ghi^2 agree to about 26 bits, and d1 and
  // (2*ghi)*glo to about 26 more); d3 = m' - g^2 is a multiple of 2^-104 of
  // magnitude up to about 2^-49, so its subtraction may round (relative
  // 2^-53 of a residual of a few ulps: harmless).
  const double v0 = g * kTables.split;
  const double v = v0 - g;
  const double ghi = v0 - v;
  const double glo = g - ghi;
  const double d1 = mp - ghi * ghi;
  const double d2 = d1 - (kTables.parity[1] * ghi) * glo;
  const double d3 = d2 - glo * glo;

  const double z = g + h * d3;
  return z * s;  // exact: a power-of-two scaling into the normal range
}

// Special cases first, on the element's bit pattern:
//   exponent all ones: +Inf and NaNs give x + x (quiet NaN, no report);
//                      -Inf gives the default NaN 0/0 and a domain report;
//   +0 and -0 are returned unchanged (sqrt(-0) = -0);
//   other negatives give the default NaN and a domain report.
template <class T>
int sqrt_element(T x, T* y) {
  using F = kel::Format<T>;
  const typename F::Bits b = kel::bits(x);
  if ((b & F::kExponentMask) == F::kExponentMask) {
    if (b == (F::kSignMask | F::kInf)) {
      *y = static_cast<T>(kTables.zero / kTables.zero);
      return kelStatusDomain;
    }
    *y = x + x;
    return kelStatusNoError;
  }
  if (kel::is_zero(x)) {
    *y = x;
    return kelStatusNoError;
  }
  if (b & F::kSignMask) {
    *y = static_cast<T>(kTables.zero / kTables.zero);
    return kelStatusDomain;
  }
  *y = static_cast<T>(positive_root(x, (b & F::kExponentMask) == 0));
  return kelStatusNoError;
}

// The vector loop's main path: a positive normal element of its own format,
// one unsigned comparison of its high word; no pre-scaling.
template <class T>
struct Sqrt {
  static bool main_path(const double* p) {
    return kel::frame::high_word_at(p) - 0x00100000u < 0x7FF00000u - 0x00100000u;
  }
  static bool main_path(const float* p) { return kel::frame::word_at(p) - 0x00800000u < 0x7F800000u - 0x00800000u; }
  [[gnu::always_inline]] static void main(T x, T* y) { *y = static_cast<T>(positive_root(x, false)); }
  static int element(T x, T* y) { return sqrt_element(x, y); }
};

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Sqrt, Sqrt<float>, Sqrt<double>, Sqrt<double>)

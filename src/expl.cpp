// e^x in x87 extended precision, for the complex kernels.
//
// Runs at the caller's 64-bit precision control and never touches the control
// word.  Every intermediate below is a long double rounded to 64 bits, so the
// exactness claims are about 64-bit significands.
//
// Method: x = n ln2/256 + r with |r| <= ln2/512 (plus rounding), and
//   e^x = 2^m * 2^(j/256) * e^r,  n = 256 m + j,  -128 <= j <= 127.
// 2^(j/256) = T + t comes from orx_orx_expl_table_256 (T with 30 bits);
// r = rh + rl with rh on a 2^-31 grid, so T*rh is exact and T + T*rh is
// formed with its rounding error; e^r - 1 - r is a degree-6 polynomial.
// |x| < 2^-5 skips the table and sums the Taylor-like series around 1 with
// the rounding error of 1 + x carried separately.  The scale 2^m is applied
// last, in two factors beyond |x| >= 64 so that nothing overflows early;
// results in the subnormal range are rounded exactly once (see scale_tiny).
// Measured against MPFR: at most 0.505 ulp of the 64-bit significand over
// 10^6 random arguments per path (0.501 ulp, in subnormal ulps, for
// subnormal results).
#include "api.h"
#include "expl.h"
#include "fp.h"
#include "x87.h"

namespace {

using kel::expl::k256OverLn2;
using kel::expl::kLn2Over256;
using kel::expl::kP;

// Rounding shifters: adding 1.5 * 2^k and subtracting it again rounds a
// value to a multiple of 2^(k-63).
constexpr long double kTwo63H = 0x1.8p+63L;  // to an integer
constexpr long double kTwo32H = 0x1.8p+32L;  // to a multiple of 2^-31
constexpr long double kTwo12H = 0x1.8p+12L;  // to a multiple of 2^-51

// Fixed polynomial fits for |x| < 2^-5 (kP, for the reduced argument, is in
// expl.h); each error is the largest relative error against MPFR over
// 2^12 + 1 evenly spaced points of the interval.
// e^x - 1 - x, x^2..x^9 on |x| < 2^-5: fitted, e^x - 1 to 2^-66.5.
constexpr double kQ0[8] = {0x1p-1,
                           0x1.5555555555555p-3,
                           0x1.555555555555fp-5,
                           0x1.111111111111ap-7,
                           0x1.6c16c16aa4e1ep-10,
                           0x1.a01a019e50b4bp-13,
                           0x1.a01c516ba2869p-16,
                           0x1.71e05454b977bp-19};
// e^x - 1 - x, x^2..x^5 on |x| < 2^-11: fitted, e^x - 1 to 2^-67.4.
constexpr long double kQ1[4] = {0x1.fffffffffffffd28p-2L, 0x1.5555555555555p-3L, 0x1.55555582d82d8p-5L,
                                0x1.1111113813814p-7L};
// e^x - 1 - x, x^2, x^3 on |x| < 2^-18: fitted, e^x - 1 to 2^-59.5.
constexpr double kQ2[2] = {0x1.0000000000aabp-1, 0x1.5555555556666p-3};
// e^x - 1 - x, x^2 on |x| < 2^-26: 0.5 with its last bit set, e^x - 1 to 2^-54.5.
constexpr long double kQ3 = 0x1.0000000000000002p-1L;

// Range limits, on the significand of an argument with biased exponent 16396
// (8192 <= |x| < 16384).  Positive: the smallest long double above
// ln(LDBL_MAX) = 0x1.62e42fefa39ef358p+13, from which e^x overflows.
// Negative: -0x1.6441888ed3840p+13 = ln(2^-16447); below it e^x is under a
// quarter of the smallest subnormal.
constexpr uint64_t kRanges[2] = {0xb17217f7d1cf79acULL, 0xb220c44769c201e8ULL};
constexpr int kRangeExponent = 16396;

// ln(2^-16382): below it results are subnormal.
constexpr double kSubnormalBound = -0x1.62d918ce2421dp+13;
constexpr long double kMinNormal = 0x1p-16382L;
constexpr long double kHuge = 0x1p+10000L;
constexpr long double kTiny = 0x1p-10000L;
constexpr long double kInfOrZero[2] = {__builtin_infl(), 0.0L};

// Second scale factor and exponent bias of the first one, by sign.
constexpr long double kScale2[2] = {0x1p+8192L, 0x1p-8192L};
constexpr int kScale1Bias[2] = {8191, 24575};

// n values whose 2^m lies in [2^-16393, 2^-16382]: results there are
// subnormal with at least 52 bits of a normalised head representable.
constexpr int32_t kTinyFirstN = -4196736, kTinyLastN = -4193664;

struct Reduced {
  long double hi, lo;  // e^x / 2^m = hi + lo, |lo| < 2^-60 hi
  int32_t n;
};

// x = n ln2/256 + r.  x*k256OverLn2 + 1.5*2^63 rounds to the integer n in the low
// significand bits; x - n*kLn2Over256[0] is exact (both terms on a 2^-68 grid and the
// difference below 2^-8); rh = r on a 2^-31 grid, so T*rh is exact (30 + 22
// bits) and T + T*rh is a Fast2Sum pair (hi, hi_err).
inline Reduced reduce(long double x) {
  const long double shifted = x * k256OverLn2 + kTwo63H;
  const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(kel::Ld::bits(shifted).mant));
  const long double fn = shifted - kTwo63H;
  const long double r = (x - fn * kLn2Over256[0]) - fn * kLn2Over256[1];
  const long double rh = (r + kTwo32H) - kTwo32H;
  const long double rl = r - rh;
  const int j = static_cast<int8_t>(n & 0xFF);
  const long double T = orx_orx_expl_table_256[128 + j][0];
  const long double t = orx_orx_expl_table_256[128 + j][1];

  // p = e^r - 1 - rh, even and odd halves of the polynomial side by side.
  const long double r2 = r * r;
  const long double even = kP[0] + r2 * (kP[2] + r2 * kP[4]);
  const long double odd = kP[1] + r2 * kP[3];
  const long double p = rl + r2 * (even + r * odd);

  const long double Trh = T * rh;
  const long double hi = T + Trh;
  const long double hi_err = (T - hi) + Trh;
  const long double lo = (t + hi_err) + (T * p + (p + rh) * t);
  return {hi, lo, n};
}

inline int scale_exponent(int32_t n) { return (n - static_cast<int8_t>(n & 0xFF)) / 256; }

// (hi + lo) * 2^m for a result in the subnormal range, rounded once: hi is cut
// on a 2^-51 grid, so head * 2^m (m >= -16393) is a multiple of the smallest
// subnormal and exact; the whole rounding then happens in tail * 2^m, and the
// final sum of a multiple of the subnormal ulp and a rounded tail is exact.
// Rounding hi + lo first to 64 bits and then into the subnormal would round
// twice and miss the correctly rounded result near half-ulp ties.
inline long double scale_tiny(const Reduced& q, long double sc1, long double sc2) {
  const long double head = (q.hi + kTwo12H) - kTwo12H;
  const long double tail = (q.hi - head) + q.lo;
  return (head * sc1) * sc2 + (tail * sc1) * sc2;
}

[[gnu::noinline]] long double expl_large(long double x, const kel::LdBits& b) {
  const int e = kel::Ld::biased_exponent(b);
  const int sign = b.se >> 15;
  if (e == 0x7FFF) {
    if (!kel::Ld::is_nan(b)) return kInfOrZero[sign];
    return x * kel::opaque(1.0L);  // quiets a signalling NaN; pseudo-inf/NaN: invalid
  }
  // An unnormal (leading bit clear) is an invalid operand: x * 1 gives the
  // default NaN with invalid, where the range test below would read it as huge.
  if ((b.mant & kel::Ld::kLeadingBit) == 0) return x * kel::opaque(1.0L);
  if (e > kRangeExponent || (e == kRangeExponent && b.mant >= kRanges[sign])) {
    if (sign == 0) return kel::opaque(kHuge) * kel::opaque(kHuge);  // +inf, overflow
    return kel::opaque(kTiny) * kel::opaque(kTiny);                 // +0, underflow
  }
  const Reduced q = reduce(x);
  const int m = scale_exponent(q.n);
  const long double sc1 = kel::Ld::pow2_field(m + kScale1Bias[sign]);
  const long double sc2 = kScale2[sign];
  long double y;
  if (q.n > kTinyFirstN && q.n < kTinyLastN && x < kSubnormalBound)
    y = scale_tiny(q, sc1, sc2);
  else
    y = ((q.lo + q.hi) * sc1) * sc2;
  if (y < kMinNormal) kel::raise_by_store<long double>(kel::opaque(kTiny) * kTiny);
  return y;
}

}  // namespace

KEL_API long double orxexpl_scalar(long double x) {
  // The fields by a full copy of the register rather than Ld::bits: x stays
  // in its register (Ld::bits would spill it and reload it by 80-bit loads
  // for each use below), and the copy's slow forwarding only delays the
  // predicted branches.
  const kel::LdBits b = __builtin_bit_cast(kel::LdBits, x);
  const int e = kel::Ld::biased_exponent(b);
  if (e >= 16389) return expl_large(x, b);  // |x| >= 64, inf, NaN
  if (e >= 16378) {                         // 2^-5 <= |x| < 64
    const Reduced q = reduce(x);
    const float scale = kel::float_from_bits(static_cast<uint32_t>(scale_exponent(q.n) + 127) << 23);
    return (q.lo + q.hi) * scale;
  }
  // |x| < 2^-5: 1 + x = s + err exactly (Fast2Sum, |x| < 1).
  const long double s = x + 1.0L;
  const long double err = x - (s - 1.0L);
  if (e >= 16372) {  // |x| >= 2^-11
    const long double x2 = x * x;
    const long double even = kQ0[0] + x2 * (kQ0[2] + x2 * (kQ0[4] + x2 * kQ0[6]));
    const long double odd = kQ0[1] + x2 * (kQ0[3] + x2 * (kQ0[5] + x2 * kQ0[7]));
    return s + (x2 * (even + x * odd) + err);
  }
  if (e >= 16365)  // |x| >= 2^-18
    return ((x * x) * (kQ1[0] + x * (kQ1[1] + x * (kQ1[2] + x * kQ1[3]))) + err) + s;
  if (e >= 16357) return (x + (x * x) * (kQ2[0] + kQ2[1] * x)) + 1.0L;  // |x| >= 2^-26
  if (e >= 16316) return (x + kQ3 * (x * x)) + 1.0L;                     // |x| >= 2^-67
  // 1 rounded (exact 1 at zero); x * x is not formed, as it would raise
  // underflow for tiny x.
  return s;
}

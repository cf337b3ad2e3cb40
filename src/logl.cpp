// ln(x) and ln(1 + x) in x87 extended precision, for the complex kernels.
//
// Both run at the caller's 64-bit precision control and never touch the
// control word.
//
// Table path: y = 2^k m with 1 <= m < 2; m is cut to mh on a 2^-31 grid and
// multiplied by r_j, the 11-bit reciprocal of the midpoint of its 1/256
// sub-interval, so u = mh r_j - 1 is exact and |u| < 2^-8;
//   ln y = k ln2 - ln r_j + ln(1 + s),  s = u + (m - mh) r_j,
// with ln2 and -ln r_j as heads and tails (ln2_hi has 29 bits, hi_j 30 bits,
// 40 and 39 in rows 0 and 255; k ln2_hi + hi_j spans at most 62 bits and is
// exact), and ln(1 + s) - s a degree-7 polynomial.  The small terms are summed first
// and the two large ones (u and k ln2_hi + hi_j) meet last.
// Near 1 the table path would cancel, so ln(1 + f) for |f| < 2^-4 is a series
// whose f^2 and f^3 terms are split into exact heads (f on a 2^-11 grid) and
// small corrections.
// Measured against MPFR: at most 0.501 ulp (logl) and 0.525 ulp (log1pl, next
// to -2^-4; 0.515 for x in [2^64, 2^74), where 1 + head rounds) of the 64-bit
// significand over 10^6 random arguments per path.
#include "api.h"
#include "fp.h"
#include "x87.h"

namespace {

constexpr long double kTwo32H = 0x1.8p+32L;  // rounds [1, 2) to a 2^-31 grid
constexpr long double kTwo52H = 0x1.8p+52L;  // rounds |f| < 2^-4 to a 2^-11 grid
constexpr long double kInf = __builtin_infl();

// ln2 as a 29-bit head and a tail.
constexpr double kLn2[2] = {0x1.62e42ffp-1, -0x1.718432a1b0e26p-35};

// Fixed polynomial fits; each error is the largest relative error against
// MPFR over 2^12 + 1 evenly spaced points of the interval.
// ln(1 + s) - s, s^2..s^7 on |s| < 2^-8: fitted, ln(1 + s) to 2^-60.0.
constexpr long double kP[6] = {-0x8.000000000000041p-4L, 0xa.aaaaaaaaaaaabeap-5L, -0xf.fffffffefe6e52ep-6L,
                               0xc.cccccccb4796149p-6L,  -0xa.aaafbde6bc3deddp-6L, 0x9.2497ecbbf12a224p-6L};

// ln(2^k m) by the tables: u, t as described above (t carries everything
// below the exact u), k the unbiased exponent of y.
inline long double log_table(int k, int j, long double u, long double t) {
  const long double fk = k;
  const long double s = u + t;
  const long double s2 = s * s;
  const long double poly = s2 * ((kP[0] + s * kP[1]) + s2 * ((kP[2] + s * kP[3]) + s2 * (kP[4] + s * kP[5])));
  const long double lo = fk * kLn2[1] + orx_orx_logl_table_256[j][1];
  const long double hi = fk * kLn2[0] + orx_orx_logl_table_256[j][0];  // exact
  return ((t + poly) + lo) + (u + hi);
}

// The reduction of a positive normal y = 2^k m: returns ln y.
inline long double log_normal(const kel::LdBits& b, int bias) {
  const long double m = kel::Ld::make(b.mant, kel::Ld::kBias);
  const long double mh = (m + kTwo32H) - kTwo32H;
  const int j = static_cast<int>(b.mant >> 55) & 0xFF;
  const long double r = orx_orx_rcp_table_256[j];
  return log_table(kel::Ld::biased_exponent(b) - bias, j, mh * r - 1.0L, (m - mh) * r);
}

// ln(1 + f) for |f| < 2^-4 (|f| >= 2^-16 from logl, >= 2^-14 from log1pl).
// Q: correction of the f^2 coefficient, low part of 1/3, coefficients of f^4
// to f^15, -1/2, and the 11-bit head of 1/3.  With fh = f on a 2^-11 grid
// (at most 8 bits) and fl = f - fh:
//   f^2 = fh^2 + fl (f + fh),   f^3 = fh^3 + fl (f^2 + f fh + fh^2),
// fh^2, fh^3 and fh^3 times the head of 1/3 are exact, and so is
// f - fh^2/2 when f = x - 1 (f on a 2^-64 grid); everything else is below
// 2^-12 |f| and summed from the smallest term up.
inline long double log1p_series(long double f, const long double (&Q)[16]) {
  const long double fh = (f + kTwo52H) - kTwo52H;
  const long double fl = f - fh;
  const long double fh2 = fh * fh;
  const long double fh3 = fh2 * fh;
  const long double f2 = f * f;
  const long double f4 = f2 * f2;
  const long double even = Q[2] + f2 * (Q[4] + f2 * (Q[6] + f2 * (Q[8] + f2 * (Q[10] + f2 * Q[12]))));
  const long double odd = Q[3] + f2 * (Q[5] + f2 * (Q[7] + f2 * (Q[9] + f2 * (Q[11] + f2 * Q[13]))));
  const long double third = Q[15] + Q[1];
  long double small = Q[0] * f2 + f4 * (even + f * odd);
  small = small + (fh3 * Q[1] + (fl * (f2 + f * fh + fh2)) * third);
  small = small + Q[14] * (fl * (f + fh));
  const long double lead = f + Q[14] * fh2;
  return lead + (fh3 * Q[15] + small);
}

inline long double divide_by_zero() { return -1.0L / kel::opaque(0.0L); }  // -inf, divide-by-zero
inline long double invalid() { return kel::opaque(kInf) * kel::opaque(0.0L); }  // NaN, invalid
inline long double quiet(long double x) { return x * kel::opaque(1.0L); }

namespace logl_data {

// ln(1 + f) on [-2^-5, 2^-4 + 2^-16], f^2..f^15 in the layout of
// log1p_series: fitted, ln(1 + f) to 2^-80.3.
constexpr long double kQ2[16] = {-0x9.f28ea2d2df7e646p-78L, 0xa.aaaaaaaaaaaadc6p-17L, -0xf.fffffffffffffeap-6L,
                                 0xc.cccccccccccc236p-6L,   -0xa.aaaaaaaaaab8f55p-6L, 0x9.249249249a4a0c4p-6L,
                                 -0xf.fffffffff0a3716p-7L,  0xe.38e38ddbc1754fp-7L,   -0xc.ccccc8103d7e06ep-7L,
                                 0xb.a2e9a1ce811d305p-7L,   -0xa.aac2bce12338b18p-7L, 0x9.d86222d7a648ac4p-7L,
                                 -0x9.033450a5189d63p-7L,   0xd.a3eb73f2509bdb7p-8L,  -0x1p-1L,
                                 0x1.554p-2L};
// ln(1 + f) - f, f^2..f^5 on [-2^-16, 2^-15): fitted, ln(1 + f) to 2^-80.5.
constexpr long double kQ1[4] = {-0x1p-1L, 0xa.aaaaaaaaaac1552p-5L, -0xf.fffffffc004ae8ap-6L, 0xc.ccaccd25f7ef9aap-6L};

}  // namespace logl_data

namespace log1pl_data {

// ln(1 + x) on |x| < 2^-4 (used from 2^-14), x^2..x^15 in the layout of
// log1p_series: fitted, ln(1 + x) to 2^-77.4.
constexpr long double kQ[16] = {-0xf.3556bedf347381bp-74L, 0xa.aaaaaaaaaaaae0bp-17L, -0xf.ffffffffffffdc8p-6L,
                                0xc.cccccccccccc4dbp-6L,   -0xa.aaaaaaaaac29aa6p-6L, 0x9.2492492495e3d85p-6L,
                                -0xf.fffffff1c24ee6fp-7L,  0xe.38e38e1eef728d6p-7L,  -0xc.ccccef9579ee1aap-7L,
                                0xb.a2e8ed53dd41b7cp-7L,   -0xa.aa7d30eb78f432ap-7L, 0x9.d8655962e9bf835p-7L,
                                -0x9.42cf1c706a18e69p-7L,  0x8.a8d17883eebffaep-7L,  -0x1p-1L,
                                0x1.554p-2L};
// ln(1 + x) - x, x^2..x^5 on |x| < 2^-14 (used from 2^-25): fitted,
// ln(1 + x) to 2^-76.5.
constexpr long double kQ1[4] = {-0xf.fffffffffffffe5p-5L, 0xa.aaaaaaaaaaaaa6fp-5L, -0x8.0000006aaaaaaap-5L,
                                0xc.cccccdccd38edd5p-6L};
// ln(1 + x) - x, x^2, x^3 on |x| < 2^-25 (used from 2^-38): fitted,
// ln(1 + x) to 2^-78.3.
constexpr long double kQ2[2] = {-0x1.0000000000002p-1L, 0xa.aaaaaaaaaaad111p-5L};
// ln(1 + x) - x, x^2 on |x| < 2^-38: Taylor, ln(1 + x) to 2^-77.5.
constexpr long double kQ3 = -0x1p-1L;
// Keys from which 1 + x is formed directly: x >= 2^74 (the 1 is below the
// last bit that matters) and x <= -0.5 (1 + x exact by Sterbenz).
constexpr uint32_t kDirectKeys[2] = {0x40498000, 0xbffe8000};
constexpr long double kAddend[2] = {0.0L, 1.0L};
// Split x into a head on a 2^-39 grid (|x| < 2^32) or a 2^-15 grid, so that
// 1 + head is exact.
constexpr long double kShifters[2] = {0x1.8p+24L, 0x1.8p+48L};
constexpr long double kOnes[2] = {1.0L, -1.0L};
constexpr long double kTiny = 0x1p-10000L;

}  // namespace log1pl_data

// |x| < 2^-75: ln(1 + x) = x - x^2/2 lies just below x; the difference rounds
// away in round-to-nearest and moves the result one ulp down in the directed
// modes.  Zeros return unchanged; subnormals raise underflow.
[[gnu::noinline]] long double log1p_tiny(long double x, const kel::LdBits& b) {
  using namespace log1pl_data;
  if (kel::Ld::biased_exponent(b) == 0) {
    if (b.mant == 0) return x;
    kel::raise_by_store<long double>(kel::opaque(kTiny) * kTiny);
  }
  return (0x1p+75L * x - x * kOnes[b.se >> 15]) * 0x1p-75L;
}

}  // namespace

KEL_API long double orxlogl_scalar(long double x) {
  using namespace logl_data;
  kel::LdBits b = kel::Ld::bits(x);
  const uint32_t key = kel::Ld::key(b);
  if (static_cast<int32_t>(key) < 0 || key > 0x7FFF7FFF) {  // negative, +inf, NaN
    if (b.se == 0x8000 && b.mant == 0) return divide_by_zero();
    if ((b.se >> 15) != 0 && !kel::Ld::is_nan(b)) return invalid();
    return quiet(x);
  }
  if (key < 0x3FFEF800 || key > 0x3FFF8800) {  // x < 0x1.fp-1 or x >= 0x1.1p+0 + 2^-16
    int bias = kel::Ld::kBias;
    if (kel::Ld::biased_exponent(b) == 0) {  // subnormal or zero
      x = x * 0x1p+75L;
      if (!(x > 0.0L)) return divide_by_zero();
      b = kel::Ld::bits(x);
      bias += 75;
    }
    return log_normal(b, bias);
  }
  if (key < 0x3FFEFFFF || key > 0x3FFF8000)  // x < 1 - 2^-16 or x >= 1 + 2^-15
    return log1p_series(x - 1.0L, kQ2);
  // 1 - 2^-16 <= x < 1 + 2^-15: f exact, and ln(1) = +0.
  const long double f = x - 1.0L;
  const long double f2 = f * f;
  return f + (f2 * (kQ1[0] + kQ1[2] * f2) + (kQ1[1] + kQ1[3] * f2) * (f2 * f));
}

KEL_API long double orxlog1pl_scalar(long double x) {
  using namespace log1pl_data;
  const kel::LdBits b = kel::Ld::bits(x);
  const int e = kel::Ld::biased_exponent(b);
  const int sign = b.se >> 15;
  const uint32_t key = kel::Ld::key(b);
  if (e == 0x7FFF) {
    if (sign != 0 && !kel::Ld::is_nan(b)) return invalid();  // -inf
    return quiet(x);  // +inf, NaN; pseudo-infinity or pseudo-NaN: invalid, default NaN
  }
  if (key >= 0xBFFF8000) {  // x <= -1
    if (b.se == 0xBFFF && b.mant == kel::Ld::kLeadingBit) return divide_by_zero();
    return invalid();
  }
  if (e >= 16379) {  // |x| >= 2^-4
    // An unnormal (leading bit clear) is an invalid operand: x * 1 gives the
    // default NaN with invalid.  The paths below would instead read the
    // fields of 1 + x, which is that NaN, as a number.
    if ((b.mant & kel::Ld::kLeadingBit) == 0) return quiet(x);
    if (key >= kDirectKeys[sign]) return log_normal(kel::Ld::bits(x + kAddend[sign]), kel::Ld::kBias);
    // 1 + x = (1 + head) + tail with 1 + head exact; the tail joins the
    // reduced argument scaled by 2^-k r_j.
    const long double shifter = kShifters[e < 16415 ? 0 : 1];
    const long double head = (x + shifter) - shifter;
    const long double tail = x - head;
    const kel::LdBits hb = kel::Ld::bits(1.0L + head);
    const int he = kel::Ld::biased_exponent(hb);
    const long double m = kel::Ld::make(hb.mant, kel::Ld::kBias);
    const long double mh = (m + kTwo32H) - kTwo32H;
    const int j = static_cast<int>(hb.mant >> 55) & 0xFF;
    const long double r = orx_orx_rcp_table_256[j];
    const long double tail_scaled = tail * kel::Ld::pow2_field(32766 - he);
    return log_table(he - kel::Ld::kBias, j, mh * r - 1.0L, (m - mh) * r + tail_scaled * r);
  }
  if (e >= 16369) return log1p_series(x, kQ);  // |x| >= 2^-14
  if (e < 16308) return log1p_tiny(x, b);  // |x| < 2^-75: x^2 could underflow
  const long double x2 = x * x;
  if (e >= 16358) return x + x2 * ((kQ1[0] + x * kQ1[1]) + x2 * (kQ1[2] + x * kQ1[3]));  // |x| >= 2^-25
  if (e >= 16345) return x + (kQ2[0] + kQ2[1] * x) * x2;                                // |x| >= 2^-38
  kel::raise_by_store<long double>(x + 0x1p+75L * x);  // inexact even where x - x^2/2 is exact
  return x + kQ3 * x2;
}

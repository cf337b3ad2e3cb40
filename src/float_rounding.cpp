// Double-length exponential, logarithm and arctangent for the accurate paths
// of the float members (see float_rounding.h).  They run only when the
// extended-precision value of an element lies too close to a float midpoint,
// so they favour short, checkable error arguments over speed: no tables
// beyond the arctangent rows, series evaluated in double-length arithmetic
// (each operation good to about 2^-124 relative).
#include "float_rounding.h"

#include "atan2l_data.h"

namespace kel::fr {
namespace {

// 1/d as a pair for an integer d < 2^31, at compile time: hi = 1/d rounded;
// hi = hh + hl with 32-bit halves, so d*hh and d*hl are exact, 1 - d*hh is
// exact by Sterbenz and the remainder 1 - d*hi fits in 31 bits, hence
// lo = (1 - d*hi)/d carries 1/d to 2^-128.
constexpr DD reciprocal(long double d) {
  const long double hi = 1.0L / d;
  const long double c = hi * 0x1.00000001p+32L;
  const long double hh = c - (c - hi);
  const long double hl = hi - hh;
  const long double rem = (1.0L - d * hh) - d * hl;
  return {hi, rem / d};
}

// ln 2 = kLn2[0] + kLn2[1] + kLn2[2]: a 48-bit head (k kLn2[0] is exact for
// |k| < 2^15) and two 64-bit parts, together within 2^-240.
constexpr long double kLn2[3] = {0xb17217f7d1cf0000p-64L, 0xf35793c7673007e6p-113L, -0x950bf0cbcd98d675p-180L};
constexpr long double kInvLn2 = 0x1.71547652b82fe178p+0L;
constexpr long double kShifter = 0x1.8p63L;  // adding it rounds to an integer

// Coefficients of the series used below.
struct Series {
  DD atanh[23];     // 1/(2n+1): ln m = 2 s sum (s^2)^n/(2n+1)
  DD atan[9];       // (-1)^n/(2n+1)
  DD factorial[11]; // 1/n!
  constexpr Series() : atanh(), atan(), factorial() {
    for (int n = 0; n < 23; ++n) atanh[n] = reciprocal(2 * n + 1);
    for (int n = 0; n < 9; ++n) atan[n] = n % 2 ? DD{-atanh[n].hi, -atanh[n].lo} : atanh[n];
    long double f = 1;
    for (int n = 0; n < 11; ++n) {
      if (n > 1) f *= n;  // n! < 2^22, exact
      factorial[n] = reciprocal(f);
    }
  }
};
constexpr Series kSeries;

template <int N>
DD horner(const DD (&c)[N], DD z) {
  DD p = c[N - 1];
  for (int n = N - 2; n >= 0; --n) p = add(mul(p, z), c[n]);
  return p;
}

// The integer nearest to v (|v| < 2^62) and its long-double value.
struct Nearest {
  int64_t n;
  long double value;
};
inline Nearest nearest_integer(long double v) {
  const long double shifted = v + kShifter;
  return {static_cast<int64_t>(Ld::bits(shifted).mant - 0xC000000000000000ull), shifted - kShifter};
}

inline DD neg(DD a) { return {-a.hi, -a.lo}; }

}  // namespace

// t = k ln2 + r, |r| <= ln2/2 (plus rounding).  r0 = t_hi - k kLn2[0] is
// exact: for k != 0 both terms are multiples of the last bit of t_hi (k
// kLn2[0] of 2^-48, and |t_hi| > 1/4) and |r0| < |t_hi|.  e^(r/256) by its Taylor series to degree 10 (truncation below
// 2^-130), squared eight times (the relative error doubles per squaring: about
// 2^-115 at the end); the scale 2^k is exact.
DD exp_dd(DD t) {
  const Nearest k = nearest_integer(t.hi * kInvLn2);
  DD r = add(DD{t.hi - k.value * kLn2[0], 0.0L}, DD{t.lo, 0.0L});
  r = add(r, neg(kel::ld::two_prod(k.value, kLn2[1])));
  r.lo -= k.value * kLn2[2];
  const DD rs = scale(r, 0x1p-8L);
  DD e = horner(kSeries.factorial, rs);
  for (int i = 0; i < 8; ++i) e = mul(e, e);
  return scale(e, Ld::pow2_field(static_cast<int>(k.n) + Ld::kBias));
}

// x = 2^k m with m in [sqrt(1/2), sqrt(2)); ln m = 2 atanh(s),
// s = (m - 1)/(m + 1), |s| < 0.1716, summed to s^45 (truncation below
// 2^-117 s); m - 1 is exact and m + 1 is carried as a pair.
DD log_dd(long double x) {
  const LdBits b = Ld::bits(x);
  int k = Ld::biased_exponent(b) - Ld::kBias;
  long double m = Ld::make(b.mant, Ld::kBias);
  if (m > 0x1.6a09e667f3bcc908p+0L) {  // sqrt(2)
    m *= 0.5L;
    ++k;
  }
  const DD s = div(DD{m - 1.0L, 0.0L}, kel::ld::two_sum(m, 1.0L));
  const DD ln_m = scale(mul(s, horner(kSeries.atanh, mul(s, s))), 2.0L);
  const long double fk = k;
  DD kl = add(DD{fk * kLn2[0], 0.0L}, kel::ld::two_prod(fk, kLn2[1]));
  kl.lo += fk * kLn2[2];
  return add(kl, ln_m);
}

// atan(a/b) = atan(c) + atan(v), c = j/64 nearest to a/b,
// v = (a - c b)/(b + c a), |v| <= 1/128 (plus rounding); numerator and
// denominator are formed as pairs (c b and c a by Dekker's product), v by a
// double-length division, atan(v) = v sum (-v^2)^n/(2n+1) to v^17
// (truncation below 2^-126 v), atan(c) from the arctangent rows.
DD atan_dd(long double a, long double b) {
  const Nearest j = nearest_integer((a / b) * 64);
  const long double c = j.value * 0x1p-6L;
  const DD num = add(DD{a, 0.0L}, neg(kel::ld::two_prod(c, b)));
  const DD den = add(DD{b, 0.0L}, kel::ld::two_prod(c, a));
  const DD v = div(num, den);
  return add(kel::atan2l_data::kTables.rows[j.n], mul(v, horner(kSeries.atan, mul(v, v))));
}

}  // namespace kel::fr

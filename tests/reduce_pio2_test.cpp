// orxreduce_pio2d against an exact reduction with MPFR: the path switches, every
// exponent, the doubles closest to multiples of pi/2.
#include <gtest/gtest.h>
#include <stdint.h>  // before mpfr.h: declares the intmax_t functions
#include <mpfr.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

// Arguments with the most cancellation, shared with trig_test.cpp.
namespace pio2cases {

// Values of `digits` bits nearest to k pi / 2^s, k log-uniform below 2^kbits, every other one negated.
std::vector<long double> nearest_multiples(int s, int kbits, int digits, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  mpfr_t t, k;
  mpfr_inits2(256, t, k, static_cast<mpfr_ptr>(nullptr));  // k is exact, the product relative to 2^-256
  std::vector<long double> out;
  for (size_t i = 0; i < n; ++i) {
    mpfr_set_uj_2exp(k, rng() | 1, static_cast<int>(rng() % (kbits + 1)) - 64, MPFR_RNDN);
    mpfr_floor(k, k);
    mpfr_add_ui(k, k, 1, MPFR_RNDN);
    mpfr_const_pi(t, MPFR_RNDN);
    mpfr_mul(t, t, k, MPFR_RNDN);
    mpfr_div_2ui(t, t, s, MPFR_RNDN);
    mpfr_prec_round(t, digits, MPFR_RNDN);
    out.push_back((i & 1) ? -mpfr_get_ld(t, MPFR_RNDN) : mpfr_get_ld(t, MPFR_RNDN));
    mpfr_set_prec(t, 256);
  }
  mpfr_clears(t, k, static_cast<mpfr_ptr>(nullptr));
  return out;
}

// The closest approaches to k pi/2 in [2^E, 2^(E+1)): the last convergent and
// semiconvergent numerators below 2^digits of (pi/2) 2^(digits-1-E).
std::vector<long double> closest_in_binade(int E, int digits) {
  std::vector<long double> out;
  mpfr_t a, fl;
  mpfr_inits2(std::max(E, 0) + 2 * digits + 300, a, fl, static_cast<mpfr_ptr>(nullptr));  // 1/a keeps its fraction
  mpfr_const_pi(a, MPFR_RNDN);
  mpfr_mul_2si(a, a, digits - 2 - E, MPFR_RNDN);
  const long double limit = std::ldexp(1.0L, digits);
  long double p0 = 1, p1 = 0;  // p_{n-1}, p_{n-2}
  for (int step = 0; step < 400; ++step) {
    mpfr_floor(fl, a);
    const long double p = mpfr_get_ld(fl, MPFR_RNDN) * p0 + p1;
    if (p >= limit) {
      const long double semi = std::floor((limit - 1 - p1) / p0);  // largest a with a p0 + p1 < 2^digits
      if (semi >= 1) out.push_back(std::ldexp(semi * p0 + p1, E + 1 - digits));
      out.push_back(std::ldexp(p0, E + 1 - digits));
      break;
    }
    p1 = p0, p0 = p;
    mpfr_sub(a, a, fl, MPFR_RNDN);
    if (mpfr_zero_p(a)) break;
    mpfr_ui_div(a, 1, a, MPFR_RNDN);
  }
  mpfr_clears(a, fl, static_cast<mpfr_ptr>(nullptr));
  return out;
}

}  // namespace pio2cases

namespace {

// At x and -x: q in 0..3, |r| <= pi/4 (plus rounding) for x - q pi/2 mod 2 pi,
// relative error below 2^-57 (medium path, below 2^30) or 2^-70 (large path),
// r[1] below half an ulp of r[0]; -x gives the negated parts and (-q) & 3.
void reduce_and_check(double x) {
  mpfr_t pio2, t, u;
  mpfr_inits2(4000, pio2, t, u, static_cast<mpfr_ptr>(nullptr));
  double r[2], rn[2];
  int q, qn;
  {
    ScopedControlWord cw(kDouble);
    q = orxreduce_pio2d(x, r);
    qn = orxreduce_pio2d(-x, rn);
  }
  ASSERT_TRUE(q >= 0 && q <= 3) << kelacc::hex(x);
  EXPECT_EQ(qn, (-q) & 3) << kelacc::hex(x);
  EXPECT_TRUE(rn[0] == -r[0] && rn[1] == -r[1]) << kelacc::hex(x);
  mpfr_const_pi(pio2, MPFR_RNDN);
  mpfr_div_2ui(pio2, pio2, 1, MPFR_RNDN);
  mpfr_mul_si(t, pio2, q, MPFR_RNDN);
  mpfr_d_sub(t, x, t, MPFR_RNDN);
  mpfr_div_2ui(u, t, 2, MPFR_RNDN);
  mpfr_div(u, u, pio2, MPFR_RNDN);
  mpfr_round(u, u);
  mpfr_mul_2ui(u, u, 2, MPFR_RNDN);
  mpfr_mul(u, u, pio2, MPFR_RNDN);
  mpfr_sub(t, t, u, MPFR_RNDN);  // the exact reduced argument for quadrant q
  mpfr_div(u, t, pio2, MPFR_RNDN);
  EXPECT_LE(std::fabs(mpfr_get_d(u, MPFR_RNDN)) * 2, 1.0 + 0x1p-40) << kelacc::hex(x);
  mpfr_set_d(u, r[0], MPFR_RNDN);
  mpfr_add_d(u, u, r[1], MPFR_RNDN);
  mpfr_sub(u, u, t, MPFR_RNDN);
  mpfr_div(u, u, t, MPFR_RNDN);
  EXPECT_LE(std::fabs(mpfr_get_d(u, MPFR_RNDN)), std::fabs(x) < 0x1p30 ? 0x1p-57 : 0x1p-70)
      << kelacc::hex(x) << " q=" << q << " r=" << kelacc::hex(r[0]) << " + " << kelacc::hex(r[1]);
  EXPECT_LE(std::fabs(r[1]), 0.5 * (std::nextafter(std::fabs(r[0]), INFINITY) - std::fabs(r[0]))) << kelacc::hex(x);
  mpfr_clears(pio2, t, u, static_cast<mpfr_ptr>(nullptr));
}

// The path switches; every exponent from 2^14 with the smallest, largest and
// random significands (e - 1052 a multiple of 25: the start index one lower).
TEST(ReducePio2, PathSwitchesAndEveryExponent) {
  for (double e : {12800.0, 0x1p17, 0x1p23, 0x1p30, DBL_MAX, 0x1.921fb54442d18p+29})
    for (double x : {e, std::nextafter(e, 0.0), std::nextafter(e, INFINITY)})
      if (std::isfinite(x)) reduce_and_check(x);
  std::mt19937_64 rng(5);
  for (uint64_t e = 1037; e <= 2046; ++e) {
    if (kEmulated && (e - 1052) % 25 > 1 && e % 5 != 0) continue;
    for (uint64_t m : {uint64_t(0), (uint64_t(1) << 52) - 1, rng() >> 12, rng() >> 12, rng() >> 12})
      reduce_and_check(double_from_bits(e << 52 | m));
  }
}

// Up to 62 bits of cancellation (6381956970095103 2^797 is the closest of all).
TEST(ReducePio2, NearestToMultiplesOfPiOver2) {
  reduce_and_check(6381956970095103.0 * 0x1p797);
  for (int E = 13; E <= 1023; ++E) {
    if (kEmulated && E % 7 != 0 && E != 22 && E != 23 && E != 29 && E != 30) continue;
    for (long double x : pio2cases::closest_in_binade(E, 53))
      if (x >= 12800.0L) reduce_and_check(static_cast<double>(x));
  }
  for (long double x : pio2cases::nearest_multiples(1, 1000, 53, kelacc::default_samples() / 4, 7))
    if (std::fabs(x) >= 12800.0L) reduce_and_check(static_cast<double>(x));
}

}  // namespace

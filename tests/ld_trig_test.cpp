// Long-double circular kernels, arctangents and square root: accuracy by range, specials, flags.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "generators.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace pio2cases {  // defined in reduce_pio2_test.cpp
std::vector<long double> nearest_multiples(int s, int kbits, int digits, size_t n, uint64_t seed);
std::vector<long double> closest_in_binade(int E, int digits);
}  // namespace pio2cases

namespace {

// Accepted error of sinl, cosl, tanl, atanl and atan2l in ulps; sqrtl is correctly rounded.
constexpr double kBound = 0.52;

uint16_t ieee_flags() { return flags() & ~0x02; }  // without denormal-operand
std::string hex(long double x) { return kelacc::hex(x); }

// Random long doubles in [lo, hi] binade by binade, either sign.
std::vector<long double> both_signs(long double lo, long double hi, uint64_t seed) {
  return kelacc::Sampler<long double>(kelacc::default_samples(), seed).both_signs(lo, hi, 1).take();
}

// sinl, cosl and tanl within kBound, sincosl bit for bit sinl and cosl.
void expect_circular(const std::vector<long double>& xs, const char* what) {
  SCOPED_TRACE(what);
  kelacc::expect_within("sinl", kelacc::measure_kernel(orxsinl_scalar, mpfr_sin, xs), kBound);
  kelacc::expect_within("cosl", kelacc::measure_kernel(orxcosl_scalar, mpfr_cos, xs), kBound);
  kelacc::expect_within("tanl", kelacc::measure_kernel(orxtanl_scalar, mpfr_tan, xs), kBound);
  ScopedControlWord cw(kDefault);
  for (long double x : xs) {
    long double s, c;
    orxsincosl_scalar(x, &s, &c);
    ASSERT_TRUE(same_bits(s, orxsinl_scalar(x)) && same_bits(c, orxcosl_scalar(x))) << what << ": " << hex(x);
  }
}

// Each reduction path, the nearest approaches to k pi/2, LDBL_MAX and the pi/4, 2^20, 2^-32 switches.
TEST(LdSinCos, AccuracyByRange) {
  const long double bounds[] = {0x1p-40L, 0x1p-30L, 1.0L, 0x1p20L, 0x1p70L, LDBL_MAX};
  for (int i = 0; i < 5; ++i) expect_circular(both_signs(bounds[i], bounds[i + 1], i + 1), hex(bounds[i]).c_str());
  expect_circular(pio2cases::nearest_multiples(1, 62, 64, kelacc::default_samples(), 6), "nearest to k pi/2");
  std::vector<long double> edges = {LDBL_MAX, -LDBL_MAX};
  for (long double e : {0x1.921fb54442d18469898cc51701b8p-1L, 0x1p20L, 0x1p-32L}) {
    long double x = std::nextafter(e, 0.0L);
    for (int i = 0; i < 3; ++i, x = std::nextafter(x, INFINITY)) edges.push_back(x), edges.push_back(-x);
  }
  expect_circular(edges, "switch points");
}

// The closest approaches to k pi/2 of every binade (a sample above 2^128).
TEST(LdSinCos, HardestReductionsOfEveryBinade) {
  std::vector<long double> xs;
  for (int e = 0; e <= 16383; e += e < 128 ? 1 : kEmulated ? 97 : 13)
    for (long double x : pio2cases::closest_in_binade(e, 64)) xs.push_back(x), xs.push_back(-x);
  ASSERT_GT(xs.size(), 1000u);
  expect_circular(xs, "hardest reductions");
}

TEST(LdSinCos, SpecialValuesAndFlags) {
  const long double inf = INFINITY, nan = NAN, snan = std::numeric_limits<long double>::signaling_NaN();
  const long double sub = 0x1p-16400L, mn = LDBL_MIN;
  const struct {
    long double x, sin, cos;  // NaN: any NaN; tan x = sin x in every row
    uint16_t flags;           // raised by each of sinl, cosl, tanl and sincosl
    uint16_t sin_only;        // raised by sinl, tanl and sincosl only
  } cases[] = {
      {0.0L, 0.0L, 1.0L, 0, 0},          {-0.0L, -0.0L, 1.0L, 0, 0},       {inf, nan, nan, kInvalid, 0},
      {-inf, nan, nan, kInvalid, 0},     {nan, nan, nan, 0, 0},            {snan, nan, nan, kInvalid, 0},
      {sub, sub, 1.0L, kInexact, kUnderflow}, {-sub, -sub, 1.0L, kInexact, kUnderflow},
      {mn, mn, 1.0L, kInexact, 0},       {0x1p-33L, 0x1p-33L, 1.0L, kInexact, 0},
  };
  for (const auto& c : cases) {
    long double s, co, ps, pc, ta;
    uint16_t fs, fc, fsc, ft;
    ScopedControlWord cw(kDefault);
    ta = orxtanl_scalar(c.x), ft = ieee_flags(), clear_flags();
    s = orxsinl_scalar(c.x), fs = ieee_flags(), clear_flags();
    co = orxcosl_scalar(c.x), fc = ieee_flags(), clear_flags();
    orxsincosl_scalar(c.x, &ps, &pc), fsc = ieee_flags();
    for (auto [got, want] : {std::pair{s, c.sin}, {co, c.cos}, {ps, c.sin}, {pc, c.cos}, {ta, c.sin}})
      EXPECT_TRUE(std::isnan(want) ? std::isnan(got) : same_bits(got, want)) << hex(c.x) << " gave " << hex(got);
    EXPECT_EQ(fc, c.flags) << hex(c.x);
    for (uint16_t f : {fs, fsc, ft}) EXPECT_EQ(f, c.flags | c.sin_only) << hex(c.x);
  }
}

TEST(LdAtanSqrt, AccuracyByRange) {
  // Every magnitude: below 2^-80 atan x rounds like x; above 2^80 like pi/2.
  for (const auto& xs : {both_signs(0x1p-16445L, LDBL_MAX, 11), both_signs(0.125L, 8.0L, 12)})
    kelacc::expect_within("atanl", kelacc::measure_kernel(orxatanl_scalar, mpfr_atan, xs), kBound);
  // sqrtl bit for bit, inexact exactly when it is; exact squares and their neighbours.
  const size_t n = kelacc::default_samples();
  std::vector<long double> xs = kelacc::random_bits_in<long double>(0x1p-16445L, LDBL_MAX, n, 13);
  std::mt19937_64 g(14);
  for (size_t i = 0; i < n; ++i) {
    const long double s = std::ldexp(static_cast<long double>(g() >> 32 | 1), static_cast<int>(g() % 16000) - 8032);
    xs.insert(xs.end(), {s * s, std::nextafter(s * s, 0.0L), std::nextafter(s * s, INFINITY)});
  }
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  ScopedControlWord cw(kDefault);
  for (long double x : xs) {
    kelacc::exact_unary(exact, mpfr_sqrt, x);
    const long double want = kelacc::correctly_rounded<long double>(exact);
    clear_flags();
    ASSERT_TRUE(same_bits(orxsqrtl_scalar(x), want)) << hex(x);
    ASSERT_EQ(ieee_flags() & kInexact, mpfr_cmp_ld(exact, want) ? kInexact : 0) << hex(x);
  }
  mpfr_clear(exact);
}

TEST(LdAtan2, AccuracyInAllQuadrants) {
  // Ratio near 1, 2^-70..2^70, tiny, huge; extreme magnitudes, the top, subnormal over normal.
  const long double ranges[][4] = {{1, 4, 1, 4},
                                   {0x1p-35L, 0x1p35L, 0x1p-35L, 0x1p35L},
                                   {0x1p-130L, 0x1p-70L, 1, 0x1p10L},
                                   {1, 0x1p10L, 0x1p-130L, 0x1p-70L},
                                   {0x1p-16440L, 0x1p-16300L, 0x1p-16440L, 0x1p-16300L},
                                   {0x1p16300L, LDBL_MAX, 0x1p16300L, LDBL_MAX},
                                   {0x1p-16445L, 0x1p-16383L, 0x1p-100L, 1}};
  uint64_t seed = 20;
  for (const auto& r : ranges) {
    const auto ys = both_signs(r[0], r[1], ++seed), xs = both_signs(r[2], r[3], seed * 7);
    kelacc::expect_within(hex(r[0]).c_str(), kelacc::measure_kernel(orxatan2l_scalar, mpfr_atan2, ys, xs), kBound);
  }
}

// Results bit for bit (NaN: any NaN) and exactly the flags.
TEST(LdAtanSqrt, SpecialValuesAndFlags) {
  const long double inf = INFINITY, nan = NAN, snan = std::numeric_limits<long double>::signaling_NaN();
  const long double pi = 0xc.90fdaa22168c235p-2L, pio2 = 0xc.90fdaa22168c235p-3L, pio4 = 0xc.90fdaa22168c235p-4L;
  const long double tpio4 = 0x9.6cbe3f9990e91a8p-2L, sub = 0x1.8p-16440L;
  const struct {
    long double y, x, want;  // atan2l(y, x); atanl and sqrtl rows have x = 1 and take y
    uint16_t flags;
    int fn;  // 0 atan2l, 1 atanl, 2 sqrtl
  } cases[] = {
      {0.0L, 0.0L, 0.0L, 0, 0},            {-0.0L, 0.0L, -0.0L, 0, 0},        {0.0L, -0.0L, pi, kInexact, 0},
      {-0.0L, -0.0L, -pi, kInexact, 0},    {0.0L, 3.0L, 0.0L, 0, 0},          {-0.0L, 3.0L, -0.0L, 0, 0},
      {0.0L, -3.0L, pi, kInexact, 0},      {-0.0L, -3.0L, -pi, kInexact, 0},  {2.0L, 0.0L, pio2, kInexact, 0},
      {2.0L, -0.0L, pio2, kInexact, 0},    {-2.0L, 0.0L, -pio2, kInexact, 0}, {-2.0L, -0.0L, -pio2, kInexact, 0},
      {inf, 5.0L, pio2, kInexact, 0},      {-inf, -5.0L, -pio2, kInexact, 0}, {inf, inf, pio4, kInexact, 0},
      {-inf, inf, -pio4, kInexact, 0},     {inf, -inf, tpio4, kInexact, 0},   {-inf, -inf, -tpio4, kInexact, 0},
      {7.0L, inf, 0.0L, 0, 0},             {-7.0L, inf, -0.0L, 0, 0},         {7.0L, -inf, pi, kInexact, 0},
      {-7.0L, -inf, -pi, kInexact, 0},     {0.0L, inf, 0.0L, 0, 0},           {-0.0L, -inf, -pi, kInexact, 0},
      {1.0L, 1.0L, pio4, kInexact, 0},     {-1.0L, -1.0L, -tpio4, kInexact, 0}, {nan, 1.0L, nan, 0, 0},
      {1.0L, nan, nan, 0, 0},              {nan, inf, nan, 0, 0},             {inf, nan, nan, 0, 0},
      // A subnormal quotient is rounded once and underflows; pi/2 - tiny does not.
      {sub, 10.0L, sub / 10.0L, kUnderflow | kInexact, 0}, {10.0L, -sub, pio2, kInexact, 0},
      {0.0L, 1, 0.0L, 0, 1},               {-0.0L, 1, -0.0L, 0, 1},           {inf, 1, pio2, kInexact, 1},
      {-inf, 1, -pio2, kInexact, 1},       {LDBL_MAX, 1, pio2, kInexact, 1},  {-0x1p-90L, 1, -0x1p-90L, kInexact, 1},
      {0x1p-16445L, 1, 0x1p-16445L, kInexact | kUnderflow, 1}, {1.0L, 1, pio4, kInexact, 1},
      {nan, 1, nan, 0, 1},                 {0.0L, 1, 0.0L, 0, 2},             {-0.0L, 1, -0.0L, 0, 2},
      {inf, 1, inf, 0, 2},                 {-inf, 1, nan, kInvalid, 2},       {-1.0L, 1, nan, kInvalid, 2},
      {-0x1p-16445L, 1, nan, kInvalid, 2}, {nan, 1, nan, 0, 2},               {snan, 1, nan, kInvalid, 2},
      {4.0L, 1, 2.0L, 0, 2},               {0x1p-16444L, 1, 0x1p-8222L, 0, 2},  // subnormal, exact
      {2.0L, 1, 0x1.6a09e667f3bcc908b2fb1366ea95p+0L, kInexact, 2},
      {0x1p-16445L, 1, 0x1.6a09e667f3bcc908b2fb1366ea95p-8223L, kInexact, 2},
      {LDBL_MAX, 1, 0x1.fffffffffffffffep+8191L, kInexact, 2},
  };
  for (const auto& c : cases) {
    ScopedControlWord cw(kDefault);
    const long double r = c.fn == 0   ? orxatan2l_scalar(c.y, c.x)
                          : c.fn == 1 ? orxatanl_scalar(c.y)
                                      : orxsqrtl_scalar(c.y);
    const uint16_t f = ieee_flags();
    const std::string what = "fn " + std::to_string(c.fn) + " (" + hex(c.y) + ", " + hex(c.x) + ")";
    EXPECT_TRUE(std::isnan(c.want) ? std::isnan(r) : same_bits(r, c.want)) << what << " gave " << hex(r);
    EXPECT_EQ(f, c.flags) << what;
  }
}

}  // namespace

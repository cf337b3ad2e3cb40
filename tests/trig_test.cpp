// Sin, Cos, SinCos, Tan: accuracy where the sweep seldom reaches, float and SinCos members, specials.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace pio2cases {  // defined in reduce_pio2_test.cpp
std::vector<long double> nearest_multiples(int s, int kbits, int digits, size_t n, uint64_t seed);
}  // namespace pio2cases

namespace {

using Unary = int (*)(const double*, double*, int);
using UnaryF = int (*)(const float*, float*, int);

std::vector<double> near_multiples(int s, int kbits, size_t n, uint64_t seed) {
  const auto v = pio2cases::nearest_multiples(s, kbits, 53, n, seed);
  return {v.begin(), v.end()};
}

// The path switches (the large reduction from 2^17, 12800 for the tangent), the
// medium range, zeros and poles beyond the sweep's 2^36, the table rows (k pi/32).
TEST(TrigAccuracy, WithinOneUlpByRange) {
  const size_t n = kelacc::default_samples();
  const struct {
    const char* name;
    Unary fn;
    kelacc::MpfrUnary ref;
    double medium;
  } members[] = {{"Sin_64f_A53", kelsSin_64f_A53, mpfr_sin, 0x1p17},
                 {"Cos_64f_A53", kelsCos_64f_A53, mpfr_cos, 0x1p17},
                 {"Tan_64f_A53", kelsTan_64f_A53, mpfr_tan, 12800.0}};
  for (const auto& [name, fn, ref, medium] : members) {
    std::vector<double> xs = kelacc::random_uniform<double>(-medium, medium, n, 23);
    for (double e : {0x1p17, 12800.0, 0x1p23, 0x1p30, 1e5, 1e6})
      for (double x = e, i = 0; i < 20; ++i, x = std::nextafter(std::nextafter(x, 0.0), 0.0))
        xs.push_back(x), xs.push_back(-std::nextafter(x, 0.0));
    for (const auto& more : {near_multiples(1, 1020, n, 27), near_multiples(5, int(std::log2(medium)) + 3, n, 28)})
      xs.insert(xs.end(), more.begin(), more.end());
    kelacc::expect_within(name, kelacc::measure<double>(fn, ref, xs), 1.0);
  }
}

// Every row of the tangent within 0.6 ulp (rows 13 and 19 unfolded reach 1);
// near the poles the result is large, finite and reported as nothing.
TEST(TrigAccuracy, TangentEveryRowAndNearItsPoles) {
  std::mt19937_64 rng(71);
  std::vector<double> xs;
  for (size_t i = 0; i < 4 * kelacc::default_samples(); ++i) {
    const double u = std::ldexp(static_cast<double>(rng() >> 11), -53) - 0.5;
    xs.push_back((static_cast<double>(i % 32) + u) * (M_PI / 32) + M_PI * static_cast<double>(rng() % 64));
  }
  kelacc::expect_within("Tan_64f_A53", kelacc::measure<double>(kelsTan_64f_A53, mpfr_tan, xs), 0.6);
  const double poles[] = {0x1.921fb54442d18p+0, 0x1.921fb54442d19p+0, -0x1.921fb54442d18p+0, 0x1.2d97c7f3321d2p+2,
                          6381956970095103.0 * 0x1p797};
  double ys[5];
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsTan_64f_A53(poles, ys, 5), 0);
  EXPECT_EQ(flags() & (kInvalid | kDivByZero | kOverflow | kUnderflow), 0);
  EXPECT_NEAR(ys[0], 1.633123935319537e16, 2.0);
}

// The float members round the double member's result once; SinCos gives
// exactly Sin and Cos.
TEST(TrigMembers, FloatFromDoubleAndSinCosFromSinAndCos) {
  std::vector<double> xs = kelacc::random_bits_in<double>(-1e30, 1e30, kelacc::default_samples(), 41);
  const auto more = kelacc::random_uniform<double>(-20000.0, 20000.0, kelacc::default_samples(), 42);
  xs.insert(xs.end(), more.begin(), more.end());
  const int n = static_cast<int>(xs.size());
  const std::vector<float> fs(xs.begin(), xs.end());
  const std::vector<double> fsd(fs.begin(), fs.end());
  std::vector<double> d1(n), d2(n), s(n), c(n);
  std::vector<float> f1(n), f2(n), fsn(n), fcs(n);
  for (const auto& [d, f] : {std::pair<Unary, UnaryF>{kelsSin_64f_A53, kelsSin_32f_A24},
                             {kelsCos_64f_A53, kelsCos_32f_A24}, {kelsTan_64f_A53, kelsTan_32f_A24}}) {
    d(fsd.data(), d1.data(), n);
    f(fs.data(), f1.data(), n);
    for (int i = 0; i < n; ++i) {
      volatile float nearest = static_cast<float>(d1[i]);
      ASSERT_TRUE(same_bits(f1[i], static_cast<float>(nearest))) << "float vs double at " << fs[i];
    }
  }
  kelsSin_64f_A53(xs.data(), d1.data(), n);
  kelsCos_64f_A53(xs.data(), d2.data(), n);
  kelsSinCos_64f_A53(xs.data(), s.data(), c.data(), n);
  kelsSin_32f_A24(fs.data(), f1.data(), n);
  kelsCos_32f_A24(fs.data(), f2.data(), n);
  kelsSinCos_32f_A24(fs.data(), fsn.data(), fcs.data(), n);
  for (int i = 0; i < n; ++i)
    ASSERT_TRUE(same_bits(d1[i], s[i]) && same_bits(d2[i], c[i]) && same_bits(f1[i], fsn[i]) && same_bits(f2[i], fcs[i]))
        << kelacc::hex(xs[i]);
}

// Signed zeros, tiny arguments (x or 1, inexact), infinities (domain), NaNs.
TEST(TrigScreen, SpecialArguments) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), tiny = 0x1p-300, sub = 0x1p-1070;
  const double big = 0x1.fffffffffffffp-253;
  const struct {
    double x, sin, cos;  // tan x = sin x in every row; NaN: any NaN
    int status;
    uint16_t flags;
  } cases[] = {
      {0.0, 0.0, 1.0, 0, 0},          {-0.0, -0.0, 1.0, 0, 0},         {tiny, tiny, 1.0, 0, kInexact},
      {-tiny, -tiny, 1.0, 0, kInexact}, {sub, sub, 1.0, 0, kInexact},  {big, big, 1.0, 0, kInexact},
      {INFINITY, nan, nan, kelStatusDomain, kInvalid}, {-INFINITY, nan, nan, kelStatusDomain, kInvalid},
      {nan, nan, nan, 0, 0},
  };
  auto same = [](double got, double want) { return std::isnan(want) ? std::isnan(got) : same_bits(got, want); };
  for (const auto& c : cases) {
    for (auto [fn, want] : {std::pair{&kelsSin_64f_A53, c.sin}, {&kelsCos_64f_A50, c.cos}, {&kelsTan_64f_A53, c.sin}}) {
      const auto r = run_one(fn, c.x);
      EXPECT_EQ(r.status, c.status) << c.x;
      EXPECT_TRUE(same(r.y, want)) << c.x << " gave " << kelacc::hex(r.y);
      EXPECT_EQ(r.flags & (c.flags | kInvalid | kUnderflow | kOverflow | kDivByZero), c.flags) << c.x;
    }
    double s, co;
    EXPECT_EQ(kelsSinCos_64f_A53(&c.x, &s, &co, 1), c.status);
    EXPECT_TRUE(same(s, c.sin) && same(co, c.cos)) << c.x;
  }
  const float fx[5] = {0.0f, -0.0f, INFINITY, std::numeric_limits<float>::quiet_NaN(), 0x1p-149f};
  float fy[5], fc[5];
  EXPECT_EQ(kelsSin_32f_A11(fx, fy, 5), kelStatusDomain);
  EXPECT_TRUE(same_bits(fy[0], 0.0f) && same_bits(fy[1], -0.0f) && std::isnan(fy[2]) && std::isnan(fy[3]));
  EXPECT_EQ(fy[4], 0x1p-149f);
  EXPECT_EQ(kelsSinCos_32f_A24(fx, fy, fc, 4), kelStatusDomain);
  EXPECT_TRUE(same_bits(fy[1], -0.0f) && fc[1] == 1.0f && std::isnan(fy[2]) && std::isnan(fc[2]));
  EXPECT_EQ(kelsTan_32f_A21(fx + 3, fy, 1), 0);
  EXPECT_TRUE(std::isnan(fy[0]));
}

}  // namespace

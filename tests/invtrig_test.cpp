// Inverse circular and hyperbolic families: specials, reports, atan2's zeros and infinities, row edges.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

template <class T>
using Fn = KelStatus (*)(const T*, T*, int);

constexpr double kPi = 0x1.921fb54442d18p+1, kHalfPi = 0x1.921fb54442d18p+0, kQuarterPi = 0x1.921fb54442d18p-1;

TEST(InvTrigSpecial, ExactResultsAndFlags) {
  const double inf = INFINITY, nan = NAN, tiny = 0x1p-1074;  // signed zeros, flags, the rows the sweep can't reach
  const struct {
    const char* name;
    Fn<double> fn;
    std::vector<kelacc::Special<double>> cases;
  } families[] = {
      {"Asin", kelsAsin_64f_A53, {{-0.0, -0.0, 0}, {-1.0, -kHalfPi, kInexact}}},
      {"Acos", kelsAcos_64f_A53, {{1.0, 0.0, 0}, {-1.0, kPi, kInexact}}},
      {"Atan", kelsAtan_64f_A53, {{-0.0, -0.0, 0}, {inf, kHalfPi, kInexact}, {-inf, -kHalfPi, kInexact}}},
      {"Asinh", kelsAsinh_64f_A53, {{-0.0, -0.0, 0}, {-inf, -inf, 0}, {0x1.fffffffffffffp+1023, 0x1.633ce8fb9f87ep+9, kInexact}}},
      {"Acosh", kelsAcosh_64f_A53, {{1.0, 0.0, 0}, {inf, inf, 0}}},
      {"Atanh", kelsAtanh_64f_A53, {{-0.0, -0.0, 0}, {nan, nan, 0}, {tiny, tiny, kInexact}}},
  };
  for (const auto& f : families) kelacc::expect_specials(f.name, f.fn, f.cases);
}

// Out-of-domain elements store NaN with the domain report and invalid;
// atanh(+-1) stores +-inf with the singularity report and divide-by-zero.
TEST(InvTrigReports, DomainAndSingularity) {
  const struct {
    Fn<double> fn;
    double x, y;
    int status;
    uint16_t flag;
  } cases[] = {
      {kelsAsin_64f_A53, 0x1.0000000000001p0, NAN, kelStatusDomain, kInvalid},
      {kelsAcos_64f_A50, -INFINITY, NAN, kelStatusDomain, kInvalid},
      {kelsAcosh_64f_A53, 0x1.fffffffffffffp-1, NAN, kelStatusDomain, kInvalid},
      {kelsAcosh_64f_A53, -0.0, NAN, kelStatusDomain, kInvalid},
      {kelsAtanh_64f_A53, -1.5, NAN, kelStatusDomain, kInvalid},
      {kelsAtanh_64f_A53, 1.0, INFINITY, kelStatusSingularity, kDivByZero},
      {kelsAtanh_64f_A50, -1.0, -INFINITY, kelStatusSingularity, kDivByZero},
  };
  for (const auto& c : cases) {
    const auto r = run_one(c.fn, c.x);
    EXPECT_EQ(r.status, c.status) << c.x;
    EXPECT_TRUE(r.flags & c.flag) << c.x;
    EXPECT_TRUE(kelacc::same_value(r.y, c.y)) << c.x;
  }
  const float x = 2.0f;
  const auto f = run_one(kelsAsin_32f_A24, x);
  EXPECT_EQ(f.status, kelStatusDomain);
  EXPECT_TRUE(std::isnan(f.y));
}

TEST(Atan2, SignedZerosAndInfinities) {
  const double inf = INFINITY;
  const struct {
    double y, x, r;
  } cases[] = {{0.0, 0.0, 0.0},        {-0.0, 0.0, -0.0},      {0.0, -0.0, kPi},          {-0.0, -0.0, -kPi},
               {0.0, -1.0, kPi},       {-0.0, -1.0, -kPi},     {0.0, 1.0, 0.0},           {-0.0, 1.0, -0.0},
               {1.0, 0.0, kHalfPi},    {-1.0, -0.0, -kHalfPi}, {inf, inf, kQuarterPi},    {-inf, inf, -kQuarterPi},
               {inf, -inf, 3 * kQuarterPi}, {1.0, inf, 0.0},   {-1.0, -inf, -kPi},        {inf, 5.0, kHalfPi}};
  for (const auto& c : cases) {
    double r;
    ScopedControlWord cw(kDefault);
    EXPECT_EQ(kelsAtan2_64f_A53(&c.y, &c.x, &r, 1), 0);
    EXPECT_TRUE(same_bits(r, c.r)) << c.y << ", " << c.x << " -> " << kelacc::hex(r);
  }
}

// The edges of the arctangent's rows (binades 2^-7 .. 2^7, the 1/32 steps
// inside them), of the main paths (2^-32, 1, 2^32) and of asin/acos/atanh
// near +-1, with both neighbours of each edge: an index off by one row or a
// main path reaching past its range shows here first.
TEST(InvTrigAccuracy, RowAndPathEdges) {
  std::vector<double> xs;
  for (double e : {0x1p-32, 0x1p-7, 0x1p-1, 1.0, 1.03125, 1.96875, 0x1p6, 0x1.fp6, 0x1p7, 0x1p-7 * 1.5, 0x1p32})
    for (double x : {std::nextafter(e, 0.0), e, std::nextafter(e, 2 * e)}) xs.insert(xs.end(), {x, -x});
  std::vector<double> near_one = {0x1.fffffffffffffp-1, 0x1.ffffffffffff8p-1, 0x1.ffp-1, 0x1p-32, 0x1.fffffp-33};
  // asin/acos: the edges of the cells of t^2 (halfway between two points j/256) with t = a and
  // t = sqrt((1 - a)/2), and a = 1/2 where the second takes over (j = 64).
  for (double j : {0.5, 1.5, 40.5, 63.5, 64.0})
    for (double e : {std::sqrt(j / 256), 1 - j / 128})
      near_one.insert(near_one.end(), {std::nextafter(e, 0.0), e, std::nextafter(e, 1.0)});
  const struct {
    Fn<double> fn;
    kelacc::MpfrUnary ref;
    const std::vector<double>& in;
  } cases[] = {{kelsAtan_64f_A53, mpfr_atan, xs}, {kelsAsin_64f_A53, mpfr_asin, near_one},
               {kelsAcos_64f_A53, mpfr_acos, near_one}, {kelsAsinh_64f_A53, mpfr_asinh, xs},
               {kelsAcosh_64f_A53, mpfr_acosh, xs},     {kelsAtanh_64f_A53, mpfr_atanh, near_one}};
  for (const auto& c : cases) {
    std::vector<double> in = c.in;
    for (double x : c.in) in.push_back(-x);
    const kelacc::Summary s = kelacc::measure(c.fn, c.ref, in);
    EXPECT_LE(s.max_ulps, 0.501) << s.worst_case;
  }
}

// The families computing with 64-bit significands hold the design bound of
// one rounding in double (the flavour bound is 1 ulp): this fails if one of
// them runs at 53-bit precision or the table arctangent slips a row.
TEST(InvTrigAccuracy, ExtendedFamiliesWithinTheDesignBound) {
  const size_t n = sized(1000, 50000);
  kelacc::expect_within("Atan2", kelacc::sample(kelsAtan2_64f_A53, mpfr_atan2, kelacc::gen_atan2<double>(n, 5)), 0.505);
  kelacc::expect_within("Asinh", kelacc::sample(kelsAsinh_64f_A53, mpfr_asinh, kelacc::gen_atan<double>(n, 5)), 0.505);
  kelacc::expect_within("Acosh", kelacc::sample(kelsAcosh_64f_A53, mpfr_acosh, kelacc::gen_acosh<double>(n, 5)), 0.505);
  kelacc::expect_within("Atanh", kelacc::sample(kelsAtanh_64f_A53, mpfr_atanh, kelacc::gen_atanh<double>(n, 5)), 0.505);
}

}  // namespace

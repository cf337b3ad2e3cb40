// Reciprocal and division: the zero-divisor screen, IEEE results for every
// other operand, and the single rounding of float quotients.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

TEST(Inv, ZeroReportsSingularityWithSignedInfinity) {
  const double src[2] = {-0.0, 0.0};
  double dst[2];
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsInv_64f_A50(src, dst, 2), kelStatusSingularity);
  EXPECT_EQ(dst[0], -INFINITY);
  EXPECT_EQ(dst[1], INFINITY);
  EXPECT_TRUE(flags() & kDivByZero);
}

TEST(Inv, UnscreenedOperands) {
  const double tiny = 4.9406564584124654e-324;
  const double src[4] = {tiny, INFINITY, -INFINITY, NAN};
  double dst[4];
  EXPECT_EQ(kelsInv_64f_A53(src, dst, 4), 0);
  EXPECT_EQ(dst[0], INFINITY);  // overflows silently
  EXPECT_TRUE(same_bits(dst[1], 0.0));
  EXPECT_TRUE(same_bits(dst[2], -0.0));
  EXPECT_TRUE(std::isnan(dst[3]));

  const float fsrc[2] = {0x1p-149f, -0.0f};
  float fdst[2];
  EXPECT_EQ(kelsInv_32f_A24(fsrc, fdst, 2), kelStatusSingularity);
  EXPECT_EQ(fdst[0], INFINITY);
  EXPECT_EQ(fdst[1], -INFINITY);
}

TEST(Inv, FloatQuotientIsCorrectlyRounded) {
  const float src[3] = {3.0f, 7.0f, 0x1.fffffep127f};
  float dst[3];
  EXPECT_EQ(kelsInv_32f_A24(src, dst, 3), 0);
  EXPECT_EQ(dst[0], 1.0f / 3.0f);
  EXPECT_EQ(dst[1], 1.0f / 7.0f);
  EXPECT_EQ(dst[2], 0x1.000002p-128f);  // subnormal result, rounded once
}

struct DivCase {
  double a, b;
  int status;
};

TEST(Div, ZeroDivisorCases) {
  const DivCase cases[] = {
      {0.0, 0.0, 18},       {1.0, -0.0, 18},  {-5.0, 0.0, 18}, {INFINITY, 0.0, 0},
      {NAN, 0.0, 0},        {1.0, NAN, 0},    {6.0, 3.0, 0},   {1e300, 1e-300, 0},
      {1e-300, 1e300, 0},   {0.0, INFINITY, 0},
  };
  for (const auto& c : cases) {
    double q;
    EXPECT_EQ(kelsDiv_64f_A53(&c.a, &c.b, &q, 1), c.status) << c.a << "/" << c.b;
    const double expected = c.a / c.b;
    if (std::isnan(expected))
      EXPECT_TRUE(std::isnan(q));
    else
      EXPECT_TRUE(same_bits(q, expected)) << c.a << "/" << c.b << " gave " << q;
    // The float members screen the same cases (the float operands here are
    // the same classes: 1e300 becomes Inf, which bypasses the screen).
    const float fa = static_cast<float>(c.a), fb = static_cast<float>(c.b);
    float fq;
    const bool bypass = std::isinf(fa) || std::isnan(fa) || std::isinf(fb) || std::isnan(fb);
    EXPECT_EQ(kelsDiv_32f_A11(&fa, &fb, &fq, 1), !bypass && fb == 0 ? 18 : 0) << fa << "/" << fb;
  }
}

TEST(Div, FloatOverflowIsSilent) {
  const float a = 1e30f, b = 1e-30f;
  float q;
  EXPECT_EQ(kelsDiv_32f_A11(&a, &b, &q, 1), 0);
  EXPECT_EQ(q, INFINITY);
}

TEST(Div, LaterRegularElementsKeepTheCode) {
  const double a[4] = {1, 2, 3, 4}, b[4] = {1, 2, 0, 4};
  double q[4];
  EXPECT_EQ(kelsDiv_64f_A50(a, b, q, 4), 18);
  EXPECT_EQ(q[3], 1.0);
}

// Every accuracy member gives the correctly rounded quotient.
TEST(InvDiv, CorrectlyRoundedOnRandomInputs) {
  const auto xs = kelacc::random_bits_in<double>(-0x1p1000, 0x1p1000, 2000, 1);
  auto inv = [](mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t m) { return mpfr_ui_div(r, 1, x, m); };
  for (auto fn : {kelsInv_64f_A50, kelsInv_64f_A53}) {
    const auto s = kelacc::measure<double>(fn, inv, xs);
    EXPECT_LE(s.max_ulps, 0.5) << s.describe("Inv 64f");
    EXPECT_EQ(s.class_errors, 0u) << s.describe("Inv 64f");
  }
  const auto fs = kelacc::random_bits_in<float>(-0x1p120f, 0x1p120f, 2000, 2);
  const auto fs2 = kelacc::random_bits_in<float>(-0x1p60f, 0x1p60f, 2000, 3);
  for (auto fn : {kelsDiv_32f_A11, kelsDiv_32f_A21, kelsDiv_32f_A24}) {
    const auto s = kelacc::measure<float>(fn, mpfr_div, fs, fs2);
    EXPECT_LE(s.max_ulps, 0.5) << s.describe("Div 32f");
  }
}

}  // namespace

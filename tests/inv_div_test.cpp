// Reciprocal and division: the zero-divisor screen, IEEE results otherwise, single rounding.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

// Zeros are in Frame.StatusRuleInPlace; a subnormal overflows silently,
// infinities give signed zeros.
TEST(Inv, UnscreenedOperands) {
  const double src[3] = {4.9406564584124654e-324, INFINITY, -INFINITY}, expected[3] = {INFINITY, 0.0, -0.0};
  double dst[3];
  EXPECT_EQ(kelsInv_64f_A53(src, dst, 3), 0);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(same_bits(dst[i], expected[i])) << i;
  const float fsrc[2] = {0x1p-149f, -0.0f};
  float fdst[2];
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsInv_32f_A24(fsrc, fdst, 2), kelStatusSingularity);
  EXPECT_TRUE(fdst[0] == INFINITY && fdst[1] == -INFINITY && (flags() & kDivByZero));
}

// 1/FLT_MAX is subnormal: the quotient is rounded once, at the store.
TEST(Inv, FloatQuotientIsCorrectlyRounded) {
  const float src[3] = {3.0f, 7.0f, 0x1.fffffep127f};
  float dst[3];
  EXPECT_EQ(kelsInv_32f_A24(src, dst, 3), 0);
  EXPECT_EQ(dst[0], 1.0f / 3.0f);
  EXPECT_EQ(dst[1], 1.0f / 7.0f);
  EXPECT_EQ(dst[2], 0x1.000002p-128f);
}

// Only a zero divisor with finite, non-NaN operands reports; the quotient is
// IEEE's in every case (float operands: 1e300 becomes Inf and bypasses the screen).
TEST(Div, ZeroDivisorCases) {
  const struct {
    double a, b;
    int status;
  } cases[] = {{0.0, 0.0, 18}, {1.0, -0.0, 18},   {-5.0, 0.0, 18},   {INFINITY, 0.0, 0},   {NAN, 0.0, 0},
               {1.0, NAN, 0},  {1e300, 1e-300, 0}, {1e-300, 1e300, 0}, {0.0, INFINITY, 0}};
  for (const auto& c : cases) {
    double q;
    EXPECT_EQ(kelsDiv_64f_A53(&c.a, &c.b, &q, 1), c.status) << c.a << "/" << c.b;
    const double expected = c.a / c.b;
    EXPECT_TRUE(std::isnan(expected) ? std::isnan(q) : same_bits(q, expected)) << c.a << "/" << c.b << " gave " << q;
    const float fa = static_cast<float>(c.a), fb = static_cast<float>(c.b);
    const bool bypass = !std::isfinite(fa) || !std::isfinite(fb);
    float fq;
    EXPECT_EQ(kelsDiv_32f_A11(&fa, &fb, &fq, 1), !bypass && fb == 0 ? 18 : 0) << fa << "/" << fb;
  }
  const float big = 1e30f, small = 1e-30f;  // a float quotient overflows silently
  float fq;
  EXPECT_EQ(kelsDiv_32f_A11(&big, &small, &fq, 1), 0);
  EXPECT_EQ(fq, INFINITY);
}

// Correctly rounded quotients (the registry's sweep allows the flavour's bound).
TEST(InvDiv, CorrectlyRoundedOnRandomInputs) {
  const auto xs = kelacc::random_bits_in<double>(-0x1p1000, 0x1p1000, 2000, 1);
  kelacc::expect_within("Inv_64f", kelacc::measure<double>(kelsInv_64f_A53, kelacc::ref_inv, xs), 0.5);
  const auto fs = kelacc::random_bits_in<float>(-0x1p120f, 0x1p120f, 2000, 2);
  const auto fs2 = kelacc::random_bits_in<float>(-0x1p60f, 0x1p60f, 2000, 3);
  kelacc::expect_within("Div_32f", kelacc::measure<float>(kelsDiv_32f_A24, mpfr_div, fs, fs2), 0.5);
}

}  // namespace

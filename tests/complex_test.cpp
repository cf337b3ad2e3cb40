// Complex exponential, logarithms and square root: the frame (checks, 0x300
// guard, status, in-place calls, float shim), every special value of the
// kernels, flags, and normwise accuracy against MPC.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

const double inf = INFINITY, nan_ = NAN;

bool same(double a, double b) {
  if (std::isnan(a) && std::isnan(b)) return true;
  return std::memcmp(&a, &b, 8) == 0;
}

::testing::AssertionResult same(Kel64fc got, Kel64fc want) {
  if (same(got.re, want.re) && same(got.im, want.im)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got (" << got.re << ", " << got.im << ") want (" << want.re << ", "
                                       << want.im << ")";
}

// ---- frame ----

TEST(ComplexFrame, ChecksAndStatus) {
  Kel64fc z[2] = {{1, 1}, {2, 2}}, r[2];
  EXPECT_EQ(kelsExp_64fc_A53(nullptr, nullptr, 0), kelStatusSizeError);
  EXPECT_EQ(kelsSqrt_32fc_A11(nullptr, nullptr, -1), kelStatusSizeError);
  EXPECT_EQ(kelsLn_64fc_A50(z, nullptr, 1), kelStatusNullPointer);
  EXPECT_EQ(kelsLn_64fc_A50(nullptr, r, 1), kelStatusNullPointer);
  // Poles and invalid elements never give a positive status.
  Kel64fc zeros[2] = {{0, 0}, {-inf, nan_}};
  EXPECT_EQ(kelsLn_64fc_A53(zeros, r, 2), 0);
  EXPECT_EQ(kelsLog10_64fc_A53(zeros, r, 2), 0);
}

TEST(ComplexFrame, GuardIs64BitNearestAndRestored) {
  const Kel64fc z[2] = {{0.3, 0.7}, {-2.5, 1e-3}};
  Kel64fc expected[2], r[2];
  {
    ScopedControlWord cw(kDefault);
    kelsExp_64fc_A53(z, expected, 2);
  }
  for (uint16_t caller : {uint16_t(0x0E7F), uint16_t(0x027F), uint16_t(0x007F), uint16_t(0x077F)}) {
    ScopedControlWord cw(caller);
    EXPECT_EQ(kelsExp_64fc_A53(z, r, 2), 0);
    EXPECT_EQ(control_word(), caller);
    EXPECT_TRUE(same(r[0], expected[0]));
    EXPECT_TRUE(same(r[1], expected[1]));
  }
}

TEST(ComplexFrame, InPlaceAndMembersAgree) {
  std::vector<Kel64fc> z = {{0.5, -0.25}, {-3, 4}, {1e-300, 1e300}, {700, 2}};
  std::vector<Kel64fc> a(z.size()), b = z;
  using F = KelStatus (*)(const Kel64fc*, Kel64fc*, int);
  const F pairs[][2] = {{kelsExp_64fc_A50, kelsExp_64fc_A53},
                        {kelsLn_64fc_A50, kelsLn_64fc_A53},
                        {kelsLog10_64fc_A50, kelsLog10_64fc_A53},
                        {kelsSqrt_64fc_A50, kelsSqrt_64fc_A53}};
  for (const auto& p : pairs) {
    b = z;
    p[0](z.data(), a.data(), 4);
    p[1](b.data(), b.data(), 4);
    for (size_t i = 0; i < z.size(); ++i) EXPECT_TRUE(same(a[i], b[i]));
  }
  const Kel32fc fz[2] = {{0.5f, -0.25f}, {-3, 4}};
  Kel32fc f1[2], f2[2], f3[2];
  kelsSqrt_32fc_A11(fz, f1, 2);
  kelsSqrt_32fc_A21(fz, f2, 2);
  kelsSqrt_32fc_A24(fz, f3, 2);
  EXPECT_EQ(std::memcmp(f1, f2, sizeof f1), 0);
  EXPECT_EQ(std::memcmp(f1, f3, sizeof f1), 0);
  EXPECT_EQ(f1[1].re, 1.0f);
  EXPECT_EQ(f1[1].im, 2.0f);
}

TEST(ComplexFrame, FloatShimRaisesUnderflowForSubnormalPart) {
  // e^(-90 + i pi/4)/... : exp(-92) ~ 1.1e-40 is a subnormal float but a
  // normal double; the shim must raise underflow itself.
  const Kel32fc z = {-92.0f, 0.5f};
  Kel32fc r;
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsExp_32fc_A24(&z, &r, 1), 0);
  EXPECT_NE(r.re, 0.0f);
  EXPECT_LT(std::fabs(r.re), 0x1p-126f);
  EXPECT_TRUE(flags() & kUnderflow);
  clear_flags();
  const Kel32fc w = {-80.0f, 0.5f};
  kelsExp_32fc_A24(&w, &r, 1);
  EXPECT_FALSE(flags() & kUnderflow);
}

// ---- special values ----

struct Special {
  Kel64fc (*kernel)(Kel64fc);
  const char* name;
  Kel64fc z, want;
  uint16_t flag;  // a flag that must be raised (0: none required)
};

const double kPiOverLn10 = 1.3643763538418414;  // pi / ln 10
const double kQuarterPiOverLn10 = 0.34109408846046035;

const Special kSpecials[] = {
    {orxcexp_scalar, "cexp(0+i0)", {0, 0}, {1, 0}, 0},
    {orxcexp_scalar, "cexp(1-i0)", {1, -0.0}, {2.718281828459045, -0.0}, 0},
    {orxcexp_scalar, "cexp(-0-i0)", {-0.0, -0.0}, {1, -0.0}, 0},
    {orxcexp_scalar, "cexp(+inf+i0)", {inf, 0}, {inf, 0}, 0},
    {orxcexp_scalar, "cexp(-inf-i0)", {-inf, -0.0}, {0, -0.0}, 0},
    {orxcexp_scalar, "cexp(nan+i0)", {nan_, 0}, {nan_, 0}, 0},
    {orxcexp_scalar, "cexp(-inf+i inf)", {-inf, inf}, {0, 0}, 0},
    {orxcexp_scalar, "cexp(-inf-i inf)", {-inf, -inf}, {0, -0.0}, 0},
    {orxcexp_scalar, "cexp(-inf+i nan)", {-inf, nan_}, {0, 0}, 0},
    {orxcexp_scalar, "cexp(+inf+i nan)", {inf, nan_}, {inf, nan_}, 0},
    {orxcexp_scalar, "cexp(1+i inf)", {1, inf}, {nan_, nan_}, kInvalid},
    {orxcexp_scalar, "cexp(0+i inf)", {0, inf}, {nan_, nan_}, kInvalid},
    {orxcexp_scalar, "cexp(3000+i1e-310)", {3000, 1e-310}, {inf, inf}, kOverflow},
    {orxcexp_scalar, "cexp(-3000+i1)", {-3000, 1}, {0, 0}, kUnderflow},
    {orxcexp_scalar, "cexp(+inf+i2)", {inf, 2}, {-inf, inf}, 0},
    {orxcexp_scalar, "cexp(-inf+i2)", {-inf, 2}, {-0.0, 0}, 0},
    {orxclog_scalar, "clog(0+i0)", {0, 0}, {-inf, 0}, kDivByZero},
    {orxclog_scalar, "clog(-0+i0)", {-0.0, 0}, {-inf, M_PI}, kDivByZero},
    {orxclog_scalar, "clog(-0-i0)", {-0.0, -0.0}, {-inf, -M_PI}, kDivByZero},
    {orxclog_scalar, "clog(0-i0)", {0, -0.0}, {-inf, -0.0}, kDivByZero},
    {orxclog_scalar, "clog(-inf+i nan)", {-inf, nan_}, {inf, nan_}, 0},
    {orxclog_scalar, "clog(nan+i inf)", {nan_, inf}, {inf, nan_}, 0},
    {orxclog_scalar, "clog(nan+i1)", {nan_, 1}, {nan_, nan_}, 0},
    {orxclog_scalar, "clog(+inf+i inf)", {inf, inf}, {inf, M_PI / 4}, 0},
    {orxclog_scalar, "clog(-inf+i1)", {-inf, 1}, {inf, M_PI}, 0},
    {orxclog_scalar, "clog(-inf-i1)", {-inf, -1}, {inf, -M_PI}, 0},
    {orxclog_scalar, "clog(1+i inf)", {1, inf}, {inf, M_PI / 2}, 0},
    {orxclog_scalar, "clog(1+i0)", {1, 0}, {0, 0}, 0},
    {orxclog10_scalar, "clog10(-inf+i2)", {-inf, 2}, {inf, kPiOverLn10}, 0},
    {orxclog10_scalar, "clog10(+inf-i inf)", {inf, -inf}, {inf, -kQuarterPiOverLn10}, 0},
    {orxclog10_scalar, "clog10(-inf-i0)", {-inf, -0.0}, {inf, -kPiOverLn10}, 0},
    {orxclog10_scalar, "clog10(+inf+i3)", {inf, 3}, {inf, 0}, 0},
    {orxclog10_scalar, "clog10(2+i inf)", {2, inf}, {inf, 2 * kQuarterPiOverLn10}, 0},
    {orxclog10_scalar, "clog10(-inf+i inf)", {-inf, inf}, {inf, 3 * kQuarterPiOverLn10}, 0},
    {orxclog10_scalar, "clog10(nan+i inf)", {nan_, inf}, {inf, nan_}, 0},
    {orxclog10_scalar, "clog10(inf+i nan)", {inf, nan_}, {inf, nan_}, 0},
    {orxclog10_scalar, "clog10(1+i nan)", {1, nan_}, {nan_, nan_}, 0},
    {orxclog10_scalar, "clog10(-0-i0)", {-0.0, -0.0}, {-inf, -kPiOverLn10}, kDivByZero},
    {orxclog10_scalar, "clog10(0-i0)", {0, -0.0}, {-inf, -0.0}, kDivByZero},
    {orxclog10_scalar, "clog10(100+i0)", {100, 0}, {2, 0}, 0},
    {orxcsqrt_scalar, "csqrt(-4+i0)", {-4, 0}, {0, 2}, 0},
    {orxcsqrt_scalar, "csqrt(-4-i0)", {-4, -0.0}, {0, -2}, 0},
    {orxcsqrt_scalar, "csqrt(4-i0)", {4, -0.0}, {2, -0.0}, 0},
    {orxcsqrt_scalar, "csqrt(+0-i8)", {0, -8}, {2, -2}, 0},
    {orxcsqrt_scalar, "csqrt(-0+i0)", {-0.0, 0}, {0, 0}, 0},
    {orxcsqrt_scalar, "csqrt(nan-i inf)", {nan_, -inf}, {inf, -inf}, 0},
    {orxcsqrt_scalar, "csqrt(1+i inf)", {1, inf}, {inf, inf}, 0},
    {orxcsqrt_scalar, "csqrt(-inf+i nan)", {-inf, nan_}, {nan_, inf}, 0},
    {orxcsqrt_scalar, "csqrt(inf+i nan)", {inf, nan_}, {inf, nan_}, 0},
    {orxcsqrt_scalar, "csqrt(-inf+i1)", {-inf, 1}, {0, inf}, 0},
    {orxcsqrt_scalar, "csqrt(-inf-i0)", {-inf, -0.0}, {0, -inf}, 0},
    {orxcsqrt_scalar, "csqrt(inf-i1)", {inf, -1}, {inf, -0.0}, 0},
    {orxcsqrt_scalar, "csqrt(nan+i1)", {nan_, 1}, {nan_, nan_}, 0},
    {orxcsqrt_scalar, "csqrt(-3-i4)", {-3, -4}, {1, -2}, 0},
    {orxcsqrt_scalar, "csqrt(3+i4)", {3, 4}, {2, 1}, 0},
};

TEST(ComplexKernels, SpecialValues) {
  for (const Special& s : kSpecials) {
    ScopedControlWord cw(kDefault);
    const Kel64fc r = s.kernel(s.z);
    EXPECT_TRUE(same(r, s.want)) << s.name;
    if (s.flag) {
      EXPECT_TRUE(flags() & s.flag) << s.name << " flags " << flags();
    }
  }
}

TEST(ComplexKernels, ExtremeArguments) {
  ScopedControlWord cw(kDefault);
  // |z| is formed in the extended range: no overflow at 1e308 + i 1e308.
  const Kel64fc s = orxcsqrt_scalar({1e308, 1e308});
  EXPECT_NEAR(s.re / 1.0986841134678099e154, 1, 1e-15);
  EXPECT_NEAR(s.im / 4.5508986056222733e153, 1, 1e-15);
  const Kel64fc l = orxclog_scalar({1e308, 1e308});
  EXPECT_NEAR(l.re, 709.5427822324462, 1e-12);  // 308 ln 10 + ln(2)/2
  EXPECT_EQ(l.im, M_PI / 4);
  // |z| near 1: the real part comes from log1p of the exact |z|^2 - 1.
  const Kel64fc n = orxclog_scalar({1, 1e-10});
  EXPECT_NEAR(n.re / 5e-21, 1, 1e-15);
  EXPECT_EQ(n.im, 1e-10);
  // e^(-720 + i) has subnormal parts and leaves underflow set.
  clear_flags();
  const Kel64fc e = orxcexp_scalar({-720, 1});
  EXPECT_TRUE(e.re != 0 && std::fabs(e.re) < 0x1p-1022);
  EXPECT_TRUE(flags() & kUnderflow);
}

// ---- accuracy against MPC ----

// Normwise error against MPC over the toolkit's complex generator (random
// bits, unit circle, huge and tiny parts): 1 ulp for every member.
TEST(ComplexAccuracy, NormwiseWithinOneUlp) {
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Exp);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Ln);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Log10);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Sqrt);
}

}  // namespace

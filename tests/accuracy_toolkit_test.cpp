// The accuracy toolkit: correct rounding, the ulp measures, the hand-written
// references, reproducible generators and a check helper that catches 2 ulp.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"
#include "references.h"

using namespace kelacc;
using namespace kelfpu;

namespace {

template <class T>
T cr_unary(MpfrUnary f, T x) {
  Mpfr e;
  exact_unary(e.v, f, x);
  return correctly_rounded<T>(e.v);
}

// m * 2^e, moved by 2^-300 relative when excess is +-1: rounded once,
// subnormals and overflow included.
TEST(CorrectlyRounded, DoubleSubnormalAndOverflowBoundaries) {
  const struct {
    long double m;
    long e;
    int excess;
    double expected;
  } cases[] = {
      {1, -1075, 0, 0.0}, {1, -1075, 1, 0x1p-1074},         // ties to even and just above
      {3, -1076, 0, 0x1p-1074}, {3, -1075, 0, 0x1p-1073}, {5, -1075, 0, 0x1p-1073}, {5, -1075, 1, 0x1.8p-1073},
      {0x1p53L - 1, -1075, 0, 0x1p-1022},                   // up into the normal range
      {0x1p54L - 1, 970, 0, INFINITY}, {0x1p54L - 1, 970, -1, 0x1.fffffffffffffp+1023},  // overflow threshold
      {-3, -1075, 0, -0x1p-1073}, {-1, -1076, 0, -0.0},
  };
  for (const auto& c : cases) {
    Mpfr x(1024);
    mpfr_set_ld(x.v, c.m, MPFR_RNDN);
    mpfr_mul_2si(x.v, x.v, c.e, MPFR_RNDN);
    if (c.excess) {
      Mpfr t(1024);
      mpfr_mul_2si(t.v, x.v, -300, MPFR_RNDN);
      c.excess > 0 ? mpfr_add(x.v, x.v, t.v, MPFR_RNDN) : mpfr_sub(x.v, x.v, t.v, MPFR_RNDN);
    }
    EXPECT_TRUE(same_bits(correctly_rounded<double>(x.v), c.expected)) << c.m << "*2^" << c.e << " " << c.excess;
    mpfr_mul_2si(x.v, x.v, 1074 - 149, MPFR_RNDN);  // the same value in float's subnormal range
    if (std::fabs(c.expected) < 0x1p-1000) {
      EXPECT_TRUE(same_bits(correctly_rounded<float>(x.v), static_cast<float>(std::ldexp(c.expected, 925)))) << c.m;
    }
  }
}

TEST(UlpError, DoubleBinadesSubnormalsAndClasses) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = INFINITY;
  const struct {
    double exact, offset_ulps;  // exact moved by offset_ulps of its binade
    double y, ulps;
    bool class_error;
  } cases[] = {
      {1.0, 0, 1.0, 0, false}, {1.0, 0.25, 1.0, 0.25, false}, {1.0, 0, 0x1.0000000000002p0, 2, false},
      {1.0, 0, 0x1.fffffffffffffp-1, 0.5, false},  // below 1, in ulps of 1's binade
      {0x1p-1074, 0, 0x1p-1073, 1, false}, {0.0, 0, 0x1p-1074, 1, false},  // the subnormal ulp
      {0.0, 0, -0.0, 0, true}, {-0.0, 0, -0.0, 0, false}, {1.0, 0, nan, 0, true}, {nan, 0, 1.0, 0, true},
      {nan, 0, nan, 0, false}, {inf, 0, 0x1.fffffffffffffp+1023, 0, true},
      {0x1.fffffffffffffp+1023, 0, inf, 0, true}, {-inf, 0, -inf, 0, false},
  };
  for (const auto& c : cases) {
    Mpfr e;
    mpfr_set_d(e.v, c.exact, MPFR_RNDN);
    if (c.offset_ulps != 0) {
      Mpfr t;
      mpfr_set_d(t.v, c.offset_ulps * std::ldexp(1.0, std::ilogb(c.exact) - 52), MPFR_RNDN);
      mpfr_add(e.v, e.v, t.v, MPFR_RNDN);
    }
    const Error err = ulp_error<double>(c.y, e.v);
    EXPECT_EQ(err.class_error, c.class_error) << c.exact << " vs " << c.y;
    if (!c.class_error) { EXPECT_DOUBLE_EQ(err.ulps, c.ulps) << c.exact << " vs " << c.y; }
  }
  Mpfr e;  // the subnormal ulp whatever the binade; float and long double ulps
  mpfr_set_d(e.v, 0x1p-1030, MPFR_RNDN);
  EXPECT_DOUBLE_EQ(ulp_error<double>(0x1p-1030 + 0x1p-1074, e.v).ulps, 1.0);
  mpfr_set_d(e.v, 1.0, MPFR_RNDN);
  EXPECT_DOUBLE_EQ(ulp_error<float>(1.0f + 0x1p-22f, e.v).ulps, 2.0);
  EXPECT_DOUBLE_EQ(ulp_error<long double>(1.0L + 0x1p-62L, e.v).ulps, 2.0);
  mpfr_set_d(e.v, 0x1p-149, MPFR_RNDN);
  EXPECT_DOUBLE_EQ(ulp_error<float>(0x1p-147f, e.v).ulps, 3.0);
}

TEST(ComplexError, NormwiseInUlpsOfTheLargerPart) {
  const double inf = INFINITY, nan = NAN;
  const struct {
    double ere, eim, yre, yim, ulps;
    bool class_error;
  } cases[] = {
      {1.0, 1e-20, 1.0, 0.0, 1e-20 / 0x1p-52, false},  // the tiny part's error counts in ulps of 1
      {1.0, 1e-20, 1.0, 2e-20, 1e-20 / 0x1p-52, false}, {0x1p-3, 1.0, 0x1p-3 + 0x1p-52, 1.0, 1, false},
      {1.0, 0.0, 1.0, -0.0, 0, true},            // the sign of a zero part is a class
      {inf, 1.0, inf, 1.0 + 0x1p-51, 2, false},  // infinite part drops out
      {nan, 2.0, nan, 2.0, 0, false}, {nan, 2.0, 1.0, 2.0, 0, true}, {0.0, 0.0, 0x1p-1074, 0.0, 1, false},
  };
  for (const auto& c : cases) {
    mpc_t e;
    mpc_init2(e, kExactBits);
    mpc_set_d_d(e, c.ere, c.eim, MPC_RNDNN);
    const Error err = complex_ulp_error<double>(c.yre, c.yim, e);
    EXPECT_EQ(err.class_error, c.class_error) << c.ere << "," << c.eim;
    if (!c.class_error) { EXPECT_NEAR(err.ulps, c.ulps, 1e-9 * (1 + c.ulps)) << c.ere << "," << c.eim; }
    mpc_clear(e);
  }
}

TEST(References, SpecialValues) {
  const double inf = INFINITY;
  const struct {
    MpfrUnary f;
    double x, expected;
    const char* what;
  } cases[] = {
      {ref_invsqrt, -0.0, -inf, "invsqrt(-0)"}, {ref_invcbrt, -8.0, -0.5, "invcbrt(-8)"},
      {ref_erfinv, 1.0, inf, "erfinv(1)"}, {ref_modf_frac, -3.0, -0.0, "modf frac of an integer"},
      {ref_modf_frac, -inf, -0.0, "modf frac of -inf"},
  };
  for (const auto& c : cases) EXPECT_TRUE(same_bits(cr_unary<double>(c.f, c.x), c.expected)) << c.what;
  EXPECT_TRUE(std::isnan(cr_unary<double>(ref_erfinv, 1.5)));
  EXPECT_TRUE(std::isnan(cr_unary<double>(ref_invsqrt, -1.0)));
}

// erf(erfinv(x)) = x to the working precision, relative to 1 - |x| in the tails.
TEST(References, ErfInvInvertsErf) {
  for (double x : {0x1p-1074, 1e-300, 1e-5, 0.1, 0.5, 0.9, 0.999999, 1 - 0x1p-53, -(1 - 0x1p-30), -0.75}) {
    Mpfr y, d;
    exact_unary(y.v, ref_erfinv, x);
    mpfr_erf(d.v, y.v, MPFR_RNDN);
    mpfr_sub_d(d.v, d.v, x, MPFR_RNDN);
    mpfr_div_d(d.v, d.v, std::fabs(x) > 0.5 ? 1 - std::fabs(x) : x, MPFR_RNDN);
    EXPECT_LT(std::fabs(mpfr_get_d(d.v, MPFR_RNDN)), 0x1p-240) << x;
  }
}

// Both builds generate the same inputs (sizes included): a fixed hash of every generator.
uint64_t fnv(uint64_t h, const void* p, size_t n) {
  for (size_t i = 0; i < n; ++i) h = (h ^ static_cast<const unsigned char*>(p)[i]) * 0x100000001b3ull;
  return h;
}
template <class T>
uint64_t hash_inputs(uint64_t h, const Inputs<T>& in) {
  for (const auto* v : {&in.a, &in.b, &in.scalars})
    for (const T& x : *v) h = fnv(h, &x, sizeof(T) == 12 || sizeof(T) == 16 ? 10 : sizeof(T));
  return h;
}

TEST(Generators, IdenticalOnBothBuilds) {
  uint64_t h = 0xcbf29ce484222325ull, hc = h;
  for (const auto& f : real_functions()) h = hash_inputs(hash_inputs(h, f.gen32(200, 9)), f.gen64(200, 9));
  for (const auto& f : kernel_functions()) h = hash_inputs(h, f.gen(200, 9));
  for (const auto& f : complex_functions()) {
    for (const auto& z : f.gen64(200, 9).a) hc = fnv(fnv(hc, &z.re, 8), &z.im, 8);
    for (const auto& z : f.gen32(200, 9).a) hc = fnv(fnv(hc, &z.re, 4), &z.im, 4);
  }
  EXPECT_EQ(h, 15841101690643250652ull) << std::hex << h;
  EXPECT_EQ(hc, 4236432301753482092ull) << std::hex << hc;
}

// Correctly rounded 1/x (sqrt for the kernel), moved up g_ulps ulps on every
// 37th element, or made a NaN when g_ulps < 0.
int g_ulps = 0;
template <class T>
T perturbed(T y, size_t i) {
  if (i % 37 != 5 || !std::isfinite(y) || y == 0) return y;
  if (g_ulps < 0) return std::numeric_limits<T>::quiet_NaN();
  for (int k = 0; k < g_ulps; ++k) y = std::nextafter(y, T(INFINITY));
  return y;
}
int inv64(const double* x, double* y, int n) {
  for (int i = 0; i < n; ++i) y[i] = perturbed<double>(ddivl(1.0L, x[i]), i);
  return 0;
}
int inv32(const float* x, float* y, int n) {
  for (int i = 0; i < n; ++i) y[i] = perturbed<float>(fdiv(1.0, x[i]), i);
  return 0;
}
long double fake_sqrtl(long double x) { return perturbed<long double>(std::sqrt(x), 5); }

TEST(CheckHelper, PassesWithinTheBoundAndCatchesErrorsBeyond) {
  void (*const inv64_A53)() = [] { expect_accurate("inv64 A53", inv64, ref_inv, gen_inv<double>, "A53", 2000, 1); };
  void (*const inv64_A50)() = [] { expect_accurate("inv64 A50", inv64, ref_inv, gen_inv<double>, "A50", 2000, 1); };
  void (*const inv32_A24)() = [] { expect_accurate("inv32 A24", inv32, ref_inv, gen_inv<float>, "A24", 2000, 1); };
  void (*const sqrtl)() = [] {
    expect_accurate("sqrtl", fake_sqrtl, mpfr_sqrt, gen_sqrt<long double>, "kernel", 500, 1);
  };
  const struct {
    int ulps;
    void (*check)();
    const char* failure;  // nullptr: must pass
  } cases[] = {{0, inv64_A53, nullptr},       {0, inv32_A24, nullptr},     {2, inv64_A53, "worst: x = "},
               {2, inv32_A24, "bound 1 ulp"}, {2, inv64_A50, nullptr},     {5, inv64_A50, "bound 4 ulp"},
               {-1, inv64_A50, "first class error: x = "}, {1, sqrtl, nullptr}, {16, sqrtl, "sqrtl"}};
  for (const auto& c : cases) {
    g_ulps = c.ulps;
    if (c.failure) EXPECT_NONFATAL_FAILURE(c.check(), c.failure); else c.check();
  }
  g_ulps = 0;
  const Summary s = sample(inv64, ref_inv, gen_inv<double>(2000, 1));
  EXPECT_TRUE(s.max_ulps > 0.49 && s.max_ulps <= 0.5) << s.max_ulps;  // the sample reaches the rounding boundary
  Summary unknown;
  double bound;
  std::string error;
  EXPECT_FALSE(sample_registered("kelsNoSuch_64f_A53", nullptr, 10, 1, &unknown, &bound, &error));  // refused
}

TEST(Histogram, BinsAreMonotonicAndCoverTheRange) {
  using H = Histogram;
  EXPECT_EQ((std::vector{H::bin(0), H::bin(0.5), H::bin(3.999), H::bin(4), H::bin(8192), H::bin(1e30), H::bin(NAN)}),
            (std::vector{0, 32, H::kLinear - 1, H::kLinear, H::kLinear + 11 * H::kPerOctave, H::kBins - 1,
                         H::kBins - 1}));
  for (int b = 0; b + 1 < H::kBins; ++b) {
    EXPECT_LT(H::lower_edge(b), H::lower_edge(b + 1));
    EXPECT_EQ(H::bin(H::lower_edge(b)), b);
  }
}

}  // namespace

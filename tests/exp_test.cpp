// Exponential: special inputs, threshold neighbours, the subnormal rounding.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

// A50 has its own code; the float members share one (Frame.MembersAgree...).
using Fn64 = KelStatus (*)(const double*, double*, int);
const Fn64 kDoubleMembers[] = {kelsExp_64f_A50, kelsExp_64f_A53};

// Overflow, normal-result and underflow thresholds of each precision.
constexpr double kOver = 709.782712893384, kNormal = -708.3964185322641, kUnder = -745.1332191019412;
constexpr float kOverF = 88.72283172607422f, kNormalF = -87.33654022216797f, kUnderF = -103.97207641601562f;

TEST(ExpScreen, SpecialInputs) {
  const double snan = std::numeric_limits<double>::signaling_NaN(), qnan = NAN;
  for (Fn64 fn : kDoubleMembers)
    kelacc::expect_specials<double>("Exp_64f", fn,
                                    {{0.0, 1.0, 0},
                                     {-0.0, 1.0, 0},
                                     {4.9406564584124654e-324, 1.0, kInexact},
                                     {0x1p-53, 1.0, kInexact},  // 1 + x, a tie to even
                                     {0x1.8p-53, 0x1.0000000000001p0, kInexact},
                                     {-0x1p-53, 0x1.fffffffffffffp-1, 0},  // 1 + x exactly
                                     {INFINITY, INFINITY, 0},
                                     {-INFINITY, 0.0, 0},
                                     {-qnan, qnan, 0},
                                     {snan, qnan, kInvalid}});
  const float fsnan = std::numeric_limits<float>::signaling_NaN();
  kelacc::expect_specials<float>("Exp_32f", kelsExp_32f_A24,
                                 {{-0x1p-149f, 1.0f, kInexact},
                                  {-0x1p-53f, 1.0f, kInexact},  // 1 - 2^-53 in double, then 1.0f
                                  {fsnan, NAN, kInvalid}});
}

enum class Expect { computed, overflow, underflow };

// Each threshold neighbour: the report with its result and flag, or a result within the bound.
template <class T>
void check_thresholds(KelStatus (*fn)(const T*, T*, int), double bound,
                      std::initializer_list<std::pair<T, Expect>> cases) {
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  for (const auto& [x, expect] : cases) {
    const auto [y, status, raised] = run_one(fn, x);
    SCOPED_TRACE("x = " + kelacc::hex(x) + " -> " + kelacc::hex(y));
    if (expect == Expect::overflow) {
      EXPECT_EQ(status, kelStatusOverflow);
      EXPECT_EQ(y, static_cast<T>(INFINITY));
      EXPECT_TRUE(raised & kOverflow);
    } else if (expect == Expect::underflow) {
      EXPECT_EQ(status, kelStatusUnderflow);
      EXPECT_TRUE(same_bits(y, T(0)));
      EXPECT_TRUE(raised & kUnderflow);
    } else {
      EXPECT_EQ(status, 0);
      EXPECT_FALSE(raised & kOverflow);
      kelacc::exact_unary(exact, mpfr_exp, x);
      const auto err = kelacc::ulp_error<T>(y, exact);
      EXPECT_FALSE(err.class_error);
      EXPECT_LE(err.ulps, bound);
    }
  }
  mpfr_clear(exact);
}

TEST(ExpThresholds, Neighbours) {
  const auto up = [](auto x) { return std::nextafter(x, decltype(x)(INFINITY)); };
  const auto down = [](auto x) { return std::nextafter(x, decltype(x)(-INFINITY)); };
  for (Fn64 fn : kDoubleMembers)
    check_thresholds<double>(fn, fn == kelsExp_64f_A50 ? 4.0 : 1.0,
                             {{kOver, Expect::computed},  // k = 65536: the e = 0x7ff scaling
                              {down(kOver), Expect::computed},
                              {up(kOver), Expect::overflow},
                              {DBL_MAX, Expect::overflow},
                              {kNormal, Expect::computed},
                              {down(kNormal), Expect::computed},
                              {up(kUnder), Expect::computed},
                              {kUnder, Expect::computed},
                              {down(kUnder), Expect::underflow},
                              {-DBL_MAX, Expect::underflow}});
  check_thresholds<float>(kelsExp_32f_A24, 1.0,
                          {{kOverF, Expect::computed},
                           {up(kOverF), Expect::overflow},
                           {kNormalF, Expect::computed},
                           {down(kNormalF), Expect::computed},
                           {kUnderF, Expect::computed},
                           {down(kUnderF), Expect::underflow}});
}

// Subnormal results of A53: the split path rounds once (correct unless within
// 2^-58 of a midpoint; a double rounding fails here), the deep path may add 2^-53.
TEST(ExpUnderflow, HighAccuracySubnormalsAgainstCorrectRounding) {
  const struct {
    double lo, hi;
    int slack_exp;
  } ranges[] = {{-715.333, kNormal, -58}, {kUnder, -715.345, -52}};
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  for (const auto& range : ranges) {
    const auto xs = kelacc::random_uniform(range.lo, range.hi, sized(3000, 300000), 31);
    std::vector<double> ys(xs.size());
    ASSERT_EQ(kelsExp_64f_A53(xs.data(), ys.data(), static_cast<int>(xs.size())), 0);
    size_t wrong = 0, correctly_rounded = 0;
    for (size_t i = 0; i < xs.size(); ++i) {
      kelacc::exact_unary(exact, mpfr_exp, xs[i]);
      const double err = kelacc::ulp_error<double>(ys[i], exact).ulps;
      correctly_rounded += err <= 0.5;
      if (err > 0.5 + std::ldexp(ys[i], 1074 + range.slack_exp) && wrong++ < 5)
        ADD_FAILURE() << "x = " << kelacc::hex(xs[i]) << ": " << kelacc::hex(ys[i]) << ", " << err << " ulp";
    }
    EXPECT_EQ(wrong, 0u) << "slack 2^" << range.slack_exp;
    EXPECT_GE(correctly_rounded, xs.size() * 99 / 100) << "slack 2^" << range.slack_exp;
  }
  mpfr_clear(exact);
}

// The subnormal paths (A53's: above) and k = 65536, which the registry's inputs seldom reach.
TEST(ExpAccuracy, HardRegions) {
  const auto sub = kelacc::random_uniform(kUnder, kNormal, sized(2000, 100000), 13);
  const auto top = kelacc::random_uniform(709.7773, kOver, sized(2000, 100000), 14);
  kelacc::expect_within("Exp_64f_A50", kelacc::measure<double>(kelsExp_64f_A50, mpfr_exp, sub), 4.0);
  kelacc::expect_within("Exp_64f_A50", kelacc::measure<double>(kelsExp_64f_A50, mpfr_exp, top), 4.0);
  kelacc::expect_within("Exp_64f_A53", kelacc::measure<double>(kelsExp_64f_A53, mpfr_exp, top), 1.0);
}

}  // namespace

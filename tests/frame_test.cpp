// The vector call frame, observed through Inv and Div: argument checks, the
// precision guard, the status rule and in-place calls.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include <mpfr.h>

#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

TEST(Frame, LengthBeforePointersAndNothingWritten) {
  double src[2] = {2.0, 4.0}, dst[2] = {7.0, 7.0};
  EXPECT_EQ((std::vector{kelsInv_64f_A53(nullptr, nullptr, 0), kelsInv_32f_A11(nullptr, nullptr, -5),
                         kelsDiv_64f_A50(nullptr, nullptr, nullptr, 0), kelsInv_64f_A53(src, nullptr, 1),
                         kelsInv_64f_A53(nullptr, dst, 1), kelsDiv_64f_A53(src, nullptr, dst, 2),
                         kelsDiv_64f_A53(nullptr, src, dst, 2)}),
            (std::vector<int>{kelStatusSizeError, kelStatusSizeError, kelStatusSizeError, kelStatusNullPointer,
                         kelStatusNullPointer, kelStatusNullPointer, kelStatusNullPointer}));
  EXPECT_TRUE(dst[0] == 7.0 && dst[1] == 7.0);
}

double quotient(double a, double b, mpfr_prec_t prec) {
  mpfr_t q;
  mpfr_init2(q, prec);
  mpfr_set_d(q, a, MPFR_RNDN);
  mpfr_div_d(q, q, b, MPFR_RNDN);
  const double r = mpfr_get_d(q, MPFR_RNDN);
  mpfr_clear(q);
  return r;
}

// Under every caller precision and rounding the word comes back and the
// quotients are the correctly rounded nearest ones, also on double-rounding
// pairs (rounded to 64 bits first, they would round differently to 53).
TEST(Frame, PrecisionGuardRestoresEveryCallerWord) {
  std::vector<double> a, b, expected;
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> u(1.0, 2.0), wide(-1e3, 1e3);
  for (int pairs = 0; pairs < 8;) {
    const double x = u(rng), y = u(rng);
    if (quotient(x, y, 53) != quotient(x, y, 64)) a.push_back(x), b.push_back(y), ++pairs;
  }
  for (int i = 0; i < 64; ++i) a.push_back(wide(rng)), b.push_back(wide(rng));
  for (size_t i = 0; i < a.size(); ++i) expected.push_back(quotient(a[i], b[i], 53));
  std::vector<double> dst(a.size());
  const int n = static_cast<int>(a.size());
  for (uint16_t pc : {0x000, 0x200, 0x300})
    for (uint16_t rc : {kToNearest, kDown, kUp, kTowardZero}) {
      const uint16_t caller = static_cast<uint16_t>(0x7F | pc | rc);
      uint16_t after;
      {
        ScopedControlWord cw(caller);
        EXPECT_EQ(kelsDiv_64f_A53(a.data(), b.data(), dst.data(), n), 0);
        after = control_word();
      }
      EXPECT_EQ(after, caller) << std::hex << caller;
      EXPECT_EQ(std::memcmp(dst.data(), expected.data(), n * sizeof(double)), 0) << "word 0x" << std::hex << caller;
    }
}

// The last reported code wins, later elements are still computed, in place
// too; inexact alone is no error.
TEST(Frame, StatusRuleInPlace) {
  double data[5] = {1.0, 0.0, 2.0, -0.0, 4.0};
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsInv_64f_A50(data, data, 5), kelStatusSingularity);
  EXPECT_EQ((std::vector<double>(data, data + 5)), (std::vector<double>{1.0, INFINITY, 0.5, -INFINITY, 0.25}));
  EXPECT_TRUE(std::signbit(data[3]));
  const float src[3] = {3.0f, 7.0f, 11.0f};
  float dst[3];
  clear_flags();
  EXPECT_EQ(kelsInv_32f_A21(src, dst, 3), 0);
  EXPECT_TRUE(flags() & kInexact);
}

}  // namespace

// Power family: C99 special cases with statuses and flags, exact powers, Powx against Pow.
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
using PowFn = KelStatus (*)(const T*, const T*, T*, int);
template <class T>
using PowxFn = KelStatus (*)(const T*, T, T*, int);

template <class T>
struct Case {
  T x, y, result;
  int status;
  uint16_t flags;  // exactly these among invalid, divide-by-zero, overflow, underflow
};

template <class T>
std::vector<Case<T>> special_cases() {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), snan = L::signaling_NaN();
  return {
      {nan, T(0), T(1), 0, 0},         {nan, -T(0), T(1), 0, 0},     {T(1), nan, T(1), 0, 0},
      {T(1), inf, T(1), 0, 0},         {T(-1), inf, T(1), 0, 0},     {T(-1), -inf, T(1), 0, 0},
      {nan, T(2), nan, 0, 0},          {T(2), nan, nan, 0, 0},       {T(2), snan, nan, 0, kInvalid},
      {T(0), T(-1), inf, kelStatusSingularity, kDivByZero},          {-T(0), T(-3), -inf, kelStatusSingularity, kDivByZero},
      {-T(0), T(-2), inf, kelStatusSingularity, kDivByZero},         {-T(0), T(-0.5), inf, kelStatusSingularity, kDivByZero},
      {-T(0), -inf, inf, kelStatusSingularity, kDivByZero},          {-T(0), T(3), -T(0), 0, 0},
      {-T(0), T(2), T(0), 0, 0},       {T(0), inf, T(0), 0, 0},      {T(0.5), inf, T(0), 0, 0},
      {T(0.5), -inf, inf, 0, 0},       {T(-2), inf, inf, 0, 0},      {T(-2), -inf, T(0), 0, 0},
      {inf, T(-1), T(0), 0, 0},        {inf, T(0.5), inf, 0, 0},     {-inf, T(3), -inf, 0, 0},
      {-inf, T(2), inf, 0, 0},         {-inf, T(-3), -T(0), 0, 0},   {-inf, T(-2), T(0), 0, 0},
      {T(-8), T(1) / T(3), nan, kelStatusDomain, kInvalid},          {-L::max(), T(0.5), nan, kelStatusDomain, kInvalid},
      {T(-2), T(3), T(-8), 0, 0},      {T(-2), T(-2), T(0.25), 0, 0}, {T(4), T(0.5), T(2), 0, 0},
      {T(2), T(L::max_exponent), inf, kelStatusOverflow, kOverflow},  {T(-2), T(L::max_exponent + 1), -inf, kelStatusOverflow, kOverflow},
      {L::max(), T(2), inf, kelStatusOverflow, kOverflow},
      {T(2), T(L::min_exponent - L::digits - 1), T(0), kelStatusUnderflow, kUnderflow},
      {T(10), T(-L::max_exponent), T(0), kelStatusUnderflow, kUnderflow},
      {T(10), T(-5000), T(0), kelStatusUnderflow, kUnderflow},  // zero already in extended precision
      {T(2), T(L::min_exponent - L::digits), L::denorm_min(), 0, 0},  // exact: no report
  };
}

template <class T>
void check_cases(const char* member, PowFn<T> fn) {
  for (const Case<T>& c : special_cases<T>()) {
    T r;
    int status;
    uint16_t raised;
    {
      ScopedControlWord cw(kDefault);
      status = fn(&c.x, &c.y, &r, 1);
      raised = flags() & (kInvalid | kDivByZero | kOverflow | kUnderflow);
    }
    SCOPED_TRACE(std::string(member) + ": " + kelacc::hex(c.x) + " ^ " + kelacc::hex(c.y) + " -> " + kelacc::hex(r));
    EXPECT_EQ(status, c.status);
    EXPECT_TRUE(kelacc::same_value(r, c.result));
    EXPECT_EQ(raised, c.flags);
  }
}

// One member per precision: the others share its code (Frame.MembersAgree...).
TEST(PowSpecial, C99CasesStatusesAndFlags) {
  check_cases<float>("Pow_32f", kelsPow_32f_A24);
  check_cases<double>("Pow_64f", kelsPow_64f_A53);
}

// Representable powers come out exactly (the error before the rounding is far below half an ulp).
TEST(PowExact, RepresentablePowers) {
  struct Exact {
    double x, y, r;
  };
  std::vector<Exact> cases = {{3, 33, 5559060566555523.0}, {10, 22, 1e22}, {-3, 3, -27}, {1.5, 7, 17.0859375},
                              {0.1, 1, 0.1},               {7, -1, 1.0 / 7}, {9, 0.5, 3}, {0x1p-1000, 0.5, 0x1p-500}};
  for (int k = -1074; k <= 1023; k += 7) cases.push_back({2, double(k), std::ldexp(1.0, k)});
  for (int k = -1022; k <= 1023; k += 11) cases.push_back({0.5, double(-k), std::ldexp(1.0, k)});
  for (const Exact& c : cases) {
    double r;
    ScopedControlWord cw(kDefault);
    EXPECT_EQ(kelsPow_64f_A53(&c.x, &c.y, &r, 1), 0);
    EXPECT_TRUE(same_bits(r, c.r)) << c.x << " ^ " << c.y << " = " << kelacc::hex(r);
  }
}

// Powx is Pow with the exponent repeated (results and status), under any caller's word.
TEST(Powx, EqualsPowWithTheExponentRepeatedUnderAnyControlWord) {
  const std::vector<double> xs = {2, -2, 0, -0.0, 0.5, 10, 1e-300, INFINITY, NAN, -8, 1e300};
  for (double y : {3.0, -3.0, 0.5, -1075.0, 1e10, -double(INFINITY), 1.0 / 3}) {
    std::vector<double> a(xs.size()), b(xs.size()), ys(xs.size(), y);
    const int want = kelsPow_64f_A53(xs.data(), ys.data(), b.data(), int(xs.size()));
    ScopedControlWord cw(kSingle | kUp);
    EXPECT_EQ(kelsPowx_64f_A53(xs.data(), y, a.data(), int(xs.size())), want);
    EXPECT_EQ(control_word(), kSingle | kUp);
    for (size_t i = 0; i < xs.size(); ++i) EXPECT_TRUE(same_bits(a[i], b[i])) << xs[i] << " ^ " << y;
  }
  const float xf[] = {2, -2, 0, 0.5f, 10, INFINITY}, yf[6] = {-2.5f, -2.5f, -2.5f, -2.5f, -2.5f, -2.5f};
  float af[6], bf[6];
  EXPECT_EQ(kelsPowx_32f_A24(xf, -2.5f, af, 6), kelsPow_32f_A24(xf, yf, bf, 6));
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(same_bits(af[i], bf[i])) << xf[i];
}

}  // namespace

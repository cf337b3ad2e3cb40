// The two-at-a-time loop: whatever the length, the position of rare elements
// (reports, specials, threshold neighbours, on both halves of a pair) and in
// place, an array call gives what one-element calls give and the last status.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "kelvm.h"

namespace {

using Unary64 = KelStatus (*)(const double*, double*, int);
using Unary32 = KelStatus (*)(const float*, float*, int);

template <class T>
std::vector<T> mixed(T common, T rare1, T rare2) {
  std::vector<T> v;
  for (int i = 0; i < 23; ++i) v.push_back(i % 5 == 1 ? rare1 : i % 7 == 4 ? rare2 : common * static_cast<T>(1 + i));
  return v;
}

template <class T, class Fn>
void expect_elementwise(const char* name, Fn fn, const std::vector<T>& in) {
  for (int len = 1; len <= static_cast<int>(in.size()); len += 3) {
    std::vector<T> out(len), inplace(in.begin(), in.begin() + len), one(len);
    KelStatus last = kelStatusNoError;
    for (int i = 0; i < len; ++i)
      if (const KelStatus s = fn(&in[i], &one[i], 1); s != kelStatusNoError) last = s;
    EXPECT_EQ(fn(in.data(), out.data(), len), last) << name << " length " << len;
    EXPECT_EQ(fn(inplace.data(), inplace.data(), len), last) << name << " in place, length " << len;
    EXPECT_TRUE(!std::memcmp(out.data(), one.data(), len * sizeof(T)) &&
                !std::memcmp(inplace.data(), one.data(), len * sizeof(T)))
        << name << " length " << len;
  }
}

TEST(PairLoop, ArrayCallsMatchOneElementCalls) {
  const struct {
    const char* name;
    Unary64 f64;
    Unary32 f32;
    double common, rare1, rare2;
  } cases[] = {
      {"Exp", kelsExp_64f_A53, kelsExp_32f_A24, 3.25, 800.0, -745.5},
      {"Exp A50", kelsExp_64f_A50, kelsExp_32f_A11, -7.5, 708.5, 1e-300},
      {"Ln", kelsLn_64f_A53, kelsLn_32f_A24, 0.375, -1.0, 1.0078125},
      {"Log10", kelsLog10_64f_A53, kelsLog10_32f_A21, 17.0, 0.0, 0.995},
      {"Ln A50", kelsLn_64f_A50, kelsLn_32f_A11, 2.5, -INFINITY, 1e-310},
      {"Sin", kelsSin_64f_A53, kelsSin_32f_A24, 0.625, INFINITY, 1e6},
      {"Cos", kelsCos_64f_A50, kelsCos_32f_A21, -1.75, NAN, 131072.0},
      {"Tan", kelsTan_64f_A53, kelsTan_32f_A24, 1.5, -INFINITY, 12800.0},
      {"Sqrt", kelsSqrt_64f_A53, kelsSqrt_32f_A24, 6.5, -4.0, 1e-310},
  };
  for (const auto& c : cases) {
    expect_elementwise(c.name, c.f64, mixed(c.common, c.rare1, c.rare2));
    expect_elementwise(c.name, c.f32,
                       mixed(static_cast<float>(c.common), static_cast<float>(c.rare1), static_cast<float>(c.rare2)));
  }
}

TEST(PairLoop, SinCosArrayCallsMatchOneElementCalls) {
  expect_elementwise("SinCos", [](const double* x, double* s, int n) {
    std::vector<double> c(n);
    const KelStatus st = kelsSinCos_64f_A53(x, s, c.data(), n);
    for (int i = 0; i < n; ++i) s[i] = s[i] - 2.0 * c[i];  // both results, in their places
    return st;
  }, mixed(0.875, static_cast<double>(INFINITY), 3e5));
}

}  // namespace

// Square root: the special-value screen and its reports, exact roots, correct
// rounding (hard cases near midpoints, random doubles, every positive float on
// the native build) under any caller's control word.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

using Fn64 = KelStatus (*)(const double*, double*, int);
using Fn32 = KelStatus (*)(const float*, float*, int);
const Fn64 kMembers64[] = {kelsSqrt_64f_A50, kelsSqrt_64f_A53};
const Fn32 kMembers32[] = {kelsSqrt_32f_A11, kelsSqrt_32f_A21, kelsSqrt_32f_A24};

// Input and result patterns, the status and whether invalid is raised.  NaN
// inputs keep sign and payload and leave quiet, without a report; negative
// numbers give the x87 default NaN (negative, empty payload).
template <class Bits>
struct SpecialCase {
  Bits x, y;
  int status;
  bool invalid;
};
const SpecialCase<uint64_t> kSpecial64[] = {
    {0x0000000000000000, 0x0000000000000000, 0, false},  {0x8000000000000000, 0x8000000000000000, 0, false},
    {0x7FF0000000000000, 0x7FF0000000000000, 0, false},  {0xFFF8000000000123, 0xFFF8000000000123, 0, false},
    {0x7FF0000000000001, 0x7FF8000000000001, 0, true},   {0xFFF4000000000000, 0xFFFC000000000000, 0, true},
    {0xFFF0000000000000, 0xFFF8000000000000, 19, true},  {0x8000000000000001, 0xFFF8000000000000, 19, true},
    {0xFFEFFFFFFFFFFFFF, 0xFFF8000000000000, 19, true},  {0x0000000000000001, 0x1E60000000000000, 0, false},
    {0x7FEFFFFFFFFFFFFF, 0x5FEFFFFFFFFFFFFF, 0, false},
};
const SpecialCase<uint32_t> kSpecial32[] = {
    {0x00000000, 0x00000000, 0, false}, {0x80000000, 0x80000000, 0, false}, {0x7F800000, 0x7F800000, 0, false},
    {0xFFC00123, 0xFFC00123, 0, false}, {0x7F800001, 0x7FC00001, 0, true},  {0xFF800000, 0xFFC00000, 19, true},
    {0x80000001, 0xFFC00000, 19, true}, {0x00000001, 0x1A3504F3, 0, false}, {0x00000002, 0x1A800000, 0, false},
    {0x7F7FFFFF, 0x5F7FFFFF, 0, false},
};

template <class T, class Bits>
void check_special(KelStatus (*fn)(const T*, T*, int), const SpecialCase<Bits>& c) {
  T x, y = 0;
  std::memcpy(&x, &c.x, sizeof x);  // not through an x87 register: keeps signalling NaNs
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(fn(&x, &y, 1), c.status) << kelacc::hex(x);
  EXPECT_EQ(bits_of(y), c.y) << kelacc::hex(x) << " gave " << kelacc::hex(y);
  EXPECT_EQ((flags() & kInvalid) != 0, c.invalid) << kelacc::hex(x);
  EXPECT_EQ(flags() & (kOverflow | kUnderflow | kDivByZero), 0) << kelacc::hex(x);
}

TEST(Sqrt, SpecialValues) {
  for (Fn64 fn : kMembers64)
    for (const auto& c : kSpecial64) check_special(fn, c);
  for (Fn32 fn : kMembers32)
    for (const auto& c : kSpecial32) check_special(fn, c);
}

// Results that differ from MPFR's correctly rounded root (roots of doubles are
// normal: no subnormal step).
size_t count_not_correctly_rounded(Fn64 fn, const std::vector<double>& xs, std::string* first) {
  mpfr_t a, r;
  mpfr_inits2(53, a, r, static_cast<mpfr_ptr>(nullptr));
  std::vector<double> ys(xs.size());
  fn(xs.data(), ys.data(), static_cast<int>(xs.size()));
  size_t bad = 0;
  for (size_t i = 0; i < xs.size(); ++i) {
    mpfr_set_d(a, xs[i], MPFR_RNDN);
    mpfr_sqrt(r, a, MPFR_RNDN);
    const double cr = mpfr_get_d(r, MPFR_RNDN);
    if (bits_of(ys[i]) != bits_of(cr) && bad++ == 0)
      *first = kelacc::hex(xs[i]) + " gave " + kelacc::hex(ys[i]) + ", expected " + kelacc::hex(cr);
  }
  mpfr_clears(a, r, static_cast<mpfr_ptr>(nullptr));
  return bad;
}

// High 64 bits of the 128-bit product a * b (no 128-bit type on i386).
uint64_t mul_high(uint64_t a, uint64_t b) {
  const uint64_t al = a & 0xFFFFFFFF, ah = a >> 32, bl = b & 0xFFFFFFFF, bh = b >> 32;
  const uint64_t mid1 = ah * bl, mid2 = al * bh, low = al * bl;
  const uint64_t carry = ((low >> 32) + (mid1 & 0xFFFFFFFF) + (mid2 & 0xFFFFFFFF)) >> 32;
  return ah * bh + (mid1 >> 32) + (mid2 >> 32) + carry;
}

// Arguments whose root lies extremely close to a midpoint of two doubles.  An
// odd w in [2^53, 2^54) is a midpoint (scaled by 2^-54); if w^2 = t (mod 2^55)
// with |t| small (t = 1 + 8i or 2^55 - 7 - 8i: odd squares are 1 mod 8), w^2
// is within |t| of a multiple of 2^54 and the root of that double lies within
// about |t| 2^-55 ulp of the midpoint.  4000 residues give every significand
// whose root lies within 2^-43 ulp of one.  Both neighbouring doubles are kept,
// scaled by 4^k across the exponent range.
std::vector<double> midpoint_hard_cases(int residues) {
  constexpr uint64_t kMod = uint64_t(1) << 55;
  std::vector<double> out;
  for (int i = 0; i < residues; ++i) {
    const uint64_t t = i % 2 == 0 ? 1 + 8 * uint64_t(i / 2) : kMod - 7 - 8 * uint64_t(i / 2);
    // Hensel lifting: w^2 = t mod 2^k gives w or w + 2^(k-1) squaring to t mod 2^(k+1).
    uint64_t w = 1;
    for (int k = 3; k < 55; ++k)
      if (((w * w - t) >> k) & 1) w += uint64_t(1) << (k - 1);
    for (uint64_t root : {w, kMod - w, (w + kMod / 2) & (kMod - 1), (kMod / 2 - w) & (kMod - 1)}) {
      if (root < (uint64_t(1) << 53) || root >= (uint64_t(1) << 54)) continue;
      const uint64_t hi = mul_high(root, root), lo = root * root;  // root^2 in [2^106, 2^108)
      const int shift = (hi >> 43) ? 55 : 54;
      const uint64_t q = (hi << (64 - shift)) | (lo >> shift);
      for (uint64_t m : {q, q + 1})
        for (int k = -400; k <= 400; k += 100) out.push_back(std::ldexp(static_cast<double>(m), shift - 108 + 2 * k));
    }
  }
  return out;
}

// Near midpoints, random bit patterns, and exact squares n^2 4^k (n below
// 2^26.5, subnormal squares included) whose root n 2^k must come out exact.
TEST(Sqrt, CorrectlyRoundedDoubles) {
  const auto hard = midpoint_hard_cases(kNative ? 4000 : 1000);
  const auto random = kelacc::random_bits_in<double>(0x1p-1074, 0x1.fffffffffffffp+1023, sized(20000, 1000000), 12);
  std::vector<double> squares;
  for (double n : {1.0, 3.0, 4095.0, 4097.0, 67108863.0, 94906265.0, 60000001.0, 12345679.0})
    for (int k = -537; k <= 511 - 27; ++k)
      if (const double x = std::ldexp(n * n, 2 * k); x != 0 && std::ldexp(x, -2 * k) == n * n) squares.push_back(x);
  for (const auto* xs : {&hard, &random, static_cast<const std::vector<double>*>(&squares)})
    for (Fn64 fn : kMembers64) {
      std::string first;
      EXPECT_EQ(count_not_correctly_rounded(fn, *xs, &first), 0u) << xs->size() << " inputs; first: " << first;
    }
}

// The Dekker split and the exact residual need 53-bit rounding to nearest: a
// caller at 64-bit precision or directed rounding gets the same bits on the
// hard cases and keeps its own word.
TEST(Sqrt, ResultsIndependentOfCallerControlWord) {
  const auto xs = midpoint_hard_cases(50);
  const int n = static_cast<int>(xs.size());
  std::vector<double> expected(xs.size()), got(xs.size());
  {
    ScopedControlWord cw(kDouble);
    ASSERT_EQ(kelsSqrt_64f_A53(xs.data(), expected.data(), n), 0);
  }
  for (uint16_t caller : {kDefault, uint16_t(kDefault | kTowardZero), uint16_t(kDouble | kUp),
                          uint16_t(kSingle | kDown)}) {
    ScopedControlWord cw(caller);
    ASSERT_EQ(kelsSqrt_64f_A50(xs.data(), got.data(), n), 0);
    EXPECT_EQ(control_word(), caller);
    EXPECT_EQ(std::memcmp(expected.data(), got.data(), xs.size() * sizeof(double)), 0) << std::hex << caller;
  }
}

// y is the correctly rounded root of x when x lies strictly between the
// squares of the midpoints around y (25-bit midpoints: exact in double).
bool float_root_ok(float x, float y) {
  const uint32_t b = bits_of(y);
  const double lo = (double(y) + double(float_from_bits(b - 1))) / 2;
  const double hi = (double(y) + double(float_from_bits(b + 1))) / 2;
  return lo * lo < double(x) && double(x) < hi * hi;
}

// Every positive finite float, native build only (about a minute).
TEST(Sqrt, ExhaustiveFloatsNative) {
  if (!kNative) GTEST_SKIP() << "exhaustive run on the native build only";
  std::vector<float> xs(1 << 16), ys(xs.size());
  uint64_t bad = 0;
  std::string first;
  for (uint32_t start = 1; start < 0x7F800000u; start += xs.size()) {
    const uint32_t n = std::min<uint32_t>(xs.size(), 0x7F800000u - start);
    for (uint32_t i = 0; i < n; ++i) xs[i] = float_from_bits(start + i);
    kelsSqrt_32f_A24(xs.data(), ys.data(), static_cast<int>(n));
    for (uint32_t i = 0; i < n; ++i)
      if (!float_root_ok(xs[i], ys[i]) && bad++ == 0) first = kelacc::hex(xs[i]) + " gave " + kelacc::hex(ys[i]);
  }
  EXPECT_EQ(bad, 0u) << "first: " << first;
}

}  // namespace

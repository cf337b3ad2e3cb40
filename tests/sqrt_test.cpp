// Square root: the screen and its reports, correct rounding near midpoints, exact roots, every float.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

// Input and result patterns, status, invalid raised: NaNs leave quiet with
// sign and payload; negative numbers give the x87 default NaN.
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

// One member per precision: the others share its code (Frame.MembersAgree...).
TEST(Sqrt, SpecialValues) {
  for (const auto& c : kSpecial64) check_special(kelsSqrt_64f_A53, c);
  for (const auto& c : kSpecial32) check_special(kelsSqrt_32f_A11, c);
}

// High 64 bits of the 128-bit product a * b (no 128-bit type on i386).
uint64_t mul_high(uint64_t a, uint64_t b) {
  const uint64_t al = a & 0xFFFFFFFF, ah = a >> 32, bl = b & 0xFFFFFFFF, bh = b >> 32;
  const uint64_t mid1 = ah * bl, mid2 = al * bh, low = al * bl;
  const uint64_t carry = ((low >> 32) + (mid1 & 0xFFFFFFFF) + (mid2 & 0xFFFFFFFF)) >> 32;
  return ah * bh + (mid1 >> 32) + (mid2 >> 32) + carry;
}

// Arguments whose root lies within about |t| 2^-55 ulp of a midpoint: odd w in
// [2^53, 2^54) with w^2 = t (mod 2^55), |t| small (odd squares are 1 mod 8);
// both neighbouring doubles of w^2 2^-54, scaled by 4^k.
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

// Near midpoints, random bit patterns, and exact squares n^2 4^k (subnormal
// ones included) whose root must come out exact: correctly rounded (0.5 ulp).
TEST(Sqrt, CorrectlyRoundedDoubles) {
  auto xs = midpoint_hard_cases(kNative ? 4000 : 1000);
  const auto random = kelacc::random_bits_in<double>(0x1p-1074, 0x1.fffffffffffffp+1023, sized(20000, 1000000), 12);
  xs.insert(xs.end(), random.begin(), random.end());
  for (double n : {1.0, 3.0, 4095.0, 4097.0, 67108863.0, 94906265.0, 60000001.0, 12345679.0})
    for (int k = -537; k <= 511 - 27; ++k)
      if (const double x = std::ldexp(n * n, 2 * k); x != 0 && std::ldexp(x, -2 * k) == n * n) xs.push_back(x);
  kelacc::expect_within("Sqrt_64f_A53", kelacc::measure<double>(kelsSqrt_64f_A53, mpfr_sqrt, xs), 0.5);
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

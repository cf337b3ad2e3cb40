// Classification tests on double bit patterns and the absolute values:
// truth tables over every class (NaNs with their payload only in the low or
// only in the high word included), and the flags each function may raise.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

struct Row {
  const char* what;
  uint64_t bits;
  // isinf, ispinf, isninf, isnan, iszero, isnegzero, isnzfinite
  int expected[7];
};

TEST(Classify, TruthTable) {
  const Row rows[] = {
      {"+0", 0x0000000000000000, {0, 0, 0, 0, 1, 0, 0}},
      {"-0", 0x8000000000000000, {0, 0, 0, 0, 1, 1, 0}},
      {"smallest subnormal", 0x0000000000000001, {0, 0, 0, 0, 0, 0, 1}},
      {"-largest subnormal", 0x800FFFFFFFFFFFFF, {0, 0, 0, 0, 0, 0, 1}},
      {"subnormal, high word only", 0x0000000100000000, {0, 0, 0, 0, 0, 0, 1}},
      {"1", 0x3FF0000000000000, {0, 0, 0, 0, 0, 0, 1}},
      {"-DBL_MAX", 0xFFEFFFFFFFFFFFFF, {0, 0, 0, 0, 0, 0, 1}},
      {"+inf", 0x7FF0000000000000, {1, 1, 0, 0, 0, 0, 0}},
      {"-inf", 0xFFF0000000000000, {1, 0, 1, 0, 0, 0, 0}},
      {"quiet NaN", 0x7FF8000000000000, {0, 0, 0, 1, 0, 0, 0}},
      {"-quiet NaN", 0xFFF8000000000000, {0, 0, 0, 1, 0, 0, 0}},
      {"signalling NaN, low word payload", 0x7FF0000000000001, {0, 0, 0, 1, 0, 0, 0}},
      {"-signalling NaN, low word payload", 0xFFF0000080000000, {0, 0, 0, 1, 0, 0, 0}},
      {"signalling NaN, high word payload", 0x7FF0000100000000, {0, 0, 0, 1, 0, 0, 0}},
      {"NaN, all payload bits", 0xFFFFFFFFFFFFFFFF, {0, 0, 0, 1, 0, 0, 0}},
  };
  int (*const tests[7])(double) = {_orx_internal_isinf, _orx_internal_ispinf, _orx_internal_isninf,
                                   _orx_internal_isnan, _orx_internal_iszero, _orx_internal_isnegzero,
                                   _orx_internal_isnzfinite};
  const char* const names[7] = {"isinf", "ispinf", "isninf", "isnan", "iszero", "isnegzero", "isnzfinite"};
  for (const Row& r : rows) {
    ScopedControlWord cw(kDefault);
    for (int t = 0; t < 7; ++t) EXPECT_EQ(tests[t](double_from_bits(r.bits)), r.expected[t]) << names[t] << "(" << r.what << ")";
    // Bits only: no flag, not even invalid for a signalling NaN or denormal
    // for a subnormal.
    EXPECT_EQ(flags() & 0x3F, 0) << r.what;
  }
}

// The double absolute value keeps the payload and raises nothing: on i386 the
// result comes back in st(0), and loading it from the double format would
// raise denormal for a subnormal.
TEST(Abs, DoubleClearsTheSignBitOnly) {
  const uint64_t patterns[] = {0xFFF8000000000123, 0xFFF4000000000001, 0x8000000000000001,
                               0x800FFFFFFFFFFFFF, 0x8000000000000000, 0xFFF0000000000000,
                               0xBFF8000000000000, 0x7FF8000000000005, 0x0000000000000003};
  for (uint64_t p : patterns) {
    const bool signalling = (p & 0x7FF8000000000000) == 0x7FF0000000000000 && (p << 12) != 0;
    ScopedControlWord cw(kDefault);
    volatile double y = orx_dabs_scalar(double_from_bits(p));
    const uint16_t raised = flags() & 0x3F;
    if (signalling) continue;  // the caller's own store to double quiets it
    EXPECT_EQ(bits_of(y), p & 0x7FFFFFFFFFFFFFFF) << std::hex << p;
    EXPECT_EQ(raised, 0) << std::hex << p;
  }
}

#if defined(__i386__)
// On i386 the result travels in st(0).  Read as the 80-bit register value
// (same return convention) it shows what the function itself did, before the
// caller's store to double: a signalling NaN must arrive with its payload,
// still signalling, and without the invalid flag a load from the double
// format would raise.
TEST(Abs, DoubleResultRegisterOnI386) {
  const auto raw = reinterpret_cast<long double (*)(double)>(reinterpret_cast<void (*)()>(orx_dabs_scalar));
  const uint64_t patterns[] = {0xFFF4000000000001, 0x7FF0000000000400, 0x8000000000000001};
  const uint64_t widened[] = {0xA000000000000800, 0x8000000000200000, 0x8000000000000000};
  const uint16_t exponents[] = {0x7FFF, 0x7FFF, 16383 - 1074};
  for (int i = 0; i < 3; ++i) {
    ScopedControlWord cw(kDefault);
    const long double y = raw(double_from_bits(patterns[i]));
    EXPECT_EQ(flags() & 0x3F, 0) << std::hex << patterns[i];
    uint64_t m;
    uint16_t se;
    std::memcpy(&m, &y, 8);
    std::memcpy(&se, reinterpret_cast<const char*>(&y) + 8, 2);
    EXPECT_EQ(m, widened[i]) << std::hex << patterns[i];
    EXPECT_EQ(se, exponents[i]) << std::hex << patterns[i];
  }
}
#endif

TEST(Abs, FloatClearsTheSignBit) {
  const uint32_t patterns[] = {0xBF800000, 0x80000001, 0x80000000, 0xFF800000, 0xFFC00123, 0x7F7FFFFF};
  for (uint32_t p : patterns) {
    float x, y;
    std::memcpy(&x, &p, 4);
    ScopedControlWord cw(kDefault);
    const float r = orx_sabs_scalar(x);
    std::memcpy(&y, &r, 4);
    uint32_t yb;
    std::memcpy(&yb, &y, 4);
    EXPECT_EQ(yb, p & 0x7FFFFFFF) << std::hex << p;
  }
}

// The long double absolute value is arithmetic: x * (+-1) for numbers, x * 1
// with the sign cleared for NaNs, so a signalling NaN leaves quiet with invalid.
TEST(Abs, LongDouble) {
  struct Case {
    long double x;
    int sign, exp;
    uint64_t m;
    uint16_t flags;  // among invalid, divide-by-zero, overflow, underflow
  } cases[] = {
      {-0.0L, 0, 0, 0, 0},
      {0.0L, 0, 0, 0, 0},
      {-1.5L, 0, 16383, 0xC000000000000000, 0},
      {-INFINITY, 0, 0x7FFF, 0x8000000000000000, 0},
      {ld_make(1, 0x7FFF, 0xC000000000000123), 0, 0x7FFF, 0xC000000000000123, 0},
      {ld_make(1, 0x7FFF, 0x8000000000000123), 0, 0x7FFF, 0xC000000000000123, kInvalid},
      {ld_make(1, 0, 5), 0, 0, 5, 0},
  };
  for (const Case& c : cases) {
    ScopedControlWord cw(0x037F);
    const long double y = orxfabsl_scalar(c.x);
    EXPECT_EQ(flags() & (kInvalid | kDivByZero | kOverflow | kUnderflow), c.flags) << kelacc::hex(c.x);
    const LdFields f = ld_fields(y);
    EXPECT_EQ(f.se, c.sign << 15 | c.exp) << kelacc::hex(c.x);
    EXPECT_EQ(f.mant, c.m) << kelacc::hex(c.x);
  }
}

}  // namespace

// Classification on double bit patterns (NaN payloads in one word only) and the absolute values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

TEST(Classify, TruthTableRaisesNothing) {
  int (*const tests[7])(double) = {_orx_internal_isinf,  _orx_internal_ispinf,    _orx_internal_isninf,
                                   _orx_internal_isnan,  _orx_internal_iszero,    _orx_internal_isnegzero,
                                   _orx_internal_isnzfinite};
  const struct {
    uint64_t bits;
    int expected[7];  // isinf, ispinf, isninf, isnan, iszero, isnegzero, isnzfinite
  } rows[] = {
      {0x0000000000000000, {0, 0, 0, 0, 1, 0, 0}}, {0x8000000000000000, {0, 0, 0, 0, 1, 1, 0}},
      {0x0000000000000001, {0, 0, 0, 0, 0, 0, 1}}, {0x0000000100000000, {0, 0, 0, 0, 0, 0, 1}},
      {0xFFEFFFFFFFFFFFFF, {0, 0, 0, 0, 0, 0, 1}},
      {0x7FF0000000000000, {1, 1, 0, 0, 0, 0, 0}}, {0xFFF0000000000000, {1, 0, 1, 0, 0, 0, 0}},
      {0xFFF8000000000000, {0, 0, 0, 1, 0, 0, 0}}, {0x7FF0000000000001, {0, 0, 0, 1, 0, 0, 0}},
      {0xFFF0000080000000, {0, 0, 0, 1, 0, 0, 0}}, {0x7FF0000100000000, {0, 0, 0, 1, 0, 0, 0}},
  };
  for (const auto& r : rows) {
    ScopedControlWord cw(kDefault);
    for (int t = 0; t < 7; ++t)
      EXPECT_EQ(tests[t](double_from_bits(r.bits)), r.expected[t]) << "test " << t << std::hex << " of " << r.bits;
    EXPECT_EQ(flags() & 0x3F, 0) << std::hex << r.bits;  // bits only: not even invalid or denormal
  }
}

// Double and float clear the sign bit only, raising nothing (on i386 a load
// from double would raise denormal for a subnormal).
TEST(Abs, DoubleAndFloatClearTheSignBitOnly) {
  for (uint64_t p : std::initializer_list<uint64_t>{0xFFF8000000000123, 0x8000000000000001, 0x800FFFFFFFFFFFFF,
                                                    0x8000000000000000, 0xFFF0000000000000, 0xBFF8000000000000, 3}) {
    ScopedControlWord cw(kDefault);
    volatile double y = orx_dabs_scalar(double_from_bits(p));
    EXPECT_EQ(flags() & 0x3F, 0) << std::hex << p;
    EXPECT_EQ(bits_of(+y), p & 0x7FFFFFFFFFFFFFFF) << std::hex << p;
  }
  for (uint32_t p :
       std::initializer_list<uint32_t>{0xBF800000, 0x80000001, 0x80000000, 0xFF800000, 0xFFC00123, 0x7F7FFFFF})
    EXPECT_EQ(bits_of(orx_sabs_scalar(float_from_bits(p))), p & 0x7FFFFFFF) << std::hex << p;
}

#if defined(__i386__)
// The double result travels in st(0): read as the 80-bit register, a
// signalling NaN arrives with its payload, still signalling, without invalid.
TEST(Abs, DoubleResultRegisterOnI386) {
  const auto raw = reinterpret_cast<long double (*)(double)>(reinterpret_cast<void (*)()>(orx_dabs_scalar));
  const struct {
    uint64_t in, mant;
    uint16_t se;
  } cases[] = {{0xFFF4000000000001, 0xA000000000000800, 0x7FFF},
               {0x7FF0000000000400, 0x8000000000200000, 0x7FFF},
               {0x8000000000000001, 0x8000000000000000, 16383 - 1074}};
  for (const auto& c : cases) {
    ScopedControlWord cw(kDefault);
    const LdFields f = ld_fields(raw(double_from_bits(c.in)));
    EXPECT_EQ(flags() & 0x3F, 0) << std::hex << c.in;
    EXPECT_TRUE(f.mant == c.mant && f.se == c.se) << std::hex << c.in;
  }
}
#endif

// The long double absolute value is arithmetic: a signalling NaN leaves quiet with invalid.
TEST(Abs, LongDouble) {
  const struct {
    long double x;
    uint16_t se;
    uint64_t m;
    uint16_t flags;  // among invalid, divide-by-zero, overflow, underflow
  } cases[] = {
      {-0.0L, 0, 0, 0}, {-1.5L, 16383, 0xC000000000000000, 0}, {-INFINITY, 0x7FFF, 0x8000000000000000, 0},
      {ld_make(1, 0x7FFF, 0xC000000000000123), 0x7FFF, 0xC000000000000123, 0},
      {ld_make(1, 0x7FFF, 0x8000000000000123), 0x7FFF, 0xC000000000000123, kInvalid},
      {ld_make(1, 0, 5), 0, 5, 0},
  };
  for (const auto& c : cases) {
    ScopedControlWord cw(0x037F);
    const LdFields f = ld_fields(orxfabsl_scalar(c.x));
    EXPECT_EQ(flags() & (kInvalid | kDivByZero | kOverflow | kUnderflow), c.flags) << kelacc::hex(c.x);
    EXPECT_TRUE(f.se == c.se && f.mant == c.m) << kelacc::hex(c.x);
  }
}

}  // namespace

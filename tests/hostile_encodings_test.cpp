// Hostile encodings: invalid 80-bit operands to every long-double kernel, signalling NaNs in
// complex elements, and the two fixed rows of the exported logarithm table.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "fpu.h"
#include "kelvm.h"
#include "references.h"

namespace {

using namespace kelfpu;

// The x87 rejects these operands: arithmetic returns the default NaN and raises invalid (its
// sign is not checked: cosh works on |x|).
struct Encoding {
  uint16_t se;
  uint64_t mant;
};
constexpr Encoding kInvalidEncodings[] = {
    {0x4C6B, 0x00000000016B3AAFull},  // unnormal, huge exponent (expl read it as +inf)
    {0x79C1, 0x000B188D04C62900ull},  // unnormal (log1pl read it as about 11356.5)
    {0x4003, 0x2000000000000000ull},  // unnormal near 16
    {0x3FFF, 0x4000000000000000ull},  // unnormal near 1
    {0x3FF0, 0x7FFFFFFFFFFFFFFFull},  // unnormal near 2^-15
    {0x3F00, 0x0000000000000001ull},  // unnormal, tiny exponent
    {0xC00A, 0x1234567812345678ull},  // negative unnormal
    {0x4000, 0x0000000000000000ull},  // pseudo-zero
    {0x7FFF, 0x0000000000000000ull},  // pseudo-infinity
    {0xFFFF, 0x0000000000000000ull},  // negative pseudo-infinity
    {0x7FFF, 0x4000000000000001ull},  // pseudo-NaN
    {0xFFFF, 0x0000000000000001ull},  // negative pseudo-NaN
};
constexpr long double kOther = 1.5L;  // the valid partner of a two-argument kernel

// Every exported long-double kernel, the invalid operand in each argument position.
TEST(HostileEncodings, LongDoubleKernelsRejectInvalidOperands) {
  int kernels = 0;
  for (const auto& k : kelacc::kernel_functions()) {
    const std::string name = std::string("orx") + k.name + "_scalar";
    void* fn = dlsym(RTLD_DEFAULT, name.c_str());
    if (!fn) continue;
    ++kernels;
    for (const Encoding& enc : kInvalidEncodings)
      for (int pos = 0; pos < (k.shape == kelacc::Shape::binary ? 2 : 1); ++pos) {
        const long double bad = ld_from(enc.se, enc.mant);
        long double r[2];
        ScopedControlWord cw(kDefault);
        if (k.shape == kelacc::Shape::two)
          reinterpret_cast<void (*)(long double, long double*, long double*)>(fn)(bad, &r[0], &r[1]);
        else if (k.shape == kelacc::Shape::binary)
          r[0] = r[1] = reinterpret_cast<long double (*)(long double, long double)>(fn)(pos ? kOther : bad, pos ? bad : kOther);
        else
          r[0] = r[1] = reinterpret_cast<long double (*)(long double)>(fn)(bad);
        const bool invalid = flags() & kInvalid;
        for (long double v : r) {
          const LdFields f = ld_fields(v);
          EXPECT_TRUE(invalid && (f.se & 0x7FFF) == 0x7FFF && f.mant == 0xC000000000000000ull)
              << name << std::hex << " of " << enc.se << ":" << enc.mant << " (argument " << pos << ") gave "
              << f.se << ":" << f.mant << (invalid ? "" : " without invalid");
        }
      }
  }
  EXPECT_GE(kernels, 10);
}

// Rows 0 and 255 hold fixed values with heads wider than the other rows' 30 bits.
TEST(HostileEncodings, LogTableFixedRows) {
  EXPECT_EQ(bits_of(orx_orx_logl_table_256[0][0]), bits_of(0.0019550348358059466));
  EXPECT_EQ(bits_of(orx_orx_logl_table_256[0][1]), bits_of(-2.5960559907968786e-15));
  EXPECT_EQ(bits_of(orx_orx_logl_table_256[255][0]), bits_of(0.6921710945880477));
  EXPECT_EQ(bits_of(orx_orx_logl_table_256[255][1]), bits_of(-1.1578578634213724e-12));
}

// Signalling-NaN parts are quieted by their bits and raise invalid once; the larger significand
// of two quiet NaNs wins (the builds used to disagree on these elements).
TEST(HostileEncodings, ComplexSignallingNaNs) {
  struct Case {
    const char* what;
    uint64_t re, im, want_re, want_im;  // double parts, or float bits for fn32
    KelStatus (*fn64)(const Kel64fc*, Kel64fc*, int);
    KelStatus (*fn32)(const Kel32fc*, Kel32fc*, int);
  };
  const uint64_t kInf = 0x7FF0000000000000ull, kNegInf = 0xFFF0000000000000ull, kSnan = 0x7FF0000000000001ull;
  const Case cases[] = {
      {"Sqrt(sNaN, sNaN)", 0xFFF0000000000002ull, 0xFFF31ADAD3F88C1Aull, 0xFFFB1ADAD3F88C1Aull,
       0xFFFB1ADAD3F88C1Aull, kelsSqrt_64fc_A53, nullptr},
      {"Ln(sNaN, finite) 32fc", 0xFFA00000u, 0xC314FFFFu, 0xFFE00000u, 0xFFE00000u, nullptr, kelsLn_32fc_A24},
      {"Exp(-inf, sNaN)", kNegInf, kSnan, 0, 0, kelsExp_64fc_A53, nullptr},
      {"Sqrt(sNaN, +inf)", kSnan, kInf, kInf, kInf, kelsSqrt_64fc_A53, nullptr},
  };
  for (const Case& c : cases) {
    uint64_t got[2];
    ScopedControlWord cw(kDefault);
    if (c.fn32) {
      const Kel32fc z{float_from_bits(static_cast<uint32_t>(c.re)), float_from_bits(static_cast<uint32_t>(c.im))};
      Kel32fc y;
      EXPECT_EQ(c.fn32(&z, &y, 1), kelStatusNoError);
      got[0] = bits_of(y.re), got[1] = bits_of(y.im);
    } else {
      const Kel64fc z{double_from_bits(c.re), double_from_bits(c.im)};
      Kel64fc y;
      EXPECT_EQ(c.fn64(&z, &y, 1), kelStatusNoError);
      got[0] = bits_of(y.re), got[1] = bits_of(y.im);
    }
    EXPECT_EQ(flags(), kInvalid) << c.what;  // once, and nothing else
    EXPECT_TRUE(got[0] == c.want_re && got[1] == c.want_im) << c.what << std::hex << ": " << got[0] << ", " << got[1];
  }
}

}  // namespace

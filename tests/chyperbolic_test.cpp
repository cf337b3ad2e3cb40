// Complex circular and hyperbolic functions and the long-double hyperbolic
// kernels: special values and flags, symmetries, intermediate values beyond
// the double range, accuracy against MPC and MPFR.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

const double inf = INFINITY, nan_ = NAN;

using kelacc::same_value;

struct Special {
  Kel64fc (*kernel)(Kel64fc);
  const char* name;
  Kel64fc z, want;
  uint16_t flag;  // a flag that must be raised (0: none required)
};

const Special kSpecials[] = {
    {orxccosh_scalar, "ccosh(0+i0)", {0, 0}, {1, 0}, 0},
    {orxccosh_scalar, "ccosh(0+i inf)", {0, inf}, {nan_, 0}, kInvalid},
    {orxccosh_scalar, "ccosh(1+i inf)", {1, inf}, {nan_, nan_}, kInvalid},
    {orxccosh_scalar, "ccosh(-inf+i2)", {-inf, 2}, {-inf, -inf}, 0},
    {orxccosh_scalar, "ccosh(inf+i inf)", {inf, inf}, {inf, nan_}, kInvalid},
    {orxccosh_scalar, "ccosh(-inf+i nan)", {-inf, nan_}, {inf, nan_}, 0},
    {orxcsinh_scalar, "csinh(-0+i inf)", {-0.0, inf}, {-0.0, nan_}, kInvalid},
    {orxcsinh_scalar, "csinh(-inf+i0)", {-inf, 0}, {-inf, 0}, 0},
    {orxcsinh_scalar, "csinh(inf+i2)", {inf, 2}, {-inf, inf}, 0},
    {orxcsinh_scalar, "csinh(-inf-i inf)", {-inf, -inf}, {-inf, nan_}, kInvalid},
    {orxcsinh_scalar, "csinh(nan-i0)", {nan_, -0.0}, {nan_, -0.0}, 0},
    {orxctanh_scalar, "ctanh(0+i inf)", {0, inf}, {nan_, nan_}, kInvalid},
    {orxctanh_scalar, "ctanh(inf+i2)", {inf, 2}, {1, -0.0}, 0},  // sin 4 < 0
    {orxctanh_scalar, "ctanh(inf+i nan)", {inf, nan_}, {1, 0}, 0},
    {orxctanh_scalar, "ctanh(nan-i0)", {nan_, -0.0}, {nan_, -0.0}, 0},
    {orxctanh_scalar, "ctanh(1000+i)", {1000, 1}, {1, 0}, kUnderflow},
    {orxctanh_scalar, "ctanh(-1000-i)", {-1000, -1}, {-1, -0.0}, kUnderflow},
    {orxccos_scalar, "ccos(0-i inf)", {0, -inf}, {inf, 0}, 0},
    {orxccos_scalar, "ccos(inf+i0)", {inf, 0}, {nan_, -0.0}, kInvalid},
    {orxcsin_scalar, "csin(-0+i inf)", {-0.0, inf}, {-0.0, inf}, 0},
    {orxctan_scalar, "ctan(1+i1000)", {1, 1000}, {0, 1}, kUnderflow},
    {orxctan_scalar, "ctan(-0-i inf)", {-0.0, -inf}, {-0.0, -1}, 0},
};

TEST(ComplexHyperbolic, SpecialValues) {
  for (const Special& s : kSpecials) {
    ScopedControlWord cw(kDefault);
    const Kel64fc r = s.kernel(s.z);
    EXPECT_TRUE(same_value(r, s.want)) << s.name << " gave " << kelacc::hex(r);
    const uint16_t raised = flags(), unwanted = s.flag & kInvalid ? 0 : kInvalid | kOverflow;
    EXPECT_TRUE((raised & s.flag) == s.flag && !(raised & unwanted)) << s.name << " flags " << raised;
  }
}

// Conjugation and parity hold bit for bit (finite arguments).
TEST(ComplexHyperbolic, Symmetries) {
  ScopedControlWord cw(kDefault);
  const Kel64fc zs[] = {{0.75, -2.5}, {-1e-300, 3}, {40, 1e-5}, {-3e5, 0.5}, {1e-3, 1e300}};
  for (Kel64fc z : zs) {
    const Kel64fc c = {z.re, -z.im}, m = {-z.re, -z.im};
    for (auto f : {orxccosh_scalar, orxcsinh_scalar, orxctanh_scalar, orxccos_scalar, orxcsin_scalar,
                   orxctan_scalar}) {
      const Kel64fc w = f(z), wc = f(c), wm = f(m);
      const bool even = f == orxccosh_scalar || f == orxccos_scalar;
      EXPECT_TRUE(same_value(wc, {w.re, -w.im})) << kelacc::hex(z);
      EXPECT_TRUE(same_value(wm, even ? w : Kel64fc{-w.re, -w.im})) << kelacc::hex(z);
    }
  }
}

// e^|x| for 710 <= |x| < 1420 times a small sine; tanh with a large real part
// or next to a pole of tan y: within 1 ulp of MPC normwise.
TEST(ComplexHyperbolic, ExtendedRangeArguments) {
  const std::vector<Kel64fc> zs = {{715, 1e-10},   {-1000, 1e-300}, {1400, -1e-300}, {710.5, 3},
                                   {-1419, 0x1p-1074}, {30, 1},      {-23, 1.5707963267948966},
                                   {22.9, -2},     {0x1p-1000, 1.5707963267948966}};
  kelacc::expect_within("Cosh", kelacc::measure_complex<Kel64fc>(kelsCosh_64fc_A53, mpc_cosh, zs), 1.0);
  kelacc::expect_within("Sinh", kelacc::measure_complex<Kel64fc>(kelsSinh_64fc_A53, mpc_sinh, zs), 1.0);
  kelacc::expect_within("Tanh", kelacc::measure_complex<Kel64fc>(kelsTanh_64fc_A53, mpc_tanh, zs), 1.0);
}

TEST(LongDoubleHyperbolic, SpecialValues) {
  ScopedControlWord cw(kDefault);
  EXPECT_TRUE(same_bits(orxsinhl_scalar(-0.0L), -0.0L) && same_bits(orxtanhl_scalar(-0.0L), -0.0L));
  EXPECT_TRUE(orxcoshl_scalar(-0.0L) == 1 && orxsinhl_scalar(-0x1p-40L) == -0x1p-40L);
  EXPECT_TRUE(orxsinhl_scalar(-INFINITY) == -INFINITY && orxcoshl_scalar(-INFINITY) == INFINITY);
  EXPECT_TRUE(orxtanhl_scalar(-INFINITY) == -1 && orxtanhl_scalar(1e4L) == 1);
  // Near the overflow limit e^|x| is formed as a square of e^(|x|/2).
  EXPECT_TRUE(std::isfinite(orxcoshl_scalar(11357.0L)) && std::isfinite(orxsinhl_scalar(-11357.0L)));
  EXPECT_FALSE(flags() & (kInvalid | kOverflow | kUnderflow));
  EXPECT_EQ(orxcoshl_scalar(11358.0L), INFINITY);
  EXPECT_TRUE(flags() & kOverflow);
}

TEST(ComplexHyperbolicAccuracy, AgainstMpcAndMpfr) {
  KELACC_EXPECT_ACCURATE(orxsinhl_scalar);
  KELACC_EXPECT_ACCURATE(orxcoshl_scalar);
  KELACC_EXPECT_ACCURATE(orxtanhl_scalar);
  // One member per type: the others give the same bits (ComplexFrame.MembersAgreeInPlaceOrNot).
  for (const char* f : {"Cosh", "Sinh", "Tanh", "Cos", "Sin", "Tan"})
    for (const std::string& name : {std::string("kels") + f + "_64fc_A53", std::string("kels") + f + "_32fc_A24"})
      kelacc::expect_registered(name.c_str(), reinterpret_cast<kelacc::AnyFunction>(dlsym(RTLD_DEFAULT, name.c_str())));
}

}  // namespace

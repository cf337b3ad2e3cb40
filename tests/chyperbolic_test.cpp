// Complex circular and hyperbolic functions and the long-double hyperbolic
// kernels: special values and flags, arguments whose intermediate values leave
// the double range, members and in-place calls, accuracy against MPC / MPFR.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

const double inf = INFINITY, nan_ = NAN;

bool same(double a, double b) { return (std::isnan(a) && std::isnan(b)) || same_bits(a, b); }

struct Special {
  Kel64fc (*kernel)(Kel64fc);
  const char* name;
  Kel64fc z, want;
  uint16_t flag;  // a flag that must be raised (0: none required)
};

const Special kSpecials[] = {
    {orxccosh_scalar, "ccosh(0+i0)", {0, 0}, {1, 0}, 0},
    {orxccosh_scalar, "ccosh(-0+i0)", {-0.0, 0}, {1, -0.0}, 0},
    {orxccosh_scalar, "ccosh(0+i inf)", {0, inf}, {nan_, 0}, kInvalid},
    {orxccosh_scalar, "ccosh(-0+i nan)", {-0.0, nan_}, {nan_, -0.0}, 0},
    {orxccosh_scalar, "ccosh(1+i inf)", {1, inf}, {nan_, nan_}, kInvalid},
    {orxccosh_scalar, "ccosh(inf-i0)", {inf, -0.0}, {inf, -0.0}, 0},
    {orxccosh_scalar, "ccosh(-inf+i2)", {-inf, 2}, {-inf, -inf}, 0},
    {orxccosh_scalar, "ccosh(inf+i inf)", {inf, inf}, {inf, nan_}, kInvalid},
    {orxccosh_scalar, "ccosh(-inf+i nan)", {-inf, nan_}, {inf, nan_}, 0},
    {orxccosh_scalar, "ccosh(nan+i1)", {nan_, 1}, {nan_, nan_}, 0},
    {orxcsinh_scalar, "csinh(-0-i0)", {-0.0, -0.0}, {-0.0, -0.0}, 0},
    {orxcsinh_scalar, "csinh(-0+i inf)", {-0.0, inf}, {-0.0, nan_}, kInvalid},
    {orxcsinh_scalar, "csinh(1+i nan)", {1, nan_}, {nan_, nan_}, 0},
    {orxcsinh_scalar, "csinh(-inf+i0)", {-inf, 0}, {-inf, 0}, 0},
    {orxcsinh_scalar, "csinh(inf+i2)", {inf, 2}, {-inf, inf}, 0},
    {orxcsinh_scalar, "csinh(-inf-i inf)", {-inf, -inf}, {-inf, nan_}, kInvalid},
    {orxcsinh_scalar, "csinh(nan-i0)", {nan_, -0.0}, {nan_, -0.0}, 0},
    {orxctanh_scalar, "ctanh(-0+i0)", {-0.0, 0}, {-0.0, 0}, 0},
    {orxctanh_scalar, "ctanh(0+i inf)", {0, inf}, {nan_, nan_}, kInvalid},
    {orxctanh_scalar, "ctanh(inf+i2)", {inf, 2}, {1, -0.0}, 0},  // sin 4 < 0
    {orxctanh_scalar, "ctanh(-inf-i inf)", {-inf, -inf}, {-1, -0.0}, 0},
    {orxctanh_scalar, "ctanh(inf+i nan)", {inf, nan_}, {1, 0}, 0},
    {orxctanh_scalar, "ctanh(nan-i0)", {nan_, -0.0}, {nan_, -0.0}, 0},
    {orxctanh_scalar, "ctanh(nan+i1)", {nan_, 1}, {nan_, nan_}, 0},
    {orxctanh_scalar, "ctanh(1000+i)", {1000, 1}, {1, 0}, kUnderflow},
    {orxctanh_scalar, "ctanh(-1000-i)", {-1000, -1}, {-1, -0.0}, kUnderflow},
    {orxccos_scalar, "ccos(0-i inf)", {0, -inf}, {inf, 0}, 0},
    {orxccos_scalar, "ccos(inf+i0)", {inf, 0}, {nan_, -0.0}, kInvalid},
    {orxcsin_scalar, "csin(-0+i inf)", {-0.0, inf}, {-0.0, inf}, 0},
    {orxcsin_scalar, "csin(nan-i0)", {nan_, -0.0}, {nan_, -0.0}, 0},
    {orxctan_scalar, "ctan(1+i1000)", {1, 1000}, {0, 1}, kUnderflow},
    {orxctan_scalar, "ctan(-0-i inf)", {-0.0, -inf}, {-0.0, -1}, 0},
};

TEST(ComplexHyperbolic, SpecialValues) {
  for (const Special& s : kSpecials) {
    ScopedControlWord cw(kDefault);
    const Kel64fc r = s.kernel(s.z);
    EXPECT_TRUE(same(r.re, s.want.re) && same(r.im, s.want.im))
        << s.name << " gave (" << r.re << ", " << r.im << ")";
    const uint16_t raised = flags();
    if (s.flag) {
      EXPECT_TRUE(raised & s.flag) << s.name << " flags " << raised;
    }
    if (!(s.flag & kInvalid)) {
      EXPECT_FALSE(raised & (kInvalid | kOverflow)) << s.name << " flags " << raised;
    }
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
      EXPECT_TRUE(same(wc.re, w.re) && same(wc.im, -w.im)) << z.re << " " << z.im;
      const bool even = f == orxccosh_scalar || f == orxccos_scalar;
      EXPECT_TRUE(same(wm.re, even ? w.re : -w.re) && same(wm.im, even ? w.im : -w.im)) << z.re << " " << z.im;
    }
  }
}

// Intermediate values beyond the double range: e^|x| for 710 <= |x| < 1420
// times a small sine, tanh with a large real part, the tangent with a large
// imaginary part.  Measured against MPC: within 1 ulp normwise, same classes.
TEST(ComplexHyperbolic, ExtendedRangeArguments) {
  const std::vector<Kel64fc> zs = {{715, 1e-10},   {-1000, 1e-300}, {1400, -1e-300}, {710.5, 3},
                                   {-1419, 0x1p-1074}, {30, 1},      {-23, 1.5707963267948966},
                                   {22.9, -2},     {0x1p-1000, 1.5707963267948966}};
  const struct {
    const char* name;
    KelStatus (*fn)(const Kel64fc*, Kel64fc*, int);
    int (*ref)(mpc_ptr, mpc_srcptr, mpc_rnd_t);
    bool swap;
  } fs[] = {{"Cosh", kelsCosh_64fc_A53, mpc_cosh, false}, {"Sinh", kelsSinh_64fc_A53, mpc_sinh, false},
            {"Tanh", kelsTanh_64fc_A53, mpc_tanh, false}, {"Cos", kelsCos_64fc_A53, mpc_cos, true},
            {"Sin", kelsSin_64fc_A53, mpc_sin, true},     {"Tan", kelsTan_64fc_A53, mpc_tan, true}};
  for (const auto& f : fs) {
    std::vector<Kel64fc> in = zs;
    if (f.swap)
      for (auto& z : in) z = {z.im, z.re};
    kelacc::expect_within(f.name, kelacc::measure_complex<Kel64fc>(f.fn, f.ref, in), 1.0);
  }
}

TEST(ComplexHyperbolic, MembersAndInPlace) {
  const std::vector<Kel64fc> z = {{0.5, -0.25}, {-3, 4}, {1e-300, 1e300}, {700, 2}, {-nan_, 1}};
  using F = KelStatus (*)(const Kel64fc*, Kel64fc*, int);
  const F pairs[][2] = {{kelsCos_64fc_A50, kelsCos_64fc_A53},   {kelsCosh_64fc_A50, kelsCosh_64fc_A53},
                        {kelsSin_64fc_A50, kelsSin_64fc_A53},   {kelsSinh_64fc_A50, kelsSinh_64fc_A53},
                        {kelsTan_64fc_A50, kelsTan_64fc_A53},   {kelsTanh_64fc_A50, kelsTanh_64fc_A53}};
  for (const auto& p : pairs) {
    std::vector<Kel64fc> a(z.size()), b = z;
    EXPECT_EQ(p[0](z.data(), a.data(), 5), 0);
    EXPECT_EQ(p[1](b.data(), b.data(), 5), 0);
    EXPECT_EQ(std::memcmp(a.data(), b.data(), 16 * a.size()), 0);
  }
  using G = KelStatus (*)(const Kel32fc*, Kel32fc*, int);
  const G triples[][3] = {{kelsCos_32fc_A11, kelsCos_32fc_A21, kelsCos_32fc_A24},
                          {kelsCosh_32fc_A11, kelsCosh_32fc_A21, kelsCosh_32fc_A24},
                          {kelsSin_32fc_A11, kelsSin_32fc_A21, kelsSin_32fc_A24},
                          {kelsSinh_32fc_A11, kelsSinh_32fc_A21, kelsSinh_32fc_A24},
                          {kelsTan_32fc_A11, kelsTan_32fc_A21, kelsTan_32fc_A24},
                          {kelsTanh_32fc_A11, kelsTanh_32fc_A21, kelsTanh_32fc_A24}};
  const Kel32fc fz[3] = {{0.5f, -0.25f}, {-3, 4}, {90, 1e-3f}};
  for (const auto& t : triples) {
    Kel32fc f1[3], f2[3], f3[3] = {fz[0], fz[1], fz[2]};
    t[0](fz, f1, 3);
    t[1](fz, f2, 3);
    t[2](f3, f3, 3);
    EXPECT_EQ(std::memcmp(f1, f2, sizeof f1), 0);
    EXPECT_EQ(std::memcmp(f1, f3, sizeof f1), 0);
  }
}

TEST(LongDoubleHyperbolic, SpecialValues) {
  ScopedControlWord cw(kDefault);
  const long double tiny = 0x1p-40L, big = 11357.0L;
  EXPECT_TRUE(same_bits(orxsinhl_scalar(-0.0L), -0.0L));
  EXPECT_TRUE(same_bits(orxtanhl_scalar(-0.0L), -0.0L));
  EXPECT_EQ(orxcoshl_scalar(-0.0L), 1.0L);
  EXPECT_EQ(orxsinhl_scalar(-tiny), -tiny);
  EXPECT_EQ(orxtanhl_scalar(tiny), tiny);
  EXPECT_EQ(orxsinhl_scalar(-INFINITY), -INFINITY);
  EXPECT_EQ(orxcoshl_scalar(-INFINITY), INFINITY);
  EXPECT_EQ(orxtanhl_scalar(-INFINITY), -1.0L);
  EXPECT_EQ(orxtanhl_scalar(1e4L), 1.0L);
  EXPECT_FALSE(flags() & (kInvalid | kOverflow | kUnderflow));
  EXPECT_TRUE(std::isfinite(orxcoshl_scalar(big)) && std::isfinite(orxsinhl_scalar(-big)));
  EXPECT_FALSE(flags() & kOverflow);
  EXPECT_EQ(orxcoshl_scalar(11358.0L), INFINITY);
  EXPECT_TRUE(flags() & kOverflow);
}

TEST(ComplexHyperbolicAccuracy, AgainstMpcAndMpfr) {
  KELACC_EXPECT_ACCURATE(orxsinhl_scalar);
  KELACC_EXPECT_ACCURATE(orxcoshl_scalar);
  KELACC_EXPECT_ACCURATE(orxtanhl_scalar);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Cosh);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Sinh);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Tanh);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Cos);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Sin);
  KELACC_EXPECT_COMPLEX_FAMILY_ACCURATE(Tan);
}

}  // namespace

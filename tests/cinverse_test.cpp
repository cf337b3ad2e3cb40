// Complex inverse functions and the long-double inverse kernels: special
// values and cut sides, the i-rotation identities and symmetries, hard
// regions, accuracy against MPC and MPFR.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

const double inf = INFINITY, nan_ = NAN, pi = M_PI, pi2 = M_PI / 2, pi4 = M_PI / 4;
const double acosh2 = std::acosh(2.0), atanh_half = std::atanh(0.5), pi3 = std::acos(0.5);

using kelacc::same_value;

using Kernel = Kel64fc (*)(Kel64fc);
struct Special {
  Kernel kernel;
  Kel64fc z, want;
  uint16_t flag;  // the one of invalid, overflow, divide-by-zero it raises (0: none)
};

// C99 Annex G for casinh, cacosh, catanh and cacos; the zero beside a cut picks its side.
const Special kSpecials[] = {
    {orxcasinh_scalar, {-0.0, -0.0}, {-0.0, -0.0}, 0},   {orxcasinh_scalar, {-1, inf}, {-inf, pi2}, 0},
    {orxcasinh_scalar, {-inf, -inf}, {-inf, -pi4}, 0},   {orxcasinh_scalar, {nan_, -0.0}, {nan_, -0.0}, 0},
    {orxcasinh_scalar, {nan_, inf}, {inf, nan_}, 0},     {orxcasinh_scalar, {0, 2}, {acosh2, pi2}, 0},
    {orxcasinh_scalar, {-0.0, 2}, {-acosh2, pi2}, 0},    {orxcacosh_scalar, {-0.0, 0}, {0, pi2}, 0},
    {orxcacosh_scalar, {0, nan_}, {nan_, nan_}, 0},      {orxcacosh_scalar, {-inf, 1}, {inf, pi}, 0},
    {orxcacosh_scalar, {-inf, inf}, {inf, 3 * pi4}, 0},  {orxcacosh_scalar, {-2, -0.0}, {acosh2, -pi}, 0},
    {orxcacosh_scalar, {0.5, -0.0}, {0, -pi3}, 0},       {orxcacos_scalar, {-0.0, 0}, {pi2, -0.0}, 0},
    {orxcacos_scalar, {0, nan_}, {pi2, nan_}, 0},        {orxcacos_scalar, {1, -inf}, {pi2, inf}, 0},
    {orxcacos_scalar, {nan_, inf}, {nan_, -inf}, 0},     {orxcacos_scalar, {2, 0}, {0, -acosh2}, 0},
    {orxcacos_scalar, {-2, -0.0}, {pi, acosh2}, 0},      {orxcatanh_scalar, {0, nan_}, {0, nan_}, 0},
    {orxcatanh_scalar, {-1, -0.0}, {-inf, -0.0}, kDivByZero}, {orxcatanh_scalar, {1, -inf}, {0, -pi2}, 0},
    {orxcatanh_scalar, {-inf, 1}, {-0.0, pi2}, 0},       {orxcatanh_scalar, {nan_, inf}, {0, pi2}, 0},
    {orxcatanh_scalar, {1, nan_}, {nan_, nan_}, 0},      {orxcatanh_scalar, {-2, -0.0}, {-atanh_half, -pi2}, 0},
};

TEST(ComplexInverse, SpecialValuesAndCutSides) {
  for (const Special& s : kSpecials) {
    ScopedControlWord cw(kDefault);
    const Kel64fc r = s.kernel(s.z);
    SCOPED_TRACE(kelacc::hex(s.z) + " -> " + kelacc::hex(r));
    EXPECT_TRUE(same_value(r, s.want));
    EXPECT_EQ(flags() & (kInvalid | kOverflow | kDivByZero), s.flag);
  }
}

// asin z = -i asinh(iz), atan z = -i atanh(iz) bit for bit; conjugation and
// parity exact; acosh and acos share the arccosine.
TEST(ComplexInverse, IdentitiesAndSymmetries) {
  ScopedControlWord cw(kDefault);
  const Kel64fc zs[] = {{0.75, -2.5}, {-1e-300, 3}, {1, 0x1p-60}, {-1.5, 0}, {0, -1}, {3e300, -1e-320}, {0.6, 0.8}};
  auto rot = [](Kel64fc z, bool plus) { return plus ? Kel64fc{-z.im, z.re} : Kel64fc{z.im, -z.re}; };
  for (Kel64fc z : zs) {
    SCOPED_TRACE(kelacc::hex(z));
    EXPECT_TRUE(same_value(orxcasin_scalar(z), rot(orxcasinh_scalar(rot(z, true)), false)));
    EXPECT_TRUE(same_value(orxcatan_scalar(z), rot(orxcatanh_scalar(rot(z, true)), false)));
    for (Kernel f : {orxcasinh_scalar, orxcatanh_scalar, orxcasin_scalar, orxcatan_scalar, orxcacos_scalar}) {
      const Kel64fc w = f(z);
      EXPECT_TRUE(same_value(f({z.re, -z.im}), {w.re, -w.im}));
      EXPECT_TRUE(f == orxcacos_scalar || same_value(f({-z.re, -z.im}), {-w.re, -w.im}));
    }
    const Kel64fc a = orxcacos_scalar(z), h = orxcacosh_scalar(z);
    EXPECT_TRUE(same_value(h, {std::fabs(a.im), std::signbit(z.im) ? -a.re : a.re}));
  }
}

// Branch points +-1 and +-i, both sides of the cuts, huge, tiny and subnormal
// parts, the unit circle: normwise within 0.6 ulp (64fc) and correctly
// rounded (32fc, up to the double rounding through the 64fc kernel).
template <class T, class C>
std::vector<C> hard_region(size_t n) {
  constexpr int digits = std::numeric_limits<T>::digits, lo = std::numeric_limits<T>::min_exponent - digits;
  constexpr int hi = std::numeric_limits<T>::max_exponent - 1;
  std::mt19937_64 r(15);
  auto pick = [&](int e0, int e1) {
    const T v = std::ldexp(T(1) + T(r() >> 40) * T(0x1p-24), e0 + int(r() % (e1 - e0 + 1)));
    return r() & 1 ? -v : v;
  };
  std::vector<C> z(n);
  for (C& c : z) {
    switch (r() % 6) {
      case 0: c = {T(1) + pick(-digits, -1), pick(lo, 0)}; break;               // next to +-1
      case 1: c = {pick(lo, -20), pick(0, hi)}; break;                          // next to a cut
      case 2: c = {pick(hi - 60, hi), pick(-10, hi)}; break;                    // huge
      case 3: c = {pick(lo, lo + 60), pick(lo, -900 < lo ? lo + 10 : -900)}; break;  // tiny, subnormal
      case 4: c = {std::cos(T(r() % 1000)), std::sin(T(r() % 1000))}; break;    // |z| = 1
      default: c = {r() & 1 ? T(1) : T(-1), pick(lo, -10)}; break;              // at +-1
    }
    if (r() & 1) std::swap(c.re, c.im);
  }
  return z;
}

using V64 = KelStatus (*)(const Kel64fc*, Kel64fc*, int);
using V32 = KelStatus (*)(const Kel32fc*, Kel32fc*, int);
#define KEL_FAMILY(N, ref) {#N, kels##N##_64fc_A53, kels##N##_32fc_A24, ref}
const struct {
  const char* name;
  V64 f64;
  V32 f32;
  kelacc::MpcUnary ref;
} kFamilies[] = {KEL_FAMILY(Asinh, mpc_asinh), KEL_FAMILY(Acosh, mpc_acosh), KEL_FAMILY(Atanh, mpc_atanh),
                 KEL_FAMILY(Asin, mpc_asin),   KEL_FAMILY(Acos, mpc_acos),   KEL_FAMILY(Atan, mpc_atan)};

TEST(ComplexInverse, HardRegions) {
  const size_t n = sized(48, 500);
  const std::vector<Kel64fc> z = hard_region<double, Kel64fc>(n);
  const std::vector<Kel32fc> zf = hard_region<float, Kel32fc>(n);
  for (const auto& f : kFamilies) {
    kelacc::expect_within(f.name, kelacc::measure_complex<Kel64fc>(f.f64, f.ref, z), 0.6);
    kelacc::expect_within(f.name, kelacc::measure_complex<Kel32fc>(f.f32, f.ref, zf), 0.501);
  }
}

// The registered samples (a quarter: MPC's inverse functions are slow).
TEST(ComplexInverse, AccuracyAgainstMpcAndMpfr) {
  const size_t n = kelacc::default_samples() / 4;
  for (const auto& f : kFamilies) {
    const std::string name = std::string("kels") + f.name;
    kelacc::expect_registered((name + "_64fc_A53").c_str(), reinterpret_cast<kelacc::AnyFunction>(f.f64), n);
    kelacc::expect_registered((name + "_32fc_A24").c_str(), reinterpret_cast<kelacc::AnyFunction>(f.f32), n);
  }
  KELACC_EXPECT_ACCURATE(orxasinl_scalar);
  KELACC_EXPECT_ACCURATE(orxacosl_scalar);
  KELACC_EXPECT_ACCURATE(orxasinhl_scalar);
  KELACC_EXPECT_ACCURATE(orxacoshl_scalar);
  KELACC_EXPECT_ACCURATE(orxatanhl_scalar);
}

}  // namespace

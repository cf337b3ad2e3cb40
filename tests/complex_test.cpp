// Complex functions: members, special values and flags, symmetries, hard regions, accuracy.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;
using kelacc::same_value;

namespace {

const double inf = INFINITY, nan_ = NAN;
using Kernel = Kel64fc (*)(Kel64fc);

template <class C>
kelacc::VectorUnary<C> member(const std::string& name) {
  return reinterpret_cast<kelacc::VectorUnary<C>>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// The members of a family share one kernel: the same bits (the reliability run checks in place).
template <class C>
void expect_members_agree(const std::string& stem, std::initializer_list<const char*> flavours,
                          const kelacc::Inputs<C>& in, kelacc::Shape shape) {
  const int n = static_cast<int>(in.a.size());
  std::vector<C> first;
  for (const char* flavour : flavours) {
    void* fn = dlsym(RTLD_DEFAULT, (stem + flavour).c_str());
    ASSERT_NE(fn, nullptr) << stem << flavour;
    std::vector<C> out(n);
    if (shape == kelacc::Shape::binary)
      reinterpret_cast<KelStatus (*)(const C*, const C*, C*, int)>(fn)(in.a.data(), in.b.data(), out.data(), n);
    else if (shape == kelacc::Shape::scalar)
      reinterpret_cast<KelStatus (*)(const C*, C, C*, int)>(fn)(in.a.data(), in.scalars[0], out.data(), n);
    else
      reinterpret_cast<KelStatus (*)(const C*, C*, int)>(fn)(in.a.data(), out.data(), n);
    if (first.empty()) first = out;
    EXPECT_EQ(std::memcmp(out.data(), first.data(), sizeof(C) * n), 0) << stem << flavour;
  }
}

TEST(ComplexFrame, MembersAgree) {
  for (const auto& f : kelacc::complex_functions()) {
    const std::string stem = std::string("kels") + f.name;
    expect_members_agree<Kel64fc>(stem + "_64fc_", {"A53", "A50"}, f.gen64(sized(64, 512), 3), f.shape);
    expect_members_agree<Kel32fc>(stem + "_32fc_", {"A24", "A21", "A11"}, f.gen32(sized(64, 512), 3), f.shape);
  }
}

// exp(-92) is a subnormal float but a normal double: the float shim raises
// underflow itself (and not for exp(-80)).
TEST(ComplexFrame, FloatShimRaisesUnderflowForSubnormalPart) {
  ScopedControlWord cw(kDefault);
  for (const float x : {-92.0f, -80.0f}) {
    const Kel32fc z = {x, 0.5f};
    Kel32fc r;
    clear_flags();
    EXPECT_EQ(kelsExp_32fc_A24(&z, &r, 1), 0);
    EXPECT_EQ(std::fabs(r.re) < 0x1p-126f && r.re != 0, x < -90);
    EXPECT_EQ(!!(flags() & kUnderflow), x < -90);
  }
}

// Invalid, overflow and divide-by-zero exactly as listed; underflow if listed.
struct Special {
  Kernel kernel;
  Kel64fc z, want;
  uint16_t flag;
};

const double pi = M_PI, pi2 = M_PI / 2, pi4 = M_PI / 4, pi3 = std::acos(0.5);
const double acosh2 = std::acosh(2.0), atanh_half = std::atanh(0.5);
const double kPiOverLn10 = 1.3643763538418414;  // pi / ln 10
const double kQuarterPiOverLn10 = 0.34109408846046035;

const Special kSpecials[] = {
    {orxcexp_scalar, {0, 0}, {1, 0}, 0}, {orxcexp_scalar, {1, -0.0}, {2.718281828459045, -0.0}, 0},
    {orxcexp_scalar, {-0.0, -0.0}, {1, -0.0}, 0}, {orxcexp_scalar, {inf, 0}, {inf, 0}, 0},
    {orxcexp_scalar, {-inf, -0.0}, {0, -0.0}, 0}, {orxcexp_scalar, {nan_, 0}, {nan_, 0}, 0},
    {orxcexp_scalar, {-inf, inf}, {0, 0}, 0}, {orxcexp_scalar, {-inf, -inf}, {0, -0.0}, 0},
    {orxcexp_scalar, {-inf, nan_}, {0, 0}, 0}, {orxcexp_scalar, {inf, nan_}, {inf, nan_}, 0},
    {orxcexp_scalar, {1, inf}, {nan_, nan_}, kInvalid}, {orxcexp_scalar, {0, inf}, {nan_, nan_}, kInvalid},
    {orxcexp_scalar, {3000, 1e-310}, {inf, inf}, kOverflow}, {orxcexp_scalar, {-3000, 1}, {0, 0}, kUnderflow},
    {orxcexp_scalar, {inf, 2}, {-inf, inf}, 0}, {orxcexp_scalar, {-inf, 2}, {-0.0, 0}, 0},
    {orxclog_scalar, {0, 0}, {-inf, 0}, kDivByZero}, {orxclog_scalar, {-0.0, 0}, {-inf, M_PI}, kDivByZero},
    {orxclog_scalar, {-0.0, -0.0}, {-inf, -M_PI}, kDivByZero}, {orxclog_scalar, {0, -0.0}, {-inf, -0.0}, kDivByZero},
    {orxclog_scalar, {-inf, nan_}, {inf, nan_}, 0}, {orxclog_scalar, {nan_, inf}, {inf, nan_}, 0},
    {orxclog_scalar, {nan_, 1}, {nan_, nan_}, 0}, {orxclog_scalar, {inf, inf}, {inf, M_PI / 4}, 0},
    {orxclog_scalar, {-inf, 1}, {inf, M_PI}, 0}, {orxclog_scalar, {-inf, -1}, {inf, -M_PI}, 0},
    {orxclog_scalar, {1, inf}, {inf, M_PI / 2}, 0}, {orxclog_scalar, {1, 0}, {0, 0}, 0},
    {orxclog10_scalar, {-inf, 2}, {inf, kPiOverLn10}, 0},
    {orxclog10_scalar, {inf, -inf}, {inf, -kQuarterPiOverLn10}, 0},
    {orxclog10_scalar, {-inf, -0.0}, {inf, -kPiOverLn10}, 0}, {orxclog10_scalar, {inf, 3}, {inf, 0}, 0},
    {orxclog10_scalar, {2, inf}, {inf, 2 * kQuarterPiOverLn10}, 0},
    {orxclog10_scalar, {-inf, inf}, {inf, 3 * kQuarterPiOverLn10}, 0},
    {orxclog10_scalar, {nan_, inf}, {inf, nan_}, 0}, {orxclog10_scalar, {inf, nan_}, {inf, nan_}, 0},
    {orxclog10_scalar, {1, nan_}, {nan_, nan_}, 0},
    {orxclog10_scalar, {-0.0, -0.0}, {-inf, -kPiOverLn10}, kDivByZero},
    {orxclog10_scalar, {0, -0.0}, {-inf, -0.0}, kDivByZero}, {orxclog10_scalar, {100, 0}, {2, 0}, 0},
    {orxcsqrt_scalar, {-4, 0}, {0, 2}, 0}, {orxcsqrt_scalar, {-4, -0.0}, {0, -2}, 0},
    {orxcsqrt_scalar, {4, -0.0}, {2, -0.0}, 0}, {orxcsqrt_scalar, {0, -8}, {2, -2}, 0},
    {orxcsqrt_scalar, {-0.0, 0}, {0, 0}, 0}, {orxcsqrt_scalar, {nan_, -inf}, {inf, -inf}, 0},
    {orxcsqrt_scalar, {1, inf}, {inf, inf}, 0}, {orxcsqrt_scalar, {-inf, nan_}, {nan_, inf}, 0},
    {orxcsqrt_scalar, {inf, nan_}, {inf, nan_}, 0}, {orxcsqrt_scalar, {-inf, 1}, {0, inf}, 0},
    {orxcsqrt_scalar, {-inf, -0.0}, {0, -inf}, 0}, {orxcsqrt_scalar, {inf, -1}, {inf, -0.0}, 0},
    {orxcsqrt_scalar, {nan_, 1}, {nan_, nan_}, 0}, {orxcsqrt_scalar, {-3, -4}, {1, -2}, 0},
    {orxcsqrt_scalar, {3, 4}, {2, 1}, 0},
    // C99 Annex G for the inverse functions; the zero beside a cut picks its side.
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
    {orxccosh_scalar, {0, 0}, {1, 0}, 0}, {orxccosh_scalar, {0, inf}, {nan_, 0}, kInvalid},
    {orxccosh_scalar, {1, inf}, {nan_, nan_}, kInvalid}, {orxccosh_scalar, {-inf, 2}, {-inf, -inf}, 0},
    {orxccosh_scalar, {inf, inf}, {inf, nan_}, kInvalid}, {orxccosh_scalar, {-inf, nan_}, {inf, nan_}, 0},
    {orxccosh_scalar, {nan_, inf}, {nan_, nan_}, kInvalid},  // an infinite y is invalid whatever x is
    {orxcsinh_scalar, {-0.0, inf}, {-0.0, nan_}, kInvalid}, {orxcsinh_scalar, {-inf, 0}, {-inf, 0}, 0},
    {orxcsinh_scalar, {inf, 2}, {-inf, inf}, 0}, {orxcsinh_scalar, {-inf, -inf}, {-inf, nan_}, kInvalid},
    {orxcsinh_scalar, {nan_, -0.0}, {nan_, -0.0}, 0}, {orxctanh_scalar, {0, inf}, {nan_, nan_}, kInvalid},
    {orxctanh_scalar, {inf, 2}, {1, -0.0}, 0}, {orxctanh_scalar, {inf, nan_}, {1, 0}, 0},
    {orxctanh_scalar, {nan_, -0.0}, {nan_, -0.0}, 0}, {orxctanh_scalar, {1000, 1}, {1, 0}, kUnderflow},
    {orxctanh_scalar, {-1000, -1}, {-1, -0.0}, kUnderflow}, {orxccos_scalar, {0, -inf}, {inf, 0}, 0},
    {orxccos_scalar, {inf, 0}, {nan_, -0.0}, kInvalid}, {orxcsin_scalar, {-0.0, inf}, {-0.0, inf}, 0},
    {orxctan_scalar, {1, 1000}, {0, 1}, kUnderflow}, {orxctan_scalar, {-0.0, -inf}, {-0.0, -1}, 0},
};

TEST(ComplexKernels, SpecialValues) {
  for (const Special& s : kSpecials) {
    ScopedControlWord cw(kDefault);
    const Kel64fc r = s.kernel(s.z);
    SCOPED_TRACE(kelacc::hex(s.z) + " -> " + kelacc::hex(r));
    EXPECT_TRUE(same_value(r, s.want));
    constexpr uint16_t kExact = kInvalid | kOverflow | kDivByZero;
    EXPECT_EQ(flags() & (kExact | (s.flag & kUnderflow)), s.flag) << flags();
  }
  // e^(-720 + i) has subnormal parts and leaves underflow set.
  ScopedControlWord cw(kDefault);
  const Kel64fc e = orxcexp_scalar({-720, 1});
  EXPECT_TRUE(e.re != 0 && std::fabs(e.re) < 0x1p-1022);
  EXPECT_TRUE(flags() & kUnderflow);
}

// Conjugation and parity bit for bit; asin z = -i asinh(iz), atan z =
// -i atanh(iz) and acosh from acos exactly.
TEST(ComplexKernels, SymmetriesAndIdentities) {
  ScopedControlWord cw(kDefault);
  const Kel64fc zs[] = {{0.75, -2.5}, {-1e-300, 3}, {1, 0x1p-60}, {-1.5, 0},   {0, -1},
                        {3e300, -1e-320}, {0.6, 0.8}, {40, 1e-5}, {-3e5, 0.5}, {1e-3, 1e300}};
  const struct {
    Kernel f;
    int parity;  // 1 even, -1 odd, 0 neither
  } kernels[] = {{orxccosh_scalar, 1},  {orxccos_scalar, 1},   {orxcsinh_scalar, -1}, {orxctanh_scalar, -1},
                 {orxcsin_scalar, -1},  {orxctan_scalar, -1},  {orxcasinh_scalar, -1}, {orxcatanh_scalar, -1},
                 {orxcasin_scalar, -1}, {orxcatan_scalar, -1}, {orxcacos_scalar, 0},  {orxcacosh_scalar, 0},
                 {orxcexp_scalar, 0},   {orxclog_scalar, 0},   {orxcsqrt_scalar, 0}};
  auto rot = [](Kel64fc z, bool plus) { return plus ? Kel64fc{-z.im, z.re} : Kel64fc{z.im, -z.re}; };
  for (Kel64fc z : zs) {
    SCOPED_TRACE(kelacc::hex(z));
    for (const auto& k : kernels) {
      const Kel64fc w = k.f(z);
      EXPECT_TRUE(same_value(k.f({z.re, -z.im}), {w.re, -w.im})) << &k - kernels;
      EXPECT_TRUE(!k.parity || same_value(k.f({-z.re, -z.im}), k.parity > 0 ? w : Kel64fc{-w.re, -w.im}))
          << &k - kernels;
    }
    EXPECT_TRUE(same_value(orxcasin_scalar(z), rot(orxcasinh_scalar(rot(z, true)), false)));
    EXPECT_TRUE(same_value(orxcatan_scalar(z), rot(orxcatanh_scalar(rot(z, true)), false)));
    const Kel64fc a = orxcacos_scalar(z), h = orxcacosh_scalar(z);
    EXPECT_TRUE(same_value(h, {std::fabs(a.im), std::signbit(z.im) ? -a.re : a.re}));
  }
}

// e^|x| for 710 <= |x| < 1420 times a small sine; tanh with a large real part
// or next to a pole of tan y: within 1 ulp of MPC normwise.
TEST(ComplexHyperbolic, ExtendedRangeArguments) {
  const std::vector<Kel64fc> zs = {{715, 1e-10},   {-1000, 1e-300}, {1400, -1e-300}, {710.5, 3},
                                   {-1419, 0x1p-1074}, {30, 1},      {-23, 1.5707963267948966},
                                   {22.9, -2},     {0x1p-1000, 1.5707963267948966},
                                   // y nearest a multiple of pi/2 below 2^20, and the ends of the short sine's range
                                   {0x1p-100, 0x1.6c6cbc45dc8dep+5}, {-0x1p-90, 0x1.39c6fd67805a7p+18}, {2, 0x1.fffffffffffffp+19},
                                   {0.25, 0x1p+20}};
  kelacc::expect_within("Cosh", kelacc::measure_complex<Kel64fc>(kelsCosh_64fc_A53, mpc_cosh, zs), 1.0);
  kelacc::expect_within("Sinh", kelacc::measure_complex<Kel64fc>(kelsSinh_64fc_A53, mpc_sinh, zs), 1.0);
  kelacc::expect_within("Tanh", kelacc::measure_complex<Kel64fc>(kelsTanh_64fc_A53, mpc_tanh, zs), 1.0);
}

// The inverse functions at the branch points +-1 and +-i, both sides of the
// cuts, huge, tiny and subnormal parts, the unit circle: normwise within
// 0.6 ulp (64fc) and correctly rounded (32fc).
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

TEST(ComplexInverse, HardRegions) {
  const size_t n = sized(48, 500);
  const std::vector<Kel64fc> z = hard_region<double, Kel64fc>(n);
  const std::vector<Kel32fc> zf = hard_region<float, Kel32fc>(n);
  for (const char* name : {"Asinh", "Acosh", "Atanh", "Asin", "Acos", "Atan"}) {
    const kelacc::MpcUnary ref = kelacc::find_complex(name)->ref;
    const std::string stem = std::string("kels") + name;
    kelacc::expect_within(name, kelacc::measure_complex(member<Kel64fc>(stem + "_64fc_A53"), ref, z), 0.6);
    kelacc::expect_within(name, kelacc::measure_complex(member<Kel32fc>(stem + "_32fc_A24"), ref, zf), 0.501);
  }
}

// Every family but the powers (cpow_test.cpp), one member per type (the
// others give the same bits); MPC's inverse functions are slow: a quarter.
TEST(ComplexAccuracy, WithinTheFlavourBounds) {
  for (const auto& f : kelacc::complex_functions()) {
    const std::string stem = std::string("kels") + f.name;
    if (stem.starts_with("kelsPow")) continue;
    const size_t n = kelacc::default_samples() / (f.name[0] == 'A' ? 4 : 1);
    for (const char* m : {"_64fc_A53", "_32fc_A24"})
      kelacc::expect_registered((stem + m).c_str(), reinterpret_cast<kelacc::AnyFunction>(member<Kel64fc>(stem + m)), n);
  }
}

}  // namespace

// Complex exponential, logarithms and square root: the members of every
// complex family, special values and flags, accuracy against MPC.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;
using kelacc::same_value;

namespace {

const double inf = INFINITY, nan_ = NAN;

// The members of a family share one kernel: bit for bit the same results,
// every second member called in place (over the first source).
template <class C>
void expect_members_agree(const std::string& stem, std::initializer_list<const char*> flavours,
                          const kelacc::Inputs<C>& in, kelacc::Shape shape) {
  std::vector<C> first;
  bool in_place = false;
  const int n = static_cast<int>(in.a.size());
  for (const char* flavour : flavours) {
    const std::string name = stem + flavour;
    void* fn = dlsym(RTLD_DEFAULT, name.c_str());
    ASSERT_NE(fn, nullptr) << name;
    std::vector<C> out = in.a;
    const C* x = in_place ? out.data() : in.a.data();
    if (shape == kelacc::Shape::binary)
      reinterpret_cast<KelStatus (*)(const C*, const C*, C*, int)>(fn)(x, in.b.data(), out.data(), n);
    else if (shape == kelacc::Shape::scalar)
      reinterpret_cast<KelStatus (*)(const C*, C, C*, int)>(fn)(x, in.scalars[0], out.data(), n);
    else
      reinterpret_cast<KelStatus (*)(const C*, C*, int)>(fn)(x, out.data(), n);
    if (first.empty()) first = out;
    EXPECT_EQ(std::memcmp(out.data(), first.data(), sizeof(C) * n), 0) << name << (in_place ? " in place" : "");
    in_place = !in_place;
  }
}

TEST(ComplexFrame, MembersAgreeInPlaceOrNot) {
  for (const auto& f : kelacc::complex_functions()) {
    const std::string stem = std::string("kels") + f.name;
    expect_members_agree<Kel64fc>(stem + "_64fc_", {"A53", "A50"}, f.gen64(sized(64, 512), 3), f.shape);
    expect_members_agree<Kel32fc>(stem + "_32fc_", {"A24", "A21", "A11"}, f.gen32(sized(64, 512), 3), f.shape);
  }
}

// exp(-92) ~ 1.1e-40 is a subnormal float but a normal double: the float
// shim raises underflow itself.
TEST(ComplexFrame, FloatShimRaisesUnderflowForSubnormalPart) {
  const Kel32fc z = {-92.0f, 0.5f};
  Kel32fc r;
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsExp_32fc_A24(&z, &r, 1), 0);
  EXPECT_NE(r.re, 0.0f);
  EXPECT_LT(std::fabs(r.re), 0x1p-126f);
  EXPECT_TRUE(flags() & kUnderflow);
  clear_flags();
  const Kel32fc w = {-80.0f, 0.5f};
  kelsExp_32fc_A24(&w, &r, 1);
  EXPECT_FALSE(flags() & kUnderflow);
}

struct Special {
  Kel64fc (*kernel)(Kel64fc);
  Kel64fc z, want;
  uint16_t flag;  // a flag that must be raised (0: none required)
};

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
};

TEST(ComplexKernels, SpecialValues) {
  for (const Special& s : kSpecials) {
    ScopedControlWord cw(kDefault);
    const Kel64fc r = s.kernel(s.z);
    SCOPED_TRACE(kelacc::hex(s.z) + " -> " + kelacc::hex(r));
    EXPECT_TRUE(same_value(r, s.want));
    EXPECT_TRUE(!s.flag || (flags() & s.flag)) << flags();
  }
  // e^(-720 + i) has subnormal parts and leaves underflow set.
  ScopedControlWord cw(kDefault);
  const Kel64fc e = orxcexp_scalar({-720, 1});
  EXPECT_TRUE(e.re != 0 && std::fabs(e.re) < 0x1p-1022);
  EXPECT_TRUE(flags() & kUnderflow);
}

TEST(ComplexAccuracy, NormwiseWithinOneUlp) {
  // One member per type: the others give the same bits (MembersAgreeInPlaceOrNot).
  for (const char* f : {"Exp", "Ln", "Log10", "Sqrt"})
    for (const std::string& name : {std::string("kels") + f + "_64fc_A53", std::string("kels") + f + "_32fc_A24"})
      kelacc::expect_registered(name.c_str(), reinterpret_cast<kelacc::AnyFunction>(dlsym(RTLD_DEFAULT, name.c_str())));
}

}  // namespace

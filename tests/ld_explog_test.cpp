// Extended-precision exponential, logarithm and hyperbolic kernels: accuracy on every path,
// subnormal results rounded once, exceptional inputs and flags, a digest shared by both builds.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

using Kernel = long double (*)(long double);

// Accepted error of expl, logl and log1pl in ulps of the 64-bit significand.
constexpr double kBound = 1.0;

// Inputs in [lo, hi]: uniform in value, or (B) binade by binade.
struct Range {
  long double lo, hi;
  bool binades = false;
};
constexpr Range B(long double lo, long double hi) { return {lo, hi, true}; }

// Every range, and each path switch with its three neighbours on both sides.
void expect_accurate(const char* name, Kernel f, kelacc::MpfrUnary ref, const std::vector<Range>& ranges,
                     std::vector<long double> switches, double bound = kBound) {
  const size_t n = kelacc::default_samples() / 2;
  uint64_t seed = 0;
  for (const Range& r : ranges) {
    std::vector<long double> v = kelacc::random_bits_in<long double>(r.lo, r.hi, n, ++seed);
    std::mt19937_64 rng(seed);
    if (!r.binades)
      for (auto& x : v) x = r.lo + (r.hi - r.lo) * (static_cast<long double>(rng() >> 1) * 0x1p-63L);
    kelacc::expect_within(name, kelacc::measure_kernel(f, ref, v), bound);
  }
  std::vector<long double> edges;
  for (long double x : switches) {
    long double a = x, b = x;
    edges.push_back(x);
    for (int i = 0; i < 3; ++i) edges.push_back(a = std::nextafter(a, -INFINITY)), edges.push_back(b = std::nextafter(b, INFINITY));
  }
  kelacc::expect_within(name, kelacc::measure_kernel(f, ref, edges), bound);
}

TEST(Expl, AccurateOnEveryPath) {
  expect_accurate("expl", orxexpl_scalar, mpfr_exp,
                  {B(0x1p-16445L, 0x1p-67L), B(-0x1p-67L, -0x1p-16445L), B(0x1p-67L, 0x1p-26L),
                   B(-0x1p-26L, -0x1p-67L), {-0x1p-18L, 0x1p-18L}, {-0x1p-11L, 0x1p-11L}, {-0x1p-5L, 0x1p-5L},
                   {-64, 64}, B(0x1p-5L, 0x1p6L), {64, 11356.5L}, {-11355.1L, -64}, {-11399.4L, -11355.2L}},
                  {0x1p-67L, -0x1p-67L, 0x1p-26L, -0x1p-26L, 0x1p-18L, -0x1p-18L, 0x1p-11L, -0x1p-11L, 0x1p-5L,
                   -0x1p-5L, 64, -64, 0x1.62e42fefa39ef358p+13L /* ln LDBL_MAX */,
                   -0x1.62d918ce2421dp+13L /* results turn subnormal */});
}

// Results between 2^-16394 and 2^-16382 are rounded into the subnormal range once; rounding
// the 64-bit sum first lands on the wrong neighbour near half-ulp ties (one case in eight here).
TEST(Expl, SubnormalResultsRoundOnce) {
  expect_accurate("expl", orxexpl_scalar, mpfr_exp, {{-11355.5L, -11355.137111933024L}, {-11362.7L, -11355.5L}}, {},
                  0.5 + 1.0 / 64);
}

TEST(Logl, AccurateOnEveryPath) {
  const long double max = std::numeric_limits<long double>::max();
  expect_accurate("logl", orxlogl_scalar, mpfr_log,
                  {B(0x1p-16382L, max), B(0x1p-16445L, 0x1p-16382L), {0.5L, 0.96875L}, {1.0625L, 2}, {0.96875L, 1.0625L},
                   {0.95L, 0.96875L}, {1.0625L, 1.08L}, {1 - 0x1p-16L, 1 + 0x1p-15L}},
                  {0.96875L, 1 - 0x1p-16L, 1 + 0x1p-15L, 1.0625L, 1.0625L + 0x1p-16L, 1, 0x1p-16382L, 0x1p-16445L, max});
}

TEST(Log1pl, AccurateOnEveryPath) {
  const long double max = std::numeric_limits<long double>::max();
  expect_accurate("log1pl", orxlog1pl_scalar, mpfr_log1p,
                  {{-1, -0.5L}, {-0.76L, -0.74L}, {-0.5L, -0.0625L}, {-0.07L, -0.0625L}, {0.0625L, 0.07L},
                   B(0.0625L, 0x1p32L), B(0x1p32L, 0x1p74L), B(0x1p74L, max), {-0x1p-4L, 0x1p-4L},
                   {-0x1p-14L, 0x1p-14L}, B(0x1p-38L, 0x1p-25L), B(-0x1p-25L, -0x1p-38L), B(0x1p-75L, 0x1p-38L),
                   B(-0x1p-38L, -0x1p-75L), B(0x1p-16445L, 0x1p-75L), B(-0x1p-75L, -0x1p-16445L)},
                  {0x1p-75L, -0x1p-75L, 0x1p-38L, -0x1p-38L, 0x1p-25L, -0x1p-25L, 0x1p-14L, -0x1p-14L, 0x1p-4L, -0x1p-4L,
                   -0.75L, -0.5L, 0x1p32L, 0x1p74L, 0x1p-16382L, -0x1p-16382L, std::nextafter(-1.0L, 0.0L), max});
}

// Below 2^-75, ln(1 + x) rounds to x but lies below it: the directed roundings move it.
TEST(Log1pl, TinyArgumentsRoundBelowX) {
  for (long double x : {0x1.234p-80L, -0x1.234p-80L, 0x1p-16400L, -0x1p-16400L})
    for (auto [mode, want] : {std::pair{kToNearest, x}, {kDown, std::nextafter(x, -INFINITY)},
                              {kTowardZero, x > 0 ? std::nextafter(x, 0.0L) : x}}) {
      ScopedControlWord cw(kDefault | mode);
      EXPECT_TRUE(same_bits(orxlog1pl_scalar(x), want)) << std::hex << mode << " " << kelacc::hex(x);
    }
}

// Exceptional inputs: the class of the result and exactly the flags raised.
TEST(LdExpLog, ExceptionalInputsAndFlags) {
  enum Class { kPlusZero, kMinusZero, kOne, kPlusInf, kMinusInf, kNaN, kFinite, kSubnormal };
  const long double max = std::numeric_limits<long double>::max(), tiny = 0x1p-16445L;
  const long double limit = 0x1.62e42fefa39ef358p+13L;  // first overflow
  const long double qnan = ld_make(1, 0x7FFF, 0xC000000000000000ULL), snan = ld_make(0, 0x7FFF, 0x8000000000000001ULL);
  constexpr uint16_t kUX = kUnderflow | kInexact, kOX = kOverflow | kInexact;
  const Kernel kernels[] = {orxexpl_scalar, orxlogl_scalar, orxlog1pl_scalar};
  const struct {
    int k;  // 0 expl, 1 logl, 2 log1pl
    long double x;
    Class result;
    uint16_t flags;
  } cases[] = {
      {0, 0.0L, kOne, 0}, {0, -0.0L, kOne, 0}, {0, limit, kPlusInf, kOX}, {0, std::nextafter(limit, 0.0L), kFinite, kInexact},
      {0, -11355.2L, kSubnormal, kUX}, {0, -11400.2L, kPlusZero, kUX}, {0, INFINITY, kPlusInf, 0},
      {0, -INFINITY, kPlusZero, 0}, {0, qnan, kNaN, 0}, {0, snan, kNaN, kInvalid}, {0, max, kPlusInf, kOX},
      {0, -max, kPlusZero, kUX}, {0, -11400.1916786694205044L, kPlusZero, kUX}, {0, -11399.6L, kPlusZero, kUX},
      {0, tiny, kOne, kInexact}, {0, -0x1p-10000L, kOne, kInexact}, {0, 1.0L, kFinite, kInexact},
      {0, -11360.0L, kSubnormal, kUX},
      {1, 0.0L, kMinusInf, kDivByZero}, {1, -0.0L, kMinusInf, kDivByZero}, {1, -1.0L, kNaN, kInvalid},
      {1, -tiny, kNaN, kInvalid}, {1, -INFINITY, kNaN, kInvalid}, {1, INFINITY, kPlusInf, 0}, {1, qnan, kNaN, 0},
      {1, ld_make(1, 0x7FFF, 0x8000000000000001ULL), kNaN, kInvalid}, {1, 1.0L, kPlusZero, 0}, {1, tiny, kFinite, kInexact}, {1, 2.0L, kFinite, kInexact},
      {2, -1.0L, kMinusInf, kDivByZero}, {2, -1.0L - 0x1p-63L, kNaN, kInvalid}, {2, -max, kNaN, kInvalid},
      {2, -INFINITY, kNaN, kInvalid}, {2, INFINITY, kPlusInf, 0}, {2, qnan, kNaN, 0}, {2, snan, kNaN, kInvalid},
      {2, 0.0L, kPlusZero, 0}, {2, -0.0L, kMinusZero, 0}, {2, max, kFinite, kInexact}, {2, 0x1p-40L, kFinite, kInexact},
      {2, -0x1p-60L, kFinite, kInexact}, {2, 0x1p-100L, kFinite, kInexact}, {2, -0x1p-10000L, kFinite, kInexact},
      {2, 0x1p-16400L, kFinite, kUX}, {2, -0x1p-16440L, kFinite, kUX},
  };
  for (const auto& c : cases) {
    ScopedControlWord cw(kDefault);
    const long double y = kernels[c.k](c.x);
    const uint16_t raised = flags();
    const bool ok[] = {same_bits(y, 0.0L), same_bits(y, -0.0L), same_bits(y, 1.0L), y == INFINITY, y == -INFINITY,
                       std::isnan(y) && (ld_fields(y).mant >> 62 & 1), std::isfinite(y), y > 0 && y < 0x1p-16382L};
    const std::string what = std::to_string(c.k) + ": " + kelacc::hex(c.x) + " -> " + kelacc::hex(y);
    EXPECT_EQ(raised & (kInvalid | kDivByZero | kOverflow | kUnderflow | kInexact), c.flags) << what;
    EXPECT_TRUE(ok[c.result]) << what;
  }
}

// FNV-1a over the 80-bit results and flags on fixed arguments: both builds agree bit for bit.
TEST(LdKernels, DigestIsTheSameOnBothBuilds) {
  const std::pair<Kernel, uint64_t> kernels[] = {
      {orxexpl_scalar, 0xafc2c7f5a0437af5ull}, {orxlogl_scalar, 0xb52ad2d4c3a67e5dull},
      {orxlog1pl_scalar, 0xbffdfce757e895a7ull}};
  for (const auto& [f, digest] : kernels) {
    uint64_t h = 0xcbf29ce484222325ull, s = 0x9E3779B97F4A7C15ull;
    for (int i = 0; i < 4000; ++i) {
      s = s * 6364136223846793005ull + 1442695040888963407ull;
      const int sign = static_cast<int>(s >> 63);
      const long double x = i % 4 == 0   ? ld_make(sign, static_cast<int>(s >> 20) & 0x7FFF, s | 1ull << 63)
                            : i % 4 == 1 ? ld_make(sign, 16370 + static_cast<int>((s >> 20) % 28), s | 1ull << 63)
                            : i % 4 == 2 ? static_cast<long double>(static_cast<int64_t>(s)) * 0x1p-50L
                                         : 1.0L + static_cast<long double>(static_cast<int64_t>(s)) * 0x1p-67L;
      ScopedControlWord cw(kDefault);
      unsigned char bytes[12];
      const long double y = f(x);
      const uint16_t fl = flags();
      std::memcpy(bytes, &y, 10), std::memcpy(bytes + 10, &fl, 2);
      for (unsigned char b : bytes) h = (h ^ b) * 0x100000001b3ull;
    }
    EXPECT_EQ(h, digest) << std::hex << h;
  }
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

// The kernels without a sweep of their own here or in ld_trig_test.cpp.
TEST(LdKernels, RegisteredAccuracy) {
  for (const auto& k : kelacc::kernel_functions()) {
    const std::string name = std::string("orx") + k.name + "_scalar";
    constexpr std::string_view kOwnSweep = " expl logl log1pl sinl cosl sincosl tanl atanl atan2l sqrtl ";
    if (kOwnSweep.find(" " + std::string(k.name) + " ") != std::string_view::npos) continue;
    kelacc::expect_registered(name.c_str(), reinterpret_cast<kelacc::AnyFunction>(dlsym(RTLD_DEFAULT, name.c_str())));
  }
}

}  // namespace

// Logarithms: the screen and its reports, exact results, the path switches (near one, sqrt2).
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

// The generated tables, for the small models of the path switches below.
#include "../src/log_data.cpp"

using namespace kelfpu;
using namespace kel::log_data;

namespace {

using Fn64 = KelStatus (*)(const double*, double*, int);
using Fn32 = KelStatus (*)(const float*, float*, int);
// A50 has its own code; the float members share one (Frame.MembersAgree...).
const std::pair<const char*, Fn64> kDouble64[] = {{"Ln_64f_A50", kelsLn_64f_A50}, {"Ln_64f_A53", kelsLn_64f_A53},
                                                  {"Log10_64f_A50", kelsLog10_64f_A50},
                                                  {"Log10_64f_A53", kelsLog10_64f_A53}};
const std::pair<const char*, Fn32> kFloat32[] = {{"Ln_32f_A24", kelsLn_32f_A24}, {"Log10_32f_A24", kelsLog10_32f_A24}};

template <class T>
T call(KelStatus (*fn)(const T*, T*, int), T x) {
  T y;
  fn(&x, &y, 1);
  return y;
}

int log10_ref(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t m) { return mpfr_log10(r, x, m); }

// Result of an input class: the input made quiet, the x87 default NaN, or a fixed value.
enum Result { kQuietSame, kDefaultNaN, kPlusInf, kMinusInf, kPlusZero };
struct ScreenCase {
  uint64_t x;  // double pattern; float members get the float of the same class
  uint32_t xf;
  Result result;
  int status;
  uint16_t flag;  // 0: neither invalid nor divide-by-zero; kAny: not checked
};
constexpr uint16_t kAny = 0xFFFF;

// A signalling NaN's invalid flag is left unchecked: qemu's x87 does not raise it on a load.
const ScreenCase kScreen[] = {
    {0x7FF8000000000000, 0x7FC00000, kQuietSame, 0, 0},
    {0xFFF8000000000123, 0xFFC00123, kQuietSame, 0, 0},
    {0x7FF4000000000000, 0x7FA00000, kQuietSame, 0, kAny},
    {0x7FF0000000000000, 0x7F800000, kPlusInf, 0, 0},
    {0xFFF0000000000000, 0xFF800000, kDefaultNaN, kelStatusDomain, kInvalid},
    {0x0000000000000000, 0x00000000, kMinusInf, kelStatusSingularity, kDivByZero},
    {0x8000000000000000, 0x80000000, kMinusInf, kelStatusSingularity, kDivByZero},  // a pole, not a domain error
    {0x8000000000000001, 0x80000001, kDefaultNaN, kelStatusDomain, kInvalid},
    {0xBFF0000000000000, 0xBF800000, kDefaultNaN, kelStatusDomain, kInvalid},
    {0xFFEFFFFFFFFFFFFF, 0xFF7FFFFF, kDefaultNaN, kelStatusDomain, kInvalid},
    {0x3FF0000000000000, 0x3F800000, kPlusZero, 0, 0},  // both algorithms give +0 at 1
};

template <class T>
void check_screen(const char* name, KelStatus (*fn)(const T*, T*, int), const ScreenCase& c) {
  using Bits = decltype(bits_of(T()));
  T x;
  if constexpr (sizeof(T) == 8)
    x = double_from_bits(c.x);
  else
    x = float_from_bits(c.xf);
  const auto [y, status, raised] = run_one(fn, x);
  SCOPED_TRACE(std::string(name) + ": x = " + kelacc::hex(x) + " -> " + kelacc::hex(y));
  EXPECT_EQ(status, c.status);
  const Bits quiet_bit = Bits(1) << (sizeof(T) == 8 ? 51 : 22), sign = Bits(1) << (8 * sizeof(T) - 1);
  switch (c.result) {
    case kQuietSame: EXPECT_EQ(bits_of(y), bits_of(x) | quiet_bit); break;
    case kDefaultNaN: EXPECT_EQ(bits_of(y), bits_of(T(INFINITY)) | quiet_bit | sign); break;
    case kPlusInf: EXPECT_EQ(y, T(INFINITY)); break;
    case kMinusInf: EXPECT_EQ(y, -T(INFINITY)); break;
    case kPlusZero: EXPECT_EQ(bits_of(y), 0u); break;
  }
  if (c.flag == kAny) return;
  if (c.flag)
    EXPECT_TRUE(raised & c.flag) << std::hex << raised;
  else
    EXPECT_FALSE(raised & (kInvalid | kDivByZero)) << std::hex << raised;
}

TEST(LogScreen, SpecialInputsEveryMember) {
  for (const auto& c : kScreen) {
    for (const auto& [name, fn] : kDouble64) check_screen(name, fn, c);
    for (const auto& [name, fn] : kFloat32) check_screen(name, fn, c);
  }
}

// Exact results: 10 through the table path, powers of two (subnormals after the 2^60 scaling).
TEST(LogPaths, PowersOfTheBase) {
  EXPECT_EQ(call(kelsLog10_64f_A53, 10.0), 1.0);
  EXPECT_EQ(call(kelsLog10_32f_A24, 10.0f), 1.0f);
  mpfr_t r;
  mpfr_init2(r, kelacc::kExactBits);
  for (int e : {-1074, -1060, -1023, -1022, -60, -1, 1, 60, 1023})
    for (const auto& [fn, ref] :
         {std::pair<Fn64, kelacc::MpfrUnary>{kelsLn_64f_A53, mpfr_log}, {kelsLog10_64f_A53, log10_ref}}) {
      kelacc::exact_unary(r, ref, std::ldexp(1.0, e));
      EXPECT_EQ(call(fn, std::ldexp(1.0, e)), kelacc::correctly_rounded<double>(r)) << "2^" << e;
    }
  mpfr_clear(r);
}

// Both sides of each path switch are accurate: only the bits of these small
// models of the near-one polynomials and the low-accuracy series show the path taken.
double ln_near_one(double d) {
  const double* k = kTables.ln_ha.k;
  const double Q = k[0] + d * (k[1] + d * (k[2] + d * (k[3] + d * (k[4] + d * (k[5] + d * k[6])))));
  return d + Q * (d * d);
}
double lg_near_one(double d) {
  const double* m = kTables.lg_ha.m;
  const double w = d * kTables.lg_ha.lambda;
  const double P =
      m[0] + w * (m[1] + w * (m[2] + w * (m[3] + w * (m[4] + w * (m[5] + w * (m[6] + w * m[7]))))));
  return w + P * w;
}
double ln_la(int E, double f) {
  const double* c = kTables.ln_la.c;
  const double g = f - 1, s = g / (2 + g), z = s * s;
  const double p = c[0] + z * (c[1] + z * (c[2] + z * (c[3] + z * (c[4] + z * (c[5] + z * c[6])))));
  return E * kTables.ln_la.ln2 + (g - s * (g - p * z));
}

// Inputs from the bound inwards take the near-one polynomial, some just beyond do not.
template <class Model>
void check_switch(Fn64 fn, double bound, Model model, const char* name) {
  for (const double dir : {1.0, -1.0}) {
    const double edge = 1 + dir * bound;
    int inside_mismatch = 0, outside_differ = 0;
    for (int k = 0; k < 3000; ++k) {
      const double in = double_from_bits(bits_of(edge) - (dir > 0 ? k : -k));
      const double out = double_from_bits(bits_of(edge) + (dir > 0 ? k + 1 : -(k + 1)));
      inside_mismatch += call(fn, in) != model(in - 1);
      outside_differ += call(fn, out) != model(out - 1);
    }
    EXPECT_EQ(inside_mismatch, 0) << name << " inside " << kelacc::hex(edge);
    EXPECT_GT(outside_differ, 0) << name << " beyond " << kelacc::hex(edge);
  }
}

TEST(LogPaths, NearOneBoundsAreInclusive) {
  ScopedControlWord cw(kDouble);
  check_switch(kelsLn_64f_A53, 0x1.4p-7, ln_near_one, "Ln");
  check_switch(kelsLog10_64f_A53, 0x1.8p-8, lg_near_one, "Log10");
  // The float members take the same paths on the widened value.
  EXPECT_EQ(call(kelsLn_32f_A24, 1.009765625f), static_cast<float>(ln_near_one(0x1.4p-7)));
  EXPECT_EQ(call(kelsLog10_32f_A24, 0.994140625f), static_cast<float>(lg_near_one(-0x1.8p-8)));
}

// From the double nearest sqrt2 up, the low-accuracy series halves f (E + 1, f/2).
TEST(LogPaths, LowAccuracyHalvesFromSqrt2) {
  ScopedControlWord cw(kDouble);
  const double r2 = 0x1.6a09e667f3bcdp+0;
  for (const int E : {0, -3}) {
    int mismatch = 0, differ = 0;
    for (int k = 0; k < 2000; ++k) {
      const double hi = double_from_bits(bits_of(r2) + k), lo = double_from_bits(bits_of(r2) - k - 1);
      mismatch += call(kelsLn_64f_A50, std::ldexp(hi, E)) != ln_la(E + 1, hi / 2);
      mismatch += call(kelsLn_64f_A50, std::ldexp(lo, E)) != ln_la(E, lo);
      differ += (ln_la(E + 1, hi / 2) != ln_la(E, hi)) + (ln_la(E, lo) != ln_la(E + 1, lo / 2));
    }
    EXPECT_EQ(mismatch, 0) << "binade " << E;
    EXPECT_GT(differ, 0) << "binade " << E;
  }
}

}  // namespace

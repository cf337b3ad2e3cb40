// Single-element entry points of sine, cosine, sine-and-cosine and tangent:
// the same results as the vector members, the reports (status, invalid
// flag), the upper-word NaN test, the tangent's zero copy and silent status,
// the default NaN patterns and the control-word handling.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

using DoubleSC = void (*)(int, const double*, double*, int*);
using FloatSC = void (*)(int, const float*, float*, int*);
using DoubleSC2 = void (*)(int, const double*, double*, double*, int*);
using FloatSC2 = void (*)(int, const float*, float*, float*, int*);

struct DoubleEntry {
  const char* name;
  DoubleSC fn;
  int (*vector)(const double*, double*, int);
  bool tangent;
};
const DoubleEntry kDoubleEntries[] = {
    {"dCos_HA", orxdCos_SC_HA, kelsCos_64f_A53, false},  {"dCos_LA", orxdCos_SC_LA, kelsCos_64f_A53, false},
    {"dCos_A11", orxdCos_SC_A11, kelsCos_64f_A53, false}, {"dSin_HA", orxdSin_SC_HA, kelsSin_64f_A53, false},
    {"dSin_LA", orxdSin_SC_LA, kelsSin_64f_A53, false},  {"dSin_A11", orxdSin_SC_A11, kelsSin_64f_A53, false},
    {"dTan_HA", orxdTan_SC_HA, kelsTan_64f_A53, true},   {"dTan_LA", orxdTan_SC_LA, kelsTan_64f_A53, true},
    {"dTan_A11", orxdTan_SC_A11, kelsTan_64f_A53, true},
};

struct FloatEntry {
  const char* name;
  FloatSC fn;
  int (*vector)(const float*, float*, int);
};
const FloatEntry kFloat[] = {
    {"sCos_HA", orxsCos_SC_HA, kelsCos_32f_A24},  {"sCos_LA", orxsCos_SC_LA, kelsCos_32f_A24},
    {"sCos_A11", orxsCos_SC_A11, kelsCos_32f_A24}, {"sSin_HA", orxsSin_SC_HA, kelsSin_32f_A24},
    {"sSin_LA", orxsSin_SC_LA, kelsSin_32f_A24},  {"sSin_A11", orxsSin_SC_A11, kelsSin_32f_A24},
    {"sTan_HA", orxsTan_SC_HA, kelsTan_32f_A24},  {"sTan_LA", orxsTan_SC_LA, kelsTan_32f_A24},
    {"sTan_A11", orxsTan_SC_A11, kelsTan_32f_A24},
};

const DoubleSC2 kDoubleSinCos[] = {orxdSinCos_SC_HA, orxdSinCos_SC_LA, orxdSinCos_SC_A11};
const FloatSC2 kFloatSinCos[] = {orxsSinCos_SC_HA, orxsSinCos_SC_LA, orxsSinCos_SC_A11};

std::vector<double> sample() {
  std::vector<double> xs = kelacc::random_bits_in<double>(-1e300, 1e300, kEmulated ? 300 : 5000, 61);
  const auto mid = kelacc::random_uniform<double>(-2e5, 2e5, kEmulated ? 300 : 5000, 62);
  xs.insert(xs.end(), mid.begin(), mid.end());
  for (double x : {1.0e6, -1.0e5, 1.0e5, 12800.0, 0x1p17, 0x1p-300, -0.0, 0x1.921fb54442d18p+0}) xs.push_back(x);
  return xs;
}

// Every entry point computes element `index` exactly as the vector member,
// touches no other element and leaves *status alone.
TEST(TrigSC, SameResultsAsTheVectorMembers) {
  const std::vector<double> xs = sample();
  const int n = static_cast<int>(xs.size());
  std::vector<double> ref(n), ref2(n);
  for (const DoubleEntry& e : kDoubleEntries) {
    e.vector(xs.data(), ref.data(), n);
    for (int i = 1; i + 1 < n; ++i) {
      double out[3] = {7.0, 7.0, 7.0};
      int status = -1;
      e.fn(1, &xs[i - 1], out, &status);
      ASSERT_EQ(bits_of(out[1]), bits_of(ref[i])) << e.name << " " << kelacc::hex(xs[i]);
      ASSERT_EQ(out[0], 7.0);
      ASSERT_EQ(out[2], 7.0);
      ASSERT_EQ(status, -1);
    }
  }
  std::vector<float> fs(xs.begin(), xs.end()), fref(n), fout(n);
  for (const FloatEntry& e : kFloat) {
    e.vector(fs.data(), fref.data(), n);
    for (int i = 0; i < n; ++i) {
      if (std::isinf(fs[i])) continue;
      int status = -1;
      e.fn(i, fs.data(), fout.data(), &status);
      ASSERT_EQ(bits_of(fout[i]), bits_of(fref[i])) << e.name << " " << fs[i];
      ASSERT_EQ(status, -1);
    }
  }
  kelsSinCos_64f_A53(xs.data(), ref.data(), ref2.data(), n);
  for (DoubleSC2 fn : kDoubleSinCos)
    for (int i = 0; i < n; ++i) {
      double s, c;
      int status = -1;
      fn(0, &xs[i], &s, &c, &status);
      ASSERT_EQ(bits_of(s), bits_of(ref[i])) << kelacc::hex(xs[i]);
      ASSERT_EQ(bits_of(c), bits_of(ref2[i])) << kelacc::hex(xs[i]);
      ASSERT_EQ(status, -1);
    }
  std::vector<float> fsin(n), fcos(n);
  kelsSinCos_32f_A24(fs.data(), fsin.data(), fcos.data(), n);
  for (FloatSC2 fn : kFloatSinCos)
    for (int i = 0; i < n; ++i) {
      if (std::isinf(fs[i])) continue;
      float s, c;
      int status = -1;
      fn(0, &fs[i], &s, &c, &status);
      ASSERT_EQ(bits_of(s), bits_of(fsin[i])) << fs[i];
      ASSERT_EQ(bits_of(c), bits_of(fcos[i])) << fs[i];
    }
}

// Special double elements: {input pattern, reported, status set}.
struct DoubleSpecial {
  uint64_t x;
  bool report;            // domain error through the error entry (invalid flag)
  bool tan_status;        // the tangent's status is set
};

TEST(TrigSC, DoubleSpecialValuesAndTheUpperWordTest) {
  const DoubleSpecial cases[] = {
      {0x7FF0000000000000ull, true, true},   // +inf
      {0xFFF0000000000000ull, true, true},   // -inf
      {0x7FF0000000000001ull, true, true},   // NaN with its payload in the low word only: reported
      {0x7FF8000000000000ull, false, true},  // quiet NaN: default NaN, no report
      {0xFFF4000000000000ull, false, true},  // signalling NaN, upper payload
  };
  for (const DoubleSpecial& c : cases) {
    double x;  // copied by bits: an x87 load would quiet the signalling NaNs
    std::memcpy(&x, &c.x, 8);
    for (const DoubleEntry& e : kDoubleEntries) {
      ScopedControlWord cw(kDefault);
      double y = 1.0;
      int status = 5;
      e.fn(0, &x, &y, &status);
      EXPECT_EQ(bits_of(y), 0xFFF8000000000000ull) << e.name << std::hex << " " << c.x;
      const bool reported = (flags() & kInvalid) != 0;
      EXPECT_EQ(reported, c.report) << e.name << std::hex << " " << c.x;
      const int expected = (c.report || (e.tangent && c.tan_status)) ? kelStatusDomain : 5;
      EXPECT_EQ(status, expected) << e.name << std::hex << " " << c.x;
    }
    for (DoubleSC2 fn : kDoubleSinCos) {
      ScopedControlWord cw(kDefault);
      double s = 1.0, co = 1.0;
      int status = 5;
      fn(0, &x, &s, &co, &status);
      EXPECT_EQ(bits_of(s), 0xFFF8000000000000ull);
      EXPECT_EQ(bits_of(co), 0xFFF8000000000000ull);
      EXPECT_EQ((flags() & kInvalid) != 0, c.report) << std::hex << c.x;
      EXPECT_EQ(status, c.report ? kelStatusDomain : 5) << std::hex << c.x;
    }
  }
}

// The double tangent copies an element whose upper word (sign cleared) is
// zero, bit for bit; other tiny elements go through the kernel (x itself).
TEST(TrigSC, TangentCopiesUpperWordZeroElements) {
  const uint64_t copied[] = {0x0000000000000000ull, 0x8000000000000000ull, 0x0000000000000001ull,
                             0x80000000FFFFFFFFull};
  for (uint64_t b : copied) {
    double x;
    std::memcpy(&x, &b, 8);
    double y = 1.0;
    int status = 3;
    ScopedControlWord cw(kDefault);
    orxdTan_SC_HA(0, &x, &y, &status);
    EXPECT_EQ(bits_of(y), b);
    EXPECT_EQ(status, 3);
    EXPECT_EQ(flags(), 0) << std::hex << b;  // nothing computed: not even inexact
  }
  const double x = 0x1p-1042;  // subnormal with a nonzero upper word
  double y = 0;
  int status = 3;
  ScopedControlWord cw(kDefault);
  orxdTan_SC_LA(0, &x, &y, &status);
  EXPECT_EQ(y, x);
  EXPECT_TRUE(flags() & kInexact);  // computed by the tiny-argument rule
  // Sine keeps zeros by computing: -0.0 in, -0.0 out.
  const double mz = -0.0;
  orxdSin_SC_HA(0, &mz, &y, &status);
  EXPECT_EQ(bits_of(y), bits_of(-0.0));
}

TEST(TrigSC, FloatSpecialValues) {
  const float inf = std::numeric_limits<float>::infinity();
  for (const FloatEntry& e : kFloat) {
    for (float x : {inf, -inf}) {
      ScopedControlWord cw(kDefault);
      float y = 1.0f;
      int status = 5;
      e.fn(0, &x, &y, &status);
      EXPECT_EQ(bits_of(y), 0xFFC00000u) << e.name;
      EXPECT_EQ(status, kelStatusDomain) << e.name;
      EXPECT_TRUE(flags() & kInvalid) << e.name;
    }
    // A NaN goes through the kernel: the quiet NaN it computes, no report,
    // the status untouched (the tangent included).
    const float qnan = float_from_bits(0x7FC00001u);
    ScopedControlWord cw(kDefault);
    float y = 1.0f;
    int status = 5;
    e.fn(0, &qnan, &y, &status);
    EXPECT_TRUE(std::isnan(y)) << e.name;
    EXPECT_NE(bits_of(y), 0xFFC00000u) << e.name;
    EXPECT_EQ(status, 5) << e.name;
    EXPECT_FALSE(flags() & kInvalid) << e.name;
  }
  for (FloatSC2 fn : kFloatSinCos) {
    ScopedControlWord cw(kDefault);
    float s = 0, c = 0;
    int status = 0;
    fn(0, &inf, &s, &c, &status);
    EXPECT_EQ(bits_of(s), 0xFFC00000u);
    EXPECT_EQ(bits_of(c), 0xFFC00000u);
    EXPECT_EQ(status, kelStatusDomain);
  }
}

// 53-bit precision is set only when the precision field differs (a missing
// guard changes results), and the caller's word comes back; a caller already
// at 53 bits keeps its rounding mode (the precision field alone is tested).
TEST(TrigSC, ControlWordHandling) {
  const std::vector<double> xs = sample();
  for (uint16_t w : {kDefault, kSingle, static_cast<uint16_t>(kDefault | kTowardZero)})
    for (double x : xs) {
      double ref, y;
      int status = 0;
      {
        ScopedControlWord cw(kDouble);
        orxdTan_SC_HA(0, &x, &ref, &status);
      }
      ScopedControlWord cw(w);
      orxdTan_SC_HA(0, &x, &y, &status);
      ASSERT_EQ(control_word(), w);
      ASSERT_EQ(bits_of(y), bits_of(ref)) << std::hex << w << " " << kelacc::hex(x);
    }
  ScopedControlWord cw(kDouble | kUp);
  float fy;
  const float fx = 3.0f;
  int status = 0;
  orxsCos_SC_HA(0, &fx, &fy, &status);
  EXPECT_EQ(control_word(), kDouble | kUp);
  EXPECT_NEAR(fy, std::cos(3.0), 1e-6);
}

}  // namespace

// Single-element entry points of Sin, Cos, SinCos, Tan: the vector members'
// results, reports and default NaNs, the tangent's zero copy, the control word.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

template <class T>
using SC = void (*)(int, const T*, T*, int*);
template <class T>
using SC2 = void (*)(int, const T*, T*, T*, int*);

template <class T>
struct Entry {
  const char* name;
  SC<T> fn;
  int (*vector)(const T*, T*, int);
  bool tangent;
};
// The three accuracy entries of one function, each against its vector member.
#define KEL_SC_ENTRIES(p, F, member, tan)                                                                \
  {#p #F "_HA", orx##p##F##_SC_HA, member, tan}, {#p #F "_LA", orx##p##F##_SC_LA, member, tan}, \
      {#p #F "_A11", orx##p##F##_SC_A11, member, tan}
const Entry<double> kDoubleEntries[] = {KEL_SC_ENTRIES(d, Cos, kelsCos_64f_A53, false),
                                        KEL_SC_ENTRIES(d, Sin, kelsSin_64f_A53, false),
                                        KEL_SC_ENTRIES(d, Tan, kelsTan_64f_A53, true)};
const Entry<float> kFloat[] = {KEL_SC_ENTRIES(s, Cos, kelsCos_32f_A24, false),
                               KEL_SC_ENTRIES(s, Sin, kelsSin_32f_A24, false),
                               KEL_SC_ENTRIES(s, Tan, kelsTan_32f_A24, true)};

const SC2<double> kDoubleSinCos[] = {orxdSinCos_SC_HA, orxdSinCos_SC_LA, orxdSinCos_SC_A11};
const SC2<float> kFloatSinCos[] = {orxsSinCos_SC_HA, orxsSinCos_SC_LA, orxsSinCos_SC_A11};

std::vector<double> sample() {
  std::vector<double> xs = kelacc::random_bits_in<double>(-1e300, 1e300, kelacc::default_samples() / 4, 61);
  const auto mid = kelacc::random_uniform<double>(-2e5, 2e5, kelacc::default_samples() / 4, 62);
  xs.insert(xs.end(), mid.begin(), mid.end());
  for (double x : {1.0e6, -1.0e5, 1.0e5, 12800.0, 0x1p17, 0x1p-300, -0.0, 0x1.921fb54442d18p+0}) xs.push_back(x);
  return xs;
}

// The element of fn (one or two results) equals ref at every finite input under a
// cycle of caller words, which come back; the neighbours and *status stay untouched.
template <class T, class Fn>
void expect_elementwise(Fn fn, const std::vector<T>& xs, const std::vector<T>& ref, const std::vector<T>& ref2 = {}) {
  for (size_t i = 1; i + 1 < xs.size(); ++i) {
    if (std::isinf(xs[i])) continue;
    T out[3] = {7, 7, 7}, out2[3] = {7, 7, 7};
    int status = -1;
    constexpr uint16_t kWords[] = {kDefault, kSingle, kDefault | kTowardZero};
    const uint16_t w = kWords[i % 3];
    {
      ScopedControlWord cw(w);
      if constexpr (std::is_same_v<Fn, SC<T>>)
        fn(1, &xs[i - 1], out, &status);
      else
        fn(1, &xs[i - 1], out, out2, &status);
      ASSERT_EQ(control_word(), w);
    }
    ASSERT_TRUE(same_bits(out[1], ref[i]) && (ref2.empty() || same_bits(out2[1], ref2[i]))) << kelacc::hex(xs[i]);
    ASSERT_TRUE(out[0] == 7 && out[2] == 7 && status == -1) << kelacc::hex(xs[i]);
  }
}

TEST(TrigSC, SameResultsAsTheVectorMembersUnderAnyCallerWord) {
  const std::vector<double> xs = sample();
  const std::vector<float> fs(xs.begin(), xs.end());
  const int n = static_cast<int>(xs.size());
  std::vector<double> ref(n), ref2(n);
  std::vector<float> fref(n), fref2(n);
  auto each = [&](const auto& entries, const auto& in, auto& out) {
    for (const auto& e : entries) {
      e.vector(in.data(), out.data(), n);
      SCOPED_TRACE(e.name);
      expect_elementwise(e.fn, in, out);
    }
  };
  each(kDoubleEntries, xs, ref);
  each(kFloat, fs, fref);
  kelsSinCos_64f_A53(xs.data(), ref.data(), ref2.data(), n);
  for (auto fn : kDoubleSinCos) expect_elementwise(fn, xs, ref, ref2);
  kelsSinCos_32f_A24(fs.data(), fref.data(), fref2.data(), n);
  for (auto fn : kFloatSinCos) expect_elementwise(fn, fs, fref, fref2);
  // A caller already at 53 bits keeps its word.
  ScopedControlWord cw(kDouble | kUp);
  float fy;
  const float fx = 3.0f;
  int status = 0;
  orxsCos_SC_HA(0, &fx, &fy, &status);
  EXPECT_EQ(control_word(), kDouble | kUp);
  EXPECT_NEAR(fy, std::cos(3.0), 1e-6);
}

// Infinities and NaNs: the default NaN, the report decided on the upper word (a
// NaN with payload in the low word only reports), the tangent's status set silently.
TEST(TrigSC, SpecialValuesAndTheUpperWordTest) {
  const struct {
    uint64_t x;
    bool report;
  } cases[] = {{0x7FF0000000000000ull, true}, {0xFFF0000000000000ull, true}, {0x7FF0000000000001ull, true},
               {0x7FF8000000000000ull, false}, {0xFFF4000000000000ull, false}};
  for (const auto& c : cases) {
    double x;  // copied by bits: returning it in st(0) would quiet the signalling NaNs
    std::memcpy(&x, &c.x, 8);
    auto check = [&](const char* name, auto call, bool tangent) {
      ScopedControlWord cw(kDefault);
      double y = 1.0, y2 = double_from_bits(0xFFF8000000000000ull);  // y2: SinCos only
      int status = 5;
      call(&y, &y2, &status);
      EXPECT_TRUE(bits_of(y) == 0xFFF8000000000000ull && bits_of(y2) == 0xFFF8000000000000ull) << name << std::hex << " " << c.x;
      EXPECT_EQ((flags() & kInvalid) != 0, c.report) << name << std::hex << " " << c.x;
      EXPECT_EQ(status, c.report || tangent ? kelStatusDomain : 5) << name << std::hex << " " << c.x;
    };
    for (const auto& e : kDoubleEntries) check(e.name, [&](double* y, double*, int* st) { e.fn(0, &x, y, st); }, e.tangent);
    for (auto fn : kDoubleSinCos) check("SinCos", [&](double* s, double* co, int* st) { fn(0, &x, s, co, st); }, false);
  }
  // Float: infinities report with the default NaN; a NaN passes quietly.
  const float inf = INFINITY, qnan = float_from_bits(0x7FC00001u);
  for (const auto& e : kFloat)
    for (float x : {inf, -inf, qnan}) {
      ScopedControlWord cw(kDefault);
      float y = 1.0f;
      int status = 5;
      e.fn(0, &x, &y, &status);
      const bool report = std::isinf(x);
      EXPECT_TRUE(std::isnan(y) && (bits_of(y) == 0xFFC00000u) == report) << e.name << " " << x;
      EXPECT_EQ(status, report ? kelStatusDomain : 5) << e.name << " " << x;
      EXPECT_EQ((flags() & kInvalid) != 0, report) << e.name << " " << x;
    }
  for (auto fn : kFloatSinCos) {
    float s = 0, c = 0;
    int status = 0;
    fn(0, &inf, &s, &c, &status);
    EXPECT_TRUE(bits_of(s) == 0xFFC00000u && bits_of(c) == 0xFFC00000u && status == kelStatusDomain);
  }
}

// The double tangent copies an element whose upper word (sign cleared) is zero,
// raising nothing; other tiny elements take the tiny-argument rule.
TEST(TrigSC, TangentCopiesUpperWordZeroElements) {
  for (uint64_t b : {0x0000000000000000ull, 0x8000000000000000ull, 0x0000000000000001ull, 0x80000000FFFFFFFFull}) {
    double x;
    std::memcpy(&x, &b, 8);
    double y = 1.0;
    int status = 3;
    ScopedControlWord cw(kDefault);
    orxdTan_SC_HA(0, &x, &y, &status);
    EXPECT_TRUE(bits_of(y) == b && status == 3 && flags() == 0) << std::hex << b;
  }
  const double x = 0x1p-1042, mz = -0.0;  // subnormal with a nonzero upper word
  double y = 0;
  int status = 3;
  ScopedControlWord cw(kDefault);
  orxdTan_SC_LA(0, &x, &y, &status);
  EXPECT_EQ(y, x);
  EXPECT_TRUE(flags() & kInexact);
  orxdSin_SC_HA(0, &mz, &y, &status);
  EXPECT_EQ(bits_of(y), bits_of(-0.0));
}

}  // namespace

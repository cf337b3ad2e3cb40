// Rounding family: every result is exact, so every member is checked bit for
// bit against the C library (ceil, floor, trunc, round, modf, and rint in the
// caller's rounding direction); a NaN input must come back as the same NaN,
// quiet.  Float members are checked on all 2^32 inputs in the native build and
// on a large sample under qemu; double members on structured boundary sets
// and random patterns.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

template <class T>
using Bits = decltype(bits_of(T()));

template <class T>
constexpr Bits<T> kQuietBit = Bits<T>(1) << (std::numeric_limits<T>::digits - 2);

// The result must be the reference bit for bit; for a NaN input it must be
// the input's own NaN, quiet (whatever the reference does with the payload).
template <class T>
bool matches(T x, T result, T reference) {
  if (std::isnan(x)) return bits_of(result) == (bits_of(x) | kQuietBit<T>);
  return bits_of(result) == bits_of(reference);
}

template <class T>
std::string show(T x) {
  return kelacc::hex(x);
}

// ---- References and members ------------------------------------------------

template <class T>
using Unary = int (*)(const T*, T*, int);
template <class T>
using Split = int (*)(const T*, T*, T*, int);

template <class T>
struct Member {
  const char* name;
  Unary<T> fn;
  T (*ref)(T);
};

// The C library's functions, called through volatile pointers: the compiler
// would otherwise expand floor and rint inline with sequences that are wrong
// in directed rounding modes.
template <class T>
struct Libm;
template <>
struct Libm<double> {
  static inline double (*volatile ceil)(double) = ::ceil;
  static inline double (*volatile floor)(double) = ::floor;
  static inline double (*volatile trunc)(double) = ::trunc;
  static inline double (*volatile round)(double) = ::round;
  static inline double (*volatile rint)(double) = ::rint;
  static inline double (*volatile modf)(double, double*) = ::modf;
};
template <>
struct Libm<float> {
  static inline float (*volatile ceil)(float) = ::ceilf;
  static inline float (*volatile floor)(float) = ::floorf;
  static inline float (*volatile trunc)(float) = ::truncf;
  static inline float (*volatile round)(float) = ::roundf;
  static inline float (*volatile rint)(float) = ::rintf;
  static inline float (*volatile modf)(float, float*) = ::modff;
};

template <class T>
T ceil_ref(T x) { return Libm<T>::ceil(x); }
template <class T>
T floor_ref(T x) { return Libm<T>::floor(x); }
template <class T>
T trunc_ref(T x) { return Libm<T>::trunc(x); }
template <class T>
T round_ref(T x) { return Libm<T>::round(x); }
template <class T>
T rint_ref(T x) { return Libm<T>::rint(x); }
template <class T>
T modf_int(T x) {
  T i;
  Libm<T>::modf(x, &i);
  return i;
}
template <class T>
T modf_frac(T x) {
  T i;
  return Libm<T>::modf(x, &i);
}

// Modf as two unary views, so that both outputs go through the same checks.
template <class T, Split<T> Fn>
int modf_integral(const T* s, T* d, int n) {
  std::vector<T> other(std::max(n, 0));
  return Fn(s, d, other.data(), n);
}
template <class T, Split<T> Fn>
int modf_fraction(const T* s, T* d, int n) {
  std::vector<T> other(std::max(n, 0));
  return Fn(s, other.data(), d, n);
}

template <class T>
std::vector<Member<T>> directed_members();  // same result in every caller mode
template <>
std::vector<Member<double>> directed_members() {
  return {{"Ceil", kelsCeil_64f, ceil_ref<double>},
          {"Floor", kelsFloor_64f, floor_ref<double>},
          {"Trunc", kelsTrunc_64f, trunc_ref<double>},
          {"Round", kelsRound_64f, round_ref<double>},
          {"Modf.int", modf_integral<double, kelsModf_64f>, modf_int<double>},
          {"Modf.frac", modf_fraction<double, kelsModf_64f>, modf_frac<double>}};
}
template <>
std::vector<Member<float>> directed_members() {
  return {{"Ceil", kelsCeil_32f, ceil_ref<float>},
          {"Floor", kelsFloor_32f, floor_ref<float>},
          {"Trunc", kelsTrunc_32f, trunc_ref<float>},
          {"Round", kelsRound_32f, round_ref<float>},
          {"Modf.int", modf_integral<float, kelsModf_32f>, modf_int<float>},
          {"Modf.frac", modf_fraction<float, kelsModf_32f>, modf_frac<float>}};
}

template <class T>
std::vector<Member<T>> rint_members();
template <>
std::vector<Member<double>> rint_members() {
  return {{"Rint", kelsRint_64f, rint_ref<double>}, {"NearbyInt", kelsNearbyInt_64f, rint_ref<double>}};
}
template <>
std::vector<Member<float>> rint_members() {
  return {{"Rint", kelsRint_32f, rint_ref<float>}, {"NearbyInt", kelsNearbyInt_32f, rint_ref<float>}};
}

// A caller's x87 word (precision and rounding fields) for the scope; the C
// library's own rounding mode (x87 and SSE) follows the rounding field, so
// that rint gives the reference in that direction.
constexpr int kFenvOf[4] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
constexpr uint16_t kRc[4] = {kToNearest, kDown, kUp, kTowardZero};
constexpr const char* kRcName[4] = {"nearest", "downward", "upward", "toward zero"};

class Caller {
 public:
  Caller(uint16_t pc, int dir) : saved_(control_word()) {
    std::fesetround(kFenvOf[dir]);
    word_ = static_cast<uint16_t>(0x7F | pc | kRc[dir]);
    set_control_word(word_);
    clear_flags();
  }
  ~Caller() {
    std::fesetround(FE_TONEAREST);
    clear_flags();
    set_control_word(saved_);
  }
  uint16_t word() const { return word_; }

 private:
  uint16_t saved_, word_;
};

// Runs the member over xs with the caller's word set to precision pc and
// direction dir, and compares with the reference taken at 53-bit precision in
// direction ref_dir.  Only the member runs under the caller's word: at 24-bit
// precision an emulated x87 may round the test's own double moves.  Returns
// the mismatch count and reports the first few.
template <class T>
size_t check(const Member<T>& m, const std::vector<T>& xs, uint16_t pc, int dir, int ref_dir) {
  const std::string where = std::string(" (pc 0x") + std::to_string(pc / 0x100) + "00, " + kRcName[dir] + ")";
  const int n = static_cast<int>(xs.size());
  std::vector<T> y(xs.size()), r(xs.size());
  {
    Caller reference(0x200, ref_dir);
    for (size_t i = 0; i < xs.size(); ++i) r[i] = m.ref(xs[i]);
  }
  int status;
  {
    Caller caller(pc, dir);
    status = m.fn(xs.data(), y.data(), n);
  }
  const bool is_rint = std::string(m.name) == "Rint" || std::string(m.name) == "NearbyInt";
  EXPECT_EQ(status, is_rint ? n : 0) << m.name << where;
  size_t bad = 0;
  for (size_t i = 0; i < xs.size(); ++i) {
    if (!matches(xs[i], y[i], r[i]) && ++bad <= 5)
      ADD_FAILURE() << m.name << where << ": x = " << show(xs[i]) << " gave " << show(y[i]) << ", expected "
                    << show(r[i]);
  }
  return bad;
}

// ---- Input sets --------------------------------------------------------------

// Structured doubles: every binade boundary with its neighbours and the
// half-integers around it, both words of the k = 20/21 split, the ends of the
// masked range (2^52, and 2^23 for comparison with float), zeros,
// denormals, infinities, quiet and signalling NaNs, then random patterns (all
// patterns, and patterns with exponents where the fraction matters).
std::vector<double> double_inputs(size_t random_count) {
  std::vector<double> v;
  auto both = [&](double x) {
    v.push_back(x);
    v.push_back(-x);
  };
  for (int e = -1074; e <= 1023; ++e) {
    const double p = std::ldexp(1.0, e);
    both(p);
    both(std::nextafter(p, 0.0));
    both(std::nextafter(p, INFINITY));
    both(p + p / 2);
    both(std::nextafter(p + p / 2, 0.0));
    both(std::nextafter(p + p / 2, INFINITY));
  }
  for (double n : {0.0, 1.0, 2.0, 3.0, 4.0, 0x1p20, 0x1p20 + 1, 0x1p21, 0x1p21 + 1, 0x1p22 - 1, 0x1p23 - 1,
                   0x1p51, 0x1p51 + 1, 0x1p52 - 2, 0x1p52 - 1}) {
    both(n + 0.5);
    both(std::nextafter(n + 0.5, 0.0));
    both(std::nextafter(n + 0.5, INFINITY));
    both(std::nextafter(n + 1, 0.0));
    both(n + 0.25);
    both(n + 0.75);
  }
  // k = 20 and 21: fractions held only in the low word, only in the high
  // word, and the low word's top bit (the half bit at k = 20).
  for (int k = 19; k <= 22; ++k)
    for (uint64_t frac : {1ull, 0x80000000ull, 0x40000000ull, 0xC0000000ull, 0x100000000ull, 0xFFFFFFFFull,
                          0x1FFFFFFFFull, 0x000FFFFF00000000ull, 0x0008000000000000ull >> (k - 19)}) {
      const uint64_t b = (uint64_t(1023 + k) << 52) | (frac & 0x000FFFFFFFFFFFFFull);
      both(std::bit_cast<double>(b));
    }
  both(0.0);
  both(4.9406564584124654e-324);
  both(2.2250738585072009e-308);
  both(INFINITY);
  v.push_back(std::bit_cast<double>(0x7FF8000000000000ull));
  v.push_back(std::bit_cast<double>(0xFFF8000000000123ull));
  v.push_back(std::bit_cast<double>(0x7FF0000000000001ull));  // signalling
  v.push_back(std::bit_cast<double>(0xFFF4000000000000ull));  // signalling
  v.push_back(std::bit_cast<double>(0x7FF7FFFFFFFFFFFFull));  // signalling
  std::mt19937_64 rng(20240606);
  for (size_t i = 0; i < random_count; ++i) {
    uint64_t b = rng();
    if (i % 2) {  // exponent from 2^-3 to 2^54
      const uint64_t e = 1020 + rng() % 58;
      b = (b & 0x800FFFFFFFFFFFFFull) | (e << 52);
    }
    v.push_back(std::bit_cast<double>(b));
  }
  return v;
}

std::vector<float> float_sample(size_t random_count) {
  std::vector<float> v;
  for (int e = -149; e <= 127; ++e) {
    const float p = std::ldexp(1.0f, e);
    for (float x : {p, std::nextafter(p, 0.0f), std::nextafter(p, INFINITY), p + p / 2,
                    std::nextafter(p + p / 2, 0.0f), std::nextafter(p + p / 2, INFINITY)}) {
      v.push_back(x);
      v.push_back(-x);
    }
  }
  for (uint32_t b : {0x7F800001u, 0xFFA00000u, 0x7FC00000u, 0xFFC00001u, 0x7F800000u, 0xFF800000u, 0u,
                     0x80000000u})
    v.push_back(std::bit_cast<float>(b));
  std::mt19937 rng(606);
  for (size_t i = 0; i < random_count; ++i) {
    uint32_t b = rng();
    if (i % 2) b = (b & 0x807FFFFFu) | ((124 + rng() % 28) << 23);  // 2^-3 to 2^24
    v.push_back(std::bit_cast<float>(b));
  }
  return v;
}

// ---- Argument checks and return values ----------------------------------------

TEST(RoundingFrame, CheckedMembersTestLengthThenPointers) {
  double d[2] = {1.5, 2.5}, o[2] = {7, 7}, o2[2] = {7, 7};
  float f[2] = {1.5f, 2.5f}, fo[2] = {7, 7}, fo2[2] = {7, 7};
  for (Unary<double> fn : {kelsCeil_64f, kelsFloor_64f, kelsTrunc_64f, kelsRound_64f})
    EXPECT_EQ((std::vector{fn(nullptr, nullptr, 0), fn(d, o, -1), fn(nullptr, o, 1), fn(d, nullptr, 1)}),
              (std::vector{-6, -6, -8, -8}));
  for (Unary<float> fn : {kelsCeil_32f, kelsFloor_32f, kelsTrunc_32f, kelsRound_32f})
    EXPECT_EQ((std::vector{fn(nullptr, nullptr, 0), fn(f, fo, -1), fn(nullptr, fo, 1), fn(f, nullptr, 1)}),
              (std::vector{-6, -6, -8, -8}));
  EXPECT_EQ((std::vector{kelsModf_64f(nullptr, nullptr, nullptr, 0), kelsModf_64f(nullptr, o, o2, 2),
                         kelsModf_64f(d, nullptr, o2, 2), kelsModf_64f(d, o, nullptr, 2)}),
            (std::vector{-6, -8, -8, -8}));
  EXPECT_EQ((std::vector{kelsModf_32f(f, fo, fo2, -4), kelsModf_32f(nullptr, fo, fo2, 2),
                         kelsModf_32f(f, nullptr, fo2, 2), kelsModf_32f(f, fo, nullptr, 2)}),
            (std::vector{-6, -8, -8, -8}));
  // Nothing was written by any refused call.
  EXPECT_EQ((std::vector{o[0], o[1], o2[0], o2[1]}), std::vector<double>(4, 7.0));
  EXPECT_EQ((std::vector{fo[0], fo[1], fo2[0], fo2[1]}), std::vector<float>(4, 7.0f));
}

// Rint and NearbyInt check nothing and return the element count: len for a
// positive len (null pointers are not looked at when len < 1), 0 otherwise.
TEST(RoundingFrame, RintReturnsTheElementCount) {
  const double d[5] = {0.5, 1.5, 2.5, -2.5, 7.0};
  const float f[5] = {0.5f, 1.5f, 2.5f, -2.5f, 7.0f};
  double o[5];
  float fo[5];
  for (Unary<double> fn : {kelsRint_64f, kelsNearbyInt_64f}) {
    EXPECT_EQ(fn(d, o, 5), 5);
    EXPECT_EQ(fn(d, o, 1), 1);
    EXPECT_EQ(fn(nullptr, nullptr, 0), 0);
    EXPECT_EQ(fn(nullptr, nullptr, -3), 0);
    EXPECT_EQ(fn(d, o, INT32_MIN), 0);
  }
  for (Unary<float> fn : {kelsRint_32f, kelsNearbyInt_32f}) {
    EXPECT_EQ(fn(f, fo, 5), 5);
    EXPECT_EQ(fn(nullptr, nullptr, 0), 0);
    EXPECT_EQ(fn(nullptr, nullptr, -3), 0);
  }
}

// No member touches the caller's word (the probe of Rint changes the rounding
// field for an instant and restores it).
TEST(RoundingFrame, CallerWordIsNeverChanged) {
  const double d[3] = {0.5, -1.25, 3.0};
  const float f[3] = {0.5f, -1.25f, 3.0f};
  double o[3], o2[3];
  float fo[3], fo2[3];
  for (uint16_t pc : {0x000, 0x200, 0x300})
    for (int dir = 0; dir < 4; ++dir) {
      Caller caller(pc, dir);
      for (Unary<double> fn : {kelsCeil_64f, kelsFloor_64f, kelsTrunc_64f, kelsRound_64f, kelsRint_64f,
                               kelsNearbyInt_64f})
        fn(d, o, 3);
      for (Unary<float> fn :
           {kelsCeil_32f, kelsFloor_32f, kelsTrunc_32f, kelsRound_32f, kelsRint_32f, kelsNearbyInt_32f})
        fn(f, fo, 3);
      kelsModf_64f(d, o, o2, 3);
      kelsModf_32f(f, fo, fo2, 3);
      EXPECT_EQ(control_word(), caller.word()) << std::hex << caller.word();
    }
}

// ---- Exception flags -----------------------------------------------------------

// Every element operation is exact, at every precision control: nothing
// raises inexact except the magic-number step of float Ceil and Floor on a
// fractional 1 <= |x| < 2^22, and Rint's probe, which is exact at 64-bit
// precision and inexact at 53 and 24.
TEST(RoundingFlags, NoInexactFromElements) {
  const auto xs = double_inputs(4000);
  const auto fs = float_sample(4000);
  std::vector<double> y(xs.size()), y2(xs.size());
  std::vector<float> fy(fs.size()), fy2(fs.size());
  const int n = static_cast<int>(xs.size()), fn_ = static_cast<int>(fs.size());
  for (uint16_t pc : {0x300, 0x200, 0x000})
    for (int dir = 0; dir < 4; ++dir) {
      const std::string where = std::string(" at pc ") + std::to_string(pc) + ", " + kRcName[dir];
      auto no_inexact = [&](const char* name, auto call) {
        clear_flags();
        call();
        EXPECT_FALSE(flags() & kInexact) << name << where;
      };
      Caller caller(pc, dir);
      no_inexact("Ceil_64f", [&] { kelsCeil_64f(xs.data(), y.data(), n); });
      no_inexact("Floor_64f", [&] { kelsFloor_64f(xs.data(), y.data(), n); });
      no_inexact("Trunc_64f", [&] { kelsTrunc_64f(xs.data(), y.data(), n); });
      no_inexact("Round_64f", [&] { kelsRound_64f(xs.data(), y.data(), n); });
      no_inexact("Modf_64f", [&] { kelsModf_64f(xs.data(), y.data(), y2.data(), n); });
      no_inexact("Trunc_32f", [&] { kelsTrunc_32f(fs.data(), fy.data(), fn_); });
      no_inexact("Round_32f", [&] { kelsRound_32f(fs.data(), fy.data(), fn_); });
      no_inexact("Modf_32f", [&] { kelsModf_32f(fs.data(), fy.data(), fy2.data(), fn_); });
      if (pc == 0x300) {
        no_inexact("Rint_64f", [&] { kelsRint_64f(xs.data(), y.data(), n); });
        no_inexact("NearbyInt_64f", [&] { kelsNearbyInt_64f(xs.data(), y.data(), n); });
        no_inexact("Rint_32f", [&] { kelsRint_32f(fs.data(), fy.data(), fn_); });
        no_inexact("NearbyInt_32f", [&] { kelsNearbyInt_32f(fs.data(), fy.data(), fn_); });
      } else {
        // The probe: once per call, even when every element is integral.
        const double three = 3.0;
        clear_flags();
        kelsRint_64f(&three, y.data(), 1);
        EXPECT_TRUE(flags() & kInexact) << where;
      }
      // Float Ceil and Floor off their magic-number path.
      std::vector<float> quiet;
      for (float x : fs)
        if (!(std::fabs(x) >= 1 && std::fabs(x) < 0x1p22f) || x == std::trunc(x)) quiet.push_back(x);
      no_inexact("Ceil_32f", [&] { kelsCeil_32f(quiet.data(), fy.data(), static_cast<int>(quiet.size())); });
      no_inexact("Floor_32f", [&] { kelsFloor_32f(quiet.data(), fy.data(), static_cast<int>(quiet.size())); });
    }
}

// Float members that answer a small element from its pattern still pass it
// through the x87 unit once (x * 1.0, product discarded): a denormal sets the
// denormal-operand flag, and nothing else is raised.
TEST(RoundingFlags, FloatDenormalsTouchTheDenormalFlag) {
  const float x = -0x1p-140f;
  float y;
  Caller caller(0x300, 0);
  {
    long double loaded;
    asm volatile("flds %1" : "=t"(loaded) : "m"(x));
    if (!(flags() & 0x02)) GTEST_SKIP() << "this x87 (an emulator) does not raise the denormal flag";
    clear_flags();
  }
  for (Unary<float> fn : {kelsCeil_32f, kelsFloor_32f, kelsRint_32f}) {
    clear_flags();
    fn(&x, &y, 1);
    EXPECT_EQ(flags(), 0x02);
  }
}

// ---- Bit-exact comparison with the C library -------------------------------------

// Ceil, Floor, Trunc, Round and Modf do not depend on the caller's mode (float
// Ceil and Floor round their magic number in the caller's direction and must
// stay right in every one, and no double result may go through a 24-bit x87
// operation); Rint and NearbyInt follow the direction at 53-bit precision and
// round to nearest at 24 and 64 bits.
template <class T>
void compare_in_every_mode(const std::vector<T>& xs) {
  for (uint16_t pc : {0x200, 0x300, 0x000})
    for (int dir = 0; dir < 4; ++dir) {
      for (const auto& m : directed_members<T>()) EXPECT_EQ(check<T>(m, xs, pc, dir, 0), 0u);
      for (const auto& m : rint_members<T>()) EXPECT_EQ(check<T>(m, xs, pc, dir, pc == 0x200 ? dir : 0), 0u);
    }
}

TEST(RoundingDouble, MatchesLibmOnBoundariesAndRandomInputs) {
  compare_in_every_mode(double_inputs(kNative ? 400000 : 40000));
}

TEST(RoundingFloat, MatchesLibmOnBoundariesAndRandomInputs) {
  compare_in_every_mode(float_sample(kNative ? 400000 : 40000));
}

// The i386 build under qemu checks a large sample; the native build checks
// every float (below).
TEST(RoundingFloat, LargeSampleAgainstLibm) {
  if (kNative) GTEST_SKIP() << "the native build checks all 2^32 inputs";
  const auto xs = float_sample(1 << 22);
  for (const auto& m : directed_members<float>()) EXPECT_EQ(check<float>(m, xs, 0x300, 0, 0), 0u);
  for (int dir = 0; dir < 4; ++dir)
    for (const auto& m : rint_members<float>()) EXPECT_EQ(check<float>(m, xs, 0x200, dir, dir), 0u);
}

// ---- Exhaustive float (native build) -------------------------------------------

constexpr int kBlock = 1 << 16;

using Block = std::vector<std::vector<float>>;

// Runs run(x, y) on every float pattern in blocks of kBlock, the members'
// outputs going to y[0], y[1], ..., and ref(x, r) for the C library's results
// of each output; compares them and prints the count checked and the
// mismatches per output.
template <class Run, class Ref>
size_t exhaustive(const std::vector<const char*>& names, const char* mode, Run run, Ref ref) {
  const size_t n = names.size();
  std::vector<float> x(kBlock);
  Block y(n, std::vector<float>(kBlock)), r(n, std::vector<float>(kBlock));
  std::vector<size_t> bad(n, 0);
  uint64_t checked = 0;
  for (uint64_t base = 0; base < (1ull << 32); base += kBlock) {
    for (int i = 0; i < kBlock; ++i) x[i] = std::bit_cast<float>(static_cast<uint32_t>(base + i));
    run(x.data(), y);
    ref(x.data(), r);
    checked += kBlock;
    for (size_t o = 0; o < n; ++o) {
      if (std::memcmp(y[o].data(), r[o].data(), sizeof(float) * kBlock) == 0) continue;
      for (int i = 0; i < kBlock; ++i)
        if (!matches(x[i], y[o][i], r[o][i]) && ++bad[o] <= 5)
          ADD_FAILURE() << names[o] << " " << mode << ": x = " << show(x[i]) << " gave " << show(y[o][i])
                        << ", expected " << show(r[o][i]);
    }
  }
  size_t total = 0;
  for (size_t o = 0; o < n; ++o) {
    std::printf("[ exhaustive ] %-16s %-12s %llu inputs, %zu mismatches\n", names[o], mode,
                static_cast<unsigned long long>(checked), bad[o]);
    total += bad[o];
  }
  return total;
}

class ExhaustiveFloat : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!kNative) GTEST_SKIP() << "all 2^32 floats run in the native build only";
  }
};

TEST_F(ExhaustiveFloat, CeilFloor) {
  Caller caller(0x300, 0);
  EXPECT_EQ(exhaustive(
                {"Ceil_32f", "Floor_32f"}, "default",
                [](const float* x, Block& y) {
                  kelsCeil_32f(x, y[0].data(), kBlock);
                  kelsFloor_32f(x, y[1].data(), kBlock);
                },
                [](const float* x, Block& r) {
                  for (int i = 0; i < kBlock; ++i) r[0][i] = ceil_ref(x[i]), r[1][i] = floor_ref(x[i]);
                }),
            0u);
}

TEST_F(ExhaustiveFloat, TruncRound) {
  Caller caller(0x300, 0);
  EXPECT_EQ(exhaustive(
                {"Trunc_32f", "Round_32f"}, "default",
                [](const float* x, Block& y) {
                  kelsTrunc_32f(x, y[0].data(), kBlock);
                  kelsRound_32f(x, y[1].data(), kBlock);
                },
                [](const float* x, Block& r) {
                  for (int i = 0; i < kBlock; ++i) r[0][i] = trunc_ref(x[i]), r[1][i] = round_ref(x[i]);
                }),
            0u);
}

TEST_F(ExhaustiveFloat, Modf) {
  Caller caller(0x300, 0);
  EXPECT_EQ(exhaustive(
                {"Modf_32f int", "Modf_32f frac"}, "default",
                [](const float* x, Block& y) { kelsModf_32f(x, y[0].data(), y[1].data(), kBlock); },
                [](const float* x, Block& r) {
                  for (int i = 0; i < kBlock; ++i) r[1][i] = Libm<float>::modf(x[i], &r[0][i]);
                }),
            0u);
}

// Rint and NearbyInt at 53-bit precision in the given directions, against one
// rintf per input; split in two tests so that a parallel test run shares the
// work.
void exhaustive_rint(std::initializer_list<int> dirs) {
  for (int dir : dirs) {
    Caller caller(0x200, dir);
    EXPECT_EQ(exhaustive(
                  {"Rint_32f", "NearbyInt_32f"}, kRcName[dir],
                  [](const float* x, Block& y) {
                    kelsRint_32f(x, y[0].data(), kBlock);
                    kelsNearbyInt_32f(x, y[1].data(), kBlock);
                  },
                  [](const float* x, Block& r) {
                    for (int i = 0; i < kBlock; ++i) r[0][i] = rint_ref(x[i]);
                    r[1] = r[0];
                  }),
              0u);
  }
}

TEST_F(ExhaustiveFloat, RintToNearestAndDownward) { exhaustive_rint({0, 1}); }
TEST_F(ExhaustiveFloat, RintUpwardAndTowardZero) { exhaustive_rint({2, 3}); }

}  // namespace

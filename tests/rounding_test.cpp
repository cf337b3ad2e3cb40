// Rounding family bit for bit against the C library in every caller word; every float natively.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
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
using Unary = int (*)(const T*, T*, int);
template <class T>
using Split = int (*)(const T*, T*, T*, int);

// The C library through volatile pointers: inline floor and rint are wrong in directed modes.
template <class T, T (*F)(T)>
T (*volatile libm)(T) = F;
template <class T, T (*M)(T, T*), bool kInt>
T modf_part(T x) {
  static T (*volatile f)(T, T*) = M;
  T i;
  const T r = f(x, &i);
  return kInt ? i : r;
}
template <class T, Split<T> Fn, bool kInt>
int modf_view(const T* s, T* d, int n) {  // one output of Modf as a unary member
  std::vector<T> other(std::max(n, 0));
  return kInt ? Fn(s, d, other.data(), n) : Fn(s, other.data(), d, n);
}

template <class T>
struct Member {
  const char* name;
  Unary<T> fn;
  T (*ref)(T);
  bool rint;  // follows the caller's direction at 53 bits; returns the count
};
#define KEL_ROUNDING_MEMBERS(T, S, f)                                                                    \
  {"Ceil", kelsCeil_##S, [](T x) { return libm<T, ::ceil##f>(x); }, false},                              \
      {"Floor", kelsFloor_##S, [](T x) { return libm<T, ::floor##f>(x); }, false},                       \
      {"Trunc", kelsTrunc_##S, [](T x) { return libm<T, ::trunc##f>(x); }, false},                       \
      {"Round", kelsRound_##S, [](T x) { return libm<T, ::round##f>(x); }, false},                       \
      {"Modf.int", modf_view<T, kelsModf_##S, true>, modf_part<T, ::modf##f, true>, false},              \
      {"Modf.frac", modf_view<T, kelsModf_##S, false>, modf_part<T, ::modf##f, false>, false},           \
      {"Rint", kelsRint_##S, [](T x) { return libm<T, ::rint##f>(x); }, true},                           \
      {"NearbyInt", kelsNearbyInt_##S, [](T x) { return libm<T, ::rint##f>(x); }, true}
const std::vector<Member<double>> kDouble64 = {KEL_ROUNDING_MEMBERS(double, 64f, )};
const std::vector<Member<float>> kFloat32 = {KEL_ROUNDING_MEMBERS(float, 32f, f)};
template <class T>
const std::vector<Member<T>>& members() {
  if constexpr (sizeof(T) == 8) return kDouble64; else return kFloat32;
}

// The caller's x87 word for the scope; the C library's mode follows it.
constexpr int kFenv[4] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
constexpr uint16_t kRc[4] = {kToNearest, kDown, kUp, kTowardZero};
struct Caller : ScopedControlWord {
  uint16_t word;
  Caller(uint16_t pc, int dir) : ScopedControlWord(0x7F | pc | kRc[dir]), word(0x7F | pc | kRc[dir]) {
    std::fesetround(kFenv[dir]);
  }
  ~Caller() { std::fesetround(FE_TONEAREST); }
};

// Runs m over xs under precision pc and direction dir (the reference at 53 bits
// in ref_dir); checks status, the caller's word, every result and inexact:
// raised only by Rint's probe below 64 bits and by float Ceil and Floor's
// magic number on a fractional 1 <= |x| < 2^22.
template <class T>
size_t check(const Member<T>& m, const std::vector<T>& xs, uint16_t pc, int dir, int ref_dir) {
  const int n = static_cast<int>(xs.size());
  std::vector<T> y(n), r(n);
  {
    Caller reference(0x200, ref_dir);
    for (int i = 0; i < n; ++i) r[i] = m.ref(xs[i]);
  }
  int status;
  uint16_t word, after, raised;
  {  // only the member runs under the caller's word: at 24 bits qemu rounds the test's own moves
    Caller caller(pc, dir);
    word = caller.word;
    status = m.fn(xs.data(), y.data(), n);
    after = control_word();
    raised = flags();
  }
  const bool magic = sizeof(T) == 4 && (m.name[0] == 'C' || m.name[0] == 'F') &&
                     std::any_of(xs.begin(), xs.end(), [](T x) {
                       return std::fabs(x) >= 1 && std::fabs(x) < T(0x1p22) && x != std::trunc(x);
                     });
  const std::string where = std::string(m.name) + " under word " + std::to_string(word);
  EXPECT_EQ(status, m.rint ? n : 0) << where;
  EXPECT_EQ(after, word) << where;
  EXPECT_EQ(bool(raised & kInexact), (m.rint && pc != 0x300) || magic) << where;
  size_t bad = 0;
  constexpr auto kQuiet = decltype(bits_of(T()))(1) << (std::numeric_limits<T>::digits - 2);
  for (int i = 0; i < n; ++i) {
    const bool ok = std::isnan(xs[i]) ? bits_of(y[i]) == (bits_of(xs[i]) | kQuiet) : same_bits(y[i], r[i]);
    if (!ok && ++bad <= 5)
      ADD_FAILURE() << where << ": x = " << kelacc::hex(xs[i]) << " gave " << kelacc::hex(y[i]) << ", expected "
                    << kelacc::hex(r[i]);
  }
  return bad;
}

// Binade boundaries and half-integer neighbours, integers near the masked ends
// and the k = 20/21 word split, specials, random patterns.
template <class T>
std::vector<T> inputs(size_t random_count) {
  using L = std::numeric_limits<T>;
  std::vector<T> v;
  auto around = [&](T x) {
    for (T y : {x, std::nextafter(x, T(0)), std::nextafter(x, L::infinity())}) v.push_back(y), v.push_back(-y);
  };
  for (int e = L::min_exponent - L::digits; e < L::max_exponent; ++e) {
    const T p = std::ldexp(T(1), e);
    around(p);
    around(p + p / 2);
  }
  for (double n : {0.0, 3.0, 0x1p20, 0x1p21 + 1, 0x1p23 - 1, 0x1p51 + 1, 0x1p52 - 1})
    for (double f : {0.25, 0.5, 0.75, 1.0}) around(static_cast<T>(n + f));
  if constexpr (sizeof(T) == 8)
    for (uint64_t k = 19; k <= 22; ++k)
      for (uint64_t frac : {1ull, 0x40000000ull, 0x80000000ull, 0xFFFFFFFFull, 0x100000000ull, 0x1FFFFFFFFull,
                            0xFFFFF00000000ull, 0x8000000000000ull >> (k - 19)})
        around(std::bit_cast<double>(((1023 + k) << 52) | frac));
  v.push_back(0), v.push_back(-T(0)), v.push_back(L::infinity()), v.push_back(-L::infinity());
  if constexpr (sizeof(T) == 8)  // quiet and signalling NaNs
    for (uint64_t b : {0x7FF8000000000000ull, 0xFFF8000000000123ull, 0x7FF0000000000001ull, 0xFFF4000000000000ull,
                       0x7FF7FFFFFFFFFFFFull})
      v.push_back(double_from_bits(b));
  else
    for (uint32_t b : {0x7FC00000u, 0xFFC00001u, 0x7F800001u, 0xFFA00000u}) v.push_back(float_from_bits(b));
  std::mt19937_64 rng(20240606);
  const unsigned bias = L::max_exponent - 1, shift = L::digits - 1;
  for (size_t i = 0; i < random_count; ++i) {
    using B = decltype(bits_of(T()));
    B b = static_cast<B>(rng());
    if (i % 2) b = (b & ~(B(2 * bias + 1) << shift)) | (B(bias - 3 + rng() % (L::digits + 5)) << shift);
    v.push_back(std::bit_cast<T>(b));
  }
  return v;
}

// Float members answering a denormal from its pattern raise the denormal flag only.
TEST(RoundingFlags, FloatDenormalsTouchTheDenormalFlag) {
  const float x = -0x1p-140f;
  float y;
  Caller caller(0x300, 0);
  long double loaded;
  asm volatile("flds %1" : "=t"(loaded) : "m"(x));
  if (!(flags() & 0x02)) GTEST_SKIP() << "this x87 (an emulator) does not raise the denormal flag";
  for (Unary<float> fn : {kelsCeil_32f, kelsFloor_32f, kelsRint_32f}) {
    clear_flags();
    fn(&x, &y, 1);
    EXPECT_EQ(flags(), 0x02);
  }
}

// Every precision and direction: only Rint and NearbyInt at 53 bits follow it.
template <class T>
void compare_in_every_mode(const std::vector<T>& xs) {
  for (uint16_t pc : {0x200, 0x300, 0x000})
    for (int dir = 0; dir < 4; ++dir)
      for (const auto& m : members<T>()) EXPECT_EQ(check<T>(m, xs, pc, dir, m.rint && pc == 0x200 ? dir : 0), 0u);
}

TEST(Rounding, DoubleMatchesLibm) { compare_in_every_mode(inputs<double>(sized(10000, 400000))); }
TEST(Rounding, FloatMatchesLibm) { compare_in_every_mode(inputs<float>(sized(10000, 400000))); }

// All 2^32 floats (native build): Rint and NearbyInt at 53 bits in each direction.
class ExhaustiveFloat : public ::testing::TestWithParam<int> {};
TEST_P(ExhaustiveFloat, MatchesLibm) {
  if (!kNative) GTEST_SKIP() << "all 2^32 floats run in the native build only";
  const Member<float>& m = kFloat32[GetParam()];
  std::vector<float> x(1 << 16);
  for (int dir = 0; dir < (m.rint ? 4 : 1); ++dir)
    for (uint64_t base = 0, bad = 0; base < (1ull << 32) && !bad; base += x.size()) {
      for (size_t i = 0; i < x.size(); ++i) x[i] = float_from_bits(static_cast<uint32_t>(base + i));
      bad = check<float>(m, x, m.rint ? 0x200 : 0x300, dir, dir);
    }
}
INSTANTIATE_TEST_SUITE_P(Members, ExhaustiveFloat, ::testing::Range(0, 8),
                         [](const auto& p) {
                           std::string name = kFloat32[p.param].name;
                           std::erase(name, '.');  // test names are identifiers
                           return name;
                         });

}  // namespace

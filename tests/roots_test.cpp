// Reciprocal square root, cube root, reciprocal cube root and hypotenuse:
// special inputs with their results, flags and reports; exact cubes and
// powers of two over the whole exponent range; exact and inexact subnormal
// hypotenuses and the overflow threshold; agreement of the members that share
// a kernel; independence from the caller's control word; accuracy against
// MPFR (the flavour bounds and the design bound of 0.51 ulp).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

template <class T>
using Fn = KelStatus (*)(const T*, T*, int);
template <class T>
using Fn2 = KelStatus (*)(const T*, const T*, T*, int);

struct Unary {
  const char* name;
  Fn<float> f32[3];
  Fn<double> f64[2];
  kelacc::MpfrUnary ref;
};
const Unary kInvSqrt = {"InvSqrt", {kelsInvSqrt_32f_A11, kelsInvSqrt_32f_A21, kelsInvSqrt_32f_A24},
                        {kelsInvSqrt_64f_A50, kelsInvSqrt_64f_A53}, kelacc::ref_invsqrt};
const Unary kCbrt = {"Cbrt", {kelsCbrt_32f_A11, kelsCbrt_32f_A21, kelsCbrt_32f_A24},
                     {kelsCbrt_64f_A50, kelsCbrt_64f_A53}, mpfr_cbrt};
const Unary kInvCbrt = {"InvCbrt", {kelsInvCbrt_32f_A11, kelsInvCbrt_32f_A21, kelsInvCbrt_32f_A24},
                        {kelsInvCbrt_64f_A50, kelsInvCbrt_64f_A53}, kelacc::ref_invcbrt};
const Unary* const kUnary[] = {&kInvSqrt, &kCbrt, &kInvCbrt};
const Fn2<float> kHypot32[] = {kelsHypot_32f_A11, kelsHypot_32f_A21, kelsHypot_32f_A24};
const Fn2<double> kHypot64[] = {kelsHypot_64f_A50, kelsHypot_64f_A53};

template <class T>
std::vector<Fn<T>> members(const Unary& u) {
  if constexpr (sizeof(T) == 4) return {u.f32, u.f32 + 3};
  else return {u.f64, u.f64 + 2};
}

// Inexact is left out: the Newton steps raise it even for exact results.
constexpr uint16_t kChecked = kInvalid | kDivByZero | kOverflow | kUnderflow;

// A signalling NaN is written as a bit pattern into its slot: on i386 a NaN
// that passes through an x87 register (a return value) arrives quiet.
template <class T>
void put_snan(T* slot) {
  const uint64_t b = sizeof(T) == 8 ? 0x7FF4000000000000ull : 0x7FA00000u;
  std::memcpy(slot, &b, sizeof(T));
}

template <class T>
struct Case {
  T a, b, y;  // b unused by the unary functions
  int status;
  uint16_t flags;
};

template <class T>
void expect_case(const std::string& who, const Case<T>& c, T y, int status, uint16_t raised) {
  SCOPED_TRACE(who + ": " + kelacc::hex(c.a) + ", " + kelacc::hex(c.b) + " -> " + kelacc::hex(y));
  if (std::isnan(c.y))
    EXPECT_TRUE(std::isnan(y) && (bits_of(y) >> (sizeof(T) == 8 ? 51 : 22) & 1)) << "quiet NaN expected";
  else
    EXPECT_TRUE(same_bits(y, c.y));
  EXPECT_EQ(status, c.status);
  EXPECT_EQ(raised & kChecked, c.flags);
}

// ---- Special inputs of the unary functions -----------------------------------

template <class T>
std::vector<Case<T>> unary_cases(const Unary& u) {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), u0 = L::denorm_min();
  const bool dbl = sizeof(T) == 8;
  // NaNs pass quietly, a signalling one raises invalid; nothing is reported.
  std::vector<Case<T>> v = {{nan, 0, nan, 0, 0}, {-nan, 0, nan, 0, 0}, {nan, 0, nan, 0, kInvalid}};
  put_snan(&v[2].a);
  auto add = [&](std::initializer_list<Case<T>> l) { v.insert(v.end(), l); };
  if (&u == &kInvSqrt) {
    add({{T(0), 0, inf, 18, kDivByZero},
         {-T(0), 0, -inf, 18, kDivByZero},
         {inf, 0, T(0), 0, 0},
         {-inf, 0, nan, 19, kInvalid},
         {T(-1), 0, nan, 19, kInvalid},
         {-u0, 0, nan, 19, kInvalid},
         {-L::max(), 0, nan, 19, kInvalid},
         {T(0.25), 0, T(2), 0, 0},
         // subnormal argument: 2^-1074 -> 2^537, 2^-148 -> 2^74
         {dbl ? u0 : 2 * u0, 0, std::ldexp(T(1), dbl ? 537 : 74), 0, 0}});
  } else if (&u == &kCbrt) {
    add({{T(0), 0, T(0), 0, 0},
         {-T(0), 0, -T(0), 0, 0},
         {inf, 0, inf, 0, 0},
         {-inf, 0, -inf, 0, 0},
         {T(-27), 0, T(-3), 0, 0},
         {T(0.125), 0, T(0.5), 0, 0},
         // 2^-1074 -> 2^-358, -2^-147 -> -2^-49
         {dbl ? u0 : -4 * u0, 0, std::ldexp(T(dbl ? 1 : -1), dbl ? -358 : -49), 0, 0}});
  } else {
    add({{T(0), 0, inf, 18, kDivByZero},
         {-T(0), 0, -inf, 18, kDivByZero},
         {inf, 0, T(0), 0, 0},
         {-inf, 0, -T(0), 0, 0},
         {T(-8), 0, T(-0.5), 0, 0},
         {T(1) / 64, 0, T(4), 0, 0},
         {dbl ? u0 : -4 * u0, 0, std::ldexp(T(dbl ? 1 : -1), dbl ? 358 : 49), 0, 0}});
  }
  return v;
}

template <class T>
void check_unary_specials() {
  for (const Unary* u : kUnary)
    for (Fn<T> fn : members<T>(*u))
      for (const Case<T>& c : unary_cases<T>(*u)) {
        T y = 0;
        ScopedControlWord cw(kDefault);
        const int status = fn(&c.a, &y, 1);  // from the slot: keeps a signalling NaN
        expect_case(u->name, c, y, status, flags());
      }
}

TEST(Roots, SpecialInputsDouble) { check_unary_specials<double>(); }
TEST(Roots, SpecialInputsFloat) { check_unary_specials<float>(); }

// The status is the last reported code; every element is still computed.
TEST(Roots, LastReportWinsInsideAnArray) {
  const double src[4] = {-1.0, 16.0, 0.0, 4.0};
  double dst[4];
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsInvSqrt_64f_A53(src, dst, 4), kelStatusSingularity);
  EXPECT_TRUE(std::isnan(dst[0]));
  EXPECT_EQ(dst[1], 0.25);
  EXPECT_EQ(dst[2], INFINITY);
  EXPECT_EQ(dst[3], 0.5);
  const float fsrc[3] = {0.0f, -1.0f, 8.0f};
  float fdst[3];
  EXPECT_EQ(kelsInvSqrt_32f_A11(fsrc, fdst, 3), kelStatusDomain);
  EXPECT_EQ(fdst[2], std::sqrt(0.125f));
}

// ---- Exact results over the exponent range -----------------------------------

// n^3 8^k -> n 2^k (and 1/cbrt(8^k) = 2^-k, 1/sqrt(4^k) = 2^-k), with both
// signs where the function is odd, subnormal arguments included.
template <class T>
void check_exact() {
  using L = std::numeric_limits<T>;
  std::vector<T> cubes, roots, pow8, root8, inv8, pow4, inv4;
  const int ns[] = {1, 3, 5, 7, 13, 127, 255};
  for (int k = L::min_exponent - L::digits; k <= L::max_exponent; ++k) {
    const T x8 = std::ldexp(T(1), 3 * k), x4 = std::ldexp(T(1), 2 * k);
    const T sign = k & 1 ? T(-1) : T(1);
    if (x8 != 0 && !std::isinf(x8)) {
      pow8.push_back(sign * x8);
      root8.push_back(std::ldexp(sign, k));
      inv8.push_back(std::ldexp(sign, -k));
    }
    if (x4 != 0 && !std::isinf(x4)) {
      pow4.push_back(x4);
      inv4.push_back(std::ldexp(T(1), -k));
    }
    for (int n : ns) {
      const T c = std::ldexp(T(n) * T(n) * T(n), 3 * k);
      if (c == 0 || std::isinf(c) || std::ldexp(c, -3 * k) != T(n) * T(n) * T(n)) continue;
      cubes.push_back(k & 1 ? -c : c);
      roots.push_back(std::ldexp(T(k & 1 ? -n : n), k));
    }
  }
  ASSERT_GT(cubes.size(), sizeof(T) == 8 ? 1000u : 100u);
  auto expect_all = [](const char* name, Fn<T> fn, const std::vector<T>& xs, const std::vector<T>& want) {
    std::vector<T> ys(xs.size());
    ASSERT_EQ(fn(xs.data(), ys.data(), static_cast<int>(xs.size())), 0);
    size_t bad = 0;
    for (size_t i = 0; i < xs.size(); ++i)
      if (!same_bits(ys[i], want[i]) && bad++ < 3)
        ADD_FAILURE() << name << ": " << kelacc::hex(xs[i]) << " gave " << kelacc::hex(ys[i]);
  };
  for (Fn<T> fn : members<T>(kCbrt)) expect_all("Cbrt", fn, cubes, roots);
  for (Fn<T> fn : members<T>(kCbrt)) expect_all("Cbrt", fn, pow8, root8);
  for (Fn<T> fn : members<T>(kInvCbrt)) expect_all("InvCbrt", fn, pow8, inv8);
  for (Fn<T> fn : members<T>(kInvSqrt)) expect_all("InvSqrt", fn, pow4, inv4);
}

TEST(Roots, ExactCubesAndPowersDouble) { check_exact<double>(); }
TEST(Roots, ExactCubesAndPowersFloat) { check_exact<float>(); }

// ---- Hypotenuse --------------------------------------------------------------

// Pythagorean triples of 51-bit integers times the smallest subnormal: the
// squares need 102 bits, so the sum of squares is rounded and only the exact
// recognition of the root keeps the underflow flag down.
const uint64_t kWideTriples[][3] = {{1100904463749888, 335514198119166, 1150895484153090},
                                    {391622107607645, 1818486657184692, 1860177840295333}};

template <class T>
std::vector<Case<T>> hypot_cases() {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), u = L::denorm_min(), max = L::max();
  const int e = L::max_exponent - 3;
  std::vector<Case<T>> wide;
  if constexpr (sizeof(T) == 8)
    for (const auto& t : kWideTriples)
      wide.push_back({double_from_bits(t[0]), -double_from_bits(t[1]), double_from_bits(t[2]), 0, 0});
  std::vector<Case<T>> v = {
      {inf, nan, inf, 0, 0},  // an infinity wins over a NaN
      {nan, -inf, inf, 0, 0},
      {-inf, nan, inf, 0, kInvalid},  // signalling NaN, below
      {nan, T(1), nan, 0, 0},
      {T(2), nan, nan, 0, kInvalid},  // signalling NaN, below
      {T(3), T(-4), T(5), 0, 0},
      {-T(0), T(0), T(0), 0, 0},
      {-T(0), -T(0), T(0), 0, 0},
      {-u, T(0), u, 0, 0},
      {L::min(), -T(0), L::min(), 0, 0},
      // exact subnormal results raise no underflow
      {3 * u, -4 * u, 5 * u, 0, 0},
      {20 * u, 21 * u, 29 * u, 0, 0},
      {T(3 << 20) * u, T(4 << 20) * u, T(5 << 20) * u, 0, 0},
      // inexact subnormal results do
      {u, u, u, 0, kUnderflow},  // sqrt(2) u
      {3 * u, 3 * u, 4 * u, 0, kUnderflow},  // 4.24 u
      // largest finite results and the overflow just above
      {max, T(1), max, 0, 0},
      {max, max, inf, 12, kOverflow},
      {max * T(0.75), max * T(0.75), inf, 12, kOverflow},
      // squares far beyond the format, exact finite result 5 2^(emax-3)
      {std::ldexp(T(3), e), std::ldexp(T(-4), e), std::ldexp(T(5), e), 0, 0},
  };
  put_snan(&v[2].b);
  put_snan(&v[4].b);
  v.insert(v.end(), wide.begin(), wide.end());
  return v;
}

template <class T, size_t N>
void check_hypot(const Fn2<T> (&fns)[N]) {
  for (Fn2<T> fn : fns)
    for (const Case<T>& c : hypot_cases<T>()) {
      T y = 0;
      ScopedControlWord cw(kDefault);
      const int status = fn(&c.a, &c.b, &y, 1);
      expect_case("Hypot", c, y, status, flags());
    }
}

TEST(Hypot, SpecialInputsDouble) { check_hypot(kHypot64); }
TEST(Hypot, SpecialInputsFloat) { check_hypot(kHypot32); }

// Symmetric in its operands and their signs.
TEST(Hypot, SymmetricInOperandsAndSigns) {
  const auto in = kelacc::gen_hypot<double>(sized(500, 20000), 3);
  const size_t n = in.a.size();
  std::vector<double> na(n), nb(n), y1(n), y2(n), y3(n);
  for (size_t i = 0; i < n; ++i) na[i] = -in.a[i], nb[i] = -in.b[i];
  const int len = static_cast<int>(n);
  kelsHypot_64f_A53(in.a.data(), in.b.data(), y1.data(), len);
  kelsHypot_64f_A53(in.b.data(), in.a.data(), y2.data(), len);
  kelsHypot_64f_A53(na.data(), nb.data(), y3.data(), len);
  for (size_t i = 0; i < n; ++i) {
    const bool same = std::isnan(y1[i]) ? std::isnan(y2[i]) && std::isnan(y3[i])
                                        : same_bits(y1[i], y2[i]) && same_bits(y1[i], y3[i]);
    ASSERT_TRUE(same) << kelacc::hex(in.a[i]) << ", " << kelacc::hex(in.b[i]);
  }
}

// ---- Members, control word, accuracy -----------------------------------------

// The members that share a kernel give the same bits, and no caller control
// word (single precision, rounding upward) changes a result.
template <class T>
void check_members_agree(const Unary& u, kelacc::Generator<T> gen) {
  const std::vector<T> xs = gen(sized(2000, 50000), 5).a;
  const int n = static_cast<int>(xs.size());
  std::vector<T> want(xs.size()), got(xs.size());
  const std::vector<Fn<T>> fns = members<T>(u);
  {
    ScopedControlWord cw(kDefault);
    fns[0](xs.data(), want.data(), n);
  }
  for (Fn<T> fn : fns)
    for (uint16_t word : {kDefault, uint16_t(kSingle | kUp), uint16_t(kDouble | kTowardZero)}) {
      ScopedControlWord cw(word);
      fn(xs.data(), got.data(), n);
      for (size_t i = 0; i < xs.size(); ++i)
        ASSERT_TRUE(same_bits(got[i], want[i])) << u.name << " cw " << word << ": " << kelacc::hex(xs[i]);
    }
}

TEST(Roots, MembersAgreeUnderAnyControlWord) {
  for (const Unary* u : kUnary) {
    auto gen32 = u == &kInvSqrt ? kelacc::gen_sqrt<float> : kelacc::gen_inv<float>;
    auto gen64 = u == &kInvSqrt ? kelacc::gen_sqrt<double> : kelacc::gen_inv<double>;
    check_members_agree<float>(*u, gen32);
    check_members_agree<double>(*u, gen64);
  }
}

TEST(Roots, AccurateToTheFlavourBounds) {
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(InvSqrt);
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Cbrt);
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(InvCbrt);
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Hypot);
}

// The design bound: one rounding of a value within a few 2^-64 of the result.
TEST(Roots, WithinHalfAnUlpAndAHundredth) {
  const size_t n = sized(3000, 300000);
  for (const Unary* u : kUnary) {
    auto gen32 = u == &kInvSqrt ? kelacc::gen_sqrt<float> : kelacc::gen_inv<float>;
    auto gen64 = u == &kInvSqrt ? kelacc::gen_sqrt<double> : kelacc::gen_inv<double>;
    kelacc::expect_within(u->name, kelacc::sample(u->f32[0], u->ref, gen32(n, 11)), 0.51);
    kelacc::expect_within(u->name, kelacc::sample(u->f64[1], u->ref, gen64(n, 11)), 0.51);
  }
  kelacc::expect_within("Hypot", kelacc::sample(kHypot32[0], mpfr_hypot, kelacc::gen_hypot<float>(n, 11)), 0.51);
  kelacc::expect_within("Hypot", kelacc::sample(kHypot64[1], mpfr_hypot, kelacc::gen_hypot<double>(n, 11)), 0.51);
}

}  // namespace

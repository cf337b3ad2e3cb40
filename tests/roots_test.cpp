// InvSqrt, Cbrt, InvCbrt, Hypot: specials with flags and reports, exact results, the design bound.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
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

// One member per precision: the others share its code (Frame.MembersAgree...).
struct Unary {
  const char* name;
  Fn<float> f32;
  Fn<double> f64;
  kelacc::MpfrUnary ref;
  template <class T>
  Fn<T> member() const { return std::get<Fn<T>>(std::tuple{f32, f64}); }
};
const Unary kInvSqrt = {"InvSqrt", kelsInvSqrt_32f_A24, kelsInvSqrt_64f_A53, kelacc::ref_invsqrt};
const Unary kCbrt = {"Cbrt", kelsCbrt_32f_A24, kelsCbrt_64f_A53, mpfr_cbrt};
const Unary kInvCbrt = {"InvCbrt", kelsInvCbrt_32f_A24, kelsInvCbrt_64f_A53, kelacc::ref_invcbrt};
const Unary* const kUnary[] = {&kInvSqrt, &kCbrt, &kInvCbrt};

// Inexact is left out: the Newton steps raise it even for exact results.
constexpr uint16_t kChecked = kInvalid | kDivByZero | kOverflow | kUnderflow;

// A signalling NaN written as bits: through an x87 register it arrives quiet.
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
void expect_case(const std::string& who, const Case<T>& c, T y, int status) {
  SCOPED_TRACE(who + ": " + kelacc::hex(c.a) + ", " + kelacc::hex(c.b) + " -> " + kelacc::hex(y));
  if (std::isnan(c.y))
    EXPECT_TRUE(std::isnan(y) && (bits_of(y) >> (sizeof(T) == 8 ? 51 : 22) & 1)) << "quiet NaN expected";
  else
    EXPECT_TRUE(same_bits(y, c.y));
  EXPECT_EQ(status, c.status);
  EXPECT_EQ(flags() & kChecked, c.flags);
}

template <class T>
std::vector<Case<T>> unary_cases(const Unary& u) {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), u0 = L::denorm_min();
  const bool dbl = sizeof(T) == 8;
  std::vector<Case<T>> v = {{nan, 0, nan, 0, kInvalid}};  // signalling: invalid, no report
  put_snan(&v[0].a);
  if (&u == &kInvSqrt)  // 2^-1074 -> 2^537, 2^-148 -> 2^74
    v.insert(v.end(), {{-T(0), 0, -inf, 18, kDivByZero}, {inf, 0, T(0), 0, 0}, {-inf, 0, nan, 19, kInvalid},
                       {-u0, 0, nan, 19, kInvalid}, {dbl ? u0 : 2 * u0, 0, std::ldexp(T(1), dbl ? 537 : 74), 0, 0}});
  else if (&u == &kCbrt)  // 2^-1074 -> 2^-358, -2^-147 -> -2^-49
    v.insert(v.end(), {{-T(0), 0, -T(0), 0, 0}, {-inf, 0, -inf, 0, 0},
                       {dbl ? u0 : -4 * u0, 0, std::ldexp(T(dbl ? 1 : -1), dbl ? -358 : -49), 0, 0}});
  else
    v.insert(v.end(), {{T(0), 0, inf, 18, kDivByZero}, {-T(0), 0, -inf, 18, kDivByZero}, {-inf, 0, -T(0), 0, 0},
                       {dbl ? u0 : -4 * u0, 0, std::ldexp(T(dbl ? 1 : -1), dbl ? 358 : 49), 0, 0}});
  return v;
}

template <class T>
void check_unary_specials() {
  for (const Unary* u : kUnary)
    for (const Case<T>& c : unary_cases<T>(*u)) {
      T y = 0;
      ScopedControlWord cw(kDefault);
      expect_case(u->name, c, y, u->member<T>()(&c.a, &y, 1));  // from the slot: keeps a signalling NaN
    }
}

TEST(Roots, SpecialInputs) {
  check_unary_specials<double>();
  check_unary_specials<float>();
}

// n^3 8^k -> n 2^k, 1/cbrt(8^k) = 2^-k, 1/sqrt(4^k) = 2^-k, both signs where
// the function is odd, subnormal arguments included.
template <class T>
void check_exact() {
  using L = std::numeric_limits<T>;
  struct Set {
    const Unary* u;
    std::vector<T> x, y;
  } sets[] = {{&kCbrt, {}, {}}, {&kInvCbrt, {}, {}}, {&kInvSqrt, {}, {}}};
  for (int k = L::min_exponent - L::digits; k <= L::max_exponent; ++k) {
    const T x8 = std::ldexp(T(1), 3 * k), x4 = std::ldexp(T(1), 2 * k), s = k & 1 ? T(-1) : T(1);
    if (x4 != 0 && !std::isinf(x4)) sets[2].x.push_back(x4), sets[2].y.push_back(std::ldexp(T(1), -k));
    if (x8 != 0 && !std::isinf(x8)) sets[1].x.push_back(s * x8), sets[1].y.push_back(std::ldexp(s, -k));
    for (int n : {1, 3, 5, 7, 13, 127, 255}) {
      const T c = std::ldexp(T(n) * T(n) * T(n), 3 * k);
      if (c == 0 || std::isinf(c) || std::ldexp(c, -3 * k) != T(n) * T(n) * T(n)) continue;
      sets[0].x.push_back(s * c), sets[0].y.push_back(std::ldexp(s * T(n), k));
    }
  }
  for (const Set& set : sets) {
    std::vector<T> ys(set.x.size());
    ASSERT_EQ(set.u->template member<T>()(set.x.data(), ys.data(), int(ys.size())), 0);
    for (size_t i = 0; i < ys.size(); ++i)
      ASSERT_TRUE(same_bits(ys[i], set.y[i])) << set.u->name << ": " << kelacc::hex(set.x[i]);
  }
}

TEST(Roots, ExactCubesAndPowers) {
  check_exact<double>();
  check_exact<float>();
}

// Pythagorean triples of 51-bit integers times 2^-1074: the squares need 102
// bits, so only exact recognition keeps underflow down.
const uint64_t kWideTriples[][3] = {{1100904463749888, 335514198119166, 1150895484153090},
                                    {391622107607645, 1818486657184692, 1860177840295333}};

template <class T>
std::vector<Case<T>> hypot_cases() {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), nan = L::quiet_NaN(), u = L::denorm_min(), max = L::max();
  const int e = L::max_exponent - 3;
  std::vector<Case<T>> v = {
      {-inf, nan, inf, 0, kInvalid},  // an infinity wins over a (signalling) NaN
      {T(2), nan, nan, 0, kInvalid},  // signalling NaN
      {nan, -inf, inf, 0, 0},      {nan, T(1), nan, 0, 0},      {-T(0), -T(0), T(0), 0, 0},
      {3 * u, -4 * u, 5 * u, 0, 0},  // exact subnormal results raise no underflow
      {20 * u, 21 * u, 29 * u, 0, 0}, {T(3 << 20) * u, T(4 << 20) * u, T(5 << 20) * u, 0, 0},
      {u, u, u, 0, kUnderflow},      {3 * u, 3 * u, 4 * u, 0, kUnderflow},  // inexact ones do
      {max, T(1), max, 0, 0},        {max, max, inf, 12, kOverflow},
      {max * T(0.75), max * T(0.75), inf, 12, kOverflow},
      {std::ldexp(T(3), e), std::ldexp(T(-4), e), std::ldexp(T(5), e), 0, 0},  // squares beyond the format
  };
  put_snan(&v[0].b);
  put_snan(&v[1].b);
  if constexpr (sizeof(T) == 8)
    for (const auto& t : kWideTriples)
      v.push_back({double_from_bits(t[0]), -double_from_bits(t[1]), double_from_bits(t[2]), 0, 0});
  return v;
}

// Every case also with the operands swapped.
template <class T>
void check_hypot(Fn2<T> fn) {
  for (const Case<T>& c : hypot_cases<T>())
    for (bool swap : {false, true}) {
      T y = 0;
      ScopedControlWord cw(kDefault);
      expect_case("Hypot", c, y, swap ? fn(&c.b, &c.a, &y, 1) : fn(&c.a, &c.b, &y, 1));
    }
}

TEST(Hypot, SpecialInputs) {
  check_hypot(kelsHypot_64f_A53);
  check_hypot(kelsHypot_32f_A24);
}

// The design bound: one rounding of a value within a few 2^-64 of the result.
TEST(Roots, WithinHalfAnUlpAndAHundredth) {
  const size_t n = sized(1000, 50000);
  for (const Unary* u : kUnary) {
    auto gen32 = u == &kInvSqrt ? kelacc::gen_sqrt<float> : kelacc::gen_inv<float>;
    auto gen64 = u == &kInvSqrt ? kelacc::gen_sqrt<double> : kelacc::gen_inv<double>;
    kelacc::expect_within(u->name, kelacc::sample(u->f32, u->ref, gen32(n, 11)), 0.51);
    kelacc::expect_within(u->name, kelacc::sample(u->f64, u->ref, gen64(n, 11)), 0.51);
  }
  kelacc::expect_within("Hypot", kelacc::sample(kelsHypot_32f_A24, mpfr_hypot, kelacc::gen_hypot<float>(n, 11)), 0.51);
  kelacc::expect_within("Hypot", kelacc::sample(kelsHypot_64f_A53, mpfr_hypot, kelacc::gen_hypot<double>(n, 11)), 0.51);
}

}  // namespace

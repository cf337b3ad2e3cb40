// The precision guard through Div, then every real family: members, caller words, in place,
// symmetry, accuracy (the pair-loop test and the reliability run check the status rule).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <mpfr.h>

#include "fpu.h"
#include "kelvm.h"
#include "check.h"
#include "references.h"

using namespace kelfpu;

namespace {

double quotient(double a, double b, mpfr_prec_t prec) {
  mpfr_t q;
  mpfr_init2(q, prec);
  mpfr_set_d(q, a, MPFR_RNDN);
  mpfr_div_d(q, q, b, MPFR_RNDN);
  const double r = mpfr_get_d(q, MPFR_RNDN);
  mpfr_clear(q);
  return r;
}

// Under every caller precision and rounding the word comes back and the
// quotients are correctly rounded, also on double-rounding pairs.
TEST(Frame, PrecisionGuardRestoresEveryCallerWord) {
  std::vector<double> a, b, expected;
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> u(1.0, 2.0), wide(-1e3, 1e3);
  for (int pairs = 0; pairs < 8;) {
    const double x = u(rng), y = u(rng);
    if (quotient(x, y, 53) != quotient(x, y, 64)) a.push_back(x), b.push_back(y), ++pairs;
  }
  for (int i = 0; i < 64; ++i) a.push_back(wide(rng)), b.push_back(wide(rng));
  for (size_t i = 0; i < a.size(); ++i) expected.push_back(quotient(a[i], b[i], 53));
  std::vector<double> dst(a.size());
  const int n = static_cast<int>(a.size());
  for (uint16_t pc : {0x000, 0x200, 0x300})
    for (uint16_t rc : {kToNearest, kDown, kUp, kTowardZero}) {
      const uint16_t caller = static_cast<uint16_t>(0x7F | pc | rc);
      uint16_t after;
      {
        ScopedControlWord cw(caller);
        EXPECT_EQ(kelsDiv_64f_A53(a.data(), b.data(), dst.data(), n), 0);
        after = control_word();
      }
      EXPECT_EQ(after, caller) << std::hex << caller;
      EXPECT_EQ(std::memcmp(dst.data(), expected.data(), n * sizeof(double)), 0) << "word 0x" << std::hex << caller;
    }
}

bool a50_has_own_code(const std::string& family) { return family == "Exp" || family == "Ln" || family == "Log10"; }

// Each member in place under one of twelve caller words gives its default-word
// bits and status; members of one precision agree; odd and even families are symmetric.
template <class T>
void expect_members_agree(const kelacc::RealFunction& f, const char* type, std::vector<const char*> flavours,
                          kelacc::Inputs<T> in, uint64_t seed) {
  std::mt19937_64 rng(seed);
  for (int i = 0; i < 64; ++i)
    for (auto* v : {&in.a, &in.b}) v->push_back(std::bit_cast<T>(static_cast<decltype(bits_of(T()))>(rng())));
  const int n = static_cast<int>(in.a.size());
  in.b.resize(n, T(1.5));
  const std::string family = f.name;
  const int parity = std::string_view(" Sin Tan Sinh Tanh Asin Atan Asinh Atanh Erf ErfInv Cbrt InvCbrt ")
                             .find(" " + family + " ") != std::string_view::npos ? -1
                     : family == "Cos" || family == "Cosh" ? 1 : 0;
  std::vector<T> first, first2;
  int first_status = 0;
  static int word = 0;
  auto call = [&](void* fn, const T* x, T* y, T* y2) {
    switch (f.shape) {
      case kelacc::Shape::binary: return reinterpret_cast<KelStatus (*)(const T*, const T*, T*, int)>(fn)(x, in.b.data(), y, n);
      case kelacc::Shape::two: return reinterpret_cast<KelStatus (*)(const T*, T*, T*, int)>(fn)(x, y, y2, n);
      case kelacc::Shape::scalar: return reinterpret_cast<KelStatus (*)(const T*, T, T*, int)>(fn)(x, in.scalars.at(0), y, n);
      default: return reinterpret_cast<KelStatus (*)(const T*, T*, int)>(fn)(x, y, n);
    }
  };
  for (const char* flavour : flavours) {
    const std::string name = "kels" + family + "_" + type + "_" + flavour;
    void* fn = dlsym(RTLD_DEFAULT, name.c_str());
    ASSERT_NE(fn, nullptr) << name;
    std::vector<T> y(n), y2(n), z = in.a, z2(n);
    const int status = call(fn, in.a.data(), y.data(), y2.data());
    const uint16_t caller = static_cast<uint16_t>(0x7F | (word % 3 + (word % 3 > 0)) << 8 | (word / 3 % 4) << 10);
    ++word;
    {
      ScopedControlWord cw(caller);
      EXPECT_EQ(call(fn, z.data(), z.data(), z2.data()), status) << name;
      EXPECT_EQ(control_word(), caller) << name;
    }
    EXPECT_EQ(std::memcmp(z.data(), y.data(), n * sizeof(T)), 0) << name << std::hex << " word " << caller;
    EXPECT_EQ(std::memcmp(z2.data(), y2.data(), n * sizeof(T)), 0) << name;
    const bool own_code = flavour == std::string("A50") && a50_has_own_code(family);
    if (first.empty()) {
      first = y, first2 = y2, first_status = status;
    } else if (!own_code) {
      EXPECT_TRUE(std::memcmp(y.data(), first.data(), n * sizeof(T)) == 0 &&
                  std::memcmp(y2.data(), first2.data(), n * sizeof(T)) == 0 && status == first_status) << name;
    }
    if (parity == 0 || f.shape != kelacc::Shape::unary) continue;
    for (int i = 0; i < n; ++i) z[i] = -in.a[i];
    call(fn, z.data(), z.data(), nullptr);
    for (int i = 0; i < n; ++i)
      EXPECT_TRUE(std::isnan(y[i]) || same_bits(z[i], parity * y[i])) << name << " at -" << kelacc::hex(in.a[i]);
  }
}

TEST(Frame, MembersAgreeUnderEveryCallerWordAndInPlace) {
  uint64_t seed = 1;
  for (const auto& f : kelacc::real_functions()) {
    if (f.rounding) continue;
    SCOPED_TRACE(f.name);
    seed += 2;
    expect_members_agree<float>(f, "32f", {"A24", "A21", "A11"}, f.gen32(sized(64, 2000), seed), seed);
    expect_members_agree<double>(f, "64f", {"A53", "A50"}, f.gen64(sized(64, 2000), seed + 1), seed + 1);
  }
}

// Every real family within its flavour bound: A53, A24, and A50 where it has its own code.
TEST(RealFamilies, AccurateToTheFlavourBounds) {
  for (const auto& f : kelacc::real_functions()) {
    if (f.rounding) continue;
    const std::string stem = std::string("kels") + f.name;
    for (const char* member : {"_64f_A53", "_32f_A24", "_64f_A50"}) {
      if (std::string_view(member).ends_with("A50") && !a50_has_own_code(f.name)) continue;
      const std::string name = stem + member;
      kelacc::expect_registered(name.c_str(), reinterpret_cast<kelacc::AnyFunction>(dlsym(RTLD_DEFAULT, name.c_str())));
    }
  }
}

}  // namespace

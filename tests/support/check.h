// One-line accuracy assertions for GoogleTest: KELACC_EXPECT_ACCURATE(member)
// samples the registered generator against the registered reference and
// expects the flavour's bound and no class errors; a failure prints the worst
// input in hex.  expect_accurate() takes an explicit reference and generator.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "fpu.h"
#include "references.h"

namespace kelacc {

// Equal encodings, any NaN matching any NaN.
inline bool same_value(double a, double b) { return (std::isnan(a) && std::isnan(b)) || kelfpu::same_bits(a, b); }
inline bool same_value(Kel64fc a, Kel64fc b) { return same_value(a.re, b.re) && same_value(a.im, b.im); }

inline void expect_within(const char* name, const Summary& s, double bound) {
  EXPECT_LE(s.max_ulps, bound) << s.describe(name) << " (bound " << bound << " ulp)";
  EXPECT_EQ(s.class_errors, 0u) << s.describe(name);
}

inline void expect_registered(const char* name, AnyFunction fn, size_t n = default_samples(), uint64_t seed = 1) {
  Summary s;
  double bound = 0;
  std::string error;
  ASSERT_TRUE(sample_registered(name, fn, n, seed, &s, &bound, &error)) << error;
  expect_within(name, s, bound);
}

template <class Fn, class Ref, class T>
void expect_accurate(const char* name, Fn fn, Ref ref, Generator<T> gen, const std::string& flavour,
                     size_t n = default_samples(), uint64_t seed = 1) {
  expect_within(name, sample(fn, ref, gen(n, seed)), bound_for_flavour(flavour));
}

// A special input of a real unary member: the stored result (bit for bit, any
// quiet NaN for a NaN) and exactly the flags it raises, with status 0.
template <class T>
struct Special {
  T x, y;
  uint16_t flags;
};

template <class T>
void expect_specials(const char* member, KelStatus (*fn)(const T*, T*, int), const std::vector<Special<T>>& cases) {
  using namespace kelfpu;
  for (const auto& c : cases) {
    const auto [y, status, raw] = run_one(fn, c.x);
    const uint16_t raised = raw & (kInvalid | kOverflow | kUnderflow | kInexact);
    SCOPED_TRACE(std::string(member) + ": x = " + hex(c.x) + " -> " + hex(y));
    EXPECT_EQ(status, 0);
    if (std::isnan(c.y))  // the quiet bit is the top fraction bit
      EXPECT_TRUE(std::isnan(y) && (bits_of(y) >> (sizeof(T) == 8 ? 51 : 22) & 1)) << "NaN leaves quiet";
    else
      EXPECT_TRUE(same_bits(y, c.y));
    EXPECT_EQ(raised, c.flags);
  }
}

}  // namespace kelacc

#define KELACC_EXPECT_ACCURATE(fn) ::kelacc::expect_registered(#fn, reinterpret_cast<::kelacc::AnyFunction>(&fn))

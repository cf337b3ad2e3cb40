// Complex power and its real helpers: special values, exact powers, Powx by value, accuracy.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "check.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

const double inf = INFINITY, nan_ = NAN;

using kelacc::same_value;

Kel64fc cpow(Kel64fc x, Kel64fc y) {
  ScopedControlWord cw(kDefault);
  return orxcpow_scalar(x, y);
}

struct PowCase {
  Kel64fc x, y, want;
};

// Exact results and special values, bit for bit (any NaN for a NaN).
TEST(CpowKernel, ExactAndSpecialValues) {
  const PowCase cases[] = {
      {{2, 0}, {10, 0}, {1024, 0}},           {{2, -0.0}, {3, 0}, {8, -0.0}},
      {{1, 1}, {2, 0}, {0, 2}},               {{2, 3}, {3, 0}, {-46, 9}},
      {{0, 1}, {2, 0}, {-1, 0}},              {{-2, 0}, {3, 0}, {-8, 0}},
      {{-2, -0.0}, {-3, 0}, {-0.125, 0}},  {{4, 0}, {0.5, 0}, {2, 0}},
      {{-4, 0}, {0.5, 0}, {0, 2}},            {{0, 2}, {-1, 0}, {0, -0.5}},
      {{2, 1}, {1, 0}, {2, 1}},               {{2, 3}, {0, -0.0}, {1, -0.0}},
      {{nan_, nan_}, {0, 0}, {1, 0}},         {{0, 0}, {2, 1}, {0, 0}},
      {{-0.0, -0.0}, {0.5, 0}, {0, -0.0}},    {{0, -0.0}, {2, -1}, {0, -0.0}},
      {{0, -0.0}, {-2, 0}, {inf, nan_}},      {{0, 0}, {0, 1}, {nan_, nan_}},
      {{inf, 0}, {2, 0}, {inf, nan_}},        {{inf, 0}, {-2, 0}, {0, 0}},
      {{2, 0}, {inf, 0}, {inf, nan_}},        {{0.5, 0}, {inf, 0}, {0, 0}},
      {{1, 0}, {inf, 0}, {nan_, nan_}},       {{2, 0}, {nan_, 0}, {nan_, nan_}},
  };
  for (const auto& c : cases) {
    const Kel64fc r = cpow(c.x, c.y);
    EXPECT_TRUE(same_value(r, c.want)) << kelacc::hex(c.x) << " ^ " << kelacc::hex(c.y) << " = " << kelacc::hex(r);
  }
}

TEST(CpowKernel, RealHelpersExactWhereExact) {
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(orxpowl_scalar(2, 10), 1024.0L);
  EXPECT_EQ(orxpowl_scalar(-3, 3), -27.0L);
  EXPECT_EQ(orxpowl_scalar(0.5L, -2), 4.0L);
  EXPECT_EQ(orxsindl_scalar(-180), -0.0L);
  EXPECT_TRUE(std::signbit(orxsindl_scalar(-180)));
  EXPECT_EQ(orxcosdl_scalar(0x1.68p+75L), 1.0L);  // 45 * 2^70, a multiple of 360
  EXPECT_EQ(orxsindl_scalar(0x1.68p+65L + 180), 0.0L);  // 180 (2^58 + 1)
  EXPECT_EQ(orxcosdl_scalar(-90), 0.0L);
  EXPECT_EQ(orxsindl_scalar(270), -1.0L);
  EXPECT_EQ(orxatan2dl_scalar(-1, -1), -135.0L);
  EXPECT_EQ(orxatan2dl_scalar(0, -2), 180.0L);
}

// The exponent by value: a 24-bit caller gets the 64-bit caller's bits, and a
// signalling-NaN exponent behaves as it does inside a Pow source array.
TEST(CpowFrame, PowxExponentCopiedAsBits) {
  const double x[2] = {3.0, 0.87};
  double r[2];
  {
    ScopedControlWord cw(kSingle);
    EXPECT_EQ(kelsPowx_64f_A53(x, 0.3, r, 2), 0);
  }
  EXPECT_EQ(bits_of(r[0]), 0x3ff63f08b6f382aeull);  // 3^0.3
  const double snan = double_from_bits(0x7ff0000000000123ull);
  const double ys[2] = {snan, snan};
  double p[2];
  clear_flags();
  kelsPow_64f_A53(x, ys, p, 2);
  const uint16_t pow_flags = flags();
  clear_flags();
  kelsPowx_64f_A53(x, snan, r, 2);
  EXPECT_EQ(flags(), pow_flags);
  EXPECT_EQ(bits_of(r[0]), bits_of(p[0]));
  const Kel64fc zs[1] = {{2, 1}}, ysn[1] = {{snan, 0}};
  Kel64fc pc[1], rc[1];
  clear_flags();
  kelsPow_64fc_A53(zs, ysn, pc, 1);
  const uint16_t cpow_flags = flags();
  clear_flags();
  kelsPowx_64fc_A53(zs, ysn[0], rc, 1);
  EXPECT_EQ(flags(), cpow_flags);
  EXPECT_EQ(std::memcmp(pc, rc, sizeof pc), 0);
}

// Where the bound applies: result angle below 2^10 rad, modulus finite and nonzero; not a
// base on the negative axis with -0 imaginary part and non-integer exponent (mpc_pow conjugates).
template <class C>
bool in_scope(C x, C y) {
  const long double a = x.re, b = x.im, c = y.re, d = y.im;
  if (!std::isfinite(a + b + c + d) || (a == 0 && b == 0)) return true;
  if (b == 0 && std::signbit(b) && a < 0 && d == 0 && c != std::floor(c)) return false;
  const long double l = 0.5L * std::log1p((a - 1) * (a + 1) + b * b), t = std::atan2(b, a);
  const long double e = c * l - d * t;
  return std::fabs(d * l + c * t) < 0x1p10L && e < 700 && e > -740;
}

// The registered inputs in scope (Powx: the bases in scope for every exponent).
template <class C, bool kPowx>
kelacc::Inputs<C> scoped(size_t n, uint64_t seed) {
  kelacc::Inputs<C> in = kelacc::gen_complex_pow<C>(n, seed), out;
  out.scalars = in.scalars;
  for (size_t i = 0; i < in.a.size(); ++i) {
    bool keep = kPowx || in_scope(in.a[i], in.b[i]);
    if (kPowx)
      for (const C& y : in.scalars) keep = keep && in_scope(in.a[i], y);
    if (keep) out.a.push_back(in.a[i]), out.b.push_back(in.b[i]);
  }
  return out;
}

TEST(CpowAccuracy, AgainstMpc) {
  using kelacc::expect_accurate;
  expect_accurate("kelsPow_64fc_A53", kelsPow_64fc_A53, kelacc::ref_cpow, scoped<Kel64fc, false>, "A53");
  expect_accurate("kelsPow_32fc_A24", kelsPow_32fc_A24, kelacc::ref_cpow, scoped<Kel32fc, false>, "A24");
  expect_accurate("kelsPowx_64fc_A53", kelsPowx_64fc_A53, kelacc::ref_cpow, scoped<Kel64fc, true>, "A53");
  expect_accurate("kelsPowx_32fc_A24", kelsPowx_32fc_A24, kelacc::ref_cpow, scoped<Kel32fc, true>, "A24");
}

}  // namespace

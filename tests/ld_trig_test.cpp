// Long-double circular kernels and square root against MPFR at a 64-bit
// significand: accuracy by range (including the long doubles closest to
// multiples of pi/2 in every binade), the special values and flags of C99
// Annex F, correct rounding of the square root, and an untouched control word.
#include <gtest/gtest.h>
#include <stdint.h>  // before mpfr.h: declares the intmax_t functions
#include <mpfr.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

// The i386 build runs under qemu: smaller samples there, full ones natively.
size_t count(size_t native) { return kEmulated ? native / 20 : native; }

// Accepted errors in ulps of the 64-bit significand.
constexpr double kSinCosBound = 0.52;
constexpr double kTanBound = 0.52;
constexpr double kAtan2Bound = 0.52;  // also atanl

constexpr uint16_t kPrecision64 = 0x037F;  // 64-bit precision, nearest, all masked

// The exception flags without the x87 denormal-operand flag, which any
// arithmetic on a subnormal operand raises.
uint16_t ieee_flags() { return flags() & ~0x02; }

struct Ld {
  uint64_t mant;
  uint16_t se;
};
Ld parts(long double x) {
  Ld p{};
  std::memcpy(&p.mant, &x, 8);
  std::memcpy(&p.se, reinterpret_cast<const char*>(&x) + 8, 2);
  return p;
}
bool same(long double a, long double b) {
  const Ld p = parts(a), q = parts(b);
  return p.mant == q.mant && p.se == q.se;
}
std::string hex(long double x) { return kelacc::hex(x); }

// Random long doubles: a random 64-bit significand, an exponent uniform in
// [lo, hi] and a random sign.
std::vector<long double> random_ld(int lo, int hi, size_t n, uint64_t seed, bool both_signs = true) {
  std::mt19937_64 g(seed);
  std::vector<long double> v(n);
  for (auto& x : v) {
    const uint64_t m = g() | (1ull << 63);
    const int e = lo + static_cast<int>(g() % static_cast<uint64_t>(hi - lo + 1));
    x = std::ldexp(static_cast<long double>(m), e - 63);
    if (both_signs && (g() & 1)) x = -x;
  }
  return v;
}

void mul_u64(mpfr_ptr out, mpfr_srcptr a, uint64_t k) {
  mpfr_t kk;
  mpfr_init2(kk, 64);
  mpfr_set_uj(kk, k, MPFR_RNDN);
  mpfr_mul(out, a, kk, MPFR_RNDN);
  mpfr_clear(kk);
}

// ---- sine and cosine -------------------------------------------------------

struct SinCosError {
  kelacc::Summary sin, cos, tan;
  size_t sincos_mismatches = 0;
};

void note(kelacc::Summary& s, kelacc::Error e, long double x, long double y) {
  s.samples++;
  if (e.class_error) {
    s.class_errors++;
    s.worst_input = x, s.worst_result = y;
  } else if (e.ulps > s.max_ulps) {
    s.max_ulps = e.ulps, s.worst_input = x, s.worst_result = y;
  }
}

SinCosError measure_sincos(const std::vector<long double>& xs) {
  SinCosError r;
  mpfr_t a, s, c;
  mpfr_init2(a, 64);
  mpfr_inits2(kelacc::kExactBits, s, c, nullptr);
  for (long double x : xs) {
    long double ys, yc, yt, ps, pc;
    {
      ScopedControlWord cw(kPrecision64);
      ys = orxsinl_scalar(x);
      yc = orxcosl_scalar(x);
      yt = orxtanl_scalar(x);
      orxsincosl_scalar(x, &ps, &pc);
    }
    mpfr_set_ld(a, x, MPFR_RNDN);
    mpfr_sin_cos(s, c, a, MPFR_RNDN);
    note(r.sin, kelacc::ulp_error<long double>(ys, s), x, ys);
    note(r.cos, kelacc::ulp_error<long double>(yc, c), x, yc);
    mpfr_tan(s, a, MPFR_RNDN);
    note(r.tan, kelacc::ulp_error<long double>(yt, s), x, yt);
    if (!same(ps, ys) || !same(pc, yc)) r.sincos_mismatches++;
  }
  mpfr_clears(a, s, c, nullptr);
  return r;
}

void expect_sincos_within(const std::vector<long double>& xs, const char* what) {
  const SinCosError r = measure_sincos(xs);
  EXPECT_LE(r.sin.max_ulps, kSinCosBound) << what << ": " << r.sin.describe("sinl");
  EXPECT_LE(r.cos.max_ulps, kSinCosBound) << what << ": " << r.cos.describe("cosl");
  EXPECT_LE(r.tan.max_ulps, kTanBound) << what << ": " << r.tan.describe("tanl");
  EXPECT_EQ(r.sin.class_errors + r.cos.class_errors + r.tan.class_errors, 0u) << what;
  EXPECT_EQ(r.sincos_mismatches, 0u) << what << ": sincosl differs from sinl/cosl";
  std::printf("  %-26s %6zu args  max ulp: sinl %.6f  cosl %.6f  tanl %.6f\n", what, xs.size(), r.sin.max_ulps,
              r.cos.max_ulps, r.tan.max_ulps);
}

TEST(LdSinCos, AccuracyByRange) {
  const struct {
    const char* name;
    int lo, hi;  // exponents
    size_t n;
  } ranges[] = {
      {"tiny 2^-40..2^-30", -40, -31, 20000},  {"small 2^-30..1", -30, -1, 100000},
      {"Cody-Waite 1..2^20", 0, 19, 200000},   {"Payne-Hanek 2^20..2^70", 20, 69, 100000},
      {"huge 2^70..LDBL_MAX", 70, 16383, 20000},
  };
  for (const auto& r : ranges) expect_sincos_within(random_ld(r.lo, r.hi, count(r.n), 0x51C0 + r.lo), r.name);
  // The largest long double and the pi/4 and 2^20 switch points.
  std::vector<long double> edges = {LDBL_MAX, -LDBL_MAX, 0x1p20L, -0x1p20L};
  for (long double e : {0x1.921fb54442d18469898cc51701b8p-1L, 0x1p20L, 0x1p-32L}) {
    long double x = std::nextafter(e, 0.0L);
    for (int i = 0; i < 3; ++i, x = std::nextafter(x, INFINITY)) edges.push_back(x), edges.push_back(-x);
  }
  expect_sincos_within(edges, "switch points");
}

// The long doubles nearest to k pi/2 for random k of every size up to 2^62.
TEST(LdSinCos, NearMultiplesOfPiOver2) {
  std::mt19937_64 g(0x9172);
  std::vector<long double> xs;
  mpfr_t t;
  mpfr_init2(t, 400);
  for (size_t i = 0; i < count(20000); ++i) {
    const int bits = 1 + static_cast<int>(i % 62);
    const uint64_t k = (g() >> (64 - bits)) | 1;
    mpfr_const_pi(t, MPFR_RNDN);
    mul_u64(t, t, k);
    mpfr_div_2ui(t, t, 1, MPFR_RNDN);
    const long double x = mpfr_get_ld(t, MPFR_RNDN);
    xs.push_back(x), xs.push_back(std::nextafter(x, 0.0L)), xs.push_back(-std::nextafter(x, INFINITY));
  }
  mpfr_clear(t);
  expect_sincos_within(xs, "nearest to k pi/2");
}

// In each binade [2^E, 2^(E+1)) the significands M whose x * 2/pi lies
// closest to an integer are multiples of the continued-fraction denominators
// of frac(2^(E-63) 2/pi).  Returns the candidate x and its distance
// |x 2/pi - k| (in units of pi/2).
struct Hard {
  long double x;
  double dist_log2;
};

void hardest_in_binade(int e, mpfr_srcptr two_over_pi, std::vector<Hard>& out) {
  mpfr_t beta, x, a;
  mpfr_inits2(400, beta, x, a, nullptr);
  {
    mpfr_t scaled;
    mpfr_init2(scaled, mpfr_get_prec(two_over_pi));
    mpfr_mul_2si(scaled, two_over_pi, e - 63, MPFR_RNDN);
    mpfr_frac(beta, scaled, MPFR_RNDN);
    mpfr_clear(scaled);
  }
  mpfr_set(x, beta, MPFR_RNDN);
  uint64_t qprev = 0, q = 1;  // q_{n-1}, q_n: q_n = a_n q_{n-1} + q_{n-2}
  for (int step = 0; step < 200 && !mpfr_zero_p(x); ++step) {
    mpfr_ui_div(x, 1, x, MPFR_RNDN);
    mpfr_floor(a, x);
    if (mpfr_cmp_ui_2exp(a, 1, 64) >= 0) break;
    const uint64_t an = mpfr_get_uj(a, MPFR_RNDZ);
    mpfr_sub(x, x, a, MPFR_RNDN);
    uint64_t next;
    if (__builtin_mul_overflow(an, q, &next) || __builtin_add_overflow(next, qprev, &next)) break;
    qprev = q, q = next;
    // Multiples of q in [2^63, 2^64).
    const uint64_t c = q >= (1ull << 63) ? 1 : ((1ull << 63) + q - 1) / q;
    uint64_t m;
    if (__builtin_mul_overflow(c, q, &m)) continue;
    long double xv = std::ldexp(static_cast<long double>(m), e - 63);
    mpfr_t d;
    mpfr_init2(d, 400);
    mul_u64(d, beta, m);
    mpfr_frac(d, d, MPFR_RNDN);
    if (mpfr_cmp_d(d, 0.5) > 0) mpfr_ui_sub(d, 1, d, MPFR_RNDN);
    const double dl = mpfr_zero_p(d) ? -1e9 : std::log2(mpfr_get_d(d, MPFR_RNDN));
    mpfr_clear(d);
    if (q > (1ull << 20)) out.push_back({xv, dl});
  }
  mpfr_clears(beta, x, a, nullptr);
}

TEST(LdSinCos, HardestReductionsOfEveryBinade) {
  mpfr_t two_over_pi;
  mpfr_init2(two_over_pi, 16384 + 600);
  mpfr_const_pi(two_over_pi, MPFR_RNDN);
  mpfr_ui_div(two_over_pi, 2, two_over_pi, MPFR_RNDN);
  std::vector<Hard> hard;
  const int stride = kEmulated ? 97 : 1;
  for (int e = 0; e <= 16383; e += (e < 128 ? 1 : stride)) hardest_in_binade(e, two_over_pi, hard);
  mpfr_clear(two_over_pi);
  // Evaluate the hardest few hundred (and every 16th of the rest, natively).
  std::sort(hard.begin(), hard.end(), [](const Hard& a, const Hard& b) { return a.dist_log2 < b.dist_log2; });
  std::vector<long double> xs;
  for (size_t i = 0; i < hard.size(); ++i)
    if (i < 400 || (!kEmulated && i % 16 == 0)) xs.push_back(hard[i].x), xs.push_back(-hard[i].x);
  ASSERT_FALSE(hard.empty());
  std::printf("  closest approach to k pi/2: x = %s, |x 2/pi - k| = 2^%.1f\n", hex(hard[0].x).c_str(),
              hard[0].dist_log2);
  expect_sincos_within(xs, "hardest reductions");
}

struct SinCosSpecial {
  long double x;
  long double sin, cos;  // expected values (NaN: any NaN); tan x = sin x here
  uint16_t flags;        // raised by each of sinl, cosl, tanl and sincosl
  uint16_t sin_only;     // raised by sinl, tanl and sincosl only
};

TEST(LdSinCos, SpecialValuesAndFlags) {
  const long double inf = INFINITY, nan = NAN, snan = std::numeric_limits<long double>::signaling_NaN();
  const long double sub = 0x1p-16400L, mn = LDBL_MIN;
  const SinCosSpecial cases[] = {
      {0.0L, 0.0L, 1.0L, 0, 0},
      {-0.0L, -0.0L, 1.0L, 0, 0},
      {inf, nan, nan, kInvalid, 0},
      {-inf, nan, nan, kInvalid, 0},
      {nan, nan, nan, 0, 0},
      {snan, nan, nan, kInvalid, 0},
      {sub, sub, 1.0L, kInexact, kUnderflow},
      {-sub, -sub, 1.0L, kInexact, kUnderflow},
      {mn, mn, 1.0L, kInexact, 0},
      {0x1p-33L, 0x1p-33L, 1.0L, kInexact, 0},
  };
  for (const auto& c : cases) {
    long double s, co, ps, pc, ta;
    uint16_t fs, fc, fsc, ft;
    {
      ScopedControlWord cw(kPrecision64);
      ta = orxtanl_scalar(c.x), ft = ieee_flags(), clear_flags();
      s = orxsinl_scalar(c.x), fs = ieee_flags(), clear_flags();
      co = orxcosl_scalar(c.x), fc = ieee_flags(), clear_flags();
      orxsincosl_scalar(c.x, &ps, &pc), fsc = ieee_flags();
    }
    const std::string what = hex(c.x);
    for (auto [got, want] : {std::pair{s, c.sin}, {co, c.cos}, {ps, c.sin}, {pc, c.cos}, {ta, c.sin}}) {
      if (std::isnan(want))
        EXPECT_TRUE(std::isnan(got)) << what;
      else
        EXPECT_TRUE(same(got, want)) << what << " gave " << hex(got);
    }
    EXPECT_EQ(fs, c.flags | c.sin_only) << what;
    EXPECT_EQ(fc, c.flags) << what;
    EXPECT_EQ(fsc, c.flags | c.sin_only) << what;
    EXPECT_EQ(ft, c.flags | c.sin_only) << what;
  }
}

// ---- atan2 ------------------------------------------------------------------

TEST(LdAtan2, AnnexFSpecialValues) {
  const long double inf = INFINITY, nan = NAN, pi = 0xc.90fdaa22168c235p-2L, pio2 = pi / 2, pio4 = pi / 4;
  const long double tpio4 = 0x9.6cbe3f9990e91a8p-2L;
  const struct {
    long double y, x, want;
    uint16_t flags;
  } cases[] = {
      {0.0L, 0.0L, 0.0L, 0},          {-0.0L, 0.0L, -0.0L, 0},        {0.0L, -0.0L, pi, kInexact},
      {-0.0L, -0.0L, -pi, kInexact},  {0.0L, 3.0L, 0.0L, 0},          {-0.0L, 3.0L, -0.0L, 0},
      {0.0L, -3.0L, pi, kInexact},    {-0.0L, -3.0L, -pi, kInexact},  {2.0L, 0.0L, pio2, kInexact},
      {2.0L, -0.0L, pio2, kInexact},  {-2.0L, 0.0L, -pio2, kInexact}, {-2.0L, -0.0L, -pio2, kInexact},
      {inf, 5.0L, pio2, kInexact},    {-inf, -5.0L, -pio2, kInexact}, {inf, inf, pio4, kInexact},
      {-inf, inf, -pio4, kInexact},   {inf, -inf, tpio4, kInexact},   {-inf, -inf, -tpio4, kInexact},
      {7.0L, inf, 0.0L, 0},           {-7.0L, inf, -0.0L, 0},         {7.0L, -inf, pi, kInexact},
      {-7.0L, -inf, -pi, kInexact},   {0.0L, inf, 0.0L, 0},           {-0.0L, -inf, -pi, kInexact},
      {1.0L, 1.0L, pio4, kInexact},   {-1.0L, -1.0L, -tpio4, kInexact}, {nan, 1.0L, nan, 0},
      {1.0L, nan, nan, 0},            {nan, inf, nan, 0},             {inf, nan, nan, 0},
  };
  for (const auto& c : cases) {
    long double r;
    uint16_t f;
    {
      ScopedControlWord cw(kPrecision64);
      r = orxatan2l_scalar(c.y, c.x);
      f = ieee_flags();
    }
    const std::string what = "atan2l(" + hex(c.y) + ", " + hex(c.x) + ")";
    if (std::isnan(c.want))
      EXPECT_TRUE(std::isnan(r)) << what;
    else
      EXPECT_TRUE(same(r, c.want)) << what << " gave " << hex(r);
    EXPECT_EQ(f, c.flags) << what;
  }
}

TEST(LdAtan, AccuracyAndSpecialValues) {
  // Every magnitude: below 2^-80 atan x rounds like x; above 2^80 like pi/2.
  const auto xs = random_ld(-16445, 16383, count(100000), 0xA7A1);
  const auto ys = random_ld(-3, 3, count(100000), 0xA7A0);
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  kelacc::Summary s;
  for (const auto* v : {&xs, &ys})
    for (long double x : *v) {
      if (std::fabs(x) < LDBL_MIN) x = std::ldexp(std::round(std::ldexp(x, 16445)), -16445);
      long double r;
      {
        ScopedControlWord cw(kPrecision64);
        r = orxatanl_scalar(x);
      }
      kelacc::exact_unary(exact, mpfr_atan, x);
      note(s, kelacc::ulp_error<long double>(r, exact), x, r);
    }
  mpfr_clear(exact);
  EXPECT_LE(s.max_ulps, kAtan2Bound) << s.describe("atanl");
  EXPECT_EQ(s.class_errors, 0u) << s.describe("atanl");
  std::printf("  atanl %zu args  max %.6f ulp\n", s.samples, s.max_ulps);

  const long double pio2 = 0xc.90fdaa22168c235p-3L;
  const struct {
    long double x, want;
    uint16_t flags;
  } cases[] = {
      {0.0L, 0.0L, 0},
      {-0.0L, -0.0L, 0},
      {INFINITY, pio2, kInexact},
      {-INFINITY, -pio2, kInexact},
      {LDBL_MAX, pio2, kInexact},
      {0x1p-16445L, 0x1p-16445L, kInexact | kUnderflow},
      {-0x1p-90L, -0x1p-90L, kInexact},
      {1.0L, 0xc.90fdaa22168c235p-4L, kInexact},
  };
  for (const auto& c : cases) {
    long double r;
    uint16_t f;
    {
      ScopedControlWord cw(kPrecision64);
      r = orxatanl_scalar(c.x);
      f = ieee_flags();
    }
    EXPECT_TRUE(same(r, c.want)) << hex(c.x) << " gave " << hex(r);
    EXPECT_EQ(f, c.flags) << hex(c.x);
  }
  EXPECT_TRUE(std::isnan(orxatanl_scalar(NAN)));
}

kelacc::Summary measure_atan2(const std::vector<long double>& ys, const std::vector<long double>& xs) {
  kelacc::Summary s;
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  for (size_t i = 0; i < ys.size(); ++i) {
    long double r;
    {
      ScopedControlWord cw(kPrecision64);
      r = orxatan2l_scalar(ys[i], xs[i]);
    }
    kelacc::exact_binary(exact, mpfr_atan2, ys[i], xs[i]);
    const kelacc::Error e = kelacc::ulp_error<long double>(r, exact);
    note(s, e, ys[i], r);
    if (e.ulps == s.max_ulps) s.worst_input2 = xs[i];
  }
  mpfr_clear(exact);
  return s;
}

TEST(LdAtan2, AccuracyInAllQuadrants) {
  // y and x with exponents drawn from a window: the ratio spans that window.
  const struct {
    const char* name;
    int ylo, yhi, xlo, xhi;
  } ranges[] = {
      {"ratio near 1", 0, 1, 0, 1},
      {"ratio 2^-70..2^70", -35, 35, -35, 35},
      {"tiny ratio (one rounding)", -130, -70, 0, 10},
      {"huge ratio", 0, 10, -130, -70},
      {"extreme magnitudes", -16440, -16300, -16440, -16300},
      {"top of the range", 16300, 16383, 16300, 16383},
      {"subnormal over normal", -16445, -16383, -100, 0},
  };
  for (const auto& r : ranges) {
    const size_t n = count(100000);
    auto ys = random_ld(r.ylo, r.yhi, n, 0xA7A2 + r.ylo), xs = random_ld(r.xlo, r.xhi, n, 0xA7A3 + r.xhi);
    for (auto* v : {&ys, &xs})  // exponents below the normal range become subnormal values
      for (auto& z : *v)
        if (std::fabs(z) < LDBL_MIN) z = std::ldexp(std::round(std::ldexp(z, 16445)), -16445);
    const kelacc::Summary s = measure_atan2(ys, xs);
    EXPECT_LE(s.max_ulps, kAtan2Bound) << r.name << ": " << s.describe("atan2l");
    EXPECT_EQ(s.class_errors, 0u) << r.name << ": " << s.describe("atan2l");
    std::printf("  %-28s %7zu args  atan2l max %.6f ulp\n", r.name, n, s.max_ulps);
  }
}

TEST(LdAtan2, SubnormalResultRoundsOnceAndUnderflows) {
  const long double y = 0x1.8p-16440L, x = 0x1.4p+3L;
  long double r;
  uint16_t f;
  {
    ScopedControlWord cw(kPrecision64);
    r = orxatan2l_scalar(y, x);
    f = ieee_flags();
  }
  EXPECT_TRUE(same(r, y / x));
  EXPECT_EQ(f, kUnderflow | kInexact);
  {  // pi/2 - tiny: no underflow
    ScopedControlWord cw(kPrecision64);
    r = orxatan2l_scalar(x, -y);
    f = ieee_flags();
  }
  EXPECT_TRUE(same(r, 0xc.90fdaa22168c235p-3L)) << hex(r);
  EXPECT_EQ(f, kInexact);
}

// ---- square root ------------------------------------------------------------

TEST(LdSqrt, CorrectlyRoundedEverywhere) {
  std::vector<long double> xs = random_ld(-16445, 16383, count(400000), 0x5C27, false);
  for (auto& z : xs)
    if (z < LDBL_MIN) z = std::ldexp(std::round(std::ldexp(z, 16445)), -16445);
  // Just beside exact squares, where the remainder is smallest.
  std::mt19937_64 g(0x5C28);
  for (size_t i = 0; i < count(100000); ++i) {
    const long double s = std::ldexp(static_cast<long double>(g() >> 32 | 1ull << 31), static_cast<int>(g() % 200) - 100);
    xs.push_back(std::nextafter(s * s, 0.0L)), xs.push_back(std::nextafter(s * s, INFINITY));
  }
  xs.push_back(LDBL_MAX), xs.push_back(LDBL_MIN), xs.push_back(0x1p-16445L), xs.push_back(std::nextafter(4.0L, 0.0L));
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  size_t wrong = 0;
  for (long double x : xs) {
    long double r;
    {
      ScopedControlWord cw(kPrecision64);
      r = orxsqrtl_scalar(x);
    }
    kelacc::exact_unary(exact, mpfr_sqrt, x);
    const long double want = kelacc::correctly_rounded<long double>(exact);
    if (!same(r, want) && wrong++ < 5) ADD_FAILURE() << "sqrtl(" << hex(x) << ") = " << hex(r) << ", want " << hex(want);
  }
  mpfr_clear(exact);
  EXPECT_EQ(wrong, 0u);
  std::printf("  sqrtl: %zu args, %zu not correctly rounded\n", xs.size(), wrong);
}

TEST(LdSqrt, ExactSquaresRaiseNothing) {
  std::mt19937_64 g(0x5C29);
  for (int i = 0; i < 2000; ++i) {
    const long double s = std::ldexp(static_cast<long double>(g() >> 32 | 1), static_cast<int>(g() % 16000) - 8000 - 32);
    long double r;
    uint16_t f;
    {
      ScopedControlWord cw(kPrecision64);
      r = orxsqrtl_scalar(s * s);
      f = ieee_flags();
    }
    ASSERT_TRUE(same(r, s)) << hex(s * s) << " gave " << hex(r);
    ASSERT_EQ(f, 0) << hex(s * s);
  }
}

TEST(LdSqrt, SpecialValuesAndFlags) {
  const long double inf = INFINITY, nan = NAN, snan = std::numeric_limits<long double>::signaling_NaN();
  const struct {
    long double x, want;
    uint16_t flags;
  } cases[] = {
      {0.0L, 0.0L, 0},         {-0.0L, -0.0L, 0},       {inf, inf, 0},
      {-inf, nan, kInvalid},   {-1.0L, nan, kInvalid},  {-0x1p-16445L, nan, kInvalid},
      {nan, nan, 0},           {snan, nan, kInvalid},   {4.0L, 2.0L, 0},
      {2.0L, 0x1.6a09e667f3bcc908b2fb1366ea95p+0L, kInexact},
      {0x1p-16444L, 0x1p-8222L, 0},  // subnormal, exact
      {0x1p-16445L, 0x1.6a09e667f3bcc908b2fb1366ea95p-8223L, kInexact},
      {LDBL_MAX, 0x1.fffffffffffffffep+8191L, kInexact},
  };
  for (const auto& c : cases) {
    long double r;
    uint16_t f;
    {
      ScopedControlWord cw(kPrecision64);
      r = orxsqrtl_scalar(c.x);
      f = ieee_flags();
    }
    if (std::isnan(c.want))
      EXPECT_TRUE(std::isnan(r)) << hex(c.x);
    else
      EXPECT_TRUE(same(r, c.want)) << hex(c.x) << " gave " << hex(r);
    EXPECT_EQ(f, c.flags) << hex(c.x);
  }
}

// ---- all kernels ------------------------------------------------------------

// The kernels run under the caller's control word and leave it alone.
TEST(LdKernels, ControlWordUntouched) {
  const long double args[] = {0.5L, 3.0L, 1e7L, 1e300L, LDBL_MAX, -0x1p-16445L, INFINITY};
  for (uint16_t word : {uint16_t{0x037F}, uint16_t{0x137F}}) {
    ScopedControlWord cw(word);
    for (long double x : args) {
      long double s, c;
      volatile long double sink = orxsinl_scalar(x) + orxcosl_scalar(x) + orxatan2l_scalar(x, 2.0L) +
                                  orxatan2l_scalar(1.0L, x) + orxsqrtl_scalar(x);
      orxsincosl_scalar(x, &s, &c);
      (void)sink;
      ASSERT_EQ(control_word(), word) << hex(x);
    }
  }
}

// A digest of the kernels over fixed inputs, for comparing the i386 and the
// native build by hand (both print the same line).
TEST(LdKernels, Digest) {
  uint64_t h = 0xcbf29ce484222325ull;
  auto add = [&](long double v) {
    const Ld p = parts(v);
    for (uint64_t w : {p.mant, uint64_t{p.se}})
      for (int i = 0; i < 8; ++i) h = (h ^ ((w >> (8 * i)) & 0xFF)) * 0x100000001b3ull;
  };
  uint64_t s = 0x2545F4914F6CDD1Dull;
  ScopedControlWord cw(kPrecision64);
  for (int i = 0; i < 4000; ++i) {
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    Ld p{(s << 11) | (1ull << 63), static_cast<uint16_t>((s >> 48) % 32767 | ((s >> 20) & 0x8000))};
    if (i % 2) p.se = static_cast<uint16_t>((16383 - 40 + (s >> 40) % 80) | ((s >> 20) & 0x8000));
    long double x = 0, y, c;
    std::memcpy(&x, &p.mant, 8), std::memcpy(reinterpret_cast<char*>(&x) + 8, &p.se, 2);
    orxsincosl_scalar(x, &y, &c);
    add(y), add(c), add(orxsinl_scalar(x)), add(orxcosl_scalar(x)), add(orxsqrtl_scalar(x));
    add(orxatan2l_scalar(x, 1.0L + i)), add(orxatan2l_scalar(-3.0L, x));
    add(orxtanl_scalar(x)), add(orxatanl_scalar(x));
  }
  std::printf("  ld kernel digest %016llx\n", static_cast<unsigned long long>(h));
}

}  // namespace

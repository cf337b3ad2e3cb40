// The accuracy toolkit itself: correct rounding of the references (against
// glibc's correctly rounded operations), the ulp and normwise measures, the
// references without a direct MPFR function, the generators, and the check
// helper, which must catch a 2-ulp error.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <set>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"
#include "references.h"

using namespace kelacc;
using namespace kelfpu;

namespace {

struct Exact {
  mpfr_t v;
  Exact() { mpfr_init2(v, kExactBits); }
  ~Exact() { mpfr_clear(v); }
};

template <class T>
T cr_unary(MpfrUnary f, T x) {
  Exact e;
  exact_unary(e.v, f, x);
  return correctly_rounded<T>(e.v);
}

// ---- Correct rounding into the formats ---------------------------------------

// Exact values given as m * 2^e (m a small integer plus an optional tiny
// excess 2^-300): rounding must happen once, subnormals included.
struct RoundCase {
  long double m;  // an integer below 2^64
  long e;
  int excess;  // -1, 0, +1: subtract or add 2^-300 relative
  double expected;
};

TEST(CorrectlyRounded, DoubleSubnormalAndOverflowBoundaries) {
  const RoundCase cases[] = {
      {1, -1075, 0, 0.0},                      // half the smallest subnormal: tie to even zero
      {1, -1075, 1, 0x1p-1074},                // just above the tie
      {3, -1076, 0, 0x1p-1074},                // 0.75 ulp
      {3, -1075, 0, 0x1p-1073},                // 1.5 ulps: tie to even, up
      {5, -1075, 0, 0x1p-1073},                // 2.5 ulps: tie to even, down
      {5, -1075, 1, 0x1.8p-1073},              // just above: up
      {0x1p53L - 1, -1075, 0, 0x1p-1022},   // rounds up into the normal range
      {0x1p54L - 1, 970, 0, INFINITY},      // DBL_MAX plus half an ulp: overflows
      {0x1p54L - 1, 970, -1, 0x1.fffffffffffffp+1023},
      {-3, -1075, 0, -0x1p-1073},
      {-1, -1076, 0, -0.0},
  };
  for (const auto& c : cases) {
    Exact x;
    mpfr_set_prec(x.v, 1024);
    mpfr_set_ld(x.v, c.m, MPFR_RNDN);
    mpfr_mul_2si(x.v, x.v, c.e, MPFR_RNDN);
    if (c.excess) {
      Exact t;
      mpfr_set_prec(t.v, 1024);
      mpfr_mul_2si(t.v, x.v, -300, MPFR_RNDN);
      c.excess > 0 ? mpfr_add(x.v, x.v, t.v, MPFR_RNDN) : mpfr_sub(x.v, x.v, t.v, MPFR_RNDN);
    }
    EXPECT_TRUE(same_bits(correctly_rounded<double>(x.v), c.expected)) << c.m << "*2^" << c.e << " " << c.excess;
    // The same value scaled into float's range gives the float answer.
    mpfr_mul_2si(x.v, x.v, 1074 - 149, MPFR_RNDN);
    const float f = correctly_rounded<float>(x.v);
    const double scaled = std::ldexp(c.expected, 1074 - 149);
    if (std::fabs(c.expected) < 0x1p-1000) {
      EXPECT_TRUE(same_bits(f, static_cast<float>(scaled))) << c.m;
    }
  }
}

// glibc's sqrt, fsqrt/dsqrtl and fdiv/ddivl (C23 narrowing operations) are
// correctly rounded; our references must agree with them bit for bit.
TEST(CorrectlyRounded, AgreesWithGlibcOnSqrtAndReciprocal) {
  const size_t n = sizeof(void*) == 4 ? 20000 : 1000000;
  auto ds = random_bits_in<double>(-std::numeric_limits<double>::max(), std::numeric_limits<double>::max(), n, 11);
  auto fs = random_bits_in<float>(-std::numeric_limits<float>::max(), std::numeric_limits<float>::max(), n, 12);
  // Reciprocals with subnormal results and overflowing ones.
  for (size_t i = 0; i < n; i += 8) {
    ds[i] = std::ldexp(1.0 + (i % 977) / 977.0, 1022 + static_cast<int>(i % 3)) * (i % 16 ? 1 : -1);
    fs[i] = std::ldexp(1.0f + (i % 977) / 977.0f, 126 + static_cast<int>(i % 3));
  }
  size_t mismatches = 0, subnormal_results = 0;
  for (size_t i = 0; i < n; ++i) {
    const double d = ds[i], ad = std::fabs(d);
    const float f = fs[i], af = std::fabs(f);
    const double rd = cr_unary<double>(ref_inv, d), sd = cr_unary<double>(mpfr_sqrt, ad);
    const float rf = cr_unary<float>(ref_inv, f), sf = cr_unary<float>(mpfr_sqrt, af);
    subnormal_results += std::fpclassify(rd) == FP_SUBNORMAL;
    // On i386 sqrt is the x87 square root, which rounds correctly to double
    // only under 53-bit precision control (at 64 bits it would round twice).
    volatile double libm_sqrt;
    {
      kelfpu::ScopedControlWord cw(kelfpu::kDouble);
      libm_sqrt = std::sqrt(ad);
    }
    const bool ok = same_bits(rd, ddivl(1.0L, d)) && same_bits(sd, dsqrtl(ad)) && same_bits(sd, +libm_sqrt) &&
                    same_bits(rf, fdiv(1.0, f)) && same_bits(sf, fsqrt(af)) && same_bits(sf, std::sqrt(af));
    if (!ok && mismatches++ < 5) ADD_FAILURE() << "x = " << hex(d) << " / " << hex(f);
  }
  EXPECT_EQ(mismatches, 0u) << "of " << n;
  EXPECT_GT(subnormal_results, n / 20);
}

// ---- Error measures ------------------------------------------------------------

struct UlpCase {
  double exact;  // exact value (a double, so representable)
  double offset_ulps;  // exact is moved by this many ulps of its binade before measuring
  double y;
  double ulps;
  bool class_error;
};

TEST(UlpError, DoubleBinadesSubnormalsAndClasses) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = INFINITY;
  const UlpCase cases[] = {
      {1.0, 0, 1.0, 0, false},
      {1.0, 0.25, 1.0, 0.25, false},
      {1.0, 0, 0x1.0000000000002p0, 2, false},
      {1.0, 0, 0x1.fffffffffffffp-1, 0.5, false},  // below 1, measured in ulps of 1's binade
      {0x1p-1074, 0, 0x1p-1073, 1, false},       // the subnormal ulp
      {0.0, 0, 0x1p-1074, 1, false},
      {0.0, 0, -0.0, 0, true},
      {-0.0, 0, -0.0, 0, false},
      {1.0, 0, nan, 0, true},
      {nan, 0, 1.0, 0, true},
      {nan, 0, nan, 0, false},
      {inf, 0, 0x1.fffffffffffffp+1023, 0, true},
      {0x1.fffffffffffffp+1023, 0, inf, 0, true},
      {-inf, 0, -inf, 0, false},
  };
  for (const auto& c : cases) {
    Exact e;
    mpfr_set_d(e.v, c.exact, MPFR_RNDN);
    if (c.offset_ulps != 0) {
      Exact t;
      mpfr_set_d(t.v, c.offset_ulps * std::ldexp(1.0, std::ilogb(c.exact) - 52), MPFR_RNDN);
      mpfr_add(e.v, e.v, t.v, MPFR_RNDN);
    }
    const Error err = ulp_error<double>(c.y, e.v);
    EXPECT_EQ(err.class_error, c.class_error) << c.exact << " vs " << c.y;
    if (!c.class_error) {
      EXPECT_DOUBLE_EQ(err.ulps, c.ulps) << c.exact << " vs " << c.y;
    }
  }
  // Below 2^-1022 the ulp is 2^-1074 whatever the binade.
  Exact e;
  mpfr_set_d(e.v, 0x1p-1030, MPFR_RNDN);
  EXPECT_DOUBLE_EQ(ulp_error<double>(0x1p-1030 + 0x1p-1074, e.v).ulps, 1.0);
  // Float and long double use their own ulps.
  mpfr_set_d(e.v, 1.0, MPFR_RNDN);
  EXPECT_DOUBLE_EQ(ulp_error<float>(1.0f + 0x1p-22f, e.v).ulps, 2.0);
  EXPECT_DOUBLE_EQ(ulp_error<long double>(1.0L + 0x1p-62L, e.v).ulps, 2.0);
  mpfr_set_d(e.v, 0x1p-149, MPFR_RNDN);
  EXPECT_DOUBLE_EQ(ulp_error<float>(0x1p-147f, e.v).ulps, 3.0);
}

struct ComplexCase {
  double ere, eim;  // exact
  double yre, yim;
  double ulps;
  bool class_error;
};

TEST(ComplexError, NormwiseInUlpsOfTheLargerPart) {
  const double inf = INFINITY, nan = NAN;
  const ComplexCase cases[] = {
      {1.0, 1e-20, 1.0, 0.0, 1e-20 / 0x1p-52, false},  // the tiny part's error counts in ulps of 1
      {1.0, 1e-20, 1.0, 2e-20, 1e-20 / 0x1p-52, false},
      {0x1p-3, 1.0, 0x1p-3 + 0x1p-52, 1.0, 1, false},   // small part off by one ulp of the big part
      {1.0, 0.0, 1.0, -0.0, 0, true},                   // the sign of a zero part is a class
      {inf, 1.0, inf, 1.0 + 0x1p-51, 2, false},         // infinite part drops out
      {nan, 2.0, nan, 2.0, 0, false},
      {nan, 2.0, 1.0, 2.0, 0, true},
      {0.0, 0.0, 0x1p-1074, 0.0, 1, false},
  };
  for (const auto& c : cases) {
    mpc_t e;
    mpc_init2(e, kExactBits);
    mpc_set_d_d(e, c.ere, c.eim, MPC_RNDNN);
    const Error err = complex_ulp_error<double>(c.yre, c.yim, e);
    EXPECT_EQ(err.class_error, c.class_error) << c.ere << "," << c.eim;
    if (!c.class_error) {
      EXPECT_NEAR(err.ulps, c.ulps, 1e-9 * (1 + c.ulps)) << c.ere << "," << c.eim;
    }
    mpc_clear(e);
  }
}

// ---- References without a direct MPFR function ------------------------------------

TEST(References, SpecialValuesAndIdentities) {
  const double inf = INFINITY;
  struct Case {
    MpfrUnary f;
    double x, expected;
    const char* what;
  } cases[] = {
      {ref_inv, -0.0, -inf, "1/-0"},
      {ref_inv, 4.0, 0.25, "1/4"},
      {ref_invsqrt, -0.0, -inf, "invsqrt(-0)"},
      {ref_invsqrt, 0.25, 2.0, "invsqrt(1/4)"},
      {ref_invsqrt, inf, 0.0, "invsqrt(inf)"},
      {ref_invcbrt, -8.0, -0.5, "invcbrt(-8)"},
      {ref_invcbrt, -0.0, -inf, "invcbrt(-0)"},
      {ref_invcbrt, 0x1p-1074, 0x1p358, "invcbrt(2^-1074)"},
      {ref_erfinv, 0.5, 0.47693627620446987, "erfinv(1/2)"},
      {ref_erfinv, -0.0, -0.0, "erfinv(-0)"},
      {ref_erfinv, 1.0, inf, "erfinv(1)"},
      {ref_sind, 180.0, 0.0, "sind(180)"},
      {ref_sind, -30.0, -0.5, "sind(-30)"},
      {ref_cosd, 90.0, 0.0, "cosd(90)"},
      {ref_nearbyint, 2.5, 2.0, "nearbyint(2.5)"},
      {ref_round, 2.5, 3.0, "round(2.5)"},
      {ref_round, -0.4, -0.0, "round(-0.4)"},
      {ref_ceil, -0.5, -0.0, "ceil(-0.5)"},
      {ref_modf_int, -3.75, -3.0, "modf int"},
      {ref_modf_frac, -3.0, -0.0, "modf frac of an integer"},
      {ref_modf_frac, -inf, -0.0, "modf frac of -inf"},
      {ref_modf_frac, 2.75, 0.75, "modf frac"},
  };
  for (const auto& c : cases) EXPECT_TRUE(same_bits(cr_unary<double>(c.f, c.x), c.expected)) << c.what;
  EXPECT_TRUE(std::isnan(cr_unary<double>(ref_erfinv, 1.5)));
  EXPECT_TRUE(std::isnan(cr_unary<double>(ref_invsqrt, -1.0)));
}

// erf(erfinv(x)) returns x to the working precision, across the range and
// deep in the tails, where the iteration runs on erfc.
TEST(References, ErfInvInvertsErf) {
  const double xs[] = {0x1p-1074, 1e-300, 1e-5, 0.1, 0.5, 0.9, 0.999999, 1 - 0x1p-53, -(1 - 0x1p-30), -0.75};
  for (double x : xs) {
    Exact y, back, d;
    exact_unary(y.v, ref_erfinv, x);
    mpfr_erf(back.v, y.v, MPFR_RNDN);
    mpfr_sub_d(d.v, back.v, x, MPFR_RNDN);
    if (std::fabs(x) > 0.5) {  // relative to 1 - |x| in the tails
      mpfr_div_d(d.v, d.v, 1 - std::fabs(x), MPFR_RNDN);
    } else {
      mpfr_div_d(d.v, d.v, x, MPFR_RNDN);
    }
    EXPECT_LT(std::fabs(mpfr_get_d(d.v, MPFR_RNDN)), 0x1p-240) << x;
  }
}

// ---- Generators -------------------------------------------------------------------

TEST(Generators, ReproducibleSizedAndCoverTheirRegions) {
  for (const auto& f : real_functions()) {
    const auto a = f.gen64(500, 7), b = f.gen64(500, 7), c = f.gen64(500, 8);
    ASSERT_EQ(a.a.size(), 500u) << f.name;
    EXPECT_EQ(std::memcmp(a.a.data(), b.a.data(), 500 * sizeof(double)), 0) << f.name;
    EXPECT_NE(std::memcmp(a.a.data(), c.a.data(), 500 * sizeof(double)), 0) << f.name;
    if (f.shape == Shape::binary) {
      EXPECT_EQ(a.b.size(), 500u) << f.name;
    }
    if (f.shape == Shape::scalar) {
      EXPECT_FALSE(a.scalars.empty()) << f.name;
    }
    EXPECT_EQ(f.gen32(300, 7).a.size(), 300u) << f.name;
  }
  for (const auto& f : complex_functions()) EXPECT_EQ(f.gen64(300, 7).a.size(), 300u) << f.name;
  for (const auto& f : kernel_functions()) EXPECT_EQ(f.gen(300, 7).a.size(), 300u) << f.name;

  // The trigonometric inputs hold arguments within a few ulps of k pi/2 for
  // large k, and the exponential ones the overflow threshold's neighbours.
  const auto trig = gen_trig<double>(4000, 3).a;
  size_t near_multiple = 0;
  for (double x : trig) {
    Exact t, q;
    mpfr_const_pi(t.v, MPFR_RNDN);
    mpfr_set_d(q.v, x, MPFR_RNDN);
    mpfr_div(q.v, q.v, t.v, MPFR_RNDN);
    mpfr_mul_2ui(q.v, q.v, 1, MPFR_RNDN);
    mpfr_frac(q.v, q.v, MPFR_RNDN);
    const double fr = std::fabs(mpfr_get_d(q.v, MPFR_RNDN));
    near_multiple += std::fabs(x) > 1e3 && std::fabs(x) < 1e15 && std::min(fr, 1 - fr) < std::fabs(x) * 0x1p-48;
  }
  EXPECT_GT(near_multiple, 400u);
  const auto ex = gen_exp<double>(4000, 3).a;
  EXPECT_GT(std::count_if(ex.begin(), ex.end(), [](double x) { return std::fabs(x - 709.782712893384) < 1e-12; }),
            50);
  const auto ld = gen_sqrt<long double>(2000, 3).a;
  EXPECT_GT(std::count_if(ld.begin(), ld.end(), [](long double x) { return x > 0 && x < 0x1p-16382L; }), 50);
}

// The same seed gives the same inputs on the i386 and the native build: a
// hash of every generator's output is fixed.
uint64_t fnv(uint64_t h, const void* p, size_t n) {
  for (size_t i = 0; i < n; ++i) h = (h ^ static_cast<const unsigned char*>(p)[i]) * 0x100000001b3ull;
  return h;
}
template <class T>
uint64_t hash_inputs(uint64_t h, const Inputs<T>& in) {
  auto add = [&](const std::vector<T>& v) {
    for (const T& x : v) h = fnv(h, &x, sizeof(T) == 12 || sizeof(T) == 16 ? 10 : sizeof(T));
  };
  add(in.a);
  add(in.b);
  add(in.scalars);
  return h;
}

TEST(Generators, IdenticalOnBothBuilds) {
  uint64_t h = 0xcbf29ce484222325ull;
  for (const auto& f : real_functions()) h = hash_inputs(hash_inputs(h, f.gen32(200, 9)), f.gen64(200, 9));
  for (const auto& f : kernel_functions()) h = hash_inputs(h, f.gen(200, 9));
  uint64_t hc = 0xcbf29ce484222325ull;
  for (const auto& f : complex_functions()) {
    for (const auto& z : f.gen64(200, 9).a) hc = fnv(fnv(hc, &z.re, 8), &z.im, 8);
    for (const auto& z : f.gen32(200, 9).a) hc = fnv(fnv(hc, &z.re, 4), &z.im, 4);
  }
  EXPECT_EQ(h, 15841101690643250652ull) << std::hex << h;
  EXPECT_EQ(hc, 4236432301753482092ull) << std::hex << hc;
}

TEST(Registry, NamesEveryExportedFunctionOnce) {
  const auto names = exported_names();
  std::set<std::string> unique;
  size_t real = 0, complex = 0, kernel = 0;
  for (const auto& n : names) {
    unique.insert(n.name);
    ParsedName p;
    ASSERT_TRUE(parse_name(n.name, &p)) << n.name;
    EXPECT_EQ(p.family, n.family);
    EXPECT_EQ(p.flavour, n.flavour);
    real += n.kind == ExportedName::real;
    complex += n.kind == ExportedName::complex;
    kernel += n.kind == ExportedName::kernel;
  }
  EXPECT_EQ(unique.size(), names.size());
  EXPECT_EQ(real, 145u + 14u);  // 29 families x 5 flavours, 7 rounding functions x 2 types
  EXPECT_EQ(complex, 90u);
  EXPECT_EQ(kernel, 22u);
}

// ---- The check helper catches errors ---------------------------------------------

// Correctly rounded 1/x (glibc's narrowing division), optionally moved by a
// number of ulps on every 37th element, or turned into a NaN.
int g_perturb_ulps = 0;
bool g_perturb_class = false;
template <class T>
T perturbed(T y, size_t i) {
  if (i % 37 != 5 || !std::isfinite(y) || y == 0) return y;
  if (g_perturb_class) return std::numeric_limits<T>::quiet_NaN();
  for (int k = 0; k < g_perturb_ulps; ++k) y = std::nextafter(y, T(INFINITY));
  return y;
}
int inv64(const double* x, double* y, int n) {
  for (int i = 0; i < n; ++i) y[i] = perturbed<double>(ddivl(1.0L, x[i]), i);
  return 0;
}
int inv32(const float* x, float* y, int n) {
  for (int i = 0; i < n; ++i) y[i] = perturbed<float>(fdiv(1.0, x[i]), i);
  return 0;
}
long double fake_sqrtl(long double x) { return perturbed<long double>(std::sqrt(x), 5); }

void check_inv64_A53() {
  expect_accurate("inv64 A53", inv64, ref_inv, gen_inv<double>, "A53", 2000, 1);
}
void check_inv32_A24() {
  expect_accurate("inv32 A24", inv32, ref_inv, gen_inv<float>, "A24", 2000, 1);
}
void check_inv64_A50() {
  expect_accurate("inv64 A50", inv64, ref_inv, gen_inv<double>, "A50", 2000, 1);
}
void check_sqrtl_kernel() {
  expect_accurate("sqrtl", fake_sqrtl, mpfr_sqrt, gen_sqrt<long double>, "kernel", 500, 1);
}

TEST(CheckHelper, PassesCorrectlyRoundedResults) {
  g_perturb_ulps = 0;
  g_perturb_class = false;
  check_inv64_A53();
  check_inv32_A24();
  const Summary s = sample(inv64, ref_inv, gen_inv<double>(2000, 1));
  EXPECT_LE(s.max_ulps, 0.5);
  EXPECT_GT(s.max_ulps, 0.49);  // the sample does reach the rounding boundary
}

TEST(CheckHelper, CatchesATwoUlpError) {
  g_perturb_ulps = 2;
  EXPECT_NONFATAL_FAILURE(check_inv64_A53(), "worst: x = ");
  EXPECT_NONFATAL_FAILURE(check_inv32_A24(), "bound 1 ulp");
  check_inv64_A50();  // 2 ulps are within A50's 4
  g_perturb_ulps = 5;
  EXPECT_NONFATAL_FAILURE(check_inv64_A50(), "bound 4 ulp");
  g_perturb_ulps = 0;
}

TEST(CheckHelper, CatchesClassErrorsAndKernelErrors) {
  g_perturb_class = true;
  EXPECT_NONFATAL_FAILURE(check_inv64_A50(), "first class error: x = ");
  g_perturb_class = false;
  // A long-double kernel one ulp off the 64-bit significand passes; sixteen do not.
  g_perturb_ulps = 1;
  check_sqrtl_kernel();
  g_perturb_ulps = 16;
  EXPECT_NONFATAL_FAILURE(check_sqrtl_kernel(), "sqrtl");
  g_perturb_ulps = 0;
}

// The registered checks of the reciprocal and division family: every member
// is correctly rounded (the float ones round the 53-bit quotient once more,
// which is innocuous for division).
TEST(CheckHelper, RegisteredInvAndDiv) {
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Inv);
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Div);
  Summary s;
  double bound;
  std::string error;
  ASSERT_TRUE(sample_registered("kelsDiv_64f_A53", reinterpret_cast<AnyFunction>(&kelsDiv_64f_A53), 3000, 5, &s,
                                &bound, &error));
  EXPECT_EQ(bound, 1.0);
  EXPECT_LE(s.max_ulps, 1.0) << s.describe("Div");
  EXPECT_FALSE(sample_registered("kelsNoSuch_64f_A53", nullptr, 10, 1, &s, &bound, &error));
}

TEST(Histogram, BinsAreMonotonicAndCoverTheRange) {
  EXPECT_EQ(Histogram::bin(0), 0);
  EXPECT_EQ(Histogram::bin(0.5), 32);
  EXPECT_EQ(Histogram::bin(3.999), Histogram::kLinear - 1);
  EXPECT_EQ(Histogram::bin(4), Histogram::kLinear);
  EXPECT_EQ(Histogram::bin(8192), Histogram::kLinear + 11 * Histogram::kPerOctave);
  EXPECT_EQ(Histogram::bin(1e30), Histogram::kBins - 1);
  EXPECT_EQ(Histogram::bin(NAN), Histogram::kBins - 1);
  for (int b = 0; b + 1 < Histogram::kBins; ++b) {
    EXPECT_LT(Histogram::lower_edge(b), Histogram::lower_edge(b + 1));
    EXPECT_EQ(Histogram::bin(Histogram::lower_edge(b)), b);
  }
}

}  // namespace

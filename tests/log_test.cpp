// Natural and decimal logarithms: the element screen and its reports, the
// path switches (near-one bounds, the sqrt2 halving), subnormal scaling, the
// tables' reference rows, and accuracy against MPFR.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

// The generated tables, compiled into the test for the table checks and for
// the small models of the path boundaries below.
#include "../src/log_data.cpp"

using namespace kelfpu;
using namespace kel::logdata;

namespace {

using Fn64 = KelStatus (*)(const double*, double*, int);
using Fn32 = KelStatus (*)(const float*, float*, int);

struct Member64 {
  const char* name;
  Fn64 fn;
  bool log10;
};
struct Member32 {
  const char* name;
  Fn32 fn;
  bool log10;
};

const Member64 kDouble64[] = {{"Ln_64f_A50", kelsLn_64f_A50, false},
                              {"Ln_64f_A53", kelsLn_64f_A53, false},
                              {"Log10_64f_A50", kelsLog10_64f_A50, true},
                              {"Log10_64f_A53", kelsLog10_64f_A53, true}};
const Member32 kFloat32[] = {{"Ln_32f_A11", kelsLn_32f_A11, false},     {"Ln_32f_A21", kelsLn_32f_A21, false},
                             {"Ln_32f_A24", kelsLn_32f_A24, false},     {"Log10_32f_A11", kelsLog10_32f_A11, true},
                             {"Log10_32f_A21", kelsLog10_32f_A21, true}, {"Log10_32f_A24", kelsLog10_32f_A24, true}};

double call(Fn64 fn, double x, int* status = nullptr) {
  double y;
  const int s = fn(&x, &y, 1);
  if (status) *status = s;
  return y;
}
float call(Fn32 fn, float x, int* status = nullptr) {
  float y;
  const int s = fn(&x, &y, 1);
  if (status) *status = s;
  return y;
}

// ---- Screen ---------------------------------------------------------------

// What an input class must give: the result pattern (or any NaN), the status
// and the flags raised by the call.
enum Result { kQuietNaNSame, kDefaultNaN, kPlusInf, kMinusInf };
struct ScreenCase {
  uint64_t x;  // double pattern; float cases use the float of the same class
  uint32_t xf;
  Result result;
  int status;
  uint16_t flag;  // 0: none of invalid/divide-by-zero may be raised; kAny: not checked
  const char* what;
};

constexpr uint16_t kAny = 0xFFFF;

// A signalling NaN raises invalid on hardware when it is loaded or squared;
// qemu's x87 does not, so that flag is left unchecked.
const ScreenCase kScreen[] = {
    {0x7FF8000000000000, 0x7FC00000, kQuietNaNSame, 0, 0, "quiet NaN"},
    {0xFFF8000000000123, 0xFFC00123, kQuietNaNSame, 0, 0, "negative quiet NaN with payload"},
    {0x7FF4000000000000, 0x7FA00000, kQuietNaNSame, 0, kAny, "signalling NaN leaves quiet"},
    {0x7FF0000000000000, 0x7F800000, kPlusInf, 0, 0, "+inf"},
    {0xFFF0000000000000, 0xFF800000, kDefaultNaN, kelStatusDomain, kInvalid, "-inf"},
    {0x0000000000000000, 0x00000000, kMinusInf, kelStatusSingularity, kDivByZero, "+0"},
    {0x8000000000000000, 0x80000000, kMinusInf, kelStatusSingularity, kDivByZero, "-0: a pole, not a domain error"},
    {0x8000000000000001, 0x80000001, kDefaultNaN, kelStatusDomain, kInvalid, "smallest negative subnormal"},
    {0x800FFFFFFFFFFFFF, 0x807FFFFF, kDefaultNaN, kelStatusDomain, kInvalid, "largest negative subnormal"},
    {0xBFF0000000000000, 0xBF800000, kDefaultNaN, kelStatusDomain, kInvalid, "-1"},
    {0xFFEFFFFFFFFFFFFF, 0xFF7FFFFF, kDefaultNaN, kelStatusDomain, kInvalid, "-max"},
};

template <class T, class U>
void check_screen(const char* name, T (*call_fn)(U, T, int*), U fn, T x, Result r, int status, uint16_t flag,
                  const char* what) {
  int s;
  T y;
  uint16_t raised;
  {
    ScopedControlWord cw(kDefault);
    y = call_fn(fn, x, &s);
    raised = flags();
  }
  SCOPED_TRACE(std::string(name) + ": " + what);
  EXPECT_EQ(s, status);
  switch (r) {
    case kQuietNaNSame: {
      // x*x keeps the payload and the sign and sets the quiet bit.
      const auto quiet = sizeof(T) == 8 ? bits_of(x) | 0x0008000000000000ull : bits_of(x) | 0x00400000u;
      EXPECT_EQ(bits_of(y), quiet);
      break;
    }
    case kDefaultNaN:  // 0/0 computed in the x87: the negative default NaN
      EXPECT_EQ(bits_of(y), sizeof(T) == 8 ? 0xFFF8000000000000ull : 0xFFC00000u);
      break;
    case kPlusInf:
      EXPECT_EQ(y, INFINITY);
      break;
    case kMinusInf:
      EXPECT_EQ(y, -INFINITY);
      break;
  }
  if (flag == kAny) return;
  if (flag)
    EXPECT_TRUE(raised & flag) << std::hex << raised;
  else
    EXPECT_FALSE(raised & (kInvalid | kDivByZero)) << std::hex << raised;
}

double call64(Fn64 fn, double x, int* s) { return call(fn, x, s); }
float call32(Fn32 fn, float x, int* s) { return call(fn, x, s); }

TEST(LogScreen, SpecialInputsEveryMember) {
  for (const auto& c : kScreen) {
    for (const auto& m : kDouble64)
      check_screen(m.name, call64, m.fn, double_from_bits(c.x), c.result, c.status, c.flag, c.what);
    for (const auto& m : kFloat32)
      check_screen(m.name, call32, m.fn, float_from_bits(c.xf), c.result, c.status, c.flag, c.what);
  }
}

TEST(LogScreen, LastReportWinsAndLaterElementsAreComputed) {
  const double src[5] = {1.0, -0.0, 2.0, -1.0, 1.0};
  double dst[5];
  EXPECT_EQ(kelsLn_64f_A53(src, dst, 5), kelStatusDomain);
  EXPECT_EQ(dst[4], 0.0);
  const double rev[4] = {-1.0, 4.0, 0.0, 4.0};
  EXPECT_EQ(kelsLog10_64f_A50(rev, dst, 4), kelStatusSingularity);
  EXPECT_EQ(dst[3], call(kelsLog10_64f_A50, 4.0));
  const float fsrc[3] = {-2.0f, 0.0f, 10.0f};
  float fdst[3];
  EXPECT_EQ(kelsLog10_32f_A21(fsrc, fdst, 3), kelStatusSingularity);
  EXPECT_EQ(fdst[2], 1.0f);
}

TEST(LogScreen, InPlace) {
  double v[3] = {1.0, 0x1p-1074, 0.5};
  const double expected = call(kelsLn_64f_A53, 0x1p-1074);
  EXPECT_EQ(kelsLn_64f_A53(v, v, 3), 0);
  EXPECT_EQ(v[0], 0.0);
  EXPECT_EQ(v[1], expected);
  EXPECT_EQ(v[2], -call(kelsLn_64f_A53, 2.0));
}

// ---- Exact results and path switches ----------------------------------------

TEST(LogPaths, OneGivesPlusZeroInBothAlgorithms) {
  for (const auto& m : kDouble64) EXPECT_EQ(bits_of(call(m.fn, 1.0)), 0u) << m.name;
  for (const auto& m : kFloat32) EXPECT_EQ(bits_of(call(m.fn, 1.0f)), 0u) << m.name;
}

double correctly_rounded_log(double x, bool log10) {
  mpfr_t r;
  mpfr_init2(r, 256);
  kelacc::exact_unary(r, log10 ? mpfr_log10 : mpfr_log, x);
  const double y = kelacc::correctly_rounded<double>(r);
  mpfr_clear(r);
  return y;
}

TEST(LogPaths, PowersOfTheBase) {
  // Through the table path: x = 10 has E = 3 and f = 1.25 (row 16).
  EXPECT_EQ(call(kelsLog10_64f_A53, 10.0), 1.0);
  EXPECT_EQ(call(kelsLog10_32f_A24, 10.0f), 1.0f);
  // Powers of two use row 0 (or row 64 from just below) and E alone, the
  // subnormal ones after the 2^60 scaling.
  for (int e : {-1074, -1060, -1023, -1022, -60, -1, 1, 60, 1023}) {
    const double x = std::ldexp(1.0, e);
    EXPECT_EQ(call(kelsLn_64f_A53, x), correctly_rounded_log(x, false)) << "2^" << e;
    EXPECT_EQ(call(kelsLog10_64f_A53, x), correctly_rounded_log(x, true)) << "2^" << e;
  }
}

// Small models of the near-one polynomials and of the low-accuracy series,
// evaluated in double arithmetic (53-bit x87 precision on i386), to tell which
// side of a switch an input took: both sides are accurate, so only the exact
// bits show the path.
double ln_near_one(double d) {
  const double* k = _orxdLnHATab.k;
  const double Q = k[0] + d * (k[1] + d * (k[2] + d * (k[3] + d * (k[4] + d * (k[5] + d * k[6])))));
  return d + Q * (d * d);
}
double lg_near_one(double d) {
  const double* m = _orxdLgHATab.m;
  const double w = d * _orxdLgHATab.lambda;
  const double P =
      m[0] + w * (m[1] + w * (m[2] + w * (m[3] + w * (m[4] + w * (m[5] + w * (m[6] + w * m[7]))))));
  return w + P * w;
}
double ln_la(int E, double f) {
  const double* c = _orxdLnLATab.c;
  const double g = f - 1, s = g / (2 + g), z = s * s;
  const double p = c[0] + z * (c[1] + z * (c[2] + z * (c[3] + z * (c[4] + z * (c[5] + z * c[6])))));
  return E * _orxdLnLATab.ln2 + (g - s * (g - p * z));
}

// Both sides of a switch are accurate and agree at the switch points
// themselves, so a path shows only in inputs whose results differ: every input
// from the bound inwards must give the near-one polynomial's bits, and some
// inputs just beyond it must not.
template <class Model>
void check_switch(Fn64 fn, double bound, Model model, const char* name) {
  for (const double dir : {1.0, -1.0}) {
    const double edge = 1 + dir * bound;
    int inside_mismatch = 0, outside_differ = 0;
    for (int k = 0; k < 3000; ++k) {
      const double in = double_from_bits(bits_of(edge) - (dir > 0 ? k : -k));  // towards 1
      const double out = double_from_bits(bits_of(edge) + (dir > 0 ? k + 1 : -(k + 1)));
      inside_mismatch += call(fn, in) != model(in - 1);
      outside_differ += call(fn, out) != model(out - 1);
    }
    EXPECT_EQ(inside_mismatch, 0) << name << " inside " << kelacc::hex(edge);
    EXPECT_GT(outside_differ, 0) << name << " beyond " << kelacc::hex(edge);
  }
}

TEST(LogPaths, NearOneBoundsAreInclusive) {
  ScopedControlWord cw(kDouble);
  check_switch(kelsLn_64f_A53, 0x1.4p-7, ln_near_one, "Ln");    // |x - 1| <= 1.25 2^-7
  check_switch(kelsLog10_64f_A53, 0x1.8p-8, lg_near_one, "Log10");  // |x - 1| <= 1.5 2^-8
  // The float members take the same paths on the widened value.
  EXPECT_EQ(call(kelsLn_32f_A24, 1.009765625f), static_cast<float>(ln_near_one(0x1.4p-7)));
  EXPECT_EQ(call(kelsLog10_32f_A24, 0.994140625f), static_cast<float>(lg_near_one(-0x1.8p-8)));
}

TEST(LogPaths, LowAccuracyHalvesFromSqrt2) {
  ScopedControlWord cw(kDouble);
  const double r2 = 0x1.6a09e667f3bcdp+0;  // the double nearest sqrt2
  // From sqrt2 up f is halved (E = 1, f/2); below it is not.  Checked for a
  // run of inputs on each side, in two binades, and the two branches must
  // differ somewhere in each run for the check to mean anything.
  for (const int E : {0, -3}) {
    int mismatch = 0, differ = 0;
    for (int k = 0; k < 2000; ++k) {
      const double hi = double_from_bits(bits_of(r2) + k), lo = double_from_bits(bits_of(r2) - k - 1);
      mismatch += call(kelsLn_64f_A50, std::ldexp(hi, E)) != ln_la(E + 1, hi / 2);
      mismatch += call(kelsLn_64f_A50, std::ldexp(lo, E)) != ln_la(E, lo);
      differ += (ln_la(E + 1, hi / 2) != ln_la(E, hi)) + (ln_la(E, lo) != ln_la(E + 1, lo / 2));
    }
    EXPECT_EQ(mismatch, 0) << "binade " << E;
    EXPECT_GT(differ, 0) << "binade " << E;
  }
}

// The whole evaluation, written out once more from the algorithm's
// description with independent index and split arithmetic (nearbyint instead
// of the shifters): the results must match bit for bit, which pins the
// evaluation and summation order, not only the accuracy.
struct Reduced {
  int E;
  double f;
};
Reduced reduce(double x) {
  int corr = 0;
  if (std::fabs(x) < 0x1p-1022) x *= 0x1p60, corr = -60;
  int e;
  const double m = std::frexp(x, &e);  // x = m 2^e, m in [1/2, 1)
  return {e - 1 + corr, 2 * m};
}
double ln_ha_model(double x) {
  if (std::fabs(x - 1) <= 0x1.4p-7) return ln_near_one(x - 1);
  const auto [E, f] = reduce(x);
  const LnHATab& t = _orxdLnHATab;
  const LogHARow& row = t.row[static_cast<int>(std::nearbyint(64 * (f - 1)))];
  const double fh = std::nearbyint(f * 0x1p31) * 0x1p-31, fl = f - fh;
  const double A = E * t.log2_hi + row.hi, B = E * t.log2_lo + row.lo;
  const double rh = fh * row.r - 1, rl = fl * row.r, r = rh + rl;
  const double* k = t.k;
  const double Q = k[0] + r * (k[1] + r * (k[2] + r * (k[3] + r * (k[4] + r * (k[5] + r * k[6])))));
  return (A + rh) + ((B + rl) + Q * (r * r));
}
double lg_ha_model(double x) {
  if (std::fabs(x - 1) <= 0x1.8p-8) return lg_near_one(x - 1);
  const auto [E, f] = reduce(x);
  const LgHATab& t = _orxdLgHATab;
  const LogHARow& row = t.row[static_cast<int>(std::nearbyint(64 * (f - 1)))];
  const double fh = std::nearbyint(f * 0x1p29) * 0x1p-29, fl = f - fh;
  const double A = E * t.log2_hi + row.hi, B = E * t.log2_lo + row.lo;
  const double wh = fh * row.r - t.lambda, wl = fl * row.r, w = wh + wl;
  const double* m = t.m;
  const double P =
      m[0] + w * (m[1] + w * (m[2] + w * (m[3] + w * (m[4] + w * (m[5] + w * (m[6] + w * m[7]))))));
  return (A + wh) + ((wl + (B + P * wl)) + P * wh);
}
double la_model(double x, bool log10) {
  auto [E, f] = reduce(x);
  if (f >= 0x1.6a09e667f3bcdp+0) f /= 2, E += 1;
  if (!log10) return ln_la(E, f);
  const double ln_f = ln_la(0, f);
  return E * _orxdLgLATab.log10_2 + ln_f * _orxdLgLATab.log10_e;
}

TEST(LogPaths, EvaluationOrderIsBitExact) {
  ScopedControlWord cw(kDouble);
  auto xs = kelacc::random_bits_in<double>(0x1p-1074, 0x1.fffffffffffffp1023, 3000, 51);
  const auto near = kelacc::random_uniform<double>(0.96, 1.04, 3000, 52);
  xs.insert(xs.end(), near.begin(), near.end());
  int bad[4] = {};
  for (const double x : xs) {
    bad[0] += call(kelsLn_64f_A53, x) != ln_ha_model(x);
    bad[1] += call(kelsLog10_64f_A53, x) != lg_ha_model(x);
    bad[2] += call(kelsLn_64f_A50, x) != la_model(x, false);
    bad[3] += call(kelsLog10_64f_A50, x) != la_model(x, true);
    const float xf = static_cast<float>(x);
    if (xf > 0 && xf <= 0x1.fffffep127f) {
      volatile float ln_f = static_cast<float>(ln_ha_model(xf)), lg_f = static_cast<float>(lg_ha_model(xf));  // rounded by the store
      bad[0] += call(kelsLn_32f_A11, xf) != ln_f;
      bad[1] += call(kelsLog10_32f_A21, xf) != lg_f;
    }
  }
  EXPECT_EQ(bad[0], 0) << "Ln high accuracy";
  EXPECT_EQ(bad[1], 0) << "Log10 high accuracy";
  EXPECT_EQ(bad[2], 0) << "Ln low accuracy";
  EXPECT_EQ(bad[3], 0) << "Log10 low accuracy";
}

TEST(LogPaths, SubnormalsAreScaled) {
  // ln 2^-1074 = -744.44007192138126...; log10 2^-1074 = -323.306215343115...
  const double tiny = 0x1p-1074;
  for (const auto& m : kDouble64) {
    int s;
    const double y = call(m.fn, tiny, &s);
    EXPECT_EQ(s, 0) << m.name;
    EXPECT_NEAR(y, m.log10 ? -323.30621534311580 : -744.44007192138126, 1e-12) << m.name;
  }
  // A float subnormal is normal once widened: no scaling, no report.
  for (const auto& m : kFloat32) {
    int s;
    const float y = call(m.fn, 0x1p-149f, &s);
    EXPECT_EQ(s, 0) << m.name;
    mpfr_t r;
    mpfr_init2(r, 256);
    kelacc::exact_unary(r, m.log10 ? mpfr_log10 : mpfr_log, 0x1p-149f);
    EXPECT_EQ(y, kelacc::correctly_rounded<float>(r)) << m.name;
    mpfr_clear(r);
  }
}

// The guard makes results independent of the caller's precision and
// rounding: the index and splitting shifters need 53-bit rounding to nearest.
TEST(LogPaths, CallerControlWordDoesNotMatter) {
  const auto xs = kelacc::random_bits_in<double>(0x1p-1074, 0x1p1023, 512, 11);
  std::vector<double> ref(xs.size()), got(xs.size());
  for (const auto& m : kDouble64) {
    {
      ScopedControlWord cw(kDouble);
      m.fn(xs.data(), ref.data(), static_cast<int>(xs.size()));
    }
    for (uint16_t caller : {uint16_t(0x037F), uint16_t(0x0E7F), uint16_t(0x047F), uint16_t(0x007F)}) {
      ScopedControlWord cw(caller);
      m.fn(xs.data(), got.data(), static_cast<int>(xs.size()));
      EXPECT_EQ(control_word(), caller);
      EXPECT_EQ(std::memcmp(got.data(), ref.data(), 8 * xs.size()), 0) << m.name << " caller 0x" << std::hex
                                                                         << caller;
    }
  }
}

// ---- Tables ---------------------------------------------------------------

TEST(LogTables, ReferenceRows) {
  const LogHARow* R = _orxdLnHATab.row;
  EXPECT_EQ(R[0].r, 1.0);
  EXPECT_EQ(R[0].hi, 0.0);
  EXPECT_EQ(R[0].lo, 0.0);
  EXPECT_EQ(R[1].r, 0.984375);
  EXPECT_EQ(R[2].r, 0.9697265625);
  EXPECT_EQ(R[32].r, 0.66650390625);
  EXPECT_EQ(R[63].r, 0.50390625);
  EXPECT_EQ(R[64].r, 0.5);
  EXPECT_EQ(R[1].hi, 0.01574835697101662);
  EXPECT_EQ(R[1].lo, -2.877450746936954e-12);
  EXPECT_EQ(R[64].hi, 0.6931471805598903);
  EXPECT_EQ(R[64].lo, 5.497923018708371e-14);
  EXPECT_EQ(bits_of(_orxdLnHATab.log2_hi), 0x3fe62e42fefa3800u);
  EXPECT_EQ(_orxdLnHATab.log2_lo, 5.497923018708371e-14);
  const LogHARow* G = _orxdLgHATab.row;
  const double rho[][2] = {{0, 1}, {1, 0.984375}, {2, 0.96875}, {32, 0.6640625}, {63, 0.5078125}, {64, 0.5}};
  for (const auto& p : rho) EXPECT_EQ(G[int(p[0])].r, 0.43359375 * p[1]) << "rho[" << p[0] << "]";
  EXPECT_EQ(G[1].r, 0.42681884765625);
  EXPECT_EQ(G[1].hi, 0.006839424531790428);
  EXPECT_EQ(G[1].lo, -1.4849618834365666e-12);
  EXPECT_EQ(G[64].hi, 0.3010299956640665);
  EXPECT_EQ(G[64].lo, -8.532344317057107e-14);
  EXPECT_EQ(_orxdLgHATab.log2_hi, 0.3010299956640665);
  EXPECT_EQ(_orxdLgHATab.m[0], 0.0016161024074997103);
  EXPECT_EQ(_orxdLnLATab.c[0], 0.666666666666667);
  EXPECT_EQ(_orxdLgLATab.c[6], 0.14617736824490885);
  EXPECT_EQ(_orxdLnHATab.index_shifter, 70368744177665.0);
}

// ---- Accuracy ---------------------------------------------------------------

#if defined(__x86_64__)
constexpr size_t kScale = 20;  // native build: larger samples
#else
constexpr size_t kScale = 1;
#endif

int mpfr_log10_ref(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t m) { return mpfr_log10(r, x, m); }

std::vector<double> doubles_near_one(size_t n, uint64_t seed) {
  auto xs = kelacc::random_uniform<double>(1 - 0x1p-5, 1 + 0x1p-5, n, seed);
  // and a cloud of a few ulps around both switch points of both functions
  for (double b : {0x1.4p-7, 0x1.8p-8})
    for (int k = -40; k <= 40; ++k) {
      xs.push_back(double_from_bits(bits_of(1 + b) + k));
      xs.push_back(double_from_bits(bits_of(1 - b) + k));
    }
  return xs;
}

TEST(LogAccuracy, DoubleMembers) {
  const auto all = kelacc::random_bits_in<double>(0x1p-1074, 0x1.fffffffffffffp1023, 4000 * kScale, 21);
  const auto sub = kelacc::random_bits_in<double>(0x1p-1074, 0x1p-1022, 500 * kScale, 22);
  const auto near = doubles_near_one(3000 * kScale, 23);
  for (const auto& m : kDouble64) {
    const double bound = kelacc::bound_for_flavour(std::string(m.name).substr(std::strlen(m.name) - 3));
    for (const auto* xs : {&all, &sub, &near}) {
      const auto s = kelacc::measure<double>(m.fn, m.log10 ? mpfr_log10_ref : mpfr_log, *xs);
      EXPECT_LE(s.max_ulps, bound) << s.describe(m.name);
      EXPECT_EQ(s.class_errors, 0u) << s.describe(m.name);
    }
  }
}

TEST(LogAccuracy, FloatMembersWithinOneUlp) {
  const auto all = kelacc::random_bits_in<float>(0x1p-149f, 0x1.fffffep127f, 6000 * kScale, 31);
  std::vector<float> near = kelacc::random_uniform<float>(1 - 0x1p-5f, 1 + 0x1p-5f, 3000 * kScale, 32);
  for (int k = -300; k <= 300; ++k) near.push_back(1.0f + k * 0x1p-24f);  // every float closest to 1
  for (const auto& m : kFloat32)
    for (const std::vector<float>* xs : {&all, const_cast<const std::vector<float>*>(&near)}) {
      const auto s = kelacc::measure<float>(m.fn, m.log10 ? mpfr_log10_ref : mpfr_log, *xs);
      EXPECT_LE(s.max_ulps, 1.0) << s.describe(m.name);
      EXPECT_EQ(s.class_errors, 0u) << s.describe(m.name);
    }
}

// By hand, on the native build (minutes):
//   kelvm_tests --gtest_also_run_disabled_tests --gtest_filter='LogAccuracy.DISABLED_*'
// 10^7 random doubles per double member against MPFR, and every positive
// finite float per float member against glibc's double log/log10 (whose
// error, below 2^-28 float ulp, does not move the figures), the worst case of
// each rechecked with MPFR.
TEST(LogAccuracy, DISABLED_LargeDoubleSample) {
  const auto xs = kelacc::random_bits_in<double>(0x1p-1074, 0x1.fffffffffffffp1023, 9'000'000, 41);
  const auto near = doubles_near_one(1'000'000, 42);
  for (const auto& m : kDouble64) {
    auto s = kelacc::measure<double>(m.fn, m.log10 ? mpfr_log10_ref : mpfr_log, xs);
    const auto t = kelacc::measure<double>(m.fn, m.log10 ? mpfr_log10_ref : mpfr_log, near);
    std::printf("%s\n%s\n", s.describe(m.name).c_str(), t.describe(m.name).c_str());
  }
}

TEST(LogAccuracy, DISABLED_EveryPositiveFloat) {
  std::vector<float> xs(1 << 16);
  std::vector<float> ys(xs.size());
  for (const auto& m : kFloat32) {
    double worst = 0;
    float worst_x = 0;
    for (uint32_t hi = 0; hi < 0x7F80; ++hi) {
      for (uint32_t lo = 0; lo < xs.size(); ++lo) xs[lo] = float_from_bits(hi << 16 | lo);
      if (hi == 0) xs[0] = 1.0f;  // +0 is the pole
      m.fn(xs.data(), ys.data(), static_cast<int>(xs.size()));
      for (size_t k = 0; k < xs.size(); ++k) {
        const double ref = m.log10 ? std::log10(double(xs[k])) : std::log(double(xs[k]));
        if (ref == 0) {
          if (ys[k] != 0) worst = INFINITY, worst_x = xs[k];
          continue;
        }
        int e;
        std::frexp(ref, &e);
        const double err = std::fabs(ys[k] - ref) / std::ldexp(1.0, std::max(e - 1, -126) - 23);
        if (err > worst) worst = err, worst_x = xs[k];
      }
    }
    mpfr_t r;
    mpfr_init2(r, 256);
    kelacc::exact_unary(r, m.log10 ? mpfr_log10_ref : mpfr_log, worst_x);
    const float y = call(m.fn, worst_x);
    std::printf("%s: every positive float, max %.6f ulp at %s (MPFR: %.6f ulp)\n", m.name, worst,
                kelacc::hex(worst_x).c_str(), kelacc::ulp_error<float>(y, r).ulps);
    mpfr_clear(r);
    EXPECT_LE(worst, 1.0) << m.name;
  }
}

}  // namespace

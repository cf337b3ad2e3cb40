// Exponential family: the constant tables, the element screen, the thresholds
// of both precisions, bit-exact agreement with an MPFR model of the algorithm
// on every path (normal, e = 0x7ff scaling, split and deep gradual
// underflow), correct rounding of the underflow paths, the status over mixed
// arrays, and the accuracy of each member against MPFR.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "accuracy.h"
#include "check.h"
#include "fpu.h"
#include "kelvm.h"

// The tables are internal to the library; the test reads its own copy of the
// same generated source.
#include "../src/exp_data.cpp"

using namespace kelfpu;
namespace tab = kel::exp_data;

namespace {

using Fn64 = KelStatus (*)(const double*, double*, int);
using Fn32 = KelStatus (*)(const float*, float*, int);
const Fn32 kFloatMembers[] = {kelsExp_32f_A11, kelsExp_32f_A21, kelsExp_32f_A24};

// ---- The model: the algorithm step by step in IEEE double arithmetic ----

// Double arithmetic done by MPFR: each operation rounded to nearest into the
// double format, subnormals and overflow included.  It shares nothing with the
// x87 evaluation, so a missing rounding point in the library shows up as a
// difference.
class IeeeDouble {
 public:
  IeeeDouble() : emin_(mpfr_get_emin()), emax_(mpfr_get_emax()) {
    mpfr_set_emin(-1073);
    mpfr_set_emax(1024);
    mpfr_inits2(53, a_, b_, r_, static_cast<mpfr_ptr>(nullptr));
  }
  ~IeeeDouble() {
    mpfr_clears(a_, b_, r_, static_cast<mpfr_ptr>(nullptr));
    mpfr_set_emin(emin_);
    mpfr_set_emax(emax_);
  }
  double add(double x, double y) { return op(mpfr_add, x, y); }
  double sub(double x, double y) { return op(mpfr_sub, x, y); }
  double mul(double x, double y) { return op(mpfr_mul, x, y); }

 private:
  double op(kelacc::MpfrBinary f, double x, double y) {
    mpfr_set_d(a_, x, MPFR_RNDN);
    mpfr_set_d(b_, y, MPFR_RNDN);
    int t = f(r_, a_, b_, MPFR_RNDN);
    t = mpfr_check_range(r_, t, MPFR_RNDN);
    mpfr_subnormalize(r_, t, MPFR_RNDN);
    return mpfr_get_d(r_, MPFR_RNDN);
  }
  mpfr_exp_t emin_, emax_;
  mpfr_t a_, b_, r_;
};

// e^x in double for an x that passes the screen, by the high-accuracy
// algorithm (table layout of 147 entries) or the low-accuracy one (81).  The
// float members store this value rounded to float.
double model_exp(const double* t, bool high, double x) {
  IeeeDouble d;
  const int o = high ? 128 : 64;  // scalar constants follow the rows
  const double n = d.add(d.mul(x, t[o]), t[o + 1]);
  const int32_t k = static_cast<int32_t>(bits_of(n));
  const double kd = d.sub(n, t[o + 1]);
  const int j = k & 63, m = k >> 6;
  const double* c = &t[o + 2];
  const double l1 = t[high ? 138 : 73], l2 = t[high ? 139 : 74], limit = t[high ? 136 : 71];
  const double r = d.sub(d.sub(x, d.mul(kd, l1)), d.mul(kd, l2));
  double p = c[high ? 4 : 3];
  for (int i = high ? 3 : 2; i >= 0; --i) p = d.add(d.mul(p, r), c[i]);
  p = d.mul(p, r);
  const double q = d.add(r, d.mul(p, r));
  double y, u = 0, th = 0;
  if (high) {
    th = t[2 * j];
    u = d.mul(d.add(q, t[2 * j + 1]), th);
    y = d.add(th, u);
  } else {
    y = d.mul(t[j], d.add(1.0, q));
  }
  if (x >= limit) {
    if (m == 1024) return d.mul(d.mul(y, 0x1p1023), 2.0);
    return d.mul(y, std::ldexp(1.0, m));
  }
  const double s = std::ldexp(1.0, m + 60);
  if (!high) return d.mul(d.mul(y, s), 0x1p-60);
  const double a = d.mul(th, s), us = d.mul(u, s);
  if (m + 1083 <= 50) return d.mul(d.add(a, us), 0x1p-60);
  const double v = d.add(a, us);
  const double e = d.add(d.sub(a, v), us);
  const double h = d.mul(v, t[146]);
  const double vh = d.sub(d.add(v, h), h);
  const double l = d.add(d.sub(v, vh), e);
  return d.add(d.mul(vh, 0x1p-60), d.mul(l, 0x1p-60));
}

double model_a50(double x) { return model_exp(tab::_orxdExpLATab, false, x); }
double model_a53(double x) { return model_exp(tab::for_double::_orxdExpHATab, true, x); }
float model_32f(float x) { return static_cast<float>(model_exp(tab::for_float::_orxdExpHATab, true, x)); }

// ---- Tables ----

struct Documented {
  const double* table;
  int index;
  const char* decimal;
  uint64_t pattern;  // 0: none documented
};

TEST(ExpTables, DocumentedValuesAreExact) {
  const double* la = tab::_orxdExpLATab;
  const double* ha = tab::for_double::_orxdExpHATab;
  const double* hs = tab::for_float::_orxdExpHATab;
  const Documented values[] = {
      {la, 0, "1.0", 0}, {la, 1, "1.0108892860517005", 0}, {la, 63, "1.978456026387951", 0},
      {la, 64, "92.33248261689366", 0}, {la, 65, "6755399441055744.0", 0x4338000000000000},
      {la, 66, "0.49999999999948624", 0}, {la, 67, "0.16666666666690205", 0}, {la, 68, "0.04166672334464207", 0},
      {la, 69, "0.008333329554351886", 0}, {la, 70, "709.782712893384", 0x40862e42fefa39ef},
      {la, 71, "-708.3964185322641", 0xc086232bdd7abcd2}, {la, 72, "-745.1332191019412", 0xc0874910d52d3052},
      {la, 73, "0.010830424696223417", 0x3f862e42fefa0000}, {la, 74, "2.572804622327669e-14", 0},
      {la, 75, "2.225073858507202e-308", 0x0010000000000001},
      {la, 76, "1.7976931348623157e+308", 0x7fefffffffffffff}, {la, 77, "0.0", 0}, {la, 78, "1.0", 0},
      {la, 79, "2.0", 0}, {la, 80, "8.673617379884035e-19", 0}, {ha, 0, "1.0", 0}, {ha, 2, "1.0108892860517005", 0},
      {ha, 126, "1.978456026387951", 0}, {ha, 1, "0.0", 0}, {ha, 3, "-1.507066976926039e-17", 0},
      {ha, 5, "4.9997448722726326e-17", 0}, {ha, 127, "2.0414278897578303e-17", 0},
      {ha, 128, "92.33248261689366", 0}, {ha, 129, "6755399441055744.0", 0x4338000000000000}, {ha, 130, "0.5", 0},
      {ha, 131, "0.1666666666665788", 0}, {ha, 132, "0.04166666666677052", 0}, {ha, 133, "0.008333341995140497", 0},
      {ha, 134, "0.0013888870459233254", 0}, {ha, 135, "709.782712893384", 0x40862e42fefa39ef},
      {ha, 136, "-708.3964185322641", 0xc086232bdd7abcd2}, {ha, 137, "-745.1332191019412", 0xc0874910d52d3052},
      {hs, 135, "88.72283172607422", 0x40562e42e0000000}, {hs, 136, "-87.33654022216797", 0xc055d589e0000000},
      {hs, 137, "-103.97207641601562", 0xc059fe3680000000}, {ha, 138, "0.010830424696223417", 0x3f862e42fefa0000},
      {ha, 139, "2.572804622327669e-14", 0}, {ha, 140, "2.225073858507202e-308", 0x0010000000000001},
      {ha, 141, "1.7976931348623157e+308", 0x7fefffffffffffff}, {ha, 142, "0.0", 0}, {ha, 143, "1.0", 0},
      {ha, 144, "2.0", 0}, {ha, 145, "8.673617379884035e-19", 0}, {ha, 146, "6442450944.0", 0},
  };
  for (const auto& v : values) {
    const double expected = std::strtod(v.decimal, nullptr);
    const double got = v.table[v.index];
    const char* which = v.table == la ? "LA" : v.table == ha ? "HA double" : "HA single";
    EXPECT_TRUE(same_bits(got, expected)) << which << "[" << v.index << "] = " << kelacc::hex(got) << ", not "
                                          << v.decimal;
    if (v.pattern != 0) {
      EXPECT_EQ(bits_of(got), v.pattern) << which << "[" << v.index << "]";
    }
  }
}

TEST(ExpTables, CopiesDifferOnlyInThresholdsAndRowsAreShared) {
  const double* s = tab::for_float::_orxdExpHATab;
  for (int i = 0; i < tab::kHATabSize; ++i) {
    if (i < 135 || i > 137)
      EXPECT_TRUE(same_bits(s[i], tab::for_double::_orxdExpHATab[i])) << i;
    else
      EXPECT_NE(s[i], tab::for_double::_orxdExpHATab[i]) << i;
  }
  for (int j = 0; j < 64; ++j) EXPECT_TRUE(same_bits(tab::_orxdExpLATab[j], tab::for_double::_orxdExpHATab[2 * j])) << j;
}

// ---- Screen ----

TEST(ExpScreen, SpecialInputs) {
  const double snan = std::numeric_limits<double>::signaling_NaN(), qnan = NAN;
  for (Fn64 fn : {kelsExp_64f_A50, kelsExp_64f_A53}) {
    kelacc::expect_specials<double>("Exp_64f", fn, {
                                   {0.0, 1.0, 0},
                                   {-0.0, 1.0, 0},
                                   {4.9406564584124654e-324, 1.0, kInexact},
                                   {-2.2250738585072009e-308, 1.0, kInexact},  // largest subnormal
                                   {0x1p-53, 1.0, kInexact},                   // 1 + x, a tie to even
                                   {0x1.8p-53, 0x1.0000000000001p0, kInexact},
                                   {-0x1p-53, 0x1.fffffffffffffp-1, 0},  // 1 + x exactly
                                   {0x1.fffffffffffffp-53, 0x1.0000000000001p0, kInexact},
                                   {INFINITY, INFINITY, 0},
                                   {-INFINITY, 0.0, 0},
                                   {qnan, qnan, 0},
                                   {-qnan, qnan, 0},
                                   {snan, qnan, kInvalid},
                               });
  }
  const float fsnan = std::numeric_limits<float>::signaling_NaN();
  for (Fn32 fn : kFloatMembers) {
    kelacc::expect_specials<float>("Exp_32f", fn, {
                                  {0.0f, 1.0f, 0},
                                  {-0.0f, 1.0f, 0},
                                  {0x1p-149f, 1.0f, kInexact},
                                  {-0x1p-149f, 1.0f, kInexact},
                                  {-0x1p-53f, 1.0f, kInexact},  // 1 - 2^-53 in double, then 1.0f
                                  {0x1.fffffep-53f, 1.0f, kInexact},
                                  {INFINITY, INFINITY, 0},
                                  {-INFINITY, 0.0f, 0},
                                  {NAN, NAN, 0},
                                  {fsnan, NAN, kInvalid},
                              });
  }
}

// ---- Thresholds ----

enum class Expect { normal, subnormal_or_zero, overflow, underflow };

template <class T>
struct Threshold {
  T x;
  Expect expect;
};

// Each neighbour of a threshold takes the expected path: reported overflow or
// underflow with its stored result and flag, or the computed result (equal to
// the model's) on the normal or the gradual-underflow side.
template <class T>
void check_thresholds(KelStatus (*fn)(const T*, T*, int), T (*model)(T),
                      std::initializer_list<Threshold<T>> cases) {
  for (const auto& c : cases) {
    const auto [y, status, raw] = run_one(fn, c.x);
    const uint16_t raised = raw;
    SCOPED_TRACE("x = " + kelacc::hex(c.x) + " -> " + kelacc::hex(y));
    if (c.expect == Expect::overflow) {
      EXPECT_EQ(status, kelStatusOverflow);
      EXPECT_EQ(y, static_cast<T>(INFINITY));
      EXPECT_TRUE(raised & kOverflow);
    } else if (c.expect == Expect::underflow) {
      EXPECT_EQ(status, kelStatusUnderflow);
      EXPECT_TRUE(same_bits(y, T(0)));
      EXPECT_TRUE(raised & kUnderflow);
    } else {
      EXPECT_EQ(status, 0);
      EXPECT_FALSE(raised & kOverflow);
      EXPECT_EQ(y >= std::numeric_limits<T>::min(), c.expect == Expect::normal);
      EXPECT_LE(y, std::numeric_limits<T>::max());
      EXPECT_TRUE(same_bits(y, model(c.x))) << "model " << kelacc::hex(model(c.x));
    }
  }
}

TEST(ExpThresholds, Neighbours) {
  const double over = 709.782712893384, normal = -708.3964185322641, under = -745.1332191019412;
  const auto down = [](double x) { return std::nextafter(x, -INFINITY); };
  for (int hi = 0; hi < 2; ++hi) {
    check_thresholds<double>(hi ? kelsExp_64f_A53 : kelsExp_64f_A50, hi ? model_a53 : model_a50,
                             {
                                 {over, Expect::normal},  // k = 65536: the e = 0x7ff scaling
                                 {std::nextafter(over, INFINITY), Expect::overflow},
                                 {DBL_MAX, Expect::overflow},
                                 {normal, Expect::normal},
                                 {down(normal), Expect::subnormal_or_zero},
                                 {std::nextafter(under, 0.0), Expect::subnormal_or_zero},
                                 {under, Expect::subnormal_or_zero},
                                 {down(under), Expect::underflow},
                                 {-DBL_MAX, Expect::underflow},
                             });
  }
  double y;  // just below the overflow threshold: within a few ulps of DBL_MAX
  kelsExp_64f_A53(&over, &y, 1);
  EXPECT_GT(y, 0x1.ffffffffffp1023);

  const float fover = 88.72283172607422f, fnormal = -87.33654022216797f, funder = -103.97207641601562f;
  ASSERT_EQ(std::nextafter(fover, INFINITY), 88.72283935546875f);
  ASSERT_EQ(std::nextafter(funder, -INFINITY), -103.97208404541016f);
  for (Fn32 fn : kFloatMembers) {
    check_thresholds<float>(fn, model_32f,
                            {
                                {fover, Expect::normal},
                                {88.72283935546875f, Expect::overflow},
                                {FLT_MAX, Expect::overflow},
                                {fnormal, Expect::normal},
                                {std::nextafter(fnormal, -INFINITY), Expect::subnormal_or_zero},
                                {funder, Expect::subnormal_or_zero},
                                {-103.97208404541016f, Expect::underflow},
                                {-FLT_MAX, Expect::underflow},
                            });
  }
}

// ---- Bit-exact agreement with the model on every path ----

std::vector<double> double_path_inputs() {
  std::vector<double> xs;
  auto add = [&](const std::vector<double>& v) { xs.insert(xs.end(), v.begin(), v.end()); };
  const size_t n = sized(5000, 100000);
  add(kelacc::random_uniform(-745.1332191019412, 709.782712893384, n, 11));
  add(kelacc::random_bits_in(-745.1332191019412, 709.782712893384, n, 12));
  add(kelacc::random_uniform(-715.333, -708.3964185322641, n, 13));        // split underflow path
  add(kelacc::random_uniform(-745.1332191019412, -715.345, n / 2, 14));    // deep underflow path
  add(kelacc::random_uniform(709.7773, 709.782712893384, n / 4, 15));      // k = 65536
  add(kelacc::random_uniform(-708.3964185322641, -707.0, n / 4, 16));      // normal, near the limit
  return xs;
}

TEST(ExpModel, DoubleMembersMatchTheModelBitForBit) {
  const std::vector<double> xs = double_path_inputs();
  std::vector<double> y50(xs.size()), y53(xs.size());
  ASSERT_EQ(kelsExp_64f_A50(xs.data(), y50.data(), static_cast<int>(xs.size())), 0);
  ASSERT_EQ(kelsExp_64f_A53(xs.data(), y53.data(), static_cast<int>(xs.size())), 0);
  size_t bad50 = 0, bad53 = 0;
  for (size_t i = 0; i < xs.size(); ++i) {
    const double m50 = model_a50(xs[i]), m53 = model_a53(xs[i]);
    if (!same_bits(y50[i], m50) && bad50++ < 5)
      ADD_FAILURE() << "A50 x = " << kelacc::hex(xs[i]) << ": " << kelacc::hex(y50[i]) << ", model " << kelacc::hex(m50);
    if (!same_bits(y53[i], m53) && bad53++ < 5)
      ADD_FAILURE() << "A53 x = " << kelacc::hex(xs[i]) << ": " << kelacc::hex(y53[i]) << ", model " << kelacc::hex(m53);
  }
  EXPECT_EQ(bad50, 0u);
  EXPECT_EQ(bad53, 0u);
}

TEST(ExpModel, FloatMembersMatchTheModelAndEachOther) {
  std::vector<float> xs = kelacc::random_bits_in(-103.97207641601562f, 88.72283172607422f, sized(10000, 200000), 21);
  const auto sub = kelacc::random_uniform(-103.97207641601562f, -87.33654022216797f, sized(10000, 200000), 22);
  xs.insert(xs.end(), sub.begin(), sub.end());
  const int n = static_cast<int>(xs.size());
  std::vector<float> y[3];
  for (int f = 0; f < 3; ++f) {
    y[f].resize(xs.size());
    ASSERT_EQ(kFloatMembers[f](xs.data(), y[f].data(), n), 0);
  }
  EXPECT_EQ(std::memcmp(y[0].data(), y[1].data(), n * sizeof(float)), 0);
  EXPECT_EQ(std::memcmp(y[0].data(), y[2].data(), n * sizeof(float)), 0);
  size_t bad = 0;
  for (size_t i = 0; i < xs.size(); ++i) {
    const float m = model_32f(xs[i]);
    if (!same_bits(y[2][i], m) && bad++ < 5)
      ADD_FAILURE() << "x = " << kelacc::hex(xs[i]) << ": " << kelacc::hex(y[2][i]) << ", model " << kelacc::hex(m);
  }
  EXPECT_EQ(bad, 0u);
}

// ---- Gradual underflow against correctly rounded results ----

// Below the normal-result limit the high-accuracy member scales the result by
// 2^-60 into the subnormal range.  On the split path (m from -1032 to -1023,
// results of up to 52 bits) the exact sum is rounded once: the result is the
// correctly rounded e^x unless e^x lies within the algorithm's error before
// that rounding (below 2^-58 relative, from the measured 0.514 ulp of normal
// results) of a rounding midpoint.  On the deep path (results of up to 42
// bits) the double sum is rounded, which may add 2^-53 relative.
TEST(ExpUnderflow, HighAccuracySubnormalsAgainstCorrectRounding) {
  const struct {
    double lo, hi;
    int slack_exp;
    const char* path;
  } ranges[] = {{-715.333, -708.3964185322641, -58, "split"}, {-745.1332191019412, -715.345, -52, "deep"}};
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  for (const auto& range : ranges) {
    const auto xs = kelacc::random_uniform(range.lo, range.hi, sized(10000, 300000), 31);
    std::vector<double> ys(xs.size());
    ASSERT_EQ(kelsExp_64f_A53(xs.data(), ys.data(), static_cast<int>(xs.size())), 0);
    size_t wrong = 0, correctly_rounded = 0;
    for (size_t i = 0; i < xs.size(); ++i) {
      kelacc::exact_unary(exact, mpfr_exp, xs[i]);
      const double err = kelacc::ulp_error<double>(ys[i], exact).ulps;
      const double slack = std::ldexp(ys[i], 1074 + range.slack_exp);  // in units of 2^-1074
      correctly_rounded += err <= 0.5;
      if (err > 0.5 + slack && wrong++ < 5)
        ADD_FAILURE() << range.path << " x = " << kelacc::hex(xs[i]) << ": " << kelacc::hex(ys[i]) << ", error " << err
                      << " ulp";
    }
    EXPECT_EQ(wrong, 0u) << range.path << " path, " << xs.size() << " inputs";
    EXPECT_GE(correctly_rounded, xs.size() * 99 / 100) << range.path;
  }
  mpfr_clear(exact);
}

// ---- Status and flags over arrays ----

TEST(ExpStatus, LastReportedCodeWinsOverMixedArrays) {
  double d[8] = {1.0, 800.0, -0.5, NAN, -800.0, 2.0, -INFINITY, 0.0};
  double y[8];
  uint16_t raised;
  {
    ScopedControlWord cw(kDefault);
    EXPECT_EQ(kelsExp_64f_A53(d, y, 8), kelStatusUnderflow);
    raised = flags();
  }
  EXPECT_TRUE((raised & (kOverflow | kUnderflow)) == (kOverflow | kUnderflow));
  EXPECT_EQ(y[1], INFINITY);
  EXPECT_TRUE(same_bits(y[4], 0.0));
  EXPECT_EQ(y[5], model_a53(2.0)) << "elements after a report are computed";
  EXPECT_TRUE(same_bits(y[6], 0.0));
  EXPECT_EQ(y[7], 1.0);
  std::swap(d[1], d[4]);
  EXPECT_EQ(kelsExp_64f_A50(d, y, 8), kelStatusOverflow);
  EXPECT_EQ(y[4], INFINITY);

  float f[4] = {89.0f, -1.0f, -104.0f, 3.0f};
  float fy[4];
  for (Fn32 fn : kFloatMembers) {
    EXPECT_EQ(fn(f, fy, 4), kelStatusUnderflow);
    EXPECT_EQ(fy[0], INFINITY);
    EXPECT_TRUE(same_bits(fy[2], 0.0f));
    EXPECT_EQ(fy[3], model_32f(3.0f));
  }
  std::swap(f[0], f[2]);
  EXPECT_EQ(kelsExp_32f_A24(f, fy, 4), kelStatusOverflow);
  // Results that underflow or overflow on the computed path report nothing.
  const double quiet[3] = {-740.0, -708.5, 709.78};
  double qy[3];
  EXPECT_EQ(kelsExp_64f_A53(quiet, qy, 3), 0);
}

TEST(ExpStatus, InPlaceAndDirectedCallerRounding) {
  std::vector<double> xs = kelacc::random_uniform(-720.0, 709.0, 64, 41);
  std::vector<double> expected(xs.size()), y(xs);
  ASSERT_EQ(kelsExp_64f_A53(xs.data(), expected.data(), 64), 0);
  {
    ScopedControlWord cw(static_cast<uint16_t>(kDouble | kTowardZero));
    EXPECT_EQ(kelsExp_64f_A53(y.data(), y.data(), 64), 0);
    EXPECT_EQ(control_word(), kDouble | kTowardZero);
  }
  EXPECT_EQ(std::memcmp(y.data(), expected.data(), 64 * sizeof(double)), 0);
}

// ---- Accuracy against MPFR ----

TEST(ExpAccuracy, RandomInputsOverTheFiniteRange) {
  const size_t n = sized(10000, 200000);
  std::vector<double> xs = kelacc::random_bits_in(-745.1332191019412, 709.782712893384, n, 51);
  const auto xu = kelacc::random_uniform(-745.1332191019412, 709.782712893384, n, 52);
  xs.insert(xs.end(), xu.begin(), xu.end());
  const struct {
    Fn64 fn;
    const char* flavour;
  } doubles[] = {{kelsExp_64f_A50, "A50"}, {kelsExp_64f_A53, "A53"}};
  for (const auto& m : doubles) {
    const auto s = kelacc::measure<double>(m.fn, mpfr_exp, xs);
    EXPECT_LE(s.max_ulps, kelacc::bound_for_flavour(m.flavour)) << s.describe(m.flavour);
    EXPECT_EQ(s.class_errors, 0u) << s.describe(m.flavour);
  }
  std::vector<float> fs = kelacc::random_bits_in(-103.97207641601562f, 88.72283172607422f, n, 53);
  const auto fu = kelacc::random_uniform(-103.97207641601562f, 88.72283172607422f, n, 54);
  fs.insert(fs.end(), fu.begin(), fu.end());
  for (Fn32 fn : kFloatMembers) {
    const auto s = kelacc::measure<float>(fn, mpfr_exp, fs);
    EXPECT_LE(s.max_ulps, 1.0) << s.describe("32f");
    EXPECT_EQ(s.class_errors, 0u) << s.describe("32f");
  }
}

// Large runs for the accuracy figures, native build only, by hand:
//   build/native/tests/kelvm_tests --gtest_also_run_disabled_tests
//       --gtest_filter='ExpAccuracy.DISABLED_*'
TEST(ExpAccuracy, DISABLED_TenMillionDoubles) {
  const size_t n = 5000000;
  std::vector<double> xs = kelacc::random_bits_in(-745.1332191019412, 709.782712893384, n, 61);
  const auto xu = kelacc::random_uniform(-745.1332191019412, 709.782712893384, n, 62);
  xs.insert(xs.end(), xu.begin(), xu.end());
  const auto a50 = kelacc::measure<double>(kelsExp_64f_A50, mpfr_exp, xs);
  const auto a53 = kelacc::measure<double>(kelsExp_64f_A53, mpfr_exp, xs);
  std::printf("%s\n%s\n", a50.describe("kelsExp_64f_A50").c_str(), a53.describe("kelsExp_64f_A53").c_str());
  EXPECT_LE(a50.max_ulps, 4.0);
  EXPECT_LE(a53.max_ulps, 1.0);
}

// Every float from the underflow threshold to the overflow threshold.  The
// screen is measured against the double exp of the C library (its error is
// below 2^-28 float ulp); the worst case is then measured against MPFR.
TEST(ExpAccuracy, DISABLED_EveryFloat) {
  if (!kNative) GTEST_SKIP() << "native build only";
  const uint32_t ranges[][2] = {{0x80000000u, bits_of(-103.97207641601562f)},
                                {0x00000000u, bits_of(88.72283172607422f)}};
  constexpr size_t kChunk = 4096;
  std::vector<float> xs(kChunk), ys(kChunk);
  double worst = 0;
  float worst_x = 0;
  size_t count = 0;
  for (const auto& r : ranges) {
    for (uint64_t b = r[0]; b <= r[1];) {
      size_t n = 0;
      for (; n < kChunk && b <= r[1]; ++n, ++b) xs[n] = float_from_bits(static_cast<uint32_t>(b));
      kelsExp_32f_A24(xs.data(), ys.data(), static_cast<int>(n));
      for (size_t i = 0; i < n; ++i) {
        const double ref = std::exp(static_cast<double>(xs[i]));
        const int e = std::max(std::ilogb(ref), -126);
        const double err = std::fabs(ys[i] - ref) / std::ldexp(1.0, e - 23);
        if (err > worst) worst = err, worst_x = xs[i];
      }
      count += n;
    }
  }
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  kelacc::exact_unary(exact, mpfr_exp, worst_x);
  float y;
  kelsExp_32f_A24(&worst_x, &y, 1);
  const double mpfr_err = kelacc::ulp_error<float>(y, exact).ulps;
  mpfr_clear(exact);
  std::printf("kelsExp_32f: %zu floats, max %.9f ulp at %s (MPFR: %.9f ulp)\n", count, worst,
              kelacc::hex(worst_x).c_str(), mpfr_err);
  EXPECT_LE(mpfr_err, 1.0);
}

}  // namespace

// Hyperbolic family: special inputs and their flags, the overflow thresholds
// of both precisions and their neighbours, the status over mixed arrays, the
// float members against each other and the symmetries, and the accuracy of
// each member against MPFR (the flavour bounds and the algorithm's own,
// tighter, design bound on the regions where its paths meet).
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

using namespace kelfpu;

namespace {

template <class T>
using Fn = KelStatus (*)(const T*, T*, int);

struct Family {
  const char* name;
  Fn<float> f32[3];  // A11, A21, A24
  Fn<double> f64[2];  // A50, A53
  kelacc::MpfrUnary ref;
};

const Family kSinh = {"Sinh", {kelsSinh_32f_A11, kelsSinh_32f_A21, kelsSinh_32f_A24},
                      {kelsSinh_64f_A50, kelsSinh_64f_A53}, mpfr_sinh};
const Family kCosh = {"Cosh", {kelsCosh_32f_A11, kelsCosh_32f_A21, kelsCosh_32f_A24},
                      {kelsCosh_64f_A50, kelsCosh_64f_A53}, mpfr_cosh};
const Family kTanh = {"Tanh", {kelsTanh_32f_A11, kelsTanh_32f_A21, kelsTanh_32f_A24},
                      {kelsTanh_64f_A50, kelsTanh_64f_A53}, mpfr_tanh};
const Family* const kFamilies[] = {&kSinh, &kCosh, &kTanh};

// The largest double and float whose sinh and cosh are finite.
constexpr double kOver64 = 0x1.633ce8fb9f87dp+9;  // 710.4758600739439
constexpr float kOver32 = 0x1.65a9f8p+6f;         // 89.415985107421875

// ---- Special inputs ----

// The same list for both formats: zeros, the smallest subnormal, the edge of
// the near-zero range, infinities and NaNs, and tanh's saturation.
template <class T>
std::vector<kelacc::Special<T>> specials(const Family& f) {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), qnan = L::quiet_NaN(), tiny = L::denorm_min();
  const T below = T(0x1.fffffep-28);  // last input of the near-zero range
  std::vector<kelacc::Special<T>> v = {{qnan, qnan, 0}, {-qnan, qnan, 0}, {qnan, qnan, kInvalid}};
  // The signalling NaN is written as a bit pattern: on i386 a NaN that passes
  // through an x87 register arrives quiet.
  const uint64_t snan = sizeof(T) == 8 ? 0x7FF4000000000000ull : 0x7FA00000u;
  std::memcpy(&v[2].x, &snan, sizeof(T));
  auto add = [&](std::initializer_list<kelacc::Special<T>> l) { v.insert(v.end(), l); };
  if (&f == &kCosh) {
    add({{T(0), T(1), 0},
         {-T(0), T(1), 0},
         {tiny, T(1), kInexact},
         {-below, T(1), kInexact},
         {inf, inf, 0},
         {-inf, inf, 0}});
    return v;
  }
  add({{T(0), T(0), 0},
       {-T(0), -T(0), 0},
       {tiny, tiny, kInexact},  // x is the correctly rounded value: no underflow report
       {-tiny, -tiny, kInexact},
       {L::min(), L::min(), kInexact},
       {below, below, kInexact},
       {-below, -below, kInexact}});
  if (&f == &kSinh) {
    add({{inf, inf, 0}, {-inf, -inf, 0}});
  } else {
    add({{inf, T(1), 0},
         {-inf, T(-1), 0},
         {T(22), T(1), kInexact},  // saturated: 1 with inexact
         {T(-22), T(-1), kInexact},
         {T(19.5), T(1), kInexact},  // computed, rounds to 1
         {L::max(), T(1), kInexact},
         {-L::max(), T(-1), kInexact}});
  }
  return v;
}

TEST(HyperbolicSpecial, InputsResultsAndFlags) {
  for (const Family* f : kFamilies) {
    for (auto fn : f->f32) kelacc::expect_specials<float>(f->name, fn, specials<float>(*f));
    for (auto fn : f->f64) kelacc::expect_specials<double>(f->name, fn, specials<double>(*f));
  }
}

// ---- Overflow thresholds ----

// At the threshold sinh and cosh are finite and correctly rounded (within a
// few ulps of the largest finite value); one step beyond, and at the largest
// finite input, they store +-Inf (cosh: +Inf), raise overflow and report it.
template <class T>
void check_threshold(const Family& f, Fn<T> fn, T over) {
  const T next = std::nextafter(over, std::numeric_limits<T>::infinity());
  const T inf = std::numeric_limits<T>::infinity();
  const bool odd = &f == &kSinh;
  const struct {
    T x;
    bool overflows;
  } cases[] = {{over, false}, {-over, false}, {next, true}, {-next, true},
               {std::numeric_limits<T>::max(), true}, {-std::numeric_limits<T>::max(), true}};
  mpfr_t exact;
  mpfr_init2(exact, kelacc::kExactBits);
  for (const auto& c : cases) {
    const auto [y, status, raw] = run_one(fn, c.x);
    const uint16_t raised = raw;
    SCOPED_TRACE(std::string(f.name) + ": x = " + kelacc::hex(c.x) + " -> " + kelacc::hex(y));
    const T sign = odd && c.x < 0 ? T(-1) : T(1);
    if (c.overflows) {
      EXPECT_EQ(status, kelStatusOverflow);
      EXPECT_EQ(y, sign * inf);
      EXPECT_TRUE(raised & kOverflow);
    } else {
      EXPECT_EQ(status, 0);
      EXPECT_FALSE(raised & kOverflow);
      kelacc::exact_unary(exact, f.ref, c.x);
      EXPECT_TRUE(same_bits(y, kelacc::correctly_rounded<T>(exact)));
      EXPECT_GT(y * sign, std::numeric_limits<T>::max() / T(1.0001));
    }
  }
  mpfr_clear(exact);
}

TEST(HyperbolicThreshold, NeighboursInBothPrecisions) {
  ASSERT_EQ(std::nextafter(kOver64, INFINITY), 0x1.633ce8fb9f87ep+9);
  ASSERT_EQ(std::nextafter(kOver32, INFINITY), 0x1.65a9fap+6f);
  for (const Family* f : {&kSinh, &kCosh}) {
    for (auto fn : f->f32) check_threshold<float>(*f, fn, kOver32);
    for (auto fn : f->f64) check_threshold<double>(*f, fn, kOver64);
  }
}

// The thresholds are the exact ones: the threshold's value rounds below the
// overflow midpoint, its successor's at or above (checked in MPFR, so a
// wrong threshold in the table cannot pass by being consistent with itself).
TEST(HyperbolicThreshold, AreTheExactOverflowLimits) {
  mpfr_t v, mid;
  mpfr_inits2(256, v, mid, static_cast<mpfr_ptr>(nullptr));
  const struct {
    double x;
    int p, emax;
    bool finite;
  } cases[] = {{kOver64, 53, 1024, true}, {std::nextafter(kOver64, INFINITY), 53, 1024, false},
               {kOver32, 24, 128, true}, {std::nextafter(kOver32, INFINITY), 24, 128, false}};
  for (const auto& c : cases) {
    mpfr_set_ui_2exp(mid, 1, c.emax, MPFR_RNDN);
    mpfr_set_ui_2exp(v, 1, c.emax - c.p - 1, MPFR_RNDN);
    mpfr_sub(mid, mid, v, MPFR_RNDN);  // between the largest finite value and 2^emax
    for (auto f : {mpfr_sinh, mpfr_cosh}) {
      mpfr_set_d(v, c.x, MPFR_RNDN);
      f(v, v, MPFR_RNDN);
      EXPECT_EQ(mpfr_less_p(v, mid) != 0, c.finite) << kelacc::hex(c.x);
    }
  }
  mpfr_clears(v, mid, static_cast<mpfr_ptr>(nullptr));
}

// ---- Status over arrays ----

TEST(HyperbolicStatus, LastReportedCodeWinsAndOtherElementsAreComputed) {
  const double d[] = {1.0, 800.0, NAN, -0.5, -1e300, 2.0};
  double y[6];
  EXPECT_EQ(kelsSinh_64f_A53(d, y, 6), kelStatusOverflow);
  EXPECT_EQ(y[1], INFINITY);
  EXPECT_EQ(y[4], -INFINITY);
  EXPECT_TRUE(std::isnan(y[2]));
  EXPECT_EQ(y[3], -0x1.0acd00fe63b97p-1);  // sinh(-0.5)
  EXPECT_EQ(kelsCosh_64f_A50(d, y, 6), kelStatusOverflow);
  EXPECT_EQ(y[4], INFINITY);
  EXPECT_EQ(y[5], 0x1.e18fa0df2d9bcp+1);  // cosh(2)
  EXPECT_EQ(kelsTanh_64f_A53(d, y, 6), kelStatusNoError);  // tanh never reports
  EXPECT_EQ(y[1], 1.0);
  EXPECT_EQ(y[4], -1.0);

  const float s[] = {90.0f, 1.0f, -100.0f};
  float z[3];
  for (auto fn : kSinh.f32) {
    EXPECT_EQ(fn(s, z, 3), kelStatusOverflow);
    EXPECT_EQ(z[0], INFINITY);
    EXPECT_EQ(z[1], 0x1.2cd9fcp+0f);  // sinh(1)
    EXPECT_EQ(z[2], -INFINITY);
  }
  for (auto fn : kCosh.f32) {
    EXPECT_EQ(fn(s, z, 3), kelStatusOverflow);
    EXPECT_EQ(z[2], INFINITY);
  }
  EXPECT_EQ(kelsSinh_64f_A53(d, y, 0), kelStatusSizeError);
  EXPECT_EQ(kelsTanh_32f_A24(nullptr, z, 1), kelStatusNullPointer);
}

// ---- Members against each other ----

// The float members share one algorithm and must agree bit for bit; every
// member is odd (sinh, tanh) or even (cosh) exactly; and the results do not
// depend on the caller's precision and rounding fields.
TEST(HyperbolicMembers, FloatMembersIdenticalSymmetricAndControlWordIndependent) {
  std::vector<float> xs = kelacc::random_bits_in(0x1p-30f, 95.0f, sized(3000, 300000), 41);
  const auto near = kelacc::random_uniform(0.0f, 1.0f, sized(1000, 100000), 42);
  xs.insert(xs.end(), near.begin(), near.end());
  std::vector<float> neg(xs.size());
  for (size_t i = 0; i < xs.size(); ++i) neg[i] = -xs[i];
  const int n = static_cast<int>(xs.size());
  for (const Family* f : kFamilies) {
    SCOPED_TRACE(f->name);
    std::vector<float> ref(xs.size()), y(xs.size()), yn(xs.size());
    const int status = f->f32[2](xs.data(), ref.data(), n);
    for (auto fn : f->f32) {
      {
        ScopedControlWord cw(kSingle | kTowardZero);
        EXPECT_EQ(fn(xs.data(), y.data(), n), status);
      }
      EXPECT_EQ(fn(neg.data(), yn.data(), n), status);
      size_t bad = 0;
      for (size_t i = 0; i < xs.size(); ++i) {
        const float mirrored = f == &kCosh ? yn[i] : -yn[i];
        if ((!same_bits(y[i], ref[i]) || !same_bits(mirrored, ref[i])) && bad++ < 3)
          ADD_FAILURE() << "x = " << kelacc::hex(xs[i]) << ": " << kelacc::hex(y[i]) << ", f(-x) "
                        << kelacc::hex(yn[i]) << ", A24 " << kelacc::hex(ref[i]);
      }
      EXPECT_EQ(bad, 0u);
    }
  }
}

TEST(HyperbolicMembers, DoubleMembersSymmetric) {
  const auto xs = kelacc::random_bits_in(0x1p-30, 720.0, sized(3000, 300000), 43);
  std::vector<double> neg(xs.size()), y(xs.size()), yn(xs.size());
  for (size_t i = 0; i < xs.size(); ++i) neg[i] = -xs[i];
  const int n = static_cast<int>(xs.size());
  for (const Family* f : kFamilies) {
    for (auto fn : f->f64) {
      fn(xs.data(), y.data(), n);
      fn(neg.data(), yn.data(), n);
      size_t bad = 0;
      for (size_t i = 0; i < xs.size(); ++i) {
        const double mirrored = f == &kCosh ? yn[i] : -yn[i];
        if (!same_bits(mirrored, y[i]) && bad++ < 3) ADD_FAILURE() << f->name << " x = " << kelacc::hex(xs[i]);
      }
      EXPECT_EQ(bad, 0u) << f->name;
    }
  }
}

// ---- Accuracy ----

TEST(HyperbolicAccuracy, EveryMemberWithinItsFlavourBound) {
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Sinh);
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Cosh);
  KELACC_EXPECT_REAL_FAMILY_ACCURATE(Tanh);
}

// The design bound of the double algorithm: the double-double value is within
// 2^-60 relative of the function, so a result is at most 0.51 ulp off (0.505
// measured).  The float members round that double once more: 0.5001 ulp.  The
// regions are where the paths meet or where the evaluation is most delicate:
// the series limits, the cancellation of e^a - e^-a just above 1/8, the
// range where the reciprocal is dropped (m = 32), the last row before the
// overflow threshold (m = 1025, where the scaling is split), and tanh close
// to 1.
template <class T>
void expect_design_bound(const Family& f, Fn<T> fn, T lo, T hi, double bound, uint64_t seed) {
  const size_t n = sized(400, 40000);
  auto xs = kelacc::random_uniform(lo, hi, n, seed);
  const auto bits = kelacc::random_bits_in(lo, hi, n, seed + 1);
  xs.insert(xs.end(), bits.begin(), bits.end());
  const auto s = kelacc::measure(fn, f.ref, xs);
  EXPECT_LE(s.max_ulps, bound) << s.describe(f.name) << " on [" << lo << ", " << hi << "]";
  EXPECT_EQ(s.class_errors, 0u) << s.describe(f.name);
}

TEST(HyperbolicAccuracy, DesignBoundWhereThePathsMeet) {
  const struct {
    const Family* f;
    double lo, hi;
  } regions[] = {
      {&kSinh, 0x1p-28, 0x1p-26},  {&kSinh, 0.1, 0.125},    {&kSinh, 0.125, 0.3}, {&kSinh, 0.3, 1.0},
      {&kSinh, 21.0, 23.0},        {&kSinh, 700.0, kOver64}, {&kSinh, 710.0, kOver64},
      {&kCosh, 0x1p-28, 0x1p-20}, {&kCosh, 0x1p-20, 0.5},   {&kCosh, 0.5, 30.0},  {&kCosh, 710.0, kOver64},
      {&kTanh, 0x1p-28, 0x1p-26}, {&kTanh, 0.05, 0.0625},   {&kTanh, 0.0625, 0.3}, {&kTanh, 0.3, 3.0},
      {&kTanh, 3.0, 22.0},
  };
  uint64_t seed = 100;
  for (const auto& r : regions) {
    for (auto fn : r.f->f64) expect_design_bound<double>(*r.f, fn, r.lo, r.hi, 0.51, seed += 2);
    const float lo = static_cast<float>(r.lo), hi = std::min(static_cast<float>(r.hi), kOver32);
    if (lo < hi) expect_design_bound<float>(*r.f, r.f->f32[0], lo, hi, 0.5001, seed += 2);
  }
}

}  // namespace

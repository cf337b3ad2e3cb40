// Hyperbolic functions: specials and flags, overflow threshold neighbours, the path joints.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
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

// One member per precision: the others share its code (Frame.MembersAgree...).
struct Family {
  const char* name;
  Fn<float> f32;
  Fn<double> f64;
  kelacc::MpfrUnary ref;
};

const Family kSinh = {"Sinh", kelsSinh_32f_A24, kelsSinh_64f_A53, mpfr_sinh};
const Family kCosh = {"Cosh", kelsCosh_32f_A24, kelsCosh_64f_A53, mpfr_cosh};
const Family kTanh = {"Tanh", kelsTanh_32f_A24, kelsTanh_64f_A53, mpfr_tanh};
const Family* const kFamilies[] = {&kSinh, &kCosh, &kTanh};

// The largest double and float whose sinh and cosh are finite.
constexpr double kOver64 = 0x1.633ce8fb9f87dp+9;
constexpr float kOver32 = 0x1.65a9f8p+6f;

// Zeros, the smallest subnormal (no underflow), the edge of the near-zero
// range, infinities, NaNs (the signalling one as bits), tanh's saturation.
template <class T>
std::vector<kelacc::Special<T>> specials(const Family& f) {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), qnan = L::quiet_NaN(), tiny = L::denorm_min(), below = T(0x1.fffffep-28);
  std::vector<kelacc::Special<T>> v = {{qnan, qnan, 0}, {qnan, qnan, kInvalid}};
  const uint64_t snan = sizeof(T) == 8 ? 0x7FF4000000000000ull : 0x7FA00000u;
  std::memcpy(&v[1].x, &snan, sizeof(T));
  if (&f == &kCosh) {
    v.insert(v.end(), {{-T(0), T(1), 0}, {tiny, T(1), kInexact}, {-below, T(1), kInexact}, {-inf, inf, 0}});
    return v;
  }
  v.insert(v.end(), {{T(0), T(0), 0}, {-T(0), -T(0), 0}, {-tiny, -tiny, kInexact}, {L::min(), L::min(), kInexact},
                     {below, below, kInexact}});
  if (&f == &kSinh) v.insert(v.end(), {{inf, inf, 0}, {-inf, -inf, 0}});
  else  // saturated at 22, computed and rounded to 1 at 19.5
    v.insert(v.end(), {{-inf, T(-1), 0}, {T(22), T(1), kInexact}, {T(19.5), T(1), kInexact},
                       {-L::max(), T(-1), kInexact}});
  return v;
}

TEST(HyperbolicSpecial, InputsResultsAndFlags) {
  for (const Family* f : kFamilies) {
    kelacc::expect_specials<float>(f->name, f->f32, specials<float>(*f));
    kelacc::expect_specials<double>(f->name, f->f64, specials<double>(*f));
  }
}

// At the threshold: finite, correctly rounded, no report; beyond: +-Inf,
// overflow raised and reported.  MPFR confirms the threshold is the limit.
template <class T>
void check_threshold(const Family& f, T over) {
  const T inf = std::numeric_limits<T>::infinity(), next = std::nextafter(over, inf);
  kelacc::Mpfr exact;
  for (const T x : {over, -over, next, -next, std::numeric_limits<T>::max()}) {
    kelacc::exact_unary(exact.v, f.ref, x);
    const T want = kelacc::correctly_rounded<T>(exact.v);
    const bool overflows = std::fabs(x) > over;
    EXPECT_EQ(std::isinf(want), overflows) << f.name << " " << kelacc::hex(x);
    const auto [y, status, raw] = run_one(std::get<Fn<T>>(std::tuple{f.f32, f.f64}), x);
    SCOPED_TRACE(std::string(f.name) + ": x = " + kelacc::hex(x) + " -> " + kelacc::hex(y));
    EXPECT_TRUE(same_bits(y, want));
    EXPECT_EQ(status, overflows ? kelStatusOverflow : 0);
    EXPECT_EQ((raw & kOverflow) != 0, overflows);
  }
}

TEST(HyperbolicThreshold, NeighboursInBothPrecisions) {
  for (const Family* f : {&kSinh, &kCosh}) {
    check_threshold<float>(*f, kOver32);
    check_threshold<double>(*f, kOver64);
  }
}

// Design bound 0.51 ulp (double), 0.5001 (float) where the paths meet: series
// limits, cancellation above 1/8, the dropped reciprocal, the split scaling,
// the edges of the extended main path (2^-27, 1/2, 704; 89 for floats).
TEST(HyperbolicAccuracy, DesignBoundWhereThePathsMeet) {
  const struct {
    const Family* f;
    double lo, hi;
  } regions[] = {
      {&kSinh, 0x1p-28, 0x1p-26}, {&kSinh, 0.1, 0.3},     {&kSinh, 0.3, 1.0},    {&kSinh, 21.0, 23.0},
      {&kSinh, 700.0, kOver64},   {&kCosh, 0x1p-28, 0.5}, {&kCosh, 0.5, 30.0},   {&kCosh, 700.0, kOver64},
      {&kCosh, 88.0, 90.0},
      {&kTanh, 0x1p-28, 0x1p-26}, {&kTanh, 0.05, 0.3},    {&kTanh, 0.3, 3.0},    {&kTanh, 3.0, 22.0},
  };
  uint64_t seed = 100;
  for (const auto& r : regions) {
    const size_t n = sized(200, 10000);
    auto xs = kelacc::random_uniform(r.lo, r.hi, n, ++seed), bits = kelacc::random_bits_in(r.lo, r.hi, n, ++seed);
    xs.insert(xs.end(), bits.begin(), bits.end());
    kelacc::expect_within(r.f->name, kelacc::measure(r.f->f64, r.f->ref, xs), 0.51);
    std::vector<float> fs;
    for (double x : xs)
      if (float(x) < kOver32) fs.push_back(float(x));
    kelacc::expect_within(r.f->name, kelacc::measure(r.f->f32, r.f->ref, fs), 0.5001);
  }
}

}  // namespace

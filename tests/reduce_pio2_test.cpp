// orxreduce_pio2d against an exact reduction with MPFR (pi to 4000 bits):
// random arguments up to DBL_MAX, the path switches, the start-index corner of
// the large path, negative arguments and the doubles nearest to multiples of
// pi/2 (continued-fraction worst cases of every binade).
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

// KELVM_TRIG_SCALE=k multiplies the random sample counts (long runs by hand).
size_t scale() {
  const char* k = std::getenv("KELVM_TRIG_SCALE");
  return k ? std::strtoul(k, nullptr, 10) : 1;
}
constexpr mpfr_prec_t kBits = 4000;

// Relative error of r[0] + r[1] against x - q*pi/2 taken modulo 2*pi into
// (-pi, pi], and the reference's magnitude.
struct Check {
  double rel_error;   // |r0 + r1 - exact| / |exact|
  double magnitude;   // |exact| / (pi/4)
};

class Exact {
 public:
  Exact() {
    mpfr_inits2(kBits, pio2_, twopi_, t_, u_, static_cast<mpfr_ptr>(nullptr));
    mpfr_const_pi(pio2_, MPFR_RNDN);
    mpfr_mul_2ui(twopi_, pio2_, 1, MPFR_RNDN);
    mpfr_div_2ui(pio2_, pio2_, 1, MPFR_RNDN);
  }
  ~Exact() { mpfr_clears(pio2_, twopi_, t_, u_, static_cast<mpfr_ptr>(nullptr)); }

  Check check(double x, int q, const double r[2]) {
    mpfr_mul_si(t_, pio2_, q, MPFR_RNDN);
    mpfr_d_sub(t_, x, t_, MPFR_RNDN);
    mpfr_div(u_, t_, twopi_, MPFR_RNDN);
    mpfr_round(u_, u_);
    mpfr_mul(u_, u_, twopi_, MPFR_RNDN);
    mpfr_sub(t_, t_, u_, MPFR_RNDN);  // exact reduced argument for quadrant q
    mpfr_set_d(u_, r[0], MPFR_RNDN);
    mpfr_add_d(u_, u_, r[1], MPFR_RNDN);
    mpfr_sub(u_, u_, t_, MPFR_RNDN);
    mpfr_div(u_, u_, t_, MPFR_RNDN);
    Check c{std::fabs(mpfr_get_d(u_, MPFR_RNDN)), 0};
    mpfr_div(u_, t_, pio2_, MPFR_RNDN);
    c.magnitude = std::fabs(mpfr_get_d(u_, MPFR_RNDN)) * 2;
    return c;
  }

  // The double nearest to k*pi/2 for an integer k given by a double.
  double nearest_multiple(double k) {
    mpfr_mul_d(t_, pio2_, k, MPFR_RNDN);
    return mpfr_get_d(t_, MPFR_RNDN);
  }

  // Doubles of binade [2^E, 2^(E+1)) nearest to a multiple of pi/2: the
  // numerators M < 2^53 of the last convergent and semiconvergent of
  // (pi/2) * 2^(52-E), giving x = M * 2^(E-52).
  std::vector<double> hard_cases(int E) {
    std::vector<double> out;
    mpfr_t a, fl;
    mpfr_inits2(kBits, a, fl, static_cast<mpfr_ptr>(nullptr));
    mpfr_mul_2si(a, pio2_, 52 - E, MPFR_RNDN);
    const long double limit = 0x1p53L;
    long double p0 = 1, p1 = 0;  // p_{n-1}, p_{n-2}
    for (int step = 0; step < 400; ++step) {
      mpfr_floor(fl, a);
      const long double an = mpfr_get_ld(fl, MPFR_RNDN);
      const long double p = an * p0 + p1;
      if (p >= limit) {
        const long double semi = std::floor((limit - 1 - p1) / p0);  // largest a with a*p0 + p1 < 2^53
        if (semi >= 1) out.push_back(std::ldexp(static_cast<double>(semi * p0 + p1), E - 52));
        if (p0 >= 1) out.push_back(std::ldexp(static_cast<double>(p0), E - 52));
        break;
      }
      p1 = p0;
      p0 = p;
      mpfr_sub(a, a, fl, MPFR_RNDN);
      if (mpfr_zero_p(a)) break;
      mpfr_ui_div(a, 1, a, MPFR_RNDN);
    }
    mpfr_clears(a, fl, static_cast<mpfr_ptr>(nullptr));
    return out;
  }

 private:
  mpfr_t pio2_, twopi_, t_, u_;
};

struct Worst {
  double rel[2] = {0, 0}, x[2] = {0, 0};  // medium path, large path
  size_t n = 0;
};

// Runs the reduction under the precision its callers set and checks the
// contract: reduced argument within pi/4 (plus rounding), error below 2^-70
// relative (2^-57 below 2^30), r[1] below an ulp of r[0], quadrant in 0..3.
void reduce_and_check(Exact& ex, double x, Worst& w) {
  double r[2];
  int q;
  {
    ScopedControlWord cw(kDouble);
    q = orxreduce_pio2d(x, r);
  }
  ASSERT_GE(q, 0) << kelacc::hex(x);
  ASSERT_LE(q, 3) << kelacc::hex(x);
  const Check c = ex.check(x, q, r);
  EXPECT_LE(c.magnitude, 1.0 + 0x1p-40) << kelacc::hex(x);
  // The medium path (below 2^30) carries pi/4 to 2^-116 absolute for its
  // largest multiples, the large path to about 2^-140.
  const double bound = std::fabs(x) < 0x1p30 ? 0x1p-57 : 0x1p-70;
  EXPECT_LE(c.rel_error, bound) << kelacc::hex(x) << " q=" << q << " r=" << kelacc::hex(r[0]) << " + "
                                  << kelacc::hex(r[1]);
  const double ulp = std::nextafter(std::fabs(r[0]), INFINITY) - std::fabs(r[0]);
  EXPECT_LE(std::fabs(r[1]), 0.5 * ulp) << "low part above half an ulp: " << kelacc::hex(x);
  const int path = std::fabs(x) >= 0x1p30;
  if (c.rel_error > w.rel[path]) w.rel[path] = c.rel_error, w.x[path] = x;
  ++w.n;
}

void report(const char* what, const Worst& w) {
  for (int path = 0; path < 2; ++path)
    std::printf("[ reduction ] %s: %zu arguments, %s path: max relative error 2^%.1f at %s\n", what, w.n,
                path ? "large" : "medium", w.rel[path] > 0 ? std::log2(w.rel[path]) : -INFINITY,
                kelacc::hex(w.x[path]).c_str());
}

TEST(ReducePio2, RandomArgumentsUpToDblMax) {
  Exact ex;
  Worst w;
  const size_t n = (kEmulated ? 1500 : 40000) * scale();
  for (double x : kelacc::random_bits_in<double>(12800.0, DBL_MAX, n, 11)) reduce_and_check(ex, x, w);
  for (double x : kelacc::random_bits_in<double>(12800.0, 0x1p30, n / 4, 12)) reduce_and_check(ex, -x, w);
  report("random", w);
}

// The switch points of the paths, and every exponent of the large path with
// the smallest, largest and a random significand (the multiples of 25 of
// e - 1052 take the start index one lower and the narrowest mask).
TEST(ReducePio2, PathSwitchesAndEveryLargeExponent) {
  Exact ex;
  Worst w;
  const double edges[] = {12800.0, 0x1p17, 0x1p23, 0x1p30, DBL_MAX, 0x1.921fb54442d18p+29};
  for (double e : edges)
    for (double x : {e, std::nextafter(e, 0.0), std::nextafter(e, INFINITY)})
      if (std::isfinite(x)) reduce_and_check(ex, x, w), reduce_and_check(ex, -x, w);
  std::mt19937_64 rng(5);
  for (int e = 1053; e <= 2046; ++e) {
    if (kEmulated && (e - 1052) % 25 > 1 && e % 5 != 0) continue;
    const uint64_t top = static_cast<uint64_t>(e) << 52;
    for (uint64_t m : {uint64_t(0), (uint64_t(1) << 52) - 1, rng() >> 12}) {
      double x;
      const uint64_t b = top | m;
      std::memcpy(&x, &b, 8);
      reduce_and_check(ex, x, w);
    }
  }
  report("switches and exponents", w);
}

// The results of -x are exactly the negated results of x, the quadrant (-q) & 3.
TEST(ReducePio2, NegativeArgumentsMirror) {
  ScopedControlWord cw(kDouble);
  for (double x : kelacc::random_bits_in<double>(12800.0, DBL_MAX, kEmulated ? 500 : 20000, 13)) {
    double rp[2], rn[2];
    const int qp = orxreduce_pio2d(x, rp), qn = orxreduce_pio2d(-x, rn);
    ASSERT_EQ(qn, (-qp) & 3) << kelacc::hex(x);
    ASSERT_EQ(rn[0], -rp[0]) << kelacc::hex(x);
    ASSERT_EQ(rn[1], -rp[1]) << kelacc::hex(x);
  }
}

// Arguments nearest to multiples of pi/2, where the reduced argument is tiny
// and the reduction must keep 53 bits after up to 62 bits of cancellation.
TEST(ReducePio2, NearestToMultiplesOfPiOver2) {
  Exact ex;
  Worst w;
  // The worst double of the whole range (distance about 2^-61 from k*pi/2).
  reduce_and_check(ex, 6381956970095103.0 * 0x1p797, w);
  for (int E = 13; E <= 1023; ++E) {
    if (kEmulated && E % 7 != 0 && E != 29 && E != 30 && E != 22 && E != 23) continue;
    for (double x : ex.hard_cases(E))
      if (x >= 12800.0) reduce_and_check(ex, x, w), reduce_and_check(ex, -x, w);
  }
  std::mt19937_64 rng(7);
  for (size_t i = 0; i < (kEmulated ? 300 : 5000) * scale(); ++i) {
    const double k = std::ldexp(static_cast<double>(rng() >> 11), static_cast<int>(rng() % 1000) - 40);
    const double x = ex.nearest_multiple(std::floor(k) + 1);
    if (std::isfinite(x) && x >= 12800.0) reduce_and_check(ex, x, w);
  }
  report("nearest to multiples of pi/2", w);
}

}  // namespace

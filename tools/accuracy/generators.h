// Reproducible input sets: random bit patterns plus the regions where an
// implementation goes wrong (thresholds, near 1, multiples of pi/2, tiny,
// huge, overflow, underflow).  (n, seed) gives the same inputs on both builds.
#pragma once

#include <mpfr.h>

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "accuracy.h"
#include "catalogue.h"

namespace kelacc {

// Arguments of n elements: a (and b for two-argument functions); scalars are
// the exponents tried for the Powx shape, one run per value.
template <class T>
struct Inputs {
  std::vector<T> a, b;
  std::vector<T> scalars;
};

template <class T>
using Generator = Inputs<T> (*)(size_t n, uint64_t seed);

// Builds an argument list region by region, each about share * n values;
// take() pads with whole-range bit patterns to n (or truncates).
template <class T>
class Sampler {
 public:
  Sampler(size_t n, uint64_t seed) : n_(n), rng_(seed) {}

  // Random bit patterns in [lo, hi] (whole: every finite value); both_signs:
  // the same, each negated or not; uniform: random values in [lo, hi].
  Sampler& bits(T lo, T hi, double share) { return add(random_bits_in<T>(lo, hi, count(share), rng_()), false); }
  Sampler& whole(double share) { return bits(-std::numeric_limits<T>::max(), std::numeric_limits<T>::max(), share); }
  Sampler& both_signs(T lo, T hi, double share) {
    return add(random_bits_in<T>(lo, hi, count(share), rng_()), true);
  }
  Sampler& uniform(T lo, T hi, double share) { return add(random_uniform<T>(lo, hi, count(share), rng_()), false); }
  // Each point (rounded to T) and its neighbours within +-ulps.
  Sampler& around(const std::vector<T>& points, int ulps, double share);
  // k * c * 2^scale_exp rounded to T (c an MPFR constant, |k| log-uniform in
  // [1, kmax]) and neighbours within +-ulps.
  Sampler& multiples(int (*constant)(mpfr_ptr, mpfr_rnd_t), int scale_exp, double kmax, int ulps,
                     double share);
  // Integers k in [lo, hi] (exact) and their neighbours within +-ulps.
  Sampler& integers(double lo, double hi, int ulps, double share);
  // Zeros, infinities, a NaN, the subnormal and normal limits, +-1.
  Sampler& specials();
  // Values from a caller's function of the random engine.
  template <class F>
  Sampler& custom(double share, F f) {
    for (size_t i = 0, m = count(share); i < m; ++i) out_.push_back(f(rng_));
    return *this;
  }

  std::vector<T> take();
  Inputs<T> inputs() { return {take(), {}, {}}; }

 private:
  Sampler& add(const std::vector<T>& xs, bool random_sign) {
    for (T x : xs) out_.push_back(random_sign && (rng_() & 1) ? -x : x);
    return *this;
  }
  size_t count(double share) const { return static_cast<size_t>(share * n_ + 0.5); }
  T step(T x, int ulps) const;
  int offset(int ulps);

  size_t n_;
  std::mt19937_64 rng_;
  std::vector<T> out_;
};

// x rounded to T, the exact value being given by an MPFR computation.
template <class T, class F>
T rounded(F f) {
  Mpfr r;
  f(r.v);
  return correctly_rounded<T>(r.v);
}

// The generators of the catalogue's input designs, in the order of
// kelcat::Sample: real ones for float, double and the long-double kernels
// (two-argument designs fill a and b; powx fills a and scalars), complex ones
// for Kel32fc and Kel64fc (complex_pow: Pow's a and b, Powx's a and scalars).
#define KELACC_REAL_DESIGNS(X, T)                                                                                 \
  X(exp, T) X(log, T) X(log1p, T) X(trig, T) X(degrees, T) X(sinh_cosh, T) X(tanh, T) X(asin_acos, T) X(atan, T) \
  X(acosh, T) X(atanh, T) X(inv, T) X(sqrt, T) X(erf, T) X(erfc, T) X(erfinv, T) X(rounding, T) X(atan2, T)     \
  X(div, T) X(hypot, T) X(pow, T) X(powx, T)
#define KELACC_COMPLEX_DESIGNS(X, C) X(complex_exp, C) X(complex_trig, C) X(complex_log, C) X(complex_pow, C)
#define KELACC_DECLARE(name, T) \
  template <class T>            \
  Inputs<T> gen_##name(size_t n, uint64_t seed);
KELACC_REAL_DESIGNS(KELACC_DECLARE, T)
KELACC_COMPLEX_DESIGNS(KELACC_DECLARE, T)
#undef KELACC_DECLARE

// The generator of one of the catalogue's input designs (T real, long double
// or complex); nullptr for a design of the other kind.
template <class T>
Generator<T> generator(kelcat::Sample s);

}  // namespace kelacc

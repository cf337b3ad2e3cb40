// Reproducible input sets: random bit patterns plus the regions where an
// implementation goes wrong (thresholds, near 1, multiples of pi/2, tiny,
// huge, overflow, underflow).  (n, seed) gives the same inputs on both builds.
#pragma once

#include <mpfr.h>

#include <cstdint>
#include <initializer_list>
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

  // Random bit patterns of every finite value, both signs.
  Sampler& whole(double share);
  // Random bit patterns in [lo, hi]; signed(): the same in [-hi, -lo] too.
  Sampler& bits(T lo, T hi, double share);
  Sampler& both_signs(T lo, T hi, double share);
  Sampler& uniform(T lo, T hi, double share);
  // Each point (rounded to T) and its neighbours within +-ulps.
  Sampler& around(std::initializer_list<T> points, int ulps, double share);
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
  std::mt19937_64& rng() { return rng_; }

 private:
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
  mpfr_t r;
  mpfr_init2(r, kExactBits);
  f(r);
  const T out = correctly_rounded<T>(r);
  mpfr_clear(r);
  return out;
}

// Generators of the real families (T = float, double) and of the long-double
// kernels (T = long double).  Binary functions fill a and b.
template <class T> Inputs<T> gen_exp(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_log(size_t n, uint64_t seed);     // Ln, Log10 (powers of ten)
template <class T> Inputs<T> gen_log1p(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_trig(size_t n, uint64_t seed);    // Sin, Cos, Tan, SinCos
template <class T> Inputs<T> gen_degrees(size_t n, uint64_t seed); // sind, cosd
template <class T> Inputs<T> gen_sinh_cosh(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_tanh(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_asin_acos(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_atan(size_t n, uint64_t seed);    // Atan, Asinh, Cbrt
template <class T> Inputs<T> gen_acosh(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_atanh(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_inv(size_t n, uint64_t seed);     // Inv, InvCbrt
template <class T> Inputs<T> gen_sqrt(size_t n, uint64_t seed);    // Sqrt, InvSqrt
template <class T> Inputs<T> gen_erf(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_erfc(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_erfinv(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_rounding(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_atan2(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_div(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_hypot(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_pow(size_t n, uint64_t seed);
template <class T> Inputs<T> gen_powx(size_t n, uint64_t seed);   // a and scalars

// Complex arguments: parts from random bits, plus axes, signed zeros, the unit
// circle, the cuts and the overflow region.
template <class C> Inputs<C> gen_complex(size_t n, uint64_t seed);      // moderate range
template <class C> Inputs<C> gen_complex_exp(size_t n, uint64_t seed);  // Exp, Sinh, Cosh, Tanh (large real parts)
template <class C> Inputs<C> gen_complex_trig(size_t n, uint64_t seed); // Sin, Cos, Tan: the same, parts swapped
template <class C> Inputs<C> gen_complex_log(size_t n, uint64_t seed);  // Ln, Log10, Sqrt, inverses (whole range)
template <class C> Inputs<C> gen_complex_pow(size_t n, uint64_t seed);  // Pow (a, b), Powx (a, scalars)

// The generator of one of the catalogue's input designs (T real, long double
// or complex); nullptr for a design of the other kind.
template <class T>
Generator<T> generator(kelcat::Sample s);

}  // namespace kelacc

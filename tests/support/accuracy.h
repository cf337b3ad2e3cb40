// Accuracy measurement against MPFR: correctly rounded references, the error
// of a result in units in the last place of its format, and a sampler that
// runs a vector function over inputs and keeps the worst case.
#pragma once

#include <mpfr.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelacc {

// Working precision of the exact values; far beyond any rounding boundary
// that matters for a 64-bit significand.
inline constexpr mpfr_prec_t kExactBits = 256;

using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using MpfrBinary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);

// Format traits: significand bits and the exponent of the smallest normal.
template <class T>
struct Format;
template <>
struct Format<float> {
  static constexpr int digits = 24, min_exp = -126, max_exp = 127;
};
template <>
struct Format<double> {
  static constexpr int digits = 53, min_exp = -1022, max_exp = 1023;
};
template <>
struct Format<long double> {
  static constexpr int digits = 64, min_exp = -16382, max_exp = 16383;
};

// f(x) rounded once, to nearest, into T (subnormals and overflow included).
template <class T>
T correctly_rounded(mpfr_srcptr exact);

// Error of y against the exact value, in ulps of the exact value's binade in
// format T (the subnormal ulp below the normal range).  Class mismatches (NaN
// versus number, infinity versus finite, the sign of a zero) are reported
// separately and are never hidden in the ulp figure.
struct Error {
  double ulps = 0;
  bool class_error = false;
};
template <class T>
Error ulp_error(T y, mpfr_srcptr exact);

// Exact value of a unary or binary MPFR function at kExactBits.
void exact_unary(mpfr_ptr out, MpfrUnary f, long double x);
void exact_binary(mpfr_ptr out, MpfrBinary f, long double a, long double b);

// The worst case over a sample.
struct Summary {
  size_t samples = 0;
  double max_ulps = 0;
  double sum_ulps = 0;
  size_t class_errors = 0;
  long double worst_input = 0, worst_input2 = 0;
  long double worst_result = 0;
  std::string describe(const char* function) const;  // hex inputs and the error
  double mean_ulps() const { return samples ? sum_ulps / samples : 0; }
};

// Accepted error of each accuracy flavour, in ulps of the element format.
double bound_for_flavour(const std::string& flavour);  // "A11", "A21", "A24", "A50", "A53"

// Runs a unary vector function in chunks over xs and measures every result.
template <class T>
using VectorUnary = int (*)(const T*, T*, int);
template <class T>
using VectorBinary = int (*)(const T*, const T*, T*, int);

template <class T>
Summary measure(VectorUnary<T> fn, MpfrUnary ref, const std::vector<T>& xs);
template <class T>
Summary measure(VectorBinary<T> fn, MpfrBinary ref, const std::vector<T>& as, const std::vector<T>& bs);

// Reproducible inputs: uniformly random bit patterns restricted to [lo, hi]
// (finite values only), and uniformly random values in [lo, hi].
template <class T>
std::vector<T> random_bits_in(T lo, T hi, size_t n, uint64_t seed);
template <class T>
std::vector<T> random_uniform(T lo, T hi, size_t n, uint64_t seed);

std::string hex(double x);  // "0x1.8p+1 (0x4008000000000000)"
std::string hex(float x);
std::string hex(long double x);

}  // namespace kelacc

// Accuracy measurement against MPFR and MPC: correctly rounded values, errors
// in ulps, and samplers keeping the worst case and the error distribution.
#pragma once

#include <mpc.h>
#include <mpfr.h>

#include <cstdint>
#include <string>
#include <vector>

#include "../../src/fp.h"
#include "kelvm.h"

namespace kelacc {

// Working precision of the exact values (hard cases of double need ~120 bits).
inline constexpr mpfr_prec_t kExactBits = 256;

using MpfrUnary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
using MpfrBinary = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);
using MpcUnary = int (*)(mpc_ptr, mpc_srcptr, mpc_rnd_t);
using MpcBinary = int (*)(mpc_ptr, mpc_srcptr, mpc_srcptr, mpc_rnd_t);

// Format traits (significand bits kDigits, exponents kMinExp of the smallest
// normal and kMaxExp of the largest finite value): the library's own.
using kel::Format;

// The part type of a complex element (of a real one: itself).
template <class C>
struct PartOf {
  using type = C;
};
template <class C>
  requires requires { &C::re; }
struct PartOf<C> {
  using type = decltype(C::re);
};

// An mpfr_t that clears itself.
struct Mpfr {
  mpfr_t v;
  explicit Mpfr(mpfr_prec_t p = kExactBits) { mpfr_init2(v, p); }
  ~Mpfr() { mpfr_clear(v); }
  Mpfr(const Mpfr&) = delete;
  Mpfr& operator=(const Mpfr&) = delete;
};

// f(x) rounded once, to nearest, into T (subnormals and overflow included).
template <class T>
T correctly_rounded(mpfr_srcptr exact);

// Error of y in ulps of the exact value's binade in T.  Class mismatches (NaN,
// infinity, sign of a zero) are reported separately, never as ulps.
struct Error {
  double ulps = 0;
  bool class_error = false;
};
template <class T>
Error ulp_error(T y, mpfr_srcptr exact);

// Normwise error of a complex result: the larger part error in ulps of the
// larger exact part, with the class checks per part; a part infinite or NaN
// on both sides drops out.
template <class T>
Error complex_ulp_error(T re, T im, mpc_srcptr exact);

// Exact value of a unary or binary MPFR function at the precision of out.
void exact_unary(mpfr_ptr out, MpfrUnary f, long double x);
void exact_binary(mpfr_ptr out, MpfrBinary f, long double a, long double b);

// Error histogram: 1/64-ulp bins below 4 ulps, then eight bins per octave up
// to 2^16 ulps, then one bin for everything larger.
struct Histogram {
  static constexpr int kLinear = 256, kOctaves = 14, kPerOctave = 8;
  static constexpr int kBins = kLinear + kOctaves * kPerOctave + 1;
  std::vector<uint64_t> counts = std::vector<uint64_t>(kBins, 0);
  static int bin(double ulps);
  static double lower_edge(int bin);  // upper edge is lower_edge(bin + 1)
  void add(double ulps) { counts[bin(ulps)]++; }
  void merge(const Histogram& o) {
    for (int i = 0; i < kBins; ++i) counts[i] += o.counts[i];
  }
};

// The worst case over a sample.
struct Summary {
  size_t samples = 0;
  double max_ulps = 0;
  double sum_ulps = 0;
  size_t class_errors = 0;
  std::string worst_case, first_class_error;  // as hex text
  Histogram histogram;
  std::string describe(const char* function) const;  // hex inputs and the error
  // Mean over the samples that have a number (class errors excluded).
  double mean_ulps() const { return samples > class_errors ? sum_ulps / (samples - class_errors) : 0; }
  void merge(const Summary& o);
};

// Accepted error per flavour in ulps: A53, A24: 1; A50: 4; A21: 8; A11: 2^13;
// "kernel": kKernelBound of the 64-bit significand; "exact" and unknown: 0.
double bound_for_flavour(const std::string& flavour);
inline constexpr double kKernelBound = 4.0;

// Vector function shapes.
template <class T>
using VectorUnary = int (*)(const T*, T*, int);
template <class T>
using VectorBinary = int (*)(const T*, const T*, T*, int);
template <class T>
using VectorScalar = int (*)(const T*, T, T*, int);  // Powx: one exponent for all elements
template <class T>
using VectorTwo = int (*)(const T*, T*, T*, int);  // SinCos, Modf: two destinations
using KernelUnary = long double (*)(long double);
using KernelBinary = long double (*)(long double, long double);
using KernelTwo = void (*)(long double, long double*, long double*);

// Runs a vector function in chunks over the inputs and measures every result.
template <class T>
Summary measure(VectorUnary<T> fn, MpfrUnary ref, const std::vector<T>& xs);
template <class T>
Summary measure(VectorBinary<T> fn, MpfrBinary ref, const std::vector<T>& as, const std::vector<T>& bs);
template <class T>
Summary measure_scalar(VectorScalar<T> fn, MpfrBinary ref, const std::vector<T>& xs, T val);
// Both destinations are measured; the summary holds the worse of the two.
template <class T>
Summary measure_two(VectorTwo<T> fn, MpfrUnary first, MpfrUnary second, const std::vector<T>& xs);

// Complex shapes (C is Kel32fc or Kel64fc), with the normwise measure.
template <class C>
Summary measure_complex(VectorUnary<C> fn, MpcUnary ref, const std::vector<C>& zs);
template <class C>
Summary measure_complex(VectorBinary<C> fn, MpcBinary ref, const std::vector<C>& as, const std::vector<C>& bs);
template <class C>
Summary measure_complex_scalar(VectorScalar<C> fn, MpcBinary ref, const std::vector<C>& zs, C val);

// Long-double kernels, called under the 64-bit precision, round-to-nearest
// control word they expect.
Summary measure_kernel(KernelUnary fn, MpfrUnary ref, const std::vector<long double>& xs);
Summary measure_kernel(KernelBinary fn, MpfrBinary ref, const std::vector<long double>& as,
                       const std::vector<long double>& bs);
Summary measure_kernel(KernelTwo fn, MpfrUnary first, MpfrUnary second, const std::vector<long double>& xs);

// Reproducible inputs: random bit patterns in [lo, hi] (long double: equal
// weight per binade) and uniformly random values in [lo, hi].
template <class T>
std::vector<T> random_bits_in(T lo, T hi, size_t n, uint64_t seed);
template <class T>
std::vector<T> random_uniform(T lo, T hi, size_t n, uint64_t seed);

std::string hex(double x);  // "0x1.8p+1 (0x4008000000000000)"
std::string hex(float x);
std::string hex(long double x);
std::string hex(Kel32fc z);  // "(re, im)"
std::string hex(Kel64fc z);

// Sample size: smaller under qemu; KELVM_ACCURACY_SAMPLES overrides it.
size_t default_samples();

}  // namespace kelacc

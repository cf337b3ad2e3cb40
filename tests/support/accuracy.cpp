#include "accuracy.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <array>
#include <random>

#include "fpu.h"

namespace kelacc {
namespace {

template <class T>
T get(mpfr_srcptr r);
template <>
float get<float>(mpfr_srcptr r) {
  return mpfr_get_flt(r, MPFR_RNDN);
}
template <>
double get<double>(mpfr_srcptr r) {
  return mpfr_get_d(r, MPFR_RNDN);
}
template <>
long double get<long double>(mpfr_srcptr r) {
  return mpfr_get_ld(r, MPFR_RNDN);
}

// Restores MPFR's exponent range on scope exit.
class ExponentRange {
 public:
  ExponentRange(mpfr_exp_t emin, mpfr_exp_t emax) : emin_(mpfr_get_emin()), emax_(mpfr_get_emax()) {
    mpfr_set_emin(emin);
    mpfr_set_emax(emax);
  }
  ~ExponentRange() {
    mpfr_set_emin(emin_);
    mpfr_set_emax(emax_);
  }

 private:
  mpfr_exp_t emin_, emax_;
};

// An mpfr_t / mpc_t that clears itself.
struct Mpfr {
  mpfr_t v;
  explicit Mpfr(mpfr_prec_t p = kExactBits) { mpfr_init2(v, p); }
  ~Mpfr() { mpfr_clear(v); }
  Mpfr(const Mpfr&) = delete;
  Mpfr& operator=(const Mpfr&) = delete;
};
struct Mpc {
  mpc_t v;
  explicit Mpc(mpfr_prec_t p = kExactBits) { mpc_init2(v, p); }
  ~Mpc() { mpc_clear(v); }
  Mpc(const Mpc&) = delete;
  Mpc& operator=(const Mpc&) = delete;
};

// Ordered integer key of a finite value: monotonic in the value.
int64_t ordered(double x) {
  int64_t b;
  std::memcpy(&b, &x, 8);
  return b >= 0 ? b : INT64_MIN - b;
}
int64_t ordered(float x) {
  int32_t b;
  std::memcpy(&b, &x, 4);
  return b >= 0 ? b : INT32_MIN - static_cast<int64_t>(b);
}
template <class T>
T from_ordered(int64_t o);
template <>
double from_ordered<double>(int64_t o) {
  const int64_t b = o >= 0 ? o : INT64_MIN - o;
  double x;
  std::memcpy(&x, &b, 8);
  return x;
}
template <>
float from_ordered<float>(int64_t o) {
  const int32_t b = static_cast<int32_t>(o >= 0 ? o : INT32_MIN - o);
  float x;
  std::memcpy(&x, &b, 4);
  return x;
}

// Position of a finite long double on a line where every binade has length
// one: biased exponent plus the fraction, negated for negative values.
double ld_position(long double x) {
  const kelfpu::LdFields b = kelfpu::ld_fields(x);
  const int e = b.se & 0x7FFF;
  const double frac = static_cast<double>(b.mant & ~(uint64_t{1} << 63)) * 0x1p-63;
  const double p = e + frac;
  return (b.se & 0x8000) ? -p : p;
}

bool less(long double a, long double b) {  // a < b on finite values, sign of zero ignored
  return ld_position(a) < ld_position(b);
}

// Class checks shared by the real and complex measures: NaN versus number,
// infinity versus finite (against the correctly rounded value, so a finite
// result where the exact value overflows the format is a class error), and
// the sign of a zero.
template <class T>
bool part_class_error(T y, mpfr_srcptr exact) {
  if (mpfr_nan_p(exact)) return !std::isnan(y);
  if (std::isnan(y)) return true;
  const T cr = correctly_rounded<T>(exact);
  if (std::isinf(cr) || std::isinf(y)) return y != cr;
  if (y == 0 && cr == 0) return std::signbit(y) != std::signbit(cr);
  return false;
}

// Exponent of the ulp of a value of magnitude 2^(e-1) <= |v| < 2^e in T.
template <class T>
long ulp_exponent(mpfr_srcptr magnitude) {
  const long binade = mpfr_zero_p(magnitude) ? Format<T>::kMinExp
                                               : std::max<long>(mpfr_get_exp(magnitude) - 1, Format<T>::kMinExp);
  return binade - (Format<T>::kDigits - 1);
}

// |y - exact| scaled by 2^-ulp_exp.
double scaled_difference(long double y, mpfr_srcptr exact, long ulp_exp) {
  Mpfr d(kExactBits + 64);
  mpfr_set_ld(d.v, y, MPFR_RNDN);
  mpfr_sub(d.v, d.v, exact, MPFR_RNDN);
  mpfr_abs(d.v, d.v, MPFR_RNDN);
  mpfr_mul_2si(d.v, d.v, -ulp_exp, MPFR_RNDN);
  return mpfr_get_d(d.v, MPFR_RNDU);
}

// Records one measured element; text() describes it and is called only when
// the element becomes the worst case or the first class error.
template <class Text>
void note(Summary& s, Error e, long double x, long double x2, long double y, Text text) {
  s.samples++;
  if (e.class_error) {
    if (s.class_errors++ == 0) {
      s.first_class_error = text();
      if (s.max_ulps == 0) s.worst_input = x, s.worst_input2 = x2, s.worst_result = y;
    }
    return;
  }
  s.sum_ulps += e.ulps;
  s.histogram.add(e.ulps);
  if (e.ulps > s.max_ulps || s.worst_case.empty()) {
    if (e.ulps > s.max_ulps) s.max_ulps = e.ulps, s.worst_input = x, s.worst_input2 = x2, s.worst_result = y;
    s.worst_case = text();
  }
}

template <class T>
std::string expected_text(mpfr_srcptr exact) {
  return "expected " + hex(correctly_rounded<T>(exact));
}

template <class T>
std::string complex_expected_text(mpc_srcptr exact) {
  return "expected (" + hex(correctly_rounded<T>(mpc_realref(exact))) + ", " +
         hex(correctly_rounded<T>(mpc_imagref(exact))) + ")";
}

void set_complex(mpc_ptr z, double re, double im) { mpc_set_d_d(z, re, im, MPC_RNDNN); }

constexpr size_t kChunk = 256;

}  // namespace

template <class T>
T correctly_rounded(mpfr_srcptr exact) {
  // Round to the significand first, in MPFR's default (wide) exponent range,
  // then let check_range and subnormalize apply the format's range: the
  // ternary value carried along keeps the second rounding of a subnormal
  // correct.  MPFR writes x = m * 2^e with 0.5 <= m < 1: the smallest
  // subnormal of T is 2^(min_exp - digits + 1), that is e = min_exp - digits + 2.
  Mpfr r(Format<T>::kDigits);
  int t = mpfr_set(r.v, exact, MPFR_RNDN);
  ExponentRange range(Format<T>::kMinExp - Format<T>::kDigits + 2, Format<T>::kMaxExp + 1);
  t = mpfr_check_range(r.v, t, MPFR_RNDN);
  mpfr_subnormalize(r.v, t, MPFR_RNDN);
  return get<T>(r.v);
}

template <class T>
Error ulp_error(T y, mpfr_srcptr exact) {
  if (part_class_error<T>(y, exact)) return {std::isnan(y) && !mpfr_nan_p(exact) ? INFINITY : 0, true};
  if (std::isnan(y) || std::isinf(y)) return {0, false};
  if (y == 0 && mpfr_zero_p(exact)) return {0, false};
  return {scaled_difference(y, exact, ulp_exponent<T>(exact)), false};
}

template <class T>
Error complex_ulp_error(T re, T im, mpc_srcptr exact) {
  mpfr_srcptr er = mpc_realref(exact), ei = mpc_imagref(exact);
  if (part_class_error<T>(re, er) || part_class_error<T>(im, ei)) return {0, true};
  const bool re_num = std::isfinite(re) && mpfr_number_p(er);
  const bool im_num = std::isfinite(im) && mpfr_number_p(ei);
  if (!re_num && !im_num) return {0, false};
  mpfr_srcptr big = !im_num ? er : !re_num ? ei : mpfr_cmpabs(er, ei) >= 0 ? er : ei;
  const long e = ulp_exponent<T>(big);
  double err = 0;
  if (re_num) err = std::max(err, scaled_difference(re, er, e));
  if (im_num) err = std::max(err, scaled_difference(im, ei, e));
  return {err, false};
}

void exact_unary(mpfr_ptr out, MpfrUnary f, long double x) {
  Mpfr a(64);
  mpfr_set_ld(a.v, x, MPFR_RNDN);
  f(out, a.v, MPFR_RNDN);
}

void exact_binary(mpfr_ptr out, MpfrBinary f, long double x, long double y) {
  Mpfr a(64), b(64);
  mpfr_set_ld(a.v, x, MPFR_RNDN);
  mpfr_set_ld(b.v, y, MPFR_RNDN);
  f(out, a.v, b.v, MPFR_RNDN);
}

int Histogram::bin(double ulps) {
  if (!(ulps >= 0)) return kBins - 1;
  if (ulps < 4) return static_cast<int>(ulps * 64);
  int e;
  const double m = std::frexp(ulps, &e);  // ulps = m * 2^e, 0.5 <= m < 1
  const int octave = e - 3;               // 4 <= ulps < 8 is octave 0
  if (octave >= kOctaves) return kBins - 1;
  return kLinear + octave * kPerOctave + static_cast<int>((2 * m - 1) * kPerOctave);
}

double Histogram::lower_edge(int b) {
  if (b <= kLinear) return b / 64.0;
  if (b >= kBins) return INFINITY;
  const int k = b - kLinear;
  return std::ldexp(1.0 + (k % kPerOctave) / static_cast<double>(kPerOctave), k / kPerOctave + 2);
}

void Histogram::merge(const Histogram& o) {
  for (int i = 0; i < kBins; ++i) counts[i] += o.counts[i];
}

void Summary::merge(const Summary& o) {
  if (o.class_errors && !class_errors) first_class_error = o.first_class_error;
  if (o.max_ulps > max_ulps || (worst_case.empty() && !o.worst_case.empty())) {
    if (o.max_ulps > max_ulps) max_ulps = o.max_ulps;
    worst_input = o.worst_input, worst_input2 = o.worst_input2, worst_result = o.worst_result;
    worst_case = o.worst_case;
  }
  samples += o.samples;
  sum_ulps += o.sum_ulps;
  class_errors += o.class_errors;
  histogram.merge(o.histogram);
}

namespace {

// Calls call(i, n, y1, y2) on the inputs in chunks, then each(s, i, y1, y2)
// per element.
template <class Y, class Call, class Each>
Summary chunked(size_t size, Call call, Each each) {
  Summary s;
  Y y1[kChunk], y2[kChunk];
  for (size_t i = 0; i < size; i += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, size - i));
    call(i, n, y1, y2);
    for (int k = 0; k < n; ++k) each(s, i + k, y1[k], y2[k]);
  }
  return s;
}

// Notes y against the exact value; args() describes the arguments.
template <class T, class Args>
void note_real(Summary& s, mpfr_srcptr exact, T y, long double x, long double x2, Args args, const char* which = "") {
  note(s, ulp_error<T>(y, exact), x, x2, y,
       [&] { return args() + " -> " + which + hex(y) + ", " + expected_text<T>(exact); });
}

template <class T, class C, class Args>
void note_complex(Summary& s, mpc_srcptr exact, C y, long double x, long double x2, Args args) {
  note(s, complex_ulp_error<T>(y.re, y.im, exact), x, x2, y.re,
       [&] { return args() + " -> " + hex(y) + ", " + complex_expected_text<T>(exact); });
}

// Both results of SinCos, Modf and sincosl.
template <class T, class Ys>
void note_two(Summary& s, mpfr_ptr exact, MpfrUnary first, MpfrUnary second, T x, Ys y) {
  for (int which = 0; which < 2; ++which) {
    exact_unary(exact, which ? second : first, x);
    note_real(s, exact, y[which], x, 0, [&] { return "x = " + hex(x); }, which ? "second " : "first ");
  }
}

}  // namespace

// The real shapes over any callable fn(src..., dst..., n): the vector
// functions and the kernels wrapped as such.
template <class T, class Fn>
Summary measure_unary(Fn fn, MpfrUnary ref, const std::vector<T>& xs) {
  Mpfr exact;
  return chunked<T>(
      xs.size(), [&](size_t i, int n, T* y, T*) { fn(&xs[i], y, n); },
      [&](Summary& s, size_t i, T y, T) {
        exact_unary(exact.v, ref, xs[i]);
        note_real(s, exact.v, y, xs[i], 0, [&] { return "x = " + hex(xs[i]); });
      });
}

template <class T, class Fn>
Summary measure_binary(Fn fn, MpfrBinary ref, const std::vector<T>& as, const std::vector<T>& bs) {
  Mpfr exact;
  return chunked<T>(
      as.size(), [&](size_t i, int n, T* y, T*) { fn(&as[i], &bs[i], y, n); },
      [&](Summary& s, size_t i, T y, T) {
        exact_binary(exact.v, ref, as[i], bs[i]);
        note_real(s, exact.v, y, as[i], bs[i], [&] { return "a = " + hex(as[i]) + ", b = " + hex(bs[i]); });
      });
}

template <class T>
Summary measure_scalar(VectorScalar<T> fn, MpfrBinary ref, const std::vector<T>& xs, T val) {
  Mpfr exact;
  return chunked<T>(
      xs.size(), [&](size_t i, int n, T* y, T*) { fn(&xs[i], val, y, n); },
      [&](Summary& s, size_t i, T y, T) {
        exact_binary(exact.v, ref, xs[i], val);
        note_real(s, exact.v, y, xs[i], val, [&] { return "x = " + hex(xs[i]) + ", val = " + hex(val); });
      });
}

template <class T, class Fn>
Summary measure_pair(Fn fn, MpfrUnary first, MpfrUnary second, const std::vector<T>& xs) {
  Mpfr exact;
  return chunked<T>(
      xs.size(), [&](size_t i, int n, T* y1, T* y2) { fn(&xs[i], y1, y2, n); },
      [&](Summary& s, size_t i, T y1, T y2) { note_two(s, exact.v, first, second, xs[i], std::array<T, 2>{y1, y2}); });
}

template <class C>
Summary measure_complex(VectorUnary<C> fn, MpcUnary ref, const std::vector<C>& zs) {
  using T = typename PartOf<C>::type;
  Mpc arg(64), exact;
  return chunked<C>(
      zs.size(), [&](size_t i, int n, C* y, C*) { fn(&zs[i], y, n); },
      [&](Summary& s, size_t i, C y, C) {
        set_complex(arg.v, zs[i].re, zs[i].im);
        ref(exact.v, arg.v, MPC_RNDNN);
        note_complex<T>(s, exact.v, y, zs[i].re, zs[i].im, [&] { return "z = " + hex(zs[i]); });
      });
}

template <class C>
Summary measure_complex(VectorBinary<C> fn, MpcBinary ref, const std::vector<C>& as, const std::vector<C>& bs) {
  using T = typename PartOf<C>::type;
  Mpc a(64), b(64), exact;
  return chunked<C>(
      as.size(), [&](size_t i, int n, C* y, C*) { fn(&as[i], &bs[i], y, n); },
      [&](Summary& s, size_t i, C y, C) {
        set_complex(a.v, as[i].re, as[i].im);
        set_complex(b.v, bs[i].re, bs[i].im);
        ref(exact.v, a.v, b.v, MPC_RNDNN);
        note_complex<T>(s, exact.v, y, as[i].re, bs[i].re, [&] { return "a = " + hex(as[i]) + ", b = " + hex(bs[i]); });
      });
}

template <class C>
Summary measure_complex_scalar(VectorScalar<C> fn, MpcBinary ref, const std::vector<C>& zs, C val) {
  using T = typename PartOf<C>::type;
  Mpc a(64), b(64), exact;
  set_complex(b.v, val.re, val.im);
  return chunked<C>(
      zs.size(), [&](size_t i, int n, C* y, C*) { fn(&zs[i], val, y, n); },
      [&](Summary& s, size_t i, C y, C) {
        set_complex(a.v, zs[i].re, zs[i].im);
        ref(exact.v, a.v, b.v, MPC_RNDNN);
        note_complex<T>(s, exact.v, y, zs[i].re, val.re, [&] { return "z = " + hex(zs[i]) + ", val = " + hex(val); });
      });
}

template <class T>
Summary measure(VectorUnary<T> fn, MpfrUnary ref, const std::vector<T>& xs) {
  return measure_unary<T>(fn, ref, xs);
}
template <class T>
Summary measure(VectorBinary<T> fn, MpfrBinary ref, const std::vector<T>& as, const std::vector<T>& bs) {
  return measure_binary<T>(fn, ref, as, bs);
}
template <class T>
Summary measure_two(VectorTwo<T> fn, MpfrUnary first, MpfrUnary second, const std::vector<T>& xs) {
  return measure_pair<T>(fn, first, second, xs);
}

// The kernels run under the 64-bit, round-to-nearest word they expect.
using L = long double;
Summary measure_kernel(KernelUnary fn, MpfrUnary ref, const std::vector<L>& xs) {
  return measure_unary<L>(
      [fn](const L* x, L* y, int n) {
        kelfpu::ScopedControlWord cw(kelfpu::kDefault);
        for (int k = 0; k < n; ++k) y[k] = fn(x[k]);
      },
      ref, xs);
}
Summary measure_kernel(KernelBinary fn, MpfrBinary ref, const std::vector<L>& as, const std::vector<L>& bs) {
  return measure_binary<L>(
      [fn](const L* a, const L* b, L* y, int n) {
        kelfpu::ScopedControlWord cw(kelfpu::kDefault);
        for (int k = 0; k < n; ++k) y[k] = fn(a[k], b[k]);
      },
      ref, as, bs);
}
Summary measure_kernel(KernelTwo fn, MpfrUnary first, MpfrUnary second, const std::vector<L>& xs) {
  return measure_pair<L>(
      [fn](const L* x, L* y1, L* y2, int n) {
        kelfpu::ScopedControlWord cw(kelfpu::kDefault);
        for (int k = 0; k < n; ++k) fn(x[k], &y1[k], &y2[k]);
      },
      first, second, xs);
}

double bound_for_flavour(const std::string& flavour) {
  if (flavour == "A53" || flavour == "A24") return 1.0;
  if (flavour == "A50") return 4.0;
  if (flavour == "A21") return 8.0;
  if (flavour == "A11") return 8192.0;
  if (flavour == "kernel") return kKernelBound;
  return 0.0;  // "exact" and anything unknown
}

// A uniform integer in [lo, hi] by rejection.  libstdc++'s
// uniform_int_distribution picks a different algorithm on 32-bit and 64-bit
// hosts, which would give the two builds different inputs.
static int64_t uniform_in(std::mt19937_64& rng, int64_t lo, int64_t hi) {
  const uint64_t span = static_cast<uint64_t>(hi) - static_cast<uint64_t>(lo) + 1;  // 0: all 2^64
  if (span == 0) return static_cast<int64_t>(rng());
  const uint64_t limit = UINT64_MAX - UINT64_MAX % span;
  uint64_t r;
  do r = rng();
  while (r >= limit);
  return static_cast<int64_t>(static_cast<uint64_t>(lo) + r % span);
}

template <class T>
std::vector<T> random_bits_in(T lo, T hi, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  const int64_t a = ordered(lo), b = ordered(hi);
  std::vector<T> out(n);
  for (auto& x : out) x = from_ordered<T>(uniform_in(rng, a, b));
  return out;
}

template <>
std::vector<long double> random_bits_in<long double>(long double lo, long double hi, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> pick(ld_position(lo), ld_position(hi));
  std::vector<long double> out;
  out.reserve(n);
  while (out.size() < n) {
    const double p = pick(rng);
    const double a = std::fabs(p);
    const int e = static_cast<int>(a);
    if (e >= 0x7FFF) continue;
    // The position fixes the exponent and the top bits of the fraction; the
    // low bits are random.
    const uint64_t frac = (static_cast<uint64_t>((a - e) * 0x1p32) << 31) | (rng() >> 33);
    const uint64_t mant = (e ? uint64_t{1} << 63 : 0) | frac;
    const long double x = kelfpu::ld_from(static_cast<uint16_t>(e | (p < 0 ? 0x8000 : 0)), mant);
    if (less(x, lo) || less(hi, x)) continue;
    out.push_back(x);
  }
  return out;
}

template <class T>
std::vector<T> random_uniform(T lo, T hi, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> pick(lo, hi);
  std::vector<T> out(n);
  for (auto& x : out) x = static_cast<T>(pick(rng));
  return out;
}

std::string hex(double x) {
  char buf[64];
  uint64_t b;
  std::memcpy(&b, &x, 8);
  std::snprintf(buf, sizeof buf, "%a (0x%016" PRIx64 ")", x, b);
  return buf;
}
std::string hex(float x) {
  char buf[64];
  uint32_t b;
  std::memcpy(&b, &x, 4);
  std::snprintf(buf, sizeof buf, "%a (0x%08" PRIx32 ")", static_cast<double>(x), b);
  return buf;
}
std::string hex(long double x) {
  char buf[80];
  const kelfpu::LdFields b = kelfpu::ld_fields(x);
  std::snprintf(buf, sizeof buf, "%La (0x%04x:%016" PRIx64 ")", x, b.se, b.mant);
  return buf;
}
std::string hex(Kel32fc z) { return "(" + hex(z.re) + ", " + hex(z.im) + ")"; }
std::string hex(Kel64fc z) { return "(" + hex(z.re) + ", " + hex(z.im) + ")"; }

std::string Summary::describe(const char* function) const {
  char buf[256];
  std::snprintf(buf, sizeof buf, "%s: %zu samples, max %.3f ulp (mean %.3g), %zu class errors", function, samples,
                max_ulps, mean_ulps(), class_errors);
  std::string out = buf;
  if (!worst_case.empty()) {
    out += "; worst: " + worst_case;
  } else {
    std::snprintf(buf, sizeof buf, "; worst x = %La, y = %La -> %La", worst_input, worst_input2, worst_result);
    out += buf;
  }
  if (class_errors) out += "; first class error: " + first_class_error;
  return out;
}

size_t default_samples() {
  if (const char* e = std::getenv("KELVM_ACCURACY_SAMPLES")) {
    const long n = std::atol(e);
    if (n > 0) return static_cast<size_t>(n);
  }
  // The i386 build runs under qemu-i386, about a hundred times slower.
  return sizeof(void*) == 4 ? 1000 : 20000;
}

template float correctly_rounded<float>(mpfr_srcptr);
template double correctly_rounded<double>(mpfr_srcptr);
template long double correctly_rounded<long double>(mpfr_srcptr);
template Error ulp_error<float>(float, mpfr_srcptr);
template Error ulp_error<double>(double, mpfr_srcptr);
template Error ulp_error<long double>(long double, mpfr_srcptr);
template Error complex_ulp_error<float>(float, float, mpc_srcptr);
template Error complex_ulp_error<double>(double, double, mpc_srcptr);
template Summary measure<float>(VectorUnary<float>, MpfrUnary, const std::vector<float>&);
template Summary measure<double>(VectorUnary<double>, MpfrUnary, const std::vector<double>&);
template Summary measure<float>(VectorBinary<float>, MpfrBinary, const std::vector<float>&, const std::vector<float>&);
template Summary measure<double>(VectorBinary<double>, MpfrBinary, const std::vector<double>&,
                                 const std::vector<double>&);
template Summary measure_scalar<float>(VectorScalar<float>, MpfrBinary, const std::vector<float>&, float);
template Summary measure_scalar<double>(VectorScalar<double>, MpfrBinary, const std::vector<double>&, double);
template Summary measure_two<float>(VectorTwo<float>, MpfrUnary, MpfrUnary, const std::vector<float>&);
template Summary measure_two<double>(VectorTwo<double>, MpfrUnary, MpfrUnary, const std::vector<double>&);
template Summary measure_complex<Kel32fc>(VectorUnary<Kel32fc>, MpcUnary, const std::vector<Kel32fc>&);
template Summary measure_complex<Kel64fc>(VectorUnary<Kel64fc>, MpcUnary, const std::vector<Kel64fc>&);
template Summary measure_complex<Kel32fc>(VectorBinary<Kel32fc>, MpcBinary, const std::vector<Kel32fc>&,
                                          const std::vector<Kel32fc>&);
template Summary measure_complex<Kel64fc>(VectorBinary<Kel64fc>, MpcBinary, const std::vector<Kel64fc>&,
                                          const std::vector<Kel64fc>&);
template Summary measure_complex_scalar<Kel32fc>(VectorScalar<Kel32fc>, MpcBinary, const std::vector<Kel32fc>&,
                                                 Kel32fc);
template Summary measure_complex_scalar<Kel64fc>(VectorScalar<Kel64fc>, MpcBinary, const std::vector<Kel64fc>&,
                                                 Kel64fc);
template std::vector<float> random_bits_in<float>(float, float, size_t, uint64_t);
template std::vector<double> random_bits_in<double>(double, double, size_t, uint64_t);
template std::vector<float> random_uniform<float>(float, float, size_t, uint64_t);
template std::vector<double> random_uniform<double>(double, double, size_t, uint64_t);
template std::vector<long double> random_uniform<long double>(long double, long double, size_t, uint64_t);

}  // namespace kelacc

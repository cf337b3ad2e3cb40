#include "accuracy.h"

#include <array>
#include <bit>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <type_traits>

#include "fpu.h"

namespace kelacc {
namespace {

template <class T>
T get(mpfr_srcptr r) {
  if constexpr (std::is_same_v<T, float>) return mpfr_get_flt(r, MPFR_RNDN);
  else if constexpr (std::is_same_v<T, double>) return mpfr_get_d(r, MPFR_RNDN);
  else return mpfr_get_ld(r, MPFR_RNDN);
}

// An mpc_t that clears itself.
struct Mpc {
  mpc_t v;
  explicit Mpc(mpfr_prec_t p = kExactBits) { mpc_init2(v, p); }
  ~Mpc() { mpc_clear(v); }
  Mpc(const Mpc&) = delete;
  Mpc& operator=(const Mpc&) = delete;
};

// Ordered integer key of a finite float or double: monotonic in the value.
template <class T>
using SignedBits = std::conditional_t<sizeof(T) == 8, int64_t, int32_t>;
template <class T>
int64_t ordered(T x) {
  const auto b = std::bit_cast<SignedBits<T>>(x);
  return b >= 0 ? b : INT64_C(0) + std::numeric_limits<SignedBits<T>>::min() - b;
}
template <class T>
T from_ordered(int64_t o) {
  const int64_t min = std::numeric_limits<SignedBits<T>>::min();
  return std::bit_cast<T>(static_cast<SignedBits<T>>(o >= 0 ? o : min - o));
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
void note(Summary& s, Error e, Text text) {
  s.samples++;
  if (e.class_error) {
    if (s.class_errors++ == 0) s.first_class_error = text();
    return;
  }
  s.sum_ulps += e.ulps;
  s.histogram.add(e.ulps);
  if (e.ulps > s.max_ulps || s.worst_case.empty()) {
    s.max_ulps = std::max(s.max_ulps, e.ulps);
    s.worst_case = text();
  }
}

void set_complex(mpc_ptr z, double re, double im) { mpc_set_d_d(z, re, im, MPC_RNDNN); }

constexpr size_t kChunk = 256;
const char* const kAB[2] = {"a = ", "b = "};
const char* const kXVal[2] = {"x = ", "val = "};
const char* const kZVal[2] = {"z = ", "val = "};

}  // namespace

template <class T>
T correctly_rounded(mpfr_srcptr exact) {
  // Round the significand in MPFR's wide exponent range, then apply T's range
  // (the ternary value keeps a subnormal's second rounding correct); MPFR's
  // x = m 2^e, 0.5 <= m < 1, puts T's smallest subnormal at e = min_exp - digits + 2.
  Mpfr r(Format<T>::kDigits);
  int t = mpfr_set(r.v, exact, MPFR_RNDN);
  const mpfr_exp_t emin = mpfr_get_emin(), emax = mpfr_get_emax();
  mpfr_set_emin(Format<T>::kMinExp - Format<T>::kDigits + 2);
  mpfr_set_emax(Format<T>::kMaxExp + 1);
  t = mpfr_check_range(r.v, t, MPFR_RNDN);
  mpfr_subnormalize(r.v, t, MPFR_RNDN);
  mpfr_set_emin(emin);
  mpfr_set_emax(emax);
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

void Summary::merge(const Summary& o) {
  if (o.class_errors && !class_errors) first_class_error = o.first_class_error;
  if (o.max_ulps > max_ulps || (worst_case.empty() && !o.worst_case.empty())) {
    max_ulps = std::max(max_ulps, o.max_ulps);
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
  Y y1[kChunk]{}, y2[kChunk]{};
  for (size_t i = 0; i < size; i += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, size - i));
    call(i, n, y1, y2);
    for (int k = 0; k < n; ++k) each(s, i + k, y1[k], y2[k]);
  }
  return s;
}

// Notes y against the exact value; args() describes the arguments.
template <class T, class Args>
void note_real(Summary& s, mpfr_srcptr exact, T y, Args args, const char* which = "") {
  note(s, ulp_error<T>(y, exact),
       [&] { return args() + " -> " + which + hex(y) + ", expected " + hex(correctly_rounded<T>(exact)); });
}

template <class C, class Args>
void note_complex(Summary& s, mpc_srcptr exact, C y, Args args) {
  using T = typename PartOf<C>::type;
  note(s, complex_ulp_error<T>(y.re, y.im, exact), [&] {
    return args() + " -> " + hex(y) + ", expected " +
           hex(C{correctly_rounded<T>(mpc_realref(exact)), correctly_rounded<T>(mpc_imagref(exact))});
  });
}

// One argument, one result (second null) or two, over any callable
// fn(x, y1, y2, n): the vector functions and the kernels wrapped as such.
template <class T, class Fn>
Summary measure_unary(Fn fn, MpfrUnary first, MpfrUnary second, const std::vector<T>& xs) {
  Mpfr exact;
  return chunked<T>(
      xs.size(), [&](size_t i, int n, T* y1, T* y2) { fn(&xs[i], y1, y2, n); },
      [&](Summary& s, size_t i, T y1, T y2) {
        for (int which = 0; which < (second ? 2 : 1); ++which) {
          exact_unary(exact.v, which ? second : first, xs[i]);
          const char* label = !second ? "" : which ? "second " : "first ";
          note_real(s, exact.v, which ? y2 : y1, [&] { return "x = " + hex(xs[i]); }, label);
        }
      });
}

// b_of(i) is the second argument of element i (b[i], or Powx's one exponent);
// names: how the failure text calls the two, "a = |b = " or "x = |val = ".
template <class T, class Fn, class B>
Summary measure_binary(Fn fn, MpfrBinary ref, const std::vector<T>& as, B b_of, const char* const names[2]) {
  Mpfr exact;
  return chunked<T>(
      as.size(), [&](size_t i, int n, T* y, T*) { fn(&as[i], i, y, n); },
      [&](Summary& s, size_t i, T y, T) {
        exact_binary(exact.v, ref, as[i], b_of(i));
        note_real(s, exact.v, y, [&] { return names[0] + hex(as[i]) + ", " + names[1] + hex(b_of(i)); });
      });
}

// The complex shapes (ref for a unary function, else ref2); b_of and names as
// for measure_binary.
template <class C, class Fn, class B>
Summary measure_complex_any(Fn fn, MpcBinary ref2, MpcUnary ref, const std::vector<C>& as, B b_of,
                            const char* const names[2]) {
  Mpc a(64), b(64), exact;
  return chunked<C>(
      as.size(), [&](size_t i, int n, C* y, C*) { fn(&as[i], i, y, n); },
      [&](Summary& s, size_t i, C y, C) {
        set_complex(a.v, as[i].re, as[i].im);
        if (ref) {
          ref(exact.v, a.v, MPC_RNDNN);
        } else {
          set_complex(b.v, b_of(i).re, b_of(i).im);
          ref2(exact.v, a.v, b.v, MPC_RNDNN);
        }
        note_complex(s, exact.v, y, [&] {
          return ref ? "z = " + hex(as[i]) : names[0] + hex(as[i]) + ", " + names[1] + hex(b_of(i));
        });
      });
}

}  // namespace

template <class T>
Summary measure(VectorUnary<T> fn, MpfrUnary ref, const std::vector<T>& xs) {
  return measure_unary<T>([&](const T* x, T* y, T*, int n) { fn(x, y, n); }, ref, nullptr, xs);
}
template <class T>
Summary measure(VectorBinary<T> fn, MpfrBinary ref, const std::vector<T>& as, const std::vector<T>& bs) {
  return measure_binary<T>([&](const T* a, size_t i, T* y, int n) { fn(a, &bs[i], y, n); }, ref, as,
                           [&](size_t i) { return bs[i]; }, kAB);
}
template <class T>
Summary measure_scalar(VectorScalar<T> fn, MpfrBinary ref, const std::vector<T>& xs, T val) {
  return measure_binary<T>([&](const T* a, size_t, T* y, int n) { fn(a, val, y, n); }, ref, xs,
                           [&](size_t) { return val; }, kXVal);
}
template <class T>
Summary measure_two(VectorTwo<T> fn, MpfrUnary first, MpfrUnary second, const std::vector<T>& xs) {
  return measure_unary<T>(fn, first, second, xs);
}

template <class C>
Summary measure_complex(VectorUnary<C> fn, MpcUnary ref, const std::vector<C>& zs) {
  return measure_complex_any<C>([&](const C* a, size_t, C* y, int n) { fn(a, y, n); }, nullptr, ref, zs,
                                [&](size_t i) { return zs[i]; }, kAB);
}
template <class C>
Summary measure_complex(VectorBinary<C> fn, MpcBinary ref, const std::vector<C>& as, const std::vector<C>& bs) {
  return measure_complex_any<C>([&](const C* a, size_t i, C* y, int n) { fn(a, &bs[i], y, n); }, ref, nullptr, as,
                                [&](size_t i) { return bs[i]; }, kAB);
}
template <class C>
Summary measure_complex_scalar(VectorScalar<C> fn, MpcBinary ref, const std::vector<C>& zs, C val) {
  return measure_complex_any<C>([&](const C* a, size_t, C* y, int n) { fn(a, val, y, n); }, ref, nullptr, zs,
                                [&](size_t) { return val; }, kZVal);
}

// The kernels run under the 64-bit, round-to-nearest word they expect.
using L = long double;
Summary measure_kernel(KernelUnary fn, MpfrUnary ref, const std::vector<L>& xs) {
  return measure_unary<L>(
      [fn](const L* x, L* y, L*, int n) {
        kelfpu::ScopedControlWord cw(kelfpu::kDefault);
        for (int k = 0; k < n; ++k) y[k] = fn(x[k]);
      },
      ref, nullptr, xs);
}
Summary measure_kernel(KernelBinary fn, MpfrBinary ref, const std::vector<L>& as, const std::vector<L>& bs) {
  return measure_binary<L>(
      [&](const L* a, size_t i, L* y, int n) {
        kelfpu::ScopedControlWord cw(kelfpu::kDefault);
        for (int k = 0; k < n; ++k) y[k] = fn(a[k], bs[i + k]);
      },
      ref, as, [&](size_t i) { return bs[i]; }, kAB);
}
Summary measure_kernel(KernelTwo fn, MpfrUnary first, MpfrUnary second, const std::vector<L>& xs) {
  return measure_unary<L>(
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
  std::vector<T> out;
  out.reserve(n);
  if constexpr (!std::is_same_v<T, long double>) {
    const int64_t a = ordered(lo), b = ordered(hi);
    while (out.size() < n) out.push_back(from_ordered<T>(uniform_in(rng, a, b)));
  } else {
    std::uniform_real_distribution<double> pick(ld_position(lo), ld_position(hi));
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
      if (ld_position(x) < ld_position(lo) || ld_position(hi) < ld_position(x)) continue;
      out.push_back(x);
    }
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

// "%a (0x<bits>)" of a float or double.
template <class T>
std::string hex_of(T x) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%a (0x%0*" PRIx64 ")", static_cast<double>(x), 2 * int{sizeof(T)},
                static_cast<uint64_t>(kelfpu::bits_of(x)));
  return buf;
}
std::string hex(double x) { return hex_of(x); }
std::string hex(float x) { return hex_of(x); }
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
  if (!worst_case.empty()) out += "; worst: " + worst_case;
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

#define KELACC_INSTANTIATE(T, C)                                                                                    \
  template T correctly_rounded<T>(mpfr_srcptr);                                                                  \
  template Error ulp_error<T>(T, mpfr_srcptr);                                                                   \
  template Error complex_ulp_error<T>(T, T, mpc_srcptr);                                                         \
  template Summary measure<T>(VectorUnary<T>, MpfrUnary, const std::vector<T>&);                                 \
  template Summary measure<T>(VectorBinary<T>, MpfrBinary, const std::vector<T>&, const std::vector<T>&);       \
  template Summary measure_scalar<T>(VectorScalar<T>, MpfrBinary, const std::vector<T>&, T);                    \
  template Summary measure_two<T>(VectorTwo<T>, MpfrUnary, MpfrUnary, const std::vector<T>&);                   \
  template Summary measure_complex<C>(VectorUnary<C>, MpcUnary, const std::vector<C>&);                          \
  template Summary measure_complex<C>(VectorBinary<C>, MpcBinary, const std::vector<C>&, const std::vector<C>&); \
  template Summary measure_complex_scalar<C>(VectorScalar<C>, MpcBinary, const std::vector<C>&, C);             \
  template std::vector<T> random_bits_in<T>(T, T, size_t, uint64_t);                                            \
  template std::vector<T> random_uniform<T>(T, T, size_t, uint64_t);
KELACC_INSTANTIATE(float, Kel32fc)
KELACC_INSTANTIATE(double, Kel64fc)
template long double correctly_rounded<long double>(mpfr_srcptr);
template Error ulp_error<long double>(long double, mpfr_srcptr);
template std::vector<long double> random_bits_in<long double>(long double, long double, size_t, uint64_t);
template std::vector<long double> random_uniform<long double>(long double, long double, size_t, uint64_t);

}  // namespace kelacc

#include "accuracy.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>

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

template <class T>
void note(Summary& s, Error e, long double x, long double x2, T y) {
  s.samples++;
  if (e.class_error) {
    if (s.class_errors++ == 0 && s.max_ulps == 0) {
      s.worst_input = x, s.worst_input2 = x2, s.worst_result = y;
    }
    return;
  }
  s.sum_ulps += e.ulps;
  if (e.ulps > s.max_ulps) {
    s.max_ulps = e.ulps, s.worst_input = x, s.worst_input2 = x2, s.worst_result = y;
  }
}

}  // namespace

template <class T>
T correctly_rounded(mpfr_srcptr exact) {
  // MPFR writes x = m * 2^e with 0.5 <= m < 1: the smallest subnormal of T is
  // 2^(min_exp - digits + 1), that is e = min_exp - digits + 2.
  ExponentRange range(Format<T>::min_exp - Format<T>::digits + 2, Format<T>::max_exp + 1);
  mpfr_t r;
  mpfr_init2(r, Format<T>::digits);
  int t = mpfr_set(r, exact, MPFR_RNDN);
  t = mpfr_check_range(r, t, MPFR_RNDN);
  mpfr_subnormalize(r, t, MPFR_RNDN);
  const T out = get<T>(r);
  mpfr_clear(r);
  return out;
}

template <class T>
Error ulp_error(T y, mpfr_srcptr exact) {
  if (mpfr_nan_p(exact)) return {0, !std::isnan(y)};
  if (std::isnan(y)) return {INFINITY, true};
  const T cr = correctly_rounded<T>(exact);
  if (std::isinf(cr) || std::isinf(y)) return {0, y != cr};
  if (y == 0 && cr == 0) return {0, std::signbit(y) != std::signbit(cr)};
  const long exp_of_ulp =
      (mpfr_zero_p(exact) ? Format<T>::min_exp : std::max<long>(mpfr_get_exp(exact) - 1, Format<T>::min_exp)) -
      (Format<T>::digits - 1);
  mpfr_t d;
  mpfr_init2(d, kExactBits);
  mpfr_set_ld(d, y, MPFR_RNDN);
  mpfr_sub(d, d, exact, MPFR_RNDN);
  mpfr_abs(d, d, MPFR_RNDN);
  mpfr_mul_2si(d, d, -exp_of_ulp, MPFR_RNDN);
  const double ulps = mpfr_get_d(d, MPFR_RNDU);
  mpfr_clear(d);
  return {ulps, false};
}

void exact_unary(mpfr_ptr out, MpfrUnary f, long double x) {
  mpfr_t a;
  mpfr_init2(a, 64);
  mpfr_set_ld(a, x, MPFR_RNDN);
  f(out, a, MPFR_RNDN);
  mpfr_clear(a);
}

void exact_binary(mpfr_ptr out, MpfrBinary f, long double x, long double y) {
  mpfr_t a, b;
  mpfr_init2(a, 64);
  mpfr_init2(b, 64);
  mpfr_set_ld(a, x, MPFR_RNDN);
  mpfr_set_ld(b, y, MPFR_RNDN);
  f(out, a, b, MPFR_RNDN);
  mpfr_clear(a);
  mpfr_clear(b);
}

template <class T>
Summary measure(VectorUnary<T> fn, MpfrUnary ref, const std::vector<T>& xs) {
  Summary s;
  mpfr_t exact;
  mpfr_init2(exact, kExactBits);
  constexpr size_t kChunk = 256;
  T ys[kChunk];
  for (size_t i = 0; i < xs.size(); i += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, xs.size() - i));
    fn(&xs[i], ys, n);
    for (int k = 0; k < n; ++k) {
      exact_unary(exact, ref, xs[i + k]);
      note(s, ulp_error<T>(ys[k], exact), xs[i + k], 0, ys[k]);
    }
  }
  mpfr_clear(exact);
  return s;
}

template <class T>
Summary measure(VectorBinary<T> fn, MpfrBinary ref, const std::vector<T>& as, const std::vector<T>& bs) {
  Summary s;
  mpfr_t exact;
  mpfr_init2(exact, kExactBits);
  constexpr size_t kChunk = 256;
  T ys[kChunk];
  for (size_t i = 0; i < as.size(); i += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, as.size() - i));
    fn(&as[i], &bs[i], ys, n);
    for (int k = 0; k < n; ++k) {
      exact_binary(exact, ref, as[i + k], bs[i + k]);
      note(s, ulp_error<T>(ys[k], exact), as[i + k], bs[i + k], ys[k]);
    }
  }
  mpfr_clear(exact);
  return s;
}

double bound_for_flavour(const std::string& flavour) {
  if (flavour == "A53" || flavour == "A24") return 1.0;
  if (flavour == "A50") return 4.0;
  if (flavour == "A21") return 8.0;
  if (flavour == "A11") return 8192.0;
  return 0.0;
}

template <class T>
std::vector<T> random_bits_in(T lo, T hi, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_int_distribution<int64_t> pick(ordered(lo), ordered(hi));
  std::vector<T> out(n);
  for (auto& x : out) x = from_ordered<T>(pick(rng));
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
  char buf[64];
  std::snprintf(buf, sizeof buf, "%La", x);
  return buf;
}

std::string Summary::describe(const char* function) const {
  char buf[512];
  std::snprintf(buf, sizeof buf, "%s: %zu samples, max %.3f ulp (mean %.3g), %zu class errors; worst x = %La, y = %La -> %La",
                function, samples, max_ulps, mean_ulps(), class_errors, worst_input, worst_input2, worst_result);
  return buf;
}

template float correctly_rounded<float>(mpfr_srcptr);
template double correctly_rounded<double>(mpfr_srcptr);
template long double correctly_rounded<long double>(mpfr_srcptr);
template Error ulp_error<float>(float, mpfr_srcptr);
template Error ulp_error<double>(double, mpfr_srcptr);
template Error ulp_error<long double>(long double, mpfr_srcptr);
template Summary measure<float>(VectorUnary<float>, MpfrUnary, const std::vector<float>&);
template Summary measure<double>(VectorUnary<double>, MpfrUnary, const std::vector<double>&);
template Summary measure<float>(VectorBinary<float>, MpfrBinary, const std::vector<float>&, const std::vector<float>&);
template Summary measure<double>(VectorBinary<double>, MpfrBinary, const std::vector<double>&,
                                 const std::vector<double>&);
template std::vector<float> random_bits_in<float>(float, float, size_t, uint64_t);
template std::vector<double> random_bits_in<double>(double, double, size_t, uint64_t);
template std::vector<float> random_uniform<float>(float, float, size_t, uint64_t);
template std::vector<double> random_uniform<double>(double, double, size_t, uint64_t);

}  // namespace kelacc

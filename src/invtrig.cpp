// Inverse circular and inverse hyperbolic functions: Asin, Acos, Atan, Atan2,
// Asinh, Acosh, Atanh.
//
// Each element is computed in x87 extended precision by the library's
// extended-precision kernels (orxasinl_scalar ... orxatanhl_scalar in
// invtrigl.cpp, orxatanl_scalar, orxatan2l_scalar) and rounded once to the
// destination format:
//   asin x  = atan2(x, c),  acos x = atan2(c, x),  c = sqrt((1 - x)(1 + x))
//   asinh a = log1p(a + a^2 / (1 + sqrt(1 + a^2))),  a = |x|, sign restored
//   acosh x = log1p(t + sqrt(2t + t^2)),  t = x - 1
//   atanh a = log1p(2a / (1 - a)) / 2,  a = |x|, sign restored
// For double operands 1 - x, 1 + x and x - 1 are exact in extended precision
// (or within 2^-64 relative when |x| < 2^-11, where they barely matter), the
// extended exponent range holds a^2 and t^2 for every double, and each
// formula is well conditioned in the quantities it rounds: the error before
// the final rounding stays within a few units of 2^-64 relative, so double
// results are within 0.5 + 2^-10 ulp (measured: see the tests) and float
// results within 0.5 ulp plus a few 2^-40.
//
// The kernels need 64-bit significands: every element runs at 64-bit
// precision control (kel::frame::Extended) inside the real frame.
//
// Special elements follow C99: NaNs pass through quiet without a report;
// asin and acos of |x| > 1, acosh of x < 1 and atanh of |x| > 1 give NaN with
// the domain report; atanh(+-1) = +-inf with the singularity report; zeros
// keep their sign where the function is odd; atan(+-inf) = +-pi/2 rounded and
// atan2 follows C99 for every signed zero and infinity.
#include "float_rounding.h"
#include "frame.h"

KEL_NAME_OBJECT

namespace {

using kel::round_to;

inline bool is_nan(double v) { return (kel::bits(v) << 1) > (uint64_t{0x7FF} << 53); }
inline double magnitude(double v) { return __builtin_fabs(v); }

template <class T>
int store(long double r, T* out) {
  *out = round_to<T>(r);
  return kelStatusNoError;
}

template <class T>
int domain_error(T* out) {
  *out = round_to<T>(kel::opaque(__builtin_infl()) * kel::opaque(0.0L));  // NaN, invalid
  return kelStatusDomain;
}

template <class T>
int quiet_nan(double x, T* out) {
  *out = round_to<T>(static_cast<long double>(x) * kel::opaque(1.0L));
  return kelStatusNoError;
}

// asin x = atan2(x, c) and acos x = atan2(c, x).
template <class T, bool Cosine>
int asin_acos_element(T xt, T* out) {
  const double x = xt;
  if (is_nan(x)) return quiet_nan(x, out);
  if (magnitude(x) > 1.0) return domain_error(out);
  return store(Cosine ? orxacosl_scalar(x) : orxasinl_scalar(x), out);
}

template <class T>
int atan_element(T xt, T* out) {
  const double x = xt;
  if (is_nan(x)) return quiet_nan(x, out);
  return store(orxatanl_scalar(x), out);
}

// Error bound of the arctangent kernel in units of the last bit of its
// result (measured below 0.51), with a margin, for the float rounding screen.
constexpr uint64_t kAtan2ErrorUnits = 16;

// atan2(y, x) for finite nonzero float operands in double length, placed in
// its quadrant as the kernel does, rounded as the exact value would be.
[[gnu::noinline]] long double atan2_accurate(double y, double x) {
  using kel::ld::kAtan2;
  const long double ay = magnitude(y), ax = magnitude(x);
  kel::fr::DD r;
  if (ay <= ax) {
    r = kel::fr::atan_dd(ay, ax);
    if (x < 0) r = kel::fr::add(kAtan2.pi, {-r.hi, -r.lo});
  } else {
    r = kel::fr::atan_dd(ax, ay);
    r = kel::fr::add(kAtan2.pio2, x < 0 ? r : kel::fr::DD{-r.hi, -r.lo});
  }
  if (y < 0) r = {-r.hi, -r.lo};
  return kel::fr::settle(r);
}

template <class T>
int atan2_element(T yt, T xt, T* out) {
  const double y = yt, x = xt;
  if (is_nan(x) || is_nan(y)) {
    *out = round_to<T>(static_cast<long double>(y) + static_cast<long double>(x));
    return kelStatusNoError;
  }
  long double r = orxatan2l_scalar(y, x);
  if constexpr (sizeof(T) == 4) {
    if (!kel::fr::settles<kAtan2ErrorUnits>(r) && !kel::is_zero(y) && !kel::is_zero(x) && !kel::is_inf_or_nan(y) &&
        !kel::is_inf_or_nan(x))
      r = atan2_accurate(y, x);
  }
  return store(r, out);
}

template <class T>
int asinh_element(T xt, T* out) {
  return store(orxasinhl_scalar(static_cast<double>(xt)), out);
}

template <class T>
int acosh_element(T xt, T* out) {
  const double x = xt;
  if (is_nan(x)) return quiet_nan(x, out);
  if (!(x >= 1.0)) return domain_error(out);
  return store(orxacoshl_scalar(x), out);
}

template <class T>
int atanh_element(T xt, T* out) {
  const double x = xt;
  if (is_nan(x)) return quiet_nan(x, out);
  const double a = magnitude(x);
  if (a > 1.0) return domain_error(out);
  if (a == 1.0) {
    *out = round_to<T>(orxatanhl_scalar(x));  // +-inf, divide-by-zero
    return kelStatusSingularity;
  }
  return store(orxatanhl_scalar(x), out);
}

}  // namespace

KEL_REAL_UNARY(Asin, (kel::frame::Extended<asin_acos_element<float, false>>{}),
               (kel::frame::Extended<asin_acos_element<double, false>>{}),
               (kel::frame::Extended<asin_acos_element<double, false>>{}))
KEL_REAL_UNARY(Acos, (kel::frame::Extended<asin_acos_element<float, true>>{}),
               (kel::frame::Extended<asin_acos_element<double, true>>{}),
               (kel::frame::Extended<asin_acos_element<double, true>>{}))
KEL_REAL_UNARY(Atan, (kel::frame::Extended<atan_element<float>>{}), (kel::frame::Extended<atan_element<double>>{}),
               (kel::frame::Extended<atan_element<double>>{}))
KEL_REAL_BINARY(Atan2, (kel::frame::Extended<atan2_element<float>>{}), (kel::frame::Extended<atan2_element<double>>{}),
                (kel::frame::Extended<atan2_element<double>>{}))
KEL_REAL_UNARY(Asinh, (kel::frame::Extended<asinh_element<float>>{}), (kel::frame::Extended<asinh_element<double>>{}),
               (kel::frame::Extended<asinh_element<double>>{}))
KEL_REAL_UNARY(Acosh, (kel::frame::Extended<acosh_element<float>>{}), (kel::frame::Extended<acosh_element<double>>{}),
               (kel::frame::Extended<acosh_element<double>>{}))
KEL_REAL_UNARY(Atanh, (kel::frame::Extended<atanh_element<float>>{}), (kel::frame::Extended<atanh_element<double>>{}),
               (kel::frame::Extended<atanh_element<double>>{}))

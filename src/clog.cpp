// Complex natural and base-10 logarithms:
//   log z = ln|z| + i arg z,  ln|z| = 0.5 ln(x^2 + y^2),  arg z = atan2(y, x).
//
// The squares of doubles neither overflow nor underflow in the x87 extended
// range, so x^2 + y^2 needs no scaling.  Near |z| = 1 the real part is tiny
// and ln(s) would lose it to the rounding of s: there the exact value of
// x^2 + y^2 - 1 is rebuilt from Dekker products and a two-sum, and the real
// part is 0.5 log1p of it.  Each part is rounded once to double.
#include "complex.h"
#include "complex_bits.h"

namespace {

using kel::round_to;
using kel::is_inf;
using kel::is_nan;
using kel::is_negative;

constexpr long double kInvLn10 = 0.43429448190325182765L;       // 1/ln 10
constexpr long double kHalfPiOverLn10 = 0.68218817692092067372L; // (pi/2)/ln 10
constexpr long double kSplit = 8589934593.0L;                    // 2^33 + 1
constexpr double kNearOne = 0.03;  // switch to the rebuilt |z|^2 - 1

// Dekker's split of a double held in extended precision: head with at most
// 31 significant bits, exact tail, so that head^2, head*tail, tail^2 are
// exact products in a 64-bit significand.
void split(long double a, long double* head, long double* tail) {
  const long double c = kSplit * a;
  *head = c - (c - a);
  *tail = a - *head;
}

// x^2 + y^2 - 1 with the rounding errors of both squares and of their sum
// restored; valid when the rounded sum is within [0.97, 1.03].
long double exact_norm_minus_one(long double a, long double b, long double a2, long double b2, long double s) {
  long double ah, at, bh, bt;
  split(a, &ah, &at);
  split(b, &bh, &bt);
  const long double a2_err = ((ah * ah - a2) + 2 * ah * at) + at * at;
  const long double b2_err = ((bh * bh - b2) + 2 * bh * bt) + bt * bt;
  const long double s_err = (a2 - s) + b2;  // a2 >= b2: the two-sum error of s
  return (s - 1) + ((s_err + a2_err) + b2_err);
}

// ln|z| and arg z for finite x, y, in extended precision.
void log_finite(double x, double y, long double* re, long double* im) {
  const long double ax = kel::cplx::abs_ld(x), ay = kel::cplx::abs_ld(y);
  const long double a = ax > ay ? ax : ay, b = ax > ay ? ay : ax;
  const long double a2 = a * a, b2 = b * b;
  const long double s = a2 + b2;
  const long double d = s - 1;
  if (kel::cplx::abs_ld(d) <= kNearOne) {
    *re = 0.5L * orxlog1pl_scalar(exact_norm_minus_one(a, b, a2, b2, s));
  } else {
    *re = 0.5L * orxlogl_scalar(s);  // s = 0 gives -inf with divide-by-zero
  }
  *im = orxatan2l_scalar(y, x);
}

Kel64fc log_kernel(Kel64fc z) {
  const double x = z.re, y = z.im;
  if (is_nan(x)) {
    const double im = round_to<double>(static_cast<long double>(x) * x);
    const double re = round_to<double>(is_inf(y) ? static_cast<long double>(y) * y : static_cast<long double>(x) * y);
    return {re, im};
  }
  if (kel::cplx::is_finite(x) && kel::cplx::is_finite(y)) {
    long double re, im;
    log_finite(x, y, &re, &im);
    return {round_to<double>(re), round_to<double>(im)};
  }
  // x infinite, or y infinite or NaN.
  if (is_nan(y)) {
    const double im = round_to<double>(static_cast<long double>(y) * y);
    const double re = round_to<double>(is_inf(x) ? static_cast<long double>(x) * x : static_cast<long double>(y) * y);
    return {re, im};
  }
  return {__builtin_inf(), round_to<double>(orxatan2l_scalar(y, x))};
}

Kel64fc log10_kernel(Kel64fc z) {
  const double x = z.re, y = z.im;
  const double inf = __builtin_inf();
  if (is_nan(x)) {
    if (is_inf(y)) return {inf, round_to<double>(static_cast<long double>(x) * x)};
    const double n = round_to<double>(static_cast<long double>(x) * y);
    return {n, n};
  }
  if (is_nan(y)) {
    const double n = round_to<double>(static_cast<long double>(y) * y);
    return {is_inf(x) ? inf : n, n};
  }
  const long double k = kHalfPiOverLn10;
  if (is_inf(y)) {
    const long double im = is_inf(x) ? (is_negative(x) ? 3 * k / 2 : k / 2) : k;
    return {inf, kel::cplx::with_sign_of(round_to<double>(im), y)};
  }
  if (is_inf(x)) {
    const double im = is_negative(x) ? round_to<double>(2 * k) : 0.0;
    return {inf, kel::cplx::with_sign_of(im, y)};
  }
  if (kel::is_zero(x) && kel::is_zero(y)) {
    const double re = round_to<double>(-1.0L / kel::opaque(0.0L));
    return {re, is_negative(x) ? kel::cplx::with_sign_of(round_to<double>(2 * k), y) : y};
  }
  long double re, im;
  log_finite(x, y, &re, &im);
  return {round_to<double>(re * kInvLn10), round_to<double>(im * kInvLn10)};
}

}  // namespace

KEL_API Kel64fc orxclog_scalar(Kel64fc z) { return kel::cplx::entry<log_kernel>(z); }
KEL_API Kel64fc orxclog10_scalar(Kel64fc z) { return kel::cplx::entry<log10_kernel>(z); }

KEL_COMPLEX_UNARY(Ln, orxclog_scalar)
KEL_COMPLEX_UNARY(Log10, orxclog10_scalar)

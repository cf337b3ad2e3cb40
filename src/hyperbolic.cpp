// Hyperbolic sine, cosine and tangent.
//
// The element kernels evaluate in double arithmetic (53-bit significands under
// the frame's guard) and round once more when the element is stored; the float
// members run the double algorithm and store to float, and the A50 member
// shares the A53 algorithm.  Sinh and Cosh take most elements through a
// shorter main path in extended precision instead (end of this file).  The functions are odd (sinh, tanh) or even
// (cosh), so the algorithm works on a = |x| and puts the sign back last.
//
// Core: e^a = 2^m * V with V = 2^(j/64) e^r carried as a double-double
// (Vh + Vl, relative error below 2^-66).  k = round(a*64/ln2) = 64m + j,
// r = a - k ln2/64 is split into rh + rl exactly (a - k*L1 is exact, the
// subtraction of k*L2 is captured by two_sum), e^r - 1 - r is the Taylor
// polynomial of degree 7 in rh (truncation below 2^-75), and the products with
// the row 2^(j/64) = Th (1 + Tl) are formed by Dekker's exact product.
// e^-a = 2^-m / V is the reciprocal of V refined by one Newton step in
// double-double, scaled by 2^-2m (dropped for m >= 32, where it is below
// 2^-64 of V).
//
//   sinh a = 2^(m-1) (V - 2^-2m/V)        for a >= 1/8
//          = a + a^3 S(a^2)                for a < 1/8 (Taylor, degree 11)
//   cosh a = 2^(m-1) (V + 2^-2m/V)
//   tanh a = (V - 2^-2m/V) / (V + 2^-2m/V) for 1/16 <= a < 22, divided in
//                                            double-double
//          = a + a^3 T(a^2)                for a < 1/16 (Taylor, degree 13)
//
// The double-double value is rounded once to double (the scaling by
// 2^(m-1) is exact) and then stored.  Worst errors measured against MPFR
// over 10^7 inputs per member: sinh 0.505 ulp (the series just below 1/8),
// cosh 0.500, tanh 0.503 in double; 0.500 ulp for all three in float.
// Rounding the double once more to float is correct unless the double lies
// on or next to a float midpoint; there the float sinh is recomputed in
// double length (sinh_accurate), so it is correctly rounded on every input.
//
// Special elements: NaN passes through quietly without a report; sinh and tanh
// of |x| < 2^-27 return x (and raise inexact unless x is zero), cosh returns 1;
// subnormal inputs belong to that range and are not reported as underflow
// (the result x is exact in the format, only inexact is raised).  sinh(+-Inf) =
// +-Inf, cosh(+-Inf) = +Inf, tanh(+-Inf) = +-1, exactly.  sinh and cosh beyond
// the overflow threshold of the format store +-Inf and report overflow; tanh
// of |x| >= 22 is +-1 with inexact.
#include "exp_data.h"
#include "fast.h"
#include "float_rounding.h"
#include "frame.h"
#include "hyperbolic_data.h"

KEL_NAME_OBJECT

namespace {

namespace exp_data = kel::exp_data;
using kel::hyperbolic_data::kTables;

// The screen reads the biased exponent field before any arithmetic: below
// kTiny<T> (|x| < 2^-27) sinh, cosh and tanh round to x or 1.
template <class T>
constexpr int kTiny = sizeof(T) == 8 ? 0x3E4 : 0x64;
template <class T>
inline double overflow_threshold() {
  return sizeof(T) == 8 ? kTables.overflow64 : kTables.overflow32;
}

constexpr double kSinhSeriesLimit = 0x1p-3;
constexpr double kTanhSeriesLimit = 0x1p-4;
constexpr double kTanhSaturation = 22.0;  // 1 - tanh(22) < 2^-62
constexpr int32_t kReciprocalLimit = 32;  // m >= 32: 2^-2m/V is below 2^-64 V

// ---- Error-free transformations (round-to-nearest, no overflow) ----

struct DD {
  double h, l;
};

// a + b = h + l exactly.
inline DD two_sum(double a, double b) {
  const double s = a + b;
  const double bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}

// The same for |a| >= |b|.
inline DD fast_two_sum(double a, double b) {
  const double s = a + b;
  return {s, b - (s - a)};
}

// a * b = h + l exactly: Veltkamp splitting by 2^27 + 1 and Dekker's product.
inline DD two_prod(double a, double b) {
  constexpr double kSplit = 0x1.0000002p+27;
  const double p = a * b;
  const double as = a * kSplit, bs = b * kSplit;
  const double ah = as - (as - a), bh = bs - (bs - b);
  const double al = a - ah, bl = b - bh;
  return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

// 2^e for e from -1022 to 1023: a double whose only nonzero bits are the
// exponent field.
inline double pow2(int32_t e) { return kel::double_from_bits(static_cast<uint64_t>(e + 1023) << 52); }

// ---- e^a = 2^m (Vh + Vl), a from 2^-27 to the overflow threshold ----

struct Exp {
  DD v;
  int32_t m;
};

inline Exp exp_dd(double a) {
  const double* c = kTables.exp_poly;
  const double n = a * exp_data::kTables.inv_ln2_64 + exp_data::kTables.shifter;
  const int32_t k = static_cast<int32_t>(kel::low_word(n));
  const double kd = n - exp_data::kTables.shifter;
  // L1 has 36 bits and k < 2^17, so kd*L1 is exact, and so is a - kd*L1
  // (the operands are within a factor of two).
  const DD r = two_sum(a - kd * exp_data::kTables.l1, -(kd * exp_data::kTables.l2));
  const double rh = r.h;
  const double poly = rh * rh * (c[0] + rh * (c[1] + rh * (c[2] + rh * (c[3] + rh * (c[4] + rh * c[5])))));
  // e^r - 1 = rh + q, |q| < 2^-15.8.
  const double q = poly + r.l * (1.0 + rh);
  const int j = k & 63;
  const double th = exp_data::kTables.rows[j].th, tl = exp_data::kTables.rows[j].tl;
  // V = Th (1 + Tl)(1 + rh + q) = Th + Th*rh + Th (Tl (1 + rh) + q) + O(2^-70).
  const DD p = two_prod(th, rh);
  const DD s = fast_two_sum(th, p.h);  // Th >= 1 > |Th*rh|
  const double low = s.l + (p.l + th * (tl * (1.0 + rh) + q));
  return {fast_two_sum(s.h, low), k >> 6};
}

// 2^-2m / V as a double-double: q = 1/Vh, then the residual
// 1 - V q = (1 - Vh q) - Vl q, with Vh q formed exactly, corrects it.
inline DD reciprocal(const Exp& e) {
  if (e.m >= kReciprocalLimit) return {0.0, 0.0};
  const double q = 1.0 / e.v.h;
  const DD vq = two_prod(e.v.h, q);
  const double res = ((1.0 - vq.h) - vq.l) - e.v.l * q;
  const double s = pow2(-2 * e.m);
  return {q * s, (q * res) * s};
}

// (h + l) 2^(m-1), rounded once: the sum rounds to double, the scaling by
// 2^(m-2) and 2 is exact in the register (m - 1 reaches 1024 next to the
// overflow threshold, where 2^(m-1) has no double).
inline double scaled_half(double h, double l, int32_t m) { return (h + l) * pow2(m - 2) * 2.0; }

double sinh_positive(double a) {
  if (a < kSinhSeriesLimit) {
    const double* s = kTables.sinh_poly;
    const double z = a * a;
    const double p = z * (s[0] + z * (s[1] + z * (s[2] + z * (s[3] + z * s[4]))));
    return a + a * p;
  }
  const Exp e = exp_dd(a);
  const DD r = reciprocal(e);
  const DD d = two_sum(e.v.h, -r.h);
  return scaled_half(d.h, d.l + (e.v.l - r.l), e.m);
}

double cosh_positive(double a) {
  const Exp e = exp_dd(a);
  const DD r = reciprocal(e);
  const DD d = two_sum(e.v.h, r.h);
  return scaled_half(d.h, d.l + (e.v.l + r.l), e.m);
}

double tanh_positive(double a) {
  if (a < kTanhSeriesLimit) {
    const double* t = kTables.tanh_poly;
    const double z = a * a;
    const double p = z * (t[0] + z * (t[1] + z * (t[2] + z * (t[3] + z * (t[4] + z * t[5])))));
    return a + a * p;
  }
  const Exp e = exp_dd(a);  // m <= 31: the reciprocal is always formed
  const DD r = reciprocal(e);
  const DD n0 = two_sum(e.v.h, -r.h), d0 = two_sum(e.v.h, r.h);
  const double nl = n0.l + (e.v.l - r.l), dl = d0.l + (e.v.l + r.l);
  // N/D = y + (N - y D)/D; Nh - y*Dh is exact (y*Dh is within 2^-52 of Nh).
  const double y = n0.h / d0.h;
  const DD yd = two_prod(y, d0.h);
  const double rem = (((n0.h - yd.h) - yd.l) + nl) - y * dl;
  return y + rem / d0.h;
}

// ---- Element kernels ----

template <class T>
inline double magnitude(T x) {
  return __builtin_fabs(static_cast<double>(x));
}

// x (1 + 2^-60) rounds to x: the value of sinh and tanh for |x| < 2^-27, with
// inexact for a nonzero x and the sign of a zero kept.
template <class T>
inline double near_zero_odd(T x) {
  return x + x * 0x1p-60;
}

// Stores +-Inf: DBL_MAX^2 exists in the register, the store overflows it and
// raises overflow and inexact.
template <class T>
inline int overflow(bool negative, T* y) {
  const double huge = kel::opaque(__DBL_MAX__);
  *y = (negative ? -huge : huge) * huge;
  return kelStatusOverflow;
}

// The float screen.  A double v within 1.5 ulp of sinh a (0.505 ulp
// measured) rounds to float as sinh a does unless v lies within one double
// ulp of a float midpoint: the 29 significand bits a float drops from a
// double result (always normal: sinh a >= a >= 2^-27) are then within one of
// 2^28.  Otherwise the accurate path decides.
inline bool settles_float(double v) {
  const uint32_t low = static_cast<uint32_t>(kel::bits(v)) & 0x1FFFFFFF;
  return low > 0x10000001 || low < 0x0FFFFFFF;
}

// sinh a = (E - 1/E)/2 with E = e^a in double length at 64-bit precision
// (relative error about 2^-115; the subtraction loses at most 27 bits for
// a >= 2^-27), rounded to float as the exact value would be.
[[gnu::noinline]] float sinh_accurate(double a) {
  kel::PrecisionGuard<kel::kPrecision64Nearest> extended;
  const kel::fr::DD e = kel::fr::exp_dd({kel::opaque(static_cast<long double>(a)), 0.0L});
  const kel::fr::DD r = kel::fr::div({1.0L, 0.0L}, e);
  const kel::fr::DD d = kel::fr::add(e, {-r.hi, -r.lo});
  return kel::round_to<float>(kel::fr::settle(kel::fr::scale(d, 0.5L)));
}

template <class T>
int sinh_kernel(T x, T* y) {
  const int e = kel::Format<T>::biased_exponent(x);
  if (e == kel::Format<T>::kMaxField) {  // +-Inf; NaN comes back quiet
    *y = x + x;
    return kelStatusNoError;
  }
  if (e < kTiny<T>) {
    *y = near_zero_odd(x);
    return kelStatusNoError;
  }
  const bool negative = kel::Format<T>::negative(x);
  const double a = magnitude(x);
  if (a > overflow_threshold<T>()) return overflow(negative, y);
  double v = sinh_positive(a);
  if constexpr (sizeof(T) == 4) {
    if (!settles_float(v)) v = sinh_accurate(a);
  }
  *y = negative ? -v : v;
  return kelStatusNoError;
}

template <class T>
int cosh_kernel(T x, T* y) {
  const int e = kel::Format<T>::biased_exponent(x);
  if (e == kel::Format<T>::kMaxField) {  // +Inf for both infinities; NaN quiet
    *y = x * x;
    return kelStatusNoError;
  }
  if (e < kTiny<T>) {  // 1 + x^2/2 rounds to 1; inexact unless x = 0
    *y = 1.0 + static_cast<double>(x) * x;
    return kelStatusNoError;
  }
  const double a = magnitude(x);
  if (a > overflow_threshold<T>()) return overflow(false, y);
  *y = cosh_positive(a);
  return kelStatusNoError;
}

template <class T>
int tanh_kernel(T x, T* y) {
  const int e = kel::Format<T>::biased_exponent(x);
  const bool negative = kel::Format<T>::negative(x);
  if (e == kel::Format<T>::kMaxField) {
    if (kel::Format<T>::is_nan(x))
      *y = x + x;  // quiet
    else
      *y = negative ? T(-1) : T(1);
    return kelStatusNoError;
  }
  if (e < kTiny<T>) {
    *y = near_zero_odd(x);
    return kelStatusNoError;
  }
  const double a = magnitude(x);
  // 1 - 2^-60 rounds to 1 and raises inexact.
  const double v = a >= kTanhSaturation ? 1.0 - kel::opaque(0x1p-60) : tanh_positive(a);
  *y = negative ? -v : v;
  return kelStatusNoError;
}

// ---- The main path of Sinh and Cosh ----
//
// The Sinh and Cosh members run at 64-bit precision, two elements at a time.
// For 2^-27 <= a = |x| < 704 (89 for floats; both below the overflow
// thresholds):
//   a < 1/2:  kel::fast::sinh_cosh, Taylor series, relative error below 2^-62;
//   a >= 1/2: h = e^a / 2 from kel::fast::exp_moderate, within 2^-63 (its
//             reduction stays exact up to 704: n < 2^18, and n times the 29-bit
//             first piece of ln2/256 fits 47 bits), then
//             cosh a = h + 1/(4h)  within 2^-62.4,
//             sinh a = h - 1/(4h)  within 2^-61.5 (the subtraction multiplies
//             the error of h by at most coth(1/2) = 2.2).
// Double results are then within 0.5 + 2^-8.5 ulp.  The element kernels above
// take everything else (NaNs, infinities, tiny and overflowing elements) and
// the float results within the error bound of a float rounding point, under
// the 53-bit precision they are written for.
constexpr uint64_t kSinhCoshErrorUnits = 16;

template <bool Sine>
struct SinhCoshFast : kel::frame::MagnitudeScreen<0x3E400000, 0x40860000, 0x32000000, 0x42B20000> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* out) {
    const double a = kel::abs_bits(static_cast<double>(x));
    long double r;
    if (a < 0.5) {
      const kel::ld::SinhCosh s = kel::fast::sinh_cosh(a);
      r = Sine ? s.sinh : s.cosh;
    } else {
      const long double h = 0.5L * kel::fast::exp_moderate(a);
      const long double g = 0.25L / h;
      r = Sine ? h - g : h + g;
    }
    if (Sine && kel::Format<T>::negative(x)) r = -r;
    kel::fr::store_fast<kSinhCoshErrorUnits>(r, x, out, element<T>);
  }
  template <class T>
  static int element(T x, T* out) {
    kel::PrecisionGuard<kel::kPrecision53Nearest> real;
    return Sine ? sinh_kernel(x, out) : cosh_kernel(x, out);
  }
};

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Sinh, SinhCoshFast<true>, SinhCoshFast<true>, SinhCoshFast<true>)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Cosh, SinhCoshFast<false>, SinhCoshFast<false>, SinhCoshFast<false>)
KEL_REAL_FAMILY(UNARY, kRealGuard, Tanh, tanh_kernel<float>, tanh_kernel<double>, tanh_kernel<double>)

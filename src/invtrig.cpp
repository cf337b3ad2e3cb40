// Inverse circular and inverse hyperbolic functions: Asin, Acos, Atan, Atan2,
// Asinh, Acosh, Atanh.
//
// Each element is computed in x87 extended precision and rounded once to the
// destination format.  The general elements run on the library's
// extended-precision kernels (orxasinl_scalar ... orxatanhl_scalar in
// invtrigl.cpp, orxatanl_scalar, orxatan2l_scalar for zeros and infinities);
// the vector loops' main paths on short kernels of their own (the table
// arctangent and the division-free arcsine below, the arctangent and
// logarithm of src/fast.h), by the same formulas where they are given:
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
// The kernels need 64-bit significands: every call runs at 64-bit precision
// control inside the real frame (kExtendedRealGuard).
//
// Special elements follow C99: NaNs pass through quiet without a report;
// asin and acos of |x| > 1, acosh of x < 1 and atanh of |x| > 1 give NaN with
// the domain report; atanh(+-1) = +-inf with the singularity report; zeros
// keep their sign where the function is odd; atan(+-inf) = +-pi/2 rounded and
// atan2 follows C99 for every signed zero and infinity.
#include "atan2l_data.h"
#include "asin_data.h"
#include "atan_data.h"
#include "fast.h"
#include "float_rounding.h"
#include "frame.h"

KEL_NAME_OBJECT

namespace {

using kel::round_to;

using kel::is_nan;
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

// Error bound of the table arctangent (kel::fast::atan2_pos, 2^-63
// relative: 2 units of the last bit of its result), with a margin, for the
// float rounding screen.
constexpr uint64_t kAtan2ErrorUnits = 16;

// atan2(y, x) for finite nonzero float operands in double length, placed in
// its quadrant as the kernel does, rounded as the exact value would be.
[[gnu::noinline]] long double atan2_accurate(double y, double x) {
  using kel::atan2l_data::kTables;
  const long double ay = magnitude(y), ax = magnitude(x);
  kel::fr::DD r;
  if (ay <= ax) {
    r = kel::fr::atan_dd(ay, ax);
    if (x < 0) r = kel::fr::add(kTables.pi, {-r.hi, -r.lo});
  } else {
    r = kel::fr::atan_dd(ax, ay);
    r = kel::fr::add(kTables.pio2, x < 0 ? r : kel::fr::DD{-r.hi, -r.lo});
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
  if (kel::is_zero(y) || kel::is_zero(x) || kel::is_inf_or_nan(y) || kel::is_inf_or_nan(x))
    return store(orxatan2l_scalar(y, x), out);  // signed zeros and infinities
  const long double a = kel::fast::atan2_pos(magnitude(y), x);
  long double r = y < 0 ? -a : a;
  if constexpr (sizeof(T) == 4) {
    if (!kel::fr::settles<kAtan2ErrorUnits>(r)) r = atan2_accurate(y, x);
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

// Arctangent of a = |x| >= 2^-32 (or a long double a >= 2^-40), in long
// double: with the row of a (kTables.rows: 32 points c per binade of [2^-7, 2^7),
// c = 0 below, c = inf above),
//   atan(a) = atan(c) + atan(v),  v = (a - c) / (1 + a c),
// and v = -1/a in the top row.  The numerator is exact (a and c share a
// binade, c has 7 bits), so v carries at most four roundings: 2 units of
// 2^-64 relative.  |v| <= 2^-6, and |v| <= 2^-6 atan(a) below 1, so the
// Taylor series of atan(v) to v^11 (Estrin, truncation below 2^-81 of the
// result) and the rounding of v add at most a few 2^-70 to the final sum's
// half unit of 2^-64: stored to double within 0.5 + 2^-10 ulp.  One
// division, no table search: the row comes from the exponent and the top
// five significand bits of a.
inline long double atan_row(long double a, int row) {
  row = row < 0 ? 0 : row;
  row = row > kel::atan_data::kRowCount - 1 ? kel::atan_data::kRowCount - 1 : row;
  const kel::atan_data::Row& r = kel::atan_data::kTables.rows[row];
  const long double v = (a * r.a_mul + r.b) / (a * r.c_mul + r.d);
  const long double v2 = v * v, v4 = v2 * v2;
  const long double* p = kel::atan2l_data::kTables.poly;
  const long double q = (p[0] + p[1] * v2) + v4 * ((p[2] + p[3] * v2) + v4 * p[4]);
  return r.hi + (r.lo + (v + v * v2 * q));
}

// Row of |x| for a double or float x, unclamped.
template <class T>
inline int atan_row_of(T x) {
  constexpr int kMantBits = sizeof(T) == 8 ? 52 : 23, kBias = sizeof(T) == 8 ? 1023 : 127;
  const uint64_t m = kel::bits(x) & ~(uint64_t{1} << (8 * sizeof(T) - 1));  // |x|
  return static_cast<int>(m >> (kMantBits - 5)) - ((kBias - 7) * 32 - 1);
}

// a with the sign of x, read from x's bits.
template <class T>
inline long double with_sign_of(T x, long double a) {
  return kel::bits(x) >> (8 * sizeof(T) - 1) ? -a : a;
}

template <class T>
inline long double atan_signed(T x) {
  return with_sign_of(x, atan_row(magnitude(static_cast<double>(x)), atan_row_of(x)));
}

// c ? x : y without a branch (fcmov): the two cases of asin_acos_main come
// in random order.
inline long double select(bool c, long double x, long double y) {
  asm("testb %2, %2\n\tfcmovne %%st(1), %%st" : "+t"(y) : "u"(x), "q"(c) : "cc");
  return y;
}

// asin x or acos x for a double or float x with 2^-32 <= a = |x| < 1, before
// the one rounding to the destination:
//   asin a = t (1 + G(t^2))           with t = a below 1/2,
//   asin a = pi/2 - 2 t (1 + G(t^2))  with t = sqrt((1 - a)/2) from 1/2 on,
// G(w) = asin(sqrt w)/sqrt w - 1, and acos x = pi/2 - asin x, so that each
// is K + m t (1 + G(w)) with K and m from kel::asin_data::kPlacements.  G on
// [0, 1/4] (below 0.048) is the degree-7 Taylor polynomial at the nearest
// point c = j/256 (Estrin), |w - c| <= 2^-9 (1 + 2^-7), truncated below
// 2^-75 and evaluated within 2^-68.  w = a^2 is within 2^-64 relative and
// (1 - a)/2 exact; t = a is exact and fsqrt rounds t within 2^-65 relative,
// 2t <= 1.  The result is at least |t| and at least pi/6 when t is a
// square root, so it carries the two half-unit roundings of (K_hi + m t) +
// (K_lo + m t G), the square root's 2^-65 and a few 2^-68: within 3 units
// of its last bit, stored to double within 0.5 + 2^-9 ulp.
// No division and no branch: the cell comes from integer arithmetic on the
// leading bits of x (w * 256 to nearest, through a 16-bit a or the exact
// integer 1 - a), the two cases meet in conditional moves.
template <bool Cosine, class T>
inline long double asin_acos_main(T x) {
  using kel::asin_data::kCells;
  // The high word of |x| as a double.
  uint32_t hw;
  if constexpr (sizeof(T) == 8) {
    hw = kel::high_word(x) & 0x7FFFFFFF;
  } else {
    hw = ((kel::bits(x) & 0x7FFFFFFF) >> 3) + ((1023 - 127) << 20);
  }
  const bool near_one = hw >= 0x3FE00000;
  const uint32_t sig = (hw & 0xFFFFF) | 0x100000;  // 2^20 <= sig < 2^21
  const uint32_t e = hw >> 20 < 1005 ? 1005 : hw >> 20;  // a < 2^-18 has a16 = 0: row 0
  const uint32_t a16 = sig >> (1027 - e);                  // floor(a 2^16) for a < 1/2
  const uint32_t row_low = (a16 * a16 + (1u << 23)) >> 24;      // a^2 256
  const uint32_t row_high = (0x200000 - sig + (1u << 13)) >> 14;  // (1 - a)/2 256, a >= 1/2
  uint32_t high_mask = 0u - near_one;
  asm("" : "+r"(high_mask));  // both rows computed, no branch
  const kel::asin_data::Cell& cell = kCells[(row_high & high_mask) | (row_low & ~high_mask)];
  const uint32_t negative = kel::bits(x) >> (8 * sizeof(T) - 1);
  const kel::asin_data::Placement& k = kel::asin_data::kPlacements[Cosine][2 * near_one + negative];

  const long double a = magnitude(static_cast<double>(x));
  const long double z = (1.0L - a) * 0.5L;
  const long double w = select(near_one, z, a * a);
  const long double t = select(near_one, kel::sqrt_x87(w), a);

  const long double h = w - cell.c, h2 = h * h, h4 = h2 * h2;
  const double* g = cell.g;
  const long double low = h * cell.g1 + h2 * (g[0] + h * g[1]);
  const long double high = (g[2] + h * g[3]) + h2 * (g[4] + h * g[5]);
  const long double gw = cell.g0 + (low + h4 * high);
  const long double u = k.m * t;
  return (k.hi + u) + (k.lo + u * gw);
}

using kel::fr::store_fast;

// The Atan, Asin and Acos members: the whole call at 64-bit precision (the
// real guard restored around a report), two elements at a time.  The main
// path takes 2^-32 <= |x| < Limit; NaNs, infinities, zeros, tiny and
// out-of-domain elements take the general kernels above, out of line.
template <uint32_t LimitDouble, uint32_t LimitFloat>
using MainRange = kel::frame::MagnitudeScreen<0x3DF00000, LimitDouble, 0x2F800000, LimitFloat>;

struct AtanFast : MainRange<0x7FF00000, 0x7F800000> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* out) {
    store_fast<4>(atan_signed(x), x, out, atan_element<T>);
  }
  template <class T>
  static int element(T x, T* out) {
    return atan_element(x, out);
  }
};

template <bool Cosine>
struct AsinAcosFast : MainRange<0x3FF00000, 0x3F800000> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* out) {
    const long double r = asin_acos_main<Cosine>(x);
    store_fast<8>(r, x, out, asin_acos_element<T, Cosine>);
  }
  template <class T>
  static int element(T x, T* out) {
    return asin_acos_element<T, Cosine>(x, out);
  }
};

// The inverse hyperbolic members' main path, on the short kernels of
// src/fast.h (kel::fast::log1p_pos, within about 2^-63 relative, and
// kel::sqrt_x87, correctly rounded) instead of the exported ones:
//   asinh a = log1p(a + a^2 / (1 + sqrt(1 + a^2))),  2^-32 <= a = |x| < 2^32,
//   acosh x = log1p(t + sqrt(t (2 + t))),  t = x - 1 (exact),  1 <= x < 2^32,
//   atanh a = log1p(2a / (1 - a)) / 2,  2^-32 <= a = |x| < 1.
// Each argument of log1p is a sum or quotient of positive terms with at most
// five roundings of 2^-64, and log1p's condition number q / ((1 + q) ln(1 + q))
// is below 1: within about 8 units of 2^-64 relative in all, double results
// within 0.5 + 2^-10 ulp.  Float results near a rounding point take the
// general element, which rounds correctly on every float.
constexpr uint64_t kInverseHyperbolicErrorUnits = 16;

struct AsinhFast : MainRange<0x41F00000, 0x4F800000> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* out) {
    const long double a = magnitude(static_cast<double>(x)), a2 = a * a;
    const long double r = kel::fast::log1p_pos(a + a2 / (1 + kel::sqrt_x87(1 + a2)));
    store_fast<kInverseHyperbolicErrorUnits>(with_sign_of(x, r), x, out, asinh_element<T>);
  }
  template <class T>
  static int element(T x, T* out) {
    return asinh_element(x, out);
  }
};

// 1 <= x < 2^32: the sign bit is part of the unsigned comparison.
struct AcoshFast {
  static bool main_path(const double* p) { return kel::frame::high_word_at(p) - 0x3FF00000u < 0x41F00000u - 0x3FF00000u; }
  static bool main_path(const float* p) { return kel::frame::word_at(p) - 0x3F800000u < 0x4F800000u - 0x3F800000u; }
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* out) {
    const long double t = static_cast<double>(x) - 1.0L;
    const long double r = kel::fast::log1p_pos(t + kel::sqrt_x87(t * (2 + t)));
    store_fast<kInverseHyperbolicErrorUnits>(r, x, out, acosh_element<T>);
  }
  template <class T>
  static int element(T x, T* out) {
    return acosh_element(x, out);
  }
};

struct AtanhFast : MainRange<0x3FF00000, 0x3F800000> {
  template <class T>
  [[gnu::always_inline, gnu::flatten]] static void main(T x, T* out) {
    const long double a = magnitude(static_cast<double>(x));
    const long double r = 0.5L * kel::fast::log1p_pos(2 * a / (1 - a));
    store_fast<kInverseHyperbolicErrorUnits>(with_sign_of(x, r), x, out, atanh_element<T>);
  }
  template <class T>
  static int element(T x, T* out) {
    return atanh_element(x, out);
  }
};

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Asin, AsinAcosFast<false>, AsinAcosFast<false>, AsinAcosFast<false>)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Acos, AsinAcosFast<true>, AsinAcosFast<true>, AsinAcosFast<true>)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Atan, AtanFast, AtanFast, AtanFast)
KEL_REAL_FAMILY(BINARY, kExtendedRealGuard, Atan2, atan2_element<float>, atan2_element<double>, atan2_element<double>)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Asinh, AsinhFast, AsinhFast, AsinhFast)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Acosh, AcoshFast, AcoshFast, AcoshFast)
KEL_REAL_FAMILY(PAIRS_UNARY, kExtendedRealGuard, Atanh, AtanhFast, AtanhFast, AtanhFast)

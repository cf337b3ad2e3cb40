// Exponential: y = e^x as 2^m * 2^(j/64) * e^r.
//
// x * 64/ln2 is rounded to the nearest integer k (ties to even), the integer
// that adding the 1.5*2^52 shifter would leave in the low word of the sum;
// k = 64m + j with j = k & 63.  r = x - k*ln2/64 is formed in two pieces: L1 has 36
// significant bits, so k*L1 is exact for |k| < 2^17, and |r| <= ln2/128.
// e^r - 1 is a short Horner polynomial q, 2^(j/64) is read from the table and
// 2^m is applied by writing an exponent field into a scale cell.
//
// High accuracy (kelsExp_64f_A53 and the three float members, which differ
// only in their thresholds): degree 6, and 2^(j/64) as Th + Th*Tl with Tl a
// relative correction, so the last two steps are u = (q + Tl)*Th and
// y = Th + u.  Measured worst error 0.514 ulp in double (10^7 random inputs
// over the finite range) and 0.500 ulp in float (every float input).
// Low accuracy (kelsExp_64f_A50): degree 5, one table value, y = T*(1 + q),
// where rounding 1 + q loses the low bits of q.  Measured worst error
// 1.93 ulp.
//
// On the x87 every operation runs at 53-bit precision under the frame's
// guard, so an arithmetic result has a double significand and matches double
// arithmetic while it stays in the normal double range.  Beyond that range the
// register keeps the wider exponent: overflow and subnormal rounding happen
// only when the result is stored to the destination.  The stores below are those
// rounding points; the exact underflow path has one more (round_to).
#include "exp_data.h"
#include "frame.h"

KEL_NAME_OBJECT

namespace {

using namespace kel::exp_data;

// The screen reads the biased exponent field of the element before any
// arithmetic; below kNearZero<T> (|x| < 2^-52) e^x rounds to 1 + x.
template <class T>
constexpr int kNearZero = sizeof(T) == 8 ? 0x3CA : 0x4A;

constexpr int kMainPath = -1;

// The thresholds of the member's element type.
template <class T>
inline const Limits& limits() {
  return sizeof(T) == sizeof(float) ? kTables.limits32 : kTables.limits64;
}

// Special elements: stores their result and returns their code, or returns
// kMainPath.
template <class T>
inline int screen(T x, T* y) {
  using F = kel::Format<T>;
  const int e = F::biased_exponent(x);
  if (e == F::kMaxField) {
    // e^-Inf = +0; +Inf and NaN pass through x*x, which quiets a signalling NaN.
    if (F::bits(x) == (F::kSignMask | F::kInf))
      *y = static_cast<T>(kTables.zero);
    else
      *y = x * x;
    return kelStatusNoError;
  }
  if (e <= kNearZero<T>) {  // zeros and subnormals too: e^x rounds to 1 + x
    *y = kTables.one + x;
    return kelStatusNoError;
  }
  const double xd = x;
  if (xd > limits<T>().overflow) {
    // DBL_MAX^2 exists in the register; the store to T makes it +Inf and
    // raises overflow and inexact.
    *y = kel::opaque(kTables.huge) * kel::opaque(kTables.huge);
    return kelStatusOverflow;
  }
  if (xd < limits<T>().underflow) {
    // Likewise: the store makes the square of the tiny operand +0 and raises
    // underflow and inexact.
    *y = kel::opaque(kTables.tiny) * kel::opaque(kTables.tiny);
    return kelStatusUnderflow;
  }
  return kMainPath;
}

// 2^(field - 1023): a double whose only nonzero bits are the exponent field.
inline double scale_cell(uint32_t field) { return kel::double_from_bits(static_cast<uint64_t>(field & 0x7FF) << 52); }

// r = x - k*ln2/64 with k = round(x*64/ln2); j = k & 63, m = k >> 6.
// k is rounded by frndint, which under the frame's round-to-nearest gives
// the integer that adding and subtracting the 1.5*2^52 shifter would
// (|x*64/ln2| < 2^17, ties to even, inexact raised the same way) with one
// operation of 5 cycles instead of two of 7 on the dependency chain; fistl
// then stores the exact integer for the row and the scale.
[[gnu::always_inline]] inline double reduce(double x, uint32_t* j, int32_t* m) {
  double kd = x * kTables.inv_ln2_64;
  asm("frndint" : "+t"(kd));  // k as a double, exactly
  int32_t k;
  asm("fistl %0" : "=m"(k) : "t"(kd));
  *j = static_cast<uint32_t>(k) & 63;
  *m = k >> 6;
  const double a = kd * kTables.l1;  // exact
  const double b = kd * kTables.l2;
  return (x - a) - b;
}

// Stores y * 2^m for x at or above the normal-result limit (m >= -1022).
// One multiplication, exact unless the result is subnormal or overflows, and
// then rounded once by the store.
template <class T>
inline void store_scaled(double y, int32_t m, T* out) {
  const uint32_t e = static_cast<uint32_t>(m + 1023) & 0x7FF;
  if (e <= 0x7FE) {
    *out = y * scale_cell(e);
  } else {
    // m = 1024 (k = 65536, x within 0.006 of the overflow threshold): 2^1024
    // has no double, so scale by 2^1023 and then by 2.
    *out = y * scale_cell(e - 1) * kTables.two;
  }
}

// High-accuracy result below the normal-result limit (m from -1075 to -1022).
// Th and u are first scaled by S = 2^(m+60) (exact: both stay normal), so that
// their sum can be formed without leaving the double range.
template <class T>
[[gnu::noinline, gnu::cold]] void ha_gradual_underflow(double th, double u, int32_t m, T* out) {
  const uint32_t field = static_cast<uint32_t>(m - 965) & 0x7FF;  // m + 1083
  const double s = scale_cell(field);
  const double a = th * s, us = u * s;
  const double unscale = kTables.unscale;
  if (field <= 50) {
    // m <= -1033: the result has at most 42 significant bits; the store
    // rounds the double sum once more, onto the subnormal grid.
    *out = (a + us) * unscale;
    return;
  }
  // m from -1032 up: the result keeps up to 52 bits.  Rounding the double sum
  // V into the subnormal range would round twice (the exact a + us to V,
  // then V), so the exact sum V + E is split instead: Vh is V rounded to a
  // multiple of ulp(1.5*2^32*V), that is to its leading 20 or 21 bits, which
  // Vh*2^-60 represents exactly on the subnormal grid; the low part
  // L = (V - Vh) + E, with the error E of V, is rounded once onto that grid.
  // Adding a grid point commutes with rounding to the grid, so the result is
  // the exact sum rounded once.  For float elements the sum is an ordinary
  // normal double and is rounded to single precision by the store.
  const double v = a + us;
  const double e = (a - v) + us;
  const double h = v * kTables.split;
  const double vh = (v + h) - h;
  const double l = (v - vh) + e;
  // The register would keep l*2^-60 unrounded and round only the sum, twice:
  // to 53 bits and then at the store.  The low part must reach the grid first.
  *out = vh * unscale + kel::round_to<double>(l * unscale);
}

// Main-path arithmetic of the high-accuracy algorithm up to the scaling:
// e^x = 2^m * (th + u).
[[gnu::always_inline]] inline double ha_core(double x, double* th, double* u, int32_t* m) {
  uint32_t j;
  const double r = reduce(x, &j, m);
  const double* c = kTables.ha_poly;  // c2..c6
  const double p = ((((c[4] * r + c[3]) * r + c[2]) * r + c[1]) * r + c[0]) * r;
  const double q = r + p * r;  // e^r - 1
  const Row& row = kTables.rows[j];
  *th = row.th;
  *u = (q + row.tl) * *th;
  return *th + *u;
}

// Main-path arithmetic of the low-accuracy algorithm: e^x = 2^m * y.
[[gnu::always_inline]] inline double la_core(double x, int32_t* m) {
  uint32_t j;
  const double r = reduce(x, &j, m);
  const double* c = kTables.la_poly;  // c2..c5
  const double p = (((c[3] * r + c[2]) * r + c[1]) * r + c[0]) * r;
  const double q = r + p * r;
  const double s = kTables.one + q;
  return kTables.rows[j].th * s;
}

template <class T>
int exp_ha(T x_in, T* y) {
  if (const int code = screen(x_in, y); code != kMainPath) return code;
  const double x = x_in;
  int32_t m;
  double th, u;
  const double yv = ha_core(x, &th, &u, &m);
  if (x >= limits<T>().normal)
    store_scaled(yv, m, y);
  else
    ha_gradual_underflow(th, u, m, y);
  return kelStatusNoError;
}

inline int exp_la(double x, double* y) {
  if (const int code = screen(x, y); code != kMainPath) return code;
  int32_t m;
  const double yv = la_core(x, &m);
  if (x >= kTables.limits64.normal) {
    store_scaled(yv, m, y);
  } else {
    // y * 2^(m+60) is exact; the store rounds the product with 2^-60 once
    // into the subnormal range.
    *y = yv * scale_cell(static_cast<uint32_t>(m - 965)) * kTables.unscale;
  }
  return kelStatusNoError;
}

// The vector loop's main path: abs(x) in [2^-52, 708) for double elements,
// [2^-52, 87) for float ones, one unsigned comparison of the magnitude bits.
// Inside it the screen passes, x is above the normal-result limit and
// m + 1023 is at most 2044, so the result is one multiplication by the scale
// cell, exactly the normal-range branch of the full element.  Everything
// else (specials, thresholds, gradual underflow, k = 65536) takes the full
// element.
template <class T>
inline bool in_main_range(const T* p);
template <>
inline bool in_main_range(const double* p) {
  const uint32_t a = kel::frame::high_word_at(p) & 0x7FFFFFFF;
  return a - 0x3CB00000u < 0x40862000u - 0x3CB00000u;  // 0x1p-52 <= |x| < 708.0
}
template <>
inline bool in_main_range(const float* p) {
  const uint32_t a = kel::frame::word_at(p) & 0x7FFFFFFF;
  return a - 0x25800000u < 0x42AE0000u - 0x25800000u;  // 0x1p-52f <= |x| < 87.0f
}

// 2^m for the main path, where m + 1023 is a valid exponent field.
inline double main_scale(int32_t m) { return kel::double_from_bits(static_cast<uint64_t>(m + 1023) << 52); }

template <class T>
struct ExpHA {
  static bool main_path(const T* p) { return in_main_range(p); }
  [[gnu::always_inline]] static void main(T x, T* y) {
    int32_t m;
    double th, u;
    const double yv = ha_core(x, &th, &u, &m);
    *y = yv * main_scale(m);
  }
  static int element(T x, T* y) { return exp_ha(x, y); }
};

struct ExpLA {
  static bool main_path(const double* p) { return in_main_range(p); }
  [[gnu::always_inline]] static void main(double x, double* y) {
    int32_t m;
    const double yv = la_core(x, &m);
    *y = yv * main_scale(m);
  }
  static int element(double x, double* y) { return exp_la(x, y); }
};

using Exp32 = ExpHA<float>;
using Exp64HA = ExpHA<double>;
using Exp64LA = ExpLA;

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Exp, Exp32, Exp64LA, Exp64HA)

// Rounding family: Ceil, Floor, Trunc, Round, Rint, NearbyInt and Modf.
//
// Every result is an exact value, found on the IEEE bit pattern with integer
// operations: for 1 <= |x| < 2^M (M = 52 for double, 23 for float) the integral
// part is the pattern with its M - k lowest bits cleared, k being the unbiased
// exponent.  On i386 the double pattern is a pair of 32-bit words; the 64-bit
// mask below is the usual two-word split (k <= 20 clears the low word and masks
// the high word, k >= 21 masks the low word only).  Moving the integral part one
// step away from zero adds one unit at the units position to the pattern as an
// integer; a carry into the exponent field is the right result (1.5 truncates
// to 1.0, plus one unit is 2.0).
//
// No member applies the precision guard, and the caller's precision control
// may be 24 bits: an x87 addition or multiplication of a double would then
// round.  So no double result goes through x87 arithmetic: finite values beyond
// the masked range are copied, the Modf fraction is normalised from the
// pattern's tail, and only infinities and NaNs are multiplied by 1.0 (which
// quiets a signalling NaN).  The one x87 rounding step is the magic-number
// method of float Ceil and Floor, which is exact at every precision.
//
// Flags: no element raises inexact, except in Ceil and Floor of float, whose
// magic-number step (x + 1.5 * 2^23 stored to float) rounds by design.  Rint
// and NearbyInt raise inexact once per call, from the probe that measures the
// rounding direction.
#include "frame.h"

KEL_NAME_OBJECT

namespace {

// Sign-indexed constant pairs: entry 0 for a positive element, 1 for negative.
template <class T>
constexpr T kOnes[2] = {T(1.0), T(-1.0)};
template <class T>
constexpr T kZeros[2] = {T(0.0), T(-0.0)};
template <class T>
constexpr T kPlusOneMinusZero[2] = {T(1.0), T(-0.0)};  // Ceil of 0 < |x| < 1
template <class T>
constexpr T kPlusZeroMinusOne[2] = {T(0.0), T(-1.0)};  // Floor of 0 < |x| < 1
constexpr float kHalves[2] = {0.5f, -0.5f};
constexpr float kTwo23H = 0x1.8p23f;  // 1.5 * 2^23: x + kTwo23H has ulp 1 for |x| < 2^22
// Round of double: a zero pair, then a one pair.
constexpr double kRoundConsts[4] = {0.0, -0.0, 1.0, -1.0};

// Constants of the rounding-direction probe.
constexpr double kProbe[4] = {1.25, -0.5, -0.75, 0x1p52};

// Pattern layout: M is the fraction width F::kFractionBits.  A pattern
// magnitude a with a - F::kOne < kIntRange<T> is 1 <= |x| < 2^M, and
// k = (a - F::kOne) >> M.
template <class T>
using Fmt = kel::Format<T>;
template <class T>
using U = typename Fmt<T>::Bits;
template <class T>
constexpr U<T> kIntRange = U<T>(Fmt<T>::kFractionBits) << Fmt<T>::kFractionBits;  // bits(2^M) - bits(1.0)

// Stores a result pattern as an integer.  Copying an element through an x87
// load and store would be exact on the hardware (precision control does not
// apply to loads and stores), but an emulated x87 may round the load to the
// caller's precision; integer moves keep every pattern intact everywhere.
template <class T>
void put(T* y, U<T> b) {
  __builtin_memcpy(y, &b, sizeof b);
}

// The parts of an element's pattern that every member screens on.
template <class T>
struct Pattern {
  U<T> b;  // the whole pattern
  U<T> a;  // magnitude (sign cleared)
  int s;   // sign bit: index into the constant pairs
};

template <class T>
Pattern<T> pattern(const T& x) {
  U<T> b;
  __builtin_memcpy(&b, &x, sizeof b);
  return {b, b & ~Fmt<T>::kSignMask, int(b >> (8 * sizeof(T) - 1))};
}

// 1 <= |x| < 2^M.
template <class T>
bool in_masked_range(const Pattern<T>& p) {
  return p.a - Fmt<T>::kOne < kIntRange<T>;
}

template <class T>
int exponent(const Pattern<T>& p) {  // k, in the masked range
  return int((p.a - Fmt<T>::kOne) >> Fmt<T>::kFractionBits);
}

// Bits below the units position of an element in the masked range: the
// integral part is b & ~frac, one unit at the units position is frac + 1, and
// the half bit is (frac >> 1) + 1.
template <class T>
U<T> fraction_mask(const Pattern<T>& p) {
  return (U<T>(1) << (Fmt<T>::kFractionBits - exponent(p))) - 1;
}

// Elements at or beyond 2^M: finite values are copied; infinities and NaNs
// are multiplied by 1.0 in the x87 unit (the 1.0 hidden from the optimiser so
// that the product is not folded away), which quiets a signalling NaN.
template <class T>
void pass_through(const Pattern<T>& p, T x, T* y) {
  if (p.a < Fmt<T>::kInf)
    put(y, p.b);
  else
    *y = x * kel::opaque(kOnes<T>[0]);
}

// x * 1.0 with the product discarded: it only touches the status flags (a
// denormal operand).  Float members do this on the paths that otherwise read
// only the pattern of a small element.
template <class T>
void touch_flags(T x) {
  const long double p = x * kel::opaque(kOnes<T>[0]);
  asm volatile("" : : "f"(p));
}

// ---- Trunc ----------------------------------------------------------------

template <class T>
void trunc_element(const T& x, T* y) {
  const Pattern<T> p = pattern(x);
  if (in_masked_range(p))
    put(y, p.b & ~fraction_mask(p));
  else if (p.a < Fmt<T>::kOne)  // |x| < 1, zeros and denormals included
    *y = kZeros<T>[p.s];
  else  // |x| >= 2^M, Inf, NaN
    pass_through(p, x, y);
}

// ---- Ceil and Floor of double: one unit added to the truncated pattern ------

// Up is true for Ceil.  Ceil of a positive and Floor of a negative element
// with a fraction move the truncated pattern one unit away from zero.
template <bool Up>
void ceil_floor_double(const double& x, double* y) {
  using F = Fmt<double>;
  const Pattern<double> p = pattern(x);
  if (in_masked_range(p)) {
    const uint64_t frac = fraction_mask(p);
    uint64_t t = p.b & ~frac;
    if ((p.b & frac) != 0 && p.s == (Up ? 0 : 1)) t += frac + 1;
    put(y, t);
  } else if (p.a < F::kOne) {
    if (p.a == 0)
      put(y, p.b);
    else
      *y = Up ? kPlusOneMinusZero<double>[p.s] : kPlusZeroMinusOne<double>[p.s];
  } else {
    pass_through(p, x, y);
  }
}

// ---- Ceil and Floor of float: magic-number rounding --------------------------

// For 1 <= |x| < 2^22, t = x + 1.5 * 2^23 lies in [2^23, 2^24) where the ulp is
// 1, so storing t to a float rounds x to an integer in the caller's rounding
// direction (the sum itself is exact at 53 and 64 bits, and at 24 bits it is
// the same single rounding).  t - 1.5 * 2^23 is exact, and r is within 1 of x
// on the wrong side at most, which the comparison corrects: the result is
// right in every rounding direction.  In 2^22 <= |x| < 2^23 the only
// fractional bit weighs 0.5 and adding +-0.5 reaches the neighbour exactly.
template <bool Up>
void ceil_floor_float(const float& x, float* y) {
  const Pattern<float> p = pattern(x);
  const uint32_t e = p.a >> 23;
  if (e >= 150) {  // |x| >= 2^23, Inf, NaN
    pass_through(p, x, y);
  } else if (e == 149) {  // 2^22 <= |x| < 2^23
    *y = (p.b & 1) ? x + kHalves[Up ? 0 : 1] : x;
  } else if (e >= 127) {  // 1 <= |x| < 2^22
    const float t = kel::round_to<float>(x + kTwo23H);
    const float r = kel::round_to<float>(t - kTwo23H);
    if (Up)
      *y = r < x ? r + kOnes<float>[0] : r;
    else
      *y = r > x ? r + kOnes<float>[1] : r;
  } else if (p.a == 0) {
    put(y, p.b);
  } else {  // 0 < |x| < 1, denormals included
    touch_flags(x);
    *y = Up ? kPlusOneMinusZero<float>[p.s] : kPlusZeroMinusOne<float>[p.s];
  }
}

// ---- Round: halfway cases away from zero -------------------------------------

// Results below 1: +-1.0 and +-0.0 by the sign.
template <class T>
T round_one(int s) {
  if constexpr (sizeof(T) == 8)
    return kRoundConsts[2 + s];
  else
    return kOnes<T>[s];
}

template <class T>
T round_zero(int s) {
  if constexpr (sizeof(T) == 8)
    return kRoundConsts[s];
  else
    return kZeros<T>[s];
}

// The half bit is the first bit below the units position; when it is set the
// magnitude is at least n + 0.5 and goes one unit away from zero, whatever
// follows it.
template <class T>
void round_element(const T& x, T* y) {
  const Pattern<T> p = pattern(x);
  if (in_masked_range(p)) {
    const U<T> frac = fraction_mask(p);
    const U<T> t = p.b & ~frac;
    const U<T> half = (frac >> 1) + 1;
    put(y, (p.b & half) ? t + frac + 1 : t);
  } else if (p.a < Fmt<T>::kOne) {
    *y = p.a >= Fmt<T>::kHalf ? round_one<T>(p.s) : round_zero<T>(p.s);
  } else {
    pass_through(p, x, y);
  }
}

// ---- Modf ----------------------------------------------------------------

// The fraction x - trunc(x) of 1 <= |x| < 2^M is the tail of x's significand
// below the units position: with its leading bit at position j it is
// 2^(k - M + j) times 1.(the bits below j).  Always a normal number, at least
// 2^-M.  Found on the pattern, it is exact at any precision control.
template <class T>
U<T> fraction_of(const Pattern<T>& p, U<T> frac) {
  constexpr int kM = Fmt<T>::kFractionBits;
  const U<T> tail = p.b & frac;  // nonzero
  int j;
  if constexpr (sizeof(T) == 8)
    j = 63 - __builtin_clzll(tail);
  else
    j = 31 - __builtin_clz(tail);
  const U<T> biased = U<T>(exponent(p) - kM + j + Fmt<T>::kBias);
  const U<T> mantissa = (tail << (kM - j)) & ((U<T>(1) << kM) - 1);
  return (p.b & Fmt<T>::kSignMask) | (biased << kM) | mantissa;
}

// Integral part toward zero and fractional part, both with the sign of x.
template <class T>
void modf_element(const T& x, T* yi, T* yf) {
  const Pattern<T> p = pattern(x);
  if (in_masked_range(p)) {
    const U<T> frac = fraction_mask(p);
    if (p.b & frac) {
      put(yi, p.b & ~frac);
      put(yf, fraction_of(p, frac));
    } else {
      put(yi, p.b);
      *yf = kZeros<T>[p.s];
    }
  } else if (p.a < Fmt<T>::kOne) {
    *yi = kZeros<T>[p.s];
    put(yf, p.b);
  } else if (p.a > Fmt<T>::kInf) {  // NaN: quiet in both outputs
    *yi = x + x;
    *yf = x + x;
  } else {  // |x| >= 2^M, Inf
    put(yi, p.b);
    *yf = kZeros<T>[p.s];
  }
}

// ---- Rint and NearbyInt ------------------------------------------------------

// x87 rounding-control encoding.
enum Direction { kNearest = 0, kDownward = 1, kUpward = 2, kTowardZero = 3 };

// Measures the rounding direction instead of reading the rounding-control
// field.  With T = 2^52, r1 = (1.25 + T) - T, r2 = (-0.5 - T) + T and
// r3 = T + (-0.75 - T) each keep the rounding error of one addition at ulp 1;
// at 53-bit precision control s = r1 + r2 + r3 is 0 to nearest, -1 downward,
// 2 upward and 1 toward zero, and (-s) & 3 is the x87 encoding.  The
// arithmetic runs at the caller's precision control on purpose: at 64 bits
// every sum is exact, at 24 bits every r is a multiple of 4 or cancels, so both
// give 0 and the call rounds to nearest whatever the rounding field says.
// The additions are inexact at 53 bits: this is the one flag a call raises.
int rounding_direction() {
  const long double one_q = kel::opaque(kProbe[0]);
  const long double m_half = kel::opaque(kProbe[1]);
  const long double m_3q = kel::opaque(kProbe[2]);
  const long double two52 = kel::opaque(kProbe[3]);
  const long double r1 = (one_q + two52) - two52;
  const long double r2 = (m_half - two52) + two52;
  const long double r3 = two52 + (m_3q - two52);
  // The volatile store completes the sum before the control word changes.
  volatile long double s = (r1 + r2) + r3;
  const uint16_t saved = kel::control_word();
  kel::set_control_word(static_cast<uint16_t>(saved | kel::kRoundingMask));
  int32_t n;
  asm volatile("fldt %1\n\tfistpl %0" : "=m"(n) : "m"(s) : "st");
  kel::set_control_word(saved);
  return -n & 3;
}

// One element in a fixed direction, on the pattern alone.
template <class T, int Dir>
void rint_element(const T& x, T* y) {
  const Pattern<T> p = pattern(x);
  if (!in_masked_range(p)) {
    if (p.a >= Fmt<T>::kOne) {  // |x| >= 2^M, Inf, NaN
      pass_through(p, x, y);
      return;
    }
    // |x| < 1
    if constexpr (sizeof(T) == 4)
      if (Dir != kNearest || p.a < Fmt<T>::kHalf) touch_flags(x);
    if constexpr (Dir == kTowardZero) {
      *y = kZeros<T>[p.s];
    } else if constexpr (Dir == kUpward) {
      if (p.a == 0)
        put(y, p.b);
      else
        *y = kPlusOneMinusZero<T>[p.s];
    } else if constexpr (Dir == kDownward) {
      if (p.a == 0)
        put(y, p.b);
      else
        *y = kPlusZeroMinusOne<T>[p.s];
    } else {  // to nearest: exactly 0.5 ties to the even 0
      *y = p.a > Fmt<T>::kHalf ? kOnes<T>[p.s] : kZeros<T>[p.s];
    }
    return;
  }
  const U<T> frac = fraction_mask(p);
  const U<T> t = p.b & ~frac;
  bool away;  // one unit away from zero
  if constexpr (Dir == kTowardZero) {
    away = false;
  } else if constexpr (Dir == kUpward) {
    away = p.s == 0 && (p.b & frac) != 0;
  } else if constexpr (Dir == kDownward) {
    away = p.s == 1 && (p.b & frac) != 0;
  } else {
    // Half bit set and either a further fraction bit or an odd integral part.
    // For 1 <= |x| < 2 the units bit is the lowest exponent bit, which is 1,
    // so 1.5 goes to 2.
    const U<T> half = (frac >> 1) + 1;
    const U<T> unit = frac + 1;
    away = (p.b & half) != 0 && (p.b & (unit | (half - 1))) != 0;
  }
  put(y, away ? t + frac + 1 : t);
}

template <class T>
[[gnu::always_inline]] inline int rint_call(const T* src, T* dst, int len) {
  using kel::frame::unchecked_count;
  switch (rounding_direction()) {
    case kDownward:
      return unchecked_count<rint_element<T, kDownward>>(src, dst, len);
    case kUpward:
      return unchecked_count<rint_element<T, kUpward>>(src, dst, len);
    case kTowardZero:
      return unchecked_count<rint_element<T, kTowardZero>>(src, dst, len);
    default:
      return unchecked_count<rint_element<T, kNearest>>(src, dst, len);
  }
}

template <auto Kernel, class T>
KelStatus checked(const T* src, T* dst, int len) {
  return kel::frame::unary<kel::frame::kNoGuard, Kernel>(src, dst, len, unit_name);
}

}  // namespace

KEL_API KelStatus kelsCeil_64f(const double* src, double* dst, int len) {
  return checked<ceil_floor_double<true>>(src, dst, len);
}
KEL_API KelStatus kelsFloor_64f(const double* src, double* dst, int len) {
  return checked<ceil_floor_double<false>>(src, dst, len);
}
KEL_API KelStatus kelsCeil_32f(const float* src, float* dst, int len) {
  return checked<ceil_floor_float<true>>(src, dst, len);
}
KEL_API KelStatus kelsFloor_32f(const float* src, float* dst, int len) {
  return checked<ceil_floor_float<false>>(src, dst, len);
}
KEL_API KelStatus kelsTrunc_64f(const double* src, double* dst, int len) {
  return checked<trunc_element<double>>(src, dst, len);
}
KEL_API KelStatus kelsTrunc_32f(const float* src, float* dst, int len) {
  return checked<trunc_element<float>>(src, dst, len);
}
KEL_API KelStatus kelsRound_64f(const double* src, double* dst, int len) {
  return checked<round_element<double>>(src, dst, len);
}
KEL_API KelStatus kelsRound_32f(const float* src, float* dst, int len) {
  return checked<round_element<float>>(src, dst, len);
}
KEL_API KelStatus kelsModf_64f(const double* src, double* dstInt, double* dstFrac, int len) {
  return kel::frame::two_results<kel::frame::kNoGuard, modf_element<double>>(src, dstInt, dstFrac, len,
                                                                             unit_name);
}
KEL_API KelStatus kelsModf_32f(const float* src, float* dstInt, float* dstFrac, int len) {
  return kel::frame::two_results<kel::frame::kNoGuard, modf_element<float>>(src, dstInt, dstFrac, len,
                                                                            unit_name);
}

// Rint and NearbyInt are one function under two names.
KEL_API int kelsRint_64f(const double* src, double* dst, int len) { return rint_call(src, dst, len); }
KEL_API int kelsNearbyInt_64f(const double* src, double* dst, int len) { return rint_call(src, dst, len); }
KEL_API int kelsRint_32f(const float* src, float* dst, int len) { return rint_call(src, dst, len); }
KEL_API int kelsNearbyInt_32f(const float* src, float* dst, int len) { return rint_call(src, dst, len); }

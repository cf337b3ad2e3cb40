// Correct rounding of float results computed in extended precision.
//
// A float member evaluates its function in x87 extended precision and rounds
// once to float.  The rounding is the correct one unless the exact value and
// the 64-bit approximation lie on different sides of a float rounding
// boundary, the midpoint between two neighbouring floats.  The screen below
// measures the distance from the approximation to the nearest midpoint in
// units of the approximation's last bit (one integer test on the low
// significand bits); when that distance exceeds the evaluation's error bound
// in the same units, the 64-bit value settles the rounding.  Otherwise the
// member asks an accurate path for a double-length value, a pair hi + lo of
// long doubles (about 2^-110 relative), and rounds it with settle(): the only
// double-length value whose rounding hi alone gets wrong is one whose hi is
// itself a float midpoint, and there the sign of lo decides.
//
// The double-length helpers need 64-bit precision control and rounding to
// nearest.
#pragma once

#include <cstdint>

#include "fp.h"
#include "ld_trig.h"
#include "x87.h"

namespace kel::fr {

using kel::ld::DD;

// Biased exponent of the extended format at which float results become
// subnormal (2^-126), and the number of significand bits a normal float drops.
inline constexpr int kFloatMinNormalField = Ld::kBias - 126;
inline constexpr int kFloatDroppedBits = 40;

// Significand bits of v below the float rounding point: 40 for normal float
// values, more in the subnormal range, above 64 below 2^-150.
inline int dropped_bits(const LdBits& b) {
  const int e = Ld::biased_exponent(b);
  return e >= kFloatMinNormalField ? kFloatDroppedBits : kFloatDroppedBits + (kFloatMinNormalField - e);
}

inline uint64_t low_mask(int s) { return s >= 64 ? UINT64_MAX : (uint64_t{1} << s) - 1; }

// |v - nearest float midpoint| in units of v's last bit (2^(e-63) for
// 2^e <= |v| < 2^(e+1)), saturated at UINT64_MAX where no midpoint is near
// (zero, infinities, NaNs, values below 2^-151).  Overflow needs no special
// case: values beyond the largest float midpoint are far from any other.
inline uint64_t midpoint_distance(long double v) {
  const LdBits b = Ld::bits(v);
  if (Ld::biased_exponent(b) == 0x7FFF || b.mant == 0) return UINT64_MAX;
  const int s = dropped_bits(b);
  if (s > 65) return UINT64_MAX;
  if (s == 65) return 0 - b.mant;  // the midpoint 2^-150 lies above v, at 2^64 units
  const uint64_t half = uint64_t{1} << (s - 1);
  const uint64_t low = b.mant & low_mask(s);
  return low > half ? low - half : half - low;
}

// The float midpoint nearest to v, for v not below 2^-150.
inline long double nearest_midpoint(long double v) {
  LdBits b = Ld::bits(v);
  const int s = dropped_bits(b);
  b.mant = (b.mant & ~low_mask(s)) | uint64_t{1} << (s - 1);
  return __builtin_bit_cast(long double, b);
}

// True when v, within bound units of its last bit of the exact value, rounds
// to the same float as the exact value.  The test runs on v rounded to double
// (a store whose bits forward to an integer load, unlike an 80-bit store):
// with bound below 2^9 units, that double d lies within one double ulp of the
// exact value, so the rounding is settled unless the 29 bits a normal float
// drops from d are within one of 2^28 (one unsigned comparison).  Zeros and
// the subnormal float range go out of line to the exact distance.
[[gnu::noinline]] inline bool settles_tiny(long double v, uint64_t bound) { return midpoint_distance(v) > bound; }

template <uint64_t Bound>
inline bool settles(long double v) {
  static_assert(Bound < 512, "the double screen needs the error within half a double ulp");
  const uint64_t d = kel::bits_rounded_to_double(v);
  if (((d >> 52) & 0x7FF) < 1023 - 126) return settles_tiny(v, Bound);
  return (d & 0x1FFFFFFF) - 0x0FFFFFFF > 2;
}

// The neighbour of v one unit of its last bit towards the sign of dir.
inline long double nudge(long double v, long double dir) {
  LdBits b = Ld::bits(v);
  const bool away = (dir > 0) == ((b.se >> 15) == 0);
  if (away) {
    ++b.mant;  // a midpoint's significand is never all ones
  } else if (b.mant == Ld::kLeadingBit) {
    b.mant = UINT64_MAX;
    --b.se;
  } else {
    --b.mant;
  }
  return __builtin_bit_cast(long double, b);
}

// A long double that rounds to float as hi + lo does.
inline long double settle(DD v) {
  if (v.lo != 0 && midpoint_distance(v.hi) == 0) return nudge(v.hi, v.lo);
  return v.hi;
}

// Stores a fast path's value r of element x rounded to T.  A float r within
// Bound units of 2^-64 (its error bound) of a float rounding point goes to
// the member's general element instead, which rounds correctly on every float.
template <uint64_t Bound, class T, class Element>
inline void store_fast(long double r, T x, T* out, Element element) {
  if constexpr (sizeof(T) == 4) {
    if (!settles<Bound>(r)) [[unlikely]] {
      element(x, out);
      return;
    }
  }
  *out = round_to<T>(r);
}

// ---- Double-length arithmetic on long doubles (relative error about 2^-124
// per operation) ----

inline DD add(DD a, DD b) {
  const DD s = kel::ld::two_sum(a.hi, b.hi);
  return kel::ld::fast_two_sum(s.hi, s.lo + (a.lo + b.lo));
}

inline DD mul(DD a, DD b) {
  const DD p = kel::ld::two_prod(a.hi, b.hi);
  return kel::ld::fast_two_sum(p.hi, p.lo + (a.hi * b.lo + a.lo * b.hi));
}

inline DD div(DD a, DD b) {
  const long double q = a.hi / b.hi;
  const DD r = add(a, mul(b, DD{-q, 0.0L}));
  return kel::ld::fast_two_sum(q, r.hi / b.hi);
}

inline DD scale(DD a, long double two_power) { return {a.hi * two_power, a.lo * two_power}; }

// Double-length kernels (src/float_rounding.cpp).  Each is accurate to about
// 2^-110 relative on the arguments the float members pass.
DD exp_dd(DD t);              // e^t, |t| < 2^14
DD log_dd(long double x);     // ln x, x > 0 normal
DD atan_dd(long double a, long double b);  // atan(a / b), 0 < a <= b

}  // namespace kel::fr

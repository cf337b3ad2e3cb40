// Reciprocal square root, cube root, reciprocal cube root and hypotenuse.
//
// Every member computes in the x87 extended format and rounds once, when the
// element is stored: the whole call runs at 64-bit precision control
// (kExtendedRealGuard), so each intermediate carries a 64-bit significand and
// the 15-bit exponent range.  A final long-double value within a few 2^-64
// (relative) of the exact result gives a stored double within 0.5 + 2^-10 ulp
// and a stored float within 0.5 + 2^-39 ulp; floats and doubles share the
// kernels, and the A50 members share the A53 kernels.
//
// Reduction.  A float or double argument, subnormals included, is normal once
// widened to long double (the load normalises it), so x = m 2^e with m in
// [1, 2) is read from the extended fields without any pre-scaling.
//
//   1/sqrt x:  e = 2q + p (p = e & 1), m' = m 2^p in [1, 4), result
//              rsqrt(m') 2^-q.  The seed is the 11-bit square-root seed table
//              (error below 2^-8.7, indexed by p and the top eight fraction
//              bits); three Newton steps y += (y/2)(1 - m' y^2) take the
//              error to 2^-16.8, 2^-33 and then to the rounding level (the
//              error e becomes about 1.5 e^2 per step).
//   cbrt x:    e = 3q + r (r in {0, 1, 2}), m' = m 2^r in [1, 8).  The seed
//              y ~ m'^(-1/3) within 2^-10.5 comes from the generated table
//              (src/cbrt_data.cpp, indexed by r and the top eight fraction
//              bits); three steps y += (y/3)(1 - m' y^3) (error about 2 e^2
//              per step: 2^-20, 2^-39, then rounding level) give
//              1/cbrt(m') 2^-q; c = m' y^2 and one correction
//              c += (m' - c^3) y^2 / 3 give cbrt(m') 2^q to a few 2^-65.
//              The sign of x is put back last, so cbrt(-x) = -cbrt(x).
//   hypot:     s = a^2 + b^2 in long double, without scaling: the squares
//              of doubles lie within [2^-2148, 2^2048], deep inside the
//              extended range; a float square is exact and a double square
//              is rounded at 2^-64.  sqrt(s) by the x87 square root, correctly
//              rounded at 64-bit precision (exact when s is an exact square):
//              within 1.5 units of 2^-64 in all.  The store produces the
//              overflow (result +Inf, reported) and the subnormal rounding.
//
// Float hypotenuse.  A long-double value within kHypotErrorUnits of a float
// midpoint is settled exactly (settle_hypot), so every float member is
// correctly rounded.
//
// Exact results.  Perfect cubes and powers of two come out exact (a result
// representable in the format is within far less than half an ulp of the
// long-double value).  A subnormal hypotenuse that is exactly representable
// must not raise underflow, so its long-double value must be exact before the
// store.  The square root is exact when the sum of squares is a square (the
// case of every float), but the square of a 52-bit subnormal significand
// needs 104 bits and is rounded; exact_tiny_hypot recognises an exact double
// root by integer arithmetic and forms it exactly.
//
// Special elements (bit-pattern screens before any arithmetic):
//   1/sqrt: +-0 -> +-Inf with divide-by-zero and a singularity report;
//           x < 0 and -Inf -> NaN with invalid and a domain report;
//           +Inf -> +0.
//   1/cbrt: +-0 -> +-Inf, singularity report; +-Inf -> +-0.
//   cbrt:   +-0 and +-Inf returned unchanged.
//   hypot:  an infinite operand gives +Inf even when the other is a NaN
//           (a signalling one raises invalid);
//           hypot(x, +-0) = |x| exactly.
// NaN operands otherwise come out quiet through an addition (a signalling NaN
// raises invalid) and are never reported.

#include "cbrt_data.h"
#include "float_rounding.h"
#include "frame.h"
#include "fp.h"
#include "sqrt_data.h"

KEL_NAME_OBJECT

namespace {

// Smallest normal and smallest subnormal of the element's format.
template <class T>
struct Tiny {
  static constexpr bool kDouble = sizeof(T) == 8;
  static constexpr long double kMinNormal = kDouble ? 0x1p-1022L : 0x1p-126L;
  static constexpr long double kSubnormalUnit = kDouble ? 0x1p-1074L : 0x1p-149L;
  static constexpr long double kToSubnormalUnits = kDouble ? 0x1p1074L : 0x1p149L;
};

constexpr long double kThird = 1.0L / 3;

// Error bound of the hypotenuse before its final rounding, in units of the
// last bit of the long-double value: a few units (see above), with a margin.
constexpr uint64_t kHypotErrorUnits = 16;

// The default NaN (0/0), raising invalid.
inline long double invalid_nan() {
  const long double z = kel::opaque(0.0L);
  return z / z;
}

// A positive normal long double as m 2^e, m in [1, 2), with the top eight
// fraction bits of m (the seed index).
struct Reduced {
  long double m;
  int e;
  int top8;
};
inline Reduced reduce(long double x) {
  const kel::LdBits b = kel::Ld::bits(x);
  return {kel::Ld::make(b.mant, kel::Ld::kBias), kel::Ld::biased_exponent(b) - kel::Ld::kBias,
          static_cast<int>((b.mant >> 55) & 0xFF)};
}

inline long double pow2(int k) { return kel::Ld::pow2_field(k + kel::Ld::kBias); }

// 1/sqrt(mp) for mp = m 2^p in [1, 4), relative error a few 2^-65.
inline long double rsqrt_reduced(long double mp, int p, int top8) {
  long double y = kel::sqrt_data::kTables.seeds[p][top8];
  for (int i = 0; i < 3; ++i) {
    const long double r = 1.0L - mp * (y * y);
    y += (y * 0.5L) * r;
  }
  return y;
}

// |x| = mp 2^(3q) with mp in [1, 8) and y ~ mp^(-1/3) to a few 2^-65.
struct CubeReduced {
  long double mp, y;
  int q;
};
inline CubeReduced cube_reduce(long double ax) {
  const Reduced r = reduce(ax);
  // Floor division by 3 (e >= -1074; the offset keeps the dividend positive).
  const int q = (r.e + 3 * 1200) / 3 - 1200;
  const int rem = r.e - 3 * q;
  const long double mp = r.m * pow2(rem);
  long double y = kel::cbrt_data::kTables.seeds[rem][r.top8];
  for (int i = 0; i < 3; ++i) {
    const long double t = 1.0L - mp * ((y * y) * y);
    y += (y * kThird) * t;
  }
  return {mp, y, q};
}

template <class T>
int invsqrt_element(T x, T* y) {
  using F = kel::Format<T>;
  const typename F::Bits b = F::bits(x);
  if ((b & F::kInf) == F::kInf) {
    if (b == (F::kSignMask | F::kInf)) {
      *y = static_cast<T>(invalid_nan());
      return kelStatusDomain;
    }
    *y = (b == F::kInf) ? T(0) : x + x;  // +Inf -> +0; NaN quiet
    return kelStatusNoError;
  }
  if (kel::is_zero(x)) {
    *y = T(1) / x;  // +-Inf, divide-by-zero
    return kelStatusSingularity;
  }
  if (b & F::kSignMask) {
    *y = static_cast<T>(invalid_nan());
    return kelStatusDomain;
  }
  const Reduced r = reduce(x);
  const int p = r.e & 1;
  const long double mp = r.m * pow2(p);
  *y = static_cast<T>(rsqrt_reduced(mp, p, r.top8) * pow2(-(r.e - p) / 2));
  return kelStatusNoError;
}

// Cube root (Inverse = false) or its reciprocal (Inverse = true).
template <class T, bool Inverse>
int cbrt_element(T x, T* y) {
  using F = kel::Format<T>;
  const typename F::Bits b = F::bits(x);
  if ((b & F::kInf) == F::kInf) {
    // +-Inf -> +-Inf or +-0 (1/Inf is exact); NaN quiet
    *y = (Inverse && (b & ~F::kSignMask) == F::kInf) ? T(1) / x : x + x;
    return kelStatusNoError;
  }
  if (kel::is_zero(x)) {
    if (!Inverse) {
      *y = x;
      return kelStatusNoError;
    }
    *y = T(1) / x;
    return kelStatusSingularity;
  }
  const CubeReduced c = cube_reduce(F::from_bits(b & ~F::kSignMask));
  long double v;
  if (Inverse) {
    v = c.y * pow2(-c.q);
  } else {
    const long double y2 = c.y * c.y;
    long double g = c.mp * y2;
    g += ((c.mp - (g * g) * g) * y2) * kThird;
    v = g * pow2(c.q);
  }
  *y = static_cast<T>((b & F::kSignMask) ? -v : v);
  return kelStatusNoError;
}

// v approximates sqrt(a^2 + b^2) below the smallest normal of T, where a and
// b are multiples of the smallest subnormal u: a = A u, b = B u.  If A^2 + B^2
// is the square of an integer N, returns N u exactly (its store is exact and
// raises no underflow); otherwise returns v.  N is the integer nearest to
// v/u (v/u < 2^53 is off the root by far less than 1/4), so |N^2 - A^2 - B^2|
// < 2^64 and the equality can be tested modulo 2^64.
template <class T>
long double exact_tiny_hypot(long double v, typename kel::Format<T>::Bits ba, typename kel::Format<T>::Bits bb) {
  // Below twice the smallest normal the bit pattern of |a| is A itself
  // (subnormal: the fraction; exponent field 1: 2^52 or 2^23 plus it).
  const uint64_t ia = ba, ib = bb;
  // Adding 2^63 at 64-bit precision rounds v/u to an integer: the fraction
  // bits of the sum are that integer plus 2^63.
  const long double shifted = v * Tiny<T>::kToSubnormalUnits + 0x1p63L;
  const uint64_t n = kel::Ld::bits(shifted).mant - kel::Ld::kLeadingBit;
  if (ia * ia + ib * ib != n * n) return v;
  return (shifted - 0x1p63L) * Tiny<T>::kSubnormalUnit;
}

// The float hypotenuse next to a float midpoint M (the screen found v within
// kHypotErrorUnits of it) is decided exactly: a^2 and b^2 are exact (48-bit
// squares), their sum is an exact pair S, M^2 (at most 50 bits) is exact and
// M^2 - S_hi is exact by Sterbenz, so the sign of (M^2 - S_hi) - S_lo is the
// sign of M - hypot(a, b).  Zero means hypot(a, b) = M, a tie.
[[gnu::noinline]] long double settle_hypot(long double v, long double a, long double b) {
  const kel::ld::DD s = kel::ld::two_sum(a * a, b * b);
  const long double m = kel::fr::nearest_midpoint(v);
  return kel::fr::settle({m, -((m * m - s.hi) - s.lo)});
}

template <class T>
int hypot_element(T a, T b, T* y) {
  using F = kel::Format<T>;
  const typename F::Bits ba = F::bits(a) & ~F::kSignMask, bb = F::bits(b) & ~F::kSignMask;
  if (ba == F::kInf || bb == F::kInf) {
    // A signalling NaN beside the infinity still raises invalid (through the
    // sum with it; a quiet NaN raises nothing), as on every other path.
    if (ba > F::kInf || bb > F::kInf) kel::raise_by_store<T>(a + b);
    *y = F::from_bits(F::kInf);
    return kelStatusNoError;
  }
  if (ba > F::kInf || bb > F::kInf) {
    *y = a + b;  // quiet NaN
    return kelStatusNoError;
  }
  if (ba == 0 || bb == 0) {
    *y = F::from_bits(ba | bb);
    return kelStatusNoError;
  }
  const long double la = F::from_bits(ba), lb = F::from_bits(bb);
  long double v = kel::sqrt_x87(la * la + lb * lb);
  if constexpr (sizeof(T) == 8) {
    if (v < Tiny<T>::kMinNormal) v = exact_tiny_hypot<T>(v, ba, bb);
  } else {
    if (!kel::fr::settles<kHypotErrorUnits>(v)) v = settle_hypot(v, la, lb);
  }
  const T out = kel::round_to<T>(v);
  *y = out;
  return F::bits(out) == F::kInf ? kelStatusOverflow : kelStatusNoError;
}

}  // namespace

KEL_REAL_FAMILY(UNARY, kExtendedRealGuard, InvSqrt,
                invsqrt_element<float>, invsqrt_element<double>, invsqrt_element<double>)
KEL_REAL_FAMILY(UNARY, kExtendedRealGuard, Cbrt,
                (cbrt_element<float, false>), (cbrt_element<double, false>), (cbrt_element<double, false>))
KEL_REAL_FAMILY(UNARY, kExtendedRealGuard, InvCbrt,
                (cbrt_element<float, true>), (cbrt_element<double, true>), (cbrt_element<double, true>))
KEL_REAL_FAMILY(BINARY, kExtendedRealGuard, Hypot, hypot_element<float>, hypot_element<double>, hypot_element<double>)

// Circular functions of angles in degrees: orxsindl_scalar, orxcosdl_scalar,
// orxatan2dl_scalar, and the double-length sine and cosine of kel::pw that
// the complex power assembles its angle from.
//
// Sine and cosine.  An angle d (head + tail) is reduced exactly in degrees:
// the head modulo 360 (a shifter quotient below 2^62, integer arithmetic on
// the significand above), then modulo 90 to r in [-45, 45] and a quadrant.
// Both steps are exact: the remainders are multiples of the head's ulp and fit
// its significand.  Only then is r + tail turned into radians, times pi/180 as
// a 128-bit constant with a Dekker product, and the radian kernels evaluate
// it with a first-order correction for the low part.  So multiples of 90 give
// exact zeros and ones, and the error is that of sincosl plus about 2^-66:
// measured below 1 ulp of the 64-bit significand.  A zero sine has the sign
// of the angle and a zero cosine is +0, as for sin(pi x) and cos(pi x).
//
// Arctangent.  Exact where the angle is a multiple of 45 degrees (an axis or
// |y| = |x|); otherwise atan2l times 180/pi in double length, rounded once
// (measured below 1.4 ulp).  For x > 0 and |y/x| < 2^-40 the result is
// (180/pi) y / x with y scaled by 2^128, so that a tiny result keeps its bits
// until the scaling back.
//
// All arithmetic assumes the caller's 64-bit precision, rounding to nearest.
#include "api.h"
#include "powl.h"
#include "x87.h"

namespace {

using kel::ld::DD;
using kel::Ld;
using kel::LdBits;

constexpr long double kShifter = 0x1.8p63L;  // 1.5 * 2^63: adding it rounds to an integer
using kel::pw::k180OverPi;
using kel::pw::kPiOver180;

inline long double negate_if(long double v, bool neg) { return neg ? -v : v; }

// 2^e mod 45 for e >= 0.
inline uint32_t pow2_mod45(uint32_t e) {
  uint32_t r = 1, b = 2;
  for (; e != 0; e >>= 1) {
    if (e & 1) r = r * b % 45;
    b = b * b % 45;
  }
  return r;
}

// hi modulo 360, exactly, in [-180, 180] (sign of hi kept for a zero).
long double reduce_360(long double hi) {
  const LdBits f = Ld::bits(hi);
  const int e = static_cast<int>(f.se & Ld::kExponentMask) - 16383;
  if (e < 62) {
    const long double n = (hi * (1.0L / 360) + kShifter) - kShifter;
    return hi - n * 360;  // n * 360 < 2^63 has at most 60 bits; the difference is exact
  }
  // |hi| = M 2^E with a 64-bit integer M and E = e - 63 >= -1.
  const int big_e = e - 63;
  uint64_t r;  // |hi| mod 360, in units of 2^min(E, 0)
  long double unit = 1;
  if (big_e < 0) {
    r = f.mant % 720;
    unit = 0.5L;
  } else if (big_e <= 3) {
    r = ((f.mant % 360) << big_e) % 360;
  } else {
    r = 8 * ((f.mant % 45) * pow2_mod45(static_cast<uint32_t>(big_e - 3)) % 45);
  }
  long double m = static_cast<long double>(r) * unit;
  if (m > 180) m -= 360;
  return negate_if(m, (f.se >> 15) != 0);
}

}  // namespace

namespace kel::pw {

void sincos_dd(DD r, long double* sine, long double* cosine) {
  long double s, c;
  orxsincosl_scalar(r.hi, &s, &c);
  if (__builtin_fabsl(r.lo) < 0x1p-32L) {  // second-order term below 2^-65
    *sine = s + r.lo * c;
    *cosine = c - r.lo * s;
    return;
  }
  // A huge angle: its low part is itself a large angle.
  long double sl, cl;
  orxsincosl_scalar(r.lo, &sl, &cl);
  *sine = s * cl + c * sl;
  *cosine = c * cl - s * sl;
}

DD reduce_degrees(DD d, uint32_t* quadrant) {
  // Both parts are reduced (the low part of a huge angle is large); their
  // sum is within 360 of zero and its rounding error is kept.  The quotients
  // need only be near the nearest integers: the remainders are exact anyway.
  const long double lo = __builtin_fabsl(d.lo) < 180 ? d.lo : reduce_360(d.lo);
  const DD m = ld::two_sum(reduce_360(d.hi), lo);
  const long double sh = m.hi * (1.0L / 90) + kShifter;
  *quadrant = static_cast<uint32_t>(Ld::bits(sh).mant) & 3;
  const long double r = m.hi - (sh - kShifter) * 90;  // exact, |r| <= 45 (or a little more)
  const DD rr = ld::two_sum(r, m.lo);
  const DD p = ld::two_prod(rr.hi, kPiOver180.hi);
  return {p.hi, p.lo + (rr.hi * kPiOver180.lo + rr.lo * kPiOver180.hi)};
}

void rotate_quadrant(uint32_t q, long double s, long double c, long double* sine, long double* cosine) {
  switch (q & 3) {
    case 0: *sine = s, *cosine = c; break;
    case 1: *sine = c, *cosine = -s; break;
    case 2: *sine = -s, *cosine = -c; break;
    default: *sine = -c, *cosine = s; break;
  }
}

void sincos_degrees(DD d, long double* sine, long double* cosine) {
  uint32_t q;
  long double s, c;
  sincos_dd(reduce_degrees(d, &q), &s, &c);
  rotate_quadrant(q, s, c, sine, cosine);
  if (*sine == 0) *sine = negate_if(0.0L, (Ld::bits(d.hi).se >> 15) != 0);
  if (*cosine == 0) *cosine = 0.0L;
}

}  // namespace kel::pw

namespace {

// NaNs, infinities and the invalid unnormal encodings: x * 0 gives a NaN
// (quiet, invalid raised for an infinity or an invalid encoding).
inline bool not_finite(LdBits f) { return (f.se & Ld::kExponentMask) == Ld::kExponentMask || Ld::is_unnormal(f); }

long double degrees_of(long double x, bool sine) {
  if (not_finite(Ld::bits(x))) return x * kel::opaque(0.0L);
  long double s, c;
  kel::pw::sincos_degrees({x, 0.0L}, &s, &c);
  return sine ? s : c;
}

}  // namespace

KEL_API long double orxsindl_scalar(long double x) { return degrees_of(x, true); }
KEL_API long double orxcosdl_scalar(long double x) { return degrees_of(x, false); }

KEL_API long double orxatan2dl_scalar(long double y, long double x) {
  const LdBits fy = Ld::bits(y), fx = Ld::bits(x);
  const uint32_t ey = fy.se & Ld::kExponentMask, ex = fx.se & Ld::kExponentMask;
  const bool yneg = (fy.se >> 15) != 0, xneg = (fx.se >> 15) != 0;
  constexpr uint64_t kInfMant = uint64_t{1} << 63;
  if ((ey == Ld::kExponentMask && fy.mant != kInfMant) || (ex == Ld::kExponentMask && fx.mant != kInfMant) ||
      Ld::is_unnormal(fy) || Ld::is_unnormal(fx))
    return x + y;  // NaNs propagate; invalid encodings give the default NaN
  // The multiples of 45 degrees: the axes, the diagonals, the infinities.
  if (fy.mant == 0 && ey == 0) return xneg ? negate_if(180.0L, yneg) : y;
  if (fx.mant == 0 && ex == 0) return negate_if(90.0L, yneg);
  if (ey == ex && fy.mant == fx.mant) return negate_if(xneg ? 135.0L : 45.0L, yneg);
  if (ey == Ld::kExponentMask) return negate_if(90.0L, yneg);
  if (ex == Ld::kExponentMask) return xneg ? negate_if(180.0L, yneg) : negate_if(0.0L, yneg);
  if (!xneg && ex > ey + 41) {
    // |y/x| < 2^-40: atan2 = y/x (1 - (y/x)^2/3 ...) with a relative error
    // below 2^-80; the scaling keeps a tiny quotient out of the subnormals
    // until the last multiplication.
    if (ey > 32000) return k180OverPi.hi * (y / x);
    return ((y * 0x1p128L) * k180OverPi.hi / x) * 0x1p-128L;
  }
  const long double a = orxatan2l_scalar(y, x);
  const DD p = kel::ld::two_prod(a, k180OverPi.hi);
  return p.hi + (p.lo + a * k180OverPi.lo);
}

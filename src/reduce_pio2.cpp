// orxreduce_pio2d: x = q*pi/2 + r[0] + r[1] (mod 2*pi) for finite x with
// abs(x) at least 12800, the lowest limit of its callers.
//
// Both paths find n, the integer part of a*4/pi (a = abs(x)), round it up to
// the even integer k, and return (k/2) mod 4 as the quadrant and
// (a*4/pi - k)*pi/4 as the reduced argument, signed like x.
//
// Medium path, a < 2^30: n = floor(fl(a*4/pi)) from the pattern of the
// product (a product that rounds across an integer only moves k to the
// neighbouring even integer, leaving the reduced argument an ulp beyond
// pi/4), then a - k*pi/4 with pi/4 in four pieces (27-bit leading piece,
// k < 2^24, below 2^23) or five pieces (20-bit leading piece, k < 2^31): every
// product with k is exact and the leading differences are error-free.  The
// last piece leaves about 2^-140 of pi/4, so the absolute error is at most
// about 2^-116 for the largest k; on the doubles nearest to multiples of pi/2
// (reduced arguments down to 2^-57 in this range) that is 2^-59 relative.
//
// Large path, a >= 2^30: a*4/pi is summed from exact products of the two
// halves of a (26 and 27 bits, a scaled by 2^-200) with nine 25-bit pieces of
// 4/pi (scaled by 2^200) starting at T[j]; the pieces before T[j] contribute
// multiples of 8 only, and multiples of 8 are also cut from the leading sum
// (mask of its lowest m bits), so that the quadrant is exact and the running
// sums stay below 2^17.  The fraction is accumulated with error-free sums
// (integer part removed first) and the rounding errors form its low part; the
// pieces reach 2^-144 absolute in units of pi/4, enough for the 62 bits of
// cancellation of the worst double near a multiple of pi/2 plus 53 bits of
// result.  The fraction is then split and multiplied by pi/4 in two pieces
// (pi/4 to 2^-78 relative).
//
// Every step relies on 53-bit precision control with round-to-nearest (all
// callers run under it): each x87 result is then rounded to a double
// significand, which the error-free transformations need, and no intermediate
// leaves the double exponent range, so the register values equal their
// rounded doubles.  Measured error of r[0] + r[1] against a 4000-bit
// reduction (tests/reduce_pio2_test.cpp): large path below 2^-75 relative on
// every argument tried, the continued-fraction worst cases of every binade
// included; medium path 2^-59 on its worst cases, 2^-87 elsewhere.
#include "api.h"
#include "reduce_pio2.h"
#include "reduce_pio2_data.h"

namespace kel::reduce {
namespace {

using F = Format<double>;


// s + err = a + b exactly, without an ordering condition (Knuth).
inline void two_sum(double a, double b, double& s, double& err) {
  s = a + b;
  const double bb = s - a;
  err = (a - (s - bb)) + (b - bb);
}

inline int quadrant(uint32_t s, uint32_t n) {
  return static_cast<int>((static_cast<uint32_t>(1 - 2 * static_cast<int>(s)) * ((n + 1) >> 1)) & 3);
}

// abs(x) < 2^30 (biased exponent e below 1053).
int medium(double a, int e, double sgn, uint32_t s, double* r) {
  using reduce_data::kTables;
  // n = floor(a*4/pi) from the pattern of y: the implicit bit and the top 31
  // fraction bits, shifted right by 31 - (e_y - 1023).
  const double y = a * kTables.four_over_pi;
  const uint64_t yb = bits(y);
  const uint32_t top = 0x80000000u | static_cast<uint32_t>((yb >> 21) & 0x7FFFFFFF);
  const uint32_t n = top >> ((30 - F::exponent_field(yb)) & 31);
  const double k = static_cast<double>(static_cast<int32_t>(n + (n & 1)));

  double hi, lo;
  if (e >= 1046) {  // a >= 2^23: five pieces, the first 20 bits wide
    const double* c = kTables.pio4_5;
    const double t0 = a - c[0] * k;
    const double b = c[1] * k;
    const double t1 = t0 - b;
    const double e1 = (t0 - t1) - b;
    const double u = c[2] * k;
    const double t2 = t1 - u;
    const double e2 = e1 + ((t1 - t2) - u);
    const double t3 = t2 + e2;
    const double e3 = e2 + (t2 - t3);
    const double d = c[3] * k;
    hi = t3 - d;
    lo = e3 + ((t3 - (t3 - d)) - d);
    lo = lo - c[4] * k;
  } else {  // four pieces, the first 27 bits wide
    const double* c = kTables.pio4_4;
    const double t0 = a - c[0] * k;
    const double b = c[1] * k;
    const double t1 = t0 - b;
    const double e1 = (t0 - t1) - b;
    const double u = c[2] * k;
    hi = t1 - u;
    lo = e1 + ((t1 - (t1 - u)) - u);
    lo = lo - c[3] * k;
  }
  const double h = hi * sgn, l = lo * sgn;
  const double r0 = l + h;
  r[0] = r0;
  r[1] = l + (h - r0);
  return quadrant(s, n);
}

// abs(x) >= 2^30.
int large(uint64_t ab, int e, double sgn, uint32_t s, double* r) {
  using reduce_data::kTables;
  // a * 2^-200, split into 26 + 27 bits: every product with a 25-bit piece
  // of 4/pi is exact.
  const uint64_t sb = ab - (uint64_t(200) << 52);
  const double xs = double_from_bits(sb);
  const double xh = double_from_bits(sb & ~((uint64_t(1) << 27) - 1));
  const double xl = xs - xh;

  // First piece: j = floor((e - 1052)/25), one less at exact multiples of 25.
  const int j = ((e - 1052) * 83886) >> 21;
  const double* t = kTables.pieces + j;

  // Leading sum; xh*T[j] is a multiple of 8 and left out.
  const double A = xl * t[0], B = xh * t[1];
  const double s1 = A + B;
  const double e1 = B + (A - s1);
  const double S = s1 + e1;
  // Cut the multiples of 2^(15 or 16) (all multiples of 8) from the leading sum.
  const int m = 1090 - e + 25 * j;
  const double S8 = double_from_bits(bits(S) & (~uint64_t(0) << m));
  const double D = s1 - S8;

  // Next terms with error-free sums, enough of them for the integer part.
  const double P = xl * t[1];
  const double u = D + P;
  const double Q = xh * t[2];
  const double v = u + Q;
  const double w = (e1 + (P + (D - u))) + (Q + (u - v));
  const double R = xl * t[2];
  const double X3 = xh * t[3];
  const double S2 = ((v + w) + R) + X3;

  // n = floor(S2) (S2 is positive and below 2^17) and I = n as a double.
  const uint64_t s2b = bits(S2);
  const int shift = 1075 - F::exponent_field(s2b);
  uint32_t n = 0;
  double I = 0.0;
  if (shift <= 52) {
    n = static_cast<uint32_t>(((s2b & F::kFractionMask) | (uint64_t(1) << 52)) >> shift);
    I = double_from_bits(s2b & (~uint64_t(0) << shift));
  }

  // Fraction relative to the even integer at or above n, in [-1, 1), with
  // every rounding error since the leading sum kept in lo.
  double F, lo, err;
  const double f1 = v - I;  // exact
  two_sum(f1, w, F, lo);
  two_sum(F, kTables.parity[n & 1], F, err);
  lo += err;
  // The last three pairs enter one product at a time rather than as rounded
  // pair sums: that keeps their rounding errors too (2^-124 absolute
  // otherwise, 2^-63 relative on the worst arguments near multiples of pi/2).
  const double terms[12] = {R,         X3,        xl * t[3], xh * t[4], xl * t[4], xh * t[5],
                            xl * t[5], xh * t[6], xl * t[6], xh * t[7], xl * t[7], xh * t[8]};
  for (double term : terms) {
    two_sum(F, term, F, err);
    lo += err;
  }

  // F + lo times pi/4: Fh (about 27 bits) times the 23-bit high part of pi/4
  // is exact.
  const double g = F * kTables.split;
  const double Fh = (F + g) - g;
  const double Fl = (F - Fh) + lo;
  const double P1 = Fh * kTables.pio4_2[0];
  const double P2 = kTables.pio4_2[0] * Fl + (Fh + Fl) * kTables.pio4_2[1];
  const double h = P1 + P2;
  const double l = P2 + (P1 - h);
  r[0] = h * sgn;
  r[1] = l * sgn;
  return quadrant(s, n);
}

}  // namespace
}  // namespace kel::reduce

int kel::reduce::reduce_pio2d(double x, double* r) {
  const uint64_t xb = bits(x);
  const uint32_t s = static_cast<uint32_t>(xb >> 63);
  const uint64_t ab = xb & ~F::kSignMask;
  const int e = F::exponent_field(xb);
  const double sgn = reduce_data::kTables.sign[s];
  if (e < 1053)  // abs(x) < 2^30
    return medium(double_from_bits(ab), e, sgn, s, r);
  return large(ab, e, sgn, s, r);
}

KEL_API int orxreduce_pio2d(double x, double* r) { return kel::reduce::reduce_pio2d(x, r); }

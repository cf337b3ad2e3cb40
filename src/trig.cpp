// Sine, cosine, sine-and-cosine and tangent of real arrays.
//
// One algorithm per function serves all five members (float members widen
// to double, compute under the 53-bit guard and round once on the store) and
// the single-element entry points (trig_sc.cpp).
//
// Screen, on the bit pattern: infinity -> x*0.0 (NaN, invalid; the member
// reports a domain error), NaN -> x*x (quiet, no report), abs(x) < 2^-252 ->
// the limits x (sine, tangent) and 1 - x (cosine), computed so that a nonzero
// argument raises inexact and zero keeps its sign.  Nothing else is reported:
// no result overflows, and no double is a pole of the tangent.
//
// Sine and cosine: abs(x) >= 2^17 is first reduced modulo pi/2 by
// orxreduce_pio2d (x = q*pi/2 + r + rl); then N = nearest integer to
// r*32/pi, the row j = (16q + N) mod 64 (cosine: j + 16, since
// cos(x) = sin(x + pi/2)) and r - N*pi/32 = r2 + e with pi/32 in three pieces
// (31 + 32 + 53 bits: N*piece exact for N < 2^21, the leading difference
// exact, e the rounding error of the second).  With S = sin(Tj) = Shi + Slo,
// C = cos(Tj) = Chi + Clo (Chi a power of two) and the Taylor polynomials
// sin(r2) = r2 + r2*ps, cos(r2) = 1 + pc (degree 9 and 8, below 2^-66 for
// abs(r2) <= pi/64):
//   sin(Tj + r2 + e) = Shi + Chi*r2 + Clo*r2
//                      + [Slo + C*r2*ps + Shi*pc + e*(C - S*r2)]
// the leading part added with two error-free sums (Chi*r2 is exact,
// abs(Shi) >= abs(Chi*r2) except where Shi = 0, abs(Shi + Chi*r2) >=
// abs(Clo*r2)), their errors joining the small bracket, which is added last.
// The medium reduction leaves about 2^-105 absolute (N*pi/32 to 2^-126 for
// N < 2^21), which shows only next to the zeros: measured max error 0.53 ulp
// (sine), 0.60 ulp (cosine, at a result of 2^-52 near 91240), and 0.50 ulp for
// the float members (the double result rounded once more), over several
// million arguments from 2^-1074 to DBL_MAX.
#include "trig.h"

#include "frame.h"
#include "reduce_pio2.h"
#include "trig_data.h"

KEL_NAME_OBJECT

namespace kel::trig {
namespace {


using trig_data::SinCosTables;
using trig_data::TanRow;

struct SinCosArg {
  double r2, e;  // reduced argument r2 + e, abs(r2) <= pi/64 (plus rounding)
  double ps, pc; // sin(r2) = r2 + r2*ps, cos(r2) = 1 + pc
  int m;         // 16q + N: the row of the sine
};

// The medium reduction of r + rl (abs below 2^17), with q quadrants already
// taken out by the large reduction.
[[gnu::always_inline]] inline SinCosArg reduce_medium(double r, double rl, int q, const SinCosTables& tab) {
  // N = nearest integer to r*32/pi: the 1.5*2^52 shifter leaves it in the
  // low bits of the pattern of z (abs(N) < 2^21).
  const double z = r * tab.inv_pio32 + tab.shifter;
  const int n = static_cast<int>(static_cast<uint32_t>(bits(z)));
  const double nd = z - tab.shifter;
  const double r1 = r - nd * tab.pio32[0];  // exact
  const double p2 = nd * tab.pio32[1];     // exact
  SinCosArg a;
  a.r2 = r1 - p2;
  const double e2 = (r1 - a.r2) - p2;
  a.e = (e2 - nd * tab.pio32[2]) + rl;
  const double z2 = a.r2 * a.r2;
  const double* s = tab.sin_poly;
  const double* c = tab.cos_poly;
  a.ps = z2 * (s[0] + z2 * (s[1] + z2 * (s[2] + z2 * s[3])));
  a.pc = z2 * (c[0] + z2 * (c[1] + z2 * (c[2] + z2 * c[3])));
  a.m = 16 * q + n;
  return a;
}

SinCosArg reduce_sincos(double x, const SinCosTables& tab) {
  double r = x, rl = 0.0;
  int q = 0;
  if (Format<double>::biased_exponent(x) >= 1040) {  // abs(x) >= 2^17
    double rr[2];
    q = reduce::reduce_pio2d(x, rr);
    r = rr[0];
    rl = rr[1];
  }
  return reduce_medium(r, rl, q, tab);
}

// sin(Tj + r2 + e) from row j.
[[gnu::always_inline]] inline double sin_row(const SinCosTables& tab, int j, const SinCosArg& a) {
  const trig_data::SinCosRow& row = tab.rows[j];
  const double clo = row.clo, shi = row.shi, slo = row.slo, chi = row.chi;
  const double A = chi * a.r2;  // exact: chi is a power of two
  const double h1 = shi + A;
  const double B = clo * a.r2;
  const double h2 = h1 + B;
  const double err = ((shi - h1) + A) + ((h1 - h2) + B);
  const double cj = chi + clo;
  const double small =
      slo + (cj * a.r2) * a.ps + shi * a.pc + a.e * (cj - shi * a.r2) + err;
  return h2 + small;
}

}  // namespace

double _dSin(double x) {
  const SinCosTables& tab = trig_data::kTables.sincos;
  const int e = Format<double>::biased_exponent(x);
  if (e == 0x7FF) return is_inf(x) ? x * tab.zero : x * x;
  if (e < 771) {  // abs(x) < 2^-252: x, inexact unless zero
    if (is_zero(x)) return x;
    return (x * tab.two55 - x) * tab.two_m55;
  }
  const SinCosArg a = reduce_sincos(x, tab);
  return sin_row(tab, a.m & 63, a);
}

double _dCos(double x) {
  const SinCosTables& tab = trig_data::kTables.sincos;
  const int e = Format<double>::biased_exponent(x);
  if (e == 0x7FF) return is_inf(x) ? x * tab.zero : x * x;
  if (e < 771) {  // 1 - x rounds to 1, inexact unless zero
    if (is_zero(x)) return tab.one;
    return tab.one - x;
  }
  const SinCosArg a = reduce_sincos(x, tab);
  return sin_row(tab, (a.m + 16) & 63, a);
}

void _dSinCos(double x, double* sine, double* cosine) {
  const SinCosTables& tab = trig_data::kTables.sincos;
  const int e = Format<double>::biased_exponent(x);
  if (e == 0x7FF) {
    const double v = is_inf(x) ? x * tab.zero : x * x;
    *sine = v;
    *cosine = v;
    return;
  }
  if (e < 771) {
    if (is_zero(x)) {
      *sine = x;
      *cosine = tab.one;
    } else {
      *sine = (x * tab.two55 - x) * tab.two_m55;
      *cosine = tab.one - x;
    }
    return;
  }
  const SinCosArg a = reduce_sincos(x, tab);
  *sine = sin_row(tab, a.m & 63, a);
  *cosine = sin_row(tab, (a.m + 16) & 63, a);
}

// Tangent.
//
// Reduction: abs(x) >= 12800 goes through orxreduce_pio2d first (the medium
// reduction would need N up to 2^20 with pieces of pi/32 short enough for
// that); then N = nearest integer to r*32/pi and the row j = (16q + N) mod 32
// of Tj = j*pi/32 (tangent has period pi).  The reduced argument r2 + e =
// r - N'*pi/32 (N' below) uses the first split of pi/32 (39-bit pieces, exact
// products for abs(N') < 2^14) when it can, otherwise the second (35-bit
// pieces, abs(N') < 2^18 covers abs(x) < 12800).
//
// Row combination, with t = tan(Tj) = t_hi + t_lo and s = 1 + t^2 =
// s_hi + s_lo (s_hi the power of two nearest s, so that s_hi*r2 is exact):
//   tan(Tj + r) = t + s*r + P_j(r),
// P_j(r) = c2 r^2 + ... + c15 r^15 a fit of tan(Tj + r) - t - s*r over
// abs(r) <= pi/64 (Chebyshev interpolation; its error is largest in rows 12
// and 20, whose pole lies 4*pi/32 away: about 2^-62 relative).  It is
// evaluated as z*(E(z) + r2*O(z)), z = r2^2, with the two chains of the row
// (even positions: c2, c4, ..., c14; odd: c3, ..., c15).  As for sine, the
// leading t_hi + s_hi*r2 + s_lo*r2 is added with two error-free sums
// (abs(t_hi) >= abs(s_hi*r2) in every row it serves, or t_hi = 0), and
// t_lo + errors + s*e + P_j'(r2)*e (first order: 2*c2*r2*e) + P_j(r2) is added
// last.
//
// Near the pole the polynomial cannot follow: in rows 13..19 the pole at
// pi/2 is within 3*pi/32 of the row's angle, and a degree-15 fit over pi/32
// leaves from about 2^-30 relative (rows 15 and 17) to half an ulp (rows 13
// and 19, measured 1.0 ulp in all).  Those rows are evaluated from the pole
// row 16 instead: N' = N - (j - 16) (the nearest odd multiple of pi/2, in
// units of pi/32), so that r = r2 + e is the distance to the pole,
// abs(r) <= 3.5*pi/32, and
//   tan(pi/2 + r) = -cot(r) = -1/r + r/3 + c3 r^3 + ... + c15 r^15,
// the odd chain of row 16 holding the fit of (-cot(r) + 1/r - r/3)/r^3
// (error below 2^-60 relative), s_lo the 1/3 and t_hi, t_lo, s_hi
// zero.  The reciprocal: rh = r2 with the lowest 18 bits of its pattern
// cleared (35 bits), rl = (r2 - rh) + e, q = 1/rh (the one division), and
// qh = q masked by the row's mask to 18 bits, so that qh*rh is exact and
//   eps = (1 - qh*rh) - qh*rl,  abs(eps) < 2^-17,
//   1/r = qh/(1 - eps) = qh + qh*(eps + eps^2 + eps^3)   (error eps^4 < 2^-68).
// The row's weight multiplies the reciprocal term: -w*qh joins t_hi as the leading
// term (exact) and -w*qh*(eps + eps^2 + eps^3) the small terms.  In the other
// rows the mask and the weight are zero and the term vanishes exactly, so
// only the pole row divides; it never divides by zero (r2 is never zero: no
// multiple of pi/32 is a double, and abs(x) >= 2^-252 here) and its quotient
// is finite.
//
// The result is the leading sum plus small terms: measured max error
// 0.53 ulp (64f), also next to the poles, and 0.50 ulp for the float members.
// The largest tangent of a double is about 2^61 (the closest double to a
// multiple of pi/2 is 2^-61 away): nothing overflows, nothing is reported.
namespace {

// tan(q*pi/2 + r + rl) for abs(r) below 12800.
[[gnu::always_inline]] inline double tan_medium(double r, double rl, int q) {
  const trig_data::TanTables& tab = trig_data::kTables.tan;
  const double z = r * tab.inv_pio32 + tab.shifter;
  int n = static_cast<int>(static_cast<uint32_t>(bits(z)));
  int j = (16 * q + n) & 31;
  const bool pole = j >= 13 && j <= 19;
  if (pole) {  // within 3*pi/32 of the pole: take the pole row
    n -= j - 16;
    j = 16;
  }
  const double nd = static_cast<double>(n);
  const double* pio32 = (n > -16384 && n < 16384) ? tab.pio32_fine : tab.pio32_coarse;
  const double r1 = r - nd * pio32[0];  // exact
  const double p2 = nd * pio32[1];      // exact
  const double r2u = r1 - p2;
  const double eu = (((r1 - r2u) - p2) - nd * pio32[2]) + rl;
  // Renormalise: near a pole r1 - p2 cancels to a few ulps of r1, and eu may
  // then be as large as 2^-12 of r2u; the reciprocal's correction eps must
  // stay below 2^-17.  abs(r2u) > abs(eu) always (fast two-sum).
  const double r2 = r2u + eu;
  const double e = eu - (r2 - r2u);

  const TanRow& row = tab.rows[j];
  // Reciprocal term, weighted by w = row.weight and masked by row.mask: both
  // are zero outside the pole row, where qh = +0, eps = 1, the tail
  // w*(qh*...) is +0 and t_hi - w*qh is t_hi to the bit (also for a zero
  // t_hi), so only the pole row computes them.  Subtracting the +0 tail below
  // leaves every sum as it is under round-to-nearest.
  double lead = row.t_hi, recip_tail = 0.0;
  if (pole) {
    const double rh = double_from_bits(bits(r2) & ~uint64_t(0x3FFFF));
    const double rlo = (r2 - rh) + e;
    const double quot = tab.one / rh;
    uint64_t mask;
    __builtin_memcpy(&mask, &row.mask, sizeof mask);
    const double qh = double_from_bits(bits(quot) & mask);
    const double eps = (tab.one - qh * rh) - qh * rlo;
    const double w = row.weight;
    recip_tail = w * (qh * (eps * (tab.one + eps * (tab.one + eps))));
    lead = row.t_hi - w * qh;  // the leading term t_hi - w*qh
  }

  // Leading sum lead + s_hi*r2 + s_lo*r2 with its rounding errors.
  const double A = row.s_hi * r2;  // exact
  const double h1 = lead + A;
  const double B = row.s_lo * r2;
  const double h2 = h1 + B;
  const double err = ((lead - h1) + A) + ((h1 - h2) + B);

  const double zz = r2 * r2;
  const double* c = row.c;
  const double even = c[0] + zz * (c[2] + zz * (c[4] + zz * (c[6] + zz * (c[8] + zz * (c[10] + zz * c[12])))));
  const double odd = c[1] + zz * (c[3] + zz * (c[5] + zz * (c[7] + zz * (c[9] + zz * (c[11] + zz * c[13])))));
  const double poly = zz * (even + r2 * odd);
  const double small = row.t_lo + err + e * ((row.s_hi + row.s_lo) + 2.0 * c[0] * r2) + poly - recip_tail;
  return h2 + small;
}

}  // namespace

double _dTan(double x) {
  const trig_data::TanTables& tab = trig_data::kTables.tan;
  const int ex = Format<double>::biased_exponent(x);
  if (ex == 0x7FF) return is_inf(x) ? x * tab.zero : x * x;
  if (ex < 771) {
    if (is_zero(x)) return x;
    return (x * tab.two55 - x) * tab.two_m55;
  }
  double r = x, rl = 0.0;
  int q = 0;
  if ((high_word(x) & 0x7FFFFFFF) >= 0x40C90000) {  // abs(x) >= 12800.0
    double rr[2];
    q = reduce::reduce_pio2d(x, rr);
    r = rr[0];
    rl = rr[1];
  }
  return tan_medium(r, rl, q);
}

}  // namespace kel::trig

namespace {

using namespace kel::trig;
using kel::is_inf;

template <class T>
int sin_element(T x, T* y) {
  const double xd = x;
  *y = static_cast<T>(_dSin(xd));
  return is_inf(xd) ? kelStatusDomain : kelStatusNoError;
}

template <class T>
int cos_element(T x, T* y) {
  const double xd = x;
  *y = static_cast<T>(_dCos(xd));
  return is_inf(xd) ? kelStatusDomain : kelStatusNoError;
}

template <class T>
int sincos_element(T x, T* s, T* c) {
  const double xd = x;
  double sd, cd;
  _dSinCos(xd, &sd, &cd);
  *s = static_cast<T>(sd);
  *c = static_cast<T>(cd);
  return is_inf(xd) ? kelStatusDomain : kelStatusNoError;
}

template <class T>
int tan_element(T x, T* y) {
  const double xd = x;
  *y = static_cast<T>(_dTan(xd));
  return is_inf(xd) ? kelStatusDomain : kelStatusNoError;
}


// ---- The vector loop's main path ----------------------------------------
//
// The medium range, 2^-252 <= abs(x) < 2^17 (sine, cosine) or 12800
// (tangent), is one unsigned comparison of the high word (float members: any
// nonzero float below the bound, which widens to a double above 2^-150).
// There the screen passes and the large reduction is not needed: the main
// path is reduce_medium with q = 0 and rl = 0, as in the full element.
template <uint32_t kBound64, uint32_t kBound32>
struct MediumRange {
  static bool test(const double* p) {
    return (kel::frame::high_word_at(p) & 0x7FFFFFFF) - 0x30300000u < kBound64 - 0x30300000u;  // 2^-252
  }
  static bool test(const float* p) { return (kel::frame::word_at(p) & 0x7FFFFFFF) - 1u < kBound32 - 1u; }
};
using SinCosRange = MediumRange<0x41000000, 0x48000000>;  // 2^17
using TanRange = MediumRange<0x40C90000, 0x46480000>;     // 12800

// Sine (kRowShift 0) and cosine (kRowShift 16, cos(x) = sin(x + pi/2)).
template <class T, int kRowShift, int (*Element)(T, T*)>
struct SinOrCos {
  static bool main_path(const T* p) { return SinCosRange::test(p); }
  [[gnu::always_inline]] static void main(T x, T* y) {
    const SinCosArg a = reduce_medium(x, 0.0, 0, kel::trig_data::kTables.sincos);
    *y = static_cast<T>(sin_row(kel::trig_data::kTables.sincos, (a.m + kRowShift) & 63, a));
  }
  static int element(T x, T* y) { return Element(x, y); }
};
template <class T>
using Sin = SinOrCos<T, 0, sin_element<T>>;
template <class T>
using Cos = SinOrCos<T, 16, cos_element<T>>;

template <class T>
struct SinCos {
  static bool main_path(const T* p) { return SinCosRange::test(p); }
  [[gnu::always_inline]] static void main(T x, T* s, T* c) {
    const SinCosArg a = reduce_medium(x, 0.0, 0, kel::trig_data::kTables.sincos);
    *s = static_cast<T>(sin_row(kel::trig_data::kTables.sincos, a.m & 63, a));
    *c = static_cast<T>(sin_row(kel::trig_data::kTables.sincos, (a.m + 16) & 63, a));
  }
  static int element(T x, T* s, T* c) { return sincos_element(x, s, c); }
};

template <class T>
struct Tan {
  static bool main_path(const T* p) { return TanRange::test(p); }
  [[gnu::always_inline]] static void main(T x, T* y) { *y = static_cast<T>(tan_medium(x, 0.0, 0)); }
  static int element(T x, T* y) { return tan_element(x, y); }
};

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Sin, Sin<float>, Sin<double>, Sin<double>)
KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Cos, Cos<float>, Cos<double>, Cos<double>)
KEL_REAL_FAMILY(PAIRS_TWO_RESULTS, kRealGuard, SinCos, SinCos<float>, SinCos<double>, SinCos<double>)
KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Tan, Tan<float>, Tan<double>, Tan<double>)

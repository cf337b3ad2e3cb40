// Natural and decimal logarithms, kelsLn and kelsLog10.
//
// Two algorithms, each written once and instantiated for both functions:
//
// Low accuracy (the A50 double members): no table, one division.  x = 2^E f
// with f in [sqrt2/2, sqrt2), g = f - 1, s = g/(2 + g), and
//   ln f = 2 atanh s = 2s + s^3 (c2 + c3 s^2 + ... + c8 s^12),
// evaluated as g - s (g - s^2 p) so that the leading 2s comes out of the
// exact identity g - s g = 2s.  Log10 multiplies the rounded ln f by log10 e
// and adds E log10 2.  Measured worst error over 10^7 random doubles: 1.50
// ulp (Ln), 1.72 ulp (Log10); the accepted bound is 4.
//
// High accuracy (the A53 double members and every float member): x = 2^E f
// with f in [1, 2), i = nearest integer to 64 (f - 1), a short reciprocal
// R[i] ~ 1/(1 + i/64) and -log R[i] = hi + lo from the table:
//   log x = E log 2 + (hi + lo) + log(1 + r),  r = f R[i] - 1, |r| < 2^-6,
// where r = rh + rl with rh = fh R[i] - 1 exact (fh is f cut to 31 or 29
// fraction bits; the product has at most 44 significant bits) and rl =
// fl R[i] exact too.  E L1 + hi + rh (L1 the high part of log 2) is summed
// exactly in H; everything small goes into M, and the result is H + M: one
// final rounding of a nearly exact sum.  Near 1 (|x - 1| at most 1.25 2^-7
// for Ln, 1.5 2^-8 for Log10) the table would lose to cancellation, so a
// polynomial in d = x - 1 is used directly.  Log10 scales the reduced
// argument by lambda = 111/256 (an 8-bit cut of log10 e) and absorbs the rest
// of log10 e in the polynomial.  Measured worst error over 10^7 random
// doubles: 0.506 ulp (Ln), 0.513 ulp (Log10), both near 1.
//
// Rounding: the frame runs every element at 53-bit precision, round to
// nearest.  No intermediate of these algorithms leaves the normal double
// range (the smallest, d^2 or r^2, is above 2^-110), so every x87 operation is
// then a correctly rounded double operation and no explicit rounding point is
// needed in the arithmetic: the shifter tricks (f + 2^46 + 1 for the index,
// (f + 2^21) - 2^21 for fh) depend on exactly that.  The single rounding of a
// float member's result is its store.
#include "frame.h"
#include "log_data.h"

KEL_NAME_OBJECT

namespace {

using namespace kel::log_data;

constexpr uint64_t kFractionMask = 0x000FFFFFFFFFFFFFull;
constexpr uint64_t kExponentOne = 0x3FF0000000000000ull;   // biased exponent 1023
constexpr uint64_t kExponentHalf = 0x3FE0000000000000ull;  // biased exponent 1022

// x = 2^E f, f in [1, 2), for a positive normal double; corr is the exponent
// of the 2^60 scaling applied to subnormal inputs (0 or -60).
inline int exponent_of(double x, int corr) { return static_cast<int>(kel::bits(x) >> 52) - 1023 + corr; }
inline double fraction_of(double x) { return kel::double_from_bits((kel::bits(x) & kFractionMask) | kExponentOne); }

// ---- Low accuracy ------------------------------------------------------

// The base-specific ends of the low-accuracy algorithm.
inline double la_exponent_term(const LnLATab& t, int E) { return E * t.ln2; }
inline double la_exponent_term(const LgLATab& t, int E) { return E * t.log10_2; }
inline double la_finish(const LnLATab&, double e, double ln_f) { return e + ln_f; }
inline double la_finish(const LgLATab& t, double e, double ln_f) { return e + ln_f * t.log10_e; }

template <class Tab>
[[gnu::always_inline]] inline double log_la(double X, int corr, const Tab& t) {
  int E = exponent_of(X, corr);
  double f = fraction_of(X);
  if (f >= t.sqrt2) {  // f in [sqrt2, 2): use f/2 and E + 1
    f = kel::double_from_bits((kel::bits(X) & kFractionMask) | kExponentHalf);
    E += 1;
  }
  const double g = f - t.one;  // exact
  const double e = la_exponent_term(t, E);
  const double s = g / (t.two + g);
  const double z = s * s;
  const double* c = t.c;
  const double p = c[0] + z * (c[1] + z * (c[2] + z * (c[3] + z * (c[4] + z * (c[5] + z * c[6])))));
  const double R = p * z;
  const double W = s * (g - R);
  return la_finish(t, e, g - W);  // ln f = g - W, rounded before any scaling
}

// ---- High accuracy -----------------------------------------------------

// ln(1 + d) = d + d^2 Q(d) for |d| <= 1.25 2^-7.
inline double ha_near_one(const LnHATab& t, double d) {
  const double* k = t.k;
  const double Q = k[0] + d * (k[1] + d * (k[2] + d * (k[3] + d * (k[4] + d * (k[5] + d * k[6])))));
  return d + Q * (d * d);
}

// log10(1 + d) = w + w P(w), w = lambda d, for |d| <= 1.5 2^-8.
inline double lg_poly(const LgHATab& t, double w) {
  const double* m = t.m;
  return m[0] + w * (m[1] + w * (m[2] + w * (m[3] + w * (m[4] + w * (m[5] + w * (m[6] + w * m[7]))))));
}
inline double ha_near_one(const LgHATab& t, double d) {
  const double w = d * t.lambda;
  return w + lg_poly(t, w) * w;
}

// A = E hi2 + hi[i] (exact), B = E lo2 + lo[i]; fh + fl = f with fh R[i] exact.
inline double ha_tail(const LnHATab& t, double A, double B, double fh, double fl, double R) {
  const double rh = fh * R - t.one;  // exact
  const double rl = fl * R;          // exact
  const double r = rh + rl;
  const double* k = t.k;
  const double Q = k[0] + r * (k[1] + r * (k[2] + r * (k[3] + r * (k[4] + r * (k[5] + r * k[6])))));
  const double H = A + rh;  // exact
  const double M = (B + rl) + Q * (r * r);
  return H + M;
}

inline double ha_tail(const LgHATab& t, double A, double B, double fh, double fl, double R) {
  const double wh = fh * R - t.lambda;  // exact
  const double wl = fl * R;             // exact
  const double w = wh + wl;
  const double P = lg_poly(t, w);
  const double H = A + wh;  // exact
  const double K = wl + (B + P * wl);
  const double M = K + P * wh;
  return H + M;
}

// The table path for X = 2^E f, f in [1, 2), with the table index i.
template <class Tab>
[[gnu::always_inline]] inline double ha_table(const Tab& t, int E, double f, uint32_t i) {
  const double Eh = E * t.log2_hi;  // exact: |E| < 2^11, log2_hi on the grid 2^-42
  const double El = E * t.log2_lo;
  const double fh = (f + t.split_shifter) - t.split_shifter;
  const double fl = f - fh;  // exact
  const LogHARow& row = t.row[i];
  const double A = Eh + row.hi;  // exact
  const double B = El + row.lo;
  return ha_tail(t, A, B, fh, fl, row.r);
}

template <class Tab>
double log_ha(double X, int corr, const Tab& t) {
  const double d = X - t.one;
  if (__builtin_fabs(d) <= t.near_one) return ha_near_one(t, d);  // equality stays here

  const double f = fraction_of(X);
  // f + 2^46 + 1 lies in [2^46 + 2, 2^46 + 3): its last significand bit weighs
  // 2^-6, so the low word holds 128 + 64 f' with f' = f - 1 rounded to 1/64,
  // and its low 7 bits are the index 0..64.
  const uint32_t i = kel::low_word(f + t.index_shifter) & 0x7F;
  return ha_table(t, exponent_of(X, corr), f, i);
}

// ---- Element screen ------------------------------------------------------

template <class T>
inline bool is_negative_infinity(T x) {
  using F = kel::Format<T>;
  return F::bits(x) == (F::kSignMask | F::kInf);
}

// Reads the exponent field before any arithmetic: infinities and NaNs first,
// then zeros and double subnormals (scaled by 2^60), negatives last.  The
// special results are computed at run time (0/0 gives the x87 default NaN and
// raises invalid; -1/0 raises divide-by-zero; x*x quiets a signalling NaN).
template <class T, class Tab, double (*Main)(double, int, const Tab&), const Tab& kTab>
int log_element(T x, T* y) {
  const Tab& t = kTab;
  if (kel::is_inf_or_nan(x)) {
    if (is_negative_infinity(x)) {
      *y = static_cast<T>(kel::opaque(t.zero) / t.zero);
      return kelStatusDomain;
    }
    *y = x * x;
    return kelStatusNoError;
  }
  double X = x;  // a float widens exactly; its subnormals become normal
  int corr = 0;
  if ((kel::high_word(X) & 0x7FF00000) == 0) {  // +-0 or a double subnormal
    X = X * t.two60;
    corr = -60;
  }
  if (X > t.zero) {
    *y = static_cast<T>(Main(X, corr, t));
    return kelStatusNoError;
  }
  if (X == t.zero) {
    *y = static_cast<T>(-t.one / kel::opaque(t.zero));
    return kelStatusSingularity;
  }
  *y = static_cast<T>(kel::opaque(t.zero) / t.zero);
  return kelStatusDomain;
}

template <class T>
constexpr auto ln_ha = log_element<T, LnHATab, log_ha<LnHATab>, kTables.ln_ha>;
template <class T>
constexpr auto lg_ha = log_element<T, LgHATab, log_ha<LgHATab>, kTables.lg_ha>;
constexpr auto ln_la = log_element<double, LnLATab, log_la<LnLATab>, kTables.ln_la>;
constexpr auto lg_la = log_element<double, LgLATab, log_la<LgLATab>, kTables.lg_la>;

// ---- The vector loop's main path ----------------------------------------
//
// A positive normal double (for float members: a positive finite float, which
// widens to a normal double) away from 1 takes the table path (high accuracy)
// or the series (low accuracy) with no scaling.  The screen is two unsigned
// comparisons of the high word: inside the normal range, outside the
// near-one interval of the high-accuracy members (a slightly wider interval
// of high words: the excluded neighbours take the full element, which
// decides by comparing d itself).  For the high-accuracy table path the index
// i = nearest integer to 64 (f - 1), ties to even, comes from the bits too:
// the top six fraction bits, rounded up when the next bit is set and the
// bits below it are not all zero or the six bits are odd.

// High words bounding the near-one interval [1 - b, 1 + b] of each function.
struct NearOne {
  uint32_t lo64, hi64, lo32, hi32;
};
inline constexpr NearOne kLnNearOne{0x3FEFB000, 0x3FF02800, 0x3F7D8000, 0x3F814000};  // b = 1.25 2^-7
inline constexpr NearOne kLgNearOne{0x3FEFD000, 0x3FF01800, 0x3F7E8000, 0x3F80C000};  // b = 1.5 2^-8
inline constexpr NearOne kNoNearOne{0, 0, 0, 0};  // the low-accuracy members: only zero words, already excluded

template <const NearOne& N>
inline bool main_path_of(const double* p) {
  const uint32_t h = kel::frame::high_word_at(p);
  return h - 0x00100000u < 0x7FF00000u - 0x00100000u && h - N.lo64 > N.hi64 - N.lo64;
}
template <const NearOne& N>
inline bool main_path_of(const float* p) {
  const uint32_t w = kel::frame::word_at(p);
  return w - 1u < 0x7F800000u - 1u && w - N.lo32 > N.hi32 - N.lo32;
}

template <class T, class Tab, const Tab& kTab, const NearOne& N, auto Element>
struct LogHA {
  static bool main_path(const T* p) { return main_path_of<N>(p); }
  [[gnu::always_inline]] static void main(T x, T* y) {
    const double X = x;
    const uint64_t b = kel::bits(X);
    const uint32_t h = static_cast<uint32_t>(b >> 32);
    const uint32_t top = (h >> 14) & 63;
    const uint32_t up = (h >> 13) & ((h & 0x1FFF) != 0 || static_cast<uint32_t>(b) != 0 || (top & 1));
    *y = static_cast<T>(ha_table(kTab, static_cast<int>(h >> 20) - 1023, fraction_of(X), top + up));
  }
  static int element(T x, T* y) { return Element(x, y); }
};

template <class Tab, const Tab& kTab, auto Element>
struct LogLA {
  static bool main_path(const double* p) { return main_path_of<kNoNearOne>(p); }
  [[gnu::always_inline]] static void main(double x, double* y) { *y = log_la(x, 0, kTab); }
  static int element(double x, double* y) { return Element(x, y); }
};

using Ln32 = LogHA<float, LnHATab, kTables.ln_ha, kLnNearOne, ln_ha<float>>;
using Ln64 = LogHA<double, LnHATab, kTables.ln_ha, kLnNearOne, ln_ha<double>>;
using Lg32 = LogHA<float, LgHATab, kTables.lg_ha, kLgNearOne, lg_ha<float>>;
using Lg64 = LogHA<double, LgHATab, kTables.lg_ha, kLgNearOne, lg_ha<double>>;
using Ln64LA = LogLA<LnLATab, kTables.ln_la, ln_la>;
using Lg64LA = LogLA<LgLATab, kTables.lg_la, lg_la>;

}  // namespace

KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Ln, Ln32, Ln64LA, Ln64)

KEL_REAL_FAMILY(PAIRS_UNARY, kRealGuard, Log10, Lg32, Lg64LA, Lg64)

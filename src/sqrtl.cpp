// Long-double square root: orxsqrtl_scalar, correctly rounded to nearest.
//
// Method, on integers only (so an exact square raises no flag):
//   x = m 2^(2h) with m in [1, 4); the result is S 2^(h-63), S the 64-bit
//   integer nearest to sqrt(N), N = m 2^126.
//   1. r ~ 1/sqrt(m) from a 192-entry seed table (error below 2^-8), two
//      Newton steps r' = r (3 - m r^2) / 2 in 32-bit fixed point (2^-29) and
//      one in 64-bit fixed point (about 2^-57).
//   2. S0 = m r 2^63 is within a few hundred units of sqrt(N); one step with
//      the exact 128-bit remainder D = N - S0^2, S1 = S0 + D r / 2, brings it
//      within two units.
//   3. Exact correction: S is the nearest integer to sqrt(N) exactly when
//      S^2 - S < N <= S^2 + S (a tie would need N to be a square of a
//      half-integer, impossible for an integer N); S1 is stepped until it
//      holds.  N = S^2 is the exact case; any other raises inexact.
// Special values: sqrt(+-0) = +-0, sqrt(+inf) = +inf, a negative x (or -inf)
// gives NaN with the invalid flag, NaNs propagate quietly.  Subnormals are
// normalised first.  The control word is not read or written.
#include "api.h"
#include "ld_trig.h"
#include "sqrtl_data.h"
#include "x87.h"

namespace {

using namespace kel::ld;
using kel::Ld;
using kel::LdBits;

struct U128 {
  uint64_t hi, lo;
};

inline U128 mul(uint64_t a, uint64_t b) {
  const uint64_t a0 = static_cast<uint32_t>(a), a1 = a >> 32;
  const uint64_t b0 = static_cast<uint32_t>(b), b1 = b >> 32;
  const uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
  const uint64_t mid = (p00 >> 32) + static_cast<uint32_t>(p01) + static_cast<uint32_t>(p10);
  return {p11 + (p01 >> 32) + (p10 >> 32) + (mid >> 32), (mid << 32) | static_cast<uint32_t>(p00)};
}

inline uint64_t mulhi(uint64_t a, uint64_t b) { return mul(a, b).hi; }

inline bool less(U128 a, U128 b) { return a.hi < b.hi || (a.hi == b.hi && a.lo < b.lo); }
inline U128 add(U128 a, uint64_t b) { return {a.hi + (a.lo + b < a.lo), a.lo + b}; }
inline U128 sub(U128 a, U128 b) { return {a.hi - b.hi - (a.lo < b.lo), a.lo - b.lo}; }
inline U128 sub(U128 a, uint64_t b) { return {a.hi - (a.lo < b), a.lo - b}; }

// The integer nearest to sqrt(N) for N in [2^126, 2^128); m64 = N / 2^64.
inline uint64_t isqrt_nearest(U128 n, uint64_t m64) {
  // 32-bit stage: m32 = m 2^30, R = r 2^31.
  const uint32_t m32 = static_cast<uint32_t>(m64 >> 32);
  uint32_t r = static_cast<uint32_t>(kel::sqrtl_data::kTables.seeds[(m32 >> 24) - 64]) << 15;
  for (int i = 0; i < 2; ++i) {
    const uint32_t r2 = static_cast<uint32_t>((static_cast<uint64_t>(r) * r) >> 32);  // r^2 2^30
    const uint32_t mr2 = static_cast<uint32_t>((static_cast<uint64_t>(m32) * r2) >> 30);
    r = static_cast<uint32_t>((static_cast<uint64_t>(r) * (3u * (1u << 30) - mr2)) >> 31);
  }
  // 64-bit stage: m64 = m 2^62, R = r 2^63.
  uint64_t r64 = static_cast<uint64_t>(r) << 32;
  const uint64_t r2 = mulhi(r64, r64);          // r^2 2^62
  const uint64_t mr2 = mulhi(m64, r2) << 2;     // m r^2 2^62
  r64 = mulhi(r64, 3ull * (1ull << 62) - mr2) << 1;

  // S0 = m r 2^63 (clamped: the estimate may exceed sqrt(N) by a few units).
  const uint64_t h = mulhi(m64, r64);
  uint64_t s = h >= (1ull << 62) ? ~0ull : h << 2;

  // S1 = S0 + (N - S0^2) / (2 S0), |N - S0^2| < 2^79.
  const U128 s2 = mul(s, s);
  const bool up = less(s2, n);
  const U128 d = up ? sub(n, s2) : sub(s2, n);
  const uint64_t step = mulhi((d.hi << 48) | (d.lo >> 16), r64) >> 47;
  if (up) {
    s = s + step < s ? ~0ull : s + step;
  } else {
    s -= step;
  }

  // Nearest: S^2 - S < N <= S^2 + S.
  while (less(add(mul(s, s), s), n)) ++s;
  while (!less(sub(mul(s, s), s), n)) --s;
  return s;
}

}  // namespace

KEL_API long double orxsqrtl_scalar(long double x) {
  const LdBits f = Ld::bits(x);
  const uint32_t e = f.se & Ld::kExponentMask;
  const bool neg = (f.se >> 15) != 0;

  if (__builtin_expect(e == Ld::kExponentMask || Ld::is_unnormal(f), 0)) {
    if (neg && e == Ld::kExponentMask && f.mant == 0x8000000000000000ull) return x - x;  // -inf: invalid
    return x + x;                                                               // +inf, NaN, unnormal
  }
  if (f.mant == 0) return x;  // +-0
  if (neg) {
    const long double z = kel::opaque(0.0L);
    return z / z;  // invalid
  }

  // x = M 2^(E - 63) with M normalised.
  uint64_t mant = f.mant;
  int exp = static_cast<int>(e) - static_cast<int>(Ld::kBias);
  if (e == 0) {  // subnormal (or pseudo-denormal)
    const int z = __builtin_clzll(mant);
    mant <<= z;
    exp = 1 - static_cast<int>(Ld::kBias) - z;
  }
  // N = m 2^126 with m = M 2^-63 (E even) or M 2^-62 (E odd).
  const bool odd = exp & 1;
  const U128 n = odd ? U128{mant, 0} : U128{mant >> 1, mant << 63};
  const uint64_t s = isqrt_nearest(n, n.hi);
  const U128 s2 = mul(s, s);
  if (s2.hi != n.hi || s2.lo != n.lo) kel::raise_by_store<long double>(kel::opaque(1.0L) + 0x1p-100L);
  return Ld::make(s, static_cast<uint32_t>(static_cast<int>(Ld::kBias) + (exp >> 1)));
}

// Classification of doubles on their bit pattern, and absolute values.
//
// The tests read the two 32-bit halves of the pattern with integer
// operations only: no x87 comparison, so no flag even for a signalling NaN.
// orx_sabs_scalar and orx_dabs_scalar clear the sign bit the same way;
// orxfabsl_scalar works arithmetically (and so quiets a signalling NaN).
#include "api.h"
#include "fp.h"
#include "x87.h"

namespace {

constexpr long double kOnes[2] = {1.0L, -1.0L};

// On i386 a float or double result travels in st(0).  Loading it with fld
// from its own format would raise invalid for a signalling NaN (and quiet it)
// and denormal for a subnormal; the 80-bit load of the same value raises
// neither, so the pattern is widened to the extended format with integer
// operations and loaded whole.  Elsewhere the result is returned in an SSE
// register and the pattern passes through as it is.
#if defined(__i386__)
kel::LdBits widen(uint32_t sign, int exp, uint64_t frac, int frac_bits, int bias) {
  // exp and frac are the fields of a binary format with frac_bits stored
  // fraction bits and the given bias; the value keeps every bit.
  const uint16_t s = static_cast<uint16_t>(sign << 15);
  const int max_exp = 2 * bias + 1;
  if (exp == max_exp) return {kel::Ld::kLeadingBit | frac << (63 - frac_bits), static_cast<uint16_t>(s | 0x7FFF), {}};
  if (exp != 0)
    return {kel::Ld::kLeadingBit | frac << (63 - frac_bits), static_cast<uint16_t>(s | (exp - bias + kel::Ld::kBias)),
            {}};
  if (frac == 0) return {0, s, {}};
  const int lz = __builtin_clzll(frac);
  // frac * 2^(1 - bias - frac_bits) with the leading bit moved to bit 63.
  const int e = kel::Ld::kBias + 63 - lz + 1 - bias - frac_bits;
  return {frac << lz, static_cast<uint16_t>(s | e), {}};
}
#endif

double double_result(uint64_t bits) {
#if defined(__i386__)
  const kel::LdBits w = widen(static_cast<uint32_t>(bits >> 63), static_cast<int>(bits >> 52) & 0x7FF,
                              bits & ((uint64_t{1} << 52) - 1), 52, 1023);
  double y;
  asm("fldt %1" : "=t"(y) : "m"(w));
  return y;
#else
  return kel::double_from_bits(bits);
#endif
}

float float_result(uint32_t bits) {
#if defined(__i386__)
  const kel::LdBits w = widen(bits >> 31, static_cast<int>(bits >> 23) & 0xFF, bits & 0x7FFFFF, 23, 127);
  float y;
  asm("fldt %1" : "=t"(y) : "m"(w));
  return y;
#else
  return kel::float_from_bits(bits);
#endif
}

}  // namespace

KEL_API int _orx_internal_isinf(double x) {
  return (kel::high_word(x) & 0x7FFFFFFF) == 0x7FF00000 && kel::low_word(x) == 0;
}

KEL_API int _orx_internal_ispinf(double x) { return kel::high_word(x) == 0x7FF00000 && kel::low_word(x) == 0; }

KEL_API int _orx_internal_isninf(double x) { return kel::high_word(x) == 0xFFF00000 && kel::low_word(x) == 0; }

KEL_API int _orx_internal_isnan(double x) {
  const uint32_t hi = kel::high_word(x);
  return (hi & 0x7FF00000) == 0x7FF00000 && ((hi & 0x000FFFFF) | kel::low_word(x)) != 0;
}

KEL_API int _orx_internal_iszero(double x) { return (kel::high_word(x) & 0x7FFFFFFF) == 0 && kel::low_word(x) == 0; }

KEL_API int _orx_internal_isnegzero(double x) { return kel::high_word(x) == 0x80000000 && kel::low_word(x) == 0; }

KEL_API int _orx_internal_isnzfinite(double x) {
  const uint32_t hi = kel::high_word(x);
  return (hi & 0x7FF00000) != 0x7FF00000 && ((hi & 0x7FFFFFFF) != 0 || kel::low_word(x) != 0);
}

KEL_API float orx_sabs_scalar(float x) { return float_result(kel::bits(x) & 0x7FFFFFFF); }

KEL_API double orx_dabs_scalar(double x) { return double_result(kel::bits(x) & ~(uint64_t{1} << 63)); }

// A NaN goes through x * 1 (a signalling NaN leaves quiet, with invalid) and
// loses its sign bit; everything else is multiplied by the sign's +-1, so
// -0 gives +0 and -inf gives +inf.
KEL_API long double orxfabsl_scalar(long double x) {
  const kel::LdBits b = kel::Ld::bits(x);
  if (kel::Ld::is_nan(b)) {
    kel::LdBits q = kel::Ld::bits(x * kel::opaque(1.0L));
    q.se &= 0x7FFF;
    return kel::Ld::make(q.mant, q.se);
  }
  return x * kel::opaque(kOnes[b.se >> 15]);
}

// The x87 80-bit extended format seen as integers: 64-bit significand with an
// explicit leading bit, then sign and 15-bit biased exponent (bias 16383).
// Reading and writing the fields goes through memory (fstp/fld of the full
// 80 bits), which neither rounds nor raises a flag.
#pragma once

#include <cstdint>

namespace kel {

struct LdBits {
  uint64_t m;   // significand, leading bit 63
  uint16_t se;  // sign (bit 15) and biased exponent
  uint16_t pad[(sizeof(long double) - 10) / 2];
};
static_assert(sizeof(LdBits) == sizeof(long double));

inline constexpr uint64_t kLdLeadingBit = uint64_t(1) << 63;
inline constexpr int kLdBias = 16383;

inline LdBits ld_bits(long double x) { return __builtin_bit_cast(LdBits, x); }

inline long double ld_from(uint64_t m, uint16_t se) {
  LdBits b{m, se, {}};
  return __builtin_bit_cast(long double, b);
}

// 2^k for a biased exponent field e in [1, 32766].
inline long double ld_pow2_field(int e) { return ld_from(kLdLeadingBit, static_cast<uint16_t>(e)); }

// sign:exponent:top 16 significand bits, the 32-bit key the kernels range on.
inline uint32_t ld_key(const LdBits& b) { return uint32_t{b.se} << 16 | static_cast<uint32_t>(b.m >> 48); }

inline int ld_exponent(const LdBits& b) { return b.se & 0x7FFF; }
inline bool ld_is_nan(const LdBits& b) { return (b.se & 0x7FFF) == 0x7FFF && b.m != kLdLeadingBit; }

}  // namespace kel

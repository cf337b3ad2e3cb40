// The floating formats seen as integers: the bit pattern of float, double and
// the x87 80-bit extended format, its fields and its classes.
//
// Every test here reads the pattern alone: no comparison instruction, so no
// flag even for a signalling NaN, and no x87 load, which would quiet one.
#pragma once

#include <cstdint>

namespace kel {

template <class T>
struct Format;

// IEEE binary32 and binary64: sign, E exponent bits (biased), F fraction bits
// with an implicit leading bit.
template <class T, class B, int E, int F>
struct IeeeFormat {
  using Bits = B;
  static constexpr int kExponentBits = E;
  static constexpr int kFractionBits = F;
  static constexpr int kDigits = F + 1;
  static constexpr int kBias = (1 << (E - 1)) - 1;
  static constexpr int kMinExp = 1 - kBias;  // exponent of the smallest normal
  static constexpr int kMaxExp = kBias;
  static constexpr int kMaxField = (1 << E) - 1;  // infinities and NaNs
  static constexpr Bits kSignMask = Bits(1) << (E + F);
  static constexpr Bits kExponentMask = Bits(kMaxField) << F;
  static constexpr Bits kFractionMask = (Bits(1) << F) - 1;
  static constexpr Bits kQuietBit = Bits(1) << (F - 1);
  static constexpr Bits kInf = kExponentMask;          // +Inf
  static constexpr Bits kOne = Bits(kBias) << F;       // 1.0
  static constexpr Bits kHalf = Bits(kBias - 1) << F;  // 0.5

  static Bits bits(T x) { return __builtin_bit_cast(Bits, x); }
  static T from_bits(Bits b) { return __builtin_bit_cast(T, b); }
  static Bits magnitude(T x) { return bits(x) & ~kSignMask; }
  static int exponent_field(Bits b) { return static_cast<int>((b & ~kSignMask) >> F); }
  static int biased_exponent(T x) { return exponent_field(bits(x)); }

  static bool negative(T x) { return (bits(x) >> (E + F)) != 0; }
  static bool is_nan(T x) { return magnitude(x) > kInf; }
  static bool is_inf(T x) { return magnitude(x) == kInf; }
  static bool is_inf_or_nan(T x) { return (bits(x) & kExponentMask) == kExponentMask; }
  static bool finite(T x) { return !is_inf_or_nan(x); }
  static bool is_zero(T x) { return magnitude(x) == 0; }
  static bool is_zero_or_subnormal(T x) { return (bits(x) & kExponentMask) == 0; }
  static bool is_subnormal(T x) { return is_zero_or_subnormal(x) && !is_zero(x); }
  static bool is_signalling(T x) { return is_nan(x) && (bits(x) & kQuietBit) == 0; }
  static T quieted(T x) { return from_bits(bits(x) | kQuietBit); }
};

template <>
struct Format<float> : IeeeFormat<float, uint32_t, 8, 23> {};
template <>
struct Format<double> : IeeeFormat<double, uint64_t, 11, 52> {};

// The x87 extended format: a 64-bit significand with an explicit leading bit,
// then sign (bit 15) and 15-bit biased exponent.  Reading and writing the
// fields goes through memory (an 80-bit store or load), which neither rounds
// nor raises a flag.
struct LdBits {
  uint64_t mant;  // leading bit 63
  uint16_t se;    // sign and biased exponent
  uint16_t pad[(sizeof(long double) - 10) / 2];
};
static_assert(sizeof(LdBits) == sizeof(long double));

template <>
struct Format<long double> {
  using Bits = LdBits;
  static constexpr int kExponentBits = 15;
  static constexpr int kDigits = 64;
  static constexpr int kBias = 16383;
  static constexpr int kMinExp = 1 - kBias;
  static constexpr int kMaxExp = kBias;
  static constexpr uint32_t kExponentMask = 0x7FFF;  // of se; also the infinity/NaN field
  static constexpr uint64_t kLeadingBit = uint64_t{1} << 63;

  // The two fields read through a union (GCC defines the punning): a 16-byte
  // copy of a value spilled by an 80-bit store would wait for that store
  // instead of taking its bytes from it, and taking the address of x would
  // keep x in memory, to be reloaded by 80-bit loads.
  static LdBits bits(long double x) {
    union {
      long double v;
      LdBits b;
    } u;
    u.v = x;
    return LdBits{u.b.mant, u.b.se, {}};
  }
  static long double from_bits(LdBits b) { return __builtin_bit_cast(long double, b); }
  // mant * 2^(biased - 16383 - 63) with the sign bit of sign (0 or 0x8000);
  // mant must have its leading bit set (or be zero with biased 0).
  static long double make(uint64_t mant, uint32_t biased, uint32_t sign = 0) {
    return from_bits(LdBits{mant, static_cast<uint16_t>(biased | sign), {}});
  }
  // 2^k for a biased exponent field e in [1, 32766].
  static long double pow2_field(int e) { return make(kLeadingBit, static_cast<uint32_t>(e)); }

  static int biased_exponent(const LdBits& b) { return b.se & kExponentMask; }
  static bool negative(const LdBits& b) { return (b.se >> 15) != 0; }
  // sign:exponent:top 16 significand bits, the 32-bit key the kernels range on.
  static uint32_t key(const LdBits& b) { return uint32_t{b.se} << 16 | static_cast<uint32_t>(b.mant >> 48); }

  // A NaN here is any maximal-exponent pattern other than an infinity
  // (pseudo-infinities and pseudo-NaNs included).
  static bool is_nan(const LdBits& b) { return (b.se & kExponentMask) == kExponentMask && b.mant != kLeadingBit; }
  static bool is_inf(const LdBits& b) { return (b.se & kExponentMask) == kExponentMask && b.mant == kLeadingBit; }
  // A true zero only: a pseudo-zero (exponent set, significand 0) is an
  // unnormal.
  static bool is_zero(const LdBits& b) { return b.mant == 0 && (b.se & kExponentMask) == 0; }
  // Unnormals (exponent non-zero, explicit leading bit clear) are invalid
  // operands to the x87: any arithmetic on them gives the default NaN with
  // the invalid flag, as for a signalling NaN.
  static bool is_unnormal(const LdBits& b) { return (b.se & kExponentMask) != 0 && (b.mant >> 63) == 0; }
};

using Ld = Format<long double>;

// Short forms for float and double.  Overloads rather than a template, so a
// long double argument is refused instead of being converted.
inline uint64_t bits(double x) { return Format<double>::bits(x); }
inline uint32_t bits(float x) { return Format<float>::bits(x); }
inline double double_from_bits(uint64_t b) { return Format<double>::from_bits(b); }
inline float float_from_bits(uint32_t b) { return Format<float>::from_bits(b); }
inline uint32_t high_word(double x) { return static_cast<uint32_t>(bits(x) >> 32); }
inline uint32_t low_word(double x) { return static_cast<uint32_t>(bits(x)); }
// |x| by clearing the sign bit: no flag, no x87 load (which would quiet a
// signalling NaN), and no x87 round trip for a value held in memory.
inline double abs_bits(double x) { return double_from_bits(bits(x) & ~Format<double>::kSignMask); }

inline bool is_nan(double x) { return Format<double>::is_nan(x); }
inline bool is_nan(float x) { return Format<float>::is_nan(x); }
inline bool is_inf(double x) { return Format<double>::is_inf(x); }
inline bool is_inf(float x) { return Format<float>::is_inf(x); }
inline bool is_inf_or_nan(double x) { return Format<double>::is_inf_or_nan(x); }
inline bool is_inf_or_nan(float x) { return Format<float>::is_inf_or_nan(x); }
inline bool is_zero(double x) { return Format<double>::is_zero(x); }
inline bool is_zero(float x) { return Format<float>::is_zero(x); }
inline bool is_subnormal(double x) { return Format<double>::is_subnormal(x); }
inline bool is_subnormal(float x) { return Format<float>::is_subnormal(x); }
inline bool is_negative(double x) { return Format<double>::negative(x); }
inline bool is_negative(float x) { return Format<float>::negative(x); }
inline bool is_signalling(double x) { return Format<double>::is_signalling(x); }
inline bool is_signalling(float x) { return Format<float>::is_signalling(x); }

}  // namespace kel

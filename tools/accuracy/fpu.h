// Hardware-level test helpers: x87 control word and flags, encodings, and
// sample sizes per build.
#pragma once

#include <bit>
#include <type_traits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "../../src/fp.h"
#include "../../src/x87.h"

namespace kelfpu {

using kel::control_word;
using kel::set_control_word;
inline uint16_t flags() { return kel::status_word() & kel::kFlagMask; }
inline void clear_flags() { kel::clear_exception_flags(); }

inline constexpr uint16_t kInvalid = kel::kFlagInvalid, kDivByZero = kel::kFlagDivByZero,
                          kOverflow = kel::kFlagOverflow, kUnderflow = kel::kFlagUnderflow,
                          kInexact = kel::kFlagInexact;

// Control words: 0x037f is the Linux default (64-bit precision, nearest).
inline constexpr uint16_t kDefault = 0x037F, kDouble = 0x027F, kSingle = 0x007F;
inline constexpr uint16_t kToNearest = 0x000, kDown = 0x400, kUp = 0x800, kTowardZero = 0xC00;

// Sets a control word for the scope, clears the flags, restores on exit.
class ScopedControlWord {
 public:
  explicit ScopedControlWord(uint16_t cw) : saved_(control_word()) {
    set_control_word(cw);
    clear_flags();
  }
  ~ScopedControlWord() {
    clear_flags();
    set_control_word(saved_);
  }

 private:
  uint16_t saved_;
};

// One element through a unary vector member under the default control
// word: the stored result, the returned status and the flags raised.
template <class T>
struct OneElement {
  T y;
  int status;
  uint16_t flags;
};
template <class T, class Fn>
OneElement<T> run_one(Fn fn, T x) {
  OneElement<T> r;
  ScopedControlWord cw(kDefault);
  r.status = fn(&x, &r.y, 1);
  r.flags = flags();
  return r;
}

// The i386 build runs under qemu, about a hundred times slower.
inline constexpr bool kNative = sizeof(void*) == 8;
inline constexpr bool kEmulated = !kNative;
constexpr size_t sized(size_t emulated, size_t native) { return kNative ? native : emulated; }

inline uint64_t bits_of(double x) { return std::bit_cast<uint64_t>(x); }
inline uint32_t bits_of(float x) { return std::bit_cast<uint32_t>(x); }
inline double double_from_bits(uint64_t b) { return std::bit_cast<double>(b); }
inline float float_from_bits(uint32_t b) { return std::bit_cast<float>(b); }

// Equality of encodings: +0 and -0 differ, a NaN equals only the same NaN.
// A long double compares its ten value bytes, not the padding.
template <class T>
bool same_bits(T a, T b) {
  return std::memcmp(&a, &b, std::is_same_v<T, long double> ? 10 : sizeof(T)) == 0;
}

// A long double's fields through the library's 80-bit view (memory only, no
// x87 arithmetic, so the caller's precision control does not matter).
using LdFields = kel::LdBits;
inline LdFields ld_fields(long double x) { return kel::Ld::bits(x); }
inline long double ld_from(uint16_t se, uint64_t mant) { return kel::Ld::make(mant, se); }
inline long double ld_make(int sign, int biased_exponent, uint64_t mant) {
  return ld_from(static_cast<uint16_t>(sign << 15 | biased_exponent), mant);
}

}  // namespace kelfpu

// x87 environment helpers for tests: run code under a chosen control word and
// read the exception flags it raised.
#pragma once

#include <cstdint>

namespace kelfpu {

inline uint16_t control_word() {
  uint16_t cw;
  asm volatile("fnstcw %0" : "=m"(cw) : : "memory");
  return cw;
}
inline void set_control_word(uint16_t cw) { asm volatile("fldcw %0" : : "m"(cw) : "memory"); }
inline uint16_t flags() {
  uint16_t sw;
  asm volatile("fnstsw %0" : "=m"(sw) : : "memory");
  return sw & 0x3F;
}
inline void clear_flags() { asm volatile("fnclex" : : : "memory"); }

inline constexpr uint16_t kInvalid = 0x01, kDivByZero = 0x04, kOverflow = 0x08, kUnderflow = 0x10,
                          kInexact = 0x20;

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

}  // namespace kelfpu

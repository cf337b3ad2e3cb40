// x87 control word, status word and explicit rounding points.
//
// GCC 12's C++ front end keeps double and float values in 80-bit x87
// registers and does not round them on assignment or cast ("fast" excess
// precision).  With the precision-control field at 53 bits every arithmetic
// result already has a double significand, but it keeps the wider exponent
// range of the register: values beyond DBL_MAX do not overflow and tiny ones
// do not become subnormal until they are stored.  Every point where an
// algorithm depends on that rounding (or on the flag the store raises) goes
// through round_to<T>() below; nothing else in the library relies on the
// compiler spilling a value.
#pragma once

#include <cstdint>

namespace kel {

// Control-word fields.
inline constexpr uint16_t kPrecisionRoundingMask = 0xF00;  // PC (bits 8-9) and RC (bits 10-11)
inline constexpr uint16_t kPrecision53Nearest = 0x200;     // real families
inline constexpr uint16_t kPrecision64Nearest = 0x300;     // complex families
inline constexpr uint16_t kRoundingMask = 0xC00;

// Status-word exception flags.
inline constexpr uint16_t kFlagInvalid = 0x01;
inline constexpr uint16_t kFlagDenormal = 0x02;
inline constexpr uint16_t kFlagDivByZero = 0x04;
inline constexpr uint16_t kFlagOverflow = 0x08;
inline constexpr uint16_t kFlagUnderflow = 0x10;
inline constexpr uint16_t kFlagInexact = 0x20;
inline constexpr uint16_t kFlagMask = 0x3F;

inline uint16_t control_word() {
  uint16_t cw;
  asm volatile("fnstcw %0" : "=m"(cw) : : "memory");
  return cw;
}

inline void set_control_word(uint16_t cw) { asm volatile("fldcw %0" : : "m"(cw) : "memory"); }

inline uint16_t status_word() {
  uint16_t sw;
  asm volatile("fnstsw %0" : "=m"(sw) : : "memory");
  return sw;
}

inline void clear_exception_flags() { asm volatile("fnclex" : : : "memory"); }

// Rounds v to the format T (float or double) at this exact point by storing it
// to memory and loading it back.  The store is the rounding: it produces the
// format's overflow, underflow and subnormal results and raises their flags.
// The volatile slot keeps the compiler from eliding the store or reusing the
// unrounded register value.
template <class T>
inline T round_to(long double v) {
  volatile T slot = static_cast<T>(v);
  return slot;
}

// The bit pattern of v rounded to double by one store (fstl): the rounding
// point of a screen that reads the rounded value as an integer, which a load
// can take straight from the store.
inline uint64_t bits_rounded_to_double(long double v) {
  double slot;
  asm volatile("fstl %0" : "=m"(slot) : "t"(v));
  uint64_t b;
  __builtin_memcpy(&b, &slot, sizeof b);
  return b;
}

// Stores v to a discarded T only for the exception flags the store raises.
template <class T>
inline void raise_by_store(long double v) {
  volatile T slot = static_cast<T>(v);
  (void)slot;
}

// Hides a constant from the optimiser so that an expression such as
// huge * huge is evaluated at run time, in the x87 unit, and raises its flags.
template <class T>
inline T opaque(T v) {
  asm volatile("" : "+m"(v));
  return v;
}

// The x87 square root (fsqrt): correctly rounded to the significand the
// precision control selects, in its rounding mode.  Inside a frame that runs
// at 64-bit precision and rounds to nearest it returns orxsqrtl_scalar's value
// bit for bit (both are correctly rounded), in one instruction instead of
// about 270 for the integer method, which does not depend on the caller's word.
inline long double sqrt_x87(long double x) {
  long double r;
  asm("fsqrt" : "=t"(r) : "0"(x));
  return r;
}

// Raises the invalid flag: inf - inf in the x87 unit, stored to a discarded
// double (a NaN operand that the arithmetic skips still signals this way).
inline void raise_invalid() { raise_by_store<double>(opaque(__builtin_infl()) - opaque(__builtin_infl())); }

// Takes the x87 precision and rounding fields under control for one call:
// if bits 8-11 of the caller's control word differ from Guard, the word is
// rewritten with those bits replaced by Guard (other bits kept) and restored by
// the destructor; an exact match leaves the word untouched.
template <uint16_t Guard>
class PrecisionGuard {
 public:
  PrecisionGuard() : saved_(control_word()), changed_((saved_ & kPrecisionRoundingMask) != Guard) {
    if (changed_) set_control_word(static_cast<uint16_t>((saved_ & ~kPrecisionRoundingMask) | Guard));
  }
  ~PrecisionGuard() {
    if (changed_) set_control_word(saved_);
  }
  PrecisionGuard(const PrecisionGuard&) = delete;
  PrecisionGuard& operator=(const PrecisionGuard&) = delete;

 private:
  uint16_t saved_;
  bool changed_;
};

}  // namespace kel

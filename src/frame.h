// The vector call frame shared by every exported array function.
//
// A family supplies an element kernel; the frame does the rest, in this order:
// the length test (len < 1 gives kelStatusSizeError before any pointer is
// looked at), the pointer tests in argument order (kelStatusNullPointer), the
// precision guard, the element loop in index order, and the status.
//
// Kernels that can report return an int code (0 for none) after storing the
// element's result; the frame then calls the error entry of the element's
// precision with the arrays' base pointers and the member's name object, and
// the code becomes the status: the last reported element wins.  Kernels that
// return void never report (complex and rounding families).
//
// Each source unit that instantiates members defines its own empty name object
// (KEL_NAME_OBJECT) and passes it here.
#pragma once

#include <type_traits>

#include "api.h"
#include "fp.h"
#include "x87.h"

// The one-byte zero name object of a source unit, passed to the error entry.
#define KEL_NAME_OBJECT                                                        \
  namespace {                                                                  \
  char unit_name[1];                                                           \
  }

namespace kel::frame {

// Guard values of the families.  kNoGuard leaves the control word alone.
inline constexpr uint16_t kNoGuard = 0xFFFF;
inline constexpr uint16_t kRealGuard = kPrecision53Nearest;
inline constexpr uint16_t kComplexGuard = kPrecision64Nearest;
// Real families that compute with 64-bit significands throughout: the call
// runs at 64-bit precision, set once, and each report drops to the real
// guard's 53-bit setting around the error entry, so that a caller sees the
// real guard (a value outside the control-word fields marks it).
inline constexpr uint16_t kExtendedRealGuard = 0x1000 | kPrecision64Nearest;

inline void report(int code, int index, const double *a1, const double *a2,
                   const double *r1, const double *r2, const char *name) {
  orxdError(code, index, a1, a2, r1, r2, name);
}
inline void report(int code, int index, const float *a1, const float *a2,
                   const float *r1, const float *r2, const char *name) {
  orxsError(code, index, a1, a2, r1, r2, name);
}

template <uint16_t Guard> struct GuardFor { PrecisionGuard<Guard> guard; };
template <> struct GuardFor<kNoGuard> {};
template <> struct GuardFor<kExtendedRealGuard> {
  PrecisionGuard<kPrecision64Nearest> guard;
};

// Runs element(i) for every index under the guard and folds the codes.
// report_at(i, code) calls the error entry for element i; it is a generic
// lambda so that frames of non-reporting kernels never instantiate it.
template <uint16_t Guard, class Element, class ReportAt>
inline KelStatus loop(int len, Element element, ReportAt report_at) {
  GuardFor<Guard> guard;
  (void)guard;
  KelStatus status = kelStatusNoError;
  for (int i = 0; i < len; ++i) {
    if constexpr (std::is_void_v<decltype(element(i))>) {
      element(i);
    } else {
      const int code = element(i);
      if (code != 0) {
        if constexpr (Guard == kExtendedRealGuard) {
          PrecisionGuard<kRealGuard> real;
          report_at(i, code);
        } else {
          report_at(i, code);
        }
        status = code;
      }
    }
  }
  return status;
}

template <class... P> inline bool any_null(const P *...p) {
  return ((p == nullptr) || ...);
}

// dst[i] = f(src[i])
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus unary(const T *src, T *dst, int len, const char *name) {
  if (len < 1)
    return kelStatusSizeError;
  if (any_null(src, dst))
    return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src[i], &dst[i]); },
      [&](int i, auto code) { report(code, i, src, src, dst, dst, name); });
}

// dst[i] = f(src1[i], src2[i])
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus binary(const T *src1, const T *src2, T *dst, int len,
                        const char *name) {
  if (len < 1)
    return kelStatusSizeError;
  if (any_null(src1, src2, dst))
    return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src1[i], src2[i], &dst[i]); },
      [&](int i, auto code) { report(code, i, src1, src2, dst, dst, name); });
}

// dst[i] = f(src[i], val): the scalar is a value, not checked; its address
// stands in the second argument slot of a report.
//
// The value is taken by reference to the exported function's argument slot
// and copied from there as bytes, never through an x87 load: a load quiets a
// signalling NaN, and an emulator may round it to the caller's precision,
// which the guard has not replaced yet.  Each element then reads the copy
// from memory, inside the guarded loop, as it reads a source element, so that
// a Powx member sees what the Pow member sees with that exponent in an array.
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus scalar_exponent(const T *src, const T &val, T *dst, int len,
                                 const char *name) {
  if (len < 1)
    return kelStatusSizeError;
  if (any_null(src, dst))
    return kelStatusNullPointer;
  T exponent[1];
  __builtin_memcpy(static_cast<void *>(exponent),
                   static_cast<const void *>(&val), sizeof(T));
  asm volatile(""
               :
               : "r"(exponent)
               : "memory"); // the copy is memory the loop must read
  return loop<Guard>(
      len, [&](int i) { return Kernel(src[i], exponent[0], &dst[i]); },
      [&](int i, auto code) {
        report(code, i, src, exponent, dst, dst, name);
      });
}

// (dst1[i], dst2[i]) = f(src[i])
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus two_results(const T *src, T *dst1, T *dst2, int len,
                             const char *name) {
  if (len < 1)
    return kelStatusSizeError;
  if (any_null(src, dst1, dst2))
    return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src[i], &dst1[i], &dst2[i]); },
      [&](int i, auto code) { report(code, i, src, src, dst1, dst2, name); });
}

// ---- Two elements per iteration ---------------------------------------------
//
// For families whose common elements take one main path that reports nothing.
// The element class K supplies
//   K::main_path(p)     one integer range test on the bits of the element at
//                       p, read from the source array (no x87 load);
//   K::main(x, out...)  that main path for an element that passed the test;
//   K::element(x, out...) the whole element, screen included, returning its
//                       code: every other element goes there, out of line.
// When both elements of a pair pass, their main paths run back to back with
// one branch for the pair: two independent dependency chains that the
// out-of-order core overlaps.  The arithmetic of each element is that of
// K::element, so results do not depend on the pairing, and each element is
// read before its result is written, in index order, exactly as in the
// one-at-a-time loop (src may be dst).  The lambdas copy the array pointers,
// so that the loop keeps them in registers.

// The screening words of a source element, read from the array as integers:
// the main path never takes an element's bits from an x87 register.
inline uint32_t high_word_at(const double *p) {
  uint32_t w;
  __builtin_memcpy(&w, reinterpret_cast<const char *>(p) + 4, sizeof w);
  return w;
}
inline uint32_t word_at(const float *p) {
  uint32_t w;
  __builtin_memcpy(&w, p, sizeof w);
  return w;
}

// A main-path screen on the magnitude, Low <= |x| < High, for elements
// whose common inputs form one range: the bounds are high words of doubles
// and words of floats.  One unsigned comparison per element.
template <uint32_t LowDouble, uint32_t HighDouble, uint32_t LowFloat, uint32_t HighFloat>
struct MagnitudeScreen {
  static bool main_path(const double *p) {
    return (high_word_at(p) & 0x7FFFFFFF) - LowDouble < HighDouble - LowDouble;
  }
  static bool main_path(const float *p) {
    return (word_at(p) & 0x7FFFFFFF) - LowFloat < HighFloat - LowFloat;
  }
};

// The rare path: a float element is widened as it is loaded, through the x87
// (which raises the denormal flag for a float subnormal and invalid for a
// signalling NaN), as in the one-at-a-time loop; a double element is handed
// over as it is, for the element's screen to read its bits.
template <class K, class T, class... Out>
[[gnu::noinline, gnu::cold]] int rare_element(const T *x, Out *...out) {
  T v = *x;
  if constexpr (sizeof(T) == 4)
    asm volatile("" : "+t"(v));
  return K::element(v, out...);
}

template <uint16_t Guard, class Screen, class Pair, class Single, class Rare,
          class ReportAt>
[[gnu::always_inline]] inline KelStatus
loop_pairs(int len, Screen screen, Pair pair, Single single, Rare rare,
           ReportAt report_at) {
  GuardFor<Guard> guard;
  (void)guard;
  KelStatus status = kelStatusNoError;
  auto one = [&](int i) {
    if (const int code = rare(i); code != 0) {
      if constexpr (Guard == kExtendedRealGuard) {
        PrecisionGuard<kRealGuard> real;
        report_at(i, code);
      } else {
        report_at(i, code);
      }
      status = code;
    }
  };
  int i = 0;
  for (; i + 1 < len; i += 2) {
    if (screen(i) & screen(i + 1)) [[likely]] {
      pair(i);
    } else {
      one(i);
      one(i + 1);
    }
  }
  if (i < len) {
    if (screen(i))
      single(i);
    else
      one(i);
  }
  return status;
}

template <uint16_t Guard, class K, class T>
[[gnu::always_inline]] inline KelStatus unary_pairs(const T *src, T *dst,
                                                    int len, const char *name) {
  if (len < 1)
    return kelStatusSizeError;
  if (any_null(src, dst))
    return kelStatusNullPointer;
  return loop_pairs<Guard>(
      len,
      [src](int i)
          __attribute__((always_inline)) { return K::main_path(&src[i]); },
      [ src, dst ](int i) __attribute__((always_inline)) {
        K::main(src[i], &dst[i]);
        // Keeps the second element's table loads from being merged with the
        // first's: a table constant kept in an x87 register across both
        // elements only crowds the eight-register stack and gets spilled.
        asm volatile("" : : : "memory");
        K::main(src[i + 1], &dst[i + 1]);
      },
      [ src, dst ](int i)
          __attribute__((always_inline)) { K::main(src[i], &dst[i]); },
      [src, dst](int i) { return rare_element<K>(&src[i], &dst[i]); },
      [&](int i, int code) { report(code, i, src, src, dst, dst, name); });
}

template <uint16_t Guard, class K, class T>
[[gnu::always_inline]] inline KelStatus
two_results_pairs(const T *src, T *dst1, T *dst2, int len, const char *name) {
  if (len < 1)
    return kelStatusSizeError;
  if (any_null(src, dst1, dst2))
    return kelStatusNullPointer;
  return loop_pairs<Guard>(
      len,
      [src](int i)
          __attribute__((always_inline)) { return K::main_path(&src[i]); },
      [ src, dst1, dst2 ](int i) __attribute__((always_inline)) {
        K::main(src[i], &dst1[i], &dst2[i]);
        asm volatile("" : : : "memory");
        K::main(src[i + 1], &dst1[i + 1], &dst2[i + 1]);
      },
      [ src, dst1, dst2 ](int i) __attribute__((always_inline)) {
        K::main(src[i], &dst1[i], &dst2[i]);
      },
      [src, dst1, dst2](int i) {
        return rare_element<K>(&src[i], &dst1[i], &dst2[i]);
      },
      [&](int i, int code) { report(code, i, src, src, dst1, dst2, name); });
}

// Rint and NearbyInt: no checks, no guard, the element count as result.
template <auto Kernel, class T>
inline int unchecked_count(const T *src, T *dst, int len) {
  for (int i = 0; i < len; ++i)
    Kernel(src[i], &dst[i]);
  return len > 0 ? len : 0;
}

} // namespace kel::frame

// Instantiates the five accuracy members of a real family from one element
// kernel per precision.  Members that share an algorithm are separate
// functions, each passing this unit's name object.  A member macro writes one
// exported function of a shape; KEL_REAL_FAMILY writes the five of a family.
#define KEL_UNARY_MEMBER(Func, T, Guard, K)                                    \
  KEL_API KelStatus Func(const T *s, T *d, int n) {                            \
    return kel::frame::unary<Guard, K>(s, d, n, unit_name);                    \
  }
#define KEL_BINARY_MEMBER(Func, T, Guard, K)                                   \
  KEL_API KelStatus Func(const T *a, const T *b, T *d, int n) {                \
    return kel::frame::binary<Guard, K>(a, b, d, n, unit_name);                \
  }
#define KEL_SCALAR_EXPONENT_MEMBER(Func, T, Guard, K)                          \
  KEL_API KelStatus Func(const T *s, T v, T *d, int n) {                       \
    return kel::frame::scalar_exponent<Guard, K>(s, v, d, n,                   \
                                                 unit_name);                   \
  }
// The same shapes on the two-at-a-time loop; each kernel argument is an
// element class for kel::frame::unary_pairs or two_results_pairs.
#define KEL_PAIRS_UNARY_MEMBER(Func, T, Guard, K)                              \
  KEL_API KelStatus Func(const T *s, T *d, int n) {                            \
    return kel::frame::unary_pairs<Guard, K>(s, d, n, unit_name);              \
  }
#define KEL_PAIRS_TWO_RESULTS_MEMBER(Func, T, Guard, K)                        \
  KEL_API KelStatus Func(const T *s, T *d1, T *d2, int n) {                    \
    return kel::frame::two_results_pairs<Guard, K>(s, d1, d2, n,               \
                                                   unit_name);                 \
  }

// The five members of real family Name, of one member shape above (UNARY,
// BINARY, SCALAR_EXPONENT, PAIRS_UNARY, PAIRS_TWO_RESULTS) under
// one guard: kRealGuard (53-bit precision), or kExtendedRealGuard for the
// families that compute with 64-bit significands (64-bit precision set once
// per call, the real guard around each report).
#define KEL_REAL_FAMILY(Shape, Guard, Name, K32, K50, K53)                     \
  KEL_##Shape##_MEMBER(kels##Name##_32f_A11, float, kel::frame::Guard, K32)    \
  KEL_##Shape##_MEMBER(kels##Name##_32f_A21, float, kel::frame::Guard, K32)    \
  KEL_##Shape##_MEMBER(kels##Name##_32f_A24, float, kel::frame::Guard, K32)    \
  KEL_##Shape##_MEMBER(kels##Name##_64f_A50, double, kel::frame::Guard, K50)   \
  KEL_##Shape##_MEMBER(kels##Name##_64f_A53, double, kel::frame::Guard, K53)

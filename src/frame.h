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

#include "x87.h"

// The one-byte zero name object of a source unit, passed to the error entry.
#define KEL_NAME_OBJECT \
  namespace {           \
  char _ORX_THISFUNC_NAME[1];  \
  }

namespace kel::frame {

// Guard values of the families.  kNoGuard leaves the control word alone.
inline constexpr uint16_t kNoGuard = 0xFFFF;
inline constexpr uint16_t kRealGuard = kPrecision53Nearest;
inline constexpr uint16_t kComplexGuard = kPrecision64Nearest;

inline void report(int code, int index, const double* a1, const double* a2, const double* r1,
                   const double* r2, const char* name) {
  orxdError(code, index, a1, a2, r1, r2, name);
}
inline void report(int code, int index, const float* a1, const float* a2, const float* r1,
                   const float* r2, const char* name) {
  orxsError(code, index, a1, a2, r1, r2, name);
}

template <uint16_t Guard>
struct GuardFor {
  PrecisionGuard<Guard> guard;
};
template <>
struct GuardFor<kNoGuard> {};

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
        report_at(i, code);
        status = code;
      }
    }
  }
  return status;
}

template <class... P>
inline bool any_null(const P*... p) {
  return ((p == nullptr) || ...);
}

// dst[i] = f(src[i])
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus unary(const T* src, T* dst, int len, const char* name) {
  if (len < 1) return kelStatusSizeError;
  if (any_null(src, dst)) return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src[i], &dst[i]); },
      [&](int i, auto code) { report(code, i, src, src, dst, dst, name); });
}

// dst[i] = f(src1[i], src2[i])
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus binary(const T* src1, const T* src2, T* dst, int len, const char* name) {
  if (len < 1) return kelStatusSizeError;
  if (any_null(src1, src2, dst)) return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src1[i], src2[i], &dst[i]); },
      [&](int i, auto code) { report(code, i, src1, src2, dst, dst, name); });
}

// dst[i] = f(src[i], val): the scalar is a value, not checked; its address
// stands in the second argument slot of a report.
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus scalar_exponent(const T* src, T val, T* dst, int len, const char* name) {
  if (len < 1) return kelStatusSizeError;
  if (any_null(src, dst)) return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src[i], val, &dst[i]); },
      [&](int i, auto code) { report(code, i, src, &val, dst, dst, name); });
}

// (dst1[i], dst2[i]) = f(src[i])
template <uint16_t Guard, auto Kernel, class T>
inline KelStatus two_results(const T* src, T* dst1, T* dst2, int len, const char* name) {
  if (len < 1) return kelStatusSizeError;
  if (any_null(src, dst1, dst2)) return kelStatusNullPointer;
  return loop<Guard>(
      len, [&](int i) { return Kernel(src[i], &dst1[i], &dst2[i]); },
      [&](int i, auto code) { report(code, i, src, src, dst1, dst2, name); });
}

// Rint and NearbyInt: no checks, no guard, the element count as result.
template <auto Kernel, class T>
inline int unchecked_count(const T* src, T* dst, int len) {
  for (int i = 0; i < len; ++i) Kernel(src[i], &dst[i]);
  return len > 0 ? len : 0;
}

}  // namespace kel::frame

// Instantiates the five accuracy members of a real family from one element
// kernel per precision.  Members that share an algorithm are separate
// functions, each passing this unit's name object.  KEL_REAL_UNARY_GUARDED
// takes the guard value; KEL_REAL_UNARY is the usual 53-bit one.
#define KEL_REAL_UNARY_GUARDED(Name, Guard, Kernel32, Kernel50, Kernel53)        \
  KEL_API KelStatus kels##Name##_32f_A11(const float* s, float* d, int n) {       \
    return kel::frame::unary<Guard, Kernel32>(s, d, n, _ORX_THISFUNC_NAME);      \
  }                                                                               \
  KEL_API KelStatus kels##Name##_32f_A21(const float* s, float* d, int n) {       \
    return kel::frame::unary<Guard, Kernel32>(s, d, n, _ORX_THISFUNC_NAME);      \
  }                                                                               \
  KEL_API KelStatus kels##Name##_32f_A24(const float* s, float* d, int n) {       \
    return kel::frame::unary<Guard, Kernel32>(s, d, n, _ORX_THISFUNC_NAME);      \
  }                                                                               \
  KEL_API KelStatus kels##Name##_64f_A50(const double* s, double* d, int n) {     \
    return kel::frame::unary<Guard, Kernel50>(s, d, n, _ORX_THISFUNC_NAME);      \
  }                                                                               \
  KEL_API KelStatus kels##Name##_64f_A53(const double* s, double* d, int n) {     \
    return kel::frame::unary<Guard, Kernel53>(s, d, n, _ORX_THISFUNC_NAME);      \
  }

#define KEL_REAL_UNARY(Name, Kernel32, Kernel50, Kernel53) \
  KEL_REAL_UNARY_GUARDED(Name, kel::frame::kRealGuard, Kernel32, Kernel50, Kernel53)

#define KEL_REAL_BINARY(Name, Kernel32, Kernel50, Kernel53)                                                \
  KEL_API KelStatus kels##Name##_32f_A11(const float* a, const float* b, float* d, int n) {                 \
    return kel::frame::binary<kel::frame::kRealGuard, Kernel32>(a, b, d, n, _ORX_THISFUNC_NAME);           \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_32f_A21(const float* a, const float* b, float* d, int n) {                 \
    return kel::frame::binary<kel::frame::kRealGuard, Kernel32>(a, b, d, n, _ORX_THISFUNC_NAME);           \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_32f_A24(const float* a, const float* b, float* d, int n) {                 \
    return kel::frame::binary<kel::frame::kRealGuard, Kernel32>(a, b, d, n, _ORX_THISFUNC_NAME);           \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_64f_A50(const double* a, const double* b, double* d, int n) {              \
    return kel::frame::binary<kel::frame::kRealGuard, Kernel50>(a, b, d, n, _ORX_THISFUNC_NAME);           \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_64f_A53(const double* a, const double* b, double* d, int n) {              \
    return kel::frame::binary<kel::frame::kRealGuard, Kernel53>(a, b, d, n, _ORX_THISFUNC_NAME);           \
  }

#define KEL_REAL_TWO_RESULTS(Name, Kernel32, Kernel50, Kernel53)                                           \
  KEL_API KelStatus kels##Name##_32f_A11(const float* s, float* d1, float* d2, int n) {                     \
    return kel::frame::two_results<kel::frame::kRealGuard, Kernel32>(s, d1, d2, n, _ORX_THISFUNC_NAME);    \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_32f_A21(const float* s, float* d1, float* d2, int n) {                     \
    return kel::frame::two_results<kel::frame::kRealGuard, Kernel32>(s, d1, d2, n, _ORX_THISFUNC_NAME);    \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_32f_A24(const float* s, float* d1, float* d2, int n) {                     \
    return kel::frame::two_results<kel::frame::kRealGuard, Kernel32>(s, d1, d2, n, _ORX_THISFUNC_NAME);    \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_64f_A50(const double* s, double* d1, double* d2, int n) {                  \
    return kel::frame::two_results<kel::frame::kRealGuard, Kernel50>(s, d1, d2, n, _ORX_THISFUNC_NAME);    \
  }                                                                                                         \
  KEL_API KelStatus kels##Name##_64f_A53(const double* s, double* d1, double* d2, int n) {                  \
    return kel::frame::two_results<kel::frame::kRealGuard, Kernel53>(s, d1, d2, n, _ORX_THISFUNC_NAME);    \
  }

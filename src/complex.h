// The complex vector frame: element adapters over the double-complex kernels,
// the float shim, and the macros that instantiate a complex family's members.
//
// Every complex member runs under the 0x300 guard (64-bit significand, round
// to nearest) and never reports: the status is 0 after the argument checks,
// and exceptional elements leave only the x87 flags the kernel raised.  The
// 32fc members reach the same double-complex kernel as the 64fc members
// through the float shim: widen exactly, call the kernel, round each part
// once to float, and raise underflow for a subnormal float part (a double
// kernel cannot know that its normal double result is a subnormal float).
#pragma once

#include "frame.h"

namespace kel::cplx {

using Kernel = Kel64fc (*)(Kel64fc);
using Kernel2 = Kel64fc (*)(Kel64fc, Kel64fc);

inline bool is_subnormal(float x) { return (bits(x) & 0x7F800000) == 0 && (bits(x) & 0x007FFFFF) != 0; }
inline bool is_subnormal(double x) {
  return (high_word(x) & 0x7FF00000) == 0 && (bits(x) & 0x000FFFFFFFFFFFFFull) != 0;
}

inline Kel32fc narrow(Kel64fc r) {
  const Kel32fc out = {round_to<float>(r.re), round_to<float>(r.im)};
  if (is_subnormal(out.re) || is_subnormal(out.im)) {
    raise_by_store<float>(opaque(0x1p-126f) * opaque(0x1p-126f));
  }
  return out;
}

inline Kel64fc widen(Kel32fc z) { return {z.re, z.im}; }

template <Kernel K>
void element64(Kel64fc z, Kel64fc* y) {
  *y = K(z);
}
template <Kernel K>
void element32(Kel32fc z, Kel32fc* y) {
  *y = narrow(K(widen(z)));
}
template <Kernel2 K>
void element64(Kel64fc a, Kel64fc b, Kel64fc* y) {
  *y = K(a, b);
}
template <Kernel2 K>
void element32(Kel32fc a, Kel32fc b, Kel32fc* y) {
  *y = narrow(K(widen(a), widen(b)));
}

}  // namespace kel::cplx

#define KEL_COMPLEX_MEMBER(Name, T, Acc, Element)                                          \
  KEL_API KelStatus kels##Name##_##T##_##Acc(const Kel##T* s, Kel##T* d, int n) {          \
    return kel::frame::unary<kel::frame::kComplexGuard, Element>(s, d, n, nullptr);      \
  }

// The five members of a unary complex family; accuracy suffixes share the code.
#define KEL_COMPLEX_UNARY(Name, Kernel)                                    \
  KEL_COMPLEX_MEMBER(Name, 32fc, A11, kel::cplx::element32<Kernel>)        \
  KEL_COMPLEX_MEMBER(Name, 32fc, A21, kel::cplx::element32<Kernel>)        \
  KEL_COMPLEX_MEMBER(Name, 32fc, A24, kel::cplx::element32<Kernel>)        \
  KEL_COMPLEX_MEMBER(Name, 64fc, A50, kel::cplx::element64<Kernel>)        \
  KEL_COMPLEX_MEMBER(Name, 64fc, A53, kel::cplx::element64<Kernel>)

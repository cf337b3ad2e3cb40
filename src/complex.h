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

#include "complex_bits.h"
#include "frame.h"

namespace kel::cplx {

using Kernel = Kel64fc (*)(Kel64fc);
using Kernel2 = Kel64fc (*)(Kel64fc, Kel64fc);


// The kernels' last step: a nonzero subnormal double part raises underflow
// (its store raised none if it was exact).
inline Kel64fc underflow_checked(Kel64fc r) {
  if (is_subnormal(r.re) || is_subnormal(r.im)) {
    raise_by_store<double>(opaque(0x1p-1022) * opaque(0x1p-1022));
  }
  return r;
}

inline Kel32fc narrow(Kel64fc r) {
  const Kel32fc out = {round_to<float>(r.re), round_to<float>(r.im)};
  if (is_subnormal(out.re) || is_subnormal(out.im)) {
    raise_by_store<float>(opaque(0x1p-126f) * opaque(0x1p-126f));
  }
  return out;
}

inline Kel64fc widen(Kel32fc z) { return {z.re, z.im}; }

// The exported kernels: signalling-NaN parts are quieted (invalid raised)
// before the kernel proper sees them; see quiet_signalling.
template <Kernel K>
Kel64fc entry(Kel64fc z) {
  return K(quiet_signalling(z));
}
template <Kernel2 K>
Kel64fc entry(Kel64fc a, Kel64fc b) {
  return K(quiet_signalling(a), quiet_signalling(b));
}

// Element adapters of the frame.  Sources are read by reference so that no
// copy of a signalling NaN goes through an x87 load before it is quieted.
template <Kernel K>
void element64(const Kel64fc& z, Kel64fc* y) {
  *y = K(quiet_signalling(z));
}
template <Kernel K>
void element32(const Kel32fc& z, Kel32fc* y) {
  *y = narrow(K(widen(quiet_signalling(z))));
}
template <Kernel2 K>
void element64(const Kel64fc& a, const Kel64fc& b, Kel64fc* y) {
  *y = K(quiet_signalling(a), quiet_signalling(b));
}
template <Kernel2 K>
void element32(const Kel32fc& a, const Kel32fc& b, Kel32fc* y) {
  *y = narrow(K(widen(quiet_signalling(a)), widen(quiet_signalling(b))));
}

}  // namespace kel::cplx

#define KEL_COMPLEX_MEMBER(Name, T, Acc, Element)                                          \
  KEL_API KelStatus kels##Name##_##T##_##Acc(const Kel##T* s, Kel##T* d, int n) {          \
    return kel::frame::unary<kel::frame::kComplexGuard, Element>(s, d, n, nullptr);      \
  }

// The five members of a complex family; the accuracy suffixes share the code.
// Shapes: unary, Pow (two sources, src1 the base) and Powx (the exponent by
// value, copied as bits by the frame).
#define KEL_COMPLEX_FIVE(Member, Name, Kernel)                  \
  Member(Name, 32fc, A11, kel::cplx::element32<Kernel>)         \
  Member(Name, 32fc, A21, kel::cplx::element32<Kernel>)         \
  Member(Name, 32fc, A24, kel::cplx::element32<Kernel>)         \
  Member(Name, 64fc, A50, kel::cplx::element64<Kernel>)         \
  Member(Name, 64fc, A53, kel::cplx::element64<Kernel>)
#define KEL_COMPLEX_BINARY_MEMBER(Name, T, Acc, Element)                                             \
  KEL_API KelStatus kels##Name##_##T##_##Acc(const Kel##T* a, const Kel##T* b, Kel##T* d, int n) { \
    return kel::frame::binary<kel::frame::kComplexGuard, Element>(a, b, d, n, nullptr);            \
  }
#define KEL_COMPLEX_SCALAR_MEMBER(Name, T, Acc, Element)                                         \
  KEL_API KelStatus kels##Name##_##T##_##Acc(const Kel##T* s, Kel##T v, Kel##T* d, int n) {    \
    return kel::frame::scalar_exponent<kel::frame::kComplexGuard, Element>(s, v, d, n, nullptr); \
  }
#define KEL_COMPLEX_UNARY(Name, Kernel) KEL_COMPLEX_FIVE(KEL_COMPLEX_MEMBER, Name, Kernel)
#define KEL_COMPLEX_BINARY(Name, Kernel) KEL_COMPLEX_FIVE(KEL_COMPLEX_BINARY_MEMBER, Name, Kernel)
#define KEL_COMPLEX_SCALAR_EXPONENT(Name, Kernel) KEL_COMPLEX_FIVE(KEL_COMPLEX_SCALAR_MEMBER, Name, Kernel)

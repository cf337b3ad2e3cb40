// Short kernels for the moderate arguments of the complex circular,
// hyperbolic and power functions (cfast.cpp).  They trade the last bits of
// the exported long-double kernels (0.51 ulp of the 64-bit significand) for
// speed: each is good to about 2^-62 relative, which still leaves a double
// result within 0.5 + 2^-9 ulp before its one rounding, and each hands the
// arguments it is not built for to the exact exported kernel.  Both run
// under the caller's 64-bit precision with rounding to nearest.
#pragma once

#include "hyperbolicl.h"

namespace kel::cfast {

struct SinCos {
  long double sin, cos;
};

// sin x and cos x; relative error below 2^-62 for 2^-32 <= |x| < 2^20,
// orxsincosl_scalar's result elsewhere.
SinCos sin_cos(long double x);

// sinh x and cosh x; relative error below 2^-62 for 2^-32 <= |x| < 1/2,
// kel::ld::sinh_cosh's result elsewhere.
ld::SinhCosh sinh_cosh(double x);

}  // namespace kel::cfast

// Hyperbolic sine and cosine of one long-double argument from one
// exponential, for the complex kernels (defined in hyperbolicl.cpp).
#pragma once

namespace kel::ld {

struct SinhCosh {
  long double sinh, cosh;
};

// Both values to a few ulp of the 64-bit significand, under the caller's
// 64-bit precision control; sinh(+-inf) = +-inf, cosh(+-inf) = +inf.
SinhCosh sinh_cosh(long double x);

}  // namespace kel::ld

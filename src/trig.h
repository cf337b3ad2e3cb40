// Sine, cosine and tangent: the scalar double kernels shared by the vector
// members (trig.cpp) and the single-element entry points (trig_sc.cpp).
#pragma once

#include "fp.h"
#include "x87.h"

namespace kel::trig {

// Every kernel expects 53-bit precision control with round-to-nearest and
// takes any double: NaNs come back quiet (x*x), infinities as x*0.0 (a NaN
// that raises invalid); the caller reports the infinities.
double _dSin(double x);
double _dCos(double x);
void _dSinCos(double x, double* sine, double* cosine);
double _dTan(double x);

}  // namespace kel::trig

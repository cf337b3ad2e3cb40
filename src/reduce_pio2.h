// Large-argument reduction modulo pi/2, shared by the circular functions.
#pragma once

#include "fp.h"
#include "x87.h"

namespace kel::reduce {

// The routine's constants (reduction_data.cpp, generated): signs, pi/4 in two,
// four and five pieces, 4/pi, and at slots 20-69 the 4/pi pieces T[0..49].
extern const double _orxReductionTab[70];

// orxreduce_pio2d itself, called directly (not through the dynamic symbol)
// by the circular functions of the library.
int reduce_pio2d(double x, double* r);

}  // namespace kel::reduce

// Large-argument reduction modulo pi/2, shared by the circular functions.
#pragma once

#include "fp.h"
#include "x87.h"

namespace kel::reduce {

// orxreduce_pio2d itself, called directly (not through the dynamic symbol)
// by the circular functions of the library.
int reduce_pio2d(double x, double* r);

}  // namespace kel::reduce

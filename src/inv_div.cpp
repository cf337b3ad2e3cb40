// Reciprocal and division: one x87 division per element at 53-bit precision,
// rounded once when stored (a float quotient is rounded to double precision in
// the register and then once more to float on the store, which for a
// division is the correctly rounded float result).  A zero divisor is the only
// reported case (singularity, code 18); the stored result is always the IEEE
// quotient: +-Inf, or NaN for 0/0.
#include "frame.h"

KEL_NAME_OBJECT

namespace {

// Denormals, infinities and NaNs divide unscreened: 1/denormal may overflow to
// Inf silently, 1/Inf is 0, a NaN comes out quiet.
template <class T>
int inv_element(T x, T* y) {
  *y = T(1) / x;
  return kel::is_zero(x) ? kelStatusSingularity : kelStatusNoError;
}

// An infinite or NaN operand bypasses the zero-divisor test: Inf/0 and NaN/0
// report nothing, while 0/0 reports a singularity (not a domain error).
template <class T>
int div_element(T a, T b, T* y) {
  *y = a / b;
  const bool special = kel::is_inf_or_nan(a) || kel::is_inf_or_nan(b);
  return !special && kel::is_zero(b) ? kelStatusSingularity : kelStatusNoError;
}

}  // namespace

KEL_REAL_FAMILY(UNARY, kRealGuard, Inv, inv_element<float>, inv_element<double>, inv_element<double>)

KEL_REAL_FAMILY(BINARY, kRealGuard, Div, div_element<float>, div_element<double>, div_element<double>)

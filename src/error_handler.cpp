// The standard error handler: raises the IEEE flag that matches a report's
// code.  The comparisons run 19, 18, 12, 17; any other code raises nothing.
#include "api.h"
#include "x87.h"

namespace {

constexpr double kMaxDouble = 0x1.fffffffffffffp+1023;
constexpr double kMinNormal = 0x1p-1022;

}  // namespace

// The products are formed in an x87 register, whose exponent range still
// holds them exactly; the store to a double is what overflows or underflows
// and raises the flag, so raise_by_store keeps it.  opaque() keeps the
// operands from being folded at compile time.
KEL_API void _orxStdErrorHandlerExcept(const OrxErrorRecord* record) {
  const int code = record->code;
  if (code == kelStatusDomain) {
    kel::raise_by_store<double>(kel::opaque(0.0) / kel::opaque(0.0));
  } else if (code == kelStatusSingularity) {
    kel::raise_by_store<double>(kel::opaque(1.0) / kel::opaque(0.0));
  } else if (code == kelStatusOverflow) {
    kel::raise_by_store<double>(kel::opaque(kMaxDouble) * kel::opaque(kMaxDouble));
  } else if (code == kelStatusUnderflow) {
    kel::raise_by_store<double>(kel::opaque(kMinNormal) * kel::opaque(kMinNormal));
  }
}


// Error entries: pack an element report into an OrxErrorRecord and raise the
// IEEE flag that matches its code.  This is the library's whole error path:
// the only lasting effect of a report is a flag in the caller's x87 status
// word (the vector function also returns the code as its status).
//
// The handler lives in its own unit and is reached through the dynamic symbol
// table, so a program can interpose its own _orxStdErrorHandlerExcept and see
// every record.
#include "api.h"
#include "x87.h"

namespace {

// Widens the element values by their bits, so that copying a signalling NaN
// into the record raises no invalid flag of its own (an x87 load would).
// The value travels as an integer from source to record: a double passed or
// returned by value would go through an x87 register on i386.
void widen(double* out, const double* p) { __builtin_memcpy(out, p, sizeof *out); }

uint64_t widened_bits(uint32_t b) {
  const uint64_t sign = static_cast<uint64_t>(b >> 31) << 63;
  const uint32_t e = (b >> 23) & 0xFF;
  uint32_t m = b & 0x7FFFFF;
  if (e == 0xFF) return sign | 0x7FF0000000000000ull | static_cast<uint64_t>(m) << 29;
  if (e != 0) return sign | static_cast<uint64_t>(e + 896) << 52 | static_cast<uint64_t>(m) << 29;
  if (m == 0) return sign;
  // Subnormal float m * 2^-149: normalise so that the top set bit is implicit.
  const int top = 31 - __builtin_clz(m);
  m &= ~(1u << top);
  return sign | static_cast<uint64_t>(top - 149 + 1023) << 52 | static_cast<uint64_t>(m) << (52 - top);
}

void widen(double* out, const float* p) {
  uint32_t b;
  __builtin_memcpy(&b, p, sizeof b);
  const uint64_t w = widened_bits(b);
  __builtin_memcpy(out, &w, sizeof w);
}

template <class T>
void fill_and_handle(int code, int index, const T* arg1, const T* arg2, const T* res1,
                     const T* res2, const char* name) {
  OrxErrorRecord record;
  record.code = code;
  record.index = index;
  widen(&record.arg1, arg1);
  widen(&record.arg2, arg2);
  widen(&record.res1, res1);
  widen(&record.res2, res2);
  record.name[0] = name[0];
  record.name[1] = 0;
  _orxStdErrorHandlerExcept(&record);
}

}  // namespace

KEL_API void orxdError(int code, int index, const double* arg1, const double* arg2,
                       const double* res1, const double* res2, const char* name) {
  fill_and_handle(code, index, arg1, arg2, res1, res2, name);
}

KEL_API void orxsError(int code, int index, const float* arg1, const float* arg2, const float* res1,
                       const float* res2, const char* name) {
  fill_and_handle(code, index, arg1, arg2, res1, res2, name);
}

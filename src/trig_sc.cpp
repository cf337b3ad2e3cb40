// Single-element entry points of the circular functions: compute element
// `index` of a caller's array with the special values and the domain report
// of the vector members, through the same scalar kernels (trig.cpp).
//
// Double routines screen on the upper word of the element alone: hw (sign
// cleared) >= 0x7FF00000 stores the default NaN 0xFFF8000000000000, and only
// hw == 0x7FF00000 (an infinity, or a NaN whose payload lies in the low word)
// is reported as a domain error.  The tangent routine also copies an element
// whose upper word is zero (+-0 and the smallest subnormals) unchanged, and
// sets *status to 19 for every infinity or NaN, reporting only the former.
// Single routines report exactly the infinities (default NaN 0xFFC00000) and
// let NaNs through the kernel.  *status is written only with a report (or by
// the tangent's NaN case), so a caller can accumulate it over many calls.
//
// The kernels need 53-bit precision: the routines set it (with round to
// nearest) only when the precision field differs, and restore the caller's
// word afterwards.
#include "api.h"
#include "trig.h"

namespace {

using namespace kel::trig;

constexpr uint64_t kDefaultNaN = 0xFFF8000000000000ull;
constexpr uint32_t kDefaultNaNf = 0xFFC00000u;
constexpr int kDomain = kelStatusDomain;

// Sets 53-bit precision with round-to-nearest if the precision field is not
// already 53 bits; the rounding field alone does not trigger a change.
class Precision53 {
 public:
  Precision53() : saved_(kel::control_word()), changed_((saved_ & 0x300) != 0x200) {
    if (changed_) kel::set_control_word(static_cast<uint16_t>((saved_ & ~0xF00) | 0x200));
  }
  ~Precision53() {
    if (changed_) kel::set_control_word(saved_);
  }

 private:
  uint16_t saved_;
  bool changed_;
};

uint32_t upper_word_abs(const double* p) {
  uint64_t b;
  __builtin_memcpy(&b, p, sizeof b);
  return static_cast<uint32_t>(b >> 32) & 0x7FFFFFFF;
}

void store_bits(double* p, uint64_t b) { __builtin_memcpy(p, &b, sizeof b); }
void store_bits(float* p, uint32_t b) { __builtin_memcpy(p, &b, sizeof b); }

// Common double routine of sine and cosine; Kernel is _dSin or _dCos.
template <double (*Kernel)(double)>
void double_sc(int index, const double* src, double* dst, int* status, const char* name) {
  const uint32_t hw = upper_word_abs(&src[index]);
  if (hw >= 0x7FF00000) {
    store_bits(&dst[index], kDefaultNaN);
    if (hw == 0x7FF00000) {
      orxdError(kDomain, index, src, src, dst, dst, name);
      *status = kDomain;
    }
    return;
  }
  Precision53 guard;
  dst[index] = Kernel(src[index]);
}

template <double (*Kernel)(double)>
void single_sc(int index, const float* src, float* dst, int* status, const char* name) {
  uint32_t b;
  __builtin_memcpy(&b, &src[index], sizeof b);
  if ((b & 0x7FFFFFFF) == 0x7F800000) {
    store_bits(&dst[index], kDefaultNaNf);
    orxsError(kDomain, index, src, src, dst, dst, name);
    *status = kDomain;
    return;
  }
  Precision53 guard;
  dst[index] = static_cast<float>(Kernel(src[index]));
}

}  // namespace

// Single common routines (not exported).
void _orxsSin_SC(int index, const float* src, float* dst, int* status, const char* name) {
  single_sc<_dSin>(index, src, dst, status, name);
}
void _orxsCos_SC(int index, const float* src, float* dst, int* status, const char* name) {
  single_sc<_dCos>(index, src, dst, status, name);
}
void _orxsTan_SC(int index, const float* src, float* dst, int* status, const char* name) {
  single_sc<_dTan>(index, src, dst, status, name);
}
void _orxsSinCos_SC(int index, const float* src, float* dsin, float* dcos, int* status, const char* name) {
  uint32_t b;
  __builtin_memcpy(&b, &src[index], sizeof b);
  if ((b & 0x7FFFFFFF) == 0x7F800000) {
    store_bits(&dsin[index], kDefaultNaNf);
    store_bits(&dcos[index], kDefaultNaNf);
    orxsError(kDomain, index, src, src, dsin, dcos, name);
    *status = kDomain;
    return;
  }
  Precision53 guard;
  double s, c;
  _dSinCos(src[index], &s, &c);
  dsin[index] = static_cast<float>(s);
  dcos[index] = static_cast<float>(c);
}

// Double common routines.
KEL_API void orxdSin_SC(int index, const double* src, double* dst, int* status, const char* name) {
  double_sc<_dSin>(index, src, dst, status, name);
}
KEL_API void orxdCos_SC(int index, const double* src, double* dst, int* status, const char* name) {
  double_sc<_dCos>(index, src, dst, status, name);
}
KEL_API void orxdSinCos_SC(int index, const double* src, double* dsin, double* dcos, int* status,
                           const char* name) {
  const uint32_t hw = upper_word_abs(&src[index]);
  if (hw >= 0x7FF00000) {
    store_bits(&dsin[index], kDefaultNaN);
    store_bits(&dcos[index], kDefaultNaN);
    if (hw == 0x7FF00000) {
      orxdError(kDomain, index, src, src, dsin, dcos, name);
      *status = kDomain;
    }
    return;
  }
  Precision53 guard;
  _dSinCos(src[index], &dsin[index], &dcos[index]);
}
KEL_API void orxdTan_SC(int index, const double* src, double* dst, int* status, const char* name) {
  const uint32_t hw = upper_word_abs(&src[index]);
  if (hw == 0) {  // +-0 and subnormals below 2^-1042: the element itself, bit for bit
    __builtin_memcpy(&dst[index], &src[index], sizeof(double));
    return;
  }
  if (hw >= 0x7FF00000) {
    store_bits(&dst[index], kDefaultNaN);
    if (hw == 0x7FF00000) orxdError(kDomain, index, src, src, dst, dst, name);
    *status = kDomain;
    return;
  }
  Precision53 guard;
  dst[index] = _dTan(src[index]);
}

// The entry points: thin wrappers that name themselves to the error entry.
#define KEL_SC_ENTRY(Fn, T, Common, Tag)                                     \
  KEL_API void Fn##_SC_##Tag(int index, const T* src, T* dst, int* status) { \
    Common(index, src, dst, status, #Fn "_" #Tag + 3);                      \
  }
#define KEL_SC_ENTRY2(Fn, T, Common, Tag)                                                      \
  KEL_API void Fn##_SC_##Tag(int index, const T* src, T* dsin, T* dcos, int* status) {        \
    Common(index, src, dsin, dcos, status, #Fn "_" #Tag + 3);                                 \
  }
#define KEL_SC_FAMILY(Fn, T, Common) \
  KEL_SC_ENTRY(Fn, T, Common, HA)    \
  KEL_SC_ENTRY(Fn, T, Common, LA)    \
  KEL_SC_ENTRY(Fn, T, Common, A11)

// "orxsCos" "_" "HA" + 3 is "sCos_HA": the name passed to the error entry.
KEL_SC_FAMILY(orxsCos, float, _orxsCos_SC)
KEL_SC_FAMILY(orxdCos, double, orxdCos_SC)
KEL_SC_FAMILY(orxsSin, float, _orxsSin_SC)
KEL_SC_FAMILY(orxdSin, double, orxdSin_SC)
KEL_SC_FAMILY(orxsTan, float, _orxsTan_SC)
KEL_SC_FAMILY(orxdTan, double, orxdTan_SC)
KEL_SC_ENTRY2(orxsSinCos, float, _orxsSinCos_SC, HA)
KEL_SC_ENTRY2(orxsSinCos, float, _orxsSinCos_SC, LA)
KEL_SC_ENTRY2(orxsSinCos, float, _orxsSinCos_SC, A11)
KEL_SC_ENTRY2(orxdSinCos, double, orxdSinCos_SC, HA)
KEL_SC_ENTRY2(orxdSinCos, double, orxdSinCos_SC, LA)
KEL_SC_ENTRY2(orxdSinCos, double, orxdSinCos_SC, A11)

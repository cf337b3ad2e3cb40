/* C99 callers of the library: the header compiles as C, and complex records
 * cross the C calling convention by value intact (on i386 a record argument is
 * copied into the argument list, a record result returned through a hidden
 * pointer).  Each function returns 1 on success; c_caller_test.cpp runs them. */
#include <string.h>

#include "kelvm.h"

typedef char kelvm_c_sizes_ok[sizeof(Kel32fc) == 8 && sizeof(Kel64fc) == 16 && sizeof(KelStatus) == 4 ? 1 : -1];

int kelvm_c_complex_by_value_ok(void) {
    Kel64fc r = orxcsqrt_scalar((Kel64fc){-4.0, 0.0});
    Kel64fc one = orxcexp_scalar((Kel64fc){0.0, -0.0});
    Kel32fc fz[2] = {{3.0f, 4.0f}, {-4.0f, -0.0f}}, fr[2];
    if (kelsSqrt_32fc_A24(fz, fr, 2) != kelStatusNoError) return 0;
    return r.re == 0.0 && r.im == 2.0 && one.re == 1.0 && one.im == 0.0 &&
           fr[0].re == 2.0f && fr[0].im == 1.0f && fr[1].re == 0.0f && fr[1].im == -2.0f;
}

/* Powx with the exponent passed by value, the caller at 24-bit precision
 * (control word 0x007F): the same bits as Pow with the exponent in an array
 * at the default control word. */
int kelvm_c_powx_by_value_ok(void) {
    const Kel64fc x[2] = {{1.5, -0.5}, {-2.0, 0.25}}, y = {0.3, -1.7}, ys[2] = {{0.3, -1.7}, {0.3, -1.7}};
    const Kel32fc xf[1] = {{1.5f, -0.5f}}, yf = {0.3f, -1.7f};
    Kel64fc r[2], p[2];
    Kel32fc rf[1], pf[1];
    unsigned short saved, single = 0x007F;
    if (kelsPow_64fc_A53(x, ys, p, 2) != kelStatusNoError) return 0;
    if (kelsPow_32fc_A24(xf, &yf, pf, 1) != kelStatusNoError) return 0;
    __asm__ volatile("fnstcw %0" : "=m"(saved));
    __asm__ volatile("fldcw %0" : : "m"(single));
    KelStatus s = kelsPowx_64fc_A53(x, y, r, 2);
    KelStatus sf = kelsPowx_32fc_A11(xf, yf, rf, 1);
    __asm__ volatile("fldcw %0" : : "m"(saved));
    return s == kelStatusNoError && sf == kelStatusNoError && memcmp(r, p, sizeof r) == 0 &&
           memcmp(rf, pf, sizeof rf) == 0;
}

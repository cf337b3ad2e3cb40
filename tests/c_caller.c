/* C99 callers of the library: the header must compile as C, and values and
 * records must cross the C calling convention intact.  Each function returns
 * 1 on success; c_caller_test.cpp runs them. */
#include "kelvm.h"

int kelvm_c_version_ok(void) {
    const KelLibraryVersion* v = kelvmGetLibVersion();
    return v->major == 5 && v->minor == 2 && v->targetCpu[0] == 'p';
}

int kelvm_c_inv_ok(void) {
    const double src[2] = {4.0, 0.0};
    double dst[2];
    KelStatus s = kelsInv_64f_A53(src, dst, 2);
    return s == kelStatusSingularity && dst[0] == 0.25 && dst[1] > 1e308;
}

int kelvm_c_sizes_ok(void) {
    return sizeof(Kel32fc) == 8 && sizeof(Kel64fc) == 16 && sizeof(KelStatus) == 4;
}

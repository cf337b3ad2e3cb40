/* kelvm.h: public interface of libkelvmpx.so.5.2, a vector elementary-math
 * library for 32-bit x86 Linux computed in the x87 unit.
 *
 * Every vector function kels<Function>_<type>[_<accuracy>] applies its function
 * element by element and returns a KelStatus: 0, a negative argument error, or
 * the code of the last element reported as an overflow, underflow, singularity
 * or domain error (the destination is complete in that case).  The accuracy
 * suffix is the number of correct bits guaranteed (A11/A21/A24 single,
 * A50/A53 double).  Valid C99 and C++. */
#ifndef KELVM_H
#define KELVM_H

/* The version of this interface; kelvmGetLibVersion() reports the same
 * numbers for the library actually loaded. */
#define KELVM_VERSION_MAJOR 5
#define KELVM_VERSION_MINOR 2
#define KELVM_VERSION_MAJOR_BUILD 108
#define KELVM_VERSION_BUILD 348
#define KELVM_VERSION_STRING "5.2"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status ----------------------------------------------------------- */

typedef int KelStatus;

enum {
    kelStatusNoError = 0,
    kelStatusSizeError = -6,     /* len <= 0; nothing written */
    kelStatusNullPointer = -8,   /* a null array pointer; nothing written */
    kelStatusOverflow = 12,
    kelStatusUnderflow = 17,
    kelStatusSingularity = 18,   /* pole: finite argument, infinite result */
    kelStatusDomain = 19
};

/* ---- Element and record types ----------------------------------------- */

typedef struct { float re; float im; } Kel32fc;
typedef struct { double re; double im; } Kel64fc;

typedef struct {
    int major;
    int minor;
    int majorBuild;
    int build;
    char targetCpu[4];
    const char* name;
    const char* version;
    const char* buildDate;
} KelLibraryVersion;

/* Record handed by the error entries to the standard handler. */
typedef struct {
    int code;
    int index;
    double arg1;
    double arg2;
    double res1;
    double res2;
    char name[4];
} OrxErrorRecord;

/* ---- Version and error entries ---------------------------------------- */

const KelLibraryVersion* kelvmGetLibVersion(void);

void orxdError(int code, int index, const double* arg1, const double* arg2,
               const double* res1, const double* res2, const char* name);
void orxsError(int code, int index, const float* arg1, const float* arg2,
               const float* res1, const float* res2, const char* name);
void _orxStdErrorHandlerExcept(const OrxErrorRecord* record);

/* ---- Real vector functions with an accuracy suffix (145) --------------- */

/* 32f, A11 */
KelStatus kelsExp_32f_A11(const float* src, float* dst, int len);
KelStatus kelsLn_32f_A11(const float* src, float* dst, int len);
KelStatus kelsLog10_32f_A11(const float* src, float* dst, int len);
KelStatus kelsSin_32f_A11(const float* src, float* dst, int len);
KelStatus kelsCos_32f_A11(const float* src, float* dst, int len);
KelStatus kelsTan_32f_A11(const float* src, float* dst, int len);
KelStatus kelsInv_32f_A11(const float* src, float* dst, int len);
KelStatus kelsSqrt_32f_A11(const float* src, float* dst, int len);
KelStatus kelsSinh_32f_A11(const float* src, float* dst, int len);
KelStatus kelsCosh_32f_A11(const float* src, float* dst, int len);
KelStatus kelsTanh_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAsin_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAcos_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAtan_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAsinh_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAcosh_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAtanh_32f_A11(const float* src, float* dst, int len);
KelStatus kelsInvSqrt_32f_A11(const float* src, float* dst, int len);
KelStatus kelsCbrt_32f_A11(const float* src, float* dst, int len);
KelStatus kelsInvCbrt_32f_A11(const float* src, float* dst, int len);
KelStatus kelsErf_32f_A11(const float* src, float* dst, int len);
KelStatus kelsErfc_32f_A11(const float* src, float* dst, int len);
KelStatus kelsErfInv_32f_A11(const float* src, float* dst, int len);
KelStatus kelsAtan2_32f_A11(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsDiv_32f_A11(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsHypot_32f_A11(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsPow_32f_A11(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsPowx_32f_A11(const float* src, float val, float* dst, int len);
KelStatus kelsSinCos_32f_A11(const float* src, float* dstSin, float* dstCos, int len);

/* 32f, A21 */
KelStatus kelsExp_32f_A21(const float* src, float* dst, int len);
KelStatus kelsLn_32f_A21(const float* src, float* dst, int len);
KelStatus kelsLog10_32f_A21(const float* src, float* dst, int len);
KelStatus kelsSin_32f_A21(const float* src, float* dst, int len);
KelStatus kelsCos_32f_A21(const float* src, float* dst, int len);
KelStatus kelsTan_32f_A21(const float* src, float* dst, int len);
KelStatus kelsInv_32f_A21(const float* src, float* dst, int len);
KelStatus kelsSqrt_32f_A21(const float* src, float* dst, int len);
KelStatus kelsSinh_32f_A21(const float* src, float* dst, int len);
KelStatus kelsCosh_32f_A21(const float* src, float* dst, int len);
KelStatus kelsTanh_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAsin_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAcos_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAtan_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAsinh_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAcosh_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAtanh_32f_A21(const float* src, float* dst, int len);
KelStatus kelsInvSqrt_32f_A21(const float* src, float* dst, int len);
KelStatus kelsCbrt_32f_A21(const float* src, float* dst, int len);
KelStatus kelsInvCbrt_32f_A21(const float* src, float* dst, int len);
KelStatus kelsErf_32f_A21(const float* src, float* dst, int len);
KelStatus kelsErfc_32f_A21(const float* src, float* dst, int len);
KelStatus kelsErfInv_32f_A21(const float* src, float* dst, int len);
KelStatus kelsAtan2_32f_A21(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsDiv_32f_A21(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsHypot_32f_A21(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsPow_32f_A21(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsPowx_32f_A21(const float* src, float val, float* dst, int len);
KelStatus kelsSinCos_32f_A21(const float* src, float* dstSin, float* dstCos, int len);

/* 32f, A24 */
KelStatus kelsExp_32f_A24(const float* src, float* dst, int len);
KelStatus kelsLn_32f_A24(const float* src, float* dst, int len);
KelStatus kelsLog10_32f_A24(const float* src, float* dst, int len);
KelStatus kelsSin_32f_A24(const float* src, float* dst, int len);
KelStatus kelsCos_32f_A24(const float* src, float* dst, int len);
KelStatus kelsTan_32f_A24(const float* src, float* dst, int len);
KelStatus kelsInv_32f_A24(const float* src, float* dst, int len);
KelStatus kelsSqrt_32f_A24(const float* src, float* dst, int len);
KelStatus kelsSinh_32f_A24(const float* src, float* dst, int len);
KelStatus kelsCosh_32f_A24(const float* src, float* dst, int len);
KelStatus kelsTanh_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAsin_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAcos_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAtan_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAsinh_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAcosh_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAtanh_32f_A24(const float* src, float* dst, int len);
KelStatus kelsInvSqrt_32f_A24(const float* src, float* dst, int len);
KelStatus kelsCbrt_32f_A24(const float* src, float* dst, int len);
KelStatus kelsInvCbrt_32f_A24(const float* src, float* dst, int len);
KelStatus kelsErf_32f_A24(const float* src, float* dst, int len);
KelStatus kelsErfc_32f_A24(const float* src, float* dst, int len);
KelStatus kelsErfInv_32f_A24(const float* src, float* dst, int len);
KelStatus kelsAtan2_32f_A24(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsDiv_32f_A24(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsHypot_32f_A24(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsPow_32f_A24(const float* src1, const float* src2, float* dst, int len);
KelStatus kelsPowx_32f_A24(const float* src, float val, float* dst, int len);
KelStatus kelsSinCos_32f_A24(const float* src, float* dstSin, float* dstCos, int len);

/* 64f, A50 */
KelStatus kelsExp_64f_A50(const double* src, double* dst, int len);
KelStatus kelsLn_64f_A50(const double* src, double* dst, int len);
KelStatus kelsLog10_64f_A50(const double* src, double* dst, int len);
KelStatus kelsSin_64f_A50(const double* src, double* dst, int len);
KelStatus kelsCos_64f_A50(const double* src, double* dst, int len);
KelStatus kelsTan_64f_A50(const double* src, double* dst, int len);
KelStatus kelsInv_64f_A50(const double* src, double* dst, int len);
KelStatus kelsSqrt_64f_A50(const double* src, double* dst, int len);
KelStatus kelsSinh_64f_A50(const double* src, double* dst, int len);
KelStatus kelsCosh_64f_A50(const double* src, double* dst, int len);
KelStatus kelsTanh_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAsin_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAcos_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAtan_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAsinh_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAcosh_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAtanh_64f_A50(const double* src, double* dst, int len);
KelStatus kelsInvSqrt_64f_A50(const double* src, double* dst, int len);
KelStatus kelsCbrt_64f_A50(const double* src, double* dst, int len);
KelStatus kelsInvCbrt_64f_A50(const double* src, double* dst, int len);
KelStatus kelsErf_64f_A50(const double* src, double* dst, int len);
KelStatus kelsErfc_64f_A50(const double* src, double* dst, int len);
KelStatus kelsErfInv_64f_A50(const double* src, double* dst, int len);
KelStatus kelsAtan2_64f_A50(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsDiv_64f_A50(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsHypot_64f_A50(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsPow_64f_A50(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsPowx_64f_A50(const double* src, double val, double* dst, int len);
KelStatus kelsSinCos_64f_A50(const double* src, double* dstSin, double* dstCos, int len);

/* 64f, A53 */
KelStatus kelsExp_64f_A53(const double* src, double* dst, int len);
KelStatus kelsLn_64f_A53(const double* src, double* dst, int len);
KelStatus kelsLog10_64f_A53(const double* src, double* dst, int len);
KelStatus kelsSin_64f_A53(const double* src, double* dst, int len);
KelStatus kelsCos_64f_A53(const double* src, double* dst, int len);
KelStatus kelsTan_64f_A53(const double* src, double* dst, int len);
KelStatus kelsInv_64f_A53(const double* src, double* dst, int len);
KelStatus kelsSqrt_64f_A53(const double* src, double* dst, int len);
KelStatus kelsSinh_64f_A53(const double* src, double* dst, int len);
KelStatus kelsCosh_64f_A53(const double* src, double* dst, int len);
KelStatus kelsTanh_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAsin_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAcos_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAtan_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAsinh_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAcosh_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAtanh_64f_A53(const double* src, double* dst, int len);
KelStatus kelsInvSqrt_64f_A53(const double* src, double* dst, int len);
KelStatus kelsCbrt_64f_A53(const double* src, double* dst, int len);
KelStatus kelsInvCbrt_64f_A53(const double* src, double* dst, int len);
KelStatus kelsErf_64f_A53(const double* src, double* dst, int len);
KelStatus kelsErfc_64f_A53(const double* src, double* dst, int len);
KelStatus kelsErfInv_64f_A53(const double* src, double* dst, int len);
KelStatus kelsAtan2_64f_A53(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsDiv_64f_A53(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsHypot_64f_A53(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsPow_64f_A53(const double* src1, const double* src2, double* dst, int len);
KelStatus kelsPowx_64f_A53(const double* src, double val, double* dst, int len);
KelStatus kelsSinCos_64f_A53(const double* src, double* dstSin, double* dstCos, int len);

/* ---- Rounding family (14): no precision guard, no element reports ----- */

KelStatus kelsCeil_32f(const float* src, float* dst, int len);
KelStatus kelsFloor_32f(const float* src, float* dst, int len);
KelStatus kelsTrunc_32f(const float* src, float* dst, int len);
KelStatus kelsRound_32f(const float* src, float* dst, int len);
/* Rint and NearbyInt check nothing and return the number of elements. */
int kelsRint_32f(const float* src, float* dst, int len);
int kelsNearbyInt_32f(const float* src, float* dst, int len);
KelStatus kelsModf_32f(const float* src, float* dstInt, float* dstFrac, int len);

KelStatus kelsCeil_64f(const double* src, double* dst, int len);
KelStatus kelsFloor_64f(const double* src, double* dst, int len);
KelStatus kelsTrunc_64f(const double* src, double* dst, int len);
KelStatus kelsRound_64f(const double* src, double* dst, int len);
/* Rint and NearbyInt check nothing and return the number of elements. */
int kelsRint_64f(const double* src, double* dst, int len);
int kelsNearbyInt_64f(const double* src, double* dst, int len);
KelStatus kelsModf_64f(const double* src, double* dstInt, double* dstFrac, int len);

/* ---- Complex vector functions (90): status is only 0, -6 or -8 -------- */

/* 32fc, A11 */
KelStatus kelsAcos_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAcosh_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAsin_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAsinh_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAtan_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAtanh_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsCos_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsCosh_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsExp_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsLn_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsLog10_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSin_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSinh_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSqrt_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsTan_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsTanh_32fc_A11(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsPow_32fc_A11(const Kel32fc* src1, const Kel32fc* src2, Kel32fc* dst, int len);
KelStatus kelsPowx_32fc_A11(const Kel32fc* src, Kel32fc val, Kel32fc* dst, int len);

/* 32fc, A21 */
KelStatus kelsAcos_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAcosh_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAsin_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAsinh_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAtan_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAtanh_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsCos_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsCosh_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsExp_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsLn_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsLog10_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSin_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSinh_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSqrt_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsTan_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsTanh_32fc_A21(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsPow_32fc_A21(const Kel32fc* src1, const Kel32fc* src2, Kel32fc* dst, int len);
KelStatus kelsPowx_32fc_A21(const Kel32fc* src, Kel32fc val, Kel32fc* dst, int len);

/* 32fc, A24 */
KelStatus kelsAcos_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAcosh_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAsin_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAsinh_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAtan_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsAtanh_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsCos_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsCosh_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsExp_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsLn_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsLog10_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSin_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSinh_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsSqrt_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsTan_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsTanh_32fc_A24(const Kel32fc* src, Kel32fc* dst, int len);
KelStatus kelsPow_32fc_A24(const Kel32fc* src1, const Kel32fc* src2, Kel32fc* dst, int len);
KelStatus kelsPowx_32fc_A24(const Kel32fc* src, Kel32fc val, Kel32fc* dst, int len);

/* 64fc, A50 */
KelStatus kelsAcos_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAcosh_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAsin_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAsinh_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAtan_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAtanh_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsCos_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsCosh_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsExp_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsLn_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsLog10_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsSin_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsSinh_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsSqrt_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsTan_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsTanh_64fc_A50(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsPow_64fc_A50(const Kel64fc* src1, const Kel64fc* src2, Kel64fc* dst, int len);
KelStatus kelsPowx_64fc_A50(const Kel64fc* src, Kel64fc val, Kel64fc* dst, int len);

/* 64fc, A53 */
KelStatus kelsAcos_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAcosh_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAsin_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAsinh_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAtan_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsAtanh_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsCos_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsCosh_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsExp_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsLn_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsLog10_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsSin_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsSinh_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsSqrt_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsTan_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsTanh_64fc_A53(const Kel64fc* src, Kel64fc* dst, int len);
KelStatus kelsPow_64fc_A53(const Kel64fc* src1, const Kel64fc* src2, Kel64fc* dst, int len);
KelStatus kelsPowx_64fc_A53(const Kel64fc* src, Kel64fc val, Kel64fc* dst, int len);

/* ---- Large-argument reduction modulo pi/2 ----------------------------- */

/* Returns the quadrant (0..3); r[0] + r[1] is the reduced argument. */
int orxreduce_pio2d(double x, double* r);

/* ---- Single-element trigonometric entry points ------------------------ */

void orxsCos_SC_HA(int index, const float* src, float* dst, int* status);
void orxsCos_SC_LA(int index, const float* src, float* dst, int* status);
void orxsCos_SC_A11(int index, const float* src, float* dst, int* status);
void orxdCos_SC_HA(int index, const double* src, double* dst, int* status);
void orxdCos_SC_LA(int index, const double* src, double* dst, int* status);
void orxdCos_SC_A11(int index, const double* src, double* dst, int* status);
void orxsSin_SC_HA(int index, const float* src, float* dst, int* status);
void orxsSin_SC_LA(int index, const float* src, float* dst, int* status);
void orxsSin_SC_A11(int index, const float* src, float* dst, int* status);
void orxdSin_SC_HA(int index, const double* src, double* dst, int* status);
void orxdSin_SC_LA(int index, const double* src, double* dst, int* status);
void orxdSin_SC_A11(int index, const double* src, double* dst, int* status);
void orxsTan_SC_HA(int index, const float* src, float* dst, int* status);
void orxsTan_SC_LA(int index, const float* src, float* dst, int* status);
void orxsTan_SC_A11(int index, const float* src, float* dst, int* status);
void orxdTan_SC_HA(int index, const double* src, double* dst, int* status);
void orxdTan_SC_LA(int index, const double* src, double* dst, int* status);
void orxdTan_SC_A11(int index, const double* src, double* dst, int* status);
void orxsSinCos_SC_HA(int index, const float* src, float* dstSin, float* dstCos, int* status);
void orxsSinCos_SC_LA(int index, const float* src, float* dstSin, float* dstCos, int* status);
void orxsSinCos_SC_A11(int index, const float* src, float* dstSin, float* dstCos, int* status);
void orxdSinCos_SC_HA(int index, const double* src, double* dstSin, double* dstCos, int* status);
void orxdSinCos_SC_LA(int index, const double* src, double* dstSin, double* dstCos, int* status);
void orxdSinCos_SC_A11(int index, const double* src, double* dstSin, double* dstCos, int* status);

void orxdCos_SC(int index, const double* src, double* dst, int* status, const char* name);
void orxdSin_SC(int index, const double* src, double* dst, int* status, const char* name);
void orxdTan_SC(int index, const double* src, double* dst, int* status, const char* name);
void orxdSinCos_SC(int index, const double* src, double* dstSin, double* dstCos, int* status,
                   const char* name);

/* ---- Extended-precision (long double) scalar kernels ------------------- */
/* They run under the caller's 64-bit precision control and never report. */

long double orxexpl_scalar(long double x);
long double orxlogl_scalar(long double x);
long double orxlog1pl_scalar(long double x);
long double orxsinl_scalar(long double x);
long double orxcosl_scalar(long double x);
long double orxtanl_scalar(long double x);
long double orxatanl_scalar(long double x);
long double orxsqrtl_scalar(long double x);
long double orxsinhl_scalar(long double x);
long double orxcoshl_scalar(long double x);
long double orxtanhl_scalar(long double x);
long double orxasinl_scalar(long double x);
long double orxacosl_scalar(long double x);
long double orxasinhl_scalar(long double x);
long double orxacoshl_scalar(long double x);
long double orxatanhl_scalar(long double x);
long double orxsindl_scalar(long double x);
long double orxcosdl_scalar(long double x);
void orxsincosl_scalar(long double x, long double* sine, long double* cosine);
long double orxatan2l_scalar(long double y, long double x);
long double orxatan2dl_scalar(long double y, long double x);
long double orxpowl_scalar(long double x, long double y);

/* Constant tables of the exponential and logarithm kernels. */
extern const double orx_orx_expl_table_256[257][2];
extern const float orx_orx_rcp_table_256[256];
extern const double orx_orx_logl_table_256[256][2];

/* ---- Classification tests (bits only, no flags) and absolute values --- */

int _orx_internal_isinf(double x);
int _orx_internal_ispinf(double x);
int _orx_internal_isninf(double x);
int _orx_internal_isnan(double x);
int _orx_internal_iszero(double x);
int _orx_internal_isnegzero(double x);
int _orx_internal_isnzfinite(double x);
float orx_sabs_scalar(float x);
double orx_dabs_scalar(double x);
long double orxfabsl_scalar(long double x);

/* ---- Double-complex scalar kernels ------------------------------------ */

Kel64fc orxcexp_scalar(Kel64fc z);
Kel64fc orxclog_scalar(Kel64fc z);
Kel64fc orxclog10_scalar(Kel64fc z);
Kel64fc orxcsqrt_scalar(Kel64fc z);
Kel64fc orxcacos_scalar(Kel64fc z);
Kel64fc orxcacosh_scalar(Kel64fc z);
Kel64fc orxcasin_scalar(Kel64fc z);
Kel64fc orxcasinh_scalar(Kel64fc z);
Kel64fc orxcatan_scalar(Kel64fc z);
Kel64fc orxcatanh_scalar(Kel64fc z);
Kel64fc orxccos_scalar(Kel64fc z);
Kel64fc orxccosh_scalar(Kel64fc z);
Kel64fc orxcsin_scalar(Kel64fc z);
Kel64fc orxcsinh_scalar(Kel64fc z);
Kel64fc orxctan_scalar(Kel64fc z);
Kel64fc orxctanh_scalar(Kel64fc z);
Kel64fc _orx_internal_csqrt(Kel64fc z);
Kel64fc orxcpow_scalar(Kel64fc x, Kel64fc y);

#ifdef __cplusplus
}
#endif

#endif /* KELVM_H */

// The reduction constants and the main polynomial of the extended-precision
// exponential (expl.cpp), shared with the power family's e^t (pow.cpp), which
// reads the same 2^(j/256) table.
#pragma once

namespace kel::expl {

// 256/ln2, and ln2/256 as a 25-bit head (n * head is exact for |n| < 2^23)
// and a tail.
inline constexpr double k256OverLn2 = 0x1.71547652b82fep+8;
inline constexpr double kLn2Over256[2] = {0x1.62e42ffp-9, -0x1.718432a1b0e26p-43};

// e^r - 1 - r, r^2..r^6 on |r| <= ln2/512: fitted; relative error of e^r - 1
// below 2^-66.4 against MPFR over 2^12 + 1 evenly spaced points.
inline constexpr double kP[5] = {0x1p-1, 0x1.5555555555405p-3, 0x1.555555555541dp-5, 0x1.111116887cd7cp-7,
                                 0x1.6c16c87372663p-10};

}  // namespace kel::expl

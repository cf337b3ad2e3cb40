// Seed table and constants of the square root (src/sqrt_data.cpp, generated
// by tools/gen/gen_sqrt.cpp).  Internal: nothing is exported.  The root
// family's InvSqrt reads the seeds too.
#pragma once

namespace kel::sqrt_data {

struct Tables {
  // seeds[p][j]: round(2048 / sqrt(2^p (1 + j/256))) / 2048, the reciprocal
  // square root at the lower end of the interval selected by the exponent
  // parity p and the top eight fraction bits j, to 11 significant bits.
  double seeds[2][256];
  double prescale;   // 2^200, makes a subnormal normal
  double zero;       // 0/0 is the domain result
  double half;
  double parity[2];  // 1 and 2, the factor of m by exponent parity; 1 is also the template of the scale
  double split;      // 2^27 + 1, Dekker's splitting constant
};

extern const Tables kTables;

}  // namespace kel::sqrt_data

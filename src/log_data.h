// Constant tables of the logarithm family (values in log_data.cpp, generated
// by tools/gen/gen_log.cpp): one record per algorithm, its fields in the
// order the algorithms in log.cpp read them; the static_asserts pin the sizes.
#pragma once

namespace kel::log_data {

// Low-accuracy Ln: no table proper, only constants and the odd-series
// coefficients c2..c8 in s = (f - 1)/(f + 1).
struct LnLATab {
  double ln2, sqrt2, two60, zero, one, two;
  double c[7];  // c2..c8
};

// Low-accuracy Log10: the same computation followed by a change of base.
struct LgLATab {
  double log10_2, log10_e, sqrt2, two60, zero, one, two;
  double c[7];  // c2..c8
};

// One row of a high-accuracy table: a short reciprocal r ~ 1/(1 + i/64) (for
// Log10 pre-scaled by lambda) and -log(reciprocal) split into hi + lo.
struct LogHARow {
  double r, hi, lo;
};

// High-accuracy Ln: 65 rows, ln 2 split into log2_hi + log2_lo, the index and
// splitting shifters, the near-one bound and k1..k7 of ln(1 + r) - r ~ r^2 Q(r).
struct LnHATab {
  LogHARow row[65];
  double log2_hi, log2_lo, index_shifter, split_shifter, near_one, two60, zero, one;
  double k[7];  // k1..k7
};

// High-accuracy Log10: rows with r = lambda * rho, log10 2 split, and
// m0..m7 of log10(1 + u) ~ w + w P(w), w = lambda u.
struct LgHATab {
  LogHARow row[65];
  double log2_hi, log2_lo, index_shifter, split_shifter, near_one, two60, zero, one, lambda;
  double m[8];  // m0..m7
};

static_assert(sizeof(LnLATab) == 13 * sizeof(double));
static_assert(sizeof(LgLATab) == 14 * sizeof(double));
static_assert(sizeof(LnHATab) == 210 * sizeof(double));
static_assert(sizeof(LgHATab) == 212 * sizeof(double));

struct Tables {
  LnLATab ln_la;
  LgLATab lg_la;
  LnHATab ln_ha;
  LgHATab lg_ha;
};

extern const Tables kTables;

}  // namespace kel::log_data

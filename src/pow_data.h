// The logarithm table of the power family (src/pow_log_data.cpp, generated
// by tools/gen/gen_pow_log.cpp).  Internal: nothing is exported.
#pragma once

namespace kel::pow_data {

struct LogRow {
  double r;       // 11-bit reciprocal of the row's midpoint (row 0: 1, row 255: 1/2)
  double hi, lo;  // -ln r: hi on the 2^-40 grid, lo the rest
};

struct LogTable {
  double ln2_hi, ln2_lo;  // ln2_hi on the 2^-40 grid
  LogRow rows[256];       // m in [1 + j/256, 1 + (j+1)/256)
};

extern const LogTable kPowLog;

}  // namespace kel::pow_data

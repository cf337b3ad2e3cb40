// Input sets of the benchmarks, shared by the timing suite and the
// instruction counter: the main path of each function and, separately, its
// special paths (huge trigonometric arguments, subnormals).
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace kelbench {

struct Range {
  double lo, hi;
  bool log_uniform;  // magnitudes spread over binades instead of uniformly
};

// Main-path range of a family (the exported name's function part).
inline Range main_range(const std::string& f, bool single) {
  if (f == "Exp") return single ? Range{-87, 88, false} : Range{-700, 700, false};
  if (f == "Ln" || f == "Log10") return single ? Range{1e-30, 1e30, true} : Range{1e-300, 1e300, true};
  if (f == "Sqrt" || f == "InvSqrt") return {1e-30, 1e30, true};
  if (f == "Sin" || f == "Cos" || f == "SinCos" || f == "Tan") return {-100, 100, false};
  if (f == "Asin" || f == "Acos" || f == "Atanh" || f == "Erf" || f == "ErfInv") return {-0.99, 0.99, false};
  if (f == "Acosh") return {1, 1e6, false};
  if (f == "Sinh" || f == "Cosh") return single ? Range{-80, 80, false} : Range{-700, 700, false};
  if (f == "Pow" || f == "Powx") return {0.1, 10, false};
  if (f == "Erfc") return {-5, 27, false};
  return {-1e6, 1e6, false};
}

// Special-path range, or an empty range when the family has none.
inline Range special_range(const std::string& f, bool single) {
  if (f == "Sin" || f == "Cos" || f == "SinCos") return {1e6, single ? 1e38 : 1e300, true};
  if (f == "Tan") return {2e4, single ? 1e38 : 1e300, true};
  if (f == "Exp") return single ? Range{-103, -88, false} : Range{-745, -709, false};
  if (f == "Ln" || f == "Log10" || f == "Sqrt") return single ? Range{1e-45, 1e-38, true} : Range{5e-324, 2e-308, true};
  return {0, 0, false};
}

inline std::vector<double> make_inputs(Range r, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::vector<double> v(n);
  if (r.log_uniform) {
    std::uniform_real_distribution<double> e(std::log2(r.lo), std::log2(r.hi));
    for (auto& x : v) x = std::exp2(e(rng));
  } else {
    std::uniform_real_distribution<double> u(r.lo, r.hi);
    for (auto& x : v) x = u(rng);
  }
  return v;
}

}  // namespace kelbench

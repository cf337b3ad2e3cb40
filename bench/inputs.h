// Benchmark inputs, shared by the timing suite and the instruction counter:
// n values drawn from one of the catalogue's ranges (tools/catalogue.h).
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "catalogue.h"

namespace kelbench {

inline std::vector<double> make_inputs(kelcat::Range r, size_t n, uint64_t seed) {
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

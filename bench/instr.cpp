// Runs one vector function once over n elements of its benchmark inputs, for
// instruction counting: scripts/perf_report.sh runs it under callgrind at two
// lengths and takes the difference per element, which cancels the start-up cost.
//   kelvm_instr NAME N [special]
#include <dlfcn.h>

#include <cstdlib>
#include <string>

#include "inputs.h"
#include "kelvm.h"

int main(int argc, char** argv) {
  if (argc < 3 || !kelvmGetLibVersion()) return 2;
  const std::string name = argv[1];
  const int n = std::atoi(argv[2]);
  const bool special = argc > 3;
  for (const auto& f : kelcat::vector_names()) {
    if (f.name != name) continue;
    void* sym = dlsym(RTLD_DEFAULT, name.c_str());
    if (!sym) return 3;
    const bool single = f.elem == kelcat::Elem::f32 || f.elem == kelcat::Elem::c32;
    // The inputs are made for the largest length counted, whatever n is, so
    // that the difference between two lengths holds only the function's work.
    constexpr int kInputs = 20000;
    if (n > kInputs) return 2;
    kelbench::Buffers buf(kelbench::make_inputs(f.family->bench_range(special, single), kInputs, 1));
    const auto call = kelbench::member_call(f, sym, &buf);
    if (!call) return 4;
    call(n);
    return 0;
  }
  return 3;
}

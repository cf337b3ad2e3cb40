// Runs one vector function once over n main-path elements, for instruction
// counting: scripts/perf_report.sh runs it under callgrind at two lengths and
// takes the difference per element, which cancels the start-up cost.
//   kelvm_instr NAME N [special]
#include <dlfcn.h>

#include <cstdio>
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
    const auto r = f.family->bench_range(special, f.elem == kelcat::Elem::f32);
    // The inputs are made for the largest length counted, whatever n is, so
    // that the difference between two lengths holds only the function's work.
    constexpr int kInputs = 20000;
    if (n > kInputs) return 2;
    const auto in = kelbench::make_inputs(r, kInputs, 1);
    std::vector<double> out(kInputs), out2(kInputs);
    std::vector<float> inf(in.begin(), in.end()), outf(kInputs), out2f(kInputs);
    using kelcat::Shape;
    const Shape shape = f.family->shape;
    if (f.elem == kelcat::Elem::f64) {
      if (shape == Shape::two)
        reinterpret_cast<int (*)(const double*, double*, double*, int)>(sym)(in.data(), out.data(), out2.data(), n);
      else if (shape == Shape::binary)
        reinterpret_cast<int (*)(const double*, const double*, double*, int)>(sym)(in.data(), in.data(), out.data(), n);
      else
        reinterpret_cast<int (*)(const double*, double*, int)>(sym)(in.data(), out.data(), n);
    } else if (f.elem == kelcat::Elem::f32) {
      if (shape == Shape::two)
        reinterpret_cast<int (*)(const float*, float*, float*, int)>(sym)(inf.data(), outf.data(), out2f.data(), n);
      else if (shape == Shape::binary)
        reinterpret_cast<int (*)(const float*, const float*, float*, int)>(sym)(inf.data(), inf.data(), outf.data(), n);
      else
        reinterpret_cast<int (*)(const float*, float*, int)>(sym)(inf.data(), outf.data(), n);
    } else {
      return 4;  // complex functions are counted by the timing suite only
    }
    return 0;
  }
  return 3;
}

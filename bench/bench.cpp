// Elements per second of every vector function present in the library, at
// array lengths 1, 16, 1000 and 100000, on the main-path inputs of its family
// and separately on its special-path inputs; beside glibc's scalar double,
// float and long-double functions called in a loop over the same inputs.
//
// Each benchmark reports time-stamp ticks per element.  The time-stamp
// counter runs at a fixed rate, not at the core clock, so the core clock is
// calibrated at start-up on a chain of dependent integer additions, one core
// cycle each (the "core_ghz" context entry); report.py converts CPU time per
// element into core cycles with it.  Unary and two-result functions also get a latency row
// (NAME/latency/1): one-element calls in a dependency chain, each input
// formed from the previous result, so that the chain's length is measured
// rather than the overlap of independent elements.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <x86intrin.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <functional>
#include <map>
#include <tuple>
#include <memory>

#include "inputs.h"
#include "kelvm.h"

namespace {

using kelcat::Elem;
using kelcat::Shape;
using Function = kelcat::Name;

constexpr int kLengths[] = {1, 16, 1000, 100000};
constexpr size_t kMaxLen = 100000;

// Core cycles per time-stamp tick: the best of many runs of 10000 dependent
// integer additions, which take one core cycle each.
double calibrate_core_per_tsc() {
  double best = 1e30;
  for (int run = 0; run < 200; ++run) {
    uint64_t x = 0;
    const uint64_t t0 = __rdtsc();
    for (int i = 0; i < 1000; ++i)
      asm volatile(
          "add $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\t"
          "add $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0"
          : "+r"(x));
    best = std::min(best, static_cast<double>(__rdtsc() - t0));
  }
  return 10000.0 / best;
}

// Runs body() (one pass over len elements) under the timer and reports
// elements per second and time-stamp ticks per element.
void timed(benchmark::State& state, const std::function<void(int)>& body) {
  const int len = static_cast<int>(state.range(0));
  const uint64_t t0 = __rdtsc();
  for (auto _ : state) {
    body(len);
    benchmark::ClobberMemory();
  }
  const double items = static_cast<double>(state.iterations()) * len;
  state.SetItemsProcessed(static_cast<int64_t>(items));
  state.counters["cycles/elem"] = static_cast<double>(__rdtsc() - t0) / items;
}

// Time-stamp ticks per nanosecond, over 20 ms of the steady clock.
double tsc_per_ns() {
  const auto c0 = std::chrono::steady_clock::now();
  const uint64_t t0 = __rdtsc();
  while (std::chrono::steady_clock::now() - c0 < std::chrono::milliseconds(20)) {
  }
  const double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - c0).count();
  return static_cast<double>(__rdtsc() - t0) / ns;
}

// A dependency chain of one-element calls: input i is a main-path value plus
// zero times result i-1, which the x87 cannot know to be zero, so each call
// waits for the previous one.
template <class T>
std::function<void(int)> latency_chain(const Function& f, void* sym, const T* in) {
  auto* unary = reinterpret_cast<int (*)(const T*, T*, int)>(sym);
  auto* two = reinterpret_cast<int (*)(const T*, T*, T*, int)>(sym);
  const bool two_results = f.family->shape == Shape::two;
  return [=](int n) {
    static volatile T zero_cell = 0;
    const T zero = zero_cell;
    T x, y = 0, y2 = 0;
    for (int i = 0; i < n; ++i) {
      x = in[i] + zero * y;
      if (two_results)
        two(&x, &y, &y2, 1);
      else
        unary(&x, &y, 1);
    }
    benchmark::DoNotOptimize(y);
  };
}

// One set of buffers per input range, shared by every function benchmarked on
// it (the members of a family, and families with the same range): a set holds
// about 12 MB, and one per function would not fit the i386 address space.
std::map<std::tuple<double, double, bool, uint64_t>, std::unique_ptr<kelbench::Buffers>> g_buffers;

kelbench::Buffers* buffers_for(kelcat::Range r, uint64_t seed) {
  auto& slot = g_buffers[{r.lo, r.hi, r.log_uniform, seed}];
  if (!slot) slot = std::make_unique<kelbench::Buffers>(kelbench::make_inputs(r, kMaxLen, seed));
  return slot.get();
}

void register_latency(const Function& f, void* sym, const kelbench::Buffers* buf) {
  if ((f.family->shape != Shape::unary && f.family->shape != Shape::two) || f.family->counts) return;
  std::function<void(int)> body;
  if (f.elem == Elem::f64)
    body = latency_chain<double>(f, sym, buf->a.data());
  else if (f.elem == Elem::f32)
    body = latency_chain<float>(f, sym, buf->af.data());
  else
    return;
  benchmark::RegisterBenchmark((f.name + "/latency").c_str(), [body](benchmark::State& s) { timed(s, body); })
      ->Arg(1000);
}

void register_library() {
  for (const Function& f : kelcat::vector_names()) {
    void* sym = dlsym(RTLD_DEFAULT, f.name.c_str());
    if (!sym) continue;
    const bool single = f.elem == Elem::f32 || f.elem == Elem::c32;
    for (int special = 0; special < 2; ++special) {
      const auto range = f.family->bench_range(special, single);
      if (range.lo == range.hi) continue;
      kelbench::Buffers* buf = buffers_for(range, 1);
      if (f.elem == Elem::f80) continue;
      const auto call = kelbench::member_call(f, sym, buf);
      const std::function<void(int)> body = [call](int n) { benchmark::DoNotOptimize(call(n)); };
      auto* b = benchmark::RegisterBenchmark((f.name + (special ? "/special" : "/main")).c_str(),
                                             [body](benchmark::State& s) { timed(s, body); });
      for (int len : kLengths) b->Arg(len);
      if (!special) register_latency(f, sym, buf);
    }
  }
}

// glibc's scalar functions in a loop, on the inputs of the matching family
// (for two-argument functions, the second source reversed, as for ours).
template <class T, class Fn>
void register_loop(const char* name, const char* family, Fn fn) {
  const bool single = sizeof(T) == 4;
  for (int special = 0; special < 2; ++special) {
    const auto range = kelcat::find(family, kelcat::Domain::real)->bench_range(special, single);
    if (range.lo == range.hi) continue;
    const auto in = kelbench::make_inputs(range, kMaxLen, 1);
    auto src = std::make_shared<std::vector<T>>(in.begin(), in.end());
    auto src2 = std::make_shared<std::vector<T>>(in.rbegin(), in.rend());
    auto dst = std::make_shared<std::vector<T>>(in.size());
    auto body = [=](int n) {
      const T* a = src->data();
      const T* b = src2->data();
      T* r = dst->data();
      if constexpr (std::is_invocable_v<Fn, T, T>) {
        for (int i = 0; i < n; ++i) r[i] = fn(a[i], b[i]);
      } else {
        for (int i = 0; i < n; ++i) r[i] = fn(a[i]);
      }
    };
    auto* b = benchmark::RegisterBenchmark((std::string("glibc:") + name + (special ? "/special" : "/main")).c_str(),
                                           [body](benchmark::State& s) { timed(s, body); });
    for (int len : kLengths) b->Arg(len);
    if constexpr (!std::is_invocable_v<Fn, T, T>) {
      if (!special) {
        auto chain = [=](int n) {
          static volatile T zero_cell = 0;
          const T zero = zero_cell;
          T y = 0;
          for (int i = 0; i < n; ++i) y = fn((*src)[i] + zero * y);
          benchmark::DoNotOptimize(y);
        };
        benchmark::RegisterBenchmark((std::string("glibc:") + name + "/latency").c_str(),
                                     [chain](benchmark::State& s) { timed(s, chain); })
            ->Arg(1000);
      }
    }
  }
}

template <class T>
void register_scalar(const char* name, const char* family, T (*fn)(T)) {
  register_loop<T>(name, family, fn);
}

// glibc's complex functions in a loop, on the complex inputs the library's
// benchmarks of the family use (parts from the family's range times 1e-5).
template <class T, class Fn>
void register_complex(const char* name, const char* family, Fn fn) {
  const auto in = kelbench::make_inputs(kelcat::find(family, kelcat::Domain::complex)->main.d, kMaxLen, 1);
  auto src = std::make_shared<std::vector<std::complex<T>>>(in.size());
  for (size_t i = 0; i < in.size(); ++i) (*src)[i] = {T(in[i] * 1e-5), T(in[in.size() - 1 - i] * 1e-5)};
  auto dst = std::make_shared<std::vector<std::complex<T>>>(in.size());
  auto body = [=](int n) {
    if constexpr (std::is_invocable_v<Fn, std::complex<T>, std::complex<T>>) {  // cpow: the library's exponent
      for (int i = 0; i < n; ++i) (*dst)[i] = fn((*src)[i], std::complex<T>(0.5, 0.25));
    } else {
      for (int i = 0; i < n; ++i) (*dst)[i] = fn((*src)[i]);
    }
  };
  auto* b = benchmark::RegisterBenchmark((std::string("glibc:") + name + "/main").c_str(),
                                         [body](benchmark::State& s) { timed(s, body); });
  for (int len : kLengths) b->Arg(len);
}

#define KEL_GLIBC_COMPLEX(fn, Family)                                                                  \
  register_complex<double>("c" #fn, Family, [](const std::complex<double>& z) { return std::fn(z); }); \
  register_complex<long double>("c" #fn "l", Family, [](const std::complex<long double>& z) { return std::fn(z); })

double recip(double x) { return 1.0 / x; }
float recipf(float x) { return 1.0f / x; }

void register_glibc() {
  register_scalar<double>("exp", "Exp", std::exp);
  register_scalar<float>("expf", "Exp", std::exp);
  register_scalar<long double>("expl", "Exp", std::exp);
  register_scalar<double>("log", "Ln", std::log);
  register_scalar<float>("logf", "Ln", std::log);
  register_scalar<long double>("logl", "Ln", std::log);
  register_scalar<double>("log10", "Log10", std::log10);
  register_scalar<float>("log10f", "Log10", std::log10);
  register_scalar<double>("sin", "Sin", std::sin);
  register_scalar<float>("sinf", "Sin", std::sin);
  register_scalar<long double>("sinl", "Sin", std::sin);
  register_scalar<long double>("log10l", "Log10", std::log10);
  register_scalar<double>("cos", "Cos", std::cos);
  register_scalar<long double>("cosl", "Cos", std::cos);
  register_scalar<long double>("tanl", "Tan", std::tan);
  register_scalar<float>("cosf", "Cos", std::cos);
  register_scalar<double>("tan", "Tan", std::tan);
  register_scalar<float>("tanf", "Tan", std::tan);
  register_scalar<double>("sqrt", "Sqrt", std::sqrt);
  register_scalar<float>("sqrtf", "Sqrt", std::sqrt);
  register_scalar<long double>("sqrtl", "Sqrt", std::sqrt);
  register_scalar<double>("sinh", "Sinh", std::sinh);
  register_scalar<float>("sinhf", "Sinh", std::sinh);
  register_scalar<double>("cosh", "Cosh", std::cosh);
  register_scalar<float>("coshf", "Cosh", std::cosh);
  register_scalar<double>("tanh", "Tanh", std::tanh);
  register_scalar<float>("tanhf", "Tanh", std::tanh);
  register_loop<double>("pow", "Pow", [](double a, double b) { return std::pow(a, b); });
  register_loop<float>("powf", "Pow", [](float a, float b) { return std::pow(a, b); });
  register_loop<double>("hypot", "Hypot", [](double a, double b) { return std::hypot(a, b); });
  register_loop<float>("hypotf", "Hypot", [](float a, float b) { return std::hypot(a, b); });
  register_loop<double>("atan2", "Atan2", [](double a, double b) { return std::atan2(a, b); });
  register_loop<float>("atan2f", "Atan2", [](float a, float b) { return std::atan2(a, b); });
  register_loop<double>("cbrt", "Cbrt", [](double a) { return std::cbrt(a); });
  register_loop<float>("cbrtf", "Cbrt", [](float a) { return std::cbrt(a); });
  register_loop<double>("asin", "Asin", [](double a) { return std::asin(a); });
  register_loop<double>("acos", "Acos", [](double a) { return std::acos(a); });
  register_loop<double>("atan", "Atan", [](double a) { return std::atan(a); });
  register_loop<float>("atanf", "Atan", [](float a) { return std::atan(a); });
  register_loop<double>("asinh", "Asinh", [](double a) { return std::asinh(a); });
  register_loop<double>("acosh", "Acosh", [](double a) { return std::acosh(a); });
  register_loop<double>("atanh", "Atanh", [](double a) { return std::atanh(a); });
  register_loop<double>("erf", "Erf", [](double a) { return std::erf(a); });
  register_loop<float>("erff", "Erf", [](float a) { return std::erf(a); });
  register_loop<double>("erfc", "Erfc", [](double a) { return std::erfc(a); });
  register_loop<float>("erfcf", "Erfc", [](float a) { return std::erfc(a); });
  register_loop<long double>("asinl", "Asin", [](long double a) { return std::asin(a); });
  register_loop<long double>("acosl", "Acos", [](long double a) { return std::acos(a); });
  register_loop<long double>("atanl", "Atan", [](long double a) { return std::atan(a); });
  register_loop<long double>("erfl", "Erf", [](long double a) { return std::erf(a); });
  register_loop<long double>("erfcl", "Erfc", [](long double a) { return std::erfc(a); });
  register_loop<long double>("powl", "Pow", [](long double a, long double b) { return std::pow(a, b); });
  register_loop<long double>("hypotl", "Hypot", [](long double a, long double b) { return std::hypot(a, b); });
  KEL_GLIBC_COMPLEX(exp, "Exp");
  register_scalar<double>("ceil", "Ceil", std::ceil);
  register_scalar<float>("ceilf", "Ceil", std::ceil);
  register_scalar<double>("floor", "Floor", std::floor);
  register_scalar<double>("trunc", "Trunc", std::trunc);
  register_scalar<double>("round", "Round", std::round);
  register_scalar<double>("rint", "Rint", std::rint);
  register_scalar<double>("1/x", "Inv", recip);
  register_scalar<float>("1/xf", "Inv", recipf);
  register_complex<double>("cpow", "Pow", [](const std::complex<double>& a, const std::complex<double>& b) {
    return std::pow(a, b);
  });
  register_complex<long double>("cpowl", "Pow",
                                [](const std::complex<long double>& a, const std::complex<long double>& b) {
                                  return std::pow(a, b);
                                });
  KEL_GLIBC_COMPLEX(asin, "Asin");
  KEL_GLIBC_COMPLEX(acos, "Acos");
  KEL_GLIBC_COMPLEX(atan, "Atan");
  KEL_GLIBC_COMPLEX(asinh, "Asinh");
  KEL_GLIBC_COMPLEX(acosh, "Acosh");
  KEL_GLIBC_COMPLEX(atanh, "Atanh");
  KEL_GLIBC_COMPLEX(cos, "Cos");
  KEL_GLIBC_COMPLEX(sin, "Sin");
  KEL_GLIBC_COMPLEX(tan, "Tan");
  KEL_GLIBC_COMPLEX(cosh, "Cosh");
  KEL_GLIBC_COMPLEX(sinh, "Sinh");
  KEL_GLIBC_COMPLEX(tanh, "Tanh");
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Core cycles per nanosecond of CPU time: report.py turns the CPU time per
  // element into core cycles with it (CPU time, unlike the time-stamp
  // counter, does not count time the benchmark spends preempted).
  const double core_per_tsc = calibrate_core_per_tsc();
  benchmark::AddCustomContext("core_per_tsc", std::to_string(core_per_tsc));
  benchmark::AddCustomContext("core_ghz", std::to_string(core_per_tsc * tsc_per_ns()));
  if (!kelvmGetLibVersion()) return 1;  // also keeps the library loaded for dlsym
  register_library();
  register_glibc();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

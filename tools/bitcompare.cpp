// Compares two builds of the library, function by function, bit for bit:
// results, statuses and the x87 exception flags of each call.  Meant for a
// change that must not move any result (a faster loop, a new schedule):
//
//   g++ -O2 -std=c++20 -Iinclude -Itools tools/bitcompare.cpp -ldl -o bitcompare
//   ./bitcompare OLD/libkelvmpx.so NEW/libkelvmpx.so [millions] [--all-floats [STRIDE] [FAMILY]]
//
// Inputs per member: hostile patterns (signed zeros, infinities, quiet and
// signalling NaNs with payloads, subnormals, every threshold of the families
// and its neighbours), a few elements of every binade, random bit patterns and
// random main-path values.  Each block is run as one array call (mixed rare
// and main elements, odd lengths) and element by element (flags per element).
// --all-floats runs every float bit pattern (or every STRIDE-th) through the
// A24 member of each float function (or of FAMILY alone).  With
// BITCOMPARE_IEEE_FLAGS=1 the x87 denormal-operand flag, which is not an IEEE
// flag and depends on whether a subnormal operand passes through an x87 load,
// is left out of the comparison.
#include <dlfcn.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "catalogue.h"
#include "kelvm.h"

namespace {

enum class Shape { unary, binary, two_results };

struct Member {
  std::string name;
  Shape shape;
  bool single;
  void* a;
  void* b;
};

// The status-word flags compared (all six unless BITCOMPARE_IEEE_FLAGS is set).
uint16_t g_flag_mask = 0x3F;

template <class Fn, class... Args>
int call(void* f, uint16_t cw, uint16_t* flags, Args... args) {
  uint16_t sw, cw_after;
  asm volatile("fnclex\n\tfldcw %0" : : "m"(cw));
  const int st = reinterpret_cast<Fn>(f)(args...);
  asm volatile("fnstsw %0\n\tfnstcw %1" : "=m"(sw), "=m"(cw_after));
  *flags = static_cast<uint16_t>((sw & g_flag_mask) | (cw_after == cw ? 0 : 0x8000));
  return st;
}

long g_mismatches = 0;

template <class T>
void report(const Member& m, const char* what, const T* in, const T* in2, int i, uint64_t a, uint64_t b) {
  if (++g_mismatches > 50) return;
  uint64_t xb = 0, yb = 0;
  std::memcpy(&xb, &in[i], sizeof(T));
  if (in2) std::memcpy(&yb, &in2[i], sizeof(T));
  std::printf("MISMATCH %s %s element %d input %016llx %016llx: %016llx vs %016llx\n", m.name.c_str(), what, i,
              (unsigned long long)xb, (unsigned long long)yb, (unsigned long long)a, (unsigned long long)b);
}

// Runs member m of both libraries on in[0..n), as one call with control word
// cw, and compares everything observable.
template <class T>
void run_block(const Member& m, const T* in, const T* in2, int n, uint16_t cw) {
  std::vector<T> ra1(n), ra2(n), rb1(n), rb2(n);
  int sa = 0, sb = 0;
  uint16_t fa = 0, fb = 0;
  switch (m.shape) {
    case Shape::unary:
      sa = call<int (*)(const T*, T*, int)>(m.a, cw, &fa, in, ra1.data(), n);
      sb = call<int (*)(const T*, T*, int)>(m.b, cw, &fb, in, rb1.data(), n);
      break;
    case Shape::binary:
      sa = call<int (*)(const T*, const T*, T*, int)>(m.a, cw, &fa, in, in2, ra1.data(), n);
      sb = call<int (*)(const T*, const T*, T*, int)>(m.b, cw, &fb, in, in2, rb1.data(), n);
      break;
    case Shape::two_results:
      sa = call<int (*)(const T*, T*, T*, int)>(m.a, cw, &fa, in, ra1.data(), ra2.data(), n);
      sb = call<int (*)(const T*, T*, T*, int)>(m.b, cw, &fb, in, rb1.data(), rb2.data(), n);
      break;
  }
  if (sa != sb || fa != fb) report(m, n == 1 ? "status/flags (element)" : "status/flags (block)", in, in2, 0,
                                   (uint64_t(sa) << 16) | fa, (uint64_t(sb) << 16) | fb);
  if (std::memcmp(ra1.data(), rb1.data(), n * sizeof(T)) || std::memcmp(ra2.data(), rb2.data(), n * sizeof(T))) {
    for (int i = 0; i < n; ++i) {
      uint64_t a = 0, b = 0, a2 = 0, b2 = 0;
      std::memcpy(&a, &ra1[i], sizeof(T));
      std::memcpy(&b, &rb1[i], sizeof(T));
      std::memcpy(&a2, &ra2[i], sizeof(T));
      std::memcpy(&b2, &rb2[i], sizeof(T));
      if (a != b) report(m, "result", in, in2, i, a, b);
      if (a2 != b2) report(m, "second result", in, in2, i, a2, b2);
    }
  }
}

// One batch of inputs: a long array call (odd length, control word with
// 64-bit precision so the guard switches), short calls of lengths 1..3, and
// element-by-element calls at the real guard's own control word.
template <class T>
void run_batch(const Member& m, const std::vector<T>& in, const std::vector<T>& in2) {
  const int n = static_cast<int>(in.size());
  run_block(m, in.data(), in2.data(), n - 1, 0x37F);
  for (int i = 0; i + 3 <= n; i += 3) run_block(m, &in[i], &in2[i], 3, 0x27F);
  for (int i = 0; i + 2 <= n; i += 2) run_block(m, &in[i], &in2[i], 2, 0xE7F);
  for (int i = 0; i < n; ++i) run_block(m, &in[i], &in2[i], 1, 0x27F);
}

template <class T>
T from_bits(uint64_t b) {
  T v;
  if constexpr (sizeof(T) == 8) {
    std::memcpy(&v, &b, 8);
  } else {
    const uint32_t w = static_cast<uint32_t>(b);
    std::memcpy(&v, &w, 4);
  }
  return v;
}

// Thresholds of the families (both formats) and the edges of main paths.
const double kThresholds[] = {
    709.782712893384, -745.1332191019412, -708.3964185322641, 708.0, -708.0, 0x1p-52, -0x1p-52, 709.7773,
    88.72283172607422, -103.97207641601562, -87.33654022216797, 87.0, -87.0, 0x1p-52f,
    1.0, 0.990234375, 1.009765625, 0.994140625, 1.005859375, 2.0, 0.5, 10.0, 0x1p-1022, 0x1p-1074,
    0x1p17, -0x1p17, 12800.0, -12800.0, 0x1p-252, -0x1p-252, 0x1p-300, 1.5707963267948966, 3.141592653589793,
    0x1p-126, 0x1p-149, 0x1p-60, 0x1p20, 0x1p30, 1e300, 0x1p1023, 0x1.fffffffffffffp1023, 0x1p-1000};

template <class T>
std::vector<T> hostile() {
  std::vector<T> v;
  const uint64_t pats64[] = {0, 0x8000000000000000ull, 0x7FF0000000000000ull, 0xFFF0000000000000ull,
                             0x7FF8000000000000ull, 0xFFF8000000000000ull, 0x7FF0000000000001ull,
                             0xFFF4000000000123ull, 0x7FF7FFFFFFFFFFFFull, 0x7FFC0000DEADBEEFull, 1, 0x800FFFFFFFFFFFFFull,
                             0x000FFFFFFFFFFFFFull, 0x8000000000000001ull, 0x0010000000000000ull};
  const uint32_t pats32[] = {0, 0x80000000u, 0x7F800000u, 0xFF800000u, 0x7FC00000u, 0xFFC00000u, 0x7F800001u,
                             0xFFA00123u, 0x7FBFFFFFu, 0x7FE0BEEFu, 1, 0x807FFFFFu, 0x007FFFFFu, 0x80000001u,
                             0x00800000u};
  if constexpr (sizeof(T) == 8)
    for (uint64_t p : pats64) v.push_back(from_bits<T>(p));
  else
    for (uint32_t p : pats32) v.push_back(from_bits<T>(p));
  for (double t : kThresholds) {
    for (double s : {1.0, -1.0}) {
      T x = static_cast<T>(t * s);
      T up = x, dn = x;
      for (int k = 0; k < 4; ++k) {
        v.push_back(up);
        v.push_back(dn);
        up = std::nextafter(up, static_cast<T>(INFINITY));
        dn = std::nextafter(dn, static_cast<T>(-INFINITY));
      }
    }
  }
  return v;
}

// A batch of n inputs: every binade with random significands, random bit
// patterns, and log-uniform values of both signs.
template <class T>
std::vector<T> random_batch(std::mt19937_64& rng, int n, int kind) {
  std::vector<T> v(n);
  constexpr int kExpBits = sizeof(T) == 8 ? 11 : 8, kFracBits = sizeof(T) == 8 ? 52 : 23;
  for (auto& x : v) {
    const uint64_t r = rng();
    switch (kind % 4) {
      case 0:
        x = from_bits<T>(r);
        break;
      case 1: {  // every binade, both signs
        const uint64_t e = (r >> 1) % (1u << kExpBits);
        x = from_bits<T>(((r & 1) << (kExpBits + kFracBits)) | (e << kFracBits) |
                         ((r >> 20) & ((uint64_t(1) << kFracBits) - 1)));
        break;
      }
      case 2: {  // main-path magnitudes: |x| in [2^-8, 2^12)
        const double m = std::ldexp(1.0 + (r >> 12) * 0x1p-52, static_cast<int>((r >> 2) % 20) - 8);
        x = static_cast<T>((r & 1) ? -m : m);
        break;
      }
      case 3: {  // the exponential's and the logarithm's ranges
        const double u = (r >> 11) * 0x1p-53;
        x = static_cast<T>((r & 1) ? (sizeof(T) == 8 ? -750 + 1460 * u : -105 + 195 * u) : 0.9 + 0.2 * u);
        break;
      }
    }
  }
  return v;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s OLD.so NEW.so [millions] [--all-floats]\n", argv[0]);
    return 2;
  }
  void* la = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* lb = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
  if (!la || !lb) {
    std::fprintf(stderr, "dlopen: %s\n", dlerror());
    return 2;
  }
  if (std::getenv("BITCOMPARE_IEEE_FLAGS")) g_flag_mask = 0x3D;
  const double millions = argc > 3 ? std::atof(argv[3]) : 1.0;
  const bool all_floats = argc > 4 && std::string(argv[4]) == "--all-floats";
  const uint32_t stride = argc > 5 ? static_cast<uint32_t>(std::atoi(argv[5])) : 1;
  const std::string only = argc > 6 ? argv[6] : "";

  std::vector<Member> members;
  const char* accs32[] = {"A11", "A21", "A24"};
  const char* accs64[] = {"A50", "A53"};
  auto add = [&](const std::string& fam, Shape s) {
    for (const char* a : accs32) members.push_back({"kels" + fam + "_32f_" + a, s, true, nullptr, nullptr});
    for (const char* a : accs64) members.push_back({"kels" + fam + "_64f_" + a, s, false, nullptr, nullptr});
  };
  // Every real family of the catalogue but Powx (its exponent is a scalar).
  for (const kelcat::Family& f : kelcat::kFamilies) {
    if (f.domain != kelcat::Domain::real || f.shape == kelcat::Shape::scalar) continue;
    add(f.name, f.shape == kelcat::Shape::unary ? Shape::unary
                : f.shape == kelcat::Shape::two ? Shape::two_results
                                                : Shape::binary);
  }
  for (auto& m : members) {
    m.a = dlsym(la, m.name.c_str());
    m.b = dlsym(lb, m.name.c_str());
    if (!m.a || !m.b) {
      std::fprintf(stderr, "missing %s\n", m.name.c_str());
      return 2;
    }
  }

  std::mt19937_64 rng(20261124);
  long inputs = 0;
  constexpr int kBatch = 3001;
  const long batches = static_cast<long>(millions * 1e6 / kBatch) + 1;
  for (const auto& m : members) {
    auto run = [&](auto tag) {
      using T = decltype(tag);
      std::vector<T> h = hostile<T>();
      std::vector<T> h2(h.rbegin(), h.rend());
      run_batch(m, h, h2);
      inputs += h.size();
      for (long b = 0; b < batches; ++b) {
        std::vector<T> v = random_batch<T>(rng, kBatch, static_cast<int>(b));
        std::vector<T> v2 = random_batch<T>(rng, kBatch, static_cast<int>(b / 4));
        // Hostile values sprinkled in, so that rare and main elements pair up.
        for (size_t i = 0; i < h.size() && i * 7 < v.size(); ++i) v[i * 7] = h[(i + b) % h.size()];
        run_batch(m, v, v2);
        inputs += kBatch;
      }
      if (all_floats && sizeof(T) == 4 && m.name.find("A24") != std::string::npos &&
          (only.empty() || m.name == "kels" + only + "_32f_A24")) {
        constexpr int kBlock = 1 << 16;
        std::vector<T> v(kBlock), v2(kBlock);
        int k = 0;
        for (uint64_t b = 0; b < (uint64_t(1) << 32); b += stride) {
          v[k] = from_bits<T>(b);
          v2[k] = from_bits<T>((static_cast<uint32_t>(rng()) & 0x3FFFFFFFu) | 0x40000000u);
          if (++k == kBlock || b + stride >= (uint64_t(1) << 32)) {
            run_block(m, v.data(), v2.data(), k, 0x37F);
            inputs += k;
            k = 0;
          }
        }
      }
    };
    if (m.single)
      run(float{});
    else
      run(double{});
    std::printf("%-22s done, %ld inputs so far, %ld mismatches\n", m.name.c_str(), inputs, g_mismatches);
    std::fflush(stdout);
  }
  std::printf("%ld inputs in total, %ld mismatches\n", inputs, g_mismatches);
  return g_mismatches ? 1 : 0;
}

// Correct rounding of the float members of our own algorithms: inputs on or
// next to a float midpoint (forcing the accurate paths), checked against MPFR.
// Long mode, KELVM_LONG=1 (or a list of families): all 2^32 inputs of each
// unary member and 10^8 random pairs of each binary one, screened by glibc
// (double functions for the unary members, a few ulps = 2^-50 at worst), MPFR
// deciding every result within 2^-44 of a midpoint.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "fpu.h"
#include "kelvm.h"
#include "references.h"

using namespace kelfpu;

namespace {

using Binary = KelStatus (*)(const float*, const float*, float*, int);
using Unary = KelStatus (*)(const float*, float*, int);

float bits_float(uint32_t b) { return __builtin_bit_cast(float, b); }
uint32_t float_bits(float f) { return __builtin_bit_cast(uint32_t, f); }
bool same(float a, float b) { return float_bits(a) == float_bits(b) || (std::isnan(a) && std::isnan(b)); }

// The correctly rounded float of the family's reference (binary when b is given).
float mpfr_float(const char* family, float a, const float* b = nullptr) {
  mpfr_t e;
  mpfr_init2(e, kelacc::kExactBits);
  if (b) kelacc::exact_binary(e, kelacc::find_real(family)->ref2, a, *b);
  else kelacc::exact_unary(e, kelacc::find_real(family)->ref, a);
  const float r = kelacc::correctly_rounded<float>(e);
  mpfr_clear(e);
  return r;
}

struct Pair {
  float a, b;
};

// Pairs whose exact result is a float, a float midpoint or very close to one.
std::vector<Pair> pow_pairs() {
  std::vector<Pair> p = {{bits_float(0x66d0536a), bits_float(0x3f9106c2)}, {4097, 2}, {4097, 3}, {4099, 2},
                         {16785410.0f, 0.5f}, {0x1.000002p0f, 8388608}, {9, 1.5f}, {3, 15}, {0.75f, 47},
                         {0x1p-70f, 2}, {0x1p-100f, 1.5f}, {3, -92}, {0x1.8p-50f, 3}, {10, -38}};
  for (uint32_t m = 4097; m < 5800; m += 2) {  // m^2 needs 25 bits: a midpoint or a float
    const float x = float(m), sq = float(m) * float(m);
    p.push_back({x, 2});
    p.push_back({sq, 0.5f});  // sqrt of the rounded square: next to m
    p.push_back({x * 0x1p-80f, 2});
    p.push_back({x, -2});
  }
  return p;
}

std::vector<Pair> hypot_pairs() {
  std::vector<Pair> p = {{bits_float(0x5101b082), bits_float(0x4b3635c7)}, {0x1p-140f, 0x1p-140f}};
  // Triples (m^2 - n^2, 2mn, m^2 + n^2) with an odd 25-bit hypotenuse: a
  // float midpoint; their neighbours fall just beside it.
  for (uint32_t m = 2897; m < 4096 && p.size() < 400; ++m)
    for (uint32_t n = (m * 2) / 5; n < m; n += 7) {
      const uint64_t h = uint64_t(m) * m + uint64_t(n) * n;
      const uint64_t a = uint64_t(m) * m - uint64_t(n) * n, b = 2ull * m * n;
      if (h < (1u << 24) || h >= (1u << 25) || a >= (1u << 24) || b >= (1u << 24) || h % 2 == 0) continue;
      p.push_back({float(a), float(b)});
      p.push_back({float(a + 1), float(b)});
      p.push_back({float(a) * 0x1p-140f, float(b) * 0x1p-140f});
    }
  return p;
}

std::vector<Pair> atan2_pairs() {
  std::vector<Pair> p = {{bits_float(0x53e745b0), bits_float(0x4ae1022e)}, {0x1p-149f, 0x1p100f}, {3, -0x1p-120f}};
  for (uint32_t i = 0; i < 300; ++i) {
    const float x = bits_float(0x3f800000 + i * 27961);
    p.push_back({x, std::nextafter(x, 2.0f)});      // near pi/4
    p.push_back({x * 0x1p40f, -x});                 // near pi/2
    p.push_back({-x, -std::nextafter(x, 0.0f)});    // near -3pi/4
  }
  return p;
}

void expect_binary_correct(const char* family, const std::vector<Pair>& pairs, Binary fn) {
  std::vector<float> a, b, r(pairs.size());
  for (const Pair& q : pairs) a.push_back(q.a), b.push_back(q.b);
  ScopedControlWord cw(kDefault);
  fn(a.data(), b.data(), r.data(), int(r.size()));
  for (size_t i = 0; i < r.size(); ++i) {
    const float want = mpfr_float(family, a[i], &b[i]);
    EXPECT_TRUE(same(r[i], want)) << family << " " << kelacc::hex(a[i]) << ", " << kelacc::hex(b[i]) << ": "
                                  << kelacc::hex(r[i]) << " instead of " << kelacc::hex(want);
  }
}

TEST(FloatRounding, TwoArgumentMembersNextToMidpoints) {
  for (Binary fn : {kelsPow_32f_A11, kelsPow_32f_A21, kelsPow_32f_A24}) expect_binary_correct("Pow", pow_pairs(), fn);
  for (Binary fn : {kelsHypot_32f_A11, kelsHypot_32f_A24}) expect_binary_correct("Hypot", hypot_pairs(), fn);
  for (Binary fn : {kelsAtan2_32f_A21, kelsAtan2_32f_A24}) expect_binary_correct("Atan2", atan2_pairs(), fn);
}

TEST(FloatRounding, SinhNextToMidpoints) {
  std::vector<float> x = {bits_float(0x3a1285ff)};
  for (uint32_t b = 0x3d800000; b < 0x3d800000 + 3000; ++b) x.push_back(bits_float(b));  // 1/16 and above
  std::vector<float> r(x.size());
  ScopedControlWord cw(kDefault);
  kelsSinh_32f_A24(x.data(), r.data(), int(x.size()));
  for (size_t i = 0; i < x.size(); ++i) EXPECT_TRUE(same(r[i], mpfr_float("Sinh", x[i]))) << kelacc::hex(x[i]);
}

// An inexact subnormal power reports underflow even where the long-double
// value lies close to a multiple of the smallest subnormal; exact ones don't.
TEST(FloatRounding, PowUnderflowFromTheOperands) {
  struct Case {
    double x, y;
    int status;
  };
  const Case cases[] = {{0x1.fffeap-2, 1022, kelStatusUnderflow}, {0.5, 1070, 0}, {0x1p-537, 2, 0},
                        {3 * 0x1p-358, 3, 0}, {0x1p-1074, 1, 0}, {0x1.0000000000001p-1, 1060, kelStatusUnderflow}};
  for (const Case& c : cases) {
    double r;
    ScopedControlWord cw(kDefault);
    EXPECT_EQ(kelsPow_64f_A53(&c.x, &c.y, &r, 1), c.status) << c.x << " ^ " << c.y;
    EXPECT_EQ((flags() & kUnderflow) != 0, c.status != 0) << c.x << " ^ " << c.y;
  }
}

// ---- Long mode ----

std::string long_mode() {
  const char* v = std::getenv("KELVM_LONG");
  return v ? v : "";
}
bool selected(const std::string& list, const std::string& family) {
  return list == "1" || ("," + list + ",").find("," + family + ",") != std::string::npos;
}

// v within rel*|v| of a float midpoint (or of the overflow threshold).
bool near_midpoint(long double v, long double rel) {
  const float f = float(v);
  const long double av = std::fabs(v), tol = rel * av;
  if (std::isinf(v)) return false;  // beyond the extended range: far beyond any float
  if (std::isinf(f)) return std::fabs(av - (0x1p128L - 0x1p103L)) <= tol;
  const long double up = std::nextafter(f, INFINITY), down = std::nextafter(f, -INFINITY);
  return std::fabs(v - (f + up) / 2) <= tol || std::fabs(v - (f + down) / 2) <= tol;
}

constexpr long double kScreen = 0x1p-44L;

// erfinv in long double: one Newton step from the double member, on erf
// below 1/2 and on erfc above (where 1 - |x| is exact), so that the step's
// evaluation error stays near 2^-62 relative even as erf flattens.
long double erfinv_screen(long double x) {
  if (!(std::fabs(x) < 1)) return std::fabs(x) == 1 ? std::copysign(INFINITY, x) : NAN;
  const double d = double(x);
  double y0;
  kelsErfInv_64f_A53(&d, &y0, 1);
  const long double ax = std::fabs(x), y = std::fabs(static_cast<long double>(y0));
  const long double slope = 2 / std::sqrt(3.14159265358979323846264338327950288L) * std::exp(-y * y);
  const long double step = ax < 0.5L ? (std::erf(y) - ax) / slope : ((1 - ax) - std::erfc(y)) / slope;
  return std::copysign(y - step, x);
}

// A member's float results over a set of inputs: how many MPFR decided, how
// many differ from the correctly rounded result, and the first that does.
struct Outcome {
  std::mutex m;
  std::string first;
  std::atomic<uint64_t> decided{0}, misses{0};
  void miss(const std::string& what) {
    std::lock_guard<std::mutex> l(m);
    if (misses++ == 0) first = what;
  }
};

// Prints the outcome and appends it to the file KELVM_LONG_RECORD names (the
// docs' correct-rounding table is made from that record). Members of our own
// algorithms must be correctly rounded; the specified ones only report.
void report(const char* name, const char* what, bool fixed, const Outcome& out) {
  const uint64_t misses = out.misses.load(), decided = out.decided.load();
  std::printf("%s_32f: %s: %llu misses, %llu decided by MPFR%s%s\n", name, what, (unsigned long long)misses,
              (unsigned long long)decided, misses ? ", first " : "", out.first.c_str());
  const char* path = std::getenv("KELVM_LONG_RECORD");
  if (FILE* f = path ? std::fopen(path, "a") : nullptr) {
    std::fprintf(f, "%s\t%s\t%s\t%llu\t%llu\t%s\n", name, fixed ? "fixed" : "ours", what,
                 (unsigned long long)misses, (unsigned long long)decided, out.first.c_str());
    std::fclose(f);
  }
  if (!fixed) {
    EXPECT_EQ(misses, 0u) << name << ": " << out.first;
  }
}

// Compares r[i] with the float rounding of the screen value v, MPFR deciding
// when v lies within kScreen of a midpoint.
template <class Decide, class Describe>
void check(Outcome& out, float r, long double v, Decide mpfr, Describe input) {
  float want = float(v);
  if (!std::isnan(v) && near_midpoint(v, kScreen)) {
    want = mpfr();
    ++out.decided;
  }
  if (!same(r, want)) out.miss(input() + " -> " + kelacc::hex(r) + ", not " + kelacc::hex(want));
}

struct UnaryMember {
  const char* name;
  const char* reference;  // registry family giving the MPFR reference
  Unary fn;
  long double (*libm)(long double);
  bool fixed;  // a specified algorithm: its misses are counted, not failed
};

// A glibc double function as a long-double screen (exact conversion back).
template <double (*F)(double)>
long double screen(long double x) {
  return F(double(x));
}

KelStatus sincos_sin(const float* s, float* d, int n) {
  std::vector<float> c(n);
  return kelsSinCos_32f_A24(s, d, c.data(), n);
}
KelStatus sincos_cos(const float* s, float* d, int n) {
  std::vector<float> c(n);
  return kelsSinCos_32f_A24(s, c.data(), d, n);
}

// The three float members of a family share one kernel, so the A24 member
// stands for all three.
const UnaryMember kUnary[] = {
    {"Sinh", "Sinh", kelsSinh_32f_A24, screen<sinh>, false},
    {"Cosh", "Cosh", kelsCosh_32f_A24, screen<cosh>, false},
    {"Tanh", "Tanh", kelsTanh_32f_A24, screen<tanh>, false},
    {"Asinh", "Asinh", kelsAsinh_32f_A24, screen<asinh>, false},
    {"Acosh", "Acosh", kelsAcosh_32f_A24, screen<acosh>, false},
    {"Atanh", "Atanh", kelsAtanh_32f_A24, screen<atanh>, false},
    {"Asin", "Asin", kelsAsin_32f_A24, screen<asin>, false},
    {"Acos", "Acos", kelsAcos_32f_A24, screen<acos>, false},
    {"Atan", "Atan", kelsAtan_32f_A24, screen<atan>, false},
    {"InvSqrt", "InvSqrt", kelsInvSqrt_32f_A24, [](long double x) { return 1 / sqrtl(x); }, false},
    {"Cbrt", "Cbrt", kelsCbrt_32f_A24, screen<cbrt>, false},
    {"InvCbrt", "InvCbrt", kelsInvCbrt_32f_A24, [](long double x) { return 1 / static_cast<long double>(cbrt(double(x))); }, false},
    {"Erf", "Erf", kelsErf_32f_A24, screen<erf>, false},
    {"Erfc", "Erfc", kelsErfc_32f_A24, screen<erfc>, false},
    {"ErfInv", "ErfInv", kelsErfInv_32f_A24, erfinv_screen, false},
    {"Exp", "Exp", kelsExp_32f_A24, screen<exp>, true},
    {"Ln", "Ln", kelsLn_32f_A24, screen<log>, true},
    {"Log10", "Log10", kelsLog10_32f_A24, screen<log10>, true},
    {"Sin", "Sin", kelsSin_32f_A24, screen<sin>, true},
    {"Cos", "Cos", kelsCos_32f_A24, screen<cos>, true},
    {"SinCos", "Sin", sincos_sin, screen<sin>, true},
    {"SinCos", "Cos", sincos_cos, screen<cos>, true},
    {"Tan", "Tan", kelsTan_32f_A24, screen<tan>, true},
    {"Sqrt", "Sqrt", kelsSqrt_32f_A24, sqrtl, true},
    {"Inv", "Inv", kelsInv_32f_A24, [](long double x) { return 1 / x; }, true},
};

// Runs work(chunk) for chunks 0..count-1 on every core.
template <class Work>
void on_all_cores(uint64_t count, Work work) {
  std::atomic<uint64_t> next{0};
  std::vector<std::thread> threads;
  const unsigned n = std::max(1u, std::thread::hardware_concurrency());
  for (unsigned t = 0; t < n; ++t)
    threads.emplace_back([&] {
      for (uint64_t c; (c = next++) < count;) work(c);
    });
  for (auto& t : threads) t.join();
}

TEST(FloatRoundingLong, UnaryMembersOnAllInputs) {
  const std::string mode = long_mode();
  if (mode.empty()) GTEST_SKIP() << "long mode: KELVM_LONG=1";
  constexpr uint32_t kChunk = 1 << 16;
  for (const UnaryMember& u : kUnary) {
    if (!selected(mode, u.name)) continue;
    Outcome out;
    on_all_cores(uint64_t{1} << 16, [&](uint64_t c) {
      std::vector<float> x(kChunk), r(kChunk);
      for (uint32_t i = 0; i < kChunk; ++i) x[i] = bits_float(uint32_t(c) << 16 | i);
      {
        ScopedControlWord cw(kDefault);
        u.fn(x.data(), r.data(), kChunk);
      }
      for (uint32_t i = 0; i < kChunk; ++i)
        check(out, r[i], u.libm(x[i]), [&] { return mpfr_float(u.reference, x[i]); },
              [&] { return kelacc::hex(x[i]); });
    });
    const std::string what = std::string("all 2^32 inputs") + (u.reference != u.name ? std::string(", ") + u.reference + " part" : "");
    report(u.name, what.c_str(), u.fixed, out);
  }
}

struct BinaryMember {
  const char* name;
  Binary fn;
  long double (*libm)(long double, long double);
  bool fixed;
};

TEST(FloatRoundingLong, RandomPairs) {
  const std::string mode = long_mode();
  if (mode.empty()) GTEST_SKIP() << "long mode: KELVM_LONG=1";
  const BinaryMember members[] = {{"Pow", kelsPow_32f_A24, powl, false},
                                  {"Atan2", kelsAtan2_32f_A24, atan2l, false},
                                  {"Hypot", kelsHypot_32f_A24, hypotl, false},
                                  {"Div", kelsDiv_32f_A24, [](long double a, long double b) { return a / b; }, true}};
  constexpr uint32_t kChunk = 1 << 16;
  constexpr uint64_t kChunks = 1526;  // 10^8 pairs
  for (const BinaryMember& m : members) {
    if (!selected(mode, m.name)) continue;
    Outcome out;
    on_all_cores(kChunks, [&](uint64_t c) {
      std::vector<float> a(kChunk), b(kChunk), r(kChunk);
      uint64_t s = 0x9E3779B97F4A7C15ull * (c + 1);
      for (uint32_t i = 0; i < kChunk; ++i) {
        s = s * 6364136223846793005ull + 1442695040888963407ull;
        const uint32_t hi = uint32_t(s >> 32), lo = uint32_t(s);
        // Pow: bases of every exponent, exponents of moderate size, so that
        // results are mostly finite and nonzero.
        a[i] = m.libm == powl ? bits_float(hi & 0x7FFFFFFF) : bits_float(hi);
        b[i] = m.libm == powl ? bits_float((lo & 0x807FFFFF) | (0x38000000 + (lo >> 8 & 0x0F800000))) : bits_float(lo);
      }
      {
        ScopedControlWord cw(kDefault);
        m.fn(a.data(), b.data(), r.data(), kChunk);
      }
      for (uint32_t i = 0; i < kChunk; ++i)
        check(out, r[i], m.libm(a[i], b[i]), [&] { return mpfr_float(m.name, a[i], &b[i]); },
              [&] { return kelacc::hex(a[i]) + ", " + kelacc::hex(b[i]); });
    });
    report(m.name, "10^8 random pairs", m.fixed, out);
  }
}

}  // namespace

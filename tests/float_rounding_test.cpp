// Correct rounding of the float members of our own algorithms next to float midpoints, against MPFR.
// Long mode, KELVM_LONG=1 (or a list of families): all 2^32 inputs of each unary member, 10^8
// random pairs of each binary one, screened by glibc, MPFR deciding within 2^-44 of a midpoint.
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

bool same(float a, float b) { return bits_of(a) == bits_of(b) || (std::isnan(a) && std::isnan(b)); }

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
  std::vector<Pair> p = {{float_from_bits(0x66d0536a), float_from_bits(0x3f9106c2)}, {4097, 2}, {4097, 3}, {4099, 2},
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
  std::vector<Pair> p = {{float_from_bits(0x5101b082), float_from_bits(0x4b3635c7)}, {0x1p-140f, 0x1p-140f}};
  // Triples (m^2 - n^2, 2mn, m^2 + n^2) with an odd 25-bit hypotenuse (a midpoint), and neighbours.
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
  std::vector<Pair> p = {{float_from_bits(0x53e745b0), float_from_bits(0x4ae1022e)}, {0x1p-149f, 0x1p100f}, {3, -0x1p-120f}};
  for (uint32_t i = 0; i < 300; ++i) {
    const float x = float_from_bits(0x3f800000 + i * 27961);
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

// The A24 members (the frame test checks that the other float members give the same bits).
TEST(FloatRounding, TwoArgumentMembersNextToMidpoints) {
  expect_binary_correct("Pow", pow_pairs(), kelsPow_32f_A24);
  expect_binary_correct("Hypot", hypot_pairs(), kelsHypot_32f_A24);
  expect_binary_correct("Atan2", atan2_pairs(), kelsAtan2_32f_A24);
}

TEST(FloatRounding, SinhNextToMidpoints) {
  std::vector<float> x = {float_from_bits(0x3a1285ff)};
  for (uint32_t b = 0x3d800000; b < 0x3d800000 + 3000; ++b) x.push_back(float_from_bits(b));  // 1/16 and above
  std::vector<float> r(x.size());
  ScopedControlWord cw(kDefault);
  kelsSinh_32f_A24(x.data(), r.data(), int(x.size()));
  for (size_t i = 0; i < x.size(); ++i) EXPECT_TRUE(same(r[i], mpfr_float("Sinh", x[i]))) << kelacc::hex(x[i]);
}

// An inexact subnormal power reports underflow even next to a multiple of the smallest subnormal.
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

// KELVM_LONG=1 runs every member, a comma-separated list only those named.
bool selected(const std::string& name) {
  const char* v = std::getenv("KELVM_LONG");
  const std::string list = v ? v : "";
  return list == "1" || ("," + list + ",").find("," + name + ",") != std::string::npos;
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

using Screen = long double (*)(long double, long double);

// A glibc double function as a long-double screen (exact conversion back).
template <double (*F)(double)>
long double screen(long double x, long double) {
  return F(double(x));
}

// erfinv in long double: one Newton step from the double member, on erf below 1/2 and on erfc
// above (where 1 - |x| is exact), keeping the step's error near 2^-62 as erf flattens.
long double erfinv_screen(long double x, long double) {
  if (!(std::fabs(x) < 1)) return std::fabs(x) == 1 ? std::copysign(INFINITY, x) : NAN;
  const double d = double(x);
  double y0;
  kelsErfInv_64f_A53(&d, &y0, 1);
  const long double ax = std::fabs(x), y = std::fabs(static_cast<long double>(y0));
  const long double slope = 2 / std::sqrt(3.14159265358979323846264338327950288L) * std::exp(-y * y);
  const long double step = ax < 0.5L ? (std::erf(y) - ax) / slope : ((1 - ax) - std::erfc(y)) / slope;
  return std::copysign(y - step, x);
}

// Every member as a two-source call; one-argument members ignore b.
template <Unary F>
KelStatus one_source(const float* a, const float*, float* r, int n) {
  return F(a, r, n);
}
// Powx with each pair's exponent passed by value, one element per call.
KelStatus powx_pairs(const float* a, const float* b, float* r, int n) {
  KelStatus st = 0;
  for (int i = 0; i < n; ++i) st = kelsPowx_32f_A24(a + i, b[i], r + i, 1);
  return st;
}
KelStatus sincos_sin(const float* a, const float*, float* r, int n) {
  std::vector<float> c(n);
  return kelsSinCos_32f_A24(a, r, c.data(), n);
}
KelStatus sincos_cos(const float* a, const float*, float* r, int n) {
  std::vector<float> s(n);
  return kelsSinCos_32f_A24(a, s.data(), r, n);
}

struct LongMember {
  const char* name;
  const char* reference;  // registry family giving the MPFR reference
  Binary fn;
  Screen libm;
  bool fixed;  // a specified algorithm: its misses are counted, not failed
  bool pairs;  // 10^8 random pairs instead of all 2^32 single inputs
  const char* method = "extended evaluation rounded once";  // how the member rounds, for the record
};

// The A24 member stands for the three float members of a family.
#define KEL_OURS(F, S) {#F, #F, one_source<kels##F##_32f_A24>, S, false, false}
#define KEL_FIXED(F, S) {#F, #F, one_source<kels##F##_32f_A24>, S, true, false, kFixed}
#define KEL_SCREENED(F, S) {#F, #F, one_source<kels##F##_32f_A24>, S, false, false, kScreenedFast}
constexpr const char* kFixed = "fixed algorithm";
constexpr const char* kScreenedFast = "fast extended path, rounding test, general kernel near a midpoint";
const LongMember kMembers[] = {
    KEL_SCREENED(Sinh, screen<sinh>), KEL_SCREENED(Cosh, screen<cosh>), KEL_OURS(Tanh, screen<tanh>),
    KEL_SCREENED(Asinh, screen<asinh>), KEL_SCREENED(Acosh, screen<acosh>), KEL_SCREENED(Atanh, screen<atanh>),
    KEL_SCREENED(Asin, screen<asin>), KEL_SCREENED(Acos, screen<acos>), KEL_SCREENED(Atan, screen<atan>),
    KEL_OURS(InvSqrt, [](long double x, long double) { return 1 / sqrtl(x); }), KEL_OURS(Cbrt, screen<cbrt>),
    KEL_OURS(InvCbrt, [](long double x, long double) { return 1 / static_cast<long double>(cbrt(double(x))); }),
    KEL_SCREENED(Erf, screen<erf>), KEL_SCREENED(Erfc, screen<erfc>), KEL_OURS(ErfInv, erfinv_screen),
    KEL_FIXED(Exp, screen<exp>), KEL_FIXED(Ln, screen<log>), KEL_FIXED(Log10, screen<log10>),
    KEL_FIXED(Sin, screen<sin>), KEL_FIXED(Cos, screen<cos>), KEL_FIXED(Tan, screen<tan>),
    {"SinCos", "Sin", sincos_sin, screen<sin>, true, false, kFixed},
    {"SinCos", "Cos", sincos_cos, screen<cos>, true, false, kFixed},
    KEL_FIXED(Sqrt, [](long double x, long double) { return sqrtl(x); }),
    KEL_FIXED(Inv, [](long double x, long double) { return 1 / x; }),
    {"Pow", "Pow", kelsPow_32f_A24, powl, false, true,
     "rounding test (64 units of the extended result), exact powers from the operands, double-length log and exp; "
     "float midpoint test in CI"},
    {"Powx", "Pow", powx_pairs, powl, false, true, "the Pow element kernel, exponent passed by value"},
    {"Atan2", "Atan2", kelsAtan2_32f_A24, atan2l, false, true,
     "rounding test (16 units), double-length atan; float midpoint test in CI"},
    {"Hypot", "Hypot", kelsHypot_32f_A24, hypotl, false, true,
     "rounding test (16 units), exact comparison with the squared midpoint; float midpoint test in CI"},
    {"Div", "Div", kelsDiv_32f_A24, [](long double a, long double b) { return a / b; }, true, true, kFixed},
};
#undef KEL_OURS
#undef KEL_FIXED
#undef KEL_SCREENED

// Inputs of chunk c: 2^16 consecutive bit patterns, or random pairs (Pow: moderate exponents).
void fill(const LongMember& m, uint64_t c, std::vector<float>& a, std::vector<float>& b) {
  uint64_t s = 0x9E3779B97F4A7C15ull * (c + 1);
  for (size_t i = 0; i < a.size(); ++i) {
    if (!m.pairs) {
      a[i] = float_from_bits(uint32_t(c) << 16 | uint32_t(i));
      continue;
    }
    s = s * 6364136223846793005ull + 1442695040888963407ull;
    const uint32_t hi = uint32_t(s >> 32), lo = uint32_t(s);
    const bool pow = m.libm == powl;
    a[i] = float_from_bits(pow ? hi & 0x7FFFFFFF : hi);
    b[i] = float_from_bits(pow ? (lo & 0x807FFFFF) | (0x38000000 + (lo >> 8 & 0x0F800000)) : lo);
  }
}

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

// Each member against the float rounding of its screen, MPFR deciding near midpoints; the outcome
// is printed and appended to KELVM_LONG_RECORD (the docs' table). Fixed algorithms only report.
TEST(FloatRoundingLong, EveryMember) {
  if (!std::getenv("KELVM_LONG")) GTEST_SKIP() << "long mode: KELVM_LONG=1";
  constexpr uint32_t kChunk = 1 << 16;
  for (const LongMember& m : kMembers) {
    if (!selected(m.name)) continue;
    std::mutex lock;
    std::string first;
    std::atomic<uint64_t> decided{0}, misses{0};
    on_all_cores(m.pairs ? 1526 : uint64_t{1} << 16, [&](uint64_t c) {  // 10^8 pairs or 2^32 inputs
      std::vector<float> a(kChunk), b(kChunk), r(kChunk);
      fill(m, c, a, b);
      {
        ScopedControlWord cw(kDefault);
        m.fn(a.data(), b.data(), r.data(), kChunk);
      }
      for (uint32_t i = 0; i < kChunk; ++i) {
        const long double v = m.libm(a[i], b[i]);
        float want = float(v);
        if (!std::isnan(v) && near_midpoint(v, kScreen)) {
          want = mpfr_float(m.reference, a[i], m.pairs ? &b[i] : nullptr);
          ++decided;
        }
        if (same(r[i], want)) continue;
        std::lock_guard<std::mutex> l(lock);
        if (misses++ == 0)
          first = kelacc::hex(a[i]) + (m.pairs ? ", " + kelacc::hex(b[i]) : "") + " -> " + kelacc::hex(r[i]) +
                  ", not " + kelacc::hex(want);
      }
    });
    const std::string what = m.pairs ? "10^8 random pairs"
                                     : std::string("all 2^32 inputs") +
                                           (m.reference != std::string(m.name) ? std::string(", ") + m.reference + " part" : "");
    std::printf("%s_32f: %s: %llu misses, %llu decided by MPFR%s%s\n", m.name, what.c_str(),
                (unsigned long long)misses.load(), (unsigned long long)decided.load(), misses ? ", first " : "",
                first.c_str());
    const char* path = std::getenv("KELVM_LONG_RECORD");
    if (FILE* f = path ? std::fopen(path, "a") : nullptr) {
      std::fprintf(f, "%s\t%s\t%s\t%llu\t%llu\t%s\t%s\n", m.name, m.fixed ? "fixed" : "ours", what.c_str(),
                   (unsigned long long)misses.load(), (unsigned long long)decided.load(), first.c_str(), m.method);
      std::fclose(f);
    }
    if (!m.fixed) {
      EXPECT_EQ(misses.load(), 0u) << m.name << ": " << first;
    }
  }
}

}  // namespace

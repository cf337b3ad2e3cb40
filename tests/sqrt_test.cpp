// Square root: the special-value screen and its reports, exact roots, correct
// rounding (hard cases and random doubles against MPFR, every positive float
// on the native build), agreement of the accuracy members, and independence
// from the caller's control word.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "accuracy.h"
#include "fpu.h"
#include "kelvm.h"

using namespace kelfpu;

namespace {

using Fn64 = KelStatus (*)(const double*, double*, int);
using Fn32 = KelStatus (*)(const float*, float*, int);
const Fn64 kMembers64[] = {kelsSqrt_64f_A50, kelsSqrt_64f_A53};
const Fn32 kMembers32[] = {kelsSqrt_32f_A11, kelsSqrt_32f_A21, kelsSqrt_32f_A24};

bool native_build() { return sizeof(void*) == 8; }

// ---- Special values ---------------------------------------------------------

template <class Bits>
struct SpecialCase {
  Bits x, y;      // input and result bit patterns
  int status;     // 0 or 19
  bool invalid;   // invalid flag expected after the call
};

// The default NaN of the x87 (0/0) is the negative quiet NaN with an empty
// payload; NaN inputs keep their sign and payload and come out quiet.
const SpecialCase<uint64_t> kSpecial64[] = {
    {0x0000000000000000, 0x0000000000000000, 0, false},  // +0
    {0x8000000000000000, 0x8000000000000000, 0, false},  // -0 stays -0
    {0x7FF0000000000000, 0x7FF0000000000000, 0, false},  // +Inf
    {0x7FF8000000000000, 0x7FF8000000000000, 0, false},  // quiet NaN
    {0xFFF8000000000123, 0xFFF8000000000123, 0, false},  // negative quiet NaN: no report
    {0x7FF0000000000001, 0x7FF8000000000001, 0, true},   // signalling NaN leaves quiet
    {0xFFF4000000000000, 0xFFFC000000000000, 0, true},   // negative signalling NaN: no report
    {0xFFF0000000000000, 0xFFF8000000000000, 19, true},  // -Inf
    {0xBFF0000000000000, 0xFFF8000000000000, 19, true},  // -1
    {0x8000000000000001, 0xFFF8000000000000, 19, true},  // -2^-1074
    {0xFFEFFFFFFFFFFFFF, 0xFFF8000000000000, 19, true},  // -DBL_MAX
    {0x0000000000000001, 0x1E60000000000000, 0, false},  // 2^-1074 -> 2^-537
    {0x7FEFFFFFFFFFFFFF, 0x5FEFFFFFFFFFFFFF, 0, false},  // DBL_MAX -> 0x1.fffffffffffffp+511
    {0x4010000000000000, 0x4000000000000000, 0, false},  // 4 -> 2
    {0x4000000000000000, 0x3FF6A09E667F3BCD, 0, false},  // 2 -> 1.4142135623730951
};

const SpecialCase<uint32_t> kSpecial32[] = {
    {0x00000000, 0x00000000, 0, false},  // +0
    {0x80000000, 0x80000000, 0, false},  // -0 stays -0
    {0x7F800000, 0x7F800000, 0, false},  // +Inf
    {0x7FC00000, 0x7FC00000, 0, false},  // quiet NaN
    {0xFFC00123, 0xFFC00123, 0, false},  // negative quiet NaN: no report
    {0x7F800001, 0x7FC00001, 0, true},   // signalling NaN leaves quiet
    {0xFF800000, 0xFFC00000, 19, true},  // -Inf
    {0xBF800000, 0xFFC00000, 19, true},  // -1
    {0x80000001, 0xFFC00000, 19, true},  // -2^-149
    {0xFF7FFFFF, 0xFFC00000, 19, true},  // -FLT_MAX
    {0x00000001, 0x1A3504F3, 0, false},  // 2^-149 -> sqrt(2) * 2^-75, pre-scaled
    {0x00000002, 0x1A800000, 0, false},  // 2^-148 -> 2^-74 exactly
    {0x7F7FFFFF, 0x5F7FFFFF, 0, false},  // FLT_MAX
    {0x40000000, 0x3FB504F3, 0, false},  // 2
};

TEST(Sqrt, SpecialValuesDouble) {
  for (Fn64 fn : kMembers64)
    for (const auto& c : kSpecial64) {
      double x, y = 0;
      std::memcpy(&x, &c.x, 8);  // not through an x87 register: keeps signalling NaNs
      ScopedControlWord cw(kDefault);
      EXPECT_EQ(fn(&x, &y, 1), c.status) << kelacc::hex(x);
      EXPECT_EQ(bits_of(y), c.y) << kelacc::hex(x) << " gave " << kelacc::hex(y);
      EXPECT_EQ((flags() & kInvalid) != 0, c.invalid) << kelacc::hex(x);
      EXPECT_EQ(flags() & (kOverflow | kUnderflow | kDivByZero), 0) << kelacc::hex(x);
    }
}

TEST(Sqrt, SpecialValuesFloat) {
  for (Fn32 fn : kMembers32)
    for (const auto& c : kSpecial32) {
      float x, y = 0;
      std::memcpy(&x, &c.x, 4);
      ScopedControlWord cw(kDefault);
      EXPECT_EQ(fn(&x, &y, 1), c.status) << kelacc::hex(x);
      EXPECT_EQ(bits_of(y), c.y) << kelacc::hex(x) << " gave " << kelacc::hex(y);
      EXPECT_EQ((flags() & kInvalid) != 0, c.invalid) << kelacc::hex(x);
      EXPECT_EQ(flags() & (kOverflow | kUnderflow | kDivByZero), 0) << kelacc::hex(x);
    }
}

// The status is the domain code when any element was negative, whatever
// follows; the other elements are still computed.
TEST(Sqrt, DomainReportInsideAnArray) {
  const double src[5] = {INFINITY, NAN, -INFINITY, 9.0, -0.0};
  double dst[5];
  ScopedControlWord cw(kDefault);
  EXPECT_EQ(kelsSqrt_64f_A50(src, dst, 5), kelStatusDomain);
  EXPECT_EQ(dst[0], INFINITY);
  EXPECT_TRUE(std::isnan(dst[1]));
  EXPECT_EQ(bits_of(dst[2]), 0xFFF8000000000000u);
  EXPECT_EQ(dst[3], 3.0);
  EXPECT_EQ(bits_of(dst[4]), 0x8000000000000000u);
  EXPECT_TRUE(flags() & kInvalid);

  const float fsrc[3] = {-2.0f, 16.0f, NAN};
  float fdst[3];
  EXPECT_EQ(kelsSqrt_32f_A21(fsrc, fdst, 3), kelStatusDomain);
  EXPECT_TRUE(std::isnan(fdst[0]));
  EXPECT_EQ(fdst[1], 4.0f);

  const double clean[3] = {-0.0, NAN, 2.0};
  clear_flags();
  EXPECT_EQ(kelsSqrt_64f_A53(clean, dst, 3), kelStatusNoError);
  EXPECT_FALSE(flags() & kInvalid);
}

TEST(Sqrt, InPlace) {
  double data[3] = {16.0, 0.25, -4.0};
  EXPECT_EQ(kelsSqrt_64f_A53(data, data, 3), kelStatusDomain);
  EXPECT_EQ(data[0], 4.0);
  EXPECT_EQ(data[1], 0.5);
  EXPECT_TRUE(std::isnan(data[2]));
}

// ---- Exact roots -------------------------------------------------------------

// n^2 * 4^k for n below 2^26.5 (n^2 fits a double) over every k whose square
// is representable, subnormal squares included: the root n * 2^k is exact.
TEST(Sqrt, PerfectSquaresDouble) {
  std::mt19937_64 rng(7);
  std::vector<double> ns = {1, 2, 3, 5, 7, 11, 4095, 4097, 67108863, 94906265};
  while (ns.size() < 24) ns.push_back(static_cast<double>(rng() % 94906266));
  std::vector<double> xs, roots;
  for (int k = -537; k <= 511 - 27; ++k)
    for (double n : ns) {
      const double x = std::ldexp(n * n, 2 * k);
      if (x == 0 || std::ldexp(x, -2 * k) != n * n) continue;  // not representable
      xs.push_back(x);
      roots.push_back(std::ldexp(n, k));
    }
  ASSERT_GT(xs.size(), 20000u);
  std::vector<double> ys(xs.size());
  for (Fn64 fn : kMembers64) {
    ASSERT_EQ(fn(xs.data(), ys.data(), static_cast<int>(xs.size())), 0);
    size_t bad = 0;
    for (size_t i = 0; i < xs.size(); ++i)
      if (ys[i] != roots[i] && bad++ < 5) ADD_FAILURE() << kelacc::hex(xs[i]) << " gave " << kelacc::hex(ys[i]);
    EXPECT_EQ(bad, 0u);
  }
}

TEST(Sqrt, PerfectSquaresFloat) {
  std::vector<float> xs, roots;
  for (int k = -74; k <= 51; ++k)
    for (int n = 1; n < 4096; n += (k % 8 == 0 ? 1 : 97)) {
      const float x = std::ldexp(static_cast<float>(n * n), 2 * k);
      if (x == 0 || std::ldexp(x, -2 * k) != static_cast<float>(n * n)) continue;
      xs.push_back(x);
      roots.push_back(std::ldexp(static_cast<float>(n), k));
    }
  std::vector<float> ys(xs.size());
  for (Fn32 fn : kMembers32) {
    ASSERT_EQ(fn(xs.data(), ys.data(), static_cast<int>(xs.size())), 0);
    size_t bad = 0;
    for (size_t i = 0; i < xs.size(); ++i)
      if (ys[i] != roots[i] && bad++ < 5) ADD_FAILURE() << kelacc::hex(xs[i]) << " gave " << kelacc::hex(ys[i]);
    EXPECT_EQ(bad, 0u);
  }
}

// ---- Correct rounding of doubles -------------------------------------------

// Counts results that differ from MPFR's correctly rounded root.
size_t count_not_correctly_rounded(Fn64 fn, const std::vector<double>& xs, std::string* first) {
  mpfr_t a, r;
  mpfr_init2(a, 53);
  mpfr_init2(r, 53);
  constexpr size_t kChunk = 4096;
  std::vector<double> ys(kChunk);
  size_t bad = 0;
  for (size_t i = 0; i < xs.size(); i += kChunk) {
    const int n = static_cast<int>(std::min(kChunk, xs.size() - i));
    fn(&xs[i], ys.data(), n);
    for (int k = 0; k < n; ++k) {
      mpfr_set_d(a, xs[i + k], MPFR_RNDN);
      mpfr_sqrt(r, a, MPFR_RNDN);  // roots of doubles are normal: no subnormal step
      const double cr = mpfr_get_d(r, MPFR_RNDN);
      if (bits_of(ys[k]) != bits_of(cr) && bad++ == 0 && first)
        *first = kelacc::hex(xs[i + k]) + " gave " + kelacc::hex(ys[k]) + ", expected " + kelacc::hex(cr);
    }
  }
  mpfr_clears(a, r, static_cast<mpfr_ptr>(nullptr));
  return bad;
}

// Arguments whose root lies extremely close to the midpoint of two doubles.
// An odd w in [2^53, 2^54) is such a midpoint (scaled by 2^-54); if
// w^2 = t (mod 2^55) with t small or close to 2^55, then w^2 is that close to
// a multiple of 2^54 (or 2^55), that is to a double, and the root of that
// double lies within about |t| * 2^-55 ulp of the midpoint: below it when t
// is small, above it when t is near 2^55.  With 4000 residues (|t| < 16000)
// this is every significand whose root lies within 2^-43 ulp of a midpoint.  Both neighbouring doubles
// are kept (one hard, one ordinary), then scaled by 4^k across the exponent
// range.  Odd squares are 1 mod 8, so t runs over 1 + 8i and 2^55 - 7 - 8i.
// High 64 bits of the 128-bit product a * b (no 128-bit type on i386).
uint64_t mul_high(uint64_t a, uint64_t b) {
  const uint64_t al = a & 0xFFFFFFFF, ah = a >> 32, bl = b & 0xFFFFFFFF, bh = b >> 32;
  const uint64_t mid1 = ah * bl, mid2 = al * bh, low = al * bl;
  const uint64_t carry = ((low >> 32) + (mid1 & 0xFFFFFFFF) + (mid2 & 0xFFFFFFFF)) >> 32;
  return ah * bh + (mid1 >> 32) + (mid2 >> 32) + carry;
}

std::vector<double> midpoint_hard_cases(int residues) {
  constexpr uint64_t kMod = uint64_t(1) << 55;
  std::vector<double> out;
  for (int i = 0; i < residues; ++i) {
    const uint64_t t = i % 2 == 0 ? 1 + 8 * uint64_t(i / 2) : kMod - 7 - 8 * uint64_t(i / 2);
    // Hensel lifting: w^2 = t mod 2^k implies w or w + 2^(k-1) squares to t
    // mod 2^(k+1).  Products wrap modulo 2^64, which keeps the low bits.
    uint64_t w = 1;
    for (int k = 3; k < 55; ++k)
      if (((w * w - t) >> k) & 1) w += uint64_t(1) << (k - 1);
    EXPECT_EQ((w * w) & (kMod - 1), t);
    for (uint64_t root : {w, kMod - w, (w + kMod / 2) & (kMod - 1), (kMod / 2 - w) & (kMod - 1)}) {
      if (root < (uint64_t(1) << 53) || root >= (uint64_t(1) << 54)) continue;
      // root^2 in [2^106, 2^108), shifted right to its top 53 bits.
      const uint64_t hi = mul_high(root, root), lo = root * root;
      const int shift = (hi >> 43) ? 55 : 54;
      const uint64_t q = (hi << (64 - shift)) | (lo >> shift);
      for (uint64_t m : {q, q + 1})
        for (int k = -400; k <= 400; k += 100) out.push_back(std::ldexp(static_cast<double>(m), shift - 108 + 2 * k));
    }
  }
  return out;
}

TEST(Sqrt, CorrectlyRoundedNearMidpoints) {
  const auto xs = midpoint_hard_cases(native_build() ? 4000 : 1000);
  for (Fn64 fn : kMembers64) {
    std::string first;
    const size_t bad = count_not_correctly_rounded(fn, xs, &first);
    EXPECT_EQ(bad, 0u) << bad << " of " << xs.size() << "; first: " << first;
  }
}

// Uniform random bit patterns over all positive doubles (subnormals
// included).  The native build runs a large sample; KELVM_SQRT_SAMPLES
// overrides its size for hand runs.
TEST(Sqrt, CorrectlyRoundedOnRandomDoubles) {
  size_t n = native_build() ? 10000000 : 20000;
  if (const char* env = std::getenv("KELVM_SQRT_SAMPLES")) n = std::strtoull(env, nullptr, 10);
  const auto xs = kelacc::random_bits_in<double>(0x1p-1074, 0x1.fffffffffffffp+1023, n, 12);
  std::string first;
  const size_t bad = count_not_correctly_rounded(kelsSqrt_64f_A53, xs, &first);
  EXPECT_EQ(bad, 0u) << bad << " of " << n << "; first: " << first;
  std::printf("[ measured ] Sqrt 64f: %zu of %zu random doubles not correctly rounded\n", bad, n);
}

// ---- Floats -----------------------------------------------------------------

// y is the correctly rounded root of x (y a positive normal float) when x
// lies strictly between the squares of the midpoints around y.  Midpoints
// have 25 bits and their squares 50, so the comparison is exact in double;
// a root is never exactly a midpoint.
bool float_root_ok(float x, float y) {
  const uint32_t b = bits_of(y);
  const double yd = y;
  const double lo = (yd + static_cast<double>(float_from_bits(b - 1))) / 2;
  const double hi = (yd + static_cast<double>(float_from_bits(b + 1))) / 2;
  return lo * lo < static_cast<double>(x) && static_cast<double>(x) < hi * hi;
}

// The float members widen to double and run the double algorithm, float
// subnormals pre-scaled on their own exponent field: the result is the
// double root rounded once to float, and it is correctly rounded.
TEST(Sqrt, FloatIsDoubleRootRoundedOnce) {
  auto xs = kelacc::random_bits_in<float>(0x1p-149f, 0x1.fffffep127f, 20000, 5);
  for (uint32_t b = 1; b < 0x800000; b = b * 3 + 1) xs.push_back(float_from_bits(b));  // subnormals
  const std::vector<double> wide(xs.begin(), xs.end());
  std::vector<double> yd(xs.size());
  std::vector<float> ys(xs.size());
  ASSERT_EQ(kelsSqrt_64f_A53(wide.data(), yd.data(), static_cast<int>(xs.size())), 0);
  for (Fn32 fn : kMembers32) {
    ASSERT_EQ(fn(xs.data(), ys.data(), static_cast<int>(xs.size())), 0);
    size_t bad = 0;
    for (size_t i = 0; i < xs.size(); ++i) {
      const bool ok = ys[i] == static_cast<float>(yd[i]) && float_root_ok(xs[i], ys[i]);
      if (!ok && bad++ < 5) ADD_FAILURE() << kelacc::hex(xs[i]) << " gave " << kelacc::hex(ys[i]);
    }
    EXPECT_EQ(bad, 0u);
  }
}

// Every positive finite float (2^31 - 2^23 - 1 of them), native build only
// (about a minute).  The other float members run the same code; their
// agreement is checked on samples below.
TEST(Sqrt, ExhaustiveFloatsNative) {
  if (!native_build()) GTEST_SKIP() << "exhaustive run on the native build only";
  constexpr uint32_t kChunk = 1 << 16;
  std::vector<float> xs(kChunk), ys(kChunk);
  uint64_t bad = 0, total = 0;
  std::string first;
  for (uint32_t start = 1; start < 0x7F800000u; start += kChunk) {
    const uint32_t n = std::min<uint32_t>(kChunk, 0x7F800000u - start);
    for (uint32_t i = 0; i < n; ++i) xs[i] = float_from_bits(start + i);
    kelsSqrt_32f_A24(xs.data(), ys.data(), static_cast<int>(n));
    for (uint32_t i = 0; i < n; ++i)
      if (!float_root_ok(xs[i], ys[i]) && bad++ == 0) first = kelacc::hex(xs[i]) + " gave " + kelacc::hex(ys[i]);
    total += n;
  }
  EXPECT_EQ(total, 0x7F7FFFFFu);
  EXPECT_EQ(bad, 0u) << "first: " << first;
  std::printf("[ measured ] Sqrt 32f: %" PRIu64 " of %" PRIu64 " positive floats not correctly rounded\n", bad, total);
}

// ---- Members and the control word -------------------------------------------

// Every accuracy member of a precision gives the same bits and status on any
// input, specials and negatives included.
TEST(Sqrt, AccuracyMembersAgree) {
  std::mt19937_64 rng(99);
  std::vector<double> xs(50000);
  for (auto& x : xs) {
    const uint64_t b = rng();
    std::memcpy(&x, &b, 8);  // signalling NaNs included
  }
  std::vector<double> y0(xs.size()), y1(xs.size());
  EXPECT_EQ(kelsSqrt_64f_A50(xs.data(), y0.data(), static_cast<int>(xs.size())),
            kelsSqrt_64f_A53(xs.data(), y1.data(), static_cast<int>(xs.size())));
  EXPECT_EQ(std::memcmp(y0.data(), y1.data(), xs.size() * sizeof(double)), 0);

  std::vector<float> fs(50000);
  for (auto& f : fs) {
    const uint32_t b = static_cast<uint32_t>(rng());
    std::memcpy(&f, &b, 4);
  }
  std::vector<float> ref(fs.size()), got(fs.size());
  const int st = kelsSqrt_32f_A24(fs.data(), ref.data(), static_cast<int>(fs.size()));
  for (Fn32 fn : {kelsSqrt_32f_A11, kelsSqrt_32f_A21}) {
    EXPECT_EQ(fn(fs.data(), got.data(), static_cast<int>(fs.size())), st);
    EXPECT_EQ(std::memcmp(ref.data(), got.data(), fs.size() * sizeof(float)), 0);
  }
}

// The split and the exact residual rely on 53-bit rounding to nearest: a
// caller running at 64-bit precision or with a directed rounding mode gets
// the same bits as one at 53-bit round-to-nearest, and keeps its own word.
TEST(Sqrt, ResultsIndependentOfCallerControlWord) {
  auto xs = midpoint_hard_cases(20);
  const auto more = kelacc::random_bits_in<double>(0x1p-1074, 0x1p1000, 5000, 3);
  xs.insert(xs.end(), more.begin(), more.end());
  const int n = static_cast<int>(xs.size());
  std::vector<double> expected(xs.size()), got(xs.size());
  {
    ScopedControlWord cw(kDouble);
    ASSERT_EQ(kelsSqrt_64f_A53(xs.data(), expected.data(), n), 0);
  }
  for (uint16_t caller : {kDefault, uint16_t(kDefault | kTowardZero), uint16_t(kDouble | kUp),
                          uint16_t(kSingle | kDown)}) {
    uint16_t after;
    {
      ScopedControlWord cw(caller);
      ASSERT_EQ(kelsSqrt_64f_A50(xs.data(), got.data(), n), 0);
      after = control_word();
    }
    EXPECT_EQ(after, caller);
    EXPECT_EQ(std::memcmp(expected.data(), got.data(), xs.size() * sizeof(double)), 0)
        << "caller word 0x" << std::hex << caller;
  }
}

}  // namespace

// Helpers shared by the table generators: bit patterns, decimals rounded once
// to double, MPFR roundings to a chosen precision, hex-float literals that
// read the same on every host, and the failure exit.
#pragma once

#include <errno.h>  // program_invocation_short_name
#include <mpfr.h>

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace gen {

inline uint64_t bits_of(double x) {
  uint64_t b;
  std::memcpy(&b, &x, 8);
  return b;
}

inline double from_bits(uint64_t b) {
  double x;
  std::memcpy(&x, &b, 8);
  return x;
}

// A generator that finds a value off its rule or its documentation stops
// with a message and no table: the regeneration test then fails.
[[noreturn]] __attribute__((format(printf, 1, 2))) inline void fail(const char* format, ...) {
  std::fprintf(stderr, "%s: ", program_invocation_short_name);
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
  std::exit(1);
}

inline void check(bool ok, const char* what) {
  if (!ok) fail("%s", what);
}

// A printed decimal, rounded once to double.
inline double decimal(const char* s) {
  mpfr_t r;
  mpfr_init2(r, 53);
  mpfr_set_str(r, s, 10, MPFR_RNDN);
  const double d = mpfr_get_d(r, MPFR_RNDN);
  mpfr_clear(r);
  return d;
}

// v rounded to a p-bit significand in the given direction, as a double
// (exact for p <= 53 inside the normal double range).
inline double round_to_prec(mpfr_srcptr v, mpfr_prec_t p, mpfr_rnd_t rnd) {
  mpfr_t r;
  mpfr_init2(r, p);
  mpfr_set(r, v, rnd);
  const double d = mpfr_get_d(r, MPFR_RNDN);
  mpfr_clear(r);
  return d;
}

// The Taylor coefficients of atan at c, a[k - 1] = a_k for k = 1..n
// (initialized 512-bit variables): with w = (c + i)/(1 + c^2),
// atan(c + h) - atan(c) = Im ln(1 + h w), so a_k = (-1)^(k+1) Im(w^k)/k.
inline void atan_taylor(mpfr_srcptr c, int n, mpfr_t* a) {
  mpfr_t d, wr, wi, pr, pi, t, u;
  mpfr_inits2(512, d, wr, wi, pr, pi, t, u, static_cast<mpfr_ptr>(nullptr));
  mpfr_sqr(d, c, MPFR_RNDN);
  mpfr_add_ui(d, d, 1, MPFR_RNDN);
  mpfr_div(wr, c, d, MPFR_RNDN);
  mpfr_ui_div(wi, 1, d, MPFR_RNDN);
  mpfr_set(pr, wr, MPFR_RNDN);  // p = w^k
  mpfr_set(pi, wi, MPFR_RNDN);
  mpfr_set(a[0], wi, MPFR_RNDN);
  for (int k = 2; k <= n; ++k) {
    mpfr_mul(t, pr, wr, MPFR_RNDN);  // p *= w
    mpfr_mul(u, pi, wi, MPFR_RNDN);
    mpfr_sub(t, t, u, MPFR_RNDN);
    mpfr_mul(u, pr, wi, MPFR_RNDN);
    mpfr_fma(pi, pi, wr, u, MPFR_RNDN);
    mpfr_set(pr, t, MPFR_RNDN);
    mpfr_div_si(a[k - 1], pi, k % 2 ? k : -k, MPFR_RNDN);
  }
  mpfr_clears(d, wr, wi, pr, pi, t, u, static_cast<mpfr_ptr>(nullptr));
}

// pi num/den as a 64-bit head and the long double nearest the rest (512-bit
// arithmetic): the two-piece constants that place a reduced angle.
struct PiFraction {
  long double hi, lo;
};
inline PiFraction pi_fraction(long num, long den) {
  mpfr_t t, hi;
  mpfr_init2(t, 512);
  mpfr_init2(hi, 64);
  mpfr_const_pi(t, MPFR_RNDN);
  mpfr_mul_si(t, t, num, MPFR_RNDN);
  mpfr_div_si(t, t, den, MPFR_RNDN);
  mpfr_set(hi, t, MPFR_RNDN);
  mpfr_sub(t, t, hi, MPFR_RNDN);
  const PiFraction r = {mpfr_get_ld(hi, MPFR_RNDN), mpfr_get_ld(t, MPFR_RNDN)};
  mpfr_clears(t, hi, static_cast<mpfr_ptr>(nullptr));
  return r;
}

// C99 hex-float literal of a double built from its bit pattern alone, so the
// text is the same on every host: shortest digits, subnormals as 0x0.xxxp-1022,
// infinities as the table sources' kInf, NaNs as a bit cast of their pattern.
inline std::string hex(double x) {
  const uint64_t b = bits_of(x);
  const uint64_t m52 = (uint64_t{1} << 52) - 1;
  int e = static_cast<int>((b >> 52) & 0x7FF);
  uint64_t m = b & m52;
  char buf[80];
  if (e == 0x7FF) {
    if (m == 0) return (b >> 63) ? "-kInf" : "kInf";
    std::snprintf(buf, sizeof buf, "__builtin_bit_cast(double, 0x%016llXull)", static_cast<unsigned long long>(b));
    return buf;
  }
  const std::string sign = (b >> 63) ? "-" : "";
  if (e == 0 && m == 0) return sign + "0x0p+0";
  int lead = 1;
  if (e == 0) {
    lead = 0;
    e = 1;
  }
  int digits = 13;
  while (digits > 0 && (m & 0xF) == 0) {
    m >>= 4;
    --digits;
  }
  if (digits > 0)
    std::snprintf(buf, sizeof buf, "0x%d.%0*llxp%+d", lead, digits, static_cast<unsigned long long>(m), e - 1023);
  else
    std::snprintf(buf, sizeof buf, "0x%dp%+d", lead, e - 1023);
  return sign + buf;
}

// One value of a printed table with the comment that follows it.
struct Entry {
  double value;
  std::string comment;
};

// Prints rows [0, rows) of a table of doubles, each of `cols` values, as
// braced initializers four values to a line (the member `.name` of a printed
// struct).
inline void print_rows(const char* name, const double* v, int rows, int cols) {
  std::printf("    .%s =\n        {\n", name);
  for (int r = 0; r < rows; ++r) {
    std::printf("            {\n");
    for (int j = 0; j < cols; j += 4) {
      std::printf("               ");
      for (int k = j; k < j + 4 && k < cols; ++k) std::printf(" %s,", hex(v[r * cols + k]).c_str());
      std::printf("\n");
    }
    std::printf("            },\n");
  }
  std::printf("        },\n");
}

// One term c x^power of a polynomial with fixed coefficients.
struct Term {
  long double c;
  int power;
};

// log2 of the largest relative error of sum(c x^power) against f(x), over
// 2^12 + 1 evenly spaced points of [lo, hi] (x = 0 left out), the polynomial
// evaluated at 256 bits: the error figure quoted beside a fixed coefficient
// set.
template <class Terms>
double sampled_error_log2(void (*f)(mpfr_ptr, mpfr_srcptr), const Terms& terms, double lo, double hi) {
  constexpr int kLogSteps = 12;
  mpfr_t x, p, t, c, ref;
  mpfr_inits2(256, x, p, t, c, ref, static_cast<mpfr_ptr>(nullptr));
  double worst = 0;
  for (int i = 0; i <= 1 << kLogSteps; ++i) {
    mpfr_set_d(x, hi - lo, MPFR_RNDN);
    mpfr_mul_si(x, x, i, MPFR_RNDN);
    mpfr_div_2ui(x, x, kLogSteps, MPFR_RNDN);
    mpfr_add_d(x, x, lo, MPFR_RNDN);
    if (mpfr_zero_p(x)) continue;
    mpfr_set_zero(p, 1);
    for (const Term& term : terms) {
      mpfr_pow_si(t, x, term.power, MPFR_RNDN);
      mpfr_set_ld(c, term.c, MPFR_RNDN);
      mpfr_mul(t, t, c, MPFR_RNDN);
      mpfr_add(p, p, t, MPFR_RNDN);
    }
    f(ref, x);
    mpfr_sub(p, p, ref, MPFR_RNDN);
    mpfr_div(p, p, ref, MPFR_RNDN);
    const double e = std::abs(mpfr_get_d(p, MPFR_RNDN));
    if (e > worst) worst = e;
  }
  mpfr_clears(x, p, t, c, ref, static_cast<mpfr_ptr>(nullptr));
  return std::log2(worst);
}

}  // namespace gen

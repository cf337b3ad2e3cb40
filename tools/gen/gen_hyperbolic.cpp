// Prints src/hyperbolic_data.cpp, the constants of the hyperbolic family.
//
// Every value follows from a rule and is computed here with MPFR: the Taylor
// coefficients of e^r, sinh and tanh (those of tanh by the recurrence
// (2n+1) t_n = -sum_{i+j=n-1} t_i t_j that follows from tanh' = 1 - tanh^2),
// and the overflow thresholds of sinh and cosh, found by searching the
// floating-point numbers next to asinh of the overflow midpoint.  A threshold
// that sinh and cosh do not share, or that a double evaluation could push over
// the float limit, stops the generator with a message instead of a table.
//
//   build/native/tests/gen_hyperbolic > src/hyperbolic_data.cpp
#include <vector>

#include "gen_common.h"

namespace {

constexpr mpfr_prec_t kWide = 256;

using gen::Entry;
using gen::fail;
using gen::hex;

void print_array(const char* field, const std::vector<Entry>& rows) {
  std::printf("    // %s\n    {\n", field);
  for (const auto& r : rows) {
    const std::string lit = hex(r.value) + ",";
    std::printf("        %-24s // %s\n", lit.c_str(), r.comment.c_str());
  }
  std::printf("    },\n");
}

void print_scalar(const Entry& e) {
  const std::string lit = hex(e.value) + ",";
  std::printf("    %-28s // %s\n", lit.c_str(), e.comment.c_str());
}

// True when f(x), rounded to nearest in a format with p-bit significands and
// largest finite value below 2^emax, is finite: f(x) lies below the midpoint
// 2^emax (1 - 2^-(p+1)) between the largest finite value and 2^emax (a value
// on the midpoint would round to even, that is to infinity).
bool finite_after_rounding(int (*f)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t), double x, int p, int emax) {
  mpfr_t v, mid;
  mpfr_inits2(kWide, v, mid, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_d(v, x, MPFR_RNDN);
  f(v, v, MPFR_RNDN);
  mpfr_set_ui_2exp(mid, 1, emax, MPFR_RNDN);
  mpfr_t h;
  mpfr_init2(h, kWide);
  mpfr_set_ui_2exp(h, 1, emax - p - 1, MPFR_RNDN);
  mpfr_sub(mid, mid, h, MPFR_RNDN);
  const bool below = mpfr_less_p(v, mid);
  mpfr_clears(v, mid, h, static_cast<mpfr_ptr>(nullptr));
  return below;
}

// Neighbour of x in the format with p-bit significands (x normal, > 0).
double step(double x, int p, int dir) {
  mpfr_t v;
  mpfr_init2(v, p);
  mpfr_set_d(v, x, MPFR_RNDN);
  if (dir > 0)
    mpfr_nextabove(v);
  else
    mpfr_nextbelow(v);
  const double r = mpfr_get_d(v, MPFR_RNDN);
  mpfr_clear(v);
  return r;
}

// The largest x in the format (p, emax) whose f(x) rounds to a finite value.
double overflow_threshold(int (*f)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t), int p, int emax) {
  mpfr_t v;
  mpfr_init2(v, kWide);
  mpfr_set_ui_2exp(v, 1, emax, MPFR_RNDN);
  mpfr_asinh(v, v, MPFR_RNDN);
  mpfr_t r;
  mpfr_init2(r, p);
  mpfr_set(r, v, MPFR_RNDD);
  double x = mpfr_get_d(r, MPFR_RNDN);
  mpfr_clears(v, r, static_cast<mpfr_ptr>(nullptr));
  while (!finite_after_rounding(f, x, p, emax)) x = step(x, p, -1);
  while (finite_after_rounding(f, step(x, p, +1), p, emax)) x = step(x, p, +1);
  return x;
}

// Rounds f(x) to 53 bits and then to 24 bits: the float members evaluate in
// double and round again at the store.  True when that stays finite.
bool float_store_finite(int (*f)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t), double x) {
  mpfr_t v, d;
  mpfr_init2(v, kWide);
  mpfr_init2(d, 53);
  mpfr_set_d(v, x, MPFR_RNDN);
  f(v, v, MPFR_RNDN);
  mpfr_set(d, v, MPFR_RNDN);
  const double y = mpfr_get_d(d, MPFR_RNDN);
  mpfr_clears(v, d, static_cast<mpfr_ptr>(nullptr));
  return finite_after_rounding([](mpfr_ptr o, mpfr_srcptr i, mpfr_rnd_t) { return mpfr_set(o, i, MPFR_RNDN); }, y, 24,
                               128);
}

double to_double(mpfr_srcptr v) { return mpfr_get_d(v, MPFR_RNDN); }

}  // namespace

int main() {
  mpfr_t w;
  mpfr_init2(w, kWide);

  // 1/n! for the e^r polynomial (n = 2..7) and for sinh(a)/a - 1 (odd n).
  std::vector<Entry> exp_poly, sinh_poly;
  for (int n = 2; n <= 7; ++n) {
    mpfr_fac_ui(w, n, MPFR_RNDN);
    mpfr_ui_div(w, 1, w, MPFR_RNDN);
    exp_poly.push_back({to_double(w), "1/" + std::to_string(n) + "!"});
  }
  for (int n = 3; n <= 11; n += 2) {
    mpfr_fac_ui(w, n, MPFR_RNDN);
    mpfr_ui_div(w, 1, w, MPFR_RNDN);
    sinh_poly.push_back({to_double(w), "1/" + std::to_string(n) + "!"});
  }

  // tanh(x) = sum t_n x^(2n+1).
  constexpr int kTanhTerms = 7;  // t_0 .. t_6
  std::vector<mpfr_t> t(kTanhTerms);
  for (auto& c : t) mpfr_init2(c, kWide);
  mpfr_set_ui(t[0], 1, MPFR_RNDN);
  for (int n = 1; n < kTanhTerms; ++n) {
    mpfr_set_ui(t[n], 0, MPFR_RNDN);
    for (int i = 0; i <= n - 1; ++i) {
      mpfr_mul(w, t[i], t[n - 1 - i], MPFR_RNDN);
      mpfr_sub(t[n], t[n], w, MPFR_RNDN);
    }
    mpfr_div_ui(t[n], t[n], 2 * n + 1, MPFR_RNDN);
  }
  std::vector<Entry> tanh_poly;
  for (int n = 1; n < kTanhTerms; ++n)
    tanh_poly.push_back({to_double(t[n]), "t" + std::to_string(2 * n + 1) + ", of x^" + std::to_string(2 * n + 1)});
  if (tanh_poly[0].value != -1.0 / 3 || tanh_poly[1].value != 2.0 / 15) fail("tanh recurrence: t3, t5 are wrong");
  for (auto& c : t) mpfr_clear(c);

  const double over64 = overflow_threshold(mpfr_sinh, 53, 1024);
  const double over32 = overflow_threshold(mpfr_sinh, 24, 128);
  if (overflow_threshold(mpfr_cosh, 53, 1024) != over64) fail("double thresholds of sinh and cosh differ");
  if (overflow_threshold(mpfr_cosh, 24, 128) != over32) fail("single thresholds of sinh and cosh differ");
  if (!float_store_finite(mpfr_sinh, over32) || !float_store_finite(mpfr_cosh, over32))
    fail("the double result at the single threshold rounds to infinity");
  if (over64 != 0x1.633ce8fb9f87dp+9) fail("double threshold is not 710.4758600739439");
  if (over32 != 0x1.65a9f8p+6) fail("single threshold is not 89.415985107421875");

  std::printf(
      "// Constants of the hyperbolic family.\n"
      "// Generated by tools/gen/gen_hyperbolic.cpp (MPFR); do not edit.\n"
      "//\n"
      "// Coefficients are the Taylor coefficients rounded to nearest; the\n"
      "// thresholds are the largest double and the largest float whose sinh and\n"
      "// cosh round to a finite value.  The rows 2^(j/64) and the reduction\n"
      "// constants are those of the exponential's table.\n"
      "#include \"hyperbolic_data.h\"\n"
      "\n"
      "namespace kel::hyperbolic_data {\n\n"
      "const Tables kTables = {\n");
  print_array("e^r - 1 - r = r^2 (c2 + c3 r + ... + c7 r^5), |r| <= ln2/128", exp_poly);
  print_array("sinh(a) = a + a^3 (s3 + s5 a^2 + ... + s11 a^8), a < 1/8", sinh_poly);
  print_array("tanh(a) = a + a^3 (t3 + t5 a^2 + ... + t13 a^10), a < 1/16", tanh_poly);
  print_scalar({over64, "710.4758600739439: sinh, cosh of larger doubles overflow"});
  print_scalar({over32, "89.415985107421875: sinh, cosh of larger floats overflow"});
  std::printf("};\n\n}  // namespace kel::hyperbolic_data\n");

  mpfr_clear(w);
  mpfr_free_cache();
  return 0;
}

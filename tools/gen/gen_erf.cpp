// Prints src/erf_data.cpp, the polynomial coefficients of the error-function
// family.
//
// Every polynomial interpolates its function with MPFR at Chebyshev nodes and
// is checked here, with its coefficients rounded to long double, against MPFR
// at kChecks points of its interval: the relative error must stay below
// 2^-64 (erf, erfc).  That is the floor set by rounding the constant term to
// 64 bits; the truncation error of the chosen degrees is below 2^-66, so one
// degree less shows up as a failure here.  A polynomial that misses
// its bound stops the generator with a message instead of a table.
//
//   erf(x)/x   = P(x^2)                       |x| < 1/2
//   erfc(a) e^(a^2) = Q_i(a - m_i)            a in [2^e (1 + k/4), 2^e (1 + (k+1)/4)),
//                                             e = -1..4, k = 0..3, i = 4(e+1) + k,
//                                             m_i the midpoint
//   erfinv(x)/x = S(x^2)                      |x| < 3/4
//   erfinv(x) = T_j(w - w_j)                  w = sqrt(-ln(1 - |x|)) in [w_j, w_(j+1))
//
// and the shorter polynomials of the fast paths (kFast), with double
// coefficients but for three leading ones, within 2^-63 with those values:
//
//   erf(x)/x   = P(x^2)                       |x| < 1/2
//   erf(a)     = E_i(a - m_i)                 a in [1/2, 6)    8 cells per binade,
//   erfc(a) e^(a^2) = C_i(a - m_i)            a in [1/2, 32)   m_i the midpoint
//
//   build/native/tests/gen_erf > src/erf_data.cpp
#include <cmath>
#include <string>
#include <vector>

#include "gen_common.h"

namespace {

constexpr mpfr_prec_t kPrec = 192;
constexpr int kChecks = 100;
constexpr int kFastLeading = 3;  // leading coefficients stored as double + tail

using gen::fail;

struct M {
  mpfr_t v;
  M() {
    mpfr_init2(v, kPrec);
    mpfr_set_ui(v, 0, MPFR_RNDN);
  }
  explicit M(double d) {
    mpfr_init2(v, kPrec);
    mpfr_set_d(v, d, MPFR_RNDN);
  }
  M(const M& o) {
    mpfr_init2(v, kPrec);
    mpfr_set(v, o.v, MPFR_RNDN);
  }
  M& operator=(const M& o) {
    mpfr_set(v, o.v, MPFR_RNDN);
    return *this;
  }
  ~M() { mpfr_clear(v); }
};

// A point of [lo, hi]: lo + (hi - lo) (1 + cos(pi (2i + 1) / 2n)) / 2.
M chebyshev_point(const M& lo, const M& hi, int i, int n) {
  M t, w;
  mpfr_const_pi(t.v, MPFR_RNDN);
  mpfr_mul_ui(t.v, t.v, 2 * i + 1, MPFR_RNDN);
  mpfr_div_ui(t.v, t.v, 2 * n, MPFR_RNDN);
  mpfr_cos(t.v, t.v, MPFR_RNDN);
  mpfr_add_ui(t.v, t.v, 1, MPFR_RNDN);
  mpfr_sub(w.v, hi.v, lo.v, MPFR_RNDN);
  mpfr_mul(t.v, t.v, w.v, MPFR_RNDN);
  mpfr_div_2ui(t.v, t.v, 1, MPFR_RNDN);
  mpfr_add(t.v, t.v, lo.v, MPFR_RNDN);
  return t;
}

// The coefficients, rounded to long double, of the polynomial of degree
// n - 1 in v that interpolates f(v) at the n Chebyshev nodes of [lo, hi]:
// Newton's divided differences, then the Newton form multiplied out.
template <class F>
std::vector<long double> interpolate(int n, const M& lo, const M& hi, F f) {
  std::vector<M> v, d;
  for (int i = 0; i < n; ++i) {
    v.push_back(chebyshev_point(lo, hi, i, n));
    d.push_back(f(v.back()));
  }
  M num, den;
  for (int j = 1; j < n; ++j)
    for (int i = n - 1; i >= j; --i) {
      mpfr_sub(num.v, d[i].v, d[i - 1].v, MPFR_RNDN);
      mpfr_sub(den.v, v[i].v, v[i - j].v, MPFR_RNDN);
      mpfr_div(d[i].v, num.v, den.v, MPFR_RNDN);
    }
  // c = d[n-1]; c = c (v - v_k) + d[k] for k = n-2 down to 0.
  std::vector<M> c(1, d[n - 1]);
  for (int k = n - 2; k >= 0; --k) {
    std::vector<M> next(c.size() + 1);
    for (size_t j = 0; j < c.size(); ++j) {
      mpfr_add(next[j + 1].v, next[j + 1].v, c[j].v, MPFR_RNDN);
      mpfr_mul(num.v, c[j].v, v[k].v, MPFR_RNDN);
      mpfr_sub(next[j].v, next[j].v, num.v, MPFR_RNDN);
    }
    mpfr_add(next[0].v, next[0].v, d[k].v, MPFR_RNDN);
    c = next;
  }
  std::vector<long double> out;
  for (const M& m : c) out.push_back(mpfr_get_ld(m.v, MPFR_RNDN));
  return out;
}

// log2 of the largest relative error of the polynomial c (long-double
// coefficients, evaluated exactly) against f on [lo, hi].
template <class F>
double log2_error(const std::vector<long double>& c, const M& lo, const M& hi, F f) {
  double worst = -1000;
  for (int i = 0; i <= kChecks; ++i) {
    M v, p, t;
    mpfr_sub(v.v, hi.v, lo.v, MPFR_RNDN);
    mpfr_mul_ui(v.v, v.v, i, MPFR_RNDN);
    mpfr_div_ui(v.v, v.v, kChecks, MPFR_RNDN);
    mpfr_add(v.v, v.v, lo.v, MPFR_RNDN);
    for (size_t k = c.size(); k-- > 0;) {
      mpfr_mul(p.v, p.v, v.v, MPFR_RNDN);
      mpfr_set_ld(t.v, c[k], MPFR_RNDN);
      mpfr_add(p.v, p.v, t.v, MPFR_RNDN);
    }
    const M exact = f(v);
    mpfr_sub(t.v, p.v, exact.v, MPFR_RNDN);
    mpfr_div(t.v, t.v, exact.v, MPFR_RNDN);
    if (mpfr_zero_p(t.v)) continue;
    const double e = std::log2(std::fabs(mpfr_get_d(t.v, MPFR_RNDN)));
    if (e > worst) worst = e;
  }
  return worst;
}

template <class F>
std::vector<long double> fit(const char* what, int degree, double bound, const M& lo, const M& hi, F f) {
  const std::vector<long double> c = interpolate(degree + 1, lo, hi, f);
  const double e = log2_error(c, lo, hi, f);
  if (std::getenv("GEN_ERF_VERBOSE")) std::fprintf(stderr, "%s: degree %d, error 2^%.1f\n", what, degree, e);
  if (e > bound && !std::getenv("GEN_ERF_VERBOSE")) fail("%s: relative error 2^%.1f above 2^%.0f", what, e, bound);
  return c;
}

// The polynomial of the fast paths: fitted like fit(), then stored with its
// three leading coefficients as double + double tail (the long double value
// itself) and the others rounded to double; the bound applies to the stored
// values.
template <class F>
std::vector<long double> fit_fast(const char* what, int degree, double bound, const M& lo, const M& hi, F f) {
  std::vector<long double> c = interpolate(degree + 1, lo, hi, f);
  for (size_t k = kFastLeading; k < c.size(); ++k) c[k] = static_cast<double>(c[k]);
  const double e = log2_error(c, lo, hi, f);
  if (std::getenv("GEN_ERF_VERBOSE")) std::fprintf(stderr, "%s: degree %d, error 2^%.1f\n", what, degree, e);
  if (e > bound && !std::getenv("GEN_ERF_VERBOSE")) fail("%s: relative error 2^%.1f above 2^%.0f", what, e, bound);
  return c;
}

std::string hexl(long double x) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%LaL", x);
  return buf;
}

void print_coefficients(const std::vector<long double>& c, const char* indent) {
  for (size_t k = 0; k < c.size(); ++k) {
    const std::string lit = hexl(c[k]) + ",";
    std::printf("%s%-30s // v^%zu\n", indent, lit.c_str(), k);
  }
}

// A fast polynomial as its struct's initializer: {{tails}, {coefficients}}.
void print_fast(const std::vector<long double>& c, const char* indent) {
  std::printf("%s{{", indent);
  for (int k = 0; k < kFastLeading; ++k) {
    const double head = static_cast<double>(c[k]);
    const long double tail = c[k] - head;  // exact, and a double
    if (static_cast<double>(tail) != tail) fail("fast polynomial: tail of c%d is not a double", k);
    std::printf("%s%s", k ? ", " : "", gen::hex(static_cast<double>(tail)).c_str());
  }
  std::printf("},\n%s {\n", indent);
  for (size_t k = 0; k < c.size(); ++k) {
    const std::string lit = gen::hex(static_cast<double>(c[k])) + ",";
    std::printf("%s  %-26s // v^%zu\n", indent, lit.c_str(), k);
  }
  std::printf("%s }}", indent);
}

// v -> g(base + v): a function of the offset from a piece's base point.
template <class G>
auto offset_from(const M& base, G g) {
  return [&base, g](const M& v) {
    M x;
    mpfr_add(x.v, v.v, base.v, MPFR_RNDN);
    return g(x);
  };
}

// ---- The functions ----

M erf_over_x_of_square(const M& z) {  // erf(sqrt z) / sqrt z
  M x, r;
  mpfr_sqrt(x.v, z.v, MPFR_RNDN);
  mpfr_erf(r.v, x.v, MPFR_RNDN);
  mpfr_div(r.v, r.v, x.v, MPFR_RNDN);
  return r;
}

M scaled_erfc(const M& x) {  // erfc(x) e^(x^2)
  M r, s;
  mpfr_erfc(r.v, x.v, MPFR_RNDN);
  mpfr_sqr(s.v, x.v, MPFR_RNDN);
  mpfr_exp(s.v, s.v, MPFR_RNDN);
  mpfr_mul(r.v, r.v, s.v, MPFR_RNDN);
  return r;
}

// erfinv(x): the y with erf(y) = x (or erfc(y) = q for q = 1 - x), by
// Newton's iteration from below, where erf is concave and erfc convex, so
// that every step stays below the root.
M solve_erf(const M& x, const M& q, bool use_erfc, const M& start) {
  M y = start, f, d, step;
  M two_over_sqrt_pi;
  mpfr_const_pi(two_over_sqrt_pi.v, MPFR_RNDN);
  mpfr_rec_sqrt(two_over_sqrt_pi.v, two_over_sqrt_pi.v, MPFR_RNDN);
  mpfr_mul_2ui(two_over_sqrt_pi.v, two_over_sqrt_pi.v, 1, MPFR_RNDN);
  for (int it = 0; it < 200; ++it) {
    if (use_erfc) {
      mpfr_erfc(f.v, y.v, MPFR_RNDN);
      mpfr_sub(f.v, f.v, q.v, MPFR_RNDN);  // erfc(y) - q >= 0 below the root
    } else {
      mpfr_erf(f.v, y.v, MPFR_RNDN);
      mpfr_sub(f.v, x.v, f.v, MPFR_RNDN);  // x - erf(y) >= 0 below the root
    }
    mpfr_sqr(d.v, y.v, MPFR_RNDN);
    mpfr_neg(d.v, d.v, MPFR_RNDN);
    mpfr_exp(d.v, d.v, MPFR_RNDN);
    mpfr_mul(d.v, d.v, two_over_sqrt_pi.v, MPFR_RNDN);
    mpfr_div(step.v, f.v, d.v, MPFR_RNDN);
    mpfr_add(y.v, y.v, step.v, MPFR_RNDN);
    if (mpfr_zero_p(step.v) || mpfr_get_exp(step.v) < mpfr_get_exp(y.v) - (kPrec - 32)) return y;
  }
  fail("erfinv: no convergence");
}

M erfinv_over_x_of_square(const M& z) {  // erfinv(sqrt z) / sqrt z
  M x, start, r;
  mpfr_sqrt(x.v, z.v, MPFR_RNDN);
  mpfr_mul_d(start.v, x.v, 0.8862269254527580, MPFR_RNDD);  // below sqrt(pi)/2 x <= erfinv x
  r = solve_erf(x, M(), false, start);
  mpfr_div(r.v, r.v, x.v, MPFR_RNDN);
  return r;
}

M erfinv_of_w(const M& w) {  // erfinv(1 - e^(-w^2))
  M q, start;
  mpfr_sqr(q.v, w.v, MPFR_RNDN);
  mpfr_neg(q.v, q.v, MPFR_RNDN);
  mpfr_exp(q.v, q.v, MPFR_RNDN);
  mpfr_sub_ui(start.v, w.v, 1, MPFR_RNDN);  // below the root for w >= 1
  return solve_erf(M(), q, true, start);
}

// Prints c = hi + lo with hi rounded to 11 bits, so that x * hi is exact in
// 64 bits for any double x.
void print_split(const M& c, const char* name) {
  M hi, lo;
  mpfr_set(hi.v, c.v, MPFR_RNDN);
  mpfr_prec_round(hi.v, 11, MPFR_RNDN);
  mpfr_sub(lo.v, c.v, hi.v, MPFR_RNDN);
  std::printf("    %s,  // %s, 11-bit head\n", hexl(mpfr_get_ld(hi.v, MPFR_RNDN)).c_str(), name);
  std::printf("    %s,  // %s - head\n", hexl(mpfr_get_ld(lo.v, MPFR_RNDN)).c_str(), name);
}

constexpr int kErfDegree = 10;
constexpr int kErfcDegree = 15;
constexpr int kErfcPieces = 24;
constexpr int kInvDegree = 11;
constexpr int kInvTailDegree = 9;
constexpr double kInvCentral = 0.75;
constexpr double kInvTailBreaks[] = {1.125, 2, 3, 4, 6.25};
constexpr double kInvBound = -30;
constexpr int kFastSeriesDegree = 10;
constexpr int kFastErfDegree = 12;
constexpr int kFastErfCells = 28;  // [1/2, 6)
constexpr int kFastErfcDegree = 12;
constexpr int kFastErfcCells = 48;  // [1/2, 32)
constexpr double kFastBound = -63;

// Cell i of the fast paths: [2^e (1 + k/8), 2^e (1 + (k+1)/8)), e = i/8 - 1, k = i % 8.
void print_fast_cells(const char* name, int cells, int degree, M (*g)(const M&)) {
  for (int i = 0; i < cells; ++i) {
    const int e = i / 8 - 1, k = i % 8;
    const double a0 = std::ldexp(1.0 + k / 8.0, e), a1 = std::ldexp(1.0 + (k + 1) / 8.0, e);
    const double mid = (a0 + a1) / 2;
    const M lo(a0 - mid), hi(a1 - mid), m(mid);
    char what[64];
    std::snprintf(what, sizeof what, "fast %s [%g, %g)", name, a0, a1);
    const auto f = offset_from(m, g);
    std::printf("        {%s,  // [%g, %g)\n", gen::hex(mid).c_str(), a0, a1);
    print_fast(fit_fast(what, degree, kFastBound, lo, hi, f), "         ");
    std::printf("},\n");
  }
}

}  // namespace

int main() {
  std::printf(
      "// Coefficients of the error-function family.\n"
      "// Generated by tools/gen/gen_erf.cpp (MPFR); do not edit.\n"
      "//\n"
      "// Interpolating polynomials at Chebyshev nodes, coefficients rounded to\n"
      "// long double; each is within 2^-64 (relative) of its function.\n"
      "#include \"erf_data.h\"\n"
      "\n"
      "namespace kel::erf_data {\n"
      "\n"
      "const Tables kTables = {\n");

  {
    M c;
    mpfr_const_pi(c.v, MPFR_RNDN);
    mpfr_rec_sqrt(c.v, c.v, MPFR_RNDN);
    mpfr_mul_2ui(c.v, c.v, 1, MPFR_RNDN);
    print_split(c, "2/sqrt(pi)");
  }

  std::printf("    // erf(x)/x in v = x^2, 0 <= v <= 1/4\n    {\n");
  {
    M lo(0.0), hi(0.25);
    print_coefficients(fit("erf", kErfDegree, -64, lo, hi, erf_over_x_of_square), "        ");
  }
  std::printf("    },\n");

  std::printf("    // erfc(a) e^(a^2) in v = a - m on [lo, hi), m = (lo + hi)/2\n    {\n");
  for (int i = 0; i < kErfcPieces; ++i) {
    const int e = i / 4 - 1, k = i % 4;
    const double a0 = std::ldexp(1.0 + k / 4.0, e), a1 = std::ldexp(1.0 + (k + 1) / 4.0, e);
    const double mid = (a0 + a1) / 2;
    const M lo(a0 - mid), hi(a1 - mid), m(mid);
    char what[64];
    std::snprintf(what, sizeof what, "erfc [%g, %g)", a0, a1);
    const auto f = offset_from(m, scaled_erfc);
    std::printf("        {%s,  // [%g, %g)\n         {\n", gen::hex(mid).c_str(), a0, a1);
    print_coefficients(fit(what, kErfcDegree, -64, lo, hi, f), "             ");
    std::printf("         }},\n");
  }
  std::printf("    },\n");

  {
    M c;
    mpfr_const_pi(c.v, MPFR_RNDN);
    mpfr_sqrt(c.v, c.v, MPFR_RNDN);
    mpfr_div_2ui(c.v, c.v, 1, MPFR_RNDN);
    print_split(c, "sqrt(pi)/2");
  }

  // Starting values of the inverse, refined by Newton steps at run time.
  std::printf("    // erfinv(x)/x in v = x^2, 0 <= v <= %g (first guess)\n    {\n", kInvCentral * kInvCentral);
  {
    M lo(0.0), hi(kInvCentral * kInvCentral);
    print_coefficients(fit("erfinv", kInvDegree, kInvBound, lo, hi, erfinv_over_x_of_square), "        ");
  }
  std::printf("    },\n");
  std::printf("    // erfinv(1 - e^(-w^2)) in v = w - lo on [lo, hi) (first guess)\n    {\n");
  for (size_t i = 0; i + 1 < std::size(kInvTailBreaks); ++i) {
    const double w0 = kInvTailBreaks[i], w1 = kInvTailBreaks[i + 1];
    const M lo(0.0), hi(w1 - w0), base(w0);
    char what[64];
    std::snprintf(what, sizeof what, "erfinv tail [%g, %g)", w0, w1);
    const auto f = offset_from(base, erfinv_of_w);
    std::printf("        {%s,  // [%g, %g)\n         {\n", gen::hex(w0).c_str(), w0, w1);
    print_coefficients(fit(what, kInvTailDegree, kInvBound, lo, hi, f), "             ");
    std::printf("         }},\n");
  }
  std::printf("    },\n");

  std::printf("};\n\n");

  // The short polynomials of the fast paths.
  std::printf("const FastTables kFast = {\n    // erf(x)/x in v = x^2, 0 <= v <= 1/4\n");
  {
    M lo(0.0), hi(0.25);
    print_fast(fit_fast("fast erf", kFastSeriesDegree, kFastBound, lo, hi, erf_over_x_of_square), "    ");
  }
  std::printf(",\n    // erf(m + v), 8 cells per binade\n    {\n");
  print_fast_cells("erf", kFastErfCells, kFastErfDegree, [](const M& x) {
    M r;
    mpfr_erf(r.v, x.v, MPFR_RNDN);
    return r;
  });
  std::printf("    },\n    // erfc(m + v) e^((m + v)^2), 8 cells per binade\n    {\n");
  print_fast_cells("erfc", kFastErfcCells, kFastErfcDegree, scaled_erfc);
  std::printf("    },\n};\n\n}  // namespace kel::erf_data\n");
  return 0;
}

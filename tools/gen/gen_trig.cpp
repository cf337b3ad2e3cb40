// Prints src/trig_data.cpp: the tables of the sine, cosine, sine-and-cosine
// and tangent kernels, computed with MPFR at 1000 bits.
//
// Sine/cosine rows, j = 0..63, angle Tj = j*pi/32:
//   {cos(Tj) - Chi, sin(Tj), sin(Tj) - Shi, Chi}
// with Chi the signed power of two nearest to cos(Tj) (-0.0 where the cosine
// is zero), so that Chi times a double is exact; then 32/pi, the 1.5*2^52
// shifter, pi/32 in three pieces (31 and 32 leading bits), the Taylor
// coefficients of sin and cos to degree 9 and 8, and the screen constants.
//
// Tangent: a header (32/pi, shifters, two splits of pi/32 with 39- and
// 35-bit leading pieces, screen constants), then 32 rows of 20 doubles for
// Tj = j*pi/32, j = 0..31:
//   0-13   c2, c3, ..., c15: the correction polynomial, tan(Tj + r) - t - s*r
//          for |r| <= pi/64, interpolated at 14 Chebyshev nodes (a near-
//          minimax fit: the pole at distance 4*pi/32 of rows 12 and 20 needs
//          it, Taylor terms would leave 2^-47); even positions form the chain
//          in r^2 of the even powers, odd positions that of the odd powers
//   14-15  t = tan(Tj), high and low
//   16-17  s = 1 + t^2: the power of two nearest to it, and the rest
//   18-19  weight and mask of the reciprocal term: 1.0 and 0xFFFFFFF800000000
//          in the pole row 16, zero elsewhere.
// Row 16 holds the expansion of tan(pi/2 + s) = -1/s + s/3 + c3*s^3 + ...
// + c15*s^15 (odd chain only; 1/3 at position 17) interpolated over
// |s| <= 3.5*pi/32: the kernel evaluates the rows 13-19 from it.
//
// Build: g++ gen_trig.cpp -lmpfr -lgmp; run with no argument.
#include <gmp.h>

#include <cmath>
#include <vector>

#include "gen_common.h"

namespace {

constexpr mpfr_prec_t kPrec = 1000;

using gen::bits_of;
using gen::fail;

struct M {
  mpfr_t v;
  M() { mpfr_init2(v, kPrec); mpfr_set_ui(v, 0, MPFR_RNDN); }
  M(const M& o) { mpfr_init2(v, kPrec); mpfr_set(v, o.v, MPFR_RNDN); }
  M& operator=(const M& o) { mpfr_set(v, o.v, MPFR_RNDN); return *this; }
  ~M() { mpfr_clear(v); }
  double d() const { return mpfr_get_d(v, MPFR_RNDN); }
};

M pi() {
  M p;
  mpfr_const_pi(p.v, MPFR_RNDN);
  return p;
}

// x rounded to a double, and x minus that, rounded.
void split(const M& x, double& hi, double& lo) {
  hi = x.d();
  M r;
  mpfr_sub_d(r.v, x.v, hi, MPFR_RNDN);
  lo = r.d();
}

// The signed power of two nearest in value to x (x != 0).
double nearest_power_of_two(const M& x) {
  const double a = std::fabs(x.d());
  const double lo = std::ldexp(1.0, std::ilogb(a)), hi = 2 * lo;
  const double p = (a - lo <= hi - a) ? lo : hi;
  return mpfr_sgn(x.v) < 0 ? -p : p;
}

// pi/32 in three pieces: the first rounded to bits0 bits, the second to bits1.
void pi32_split(int bits0, int bits1, double out[3]) {
  M rest = pi();
  mpfr_div_2ui(rest.v, rest.v, 5, MPFR_RNDN);
  for (int i = 0; i < 3; ++i) {
    M piece = rest;
    if (i < 2) mpfr_prec_round(piece.v, i == 0 ? bits0 : bits1, MPFR_RNDN);
    out[i] = piece.d();
    mpfr_sub_d(rest.v, rest.v, out[i], MPFR_RNDN);
  }
}

// Solves the n x n system a * c = b in place (Gaussian elimination with
// partial pivoting).
std::vector<M> solve(std::vector<std::vector<M>> a, std::vector<M> b) {
  const size_t n = b.size();
  M t;
  for (size_t col = 0; col < n; ++col) {
    size_t piv = col;
    for (size_t r = col + 1; r < n; ++r)
      if (mpfr_cmpabs(a[r][col].v, a[piv][col].v) > 0) piv = r;
    std::swap(a[col], a[piv]);
    std::swap(b[col], b[piv]);
    for (size_t r = col + 1; r < n; ++r) {
      M f;
      mpfr_div(f.v, a[r][col].v, a[col][col].v, MPFR_RNDN);
      for (size_t c = col; c < n; ++c) {
        mpfr_mul(t.v, f.v, a[col][c].v, MPFR_RNDN);
        mpfr_sub(a[r][c].v, a[r][c].v, t.v, MPFR_RNDN);
      }
      mpfr_mul(t.v, f.v, b[col].v, MPFR_RNDN);
      mpfr_sub(b[r].v, b[r].v, t.v, MPFR_RNDN);
    }
  }
  std::vector<M> c(n);
  for (size_t i = n; i-- > 0;) {
    M s = b[i];
    for (size_t k = i + 1; k < n; ++k) {
      mpfr_mul(t.v, a[i][k].v, c[k].v, MPFR_RNDN);
      mpfr_sub(s.v, s.v, t.v, MPFR_RNDN);
    }
    mpfr_div(c[i].v, s.v, a[i][i].v, MPFR_RNDN);
  }
  return c;
}

// Interpolates f by a polynomial of degree n - 1: in r at the n Chebyshev
// nodes of [-h, h], or (even_in_r, for an even f) in r^2 at the n positive
// nodes of the 2n Chebyshev nodes of [-h, h].  Returns the coefficients.
template <class F>
std::vector<M> interpolate(int n, const M& h, F f, bool even_in_r) {
  std::vector<std::vector<M>> a(n, std::vector<M>(n));
  std::vector<M> b(n);
  const int nodes = even_in_r ? 2 * n : n;
  int row = 0;
  for (int i = 0; i < nodes && row < n; ++i) {
    M x;
    mpfr_const_pi(x.v, MPFR_RNDN);
    mpfr_mul_ui(x.v, x.v, 2 * i + 1, MPFR_RNDN);
    mpfr_div_ui(x.v, x.v, 2 * nodes, MPFR_RNDN);
    mpfr_cos(x.v, x.v, MPFR_RNDN);
    mpfr_mul(x.v, x.v, h.v, MPFR_RNDN);
    if (even_in_r && mpfr_sgn(x.v) < 0) continue;  // symmetric: positive nodes only
    M var = x;
    if (even_in_r) mpfr_sqr(var.v, x.v, MPFR_RNDN);
    M p;
    mpfr_set_ui(p.v, 1, MPFR_RNDN);
    for (int k = 0; k < n; ++k) {
      a[row][k] = p;
      mpfr_mul(p.v, p.v, var.v, MPFR_RNDN);
    }
    b[row] = f(x);
    ++row;
  }
  if (row != n) fail("node count");
  return solve(a, b);
}

std::vector<double> sincos_rows() {
  std::vector<double> v;
  for (int j = 0; j < 64; ++j) {
    M a = pi(), s, c;
    mpfr_mul_d(a.v, a.v, j / 32.0, MPFR_RNDN);
    mpfr_sin_cos(s.v, c.v, a.v, MPFR_RNDN);
    // Exact zeros of sin at 0 and pi, of cos at pi/2 and 3pi/2.
    if (j == 0 || j == 32) mpfr_set_ui(s.v, 0, MPFR_RNDN);
    if (j == 16 || j == 48) mpfr_set_ui(c.v, 0, MPFR_RNDN);
    const double chi = (j == 16 || j == 48) ? -0.0 : nearest_power_of_two(c);
    M clo;
    mpfr_sub_d(clo.v, c.v, chi, MPFR_RNDN);
    double shi, slo;
    split(s, shi, slo);
    v.insert(v.end(), {clo.d(), shi, slo, chi});
  }
  return v;
}

double inverse_factorial(int n, int sign) {
  M f;
  mpfr_fac_ui(f.v, n, MPFR_RNDN);
  mpfr_ui_div(f.v, 1, f.v, MPFR_RNDN);
  return sign * f.d();
}

// Common constants after the 64 rows of the sine/cosine tables.
std::vector<double> sincos_constants() {
  M p = pi();
  M k;
  mpfr_ui_div(k.v, 32, p.v, MPFR_RNDN);
  double pieces[3];
  pi32_split(31, 32, pieces);
  if (pieces[0] != 0.09817477042088285 || pieces[1] != 3.798187816439979e-12 || pieces[2] != 1.2639164054974691e-22)
    fail("pi/32 split differs from its reference values");
  return {k.d(),
          0x1.8p52,
          pieces[0],
          pieces[1],
          pieces[2],
          inverse_factorial(3, -1),
          inverse_factorial(5, 1),
          inverse_factorial(7, -1),
          inverse_factorial(9, 1),
          inverse_factorial(2, -1),
          inverse_factorial(4, 1),
          inverse_factorial(6, -1),
          inverse_factorial(8, 1)};
}

// tan(T + r) for T = j*pi/32.
M tan_at(int j, const M& r) {
  M a = pi();
  mpfr_mul_d(a.v, a.v, j / 32.0, MPFR_RNDN);
  mpfr_add(a.v, a.v, r.v, MPFR_RNDN);
  mpfr_tan(a.v, a.v, MPFR_RNDN);
  return a;
}

std::vector<double> tan_row(int j) {
  std::vector<double> row(20, 0.0);
  M h = pi();
  mpfr_mul_d(h.v, h.v, 1.002 / 64, MPFR_RNDN);  // pi/64 and a margin for the rounding of N
  if (j == 16) {
    // (tan(pi/2 + s) + 1/s - s/3) / s^3 = (-cot(s) + 1/s - s/3) / s^3,
    // even in s: a polynomial of degree 6 in s^2.
    M hs = h;
    mpfr_mul_ui(hs.v, hs.v, 7, MPFR_RNDN);
    auto f = [](const M& s) {
      M c, t, s3;
      mpfr_cot(c.v, s.v, MPFR_RNDN);
      mpfr_ui_div(t.v, 1, s.v, MPFR_RNDN);
      mpfr_sub(t.v, t.v, c.v, MPFR_RNDN);
      mpfr_div_ui(c.v, s.v, 3, MPFR_RNDN);
      mpfr_sub(t.v, t.v, c.v, MPFR_RNDN);
      mpfr_pow_ui(s3.v, s.v, 3, MPFR_RNDN);
      mpfr_div(t.v, t.v, s3.v, MPFR_RNDN);
      return t;
    };
    const std::vector<M> c = interpolate(7, hs, f, true);
    for (int k = 0; k < 7; ++k) row[2 * k + 1] = c[k].d();
    row[17] = 1.0 / 3;
    row[18] = 1.0;
    const uint64_t mask = 0xFFFFFFF800000000ull;
    std::memcpy(&row[19], &mask, 8);
    return row;
  }
  M zero;
  M t = tan_at(j, zero);
  if (j == 0 || j == 8 || j == 24) mpfr_set_si(t.v, j == 0 ? 0 : j == 8 ? 1 : -1, MPFR_RNDN);  // exact values
  M sigma;
  mpfr_sqr(sigma.v, t.v, MPFR_RNDN);
  mpfr_add_ui(sigma.v, sigma.v, 1, MPFR_RNDN);
  // (tan(T + r) - t - sigma*r) / r^2: degree 13 in r.
  auto f = [&](const M& r) {
    M v = tan_at(j, r), sr;
    mpfr_sub(v.v, v.v, t.v, MPFR_RNDN);
    mpfr_mul(sr.v, sigma.v, r.v, MPFR_RNDN);
    mpfr_sub(v.v, v.v, sr.v, MPFR_RNDN);
    mpfr_div(v.v, v.v, r.v, MPFR_RNDN);
    mpfr_div(v.v, v.v, r.v, MPFR_RNDN);
    return v;
  };
  const std::vector<M> c = interpolate(14, h, f, false);
  for (int k = 0; k < 14; ++k) {
    const double d = c[k].d();
    row[k] = std::fabs(d) < 0x1p-900 ? 0.0 : d;  // the even terms of row 0 vanish
  }
  split(t, row[14], row[15]);
  row[16] = nearest_power_of_two(sigma);
  M slo;
  mpfr_sub_d(slo.v, sigma.v, row[16], MPFR_RNDN);
  row[17] = slo.d();
  return row;
}

}  // namespace

int main() {
  const std::vector<double> rows = sincos_rows();
  const std::vector<double> consts = sincos_constants();
  const double kInf = HUGE_VAL;

  // One table serves sine, cosine and both at once: the screen constants of
  // the tiny-argument paths (2^55 and 2^-55 for the sine, 1 for the cosine)
  // follow the polynomial coefficients.
  std::vector<double> sin_tab = rows;
  sin_tab.insert(sin_tab.end(), consts.begin(), consts.end());
  sin_tab.insert(sin_tab.end(), {0x1p55, 0x1p-55, 1.0, 0.0});

  // Spot checks against reference values.  The reference low sine parts carry about 80
  // bits of sin(Tj) only (they differ from sin(Tj) - Shi by 4e-26 in row 1
  // and 1.3e-24 in row 8); the table keeps the exact differences.
  if (rows[4] != -0.004815273327803114 || rows[5] != 0.0980171403295606 ||
      std::fabs(rows[6] + 1.6345824060817233e-18) > 1e-25 || rows[32] != 0.20710678118654752 ||
      rows[33] != 0.7071067811865476 || std::fabs(rows[34] + 4.833646783938113e-17) > 2e-24 || rows[35] != 0.5 ||
      bits_of(rows[67]) != bits_of(-0.0))
    fail("sine/cosine rows differ from their samples");

  std::vector<double> tan_tab;
  {
    M p = pi(), k, c;
    mpfr_ui_div(k.v, 32, p.v, MPFR_RNDN);
    double first[3], second[3];
    pi32_split(39, 39, first);
    pi32_split(35, 35, second);
    if (first[0] != 0.0981747704247482 || first[1] != -6.716466596861444e-14 || first[2] != 3.9801982271943437e-26 ||
        second[0] != 0.09817477042452083 || second[1] != 1.6020900947399724e-13 ||
        second[2] != 6.601874416867142e-25)
      fail("tangent splits of pi/32 differ from their reference values");
    // first[0] - pi/32, rounded: the two lower pieces of the first split as one double.
    mpfr_div_2ui(c.v, p.v, 5, MPFR_RNDN);
    mpfr_d_sub(c.v, first[0], c.v, MPFR_RNDN);
    if (c.d() != 6.716466596857464e-14) fail("tangent header constant");
    const uint64_t nan_bits = 0xFFF8000000000000ull;
    double nan;
    std::memcpy(&nan, &nan_bits, 8);
    tan_tab = {k.d(),     0x1.8p52,  0x1.8p56, first[0], first[1], first[2], second[0], second[1],
               second[2], c.d(),     nan,      1.0,      0.0,      kInf,     0x1p55,    0x1p-55};
  }
  for (int j = 0; j < 32; ++j) {
    const std::vector<double> row = tan_row(j);
    tan_tab.insert(tan_tab.end(), row.begin(), row.end());
  }
  const double* r1 = &tan_tab[16 + 20];
  const double* r8 = &tan_tab[16 + 160];
  if (std::fabs(r1[14] - 0.0984914) > 1e-7 || std::fabs(r1[15] - 5.31007e-18) > 1e-22 || r1[16] != 1.0 ||
      std::fabs(r1[17] - 0.00970056) > 1e-8 || r8[14] != 1.0 || r8[15] != 0.0 || r8[16] != 2.0 || r8[17] != 0.0)
    fail("tangent rows differ from their samples");

  const double* tan_head = tan_tab.data();
  auto list = [](const double* v, int n) {
    std::string out = "{";
    for (int i = 0; i < n; ++i) out += (i ? ", " : "") + gen::hex(v[i]);
    return out + "}";
  };
  std::printf(
      "// Generated by tools/gen/gen_trig.cpp; do not edit.\n"
      "//\n"
      "// Sine/cosine rows {cos(Tj) - Chi, sin(Tj) high, sin(Tj) low, Chi} for\n"
      "// Tj = j*pi/32 (Chi the power of two nearest to cos(Tj)), then the\n"
      "// reduction, polynomial and screen constants.  Tangent: the reduction and\n"
      "// screen constants, then 32 rows (correction polynomial c2..c15, tan(Tj),\n"
      "// 1 + tan(Tj)^2, reciprocal weight and mask).\n"
      "#include \"trig_data.h\"\n"
      "\n"
      "namespace kel::trig_data {\n"
      "\n"
      "const Tables kTables = {\n"
      "    .sincos =\n"
      "        {\n"
      "            .rows =\n"
      "                {\n");
  for (int j = 0; j < 64; ++j)
    std::printf("                    %s,  // row %d\n", list(&sin_tab[4 * j], 4).c_str(), j);
  const double* sc = &sin_tab[256];
  std::printf(
      "                },\n"
      "            .inv_pio32 = %s,\n"
      "            .shifter = %s,\n"
      "            .pio32 = %s,\n"
      "            .sin_poly = %s,\n"
      "            .cos_poly = %s,\n"
      "            .two55 = %s,\n"
      "            .two_m55 = %s,\n"
      "            .one = %s,\n"
      "            .zero = %s,\n"
      "        },\n",
      gen::hex(sc[0]).c_str(), gen::hex(sc[1]).c_str(), list(sc + 2, 3).c_str(), list(sc + 5, 4).c_str(),
      list(sc + 9, 4).c_str(), gen::hex(sc[13]).c_str(), gen::hex(sc[14]).c_str(), gen::hex(sc[15]).c_str(),
      gen::hex(sc[16]).c_str());
  std::printf(
      "    .tan =\n"
      "        {\n"
      "            .inv_pio32 = %s,\n"
      "            .shifter = %s,\n"
      "            .pio32_fine = %s,\n"
      "            .pio32_coarse = %s,\n"
      "            .one = %s,\n"
      "            .zero = %s,\n"
      "            .two55 = %s,\n"
      "            .two_m55 = %s,\n"
      "            .rows =\n"
      "                {\n",
      gen::hex(tan_head[0]).c_str(), gen::hex(tan_head[1]).c_str(), list(tan_head + 3, 3).c_str(),
      list(tan_head + 6, 3).c_str(), gen::hex(tan_head[11]).c_str(), gen::hex(tan_head[12]).c_str(),
      gen::hex(tan_head[14]).c_str(), gen::hex(tan_head[15]).c_str());
  for (int j = 0; j < 32; ++j) {
    const double* r = &tan_tab[16 + 20 * j];
    // c2..c15 on two lines, then t_hi, t_lo, s_hi, s_lo, weight and mask.
    auto plain = [&](const double* v, int n) { return list(v, n).substr(1, list(v, n).size() - 2); };
    std::printf("                    {{%s,  // row %d\n", plain(r, 7).c_str(), j);
    std::printf("                      %s},\n", plain(r + 7, 7).c_str());
    std::printf("                     %s},\n", plain(r + 14, 6).c_str());
  }
  std::printf("                },\n        },\n};\n\n}  // namespace kel::trig_data\n");
  return 0;
}

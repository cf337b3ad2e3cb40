// Generates src/log_data.cpp, the constant tables of the logarithm family:
//   gen_log > src/log_data.cpp
//
// Every value is computed with MPFR at 256 bits and rounded once.  The
// reference rows that the tables must reproduce are checked here; the tool
// fails (exit 1, message on stderr) if any of them, or any exactness property
// the algorithms rely on, does not hold.
//
// Rule of the high-accuracy tables (Ln: R, Lh, Ll; Log10: R', Gh, Gl):
//   R[i]   = 1/(1 + i/64) rounded to the nearest multiple of 2^-11 (at most 11
//            significant bits in [1/2, 1]);
//   rho[i] = 1/(1 + i/64) rounded to the nearest multiple of 2^-7, and
//            R'[i] = lambda * rho[i] with lambda = 111/2^8 (at most 14 bits);
//   no case is a tie: 2^18/(64 + i) and 2^14/(64 + i) are integers or far
//            from half-integers for 0 <= i <= 64;
//   Lh[i]  = -ln R[i] and Gh[i] = -log10 rho[i] rounded to the nearest multiple
//            of 2^-37, and Ll[i], Gl[i] the rest rounded to double, for
//            0 <= i <= 63;
//   row 64 (R = 1/2) carries the split of the base-2 constant itself:
//            Lh[64], Ll[64] = L1, L2 and Gh[64], Gl[64] = G1, G2, where L1
//            and G1 are ln 2 and log10 2 rounded to the nearest multiple of
//            2^-42.  So E*L1 + Lh[64] = (E + 1)*L1 exactly: an argument just
//            below 2^(E+1) continues the high part of the next binade.
// Why fh*R[i] stays exact: fh is f cut to 31 fraction bits (32 significant
// bits, with f in [1, 2)), R[i] has at most 11, so the product has at most 43
// significant bits; it lies on the grid 2^-42 within 2^-6 of 1, so rh =
// fh*R[i] - 1 is exact too.  For Log10 fh keeps 29 fraction bits and R'[i] has
// at most 14 significant bits on the grid 2^-15: 44 bits, grid 2^-44.  Both
// high parts lie on grids no finer than 2^-42 and E*L1 (E*G1) is exact for
// |E| < 2^11, so A = E*L1 + Lh[i] and H = A + rh are exact sums as well.
#include <algorithm>
#include <cmath>
#include <vector>

#include "gen_common.h"

namespace {

using gen::bits_of;
using gen::decimal;
using gen::hex;

constexpr mpfr_prec_t kBits = 256;

struct Mp {
  mpfr_t v;
  Mp() { mpfr_init2(v, kBits); }
  ~Mp() { mpfr_clear(v); }
  Mp(const Mp&) = delete;
  operator mpfr_ptr() { return v; }
};

double to_double(mpfr_ptr v) { return mpfr_get_d(v, MPFR_RNDN); }

// v rounded to the nearest multiple of 2^-g (ties to even), exactly.
double on_grid(mpfr_ptr v, int g) {
  Mp t;
  mpfr_mul_2si(t, v, g, MPFR_RNDN);
  mpfr_rint(t, t, MPFR_RNDN);
  mpfr_div_2si(t, t, g, MPFR_RNDN);
  if (mpfr_min_prec(t) > 53) gen::fail("value on grid 2^-%d does not fit a double", g);
  return to_double(t);
}

// (hi, lo) with hi = v on the grid 2^-g and lo = v - hi rounded.
void split(mpfr_ptr v, int g, double* hi, double* lo) {
  *hi = on_grid(v, g);
  Mp rest;
  mpfr_sub_d(rest, v, *hi, MPFR_RNDN);  // exact at 256 bits
  *lo = to_double(rest);
}

int significant_bits(double x) {
  if (x == 0) return 0;
  uint64_t m = (bits_of(x) & 0x000FFFFFFFFFFFFFull) | 0x0010000000000000ull;
  int n = 53;
  while ((m & 1) == 0) {
    m >>= 1;
    --n;
  }
  return n;
}

void expect(const char* what, double got, double want) {
  if (bits_of(got) != bits_of(want)) gen::fail("%s: generated %a, reference %a", what, got, want);
}

constexpr double kLambda = 0.43359375;  // 111/256, the 8-bit cut of log10 e

// The odd-series coefficients c2..c8 of the low-accuracy algorithms, the
// near-one polynomials k1..k7 (Ln) and m1..m7 (Log10): fitted constants,
// taken as printed and rounded once.
const char* const kSeries[7] = {"0.666666666666667",   "0.39999999999898506", "0.2857142862637127",
                                "0.22222211077397516", "0.18182892887271745", "0.15331607963291471",
                                "0.14617736824490885"};
const char* const kLnPoly[7] = {"-0.5",
                                "0.33333333333334386",
                                "-0.25000000000003386",
                                "0.19999999911565072",
                                "-0.1666666651884978",
                                "0.1428756883852146",
                                "-0.1250214602960357"};
const char* const kLgPoly[7] = {"-1.1550167667401798", "1.7758816353485936", "-3.0717952611199135",
                                "5.667600559012126",   "-10.89268808217976", "21.537397485614264",
                                "-43.39945393331915"};

struct Row {
  double r, hi, lo;
};

void print_series(double err) {
  std::printf("     // (ln f - 2s)/s^3 = c2 + c3 s^2 + ... + c8 s^12 on |s| <= 3 - 2 sqrt2: fitted;\n"
              "     // relative error of ln f = 2s + ... below 2^%.1f (sampled)\n",
              std::ceil(err * 10) / 10);
  for (int j = 0; j < 7; ++j)
    std::printf("     %s%s  // c%d\n", hex(decimal(kSeries[j])).c_str(), j < 6 ? "," : "", j + 2);
}

void print_rows(const Row* rows, const char* rname) {
  for (int i = 0; i <= 64; ++i)
    std::printf("     {%s, %s, %s},  // %s[%d]\n", hex(rows[i].r).c_str(), hex(rows[i].hi).c_str(),
                hex(rows[i].lo).c_str(), rname, i);
}

}  // namespace

int main() {
  Mp ln2, log10_2, log10_e, sqrt2, t;
  mpfr_const_log2(ln2, MPFR_RNDN);
  mpfr_set_ui(t, 2, MPFR_RNDN);
  mpfr_log10(log10_2, t, MPFR_RNDN);
  mpfr_set_ui(t, 1, MPFR_RNDN);
  mpfr_exp(t, t, MPFR_RNDN);
  mpfr_log10(log10_e, t, MPFR_RNDN);
  mpfr_sqrt_ui(sqrt2, 2, MPFR_RNDN);

  // Base-2 constants: the whole values, and the hi/lo splits on the grid 2^-42.
  double L1, L2, G1, G2;
  split(ln2, 42, &L1, &L2);
  split(log10_2, 42, &G1, &G2);
  expect("ln 2", to_double(ln2), decimal("0.6931471805599453"));
  expect("log10 2", to_double(log10_2), decimal("0.3010299956639812"));
  expect("log10 e", to_double(log10_e), decimal("0.4342944819032518"));
  expect("sqrt 2", to_double(sqrt2), decimal("1.4142135623730951"));
  expect("L1 bits", L1, 0x1.62e42fefa3800p-1);
  expect("L1", L1, decimal("0.6931471805598903"));
  expect("L2", L2, decimal("5.497923018708371e-14"));
  expect("G1", G1, decimal("0.3010299956640665"));
  expect("G2", G2, decimal("-8.532344317057107e-14"));

  // m0 stands for log10 e / lambda - 1 but, like m1..m7, is a fitted
  // coefficient: the printed value lies one ulp below the rounded quotient.
  const double m0 = decimal("0.0016161024074997103");
  {
    Mp q;
    mpfr_div_d(q, log10_e, kLambda, MPFR_RNDN);
    mpfr_sub_ui(q, q, 1, MPFR_RNDN);
    expect("log10 e/lambda - 1", to_double(q), std::nextafter(m0, 1.0));
  }

  Row ln_rows[65], lg_rows[65];
  double max_rho = 0;
  for (int i = 0; i <= 64; ++i) {
    // Nearest integers to 2^17/(64 + i) and 2^13/(64 + i); never a tie.
    const long q = 64 + i;
    const double R = static_cast<double>((2 * 131072 + q) / (2 * q)) / 2048;
    const double rho = static_cast<double>((2 * 8192 + q) / (2 * q)) / 128;
    gen::check((2 * 131072) % (2 * q) != q && (2 * 8192) % (2 * q) != q, "tie in a reciprocal");
    gen::check(significant_bits(R) <= 11, "R[i] longer than 11 bits");
    gen::check(significant_bits(kLambda * rho) <= 14, "R'[i] longer than 14 bits");
    // The reduced argument f*R - 1 over the cell of index i, f in
    // [1 + (i - 1/2)/64, 1 + (i + 1/2)/64] within [1, 2]: below 2^-6 keeps
    // rh exact and bounds the polynomial argument.
    const double lo_f = i == 0 ? 1.0 : 1.0 + (i - 0.5) / 64, hi_f = i == 64 ? 2.0 : 1.0 + (i + 0.5) / 64;
    const double worst = std::max(std::abs(lo_f * R - 1), std::abs(hi_f * R - 1));
    const double worst_rho = std::max(std::abs(lo_f * rho - 1), std::abs(hi_f * rho - 1));
    gen::check(worst < 0x1p-6 && worst_rho < 0x1p-6, "reduced argument beyond 2^-6");
    max_rho = std::max(max_rho, worst_rho);

    Mp v;
    mpfr_set_d(v, R, MPFR_RNDN);
    mpfr_log(v, v, MPFR_RNDN);
    mpfr_neg(v, v, MPFR_RNDN);
    if (mpfr_zero_p(v)) mpfr_set_zero(v, 1);  // -ln 1 = +0
    ln_rows[i].r = R;
    if (i < 64)
      split(v, 37, &ln_rows[i].hi, &ln_rows[i].lo);
    else
      ln_rows[i].hi = L1, ln_rows[i].lo = L2;

    mpfr_set_d(v, rho, MPFR_RNDN);
    mpfr_log10(v, v, MPFR_RNDN);
    mpfr_neg(v, v, MPFR_RNDN);
    if (mpfr_zero_p(v)) mpfr_set_zero(v, 1);
    lg_rows[i].r = kLambda * rho;  // exact
    if (i < 64)
      split(v, 37, &lg_rows[i].hi, &lg_rows[i].lo);
    else
      lg_rows[i].hi = G1, lg_rows[i].lo = G2;
  }

  // The errors of the fitted coefficient sets, quoted beside them.  Low
  // accuracy: ln f = 2 atanh(s), s = (f - 1)/(f + 1), f in [sqrt2/2, sqrt2).
  // Ln: ln(1 + d) for |d| up to 1.25 2^-7, the near-one bound, beyond the
  // table path's 2^-6.98.  Log10: w = lambda u, u = f rho - 1 up to max_rho.
  std::vector<gen::Term> la_terms = {{2, 1}};
  for (int j = 0; j < 7; ++j) la_terms.push_back({decimal(kSeries[j]), 2 * j + 3});
  std::vector<gen::Term> ln_terms = {{1, 1}};
  for (int j = 0; j < 7; ++j) ln_terms.push_back({decimal(kLnPoly[j]), j + 2});
  std::vector<gen::Term> lg_terms = {{1, 1}, {m0, 1}};
  for (int j = 0; j < 7; ++j) lg_terms.push_back({decimal(kLgPoly[j]), j + 2});
  const double s_max = 3 - 2 * std::sqrt(2.0);
  const double la_err = gen::sampled_error_log2(
      [](mpfr_ptr y, mpfr_srcptr s) {
        mpfr_atanh(y, s, MPFR_RNDN);
        mpfr_mul_2ui(y, y, 1, MPFR_RNDN);
      },
      la_terms, -s_max, s_max);
  const double ln_err = gen::sampled_error_log2([](mpfr_ptr y, mpfr_srcptr d) { mpfr_log1p(y, d, MPFR_RNDN); },
                                                ln_terms, -0x1.4p-7, 0x1.4p-7);
  const double lg_err = gen::sampled_error_log2(
      [](mpfr_ptr y, mpfr_srcptr w) {
        mpfr_div_d(y, w, kLambda, MPFR_RNDN);
        mpfr_add_ui(y, y, 1, MPFR_RNDN);
        mpfr_log10(y, y, MPFR_RNDN);
      },
      lg_terms, -kLambda * max_rho, kLambda * max_rho);

  // The reference rows.
  expect("R[0]", ln_rows[0].r, 1.0);
  expect("Lh[0]", ln_rows[0].hi, 0.0);
  expect("Ll[0]", ln_rows[0].lo, 0.0);
  expect("R[1]", ln_rows[1].r, decimal("0.984375"));
  expect("R[2]", ln_rows[2].r, decimal("0.9697265625"));
  expect("R[32]", ln_rows[32].r, decimal("0.66650390625"));
  expect("R[63]", ln_rows[63].r, decimal("0.50390625"));
  expect("R[64]", ln_rows[64].r, 0.5);
  expect("Lh[1]", ln_rows[1].hi, decimal("0.01574835697101662"));
  expect("Ll[1]", ln_rows[1].lo, decimal("-2.877450746936954e-12"));
  expect("Lh[64]", ln_rows[64].hi, decimal("0.6931471805598903"));
  expect("Ll[64]", ln_rows[64].lo, decimal("5.497923018708371e-14"));
  expect("R'[0]", lg_rows[0].r, kLambda);
  expect("R'[1]", lg_rows[1].r, decimal("0.42681884765625"));
  expect("rho[2]", lg_rows[2].r, kLambda * 0.96875);
  expect("rho[32]", lg_rows[32].r, kLambda * 0.6640625);
  expect("rho[63]", lg_rows[63].r, kLambda * 0.5078125);
  expect("rho[64]", lg_rows[64].r, kLambda * 0.5);
  expect("Gh[1]", lg_rows[1].hi, decimal("0.006839424531790428"));
  expect("Gl[1]", lg_rows[1].lo, decimal("-1.4849618834365666e-12"));
  expect("Gh[64]", lg_rows[64].hi, decimal("0.3010299956640665"));
  expect("Gl[64]", lg_rows[64].lo, decimal("-8.532344317057107e-14"));

  std::printf(
      "// Generated by tools/gen/gen_log.cpp (MPFR); do not edit.  Regenerate with\n"
      "//   gen_log > src/log_data.cpp\n"
      "//\n"
      "// High-accuracy rows (r, hi, lo), i = 0..64:\n"
      "//   Ln:    r = R[i], 1/(1 + i/64) rounded to a multiple of 2^-11;\n"
      "//          hi + lo = -ln R[i], hi a multiple of 2^-37.\n"
      "//   Log10: r = lambda*rho[i], rho[i] = 1/(1 + i/64) rounded to a multiple\n"
      "//          of 2^-7, lambda = 0x1.bcp-2; hi + lo = -log10 rho[i], hi a\n"
      "//          multiple of 2^-37.\n"
      "//   Row 64 holds the base-2 constant split (hi a multiple of 2^-42) so that\n"
      "//   E*hi2 + hi[64] = (E + 1)*hi2 exactly.  fh*r is exact: 32 x 11 bits for\n"
      "//   Ln, 30 x 14 bits for Log10.\n"
      "#include \"log_data.h\"\n\n"
      "namespace kel::log_data {\n\n"
      "const Tables kTables = {\n");

  std::printf(".ln_la = {\n");
  std::printf("    %s,  // ln 2\n", hex(to_double(ln2)).c_str());
  std::printf("    %s,  // sqrt 2\n", hex(to_double(sqrt2)).c_str());
  std::printf("    0x1p+60,\n    0x0p+0,\n    0x1p+0,\n    0x1p+1,\n    {\n");
  print_series(la_err);
  std::printf("    }},\n\n");

  std::printf(".lg_la = {\n");
  std::printf("    %s,  // log10 2\n", hex(to_double(log10_2)).c_str());
  std::printf("    %s,  // log10 e\n", hex(to_double(log10_e)).c_str());
  std::printf("    %s,  // sqrt 2\n", hex(to_double(sqrt2)).c_str());
  std::printf("    0x1p+60,\n    0x0p+0,\n    0x1p+0,\n    0x1p+1,\n    {\n");
  print_series(la_err);
  std::printf("    }},\n\n");

  std::printf(".ln_ha = {\n    {\n");
  print_rows(ln_rows, "R");
  std::printf("    },\n");
  std::printf("    %s,  // L1, ln 2 on the grid 2^-42\n", hex(L1).c_str());
  std::printf("    %s,  // L2\n", hex(L2).c_str());
  std::printf("    %s,  // 2^46 + 1: index shifter\n", hex(0x1p46 + 1).c_str());
  std::printf("    0x1p+21,  // fh = f rounded to 2^-31\n");
  std::printf("    0x1.4p-7,  // near-one bound\n");
  std::printf("    0x1p+60,\n    0x0p+0,\n    0x1p+0,\n    {\n");
  std::printf("     // ln(1 + d) = d + d^2 (k1 + k2 d + ... + k7 d^6) on |d| <= 1.25 2^-7: fitted;\n"
              "     // relative error below 2^%.1f (sampled)\n",
              std::ceil(ln_err * 10) / 10);
  for (int j = 0; j < 7; ++j)
    std::printf("     %s%s  // k%d\n", hex(decimal(kLnPoly[j])).c_str(), j < 6 ? "," : "", j + 1);
  std::printf("    }},\n\n");

  std::printf(".lg_ha = {\n    {\n");
  print_rows(lg_rows, "R'");
  std::printf("    },\n");
  std::printf("    %s,  // G1, log10 2 on the grid 2^-42\n", hex(G1).c_str());
  std::printf("    %s,  // G2\n", hex(G2).c_str());
  std::printf("    %s,  // 2^46 + 1: index shifter\n", hex(0x1p46 + 1).c_str());
  std::printf("    0x1p+23,  // fh = f rounded to 2^-29\n");
  std::printf("    0x1.8p-8,  // near-one bound\n");
  std::printf("    0x1p+60,\n    0x0p+0,\n    0x1p+0,\n");
  std::printf("    %s,  // lambda\n    {\n", hex(kLambda).c_str());
  std::printf("     // log10(1 + w/lambda) = w + w (m0 + m1 w + ... + m7 w^7) on |w| <= %.4g: fitted;\n"
              "     // relative error below 2^%.1f (sampled)\n",
              kLambda * max_rho, std::ceil(lg_err * 10) / 10);
  std::printf("     %s,  // m0 = log10 e/lambda - 1\n", hex(m0).c_str());
  for (int j = 0; j < 7; ++j)
    std::printf("     %s%s  // m%d\n", hex(decimal(kLgPoly[j])).c_str(), j < 6 ? "," : "", j + 1);
  std::printf("    }},\n};\n\n");
  std::printf("}  // namespace kel::log_data\n");
  return 0;
}

// Prints src/exp_data.cpp, the constants of the exponential family.
//
// The rows 2^(j/64) and their relative corrections, the reduction constants
// and the thresholds follow from their rules and are computed here with MPFR;
// the polynomial coefficients are fixed values, given as their shortest
// decimals.  Every value that the family documents as a decimal or a bit
// pattern is checked against what the rule produces; a mismatch stops the
// generator with a message instead of printing a table.
//
//   build/native/tests/gen_exp > src/exp_data.cpp
#include <cinttypes>

#include "gen_common.h"

namespace {

using gen::bits_of;
using gen::hex;
using gen::round_to_prec;

constexpr mpfr_prec_t kWide = 256;

// The documented decimal (and bit pattern, when one is given) must name
// exactly the value the rule produced.
void expect(const char* what, double value, const char* decimal, uint64_t pattern = 0) {
  if (bits_of(value) != bits_of(gen::decimal(decimal)) || (pattern != 0 && bits_of(value) != pattern))
    gen::fail("%s is %a (0x%016" PRIx64 "), documented as %s", what, value, bits_of(value), decimal);
}

// c * ln 2 at kWide bits.
void ln2_times(mpfr_ptr out, long c) {
  mpfr_const_log2(out, MPFR_RNDN);
  mpfr_mul_si(out, out, c, MPFR_RNDN);
}

}  // namespace

int main() {
  mpfr_t w, v;
  mpfr_init2(w, kWide);
  mpfr_init2(v, kWide);

  // 2^(j/64): Th[j] rounded to nearest, Tl[j] = (2^(j/64) - Th[j]) / Th[j].
  double th[64], tl[64];
  for (int j = 0; j < 64; ++j) {
    mpfr_set_si(w, j, MPFR_RNDN);
    mpfr_div_2ui(w, w, 6, MPFR_RNDN);
    mpfr_exp2(w, w, MPFR_RNDN);
    th[j] = round_to_prec(w, 53, MPFR_RNDN);
    mpfr_sub_d(v, w, th[j], MPFR_RNDN);
    mpfr_div_d(v, v, th[j], MPFR_RNDN);
    tl[j] = mpfr_get_d(v, MPFR_RNDN);
  }
  expect("T[0]", th[0], "1.0");
  expect("T[1]", th[1], "1.0108892860517005");
  expect("T[63]", th[63], "1.978456026387951");
  expect("Tl[0]", tl[0], "0.0");
  expect("Tl[1]", tl[1], "-1.507066976926039e-17");
  expect("Tl[2]", tl[2], "4.9997448722726326e-17");
  expect("Tl[63]", tl[63], "2.0414278897578303e-17");

  // Reduction: 64/ln 2, and ln2/64 = L1 + L2 with L1 on 36 bits so that
  // kd*L1 is exact for |k| < 2^17.
  mpfr_const_log2(w, MPFR_RNDN);
  mpfr_ui_div(v, 64, w, MPFR_RNDN);
  const double inv_l = round_to_prec(v, 53, MPFR_RNDN);
  expect("64/ln2", inv_l, "92.33248261689366");
  mpfr_div_2ui(w, w, 6, MPFR_RNDN);
  const double l1 = round_to_prec(w, 36, MPFR_RNDN);
  mpfr_sub_d(v, w, l1, MPFR_RNDN);
  const double l2 = mpfr_get_d(v, MPFR_RNDN);
  expect("L1", l1, "0.010830424696223417", 0x3f862e42fefa0000);
  expect("L2", l2, "2.572804622327669e-14");

  const double shifter = 0x1.8p52;
  expect("shifter", shifter, "6755399441055744.0", 0x4338000000000000);

  // Thresholds.  Double: the largest double not above ln(DBL_MAX), and the
  // nearest doubles to -1022 ln 2 and -1075 ln 2.  Single: the largest float
  // below ln(FLT_MAX), and -126 ln 2 and -150 ln 2 rounded toward zero to
  // floats.
  mpfr_set_d(w, __DBL_MAX__, MPFR_RNDN);
  mpfr_log(w, w, MPFR_RNDN);
  const double d_over = round_to_prec(w, 53, MPFR_RNDD);
  mpfr_set_flt(w, __FLT_MAX__, MPFR_RNDN);
  mpfr_log(w, w, MPFR_RNDN);
  const double s_over = round_to_prec(w, 24, MPFR_RNDD);
  ln2_times(w, -1022);
  const double d_normal = round_to_prec(w, 53, MPFR_RNDN);
  ln2_times(w, -126);
  const double s_normal = round_to_prec(w, 24, MPFR_RNDZ);
  ln2_times(w, -1075);
  const double d_under = round_to_prec(w, 53, MPFR_RNDN);
  ln2_times(w, -150);
  const double s_under = round_to_prec(w, 24, MPFR_RNDZ);
  expect("double overflow threshold", d_over, "709.782712893384", 0x40862e42fefa39ef);
  expect("double normal-result limit", d_normal, "-708.3964185322641", 0xc086232bdd7abcd2);
  expect("double underflow threshold", d_under, "-745.1332191019412", 0xc0874910d52d3052);
  expect("single overflow threshold", s_over, "88.72283172607422", 0x40562e42e0000000);
  expect("single normal-result limit", s_normal, "-87.33654022216797", 0xc055d589e0000000);
  expect("single underflow threshold", s_under, "-103.97207641601562", 0xc059fe3680000000);

  const double tiny = gen::from_bits(0x0010000000000001);
  expect("tiny operand", tiny, "2.225073858507202e-308");
  expect("huge operand", __DBL_MAX__, "1.7976931348623157e+308");
  expect("unscale factor", 0x1p-60, "8.673617379884035e-19");
  expect("splitting constant", 0x1.8p32, "6442450944.0");


  // The polynomial coefficients: fixed fits of e^r - 1 - r on the reduced
  // interval, with the relative error of r + r^2 (c2 + c3 r + ...) against
  // e^r - 1 measured here.
  const double la_poly[4] = {gen::decimal("0.49999999999948624"), gen::decimal("0.16666666666690205"),
                             gen::decimal("0.04166672334464207"), gen::decimal("0.008333329554351886")};
  const double ha_poly[5] = {0.5, gen::decimal("0.1666666666665788"), gen::decimal("0.04166666666677052"),
                             gen::decimal("0.008333341995140497"), gen::decimal("0.0013888870459233254")};
  auto expm1 = [](mpfr_ptr y, mpfr_srcptr x) { mpfr_expm1(y, x, MPFR_RNDN); };
  const double r_max = 0x1.62e42fefa39efp-1 / 128;  // ln2/128
  const gen::Term la_terms[] = {{1, 1}, {la_poly[0], 2}, {la_poly[1], 3}, {la_poly[2], 4}, {la_poly[3], 5}};
  const gen::Term ha_terms[] = {{1, 1}, {ha_poly[0], 2}, {ha_poly[1], 3}, {ha_poly[2], 4}, {ha_poly[3], 5}, {ha_poly[4], 6}};
  const double la_err = gen::sampled_error_log2(expm1, la_terms, -r_max, r_max);
  const double ha_err = gen::sampled_error_log2(expm1, ha_terms, -r_max, r_max);

  std::printf(
      "// Constants of the exponential family.\n"
      "// Generated by tools/gen/gen_exp.cpp (MPFR); do not edit.\n"
      "//\n"
      "// th[j] is 2^(j/64) rounded to nearest; tl[j] is the relative correction\n"
      "// (2^(j/64) - th[j]) / th[j] rounded to nearest, so that\n"
      "// th[j] * (1 + tl[j]) = 2^(j/64) to about 2^-106.  l1 + l2 = ln2/64 to\n"
      "// about 2^-90.\n"
      "#include \"exp_data.h\"\n"
      "\n"
      "namespace kel::exp_data {\n"
      "\n"
      "const Tables kTables = {\n");
  auto field = [](const char* name, double v, const char* comment) {
    const std::string lit = std::string(".") + name + " = " + hex(v) + ",";
    if (*comment)
      std::printf("    %-38s // %s\n", lit.c_str(), comment);
    else
      std::printf("    %s\n", lit.c_str());
  };
  field("inv_ln2_64", inv_l, "64/ln2");
  field("shifter", shifter, "1.5*2^52");
  field("l1", l1, "ln2/64 on 36 bits");
  field("l2", l2, "ln2/64 - l1");
  std::printf("    .rows =\n        {\n");
  for (int j = 0; j < 64; ++j) {
    const std::string lit = "{" + hex(th[j]) + ", " + hex(tl[j]) + "},";
    std::printf("            %-47s // 2^(%d/64)\n", lit.c_str(), j);
  }
  std::printf("        },\n");
  auto poly = [](const char* name, const double* c, int n, int degree, double err) {
    std::printf("    // e^r - 1 - r = r^2 (c2 + ... + c%d r^%d) on |r| <= ln2/128: fixed fit,\n"
                "    // relative error of e^r - 1 below 2^%.1f (sampled).\n",
                degree, degree - 2, std::ceil(err * 10) / 10);
    std::printf("    .%s = {", name);
    for (int i = 0; i < n; ++i) std::printf("%s%s", i ? ", " : "", hex(c[i]).c_str());
    std::printf("},\n");
  };
  poly("la_poly", la_poly, 4, 5, la_err);
  poly("ha_poly", ha_poly, 5, 6, ha_err);
  std::printf("    .limits64 = {%s, %s, %s},  // ln(DBL_MAX) rounded down, -1022 ln2, -1075 ln2\n", hex(d_over).c_str(),
              hex(d_normal).c_str(), hex(d_under).c_str());
  std::printf("    .limits32 = {%s, %s, %s},  // ln(FLT_MAX) rounded down, -126 ln2, -150 ln2\n", hex(s_over).c_str(),
              hex(s_normal).c_str(), hex(s_under).c_str());
  field("tiny", tiny, "squared for the underflow result");
  field("huge", __DBL_MAX__, "squared for the overflow result");
  field("zero", 0.0, "result for -Inf");
  field("one", 1.0, "");
  field("two", 2.0, "");
  field("unscale", 0x1p-60, "2^-60");
  field("split", 0x1.8p32, "1.5*2^32");
  std::printf("};\n\n}  // namespace kel::exp_data\n");

  mpfr_clear(w);
  mpfr_clear(v);
  mpfr_free_cache();
  return 0;
}

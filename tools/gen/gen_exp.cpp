// Prints src/exp_data.cpp, the constant tables of the exponential family.
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
#include <vector>

#include "gen_common.h"

namespace {

using gen::bits_of;
using gen::Entry;
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

void print_table(const char* name, const char* size, const std::vector<Entry>& rows) {
  std::printf("const double %s[%s] = {\n", name, size);
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::string lit = hex(rows[i].value) + ",";
    std::printf("    %-24s // %3zu: %s\n", lit.c_str(), i, rows[i].comment.c_str());
  }
  std::printf("};\n");
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


  std::vector<Entry> la;
  for (int j = 0; j < 64; ++j) la.push_back({th[j], "T[" + std::to_string(j) + "] = 2^(" + std::to_string(j) + "/64)"});
  const std::vector<Entry> la_tail = {
      {inv_l, "64/ln2"},
      {shifter, "1.5*2^52, rounds to an integer in the low word"},
      {gen::decimal("0.49999999999948624"), "c2"},
      {gen::decimal("0.16666666666690205"), "c3"},
      {gen::decimal("0.04166672334464207"), "c4"},
      {gen::decimal("0.008333329554351886"), "c5"},
      {d_over, "overflow threshold, <= ln(DBL_MAX)"},
      {d_normal, "normal-result limit, ~ -1022 ln2"},
      {d_under, "underflow threshold, ~ -1075 ln2"},
      {l1, "L1, ln2/64 on 36 bits"},
      {l2, "L2 = ln2/64 - L1"},
      {tiny, "tiny operand, squared for the underflow result"},
      {__DBL_MAX__, "huge operand, squared for the overflow result"},
      {0.0, "result for -Inf"},
      {1.0, "one"},
      {2.0, "two"},
      {0x1p-60, "2^-60, gradual-underflow unscale"},
  };
  la.insert(la.end(), la_tail.begin(), la_tail.end());

  auto ha_table = [&](double over, double normal, double under, const char* kind) {
    std::vector<Entry> ha;
    for (int j = 0; j < 64; ++j) {
      const std::string s = std::to_string(j);
      ha.push_back({th[j], "Th[" + s + "] = 2^(" + s + "/64)"});
      ha.push_back({tl[j], "Tl[" + s + "], relative"});
    }
    const std::vector<Entry> tail = {
        {inv_l, "64/ln2"},
        {shifter, "1.5*2^52"},
        {0.5, "c2"},
        {gen::decimal("0.1666666666665788"), "c3"},
        {gen::decimal("0.04166666666677052"), "c4"},
        {gen::decimal("0.008333341995140497"), "c5"},
        {gen::decimal("0.0013888870459233254"), "c6"},
        {over, std::string(kind) + " overflow threshold"},
        {normal, std::string(kind) + " normal-result limit"},
        {under, std::string(kind) + " underflow threshold"},
        {l1, "L1"},
        {l2, "L2"},
        {tiny, "tiny operand"},
        {__DBL_MAX__, "huge operand"},
        {0.0, "result for -Inf"},
        {1.0, "one"},
        {2.0, "two"},
        {0x1p-60, "2^-60"},
        {0x1.8p32, "1.5*2^32, splits V in the exact underflow path"},
    };
    ha.insert(ha.end(), tail.begin(), tail.end());
    return ha;
  };

  std::printf(
      "// Constant tables of the exponential family.\n"
      "// Generated by tools/gen/gen_exp.cpp (MPFR); do not edit.\n"
      "//\n"
      "// T[j] and Th[j] are 2^(j/64) rounded to nearest; Tl[j] is the relative\n"
      "// correction (2^(j/64) - Th[j]) / Th[j] rounded to nearest, so that\n"
      "// Th[j] * (1 + Tl[j]) = 2^(j/64) to about 2^-106.  L1 + L2 = ln2/64 to\n"
      "// about 2^-90.  The high-accuracy table exists twice, differing only in\n"
      "// the three thresholds: the double one (kelsExp_64f_A53, and the\n"
      "// hyperbolic family's exponential) and the single one (the float members).\n"
      "#include \"exp_data.h\"\n"
      "\n"
      "namespace kel::exp_data {\n\n");
  std::printf("// Low-accuracy algorithm (kelsExp_64f_A50).\n");
  print_table("_orxdExpLATab", "kLATabSize", la);
  const struct {
    const char* ns;
    const char* member;
    bool single;
  } copies[] = {{"for_double", "double thresholds", false}, {"for_float", "single thresholds", true}};
  for (const auto& c : copies) {
    std::printf("\n// High-accuracy algorithm, %s.\nnamespace %s {\n", c.member, c.ns);
    print_table("_orxdExpHATab", "kHATabSize",
                c.single ? ha_table(s_over, s_normal, s_under, "single") : ha_table(d_over, d_normal, d_under, "double"));
    std::printf("}  // namespace %s\n", c.ns);
  }
  std::printf("\n}  // namespace kel::exp_data\n");

  mpfr_clear(w);
  mpfr_clear(v);
  mpfr_free_cache();
  return 0;
}

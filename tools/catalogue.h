// The catalogue of libkelvmpx's exported functions: every family once, with
// its argument shape, its element types and accuracy members, the key of its
// reference function (the tests map it to MPFR or MPC), the key of its test
// input design and the benchmark's input ranges.  The kelvm tool, the reports,
// the benchmarks and the tests all read it; tests/check_catalogue.sh checks it
// against the header, the library and the README.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelcat {

// How a function takes its arguments.
enum class Shape {
  unary,   // f(src, dst, len); kernels: f(x)
  binary,  // f(src1, src2, dst, len); kernels: f(x, y)
  scalar,  // f(src, val, dst, len), val passed by value (Powx)
  two,     // f(src, dst1, dst2, len); kernels: f(x, &r1, &r2)
};

// real: kels<F>_32f_A11/A21/A24 and kels<F>_64f_A50/A53; rounding: kels<F>_32f
// and kels<F>_64f (exact results); complex: the same accuracy members on 32fc
// and 64fc; kernel: orx<F>_scalar in long double.
enum class Domain { real, rounding, complex, kernel };

// The exact function a family computes, read as MPFR's for real arguments and
// MPC's for complex ones; the degree variants take their angle in degrees.
enum class Ref {
  exp, log, log10, log1p, sin, cos, tan, sincos, sind, cosd, sinh, cosh, tanh, asin, acos, atan, asinh, acosh,
  atanh, atan2, atan2d, sqrt, invsqrt, cbrt, invcbrt, inv, div, hypot, pow, erf, erfc, erfinv,
  ceil, floor, trunc, round, nearbyint, modf,
};

// The tests' input design of a family (tools/accuracy/generators.h): random
// bit patterns mixed with the regions where the algorithm changes path.
enum class Sample {
  exp, log, log1p, trig, degrees, sinh_cosh, tanh, asin_acos, atan, acosh, atanh, inv, sqrt, erf, erfc, erfinv,
  rounding, atan2, div, hypot, pow, powx,
  complex_exp, complex_trig, complex_log, complex_pow,
};

// A benchmark input range; empty when lo == hi.  log_uniform spreads the
// magnitudes over the binades instead of uniformly.
struct Range {
  double lo = 0, hi = 0;
  bool log_uniform = false;
};
// The same range for double and float elements, or one for each.
struct Ranges {
  Range d, f;
  constexpr Ranges(Range both = {}) : d(both), f(both) {}
  constexpr Ranges(Range dbl, Range flt) : d(dbl), f(flt) {}
};

struct Family {
  const char* name;  // Exp; kernels: expl for orxexpl_scalar
  Domain domain;
  Shape shape;
  Ref ref;
  Sample sample;
  Ranges main = {};     // the benchmark's main path (complex elements: parts times 1e-5)
  Ranges special = {};  // its special path (huge trigonometric arguments, subnormals), if any
  const char* kernel = nullptr;  // complex: the double-complex kernel every member reaches
  bool counts = false;           // Rint, NearbyInt: no argument checks, the status is len

  constexpr Range bench_range(bool special_path, bool single) const {
    const Ranges& r = special_path ? special : main;
    return single ? r.f : r.d;
  }
};

namespace range {
constexpr Range kWide{-1e6, 1e6}, kTrig{-100, 100}, kUnit{-0.99, 0.99}, kPow{0.1, 10}, kAcosh{1, 1e6};
constexpr Range kAtan{-10, 10}, kErf{-3, 3};
constexpr Ranges kExp{{-700, 700}, {-87, 88}}, kExpLow{{-745, -709}, {-103, -88}};
constexpr Ranges kLog{{1e-300, 1e300, true}, {1e-30, 1e30, true}}, kSqrt{{1e-30, 1e30, true}};
constexpr Ranges kSubnormal{{5e-324, 2e-308, true}, {1e-45, 1e-38, true}};
constexpr Ranges kHyp{{-700, 700}, {-80, 80}}, kErfc{{-5, 27}};
constexpr Ranges kHugeTrig{{1e6, 1e300, true}, {1e6, 1e38, true}}, kHugeTan{{2e4, 1e300, true}, {2e4, 1e38, true}};
}  // namespace range

using D = Domain;
using S = Shape;
using R = Ref;
// clang-format off
inline constexpr Family kFamilies[] = {
    {"Exp", D::real, S::unary, R::exp, Sample::exp, range::kExp, range::kExpLow},
    {"Ln", D::real, S::unary, R::log, Sample::log, range::kLog, range::kSubnormal},
    {"Log10", D::real, S::unary, R::log10, Sample::log, range::kLog, range::kSubnormal},
    {"Sin", D::real, S::unary, R::sin, Sample::trig, range::kTrig, range::kHugeTrig},
    {"Cos", D::real, S::unary, R::cos, Sample::trig, range::kTrig, range::kHugeTrig},
    {"Tan", D::real, S::unary, R::tan, Sample::trig, range::kTrig, range::kHugeTan},
    {"Inv", D::real, S::unary, R::inv, Sample::inv, range::kWide},
    {"Sqrt", D::real, S::unary, R::sqrt, Sample::sqrt, range::kSqrt, range::kSubnormal},
    {"Sinh", D::real, S::unary, R::sinh, Sample::sinh_cosh, range::kHyp},
    {"Cosh", D::real, S::unary, R::cosh, Sample::sinh_cosh, range::kHyp},
    {"Tanh", D::real, S::unary, R::tanh, Sample::tanh, range::kWide},
    {"Asin", D::real, S::unary, R::asin, Sample::asin_acos, range::kUnit},
    {"Acos", D::real, S::unary, R::acos, Sample::asin_acos, range::kUnit},
    {"Atan", D::real, S::unary, R::atan, Sample::atan, range::kAtan},
    {"Asinh", D::real, S::unary, R::asinh, Sample::atan, range::kWide},
    {"Acosh", D::real, S::unary, R::acosh, Sample::acosh, range::kAcosh},
    {"Atanh", D::real, S::unary, R::atanh, Sample::atanh, range::kUnit},
    {"InvSqrt", D::real, S::unary, R::invsqrt, Sample::sqrt, range::kSqrt},
    {"Cbrt", D::real, S::unary, R::cbrt, Sample::inv, range::kWide},
    {"InvCbrt", D::real, S::unary, R::invcbrt, Sample::inv, range::kWide},
    {"Erf", D::real, S::unary, R::erf, Sample::erf, range::kErf},
    {"Erfc", D::real, S::unary, R::erfc, Sample::erfc, range::kErfc},
    {"ErfInv", D::real, S::unary, R::erfinv, Sample::erfinv, range::kUnit},
    {"Atan2", D::real, S::binary, R::atan2, Sample::atan2, range::kWide},
    {"Div", D::real, S::binary, R::div, Sample::div, range::kWide},
    {"Hypot", D::real, S::binary, R::hypot, Sample::hypot, range::kWide},
    {"Pow", D::real, S::binary, R::pow, Sample::pow, range::kPow},
    {"Powx", D::real, S::scalar, R::pow, Sample::powx, range::kPow},
    {"SinCos", D::real, S::two, R::sincos, Sample::trig, range::kTrig, range::kHugeTrig},
    {"Ceil", D::rounding, S::unary, R::ceil, Sample::rounding, range::kWide},
    {"Floor", D::rounding, S::unary, R::floor, Sample::rounding, range::kWide},
    {"Trunc", D::rounding, S::unary, R::trunc, Sample::rounding, range::kWide},
    {"Round", D::rounding, S::unary, R::round, Sample::rounding, range::kWide},
    {"Rint", D::rounding, S::unary, R::nearbyint, Sample::rounding, range::kWide, {}, nullptr, true},
    {"NearbyInt", D::rounding, S::unary, R::nearbyint, Sample::rounding, range::kWide, {}, nullptr, true},
    {"Modf", D::rounding, S::two, R::modf, Sample::rounding, range::kWide},

    {"Acos", D::complex, S::unary, R::acos, Sample::complex_log, range::kUnit, {}, "orxcacos_scalar"},
    {"Acosh", D::complex, S::unary, R::acosh, Sample::complex_log, range::kAcosh, {}, "orxcacosh_scalar"},
    {"Asin", D::complex, S::unary, R::asin, Sample::complex_log, range::kUnit, {}, "orxcasin_scalar"},
    {"Asinh", D::complex, S::unary, R::asinh, Sample::complex_log, range::kWide, {}, "orxcasinh_scalar"},
    {"Atan", D::complex, S::unary, R::atan, Sample::complex_log, range::kWide, {}, "orxcatan_scalar"},
    {"Atanh", D::complex, S::unary, R::atanh, Sample::complex_log, range::kUnit, {}, "orxcatanh_scalar"},
    {"Cos", D::complex, S::unary, R::cos, Sample::complex_trig, range::kTrig, range::kHugeTrig, "orxccos_scalar"},
    {"Cosh", D::complex, S::unary, R::cosh, Sample::complex_exp, range::kHyp, {}, "orxccosh_scalar"},
    {"Exp", D::complex, S::unary, R::exp, Sample::complex_exp, range::kExp, range::kExpLow, "orxcexp_scalar"},
    {"Ln", D::complex, S::unary, R::log, Sample::complex_log, range::kLog, range::kSubnormal, "orxclog_scalar"},
    {"Log10", D::complex, S::unary, R::log10, Sample::complex_log, range::kLog, range::kSubnormal, "orxclog10_scalar"},
    {"Sin", D::complex, S::unary, R::sin, Sample::complex_trig, range::kTrig, range::kHugeTrig, "orxcsin_scalar"},
    {"Sinh", D::complex, S::unary, R::sinh, Sample::complex_exp, range::kHyp, {}, "orxcsinh_scalar"},
    {"Sqrt", D::complex, S::unary, R::sqrt, Sample::complex_log, range::kSqrt, range::kSubnormal, "orxcsqrt_scalar"},
    {"Tan", D::complex, S::unary, R::tan, Sample::complex_trig, range::kTrig, range::kHugeTan, "orxctan_scalar"},
    {"Tanh", D::complex, S::unary, R::tanh, Sample::complex_exp, range::kWide, {}, "orxctanh_scalar"},
    {"Pow", D::complex, S::binary, R::pow, Sample::complex_pow, range::kPow, {}, "orxcpow_scalar"},
    {"Powx", D::complex, S::scalar, R::pow, Sample::complex_pow, range::kPow, {}, "orxcpow_scalar"},

    {"expl", D::kernel, S::unary, R::exp, Sample::exp},
    {"logl", D::kernel, S::unary, R::log, Sample::log},
    {"log1pl", D::kernel, S::unary, R::log1p, Sample::log1p},
    {"sinl", D::kernel, S::unary, R::sin, Sample::trig},
    {"cosl", D::kernel, S::unary, R::cos, Sample::trig},
    {"tanl", D::kernel, S::unary, R::tan, Sample::trig},
    {"atanl", D::kernel, S::unary, R::atan, Sample::atan},
    {"sqrtl", D::kernel, S::unary, R::sqrt, Sample::sqrt},
    {"sinhl", D::kernel, S::unary, R::sinh, Sample::sinh_cosh},
    {"coshl", D::kernel, S::unary, R::cosh, Sample::sinh_cosh},
    {"tanhl", D::kernel, S::unary, R::tanh, Sample::tanh},
    {"asinl", D::kernel, S::unary, R::asin, Sample::asin_acos},
    {"acosl", D::kernel, S::unary, R::acos, Sample::asin_acos},
    {"asinhl", D::kernel, S::unary, R::asinh, Sample::atan},
    {"acoshl", D::kernel, S::unary, R::acosh, Sample::acosh},
    {"atanhl", D::kernel, S::unary, R::atanh, Sample::atanh},
    {"sindl", D::kernel, S::unary, R::sind, Sample::degrees},
    {"cosdl", D::kernel, S::unary, R::cosd, Sample::degrees},
    {"sincosl", D::kernel, S::two, R::sincos, Sample::trig},
    {"atan2l", D::kernel, S::binary, R::atan2, Sample::atan2},
    {"atan2dl", D::kernel, S::binary, R::atan2d, Sample::atan2},
    {"powl", D::kernel, S::binary, R::pow, Sample::pow},
};
// clang-format on

// The other exported functions: version, error entries, the large-argument
// reduction, classification tests, absolute values and the complex square
// root the other complex kernels call.
inline constexpr const char* kOtherFunctions[] = {
    "kelvmGetLibVersion", "orxdError", "orxsError", "_orxStdErrorHandlerExcept", "orxreduce_pio2d",
    "_orx_internal_isinf", "_orx_internal_ispinf", "_orx_internal_isninf", "_orx_internal_isnan",
    "_orx_internal_iszero", "_orx_internal_isnegzero", "_orx_internal_isnzfinite", "orx_sabs_scalar",
    "orx_dabs_scalar", "orxfabsl_scalar", "_orx_internal_csqrt",
};

// The family named `name` in domain d (real takes in the rounding family), or nullptr.
inline const Family* find(std::string_view name, Domain d) {
  for (const Family& f : kFamilies)
    if (name == f.name && (f.domain == d || (d == Domain::real && f.domain == Domain::rounding))) return &f;
  return nullptr;
}

enum class Elem { f32, f64, c32, c64, f80 };

// One exported member of a family.
struct Name {
  std::string name;  // kelsExp_64f_A53, kelsCeil_32f, orxexpl_scalar
  const Family* family;
  const char* type;     // 32f, 64f, 32fc, 64fc; 80f for kernels
  const char* flavour;  // the accuracy suffix; "exact" for rounding, "kernel" for kernels
  Elem elem;
};

struct TypeMembers {
  const char* type;
  Elem elem;
  bool cplx;
  std::vector<const char*> flavours;
};
inline const std::vector<TypeMembers>& vector_types() {
  static const std::vector<TypeMembers> types = {{"32f", Elem::f32, false, {"A11", "A21", "A24"}},
                                                 {"64f", Elem::f64, false, {"A50", "A53"}},
                                                 {"32fc", Elem::c32, true, {"A11", "A21", "A24"}},
                                                 {"64fc", Elem::c64, true, {"A50", "A53"}}};
  return types;
}

inline Name member(const Family& f, const TypeMembers& t, const char* flavour) {
  if (f.domain == Domain::rounding) return {std::string("kels") + f.name + "_" + t.type, &f, t.type, "exact", t.elem};
  return {std::string("kels") + f.name + "_" + t.type + "_" + flavour, &f, t.type, flavour, t.elem};
}

// Every exported member of a family, types in order, flavours within a type.
inline std::vector<Name> members(const Family& f) {
  if (f.domain == Domain::kernel) return {{std::string("orx") + f.name + "_scalar", &f, "80f", "kernel", Elem::f80}};
  std::vector<Name> out;
  for (const auto& t : vector_types()) {
    if (t.cplx != (f.domain == Domain::complex)) continue;
    if (f.domain == Domain::rounding) out.push_back(member(f, t, ""));
    else
      for (const char* fl : t.flavours) out.push_back(member(f, t, fl));
  }
  return out;
}

// Every member of every family, family by family.
inline std::vector<Name> names() {
  std::vector<Name> out;
  for (const Family& f : kFamilies)
    for (Name& n : members(f)) out.push_back(std::move(n));
  return out;
}

// The vector functions by element type, then accuracy, then family; each
// real type ends with the rounding family.  The order of `kelvm --list`.
inline std::vector<Name> vector_names() {
  std::vector<Name> out;
  for (const auto& t : vector_types()) {
    for (const char* fl : t.flavours)
      for (const Family& f : kFamilies)
        if (f.domain == (t.cplx ? Domain::complex : Domain::real)) out.push_back(member(f, t, fl));
    for (const Family& f : kFamilies)
      if (!t.cplx && f.domain == Domain::rounding) out.push_back(member(f, t, ""));
  }
  return out;
}

// Every exported function the catalogue knows of: the vector members and
// kernels, the complex kernels, the single-element trigonometric entry points
// (orxsSin_SC_HA ... orxdTan_SC) and the others.
inline std::vector<std::string> all_function_names() {
  std::vector<std::string> out;
  for (const Name& n : names()) out.push_back(n.name);
  for (const Family& f : kFamilies)
    if (f.kernel && f.shape != Shape::scalar) out.push_back(f.kernel);
  for (const char* p : {"orxs", "orxd"})
    for (const char* f : {"Sin", "Cos", "SinCos", "Tan"})
      for (const char* a : {"_HA", "_LA", "_A11", ""})
        if (*a || p[3] == 'd') out.push_back(std::string(p) + f + "_SC" + a);
  for (const char* s : kOtherFunctions) out.push_back(s);
  return out;
}

}  // namespace kelcat

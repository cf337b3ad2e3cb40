#include "references.h"

#include <algorithm>
#include <cmath>

namespace kelacc {
namespace {

struct Var {
  mpfr_t v;
  explicit Var(mpfr_prec_t p) { mpfr_init2(v, p); }
  ~Var() { mpfr_clear(v); }
  Var(const Var&) = delete;
  Var& operator=(const Var&) = delete;
};

}  // namespace

int ref_inv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_ui_div(r, 1, x, rnd); }

int ref_invsqrt(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  // MPFR gives +Inf for both zeros; 1/sqrt(-0) = 1/(-0) is -Inf.
  if (mpfr_zero_p(x)) {
    mpfr_set_inf(r, mpfr_signbit(x) ? -1 : 1);
    return 0;
  }
  return mpfr_rec_sqrt(r, x, rnd);
}

int ref_invcbrt(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_rootn_si(r, x, -3, rnd); }

int ref_erfinv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x)) {
    mpfr_set_nan(r);
    return 0;
  }
  if (mpfr_zero_p(x)) return mpfr_set(r, x, rnd);
  const int c = mpfr_cmpabs_ui(x, 1);
  if (c > 0) {
    mpfr_set_nan(r);
    return 0;
  }
  if (c == 0) {
    mpfr_set_inf(r, mpfr_sgn(x));
    return 0;
  }
  const mpfr_prec_t full = mpfr_get_prec(r) + 64;
  Var a(full), w(full), y(64), f(full), d(full), k(full);
  mpfr_abs(a.v, x, MPFR_RNDN);  // exact: full exceeds the precision of x
  // Below 1/2 solve erf(y) = a, from y = a sqrt(pi)/2, left of the root (erf
  // lies below its tangent at 0).  Above 1/2 solve erfc(y) = w = 1 - a from
  // y = sqrt(-ln w), right of the root (erfc(y) <= exp(-y^2)).  erf is
  // concave and erfc convex on y >= 0, so after at most one step Newton
  // approaches the root from the left, monotonically; it never oscillates.
  const bool tail = mpfr_cmp_d(a.v, 0.5) > 0;
  if (tail) {
    mpfr_ui_sub(w.v, 1, a.v, MPFR_RNDN);  // exact
    mpfr_log(y.v, w.v, MPFR_RNDN);
    mpfr_neg(y.v, y.v, MPFR_RNDN);
    mpfr_sqrt(y.v, y.v, MPFR_RNDN);
  } else {
    mpfr_const_pi(y.v, MPFR_RNDN);
    mpfr_sqrt(y.v, y.v, MPFR_RNDN);
    mpfr_mul(y.v, y.v, a.v, MPFR_RNDN);
    mpfr_div_2ui(y.v, y.v, 1, MPFR_RNDN);
  }
  // Converge at 64 bits, then double the precision with two steps each.
  for (mpfr_prec_t p = 64;; p = std::min<mpfr_prec_t>(2 * p, full)) {
    mpfr_prec_round(y.v, p, MPFR_RNDN);
    mpfr_set_prec(f.v, p);
    mpfr_set_prec(d.v, p);
    mpfr_set_prec(k.v, p);
    mpfr_const_pi(k.v, MPFR_RNDN);
    mpfr_rec_sqrt(k.v, k.v, MPFR_RNDN);
    mpfr_mul_2ui(k.v, k.v, 1, MPFR_RNDN);  // 2/sqrt(pi)
    const int steps = p == 64 ? 400 : 2;
    for (int i = 0; i < steps; ++i) {
      if (tail) {
        mpfr_erfc(f.v, y.v, MPFR_RNDN);
        mpfr_sub(f.v, f.v, w.v, MPFR_RNDN);
      } else {
        mpfr_erf(f.v, y.v, MPFR_RNDN);
        mpfr_sub(f.v, f.v, a.v, MPFR_RNDN);
      }
      mpfr_sqr(d.v, y.v, MPFR_RNDN);
      mpfr_neg(d.v, d.v, MPFR_RNDN);
      mpfr_exp(d.v, d.v, MPFR_RNDN);
      mpfr_mul(d.v, d.v, k.v, MPFR_RNDN);  // |derivative|
      mpfr_div(f.v, f.v, d.v, MPFR_RNDN);  // the step
      if (tail)
        mpfr_add(y.v, y.v, f.v, MPFR_RNDN);
      else
        mpfr_sub(y.v, y.v, f.v, MPFR_RNDN);
      if (mpfr_sgn(y.v) < 0) mpfr_set_ui(y.v, 0, MPFR_RNDN);
      if (p == 64 && (mpfr_zero_p(f.v) || mpfr_get_exp(f.v) < mpfr_get_exp(y.v) - 60)) break;
    }
    if (p == full) break;
  }
  mpfr_setsign(y.v, y.v, mpfr_signbit(x), MPFR_RNDN);
  return mpfr_set(r, y.v, rnd);
}

int ref_sind(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_sinu(r, x, 360, rnd); }
int ref_cosd(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_cosu(r, x, 360, rnd); }
int ref_atan2d(mpfr_ptr r, mpfr_srcptr y, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_atan2u(r, y, x, 360, rnd); }

int ref_ceil(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) { return mpfr_ceil(r, x); }
int ref_floor(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) { return mpfr_floor(r, x); }
int ref_trunc(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) { return mpfr_trunc(r, x); }
int ref_round(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) { return mpfr_round(r, x); }
int ref_nearbyint(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) { return mpfr_rint(r, x, MPFR_RNDN); }
int ref_modf_int(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) { return mpfr_trunc(r, x); }
int ref_modf_frac(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_inf_p(x)) {
    mpfr_set_zero(r, mpfr_signbit(x) ? -1 : 1);
    return 0;
  }
  return mpfr_frac(r, x, rnd);
}

// tanh(x + iy) = (sinh x cosh x + i sin y cos y) / (sinh^2 x + cos^2 y): the
// denominator is a sum of squares, so at 64 bits beyond r's precision nothing
// cancels.  MPC's tanh and tan take time exponential in |x| (seconds from
// |x| = 10^5).  Beyond |x| = 2^20 the value is sign(x) + i 4 sin y cos y
// e^(-2|x|) to a relative e^(-2|x|).  Infinities and NaNs go to MPC.
// x^y = exp(y log x), principal value, with the sign of a zero imaginary part
// of x choosing the side of the cut: mpc_pow gives a conjugated exact result
// for x = -a - i0 (for example (-4 - i0)^(1/2) = +2i), so that side is taken
// from the conjugate symmetry x^y = conj(conj(x)^conj(y)).
int ref_cpow(mpc_ptr r, mpc_srcptr x, mpc_srcptr y, mpc_rnd_t rnd) {
  if (!mpfr_zero_p(mpc_imagref(x)) || !mpfr_signbit(mpc_imagref(x))) return mpc_pow(r, x, y, rnd);
  mpc_t cx, cy;
  mpc_init3(cx, mpfr_get_prec(mpc_realref(x)), mpfr_get_prec(mpc_imagref(x)));
  mpc_init3(cy, mpfr_get_prec(mpc_realref(y)), mpfr_get_prec(mpc_imagref(y)));
  mpc_conj(cx, x, MPC_RNDNN);
  mpc_conj(cy, y, MPC_RNDNN);
  const int inex = mpc_pow(r, cx, cy, MPC_RND(MPC_RND_RE(rnd), MPC_RND_IM(rnd) == MPFR_RNDU   ? MPFR_RNDD
                                                               : MPC_RND_IM(rnd) == MPFR_RNDD ? MPFR_RNDU
                                                                                               : MPC_RND_IM(rnd)));
  mpc_conj(r, r, MPC_RNDNN);
  mpc_clear(cx);
  mpc_clear(cy);
  return MPC_INEX(MPC_INEX_RE(inex), -MPC_INEX_IM(inex));
}

int ref_ctanh(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd) {
  mpfr_srcptr x = mpc_realref(z), y = mpc_imagref(z);
  if (!mpfr_number_p(x) || !mpfr_number_p(y)) return mpc_tanh(r, z, rnd);
  const mpfr_prec_t p = std::max(mpfr_get_prec(mpc_realref(r)), mpfr_get_prec(mpc_imagref(r))) + 64;
  Var sh(p), ch(p), sn(p), cs(p), d(p), t(p);
  mpfr_sin_cos(sn.v, cs.v, y, MPFR_RNDN);
  if (mpfr_cmpabs_ui(x, 1ul << 20) > 0) {
    mpfr_abs(d.v, x, MPFR_RNDN);
    mpfr_mul_si(d.v, d.v, -2, MPFR_RNDN);
    mpfr_exp(d.v, d.v, MPFR_RNDN);
    mpfr_mul(t.v, sn.v, cs.v, MPFR_RNDN);
    mpfr_mul_2ui(t.v, t.v, 2, MPFR_RNDN);
    mpfr_set_si(mpc_realref(r), mpfr_sgn(x), MPFR_RNDN);
    mpfr_mul(mpc_imagref(r), t.v, d.v, MPC_RND_IM(rnd));
    return 0;
  }
  mpfr_sinh_cosh(sh.v, ch.v, x, MPFR_RNDN);
  mpfr_sqr(d.v, sh.v, MPFR_RNDN);
  mpfr_sqr(t.v, cs.v, MPFR_RNDN);
  mpfr_add(d.v, d.v, t.v, MPFR_RNDN);
  mpfr_mul(t.v, sh.v, ch.v, MPFR_RNDN);
  mpfr_div(mpc_realref(r), t.v, d.v, MPC_RND_RE(rnd));
  mpfr_mul(t.v, sn.v, cs.v, MPFR_RNDN);
  mpfr_div(mpc_imagref(r), t.v, d.v, MPC_RND_IM(rnd));
  return 0;
}

// tan z = -i tanh(iz), the multiplications by +-i exact.
int ref_ctan(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd) {
  if (!mpfr_number_p(mpc_realref(z)) || !mpfr_number_p(mpc_imagref(z))) return mpc_tan(r, z, rnd);
  mpc_t iz, w;
  mpc_init3(iz, mpfr_get_prec(mpc_imagref(z)), mpfr_get_prec(mpc_realref(z)));
  mpc_init3(w, mpfr_get_prec(mpc_imagref(r)), mpfr_get_prec(mpc_realref(r)));
  mpfr_neg(mpc_realref(iz), mpc_imagref(z), MPFR_RNDN);
  mpfr_set(mpc_imagref(iz), mpc_realref(z), MPFR_RNDN);
  ref_ctanh(w, iz, MPC_RND(MPC_RND_IM(rnd), MPC_RND_RE(rnd)));
  mpfr_set(mpc_realref(r), mpc_imagref(w), MPFR_RNDN);
  mpfr_neg(mpc_imagref(r), mpc_realref(w), MPFR_RNDN);
  mpc_clear(iz);
  mpc_clear(w);
  return 0;
}

// ---- Registry ----------------------------------------------------------------

namespace {

#define KELACC_UNARY(name, ref, gen) \
  RealFunction { name, Shape::unary, ref, nullptr, nullptr, gen<float>, gen<double>, false }
#define KELACC_BINARY(name, ref, gen) \
  RealFunction { name, Shape::binary, nullptr, nullptr, ref, gen<float>, gen<double>, false }

}  // namespace

const std::vector<RealFunction>& real_functions() {
  static const std::vector<RealFunction> table = {
      KELACC_UNARY("Exp", mpfr_exp, gen_exp),
      KELACC_UNARY("Ln", mpfr_log, gen_log),
      KELACC_UNARY("Log10", mpfr_log10, gen_log),
      KELACC_UNARY("Sin", mpfr_sin, gen_trig),
      KELACC_UNARY("Cos", mpfr_cos, gen_trig),
      KELACC_UNARY("Tan", mpfr_tan, gen_trig),
      KELACC_UNARY("Inv", ref_inv, gen_inv),
      KELACC_UNARY("Sqrt", mpfr_sqrt, gen_sqrt),
      KELACC_UNARY("Sinh", mpfr_sinh, gen_sinh_cosh),
      KELACC_UNARY("Cosh", mpfr_cosh, gen_sinh_cosh),
      KELACC_UNARY("Tanh", mpfr_tanh, gen_tanh),
      KELACC_UNARY("Asin", mpfr_asin, gen_asin_acos),
      KELACC_UNARY("Acos", mpfr_acos, gen_asin_acos),
      KELACC_UNARY("Atan", mpfr_atan, gen_atan),
      KELACC_UNARY("Asinh", mpfr_asinh, gen_atan),
      KELACC_UNARY("Acosh", mpfr_acosh, gen_acosh),
      KELACC_UNARY("Atanh", mpfr_atanh, gen_atanh),
      KELACC_UNARY("InvSqrt", ref_invsqrt, gen_sqrt),
      KELACC_UNARY("Cbrt", mpfr_cbrt, gen_inv),
      KELACC_UNARY("InvCbrt", ref_invcbrt, gen_inv),
      KELACC_UNARY("Erf", mpfr_erf, gen_erf),
      KELACC_UNARY("Erfc", mpfr_erfc, gen_erfc),
      KELACC_UNARY("ErfInv", ref_erfinv, gen_erfinv),
      KELACC_BINARY("Atan2", mpfr_atan2, gen_atan2),
      KELACC_BINARY("Div", mpfr_div, gen_div),
      KELACC_BINARY("Hypot", mpfr_hypot, gen_hypot),
      KELACC_BINARY("Pow", mpfr_pow, gen_pow),
      {"Powx", Shape::scalar, nullptr, nullptr, mpfr_pow, gen_powx<float>, gen_powx<double>, false},
      {"SinCos", Shape::two, mpfr_sin, mpfr_cos, nullptr, gen_trig<float>, gen_trig<double>, false},
      // The rounding family: exact results, no accuracy suffix.
      {"Ceil", Shape::unary, ref_ceil, nullptr, nullptr, gen_rounding<float>, gen_rounding<double>, true},
      {"Floor", Shape::unary, ref_floor, nullptr, nullptr, gen_rounding<float>, gen_rounding<double>, true},
      {"Trunc", Shape::unary, ref_trunc, nullptr, nullptr, gen_rounding<float>, gen_rounding<double>, true},
      {"Round", Shape::unary, ref_round, nullptr, nullptr, gen_rounding<float>, gen_rounding<double>, true},
      {"Rint", Shape::unary, ref_nearbyint, nullptr, nullptr, gen_rounding<float>, gen_rounding<double>, true},
      {"NearbyInt", Shape::unary, ref_nearbyint, nullptr, nullptr, gen_rounding<float>, gen_rounding<double>, true},
      {"Modf", Shape::two, ref_modf_int, ref_modf_frac, nullptr, gen_rounding<float>, gen_rounding<double>, true},
  };
  return table;
}

const std::vector<ComplexFunction>& complex_functions() {
#define KELACC_COMPLEX(name, ref, gen) \
  ComplexFunction { name, Shape::unary, ref, nullptr, gen<Kel32fc>, gen<Kel64fc> }
  static const std::vector<ComplexFunction> table = {
      KELACC_COMPLEX("Acos", mpc_acos, gen_complex_log),
      KELACC_COMPLEX("Acosh", mpc_acosh, gen_complex_log),
      KELACC_COMPLEX("Asin", mpc_asin, gen_complex_log),
      KELACC_COMPLEX("Asinh", mpc_asinh, gen_complex_log),
      KELACC_COMPLEX("Atan", mpc_atan, gen_complex_log),
      KELACC_COMPLEX("Atanh", mpc_atanh, gen_complex_log),
      KELACC_COMPLEX("Cos", mpc_cos, gen_complex_trig),
      KELACC_COMPLEX("Cosh", mpc_cosh, gen_complex_exp),
      KELACC_COMPLEX("Exp", mpc_exp, gen_complex_exp),
      KELACC_COMPLEX("Ln", mpc_log, gen_complex_log),
      KELACC_COMPLEX("Log10", mpc_log10, gen_complex_log),
      KELACC_COMPLEX("Sin", mpc_sin, gen_complex_trig),
      KELACC_COMPLEX("Sinh", mpc_sinh, gen_complex_exp),
      KELACC_COMPLEX("Sqrt", mpc_sqrt, gen_complex_log),
      KELACC_COMPLEX("Tan", ref_ctan, gen_complex_trig),
      KELACC_COMPLEX("Tanh", ref_ctanh, gen_complex_exp),
      {"Pow", Shape::binary, nullptr, ref_cpow, gen_complex_pow<Kel32fc>, gen_complex_pow<Kel64fc>},
      {"Powx", Shape::scalar, nullptr, ref_cpow, gen_complex_pow<Kel32fc>, gen_complex_pow<Kel64fc>},
  };
#undef KELACC_COMPLEX
  return table;
}

const std::vector<KernelFunction>& kernel_functions() {
#define KELACC_KERNEL(name, ref, gen) \
  KernelFunction { name, Shape::unary, ref, nullptr, nullptr, gen<long double> }
  static const std::vector<KernelFunction> table = {
      KELACC_KERNEL("expl", mpfr_exp, gen_exp),
      KELACC_KERNEL("logl", mpfr_log, gen_log),
      KELACC_KERNEL("log1pl", mpfr_log1p, gen_log1p),
      KELACC_KERNEL("sinl", mpfr_sin, gen_trig),
      KELACC_KERNEL("cosl", mpfr_cos, gen_trig),
      KELACC_KERNEL("tanl", mpfr_tan, gen_trig),
      KELACC_KERNEL("atanl", mpfr_atan, gen_atan),
      KELACC_KERNEL("sqrtl", mpfr_sqrt, gen_sqrt),
      KELACC_KERNEL("sinhl", mpfr_sinh, gen_sinh_cosh),
      KELACC_KERNEL("coshl", mpfr_cosh, gen_sinh_cosh),
      KELACC_KERNEL("tanhl", mpfr_tanh, gen_tanh),
      KELACC_KERNEL("asinl", mpfr_asin, gen_asin_acos),
      KELACC_KERNEL("acosl", mpfr_acos, gen_asin_acos),
      KELACC_KERNEL("asinhl", mpfr_asinh, gen_atan),
      KELACC_KERNEL("acoshl", mpfr_acosh, gen_acosh),
      KELACC_KERNEL("atanhl", mpfr_atanh, gen_atanh),
      KELACC_KERNEL("sindl", ref_sind, gen_degrees),
      KELACC_KERNEL("cosdl", ref_cosd, gen_degrees),
      {"sincosl", Shape::two, mpfr_sin, mpfr_cos, nullptr, gen_trig<long double>},
      {"atan2l", Shape::binary, nullptr, nullptr, mpfr_atan2, gen_atan2<long double>},
      {"atan2dl", Shape::binary, nullptr, nullptr, ref_atan2d, gen_atan2<long double>},
      {"powl", Shape::binary, nullptr, nullptr, mpfr_pow, gen_pow<long double>},
  };
#undef KELACC_KERNEL
  return table;
}

bool parse_name(std::string_view name, ParsedName* out) {
  *out = ParsedName{};
  if (name.starts_with("orx") && name.ends_with("_scalar")) {
    out->family = std::string(name.substr(3, name.size() - 3 - 7));
    out->flavour = "kernel";
    out->type = "80f";
    out->kernel = true;
    return find_kernel(out->family) != nullptr;
  }
  if (!name.starts_with("kels")) return false;
  name.remove_prefix(4);
  const size_t u1 = name.find('_');
  if (u1 == std::string_view::npos) return false;
  out->family = std::string(name.substr(0, u1));
  const std::string_view rest = name.substr(u1 + 1);
  const size_t u2 = rest.find('_');
  out->type = std::string(rest.substr(0, u2));
  out->flavour = u2 == std::string_view::npos ? "exact" : std::string(rest.substr(u2 + 1));
  return true;
}

const RealFunction* find_real(std::string_view family) {
  for (const auto& f : real_functions())
    if (family == f.name) return &f;
  return nullptr;
}
const ComplexFunction* find_complex(std::string_view family) {
  for (const auto& f : complex_functions())
    if (family == f.name) return &f;
  return nullptr;
}
const KernelFunction* find_kernel(std::string_view name) {
  for (const auto& f : kernel_functions())
    if (name == f.name) return &f;
  return nullptr;
}

namespace {

// The part of xs that the j-th of m scalar values measures.
template <class T>
std::vector<T> slice(const std::vector<T>& xs, size_t j, size_t m) {
  return std::vector<T>(xs.begin() + xs.size() * j / m, xs.begin() + xs.size() * (j + 1) / m);
}

}  // namespace

template <class T>
Summary sample(VectorUnary<T> fn, MpfrUnary ref, const Inputs<T>& in) {
  return measure<T>(fn, ref, in.a);
}
template <class T>
Summary sample(VectorBinary<T> fn, MpfrBinary ref, const Inputs<T>& in) {
  return measure<T>(fn, ref, in.a, in.b);
}
template <class T>
Summary sample(VectorScalar<T> fn, MpfrBinary ref, const Inputs<T>& in) {
  Summary s;
  for (size_t j = 0; j < in.scalars.size(); ++j)
    s.merge(measure_scalar<T>(fn, ref, slice(in.a, j, in.scalars.size()), in.scalars[j]));
  return s;
}
template <class T>
Summary sample(VectorTwo<T> fn, TwoRefs ref, const Inputs<T>& in) {
  return measure_two<T>(fn, ref.first, ref.second, in.a);
}
template <class C>
Summary sample(VectorUnary<C> fn, MpcUnary ref, const Inputs<C>& in) {
  return measure_complex<C>(fn, ref, in.a);
}
template <class C>
Summary sample(VectorBinary<C> fn, MpcBinary ref, const Inputs<C>& in) {
  return measure_complex<C>(fn, ref, in.a, in.b);
}
template <class C>
Summary sample(VectorScalar<C> fn, MpcBinary ref, const Inputs<C>& in) {
  Summary s;
  for (size_t j = 0; j < in.scalars.size(); ++j)
    s.merge(measure_complex_scalar<C>(fn, ref, slice(in.a, j, in.scalars.size()), in.scalars[j]));
  return s;
}
Summary sample(KernelUnary fn, MpfrUnary ref, const Inputs<long double>& in) { return measure_kernel(fn, ref, in.a); }
Summary sample(KernelBinary fn, MpfrBinary ref, const Inputs<long double>& in) {
  return measure_kernel(fn, ref, in.a, in.b);
}
Summary sample(KernelTwo fn, TwoRefs ref, const Inputs<long double>& in) {
  return measure_kernel(fn, ref.first, ref.second, in.a);
}

#define KELACC_SAMPLE_REAL(T)                                                                      \
  template Summary sample<T>(VectorUnary<T>, MpfrUnary, const Inputs<T>&);                      \
  template Summary sample<T>(VectorBinary<T>, MpfrBinary, const Inputs<T>&);                    \
  template Summary sample<T>(VectorScalar<T>, MpfrBinary, const Inputs<T>&);                    \
  template Summary sample<T>(VectorTwo<T>, TwoRefs, const Inputs<T>&);
#define KELACC_SAMPLE_COMPLEX(C)                                                                   \
  template Summary sample<C>(VectorUnary<C>, MpcUnary, const Inputs<C>&);                       \
  template Summary sample<C>(VectorBinary<C>, MpcBinary, const Inputs<C>&);                     \
  template Summary sample<C>(VectorScalar<C>, MpcBinary, const Inputs<C>&);
KELACC_SAMPLE_REAL(float)
KELACC_SAMPLE_REAL(double)
KELACC_SAMPLE_COMPLEX(Kel32fc)
KELACC_SAMPLE_COMPLEX(Kel64fc)

namespace {

template <class T>
Summary sample_real(const RealFunction& f, AnyFunction fn, const Inputs<T>& in) {
  switch (f.shape) {
    case Shape::unary: return sample<T>(reinterpret_cast<VectorUnary<T>>(fn), f.ref, in);
    case Shape::binary: return sample<T>(reinterpret_cast<VectorBinary<T>>(fn), f.ref2, in);
    case Shape::scalar: return sample<T>(reinterpret_cast<VectorScalar<T>>(fn), f.ref2, in);
    case Shape::two: return sample<T>(reinterpret_cast<VectorTwo<T>>(fn), TwoRefs{f.ref, f.second}, in);
  }
  return {};
}

template <class C>
Summary sample_complex(const ComplexFunction& f, AnyFunction fn, const Inputs<C>& in) {
  switch (f.shape) {
    case Shape::unary: return sample<C>(reinterpret_cast<VectorUnary<C>>(fn), f.ref, in);
    case Shape::binary: return sample<C>(reinterpret_cast<VectorBinary<C>>(fn), f.ref2, in);
    case Shape::scalar: return sample<C>(reinterpret_cast<VectorScalar<C>>(fn), f.ref2, in);
    case Shape::two: break;
  }
  return {};
}

}  // namespace

bool sample_registered(const std::string& name, AnyFunction fn, size_t n, uint64_t seed, Summary* out, double* bound,
                       std::string* error) {
  ParsedName p;
  if (!parse_name(name, &p)) {
    *error = "not an exported function name of the registry: " + name;
    return false;
  }
  *bound = bound_for_flavour(p.flavour);
  if (p.kernel) {
    const KernelFunction& k = *find_kernel(p.family);
    const Inputs<long double> in = k.gen(n, seed);
    switch (k.shape) {
      case Shape::unary: *out = sample(reinterpret_cast<KernelUnary>(fn), k.ref, in); break;
      case Shape::binary: *out = sample(reinterpret_cast<KernelBinary>(fn), k.ref2, in); break;
      case Shape::two: *out = sample(reinterpret_cast<KernelTwo>(fn), TwoRefs{k.ref, k.second}, in); break;
      case Shape::scalar: break;
    }
    return true;
  }
  if (p.type == "32f" || p.type == "64f") {
    const RealFunction* f = find_real(p.family);
    if (!f) {
      *error = "no real family " + p.family;
      return false;
    }
    *out = p.type == "32f" ? sample_real<float>(*f, fn, f->gen32(n, seed)) : sample_real<double>(*f, fn, f->gen64(n, seed));
    return true;
  }
  if (p.type == "32fc" || p.type == "64fc") {
    const ComplexFunction* f = find_complex(p.family);
    if (!f) {
      *error = "no complex family " + p.family;
      return false;
    }
    *out = p.type == "32fc" ? sample_complex<Kel32fc>(*f, fn, f->gen32(n, seed))
                            : sample_complex<Kel64fc>(*f, fn, f->gen64(n, seed));
    return true;
  }
  *error = "unknown element type in " + name;
  return false;
}

std::vector<ExportedName> exported_names() {
  std::vector<ExportedName> out;
  for (const auto& f : real_functions()) {
    if (f.rounding) {
      for (const char* t : {"32f", "64f"})
        out.push_back({std::string("kels") + f.name + "_" + t, f.name, t, "exact", ExportedName::real});
      continue;
    }
    for (const char* fl : {"A11", "A21", "A24"})
      out.push_back({std::string("kels") + f.name + "_32f_" + fl, f.name, "32f", fl, ExportedName::real});
    for (const char* fl : {"A50", "A53"})
      out.push_back({std::string("kels") + f.name + "_64f_" + fl, f.name, "64f", fl, ExportedName::real});
  }
  for (const auto& f : complex_functions()) {
    for (const char* fl : {"A11", "A21", "A24"})
      out.push_back({std::string("kels") + f.name + "_32fc_" + fl, f.name, "32fc", fl, ExportedName::complex});
    for (const char* fl : {"A50", "A53"})
      out.push_back({std::string("kels") + f.name + "_64fc_" + fl, f.name, "64fc", fl, ExportedName::complex});
  }
  for (const auto& f : kernel_functions())
    out.push_back({std::string("orx") + f.name + "_scalar", f.name, "80f", "kernel", ExportedName::kernel});
  return out;
}

}  // namespace kelacc

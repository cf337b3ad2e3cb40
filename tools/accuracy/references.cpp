#include "references.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <type_traits>

namespace kelacc {

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
  if (mpfr_zero_p(x)) return mpfr_set(r, x, rnd);
  const int c = mpfr_nan_p(x) ? 1 : mpfr_cmpabs_ui(x, 1);
  if (c >= 0) {
    c ? mpfr_set_nan(r) : mpfr_set_inf(r, mpfr_sgn(x));
    return 0;
  }
  const mpfr_prec_t full = mpfr_get_prec(r) + 64;
  Mpfr a(full), w(full), y(64), f(full), d(full), k(full);
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

// tanh(x + iy) = (sinh x cosh x + i sin y cos y) / (sinh^2 x + cos^2 y): the
// denominator is a sum of squares, so at 64 bits beyond r's precision nothing
// cancels.  MPC's tanh and tan take time exponential in |x| (seconds from
// |x| = 10^5).  Beyond |x| = 2^20 the value is sign(x) + i 4 sin y cos y
// e^(-2|x|) to a relative e^(-2|x|).  Infinities and NaNs go to MPC.
int ref_ctanh(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd) {
  mpfr_srcptr x = mpc_realref(z), y = mpc_imagref(z);
  if (!mpfr_number_p(x) || !mpfr_number_p(y)) return mpc_tanh(r, z, rnd);
  const mpfr_prec_t p = std::max(mpfr_get_prec(mpc_realref(r)), mpfr_get_prec(mpc_imagref(r))) + 64;
  Mpfr sh(p), ch(p), sn(p), cs(p), d(p), t(p);
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

// ---- The catalogue's keys -------------------------------------------------------

namespace {

using kelcat::Domain;
using kelcat::Ref;

// The references of each key, in the order of kelcat::Ref: MPFR's (a unary
// function, the two results of one argument, or a binary function) and MPC's.
struct Reference {
  MpfrUnary unary = nullptr, second = nullptr;
  MpfrBinary binary = nullptr;
  MpcUnary cunary = nullptr;
  MpcBinary cbinary = nullptr;
};
const Reference kReferences[] = {
    {.unary = mpfr_exp, .cunary = mpc_exp}, {.unary = mpfr_log, .cunary = mpc_log},
    {.unary = mpfr_log10, .cunary = mpc_log10}, {.unary = mpfr_log1p},
    {.unary = mpfr_sin, .cunary = mpc_sin}, {.unary = mpfr_cos, .cunary = mpc_cos},
    {.unary = mpfr_tan, .cunary = ref_ctan}, {.unary = mpfr_sin, .second = mpfr_cos},
    {.unary = ref_sind}, {.unary = ref_cosd},
    {.unary = mpfr_sinh, .cunary = mpc_sinh}, {.unary = mpfr_cosh, .cunary = mpc_cosh},
    {.unary = mpfr_tanh, .cunary = ref_ctanh}, {.unary = mpfr_asin, .cunary = mpc_asin},
    {.unary = mpfr_acos, .cunary = mpc_acos}, {.unary = mpfr_atan, .cunary = mpc_atan},
    {.unary = mpfr_asinh, .cunary = mpc_asinh}, {.unary = mpfr_acosh, .cunary = mpc_acosh},
    {.unary = mpfr_atanh, .cunary = mpc_atanh}, {.binary = mpfr_atan2}, {.binary = ref_atan2d},
    {.unary = mpfr_sqrt, .cunary = mpc_sqrt}, {.unary = ref_invsqrt}, {.unary = mpfr_cbrt}, {.unary = ref_invcbrt},
    {.unary = ref_inv}, {.binary = mpfr_div}, {.binary = mpfr_hypot}, {.binary = mpfr_pow, .cbinary = ref_cpow},
    {.unary = mpfr_erf}, {.unary = mpfr_erfc}, {.unary = ref_erfinv},
    {.unary = ref_ceil}, {.unary = ref_floor}, {.unary = ref_trunc}, {.unary = ref_round}, {.unary = ref_nearbyint},
    {.unary = ref_modf_int, .second = ref_modf_frac},
};
static_assert(std::size(kReferences) == static_cast<size_t>(Ref::modf) + 1);

const Reference& reference(Ref r) { return kReferences[static_cast<size_t>(r)]; }

// The catalogue's families of domain d1 or d2, each made into an F by make.
template <class F, class Make>
std::vector<F> families(Domain d1, Domain d2, Make make) {
  std::vector<F> t;
  for (const kelcat::Family& f : kelcat::kFamilies)
    if (f.domain == d1 || f.domain == d2) t.push_back(make(f, reference(f.ref)));
  return t;
}

template <class F>
const F* find_in(const std::vector<F>& table, std::string_view name) {
  for (const auto& f : table)
    if (name == f.name) return &f;
  return nullptr;
}

}  // namespace

const std::vector<RealFunction>& real_functions() {
  static const auto table = families<RealFunction>(Domain::real, Domain::rounding, [](const auto& f, const auto& m) {
    return RealFunction{f.name, f.shape, m.unary, m.second, m.binary, generator<float>(f.sample),
                        generator<double>(f.sample), f.domain == Domain::rounding};
  });
  return table;
}

const std::vector<ComplexFunction>& complex_functions() {
  static const auto table = families<ComplexFunction>(Domain::complex, Domain::complex, [](const auto& f, const auto& m) {
    return ComplexFunction{f.name, f.shape, m.cunary, m.cbinary, generator<Kel32fc>(f.sample),
                           generator<Kel64fc>(f.sample)};
  });
  return table;
}

const std::vector<KernelFunction>& kernel_functions() {
  static const auto table = families<KernelFunction>(Domain::kernel, Domain::kernel, [](const auto& f, const auto& m) {
    return KernelFunction{f.name, f.shape, m.unary, m.second, m.binary, generator<long double>(f.sample)};
  });
  return table;
}

const RealFunction* find_real(std::string_view family) { return find_in(real_functions(), family); }
const ComplexFunction* find_complex(std::string_view family) { return find_in(complex_functions(), family); }
const KernelFunction* find_kernel(std::string_view name) { return find_in(kernel_functions(), name); }

namespace {

// One member of a family (F a RealFunction, ComplexFunction or KernelFunction;
// T its element type).
template <class T, class F>
Summary sample_member(const F& f, AnyFunction fn, size_t n, uint64_t seed) {
  constexpr bool kernel = std::is_same_v<F, KernelFunction>;
  Inputs<T> in;
  if constexpr (kernel) in = f.gen(n, seed);
  else if constexpr (sizeof(typename PartOf<T>::type) == 4) in = f.gen32(n, seed);
  else in = f.gen64(n, seed);
  using Unary = std::conditional_t<kernel, KernelUnary, VectorUnary<T>>;
  using Binary = std::conditional_t<kernel, KernelBinary, VectorBinary<T>>;
  switch (f.shape) {
    case Shape::unary: return sample(reinterpret_cast<Unary>(fn), f.ref, in);
    case Shape::binary: return sample(reinterpret_cast<Binary>(fn), f.ref2, in);
    case Shape::scalar:
      if constexpr (!kernel) return sample(reinterpret_cast<VectorScalar<T>>(fn), f.ref2, in);
      break;
    case Shape::two:
      if constexpr (!std::is_same_v<F, ComplexFunction>) {
        using Two = std::conditional_t<kernel, KernelTwo, VectorTwo<T>>;
        return sample(reinterpret_cast<Two>(fn), TwoRefs{f.ref, f.second}, in);
      }
  }
  return {};
}

}  // namespace

bool sample_registered(const std::string& name, AnyFunction fn, size_t n, uint64_t seed, Summary* out, double* bound,
                       std::string* error) {
  for (const kelcat::Name& m : kelcat::names()) {
    if (m.name != name) continue;
    *bound = bound_for_flavour(m.flavour);
    const char* family = m.family->name;
    switch (m.elem) {
      case kelcat::Elem::f32: *out = sample_member<float>(*find_real(family), fn, n, seed); break;
      case kelcat::Elem::f64: *out = sample_member<double>(*find_real(family), fn, n, seed); break;
      case kelcat::Elem::c32: *out = sample_member<Kel32fc>(*find_complex(family), fn, n, seed); break;
      case kelcat::Elem::c64: *out = sample_member<Kel64fc>(*find_complex(family), fn, n, seed); break;
      case kelcat::Elem::f80: *out = sample_member<long double>(*find_kernel(family), fn, n, seed); break;
    }
    return true;
  }
  *error = "not an exported function of the catalogue: " + name;
  return false;
}

std::vector<ExportedName> exported_names() {
  std::vector<ExportedName> out;
  for (const auto& n : kelcat::names()) {
    const Domain d = n.family->domain;
    out.push_back({n.name, n.family->name, n.type, n.flavour,
                   d == Domain::complex ? ExportedName::complex : d == Domain::kernel ? ExportedName::kernel
                                                                                       : ExportedName::real});
  }
  return out;
}

}  // namespace kelacc

#include "generators.h"

#include "references.h"

#include <cmath>
#include <iterator>
#include <limits>
#include <type_traits>

namespace kelacc {
namespace {

template <class T>
using L = std::numeric_limits<T>;

// ln(2^e), log of a power of two rounded to T: the thresholds of the
// exponential-like functions sit next to these.
template <class T>
T log_of_pow2(long e) {
  return rounded<T>([e](mpfr_ptr r) {
    mpfr_const_log2(r, MPFR_RNDN);
    mpfr_mul_si(r, r, e, MPFR_RNDN);
  });
}

// g(v) rounded to T, for the inverse g of a function f: with v the largest
// finite value, the argument above which f overflows; with v = 1 - 2^-(digits+1),
// the one above which f rounds to 1.
template <class T>
T inverse_at(int (*g)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t), bool saturation) {
  return rounded<T>([&](mpfr_ptr r) {
    Mpfr v(128);
    if (saturation) {
      mpfr_set_ui_2exp(v.v, 1, -(Format<T>::kDigits + 1), MPFR_RNDN);
      mpfr_ui_sub(v.v, 1, v.v, MPFR_RNDN);
    } else {
      mpfr_set_ld(v.v, L<T>::max(), MPFR_RNDN);
    }
    g(r, v.v, MPFR_RNDN);
  });
}

}  // namespace

template <class T>
int Sampler<T>::offset(int ulps) {
  return static_cast<int>(rng_() % (2 * static_cast<uint64_t>(ulps) + 1)) - ulps;
}

template <class T>
T Sampler<T>::step(T x, int ulps) const {
  const T to = ulps < 0 ? -L<T>::infinity() : L<T>::infinity();
  for (int i = 0; i < std::abs(ulps); ++i) x = std::nextafter(x, to);
  return x;
}

template <class T>
Sampler<T>& Sampler<T>::around(const std::vector<T>& points, int ulps, double share) {
  for (size_t i = 0, m = count(share); i < m; ++i) {
    const T p = points[rng_() % points.size()];
    out_.push_back(step(p, offset(ulps)));
  }
  return *this;
}

template <class T>
Sampler<T>& Sampler<T>::multiples(int (*constant)(mpfr_ptr, mpfr_rnd_t), int scale_exp, double kmax, int ulps,
                                  double share) {
  // |k| log-uniform: a random bit length, then a random k of that length.
  const int bits_max = std::max(1, std::ilogb(kmax));
  for (size_t i = 0, m = count(share); i < m; ++i) {
    const int len = static_cast<int>(rng_() % bits_max);
    const uint64_t kk = (uint64_t{1} << len) | (rng_() & ((uint64_t{1} << len) - 1));
    const double k = static_cast<double>(kk) * (rng_() & 1 ? -1 : 1);
    const T x = rounded<T>([&](mpfr_ptr r) {
      constant(r, MPFR_RNDN);
      mpfr_mul_2si(r, r, scale_exp, MPFR_RNDN);
      mpfr_mul_d(r, r, k, MPFR_RNDN);
    });
    out_.push_back(step(x, offset(ulps)));
  }
  return *this;
}

template <class T>
Sampler<T>& Sampler<T>::integers(double lo, double hi, int ulps, double share) {
  std::uniform_real_distribution<double> pick(lo, hi);
  for (size_t i = 0, m = count(share); i < m; ++i) {
    out_.push_back(step(static_cast<T>(std::floor(pick(rng_))), offset(ulps)));
  }
  return *this;
}

template <class T>
Sampler<T>& Sampler<T>::specials() {
  const T values[] = {T(0),           L<T>::infinity(), L<T>::quiet_NaN(), L<T>::denorm_min(),
                      L<T>::min(),    std::nextafter(L<T>::min(), T(0)),  L<T>::max(), T(1)};
  for (T v : values) {
    out_.push_back(v);
    out_.push_back(-v);
  }
  return *this;
}

template <class T>
std::vector<T> Sampler<T>::take() {
  if (out_.size() < n_) whole(static_cast<double>(n_ - out_.size()) / n_);
  out_.resize(n_);
  return std::move(out_);
}

// ---- Real families -----------------------------------------------------------

template <class T>
Inputs<T> gen_exp(size_t n, uint64_t seed) {
  constexpr int lo = Format<T>::kMinExp - Format<T>::kDigits, hi = Format<T>::kMaxExp + 1;
  const T overflow = log_of_pow2<T>(hi), underflow = log_of_pow2<T>(lo - 1), normal = log_of_pow2<T>(Format<T>::kMinExp);
  return Sampler<T>(n, seed).specials()
      .bits(underflow * T(1.01), overflow * T(1.01), 0.35)
      .around({overflow, underflow, normal, log_of_pow2<T>(lo), T(0)}, 16, 0.2)
      .multiples(mpfr_const_log2, -6, 1 << 16, 2, 0.1)  // k ln2/64: the table nodes
      .both_signs(L<T>::denorm_min(), T(0x1p-20), 0.1)
      .uniform(T(-2), T(2), 0.1)
      .inputs();
}

template <class T>
Inputs<T> gen_log(size_t n, uint64_t seed) {
  std::vector<T> powers10;
  for (T p = 1; p < L<T>::max() / 10; p *= 10) {
    powers10.push_back(p);
    if (p >= T(1e22)) break;  // beyond 10^22 powers of ten are no longer exact
  }
  return Sampler<T>(n, seed).specials()
      .bits(L<T>::denorm_min(), L<T>::max(), 0.35)
      .bits(T(0.5), T(2), 0.15)
      .around({T(1)}, 64, 0.1)
      .around(powers10, 2, 0.08)
      .bits(L<T>::denorm_min(), L<T>::min(), 0.07)
      .bits(T(1) / L<T>::max(), L<T>::max(), 0.1)
      .bits(-L<T>::max(), T(0), 0.03)
      .inputs();
}

template <class T>
Inputs<T> gen_log1p(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .bits(T(-1), L<T>::max(), 0.3)
      .both_signs(L<T>::denorm_min(), T(0.5), 0.25)
      .around({T(-1), T(1)}, 64, 0.1)
      .bits(T(-1), T(-0.5), 0.1)
      .inputs();
}

template <class T>
Inputs<T> gen_trig(size_t n, uint64_t seed) {
  // Multiples of pi/2 up to 2^(digits/2 + 10): there the nearest T to k pi/2
  // still lands close to a zero or a pole of the function.
  const double kmax = std::ldexp(1.0, Format<T>::kDigits / 2 + 10);
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-8), T(0x1p10), 0.3)
      .multiples(mpfr_const_pi, -1, kmax, 3, 0.25)
      .multiples(mpfr_const_pi, -2, 64, 3, 0.05)  // pi/4: the octant boundaries
      .both_signs(L<T>::denorm_min(), T(0x1p-8), 0.1)
      .both_signs(T(0x1p10), L<T>::max(), 0.15)
      .inputs();
}

template <class T>
Inputs<T> gen_degrees(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-8), T(1e6), 0.35)
      .integers(-1e6, 1e6, 0, 0.1)
      .custom(0.15, [](std::mt19937_64& r) { return T(30) * T(static_cast<int64_t>(r() % 200001) - 100000); })
      .both_signs(L<T>::denorm_min(), T(0x1p-8), 0.1)
      .inputs();
}

template <class T>
Inputs<T> gen_sinh_cosh(size_t n, uint64_t seed) {
  const T overflow = inverse_at<T>(mpfr_acosh, false);
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-10), overflow * T(1.01), 0.4)
      .around({overflow, -overflow}, 16, 0.1)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.15)
      .uniform(T(-1), T(1), 0.1)
      .inputs();
}

template <class T>
Inputs<T> gen_tanh(size_t n, uint64_t seed) {
  const T sat = inverse_at<T>(mpfr_atanh, true);
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-10), sat * T(1.2), 0.45)
      .around({sat, -sat}, 16, 0.1)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.15)
      .inputs();
}

template <class T>
Inputs<T> gen_asin_acos(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .bits(T(-1), T(1), 0.45)
      .around({T(1), T(-1), T(0.5), T(-0.5)}, 64, 0.2)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.1)
      .both_signs(T(1), T(4), 0.03)
      .inputs();
}

template <class T>
Inputs<T> gen_atan(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-10), T(0x1p10), 0.35)
      .around({T(1), T(-1)}, 64, 0.1)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.1)
      .both_signs(T(0x1p10), L<T>::max(), 0.1)
      .inputs();
}

template <class T>
Inputs<T> gen_acosh(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .bits(T(1), L<T>::max(), 0.35)
      .bits(T(1), T(2), 0.2)
      .around({T(1)}, 256, 0.15)
      .bits(-L<T>::max(), T(1), 0.05)
      .inputs();
}

template <class T>
Inputs<T> gen_atanh(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .bits(T(-1), T(1), 0.4)
      .around({T(1), T(-1), T(0.5), T(-0.5)}, 64, 0.2)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.15)
      .both_signs(T(1), T(4), 0.03)
      .inputs();
}

template <class T>
Inputs<T> gen_inv(size_t n, uint64_t seed) {
  // 1/x is subnormal above 2^-min_exp and overflows below 2^-max_exp-1.
  const T sub = std::ldexp(T(1), -Format<T>::kMinExp), over = std::ldexp(T(1), -Format<T>::kMaxExp - 1);
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0.5), T(2), 0.15)
      .around({T(1), T(2), T(3), sub, over, T(0.75)}, 8, 0.1)
      .both_signs(sub / 2, L<T>::max(), 0.1)
      .both_signs(L<T>::denorm_min(), over * 2, 0.1)
      .integers(1, 1 << 20, 0, 0.05)
      .inputs();
}

template <class T>
Inputs<T> gen_sqrt(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .bits(L<T>::denorm_min(), L<T>::max(), 0.45)
      .bits(T(1), T(4), 0.15)
      .around({T(1), T(2), T(4), T(0.5)}, 32, 0.1)
      .bits(L<T>::denorm_min(), L<T>::min(), 0.1)
      .custom(0.07, [](std::mt19937_64& r) {  // exact squares
        const T k = T(r() % (uint64_t{1} << (Format<T>::kDigits / 2)));
        return k * k;
      })
      .bits(-L<T>::max(), T(0), 0.03)
      .inputs();
}

template <class T>
Inputs<T> gen_erf(size_t n, uint64_t seed) {
  const T sat = inverse_at<T>(ref_erfinv, true);
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-10), sat * T(1.1), 0.45)
      .around({sat, -sat, T(0.5), T(-0.5)}, 16, 0.1)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.15)
      .inputs();
}

template <class T>
Inputs<T> gen_erfc(size_t n, uint64_t seed) {
  // erfc underflows to zero near 27.2 (double) and 10.1 (float).
  const T under = sizeof(T) == 4 ? T(10.1) : T(27.3);
  return Sampler<T>(n, seed).specials()
      .bits(T(-6), under, 0.45)
      .bits(under * T(0.9), under * T(1.05), 0.15)
      .around({T(0), T(0.5), T(-0.5)}, 16, 0.05)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.1)
      .inputs();
}

template <class T>
Inputs<T> gen_erfinv(size_t n, uint64_t seed) {
  return Sampler<T>(n, seed).specials()
      .bits(T(-1), T(1), 0.4)
      .around({T(1), T(-1)}, 256, 0.15)
      .around({T(0.5), T(-0.5)}, 16, 0.05)
      .both_signs(L<T>::denorm_min(), T(0x1p-10), 0.15)
      .both_signs(T(1), T(2), 0.03)
      .inputs();
}

template <class T>
Inputs<T> gen_rounding(size_t n, uint64_t seed) {
  const T big = std::ldexp(T(1), Format<T>::kDigits - 1);
  return Sampler<T>(n, seed).specials()
      .both_signs(T(0x1p-4), big * 4, 0.35)
      .integers(-1000, 1000, 2, 0.15)
      .custom(0.15, [](std::mt19937_64& r) { return T(static_cast<int64_t>(r() % 2001) - 1000) + T(0.5); })
      .around({big, -big, big / 2, -big / 2, T(0.5), T(-0.5)}, 4, 0.1)
      .both_signs(L<T>::denorm_min(), T(0x1p-4), 0.05)
      .inputs();
}

// ---- Two-argument functions --------------------------------------------------

namespace {

// a and b from seeds seed and seed + 1: the specials, whole-range bit
// patterns and a both-signs band [lo, hi].
template <class T>
Inputs<T> paired(size_t n, uint64_t seed, double whole, T lo, T hi, double share) {
  auto one = [&](uint64_t s) { return Sampler<T>(n, s).specials().whole(whole).both_signs(lo, hi, share).take(); };
  return {one(seed), one(seed + 1), {}};
}

}  // namespace

template <class T>
Inputs<T> gen_atan2(size_t n, uint64_t seed) {
  Inputs<T> in = paired<T>(n, seed, 0.3, T(0x1p-10), T(0x1p10), 0.4);
  std::mt19937_64 r(seed + 2);
  for (size_t i = 0; i < n; i += 5) {  // near the diagonals and the axes
    switch (r() % 3) {
      case 0: in.a[i] = std::nextafter(in.b[i], in.b[i] * 2) * (r() & 1 ? 1 : -1); break;
      case 1: in.a[i] = (r() & 1) ? T(0) : -T(0); break;
      default: in.b[i] = (r() & 1) ? T(0) : -T(0); break;
    }
  }
  return in;
}

template <class T>
Inputs<T> gen_div(size_t n, uint64_t seed) {
  Inputs<T> in = paired<T>(n, seed, 0.5, T(0.5), T(2), 0.2);
  std::mt19937_64 r(seed + 2);
  std::uniform_int_distribution<int> e(-8, 8);
  for (size_t i = 0; i < n; i += 4) {  // quotients near the overflow and underflow limits
    if (!std::isfinite(in.b[i]) || in.b[i] == 0) continue;
    const int target = (r() & 1) ? Format<T>::kMaxExp + e(r) : Format<T>::kMinExp - Format<T>::kDigits + e(r);
    int eb;
    std::frexp(in.b[i], &eb);
    const int ea = target + eb;
    if (ea > Format<T>::kMaxExp || ea < Format<T>::kMinExp - Format<T>::kDigits + 1) continue;
    in.a[i] = std::ldexp(T(1) + T(r() % 1024) / 1024, ea) * (r() & 1 ? 1 : -1);
  }
  return in;
}

template <class T>
Inputs<T> gen_hypot(size_t n, uint64_t seed) {
  Inputs<T> in = paired<T>(n, seed, 0.4, T(0x1p-10), T(0x1p10), 0.3);
  std::mt19937_64 r(seed + 2);
  for (size_t i = 0; i < n; i += 4) {  // both huge, both tiny, comparable magnitudes
    const T m = (r() % 3 == 0) ? L<T>::max() / T(1 + r() % 3) : (r() & 1) ? L<T>::denorm_min() * T(1 + r() % 1000)
                                                                           : in.a[i];
    in.a[i] = m;
    in.b[i] = std::nextafter(m, T(0)) * (r() & 1 ? 1 : -1);
  }
  return in;
}

template <class T>
Inputs<T> gen_pow(size_t n, uint64_t seed) {
  Sampler<T> x(n, seed), y(n, seed + 1);
  x.specials().bits(L<T>::denorm_min(), L<T>::max(), 0.4).bits(T(0.5), T(2), 0.2).around({T(1)}, 64, 0.1);
  y.specials().uniform(T(-40), T(40), 0.4).both_signs(T(0x1p-10), T(0x1p10), 0.2).integers(-64, 64, 0, 0.2);
  Inputs<T> in{x.take(), y.take(), {}};
  std::mt19937_64 r(seed + 2);
  std::uniform_real_distribution<double> u(0.5, 2);
  for (size_t i = 0; i < n; i += 4) {
    switch (r() % 3) {
      case 0: {  // x^y near the overflow and underflow limits
        const T xi = T(u(r));
        const double lim = (r() & 1) ? Format<T>::kMaxExp + 1 : Format<T>::kMinExp - Format<T>::kDigits;
        in.a[i] = xi;
        in.b[i] = rounded<T>([&](mpfr_ptr q) {
          mpfr_set_ld(q, xi, MPFR_RNDN);
          mpfr_log2(q, q, MPFR_RNDN);
          mpfr_d_div(q, lim, q, MPFR_RNDN);
        });
        break;
      }
      case 1:  // negative base with an integer exponent
        in.a[i] = -std::fabs(in.a[i]);
        in.b[i] = std::floor(in.b[i]);
        break;
      default:  // exact cases: powers of two and squares
        in.a[i] = std::ldexp(T(1), static_cast<int>(r() % 64) - 32);
        in.b[i] = T(static_cast<int>(r() % 9) - 4) / 2;
        break;
    }
  }
  return in;
}

template <class T>
Inputs<T> gen_powx(size_t n, uint64_t seed) {
  Inputs<T> in = gen_pow<T>(n, seed);
  for (auto& x : in.a) x = std::fabs(x);
  in.a[0] = -T(2);  // negative base with a non-integer exponent: NaN
  in.b.clear();
  in.scalars = {T(0.5), T(-1.5), T(3), T(1) / T(3), T(-7.25), T(20)};
  return in;
}

// ---- Complex families ----------------------------------------------------------

namespace {

// Parts from seeds seed and seed + 1, each the specials then re(sampler) or
// im(sampler); then on every third element an axis, a signed zero, the unit
// circle or the cuts of the real axis.
template <class C, class T = typename PartOf<C>::type, class Re, class Im>
Inputs<C> complex_inputs(size_t n, uint64_t seed, Re re, Im im) {
  Sampler<T> sr(n, seed), si(n, seed + 1);
  const std::vector<T> x = re(sr.specials()).take(), y = im(si.specials()).take();
  std::vector<C> z(n);
  for (size_t i = 0; i < n; ++i) z[i] = C{x[i], y[i]};
  std::mt19937_64 r(seed + 2);
  for (size_t i = 0; i < n; i += 3) {
    switch (r() % 6) {
      case 0: z[i].im = (r() & 1) ? T(0) : -T(0); break;
      case 1: z[i].re = (r() & 1) ? T(0) : -T(0); break;
      case 2: {  // on the unit circle, from the rational parametrisation
        const T t = T(static_cast<int>(r() % 2001) - 1000) / 1000;
        z[i] = C{(1 - t * t) / (1 + t * t), 2 * t / (1 + t * t)};
        break;
      }
      case 3: z[i].im = std::nextafter(T(0), T(r() & 1 ? 1 : -1)) * T(1 + r() % 100); break;
      case 4: z[i].re = std::nextafter(z[i].im, T(0)) * (r() & 1 ? 1 : -1); break;
      default: z[i] = C{T((r() & 1) ? 1 : -1), std::ldexp(T(1), -static_cast<int>(r() % 40))}; break;
    }
  }
  return {z, {}, {}};
}

}  // namespace

template <class C>
Inputs<C> gen_complex_exp(size_t n, uint64_t seed) {
  using T = typename PartOf<C>::type;
  const T over = log_of_pow2<T>(Format<T>::kMaxExp + 1) * T(1.05);
  auto re = [&](Sampler<T>& s) -> auto& {
    return s.both_signs(T(0x1p-8), over, 0.6).both_signs(L<T>::denorm_min(), T(0x1p-8), 0.1).whole(0.1);
  };
  auto im = [](Sampler<T>& s) -> auto& {
    return s.both_signs(T(0x1p-8), T(0x1p8), 0.5).multiples(mpfr_const_pi, -1, 1 << 12, 2, 0.2).whole(0.1);
  };
  return complex_inputs<C>(n, seed, re, im);
}

template <class C>
Inputs<C> gen_complex_trig(size_t n, uint64_t seed) {
  Inputs<C> in = gen_complex_exp<C>(n, seed);
  for (auto& z : in.a) z = C{z.im, z.re};
  return in;
}

template <class C>
Inputs<C> gen_complex_log(size_t n, uint64_t seed) {
  using T = typename PartOf<C>::type;
  auto part = [](Sampler<T>& s) -> auto& {
    return s.whole(0.4).both_signs(T(0x1p-8), T(0x1p8), 0.4).around({T(1), T(-1)}, 16, 0.1);
  };
  return complex_inputs<C>(n, seed, part, part);
}

template <class C>
Inputs<C> gen_complex_pow(size_t n, uint64_t seed) {
  using T = typename PartOf<C>::type;
  auto moderate = [](Sampler<T>& s) -> auto& {
    return s.both_signs(T(0x1p-8), T(0x1p6), 0.7).both_signs(L<T>::denorm_min(), T(0x1p-8), 0.1);
  };
  Inputs<C> in = complex_inputs<C>(n, seed, moderate, moderate);
  Sampler<T> re(n, seed + 3), im(n, seed + 4);
  // Exponents keep the exact angle of every result below 2^10 radians, the
  // range where the power's accuracy is guaranteed: |Im y| <= 1 with
  // |ln|x|| <= 710, |Re y| <= 8 with |arg x| <= pi.  Special exponents are
  // zeros, NaN and small integers and halves (an infinite exponent gives a
  // zero or infinite result whose signs C99 leaves open).
  auto special = [](std::mt19937_64& g) {
    const T v[] = {T(0), -T(0), T(1), T(-1), T(0.5), T(-0.5), T(2), L<T>::quiet_NaN()};
    return v[g() % (sizeof v / sizeof v[0])];
  };
  re.custom(0.1, special).uniform(T(-8), T(8), 0.6).integers(-8, 8, 0, 0.3);
  im.custom(0.1, special).uniform(T(-1), T(1), 0.6).custom(0.3, [](std::mt19937_64&) { return T(0); });
  const std::vector<T> x = re.take(), y = im.take();
  for (size_t i = 0; i < n; ++i) in.b.push_back(C{x[i], y[i]});
  in.scalars = {C{T(0.5), T(0)}, C{T(2), T(0)}, C{T(-1.5), T(0.25)}, C{T(0), T(1)}, C{T(3), T(-2)}};
  return in;
}

// ---- The designs in the order of kelcat::Sample ------------------------------------

#define KELACC_ADDRESS(name, T) gen_##name<T>,
#define KELACC_INSTANTIATE(name, T) template Inputs<T> gen_##name<T>(size_t, uint64_t);

template <class T>
Generator<T> generator(kelcat::Sample s) {
  const auto i = static_cast<size_t>(s), first_complex = static_cast<size_t>(kelcat::Sample::complex_exp);
  if constexpr (std::is_same_v<T, Kel32fc> || std::is_same_v<T, Kel64fc>) {
    static const Generator<T> kComplex[] = {KELACC_COMPLEX_DESIGNS(KELACC_ADDRESS, T)};
    return i >= first_complex ? kComplex[i - first_complex] : nullptr;
  } else {
    static const Generator<T> kReal[] = {KELACC_REAL_DESIGNS(KELACC_ADDRESS, T)};
    static_assert(std::size(kReal) == static_cast<size_t>(kelcat::Sample::complex_exp));
    return i < first_complex ? kReal[i] : nullptr;
  }
}

template class Sampler<float>;
template class Sampler<double>;
template class Sampler<long double>;
KELACC_REAL_DESIGNS(KELACC_INSTANTIATE, float)
KELACC_REAL_DESIGNS(KELACC_INSTANTIATE, double)
KELACC_REAL_DESIGNS(KELACC_INSTANTIATE, long double)
KELACC_COMPLEX_DESIGNS(KELACC_INSTANTIATE, Kel32fc)
KELACC_COMPLEX_DESIGNS(KELACC_INSTANTIATE, Kel64fc)
template Generator<float> generator<float>(kelcat::Sample);
template Generator<double> generator<double>(kelcat::Sample);
template Generator<long double> generator<long double>(kelcat::Sample);
template Generator<Kel32fc> generator<Kel32fc>(kelcat::Sample);
template Generator<Kel64fc> generator<Kel64fc>(kelcat::Sample);

}  // namespace kelacc

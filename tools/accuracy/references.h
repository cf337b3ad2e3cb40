// The reference of each family of the catalogue, its generator and bound.
// References MPFR and MPC lack follow MPFR's calling convention and the C99
// Annex F and G special values.
#pragma once

#include <mpc.h>
#include <mpfr.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "accuracy.h"
#include "catalogue.h"
#include "generators.h"

namespace kelacc {

int ref_inv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);      // 1/x
int ref_invsqrt(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);  // 1/sqrt(x); -0 gives -Inf
int ref_invcbrt(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);  // x^(-1/3), odd
// Newton on erf (erfc above 1/2) at 64 bits beyond r, from the safe side.
int ref_erfinv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);
int ref_sind(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);  // sin and cos of x degrees
int ref_cosd(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);
int ref_atan2d(mpfr_ptr r, mpfr_srcptr y, mpfr_srcptr x, mpfr_rnd_t rnd);  // in degrees
// The rounding family: results are integers, the sign of a zero kept.
int ref_ceil(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);
int ref_floor(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);
int ref_trunc(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);
int ref_round(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);      // halves away from zero
int ref_nearbyint(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);  // halves to even (round-to-nearest mode)
int ref_modf_int(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);   // integral part, +-Inf for +-Inf
int ref_modf_frac(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd);  // fraction with the sign of x, +-0 for +-Inf
// Complex tangents in time independent of the argument (MPC's grow as e^|x|).
int ref_ctanh(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd);
int ref_cpow(mpc_ptr r, mpc_srcptr x, mpc_srcptr y, mpc_rnd_t rnd);  // exp(y log x), -0 side of the cut kept
int ref_ctan(mpc_ptr r, mpc_srcptr z, mpc_rnd_t rnd);

using Shape = kelcat::Shape;

// The catalogue's families with their references and generators.  A real
// family: kels<name>_32f_A11/A21/A24 and kels<name>_64f_A50/A53, or, for the
// rounding family, kels<name>_32f and kels<name>_64f (exact results).
struct RealFunction {
  const char* name;
  Shape shape;
  MpfrUnary ref;       // unary; first result of two
  MpfrUnary second;    // second result of two
  MpfrBinary ref2;     // binary, scalar
  Generator<float> gen32;
  Generator<double> gen64;
  bool rounding;
};

// A complex family: kels<name>_32fc_A11/A21/A24, kels<name>_64fc_A50/A53.
struct ComplexFunction {
  const char* name;
  Shape shape;  // unary, binary (Pow) or scalar (Powx)
  MpcUnary ref;
  MpcBinary ref2;
  Generator<Kel32fc> gen32;
  Generator<Kel64fc> gen64;
};

// A long-double kernel: orx<name>_scalar.
struct KernelFunction {
  const char* name;
  Shape shape;  // unary, binary or two
  MpfrUnary ref;
  MpfrUnary second;
  MpfrBinary ref2;
  Generator<long double> gen;
};

const std::vector<RealFunction>& real_functions();
const std::vector<ComplexFunction>& complex_functions();
const std::vector<KernelFunction>& kernel_functions();

const RealFunction* find_real(std::string_view family);
const ComplexFunction* find_complex(std::string_view family);
const KernelFunction* find_kernel(std::string_view name);

// Every exported member of the catalogue's families, family by family.
struct ExportedName {
  std::string name;
  std::string family, type, flavour;
  enum Kind { real, complex, kernel } kind;
};
std::vector<ExportedName> exported_names();

// Runs fn over generated inputs against a reference (TwoRefs for a function
// of two results), the measure chosen by the shape of fn; the scalar shape
// splits the inputs among in.scalars.
struct TwoRefs {
  MpfrUnary first, second;
};
template <class Fn, class Ref, class T>
Summary sample(Fn fn, Ref ref, const Inputs<T>& in) {
  constexpr bool binary = std::is_same_v<Fn, VectorBinary<T>> || std::is_same_v<Fn, KernelBinary>;
  constexpr bool two = std::is_same_v<Ref, TwoRefs>, complex = !std::is_floating_point_v<T>;
  if constexpr (std::is_same_v<Fn, VectorScalar<T>>) {
    Summary s;
    const size_t m = in.scalars.size(), n = in.a.size();
    for (size_t j = 0; j < m; ++j) {
      const std::vector<T> part(in.a.begin() + n * j / m, in.a.begin() + n * (j + 1) / m);
      if constexpr (complex) s.merge(measure_complex_scalar<T>(fn, ref, part, in.scalars[j]));
      else s.merge(measure_scalar<T>(fn, ref, part, in.scalars[j]));
    }
    return s;
  } else if constexpr (std::is_same_v<T, long double>) {
    if constexpr (binary) return measure_kernel(fn, ref, in.a, in.b);
    else if constexpr (two) return measure_kernel(fn, ref.first, ref.second, in.a);
    else return measure_kernel(fn, ref, in.a);
  } else if constexpr (complex) {
    if constexpr (binary) return measure_complex<T>(fn, ref, in.a, in.b);
    else return measure_complex<T>(fn, ref, in.a);
  } else if constexpr (binary) {
    return measure<T>(fn, ref, in.a, in.b);
  } else if constexpr (two) {
    return measure_two<T>(fn, ref.first, ref.second, in.a);
  } else {
    return measure<T>(fn, ref, in.a);
  }
}

// Samples the exported function `name` (fn is its address, from dlsym or a
// cast) with its family's reference and generator: n inputs from seed.
// Returns false with a message in *error for a name the catalogue lacks.
using AnyFunction = void (*)();
bool sample_registered(const std::string& name, AnyFunction fn, size_t n, uint64_t seed, Summary* out,
                       double* bound, std::string* error);

}  // namespace kelacc

// Benchmark inputs and calls, shared by the timing suite and the instruction
// counter: values drawn from one of the catalogue's ranges (tools/catalogue.h),
// the arrays each shape and element type reads, and a call of a member on them.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "catalogue.h"
#include "kelvm.h"

namespace kelbench {

inline std::vector<double> make_inputs(kelcat::Range r, size_t n, uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::vector<double> v(n);
  if (r.log_uniform) {
    std::uniform_real_distribution<double> e(std::log2(r.lo), std::log2(r.hi));
    for (auto& x : v) x = std::exp2(e(rng));
  } else {
    std::uniform_real_distribution<double> u(r.lo, r.hi);
    for (auto& x : v) x = u(rng);
  }
  return v;
}

// The arrays of one input set: the values as first operands, the same values
// reversed as second operands, complex numbers with both parts from the set
// times 1e-5 (the exponent of complex powers 0.5 + 0.25i), and destinations.
struct Buffers {
  std::vector<double> a, b, r1, r2;
  std::vector<float> af, bf, r1f, r2f;
  std::vector<Kel64fc> c, c2, rc;
  std::vector<Kel32fc> cf, cf2, rcf;
  explicit Buffers(const std::vector<double>& in)
      : a(in), b(in.rbegin(), in.rend()), r1(in.size()), r2(in.size()), af(in.begin(), in.end()),
        bf(b.begin(), b.end()), r1f(in.size()), r2f(in.size()), c(in.size()), c2(in.size()), rc(in.size()),
        cf(in.size()), cf2(in.size()), rcf(in.size()) {
    for (size_t i = 0; i < in.size(); ++i) {
      c[i] = {in[i] * 1e-5, b[i] * 1e-5};
      c2[i] = {0.5, 0.25};
      cf[i] = {static_cast<float>(c[i].re), static_cast<float>(c[i].im)};
      cf2[i] = {0.5f, 0.25f};
    }
  }
};

// A call of member f (its symbol sym) over the first n elements, returning its status.
template <class T>
std::function<int(int)> vector_call(const kelcat::Name& f, void* sym, T* a, T* b, T* r1, T* r2) {
  using kelcat::Shape;
  switch (f.family->shape) {
    case Shape::unary:
      return [=](int n) { return reinterpret_cast<int (*)(const T*, T*, int)>(sym)(a, r1, n); };
    case Shape::binary:
      return [=](int n) { return reinterpret_cast<int (*)(const T*, const T*, T*, int)>(sym)(a, b, r1, n); };
    case Shape::scalar: {
      const T v = *b;
      return [=](int n) { return reinterpret_cast<int (*)(const T*, T, T*, int)>(sym)(a, v, r1, n); };
    }
    case Shape::two:
      return [=](int n) { return reinterpret_cast<int (*)(const T*, T*, T*, int)>(sym)(a, r1, r2, n); };
  }
  return {};
}

inline std::function<int(int)> member_call(const kelcat::Name& f, void* sym, Buffers* buf) {
  switch (f.elem) {
    case kelcat::Elem::f64: return vector_call<double>(f, sym, buf->a.data(), buf->b.data(), buf->r1.data(), buf->r2.data());
    case kelcat::Elem::f32: return vector_call<float>(f, sym, buf->af.data(), buf->bf.data(), buf->r1f.data(), buf->r2f.data());
    case kelcat::Elem::c64: return vector_call<Kel64fc>(f, sym, buf->c.data(), buf->c2.data(), buf->rc.data(), buf->rc.data());
    case kelcat::Elem::c32: return vector_call<Kel32fc>(f, sym, buf->cf.data(), buf->cf2.data(), buf->rcf.data(), buf->rcf.data());
    case kelcat::Elem::f80: break;
  }
  return {};
}

}  // namespace kelbench

// The exported vector functions by name and argument shape, from the naming
// rules of the library: kels<Function>_<type>[_<accuracy>].  Shared by the
// kelvm tool and the benchmarks, which look each name up at run time and use
// the ones present in the library.
#pragma once

#include <string>
#include <vector>

namespace kelfn {

enum class Kind { real32, real64, cplx32, cplx64 };
enum class Shape { unary, binary, scalar, two_results, count };

struct Function {
  std::string name;    // kelsExp_64f_A53
  std::string family;  // Exp
  Kind kind;
  Shape shape;
};

inline std::vector<Function> all_functions() {
  static const char* const real_unary[] = {"Exp",  "Ln",   "Log10", "Sin",   "Cos",     "Tan",     "Inv",   "Sqrt",
                                           "Sinh", "Cosh", "Tanh",  "Asin",  "Acos",    "Atan",    "Asinh", "Acosh",
                                           "Atanh", "InvSqrt", "Cbrt", "InvCbrt", "Erf", "Erfc", "ErfInv"};
  static const char* const real_binary[] = {"Atan2", "Div", "Hypot", "Pow"};
  static const char* const rounding[] = {"Ceil", "Floor", "Trunc", "Round"};
  static const char* const complex_unary[] = {"Acos", "Acosh", "Asin", "Asinh", "Atan", "Atanh", "Cos",  "Cosh",
                                              "Exp",  "Ln",    "Log10", "Sin", "Sinh",  "Sqrt",  "Tan", "Tanh"};
  struct Type {
    const char* suffix;
    Kind kind;
    std::vector<const char*> accuracies;
  };
  static const Type types[] = {{"32f", Kind::real32, {"A11", "A21", "A24"}},
                               {"64f", Kind::real64, {"A50", "A53"}},
                               {"32fc", Kind::cplx32, {"A11", "A21", "A24"}},
                               {"64fc", Kind::cplx64, {"A50", "A53"}}};
  std::vector<Function> out;
  for (const Type& t : types) {
    const bool cplx = t.kind == Kind::cplx32 || t.kind == Kind::cplx64;
    for (const char* acc : t.accuracies) {
      auto add = [&](const char* f, Shape s) {
        out.push_back({std::string("kels") + f + "_" + t.suffix + "_" + acc, f, t.kind, s});
      };
      if (cplx) {
        for (const char* f : complex_unary) add(f, Shape::unary);
        add("Pow", Shape::binary);
        add("Powx", Shape::scalar);
      } else {
        for (const char* f : real_unary) add(f, Shape::unary);
        for (const char* f : real_binary) add(f, Shape::binary);
        add("Powx", Shape::scalar);
        add("SinCos", Shape::two_results);
      }
    }
    if (!cplx) {
      auto add = [&](const char* f, Shape s) { out.push_back({std::string("kels") + f + "_" + t.suffix, f, t.kind, s}); };
      for (const char* f : rounding) add(f, Shape::unary);
      add("Rint", Shape::count);
      add("NearbyInt", Shape::count);
      add("Modf", Shape::two_results);
    }
  }
  return out;
}

}  // namespace kelfn

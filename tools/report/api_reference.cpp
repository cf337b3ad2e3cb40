// kelvm_api_reference: writes the API reference (Markdown) of every function
// the library exports, from the catalogue of functions, the public header and the
// library itself:
//
//   kelvm_api_reference [--header include/kelvm.h] [--accuracy docs/accuracy.md] [--out docs/api.md]
//
// For each family: the declarations of its members as the header gives them,
// the argument shape, the statuses and x87 flags that its members return and
// raise (observed on special inputs and on the tests' input sample), a
// table of special values computed by calling the double member, and the
// measured accuracy of each member as the accuracy report last found it.
// Nothing here is written by hand per function, so the reference cannot drift
// from the code.
#include <dlfcn.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kelvm.h"
#include "references.h"

using namespace kelacc;

namespace {

struct Options {
  std::string header = "include/kelvm.h";
  std::string accuracy = "docs/accuracy.md";
  std::string out = "docs/api.md";
};

// ---- What the library does at a call ----------------------------------------

uint16_t flags_now() {
  uint16_t sw;
  asm volatile("fnstsw %0" : "=m"(sw));
  return sw & 0x3D;  // invalid, divide-by-zero, overflow, underflow, inexact (denormal left out)
}
void clear_flags() { asm volatile("fnclex"); }

std::string flag_names(uint16_t f) {
  static const std::pair<uint16_t, const char*> names[] = {
      {0x01, "invalid"}, {0x04, "divide-by-zero"}, {0x08, "overflow"}, {0x10, "underflow"}, {0x20, "inexact"}};
  std::string s;
  for (auto [bit, name] : names)
    if (f & bit) s += (s.empty() ? "" : ", ") + std::string(name);
  return s.empty() ? "none" : s;
}

std::string status_name(int s) {
  switch (s) {
    case kelStatusNoError: return "0 (no error)";
    case kelStatusSizeError: return "-6 (size error)";
    case kelStatusNullPointer: return "-8 (null pointer)";
    case kelStatusOverflow: return "12 (overflow)";
    case kelStatusUnderflow: return "17 (underflow)";
    case kelStatusSingularity: return "18 (singularity)";
    case kelStatusDomain: return "19 (domain)";
  }
  return std::to_string(s);
}

template <class T>
std::string show(T v) {
  char buf[64];
  if (std::isnan(v)) return std::signbit(v) ? "-NaN" : "NaN";
  if (std::isinf(v)) return std::signbit(v) ? "-Inf" : "+Inf";
  if constexpr (std::is_same_v<T, long double>)
    std::snprintf(buf, sizeof buf, "%La", v);
  else
    std::snprintf(buf, sizeof buf, "%a", static_cast<double>(v));
  return buf;
}
// Arguments in decimal (shortest form that reads back), results in hex float.
template <class T>
std::string show_arg(T v) {
  char buf[64];
  if (std::isnan(v) || std::isinf(v)) return show(v);
  std::snprintf(buf, sizeof buf, "%.17Lg", static_cast<long double>(v));
  for (int digits = 1; digits < 17; ++digits) {
    char shorter[64];
    std::snprintf(shorter, sizeof shorter, "%.*Lg", digits, static_cast<long double>(v));
    if (static_cast<T>(std::strtold(shorter, nullptr)) == v) return shorter;
  }
  return buf;
}

std::string show(Kel64fc z) { return "(" + show(z.re) + ", " + show(z.im) + ")"; }
std::string show_arg(Kel64fc z) { return "(" + show_arg(z.re) + ", " + show_arg(z.im) + ")"; }

// The special inputs every family is shown on.
const double kInf = std::numeric_limits<double>::infinity();
const double kNan = std::numeric_limits<double>::quiet_NaN();
const std::vector<double> kSpecialReals = {0.0,    -0.0,    1.0,     -1.0,         0.5,     2.0,     0x1p-1074,
                                           -0x1p-1074, 1e300, -1e300, 1000.0, -1000.0, kInf, -kInf, kNan};
const std::vector<std::pair<double, double>> kSpecialPairs = {
    {0.0, 0.0}, {-0.0, 0.0}, {0.0, -1.0}, {1.0, 0.0},   {-1.0, 0.5}, {2.0, 0.5},  {-2.0, 3.0},  {0.5, -1075.0},
    {2.0, 1025.0}, {kInf, 1.0}, {-kInf, -1.0}, {1.0, kInf}, {-1.0, kInf}, {kNan, 0.0}, {1.0, kNan}, {kNan, kNan}};
const std::vector<Kel64fc> kSpecialComplex = {
    {0.0, 0.0},   {-0.0, 0.0},  {0.0, -0.0}, {1.0, 0.0},   {-1.0, 0.0},  {-1.0, -0.0}, {0.0, 1.0},  {0.0, -1.0},
    {1e300, 1e300}, {kInf, 0.0}, {-kInf, 0.0}, {0.0, kInf}, {kInf, kInf}, {-kInf, kInf}, {kInf, kNan}, {kNan, 0.0},
    {kNan, kInf}, {1.0, kNan}, {kNan, kNan}};

struct Observed {
  std::set<int> statuses;
  uint16_t flags = 0;
};

struct SpecialRow {
  std::string input, result, status, flags;
};

void* symbol(const std::string& name) { return dlsym(RTLD_DEFAULT, name.c_str()); }

// Calls one exported vector or kernel function on one element (real or complex)
// and records the outcome.
struct Caller {
  Shape shape;
  void* fn;

  template <class T>
  SpecialRow real(double x, double y, Observed* seen) const {
    T a[1] = {static_cast<T>(x)}, b[1] = {static_cast<T>(y)}, r1[1] = {}, r2[1] = {};
    clear_flags();
    int s = 0;
    switch (shape) {
      case Shape::unary: s = reinterpret_cast<VectorUnary<T>>(fn)(a, r1, 1); break;
      case Shape::binary: s = reinterpret_cast<VectorBinary<T>>(fn)(a, b, r1, 1); break;
      case Shape::scalar: s = reinterpret_cast<VectorScalar<T>>(fn)(a, b[0], r1, 1); break;
      case Shape::two: s = reinterpret_cast<VectorTwo<T>>(fn)(a, r1, r2, 1); break;
    }
    const uint16_t f = flags_now();
    seen->statuses.insert(s);
    seen->flags |= f;
    std::string in = show_arg(a[0]), out = show(r1[0]);
    if (shape == Shape::binary || shape == Shape::scalar) in += ", " + show_arg(b[0]);
    if (shape == Shape::two) out += "; " + show(r2[0]);
    return {in, out, status_name(s), flag_names(f)};
  }

  SpecialRow complex(Kel64fc x, Kel64fc y, Observed* seen) const {
    Kel64fc a[1] = {x}, b[1] = {y}, r[1] = {};
    clear_flags();
    int s = 0;
    if (shape == Shape::unary) s = reinterpret_cast<VectorUnary<Kel64fc>>(fn)(a, r, 1);
    if (shape == Shape::binary) s = reinterpret_cast<VectorBinary<Kel64fc>>(fn)(a, b, r, 1);
    if (shape == Shape::scalar) s = reinterpret_cast<VectorScalar<Kel64fc>>(fn)(a, b[0], r, 1);
    const uint16_t f = flags_now();
    seen->statuses.insert(s);
    seen->flags |= f;
    std::string in = show_arg(x);
    if (shape != Shape::unary) in += ", " + show_arg(y);
    return {in, show(r[0]), status_name(s), flag_names(f)};
  }

  SpecialRow kernel(long double x, long double y, Observed* seen) const {
    long double r1 = 0, r2 = 0;
    clear_flags();
    if (shape == Shape::unary) r1 = reinterpret_cast<KernelUnary>(fn)(x);
    if (shape == Shape::binary) r1 = reinterpret_cast<KernelBinary>(fn)(x, y);
    if (shape == Shape::two) reinterpret_cast<KernelTwo>(fn)(x, &r1, &r2);
    const uint16_t f = flags_now();
    seen->flags |= f;
    std::string in = show_arg(x), out = show(r1);
    if (shape == Shape::binary) in += ", " + show_arg(y);
    if (shape == Shape::two) out += "; " + show(r2);
    return {in, out, "", flag_names(f)};
  }
};

// Statuses and flags of a member over the tests' input sample: a call
// over the whole sample, so every element's report counts.
template <class T>
void observe_sample(const Generator<T>& gen, Shape shape, void* fn, Observed* seen) {
  const Inputs<T> in = gen(2000, 1);
  std::vector<T> r1(in.a.size()), r2(in.a.size());
  const int n = static_cast<int>(in.a.size());
  clear_flags();
  int s = 0;
  switch (shape) {
    case Shape::unary: s = reinterpret_cast<VectorUnary<T>>(fn)(in.a.data(), r1.data(), n); break;
    case Shape::binary: s = reinterpret_cast<VectorBinary<T>>(fn)(in.a.data(), in.b.data(), r1.data(), n); break;
    case Shape::scalar:
      for (const T& v : in.scalars) {
        seen->statuses.insert(reinterpret_cast<VectorScalar<T>>(fn)(in.a.data(), v, r1.data(), n));
      }
      break;
    case Shape::two: s = reinterpret_cast<VectorTwo<T>>(fn)(in.a.data(), r1.data(), r2.data(), n); break;
  }
  if (shape != Shape::scalar) seen->statuses.insert(s);
  seen->flags |= flags_now();
}

// ---- Inputs from the header and the accuracy report ---------------------------

// Declarations by exported name, as the header writes them.
std::map<std::string, std::string> read_declarations(const std::string& path) {
  std::map<std::string, std::string> decls;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    const size_t paren = line.find('(');
    if (paren == std::string::npos || line.find(");") == std::string::npos || line.rfind("typedef", 0) == 0) continue;
    size_t start = line.find_last_of(" *", paren - 1);
    start = start == std::string::npos ? 0 : start + 1;
    const std::string name = line.substr(start, paren - start);
    if (!name.empty() && (std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_')) decls[name] = line;
  }
  return decls;
}

// Max ulp and bound of each function from the accuracy report's tables.
std::map<std::string, std::string> read_accuracy(const std::string& path) {
  std::map<std::string, std::string> acc;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("| `", 0) != 0) continue;
    std::vector<std::string> cells;
    std::stringstream ss(line.substr(1));
    std::string c;
    while (std::getline(ss, c, '|')) cells.push_back(c);
    if (cells.size() < 6) continue;
    auto trim = [](std::string s) {
      while (!s.empty() && (s.front() == ' ' || s.front() == '`')) s.erase(s.begin());
      while (!s.empty() && (s.back() == ' ' || s.back() == '`')) s.pop_back();
      return s;
    };
    acc[trim(cells[0])] = trim(cells[2]) + " ulp (bound " + trim(cells[4]) + ", " + trim(cells[1]) + " inputs)";
  }
  return acc;
}

const char* shape_text(Shape s, bool kernel) {
  if (kernel) {
    switch (s) {
      case Shape::unary: return "scalar kernel: one long double in, one out";
      case Shape::binary: return "scalar kernel: two long doubles in, one out";
      case Shape::two: return "scalar kernel: one long double in, two results through pointers";
      default: return "";
    }
  }
  switch (s) {
    case Shape::unary: return "unary: `dst[i] = f(src[i])`";
    case Shape::binary: return "two sources: `dst[i] = f(src1[i], src2[i])`";
    case Shape::scalar: return "source and a scalar passed by value: `dst[i] = f(src[i], val)`";
    case Shape::two: return "two destinations: `(dst1[i], dst2[i]) = f(src[i])`";
  }
  return "";
}

std::string status_list(const std::set<int>& s) {
  std::string out;
  for (int v : s) out += (out.empty() ? "" : ", ") + status_name(v);
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string a = argv[i];
    if (a == "--header") o.header = argv[i + 1];
    else if (a == "--accuracy") o.accuracy = argv[i + 1];
    else if (a == "--out") o.out = argv[i + 1];
    else {
      std::fprintf(stderr, "usage: %s [--header FILE] [--accuracy FILE] [--out FILE]\n", argv[0]);
      return 2;
    }
  }
  const auto decls = read_declarations(o.header);
  const auto accuracy = read_accuracy(o.accuracy);
  FILE* f = std::fopen(o.out.c_str(), "w");
  if (!f) {
    std::fprintf(stderr, "cannot write %s\n", o.out.c_str());
    return 1;
  }


  const KelLibraryVersion* v = kelvmGetLibVersion();
  std::fprintf(f, "# API reference of %s %s\n\n", v->name, v->version);
  std::fprintf(f,
               "Generated by `scripts/api_reference.sh` (`kelvm_api_reference`, native build) from the function "
               "registry, `include/kelvm.h` and the library itself. Every vector function checks `len` first "
               "(-6 when not positive), then its array pointers (-8 when one is null), holds the x87 precision "
               "control for the call (53-bit for real functions, 64-bit for complex ones, round to nearest) and "
               "restores the caller's control word. Real functions return the code of the last element that "
               "overflowed, underflowed, hit a pole or left the domain, after storing its result and calling the "
               "error entry; complex functions always return 0 after the argument checks and leave only the x87 "
               "flags. The statuses and flags below are those observed on the special inputs of the table and on "
               "2000 inputs of the accuracy sample; the special values are computed by the double member (the "
               "float members agree after rounding). Accuracy: the maximum error measured by `docs/accuracy.md`.\n\n");

  std::set<std::string> covered;
  for (const kelcat::Family& family : kelcat::kFamilies) {
    const std::vector<kelcat::Name> members = kelcat::members(family);
    const bool kernel = family.domain == kelcat::Domain::kernel;
    const Shape shape = family.shape;
    std::fprintf(f, "## %s%s\n\n", family.domain == kelcat::Domain::complex ? "complex " : "",
                 kernel ? members[0].name.c_str() : family.name);
    std::fprintf(f, "Shape: %s.\n\n```c\n", shape_text(shape, kernel));
    Observed seen;
    std::vector<std::string> missing;
    for (const auto& m : members) {
      covered.insert(m.name);
      auto d = decls.find(m.name);
      std::fprintf(f, "%s\n", d != decls.end() ? d->second.c_str() : m.name.c_str());
      void* fn = symbol(m.name);
      if (!fn) {
        missing.push_back(m.name);
        continue;
      }
      if (m.elem == kelcat::Elem::f32) observe_sample(generator<float>(family.sample), shape, fn, &seen);
      if (m.elem == kelcat::Elem::f64) observe_sample(generator<double>(family.sample), shape, fn, &seen);
      if (m.elem == kelcat::Elem::c64) observe_sample(generator<Kel64fc>(family.sample), shape, fn, &seen);
    }
    if (family.kernel) {
      covered.insert(family.kernel);
      auto d = decls.find(family.kernel);
      if (d != decls.end()) std::fprintf(f, "%s  /* the kernel of every member */\n", d->second.c_str());
    }
    std::fprintf(f, "```\n\n");
    if (!missing.empty()) {
      std::fprintf(f, "Not exported by this build: %zu of %zu members.\n\n", missing.size(), members.size());
    }

    // Special values from the double (or only) member.
    const kelcat::Name* probe = nullptr;
    for (const auto& m : members)
      if (symbol(m.name) && (kernel || m.elem == kelcat::Elem::f64 || m.elem == kelcat::Elem::c64)) probe = &m;
    std::vector<SpecialRow> rows;
    if (probe) {
      const Caller call{shape, symbol(probe->name)};
      if (probe->elem == kelcat::Elem::c64) {
        if (shape == Shape::unary)
          for (const auto& z : kSpecialComplex) rows.push_back(call.complex(z, {}, &seen));
        else
          for (const auto& [x, y] : kSpecialPairs) rows.push_back(call.complex({x, 0.0}, {y, 0.0}, &seen));
      } else if (shape == Shape::binary || shape == Shape::scalar) {
        for (const auto& [x, y] : kSpecialPairs)
          rows.push_back(kernel ? call.kernel(x, y, &seen) : call.real<double>(x, y, &seen));
      } else {
        for (double x : kSpecialReals) rows.push_back(kernel ? call.kernel(x, 0, &seen) : call.real<double>(x, 0, &seen));
      }
    }
    if (!kernel && !seen.statuses.empty())
      std::fprintf(f, "Statuses returned: %s (besides -6 and -8). ", status_list(seen.statuses).c_str());
    if (probe) std::fprintf(f, "Flags raised: %s.\n\n", flag_names(seen.flags).c_str());
    if (!rows.empty()) {
      std::fprintf(f, "Special values (`%s`):\n\n", probe->name.c_str());
      std::fprintf(f, kernel ? "| argument | result | flags |\n|---|---|---|\n"
                             : "| argument | result | status | flags |\n|---|---|---|---|\n");
      for (const auto& r : rows) {
        if (kernel)
          std::fprintf(f, "| %s | %s | %s |\n", r.input.c_str(), r.result.c_str(), r.flags.c_str());
        else
          std::fprintf(f, "| %s | %s | %s | %s |\n", r.input.c_str(), r.result.c_str(), r.status.c_str(),
                       r.flags.c_str());
      }
      std::fprintf(f, "\n");
    }
    std::fprintf(f, "Measured accuracy:\n\n");
    for (const auto& m : members) {
      auto a = accuracy.find(m.name);
      std::fprintf(f, "- `%s`: %s\n", m.name.c_str(), a != accuracy.end() ? a->second.c_str() : "not measured");
    }
    std::fprintf(f, "\n");
  }

  // Everything else the header declares: error entries, version, reductions,
  // single-element entries, classification tests, absolute values, tables.
  std::fprintf(f, "## Other exported functions\n\n```c\n");
  for (const auto& [name, line] : decls)
    if (!covered.count(name)) std::fprintf(f, "%s%s\n", line.c_str(), symbol(name) ? "" : "  /* not exported */");
  std::fprintf(f, "```\n");
  std::fclose(f);
  std::fprintf(stderr, "wrote %s (%zu families)\n", o.out.c_str(), std::size(kelcat::kFamilies));
  return 0;
}

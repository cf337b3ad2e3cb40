// kelvm: calls any exported vector function of libkelvmpx on values given on
// the command line and prints each result in decimal and hex, the returned
// status, the x87 exception flags raised and the control word around the call.
//
//   kelvm [--type 32f|64f|32fc|64fc] [--acc A11|A21|A24|A50|A53] [--cw HEX] [--val V]
//         FUNCTION VALUE...
//   kelvm --list        names of the exported vector functions present
//   kelvm --digest      one hash per present function over a fixed input set
//
// FUNCTION is an exported name (kelsInv_64f_A53) or a family (Inv), completed
// by --type (default 64f) and --acc (default A53 for double, A24 for float;
// the rounding family has none).  A VALUE is a decimal or C99 hex float, inf,
// nan, or @HEX for a raw bit pattern; two-source functions take A:B and
// complex values RE,IM.
#include <dlfcn.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "function_list.h"
#include "kelvm.h"

namespace {

using kelfn::all_functions;
using kelfn::Function;
using kelfn::Kind;
using kelfn::Shape;

void* lookup(const std::string& name) { return dlsym(RTLD_DEFAULT, name.c_str()); }

// ---- x87 control and status words ----

uint16_t control_word() {
  uint16_t cw;
  asm volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
void set_control_word(uint16_t cw) { asm volatile("fldcw %0" : : "m"(cw)); }
uint16_t status_word() {
  uint16_t sw;
  asm volatile("fnstsw %0" : "=m"(sw));
  return sw;
}
void clear_flags() { asm volatile("fnclex"); }

std::string flag_names(uint16_t sw) {
  static const char* const names[] = {"invalid", "denormal", "divide-by-zero", "overflow", "underflow", "inexact"};
  std::string out;
  for (int b = 0; b < 6; ++b)
    if (sw & (1u << b)) out += std::string(out.empty() ? "" : " ") + names[b];
  return out.empty() ? "none" : out;
}

const char* status_name(int s) {
  switch (s) {
    case kelStatusNoError: return "kelStatusNoError";
    case kelStatusSizeError: return "kelStatusSizeError";
    case kelStatusNullPointer: return "kelStatusNullPointer";
    case kelStatusOverflow: return "kelStatusOverflow";
    case kelStatusUnderflow: return "kelStatusUnderflow";
    case kelStatusSingularity: return "kelStatusSingularity";
    case kelStatusDomain: return "kelStatusDomain";
    default: return "(element count)";
  }
}

// ---- values ----

double parse_double(const char* s) {
  if (s[0] == '@') {
    const uint64_t b = std::strtoull(s + 1, nullptr, 16);
    double x;
    std::memcpy(&x, &b, 8);
    return x;
  }
  return std::strtod(s, nullptr);
}
float parse_float(const char* s) {
  if (s[0] == '@') {
    const uint32_t b = static_cast<uint32_t>(std::strtoul(s + 1, nullptr, 16));
    float x;
    std::memcpy(&x, &b, 4);
    return x;
  }
  return std::strtof(s, nullptr);
}

std::string show(double x) {
  uint64_t b;
  std::memcpy(&b, &x, 8);
  char buf[96];
  std::snprintf(buf, sizeof buf, "%-24.17g %-24a 0x%016" PRIx64, x, x, b);
  return buf;
}
std::string show(float x) {
  uint32_t b;
  std::memcpy(&b, &x, 4);
  char buf[96];
  std::snprintf(buf, sizeof buf, "%-16.9g %-16a 0x%08" PRIx32, static_cast<double>(x), static_cast<double>(x), b);
  return buf;
}

// Splits "a:b" (two sources) or "re,im" (complex) at the separator.
std::pair<std::string, std::string> split(const std::string& s, char sep) {
  const size_t at = s.find(sep);
  if (at == std::string::npos) return {s, "0"};
  return {s.substr(0, at), s.substr(at + 1)};
}

// ---- calling ----

// Buffers wide enough for any element type, as doubles.
struct Arrays {
  std::vector<double> a, b, r1, r2;  // real parts or real values
  std::vector<double> ai, bi, r1i;   // imaginary parts
};

template <class T>
int call_real(const Function& f, void* sym, const std::vector<T>& a, const std::vector<T>& b, T val, std::vector<T>& r1,
              std::vector<T>& r2) {
  const int n = static_cast<int>(a.size());
  switch (f.shape) {
    case Shape::unary: return reinterpret_cast<int (*)(const T*, T*, int)>(sym)(a.data(), r1.data(), n);
    case Shape::count: return reinterpret_cast<int (*)(const T*, T*, int)>(sym)(a.data(), r1.data(), n);
    case Shape::binary:
      return reinterpret_cast<int (*)(const T*, const T*, T*, int)>(sym)(a.data(), b.data(), r1.data(), n);
    case Shape::scalar: return reinterpret_cast<int (*)(const T*, T, T*, int)>(sym)(a.data(), val, r1.data(), n);
    case Shape::two_results:
      return reinterpret_cast<int (*)(const T*, T*, T*, int)>(sym)(a.data(), r1.data(), r2.data(), n);
  }
  return 0;
}

template <class C>
int call_complex(const Function& f, void* sym, const std::vector<C>& a, const std::vector<C>& b, C val,
                 std::vector<C>& r) {
  const int n = static_cast<int>(a.size());
  switch (f.shape) {
    case Shape::binary:
      return reinterpret_cast<int (*)(const C*, const C*, C*, int)>(sym)(a.data(), b.data(), r.data(), n);
    case Shape::scalar: return reinterpret_cast<int (*)(const C*, C, C*, int)>(sym)(a.data(), val, r.data(), n);
    default: return reinterpret_cast<int (*)(const C*, C*, int)>(sym)(a.data(), r.data(), n);
  }
}

template <class T>
T parse(const char* s) {
  if constexpr (sizeof(T) == 4) return parse_float(s);
  else return parse_double(s);
}

template <class T>
int run_real(const Function& f, void* sym, const std::vector<std::string>& args, const char* val_text) {
  std::vector<T> a, b;
  for (const auto& s : args) {
    const auto [x, y] = split(s, ':');
    a.push_back(parse<T>(x.c_str()));
    b.push_back(parse<T>(y.c_str()));
  }
  const T val = parse<T>(val_text);
  std::vector<T> r1(a.size(), T(0)), r2(a.size(), T(0));
  clear_flags();
  const int status = call_real<T>(f, sym, a, b, val, r1, r2);
  const uint16_t sw = status_word();
  for (size_t i = 0; i < a.size(); ++i) {
    std::printf("[%zu] x  = %s\n", i, show(a[i]).c_str());
    if (f.shape == Shape::binary) std::printf("    x2 = %s\n", show(b[i]).c_str());
    if (f.shape == Shape::scalar) std::printf("    val= %s\n", show(val).c_str());
    std::printf("    y  = %s\n", show(r1[i]).c_str());
    if (f.shape == Shape::two_results) std::printf("    y2 = %s\n", show(r2[i]).c_str());
  }
  std::printf("status: %d %s\nflags raised: %s\n", status, status_name(status), flag_names(sw).c_str());
  return 0;
}

template <class C, class T>
int run_complex(const Function& f, void* sym, const std::vector<std::string>& args, const char* val_text) {
  std::vector<C> a, b;
  for (const auto& s : args) {
    const auto [x, y] = split(s, ':');
    const auto [xr, xi] = split(x, ',');
    const auto [yr, yi] = split(y, ',');
    a.push_back({parse<T>(xr.c_str()), parse<T>(xi.c_str())});
    b.push_back({parse<T>(yr.c_str()), parse<T>(yi.c_str())});
  }
  const auto [vr, vi] = split(val_text, ',');
  const C val = {parse<T>(vr.c_str()), parse<T>(vi.c_str())};
  std::vector<C> r(a.size(), C{0, 0});
  clear_flags();
  const int status = call_complex<C>(f, sym, a, b, val, r);
  const uint16_t sw = status_word();
  for (size_t i = 0; i < a.size(); ++i) {
    std::printf("[%zu] x  = %s\n       + i %s\n", i, show(a[i].re).c_str(), show(a[i].im).c_str());
    if (f.shape == Shape::binary) std::printf("    x2 = %s\n       + i %s\n", show(b[i].re).c_str(), show(b[i].im).c_str());
    std::printf("    y  = %s\n       + i %s\n", show(r[i].re).c_str(), show(r[i].im).c_str());
  }
  std::printf("status: %d %s\nflags raised: %s\n", status, status_name(status), flag_names(sw).c_str());
  return 0;
}

// ---- digest: one FNV-1a hash per function over fixed inputs ----

struct Hash {
  uint64_t h = 0xcbf29ce484222325ull;
  void add(const void* p, size_t n) {
    for (size_t i = 0; i < n; ++i) h = (h ^ static_cast<const unsigned char*>(p)[i]) * 0x100000001b3ull;
  }
};

// Deterministic inputs: special values, then values from an integer LCG over
// the whole bit range and over [-16, 16], [-1000, 1000] and [0, 2].
std::vector<double> digest_inputs() {
  std::vector<double> v = {0.0, -0.0, 1.0, -1.0, 0.5, 2.0, 3.0, 1e-310, -1e-310, 4.9e-324, 1e300, -1e300,
                           709.7, -745.0, 88.7, -104.0, 1e6, 1e22, 1.0e300 * 1e10, -1.0e300 * 1e10};
  v.push_back(__builtin_nan(""));
  uint64_t s = 0x9E3779B97F4A7C15ull;
  auto next = [&] { return s = s * 6364136223846793005ull + 1442695040888963407ull; };
  while (v.size() < 4096) {
    const uint64_t r = next();
    double x;
    switch (v.size() % 4) {
      case 0: std::memcpy(&x, &r, 8); break;
      case 1: x = static_cast<double>(static_cast<int64_t>(r >> 11) - (int64_t(1) << 52)) * 0x1p-48; break;
      case 2: x = static_cast<double>(static_cast<int64_t>(r >> 11) - (int64_t(1) << 52)) * 0x1p-42 * 1000 / 1024; break;
      default: x = static_cast<double>(r >> 11) * 0x1p-52; break;
    }
    v.push_back(x);
  }
  return v;
}

int digest() {
  const std::vector<double> d = digest_inputs();
  std::vector<float> f(d.begin(), d.end());
  std::vector<double> d2(d.rbegin(), d.rend());
  std::vector<float> f2(d2.begin(), d2.end());
  std::vector<Kel64fc> c(d.size() / 2), c2(d.size() / 2);
  std::vector<Kel32fc> cf(d.size() / 2), cf2(d.size() / 2);
  for (size_t i = 0; i < c.size(); ++i) {
    c[i] = {d[2 * i], d[2 * i + 1]};
    c2[i] = {d2[2 * i], d2[2 * i + 1]};
    cf[i] = {f[2 * i], f[2 * i + 1]};
    cf2[i] = {f2[2 * i], f2[2 * i + 1]};
  }
  for (const Function& fn : all_functions()) {
    void* sym = lookup(fn.name);
    if (!sym) continue;
    Hash h;
    int status = 0;
    uint16_t flags = 0;
    clear_flags();
    switch (fn.kind) {
      case Kind::real64: {
        std::vector<double> r1(d.size()), r2(d.size());
        status = call_real<double>(fn, sym, d, d2, 0.75, r1, r2);
        h.add(r1.data(), r1.size() * 8);
        h.add(r2.data(), r2.size() * 8);
        break;
      }
      case Kind::real32: {
        std::vector<float> r1(f.size()), r2(f.size());
        status = call_real<float>(fn, sym, f, f2, 0.75f, r1, r2);
        h.add(r1.data(), r1.size() * 4);
        h.add(r2.data(), r2.size() * 4);
        break;
      }
      case Kind::cplx64: {
        std::vector<Kel64fc> r(c.size());
        status = call_complex<Kel64fc>(fn, sym, c, c2, Kel64fc{0.75, -0.5}, r);
        h.add(r.data(), r.size() * sizeof r[0]);
        break;
      }
      case Kind::cplx32: {
        std::vector<Kel32fc> r(cf.size());
        status = call_complex<Kel32fc>(fn, sym, cf, cf2, Kel32fc{0.75f, -0.5f}, r);
        h.add(r.data(), r.size() * sizeof r[0]);
        break;
      }
    }
    // The denormal-operand flag (0x02) is left out: it belongs to no result
    // of the library, and qemu-i386 does not emulate it.
    flags = status_word() & 0x3D;
    std::printf("%-24s %016" PRIx64 " status %d flags 0x%02x\n", fn.name.c_str(), h.h, status, flags);
  }
  return 0;
}

int usage() {
  std::fprintf(stderr,
               "usage: kelvm [--type 32f|64f|32fc|64fc] [--acc A11|A21|A24|A50|A53] [--cw HEX] [--val V]\n"
               "             FUNCTION VALUE...\n"
               "       kelvm --list | --digest\n"
               "VALUE: decimal or hex float, inf, nan, @HEX raw bits; A:B for two sources; RE,IM complex\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string type = "64f", acc, func;
  const char* val = "0";
  int cw = -1;
  std::vector<std::string> values;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--list") {
      if (!kelvmGetLibVersion()) return 1;
      for (const auto& f : all_functions())
        if (lookup(f.name)) std::printf("%s\n", f.name.c_str());
      return 0;
    }
    if (a == "--digest") return kelvmGetLibVersion() ? digest() : 1;
    if ((a == "--type" || a == "--acc" || a == "--cw" || a == "--val") && i + 1 < argc) {
      const char* v = argv[++i];
      if (a == "--type") type = v;
      else if (a == "--acc") acc = v;
      else if (a == "--cw") cw = static_cast<int>(std::strtol(v, nullptr, 16));
      else val = v;
    } else if (func.empty()) {
      func = a;
    } else {
      values.push_back(a);
    }
  }
  if (func.empty() || values.empty()) return usage();

  std::string name = func;
  if (func.rfind("kels", 0) != 0) {
    const bool rounding = func == "Ceil" || func == "Floor" || func == "Trunc" || func == "Round" ||
                          func == "Rint" || func == "NearbyInt" || func == "Modf";
    if (acc.empty()) acc = type.rfind("64", 0) == 0 ? "A53" : "A24";
    name = "kels" + func + "_" + type + (rounding ? "" : "_" + acc);
  }
  const Function* fn = nullptr;
  static const std::vector<Function> fns = all_functions();
  for (const auto& f : fns)
    if (f.name == name) fn = &f;
  if (!fn) {
    std::fprintf(stderr, "kelvm: %s is not a vector function of the library\n", name.c_str());
    return 2;
  }
  void* sym = lookup(name);
  if (!sym) {
    std::fprintf(stderr, "kelvm: %s is declared but not implemented in this build\n", name.c_str());
    return 2;
  }

  const uint16_t before = cw >= 0 ? static_cast<uint16_t>(cw) : control_word();
  set_control_word(before);
  const KelLibraryVersion* v = kelvmGetLibVersion();
  std::printf("%s  (%s %s, target %s)\n", name.c_str(), v->name, v->version, v->targetCpu);
  int rc = 0;
  switch (fn->kind) {
    case Kind::real32: rc = run_real<float>(*fn, sym, values, val); break;
    case Kind::real64: rc = run_real<double>(*fn, sym, values, val); break;
    case Kind::cplx32: rc = run_complex<Kel32fc, float>(*fn, sym, values, val); break;
    case Kind::cplx64: rc = run_complex<Kel64fc, double>(*fn, sym, values, val); break;
  }
  const uint16_t after = control_word();
  std::printf("control word: 0x%04x before, 0x%04x after%s\n", before, after,
              before == after ? "" : "  (CHANGED)");
  return rc;
}

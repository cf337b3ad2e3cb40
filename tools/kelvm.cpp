// kelvm: calls any exported vector function of libkelvmpx on values given on
// the command line and prints each result in decimal and hex, the returned
// status, the x87 exception flags raised and the control word around the call.
//
//   kelvm [--type 32f|64f|32fc|64fc] [--acc A11|A21|A24|A50|A53] [--cw HEX] [--val V]
//         FUNCTION VALUE...
//   kelvm --list [--type T] [--acc A]   the exported vector functions present
//   kelvm --catalogue                   every function the catalogue names, present or not
//   kelvm --digest                      one hash per present function over hostile inputs
//   kelvm --digest kelsExp_64f_A53...   the same inputs element by element, one line each
//   kelvm --version | --help
//
// FUNCTION is an exported name (kelsInv_64f_A53) or a family (Inv), completed
// by --type (default 64f) and --acc (default A53 for double, A24 for float;
// the rounding family has none).  A VALUE is a decimal or C99 hex float, inf,
// nan, or @HEX for a raw bit pattern; two-source functions take A:B and
// complex values RE,IM.  A malformed argument is reported by name with exit
// status 2; nothing is called.
#include <dlfcn.h>

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "catalogue.h"
#include "kelvm.h"

namespace {

using kelcat::Elem;
using kelcat::Shape;
using Function = kelcat::Name;

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

// A malformed command line: the message names the offending argument.
struct Usage {
  std::string message;
};

// Parses a whole value: a decimal or hex float, inf or nan (as strtod reads
// them), or @HEX for the raw bits.  Anything left over is an error, and raw
// bits are copied, never loaded, so a signalling NaN stays signalling.
template <class T>
void parse(const std::string& s, T* out) {
  using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
  const char* p = s.c_str();
  char* end = nullptr;
  if (p[0] == '@') {
    const bool digits = s.size() > 1 && s.size() <= 1 + 2 * sizeof(T) &&
                        s.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
    if (!digits)
      throw Usage{"'" + s + "' is not a raw bit pattern: @ takes 1 to " + std::to_string(2 * sizeof(T)) +
                  " hex digits"};
    const Bits b = static_cast<Bits>(std::strtoull(p + 1, nullptr, 16));
    std::memcpy(out, &b, sizeof b);
    return;
  }
  if constexpr (sizeof(T) == 4) *out = std::strtof(p, &end);
  else *out = std::strtod(p, &end);
  if (s.empty() || std::isspace(static_cast<unsigned char>(p[0])) || end != p + s.size())
    throw Usage{"'" + s + "' is not a number"};
}

// Splits "a:b" (two sources) or "re,im" (complex) into exactly `parts` pieces.
std::vector<std::string> split(const std::string& s, char sep, size_t parts, const char* what) {
  std::vector<std::string> out;
  size_t from = 0;
  for (;;) {
    const size_t at = s.find(sep, from);
    out.push_back(s.substr(from, at == std::string::npos ? std::string::npos : at - from));
    if (at == std::string::npos) break;
    from = at + 1;
  }
  if (out.size() != parts) throw Usage{"'" + s + "' is not " + what};
  return out;
}

// Shown from memory: the bits are copied, so a signalling NaN shows as one.
std::string show(const double& x) {
  uint64_t b;
  std::memcpy(&b, &x, 8);
  char buf[96];
  std::snprintf(buf, sizeof buf, "%-24.17g %-24a 0x%016" PRIx64, x, x, b);
  return buf;
}
std::string show(const float& x) {
  uint32_t b;
  std::memcpy(&b, &x, 4);
  char buf[96];
  std::snprintf(buf, sizeof buf, "%-16.9g %-16a 0x%08" PRIx32, static_cast<double>(x), static_cast<double>(x), b);
  return buf;
}

// ---- calling ----

// Scalars and complex records passed by value travel as bits: a copy that the
// compiler makes through an x87 load would quiet a signalling NaN (and, under
// qemu-i386, round to the caller's precision).  So the call is made through a
// signature with non-floating types that the ABI passes in the same places:
// integers of the same size on the i386 stack, 16-byte vectors in the SSE
// registers of x86-64 (one per eightbyte of the record).
#if !defined(__i386__)
typedef long long Sse __attribute__((vector_size(16)));
#endif

template <class T>
int call_scalar(void* sym, const T* a, const T& val, T* r, int n) {
#if defined(__i386__)
  struct Record {
    uint32_t w[sizeof(T) / 4];
  } v;
  std::memcpy(&v, &val, sizeof v);
  return reinterpret_cast<int (*)(const T*, Record, T*, int)>(sym)(a, v, r, n);
#else
  Sse lo = {0, 0}, hi = {0, 0};
  std::memcpy(&lo, &val, sizeof val < 8 ? sizeof val : 8);
  if constexpr (sizeof(T) == 16) {
    std::memcpy(&hi, reinterpret_cast<const char*>(&val) + 8, 8);
    return reinterpret_cast<int (*)(const T*, Sse, Sse, T*, int)>(sym)(a, lo, hi, r, n);
  } else {
    return reinterpret_cast<int (*)(const T*, Sse, T*, int)>(sym)(a, lo, r, n);
  }
#endif
}

// One call of a vector function on n elements; the element types are those of
// the function (T real or complex), r2 the second result of SinCos and Modf.
template <class T>
int call(Shape shape, void* sym, const T* a, const T* b, const T& val, T* r1, T* r2, int n) {
  switch (shape) {
    case Shape::unary: return reinterpret_cast<int (*)(const T*, T*, int)>(sym)(a, r1, n);
    case Shape::binary: return reinterpret_cast<int (*)(const T*, const T*, T*, int)>(sym)(a, b, r1, n);
    case Shape::scalar: return call_scalar<T>(sym, a, val, r1, n);
    case Shape::two: return reinterpret_cast<int (*)(const T*, T*, T*, int)>(sym)(a, r1, r2, n);
  }
  return 0;
}

// ---- one function on command-line values ----

template <class T>
struct Real {
  using Part = T;
  static constexpr size_t parts = 1;
};
template <>
struct Real<Kel32fc> {
  using Part = float;
  static constexpr size_t parts = 2;
};
template <>
struct Real<Kel64fc> {
  using Part = double;
  static constexpr size_t parts = 2;
};

// Reads one element into *x: a real value, or RE,IM for a complex one.
template <class T>
void parse_element(const std::string& s, T* x) {
  using P = typename Real<T>::Part;
  if constexpr (Real<T>::parts == 1) {
    parse<P>(s, x);
  } else {
    const auto p = split(s, ',', 2, "a complex value RE,IM");
    parse<P>(p[0], &x->re);
    parse<P>(p[1], &x->im);
  }
}

template <class T>
void print_element(const char* label, const T& x) {
  if constexpr (Real<T>::parts == 1) {
    std::printf("    %-3s= %s\n", label, show(x).c_str());
  } else {
    std::printf("    %-3s= %s\n         + i %s\n", label, show(x.re).c_str(), show(x.im).c_str());
  }
}

// Parses the values, then makes one call of f on all of them under the
// control word `cw` and prints sources, results, status, flags and the
// control word around the call.
template <class T>
int run(const Function& f, void* sym, const std::vector<std::string>& args, const char* val_text, uint16_t cw) {
  const Shape shape = f.family->shape;
  const std::string family = f.family->name;
  const bool two_sources = shape == Shape::binary;
  std::vector<T> a(args.size()), b(args.size()), r1(args.size()), r2(args.size());
  for (size_t i = 0; i < args.size(); ++i) {
    if (two_sources) {
      const auto p = split(args[i], ':', 2, ("two sources A:B for " + family).c_str());
      parse_element<T>(p[0], &a[i]);
      parse_element<T>(p[1], &b[i]);
    } else {
      if (args[i].find(':') != std::string::npos)
        throw Usage{"'" + args[i] + "': " + family + " takes one source per element"};
      parse_element<T>(args[i], &a[i]);
    }
  }
  T val;
  std::memset(&val, 0, sizeof val);
  if (shape == Shape::scalar) {
    if (!val_text) throw Usage{family + " needs its scalar argument: --val V"};
    try {
      parse_element<T>(val_text, &val);
    } catch (const Usage& u) {
      throw Usage{"--val: " + u.message};
    }
  } else if (val_text) {
    throw Usage{"--val applies only to functions with a scalar argument (Powx), not " + family};
  }
  std::memset(r1.data(), 0, r1.size() * sizeof(T));
  std::memset(r2.data(), 0, r2.size() * sizeof(T));
  const KelLibraryVersion* v = kelvmGetLibVersion();
  std::printf("%s  (%s %s, target %.4s)\n", f.name.c_str(), v->name, v->version, v->targetCpu);
  const uint16_t saved = control_word();
  set_control_word(cw);
  clear_flags();
  const int status = call<T>(shape, sym, a.data(), b.data(), val, r1.data(), r2.data(), static_cast<int>(a.size()));
  const uint16_t sw = status_word();
  const uint16_t after = control_word();
  set_control_word(saved);
  for (size_t i = 0; i < a.size(); ++i) {
    std::printf("[%zu]\n", i);
    print_element("x", a[i]);
    if (two_sources) print_element("x2", b[i]);
    if (shape == Shape::scalar) print_element("val", val);
    print_element("y", r1[i]);
    if (shape == Shape::two) print_element("y2", r2[i]);
  }
  std::printf("status: %d %s\nflags raised: %s\n", status, status_name(status), flag_names(sw).c_str());
  std::printf("control word: 0x%04x before, 0x%04x after%s\n", cw, after, cw == after ? "" : "  (CHANGED)");
  return 0;
}

// ---- digest: one FNV-1a hash per function over hostile inputs ----
//
// The inputs are built from bit patterns and never pass through an x87
// register: signalling and quiet NaNs of both signs with payloads, zeros,
// infinities, the smallest and largest subnormals and normals, and the
// neighbours of thresholds where functions change path (overflow and
// underflow limits, 1, multiples of pi/2, integers at which the format loses
// fractions), then random bit patterns and random values in the ranges most
// functions are used on.  Two-source and complex functions get every pair of
// the special patterns, each element in a call of its own.  Each function is
// called under two caller control words, and the hash covers results, status
// and flags of every call.

struct Hash {
  uint64_t h = 0xcbf29ce484222325ull;
  void add(const void* p, size_t n) {
    for (size_t i = 0; i < n; ++i) h = (h ^ static_cast<const unsigned char*>(p)[i]) * 0x100000001b3ull;
  }
};

struct Lcg {
  uint64_t s = 0x9E3779B97F4A7C15ull;
  uint64_t next() { return s = s * 6364136223846793005ull + 1442695040888963407ull; }
};

// Special patterns of a format with B-bit encodings.  Values that mark a
// threshold come with both signs and both neighbours in magnitude.
template <class B>
std::vector<B> special_patterns(std::initializer_list<B> exact, std::initializer_list<B> thresholds) {
  std::vector<B> v(exact);
  const B sign = B(1) << (8 * sizeof(B) - 1);
  for (const B signed_t : thresholds) {
    const B t = signed_t & ~sign;
    for (const B s : {B(0), sign}) v.insert(v.end(), {B((t - 1) | s), B(t | s), B((t + 1) | s)});
  }
  return v;
}

std::vector<uint64_t> specials64() {
  return special_patterns<uint64_t>(
      {
          0x0000000000000000, 0x8000000000000000,  // +-0
          0x7ff0000000000000, 0xfff0000000000000,  // +-inf
          0x7ff8000000000000, 0xfff8000000000000,  // default quiet NaNs
          0x7ffc0000deadbeef, 0xfff80000000f00d1,  // quiet NaNs with payloads
          0x7ff0000000000001, 0xfff0000000000002,  // signalling NaNs, smallest payloads
          0x7ff4000000000000, 0xfff31adad3f88c1a,  // signalling NaNs with payloads
          0x7ff7ffffffffffff, 0xfff7ffffffffffff,
      },
      {
          0x0000000000000001,  // smallest subnormal
          0x000fffffffffffff,  // largest subnormal (its +1 is the smallest normal)
          0x7fefffffffffffff,  // largest finite (its +1 is inf)
          0x3ff0000000000000,  // 1
          0x3fe0000000000000,  // 0.5
          0x4000000000000000,  // 2
          0x3e40000000000000,  // 2^-27
          0x3fe921fb54442d18,  // pi/4
          0x3ff921fb54442d18,  // pi/2
          0x4130000000000000,  // 2^20
          0x4330000000000000,  // 2^52
          0x43e0000000000000,  // 2^63
          0x40862e42fefa39ef,  // 709.78, exp overflow
          0x408633ce8fb9f87e,  // 710.48, sinh and cosh overflow
          0xc086232bdd7abcd2,  // -708.40, exp result subnormal
          0xc0874910d52d3051,  // -745.13, exp underflow to 0
          0x403b000000000000,  // 27, erfc underflow region
          0x4073440000000000,  // 308.25
      });
}

std::vector<uint32_t> specials32() {
  return special_patterns<uint32_t>(
      {
          0x00000000, 0x80000000,  // +-0
          0x7f800000, 0xff800000,  // +-inf
          0x7fc00000, 0xffc00000,  // default quiet NaNs
          0x7fc0beef, 0xffe00d01,  // quiet NaNs with payloads
          0x7f800001, 0xff800002,  // signalling NaNs, smallest payloads
          0x7fa00000, 0xffa00000,  // signalling NaNs with payloads
          0x7fbfffff, 0xffbfffff,
      },
      {
          0x00000001,  // smallest subnormal
          0x007fffff,  // largest subnormal
          0x7f7fffff,  // largest finite
          0x3f800000,  // 1
          0x3f000000,  // 0.5
          0x40000000,  // 2
          0x39800000,  // 2^-12
          0x3f490fdb,  // pi/4
          0x3fc90fdb,  // pi/2
          0x4b000000,  // 2^23
          0x5f000000,  // 2^63
          0x42b17218,  // 88.72, exp overflow
          0x42b2d4fc,  // 89.42, sinh and cosh overflow
          0xc2aeac50,  // -87.34, exp result subnormal
          0xc2cff1b5,  // -103.97, exp underflow to 0
          0x41200000,  // 10, erfc underflow region
          0x421a209b,  // 38.53
      });
}

// Random patterns after the specials: raw bits, and values in [-16, 16],
// [-1000, 1000] and [0, 2), built from integers and scaled exactly.
uint64_t random64(Lcg& g, size_t i) {
  const uint64_t r = g.next();
  double x;
  switch (i % 4) {
    case 0: return r;
    case 1: x = static_cast<double>(static_cast<int64_t>(r >> 11) - (int64_t(1) << 52)) * 0x1p-48; break;
    case 2: x = static_cast<double>(static_cast<int64_t>(r >> 11) - (int64_t(1) << 52)) * 0x1p-52 * 1000; break;
    default: x = static_cast<double>(r >> 11) * 0x1p-52; break;
  }
  uint64_t b;
  std::memcpy(&b, &x, 8);
  return b;
}
uint32_t random32(Lcg& g, size_t i) {
  const uint64_t r = g.next();
  float x;
  switch (i % 4) {
    case 0: return static_cast<uint32_t>(r >> 32);
    case 1: x = static_cast<float>(static_cast<int32_t>(r >> 40) - (1 << 23)) * 0x1p-19f; break;
    case 2: x = static_cast<float>(static_cast<int32_t>(r >> 40) - (1 << 23)) * 0x1p-13f; break;
    default: x = static_cast<float>(r >> 40) * 0x1p-23f; break;
  }
  uint32_t b;
  std::memcpy(&b, &x, 4);
  return b;
}

// Element arrays of one format: first every pair (special i, special j), as
// (first source, second source) or (re, im), then random patterns up to n.
template <class B>
struct Inputs {
  std::vector<B> a, b;
  size_t pairs = 0;  // the leading elements made of special patterns
};
template <class B>
Inputs<B> digest_inputs(const std::vector<B>& specials, B (*random)(Lcg&, size_t), size_t n) {
  Inputs<B> in;
  for (const B x : specials)
    for (const B y : specials) {
      in.a.push_back(x);
      in.b.push_back(y);
    }
  in.pairs = in.a.size();
  Lcg g;
  for (size_t i = in.a.size(); i < n; ++i) {
    in.a.push_back(random(g, i));
    in.b.push_back(random(g, i + 1));
  }
  return in;
}

// The scalar arguments of Powx: one call per value.
template <class B>
std::vector<B> scalar_values(const std::vector<B>& specials) {
  std::vector<B> v;
  for (size_t i = 0; i < specials.size(); i += 3) v.push_back(specials[i]);
  return v;
}

// Caller control words: the default (64-bit precision, round to nearest) and
// one with 24-bit precision and rounding toward zero, which every function
// must replace by its own precision control.
constexpr uint16_t kDigestWords[] = {0x037f, 0x0c7f};

struct Outcome {
  Hash hash;
  std::string statuses;
  unsigned flags = 0;
};

// The bits of an element in hex, parts separated by a comma.
template <class T>
std::string hex(const T& x) {
  using P = typename Real<T>::Part;
  std::string out;
  for (size_t at = 0; at < sizeof x; at += sizeof(P)) {
    uint64_t b = 0;
    std::memcpy(&b, reinterpret_cast<const char*>(&x) + at, sizeof(P));
    char buf[24];
    std::snprintf(buf, sizeof buf, "%s%0*" PRIx64, at ? "," : "", static_cast<int>(2 * sizeof(P)), b);
    out += buf;
  }
  return out;
}

// Calls f on arrays of element type T made from the bit patterns: real
// elements take a (and b as second source); complex elements take (a, b) as
// (re, im), and their second source is the same list rotated.  With
// `elements`, every element is called on its own and printed with its result,
// status and flags, to find the inputs behind a differing hash.
template <class T, class B>
void digest_function(const Function& f, void* sym, const Inputs<B>& in, const std::vector<B>& vals, Outcome& out,
                     bool elements) {
  constexpr size_t parts = sizeof(T) / sizeof(B);
  const size_t n = in.a.size();
  std::vector<B> src(n * parts), src2(n * parts);
  for (size_t i = 0; i < n; ++i) {
    if constexpr (parts == 1) {
      src[i] = in.a[i];
      src2[i] = in.b[i];
    } else {
      const size_t j = (i * 7919 + 1) % n;
      src[2 * i] = in.a[i], src[2 * i + 1] = in.b[i];
      src2[2 * i] = in.a[j], src2[2 * i + 1] = in.b[j];
    }
  }
  std::vector<T> a(n), b(n), r1(n), r2(n);
  std::memcpy(a.data(), src.data(), n * sizeof(T));
  std::memcpy(b.data(), src2.data(), n * sizeof(T));
  const Shape shape = f.family->shape;
  const std::vector<B> scalars = shape == Shape::scalar ? vals : std::vector<B>{0};
  for (const uint16_t cw : kDigestWords) {
    for (size_t k = 0; k < scalars.size(); ++k) {
      T val;
      const B vb[2] = {scalars[k], scalars[(k + 3) % scalars.size()]};
      std::memcpy(&val, vb, sizeof val);
      std::memset(r1.data(), 0, n * sizeof(T));
      std::memset(r2.data(), 0, n * sizeof(T));
      // The denormal-operand flag (0x02) is left out: it belongs to no
      // result of the library, and qemu-i386 does not emulate it.
      auto call_under_cw = [&](size_t from, size_t count, uint16_t* flags) {
        set_control_word(cw);
        clear_flags();
        const int status = call<T>(shape, sym, &a[from], &b[from], val, &r1[from], &r2[from], static_cast<int>(count));
        *flags = status_word() & 0x3D;
        set_control_word(0x037f);
        return status;
      };
      if (elements) {
        for (size_t i = 0; i < n; ++i) {
          uint16_t flags;
          const int status = call_under_cw(i, 1, &flags);
          std::printf("cw %04x", cw);
          if (shape == Shape::scalar) std::printf(" val %s", hex(val).c_str());
          std::printf(" x %s", hex(a[i]).c_str());
          if (shape == Shape::binary) std::printf(" x2 %s", hex(b[i]).c_str());
          std::printf(" -> %s", hex(r1[i]).c_str());
          if (shape == Shape::two) std::printf(" %s", hex(r2[i]).c_str());
          std::printf(" status %d flags 0x%02x\n", status, flags);
        }
        continue;
      }
      // The special elements one call each, so that the flags of one are
      // not hidden by those of another; the random ones in a single call.
      int status = 0;
      for (size_t i = 0; i <= in.pairs && i < n; ++i) {
        uint16_t flags;
        status = i < in.pairs ? call_under_cw(i, 1, &flags) : call_under_cw(i, n - i, &flags);
        out.hash.add(&status, sizeof status);
        out.hash.add(&flags, sizeof flags);
        out.flags |= flags;
      }
      out.hash.add(r1.data(), n * sizeof(T));
      if (shape == Shape::two) out.hash.add(r2.data(), n * sizeof(T));
      if (k == 0) out.statuses += (out.statuses.empty() ? "" : ",") + std::to_string(status);
    }
  }
}

// One line per present function, or with `names` one line per element of
// each named function.
int digest(const std::vector<std::string>& names) {
  const std::vector<uint64_t> s64 = specials64();
  const std::vector<uint32_t> s32 = specials32();
  constexpr size_t kElements = 6000;
  const Inputs<uint64_t> in64 = digest_inputs<uint64_t>(s64, random64, kElements);
  const Inputs<uint32_t> in32 = digest_inputs<uint32_t>(s32, random32, kElements);
  const std::vector<uint64_t> v64 = scalar_values(s64);
  const std::vector<uint32_t> v32 = scalar_values(s32);
  for (const Function& fn : kelcat::vector_names()) {
    void* sym = lookup(fn.name);
    bool named = false;
    for (const auto& name : names) named = named || name == fn.name;
    if (!sym || (!names.empty() && !named)) continue;
    Outcome out;
    switch (fn.elem) {
      case Elem::f64: digest_function<double>(fn, sym, in64, v64, out, named); break;
      case Elem::f32: digest_function<float>(fn, sym, in32, v32, out, named); break;
      case Elem::c64: digest_function<Kel64fc>(fn, sym, in64, v64, out, named); break;
      case Elem::c32: digest_function<Kel32fc>(fn, sym, in32, v32, out, named); break;
      case Elem::f80: break;
    }
    if (!named)
      std::printf("%-24s %016" PRIx64 " status %s flags 0x%02x\n", fn.name.c_str(), out.hash.h,
                  out.statuses.c_str(), out.flags);
  }
  return 0;
}

// ---- command line ----

const char kUsage[] =
    "usage: kelvm [--type 32f|64f|32fc|64fc] [--acc A11|A21|A24|A50|A53] [--cw HEX] [--val V]\n"
    "             FUNCTION VALUE...\n"
    "       kelvm --list [--type T] [--acc A] | --catalogue\n"
    "       kelvm --digest [FUNCTION...] | --version | --help\n"
    "FUNCTION: an exported name (kelsInv_64f_A53) or a family (Inv), completed by\n"
    "  --type (default 64f) and --acc (default A53 for 64f/64fc, A24 for 32f/32fc).\n"
    "VALUE: decimal or hex float, inf, nan, or @HEX raw bits; A:B for two-source\n"
    "  functions; RE,IM for complex values.  --val is the scalar of Powx.\n"
    "--cw HEX: the caller's x87 control word during the call (exceptions masked).\n"
    "Exit status: 0 success, 1 library not usable, 2 malformed command line.\n";

bool one_of(const std::string& s, std::initializer_list<const char*> set) {
  for (const char* x : set)
    if (s == x) return true;
  return false;
}

// The control word: 1 to 4 hex digits, optionally after 0x, with all six
// exception masks set (an unmasked exception would stop the tool, not the
// library, with SIGFPE).
uint16_t parse_control_word(const std::string& s) {
  const size_t from = s.rfind("0x", 0) == 0 || s.rfind("0X", 0) == 0 ? 2 : 0;
  const std::string digits = s.substr(from);
  if (digits.empty() || digits.size() > 4 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
    throw Usage{"--cw '" + s + "' is not a 16-bit hex control word"};
  const auto cw = static_cast<uint16_t>(std::strtoul(digits.c_str(), nullptr, 16));
  if ((cw & 0x3f) != 0x3f) throw Usage{"--cw '" + s + "' unmasks x87 exceptions: its low six bits must all be set (0x3f)"};
  return cw;
}

struct Options {
  std::string type, acc, func;
  const char* val = nullptr;
  int cw = -1;
  bool list = false, digest = false, catalogue = false;
  std::vector<std::string> values;
};

Options parse_options(int argc, char** argv) {
  Options o;
  bool options_end = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (options_end || a.size() < 2 || a.rfind("--", 0) != 0) {
      (o.func.empty() ? o.func : o.values.emplace_back()) = a;
      continue;
    }
    if (a == "--") {
      options_end = true;
    } else if (a == "--list") {
      o.list = true;
    } else if (a == "--digest") {
      o.digest = true;
    } else if (a == "--catalogue") {
      o.catalogue = true;
    } else if (one_of(a, {"--type", "--acc", "--cw", "--val"})) {
      if (i + 1 >= argc) throw Usage{a + " needs a value"};
      const std::string v = argv[++i];
      if (a == "--type") {
        if (!one_of(v, {"32f", "64f", "32fc", "64fc"})) throw Usage{"--type '" + v + "' is not 32f, 64f, 32fc or 64fc"};
        o.type = v;
      } else if (a == "--acc") {
        if (!one_of(v, {"A11", "A21", "A24", "A50", "A53"}))
          throw Usage{"--acc '" + v + "' is not A11, A21, A24, A50 or A53"};
        o.acc = v;
      } else if (a == "--cw") {
        o.cw = parse_control_word(v);
      } else {
        o.val = argv[i];
      }
    } else {
      throw Usage{"unknown option '" + a + "'"};
    }
  }
  return o;
}

int list(const Options& o) {
  if (!o.func.empty()) throw Usage{"--list takes no function or values ('" + o.func + "')"};
  for (const auto& f : kelcat::vector_names()) {
    const bool type_ok =
        o.type.empty() || f.name.find("_" + o.type + "_") != std::string::npos || f.name.ends_with("_" + o.type);
    const bool acc_ok = o.acc.empty() || f.name.ends_with("_" + o.acc);
    if (type_ok && acc_ok && lookup(f.name)) std::printf("%s\n", f.name.c_str());
  }
  return 0;
}

int version() {
  const KelLibraryVersion* v = kelvmGetLibVersion();
  std::printf("kelvm %s (header %d.%d.%d.%d)\n", KELVM_VERSION_STRING, KELVM_VERSION_MAJOR, KELVM_VERSION_MINOR,
              KELVM_VERSION_MAJOR_BUILD, KELVM_VERSION_BUILD);
  std::printf("library %s %s (%d.%d.%d.%d, %s, target %.4s)\n", v->name, v->version, v->major, v->minor,
              v->majorBuild, v->build, v->buildDate, v->targetCpu);
  return 0;
}

int evaluate(const Options& o) {
  if (o.func.empty()) throw Usage{"no function given"};
  if (o.values.empty()) throw Usage{"no values given for " + o.func};
  const std::string type = o.type.empty() ? "64f" : o.type;
  std::string name = o.func;
  if (name.rfind("kels", 0) != 0) {
    const bool rounding = kelcat::find(name, kelcat::Domain::rounding) != nullptr;
    const std::string acc = !o.acc.empty() ? o.acc : type.rfind("64", 0) == 0 ? "A53" : "A24";
    name = "kels" + name + "_" + type + (rounding ? "" : "_" + acc);
  }
  const Function* fn = nullptr;
  static const std::vector<Function> fns = kelcat::vector_names();
  for (const auto& f : fns)
    if (f.name == name) fn = &f;
  if (!fn) throw Usage{name + " is not a vector function of the library"};
  void* sym = lookup(name);
  if (!sym) throw Usage{name + " is declared but not implemented in this build"};

  const uint16_t cw = o.cw >= 0 ? static_cast<uint16_t>(o.cw) : control_word();
  switch (fn->elem) {
    case Elem::f32: return run<float>(*fn, sym, o.values, o.val, cw);
    case Elem::f64: return run<double>(*fn, sym, o.values, o.val, cw);
    case Elem::c32: return run<Kel32fc>(*fn, sym, o.values, o.val, cw);
    case Elem::c64: return run<Kel64fc>(*fn, sym, o.values, o.val, cw);
    case Elem::f80: break;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
    if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (!std::strcmp(argv[i], "--version")) return version();
  }
  try {
    const Options o = parse_options(argc, argv);
    if (o.list && o.digest) throw Usage{"--list and --digest exclude each other"};
    if (!kelvmGetLibVersion()) return 1;
    if (o.catalogue) {
      for (const std::string& name : kelcat::all_function_names()) std::printf("%s\n", name.c_str());
      return 0;
    }
    if (o.list) return list(o);
    if (o.digest) {
      std::vector<std::string> names = o.values;
      if (!o.func.empty()) names.insert(names.begin(), o.func);
      for (const auto& name : names)
        if (!lookup(name)) throw Usage{"--digest: '" + name + "' is not an exported function of this build"};
      return digest(names);
    }
    return evaluate(o);
  } catch (const Usage& u) {
    std::fflush(stdout);
    std::fprintf(stderr, "kelvm: %s\n(kelvm --help for usage)\n", u.message.c_str());
    return 2;
  }
}

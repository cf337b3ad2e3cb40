// Reliability run: every exported vector function and long-double kernel with
// hostile bit patterns in guarded arrays (1 to max-len elements, aligned or 4
// bytes off, in place), under all 16 caller control words on several threads,
// with an interposed error handler that calls back into the library.  Checked
// after every call: caller's word back, x87 stack empty, sources and the bytes
// beside the arrays untouched, status allowed with its flag and seen by the
// handler, and (guarded functions) the same bits under every word and in place.
#include <dlfcn.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "fpu.h"
#include "kelvm.h"
#include "references.h"

namespace {

using kelfpu::clear_flags;
using kelfpu::control_word;
using kelfpu::set_control_word;
using kelacc::Shape;

// The 28-byte x87 environment (control, status and tag words first).
struct Env {
  uint16_t w[14];
};
void save_env(Env* e) { asm volatile("fnstenv %0" : "=m"(*e) : : "memory"); }
void load_env(const Env& e) { asm volatile("fldenv %0" : : "m"(e) : "memory"); }
// 0xFFFF when every register is empty; fnstenv masks all exceptions, so the
// caller's word is put back.
uint16_t tag_word() {
  Env e;
  const uint16_t cw = control_word();
  save_env(&e);
  set_control_word(cw);
  return e.w[4];
}

constexpr uint16_t kBaseWord = 0x037F;
// Every precision control (the reserved 01 included) and rounding control.
uint16_t caller_word(int i) { return static_cast<uint16_t>(0x007F | (i & 15) << 8); }

struct Options {
  double long_seconds = 0;
  int rounds = 2, threads = 4, max_len = 4096, every = 1;
  std::string only;
  uint64_t seed = 1;
  bool all_kernel_words = false;
} opt;

std::mutex report_mutex;
std::atomic<uint64_t> n_calls{0}, n_elements{0}, n_findings{0}, n_handler_calls{0};

void finding(const std::string& what) {
  if (n_findings++ >= 40) return;
  std::lock_guard<std::mutex> lock(report_mutex);
  std::fprintf(stderr, "FINDING: %s\n", what.c_str());
}

std::string hex(uint64_t v) {
  char b[24];
  std::snprintf(b, sizeof b, "0x%llx", static_cast<unsigned long long>(v));
  return b;
}

// What the thread is calling, for the crash report.
thread_local const char* tl_function = "(none)";
thread_local int tl_len = 0, tl_word = 0;
thread_local const char* tl_layout = "";

void on_fault(int sig) {
  char msg[256];
  const int n = std::snprintf(msg, sizeof msg, "CRASH: signal %d in %s, len %d, caller word 0x%04x, %s\n", sig,
                              tl_function, tl_len, tl_word, tl_layout);
  if (n > 0) (void)!write(2, msg, static_cast<size_t>(n));
  _exit(3);
}

using Handler = void (*)(const OrxErrorRecord*);
Handler library_handler = nullptr;
thread_local int tl_depth = 0, tl_reports = 0, tl_last_code = 0;

}  // namespace

// Replaces the library's handler for the process: each report first calls
// back into the library (a call that reports in turn, re-entering here) with
// the x87 environment saved around it, then goes to the library's handler.
extern "C" void _orxStdErrorHandlerExcept(const OrxErrorRecord* r) {
  if (tl_depth == 0) {
    ++tl_reports, ++n_handler_calls, ++tl_depth;
    tl_last_code = r->code;
    Env env;
    save_env(&env);
    const double in[2] = {4.0, -1.0};
    double out[2];
    const KelStatus s = kelsSqrt_64f_A53(in, out, 2);
    if (s != kelStatusDomain || out[0] != 2.0 || out[1] == out[1])
      finding("callback from the handler into kelsSqrt_64f_A53 returned " + std::to_string(s));
    load_env(env);
    --tl_depth;
  }
  library_handler(r);
}

namespace {

constexpr unsigned char kCanary = 0xA7;
constexpr size_t kMargin = 64;  // canary bytes checked on each side of an array

// A writable area with an inaccessible page on each side.
class Guarded {
 public:
  explicit Guarded(size_t bytes) {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    size_ = (bytes + page_ - 1) / page_ * page_;
    void* m = mmap(nullptr, size_ + 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m == MAP_FAILED) std::abort();
    map_ = static_cast<char*>(m);
    mprotect(map_, page_, PROT_NONE);
    mprotect(map_ + page_ + size_, page_, PROT_NONE);
  }
  ~Guarded() { munmap(map_, size_ + 2 * page_); }
  Guarded(const Guarded&) = delete;

  // An array against the lower or the upper guard page, aligned or 4 bytes off,
  // with canaries painted around it.
  char* place(size_t bytes, bool at_end, int offset) {
    char* a = at_end ? end() - bytes - offset : begin() + offset;
    const auto [lo, hi] = window(a, bytes);
    std::memset(lo, kCanary, static_cast<size_t>(a - lo));
    std::memset(a + bytes, kCanary, static_cast<size_t>(hi - (a + bytes)));
    return a;
  }
  bool intact(const char* a, size_t bytes) const {
    const auto [lo, hi] = window(a, bytes);
    const auto canary = [](char c) { return static_cast<unsigned char>(c) == kCanary; };
    return std::all_of(static_cast<const char*>(lo), a, canary) && std::all_of(a + bytes, static_cast<const char*>(hi), canary);
  }

 private:
  char* begin() const { return map_ + page_; }
  char* end() const { return map_ + page_ + size_; }
  std::pair<char*, char*> window(const char* a, size_t bytes) const {
    const size_t below = std::min<size_t>(kMargin, static_cast<size_t>(a - begin()));
    const size_t above = std::min<size_t>(kMargin, static_cast<size_t>(end() - (a + bytes)));
    return {const_cast<char*>(a) - below, const_cast<char*>(a) + bytes + above};
  }
  char* map_;
  size_t page_, size_;
};

enum class Elem { f32, f64, c32, c64 };
size_t elem_size(Elem e) { return e == Elem::f32 ? 4 : e == Elem::c64 ? 16 : 8; }
bool is_complex(Elem e) { return e == Elem::c32 || e == Elem::c64; }

struct Target {
  std::string name;
  Elem elem;
  Shape shape;
  bool guarded;  // holds its own precision guard: results independent of the caller word
  bool counts;   // Rint, NearbyInt: no argument checks, returns the count
  void* fn;
  const kelacc::RealFunction* real;
  const kelacc::ComplexFunction* cplx;
};

struct Kernel {
  std::string name;
  Shape shape;
  void* fn;
};

std::mt19937_64::result_type below(std::mt19937_64& rng, int n) { return rng() % static_cast<uint64_t>(n); }

// A special or threshold pattern of a float (single) or double part, widened
// to 64 bits; pool holds patterns from the function's own generator.
uint64_t hostile_part(std::mt19937_64& rng, bool single, const std::vector<uint64_t>& pool) {
  const int fb = single ? 23 : 52;
  const uint64_t frac = (uint64_t{1} << fb) - 1, quiet = uint64_t{1} << (fb - 1);
  const uint64_t inf = (single ? 0xFFull : 0x7FFull) << fb, bias = single ? 127 : 1023;
  const uint64_t sign = (rng() >> 63) << (single ? 31 : 63), any = single ? 0xFFFFFFFFull : ~uint64_t{0};
  const uint64_t m = (rng() * 0x9E3779B97F4A7C15ull) & frac;
  const auto kind = below(rng, pool.empty() ? 13 : 18);
  if (kind >= 13) return pool[rng() % pool.size()];
  switch (kind) {
    case 0: return sign | inf | (m & (quiet - 1) ? m & (quiet - 1) : 1);  // signalling NaN
    case 1: return sign | inf | quiet | (m & (quiet - 1));                 // quiet NaN
    case 2: return sign | inf;
    case 3: return sign;                                          // zero
    case 4: return sign | (m ? m : 1);                            // subnormal
    case 5: return sign | (below(rng, 2) ? 1 : frac);             // extreme subnormals
    case 6: return sign | (below(rng, 2) ? frac + 1 : inf - 1);   // min normal, max
    case 7: return rng() & any;                                   // any pattern
    case 8: return sign | (bias + below(rng, 20) - 10) << fb | m;  // near 1
    default: return sign | (rng() & any >> 1);
  }
}

// Any sign and exponent; the integer bit usually set, sometimes not
// (unnormals, pseudo-infinities and pseudo-NaNs).
long double hostile_ld(std::mt19937_64& rng) {
  const uint64_t r = rng();
  const uint64_t m = rng() | (below(rng, 8) ? uint64_t{1} << 63 : 0);
  uint16_t se = static_cast<uint16_t>(r);
  switch (below(rng, 6)) {
    case 0: se |= 0x7FFF; break;
    case 1: se &= 0x8000; break;
    case 2: se = static_cast<uint16_t>((r & 0x8000) | (16383 + below(rng, 40) - 20)); break;
    default: break;
  }
  return kelfpu::ld_from(se, m);
}

// The registry's generator for the function, as a pool of part patterns.
std::vector<uint64_t> registry_pool(const Target& t, uint64_t seed) {
  std::vector<uint64_t> pool;
  auto add = [&pool](const auto& in) {
    for (const auto* v : {&in.a, &in.b, &in.scalars})
      for (const auto& x : *v) {
        if constexpr (std::is_same_v<std::decay_t<decltype(x)>, Kel32fc> ||
                      std::is_same_v<std::decay_t<decltype(x)>, Kel64fc>)
          pool.push_back(kelfpu::bits_of(x.re)), pool.push_back(kelfpu::bits_of(x.im));
        else
          pool.push_back(kelfpu::bits_of(x));
      }
  };
  switch (t.elem) {
    case Elem::f32: add(t.real->gen32(256, seed)); break;
    case Elem::f64: add(t.real->gen64(256, seed)); break;
    case Elem::c32: add(t.cplx->gen32(256, seed)); break;
    case Elem::c64: add(t.cplx->gen64(256, seed)); break;
  }
  return pool;
}

// The by-value argument of the scalar shape travels as its bit pattern: on
// i386 an integer of the same size and stack slot (a float load would quiet a
// signalling NaN, and an emulated load rounds to the caller's precision); on
// x86-64 in the SSE registers, which no x87 instruction touches.
#if defined(__i386__)
using F32Arg = uint32_t;
using F64Arg = uint64_t;
struct C32Arg {
  uint32_t re, im;
};
struct C64Arg {
  uint64_t re, im;
};
#else
using F32Arg = float;
using F64Arg = double;
using C32Arg = Kel32fc;
using C64Arg = Kel64fc;
#endif

template <class A>
int call_scalar(void* fn, const char* s1, const char* val, char* d1, int len) {
  A a;
  std::memcpy(&a, val, sizeof a);
  return reinterpret_cast<int (*)(const void*, A, void*, int)>(fn)(s1, a, d1, len);
}

int invoke(const Target& t, const char* s1, const char* s2, const char* val, char* d1, char* d2, int len) {
  switch (t.shape) {
    case Shape::unary: return reinterpret_cast<int (*)(const void*, void*, int)>(t.fn)(s1, d1, len);
    case Shape::binary: return reinterpret_cast<int (*)(const void*, const void*, void*, int)>(t.fn)(s1, s2, d1, len);
    case Shape::two: return reinterpret_cast<int (*)(const void*, void*, void*, int)>(t.fn)(s1, d1, d2, len);
    case Shape::scalar: break;
  }
  switch (t.elem) {
    case Elem::f32: return call_scalar<F32Arg>(t.fn, s1, val, d1, len);
    case Elem::f64: return call_scalar<F64Arg>(t.fn, s1, val, d1, len);
    case Elem::c32: return call_scalar<C32Arg>(t.fn, s1, val, d1, len);
    default: return call_scalar<C64Arg>(t.fn, s1, val, d1, len);
  }
}

int results(Shape s) { return s == Shape::two ? 2 : 1; }

// What one call left behind.
struct Outcome {
  int status;
  uint16_t flags;
  bool operator!=(const Outcome& o) const { return status != o.status || flags != o.flags; }
};

class Worker {
 public:
  Worker(int id, uint64_t seed)
      : id_(id), rng_(seed), src_{Guarded(bytes_max()), Guarded(bytes_max())}, dst_{Guarded(bytes_max()), Guarded(bytes_max())} {}

  // The same inputs under the 16 words (from a word of this thread's own), then
  // in place.
  void run_target(const Target& t, uint64_t seed) {
    tl_function = t.name.c_str();
    const std::vector<uint64_t> pool = registry_pool(t, seed);
    argument_checks(t);
    const int r = static_cast<int>(below(rng_, 10));
    const int len = 1 + static_cast<int>(below(rng_, r < 3 ? std::min(opt.max_len, 8) : r < 7 ? std::min(opt.max_len, 300) : opt.max_len));
    const size_t bytes = elem_size(t.elem) * static_cast<size_t>(len);
    std::vector<char> in1(bytes), in2(bytes), val(16);
    for (auto* v : {&in1, &in2, &val}) {
      const bool single = t.elem == Elem::f32 || t.elem == Elem::c32;
      for (size_t i = 0; i < std::min(v->size(), bytes); i += single ? 4 : 8) {
        const uint64_t b = hostile_part(rng_, single, pool);
        std::memcpy(v->data() + i, &b, single ? 4 : 8);  // little-endian: the low half for a float
      }
    }
    std::vector<char> ref1, ref2, out1(bytes), out2(bytes);
    Outcome ref{};
    for (int k = 0; k < 16; ++k) {
      const int word = (k + id_) & 15;
      const Outcome o = separate(t, word, len, in1, in2, val, out1, out2);
      if (k == 0) ref = o, ref1 = out1, ref2 = out2;
      else if (t.guarded && (o != ref || out1 != ref1 || out2 != ref2))
        finding(t.name + ": caller word " + hex(caller_word(word)) + " differs from " + hex(caller_word(id_)) +
                ", len " + std::to_string(len) + (out1 != ref1 || out2 != ref2 ? ", results differ" : "") +
                ", status " + std::to_string(o.status) + "/" + std::to_string(ref.status) + " flags " +
                hex(o.flags) + "/" + hex(ref.flags));
    }
    in_place(t, len, in1, in2, val, ref, ref1, ref2);
  }

  // The kernels compute under the caller's word, which their callers set to
  // round to nearest: by default only the four nearest words (results are not
  // compared; the control word and the stack are).
  void run_kernel(const Kernel& k) {
    tl_function = k.name.c_str();
    for (int i = 0; i < 64; ++i) {
      const uint16_t cw = caller_word(opt.all_kernel_words ? (i + id_) & 15 : (i + id_) & 3);
      tl_word = cw;
      const long double x = hostile_ld(rng_), y = hostile_ld(rng_);
      long double a, b;
      set_control_word(cw);
      if (k.shape == Shape::two)
        reinterpret_cast<void (*)(long double, long double*, long double*)>(k.fn)(x, &a, &b);
      else if (k.shape == Shape::binary)
        a = reinterpret_cast<long double (*)(long double, long double)>(k.fn)(x, y);
      else
        a = reinterpret_cast<long double (*)(long double)>(k.fn)(x);
      asm volatile("" : : "m"(a));
      const uint16_t after = control_word(), tag = tag_word();
      set_control_word(kBaseWord);
      ++n_calls, ++n_elements;
      if (after != cw) finding(k.name + ": control word " + hex(cw) + " came back as " + hex(after));
      if (tag != 0xFFFF) finding(k.name + ": x87 registers left in use, tag word " + hex(tag));
    }
  }

 private:
  static size_t bytes_max() { return static_cast<size_t>(opt.max_len) * 16 + 64; }

  // One call under a caller word with its checks: word back, stack empty,
  // status allowed, its flag raised and its code seen by the handler.
  Outcome checked_call(const Target& t, uint16_t cw, int len, const char* s1, const char* s2, const char* val,
                       char* d1, char* d2) {
    tl_len = len, tl_word = cw;
    if (tag_word() != 0xFFFF) finding(t.name + ": registers in use before the call (harness)");
    tl_reports = 0, tl_last_code = 0;
    set_control_word(cw);
    clear_flags();
    const int status = invoke(t, s1, s2, val, d1, d2, len);
    const uint16_t flags = kelfpu::flags(), after = control_word(), tag = tag_word();
    set_control_word(kBaseWord);
    clear_flags();
    ++n_calls;
    n_elements += static_cast<uint64_t>(len);

    const std::string where = " (len " + std::to_string(len) + ", caller word " + hex(cw) + ", " + tl_layout + ")";
    const std::string st = "status " + std::to_string(status);
    if (after != cw) finding(t.name + ": control word came back as " + hex(after) + where);
    if (tag != 0xFFFF) finding(t.name + ": x87 registers left in use, tag word " + hex(tag) + where);
    if (t.counts) {
      if (status != len) finding(t.name + ": returned " + std::to_string(status) + " for a count" + where);
      return {status, flags};
    }
    using namespace kelfpu;
    const uint16_t flag = status == 12 ? kOverflow : status == 17 ? kUnderflow : status == 18 ? kDivByZero
                                                                             : status == 19 ? kInvalid : 0;
    if ((status != 0 && !flag) || (status != 0 && (is_complex(t.elem) || !t.guarded))) finding(t.name + ": " + st + where);
    if (flag && !(flags & flag)) finding(t.name + ": " + st + " without its flag, flags " + hex(flags) + where);
    if (status > 0 && (tl_reports == 0 || tl_last_code != status))
      finding(t.name + ": " + st + " but the handler's last code was " + std::to_string(tl_last_code) + where);
    if (status == 0 && tl_reports != 0) finding(t.name + ": status 0 after " + std::to_string(tl_reports) + " reports" + where);
    return {status, flags};
  }

  // Separate arrays, each placed at random against a guard page.
  Outcome separate(const Target& t, int word, int len, const std::vector<char>& in1, const std::vector<char>& in2,
                   const std::vector<char>& val, std::vector<char>& out1, std::vector<char>& out2) {
    const size_t bytes = in1.size();
    char *s[2], *d[2];
    bool end[4];
    for (int i = 0; i < 2; ++i) {
      s[i] = src_[i].place(bytes, end[i] = below(rng_, 2), 4 * static_cast<int>(below(rng_, 2)));
      d[i] = dst_[i].place(bytes, end[2 + i] = below(rng_, 2), 4 * static_cast<int>(below(rng_, 2)));
      std::memcpy(s[i], i ? in2.data() : in1.data(), bytes);
      std::memset(d[i], 0x5A, bytes);
    }
    tl_layout = end[2] ? "destination against the upper guard page" : "destination against the lower guard page";
    const Outcome o = checked_call(t, caller_word(word), len, s[0], s[1], val.data(), d[0], d[1]);
    for (int i = 0; i < (t.shape == Shape::binary ? 2 : 1); ++i)
      if (std::memcmp(s[i], i ? in2.data() : in1.data(), bytes) != 0 || !src_[i].intact(s[i], bytes))
        finding(t.name + ": source " + std::to_string(i + 1) + " or the bytes beside it changed, len " + std::to_string(len));
    for (int i = 0; i < results(t.shape); ++i)
      if (!dst_[i].intact(d[i], bytes))
        finding(t.name + ": wrote outside destination " + std::to_string(i + 1) + ", len " + std::to_string(len) + ", " + tl_layout);
    std::memcpy(out1.data(), d[0], bytes);
    if (results(t.shape) == 2) std::memcpy(out2.data(), d[1], bytes);
    return o;
  }

  // The destination laid over a source (dst = src; also dst = src2 for two
  // sources, dst2 = src for two results): the results, status and flags of the
  // separate call.
  void in_place(const Target& t, int len, const std::vector<char>& in1, const std::vector<char>& in2,
                const std::vector<char>& val, const Outcome& ref, const std::vector<char>& ref1,
                const std::vector<char>& ref2) {
    const size_t bytes = in1.size();
    const int variants = t.shape == Shape::binary || t.shape == Shape::two ? 2 : 1;
    for (int v = 0; v < variants; ++v) {
      char* a = dst_[0].place(bytes, false, 4 * static_cast<int>(below(rng_, 2)));
      char* b = dst_[1].place(bytes, true, 0);
      char* s2 = src_[1].place(bytes, true, 0);
      std::memcpy(s2, in2.data(), bytes);
      std::memcpy(a, in1.data(), bytes);
      const char *src1 = a, *src2 = s2;
      char *dst1 = a, *dst2 = b;
      tl_layout = "in place, dst = src";
      if (t.shape == Shape::binary && v == 1) {
        std::memcpy(a, in2.data(), bytes);
        std::memcpy(s2, in1.data(), bytes);
        src1 = s2, src2 = a, tl_layout = "in place, dst = src2";
      } else if (t.shape == Shape::two && v == 1) {
        dst1 = b, dst2 = a, tl_layout = "in place, dst2 = src";
      }
      const Outcome o = checked_call(t, caller_word(id_), len, src1, src2, val.data(), dst1, dst2);
      const bool same = std::memcmp(dst1, ref1.data(), bytes) == 0 &&
                        (results(t.shape) == 1 || std::memcmp(dst2, ref2.data(), bytes) == 0);
      if (!same || o != ref)
        finding(t.name + ": " + tl_layout + " differs, len " + std::to_string(len) + ", status " +
                std::to_string(o.status) + "/" + std::to_string(ref.status) + ", flags " + hex(o.flags) + "/" +
                hex(ref.flags) + (same ? "" : ", results differ"));
      if (!dst_[0].intact(a, bytes) || !dst_[1].intact(b, bytes)) finding(t.name + ": " + tl_layout + " wrote outside its arrays");
    }
  }

  // Lengths 0, -1, INT_MIN and each null pointer in turn: -6 or -8 (Rint,
  // NearbyInt: 0), nothing written.
  void argument_checks(const Target& t) {
    const size_t es = elem_size(t.elem);
    char* s[2] = {src_[0].place(es, true, 0), src_[1].place(es, true, 0)};
    char* d[2] = {dst_[0].place(es, true, 0), dst_[1].place(es, true, 0)};
    std::memset(s[0], 0, es);
    std::memset(s[1], 0, es);
    char val[16] = {};
    struct Case {
      int len, null_arg;  // -1: none; 0..3: src, src2/val, dst, dst2 in argument order
    };
    std::vector<Case> cases = {{0, -1}, {-1, -1}, {-2147483647 - 1, -1}};
    if (!t.counts) {
      cases.insert(cases.end(), {{1, 0}, {1, 2}, {0, 0}});
      if (t.shape == Shape::binary) cases.push_back({1, 1});
      if (t.shape == Shape::two) cases.push_back({1, 3});
    }
    tl_layout = "argument checks";
    for (const Case& c : cases) {
      std::memset(d[0], kCanary, es);
      std::memset(d[1], kCanary, es);
      tl_len = c.len;
      const int status = invoke(t, c.null_arg == 0 ? nullptr : s[0], c.null_arg == 1 ? nullptr : s[1], val,
                                c.null_arg == 2 ? nullptr : d[0], c.null_arg == 3 ? nullptr : d[1], c.len);
      ++n_calls;
      const int want = t.counts ? 0 : c.len < 1 ? kelStatusSizeError : kelStatusNullPointer;
      const auto canary = [](char x) { return static_cast<unsigned char>(x) == kCanary; };
      const bool untouched = std::all_of(d[0], d[0] + es, canary) && std::all_of(d[1], d[1] + es, canary);
      if (status != want || !untouched)
        finding(t.name + ": len " + std::to_string(c.len) + ", null argument " + std::to_string(c.null_arg) +
                " returned " + std::to_string(status) + (untouched ? "" : " and wrote its destination"));
    }
  }

  int id_;
  std::mt19937_64 rng_;
  Guarded src_[2], dst_[2];
};

void collect(std::vector<Target>* targets, std::vector<Kernel>* kernels, std::vector<std::string>* missing) {
  size_t index = 0;
  for (const kelacc::ExportedName& e : kelacc::exported_names()) {
    void* fn = dlsym(RTLD_DEFAULT, e.name.c_str());
    if (!fn) {
      missing->push_back(e.name);
      continue;
    }
    const bool selected = (opt.only.empty() || e.name.find(opt.only) != std::string::npos) &&
                          index++ % static_cast<size_t>(opt.every) == 0;
    if (!selected) continue;
    if (e.kind == kelacc::ExportedName::kernel) {
      kernels->push_back({e.name, kelacc::find_kernel(e.family)->shape, fn});
      continue;
    }
    Target t{e.name, Elem::f64, Shape::unary, true, false, fn, nullptr, nullptr};
    if (e.kind == kelacc::ExportedName::complex) {
      t.cplx = kelacc::find_complex(e.family);
      t.elem = e.type == "32fc" ? Elem::c32 : Elem::c64;
      t.shape = t.cplx->shape;
    } else {
      t.real = kelacc::find_real(e.family);
      t.elem = e.type == "32f" ? Elem::f32 : Elem::f64;
      t.shape = t.real->shape;
      t.guarded = !t.real->rounding;
      t.counts = e.family == "Rint" || e.family == "NearbyInt";
    }
    targets->push_back(t);
  }
}

bool parse(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--all-kernel-words") {
      opt.all_kernel_words = true;
      continue;
    }
    char* end = nullptr;
    const char* v = i + 1 < argc ? argv[++i] : "";
    const double x = std::strtod(v, &end);
    const bool number = end != v && *end == 0 && x >= 0;
    if (a == "--only" && *v) opt.only = v;
    else if (a == "--seed" && number) opt.seed = static_cast<uint64_t>(x);
    else if (a == "--long" && number && x >= 1) opt.long_seconds = x;
    else if (a == "--max-len" && number && x >= 8) opt.max_len = static_cast<int>(x);
    else if (int* n = a == "--rounds" ? &opt.rounds : a == "--threads" ? &opt.threads : a == "--every" ? &opt.every : nullptr;
             n && number && x >= 1) *n = static_cast<int>(x);
    else {
      std::fprintf(stderr,
                   "usage: %s [--long SECONDS] [--rounds N] [--threads N] [--max-len N] [--every N] "
                   "[--only SUBSTRING] [--seed N] [--all-kernel-words]\n",
                   argv[0]);
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (!parse(argc, argv)) return 2;
  library_handler = reinterpret_cast<Handler>(dlsym(RTLD_NEXT, "_orxStdErrorHandlerExcept"));
  if (!library_handler) {
    std::fprintf(stderr, "the library's _orxStdErrorHandlerExcept is not found\n");
    return 2;
  }
  for (int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) signal(sig, on_fault);

  std::vector<Target> targets;
  std::vector<Kernel> kernels;
  std::vector<std::string> missing;
  collect(&targets, &kernels, &missing);
  std::printf("%zu vector functions and %zu kernels under test; %zu registered names not exported (skipped)%s%s\n",
              targets.size(), kernels.size(), missing.size(), missing.empty() ? "" : ", first ",
              missing.empty() ? "" : missing[0].c_str());

  const auto start = std::chrono::steady_clock::now();
  auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  auto done = [&](int round) { return opt.long_seconds > 0 ? elapsed() >= opt.long_seconds : round >= opt.rounds; };
  std::atomic<int> rounds_done{0};
  std::vector<std::thread> pool;
  for (int id = 0; id < opt.threads; ++id)
    pool.emplace_back([&, id] {
      Worker w(id, opt.seed * 1000003 + static_cast<uint64_t>(id));
      for (int round = 0; !done(round); ++round) {
        // Each thread walks the functions from a different point.
        const size_t n = targets.size();
        for (size_t i = 0; i < n && !(opt.long_seconds > 0 && done(0)); ++i) {
          const size_t k = (i + static_cast<size_t>(id) * n / static_cast<size_t>(opt.threads)) % n;
          w.run_target(targets[k], opt.seed + static_cast<uint64_t>(round) * 7919 + k);
        }
        for (const Kernel& k : kernels) w.run_kernel(k);
        if (id == 0) ++rounds_done;
      }
      mpfr_free_cache();  // the generators' constants, cached per thread
    });
  for (auto& t : pool) t.join();

  std::printf("%d threads, %d rounds (thread 0), %.1f s: %llu calls, %llu elements, 16 caller words, %llu error "
              "reports (each with a callback into the library), %llu findings\n",
              opt.threads, rounds_done.load(), elapsed(), static_cast<unsigned long long>(n_calls.load()),
              static_cast<unsigned long long>(n_elements.load()),
              static_cast<unsigned long long>(n_handler_calls.load()),
              static_cast<unsigned long long>(n_findings.load()));
  return n_findings.load() == 0 ? 0 : 1;
}

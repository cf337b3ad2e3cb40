// Reliability run: every exported vector function and long-double kernel
// called with hostile bit patterns (NaNs with payloads, infinities,
// subnormals, extremes, the registry's hard regions) in guarded arrays of 1
// to max-len elements, aligned or 4 bytes off, in place, under all 16 caller
// control words on several threads, with an interposed error handler that
// calls back into the library.  After every call: the caller's word is back,
// the x87 stack is empty, sources and the bytes beside the destinations are
// untouched, the status is allowed and its flag raised, the handler saw the
// reported codes, and guarded functions give the same bits under every word
// and in place.  Options: see parse(); exit status 0 when nothing was found.
#include <dlfcn.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

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
using kelfpu::kInvalid, kelfpu::kDivByZero, kelfpu::kOverflow, kelfpu::kUnderflow;

// The 28-byte x87 environment (control, status and tag words first).
struct Env {
  uint16_t w[14];
};
void save_env(Env* e) { asm volatile("fnstenv %0" : "=m"(*e) : : "memory"); }
void load_env(const Env& e) { asm volatile("fldenv %0" : : "m"(e) : "memory"); }
// The tag word: 0xFFFF when every register is empty.  fnstenv masks all
// exceptions as a side effect, so the caller's word is put back.
uint16_t tag_word() {
  Env e;
  const uint16_t cw = control_word();
  save_env(&e);
  set_control_word(cw);
  return e.w[4];
}

constexpr uint16_t kBaseWord = 0x037F;
// The 16 caller words: every precision control (including the reserved 01)
// and rounding control, all exceptions masked.
uint16_t caller_word(int i) { return static_cast<uint16_t>(0x007F | (i & 15) << 8); }


struct Options {
  double long_seconds = 0;
  int rounds = 2;
  int threads = 4;
  int max_len = 4096;
  int every = 1;
  std::string only;
  uint64_t seed = 1;
  bool all_kernel_words = false;
};
Options opt;

std::mutex report_mutex;
std::atomic<uint64_t> n_calls{0}, n_elements{0}, n_findings{0}, n_handler_calls{0}, n_callbacks{0};
constexpr int kMaxPrinted = 40;

void finding(const std::string& what) {
  const uint64_t k = n_findings++;
  if (k >= kMaxPrinted) return;
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
thread_local int tl_depth = 0;
thread_local int tl_reports = 0, tl_last_code = 0;

}  // namespace

// Replaces the library's handler for the whole process.  Each report first
// calls back into the library (a vector call that itself reports, so the
// handler is re-entered) with the x87 environment saved around it, then hands
// the record to the library's own handler, which raises the flag.
extern "C" void _orxStdErrorHandlerExcept(const OrxErrorRecord* r) {
  if (tl_depth == 0) {
    ++tl_reports;
    tl_last_code = r->code;
    ++n_handler_calls;
    ++tl_depth;
    Env env;
    save_env(&env);
    const double in[2] = {4.0, -1.0};
    double out[2];
    const KelStatus s = kelsSqrt_64f_A53(in, out, 2);
    if (s != kelStatusDomain || out[0] != 2.0 || out[1] == out[1])
      finding(std::string("callback from the handler into kelsSqrt_64f_A53 returned ") + std::to_string(s));
    ++n_callbacks;
    load_env(env);
    --tl_depth;
  }
  library_handler(r);
}

namespace {


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
  Guarded& operator=(const Guarded&) = delete;

  char* begin() const { return map_ + page_; }
  char* end() const { return map_ + page_ + size_; }

 private:
  char* map_;
  size_t page_, size_;
};

constexpr unsigned char kCanary = 0xA7;
constexpr size_t kMargin = 64;  // canary bytes checked on each side of an array

// Where an array of `bytes` lies in its buffer: against the lower guard page
// or against the upper one, aligned or 4 bytes off.
struct Placement {
  bool at_end;
  int offset;  // 0 or 4
};
char* place(const Guarded& g, size_t bytes, Placement p) {
  return p.at_end ? g.end() - bytes - p.offset : g.begin() + p.offset;
}
// Fills the margins around [a, a + bytes) with the canary; the window is cut
// at the guard pages.
void paint_margins(const Guarded& g, char* a, size_t bytes) {
  char* lo = a - kMargin < g.begin() ? g.begin() : a - kMargin;
  char* hi = a + bytes + kMargin > g.end() ? g.end() : a + bytes + kMargin;
  std::memset(lo, kCanary, static_cast<size_t>(a - lo));
  std::memset(a + bytes, kCanary, static_cast<size_t>(hi - (a + bytes)));
}
bool margins_intact(const Guarded& g, const char* a, size_t bytes) {
  const char* lo = a - kMargin < g.begin() ? g.begin() : a - kMargin;
  const char* hi = a + bytes + kMargin > g.end() ? g.end() : a + bytes + kMargin;
  for (const char* p = lo; p < a; ++p)
    if (static_cast<unsigned char>(*p) != kCanary) return false;
  for (const char* p = a + bytes; p < hi; ++p)
    if (static_cast<unsigned char>(*p) != kCanary) return false;
  return true;
}


enum class Elem { f32, f64, c32, c64 };
size_t elem_size(Elem e) { return e == Elem::f32 ? 4 : e == Elem::c64 ? 16 : 8; }
bool is_complex(Elem e) { return e == Elem::c32 || e == Elem::c64; }
bool part_is_float(Elem e) { return e == Elem::f32 || e == Elem::c32; }

struct Target {
  std::string name;
  Elem elem;
  kelacc::Shape shape;
  bool guarded;       // holds its own precision guard: results independent of the caller word
  bool counts;        // Rint, NearbyInt: no argument checks, returns the count
  void* fn;
  const kelacc::RealFunction* real;
  const kelacc::ComplexFunction* cplx;
};

struct Kernel {
  std::string name;
  kelacc::Shape shape;
  void* fn;
};


// One part (float or double) as its bit pattern, widened to 64 bits.
class Values {
 public:
  explicit Values(uint64_t seed) : rng_(seed) {}
  uint64_t next() { return rng_(); }
  int below(int n) { return static_cast<int>(rng_() % static_cast<uint64_t>(n)); }

  // A special or threshold pattern of a float (single) or double part;
  // pool holds patterns from the function's own generator.
  uint64_t part(bool single, const std::vector<uint64_t>& pool) {
    const int fb = single ? 23 : 52;
    const uint64_t frac = (uint64_t{1} << fb) - 1, quiet = uint64_t{1} << (fb - 1);
    const uint64_t inf = (single ? 0xFFull : 0x7FFull) << fb, bias = single ? 127 : 1023;
    const uint64_t sign = (rng_() >> 63) << (single ? 31 : 63), any = single ? 0xFFFFFFFFull : ~uint64_t{0};
    const uint64_t m = (rng_() * 0x9E3779B97F4A7C15ull) & frac;
    const int kind = below(pool.empty() ? 13 : 18);
    if (kind >= 13) return pool[static_cast<size_t>(rng_() % pool.size())];
    switch (kind) {
      case 0: return sign | inf | (m & (quiet - 1) ? m & (quiet - 1) : 1);  // signalling NaN
      case 1: return sign | inf | quiet | (m & (quiet - 1));                 // quiet NaN
      case 2: return sign | inf;
      case 3: return sign;                                          // zero
      case 4: return sign | (m ? m : 1);                            // subnormal
      case 5: return sign | (below(2) ? 1 : frac);                  // extreme subnormals
      case 6: return sign | (below(2) ? frac + 1 : inf - 1);        // min normal, max
      case 7: return rng_() & any;                                  // any pattern
      case 8: return sign | (bias + below(20) - 10) << fb | m;      // near 1
      default: return sign | (rng_() & any >> 1);
    }
  }

 private:
  std::mt19937_64 rng_;
};

template <class T>
void add_parts(std::vector<uint64_t>& pool, const kelacc::Inputs<T>& in) {
  for (const auto* v : {&in.a, &in.b, &in.scalars})
    for (const T& x : *v) {
      if constexpr (std::is_same_v<T, Kel32fc> || std::is_same_v<T, Kel64fc>)
        pool.push_back(kelfpu::bits_of(x.re)), pool.push_back(kelfpu::bits_of(x.im));
      else
        pool.push_back(kelfpu::bits_of(x));
    }
}

// The registry's generator for the function, as a pool of part patterns.
std::vector<uint64_t> registry_pool(const Target& t, uint64_t seed) {
  std::vector<uint64_t> pool;
  const size_t n = 256;
  if (t.real && t.elem == Elem::f32) add_parts(pool, t.real->gen32(n, seed));
  if (t.real && t.elem == Elem::f64) add_parts(pool, t.real->gen64(n, seed));
  if (t.cplx && t.elem == Elem::c32) add_parts(pool, t.cplx->gen32(n, seed));
  if (t.cplx && t.elem == Elem::c64) add_parts(pool, t.cplx->gen64(n, seed));
  return pool;
}

// Fills n elements at p with hostile parts.
void fill(char* p, int n, Elem e, Values& v, const std::vector<uint64_t>& pool) {
  const int parts = is_complex(e) ? 2 * n : n;
  const bool single = part_is_float(e);
  for (int i = 0; i < parts; ++i) {
    const uint64_t b = v.part(single, pool);
    if (single) {
      const uint32_t w = static_cast<uint32_t>(b);
      std::memcpy(p + 4 * i, &w, 4);
    } else {
      std::memcpy(p + 8 * i, &b, 8);
    }
  }
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
A arg_from(const char* p) {
  A a;
  std::memcpy(&a, p, sizeof a);
  return a;
}

using Unary = int (*)(const void*, void*, int);
using Binary = int (*)(const void*, const void*, void*, int);
using Two = int (*)(const void*, void*, void*, int);

int invoke(const Target& t, const char* s1, const char* s2, const char* val, char* d1, char* d2, int len) {
  switch (t.shape) {
    case kelacc::Shape::unary: return reinterpret_cast<Unary>(t.fn)(s1, d1, len);
    case kelacc::Shape::binary: return reinterpret_cast<Binary>(t.fn)(s1, s2, d1, len);
    case kelacc::Shape::two: return reinterpret_cast<Two>(t.fn)(s1, d1, d2, len);
    case kelacc::Shape::scalar:
      switch (t.elem) {
        case Elem::f32: return reinterpret_cast<int (*)(const void*, F32Arg, void*, int)>(t.fn)(s1, arg_from<F32Arg>(val), d1, len);
        case Elem::f64: return reinterpret_cast<int (*)(const void*, F64Arg, void*, int)>(t.fn)(s1, arg_from<F64Arg>(val), d1, len);
        case Elem::c32: return reinterpret_cast<int (*)(const void*, C32Arg, void*, int)>(t.fn)(s1, arg_from<C32Arg>(val), d1, len);
        case Elem::c64: return reinterpret_cast<int (*)(const void*, C64Arg, void*, int)>(t.fn)(s1, arg_from<C64Arg>(val), d1, len);
      }
  }
  return 0;
}

int sources(kelacc::Shape s) { return s == kelacc::Shape::binary ? 2 : 1; }
int results(kelacc::Shape s) { return s == kelacc::Shape::two ? 2 : 1; }

// What one call left behind.
struct Outcome {
  int status;
  uint16_t flags;
  int reports, last_code;
};

// Per-thread buffers: two sources, two destinations.
struct Buffers {
  explicit Buffers(size_t bytes) : src{Guarded(bytes), Guarded(bytes)}, dst{Guarded(bytes), Guarded(bytes)} {}
  Guarded src[2], dst[2];
};

class Worker {
 public:
  Worker(int id, uint64_t seed) : id_(id), values_(seed), buf_(static_cast<size_t>(opt.max_len) * 16 + 64) {}

  void run_target(const Target& t, uint64_t seed) {
    tl_function = t.name.c_str();
    const std::vector<uint64_t> pool = registry_pool(t, seed);
    argument_checks(t);
    const size_t es = elem_size(t.elem);
    const int len = pick_len();
    const size_t bytes = es * static_cast<size_t>(len);
    std::vector<char> in1(bytes), in2(bytes), val(16);
    fill(in1.data(), len, t.elem, values_, pool);
    fill(in2.data(), len, t.elem, values_, pool);
    fill(val.data(), 1, t.elem, values_, pool);

    std::vector<char> ref1, ref2;
    Outcome ref{};
    for (int k = 0; k < 16; ++k) {
      const int word = (k + id_) & 15;
      std::vector<char> out1(bytes), out2(bytes);
      const Outcome o = call(t, word, len, in1, in2, val, out1, out2);
      if (k == 0) {
        ref = o, ref1 = out1, ref2 = out2;
        continue;
      }
      if (!t.guarded) continue;
      if (o.status != ref.status || o.flags != ref.flags || out1 != ref1 || out2 != ref2)
        finding(t.name + ": caller word " + hex(caller_word(word)) + " differs from " +
                hex(caller_word(id_ & 15)) + first_difference(t, len, in1, in2, val, out1, ref1, out2, ref2) +
                " status " + std::to_string(o.status) + "/" + std::to_string(ref.status) + " flags " +
                hex(o.flags) + "/" + hex(ref.flags));
    }
    in_place(t, len, in1, in2, val, ref, ref1, ref2);
  }

  // The kernels compute under the caller's control word, which their callers
  // set to round to nearest: by default only the four nearest words are
  // used (results are not compared; memory, stack and control word are).
  void run_kernel(const Kernel& k) {
    tl_function = k.name.c_str();
    for (int i = 0; i < 64; ++i) {
      const int word = opt.all_kernel_words ? (i + id_) & 15 : (i + id_) & 3;
      const uint16_t cw = caller_word(word);
      tl_word = cw;
      long double x = hostile_ld(), y = hostile_ld();
      volatile long double r1 = 0, r2 = 0;
      set_control_word(cw);
      if (k.shape == kelacc::Shape::two) {
        long double a, b;
        reinterpret_cast<void (*)(long double, long double*, long double*)>(k.fn)(x, &a, &b);
        r1 = a;
        r2 = b;
      } else if (k.shape == kelacc::Shape::binary) {
        r1 = reinterpret_cast<long double (*)(long double, long double)>(k.fn)(x, y);
      } else {
        r1 = reinterpret_cast<long double (*)(long double)>(k.fn)(x);
      }
      const uint16_t after = control_word(), tag = tag_word();
      set_control_word(kBaseWord);
      (void)r1, (void)r2;
      ++n_calls, ++n_elements;
      if (after != cw) finding(k.name + ": control word " + hex(cw) + " came back as " + hex(after));
      if (tag != 0xFFFF) finding(k.name + ": x87 registers left in use, tag word " + hex(tag));
    }
  }

 private:
  int pick_len() {
    const int r = values_.below(10);
    const int m = opt.max_len;
    if (r < 3) return 1 + values_.below(m < 8 ? m : 8);
    if (r < 7) return 1 + values_.below(m < 300 ? m : 300);
    return 1 + values_.below(m);
  }

  long double hostile_ld() {
    // Any sign and exponent; the integer bit usually set, sometimes not
    // (unnormals, pseudo-infinities and pseudo-NaNs).
    const uint64_t r = values_.next();
    uint64_t m = values_.next();
    if (values_.below(8) != 0) m |= uint64_t{1} << 63;
    uint16_t se = static_cast<uint16_t>(r);
    switch (values_.below(6)) {
      case 0: se |= 0x7FFF; break;
      case 1: se &= 0x8000; break;
      case 2: se = static_cast<uint16_t>((r & 0x8000) | (16383 + values_.below(40) - 20)); break;
      default: break;
    }
    return kelfpu::ld_from(se, m);
  }

  Outcome call(const Target& t, int word, int len, const std::vector<char>& in1, const std::vector<char>& in2,
               const std::vector<char>& val, std::vector<char>& out1, std::vector<char>& out2) {
    const size_t bytes = in1.size();
    Placement pl[4];
    for (auto& p : pl) p = {values_.below(2) == 1, 4 * values_.below(2)};
    char* s[2];
    char* d[2];
    for (int i = 0; i < 2; ++i) {
      s[i] = place(buf_.src[i], bytes, pl[i]);
      d[i] = place(buf_.dst[i], bytes, pl[2 + i]);
      std::memcpy(s[i], i ? in2.data() : in1.data(), bytes);
      paint_margins(buf_.src[i], s[i], bytes);
      paint_margins(buf_.dst[i], d[i], bytes);
      std::memset(d[i], 0x5A, bytes);
    }
    const uint16_t cw = caller_word(word);
    tl_len = len, tl_word = cw;
    tl_layout = pl[2].at_end ? (pl[2].offset ? "destination ends 4 bytes before its guard page" : "destination ends at its guard page")
                             : (pl[2].offset ? "destination 4 bytes after its guard page" : "destination at its guard page");
    if (tag_word() != 0xFFFF) finding(t.name + ": registers in use before the call (harness)");
    tl_reports = 0, tl_last_code = 0;
    set_control_word(cw);
    clear_flags();
    const int status = invoke(t, s[0], s[1], val.data(), d[0], d[1], len);
    const uint16_t flags = kelfpu::flags();
    const uint16_t after = control_word();
    const uint16_t tag = tag_word();
    set_control_word(kBaseWord);
    clear_flags();
    ++n_calls;
    n_elements += static_cast<uint64_t>(len);

    const Outcome o{status, flags, tl_reports, tl_last_code};
    check_outcome(t, o, len, cw, after, tag);
    for (int i = 0; i < sources(t.shape); ++i) {
      if (std::memcmp(s[i], i ? in2.data() : in1.data(), bytes) != 0)
        finding(t.name + ": source " + std::to_string(i + 1) + " changed, len " + std::to_string(len));
      if (!margins_intact(buf_.src[i], s[i], bytes)) finding(t.name + ": bytes beside source changed");
    }
    for (int i = 0; i < results(t.shape); ++i)
      if (!margins_intact(buf_.dst[i], d[i], bytes))
        finding(t.name + ": wrote outside destination " + std::to_string(i + 1) + ", len " + std::to_string(len) +
                ", " + tl_layout);
    std::memcpy(out1.data(), d[0], bytes);
    if (results(t.shape) == 2) std::memcpy(out2.data(), d[1], bytes);
    return o;
  }

  void check_outcome(const Target& t, const Outcome& o, int len, uint16_t cw, uint16_t after, uint16_t tag) {
    const std::string where = " (len " + std::to_string(len) + ", caller word " + hex(cw) + ")";
    if (after != cw) finding(t.name + ": control word came back as " + hex(after) + where);
    if (tag != 0xFFFF) finding(t.name + ": x87 registers left in use, tag word " + hex(tag) + where);
    if (t.counts) {
      if (o.status != len) finding(t.name + ": returned " + std::to_string(o.status) + " for a count" + where);
      return;
    }
    const bool known = o.status == 0 || o.status == 12 || o.status == 17 || o.status == 18 || o.status == 19;
    if (!known || (o.status != 0 && (is_complex(t.elem) || !t.guarded)))
      finding(t.name + ": status " + std::to_string(o.status) + where);
    const uint16_t flag = o.status == 12 ? kOverflow : o.status == 17 ? kUnderflow : o.status == 18 ? kDivByZero
                                                                            : o.status == 19 ? kInvalid : 0;
    if (flag && !(o.flags & flag))
      finding(t.name + ": status " + std::to_string(o.status) + " without its flag, flags " + hex(o.flags) + where);
    if (o.status > 0 && (o.reports == 0 || o.last_code != o.status))
      finding(t.name + ": status " + std::to_string(o.status) + " but the handler's last code was " +
              std::to_string(o.last_code) + where);
    if (o.status == 0 && o.reports != 0) finding(t.name + ": status 0 after " + std::to_string(o.reports) + " reports" + where);
  }

  // The same inputs with the destination laid over a source: the results,
  // status and flags of the separate call.
  void in_place(const Target& t, int len, const std::vector<char>& in1, const std::vector<char>& in2,
                const std::vector<char>& val, const Outcome& ref, const std::vector<char>& ref1,
                const std::vector<char>& ref2) {
    const size_t bytes = in1.size();
    const int word = id_ & 15;
    const int variants = t.shape == kelacc::Shape::binary || t.shape == kelacc::Shape::two ? 2 : 1;
    for (int v = 0; v < variants; ++v) {
      char* a = place(buf_.dst[0], bytes, {false, 4 * values_.below(2)});
      char* b = place(buf_.dst[1], bytes, {true, 0});
      char* s2 = place(buf_.src[1], bytes, {true, 0});
      paint_margins(buf_.dst[0], a, bytes);
      paint_margins(buf_.dst[1], b, bytes);
      const char *src1 = a, *src2 = s2;
      char *dst1 = a, *dst2 = b;
      std::memcpy(s2, in2.data(), bytes);
      std::memcpy(a, in1.data(), bytes);
      const char* how = "dst = src";
      if (t.shape == kelacc::Shape::binary && v == 1) {  // dst = src2
        std::memcpy(a, in2.data(), bytes);
        std::memcpy(s2, in1.data(), bytes);
        src1 = s2, src2 = a, how = "dst = src2";
      } else if (t.shape == kelacc::Shape::two && v == 1) {  // dst2 = src
        dst1 = b, dst2 = a, how = "dst2 = src";
      }
      tl_layout = how;
      tl_reports = 0;
      const uint16_t cw = caller_word(word);
      set_control_word(cw);
      clear_flags();
      const int status = invoke(t, src1, src2, val.data(), dst1, dst2, len);
      const uint16_t flags = kelfpu::flags();
      set_control_word(kBaseWord);
      clear_flags();
      ++n_calls;
      n_elements += static_cast<uint64_t>(len);
      const bool same1 = std::memcmp(dst1, ref1.data(), bytes) == 0;
      const bool same2 = results(t.shape) == 1 || std::memcmp(dst2, ref2.data(), bytes) == 0;
      if (!same1 || !same2 || status != ref.status || flags != ref.flags)
        finding(t.name + ": in place (" + how + ") differs, len " + std::to_string(len) + ", status " +
                std::to_string(status) + "/" + std::to_string(ref.status) + ", flags " + hex(flags) + "/" +
                hex(ref.flags) + (same1 && same2 ? "" : ", results differ"));
      if (!margins_intact(buf_.dst[0], a, bytes) || !margins_intact(buf_.dst[1], b, bytes))
        finding(t.name + ": in place (" + how + ") wrote outside its arrays");
    }
  }

  // Length and pointer checks: nothing may be written.
  void argument_checks(const Target& t) {
    const size_t es = elem_size(t.elem);
    char* s = place(buf_.src[0], es, {true, 0});
    char* s2 = place(buf_.src[1], es, {true, 0});
    char* d = place(buf_.dst[0], es, {true, 0});
    char* d2 = place(buf_.dst[1], es, {true, 0});
    std::memset(s, 0, es);
    std::memset(s2, 0, es);
    char val[16] = {};
    struct Case {
      int len;
      int null_arg;  // -1: none; 0..3: src, src2/val, dst, dst2 in argument order
    };
    std::vector<Case> cases = {{0, -1}, {-1, -1}, {-2147483647 - 1, -1}};
    if (!t.counts) {
      cases.push_back({1, 0});
      if (t.shape == kelacc::Shape::binary) cases.push_back({1, 1});
      cases.push_back({1, 2});
      if (t.shape == kelacc::Shape::two) cases.push_back({1, 3});
      cases.push_back({0, 0});
    }
    for (const Case& c : cases) {
      std::memset(d, kCanary, es);
      std::memset(d2, kCanary, es);
      const char* a1 = c.null_arg == 0 ? nullptr : s;
      const char* a2 = c.null_arg == 1 ? nullptr : s2;
      char* r1 = c.null_arg == 2 ? nullptr : d;
      char* r2 = c.null_arg == 3 ? nullptr : d2;
      tl_layout = "argument checks";
      tl_len = c.len;
      const int status = invoke(t, a1, a2, val, r1, r2, c.len);
      ++n_calls;
      const int want = t.counts ? 0 : c.len < 1 ? kelStatusSizeError : kelStatusNullPointer;
      bool untouched = true;
      for (size_t i = 0; i < es; ++i) untouched = untouched && static_cast<unsigned char>(d[i]) == kCanary &&
                                                  static_cast<unsigned char>(d2[i]) == kCanary;
      if (status != want || !untouched)
        finding(t.name + ": len " + std::to_string(c.len) + ", null argument " + std::to_string(c.null_arg) +
                " returned " + std::to_string(status) + (untouched ? "" : " and wrote its destination"));
    }
  }

  std::string first_difference(const Target& t, int len, const std::vector<char>& in1, const std::vector<char>& in2,
                               const std::vector<char>& val, const std::vector<char>& a1, const std::vector<char>& b1,
                               const std::vector<char>& a2, const std::vector<char>& b2) {
    const size_t es = elem_size(t.elem);
    for (int i = 0; i < len; ++i) {
      const size_t o = es * static_cast<size_t>(i);
      if (std::memcmp(&a1[o], &b1[o], es) == 0 && (results(t.shape) == 1 || std::memcmp(&a2[o], &b2[o], es) == 0))
        continue;
      std::string s = ": element " + std::to_string(i) + " x = " + bytes_hex(&in1[o], es);
      if (t.shape == kelacc::Shape::binary) s += ", y = " + bytes_hex(&in2[o], es);
      if (t.shape == kelacc::Shape::scalar) s += ", val = " + bytes_hex(val.data(), es);
      return s + " gives " + bytes_hex(&a1[o], es) + " vs " + bytes_hex(&b1[o], es);
    }
    return "";
  }

  static std::string bytes_hex(const char* p, size_t n) {
    std::string s;
    for (size_t part = 0; part < n; part += (n == 4 ? 4 : 8)) {
      uint64_t v = 0;
      std::memcpy(&v, p + part, n == 4 ? 4 : 8);
      s += (part ? "," : "") + hex(v);
    }
    return s;
  }

  int id_;
  Values values_;
  Buffers buf_;
};


bool selected(const std::string& name, size_t index) {
  if (!opt.only.empty() && name.find(opt.only) == std::string::npos) return false;
  return opt.every <= 1 || index % static_cast<size_t>(opt.every) == 0;
}

void collect(std::vector<Target>* targets, std::vector<Kernel>* kernels, std::vector<std::string>* missing) {
  size_t index = 0;
  for (const kelacc::ExportedName& e : kelacc::exported_names()) {
    void* fn = dlsym(RTLD_DEFAULT, e.name.c_str());
    if (!fn) {
      missing->push_back(e.name);
      continue;
    }
    if (!selected(e.name, index++)) continue;
    if (e.kind == kelacc::ExportedName::kernel) {
      kernels->push_back({e.name, kelacc::find_kernel(e.family)->shape, fn});
      continue;
    }
    Target t{e.name, Elem::f64, kelacc::Shape::unary, true, false, fn, nullptr, nullptr};
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
    const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
    char* end = nullptr;
    auto number = [&](double lo) {
      if (!v) return -1.0;
      const double x = std::strtod(v, &end);
      return end != v && *end == 0 && x >= lo ? x : -1.0;
    };
    double x;
    if (a == "--all-kernel-words") {
      opt.all_kernel_words = true;
      continue;
    }
    if (a == "--long" && (x = number(1)) > 0) opt.long_seconds = x;
    else if (a == "--rounds" && (x = number(1)) > 0) opt.rounds = static_cast<int>(x);
    else if (a == "--threads" && (x = number(1)) > 0) opt.threads = static_cast<int>(x);
    else if (a == "--max-len" && (x = number(8)) > 0) opt.max_len = static_cast<int>(x);
    else if (a == "--every" && (x = number(1)) > 0) opt.every = static_cast<int>(x);
    else if (a == "--seed" && (x = number(0)) >= 0) opt.seed = static_cast<uint64_t>(x);
    else if (a == "--only" && v) opt.only = v;
    else {
      // --long repeats rounds with fresh seeds until the time is up;
      // --all-kernel-words also calls the kernels under directed rounding.
      std::fprintf(stderr,
                   "usage: %s [--long SECONDS] [--rounds N] [--threads N] [--max-len N] [--every N] "
                   "[--only SUBSTRING] [--seed N] [--all-kernel-words]\n",
                   argv[0]);
      return false;
    }
    ++i;
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
  std::printf("%zu vector functions and %zu kernels under test; %zu registered names not exported (skipped)\n",
              targets.size(), kernels.size(), missing.size());
  if (!missing.empty()) {
    std::string list;
    for (size_t i = 0; i < missing.size() && i < 8; ++i) list += (i ? ", " : "") + missing[i];
    std::printf("  skipped: %s%s\n", list.c_str(), missing.size() > 8 ? ", ..." : "");
  }

  const auto start = std::chrono::steady_clock::now();
  auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  std::atomic<int> rounds_done{0};
  std::vector<std::thread> pool;
  for (int id = 0; id < opt.threads; ++id)
    pool.emplace_back([&, id] {
      Worker w(id, opt.seed * 1000003 + static_cast<uint64_t>(id));
      for (int round = 0;; ++round) {
        if (opt.long_seconds > 0 ? elapsed() >= opt.long_seconds : round >= opt.rounds) break;
        // Each thread walks the functions from a different point.
        const size_t n = targets.size();
        for (size_t i = 0; i < n; ++i) {
          const size_t k = (i + static_cast<size_t>(id) * n / static_cast<size_t>(opt.threads)) % n;
          w.run_target(targets[k], opt.seed + static_cast<uint64_t>(round) * 7919 + k);
          if (opt.long_seconds > 0 && elapsed() >= opt.long_seconds) break;
        }
        for (const Kernel& k : kernels) w.run_kernel(k);
        if (id == 0) ++rounds_done;
      }
      mpfr_free_cache();  // the generators' constants, cached per thread
    });
  for (auto& t : pool) t.join();

  std::printf(
      "%d threads, %d rounds (thread 0), %.1f s: %llu calls, %llu elements, 16 caller words, %llu error reports "
      "(each with a callback into the library), %llu findings\n",
      opt.threads, rounds_done.load(), elapsed(), static_cast<unsigned long long>(n_calls.load()),
      static_cast<unsigned long long>(n_elements.load()), static_cast<unsigned long long>(n_handler_calls.load()),
      static_cast<unsigned long long>(n_findings.load()));
  return n_findings.load() == 0 ? 0 : 1;
}

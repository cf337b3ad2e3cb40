// Reliability run (docs/reliability.md): every exported vector function and
// long-double kernel with hostile bit patterns in guarded, misaligned and
// in-place arrays, under all 16 caller control words on several threads, with
// an error handler that calls back into the library; checked after every call.
#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fpu.h"
#include "kelvm.h"
#include "references.h"

namespace {

using namespace kelfpu;
using kelacc::Shape;

struct Env {  // the 28-byte x87 environment (control, status and tag words first)
  uint16_t w[14];
};
void save_env(Env* e) { asm volatile("fnstenv %0" : "=m"(*e) : : "memory"); }
void load_env(const Env& e) { asm volatile("fldenv %0" : : "m"(e) : "memory"); }
// 0xFFFF when every register is empty (fnstenv masks all exceptions: the word is put back).
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
  int long_seconds = 0, rounds = 2, threads = 4, max_len = 4096, every = 1, seed = 1;
  std::string only;
  bool all_kernel_words = false;
} opt;

std::mutex report_mutex;
std::atomic<uint64_t> n_calls{0}, n_elements{0}, n_findings{0}, n_handler_calls{0};

__attribute__((format(printf, 1, 2))) void finding(const char* fmt, ...) {
  if (n_findings++ >= 40) return;
  std::lock_guard<std::mutex> lock(report_mutex);
  va_list ap;
  va_start(ap, fmt);
  std::fputs("FINDING: ", stderr);
  std::vfprintf(stderr, fmt, ap);
  std::fputc('\n', stderr);
  va_end(ap);
}

using Handler = void (*)(const OrxErrorRecord*);
Handler library_handler = nullptr;
thread_local int tl_depth = 0, tl_reports = 0, tl_last_code = 0;

}  // namespace

// Replaces the library's handler: each report first calls back into the library (which reports
// in turn) with the x87 environment saved around it, then goes to the library's handler.
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
      finding("callback from the handler into kelsSqrt_64f_A53 returned %d", s);
    load_env(env);
    --tl_depth;
  }
  library_handler(r);
}

namespace {

constexpr unsigned char kCanary = 0xA7;
constexpr size_t kMargin = 64;  // canary bytes checked on each side of an array
bool all_canary(const char* a, const char* b) {
  return std::all_of(a, b, [](char c) { return static_cast<unsigned char>(c) == kCanary; });
}

// A writable area with an inaccessible page on each side.
class Guarded {
 public:
  explicit Guarded(size_t bytes) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
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
    std::memset(lo(a), kCanary, static_cast<size_t>(a - lo(a)));
    std::memset(a + bytes, kCanary, static_cast<size_t>(hi(a, bytes) - (a + bytes)));
    return a;
  }
  bool intact(const char* a, size_t bytes) const { return all_canary(lo(a), a) && all_canary(a + bytes, hi(a, bytes)); }

 private:
  char* begin() const { return map_ + page_; }
  char* end() const { return map_ + page_ + size_; }
  char* lo(const char* a) const { return const_cast<char*>(a) - std::min<size_t>(kMargin, a - begin()); }
  char* hi(const char* a, size_t n) const { return const_cast<char*>(a) + n + std::min<size_t>(kMargin, end() - a - n); }
  size_t page_, size_;
  char* map_;
};

enum class Elem { f32, f64, c32, c64 };
size_t elem_size(Elem e) { return e == Elem::f32 ? 4 : e == Elem::c64 ? 16 : 8; }

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

int below(std::mt19937_64& rng, int n) { return static_cast<int>(rng() % static_cast<uint64_t>(n)); }

// A float or double part, widened to 64 bits: a signalling or quiet NaN, a subnormal, any
// pattern, or a pattern of the function's own generator (specials, thresholds, hard regions).
uint64_t hostile_part(std::mt19937_64& rng, bool single, const std::vector<uint64_t>& pool) {
  const int fb = single ? 23 : 52;
  const uint64_t frac = (uint64_t{1} << fb) - 1, inf = (single ? 0xFFull : 0x7FFull) << fb;
  const uint64_t any = single ? rng() >> 32 : rng(), sign = any & (uint64_t{1} << (single ? 31 : 63));
  switch (below(rng, 8)) {
    case 0: return sign | inf | ((any & frac >> 1) ? (any & frac >> 1) : 1);  // signalling NaN
    case 1: return sign | inf | ((frac >> 1) + 1) | (any & frac);         // quiet NaN
    case 2: return sign | (any & frac);                                   // subnormal or zero
    case 3: return any;
    default: return pool[rng() % pool.size()];
  }
}

// Any sign and exponent; the integer bit sometimes clear (unnormals, pseudo-infinities, pseudo-NaNs).
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
  return ld_from(se, m);
}

// The registry's generator for the function, as a pool of part patterns.
std::vector<uint64_t> registry_pool(const Target& t, uint64_t seed) {
  std::vector<uint64_t> pool;
  auto add = [&pool](const auto& in) {
    for (const auto* v : {&in.a, &in.b, &in.scalars})
      for (const auto& x : *v) {
        if constexpr (requires { x.re; })
          pool.push_back(bits_of(x.re)), pool.push_back(bits_of(x.im));
        else
          pool.push_back(bits_of(x));
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

// The by-value argument travels as its bits: on i386 as integers in the same stack slot (an x87
// load would quiet a signalling NaN, qemu's rounds it); on x86-64 in SSE registers.
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

// What one call left behind.
struct Outcome {
  int status;
  uint16_t flags;
  std::vector<char> out1, out2;
  bool operator==(const Outcome&) const = default;
};

// Array layouts: separate arrays, or the destination laid over a source.
enum Layout { kSeparate, kDstIsSrc, kDstIsSrc2, kDst2IsSrc };
const char* const kLayoutNames[] = {"separate", "dst = src", "dst = src2", "dst2 = src"};

class Worker {
 public:
  Worker(int id, uint64_t seed)
      : id_(id), rng_(seed), src_{Guarded(bytes_max()), Guarded(bytes_max())}, dst_{Guarded(bytes_max()), Guarded(bytes_max())} {}

  // The same inputs under the 16 words, then in place under the first word.
  void run_target(const Target& t, uint64_t seed) {
    const std::vector<uint64_t> pool = registry_pool(t, seed);
    argument_checks(t);
    const int r = below(rng_, 10);
    const int len = 1 + below(rng_, std::min(opt.max_len, r < 3 ? 8 : r < 7 ? 300 : opt.max_len));
    const size_t bytes = elem_size(t.elem) * static_cast<size_t>(len);
    const bool single = t.elem == Elem::f32 || t.elem == Elem::c32;
    std::vector<char> in[3] = {std::vector<char>(bytes), std::vector<char>(bytes), std::vector<char>(16)};
    for (auto& v : in)
      for (size_t i = 0; i < std::min(v.size(), bytes); i += single ? 4 : 8) {
        const uint64_t b = hostile_part(rng_, single, pool);
        std::memcpy(v.data() + i, &b, single ? 4 : 8);  // little-endian: the low half for a float
      }
    const Outcome ref = call(t, id_, len, in, kSeparate);
    for (int k = 1; k < 16; ++k)
      if (call(t, id_ + k, len, in, kSeparate) != ref && t.guarded)
        finding("%s: caller word 0x%04x differs from 0x%04x, len %d", t.name.c_str(), caller_word(id_ + k),
                caller_word(id_), len);
    for (Layout l : {kDstIsSrc, t.shape == Shape::binary ? kDstIsSrc2 : t.shape == Shape::two ? kDst2IsSrc : kSeparate})
      if (l != kSeparate && call(t, id_, len, in, l) != ref)
        finding("%s: in place (%s) differs from separate arrays, len %d", t.name.c_str(), kLayoutNames[l], len);
  }

  // Kernels compute under the caller's word: by default the four round-to-nearest words; the
  // control word and the stack are checked, not the results.
  void run_kernel(const Kernel& k) {
    for (int i = 0; i < 64; ++i) {
      const uint16_t cw = caller_word(opt.all_kernel_words ? i + id_ : (i + id_) & 3);
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
      if (after != cw) finding("%s: control word 0x%04x came back as 0x%04x", k.name.c_str(), cw, after);
      if (tag != 0xFFFF) finding("%s: x87 registers left in use, tag word 0x%04x", k.name.c_str(), tag);
    }
  }

 private:
  static size_t bytes_max() { return static_cast<size_t>(opt.max_len) * 16 + 64; }

  // One call, each array against a random guard page, aligned or 4 bytes off: word back, stack
  // empty, sources and bytes beside arrays untouched, status allowed, flagged and reported.
  Outcome call(const Target& t, int word, int len, const std::vector<char> (&in)[3], Layout layout) {
    const size_t bytes = in[0].size();
    char *s[2], *d[2], *placed[4];
    for (int i = 0; i < 2; ++i) {
      placed[i] = s[i] = src_[i].place(bytes, below(rng_, 2), 4 * below(rng_, 2));
      placed[2 + i] = d[i] = dst_[i].place(bytes, below(rng_, 2), 4 * below(rng_, 2));
      std::memcpy(s[i], in[i].data(), bytes);
      std::memset(d[i], 0x5A, bytes);
    }
    if (layout != kSeparate) {
      char*& src = s[layout == kDstIsSrc2];
      src = d[layout == kDst2IsSrc];
      std::memcpy(src, in[layout == kDstIsSrc2].data(), bytes);
    }
    const uint16_t cw = caller_word(word);
    tl_reports = 0, tl_last_code = 0;
    set_control_word(cw);
    clear_flags();
    const int status = invoke(t, s[0], s[1], in[2].data(), d[0], d[1], len);
    const uint16_t raised = flags(), after = control_word(), tag = tag_word();
    set_control_word(kBaseWord);
    clear_flags();
    ++n_calls;
    n_elements += static_cast<uint64_t>(len);

    bool kept = true;  // the sources (unless overlaid) and the bytes beside every array
    for (int i = 0; i < (t.shape == Shape::binary ? 2 : 1); ++i)
      kept &= s[i] != placed[i] || std::memcmp(s[i], in[i].data(), bytes) == 0;
    for (int i = 0; i < 4; ++i) kept &= (i < 2 ? src_[i] : dst_[i - 2]).intact(placed[i], bytes);
    const uint16_t flag = status == 12 ? kOverflow : status == 17 ? kUnderflow : status == 18 ? kDivByZero
                                                                        : status == 19 ? kInvalid : 0;
    const bool complex = t.elem == Elem::c32 || t.elem == Elem::c64, real = !t.counts;
    const std::pair<bool, const char*> checks[] = {
        {after == cw, "caller's control word not restored"},
        {tag == 0xFFFF, "x87 registers left in use"},
        {kept, "a source or a byte beside an array changed"},
        {t.counts ? status == len : status == 0 || (flag && !complex && t.guarded), "status not allowed"},
        {!real || !flag || (raised & flag), "status without its flag"},
        {!real || status <= 0 || (tl_reports > 0 && tl_last_code == status), "status is not the handler's last code"},
        {!real || status != 0 || tl_reports == 0, "reports with status 0"},
    };
    for (const auto& [ok, what] : checks)
      if (!ok)
        finding("%s: %s: status %d, flags 0x%x, word back 0x%04x, tag 0x%04x, %d reports (last %d); len %d, "
                "caller word 0x%04x, %s", t.name.c_str(), what, status, raised, after, tag, tl_reports, tl_last_code,
                len, cw, kLayoutNames[layout]);
    Outcome o{status, raised, std::vector<char>(d[0], d[0] + bytes), {}};
    if (t.shape == Shape::two) o.out2.assign(d[1], d[1] + bytes);
    return o;
  }

  // Lengths 0, -1, INT_MIN and each null pointer: -6 or -8 (Rint, NearbyInt: 0), nothing written.
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
    for (const Case& c : cases) {
      std::memset(d[0], kCanary, es);
      std::memset(d[1], kCanary, es);
      const int status = invoke(t, c.null_arg == 0 ? nullptr : s[0], c.null_arg == 1 ? nullptr : s[1], val,
                                c.null_arg == 2 ? nullptr : d[0], c.null_arg == 3 ? nullptr : d[1], c.len);
      ++n_calls;
      const int want = t.counts ? 0 : c.len < 1 ? kelStatusSizeError : kelStatusNullPointer;
      if (status != want || !all_canary(d[0], d[0] + es) || !all_canary(d[1], d[1] + es))
        finding("%s: len %d, null argument %d returned %d or wrote its destination", t.name.c_str(), c.len,
                c.null_arg, status);
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
    if (!(opt.only.empty() || e.name.find(opt.only) != std::string::npos) || index++ % opt.every != 0) continue;
    if (e.kind == kelacc::ExportedName::kernel) {
      kernels->push_back({e.name, kelacc::find_kernel(e.family)->shape, fn});
    } else if (e.kind == kelacc::ExportedName::complex) {
      const kelacc::ComplexFunction* c = kelacc::find_complex(e.family);
      targets->push_back({e.name, e.type == "32fc" ? Elem::c32 : Elem::c64, c->shape, true, false, fn, nullptr, c});
    } else {
      const kelacc::RealFunction* r = kelacc::find_real(e.family);
      targets->push_back({e.name, e.type == "32f" ? Elem::f32 : Elem::f64, r->shape, !r->rounding,
                          e.family == "Rint" || e.family == "NearbyInt", fn, r, nullptr});
    }
  }
}

bool parse(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    int* n = a == "--rounds" ? &opt.rounds : a == "--threads" ? &opt.threads : a == "--every" ? &opt.every
           : a == "--max-len" ? &opt.max_len : a == "--long" ? &opt.long_seconds : a == "--seed" ? &opt.seed : nullptr;
    if (a == "--all-kernel-words") opt.all_kernel_words = true;
    else if (a == "--only" && i + 1 < argc) opt.only = argv[++i];
    else if (!n || i + 1 == argc || (*n = std::atoi(argv[++i])) < 1) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (!parse(argc, argv))
    return std::fprintf(stderr, "usage: %s [--long SECONDS] [--rounds N] [--threads N] [--max-len N] [--every N] "
                        "[--only SUBSTRING] [--seed N] [--all-kernel-words]\n", argv[0]), 2;
  library_handler = reinterpret_cast<Handler>(dlsym(RTLD_NEXT, "_orxStdErrorHandlerExcept"));
  if (!library_handler) return std::fprintf(stderr, "the library's _orxStdErrorHandlerExcept is not found\n"), 2;
  std::vector<Target> targets;
  std::vector<Kernel> kernels;
  std::vector<std::string> missing;
  collect(&targets, &kernels, &missing);
  std::printf("%zu vector functions and %zu kernels under test; %zu registered names not exported (skipped)\n",
              targets.size(), kernels.size(), missing.size());

  const auto start = std::chrono::steady_clock::now();
  auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
  auto done = [&](int round) { return opt.long_seconds > 0 ? elapsed() >= opt.long_seconds : round >= opt.rounds; };
  std::vector<std::thread> pool;
  for (int id = 0; id < opt.threads; ++id)
    pool.emplace_back([&, id] {
      Worker w(id, static_cast<uint64_t>(opt.seed) * 1000003 + static_cast<uint64_t>(id));
      for (int round = 0; !done(round); ++round) {
        // Each thread walks the functions from a different point.
        const size_t n = targets.size();
        for (size_t i = 0; i < n && !(opt.long_seconds > 0 && done(0)); ++i) {
          const size_t k = (i + static_cast<size_t>(id) * n / static_cast<size_t>(opt.threads)) % n;
          w.run_target(targets[k], opt.seed + static_cast<uint64_t>(round) * 7919 + k);
        }
        for (const Kernel& k : kernels) w.run_kernel(k);
      }
      mpfr_free_cache();  // the generators' constants, cached per thread
    });
  for (auto& t : pool) t.join();

  std::printf("%d threads, %.1f s: %llu calls, %llu elements, 16 caller words, %llu error reports (each with a "
              "callback into the library), %llu findings\n",
              opt.threads, elapsed(), static_cast<unsigned long long>(n_calls.load()),
              static_cast<unsigned long long>(n_elements.load()),
              static_cast<unsigned long long>(n_handler_calls.load()),
              static_cast<unsigned long long>(n_findings.load()));
  return n_findings.load() == 0 ? 0 : 1;
}

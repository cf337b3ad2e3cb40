// kelvm_accuracy_report: measures every exported function of libkelvmpx that
// is present against its correctly rounded reference and writes the accuracy
// report (Markdown) and one error histogram per family (CSV, plotted by
// scripts/accuracy_report.sh).
//
//   kelvm_accuracy_report [--samples N] [--seed S] [--exhaustive] [--range LO:HI]
//                         [--only NAME]... [--out FILE] [--data DIR] [--rounding FILE]
//
// --samples  inputs per real function (complex: N/4, kernels: N/2); default 100000
// --exhaustive  every float bit pattern for the one-argument float functions
// --range    restricts --exhaustive to the bit patterns LO..HI-1 (hex)
// --only     only functions whose name contains NAME
// --rounding how each float member's correct rounding is known (a record of
//            the float-rounding long mode, one tab-separated line per sweep:
//            family, ours|fixed, inputs, misses, MPFR decisions, first miss,
//            method; '#' lines are notes); default docs/accuracy/correct_rounding.tsv
// The functions are found by name (dlsym), so the report covers whatever the
// library exports at the time; absent functions are listed as such.
#include <dlfcn.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "kelvm.h"
#include "references.h"

using namespace kelacc;

namespace {

struct Options {
  size_t samples = 100000;
  uint64_t seed = 1;
  bool exhaustive = false;
  uint64_t lo = 0, hi = uint64_t{1} << 32;
  std::vector<std::string> only;
  std::string out = "docs/accuracy.md";
  std::string data = "docs/accuracy";
  std::string rounding = "docs/accuracy/correct_rounding.tsv";
};

// The correct-rounding record: the cell text per family and the notes.
struct RoundingRecord {
  std::map<std::string, std::string> cells;
  std::vector<std::string> notes;
};

RoundingRecord read_rounding(const std::string& path) {
  RoundingRecord rec;
  FILE* f = std::fopen(path.c_str(), "r");
  if (!f) return rec;
  char line[1024];
  while (std::fgets(line, sizeof line, f)) {
    std::string l(line);
    while (!l.empty() && (l.back() == '\n' || l.back() == '\r')) l.pop_back();
    if (l.empty()) continue;
    if (l[0] == '#') {
      rec.notes.push_back(l.substr(l.find_first_not_of("# ")));
      continue;
    }
    std::vector<std::string> field;
    for (size_t a = 0, b; a <= l.size(); a = b + 1) {
      b = l.find('\t', a);
      if (b == std::string::npos) b = l.size();
      field.push_back(l.substr(a, b - a));
    }
    if (field.size() < 7) continue;
    const bool fixed_algorithm = field[1] == "fixed";
    // "-" misses: evidence without a count (a test rather than a sweep).
    std::string text = field[6] + "; " + field[2];
    if (field[3] != "-") text += ": " + field[3] + (field[3] == "1" ? " miss" : " misses");
    if (fixed_algorithm && field[3] != "0") text += " (first " + field[5] + ")";
    std::string& c = rec.cells[field[0]];
    c += (c.empty() ? "" : "<br>") + text;
  }
  std::fclose(f);
  return rec;
}

struct Row {
  ExportedName name;
  Summary summary;
  double bound;
  bool exhaustive;
  double seconds;
};

std::string cell(const std::string& s) {  // Markdown table cell
  std::string out;
  for (char c : s) out += c == '|' ? std::string("\\|") : std::string(1, c);
  return out;
}

std::string fixed(double v, int digits = 3) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", digits, v);
  return buf;
}

const char* kind_name(ExportedName::Kind k) {
  return k == ExportedName::real ? "real" : k == ExportedName::complex ? "complex" : "kernel";
}

// Every float bit pattern in [lo, hi), chunk by chunk.
Summary exhaustive_float(const RealFunction& f, AnyFunction fn, uint64_t lo, uint64_t hi) {
  Summary s;
  std::vector<float> xs;
  constexpr uint64_t kChunk = 1 << 16;
  for (uint64_t b = lo; b < hi; b += kChunk) {
    const uint64_t e = std::min(hi, b + kChunk);
    xs.resize(e - b);
    for (uint64_t i = b; i < e; ++i) {
      const uint32_t bits = static_cast<uint32_t>(i);
      std::memcpy(&xs[i - b], &bits, 4);
    }
    if (f.shape == Shape::unary)
      s.merge(measure<float>(reinterpret_cast<VectorUnary<float>>(fn), f.ref, xs));
    else
      s.merge(measure_two<float>(reinterpret_cast<VectorTwo<float>>(fn), f.ref, f.second, xs));
    if ((b / kChunk) % 4096 == 4095) std::fprintf(stderr, "  ... %08" PRIx64 "\n", e);
  }
  return s;
}

bool wanted(const Options& o, const ExportedName& n) {
  if (o.only.empty()) return true;
  for (const auto& w : o.only)
    if (n.name.find(w) != std::string::npos) return true;
  return false;
}

void write_histograms(const Options& o, const std::vector<Row>& rows) {
  std::map<std::string, std::vector<const Row*>> families;
  for (const auto& r : rows) families[std::string(kind_name(r.name.kind)) + "-" + r.name.family].push_back(&r);
  for (const auto& [key, members] : families) {
    const std::string path = o.data + "/" + key + ".csv";
    FILE* f = std::fopen(path.c_str(), "w");
    if (!f) {
      std::fprintf(stderr, "cannot write %s\n", path.c_str());
      continue;
    }
    std::fprintf(f, "function,lower,upper,count\n");
    for (const Row* r : members) {
      const auto& h = r->summary.histogram;
      for (int b = 0; b < Histogram::kBins; ++b) {
        if (!h.counts[b]) continue;
        std::fprintf(f, "%s,%.17g,%.17g,%" PRIu64 "\n", r->name.name.c_str(), Histogram::lower_edge(b),
                     Histogram::lower_edge(b + 1), h.counts[b]);
      }
    }
    std::fclose(f);
  }
}

void write_markdown(const Options& o, const std::vector<Row>& rows, const std::vector<ExportedName>& absent,
                    size_t total) {
  const RoundingRecord rounding = read_rounding(o.rounding);
  // A family's table gets the correct-rounding column when the record has it.
  auto has_rounding = [&](const Row& r) {
    return r.name.kind == ExportedName::real && rounding.cells.count(r.name.family) != 0;
  };
  FILE* f = std::fopen(o.out.c_str(), "w");
  if (!f) {
    std::fprintf(stderr, "cannot write %s\n", o.out.c_str());
    std::exit(1);
  }
  const KelLibraryVersion* v = kelvmGetLibVersion();
  std::fprintf(f, "# Accuracy of libkelvmpx\n\n");
  std::fprintf(f,
               "Measured by `scripts/accuracy_report.sh` (`kelvm_accuracy_report`, native build) for %s %s: "
               "%zu of the %zu exported vector functions and kernels are present.\n\n",
               v->name, v->version, rows.size(), total);
  std::fprintf(f,
               "Each result is compared with the exact value computed by MPFR %s (real) or MPC %s (complex) at "
               "%d bits. The error is |result - exact| in units in the last place of the exact value in the "
               "destination format (the subnormal ulp below the normal range; long-double kernels in ulps of the "
               "64-bit significand). Complex results use the normwise measure: the larger of the two parts' "
               "errors in ulps of the larger part's magnitude. A correctly rounded result has an error of at most "
               "0.5 ulp. Class errors (NaN against a number, infinity against a finite value, the sign of a zero, "
               "checked per part) are counted separately and not included in the ulp figures.\n\n",
               mpfr_get_version(), mpc_get_version(), static_cast<int>(kExactBits));
  std::fprintf(f,
               "Inputs: %s; seed %" PRIu64 ". Each function's inputs mix random bit patterns over the whole "
               "range with its critical regions (thresholds and their neighbours, near 1, near multiples of pi/2, "
               "tiny and huge arguments, around overflow and underflow). Bounds: A53 and A24 1 ulp, A50 4, A21 "
               "8, A11 8192; the rounding family is exact; kernels %g ulps.\n\n",
               o.exhaustive ? "every float bit pattern for the one-argument float functions, the sample "
                              "counts of the table otherwise"
                            : "the sample counts of the table",
               o.seed, kKernelBound);
  if (!rounding.cells.empty()) {
    std::fprintf(f,
                 "Correct rounding of the float members: the tables of the real families say, for the 32f "
                 "members, how it is known: a sweep of every float input, or random pairs for two-argument "
                 "members, with the number of results that differ from the correctly rounded one. The three "
                 "float members of a family share one kernel, so one sweep stands for all three.");
    for (const std::string& n : rounding.notes) std::fprintf(f, " %s", n.c_str());
    std::fprintf(f, "\n\n");
  }
  std::string current;
  for (const auto& r : rows) {
    const std::string key = std::string(kind_name(r.name.kind)) + "-" + r.name.family;
    if (key != current) {
      current = key;
      std::fprintf(f, "## %s (%s)\n\n![error distribution of %s](accuracy/%s.png)\n\n", r.name.family.c_str(),
                   kind_name(r.name.kind), r.name.family.c_str(), key.c_str());
      std::fprintf(f, "| Function | Samples | Max ulp | Mean ulp | Bound | Within | Class errors | Worst input |%s\n",
                   has_rounding(r) ? " Correct rounding |" : "");
      std::fprintf(f, "|---|---:|---:|---:|---:|---|---:|---|%s\n", has_rounding(r) ? "---|" : "");
    }
    const Summary& s = r.summary;
    const bool ok = s.max_ulps <= r.bound && s.class_errors == 0;
    std::string worst = s.worst_case.empty() ? "" : "`" + cell(s.worst_case) + "`";
    if (s.class_errors) worst += "<br>first class error: `" + cell(s.first_class_error) + "`";
    std::string how;
    if (has_rounding(r)) how = " " + (r.name.type == "32f" ? rounding.cells.at(r.name.family) : std::string()) + " |";
    std::fprintf(f, "| `%s` | %zu%s | %s | %s | %g | %s | %zu | %s |%s\n", r.name.name.c_str(), s.samples,
                 r.exhaustive ? " (all)" : "", fixed(s.max_ulps).c_str(), fixed(s.mean_ulps(), 4).c_str(), r.bound,
                 ok ? "yes" : "**no**", s.class_errors, worst.c_str(), how.c_str());
    auto next = &r + 1;
    const bool last = next == rows.data() + rows.size() ||
                      std::string(kind_name(next->name.kind)) + "-" + next->name.family != current;
    if (last) std::fprintf(f, "\n");
  }
  if (!absent.empty()) {
    std::fprintf(f, "## Not present in this build\n\n");
    std::map<std::string, int> families;
    for (const auto& n : absent) families[std::string(kind_name(n.kind)) + " " + n.family]++;
    std::string line;
    for (const auto& [fam, count] : families) line += (line.empty() ? "" : ", ") + fam + " (" + std::to_string(count) + ")";
    std::fprintf(f, "%s.\n", line.c_str());
  }
  std::fclose(f);
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "%s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--samples") {
      o.samples = std::strtoull(value().c_str(), nullptr, 0);
    } else if (a == "--seed") {
      o.seed = std::strtoull(value().c_str(), nullptr, 0);
    } else if (a == "--exhaustive") {
      o.exhaustive = true;
    } else if (a == "--range") {
      const std::string r = value();
      const size_t colon = r.find(':');
      o.lo = std::strtoull(r.substr(0, colon).c_str(), nullptr, 16);
      o.hi = std::strtoull(r.substr(colon + 1).c_str(), nullptr, 16);
    } else if (a == "--only") {
      o.only.push_back(value());
    } else if (a == "--out") {
      o.out = value();
    } else if (a == "--data") {
      o.data = value();
    } else if (a == "--rounding") {
      o.rounding = value();
    } else {
      std::fprintf(stderr,
                   "usage: %s [--samples N] [--seed S] [--exhaustive] [--range LO:HI] [--only NAME]... "
                   "[--out FILE] [--data DIR] [--rounding FILE]\n",
                   argv[0]);
      return 2;
    }
  }

  const auto names = exported_names();
  std::vector<Row> rows;
  std::vector<ExportedName> absent;
  for (const auto& n : names) {
    const auto fn = reinterpret_cast<AnyFunction>(dlsym(RTLD_DEFAULT, n.name.c_str()));
    if (!fn) {
      absent.push_back(n);
      continue;
    }
    if (!wanted(o, n)) continue;
    const clock_t start = std::clock();
    Row row{n, {}, bound_for_flavour(n.flavour), false, 0};
    const RealFunction* rf = n.kind == ExportedName::real ? find_real(n.family) : nullptr;
    if (o.exhaustive && rf && n.type == "32f" && (rf->shape == Shape::unary || rf->shape == Shape::two)) {
      row.summary = exhaustive_float(*rf, fn, o.lo, o.hi);
      row.exhaustive = o.lo == 0 && o.hi == uint64_t{1} << 32;
    } else {
      const size_t n_samples = n.kind == ExportedName::real      ? o.samples
                               : n.kind == ExportedName::complex ? std::max<size_t>(o.samples / 4, 1)
                                                                 : std::max<size_t>(o.samples / 2, 1);
      std::string error;
      if (!sample_registered(n.name, fn, n_samples, o.seed, &row.summary, &row.bound, &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
      }
    }
    row.seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    std::fprintf(stderr, "%-24s %s (%.1f s)\n", n.name.c_str(), row.summary.describe("").c_str() + 2, row.seconds);
    rows.push_back(std::move(row));
  }
  write_histograms(o, rows);
  write_markdown(o, rows, absent, names.size());
  std::fprintf(stderr, "%zu functions measured, %zu absent; wrote %s\n", rows.size(), absent.size(), o.out.c_str());
  return 0;
}

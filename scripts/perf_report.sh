#!/bin/sh
# Regenerates docs/performance.md and docs/performance.png: runs the benchmark
# suite of the native build and counts instructions per element of every
# present function with callgrind (the difference between 20000 and 10000
# elements, divided by 10000, so start-up costs cancel).
#   scripts/perf_report.sh [--quick]
set -eu
self="$(cd "$(dirname "$0")" && pwd)/$(basename "$0")"
cd "$(dirname "$0")/.."
count() {  # name n [special]
  valgrind --tool=callgrind --callgrind-out-file=/dev/null ./build/native/bench/kelvm_instr "$@" 2>&1 |
    sed -n 's/.*Collected : *\([0-9]*\).*/\1/p'
}
# One function and input set (NAME main|special): a line "NAME INPUTS instr".
if [ "${1:-}" = "--count" ]; then
  flag=""; [ "$3" = special ] && flag=special
  a=$(count "$2" 10000 $flag) || exit 0
  b=$(count "$2" 20000 $flag) || exit 0
  [ -n "$a" ] && [ -n "$b" ] && echo "$2 $3 $(( (b - a) / 10000 ))"
  exit 0
fi
min_time=0.2
[ "${1:-}" = "--quick" ] && min_time=0.02
cmake --preset native >/dev/null
cmake --build --preset native -j"$(nproc)" --target kelvm_bench kelvm_instr kelvm
out=build/native/perf
mkdir -p "$out" docs
./build/native/bench/kelvm_bench --benchmark_min_time="$min_time" \
  --benchmark_out="$out/bench.json" --benchmark_out_format=json >/dev/null
# Instruction counts after the timings, one callgrind run per core.
./build/native/kelvm --list | awk '{ print $1, "main"; print $1, "special" }' |
  xargs -n 2 -P "$(nproc)" "$self" --count > "$out/instr.tsv"
/usr/bin/python3 bench/report.py "$out/bench.json" "$out/instr.tsv" docs
echo "wrote docs/performance.md and docs/performance.png"

#!/bin/sh
# Regenerates docs/performance.md and docs/performance.png: runs the benchmark
# suite of the native build and counts instructions per element of every
# present function with callgrind (the difference between 20000 and 10000
# elements, divided by 10000, so start-up costs cancel).
#   scripts/perf_report.sh [--quick]
set -eu
cd "$(dirname "$0")/.."
min_time=0.2
[ "${1:-}" = "--quick" ] && min_time=0.02
cmake --preset native >/dev/null
cmake --build --preset native -j"$(nproc)" --target kelvm_bench kelvm_instr kelvm
out=build/native/perf
mkdir -p "$out" docs
./build/native/bench/kelvm_bench --benchmark_min_time="$min_time" \
  --benchmark_out="$out/bench.json" --benchmark_out_format=json >/dev/null
count() {  # name n [special]
  valgrind --tool=callgrind --callgrind-out-file=/dev/null ./build/native/bench/kelvm_instr "$@" 2>&1 |
    sed -n 's/.*Collected : *\([0-9]*\).*/\1/p'
}
: > "$out/instr.tsv"
for name in $(./build/native/kelvm --list); do
  for inputs in main special; do
    flag=""; [ "$inputs" = special ] && flag=special
    a=$(count "$name" 10000 $flag) || continue
    b=$(count "$name" 20000 $flag) || continue
    [ -n "$a" ] && [ -n "$b" ] && echo "$name $inputs $(( (b - a) / 10000 ))" >> "$out/instr.tsv"
  done
done
/usr/bin/python3 bench/report.py "$out/bench.json" "$out/instr.tsv" docs
echo "wrote docs/performance.md and docs/performance.png"

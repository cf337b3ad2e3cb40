#!/bin/sh
# Writes docs/accuracy.md and one error-distribution plot per family
# (docs/accuracy/<kind>-<Family>.png) from the native build.  Arguments go to
# kelvm_accuracy_report (--samples N, --seed S, --exhaustive, --range LO:HI,
# --only NAME); the defaults measure 100000 inputs per real function.
set -eu
cd "$(dirname "$0")/.."
cmake --preset native >/dev/null
cmake --build --preset native -j2 --target kelvm_accuracy_report >/dev/null
data=build/native/accuracy-data
rm -rf "$data"
mkdir -p "$data" docs/accuracy
build/native/tests/kelvm_accuracy_report --data "$data" --out docs/accuracy.md "$@"
/usr/bin/python3 scripts/plot_accuracy.py "$data" docs/accuracy

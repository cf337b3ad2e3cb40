#!/bin/sh
# Writes docs/api.md from the native build: every exported function with its
# declaration, shape, statuses, flags, special values computed by the library,
# and the accuracy measured by the last docs/accuracy.md (run
# scripts/accuracy_report.sh first when the functions changed).
set -eu
cd "$(dirname "$0")/.."
cmake --preset native >/dev/null
cmake --build --preset native -j2 --target kelvm_api_reference >/dev/null
build/native/tests/kelvm_api_reference --header include/kelvm.h --accuracy docs/accuracy.md --out docs/api.md

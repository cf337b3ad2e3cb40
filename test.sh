#!/bin/sh
# Builds both configurations and runs every test: the i386 build under
# qemu-i386 (the product), then the native build, which also checks that the
# two builds agree bit for bit, then the native build once more with the
# address and undefined-behaviour sanitizers.
set -eu
cd "$(dirname "$0")"
scripts/build_all.sh
ctest --preset i386
ctest --preset native
cmake --preset sanitize >/dev/null
cmake --build --preset sanitize -j"$(nproc)"
ctest --preset sanitize

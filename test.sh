#!/bin/sh
# Builds both configurations and runs every test: the i386 build under
# qemu-i386 (the product), then the native build, which also checks that the
# two builds agree bit for bit.
set -eu
cd "$(dirname "$0")"
scripts/build_all.sh
ctest --preset i386
ctest --preset native

#!/bin/sh
# Builds everything (the i386 product and the native x86-64 x87 build),
# installing missing Debian packages first, then runs the demonstration: the
# kelvm tool calling the i386 library under qemu-i386.
set -eu
cd "$(dirname "$0")"
scripts/bootstrap.sh
for preset in i386 native; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j"$(nproc)"
done
exec scripts/demo.sh

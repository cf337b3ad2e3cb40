#!/bin/sh
# Builds everything (the i386 product and the native x86-64 x87 build),
# installing missing Debian packages first, then runs the demonstration: the
# kelvm tool calling the i386 library under qemu-i386.
set -eu
cd "$(dirname "$0")"
scripts/build_all.sh
exec scripts/demo.sh

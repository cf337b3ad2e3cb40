#!/bin/sh
# Installs missing Debian packages, then configures and builds both presets:
# i386 (the product) and native (x86-64 with x87 arithmetic).
set -eu
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
for preset in i386 native; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j"$(nproc)"
done

#!/bin/sh
# The demonstration: a few calls of the i386 library through the kelvm tool.
set -eu
cd "$(dirname "$0")/.."
run() {
  echo "\$ kelvm $*"
  if ./build/i386/kelvm --list >/dev/null 2>&1; then ./build/i386/kelvm "$@"; else qemu-i386 ./build/i386/kelvm "$@"; fi
  echo
}
run Inv 0 -0 3 1e-310 inf nan
run Div 1:0 0:0 inf:0 6:4
run --type 32f --cw 0xe7f Inv 3
for f in Exp Ln Sqrt Sin; do
  if qemu-i386 ./build/i386/kelvm --list | grep -q "^kels${f}_64f_A53\$"; then run "$f" 0.5 1 100; fi
done
echo "implemented vector functions: $(qemu-i386 ./build/i386/kelvm --list | wc -l) of 249"

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
run Exp 0.5 709.78 710 -745.2 -746            # overflow and gradual underflow reported
run Ln 100 0 -1                                 # pole, then domain error
run --acc A50 Log10 1e-300 1000
run Sqrt 2 -0 1e-320
run Sin 0.5 1e22 0x1.921fb54442d18p+0          # a huge argument, reduced exactly
run --type 32f Tan 1.5707963 -0x1p-140
run Sinh 1 710.5
run --type 64fc Exp 0,3.141592653589793        # complex: e^(i pi)
run --type 64fc Ln -1,0 0,0
run Floor -2.5 0.5 -0 inf
run Rint 2.5 3.5 -0.5
echo "implemented vector functions: $(qemu-i386 ./build/i386/kelvm --list | wc -l) of 249"

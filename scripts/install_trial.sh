#!/bin/sh
# Trial of the installed library, as a user would do it, in a temporary
# directory:
#   1. cmake --install into a fresh prefix; a tiny C program built with
#      pkg-config and a tiny CMake project built with find_package(kelvmpx),
#      both run (under qemu-i386 where the kernel cannot run i386 programs),
#      and the installed kelvm tool;
#   2. unless --no-deb: a library-only build of the same configuration for
#      the prefix /usr (packages hold the library in the multiarch directory),
#      its Debian packages made by CPack and installed with dpkg, the same
#      programs built and run against them, then both purged and checked gone
#      (needs root).
#
#   scripts/install_trial.sh [--no-deb] [BUILD_DIR]     (default build/i386)
set -eu
deb=yes
[ "${1:-}" = "--no-deb" ] && { deb=no; shift; }
build=$(cd "${1:-build/i386}" && pwd)
src=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rc=$?; rm -rf "$tmp"; [ $rc -eq 0 ] || echo "install trial FAILED (status $rc)"' EXIT

run() { echo "\$ $*"; "$@"; }
fail() { echo "$*"; exit 1; }
# Like run, with the output kept back unless the command fails.
quiet() { echo "\$ $*"; "$@" >"$tmp/log" 2>&1 || { cat "$tmp/log"; fail "failed: $*"; }; }

# i386 programs run under qemu-i386, which also works where the kernel could
# run them itself.  exe [-L LIBDIR] PROGRAM ARGS...
if readelf -h "$build/libkelvmpx.so.5.2" | grep -q 'ELF32'; then m=-m32; else m=-m64; fi
exe() {
  env=
  [ "$1" = -L ] && { env=$2; shift 2; }
  if [ "$m" = -m32 ]; then run qemu-i386 ${env:+-E LD_LIBRARY_PATH="$env"} "$@"
  else run env ${env:+LD_LIBRARY_PATH="$env"} "$@"; fi
}

# The user's program: a vector call and the version, checked against the header.
mkdir "$tmp/proj"
cat > "$tmp/proj/prog.c" <<'C'
#include <stdio.h>
#include "kelvm.h"

int main(void) {
    const double x[3] = {0.0, 1.0, 800.0};
    double y[3];
    const KelStatus s = kelsExp_64f_A53(x, y, 3);
    const KelLibraryVersion* v = kelvmGetLibVersion();
    printf("%s %s: exp(1) = %.17g, status %d\n", v->name, v->version, y[1], s);
    return !(s == kelStatusOverflow && y[1] == 0x1.5bf0a8b145769p+1 &&
             v->major == KELVM_VERSION_MAJOR && v->minor == KELVM_VERSION_MINOR);
}
C
cat > "$tmp/proj/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.16)
project(trial C)
find_package(kelvmpx 5.2 REQUIRED)
add_executable(prog prog.c)
target_link_libraries(prog PRIVATE kelvmpx::kelvmpx)
CMAKE

# build_and_run LABEL PKG_CONFIG_DIR [CMAKE_ARGS...]: the program with
# pkg-config, then with the CMake package, each run.
build_and_run() {
  label=$1 pcdir=$2; shift 2
  echo "--- $label: pkg-config"
  run env PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs kelvmpx
  flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs kelvmpx)
  # shellcheck disable=SC2086
  run gcc $m -std=c99 -Wall -Werror "$tmp/proj/prog.c" $flags -o "$tmp/prog_pc_$label"
  exe -L "$(PKG_CONFIG_PATH="$pcdir" pkg-config --variable=libdir kelvmpx)" "$tmp/prog_pc_$label"
  echo "--- $label: find_package(kelvmpx)"
  rm -rf "$tmp/b_$label"
  quiet cmake -S "$tmp/proj" -B "$tmp/b_$label" -DCMAKE_C_FLAGS=$m "$@"
  quiet cmake --build "$tmp/b_$label"
  exe "$tmp/b_$label/prog"
}

echo "=== cmake --install into a fresh prefix"
prefix=$tmp/prefix
quiet cmake --install "$build" --prefix "$prefix"
(cd "$prefix" && find . -type f -o -type l | sort)
libdir=$(dirname "$(find "$prefix" -name libkelvmpx.so)")
[ "$(readlink "$libdir/libkelvmpx.so")" = libkelvmpx.so.5.2 ] || fail "linker name libkelvmpx.so"
[ -L "$libdir/libkelvmpx.so.5.2" ] || [ -f "$libdir/libkelvmpx.so.5.2" ] || fail "soname file"
rpath=$(readelf -d "$prefix/bin/kelvm" | sed -n 's/.*R\(UN\)\{0,1\}PATH.*\[\(.*\)\]/\2/p')
echo "kelvm run path: $rpath"
case "$rpath" in *"$build"*|/*) fail "kelvm carries an absolute run path: $rpath" ;; esac
exe "$prefix/bin/kelvm" --version
build_and_run prefix "$libdir/pkgconfig" -DCMAKE_PREFIX_PATH="$prefix"

[ $deb = yes ] || { echo "install trial passed (prefix only)"; exit 0; }

echo "=== Debian packages"
cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
toolchain=$(cache CMAKE_TOOLCHAIN_FILE)
quiet cmake -S "$(cache CMAKE_HOME_DIRECTORY)" -B "$tmp/pkg" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DKELVM_TESTS=OFF -DKELVM_BENCH=OFF ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"}
quiet cmake --build "$tmp/pkg" -j2
quiet cpack --config "$tmp/pkg/CPackConfig.cmake" -B "$tmp/debs"
for p in "$tmp"/debs/*.deb; do
  echo "$(basename "$p"):"; dpkg-deb -f "$p" Package Architecture Version Depends
  dpkg-deb -c "$p" | awk '$6 !~ /\/$/ {print "    " $6, $7, $8}'
done
run dpkg -i "$tmp"/debs/*.deb
pkgs=$(for p in "$tmp"/debs/*.deb; do dpkg-deb -f "$p" Package; done)
runtime=$(for p in "$tmp"/debs/*.deb; do dpkg-deb -f "$p" Package; done | grep -v -- -dev)
sysdir=$(dirname "$(dpkg -L "$runtime" | grep '/libkelvmpx\.so\.5\.2$')")
multiarch=$(basename "$sysdir")
echo "library installed in $sysdir"
build_and_run deb "$sysdir/pkgconfig" -DCMAKE_PREFIX_PATH=/usr -DCMAKE_LIBRARY_ARCHITECTURE="$multiarch"
# Installed in the system, the program runs without any library path.
exe "$tmp/prog_pc_deb"
exe /usr/bin/kelvm --cw 0x7f Exp 1
man -w kelvm >/dev/null || fail "no manual page for kelvm"
# shellcheck disable=SC2086
run dpkg --purge $pkgs
for p in $pkgs; do
  ! dpkg-query -W "$p" >/dev/null 2>&1 || fail "$p still known to dpkg: $(dpkg-query -W -f='${Status}' "$p")"
done
for f in /usr/include/kelvm.h /usr/bin/kelvm "$sysdir/libkelvmpx.so.5.2" "$sysdir/libkelvmpx.so" "$sysdir/pkgconfig/kelvmpx.pc"; do
  [ ! -e "$f" ] || fail "$f left behind"
done
echo "packages removed cleanly"
echo "install trial passed"

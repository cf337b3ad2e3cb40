#!/bin/sh
# The i386 and the native build must give bit-identical results: compare the
# digests of every implemented function (results, statuses and raised flags
# over a fixed set of a few thousand inputs).  Skipped (77) when the i386
# build is absent.
set -eu
native=$1 i386=$2
[ -x "$i386" ] || { echo "no i386 build at $i386"; exit 77; }
a=$(mktemp) b=$(mktemp)
trap 'rm -f "$a" "$b"' EXIT
"$native" --digest > "$a"
qemu-i386 "$i386" --digest > "$b"
if ! diff "$a" "$b"; then echo "the builds differ (< native, > i386)"; exit 1; fi
echo "$(wc -l < "$a") functions bit-identical across builds"

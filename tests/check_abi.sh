#!/bin/sh
# Checks the shared object: its soname, no DT_NEEDED entry, no undefined
# dynamic symbol, and an exported symbol set equal to the union of the lists in
# abi/*.syms, each of which must be declared in the public header.
set -eu
lib=$1 header=$2 abidir=$3
fail=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = "libkelvmpx.so.5.2" ] || { echo "soname is '$soname'"; fail=1; }

if readelf -d "$lib" | grep -q '(NEEDED)'; then
  echo "DT_NEEDED entries:"; readelf -d "$lib" | grep '(NEEDED)'; fail=1
fi

undef=$(nm -D --undefined-only "$lib" | grep -v ' w ' || true)
[ -z "$undef" ] || { echo "undefined dynamic symbols:"; echo "$undef"; fail=1; }

nm -D --defined-only "$lib" | awk '{print $3}' | sort -u > "$tmp/exported"
cat "$abidir"/*.syms | grep -v '^#' | sed '/^$/d' | sort -u > "$tmp/expected"
if ! diff "$tmp/expected" "$tmp/exported" > "$tmp/diff"; then
  echo "exported symbols differ from abi/*.syms (< expected only, > exported only):"
  grep '^[<>]' "$tmp/diff"; fail=1
fi

while read -r sym; do
  grep -q "\b$sym\b" "$header" || { echo "$sym is exported but not declared in the header"; fail=1; }
done < "$tmp/exported"

[ $fail -eq 0 ] && echo "ABI ok: $(wc -l < "$tmp/exported") exported symbols"
exit $fail

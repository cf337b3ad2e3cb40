#!/bin/sh
# The i386 and the native build must give bit-identical results: compare the
# digests of every implemented function (results, statuses and raised flags
# over hostile bit patterns under two caller control words; see kelvm
# --digest).  For each function that differs, the first differing elements of
# both builds are shown.  Skipped (77) when the i386 build is absent.
set -eu
native=$1 i386=$2
[ -x "$i386" ] || { echo "no i386 build at $i386"; exit 77; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"$native" --digest > "$tmp/native"
qemu-i386 "$i386" --digest > "$tmp/i386"
if diff "$tmp/native" "$tmp/i386" > "$tmp/diff"; then
  echo "$(wc -l < "$tmp/native") functions bit-identical across builds"
  exit 0
fi
differing=$(sed -n 's/^< \([^ ]*\) .*/\1/p' "$tmp/diff")
echo "the builds differ in $(echo "$differing" | wc -w) of $(wc -l < "$tmp/native") functions:"
for f in $differing; do
  "$native" --digest "$f" > "$tmp/n"
  qemu-i386 "$i386" --digest "$f" > "$tmp/i"
  echo "$f: $(diff "$tmp/n" "$tmp/i" | grep -c '^<' || true) of $(wc -l < "$tmp/n") element calls differ, first ones (< native, > i386):"
  diff "$tmp/n" "$tmp/i" | grep '^[<>]' | head -6 || true
done
exit 1

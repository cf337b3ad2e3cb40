#!/bin/sh
# The catalogue of functions (tools/catalogue.h, printed by kelvm --catalogue)
# against the header, the library and the README: every function the header
# declares is exported, every exported function is in the catalogue and every
# catalogued one is declared; the README says "All N vector functions" when
# all N catalogued ones are present, otherwise "M of the N vector functions".
#   check_catalogue.sh README HEADER LIBRARY [EMULATOR] KELVM
set -eu
readme=$1 header=$2 lib=$3; shift 3
fail=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

"$@" --catalogue | sort > "$tmp/catalogue"
nm -D --defined-only "$lib" | awk '$2 == "T" || $2 == "W" {print $3}' | sort -u > "$tmp/exported"
# Declarations: comments and preprocessor lines dropped, one statement per
# line, the identifier before the first parenthesis of each non-typedef.
grep -v '^#' "$header" | tr '\n' ' ' | sed 's,/\*[^*]*\*\+\([^/*][^*]*\*\+\)*/,,g' | tr ';' '\n' |
  grep -v typedef | sed -n 's/^[^(]*[^A-Za-z0-9_(]\([A-Za-z_][A-Za-z0-9_]*\) *(.*/\1/p' | sort -u > "$tmp/declared"

report() {  # report FILE-A FILE-B MESSAGE: names in A missing from B
  missing=$(comm -23 "$1" "$2")
  [ -z "$missing" ] || { echo "$3:"; echo "$missing"; fail=1; }
}
report "$tmp/declared" "$tmp/exported" "declared in the header but not exported"
report "$tmp/exported" "$tmp/catalogue" "exported but missing from the catalogue"
report "$tmp/catalogue" "$tmp/declared" "in the catalogue but not declared in the header"

total=$(grep -c '^kels' "$tmp/catalogue")
n=$("$@" --list | grep -c '^kels')
if [ "$n" -eq "$total" ]; then want="All $total vector functions"; else want="$n of the $total vector functions"; fi
grep -q "$want" "$readme" || { echo "README does not say \"$want\" (kelvm --list shows $n)"; fail=1; }

[ $fail -eq 0 ] && echo "catalogue ok: $(wc -l < "$tmp/catalogue") functions declared and exported; README: $want"
exit $fail

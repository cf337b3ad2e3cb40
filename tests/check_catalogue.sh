#!/bin/sh
# The README's count of implemented vector functions agrees with the build:
# "All 249 vector functions" when every declared one is present, otherwise
# "N of the 249 vector functions".
#   check_readme.sh README.md [EMULATOR] KELVM
set -eu
readme=$1; shift
n=$("$@" --list | grep -c '^kels')
total=249
if [ "$n" -eq "$total" ]; then want="All $total vector functions"; else want="$n of the $total vector functions"; fi
if grep -q "$want" "$readme"; then
  echo "README count ok: $want"
else
  echo "README does not say \"$want\" (kelvm --list shows $n)" >&2
  exit 1
fi

#!/bin/sh
# The kelvm tool's command line: every malformed argument is refused with
# status 2 and a message naming it, before anything is called; help, version
# and filtered lists succeed.  Arguments: the command that runs the tool
# (an emulator, if any, then the tool).
set -u
fail=0
out=$(mktemp) err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT

# expect STATUS WORD-IN-OUTPUT ARG...: the status, and a word the message (on
# stderr for status 2, else stdout) must contain.
expect() {
  want=$1 word=$2; shift 2
  "$@" >"$out" 2>"$err"; got=$?
  [ "$want" = 2 ] && where=$err || where=$out
  if [ "$got" != "$want" ] || ! grep -qF -- "$word" "$where"; then
    echo "FAIL: kelvm $* -> status $got (want $want, '$word'):"; cat "$out" "$err"; fail=1
  elif [ "$want" = 2 ] && [ -s "$out" ]; then
    echo "FAIL: kelvm $* printed results before refusing"; fail=1
  fi
}

for bad in abc '' 1.0.0 ' 1' 0x 1e @ @xyz @123456789abcdef01; do
  expect 2 "'$bad'" "$@" Exp "$bad"
done
expect 2 "'--foo'" "$@" Exp --foo
expect 2 "'1'" "$@" Div 1
expect 2 "'1:2:3'" "$@" Div 1:2:3
expect 2 "'1:2'" "$@" Exp 1:2
expect 2 "'1'" "$@" --type 64fc Exp 1
expect 2 "'1,2,3'" "$@" --type 64fc Exp 1,2,3
expect 2 "--val: 'abc'" "$@" --val abc Powx 2
expect 2 "--val" "$@" Powx 2
expect 2 "--val" "$@" --val 2 Exp 1
for cw in zz 0x10000 '' 0x37 0x0000 37f7f; do
  expect 2 "--cw '$cw'" "$@" --cw "$cw" Exp 1
done
expect 2 "--cw" "$@" Exp 1 --cw
expect 2 "'32d'" "$@" --type 32d Exp 1
expect 2 "'A99'" "$@" --acc A99 Exp 1
expect 2 "kelsNoSuch_64f_A53" "$@" NoSuch 1
expect 2 "no values" "$@" Exp
expect 2 "no function" "$@"

expect 0 "usage: kelvm" "$@" --help
expect 0 "libkelvmpx.so.5.2" "$@" --version
expect 0 "kelsExp_32f_A24" "$@" --list --type 32f
if "$@" --list --type 32f | grep -v '_32f_\|_32f$'; then echo "FAIL: --list --type 32f lists other types"; fail=1; fi
# A signalling NaN given as raw bits reaches the function and shows unchanged.
expect 0 "0x7ff0000000000001" "$@" --cw 0x7f Exp 1 @7ff0000000000001
expect 0 "0x0e7f before, 0x0e7f after" "$@" --cw e7f Div 1:3 -- -1:3
[ $fail -eq 0 ] && echo "kelvm command line ok"
exit $fail

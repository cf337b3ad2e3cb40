#!/bin/sh
# Installs the Debian 12 packages the build and the tests need (run as root;
# does nothing when everything is present).
set -eu
need=""
dpkg --print-foreign-architectures | grep -qx i386 || { dpkg --add-architecture i386; need=update; }
for p in cmake make g++ gcc-multilib g++-multilib qemu-user googletest libgtest-dev libbenchmark-dev libbenchmark-dev:i386 \
         libmpfr-dev libmpc-dev libmpfr-dev:i386 libmpc-dev:i386 binutils python3-matplotlib valgrind; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || need="$need $p"
done
[ -z "$need" ] && exit 0
echo "installing:$need"
export DEBIAN_FRONTEND=noninteractive
# A mirror in the middle of a sync can fail one index; the others still serve.
apt-get update -qq || true
pkgs=$(echo "$need" | sed 's/\bupdate\b//')
[ -n "$(echo "$pkgs" | tr -d ' ')" ] && apt-get install -y -qq --no-install-recommends $pkgs
exit 0

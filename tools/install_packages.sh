#!/usr/bin/env bash
# Installs the Debian packages that are missing. Arguments: build (for ./run) or check (all).
set -eu
packages="g++ cmake ninja-build ccache pkg-config libcli11-dev libfmt-dev libsleef-dev libmpfr-dev libmpc-dev"
packages="$packages libboost-math-dev"
if [ "${1:-build}" = check ]; then
  packages="$packages gcc-multilib g++-multilib g++-mingw-w64-i686 googletest binutils python3"
  packages="$packages python3-mpmath libboost-dev libboost-random-dev libgsl-dev librandom123-dev python3-scipy"
fi
missing=""
for package in $packages; do
  dpkg -s "$package" 2>/dev/null | grep -q '^Status: install ok installed' || missing="$missing $package"
done
[ -z "$missing" ] && exit 0
echo "installing:$missing"
if [ "$(id -u)" != 0 ]; then
  echo "these packages are missing and only root can install them: apt-get install$missing" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing >/dev/null

#!/usr/bin/env bash
# Makes a small 32-bit Debian tree with Wine, for tools/wine.sh, where it isn't there yet: under the user's cache
# directory, some 900 MB, from the mirror that this machine's package sources name. Ends with 1 and a reason where
# that is not possible.
set -eu
cache=${XDG_CACHE_HOME:-$HOME/.cache}/orv
tree=$cache/wine-i386
[ -e "$tree/complete" ] && exit 0
cannot() {
  echo "no tree with Wine: $1" >&2
  exit 1
}
[ "$(id -u)" = 0 ] || cannot "only root can make and enter one"
command -v debootstrap >/dev/null || apt-get install -y -qq --no-install-recommends debootstrap >/dev/null 2>&1 ||
  cannot "debootstrap is missing and cannot be installed"
# shellcheck source=/dev/null
suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
  awk -v suite="$suite" '$2 == suite && $3 == "main" { print $1; exit }')
[ -n "$mirror" ] || cannot "the package sources name no mirror of $suite"

mkdir -p "$cache"
exec 9>"$cache/lock"
flock 9
[ -e "$tree/complete" ] && exit 0 # made by another while this one waited
rm -rf "$tree.part"
echo "making a tree with Wine in $tree, which takes a few minutes once"
timeout 900 debootstrap --arch=i386 --variant=minbase --include=wine,wine32 "$suite" "$tree.part" "$mirror" \
  >"$cache/log" 2>&1 || cannot "debootstrap failed, see $cache/log"
rm -rf "$tree.part"/var/cache/apt/archives/*.deb "$tree.part"/usr/share/doc "$tree.part"/usr/share/man
touch "$tree.part/complete"
rm -rf "$tree"
mv "$tree.part" "$tree"

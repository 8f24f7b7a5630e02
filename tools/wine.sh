#!/usr/bin/env bash
# Runs a Windows program in the tree that tools/wine_tree.sh makes, in this directory and with this environment. The
# project is seen there at its own place; its mounts are this process's own.
#   tools/wine.sh PROGRAM ARGUMENTS...
set -eu
tree=${XDG_CACHE_HOME:-$HOME/.cache}/orv/wine-i386
project=$(cd "$(dirname "$0")/.." && pwd -P)
# A server for each checkout, as a server opens files for its clients.
export WINEPREFIX=$project/build/wine-prefix WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=" HOME=/root
mkdir -p "$WINEPREFIX"
# shellcheck disable=SC2016
exec unshare --mount --propagation private bash -c '
  tree=$1 project=$2 directory=$3
  shift 3
  mkdir -p "$tree$project"
  mount --bind "$project" "$tree$project"
  mount --bind /proc "$tree/proc"
  mount --bind /dev "$tree/dev"
  exec chroot "$tree" /bin/sh -c "cd \"\$1\" 2>/dev/null || cd /; shift; exec wine \"\$@\"" sh "$directory" "$@"
' sh "$tree" "$project" "$PWD" "$@"

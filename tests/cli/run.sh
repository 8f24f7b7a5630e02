#!/usr/bin/env bash
# Tests of the command `orv`: what it prints, its exit status, its messages. Usage: run.sh ORV DATA
set -u
orv=$1 data=$2
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# expect STATUS PATTERN ARGUMENTS...: the exit status and a pattern in what is printed, on either stream.
expect() {
  local status=$1 pattern=$2
  shift 2
  local out code
  out=$("$orv" "$@" 2>&1 </dev/null)
  code=$?
  if [ "$code" != "$status" ] || ! grep -q -E -- "$pattern" <<<"$out"; then
    echo "FAILED: orv $*"
    echo "  exit status $code, expected $status; expected output: $pattern"
    sed 's/^/  | /' <<<"$out" | head -20
    failures=$((failures + 1))
  fi
}

for script in "$(dirname "$0")"/*.test.sh; do
  # shellcheck disable=SC1090
  source "$script"
done
[ "$failures" = 0 ] && echo "all commands behave"
exit "$failures"

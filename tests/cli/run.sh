#!/usr/bin/env bash
# Tests of the command `orv`: what it prints, its exit status, its messages. Usage: run.sh ORV DATA [EMULATOR]
# With an emulator ORV is the program of Windows, which sees this tree's files and no pipes by name.
set -u
orv=$1 data=$2 emulator=${3:-}
failures=0
work=$(mktemp -d "$(dirname "$orv")/cli.XXXXXX")
trap 'rm -rf "$work"' EXIT
if [ -n "$emulator" ]; then
  printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$emulator" "$orv" >"$work/orv"
  chmod +x "$work/orv"
  orv=$work/orv
fi

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

fail() { # MESSAGE...
  echo "FAILED: $*"
  failures=$((failures + 1))
}

# expect_streams STATUS OUT ERR ARGUMENTS...: exit status, the whole of standard output, a pattern in standard
# error (nothing may stand there for an empty one). Standard input is passed on.
expect_streams() {
  local status=$1 out=$2 err=$3 code
  shift 3
  "$orv" "$@" >"$work/out" 2>"$work/err"
  code=$?
  [ "$code" = "$status" ] || fail "orv $*: exit status $code, expected $status: $(head -c 300 "$work/err")"
  [ "$(cat "$work/out")" = "$out" ] || fail "orv $*: printed $(head -c 300 "$work/out"), expected $out"
  if [ -z "$err" ]; then
    [ ! -s "$work/err" ] || fail "orv $*: told $(head -c 300 "$work/err")"
  else
    grep -q -E -- "$err" "$work/err" || fail "orv $*: told $(head -c 300 "$work/err"), expected $err"
  fi
}

for script in "$(dirname "$0")"/*.test.sh; do
  # shellcheck disable=SC1090
  source "$script"
done
[ "$failures" = 0 ] && echo "all commands behave"
exit "$failures"

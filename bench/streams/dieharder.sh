#!/bin/sh
# Runs a fixed list of dieharder tests on the integer output of each generator; not part of ./check, as it takes
# minutes. Prints a table in Markdown. A test that exceeds its time limit is marked so.
#
#   bench/streams/dieharder.sh DIRECTORY_OF_stream_bits [SECONDS_A_TEST] [NAME...]
set -u
bin=$1
limit=${2:-60}
shift 2 2>/dev/null || shift $#
command -v dieharder >/dev/null || { echo "dieharder is missing: apt-get install dieharder" >&2; exit 1; }

# dieharder's numbers: birthdays, 32x32 binary rank, 6x8 binary rank, count-1s stream, parking lot, 3d sphere, squeeze,
# runs, craps, monobit, sts runs, sts serial, bit distribution
tests="0 2 3 8 10 12 13 15 16 100 101 102"
generators="MCG31M1:0x100000 R250:0x200000 MRG32K3A:0x300000 MCG59:0x400000 WH:0x500000 MT19937:0x800000
  MT2203:0x900000 MT2203_17:0x900011 SFMT19937:0xD00000 ARS5:0xF00000 PHILOX4X32X10:0x1000000"
echo "| generator | passed | weak | failed | not finished | which |"
echo "|---|---|---|---|---|---|"
for entry in $generators; do
  name=${entry%%:*}
  if [ $# -gt 0 ]; then
    case " $* " in *" $name "*) ;; *) continue ;; esac
  fi
  passed=0 weak=0 failed=0 unfinished=0 which=""
  for t in $tests; do
    lines=$("$bin/stream_bits" "${entry#*:}" 2463534242 88172645 521288629 362436069 5783321 6615241 2>/dev/null |
      timeout "$limit" dieharder -g 200 -d "$t" 2>/dev/null | grep -E 'PASSED|WEAK|FAILED')
    if [ -z "$lines" ]; then
      unfinished=$((unfinished + 1)) which="$which $t(time)"
    elif echo "$lines" | grep -q FAILED; then
      failed=$((failed + 1)) which="$which $t(failed)"
    elif echo "$lines" | grep -q WEAK; then
      weak=$((weak + 1)) which="$which $t(weak)"
    else
      passed=$((passed + 1))
    fi
  done
  echo "| $name | $passed | $weak | $failed | $unfinished |${which:- } |"
done

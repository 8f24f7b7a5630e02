#!/usr/bin/env bash
# Streams stored by one target go on in the other with the same numbers. Usage: cross_target.sh ORV_A ORV_B
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
count=0
for writer in "$1" "$2"; do
  for brng in MCG31M1 R250 MRG32K3A MCG59 WH MT19937 MT2203:17 SFMT19937 Sobol Niederr ARS5 PHILOX4X32X10; do
    start=(--seed 5)
    case $brng in Sobol | Niederr) start=(--dimension 7) ;; esac
    "$writer" random --brng $brng "${start[@]}" --n 21 --save "$work/image" >/dev/null
    "$1" random --load "$work/image" --n 500 >"$work/a"
    "$2" random --load "$work/image" --n 500 >"$work/b"
    "$writer" random --brng $brng "${start[@]}" --n 521 | tail -n 500 >"$work/whole"
    cmp "$work/a" "$work/b" && cmp "$work/a" "$work/whole" || { echo "$brng: the sequences differ" >&2; exit 1; }
    count=$((count + 1))
  done
done
echo "$count stored streams go on in both targets"

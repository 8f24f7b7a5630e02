#!/usr/bin/env bash
# A tour of the command `orv` over the files in examples/data. Usage: tour.sh [ORV]
set -eu
orv=${1:-orv}
data=$(dirname "$0")/data
show() {
  printf '\n$ orv %s\n' "$*"
  "$orv" "$@" | head -n "${lines:-6}"
}
title() { printf '\n--- %s\n' "$1"; }

title "A function over a column, at the three levels: low accuracy, high accuracy, enhanced performance"
for level in LA HA EP; do show eval Expm1 --level $level --column temperature "$data/pressure.csv"; done

title "Two columns, single precision; a power of a column"
show eval Hypot --type s --column eruptions,waiting "$data/faithful.csv"
show eval Powx --column spots --with 0.5 "$data/sunspots.csv"

title "Numerical errors are shown with their element, status and text"
lines=4 show eval Exp --type s --column flow "$data/nile.csv"
lines=4 show eval Ln --column spots "$data/sunspots.csv"

title "The error of every level, measured against wider types"
lines=7 show accuracy Exp --points 200000
lines=7 show accuracy Pow --points 200000

title "Speed beside the peers that are installed, in core cycles an element"
lines=4 show bench Exp --n 1024

title "Random numbers, statistics of columns, a spline through measured points"
show random --brng MT2203:17 --seed 1,2,3 --n 5 --type d --interval 0,1
lines=12 show stats "$data/faithful.csv"
lines=12 show fit "$data/pressure.csv" --x temperature --y pressure --spline natural --at 15,25,37.5

printf '\n--- What else there is\n\n'
"$orv" --help
echo "orv functions lists the functions, orv COMMAND --help tells about a command."

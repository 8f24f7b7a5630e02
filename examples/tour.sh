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

title "Two columns, single precision"
show eval Mul --type s --column eruptions,waiting "$data/faithful.csv"

title "Numerical errors are shown with their element, status and text"
lines=4 show eval Exp --type s --column flow "$data/nile.csv"

title "The error of every level, measured against wider types"
lines=7 show accuracy Exp --points 200000

title "Speed beside the peers that are installed, in core cycles an element"
lines=4 show bench Exp --n 1024

printf '\n--- What else there is\n\n'
"$orv" --help
echo "orv functions lists the functions, orv COMMAND --help tells about a command."

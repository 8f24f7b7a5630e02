#!/usr/bin/env bash
# What is written by generators under tools/ is what they write now.
#   generated_test.sh SOURCE_DIR
set -eu
cd "$1"
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
for family in exp log pow trig special; do
  /usr/bin/python3 -B "tools/${family}_tables.py" "$out/tables.inc"
  cmp "$out/tables.inc" "kernels/$family/tables.inc"
done
${CXX:-c++} -std=c++20 -O2 tools/jump_polynomials.cpp -o "$out/jump"
for twister in mt19937 sfmt19937; do
  "$out/jump" $twister > "$out/polynomial.inc"
  cmp "$out/polynomial.inc" "streams/${twister}_polynomial.inc"
done

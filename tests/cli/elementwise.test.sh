# shellcheck shell=bash
expect 0 '^12\.182493960703473$' eval Exp --type d --level HA 1 2.5 -1000
expect 0 '^0  # element 2: status 4, underflow$' eval Exp --type d --level HA 1 2.5 -1000
expect 0 'inf  # element 0: status 3, overflow' eval Exp --type s --column flow "$data/nile.csv"
expect 0 '^148\.413' eval Exp --type s 5
expect 0 '^6$' eval Add 1 2 --with 5
expect 0 '^7$' eval Add 1 2 --with 4,5
expect 0 '^82.6' eval Add --column eruptions,waiting "$data/faithful.csv"
expect 1 "no function 'Exq'" eval Exq 1
expect 1 "no accuracy level 'XX'" eval Exp --level XX 1
expect 1 "no type 'q'" eval Exp --type q 1
expect 1 "no column 'zz'; there are: year, flow" eval Exp --column zz "$data/nile.csv"
expect 1 "'abc' is not a number" eval Exp abc
expect 1 'takes two operands' eval Add 1 2
expect 1 'takes one operand' eval Exp 1 --with 2
expect 1 '2 first operands and 3 second operands' eval Add 1 2 --with 1,2,3
expect 1 'nothing.csv: cannot be read' eval Exp --column a nothing.csv
expect 1 'airquality.csv:6: the cell of column Ozone is missing' eval Exp --column Ozone "$data/airquality.csv"
expect 0 '^41$' eval Abs --column Ozone --skip-missing "$data/airquality.csv"
printf 'a,b\n1,2\n3,x\n' >"$work/bad.csv"
expect 1 'bad.csv:3, column b: .x. is not a number' eval Exp --column b "$work/bad.csv"
printf 'a,b\n1,2\n3\n' >"$work/short.csv"
expect 1 'short.csv:3: 1 cells where the header has 2' eval Exp --column a "$work/short.csv"
: >"$work/empty.csv"
expect 1 'empty.csv: is empty' eval Exp --column a "$work/empty.csv"
expect 2 'required' eval
expect 2 'subcommand is required' --level HA
expect 0 'exponential' functions
expect 0 'pass' accuracy Exp --points 10000
expect 1 "no function 'Exq' to measure" accuracy Exq
expect 1 'cannot be written' accuracy Exp --points 1000 --csv /nonexistent/file.csv
expect 0 '^sExp .* LA .* HA .* EP' bench Exp --type s --n 64 --runs 3
expect 1 'sizes from 1' bench Exp --n 0
"$orv" accuracy Exp --type d --points 10000 --csv "$work/a.csv" >/dev/null && [ "$(wc -l <"$work/a.csv")" = 4 ] ||
  { echo "FAILED: accuracy --csv"; failures=$((failures + 1)); }
out=$(ORV_PRETEND_PROCESSOR_LACKS=AVX2 "$orv" eval Exp 1 2>&1) && { echo "FAILED: ran without AVX2"; failures=$((failures + 1)); }
grep -q 'lacks: AVX2' <<<"$out" || { echo "FAILED: no message without AVX2: $out"; failures=$((failures + 1)); }

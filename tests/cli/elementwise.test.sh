# shellcheck shell=bash
expect 0 '^12\.182493960703473$' eval Exp --type d --level HA 1 2.5 -1000
expect_streams 0 $'1\n0\ninf' '^element 1: status 4, underflow$' eval Exp 0 -1000 1000
expect_streams 0 $'1\n0\ninf' '^element 2: status 3, overflow$' eval Exp 0 -1000 1000
expect 0 '^element 99: status 3, overflow' eval Exp --type s --column flow "$data/nile.csv"
expect_streams 0 $'nan\nnan' '^element 0: status 1, argument outside the domain$' eval Sqrt --level LA -- -1 -nan
expect_streams 1 '' '1e\+300 is beyond the largest number of single' eval Exp --type s 1e300
expect_streams 1 '' '1e\+300 is beyond the largest number of single' eval Powx --type s 2 --with 1e300
expect_streams 0 inf '' eval Abs --type s inf
expect_streams 0 $'9\n16' '' eval Powx 3 4 --with 2
expect_streams 1 '' '1e400 is beyond the largest number of double' eval Exp 1e400
expect_streams 0 $'0.5\n0.7142857142857143' '' eval LinearFrac 2 3 --with 4,5 --scalars 2,-1,1,2
expect_streams 1 '' 'LinearFrac wants four numbers, --scalars' eval LinearFrac 2 --with 4
expect_streams 1 '' 'there are 3' eval LinearFrac 2 --with 4 --scalars 1,2,3
expect_streams 1 '' 'Add takes no --scalars' eval Add 2 --with 4 --scalars 1,2,3,4
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
expect 1 'short.csv:3: 1 cells where the first line has 2' eval Exp --column a "$work/short.csv"
: >"$work/empty.csv"
expect 1 'empty.csv: is empty' eval Exp --column a "$work/empty.csv"
# Files as they are: a mark before the first name, no header line, Windows' ends of lines, a pipe.
printf '\xef\xbb\xbfa,b\r\n1,2\r\n' >"$work/mark.csv"
expect_streams 0 1 '' eval Abs --column a "$work/mark.csv"
printf '\xff\xfea\0' >"$work/wide.csv"
expect_streams 1 '' 'wide.csv: is UTF-16 text' eval Abs --column a "$work/wide.csv"
printf '1,2\n3,4\n' >"$work/bare.csv"
expect_streams 0 4 'bare.csv: the first line, 1,2, was taken as column names; --no-header' eval Abs --column 2 "$work/bare.csv"
expect_streams 0 $'2\n4' '' eval Abs --no-header --column 2 "$work/bare.csv"
expect_streams 0 $'2\n4' '' eval Abs --no-header --column 2 - <"$work/bare.csv"
[ -n "$emulator" ] || expect_streams 0 $'2\n4' '' eval Abs --no-header --column 2 <(cat "$work/bare.csv")
expect_streams 1 '' "no column '3'; there are: 1, 2" eval Abs --no-header --column 3 "$work/bare.csv"
printf 'a,2\n3,4\n' >"$work/half.csv"
expect_streams 0 4 '' eval Abs --column 2 "$work/half.csv"
expect_streams 1 '' 'is a directory' eval Abs --column 2 "$work"
expect_streams 1 '' "column a: '1" eval Abs --column a - < <(printf 'a\n1\0x\n')
printf '"x ""y"", z",b\n\n"1",2\n' >"$work/quotes.csv"
expect_streams 0 1 '' eval Abs --column 1 "$work/quotes.csv"
expect_streams 0 2 '' eval Abs --column b "$work/quotes.csv"
expect_streams 1 '' 'there are: x "y", z, b' eval Abs --column 3 "$work/quotes.csv"
printf 'a,b\n1,2\n1,2,3\n' >"$work/long.csv"
expect_streams 1 '' 'long.csv:3: 3 cells where the first line has 2' eval Abs --column a "$work/long.csv"
printf 'a\nNA\nNaN\nnan\n.\n\n5\n' >"$work/gaps.csv"
expect_streams 0 5 '' eval Abs --skip-missing --column a "$work/gaps.csv"
printf '"a\n1\n' >"$work/open.csv"
expect_streams 1 '' 'open.csv:1: a quote is not closed' eval Abs --column a "$work/open.csv"
expect 2 'required' eval
expect 2 'subcommand is required' --level HA
expect 0 'exponential' functions
if [ -z "$emulator" ]; then # what measures isn't there
  # shellcheck disable=SC1091
  source "$(dirname "$0")/measuring.sh"
fi
if [ -c /dev/full ]; then
  for arguments in 'eval Exp 1' 'functions' 'random --n 3' "stats $data/nile.csv" \
    "fit $data/pressure.csv --x 1 --y 2 --at 15"; do
    # shellcheck disable=SC2086
    "$orv" $arguments >/dev/full 2>"$work/err"
    [ $? = 1 ] && grep -q 'writ' "$work/err" || fail "orv $arguments on a full disk: $(cat "$work/err")"
  done
fi
out=$(ORV_PRETEND_PROCESSOR_LACKS=AVX2 "$orv" eval Exp 1 2>&1) && { echo "FAILED: ran without AVX2"; failures=$((failures + 1)); }
grep -q 'lacks: AVX2' <<<"$out" || { echo "FAILED: no message without AVX2: $out"; failures=$((failures + 1)); }

# shellcheck shell=bash
expect 0 '^flow +100 +919\.35 +169\.2275' stats --columns flow "$data/nile.csv"
expect 0 '^eruptions +272 +3\.487783[0-9]* +1\.14137' stats "$data/faithful.csv"
expect 0 '^waiting +13\.97780[0-9]* +184\.823' stats --cov "$data/faithful.csv"
expect 0 '^waiting +0\.90081[0-9]* +1$' stats --cor "$data/faithful.csv"
for method in fast one-pass user-mean; do
  expect 0 '^waiting +272 +70\.89705882 +13\.59497' stats --block 1 --method $method "$data/faithful.csv"
done
expect 0 '^Ozone +116 +42\.1293' stats --columns Ozone --skip-missing "$data/airquality.csv"
expect 1 'airquality.csv:6: the cell of column Ozone is missing' stats "$data/airquality.csv"
[ "$("$orv" stats "$data/faithful.csv" | awk '{ print length }' | sort -u | wc -l)" = 1 ] || fail "columns of a table that do not align"
printf 'x,w\n1,1\n2,0\n4,3\n' >"$work/weighted.csv"
expect 0 '^x,3,3\.25,2\.1213203435596424,' stats --csv --weights w "$work/weighted.csv"
expect 0 '^x +3 .* 1 +4$' stats --weights w "$work/weighted.csv"
expect 1 "no column 'q'; there are: x, w" stats --weights q "$work/weighted.csv"
printf 'x,w\n1,-1\n' >"$work/negative.csv"
expect 1 'negative.csv:2: the weight -1 is below 0' stats --weights w "$work/negative.csv"
printf 'x,y\n1,2\n3,abc\n' >"$work/word.csv"
expect 1 'word.csv:3, column y: .abc. is not a number' stats "$work/word.csv"
printf 'x\n' >"$work/none.csv"
expect 1 'none.csv: there are no rows to summarize' stats "$work/none.csv"
expect 1 'no column beside the weights' stats --weights x "$work/none.csv"
expect 1 'standard input can be read once' stats --method user-mean -
printf '"a,b",c\n1,nan\n2,3\n4,8\n' >"$work/comma.csv"
heading='column,count,mean,sd,skewness,kurtosis,min,max'
expect_streams 0 "$heading"$'\n"a,b",2,3,1.4142135623730951,0,-2.75,2,4\nc,2,5.5,3.5355339059327378,0,-2.75,3,8

correlation,"a,b",c\n"a,b",1,1\nc,1,1' 'comma.csv: 1 rows' stats --csv --cor --skip-missing "$work/comma.csv"
expect_streams 0 "$heading"$'\nx,1,7,nan,nan,nan,7,7' '' stats --csv - < <(printf 'x\n7\n')
expect_streams 0 "$heading"$'\n1,2,2,1.4142135623730951,0,-2.75,1,3\n2,2,3,1.4142135623730951,0,-2.75,2,4' '' \
  stats --csv --no-header "$work/bare.csv"
expect 0 'the first line, 1,2, was taken as column names' stats --method user-mean "$work/bare.csv"
# What is read of a pipe is told in bytes, as its size isn't known.
expect_streams 0 "$heading"$'\nx,200001,2,0,nan,nan,2,2' '^statistics: 1\.6 MB, ' \
  stats --csv --block 2000 - < <(printf 'x\n' && yes 2.00000 | head -n 200000 && sleep 1.3 && printf '2\n')
# More columns than a matrix has room for.
wide() {
  python3 -c "print(','.join(f'c{i}' for i in range(20000)))
for r in range(3): print(','.join(str(i % (r + 7)) for i in range(20000)))"
}
if [ -z "$emulator" ] && ! grep -q __asan_init "$orv"; then # which reserve more
  limit=$(ulimit -S -v)
  ulimit -S -v 3000000
  expect_streams 1 '' '^orv: there is not enough memory for the correlation matrix of 20000 columns$' stats --cor - < <(wide 2>/dev/null)
  ulimit -S -v "$limit"
fi
expect 2 'not in' stats --method slow "$data/nile.csv"
expect 2 'block' stats --block 0 "$data/nile.csv"
# Quantiles and deviations as R has them; the stream's bound doesn't hold for few rows, and quantiles are exact.
for epsilon in '' '--stream-epsilon 0.01'; do
  # shellcheck disable=SC2086
  expect 0 '^waiting +64 +86 +8$' stats --quantiles 0.33333333333333333,0.9 --mad $epsilon "$data/faithful.csv"
done
(printf 'x\n' && seq 1 100000) >"$work/numbers.csv"
expect 0 '^x +(499[0-9]{2}|500[0-9]{2})$' stats --quantiles 0.5 --stream-epsilon 0.001 "$work/numbers.csv"
expect 0 '^x +50000\.5$' stats --quantiles 0.5 "$work/numbers.csv"
expect 0 '^Air.Flow +56\.4149' stats --robust "$data/stackloss.csv"
[ "$("$orv" outliers --robust --csv "$data/stackloss.csv" | cut -d, -f1 | tr '\n' ' ')" = 'row 1 2 3 4 21 ' ] || fail "the outliers of the stack loss data"
expect 0 '^row' outliers --svg "$work/outliers.svg" "$data/faithful.csv"
expect 0 '^waiting' stats --svg "$work/boxes.svg" "$data/faithful.csv"
for picture in outliers boxes; do
  python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' "$work/$picture.svg" || fail "a picture that is no XML"
done
expect 1 'airquality.csv:6: the cell of column Ozone is missing' outliers "$data/airquality.csv"
(printf 'x,y\n' && for i in 1 2 3 4 5 6 7 8 9 10 11 12; do echo "$i,3"; done) >"$work/constant.csv"
expect 1 'column 2 is one value' outliers "$work/constant.csv"
printf 'x,y\n1,2\n2,1\n3,5\n' >"$work/few.csv"
expect 1 'too few rows' outliers "$work/few.csv"
expect 1 'take no weights' stats --mad --weights w "$work/weighted.csv"
expect 1 'name some' stats --stream-epsilon 0.1 "$data/faithful.csv"
expect 2 'quantiles' stats --quantiles 1.5 "$data/faithful.csv"

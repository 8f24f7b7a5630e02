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
expect 2 'not in' stats --method slow "$data/nile.csv"
expect 2 'block' stats --block 0 "$data/nile.csv"

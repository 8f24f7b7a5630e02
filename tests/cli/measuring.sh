# shellcheck shell=bash
# The commands that measure: orv accuracy, where its references are, and orv bench.
expect 0 '^sExp .* LA .* HA .* EP' bench Exp --type s --n 64 --runs 3
expect 1 'sizes from 1' bench Exp --n 0
measuring='bench Exp --type s --n 64 --runs 3'
if "$orv" accuracy Exp --points 1000 2>&1 | grep -q 'errors are measured on x86_64'; then
  expect 1 'errors are measured on x86_64' accuracy Exp
else
  measuring="$measuring
accuracy Exp --type s --points 1000"
  expect 0 'pass' accuracy Exp --points 10000
  expect 1 "no function 'Exq' to measure" accuracy Exq
  expect 1 'cannot be written' accuracy Exp --points 1000 --csv /nonexistent/file.csv
  "$orv" accuracy Exp --type d --points 10000 --csv "$work/a.csv" >/dev/null && [ "$(wc -l <"$work/a.csv")" = 4 ] ||
    fail "accuracy --csv"
fi
if [ -c /dev/full ]; then
  while read -r arguments; do
    # shellcheck disable=SC2086
    "$orv" $arguments >/dev/full 2>"$work/err"
    [ $? = 1 ] && grep -q 'writ' "$work/err" || fail "orv $arguments on a full disk: $(cat "$work/err")"
    # shellcheck disable=SC2086
    expect 1 'writing failed' $arguments --csv /dev/full
  done <<<"$measuring"
fi

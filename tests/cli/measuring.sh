# shellcheck shell=bash
# The commands that measure: orv accuracy and orv bench.
expect 0 'pass' accuracy Exp --points 10000
expect 1 "no function 'Exq' to measure" accuracy Exq
expect 1 'cannot be written' accuracy Exp --points 1000 --csv /nonexistent/file.csv
expect 0 '^sExp .* LA .* HA .* EP' bench Exp --type s --n 64 --runs 3
expect 1 'sizes from 1' bench Exp --n 0
"$orv" accuracy Exp --type d --points 10000 --csv "$work/a.csv" >/dev/null && [ "$(wc -l <"$work/a.csv")" = 4 ] ||
  fail "accuracy --csv"
if [ -c /dev/full ]; then
  for arguments in 'accuracy Exp --type s --points 1000' 'bench Exp --type s --n 64 --runs 3'; do
    # shellcheck disable=SC2086
    "$orv" $arguments >/dev/full 2>"$work/err"
    [ $? = 1 ] && grep -q 'writ' "$work/err" || fail "orv $arguments on a full disk: $(cat "$work/err")"
    # shellcheck disable=SC2086
    expect 1 'writing failed' $arguments --csv /dev/full
  done
fi

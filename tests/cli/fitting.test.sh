# shellcheck shell=bash
fit() { # STATUS PATTERN FILE ARGUMENTS...
  local status=$1 pattern=$2 file=$3
  shift 3
  expect "$status" "$pattern" fit "$file" --x x --y y "$@"
}
printf 'x,y,z\n0,1,0\n1,3,1\n2,5,0\n3,7,1\n4,9,0\n' >"$work/line.csv"
expect 0 '^15,0\.0009557' fit "$data/pressure.csv" --x temperature --y pressure --spline natural --at 15,25,37.5
expect 0 '^temperature,pressure,pressure.,pressure..$' fit "$data/pressure.csv" --x 1 --y 2 --at 15 --derivatives 2
expect 0 '^integral of pressure from 0 to 100: 4\.76' fit "$data/pressure.csv" --x temperature --y pressure --integrate 0,100
for spline in natural akima bessel hyman linear; do
  fit 0 '^2\.5,6,2$' "$work/line.csv" --spline $spline --at 2.5 --derivatives 1
done
fit 0 '^2\.5,6$' "$work/line.csv" --spline quadratic --at 2.5
fit 0 "^2\.5,(6\.0000000|5\.9999999|6$)" "$work/line.csv" --spline subbotin --at 2.5
fit 0 '^2\.5,5$' "$work/line.csv" --spline step --at 2.5
fit 0 '^2\.5,7$' "$work/line.csv" --spline step-left --at 2.5
fit 0 '^x,y$' "$work/line.csv" --spline hermite --inner z --at 2.5
expect 0 '^0,1,0$' fit "$work/line.csv" --x x --y y,z --grid 5
fit 0 'lies outside the data' "$work/line.csv" --at=-1
expect 0 '' fit "$data/co2.csv" --x year --y ppm --svg "$work/co2.svg"
grep -q '<path' "$work/co2.svg" && tail -n 1 "$work/co2.svg" | grep -q '</svg>' || {
  echo "FAILED: the picture of orv fit"
  failures=$((failures + 1))
}
fit 1 'say what is wanted' "$work/line.csv"
fit 1 "no spline 'cubic'; there are natural" "$work/line.csv" --spline cubic --at 1
fit 1 "no boundary 'loose'; there are free" "$work/line.csv" --boundary loose --at 1
fit 1 'wants two values' "$work/line.csv" --boundary slopes=1 --at 1
fit 1 'periodic spline needs the same first and last value; they are 1 and 9' "$work/line.csv" --boundary periodic --at 1
fit 1 'needs --inner COLUMN with the slopes' "$work/line.csv" --spline hermite --at 1
fit 1 "'one' is not a number" "$work/line.csv" --at one
fit 1 'wants two limits' "$work/line.csv" --integrate 1
expect 1 "no column 'w'; there are: x, y, z" fit "$work/line.csv" --x w --y y --at 1
expect 1 'cannot write the picture' fit "$work/line.csv" --x x --y y --svg "$work/none/p.svg"
printf 'x,y\n1,2\n2,3\n1.5,4\n' >"$work/bad.csv"
fit 1 'bad.csv:4: x falls from 2 to 1.5; sort' "$work/bad.csv" --at 1
printf 'x,y\n1,2\n1,3\n' >"$work/bad.csv"
fit 1 'bad.csv:3: x 1 stands twice' "$work/bad.csv" --at 1
printf 'x,y\n1,2\n2,\n3,3\n' >"$work/bad.csv"
fit 1 'bad.csv:3: y is missing' "$work/bad.csv" --at 1
fit 0 '^2,2.5$' "$work/bad.csv" --skip-missing --at 2
fit 1 'akima spline needs at least 5 rows; .* has 2' "$work/bad.csv" --skip-missing --spline akima --at 2

# shellcheck shell=bash
fit() { # STATUS PATTERN FILE ARGUMENTS...
  local status=$1 pattern=$2 file=$3
  shift 3
  expect "$status" "$pattern" fit "$file" --x x --y y "$@"
}
printf 'x,y,z\n0,1,0\n1,3,1\n2,5,0\n3,7,1\n4,9,0\n' >"$work/line.csv"
expect 0 '^15,0\.0009557' fit "$data/pressure.csv" --x temperature --y pressure --spline natural --at 15,25,37.5
expect 0 '^temperature,pressure,pressure.,pressure..$' fit "$data/pressure.csv" --x 1 --y 2 --at 15 --derivatives 2
expect 0 '^pressure,0,100,4\.760673752212336$' fit "$data/pressure.csv" --x temperature --y pressure --integrate 0,100
for spline in natural akima bessel hyman linear; do
  fit 0 '^2\.5,6,2$' "$work/line.csv" --spline $spline --at 2.5 --derivatives 1
done
fit 0 '^2\.5,6$' "$work/line.csv" --spline quadratic --at 2.5
fit 0 "^2\.5,(6\.0000000|5\.9999999|6$)" "$work/line.csv" --spline subbotin --at 2.5
fit 0 '^2\.5,5$' "$work/line.csv" --spline step --at 2.5
fit 0 '^2\.5,7$' "$work/line.csv" --spline step-left --at 2.5
fit 0 '^x,y$' "$work/line.csv" --spline hermite --inner z --at 2.5
expect 0 '^0,1,0$' fit "$work/line.csv" --x x --y y,z --grid 5
fit 0 '^orv fit: -1 lies outside the data' "$work/line.csv" --at=-1
fit 0 '^orv fit: 5 lies outside the data' "$work/line.csv" --at 4,5
expect_streams 0 $'x,y\n1,3\n\nfunction,from,to,integral\ny,0,4,20' '' fit "$work/line.csv" --x x --y y --at 1 --integrate 0,4
printf '"x, m","y, ""s"""\n0,1\n1,2\n' >"$work/names.csv"
expect_streams 0 $'"x, m","y, ""s""","y, ""s""\'"\n0.5,1.5,1' '' fit "$work/names.csv" --x 1 --y 2 --at 0.5 --derivatives 1
expect_streams 0 $'1,2\n0.5,1.5' '' fit --no-header - --x 1 --y 2 --at 0.5 < <(printf '0,1\n1,2\n')

# picture NAME CSV ARGUMENTS...: draws and takes the picture apart; ticks and texts go to $work/ticks.
picture() {
  local name=$1
  printf '%b' "$2" >"$work/data.csv"
  shift 2
  timeout 20 "$orv" fit "$work/data.csv" --x 1 --y 2 --svg "$work/p.svg" "$@" >"$work/out" 2>&1 ||
    { fail "the picture of $name: status $?, $(head -c 200 "$work/out")"; return 1; }
  python3 - "$work/p.svg" >"$work/ticks" <<'PYTHON' || fail "the picture of $name"
import re, sys, xml.etree.ElementTree as tree
sys.stdout.reconfigure(encoding='utf-8')
root = tree.parse(sys.argv[1]).getroot()
space = '{http://www.w3.org/2000/svg}'
keys = ('x', 'y', 'x1', 'x2', 'y1', 'y2', 'cx', 'cy')
numbers = [float(v) for e in root.iter() for k, v in e.attrib.items() if k in keys]
assert all(-1 <= v <= 901 for v in numbers), numbers
curve = [e for e in root.iter(space + 'path') if e.get('stroke-width') == '2'][0].get('d')
points = re.findall(r'(-?[0-9.]+) (-?[0-9.]+)', curve)
assert len(points) > 100, curve
heights = [float(p[1]) for p in points]
assert max(heights) - min(heights) > 300, (min(heights), max(heights))
assert len(list(root.iter(space + 'circle'))) >= 2
for axis in ('middle', 'end'):
    ticks = [e.text for e in root.findall(space + 'g/' + space + "text[@text-anchor='%s']" % axis)]
    assert 2 <= len(ticks) <= 20 and len(set(ticks)) == len(ticks), ticks
    print(axis, *ticks)
for e in root.iter(space + 'text'):
    print('text', e.text)
PYTHON
}
picture 'plain data' 'x,y\n0,1\n5,2\n'
grep -qx 'middle 0 0.5 1 1.5 2 2.5 3 3.5 4 4.5 5' "$work/ticks" || fail "ticks of 0 to 5: $(cat "$work/ticks")"
picture 'places near 1e17' 'x,y\n100000000000000000,1\n100000000000000016,2\n100000000000000032,1.5\n'
grep -q 'text x - 99999999999999984' "$work/ticks" || fail "the origin of ticks near 1e17: $(cat "$work/ticks")"
picture 'the largest numbers' 'x,y\n0,1e308\n1,1.7e308\n' --spline linear
picture 'the largest places' 'x,y\n-1.7e308,0\n1.7e308,1\n' --spline step
picture 'the least numbers' 'x,y\n0,5e-324\n1,5e-320\n' --spline linear
picture 'a large offset' 'x,y\n0,1000000000000\n1,1000000000001\n'
grep -q 'text y - 1000000000000' "$work/ticks" || fail "the origin of ticks near 1e12: $(cat "$work/ticks")"
picture 'names that are no XML' 'x\x01\x7f<&]]>,\xe9t\xc3\xa9\xff\n0,1\n1,2\n'
grep -qx $'text \u00e9t\u00e9\u00ff' "$work/ticks" || fail "a name in Latin-1: $(cat "$work/ticks")"
grep -qxF $'text x\ufffd\ufffd<&]]>' "$work/ticks" || fail "a name with control bytes: $(cat "$work/ticks")"
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

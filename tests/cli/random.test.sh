# shellcheck shell=bash
expect 0 '^1067595299$' random --brng MT19937 --seed 0x123,0x234,0x345,0x456 --integer --n 3
expect 0 '^1 5 1 1$' random --brng wh --seed 0,5 --integer --n 1
expect 0 '^0\.75$' random --brng sobol --dimension 2 --n 3
expect 1 "no generator 'XYZ'; there are MCG31M1" random --brng XYZ
expect 1 'member of MT2203: 6024 is above 6023' random --brng MT2203:6024
expect 1 'R250 has no members' random --brng R250:1
for n in -3 1.5 99999999999999999999 3x; do expect 1 '^orv: --n: ' random --n "$n"; done
expect_streams 0 '' '' random --n 0
expect_streams 0 '' '' random --n 0x0
[ ! -c /dev/full ] || [ -n "$emulator" ] || expect 1 'writing to /dev/full failed' random --out /dev/full
expect 1 "'1.5' is not a whole number" random --seed 1.5
expect 1 '4294967296 is above 4294967295' random --seed 4294967296
expect 1 'length must be finite' random --interval=-1e308,1e308
expect 1 'length must be finite' random --type s --interval 0,1e39
expect 1 '1 is not below 1' random --interval 1,1
expect 1 'two numbers, A,B' random --interval 1
expect 1 'cannot skip ahead' random --brng MT2203 --skip 10
expect 1 'no leapfrog' random --brng MT19937 --leapfrog 0,2
expect 1 'stream 2 is not one of 2' random --leapfrog 2,2
expect 1 'Sobol and Niederr have none' random --brng Sobol --seed 1
expect 1 'dimension is for Sobol' random --dimension 2
expect 1 'not from 1 to 40' random --brng Sobol --dimension 41
expect 1 'cannot open /no/such/file' random --out /no/such/file
expect 1 'the file cannot be opened' random --load /no/such/file
expect 0 '.' random --brng SFMT19937 --seed 7 --n 5 --save "$work/stream"
next=$("$orv" random --load "$work/stream" --n 1)
expect 0 "^$next\$" random --brng SFMT19937 --seed 7 --n 1 --skip 5
expect 0 "^$next\$" random --brng SFMT19937 --seed 7 --n 6
expect 1 'leave out --brng' random --load "$work/stream" --brng R250
printf 'no stream' >"$work/other"
expect 1 'the file ends too early' random --load "$work/other"
expect 0 '^Gamma .*alpha in .0, inf' random --list
expect 0 '^[0-9.]+$' random --dist gamma --params 2.5,0,1 --n 1
expect 0 '^mean 2\.[45]' random --dist gamma --params 2.5,0,1 --n 100000 --summary
expect 0 '^300$' random --dist Binomial --params 300,1 --n 1
expect 1 'alpha = -1 is not above 0' random --dist gamma --params=-1,0,1
expect 1 'ntrial = 2.5 is not a whole number' random --dist binomial --params 2.5,0.5
expect 1 'Poisson wants 1 parameters: lambda, not 2' random --dist poisson --params 1,2
expect 1 "no distribution 'gama'; there are Uniform" random --dist gama
expect 1 'method 3 is not from 0 to 2' random --dist gaussian --params 0,1 --method 3

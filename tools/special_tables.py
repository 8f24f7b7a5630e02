#!/usr/bin/env python3
"""Writes the tables of the error functions: kernels/special/tables.inc.

Grid rows: value and slope of erf, erfc and the normal distribution at multiples of a step. Rows of the inverse error
function: an eighth of a binade of w = 1 - a each, as a polynomial around its middle, from w = 1/2 on of the function
over a in a, below of the function in w. Needs python3-mpmath.
"""
import struct
import sys

from mpmath import chebyfit, erf, erfc, erfinv, exp, mp, mpf, ncdf, npdf, pi, sqrt, taylor

mp.prec = 130


def to_float(x):
    """The float next to x."""
    near = struct.unpack("f", struct.pack("f", float(x)))[0]
    bits = struct.unpack("i", struct.pack("f", near))[0]
    around = [near] + [struct.unpack("f", struct.pack("i", b))[0] for b in (bits - 1, bits + 1) if near]
    return min(around, key=lambda c: abs(mpf(c) - x))


def two(x, convert=float):
    hi = convert(x)
    return hi, convert(x - mpf(hi))


def emit(f, kind, name, rows):
    suffix = "f" if "float" in kind else ""
    f.write("inline constexpr %s %s[%d] = {\n" % (kind, name, len(rows)))
    for row in rows:
        f.write("  {" + ", ".join("0" if v == 0 else float(v).hex() + suffix for v in row) + "},\n")
    f.write("};\n")


def grid(f, name, value, slope, step, last_s, last_d):
    points = lambda last: [mpf(i) / step for i in range(int(last * step) + 1)]
    emit(f, "Pair<float>", name + "_s", [(to_float(value(x)), to_float(slope(x))) for x in points(last_s)])
    # In double, for single precision at HA too.
    emit(f, "Row4", name + "_d", [two(value(x)) + two(slope(x)) for x in points(last_d)])


def inverse_error_function(w):
    """erf^-1(1 - w), also where 1 - w rounds to 1."""
    w = mpf(w)
    if w > mpf("0.9"):
        return erfinv(1 - w)
    y = sqrt(-mp.log(w))
    while True: # Halley's steps
        step = (erfc(y) - w) * sqrt(pi) / 2 * exp(y * y)
        y += step / (1 - y * step)
        if abs(step) < mpf(2) ** -40 * y:
            return y


def row(index, degree):
    """Middle, and coefficients from the low degree up."""
    binade, part = divmod(index, 8)
    low = mpf(2) ** -(binade + 1) * (1 + mpf(7 - part) / 8)
    high = low + mpf(2) ** -(binade + 1) / 8
    middle = (low + high) / 2
    if binade == 0:
        top = 1 - middle
        # Through 0 as a power series would be; the limit there is sqrt(pi) / 2.
        g = lambda t: erfinv(t + top) / (t + top) if t + top != 0 else sqrt(pi) / 2
        middle = top
    else:
        g = lambda t: inverse_error_function(t + middle)
    half = (high - low) / 2
    return middle, chebyfit(g, [-half, half], degree + 1)[::-1]


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else "kernels/special/tables.inc"
    with open(path, "w") as f:
        f.write("// Written by tools/special_tables.py.\n// clang-format off\n")
        slope = lambda x: 2 / sqrt(pi) * exp(-x * x)
        grid(f, "erf_rows", erf, slope, 128, 3.9375, 6)
        grid(f, "erfc_rows", erfc, slope, 64, 9.25, 26.5625)
        grid(f, "cdf_norm_rows", lambda x: ncdf(-x), npdf, 64, 13, 37.5625)
        rows = []
        for index in range(192):
            middle, c = row(index, 4)
            rows.append([to_float(middle)] + [to_float(v) for v in c] + [0, 0])
        emit(f, "RowOf8", "erf_inv_rows_s", rows)
        rows = []
        for index in range(424):
            middle, c = row(index, 11)
            rows.append([float(middle)] + list(two(c[0])) + [float(v) for v in c[1:]] + [0, 0])
        emit(f, "RowOf16", "erf_inv_rows_d", rows)
        f.write("// clang-format on\n")


main()

#!/usr/bin/env python3
"""Writes the tables of the exponential family: kernels/exp/tables.inc.

Row j of table K is 2^(j/K): hi rounded to the working precision, lo the rounded rest; in the table of four
floats lo is the rest relative to hi. Computed with integers.
"""
from fractions import Fraction
import math
import struct
import sys


def root_of_two(k, j, bits=200):
    """2^(j/k) as a Fraction, k a power of two, by repeated integer square roots."""
    scale = 1 << (2 * bits)
    value = Fraction(1)
    step, den = 2, k
    # 2^(j/k) = product over the bits of j of 2^(2^i/k)
    root = Fraction(2)
    exponent = Fraction(1)
    result = Fraction(1)
    j = Fraction(j, k)
    while exponent * k > 1 or j:
        root = Fraction(math.isqrt(int(root * scale * scale) // 1), scale)
        exponent /= 2
        if j >= exponent:
            result *= root
            j -= exponent
        if exponent * k <= 1:
            break
    return result


def to_double(x):
    return x.numerator / x.denominator  # correctly rounded by Python


def to_float(x):
    """Nearest float of a Fraction."""
    if x == 0:
        return 0.0
    d = to_double(x)
    candidates = set()
    near = struct.unpack("f", struct.pack("f", d))[0]
    bits = struct.unpack("I", struct.pack("f", near))[0]
    for b in (bits - 1, bits, bits + 1):
        candidates.add(struct.unpack("f", struct.pack("I", b))[0])
    return min(candidates, key=lambda c: abs(Fraction(c) - x))


def table(name, kind, k, low, relative=False):
    convert = to_double if kind == "double" else to_float
    suffix = "" if kind == "double" else "f"
    rows = []
    for j in range(k):
        x = root_of_two(k, j)
        hi = convert(x)
        rest = x - Fraction(hi)
        lo = convert(rest / Fraction(hi) if relative else rest) if j else 0.0
        text = float.hex(hi) + suffix
        rows.append("{%s, %s}" % (text, float.hex(lo) + suffix) if low else text)
    element = ("Pair<%s>" % kind) if low else kind
    out = ["alignas(64) inline constexpr %s %s[%d] = {" % (element, name, k)]
    line = "   "
    for row in rows:
        if len(line) + len(row) > 105:
            out.append(line)
            line = "   "
        line += " " + row + ","
    out.append(line)
    out.append("};")
    return "\n".join(out)


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else "kernels/exp/tables.inc"
    with open(path, "w") as f:
        f.write("// Written by tools/exp_tables.py.\n// clang-format off\n")
        for name, kind, k, low, *relative in (
            ("table_s4", "float", 4, True, True),
            ("table_s32", "float", 32, False),
            ("table_s64", "float", 64, True),
            ("table_s128", "float", 128, True),
            ("table_d64", "double", 64, True),
            ("table_d128", "double", 128, True),
            ("table_d128_hi", "double", 128, False),
            ("table_d1024", "double", 1024, False),
        ):
            f.write(table(name, kind, k, low, *relative) + "\n")
        f.write("// clang-format on\n")


main()

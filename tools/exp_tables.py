#!/usr/bin/env python3
"""Writes the tables of the exponential family: kernels/exp/tables.inc.

Row j of table K is 2^(j/K): hi rounded to the working precision, lo the rounded rest; in the table of four
floats lo is the rest relative to hi. Computed with 60 digits.
"""
from decimal import Decimal, getcontext
import sys

from table_text import emit, to_float

getcontext().prec = 60


def rows(convert, k, low, relative=False):
    for j in range(k):
        x = Decimal(2) ** (Decimal(j) / k)
        hi = convert(x)
        rest = x - Decimal(hi) if j else Decimal(0)
        lo = convert(rest / Decimal(hi) if relative else rest)
        yield (hi, lo) if low else hi


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
            convert = float if kind == "double" else to_float
            emit(f, "Pair<%s>" % kind if low else kind, name, list(rows(convert, k, low, *relative)))
        f.write("// clang-format on\n")


main()

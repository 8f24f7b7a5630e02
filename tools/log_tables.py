#!/usr/bin/env python3
"""Writes the tables of the logarithm family: kernels/log/tables.inc.

Row y of a table of the reciprocal scheme is the logarithm of N / y for the upper rows and of N / (2 y) for the
lower ones, so that it stays within about half an octave of 0. In pairs hi has trailing zeros, so that its sum with
the exponent's term is exact. Computed with 60 digits.
"""
from decimal import Decimal, getcontext
import sys

from table_text import emit, to_float

getcontext().prec = 60
LN = {"ln": Decimal(1), "log10": Decimal(10).ln(), "log2": Decimal(2).ln()}


def split(x, unit, convert):
    """hi a multiple of 2^-unit, lo the rounded rest."""
    scale = Decimal(2) ** unit
    hi = (x * scale).to_integral_value() / scale
    return float(hi), convert(x - hi)


def row(base, top, threshold, y):
    return (Decimal(top if y > threshold else top // 2) / y).ln() / LN[base]


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else "kernels/log/tables.inc"
    with open(path, "w") as f:
        f.write("// Written by tools/log_tables.py.\n// clang-format off\n")
        for base in ("ln", "log10", "log2"):
            values = [row(base, 1024, 724, y) for y in range(512, 1025)]
            emit(f, "double", "table_" + base, [float(v) for v in values])
            emit(f, "Pair<double>", "table_" + base + "_pairs", [split(v, 41, float) for v in values])
        for base, top, threshold in (("log10", 222, 157), ("log2", 184, 130)):
            values = [row(base, top, threshold, y) for y in range(top // 2, top + 1)]
            emit(f, "Pair<float>", "table_s_" + base, [split(v, 16, to_float) for v in values])
        rows = []
        for j in range(128):
            c = float((Decimal(64) / (1 + Decimal(2 * j + 1) / 256)).to_integral_value() / 64)
            rows.append((c,) + split(-Decimal(c).ln(), 37, float))
        emit(f, "RepairRow", "table_repair", rows)
        f.write("// clang-format on\n")


main()

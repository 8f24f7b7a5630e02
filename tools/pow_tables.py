#!/usr/bin/env python3
"""Writes the tables of the power family: kernels/pow/tables.inc. Computed with 60 digits."""
from decimal import Decimal, getcontext
import sys

from table_text import emit, to_float

getcontext().prec = 60


def pair(x, convert):
    hi = convert(x)
    return hi, convert(x - Decimal(hi))


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else "kernels/pow/tables.inc"
    two = Decimal(2)
    with open(path, "w") as f:
        f.write("// Written by tools/pow_tables.py.\n// clang-format off\n")
        # Row 32 r + j: the power of 2^r m_j, m_j = 1 + (2 j + 1) / 64, with -1 / m_j or with its own low part.
        for name, power in (("cbrt", Decimal(1) / 3), ("invcbrt", Decimal(-1) / 3), ("pow2o3", Decimal(2) / 3)):
            for kind, letter, convert in (("float", "s", to_float), ("double", "d", float)):
                with_factor, with_low = [], []
                for r in range(3):
                    for j in range(32):
                        m = 1 + Decimal(2 * j + 1) / 64
                        root = (power * (two**r * m).ln()).exp()
                        with_factor.append((convert(root), convert(-1 / m)))
                        with_low.append(pair(root, convert))
                emit(f, "Pair<%s>" % kind, "table_%s_%s" % (letter, name), with_factor)
                emit(f, "Pair<%s>" % kind, "table_%s_%s_pairs" % (letter, name), with_low)
        # Powers in registers: 127 - log2 (1 + j / 8) on multiples of 2^-15 with the rest, and 2^(j / 8).
        hi, lo = [], []
        for j in range(8):
            v = 127 - (1 + Decimal(j) / 8).ln() / two.ln()
            h = (v * 2**15).to_integral_value() / 2**15
            hi.append(float(h))
            lo.append(to_float(v - h))
        emit(f, "float", "table_log_hi", hi)
        emit(f, "float", "table_log_lo", lo)
        emit(f, "float", "table_power", [to_float(two ** (Decimal(j) / 8)) for j in range(8)])
        emit(f, "Pair<double>", "table_power256", [pair(two ** (Decimal(j) / 256), float) for j in range(256)])
        emit(f, "double", "table_power256_hi", [float(two ** (Decimal(j) / 256)) for j in range(256)])
        emit(f, "double", "table_power2048", [float(two ** (Decimal(j) / 2048)) for j in range(2048)])
        f.write("// clang-format on\n")


main()

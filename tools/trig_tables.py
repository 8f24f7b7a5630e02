#!/usr/bin/env python3
"""Writes the tables of the trigonometric family: kernels/trig/tables.inc.

Rows of a turn: sine and cosine of 2 pi j/512, each rounded to double and the rounded rest. Digits of 1/(2 pi) as a
little-endian number, most significant byte last, and as words, most significant first. Computed with 420 digits.
"""
from decimal import Decimal, getcontext
import sys

getcontext().prec = 420


def arctan_inverse(n):
    x = Decimal(1) / n
    total, power, k = x, x, 1
    while abs(power) > Decimal(10) ** -418:
        power = -power / (n * n)
        k += 2
        total += power / k
    return total


PI = 4 * (4 * arctan_inverse(5) - arctan_inverse(239))


def sin_cos(x):
    s, c, term, k = Decimal(0), Decimal(0), Decimal(1), 0
    while abs(term) > Decimal(10) ** -80:
        if k % 2 == 0:
            c += term if k % 4 == 0 else -term
        else:
            s += term if k % 4 == 1 else -term
        k += 1
        term = term * x / k
    return s, c


def two(x):
    hi = float(x)
    return hi, float(x - Decimal(hi))


def rows(steps):
    # The first eighth of a turn gives all others, so that equal sizes have equal bits.
    getcontext().prec = 90
    eighth = [sin_cos(2 * PI * j / steps) for j in range(steps // 8 + 1)]
    for j in range(steps):
        quadrant, k = divmod(j, steps // 4)
        s, c = eighth[k] if k <= steps // 8 else eighth[steps // 4 - k][::-1]
        s, c = [(s, c), (c, -s), (-s, -c), (-c, s)][quadrant]
        yield two(s + 0) + two(c + 0)
    getcontext().prec = 420


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else "kernels/trig/tables.inc"
    bits = int((1 / (2 * PI)) * (Decimal(2) ** 1280))
    with open(path, "w") as f:
        f.write("// Written by tools/trig_tables.py.\n// clang-format off\n")
        f.write("inline constexpr Row4 turn_rows[512] = { // sine, its low part, cosine, its low part\n")
        for row in rows(512):
            f.write("  {" + ", ".join("0.0" if v == 0 else v.hex() for v in row) + "},\n")
        f.write("};\n")
        f.write("alignas(32) inline constexpr uint32_t inverse_turn_words[8] = {\n  0")
        for i in range(7):
            f.write(", 0x%08X" % (bits >> (1280 - 32 * (i + 1)) & 0xFFFFFFFF))
        f.write("\n};\n")
        data = bits.to_bytes(160, "little")
        f.write("inline constexpr unsigned char inverse_turn_bytes[176] = {\n")
        for i in range(0, 160, 16):
            f.write("  " + ", ".join("0x%02X" % b for b in data[i : i + 16]) + ",\n")
        f.write("}; // the last 16 bytes are the zeros before the point\n// clang-format on\n")


main()

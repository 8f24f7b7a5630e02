"""What the generators of constant tables share: rounding to single precision and the text of a table."""
import struct
from decimal import Decimal


def to_float(x):
    """The float next to a Decimal."""
    near = struct.unpack("f", struct.pack("f", float(x)))[0]
    bits = struct.unpack("i", struct.pack("f", near))[0]
    around = [struct.unpack("f", struct.pack("i", b))[0] for b in (bits - 1, bits, bits + 1)] if near else [0.0]
    return min(around, key=lambda c: abs(Decimal(c) - x))


def emit(f, kind, name, rows):
    """Writes an array of numbers, or of tuples of numbers."""
    suffix = "f" if kind.endswith("float") or "float>" in kind else ""
    text = lambda r: "{" + ", ".join(map(text, r)) + "}" if isinstance(r, tuple) else float.hex(r) + suffix
    f.write("alignas(64) inline constexpr %s %s[%d] = {\n" % (kind, name, len(rows)))
    line = "   "
    for row in rows:
        t = " " + text(row) + ","
        if len(line) + len(t) > 108:
            f.write(line + "\n")
            line = "   "
        line += t
    f.write(line + "\n};\n")

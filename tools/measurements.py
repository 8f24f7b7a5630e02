"""The measurements under docs/data, for the tools that write documents and comments from them.

  accuracy*.csv   orv accuracy --csv; of several rows for a function, type and level the one of most arguments counts
  speed.csv       orv bench --csv
"""
import csv
import glob

LEVELS = ("LA", "HA", "EP")


def rows(path):
    with open(path) as file:
        return list(csv.DictReader(file))


def shortest_hex(text):
    """A number as C's %a writes it, without the zeros at the end."""
    value = float.fromhex(text) if "0x" in text or text in ("inf", "-inf", "nan") else float(text)
    mantissa, _, exponent = value.hex().partition("p")
    if not exponent:
        return mantissa
    if "." in mantissa:
        mantissa = mantissa.rstrip("0").rstrip(".")
    return mantissa + "p" + exponent


def argument(row):
    """The worst argument in hexadecimal, operands or parts with spaces between."""
    if row.get("argument_hex"):
        return row["argument_hex"]
    parts = [row["argument"]]
    if float(row.get("second_argument") or 0):
        parts.append(row["second_argument"])
    return " ".join(shortest_hex(part) for part in parts)


def accuracy(directory="docs/data/"):
    """By (type and name, level): the row of most arguments. Functions with a scalar operand: of each scalar."""
    best = {}
    for path in sorted(glob.glob(directory + "accuracy*.csv")):
        for row in rows(path):
            name = row["type"] + row["function"]
            if row["function"] == "Powx":
                scalar = row.get("scalar") or row.get("second_argument") or ""
                name += "(%g)" % float.fromhex(scalar) if scalar else ""
            key = name, row["level"]
            if key not in best or int(row["points"]) >= int(best[key]["points"]):
                best[key] = row
    return best


def speed(directory="docs/data/", n=1024):
    """By type and name, then who: cycles an element."""
    cycles = {}
    for row in rows(directory + "speed.csv"):
        if int(row["n"]) == n:
            cycles.setdefault(row["type"] + row["function"], {})[row["who"]] = float(row["cycles_per_element"])
    return cycles

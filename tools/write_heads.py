#!/usr/bin/env python3
"""Writes the comment of measured figures at the head of kernels' files, whole, from the measurements in docs/data
(tools/measurements.py):

  tools/write_heads.py [FILE...]     all files of kernels/ without names
  tools/write_heads.py --check       says which files differ, and ends with 1 if any does

The comment begins with "// Measured:"; it and the indented lines below it are replaced. Where there is none it goes
before the first line that is no comment. Functions are those that ORV_KERNEL names in the file.
"""
import glob
import re
import sys

import measurements

HEAD = [
    "// Measured: the largest error in ulp (LA, HA) and the fewest good bits (EP), each with its argument, over so many",
    "// arguments (2^32: all); cycles an element at n = 1024, LA / HA / EP.",
]
WIDTH = 110


def points(count):
    return "2^32" if count == 1 << 32 else "%.2g" % count


def entry(name, errors, cycles):
    """The lines of one function and type."""
    parts = []
    for level in measurements.LEVELS:
        row = errors[name, level]
        figure = "%.3g" % float(row["max_ulp"]) if level != "EP" else "%.4g bits" % float(row["good_bits"])
        exact = float(row["max_ulp"]) == 0
        parts.append("%s exact" % level if exact else "%s %s at %s" % (level, figure, measurements.argument(row)))
    if name in cycles:
        parts.append(" / ".join("%.2f" % cycles[name][level] for level in measurements.LEVELS))
    lines, line = [], "//   %s (%s):" % (name, points(int(errors[name, "LA"]["points"])))
    for i, part in enumerate(parts):
        text = " " + part + (";" if i + 1 < len(parts) else "")
        if len(line) + len(text) > WIDTH:
            lines.append(line)
            line = "//     "
        line += text
    return lines + [line]


def block(source, errors, cycles):
    names = re.findall(r"^ORV_KERNEL\w*\((\w+),", source, re.M)
    lines = []
    for function in names:
        for kind in "sdcz":
            for name in [kind + function] + sorted({n for n, _ in errors if n.startswith(kind + function + "(")}):
                if all((name, level) in errors for level in measurements.LEVELS):
                    lines += entry(name, errors, cycles)
    return HEAD + lines if lines else []


def rewritten(source, errors, cycles):
    lines = source.split("\n")
    start = next((i for i, line in enumerate(lines) if line.startswith("// Measured:")), None)
    if start is None:
        start = next(i for i, line in enumerate(lines) if not line.startswith("//"))
        end = start
    else:
        end = start + 1
        # What is left of the sentence, then the indented lines.
        while end < len(lines) and re.match(r"// (?=[a-z])|//   ", lines[end]):
            end += 1
    return "\n".join(lines[:start] + block(source, errors, cycles) + lines[end:])


def main():
    check = "--check" in sys.argv
    files = [a for a in sys.argv[1:] if a != "--check"] or sorted(glob.glob("kernels/*/*.cpp"))
    errors, cycles = measurements.accuracy(), measurements.speed()
    differ = False
    for path in files:
        source = open(path).read()
        text = rewritten(source, errors, cycles)
        if text == source:
            continue
        differ = True
        print(path)
        if not check:
            open(path, "w").write(text)
    sys.exit(1 if check and differ else 0)


main()

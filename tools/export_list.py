#!/usr/bin/env python3
"""Writes exports/elementwise.txt from the list of functions."""
import re
import sys

levels = {"s": ("_21", "_11"), "c": ("_21", "_11"), "d": ("_50", "_26"), "z": ("_50", "_26")}


def names(text):
    for x, name, form in re.findall(r"^ORV_FUNCTION\((\w), (\w+), (\w+),", text, re.M):
        for suffix in ("",) if form == "pack" else ("", "I"):
            f = x + name + suffix
            la, ep = levels[x]
            yield from ("_elw" + f + s for s in ("", "_HA", la, ep))
            yield from ("orv_elw_kernel_%s_%s" % (f, t) for t in ("ttab", "ctab"))


root = sys.argv[1] if len(sys.argv) > 1 else "."
found = sorted(names(open(root + "/include/orv/functions.def").read()))
open(root + "/exports/elementwise.txt", "w").write("\n".join(found) + "\n")
print(len(found), "names")

#!/usr/bin/env python3
"""Writes frame/costs.inc from measured cycles: orv bench --n 1024 --csv FILE, then measure_costs.py FILE.

Costs rise from EP over LA to HA in every row, whatever the noise of a measurement says. The rows of `fixed` are
agreed with front ends and stay as they are. Strided forms carry the costs of the contiguous ones.
"""
import csv
import re
import sys

fixed = {
    "sFloor": (0.284, 0.284, 0.284),
    "dFloor": (0.446, 0.446, 0.446),
    "sCeil": (0.285, 0.287, 0.284),
    "sSqr": (0.258, 0.258, 0.258),
    "sExp": (1.204, 1.431, 0.884),
    "dLn": (6.311, 7.597, 5.824),
    "sPow": (4.701, 11.054, 3.564),
    "dPow": (15.326, 20.973, 10.59),
}


def slots():
    text = open("include/orv/functions.def").read()
    rows = re.findall(r"^ORV_FUNCTION\((\w), (\w+), (\w+), (\w+),", text, re.M)
    return {x + name: relation for x, name, form, relation in rows if form != "pack"}


def main():
    measured = {}
    for row in csv.DictReader(open(sys.argv[1])):
        if row["who"] in ("LA", "HA", "EP"):
            measured.setdefault(row["type"] + row["function"], {})[row["who"]] = float(row["cycles_per_element"])
    with open("frame/costs.inc", "w") as out:
        out.write("// Written by tools/measure_costs.py.\n")
        for name, relation in slots().items():
            if name in fixed:
                la, ha, ep = fixed[name]
            else:
                m = measured[name]
                la, ha, ep = m["LA"], m["HA"], m["EP"]
                if relation in ("one", "la_ha"):
                    la = ha = min(la, ha)
                if relation in ("one", "la_ep"):
                    la = ep = min(la, ep)
                if relation == "one":
                    ha = la
                ep = min(ep, la)
                ha = max(ha, la)
            values = ", ".join("%.3ff" % v for v in (la, ha, ep))
            for form in ("", "I"):
                out.write('{"%s%s", {%s}},\n' % (name, form, values))


main()

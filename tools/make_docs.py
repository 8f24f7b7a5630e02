#!/usr/bin/env python3
"""Writes docs/accuracy.md, docs/speed.md and docs/speed.svg from the measurements in docs/data
(tools/measurements.py):

  orv accuracy --points 2e7 --csv docs/data/accuracy.csv            regions and sampled arguments
  orv accuracy --exhaustive --type s --csv docs/data/accuracy_exhaustive.csv    all 2^32
  orv bench --n 1,8,64,1024,4194304 --csv docs/data/speed.csv

docs/data/machine.txt says where and when they were made. The comments of kernels' files: tools/write_heads.py.
"""
import measurements

DATA = "docs/data/"


def accuracy(machine):
    out = ["# Measured accuracy\n", machine,
           "\n| function | level | max ulp | good bits | worst argument | points | bound kept |",
           "|---|---|---|---|---|---|---|"]
    for (name, level), r in measurements.accuracy().items():
        count = int(r["points"])
        out.append("| %s | %s | %s | %s | %s | %s | %s |" % (
            name, level, r["max_ulp"], r["good_bits"], measurements.argument(r),
            "all 2^32" if count == 1 << 32 else count, "yes" if r["pass"] == "pass" else "**no**"))
    out.append("\nErrors in units in the last place of the correctly rounded value; below the normal range, of the "
               "smallest denormal. Good bits: -log2 of the relative error where the value is normal; 999: exact. The "
               "worst argument is that of the error in ulp, at EP that of the bits.")
    open("docs/accuracy.md", "w").write("\n".join(out) + "\n")


def speed(machine):
    table = measurements.rows(DATA + "speed.csv")
    cells, peers = {}, []
    for r in table:
        if r["who"] not in measurements.LEVELS and r["who"] not in peers:
            peers.append(r["who"])
        cells.setdefault((r["type"] + r["function"], int(r["n"])), {})[r["who"]] = float(r["cycles_per_element"])
    out = ["# Measured speed\n", machine, "\nCore cycles an element: medians of interleaved runs. In brackets: the "
           "peer's time over that of LA. Peers are built as their users build them (`-O3 -march=native`, no flag of this "
           "tree): the C library's functions one by one (libm) and by vectors of 256 bits (libmvec), SLEEF's by their "
           "error bounds in tenths of an ulp, plain loops that the compiler vectorises (loop), bare instructions on "
           "256-bit vectors; names with _512 are the 512-bit variants, where the processor has them.\n"]
    for n in sorted({n for _, n in cells}):
        out.append("## n = %d\n" % n)
        out.append("| function | LA | HA | EP | " + " | ".join(peers) + " |")
        out.append("|---" * (4 + len(peers)) + "|")
        for (name, size), c in cells.items():
            if size != n:
                continue
            ratio = lambda p: "%.2f (%.2f)" % (c[p], c[p] / c["LA"]) if p in c else ""
            out.append("| %s | %.3f | %.3f | %.3f | %s |" % (name, c["LA"], c["HA"], c["EP"],
                                                              " | ".join(ratio(p) for p in peers)))
        out.append("")
    open("docs/speed.md", "w").write("\n".join(out) + "\n")
    chart(cells)


def chart(cells):
    """Bars of LA against the C library's vector function and SLEEF, n = 1024."""
    names = [name for (name, n), c in cells.items() if n == 1024 and ("libmvec" in c or "sleef_u10" in c)]
    width, left, step = 760, 90, 34
    most = max(max(c.get(p, 0) for p in ("LA", "HA", "libmvec", "sleef_u10"))
               for (name, n), c in cells.items() if n == 1024 and name in names)
    colours = {"LA": "#1b6ca8", "HA": "#6fb1d9", "libmvec": "#d98032", "sleef_u10": "#9a9a9a"}
    height = 70 + step * len(names)
    svg = ['<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" font-family="sans-serif" font-size="11">'
           % (width, height), '<rect width="100%" height="100%" fill="white"/>',
           '<text x="%d" y="20" font-size="14">Cycles an element at n = 1024 (shorter is better)</text>' % left]
    x = left
    for label, colour in colours.items():
        svg.append('<rect x="%d" y="30" width="10" height="10" fill="%s"/><text x="%d" y="39">%s</text>'
                   % (x, colour, x + 14, label))
        x += 90
    for i, name in enumerate(names):
        top = 55 + i * step
        svg.append('<text x="%d" y="%d" text-anchor="end">%s</text>' % (left - 8, top + 18, name))
        for k, (who, colour) in enumerate(colours.items()):
            value = cells[(name, 1024)].get(who)
            if value is None:
                continue
            length = (width - left - 60) * value / most
            svg.append('<rect x="%d" y="%d" width="%.1f" height="6" fill="%s"/>' % (left, top + 7 * k, length, colour))
            svg.append('<text x="%.1f" y="%d" font-size="7">%.2f</text>' % (left + length + 3, top + 7 * k + 6, value))
    svg.append("</svg>")
    open("docs/speed.svg", "w").write("\n".join(svg) + "\n")


machine_text = open(DATA + "machine.txt").read().strip()
accuracy(machine_text)
speed(machine_text)

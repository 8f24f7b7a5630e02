#!/usr/bin/env python3
"""Writes distributions/poisson_tables.inc: polynomials that turn a standard Gaussian number into a Poisson count.

  tools/poisson_tables.py OUT

The count is the integer part of Y(g), so Y(g) = k + 1 is wanted at the g whose Gaussian probability is P(K <= k). The
coefficients of a row are a linear program: least largest error of the distribution function over a grid of means, with
counts that rise for |g| up to 5.42, the largest that inversion in single precision gives: Y stays below 1 up to the g
of the count 0, and rises from there. Weights need the slope of Y, which is taken from the solution before; a few turns
settle it. Needs numpy and scipy.
"""
import sys

import numpy as np
from scipy import optimize, stats

REACH = 5.42
BOUND = 2e-4


def targets(mean):
    """Counts with the Gaussian quantiles of their distribution function, at most some 60 of them."""
    spread = np.sqrt(mean)
    low = max(0, int(mean - 6 * spread) - 1)
    high = int(mean + 6 * spread) + 12
    k = np.unique(np.linspace(low, high, 70).astype(int)) if high - low > 70 else np.arange(low, high + 1)
    f, rest = stats.poisson.cdf(k, mean), stats.poisson.sf(k, mean)
    g = np.where(f < 0.5, stats.norm.ppf(f), stats.norm.isf(rest))
    keep = np.abs(g) < REACH
    return k[keep], g[keep]


def fit(means, columns, derivative_columns, offset, offset_slope, columns_wanted, fixed=()):
    """columns(mean, g): the values that coefficients multiply; offset(mean, g): the part without coefficient."""
    grid = np.linspace(-REACH, REACH, 109)
    points = [(m, *targets(m)) for m in means]
    first = {m: max(-REACH, stats.norm.ppf(np.exp(-m))) for m in means}
    above = {m: grid[grid >= first[m]] for m in means}
    under = {m: grid[grid < first[m] - 0.02] for m in means}
    rising = np.vstack([derivative_columns(m, above[m]) for m in means])
    rising_offset = np.concatenate([offset_slope(m, above[m]) for m in means])
    low = np.vstack([columns(m, under[m]) for m in means])
    low_limit = np.concatenate([0.999 - offset(m, under[m]) for m in means])
    slopes = [np.full(len(g), np.sqrt(m)) for m, k, g in points]
    best = None
    for _ in range(6):
        rows, right = [], []
        for (m, k, g), slope in zip(points, slopes):
            w = stats.norm.pdf(g) / slope
            rows.append(columns(m, g) * w[:, None])
            right.append((k + 1 - offset(m, g)) * w)
        a, b = np.vstack(rows), np.concatenate(right)
        n = columns_wanted
        scale = 1e4  # the solver's tolerance is absolute
        ones = np.ones((len(a), 1))
        ub = np.vstack([np.hstack([a * scale, -ones]), np.hstack([-a * scale, -ones]),
                        np.hstack([-rising, np.zeros((len(rising), 1))]), np.hstack([low, np.zeros((len(low), 1))])])
        limit = np.concatenate([b * scale, -b * scale, rising_offset - 1e-4, low_limit])
        bounds = [(None, None)] * n + [(0, None)]
        for i, value in fixed:
            bounds[i] = (value, value)
        solution = optimize.linprog(np.append(np.zeros(n), 1), A_ub=ub, b_ub=limit, bounds=bounds, method="highs")
        if solution.status != 0:
            raise RuntimeError(solution.message)
        c = solution.x[:n]
        slopes = [np.maximum(derivative_columns(m, g) @ c + offset_slope(m, g), 0.05 * np.sqrt(m)) for m, k, g in points]
        error = largest_error(points, lambda m, g: columns(m, g) @ c + offset(m, g))
        if best is None or error < best[0]:
            best = (error, c)
    return best


def largest_error(points, y):
    """Of the distribution function, by finding where Y passes each count."""
    worst = 0
    g = np.linspace(-REACH, REACH, 20001)
    for m, k, wanted in points:
        values = np.maximum.accumulate(y(m, g))
        crossing = np.interp(k + 1.0, values, g)
        worst = max(worst, np.max(np.abs(stats.norm.cdf(crossing) - stats.norm.cdf(wanted))))
    return worst


def mean_for_each(row):
    """lambda + c0 + 1 + c1 t + g (sqrt lambda + c2 + c3 t) (P0 + g (P1 + g (P2 + g P3))), cubics P in t."""
    low = 2.0 ** (row - 4)
    c2, c3 = (-0.0651707091, 0.00364498739) if row == 0 else (0.0, 0.0)
    fixed = [(0, -0.778466884), (1, 0.0294615303), (2, 1.6205363)] if row == 0 else []

    def parts(m, g):
        t = m / low - 1
        return t, (np.sqrt(m) + c2 + c3 * t)

    def columns(m, g):
        t, s = parts(m, g)
        return np.stack([np.ones_like(g), t + 0 * g] + [s * g ** (j + 1) * t ** i for j in range(4) for i in range(4)], 1)

    def slope(m, g):
        t, s = parts(m, g)
        zero = np.zeros_like(g)
        return np.stack([zero, zero] + [s * (j + 1) * g ** j * t ** i for j in range(4) for i in range(4)], 1)

    means = low * (1 + np.linspace(0, 1, 13))
    error, c = fit(means, columns, slope, lambda m, g: m + 1 + 0 * g, lambda m, g: 0 * g, 18, fixed)
    return error, [c[0], c[1], c2, c3, *c[2:]]


def one_mean(row):
    """A + B g (C + g (D + g (E + g F))): A quadratic, the others cubics in z; B is near sqrt lambda."""
    low = 2.0 ** row
    z = np.linspace(0, 1, 101)
    root = np.polynomial.polynomial.polyfit(z, np.sqrt(low * (1 + z)), 3)

    def columns(m, g):
        t = m / low - 1
        s = np.polynomial.polynomial.polyval(t, root)
        return np.stack([np.ones_like(g), t + 0 * g, t * t + 0 * g] +
                        [s * g ** (j + 1) * t ** i for j in range(4) for i in range(4)], 1)

    def slope(m, g):
        t = m / low - 1
        s = np.polynomial.polynomial.polyval(t, root)
        zero = np.zeros_like(g)
        return np.stack([zero] * 3 + [s * (j + 1) * g ** j * t ** i for j in range(4) for i in range(4)], 1)

    means = low * (1 + np.linspace(0, 1 if row < 6 else 100 / 64 - 1, 13))
    error, c = fit(means, columns, slope, lambda m, g: 1 + 0 * g, lambda m, g: 0 * g, 19)
    return error, [*c[:3], *root, *c[3:], 0.0]


def write(out, name, rows, width):
    out.write(f"const double {name}[{len(rows)}][{width}] = {{\n")
    for error, values in rows:
        if error > BOUND:
            raise RuntimeError(f"{name}: error {error}")
        out.write(f"    {{ // error {error:.1e}\n")
        for i in range(0, width, 4):
            out.write("        " + ", ".join(repr(float(f"{v:.12g}")) for v in values[i:i + 4]) + ",\n")
        out.write("    },\n")
    out.write("};\n")


def main():
    # Rows are ready from 1/16 up to 8192.
    each = [mean_for_each(row) for row in range(17)]
    one = [one_mean(row) for row in range(7)]
    with open(sys.argv[1], "w", encoding="ascii") as out:
        out.write("// Written by tools/poisson_tables.py; errors are those of the distribution function.\n")
        write(out, "poisson_rows", one, 24)
        write(out, "poisson_v_rows", each, 20)


main()

#!/usr/bin/env python3
"""Fits n(u) / d(u) to a function of u = x^2 with the least largest relative error, d(0) = n(0): prints coefficients.

Lawson's weights on a linear least-squares problem whose equations are divided by the last denominator. Usage:
tools/rational_fit.py tan 1 2 | tan 2 2 | tanh 3 2 | tanh 4 3; degrees of numerator and denominator in u.
"""
import sys

from mpmath import matrix, mp, mpf, lu_solve, tan, tanh, cos, pi, sqrt, log, nstr

mp.prec = 200
FUNCTIONS = {"tan": (tan, pi / 4 + mpf(2) ** -20), "tanh": (tanh, mpf("9.02"))}


def fit(f, end, n, d, points=240, rounds=60):
    x = [end * (1 - cos(pi * (2 * i + 1) / (4 * points))) for i in range(points)]
    u = [v * v for v in x]
    g = [f(v) / v for v in x]
    weight = [mpf(1)] * points
    last = [mpf(1)] * points
    best = None
    for _ in range(rounds):
        columns = n + 1 + d
        a, b = matrix(columns, columns), matrix(columns, 1)
        for i in range(points):
            w = sqrt(weight[i]) / (last[i] * g[i])
            row = [w * u[i] ** k for k in range(n + 1)] + [-w * g[i] * u[i] ** k for k in range(1, d + 1)]
            right = w * g[i]
            for p in range(columns):
                b[p] += row[p] * right
                for q in range(columns):
                    a[p, q] += row[p] * row[q]
        c = lu_solve(a, b)
        top, bottom = [c[k] for k in range(n + 1)], [mpf(1)] + [c[n + k] for k in range(1, d + 1)]
        value = lambda v, k: sum(coefficient * v**i for i, coefficient in enumerate(k))
        last = [value(v, bottom) for v in u]
        error = [abs(value(v, top) / last[i] / g[i] - 1) for i, v in enumerate(u)]
        worst = max(error)
        if best is None or worst < best[0]:
            best = worst, top, bottom
        total = sum(w * e for w, e in zip(weight, error))
        weight = [w * e / total for w, e in zip(weight, error)]
    return best


name, n, d = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
worst, top, bottom = fit(*FUNCTIONS[name], n, d)
print("largest relative error 2^%s" % nstr(log(worst, 2), 5))
print("numerator  ", ", ".join(nstr(c, 17) for c in top))
print("denominator", ", ".join(nstr(c, 17) for c in bottom))

#!/usr/bin/env python3
"""Times moments and covariance beside numpy, GSL, Armadillo and (where installed) R, and counts the correct digits of the methods.

    OPENBLAS_NUM_THREADS=1 bench/statistics/compare.py build/linux-x86_64 [--threads 1] [--runs 15]

Runs of all peers are interleaved; figures are medians with the spread between quartiles. Ratios are peer over
this library: above 1, the peer is slower.
"""
import argparse
import ctypes
import shutil
import statistics
import subprocess
import time
from fractions import Fraction

import numpy as np

ROWS, COLS = 0x10000, 0x20000
FAST, ONE_PASS, USER_MEAN = 1, 2, 0x100
MOMENTS = 0x7F
COV = 0x1000


class Task:
    """A task over an array: (n, p) C-contiguous is COLS, Fortran-contiguous is ROWS."""

    def __init__(self, lib, x, threads):
        self.lib, self.threads = lib, threads
        n, p = x.shape
        rows = x.flags.f_contiguous
        self.ints = [ctypes.c_int(v) for v in (p, n, ROWS if rows else COLS, 0)]
        self.x = x
        self.handle = ctypes.c_void_p()
        ref = [ctypes.byref(i) for i in self.ints]
        status = getattr(lib, "__rnqdSSNewTask")(ctypes.byref(self.handle), ref[0], ref[1], ref[2],
                                                 ctypes.c_void_p(x.ctypes.data), None, None, 0)
        assert status == 0, status
        self.moments = np.zeros((7, p))
        self.cov = np.zeros((p, p))
        rows = [ctypes.c_void_p(self.moments[k].ctypes.data) for k in range(7)]
        getattr(lib, "__rnqdSSEditMoments")(self.handle, *rows)
        getattr(lib, "__rnqdSSEditCovCor")(self.handle, None, ctypes.c_void_p(self.cov.ctypes.data), ref[3], None, None)

    def compute(self, estimates, method):
        status = self.lib._rnqdSSBasic(self.handle, ctypes.c_uint64(estimates), ctypes.c_uint64(method), self.threads)
        assert status == 0, status

    def __del__(self):
        getattr(self.lib, "__rnqSSDeleteTask")(ctypes.byref(self.handle))


class R:
    """An R process that holds data of its own and times one evaluation on request."""

    def __init__(self, n, p, expression):
        script = f"""
            x <- matrix(rnorm({n} * {p}, 3), {n}, {p})
            moments <- function(v) {{ m <- mean(v); d <- v - m; e <- d * d; c(m, sum(e), sum(e * d), sum(e * e)) }}
            input <- file("stdin", "r")
            while (length(readLines(input, n = 1)) == 1) {{
              t <- Sys.time()
              r <- {expression}
              cat(sprintf("%.9f\\n", as.numeric(Sys.time() - t, units = "secs")))
              flush(stdout())
            }}"""
        self.process = subprocess.Popen(["Rscript", "-e", script], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def __call__(self):
        self.process.stdin.write("go\n")
        self.process.stdin.flush()
        return float(self.process.stdout.readline())

    def __del__(self):
        self.process.stdin.close()
        self.process.wait()


def interleaved(works, runs):
    """A work that returns a number has timed itself."""
    for work in works.values():
        work()
    times = {name: [] for name in works}
    for _ in range(runs):
        for name, work in works.items():
            start = time.perf_counter()
            own = work()
            times[name].append(own if isinstance(work, R) else time.perf_counter() - start)
    return times


def report(title, times, ours, elements):
    print(title)
    base = statistics.median(times[ours])
    for name, t in times.items():
        median = statistics.median(t)
        low, _, high = statistics.quantiles(t, n=4)
        print(f"  {name:24} {median * 1e3:9.3f} ms  (quartiles {low * 1e3:.3f} to {high * 1e3:.3f})"
              f"  {elements * 8 / median / 1e9:7.2f} GB/s  ratio {median / base:6.2f}")


def numpy_moments(x):
    m = x.mean(axis=0)
    d = x - m
    d2 = d * d
    return m, d2.sum(axis=0), (d2 * d).sum(axis=0), (d2 * d2).sum(axis=0)


def speed(lib, peers, threads, runs):
    random = np.random.default_rng(7)
    vector = ctypes.c_void_p
    for n, p in ((1_000_000, 1), (100_000, 10)):
        c = np.ascontiguousarray(random.normal(3, 1, (n, p)))
        f = np.asfortranarray(c)
        if p == 1:
            f = c
        out = np.zeros(4 * p)
        in_rows, in_cols = Task(lib, f, threads), Task(lib, c, threads)
        fast = Task(lib, c, threads)
        works = {
            "one-pass, variables": lambda: in_rows.compute(MOMENTS, ONE_PASS),
            "one-pass, observations": lambda: in_cols.compute(MOMENTS, ONE_PASS),
            "fast, observations": lambda: fast.compute(MOMENTS, FAST),
            "plain sum": lambda: peers.bench_sum(vector(c.ctypes.data), ctypes.c_long(n * p)),
            "numpy, variables": lambda: numpy_moments(f),
            "numpy, observations": lambda: numpy_moments(c),
            "GSL, variables": lambda: peers.bench_gsl(vector(f.ctypes.data), ctypes.c_long(n), ctypes.c_long(p),
                                                      ctypes.c_long(1), ctypes.c_long(n), vector(out.ctypes.data)),
            "Armadillo, variables": lambda: peers.bench_armadillo(vector(f.ctypes.data), ctypes.c_long(n),
                                                                  ctypes.c_long(p), vector(out.ctypes.data)),
        }
        if shutil.which("Rscript"):
            works["R, variables"] = R(n, p, "apply(x, 2, moments)" if p > 1 else "moments(x[, 1])")
        if p == 1:
            del works["one-pass, observations"], works["numpy, observations"]
        report(f"four moments of {n} x {p}, ratio to one-pass over variables", interleaved(works, runs),
               "one-pass, variables", n * p)
        if p > 1:
            report("  the same, ratio to one-pass over observations", interleaved(works, runs),
                   "one-pass, observations", n * p)
    n, p = 100_000, 100
    c = np.ascontiguousarray(random.normal(3, 1, (n, p)))
    f = np.asfortranarray(c)
    out = np.zeros((p, p))
    tasks = {name: Task(lib, x, threads) for name, x in
             (("one-pass, observations", c), ("fast, observations", c), ("one-pass, variables", f), ("fast, variables", f))}
    works = {name: (lambda t=t, name=name: t.compute(1 | COV, ONE_PASS if name.startswith("one") else FAST))
             for name, t in tasks.items()}
    works["numpy cov, observations"] = lambda: np.cov(c, rowvar=False)
    works["numpy cov, variables"] = lambda: np.cov(f, rowvar=False)
    works["Armadillo cov"] = lambda: peers.bench_armadillo_cov(vector(f.ctypes.data), ctypes.c_long(n),
                                                               ctypes.c_long(p), vector(out.ctypes.data))
    works["plain sum"] = lambda: peers.bench_sum(vector(c.ctypes.data), ctypes.c_long(n * p))
    if shutil.which("Rscript"):
        works["R cov"] = R(n, p, "cov(x)")
    times = interleaved(works, runs)
    report(f"covariance of {n} x {p}, ratio to one-pass over observations", times, "one-pass, observations", n * p)
    expected = np.cov(c, rowvar=False)
    for name, t in tasks.items():
        error = np.abs(t.cov - expected).max()
        assert error < 1e-9, (name, error)


def digits(lib):
    """Correct digits of the standard deviation against exact arithmetic on the stored doubles."""
    random = np.random.default_rng(11)
    cases = {
        "integers 0 to 9": random.integers(0, 10, 1000).astype(float),
        "1e3 + 0.1, 0.2, 0.3": np.array([1e3 + 0.1 * (i % 3 + 1) for i in range(1001)]),
        "1e7 + 0.1, 0.2, 0.3": np.array([1e7 + 0.1 * (i % 3 + 1) for i in range(1001)]),
        "1e9 + 0.1, 0.2, 0.3": np.array([1e9 + 0.1 * (i % 3 + 1) for i in range(1001)]),
        "1e6 + normal, sorted": np.sort(1e6 + random.normal(size=20000)),
        "ramp 1 to 20000 + 1e8": 1e8 + np.arange(20000.0),
        "1e12, 1e12 + 1, ...": 1e12 + (np.arange(5000) % 4),
    }
    print("correct digits of the standard deviation: one-pass, fast, user-mean, numpy std; of kurtosis: one-pass")
    for name, x in cases.items():
        exact = [Fraction(v) for v in x]
        mean = sum(exact) / len(exact)
        squares = [(v - mean) ** 2 for v in exact]
        variance = sum(squares) / (len(exact) - 1)
        fourth = sum(v * v for v in squares) / len(exact)
        x = np.asfortranarray(x.reshape(-1, 1))
        found = []
        for method in (ONE_PASS, FAST, USER_MEAN):
            task = Task(lib, x, None)
            task.moments[0] = float(mean)
            task.compute(MOMENTS, method)
            found.append(task.moments[4][0])
            if method == ONE_PASS:
                kurtosis = Fraction(task.moments[6][0]) / Fraction(task.moments[4][0]) ** 2
        found.append(x.var(ddof=1))

        def count(value, target, factor):
            if not np.isfinite(float(value)):
                return 0.0
            error = abs(Fraction(value) - target) / target * factor
            return 16.0 if error == 0 else max(0.0, min(16.0, -np.log10(float(error))))

        line = [count(v, variance, Fraction(1, 2)) for v in found] + [count(kurtosis, fourth / variance ** 2, 1)]
        print(f"  {name:24}", " ".join(f"{d:6.1f}" for d in line))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--threads", type=int, default=1)
    parser.add_argument("--runs", type=int, default=15)
    parser.add_argument("--digits-only", action="store_true")
    o = parser.parse_args()
    lib = ctypes.CDLL(f"{o.build}/bin/liborv_elw_avx2.so.2")
    digits(lib)
    if o.digits_only:
        return
    peers = ctypes.CDLL(f"{o.build}/bin/liborv_statistics_peers.so")
    peers.bench_threads.restype = ctypes.c_void_p
    peers.bench_sum.restype = ctypes.c_double
    speed(lib, peers, ctypes.c_void_p(peers.bench_threads(o.threads)), o.runs)


main()

#!/usr/bin/env python3
"""Times sorting, quantiles, deviations, robust estimates and groups, beside numpy where that has the like.

    bench/statistics/robust.py build/linux-x86_64 [--runs 7]

One thread; figures are the least of the runs, peers and this library in turn.
"""
import argparse
import ctypes
import time

import numpy as np

ROWS, COLS = 0x10000, 0x20000
CODES = {"data": 3, "weights": 6, "quantileOrders": 25, "quantiles": 26, "pooledMean": 30, "pooledCov": 31,
         "robustMean": 39, "robustCov": 40, "outlierWeights": 43, "paramCor": 60, "cor": 21, "params": 63,
         "streamOrders": 65, "stream": 66, "mad": 76, "sorted": 78, "outlierParams": 42}
INTEGERS = {"quantileOrderCount": 24, "groups": 28, "pooledCovStorage": 29, "robustCovStorage": 36, "corStorage": 22,
            "paramCorStorage": 61, "paramCount": 62, "streamOrderCount": 64, "sortedStorage": 79, "outlierParamCount": 41}


class Task:
    def __init__(self, lib, x, layout, **fields):
        self.lib, self.keep = lib, [x]
        n, p = x.shape
        ints = [ctypes.c_int(v) for v in (p, n, layout)]
        self.keep += ints
        self.handle = ctypes.c_void_p()
        r = [ctypes.byref(i) for i in ints]
        assert getattr(lib, "__rnqdSSNewTask")(ctypes.byref(self.handle), r[0], r[1], r[2], ctypes.c_void_p(x.ctypes.data),
                                               None, None, ctypes.c_ssize_t(0)) == 0
        for name, value in fields.items():
            if name in INTEGERS and not isinstance(value, np.ndarray):
                value = np.array([value], dtype=np.int32)
            edit, code = ("__rnqiSSEditTask", INTEGERS[name]) if name in INTEGERS else ("__rnqdSSEditTask", CODES[name])
            self.keep.append(value)
            assert getattr(lib, edit)(self.handle, ctypes.c_int64(code), ctypes.c_void_p(value.ctypes.data)) == 0, name

    def call(self, entry, estimates, method):
        status = getattr(self.lib, "_rnqdSS" + entry)(self.handle, ctypes.c_uint64(estimates), ctypes.c_uint64(method), None)
        assert status == 0, (entry, status)

    def close(self):
        getattr(self.lib, "__rnqSSDeleteTask")(ctypes.byref(self.handle))


def report(what, runs, *peers):
    best = [1e9] * len(peers)
    for _ in range(runs):
        for k, (_, call) in enumerate(peers):
            start = time.perf_counter()
            call()
            best[k] = min(best[k], time.perf_counter() - start)
    for (name, _), t in zip(peers, best):
        print(f"{what:34} {name:8} {t * 1e3:10.3f} ms  ratio {t / best[0]:6.2f}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build")
    parser.add_argument("--runs", type=int, default=7)
    args = parser.parse_args()
    lib = ctypes.CDLL(args.build + "/bin/liborv_elw_avx2.so.2")
    rng = np.random.default_rng(1)
    for n in (1000, 10000, 1000000):
        x = rng.standard_normal((n, 1))
        out = np.empty(n)
        t = Task(lib, x, ROWS, sorted=out, sortedStorage=ROWS)
        report(f"sort {n}", args.runs, ("orv", lambda: t.call("Sort", 0, 0x100000)), ("numpy", lambda: np.sort(x[:, 0])))
    q, got = np.array([0.1, 0.5, 0.9]), np.empty((10, 3))
    t = Task(lib, x, ROWS, quantileOrders=q, quantiles=got, quantileOrderCount=3)
    report("quantiles .1 .5 .9 of 10^6", args.runs, ("orv", lambda: t.call("Quantiles", 0x10000, 1)),
           ("numpy", lambda: np.quantile(x[:, 0], q)))
    y = rng.standard_normal((100000, 10))
    u = Task(lib, y, COLS, quantileOrders=q, quantiles=got, quantileOrderCount=3)
    report("same, 10^5 x 10 by rows", args.runs, ("orv", lambda: u.call("Quantiles", 0x10000, 1)),
           ("numpy", lambda: np.quantile(y, q, axis=0)))

    def stream():
        s = Task(lib, x, ROWS, streamOrders=q, stream=got, streamOrderCount=3, params=np.array([0.001]), paramCount=1)
        s.call("StreamQuantiles", 0, 0xC0)
        s.close()
    report("stream of 10^6, epsilon 0.001", args.runs, ("orv", stream))
    v = Task(lib, x, ROWS, mad=got)
    report("mad of 10^6", args.runs, ("orv", lambda: v.call("MAD", 1 << 33, 1)),
           ("numpy", lambda: np.median(np.abs(x - np.median(x)))))
    w = Task(lib, x, ROWS, weights=rng.random(len(x)), quantileOrders=np.array([0.5]), quantiles=got)
    report("weighted median of 10^6", args.runs, ("orv", lambda: w.call("WMedian", 0, 0)))
    for n, p in ((10000, 5), (10000, 20), (1000, 50)):
        z = rng.standard_normal((n, p))
        r = Task(lib, z, COLS, robustMean=np.empty(p), robustCov=np.empty((p, p)), robustCovStorage=0,
                 outlierWeights=np.empty(n), outlierParams=np.array([2, 0.05 / n, 0.005]), outlierParamCount=3)
        report(f"robust covariance {n} x {p}", args.runs, ("orv", lambda: r.call("RobustCovariance", 0, 8)))
        report(f"outliers {n} x {p}", args.runs, ("orv", lambda: r.call("OutliersDetection", 0, 32)))
    groups = (np.arange(len(y)) % 5).astype(np.int32)
    g = Task(lib, y, COLS, groups=groups, pooledMean=np.empty(10), pooledCov=np.empty((10, 10)), pooledCovStorage=0)

    def pooled():
        sum((np.cov(y[groups == k].T) * (np.count_nonzero(groups == k) - 1) for k in range(5))) / (len(y) - 5)
    report("pooled 10^5 x 10, 5 groups", args.runs, ("orv", lambda: g.call("PooledCovariance", 1 << 14, 2)), ("numpy", pooled))
    a = rng.uniform(-1, 1, (100, 100))
    a = (a + a.T) / 2
    np.fill_diagonal(a, 1)
    c = Task(lib, np.empty((1, 100)), COLS, cor=a, corStorage=0, paramCor=np.empty((100, 100)), paramCorStorage=0)
    report("repair p = 100", args.runs, ("orv", lambda: c.call("CorParametrization", 0, 4)))


if __name__ == "__main__":
    main()

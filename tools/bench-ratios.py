#!/usr/bin/env python3
"""Prints each benchmark figure beside its floor ("<figure>_Floor") from Google Benchmark's JSON.

The rate compared is items/s when both report it, else bytes/s, else the inverse of real time;
with repetitions, the medians. A figure that carries "floor_items_per_second" and "ratio" counters
timed its floor in the same rounds: its own ratio counter is the one shown. Each target is the least share of its floor's rate the figure must keep.
"""
import json
import sys

TARGETS = {
    "BM_AppendEvent": 0.60,
    "BM_ReadBack_100k": 0.90,
    "BM_XorWithKey_1MiB": 0.50,
    "BM_HostPoint": 0.50,       # the host's cost at most twice the bare post
    "BM_PointsToCache": 0.80,
    "BM_CacheToCollector": 0.90,  # the helper's delivery beside posting the same batches
    "BM_CollectorKeyedIntake": 0.90,  # batches with a key beside the same without one
    "BM_DeviceIdExchange": 0.80,  # the module's client beside a bare request that checks nothing
    "BM_ModuleLoad": 0.20,      # the module's load + first call at most 5x a bare dlopen
}
# Figures that are sizes rather than rates: the counter, and the most the figure may reach.
SIZE_LIMITS = {"BM_BurstMemory": ("bytes_per_point", 600.0)}
# Figures held to a time of their own, in seconds, the floor shown beside for scale.
TIME_LIMITS = {"BM_CollectorPage": 0.5}  # the page over a million events, beside COUNT(*)


def rate(b):
    for key in ("items_per_second", "bytes_per_second"):
        if key in b:
            return b[key], key.replace("_per_second", "/s")
    # real_time is in the benchmark's own time unit.
    per_second = {"ns": 1e9, "us": 1e6, "ms": 1e3, "s": 1.0}.get(b.get("time_unit", "ns"), 1e9)
    return per_second / b["real_time"] if b.get("real_time") else 0.0, "runs/s"


def seconds(b):
    per_second = {"ns": 1e9, "us": 1e6, "ms": 1e3, "s": 1.0}.get(b.get("time_unit", "ns"), 1e9)
    return b.get("real_time", 0.0) / per_second


def human(v):
    for unit, scale in (("G", 1e9), ("M", 1e6), ("k", 1e3)):
        if v >= scale:
            return f"{v / scale:.2f}{unit}"
    return f"{v:.2f}"


def main(path):
    data = json.load(open(path))
    benches = data["benchmarks"]
    medians = [b for b in benches if b.get("run_type") == "aggregate" and b.get("aggregate_name") == "median"]
    # Repeated figures are compared by their medians; a figure run once stands for itself.
    runs = {b["run_name"]: b for b in medians}
    for b in benches:
        if b.get("run_type", "iteration") == "iteration":
            runs.setdefault(b.get("run_name", b["name"]), b)
    print()
    print(f"{'figure':28} {'rate':>18} {'floor rate':>12} {'ratio':>7} {'target':>7}")
    for name, b in runs.items():
        if name.endswith("_Floor") or "_Floor/" in name:
            continue
        base = name.split("/", 1)[0]
        if "ratio" in b and "floor_items_per_second" in b:
            # A figure that times its floor in the same rounds carries both, and their ratio.
            r, fr, ratio = b.get("items_per_second", 0.0), b["floor_items_per_second"], b["ratio"]
            target = TARGETS.get(base)
            verdict = "" if target is None else f"{target:7.0%} {'met' if ratio >= target else 'MISSED'}"
            print(f"{name:28} {human(r):>10} {'items/s':<7} {human(fr):>12} {ratio:7.0%} {verdict}")
            if "ratio_same_batches" in b:
                print(f"{'  same batches as floor':28} {'':>18} {'':>12} {b['ratio_same_batches']:7.0%}")
            continue
        floor_name = name.replace("/", "_Floor/", 1) if "/" in name else name + "_Floor"
        floor = runs.get(floor_name)
        if floor is None:
            print(f"{name:28} (no floor)")
            continue
        base = name.split("/", 1)[0]
        if base in SIZE_LIMITS:
            counter, limit = SIZE_LIMITS[base]
            v, fv = b.get(counter, 0.0), floor.get(counter, 0.0)
            verdict = f"<={limit:.0f} {'met' if v <= limit else 'MISSED'}"
            print(f"{name:28} {v:10.0f} {'B/point':<7} {fv:12.0f} {'':>7} {verdict}")
            continue
        if base in TIME_LIMITS:
            limit, t, ft = TIME_LIMITS[base], seconds(b), seconds(floor)
            verdict = f"<={limit * 1000:.0f}ms {'met' if t <= limit else 'MISSED'}"
            print(f"{name:28} {t * 1000:10.1f} {'ms':<7} {ft * 1000:10.1f}ms {t / ft if ft else 0:6.0f}x {verdict}")
            continue
        r, unit = rate(b)
        fr, _ = rate(floor)
        ratio = r / fr if fr else 0.0
        target = TARGETS.get(base)
        verdict = "" if target is None else f"{target:7.0%} {'met' if ratio >= target else 'MISSED'}"
        print(f"{name:28} {human(r):>10} {unit:<7} {human(fr):>12} {ratio:7.0%} {verdict}")


if __name__ == "__main__":
    main(sys.argv[1])

#!/usr/bin/env python3
"""Prints the results of the benchmark programs as one table.

    Scripts/bench-table.py RESULT.json...

A row contains the median time of one operation, the implementation that it was compared with in the same run, the
median of the ratios and, if there is one, the goal for that ratio.
"""
import json
import re
import sys

GOAL_FOR_ALLOCATIONS = 0


def short_name(name):
    return re.sub(r"/(iterations:\d+|manual_time)", "", name)


def verdict(value, goal):
    return "met" if value <= goal else "MISSED"


def nanoseconds(value):
    return f"{value:,.1f}" if value < 100 else f"{value:,.0f}"


def row(result):
    name = short_name(result["name"])
    if "allocations" in result:
        count = round(result["allocations"])
        goal = f"goal <= {GOAL_FOR_ALLOCATIONS}: {count} {verdict(count, GOAL_FOR_ALLOCATIONS)}"
        return name, "", f"in {result['iterations']:,} passing calls of each kind", "", goal
    time = nanoseconds(result["median_ns"])
    if "ratio" not in result:
        return name, time, "", "", ""
    ratio = result["ratio"]
    goal = f"goal <= {result['goal']:.2f}: {ratio:.2f} {verdict(ratio, result['goal'])}" if result["goal"] else ""
    return name, time, result["label"], f"{nanoseconds(result['baseline_ns'])}  x {ratio:.2f}", goal


def growth(results):
    """Returns the cost of one more provider between consecutive sizes: constant if the cost grows linearly."""
    points = []
    for result in results:
        name, _, size = short_name(result["name"]).partition("/")
        if name == "FilterOnInstantPlatform":
            points.append((int(size), result["median_ns"]))
    steps = [
        f"{small} to {large}: {(slow - fast) / (large - small):.1f}"
        for (small, fast), (large, slow) in zip(points, points[1:])
    ]
    return "ns for one more provider, " + ", ".join(steps) if steps else ""


def size_name(size):
    for unit, name in ((1 << 20, "MB"), (1 << 10, "KB")):
        if size >= unit:
            return f"{size // unit} {name}"
    return f"{size} B"


def print_sizes(results):
    """Prints the benchmarks with several input sizes: the time, and its ratio to the time of each other library."""
    sizes = sorted({int(result["bytes"]) for result in results})
    rows = [("operation", "against", *map(size_name, sizes), "")]
    operation = ""
    for rival in dict.fromkeys((result["name"].split("/")[0], result["label"]) for result in results):
        found = {int(r["bytes"]): r for r in results if (r["name"].split("/")[0], r["label"]) == rival}
        if rival[0] != operation:
            operation = rival[0]
            times = [nanoseconds(found[size]["median_ns"]) if size in found else "" for size in sizes]
            rows.append((operation, "own median, ns", *times, ""))
        ratios = [f"x {found[size]['ratio']:.2f}" if size in found else "" for size in sizes]
        goal = next(iter(found.values()))["goal"]
        worst = max(result["ratio"] for result in found.values())
        rows.append(("", rival[1], *ratios, f"goal <= {goal:.2f}: {verdict(worst, goal)}" if goal else ""))
    widths = [max(map(len, column)) for column in zip(*rows)]
    for name, against, *columns, goal in rows:
        cells = "  ".join(f"{cell:>{width}}" for cell, width in zip(columns, widths[2:]))
        print(f"{name:{widths[0]}}  {against:{widths[1]}}  {cells}  {goal}".rstrip())


def main(paths):
    results = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        # If all benchmarks of a program are filtered out, its file is empty.
        results += json.loads(text)["benchmarks"] if text else []
    failed = [result for result in results if result.get("error_occurred")]
    for result in failed:
        print(f"{short_name(result['name'])}: {result['error_message']}")
    results = [result for result in results if result not in failed]
    sized = [result for result in results if "bytes" in result]
    results = [result for result in results if "bytes" not in result]
    rows = [("benchmark", "median ns", "against", "its median ns, ratio", "")]
    rows += [row(result) for result in results]
    widths = [max(map(len, column)) for column in zip(*rows)]
    for name, time, against, comparison, goal in rows:
        line = f"{name:{widths[0]}}  {time:>{widths[1]}}  {against:{widths[2]}}  {comparison:>{widths[3]}}  {goal}"
        print(line.rstrip())
    if growth(results):
        print(growth(results))
    if sized:
        print_sizes(sized)


if __name__ == "__main__":
    main(sys.argv[1:])

#!/usr/bin/env python3
"""Prints the results of the benchmark programs as one table.

    Scripts/bench-table.py RESULT.json...

A row gives the median time of one operation, what it was measured against in the same run, the median of
the ratios and, where one is set, the goal for that ratio.
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
    """The cost of one more provider between neighbouring sizes: the same everywhere if it grows linearly."""
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


def main(paths):
    results = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        # A program whose benchmarks were all filtered out leaves an empty file.
        results += json.loads(text)["benchmarks"] if text else []
    rows = [("benchmark", "median ns", "against", "its median ns, ratio", "")]
    rows += [row(result) for result in results]
    widths = [max(map(len, column)) for column in zip(*rows)]
    for name, time, against, comparison, goal in rows:
        line = f"{name:{widths[0]}}  {time:>{widths[1]}}  {against:{widths[2]}}  {comparison:>{widths[3]}}  {goal}"
        print(line.rstrip())
    if growth(results):
        print(growth(results))


if __name__ == "__main__":
    main(sys.argv[1:])

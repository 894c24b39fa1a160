#!/usr/bin/env python3
"""Prints the results of the benchmarks as one table in Markdown.

    bench_table.py RESULTS.json                         job, time, ratio, goal, and who else did it
    bench_table.py --compare THIS.json OTHER.json ...   medians of the times of both, and their ratio
"""
import json
import statistics
import sys

PEERS = ["OpenCV", "GDAL", "GDAL bands", "GDAL pixels", "OpenImageIO"]


def read(path):
    with open(path, encoding="utf-8") as file:
        found = json.load(file)["benchmarks"]
    return {entry["name"].split("/iterations")[0]: entry for entry in found}


def print_table(results):
    print("| job | ms | over the yardstick | goal | million pixels/s | peers: over the yardstick, "
          "million pixels/s |")
    print("|---|---|---|---|---|---|")
    for name, entry in results.items():
        if name.rsplit("/", 1)[-1] in PEERS:
            continue
        if entry.get("error_occurred"):
            print(f"| {name} | wrong: {entry['error_message']} | | | | |")
            continue
        others = []
        for peer in PEERS:
            other = results.get(f"{name}/{peer}")
            if other and not other.get("error_occurred"):
                others.append(f"{peer} {other['x_memcpy']:.2f}, {other['Mpixels_s']:.0f}")
        if "MB" in entry:
            others.append(f"{entry['MB']:.2f} MB")
        goal = "as peers" if entry["goal"] < 0 else f"{entry['goal']:.3g}" if entry["goal"] else ""
        time, rate = [format(entry[key], form) if key in entry else ""
                      for key, form in (("ms", ".3g"), ("Mpixels_s", ".0f"))]
        digits = 3 if 0 < entry["goal"] < 0.1 else 2
        print(f"| {name} | {time} | {entry['x_memcpy']:.{digits}f} | {goal} | {rate} "
              f"| {'; '.join(others)} |")


def print_comparison(these, others):
    print("| job | this, ms | other, ms | this / other |")
    print("|---|---|---|---|")
    for name in these[0]:
        if name.rsplit("/", 1)[-1] in PEERS or "ms" not in these[0][name]:
            continue
        # What one of them cannot do, such as read files before there was a way to, stays empty.
        this, other = [statistics.median(run.get(name, {}).get("ms", float("nan")) for run in runs)
                       for runs in (these, others)]
        columns = [f"{value:.{digits}}".replace("nan", "")
                   for value, digits in ((this, "3g"), (other, "3g"), (this / other, "2f"))]
        print(f"| {name} | {' | '.join(columns)} |")


if sys.argv[1] == "--compare":
    runs = [read(path) for path in sys.argv[2:]]
    print_comparison(runs[0::2], runs[1::2])
else:
    print_table(read(sys.argv[1]))

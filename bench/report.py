#!/usr/bin/env python3
"""Prints the rows of the benchmarks beside their peers: report.py TARGETS RESULTS [--check]

A row's figure is the median of its repetitions. The ratio is that of the medians, and its spread comes from the
quartiles of both. With --check, the status is 1 if a ratio misses its target by more than its spread."""

import json
import os
import statistics
import sys


def read(path):
    """The times in nanoseconds of each row of a program."""
    rows = {}
    with open(path, encoding="utf-8") as file:
        for run in json.load(file)["benchmarks"]:
            if run["run_type"] == "iteration" and not run.get("error_occurred"):
                time = run["real_time"] if run["name"].endswith("/real_time") else run["cpu_time"]
                rows.setdefault(run["name"].removesuffix("/real_time"), []).append(time)
    return rows


def main():
    targets, results = sys.argv[1:3]
    known = {}
    missed = 0
    print(f"{'row':<34}{'peer':<24}{'row ns':>12}{'peer ns':>12}{'ratio':>8}{'spread':>8}{'target':>8}")
    with open(targets, encoding="utf-8") as file:
        for line in file:
            if line.startswith("#"):
                continue
            program, row, peer, most = (part.strip() for part in line.split("|"))
            path = os.path.join(results, program + ".json")
            if program not in known and os.path.exists(path):
                known[program] = read(path)
            rows = known.get(program, {})
            if row not in rows or peer not in rows:
                print(f"{program + ' ' + row:<34}{peer:<24}   was not measured")
                missed += program in known
                continue
            ours, theirs = statistics.median(rows[row]), statistics.median(rows[peer])
            ratio = ours / theirs
            spread = 0.0
            if min(len(rows[row]), len(rows[peer])) > 2:
                low, _, high = statistics.quantiles(rows[row], n=4)
                peer_low, _, peer_high = statistics.quantiles(rows[peer], n=4)
                spread = (high / peer_low - low / peer_high) / 2
            holds = ratio <= float(most) or ratio - spread <= float(most)
            missed += not holds
            print(f"{program + ' ' + row:<34}{peer:<24}{ours:>12.1f}{theirs:>12.1f}{ratio:>8.2f}{spread:>8.2f}"
                  f"{float(most):>8.2f}  {'holds' if holds else 'MISSED'}")
    print(f"{missed} targets missed")
    return 1 if missed and "--check" in sys.argv else 0


sys.exit(main())

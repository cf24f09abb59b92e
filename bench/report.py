#!/usr/bin/env python3
"""Prints each row of the benchmarks with its peer, the row that it is compared with.

report.py TARGETS RESULTS [--check] [--page FOLDER SECTION]

The figure of a row is the median of its repetitions. The ratio of two rows is that of their medians, and its spread
comes from the quartiles of both rows. If --check is given, and a ratio misses its target by more than its spread, the
exit status is 1. If --page is given, the table is also written into that section of performance.md in the folder, and
for the section "linux" a picture of the ratios to performance.svg."""

import datetime
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys


def read(path):
    """Returns {row: [nanoseconds of each repetition]} for the results of a program."""
    rows = {}
    with open(path, encoding="utf-8") as file:
        for run in json.load(file)["benchmarks"]:
            if run["run_type"] == "iteration" and not run.get("error_occurred"):
                time = run["real_time"] if run["name"].endswith("/real_time") else run["cpu_time"]
                rows.setdefault(run["name"].removesuffix("/real_time"), []).append(time)
    return rows


def compare(targets, results):
    """Yields a tuple for each target: the program, the row, the peer, the times of both, the spread of the ratio, the
    target, and whether the program was run. If the row or its peer was not measured, both times are None."""
    known = {}
    with open(targets, encoding="utf-8") as file:
        lines = [[part.strip() for part in line.split("|")] for line in file if not line.startswith("#")]
    for program, row, peer, most in lines:
        path = os.path.join(results, program + ".json")
        if program not in known and os.path.exists(path):
            known[program] = read(path)
        rows = known.get(program, {})
        if row not in rows or peer not in rows:
            yield program, row, peer, None, None, 0.0, float(most), program in known
            continue
        spread = 0.0
        if min(len(rows[row]), len(rows[peer])) > 2:
            low, _, high = statistics.quantiles(rows[row], n=4)
            peer_low, _, peer_high = statistics.quantiles(rows[peer], n=4)
            spread = (high / peer_low - low / peer_high) / 2
        yield program, row, peer, statistics.median(rows[row]), statistics.median(rows[peer]), spread, float(most), True


def verdict(ratio, spread, most):
    return "holds" if ratio <= most or ratio - spread <= most else "MISSED"


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = re.findall(r"^model name\s*: (.*)$", file.read(), re.MULTILINE)
    return f"{len(names)} cores of {names[0]}, {platform.freedesktop_os_release()['PRETTY_NAME']}"


def write_page(found, folder, section):
    """Replaces the table between the comments <!-- SECTION --> and <!-- end of SECTION --> of the page."""
    page = pathlib.Path(folder) / "performance.md"
    machine = processor()
    if section == "win32":
        machine += ", " + subprocess.run(["wine", "--version"], capture_output=True, text=True, check=True).stdout.strip()
    lines = [f"Measured on {datetime.date.today()}: {machine}.", "",
             "| program | row | beside | ns | ns beside | ratio | spread | target | |", "|---|---|---|--:|--:|--:|--:|--:|---|"]
    for program, row, peer, ours, theirs, spread, most, _ in found:
        if ours:
            lines.append(f"| {program} | `{row}` | `{peer}` | {ours:,.1f} | {theirs:,.1f} | {ours / theirs:.2f} | {spread:.2f} |"
                         f" {most:.2f} | {verdict(ours / theirs, spread, most)} |")
    begin, end = f"<!-- {section} -->\n", f"<!-- end of {section} -->\n"
    before, rest = page.read_text(encoding="utf-8").split(begin)
    after = rest.split(end)[1]
    page.write_text(before + begin + "\n".join(lines) + "\n" + end + after, encoding="utf-8")
    if section == "linux":
        draw(found, pathlib.Path(folder) / "performance.svg")


STYLE = """<style>
text { fill: #1f2328 } rect { fill: #0969da } line { stroke: #d0d7de }
@media (prefers-color-scheme: dark) { text { fill: #e6edf3 } rect { fill: #4493f8 } line { stroke: #30363d } }
</style>"""


def draw(found, path):
    """Draws a bar for each row: its time divided by that of its peer. The picture has light or dark colours, as the
    reader's system prefers."""
    shown = [(f"{program}: {row}", f"{peer}", ours / theirs) for program, row, peer, ours, theirs, *_ in found if ours]
    left, scale, step, most = 250, 150, 18, 3.0
    height = step * len(shown) + 40
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 900 {height}" font-family="sans-serif" font-size="11">'
           f'<title>Time of each row divided by that of its peer</title>{STYLE}']
    for at in range(4):
        out.append(f'<line x1="{left + at * scale}" y1="20" x2="{left + at * scale}" y2="{height - 10}"/>'
                   f'<text x="{left + at * scale}" y="14" text-anchor="middle">{at}</text>')
    for number, (row, peer, ratio) in enumerate(shown):
        y = 26 + number * step
        width = min(ratio, most) * scale
        out.append(f'<text x="{left - 6}" y="{y + 10}" text-anchor="end">{row}</text>'
                   f'<rect x="{left}" y="{y}" width="{width:.1f}" height="{step - 5}"/>'
                   f'<text x="{left + width + 6:.1f}" y="{y + 10}">{ratio:.2f} of {peer}</text>')
    out.append("</svg>")
    path.write_text("\n".join(out).replace("&", "&amp;").replace("<Weak>", "&lt;Weak&gt;") + "\n", encoding="utf-8")


def main():
    targets, results = sys.argv[1:3]
    found = list(compare(targets, results))
    missed = 0
    print(f"{'row':<34}{'peer':<24}{'row ns':>12}{'peer ns':>12}{'ratio':>8}{'spread':>8}{'target':>8}")
    for program, row, peer, ours, theirs, spread, most, was_run in found:
        if not ours:
            print(f"{program + ' ' + row:<34}{peer:<24}   was not measured")
            missed += was_run
            continue
        word = verdict(ours / theirs, spread, most)
        missed += word != "holds"
        print(f"{program + ' ' + row:<34}{peer:<24}{ours:>12.1f}{theirs:>12.1f}{ours / theirs:>8.2f}{spread:>8.2f}"
              f"{most:>8.2f}  {word}")
    print(f"{missed} targets missed")
    if "--page" in sys.argv:
        at = sys.argv.index("--page")
        write_page(found, *sys.argv[at + 1:at + 3])
    return 1 if missed and "--check" in sys.argv else 0


sys.exit(main())

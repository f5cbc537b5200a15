#!/usr/bin/env python3
"""The soak and the load of the service, in a testbed prefix of their own.

  soak.py soak --minutes N [--run-seconds S] [--seed K] [--kill-inside-calls]
  soak.py load [--held N --hold-seconds S --connects N --killed N]

Run by ./dev soak and by the tests. Reads what the programs of tests/soak/ measured, draws build/soak/soak.svg, prints the
table (also build/soak/soak.txt) and fails on a leak, a lost answer, a log line that is not whole or a slow stop.
"""

import argparse
import csv
import os
import pathlib
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PREFIX = ROOT / "testbed" / "prefix.sh"
PROGRAMS = ROOT / "build" / "mingw" / "bin" / "soak"
RESULTS = ROOT / "build" / "soak"

# What a service keeps on purpose (docs/known-issues.md): a handle for each program that it ended before starting it
# anew, a token for each logon, whose locale it reads as the user.
HANDLES_PER_LAUNCH = 1
HANDLES_PER_LOGON = 1

# Under Wine each thread of the run time has a stack of that many resident kilobytes.
STACK = 1024

# How far the last quarter of one run may lie above the quarter before it without a leak: a run time that makes one more
# thread for a busy moment keeps it. Over many runs that evens out.
NOISE = {"private": 4000.0, "handles": 50.0, "threads": 12.0}
UNITS = {"private": "KB beyond the stacks", "handles": "handles beyond those kept on purpose", "threads": "threads"}


class Sample:
    def __init__(self, fields):
        self.run = int(fields[1])
        numbers = [float(field) for field in fields[2:]]
        (self.time, self.age, self.private, self.handles, self.threads, self.calls, self.slowest, self.launches,
         self.logons, self.kills) = numbers
        self.kept = HANDLES_PER_LAUNCH * self.launches + HANDLES_PER_LOGON * self.logons
        self.unexplained = {"private": self.private - STACK * self.threads, "handles": self.handles - self.kept,
                            "threads": self.threads}


class Run:
    def __init__(self, fields):
        self.run, self.start, self.stop = int(fields[1]), int(fields[2]), int(fields[3])
        self.control = fields[4]
        self.calls, self.kills, self.events, self.files, self.lines = (int(field) for field in fields[5:10])


def read(path):
    samples, runs, faults = [], [], []
    with open(path, encoding="utf-8", newline="") as stream:
        for fields in csv.reader(stream):
            if fields[0] == "sample":
                samples.append(Sample(fields))
            elif fields[0] == "run":
                runs.append(Run(fields))
            else:
                faults.append(f"run {fields[1]}, {fields[2]} s: {','.join(fields[3:])}")
    return samples, runs, faults


def growth(samples, runs):
    """Per quantity, the mean over all runs of how far the last quarter of the run lies above the quarter before it, and the
    limit beyond which that is a leak."""
    found = {}
    for name, noise in NOISE.items():
        steps = []
        for run in runs:
            own = [sample for sample in samples if sample.run == run.run]
            end = max((sample.age for sample in own), default=0)
            middle = lambda low, high: statistics.median(
                sample.unexplained[name] for sample in own if low * end < sample.age <= high * end)
            if len(own) >= 12:
                steps.append(middle(0.75, 1) - middle(0.5, 0.75))
        if steps:
            found[name] = statistics.fmean(steps), noise / len(steps) ** 0.5
    return found


# ---- the picture

WIDTH, PANEL, GAP, LEFT, RIGHT, TOP = 1100, 150, 42, 90, 30, 60
INK, GRID, LINE, MARK = "#222222", "#dddddd", "#1f5f9e", "#c04020"


def nice_step(span):
    for step in (s * 10 ** e for e in range(0, 9) for s in (1, 2, 5)):
        if span / step <= 4:
            return step
    return span


def panel(parts, index, title, points, end, breaks, low_from_zero=True):
    top = TOP + index * (PANEL + GAP)
    highest = max((value for _, value, _ in points), default=1) or 1
    lowest = 0 if low_from_zero else min((value for _, value, _ in points), default=0)
    step = nice_step(highest - lowest)
    lowest = lowest // step * step
    highest = (highest // step + 1) * step
    x = lambda time: LEFT + (WIDTH - LEFT - RIGHT) * time / end
    y = lambda value: top + PANEL * (1 - (value - lowest) / (highest - lowest))
    parts.append(f'<text x="{LEFT}" y="{top - 8}" font-weight="bold">{title}</text>')
    value = lowest
    while value <= highest + step / 2:
        parts.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y(value):.1f}" y2="{y(value):.1f}" stroke="{GRID}"/>')
        parts.append(f'<text x="{LEFT - 8}" y="{y(value) + 4:.1f}" text-anchor="end">{value:,.0f}</text>')
        value += step
    for moment in breaks:
        parts.append(f'<line x1="{x(moment):.1f}" x2="{x(moment):.1f}" y1="{top}" y2="{top + PANEL}" '
                     f'stroke="{MARK}" stroke-dasharray="3 3" stroke-width="0.8"/>')
    # A line for each run of the service: between two runs there is nothing to measure.
    for run in sorted({run for _, _, run in points}):
        line = " ".join(f"{x(time):.1f},{y(value):.1f}" for time, value, own in points if own == run)
        parts.append(f'<polyline points="{line}" fill="none" stroke="{LINE}" stroke-width="1.4"/>')
    return top + PANEL


def draw(samples, runs, path):
    end = max(sample.time for sample in samples)
    breaks = [max(sample.time for sample in samples if sample.run == run.run) for run in runs
              if any(sample.run == run.run for sample in samples)]
    panels = [
        ("Private memory, KB", [(s.time, s.private, s.run) for s in samples]),
        ("Handles beyond those that are kept on purpose", [(s.time, s.unexplained["handles"], s.run) for s in samples]),
        ("Threads", [(s.time, s.threads, s.run) for s in samples]),
        ("Calls per second", [(s.time, s.calls, s.run) for s in samples]),
        ("Slowest call of the second, ms", [(s.time, s.slowest, s.run) for s in samples]),
    ]
    height = TOP + len(panels) * (PANEL + GAP) + 20
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="sans-serif" font-size="12" fill="{INK}">',
             f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
             f'<text x="{LEFT}" y="26" font-size="16" font-weight="bold">Soak of the hotkey service: '
             f'{len(runs)} runs, {sum(run.calls for run in runs):,} calls; dashed: stop and start</text>']
    bottom = 0
    for index, (title, points) in enumerate(panels):
        bottom = panel(parts, index, title, points, end, breaks)
    minutes = end / 60
    step = max(nice_step(minutes), 1) if minutes > 4 else 1
    moment = 0.0
    while moment <= minutes:
        place = LEFT + (WIDTH - LEFT - RIGHT) * moment * 60 / end
        parts.append(f'<text x="{place:.1f}" y="{bottom + 18}" text-anchor="middle">{moment:.0f} min</text>')
        moment += step
    parts.append("</svg>")
    path.write_text("\n".join(parts) + "\n", encoding="utf-8")


# ---- the table and the judgement

def table(samples, runs, found):
    lines = ["run  start ms  stop ms  by           calls    calls/s  slowest ms  killed  events  log lines  "
             "private KB  handles (kept)  threads"]
    for run in runs:
        own = [sample for sample in samples if sample.run == run.run]
        if not own:
            continue
        last = own[-1]
        lines.append(
            f"{run.run:3}  {run.start:8}  {run.stop:7}  {run.control:11}  {run.calls:7}  {run.calls / last.age:7.0f}  "
            f"{max(sample.slowest for sample in own):10.0f}  {run.kills:6}  {run.events:6}  {run.lines:9}  "
            f"{last.private:10.0f}  {last.handles:7.0f} ({last.kept:4.0f})  {last.threads:7.0f}")
    lines.append("")
    for name, unit in UNITS.items():
        shown = "not measured: the runs are too short"
        if name in found:
            shown = "{:+.1f} {unit} (limit {:.1f})".format(*found[name], unit=unit)
        lines.append(f"last quarter of a run against the third, mean of all runs: {shown}")
    return lines


def prefix(*arguments):
    subprocess.run([str(PREFIX), *arguments], check=True, stdin=subprocess.DEVNULL)


def run_in_prefix(bed, program, *arguments, time_out):
    """The program's exit code; a time-out counts as a failure."""
    command = [str(PREFIX), "run", bed, str(PROGRAMS / program), *arguments]
    try:
        return subprocess.run(command, stdin=subprocess.DEVNULL, timeout=time_out, check=False).returncode
    except subprocess.TimeoutExpired:
        print(f"{program} did not end within {time_out} seconds")
        return 124


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def soak(options):
    output = RESULTS / "soak.csv"
    output.unlink(missing_ok=True)
    seconds = round(options.minutes * 60)
    arguments = [windows_path(output), str(seconds), str(options.run_seconds), str(options.seed)]
    if options.kill_inside_calls:
        arguments.append("inside")
    status = run_in_prefix(options.bed, "soak.exe", *arguments, time_out=2 * seconds + 300)
    samples, runs, faults = read(output) if output.exists() else ([], [], [])
    if not samples or not runs:
        faults.append("nothing was measured")
    else:
        found = growth(samples, runs)
        draw(samples, runs, RESULTS / "soak.svg")
        lines = table(samples, runs, found)
        (RESULTS / "soak.txt").write_text("\n".join(lines) + "\n", encoding="utf-8")
        print("\n".join(lines))
        for name, (step, limit) in found.items():
            if step > limit:
                faults.append(f"a leak: {step:+.1f} {UNITS[name]} in the last quarter of a run")
    if status != 0 and not faults:
        faults.append(f"soak.exe ended with {status}")
    for fault in faults:
        print("FAULT:", fault)
    print(f"{len(faults)} faults; the picture: {(RESULTS / 'soak.svg').relative_to(ROOT)}")
    return 1 if faults else 0


def load(options):
    arguments = [str(getattr(options, name)) for name in ("held", "hold_seconds", "connects", "killed")]
    return run_in_prefix(options.bed, "load.exe", *arguments, time_out=1800)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    kinds = parser.add_subparsers(dest="kind", required=True)
    soaking = kinds.add_parser("soak")
    soaking.add_argument("--minutes", type=float, default=1)
    soaking.add_argument("--run-seconds", type=int, default=60)
    soaking.add_argument("--seed", type=int, default=1)
    soaking.add_argument("--kill-inside-calls", action="store_true")
    loading = kinds.add_parser("load")
    loading.add_argument("--held", type=int, default=1234)
    loading.add_argument("--hold-seconds", type=int, default=60)
    loading.add_argument("--connects", type=int, default=10000)
    loading.add_argument("--killed", type=int, default=5000)
    for kind in (soaking, loading):
        kind.add_argument("--bed", default="soak", help="the testbed's name")
    options = parser.parse_args()

    RESULTS.mkdir(parents=True, exist_ok=True)
    prefix("up", options.bed, "healthy-laptop")
    try:
        return soak(options) if options.kind == "soak" else load(options)
    finally:
        prefix("down", options.bed)


if __name__ == "__main__":
    sys.exit(main())

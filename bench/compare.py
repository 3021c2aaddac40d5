#!/usr/bin/env python3
"""Runs the rows that goals.json names and compares ours with their peers'.

  compare.py DIR [--json] [--plot FILE.png] [FILTER]

DIR holds the programs. FILTER is a regular expression for what is compared: it is looked for in
"BENCH/PATH". All rows of a program run in one go and in random order, so that what else the machine
does meets them alike; of seven runs of a tenth of a second the median of the processor's time
counts.
"""

import argparse
import json
import os
import re
import subprocess
import sys
from pathlib import Path

GOALS = Path(__file__).with_name("goals.json")


def run(folder, bench, rows):
    """The median of each row in nanoseconds; rows that the program lacks are missing."""
    program = folder / f"{bench}_bench"
    if not program.exists():
        return {}
    # The locale decides what a character is; this one is on every machine.
    environment = dict(os.environ, LC_ALL="C.UTF-8")
    wanted = "^(" + "|".join(re.escape(row) for row in sorted(rows)) + ")$"
    output = subprocess.run(
        [program, f"--benchmark_filter={wanted}", "--benchmark_repetitions=7",
         "--benchmark_min_time=0.1", "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true",
         "--benchmark_format=json"],
        check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, cwd=folder,
        env=environment).stdout
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    return {row["run_name"]: row["cpu_time"] * scale[row["time_unit"]]
            for row in json.loads(output)["benchmarks"] if row["aggregate_name"] == "median"}


def measure(folder, goals):
    rows = {}
    for goal in goals:
        rows.setdefault(goal["bench"], set()).update((goal["ours"], goal["peer"]))
    medians = {bench: run(folder, bench, names) for bench, names in rows.items()}
    missing = [f"{bench}_bench has no row {name}" for bench, names in rows.items()
               for name in sorted(names - medians[bench].keys())]
    results = []
    for goal in goals:
        ours, peer = (medians[goal["bench"]].get(goal[row]) for row in ("ours", "peer"))
        if ours is None or peer is None:
            continue
        results.append(dict(goal, ours_ns=ours, peer_ns=peer, ratio=ours / peer,
                            met=ours / peer <= goal["goal"] if "goal" in goal else None))
    return results, missing


def print_table(results):
    print(f"{'path':31} {'ours':>10}   {'peer':26} {'':>10} {'ratio':>6} {'goal':>6}  met")
    for r in results:
        goal = f"{r['goal']:6.2f}" if "goal" in r else f"{'-':>6}"
        met = {True: "yes", False: "NO", None: ""}[r["met"]]
        print(f"{r['path']:31} {r['ours_ns']:10.1f}   {r['peer']:26} {r['peer_ns']:10.1f} "
              f"{r['ratio']:6.2f} {goal}  {met}".rstrip())
    judged = [r["met"] for r in results if r["met"] is not None]
    print(f"times in ns; {sum(judged)} of {len(judged)} goals met")


def plot(results, file):
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib import pyplot

    shown = [r for r in results if "goal" in r][::-1]
    _, axes = pyplot.subplots(figsize=(9, 1.5 + 0.28 * len(shown)))
    places = range(len(shown))
    axes.barh(places, [r["ratio"] for r in shown],
              color=["tab:green" if r["met"] else "tab:red" for r in shown])
    axes.plot([r["goal"] for r in shown], places, "k|", markersize=10, label="goal")
    axes.set_yticks(places, [f"{r['path']} : {r['peer']}" for r in shown], fontsize=8)
    axes.set_xscale("log")
    axes.axvline(1, color="gray", linewidth=0.5)
    axes.set_xlabel("our time / the peer's time")
    axes.legend()
    pyplot.tight_layout()
    pyplot.savefig(file)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("dir", type=Path)
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--plot", metavar="FILE.png")
    parser.add_argument("filter", nargs="?", default="")
    args = parser.parse_intermixed_args() # options may stand ahead of FILTER

    goals = [goal for goal in json.loads(GOALS.read_text(encoding="utf-8"))
             if re.search(args.filter, f"{goal['bench']}/{goal['path']}")]
    if not goals:
        return [f"goals.json has nothing that fits {args.filter}"]
    results, errors = measure(args.dir.resolve(), goals)
    if args.json:
        print(json.dumps(results, indent=2))
    else:
        print_table(results)
    if args.plot:
        try:
            plot(results, args.plot)
        except ImportError:
            errors.append(f"no {args.plot}: Matplotlib is not installed")
    return errors


if __name__ == "__main__":
    ERRORS = main()
    for error in ERRORS:
        print(f"bench: {error}", file=sys.stderr)
    sys.exit(1 if ERRORS else 0)

#!/usr/bin/env python3
"""Builds and runs the benchmark programs, compares their figures with the goals of goals.json, and writes the results.

scripts/bench --help describes the use. A program NAME_bench is built from bench/NAME_bench.cpp, or is the Python program
bench/NAME_bench.py. Each program prints its figures as JSON lines (bench/bench.h).
"""
import argparse
import datetime
import json
import os
import platform
import re
import signal
import subprocess
import sys
from pathlib import Path

import plot

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "release"
GOALS = ROOT / "bench" / "goals.json"
GATE_ROUNDS = 5
GATE_FACTOR = 2  # with --gate a ratio fails if it is this many times worse than its goal
PROGRAM_LIMIT = 3600  # seconds
COMPARISON = re.compile(r"^(<=|>=) ([0-9.]+)$")


class Failed(Exception):
    """A benchmark program that could not be run. The message says why."""


def is_below(name, group):
    return name == group or name.startswith(group + ".")


def selected(goals, names):
    """Returns program -> figures for the figures that are wanted. Raises ValueError for a name that selects nothing."""
    for name in names:
        if not any(is_below(figure, name) for figures in goals.values() for figure in figures):
            known = ", ".join(figure for figures in goals.values() for figure in figures)
            raise ValueError(f'no figure is called "{name}". The figures: {known}')
    chosen = {}
    for program, figures in goals.items():
        wanted = [figure for figure in figures if not names or any(is_below(figure, name) for name in names)]
        peers = [figures[figure]["of"] for figure in wanted if "of" in figures[figure]]
        if wanted:
            chosen[program] = list(dict.fromkeys(peers + wanted))
    return chosen


def output_of(*command):
    done = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=False)
    return done.stdout.strip().split("\n")[0] if done.returncode == 0 else "unknown"


def machine():
    """Describes the machine and the build."""
    processor = re.search(r"^model name\s*:\s*(.*)$", Path("/proc/cpuinfo").read_text(), re.M)
    memory = re.search(r"^MemTotal:\s*(\d+)", Path("/proc/meminfo").read_text(), re.M)
    changed = "" if output_of("git", "status", "--porcelain", "--untracked-files=no") == "" else ", with changes"
    return {"processor": processor.group(1) if processor else platform.processor(), "processors": os.cpu_count(),
            "memory": f"{int(memory.group(1)) // 1024} MiB" if memory else "unknown",
            "machine": platform.machine(), "kernel": platform.release(), "compiler": output_of("g++", "--version"),
            "commit": output_of("git", "rev-parse", "--short", "HEAD") + changed,
            "load": " ".join(f"{load:.2f}" for load in os.getloadavg()),
            "time": datetime.datetime.now().astimezone().isoformat(timespec="seconds")}


def build(programs):
    compiled = [program for program in programs if (ROOT / "bench" / f"{program}.cpp").exists()]
    if not (BUILD / "build.ninja").exists():
        subprocess.run(["cmake", "--preset", "release"], cwd=ROOT, check=True)
    if compiled:
        subprocess.run(["cmake", "--build", "--preset", "release", "--target", *compiled], cwd=ROOT, check=True)


def command_of(program):
    script = ROOT / "bench" / f"{program}.py"
    if script.exists():
        return [sys.executable, str(script)]
    if (ROOT / "bench" / f"{program}.cpp").exists():
        return [str(BUILD / "bin" / program)]
    raise Failed(f"there is no bench/{program}.cpp and no bench/{program}.py")


def run(program, names, options, folder):
    """Runs a program and returns its figures by name."""
    command = command_of(program) + options + names
    errors = folder / f"{program}.stderr"
    with open(errors, "a", encoding="utf-8") as stream:
        # A process group of its own, so that the daemons of the program end with it.
        child = subprocess.Popen(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=stream, text=True,
                                 start_new_session=True)
        try:
            output, _ = child.communicate(timeout=PROGRAM_LIMIT)
        except subprocess.TimeoutExpired as expired:
            raise Failed(f"it still ran after {PROGRAM_LIMIT} s") from expired
        finally:
            end_group(child)
    if child.returncode != 0:
        raise Failed(f"it ended with {child.returncode}:\n" + "\n".join(errors.read_text().splitlines()[-10:]))
    figures = {}
    for text in output.splitlines():
        try:
            figure = json.loads(text)
            figures[figure["name"]] = figure
        except (ValueError, KeyError, TypeError) as problem:
            raise Failed(f"its output is no figure: {text}") from problem
    return figures


def end_group(child):
    try:
        os.killpg(child.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    child.wait()


def compare(number, comparison, factor=1):
    """Returns whether the number meets a comparison such as "<= 1.3", relaxed by the factor."""
    operator, limit = COMPARISON.match(comparison).groups()
    return number <= float(limit) * factor if operator == "<=" else number >= float(limit) / factor


def judged(figure, goal, figures):
    """Adds ratio, goal, met and the reason of a miss to a figure.

    goal: its entry in goals.json; empty: it has none. With "of", the peer is another figure of the dictionary figures.
    """
    result = dict(figure)
    if goal.get("of") in figures:
        result.update(peer=goal["of"], peer_value=figures[goal["of"]]["value"])
        figure = result
    if figure.get("peer_value"):
        result["ratio"] = round(figure["value"] / figure["peer_value"], 4)
    parts = []
    met = []
    if "ratio" in goal:
        parts.append(f'{goal["ratio"]} x')
        met.append("ratio" in result and compare(result["ratio"], goal["ratio"]))
    if "value" in goal:
        parts.append(f'{goal["value"]} {figure["unit"]}')
        met.append(compare(figure["value"], goal["value"]))
    if parts:
        result["goal"] = " and ".join(parts)
        result["met"] = all(met)
        if not result["met"]:
            result["reason"] = goal.get("reason", "unknown")
    return result


def limit_of(result, goal):
    """Returns the value that just meets the goal, or None."""
    limits = []
    if "ratio" in goal and result.get("peer_value"):
        limits.append(float(COMPARISON.match(goal["ratio"]).group(2)) * result["peer_value"])
    if "value" in goal:
        limits.append(float(COMPARISON.match(goal["value"]).group(2)))
    return min(limits) if limits else None


def number(value):
    return "" if value is None else f"{value:.4g}"


def table(results):
    """Returns the results as lines of text. The last columns are the figure and the ratio without pinning."""
    rows = [("figure", "value", "unit", "peer", "peer value", "ratio", "goal", "met", "unpinned", "ratio")]
    for result in results:
        loose = result.get("unpinned", {})
        rows.append((result["name"], number(result["value"]), result["unit"], result.get("peer", ""),
                     number(result.get("peer_value")), number(result.get("ratio")), result.get("goal", ""),
                     {True: "yes", False: "NO", None: ""}[result.get("met")], number(loose.get("value")),
                     number(loose.get("ratio"))))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = ["  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows]
    lines += ["", *(f'{result["name"]} misses its goal: {result["reason"]}' for result in results
                    if result.get("met") is False)]
    return lines


def draw(results, goals, folder):
    """Writes one plot a subject, which is the first part of a figure's name. Figures such as
    fleet.known_100.start are points of curves."""
    subjects = {}
    curves = {}
    for result in results:
        subject = result["name"].split(".")[0]
        point = re.fullmatch(r"([a-z]+)\.([a-z]+)_(\d+)\.([a-z0-9_]+)", result["name"])
        if point:
            _, axis, at, what = point.groups()
            curve = curves.setdefault((subject, axis, what, result["unit"]), [])
            curve.append((int(at), result["value"]))
        else:
            limit = limit_of(result, goals.get(result["name"], {}))
            subjects.setdefault(subject, []).append({**result, "limit": limit})
    for subject, rows in subjects.items():
        plot.bars(folder / f"{subject}.svg", f"{subject}: DistNet beside its peers", rows)
    for (subject, axis, what, unit), curve in curves.items():
        plot.curves(folder / f"{subject}-{axis}-{what}.svg", f"{subject}: {what}", axis, unit, {what: curve})


def measure(program, names, arguments, folder):
    """Runs a program and returns its figures. Runs the pinned comparisons again without pinning, if that is wanted; each
    unpinned figure becomes a member of the pinned one."""
    options = ["--rounds", str(arguments.rounds)]
    if program == "idle_bench" and arguments.idle_seconds:
        options += ["--idle-seconds", str(arguments.idle_seconds)]
    figures = run(program, names, options, folder)
    absent = [name for name in names if not any(is_below(figure, name) for figure in figures)]
    if absent:
        raise Failed(f"it did not print {', '.join(absent)}")
    compared = [name for name, figure in figures.items() if figure.get("pinned") and "peer" in figure]
    if compared and not arguments.gate and not arguments.pinned_only:
        for name, loose in run(program, compared, ["--unpinned", *options], folder).items():
            if name in compared:
                figures[name]["unpinned"] = judged(loose, {}, {})
    return figures


def measured(program, names, arguments, goals, folder):
    """Runs a program. Returns the named figures, and those without a goal, with ratio, goal and met."""
    figures = measure(program, names, arguments, folder)
    return [judged(figure, goals.get(name, {}), figures) for name, figure in figures.items()
            if name in names or name not in goals]


def slips(results, goals):
    """Returns the results whose ratio is GATE_FACTOR times worse than the goal."""
    return [result for result in results
            if "ratio" in goals.get(result["name"], {})
            and not ("ratio" in result and compare(result["ratio"], goals.get(result["name"], {})["ratio"], GATE_FACTOR))]


def parse():
    parser = argparse.ArgumentParser(prog="scripts/bench", add_help=False)
    parser.add_argument("names", nargs="*")
    parser.add_argument("--gate", action="store_true")
    parser.add_argument("--pinned-only", action="store_true")
    parser.add_argument("--rounds", type=int, default=None)
    parser.add_argument("--out", type=Path, default=None)
    parser.add_argument("--idle-seconds", type=float, default=None)
    arguments = parser.parse_args()
    arguments.rounds = arguments.rounds or (GATE_ROUNDS if arguments.gate else 7)
    if arguments.rounds < GATE_ROUNDS:
        parser.error(f"--rounds needs a number from {GATE_ROUNDS} on")
    return arguments


def report(results, failures, goals, arguments, folder):
    with open(folder / "results.jsonl", "w", encoding="utf-8") as file:
        file.writelines(json.dumps(result) + "\n" for result in results)
    lines = table(results)
    (folder / "table.txt").write_text("\n".join(lines) + "\n", encoding="utf-8")
    draw(results, goals, folder)
    print("\n".join(lines))
    status = 0
    for program, problem in failures:
        print(f"bench: {program} FAILED: {problem}", file=sys.stderr)
        status = 1
    if arguments.gate:
        for slip in slips(results, goals):
            print(f'bench: {slip["name"]} FAILED: its ratio is {slip.get("ratio")}, and its goal is {slip["goal"]}',
                  file=sys.stderr)
            status = 1
    missed = sum(result.get("met") is False for result in results)
    print(f"{len(results)} figures, {missed} miss their goal; results in {folder}")
    return status


def main():
    arguments = parse()
    by_program = json.loads(GOALS.read_text(encoding="utf-8"))
    goals = {name: goal for figures in by_program.values() for name, goal in figures.items()}
    try:
        chosen = selected(by_program, arguments.names)
    except ValueError as problem:
        print(f"bench: {problem}", file=sys.stderr)
        return 2
    if arguments.gate:
        chosen = {program: [name for name in names if goals.get(name, {}).get("gate")] for program, names in chosen.items()}
        chosen = {program: names for program, names in chosen.items() if names}
    build(chosen)
    folder = arguments.out or ROOT / "build" / "bench" / datetime.datetime.now().strftime("%Y-%m-%d-%H%M%S")
    folder.mkdir(parents=True, exist_ok=True)
    head = machine()
    (folder / "machine.json").write_text(json.dumps(head, indent=4) + "\n", encoding="utf-8")
    print("\n".join(f"{key:10} {value}" for key, value in head.items()), flush=True)
    results = []
    failures = []
    try:
        for program, names in chosen.items():
            print(f"== {program}", flush=True)
            try:
                found = measured(program, names, arguments, goals, folder)
                for slip in slips(found, goals) if arguments.gate else []:
                    # Other programs of the machine can spoil a short measurement, so the second one decides.
                    print(f'{slip["name"]}: its ratio was {slip.get("ratio")}; measured once more', flush=True)
                    again = measured(program, [slip["name"]], arguments, goals, folder)
                    found = [result for result in found if result["name"] != slip["name"]] + again
                results += found
            except Failed as problem:
                failures.append((program, problem))
    except KeyboardInterrupt:
        report(results, failures, goals, arguments, folder)
        print("bench: interrupted", file=sys.stderr)
        return 130
    return report(results, failures, goals, arguments, folder)


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Draws the curves of a soak: draw.py FOLDER reads FOLDER/soak.jsonl and writes one SVG file for each figure."""
import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "bench"))
import plot  # noqa: E402

FIGURES = {"private_kib": ("Private memory", "KiB"), "descriptors": ("Open descriptors", ""), "threads": ("Threads", "")}


def main():
    folder = pathlib.Path(sys.argv[1])
    samples = [json.loads(line) for line in (folder / "soak.jsonl").read_text(encoding="utf-8").splitlines()]
    for key, (title, unit) in FIGURES.items():
        series = {}
        for sample in samples:
            name = sample["device"] + (", at rest" if sample["at_rest"] else "")
            series.setdefault(name, []).append((sample["starts"], sample[key]))
        path = folder / f"{key}.svg"
        plot.curves(path, f"{title} during the soak", "starts", unit, series)
        print(path)


main()

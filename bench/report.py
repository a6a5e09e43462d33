#!/usr/bin/env python3
"""Makes the table, results.json and the plots of what the benchmarks wrote.

report.py FOLDER DLL        FOLDER: in_process.json, flat.json, worker.json, out_of_process.json, growth.json,
                            round_trips.json, import.json, load
"""

import json
import os
import pathlib
import re
import statistics
import subprocess
import sys

SHAPES = ["no output", "number out", "text out", "object out", "list out"]
PAIRS = ["no output", "number out", "text out", "text in and out", "object out", "list out"]
TARGET = 1.05  # of both floors
FLAT_TARGET = 1.10  # of C++
COUNTS = [1, 10, 100, 1000, 2000]
UNITS = {"ns": 1e-3, "us": 1, "ms": 1e3}


def samples(path):
    """Times in microseconds by name, in the order in which they were taken."""
    result = {}
    for run in json.loads(path.read_text())["benchmarks"]:
        if run["run_type"] == "iteration":
            name = re.sub(r"/(iterations:\d+|repeats:\d+|real_time)", "", run["run_name"])
            result.setdefault(name, []).append(run["real_time"] * UNITS[run["time_unit"]])
    return result


def spread(times):
    """Median and quartiles."""
    if len(times) < 2:
        return {"median": times[0], "low": times[0], "high": times[0], "samples": len(times)}
    low, median, high = statistics.quantiles(times, n=4, method="inclusive")
    return {"median": median, "low": low, "high": high, "samples": len(times)}


def ratio(one, other):
    """Of the medians, and how far it reaches when each median is uncertain by its standard error."""
    def error(times):
        quarters = spread(times)
        return 1.25 * (quarters["high"] - quarters["low"]) / 1.35 / len(times) ** 0.5 / quarters["median"]
    value = statistics.median(one) / statistics.median(other)
    return {"ratio": value, "error": value * (error(one) ** 2 + error(other) ** 2) ** 0.5}


def machine(folder):
    def said(*command):
        return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    return {"processor": model.group(1) if model else "unknown", "cores": os.cpu_count(), "kernel": os.uname().release,
            "wine": said("wine", "--version"), "compiler": said("x86_64-w64-mingw32-g++-posix", "-dumpfullversion"),
            "load": (folder / "load").read_text().split("\n")[:2]}


def warning(load):
    """What stands above numbers that are not for publication."""
    start = float(load[0].split()[0])
    return [] if start < 0.5 else [f"**Not for publication: the machine had other work (load {start}).**", ""]


class Report:
    """Lines for people, in the form of Markdown tables."""

    def __init__(self):
        self.lines = []

    def head(self, title, *columns):
        self.lines += ["", f"### {title}", "", "| " + " | ".join(columns) + " |", "|---" * len(columns) + "|"]

    def row(self, *cells):
        self.lines.append("| " + " | ".join(str(cell) for cell in cells) + " |")


def time_text(times):
    quarters = spread(times)
    unit, size = next((unit for unit in (("s", 1e6), ("ms", 1e3)) if quarters["median"] >= unit[1]), ("us", 1))
    median, low, high = (f"{quarters[key] / size:.3g}" for key in ("median", "low", "high"))
    return f"{median} {unit} ({low} to {high})"


def ratio_text(value):
    return f"{value['ratio']:.3f} ± {value['error']:.3f}"


def verdict(value, target):
    return "met" if value["ratio"] <= target else f"missed by {value['ratio'] - target:.3f}"


def compared(report, data, result, key, title, arms, names, target):
    report.head(title, "shape", *arms, "ratio", f"target {target}")
    for name in names:
        one, other = (data[f"{arm}/{name}"] for arm in arms)
        value = ratio(one, other)
        result.setdefault(key, {})[name] = {arms[0]: spread(one), arms[1]: spread(other), **value,
                                            "met": value["ratio"] <= target}
        report.row(name, time_text(one), time_text(other), ratio_text(value), verdict(value, target))


def growth(report, data, result, key, title, columns, names):
    report.head(title, "how many", *columns)
    for count in COUNTS:
        cells = [data[f"{name}/{count}"] for name in names]
        result.setdefault(key, {})[count] = dict(zip(columns, map(spread, cells)))
        report.row(count, *map(time_text, cells))


def gnuplot(folder, name, title, labels, commands, rows):
    table = folder / f"{name}.dat"
    table.write_text("\n".join(" ".join(f'"{cell}"' if isinstance(cell, str) else f"{cell:.6g}" for cell in row)
                               for row in rows) + "\n")
    script = ["set terminal svg size 760,420 font 'sans,12' background rgb 'white'",
              f"set output '{folder / (name + '.svg')}'", f"set title '{title}'",
              f"set xlabel '{labels[0]}'", f"set ylabel '{labels[1]}'", "set grid ytics", "set key below",
              commands.replace("DATA", f"'{table}'")]
    subprocess.run(["gnuplot"], input="\n".join(script), text=True, check=True)
    table.unlink()


def plot(folder, result):
    def ratios(name, title, key, target, arms):
        rows = [[shape, entry["ratio"], entry["error"]] for shape, entry in result[key].items()]
        gnuplot(folder, name, title, ("", f"{arms[0]} / {arms[1]}"),
                f"set xrange [-0.6:{len(rows) - 0.4}]\nset yrange [0.8:*]\n"
                "plot DATA using 0:2:3:xtic(1) with yerrorbars pointtype 7 title 'ratio of the medians', "
                f"{target} title 'target', 1 linecolor 'gray' notitle", rows)

    ratios("in_process", "One operation against its floor, in the process", "in_process", TARGET,
           ("operation", "floor"))
    ratios("out_of_process", "One operation against the same call by hand, server in another process", "out_of_process",
           TARGET, ("library", "raw"))

    def lines(name, title, key, columns, labels):
        rows = [[float(count)] + [entry[column]["median"] for column in columns]
                for count, entry in result[key].items()]
        drawn = ", ".join(f"DATA using 1:{i + 2} with linespoints title '{column}'" for i, column in enumerate(columns))
        gnuplot(folder, name, title, labels, f"set logscale xy\nplot {drawn}", rows)

    lines("lists", "Listing, by number of machines", "lists", ("listVms", "raw list"), ("machines", "us"))
    lines("handles", "By number of live handles", "handles", ("look-up with its records", "hand-out and release"),
          ("live handles", "us"))
    gnuplot(folder, "records", "100,000 records", ("records written", "us per record"), "set yrange [0:*]\n"
            "plot DATA using 1:2 with points title 'median of 2,500'",
            [[2500.0 * (i + 1), value] for i, value in enumerate(result["records"]["blocks"])])


def main():
    folder, dll = map(pathlib.Path, sys.argv[1:3])
    inside = samples(folder / "in_process.json")
    outside = samples(folder / "out_of_process.json")
    more = samples(folder / "growth.json")
    trips = json.loads((folder / "round_trips.json").read_text())
    imports = json.loads((folder / "import.json").read_text())
    report = Report()
    result = {"machine": machine(folder), "import": imports, "round trips": trips}
    report.lines += warning(result["machine"]["load"])
    report.lines.append("Medians, quartiles in brackets. " + json.dumps(result["machine"], ensure_ascii=False))

    compared(report, inside, result, "in_process", "In the process, on fakes", ("operation", "floor"), SHAPES, TARGET)
    compared(report, outside, result, "out_of_process", "Server in another process, against COM by hand",
             ("library", "raw"), PAIRS, TARGET)

    flat, worker = samples(folder / "flat.json"), samples(folder / "worker.json")
    shapes = ["no output", "number out", "text out"]
    compared(report, flat, result, "flat", "Through C on the caller's thread, against C++", ("flat", "direct"), shapes,
             FLAT_TARGET)
    report.head("Through C by the worker", "shape", "worker", "direct", "hand-over and back")
    for name in shapes:
        one, other = worker["worker/" + name], worker["direct/" + name]
        more_time = spread(one)["median"] - spread(other)["median"]
        result.setdefault("worker", {})[name] = {"worker": spread(one), "direct": spread(other), "more": more_time}
        report.row(name, time_text(one), time_text(other), f"{more_time:.3g} us")

    report.head("Round trips", "operations", "calls of VirtualBox", "messages with COM's own", "by hand", "differ")
    differing = [trip["operation"] for trip in trips
                 if trip["calls"] != trip["raw_calls"] or trip["messages"] != trip["raw_messages"]]
    report.row(len(trips), *(sum(trip[key] for trip in trips) for key in ("calls", "messages")),
               " / ".join(str(sum(trip[key] for trip in trips)) for key in ("raw_calls", "raw_messages")),
               ", ".join(differing) or "none")

    report.head("One process per operation", "what", "process each", "in one process", "factor")
    for name in ("small operation", "story of ten"):
        one, other = outside["process each/" + name], outside["in one process/" + name]
        value = ratio(one, other)
        result.setdefault("process each", {})[name] = {"process each": spread(one), "in one process": spread(other),
                                                       **value}
        report.row(name, time_text(one), time_text(other), f"{value['ratio']:.0f}")

    arms = ("listVms", "raw list", "give all back", "raw give all back")
    growth(report, more, result, "lists", "By number of machines", arms, arms)
    growth(report, inside, result, "handles", "By number of live handles",
           ("look-up with its records", "hand-out and release"), ("look-up", "hand-out and release"))

    report.head("More", "what", "value")
    bound = inside["hand-out at the bound"]
    result["hand-out at the bound"] = spread(bound)
    report.row("hand-out above 2,000 handles, with the oldest dropped", time_text(bound))
    blocks = inside["100000 records"]
    first, last = blocks[:len(blocks) // 4 or 1], blocks[-(len(blocks) // 4) or -1:]
    result["records"] = {"blocks": blocks, **ratio(last, first)}
    report.row("record, last quarter of 100,000 against the first", ratio_text(result["records"]))
    alone, beside = inside["short operation/alone"], inside["short operation/while another waits"]
    result["second thread"] = {"alone": spread(alone), "while another waits": spread(beside), **ratio(beside, alone)}
    report.row("short operation while another thread waits inside VirtualBox, against alone",
               ratio_text(result["second thread"]))
    for name in ("event latency", "event taken, processed and given back", "load of the DLL",
                 "first call to first machine, server cold", "first call to first machine, server warm"):
        result[name] = spread(more[name])
        report.row(name, time_text(more[name]))
    rate = 1e6 / result["event taken, processed and given back"]["median"]
    result["events per second"] = rate
    report.row("events per second", f"{rate:.0f}")
    result["dll bytes"] = dll.stat().st_size
    report.row("size of the DLL", f"{result['dll bytes']} bytes")
    for key, value in imports.items():
        if isinstance(value, (int, float)) and not isinstance(value, bool):
            report.row(f"import: {key}", f"{value:.4g}")

    (folder / "results.json").write_text(json.dumps(result, indent=1, ensure_ascii=False) + "\n")
    text = "\n".join(report.lines) + "\n"
    (folder / "table.md").write_text(text)
    print(text)
    plot(folder, result)
    print(f"results.json, table.md and the plots (.svg) are in {folder}")


if __name__ == "__main__":
    main()

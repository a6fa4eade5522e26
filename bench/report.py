#!/usr/bin/env python3
"""Turns the benchmarks' JSON results into one static page: a plot for each routine, of rate against size, with a line for
nuv, for each peer and for the machine's limit; and tables of what threads bring.

    report.py RESULTS_DIR OUTPUT_DIR
"""

import html
import json
import subprocess
import sys
from collections import defaultdict
from pathlib import Path

UNITS = {"FLOP/s": ("GFLOP/s", 1e9), "B/s": ("GB/s", 1e9)}
COLOURS = {"nuv": "#c03020", "blis": "#3060b0", "eigen": "#408040"}


def read_medians(folder):
    """What each program wrote: its context, and of each benchmark its only result or the median of several."""
    for file in sorted(folder.glob("*.json")):
        text = file.read_text()
        if text.strip():
            data = json.loads(text)
            yield data["context"], [r for r in data["benchmarks"] if r.get("aggregate_name", "median") == "median"]


def read_results(folder):
    """(routine -> who -> [(size, rate, share of the limit)], routine -> unit, context lines)."""
    lines, units, context = defaultdict(lambda: defaultdict(list)), {}, {}
    for facts, results in read_medians(folder):
        context.update({k: v for k, v in facts.items() if k == "date" or "limit" in k or k == "instruction set"})
        for result in results:
            unit = next((u for u in UNITS if u in result), None)
            parts = result["run_name"].split("/")
            if unit is None or len(parts) != 3:
                continue
            routine, who, size = parts
            units[routine] = unit
            lines[routine][who].append((int(size), result[unit], result["of_limit"]))
    return lines, units, context


def read_gains(folder):
    """(busy neighbours -> routine -> size -> time on one thread over that on several, number of threads)."""
    gains, threads = defaultdict(lambda: defaultdict(dict)), "several"
    for facts, results in read_medians(folder):
        for result in results:
            if "gain" in result:
                routine, neighbours, size = result["run_name"].split("/")[:3]
                gains[int(neighbours)][routine][int(size)] = result["gain"]
                threads = facts.get("threads", threads)
    return gains, threads


def limit_line(points):
    """The machine's limit as rate and share of any point tell it."""
    size, rate, share = max(points, key=lambda p: p[2])
    return rate / share


def draw(routine, lines, unit, target):
    name, scale = UNITS[unit]
    commands = [
        "set terminal svg size 560,340 dynamic enhanced font 'sans,11' background '#ffffff'", f"set output '{target}'",
        f"set title '{routine}' noenhanced", "set logscale x", "set xlabel 'size'", f"set ylabel '{name}'", "set yrange [0:*]",
        "set key bottom right", "set grid ytics lc rgb '#dddddd'"]
    plots, data = [], []
    for who, points in sorted(lines.items(), key=lambda item: (item[0] != "nuv", item[0])):
        colour = COLOURS.get(who, "#808080")
        plots.append(f"'-' using 1:2 with linespoints pt 7 ps 0.4 lw 2 lc rgb '{colour}' title '{who}'")
        data.append("\n".join(f"{size} {rate / scale}" for size, rate, _ in sorted(points)) + "\ne")
    limit = limit_line([p for points in lines.values() for p in points]) / scale
    plots.append(f"{limit} with lines dt 2 lc rgb '#404040' title 'limit'")
    script = "\n".join(commands) + "\nplot " + ", ".join(plots) + "\n" + "\n".join(data) + "\n"
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def table(lines, unit):
    name, scale = UNITS[unit]
    sizes = sorted({size for points in lines.values() for size, _, _ in points})
    head = "".join(f"<th>{size}</th>" for size in sizes)
    rows = []
    for who, points in sorted(lines.items(), key=lambda item: (item[0] != "nuv", item[0])):
        by_size = {size: (rate, share) for size, rate, share in points}
        cells = "".join(
            f"<td>{by_size[s][0] / scale:.1f}<br><small>{by_size[s][1]:.2f}</small></td>" if s in by_size else "<td></td>"
            for s in sizes)
        rows.append(f"<tr><th>{html.escape(who)}</th>{cells}</tr>")
    return f"<table><tr><th>{name}<br><small>of limit</small></th>{head}</tr>{''.join(rows)}</table>"


def table_of_gains(neighbours, gains):
    sizes = sorted({size for by_size in gains.values() for size in by_size})
    head = "".join(f"<th>{size}</th>" for size in sizes)
    rows = []
    for routine, by_size in gains.items():
        cells = "".join(f"<td>{by_size[s]:.2f}</td>" if s in by_size else "<td></td>" for s in sizes)
        rows.append(f"<tr><th>{html.escape(routine)}</th>{cells}</tr>")
    return f"<table><tr><th>busy processes beside: {neighbours}</th>{head}</tr>{''.join(rows)}</table>"


def section_of_gains(gains, threads):
    if not gains:
        return ""
    tables = "<br>".join(table_of_gains(neighbours, gains[neighbours]) for neighbours in sorted(gains))
    return f"<section><h2>Threads</h2><p>Time on one thread over that on {html.escape(threads)}</p>{tables}</section>"


def main(results, output):
    lines, units, context = read_results(results)
    output.mkdir(parents=True, exist_ok=True)
    sections = []
    for routine in sorted(lines):
        plot = f"{routine}.svg"
        draw(routine, lines[routine], units[routine], output / plot)
        sections.append(f"<section><h2>{html.escape(routine)}</h2><img src='{html.escape(plot)}' alt=''>"
                        f"{table(lines[routine], units[routine])}</section>")
    facts = "".join(f"<li>{html.escape(k)}: {html.escape(str(v))}</li>" for k, v in context.items())
    style = ("body{font:14px sans-serif;max-width:1200px;margin:2em auto}table{border-collapse:collapse;font-size:12px}"
             "td,th{padding:2px 6px;text-align:right;border-bottom:1px solid #ddd}small{color:#777}")
    page = (f"<!doctype html><meta charset='utf-8'><title>nuv: rates</title><style>{style}</style><h1>Rates</h1>"
            f"<ul>{facts}</ul>{section_of_gains(*read_gains(results))}{''.join(sections)}")
    (output / "report.html").write_text(page)
    print(f"{output / 'report.html'}: {len(lines)} routines")
    return 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2])))

#!/usr/bin/env python3
"""reliability-report.py CSV COMMAND: writes the measured part of docs/reliability.md, between its two marks, and
docs/reliability.svg, from the figures of a truth run. COMMAND is what repeats the run."""

import csv
import datetime
import math
import pathlib
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"
LINKS = [("uart", "UART", "#0072b2"), ("i2c", "I2C", "#d55e00"), ("spi", "SPI", "#009e73")]
KINDS = [
    ("None", "no fault"), ("LostByte", "byte lost"), ("CorruptedByte", "byte corrupted"),
    ("InsertedByte", "byte inserted"), ("RepeatedByte", "byte repeated"), ("LostAnswer", "answer lost"),
    ("LateAnswer", "answer late"), ("Nack", "refusal"), ("Silence", "silence"), ("Mixed", "all mixed"),
]
RATES = [0, 0.001, 0.003, 0.01, 0.02, 0.05, 0.1]
LIMITS = ["damaged packet", "damaged response", "stale response", "lost response", "frame id reuse", "repeated packet",
          "link made anew", "machine"]


def read(path):
    with open(path, newline="", encoding="ascii") as file:
        rows = list(csv.DictReader(file))
    return {(row["link"], row["kind"], float(row["rate"])): row for row in rows}


def number(row, name):
    return float(row[name])


def per_thousand(row, part, whole):
    return 1000 * number(row, part) / max(number(row, whole), 1)


def mixed(cells, link, rate):
    return cells.get((link, "Mixed" if rate else "None", rate))


# What the panels and the columns show: title, unit, value of a cell.
MEASURES = [
    ("The host has the message", "% of the messages", lambda r: per_thousand(r, "delivered", "messages") / 10),
    ("Delivered more than once", "per 1000 messages", lambda r: per_thousand(r, "duplicates", "messages")),
    ("false, although the host has it", "per 1000 calls", lambda r: per_thousand(r, "falseThoughHad", "calls")),
    ("true, although the host has it not", "per 1000 calls", lambda r: per_thousand(r, "trueNotHad", "calls")),
    ("Time to recover, longest", "ms", lambda r: number(r, "recoveryMaxMs")),
    ("Throughput", "messages per second", lambda r: number(r, "messagesPerSecond")),
]
LOGARITHMIC = {4, 5}


def text(value):
    if value == 0:
        return "0"
    if abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.1f}" if abs(value) >= 10 else f"{value:.2f}"


def percent(rate):
    return f"{100 * rate:g} %"


def mixed_tables(cells):
    lines = []
    for link, name, _ in LINKS:
        lines += [f"**{name}**", "",
                  "| packets hit | messages | host has | twice | false, has it | true, has it not | wrong at host "
                  "| to module | wrong at module | recovery median / longest | messages/s |",
                  "|---|---|---|---|---|---|---|---|---|---|---|"]
        for rate in RATES:
            row = mixed(cells, link, rate)
            if row is None:
                continue
            lines.append(
                f"| {percent(rate)} | {row['messages']} | {per_thousand(row, 'delivered', 'messages') / 10:.2f} % "
                f"| {row['duplicates']} | {row['falseThoughHad']} | {row['trueNotHad']} | {row['wrongAtHost']} "
                f"| {per_thousand(row, 'arrived', 'inbound') / 10:.2f} % | {row['wrongAtModule']} "
                f"| {text(number(row, 'recoveryMedianMs'))} / {text(number(row, 'recoveryMaxMs'))} ms "
                f"| {text(number(row, 'messagesPerSecond'))} |")
        lines.append("")
    return lines


def kinds_table(cells, rate):
    lines = [f"Each kind alone, {percent(rate)} of the packets hit. Counts are per 1000 messages; UART / I2C / SPI.", "",
             "| fault | host has, % | twice | false, has it | true, has it not | wrong at host | to module, % "
             "| wrong at module |",
             "|---|---|---|---|---|---|---|---|"]
    columns = [lambda r: f"{per_thousand(r, 'delivered', 'messages') / 10:.1f}",
               lambda r: text(per_thousand(r, "duplicates", "messages")),
               lambda r: text(per_thousand(r, "falseThoughHad", "messages")),
               lambda r: text(per_thousand(r, "trueNotHad", "messages")),
               lambda r: text(per_thousand(r, "wrongAtHost", "messages")),
               lambda r: f"{per_thousand(r, 'arrived', 'inbound') / 10:.1f}",
               lambda r: text(per_thousand(r, "wrongAtModule", "inbound"))]
    for kind, words in KINDS:
        rows = [cells.get((link, kind, rate if kind != "None" else 0)) for link, _, _ in LINKS]
        if any(row is None for row in rows):
            continue
        lines.append(f"| {words} | " + " | ".join(" / ".join(column(row) for row in rows) for column in columns) + " |")
    return lines + [""]


def limits_table(cells):
    lines = ["Wrong outcomes by recorded cause, over all kinds and rates. Without a recorded cause: 0.", "",
             "| cause | " + " | ".join(name for _, name, _ in LINKS) + " |", "|---|---|---|---|"]
    for limit in LIMITS:
        sums = [sum(int(row[limit]) for (cell, _, _), row in cells.items() if cell == link) for link, _, _ in LINKS]
        lines.append(f"| {limit} | " + " | ".join(str(value) for value in sums) + " |")
    return lines + [""]


def measured(cells, command):
    total = sum(int(row["messages"]) + int(row["inbound"]) for row in cells.values())
    slowest = max(number(row, "slowestOfBound") for row in cells.values())
    today = datetime.date.today().isoformat()
    lines = [BEGIN, "",
             f"Measured on {today} with `{command}`:",
             f"{total} messages in both directions, {sum(int(row['packets']) for row in cells.values())} packets, "
             f"{sum(int(row['faults']) for row in cells.values())} of them hit.",
             f"The slowest call took {100 * slowest:.0f} % of its bound.", "",
             "![Six figures against the share of packets that are hit](reliability.svg)", "",
             "### All faults mixed", ""]
    lines += mixed_tables(cells) + ["### One kind of fault at a time", ""] + kinds_table(cells, 0.1)
    lines += ["### Why outcomes were wrong", ""] + limits_table(cells)
    return "\n".join(lines + [END])


# The drawing

PANEL_WIDTH, PANEL_HEIGHT = 250, 150
LEFT, TOP, GAP_X, GAP_Y = 62, 78, 78, 86
INK, GRID = "#333333", "#dddddd"


def label(x, y, words, size=11, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" fill="{INK}" {extra}>{words}</text>'


def nice_top(value):
    if value <= 0:
        return 1.0
    power = 10 ** math.floor(math.log10(value))
    return next(step * power for step in (1, 2, 2.5, 5, 10) if step * power >= value * 0.999)


def scale_of(values, index):
    """The ticks, and a function from a value to 0..1."""
    if index in LOGARITHMIC:
        low = math.floor(math.log10(max(min(values), 0.01)))
        high = max(math.ceil(math.log10(max(values))), low + 1)
        return [10.0 ** power for power in range(low, high + 1)], \
            lambda value: (math.log10(max(value, 10.0 ** low)) - low) / (high - low)
    if index == 0:
        bottom = 100 - nice_top(100 - min(values))
        return [bottom + (100 - bottom) * i / 4 for i in range(5)], lambda value: (value - bottom) / (100 - bottom)
    top = nice_top(max(values))
    return [top * i / 4 for i in range(5)], lambda value: value / top


def panel(cells, index, x, y):
    title, unit, value_of = MEASURES[index]
    series = [(color, [value_of(mixed(cells, link, rate)) for rate in RATES]) for link, _, color in LINKS]
    ticks, place = scale_of([value for _, values in series for value in values], index)
    parts = [label(x - 40, y - 26, title, 13, "start", 'font-weight="bold"'), label(x - 40, y - 11, unit, 11, "start")]
    for tick in ticks:
        at = y + PANEL_HEIGHT * (1 - place(tick))
        parts.append(f'<line x1="{x}" y1="{at:.1f}" x2="{x + PANEL_WIDTH}" y2="{at:.1f}" stroke="{GRID}"/>')
        parts.append(label(x - 6, at + 4, f"{tick:g}", 10, "end"))
    step = PANEL_WIDTH / (len(RATES) - 1)
    for i, rate in enumerate(RATES):
        parts.append(label(x + i * step, y + PANEL_HEIGHT + 16, f"{100 * rate:g}", 10))
    parts.append(label(x + PANEL_WIDTH / 2, y + PANEL_HEIGHT + 32, "packets hit, %", 10))
    for color, values in series:
        points = [(x + i * step, y + PANEL_HEIGHT * (1 - place(value))) for i, value in enumerate(values)]
        line = " ".join(f"{px:.1f},{py:.1f}" for px, py in points)
        parts.append(f'<polyline points="{line}" fill="none" stroke="{color}" stroke-width="2"/>')
        parts += [f'<circle cx="{px:.1f}" cy="{py:.1f}" r="3" fill="{color}"/>' for px, py in points]
    return parts


def drawing(cells):
    columns = 3
    rows = math.ceil(len(MEASURES) / columns)
    width = LEFT + columns * PANEL_WIDTH + (columns - 1) * GAP_X + 24
    height = TOP + rows * PANEL_HEIGHT + (rows - 1) * GAP_Y + 48
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
             'font-family="DejaVu Sans, Verdana, sans-serif">',
             f'<rect width="{width}" height="{height}" fill="white"/>']
    for i, (_, name, color) in enumerate(LINKS):
        parts.append(f'<rect x="{LEFT - 40 + 80 * i}" y="14" width="22" height="4" fill="{color}"/>')
        parts.append(label(LEFT - 12 + 80 * i, 20, name, 12, "start"))
    for index in range(len(MEASURES)):
        x = LEFT + index % columns * (PANEL_WIDTH + GAP_X)
        y = TOP + index // columns * (PANEL_HEIGHT + GAP_Y)
        parts += panel(cells, index, x, y)
    return "\n".join(parts + ["</svg>", ""])


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    cells = read(sys.argv[1])
    if any(mixed(cells, link, rate) is None for link, _, _ in LINKS for rate in RATES):
        sys.exit("reliability-report.py: the run was too short: not every rate was reached on every link")
    page = DOCS / "reliability.md"
    words = page.read_text(encoding="utf-8")
    before, after = words.split(BEGIN)[0], words.split(END)[1]
    page.write_text(before + measured(cells, sys.argv[2]) + after, encoding="utf-8")
    (DOCS / "reliability.svg").write_text(drawing(cells), encoding="ascii")
    print("Wrote docs/reliability.md and docs/reliability.svg")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""report.py BUILD TIMES: writes docs/performance.md and its drawings.

BUILD holds the programs whose instructions and allocations are counted; TIMES is what bench_time wrote (JSON).
"""
import collections
import datetime
import json
import pathlib
import statistics
import sys
import textwrap

sys.dont_write_bytecode = True  # no folder beside the sources
import counts
import plot

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
# Parts of the library in front, then what they are compared with.
OWN = ["function core", "function core, by index", "classes", "classes, by index", "printer", "transport", "UART link"]
POINTS = ["typical", "item900"]
PACKET_AND_ANSWER = 72 * 10 / 115200  # seconds on the paced line: 64 and 8 bytes of 10 bits

Time = collections.namedtuple("Time", "cpu real wake_ups")


class Measured:
    def __init__(self, build, times):
        self.counts = counts.count(build, same_routines=False)
        runs = collections.defaultdict(list)
        with open(times, encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if run["run_type"] != "iteration":
                    continue
                if run.get("error_occurred"):
                    sys.exit(f"{run['name']}: {run['error_message']}")
                runs[tuple(run["run_name"].split("/")[0].split("|"))].append(run)
        self.times = {name: Time(*(statistics.median(run.get(what, 0) for run in all_runs)
                                   for what in ("cpu_time", "real_time", "wakeUps")))
                      for name, all_runs in runs.items()}
        self.side_by_side = {name[0]: all_runs for name, all_runs in runs.items() if name[1] == "side by side"}
        self.repetitions = statistics.mode(len(all_runs) for all_runs in runs.values())

    def time(self, group, subject, point):
        return self.times[group, subject, point].cpu

    def ratio(self, group, subject, reference, point):
        return self.time(group, subject, point) / self.time(group, reference, point)

    def beside(self, group, subject, reference):
        """Medians of the ratios of repetitions in which both were measured one after the other."""
        runs = self.side_by_side[group]
        return Time(*(statistics.median(run[f"{subject}|{clock}"] / run[f"{reference}|{clock}"] for run in runs)
                      for clock in ("cpu", "real")), 0)

    def subjects(self, group):
        """The library's parts, then the others by their names."""
        found = {name[1] for name in self.times if name[0] == group}
        return [own for own in OWN if own in found] + sorted(found.difference(OWN))

    def points(self, group):
        def place(point):
            word, _, number = point.rpartition(" ")
            return (POINTS.index(word), int(number)) if word else \
                (0, int(number)) if number.isdigit() else (POINTS.index(number), 0)

        return sorted({name[2] for name in self.times if name[0] == group}, key=place)

    def instructions(self, name):
        return self.counts[name][0]

    def allocations(self, name):
        return self.counts[name][1]


def times(value):
    return f"{value:.2f} ×" if value < 10 else f"{value:.0f} ×"


def table(head, rows):
    return ["| " + " | ".join(head) + " |", "|" + "---|" * len(head),
            *("| " + " | ".join(str(cell) for cell in row) + " |" for row in rows), ""]


def drawing(name, words, svg):
    (DOCS / f"performance-{name}.svg").write_text(svg, encoding="utf-8")
    return [f"![{words}](performance-{name}.svg)", ""]


def ratio_table(m, group, reference, first):
    """A row for each subject, a column for each point, against the reference."""
    points = m.points(group)
    return table([first, *points],
                 [[subject, *(times(m.ratio(group, subject, reference, point)) for point in points)]
                  for subject in m.subjects(group)])


def ratio_curves(m, group, reference, x_title):
    return plot.curves(x_title, f"time, {reference} = 1",
                       [(subject, [(int(point), m.ratio(group, subject, reference, point)) for point in m.points(group)])
                        for subject in m.subjects(group)], reference=1)


# The goals

def longest_path(m, kind):
    """The path that does most of what a program does."""
    return f"program-{kind}" if f"whole path|program-{kind}|typical 64" in m.counts else kind


class Goal:
    """What is wanted of some work, and what was found: several figures where there are several variants."""

    def __init__(self, work, found, limits, unit, floor):
        self.work, self.found, self.limits, self.unit, self.floor = work, found, limits, unit, floor

    def row(self):
        kept = all(value <= limit for value, limit in zip(self.found, self.limits))
        def show(values):
            return " / ".join(f"{value:.2f} ×" if self.unit == "×" else f"{value:.0f}" for value in values)
        unit = "" if self.unit == "×" else " " + self.unit
        return [self.work, show(self.found) + unit, "≤ " + show(self.limits) + unit, self.floor,
                "reached" if kept else "**not reached**"]


def goals(m):
    core, classes = longest_path(m, "core"), longest_path(m, "classes")

    def both(path, message):
        return [m.instructions(f"whole path|{path}|{message} {size}") for size in (64, 256)]

    def floors(message):
        return " / ".join(str(value) for value in both("straight line", message))

    def floor(group, point):
        return times(m.ratio(group, "bare chain", "Boost.CRC", point))

    yield Goal("whole path, function core, typical message, packets of 64 / 256 bytes", both(core, "typical"),
               [1250, 1080], "instructions", floors("typical"))
    yield Goal("the same, an item of 900 bytes", both(core, "item900"), [5000, 2500], "instructions", floors("item900"))
    yield Goal("whole path, classes, typical / 900 bytes, packets of 64 bytes",
               [both(classes, "typical")[0], both(classes, "item900")[0]], [5200, 14000], "instructions", "–")
    asked = [m.allocations(f"whole path|{classes}|{message} 64") for message in POINTS]
    if None not in asked:
        yield Goal("the same", asked, [12, 36], "allocations", "–")
    yield Goal("255 items read by index, function core / classes, against the iterator",
               [m.ratio("items in turn", f"{subject}, by index", "iterator", "255")
                for subject in ("function core", "classes")], [2, 4], "×", "1 ×")
    yield Goal("checksum of 4 KiB against Boost.CRC", [m.ratio("checksum", "function core", "Boost.CRC", "4096")],
               [0.70], "×", floor("checksum", "4096"))
    yield Goal("start mark in 4 KiB of garbage against a byte loop",
               [m.ratio("start mark, garbage", "function core", "byte loop", "4096")], [0.35], "×", "–")
    yield Goal("4 KiB of FF only against garbage without FF",
               [m.time("start mark, FF only", "function core", "4096") /
                m.time("start mark, garbage", "function core", "4096")], [1.3], "×", "–")
    yield Goal("text of 10 items against ostringstream", [m.ratio("text", "printer", "ostringstream", "10")], [0.30],
               "×", "–")
    yield Goal("writing / receiving the typical message, log off, against no log statements",
               [m.ratio(f"transport, {way}", "transport", "without log statements", "typical")
                for way in ("writing", "receiving")], [1.3, 1.3], "×", "1 ×")
    link, unlocked = exchange(m)
    yield Goal("`writeData` over a terminal against a raw exchange: own processor time / clock",
               [link.cpu, link.real], [0.90, 1.10], "×", f"{times(unlocked.cpu)} / {times(unlocked.real)}")
    yield Goal("paced line, 115200 baud, time against the line's own",
               [m.times["paced line", "UART link", "115200 baud"].real / (PACKET_AND_ANSWER * 1e9)], [1 / 0.97], "×",
               "1 ×")
    yield Goal("idle link, wake-ups in half a second", [m.times["idle", "UART link", "half a second"].wake_ups], [0],
               "wake-ups", "0")
    client = requests(m)
    yield Goal("a `get` through the client against transport and condition variable by hand: own processor time / clock",
               [client.cpu, client.real], [1.15, 1.15], "×", "1 ×")
    recorded = recording(m)
    yield Goal("a `get` that is recorded against one that is not: own processor time / clock",
               [recorded.cpu, recorded.real], [1.03, 1.03], "×", "1 ×")
    yield Goal("idle client, wake-ups in half a second", [m.times["idle", "client", "half a second"].wake_ups], [0],
               "wake-ups", "0")


def requests(m):
    return m.beside("request over a terminal", "client", "transport by hand")


def recording(m):
    return m.beside("recorded request", "recorded", "not recorded")


def exchange(m):
    return (m.beside("exchange over a terminal", subject, "raw, waked under the lock")
            for subject in ("UART link", "raw, waked unlocked"))


# The groups

NAMES = {"core": "function core", "program-core": "function core, a program's way", "program-classes":
         "classes, a program's way"}


def whole_path(m):
    points = [f"{kind} {size}" for kind in POINTS for size in (64, 256)]
    subjects = [name.split("|")[1] for name in m.counts if name.startswith("whole path|") and name.endswith("|typical 64")]

    def cell(subject, point):
        made, asked = m.counts[f"whole path|{subject}|{point}"]
        return f"{made}" + (f", {asked}" if asked else "")

    yield from ["## Whole path", "",
                "Build a message, cut it into packets, find and verify them in a stream that is read 64 bytes at a time, put "
                "the message together, read every value. `typical` has Uint8, Uint16, Uint32, Int32 and a string of 24 "
                "bytes, `item900` one item of 900 bytes; the number is the packet size. A *program's way* looks at every "
                "result and compares every value besides. The limit is straight-line code: the same bytes with every "
                "offset known beforehand.", "", "Instructions, and allocations where there are any:", ""]
    yield from table(["", *points],
                     [[NAMES.get(subject, subject), *(cell(subject, point) for point in points)] for subject in subjects])
    yield from drawing("whole-path", "Instructions of a message's whole path", plot.bars(
        "instructions, straight-line code = 1",
        [(point, [(NAMES.get(subject, subject), m.instructions(f"whole path|{subject}|{point}") /
                   m.instructions(f"whole path|straight line|{point}")) for subject in subjects if subject != "straight line"])
         for point in points]))
    yield from ["Time against straight-line code:", ""]
    yield from ratio_table(m, "whole path", "straight line", "")


def message(m):
    yield from ["## A message and its values", "",
                "Build a message from tagged values and read all of them back, without packets; time against the function "
                "core. Each competitor keeps id, tags, encodings and values. The limit is the function core's own: it "
                "writes the wire's bytes in place.", ""]
    yield from ratio_table(m, "message", "function core", "")
    yield from drawing("message", "Time to build and read a message", plot.bars(
        "time, function core = 1",
        [(point, [(subject, m.ratio("message", subject, "function core", point)) for subject in m.subjects("message")])
         for point in m.points("message")], limit=1))


def items(m):
    yield from ["## Items in turn", "",
                "All items of a message of 16-bit numbers, from the first to the last; time against the iterator, which is "
                "the limit.", ""]
    yield from ratio_table(m, "items in turn", "iterator", "items")
    yield from drawing("items", "Time to read items in turn", ratio_curves(m, "items in turn", "iterator", "items"))


def checksum(m):
    yield from ["## Checksum", "",
                "Time against Boost.CRC over as many bytes. The *bare chain* is the limit of one table: look-ups, "
                "each waiting for the top byte of the one before and an XOR. zlib has several tables and the other order of bits; it is given "
                "its bytes reversed beforehand.", ""]
    yield from ratio_table(m, "checksum", "Boost.CRC", "bytes")
    yield from drawing("checksum", "Time of a checksum", ratio_curves(m, "checksum", "Boost.CRC", "bytes"))


def scan(m):
    yield from ["## Garbage before a start mark", "",
                "The search through bytes that hold no mark; time against a loop over single bytes.", ""]
    for kind in ("garbage", "FF only"):
        yield from [f"{kind[0].upper()}{kind[1:]}:", ""]
        yield from ratio_table(m, f"start mark, {kind}", "byte loop", "bytes")
    first = m.time("start mark, garbage", "function core", "64")
    yield from drawing("garbage", "Time to search garbage", plot.curves(
        "bytes of garbage", "time, function core over 64 bytes = 1",
        [(f"{subject}, {kind}", [(int(point), m.time(f"start mark, {kind}", subject, point) / first)
                                 for point in m.points(f"start mark, {kind}")])
         for kind in ("garbage", "FF only") for subject in m.subjects(f"start mark, {kind}")]))


def text(m):
    yield from ["## Text for the log", "",
                "The dump of a message with so many items; time against `ostringstream`. Competitors read the message by "
                "the library's iterator and give the same text to the byte.", ""]
    yield from ratio_table(m, "text", "ostringstream", "items")
    yield from drawing("text", "Time to print a message", ratio_curves(m, "text", "ostringstream", "items"))


def transport(m):
    yield from ["## Transport", "",
                "A message over a link that accepts everything, logging off; time against the same steps without a log "
                "statement, which are the limit.", ""]
    groups = ["transport, writing", "transport, receiving"]
    yield from table(["", "typical", "item900"],
                     [[group.split(", ")[1], *(times(m.ratio(group, "transport", "without log statements", point))
                                               for point in POINTS)] for group in groups])
    off = [m.counts[f"log line, off|{subject}|one line"][0] for subject in ("library", "log4cplus alone")]
    yield from drawing("transport", "Time of the transport", plot.bars(
        "time, without log statements = 1",
        [(group.split(", ")[1], [(point, m.ratio(group, "transport", "without log statements", point))
                                 for point in POINTS]) for group in groups], limit=1))
    yield from [f"A log line whose level is off: {off[0]} instructions, {off[1]} with log4cplus' own macro; in time "
                f"{times(m.ratio('log line, off', 'library', 'log4cplus alone', 'one line'))}.", ""]


def links(m):
    link, unlocked = exchange(m)
    paced = m.times["paced line", "UART link", "115200 baud"].real
    yield from ["## Serial link", "",
                "`writeData` of a packet of 64 bytes over a pseudo terminal whose far side, another process, answers at "
                "once. The raw exchange does nothing but the system calls and the hand-over between the reader's thread "
                "and the writer's; it wakes the writer while it holds the lock that the writer then needs, as such code "
                "is first written. All on one processor, where who is waked gets to run at once. The link wakes unlocked, "
                "which is the limit. The three take turns, and the ratio is taken within each turn.", ""]
    yield from table(["", "own processor time", "clock"],
                     [["UART link", times(link.cpu), times(link.real)],
                      ["raw, waked under the lock", "1.00 ×", "1.00 ×"],
                      ["raw, waked unlocked", times(unlocked.cpu), times(unlocked.real)]])
    yield from drawing("link", "An exchange over a terminal", plot.bars(
        "raw exchange, waked under the lock = 1",
        [(what, [(name, getattr(one, field))
                 for name, one in (("UART link", link), ("raw, waked unlocked", unlocked))])
         for what, field in (("own processor time", "cpu"), ("clock", "real"))], limit=1))
    yield from [f"Where the far side answers as late as a line of 115200 baud would make it, the link gets "
                f"{100 * PACKET_AND_ANSWER * 1e9 / paced:.1f} % of what that line can carry with one packet and one answer at "
                f"a time. An idle link wakes up {m.times['idle', 'UART link', 'half a second'].wake_ups:.0f} times in half "
                "a second.", ""]


def client(m):
    through = requests(m)
    yield from ["## Client", "",
                "A `get` over a pseudo terminal whose far side, another process, answers at once; beside it a program of "
                "its own that writes the request through the transport, waits on a condition variable for its observer "
                "and reads the value, and knows neither late answers nor anything else that can go wrong. The two take turns, as above.", ""]
    yield from table(["", "own processor time", "clock"],
                     [["client", times(through.cpu), times(through.real)],
                      ["transport by hand", "1.00 ×", "1.00 ×"]])
    recorded = recording(m)
    yield from [f"A `get` with a recorder takes {times(recorded.cpu)} of the processor time and {times(recorded.real)} of "
                "the time of one without, the recorder's own thread and its file included. Without one the serial "
                "library compares a pointer with zero for each call, and the client another.", "",
                f"An idle client wakes up {m.times['idle', 'client', 'half a second'].wake_ups:.0f} times in half a "
                "second.", ""]


def growth(m):
    yield from ["## Growth", "",
                "Time through the transport as one thing grows, against its smallest. Message size: written over a link "
                "that delivers each packet back. Observers, each with its own copy. Open frames: other messages of which "
                "only a part has come. Items and garbage have their curves above.", ""]
    for what, title in (("message size", "bytes of the item"), ("observers", "observers"), ("open frames", "open frames")):
        group = f"growth, {what}"
        points = m.points(group)
        first = m.time(group, "transport", points[0])
        grown = [m.time(group, "transport", point) / first for point in points]
        yield from table([title, *points], [["time", *(times(value) for value in grown)]])
        proportion = [(int(point), int(point) / int(points[0])) for point in points]
        series = [("transport", [(int(point), value) for point, value in zip(points, grown)])]
        if what != "open frames":
            series.append(("in proportion", proportion))
        yield from drawing(what.replace(" ", "-"), f"Time over {title}",
                           plot.curves(title, f"time, {points[0]} = 1", series, reference=1))


def page(m):
    yield from ["# Performance", "",
                "What the library costs beside others, and beside the least that the work can cost. `make bench` writes this "
                f"page; last on {datetime.date.today().isoformat()}, {m.repetitions} repetitions.", "",
                "- Time: Google Benchmark, all measurements in random order, again and again, on one processor. Each figure "
                "is the ratio of two medians of that run; there are no absolute times. Differences below 5 % say nothing.",
                "- Instructions: callgrind, through the shared library as programs use it (g++, -O2).",
                "- Allocations: calls of `operator new` by library and program.",
                "- Competitors come from Debian and get the same payloads. Each proves first that it reproduces every sample; "
                "one that does not stops the run. The samples are in `bench/cases`, the competitors in `bench/peers`, the "
                "floors in `bench/floors`.",
                "- `make bench-counts` compares instructions and allocations with `bench/counts.txt` and fails where one "
                "differs by more than 2 %; `make bench-counts RENEW=1` stores new ones. There the C library is told to copy "
                "the same way on every processor, so counts with long copies are higher than here.", "",
                "## Goals", ""]
    yield from table(["work", "found", "goal", "limit", ""], [goal.row() for goal in goals(m)])
    yield from ["What keeps the rest from its goals: the classes hand every packet over as bytes of its own, and so does the "
                "program that reads them. Of an item of 900 bytes in packets of 64 that is 34 of the requests for memory, "
                "and asking for memory and giving it back is two fifths of the instructions. The function core keeps "
                "nothing between two calls, so reading by index walks over all items before the one that is asked for; "
                "over numbers of one kind it does so eight at a time, over others five times slower. `writeData` costs what the "
                "raw exchange costs that wakes unlocked; how much that gains over waking under the lock is the scheduler's: "
                "the same machine gave 0.85 × to 1.1 × in different runs.",
                ""]
    for group in (whole_path, message, items, checksum, scan, text, transport, links, client, growth):
        yield from group(m)


def wrapped(line):
    if line.startswith(("|", "!", "#")):
        return line
    return textwrap.fill(line, 120, subsequent_indent="  " if line.startswith("- ") else "", break_long_words=False,
                         break_on_hyphens=False)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    lines = list(map(wrapped, page(Measured(sys.argv[1], sys.argv[2]))))
    while not lines[-1]:
        lines.pop()
    (DOCS / "performance.md").write_text("\n".join(lines) + "\n", encoding="utf-8")
    print("Wrote docs/performance.md and its drawings")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""What the firmware takes: code, data, and the worst case of the stack, for each processor.

    sizes.py                 prints the table and writes it into docs/host-firmware.md
    sizes.py --check         writes nothing and fails where something has grown by more than 2 % over what stands there
    sizes.py --build DIR     where the firmware was built; build/firmware when not told

The stack is the compiler's figure for each function along the longest chain of calls. Calls through pointers stand in
indirect-calls.txt.
"""
import argparse
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
PAGE = HERE.parent / "docs" / "host-firmware.md"
BEGIN, END = "<!-- sizes: written by make firmware -->\n", "<!-- end of sizes -->\n"
ALLOWED_GROWTH = 0.02

IMAGES = {"cortex-m0": "microbit", "cortex-m3": "mps2-an385", "cortex-m4": "mps2-an386", "cortex-m33": "mps2-an505"}
ROOT = "resetHandler"
HANDLERS = ("portTick", "moduleHandler", "timerHandler", "uartHandler")  # one priority: none interrupts another
ENTRY_FRAME = 36  # eight registers and, where the stack has to be aligned, a word
COMPILER_HELPER = 16  # functions of the compiler's own library, which no graph shows, save two to four registers
LINK = ("hostLinkHostUartReceive", "hostLinkHostUartTransmit", "hostLinkHostUartAdvance", "hostLinkHostBusStops",
        "hostLinkHostBusReadBegins", "hostLinkHostBusAdvance", "hostLinkHostBusLine")
TASK = ("hostLinkHostSend", "hostLinkHostDeliver")

HEAD = ("| processor | core and engine: code | stack, link | stack, task | image | code | data | bss | stack, worst case |",
        "|---|---|---|---|---|---|---|---|---|")


class Mistake(Exception):
    pass


def plain(title):
    """A function's own name: without the file of a static one, and without the decoration of C++."""
    name = re.sub(r"\.(constprop|isra|part|cold)\.\d+", "", title.rsplit(":", 1)[-1])
    match = re.match(r"_ZN?", name)
    if not match:
        return name
    parts, rest = [], name[match.end():]
    while number := re.match(r"(\d+)", rest):
        rest = rest[number.end():]
        parts.append(rest[:int(number[1])])
        rest = rest[int(number[1]):]
        if match[0] == "_Z":
            break
    if parts and parts[0] == "_GLOBAL__N_1":
        parts.pop(0)
    return parts[-1] if parts else name


class Graph:
    """Who calls whom, and what each function takes of the stack."""

    def __init__(self, folders):
        self.own, self.calls, self.indirect = {}, {}, read_indirect()
        self.named = {}
        for folder in folders:
            for path in sorted(folder.rglob("*.ci")):
                self.read(path.read_text(encoding="utf-8"))
        if not self.own:
            raise Mistake(f"no call graph below {folders[0]}; build it with: scripts/build-firmware.sh")
        self.worst = {}

    def read(self, text):
        for title, label in re.findall(r'node: \{ title: "([^"]+)" label: "([^"]*)"', text):
            size = re.search(r"\\n(\d+) bytes \((\w+[^)]*)\)", label)
            if size:
                if size[2] != "static":
                    raise Mistake(f"{title}: its stack is not known before it runs ({size[2]})")
                self.own[title] = int(size[1])
                self.named.setdefault(plain(title), []).append(title)
        for caller, called in re.findall(r'edge: \{ sourcename: "([^"]+)" targetname: "([^"]+)"', text):
            self.calls.setdefault(caller, set()).add(called)

    def titles(self, name):
        if name not in self.named:
            raise Mistake(f"there is no function {name} (firmware/indirect-calls.txt, firmware/sizes.py)")
        return self.named[name]

    def called_by(self, title, stops):
        for called in self.calls.get(title, ()):
            if called != "__indirect_call":
                yield called
            elif plain(title) not in self.indirect:
                raise Mistake(f"{plain(title)} calls through a pointer; say in firmware/indirect-calls.txt what")
            elif not stops:
                for name in self.indirect[plain(title)]:
                    yield from self.titles(name)

    def depth(self, title, stops=False, above=()):
        """Bytes below and with this function. With `stops`, without what is called through pointers."""
        if title in above:
            raise Mistake(f"{plain(title)} calls itself: its stack has no bound")
        if title not in self.own:
            raise Mistake(f"{title} is called, and what it takes of the stack is not known")
        if (title, stops) not in self.worst:
            below = [self.depth(each, stops, (*above, title)) for each in self.called_by(title, stops)]
            self.worst[title, stops] = self.own[title] + max(below, default=0)
        return self.worst[title, stops]

    def deepest(self, names, stops=False):
        return max((self.depth(title, stops) for name in names for title in self.named.get(name, ())), default=0)


def read_indirect():
    table = {}
    for line in (HERE / "indirect-calls.txt").read_text(encoding="utf-8").splitlines():
        words = line.split()
        if words and not line.startswith("#"):
            table[words[0]] = [word for word in words[1:] if word != "-"]
    return table


def size_of(path):
    """Code with constants, data, bss; of an archive the sum."""
    lines = subprocess.run(["arm-none-eabi-size", path], check=True, capture_output=True, text=True).stdout.splitlines()
    rows = [[int(word) for word in line.split()[:3]] for line in lines[1:]]
    return [sum(column) for column in zip(*rows)]


def row(build, cpu, image):
    folders = [build / "CMakeFiles" / f"{each}.dir" for each in (f"{image}.elf", f"hostlinkhost-{cpu}")]
    graph = Graph(folders)
    library = size_of(build / "lib" / f"libhostlinkhost-{cpu}.a")
    text, data, bss = size_of(build / "images" / f"{image}.elf")
    helper = COMPILER_HELPER
    stack = graph.deepest([ROOT]) + helper + ENTRY_FRAME + graph.deepest(HANDLERS) + helper
    # The callbacks are the application's, and memcpy, memmove and memset what the firmware has of them.
    link, task = graph.deepest(LINK, True) + helper, graph.deepest(TASK, True) + helper
    return [library[0], link, task, image, text, data, bss, stack]


def table(build):
    return {cpu: row(build, cpu, image) for cpu, image in IMAGES.items()}


def written(rows):
    lines = [f"| {cpu} | " + " | ".join(str(cell) for cell in cells) + " |" for cpu, cells in rows.items()]
    return "\n".join([*HEAD, *lines]) + "\n"


def parts_of_page():
    text = PAGE.read_text(encoding="utf-8")
    if text.count(BEGIN) != 1 or text.count(END) != 1:
        raise Mistake(f"{PAGE.name} lacks the marks between which the sizes stand: {BEGIN.strip()}")
    head, rest = text.split(BEGIN)
    return head, *rest.split(END)


def stored():
    rows = {}
    for line in parts_of_page()[1].splitlines()[len(HEAD):]:
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        rows[cells[0]] = [int(cell) if cell.isdigit() else cell for cell in cells[1:]]
    return rows


def growths(rows):
    """What is larger than the page says, in words."""
    columns = [cell.strip() for cell in HEAD[0].strip("|").split("|")][1:]
    before = stored()
    for cpu, cells in rows.items():
        for name, now, then in zip(columns, cells, before.get(cpu, [0] * len(cells))):
            if isinstance(now, int) and now > then * (1 + ALLOWED_GROWTH):
                yield f"{cpu}, {name}: {now} bytes, {then} on the page"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--check", action="store_true", help="write nothing, fail where something has grown")
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parent / "build" / "firmware", metavar="DIR")
    arguments = parser.parse_args()
    try:
        rows = table(arguments.build)
        print(written(rows), end="")
        if arguments.check:
            grown = list(growths(rows))
            for line in grown:
                print(line, file=sys.stderr)
            if grown:
                print("The firmware has grown. Where that is meant, make firmware writes docs/host-firmware.md anew",
                      file=sys.stderr)
            return 1 if grown else 0
        head, _, tail = parts_of_page()
        PAGE.write_text(head + BEGIN + written(rows) + END + tail, encoding="utf-8")
        return 0
    except (Mistake, OSError, subprocess.CalledProcessError) as mistake:
        print(f"sizes.py: {mistake}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())

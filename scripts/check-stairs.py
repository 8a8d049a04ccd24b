#!/usr/bin/env python3
"""check-stairs.py [--links BUILD]: whether each file is in a room and knows only the rooms that it may.

The rooms stand in src/rooms.txt, the public headers in src/public-headers.txt. Without an option this reads the sources:
a file in no room, a header that nobody lists, an include up the stairs. With --links it reads the object files below
BUILD instead: a name that a room takes from a room it may not know.
"""
import glob
import os
import re
import subprocess
import sys

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
ROOMS = "src/rooms.txt"
HEADERS = "src/public-headers.txt"

FREESTANDING = {"stddef.h", "stdint.h", "string.h", "assert.h"}
NEEDS = {
    "threads": {"thread", "mutex", "condition_variable", "atomic", "future", "shared_mutex", "pthread.h"},
    "files": {"fstream", "iostream", "cstdio", "stdio.h", "unistd.h", "fcntl.h", "poll.h", "filesystem"},
}


class Room:
    def __init__(self, name, folder, knows, may):
        self.name, self.folder, self.may = name, folder + "/", words(may)
        self.knows, self.also = words(knows), set()

    def library(self):
        """The library that the room is part of; None for one outside them, which shows all its headers."""
        parts = self.folder.split("/")
        return parts[2] if parts[:2] == ["src", "lib"] else None


def words(cell):
    return set() if cell == "-" else set(cell.split(","))


def lines_of(table):
    with open(os.path.join(TOP, table), encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            if line.strip() and not line.startswith("#"):
                yield f"{table}:{number}", line.split()


def read_rooms():
    rooms = {}
    for where, cells in lines_of(ROOMS):
        if cells[0] == "also":
            rooms[cells[1]].also.add(cells[2])
            continue
        if len(cells) != 4:
            sys.exit(f"{where}: a room has four columns: its name, its folder, what it knows, what it may")
        room = Room(*cells)
        for known in sorted(room.knows):
            if known not in rooms:
                sys.exit(f"{where}: {room.name} knows {known}, which no row above it is about")
            room.knows = room.knows | rooms[known].knows
        if not os.path.isdir(os.path.join(TOP, room.folder)):
            sys.exit(f"{where}: {room.name} has no folder {room.folder}")
        rooms[room.name] = room
    return rooms


def read_public_headers(rooms):
    public = {}
    for where, cells in lines_of(HEADERS):
        header, room = "src/lib/" + cells[0], cells[1]
        if room not in rooms:
            sys.exit(f"{where}: {room} is no room of {ROOMS}")
        if not os.path.isfile(os.path.join(TOP, header)):
            sys.exit(f"{where}: there is no {header}")
        public[header] = room
    return public


def sources():
    for top in ("src", "python", "examples", "firmware"):
        for folder, _, names in sorted(os.walk(os.path.join(TOP, top))):
            for name in sorted(names):
                if re.search(r"\.(h|hh|hpp|c|cc|cpp|cxx|inc)$", name):
                    yield os.path.relpath(os.path.join(folder, name), TOP)


class House:
    def __init__(self):
        self.rooms = read_rooms()
        self.public = read_public_headers(self.rooms)

    def room_of(self, path):
        if path in self.public:
            return self.rooms[self.public[path]]
        found = [r for r in self.rooms.values() if path.startswith(r.folder)]
        return max(found, key=lambda r: len(r.folder), default=None)

    def place_complaints(self, path):
        room = self.room_of(path)
        if room is None and path.endswith(".h") and path.startswith("src/lib/"):
            yield (f"{path}: in no room. A public header has a row in {HEADERS}; a hidden one lives in the folder of its "
                   "room")
        elif room is None:
            yield f"{path}: in no room. The rooms and their folders stand in {ROOMS}"
        elif path in self.public and self.owner_of_folder(path) not in (None, room):
            yield f"{path}: {HEADERS} puts it into {room.name}, but it lies in {self.owner_of_folder(path).name}"

    def owner_of_folder(self, path):
        return max((r for r in self.rooms.values() if path.startswith(r.folder)), key=lambda r: len(r.folder),
                   default=None)

    def resolve(self, path, name):
        for folder in (os.path.dirname(path), "src/lib", "src", "firmware"):
            candidate = os.path.normpath(os.path.join(folder, name))
            if os.path.isfile(os.path.join(TOP, candidate)):
                return candidate
        return None

    def include_complaints(self, path):
        room = self.room_of(path)
        with open(os.path.join(TOP, path), encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                match = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
                if match and match.group(2) not in room.also:
                    yield from (f"{path}:{number}: {c}" for c in self.judge(path, room, *match.groups()))

    def judge(self, path, room, mark, name):
        target = self.resolve(path, name)
        if target is None and mark == '"':
            yield f"{room.name} includes {name}, which is nowhere: is this file in its room?"
        if target is None:
            yield from self.judge_foreign(room, name)
            return
        to = self.room_of(target)
        if to is None:
            yield f"{room.name} must not include {target}, which is in no room"
        elif to is not room and to.name not in room.knows:
            known = ", ".join(sorted(room.knows)) or "no other room"
            yield f"{room.name} must not include {target} of {to.name}: it may know {known}"
        elif target not in self.public and to.library() and to.library() != room.library():
            yield f"{room.name} must not include {target}, which is not a public header"
        elif ".." in name and path not in self.public and room.name != "core":
            # The compiler would find it whatever the room may see.
            yield f"{room.name} includes {name} past its view; write \"{re.sub('^src/(lib/)?', '', target)}\""

    @staticmethod
    def judge_foreign(room, name):
        if "freestanding" in room.may:
            if name not in FREESTANDING:
                yield f"{room.name} may include only {', '.join(sorted(FREESTANDING))}, not <{name}>"
            return
        if name.startswith("log4cplus/") and "log" not in room.may:
            yield f"{room.name} must not include <{name}>: it may not log"
        if name.startswith("CLI/") and "parser" not in room.may:
            yield f"{room.name} must not include <{name}>: src/commandline does, for all"
        for word, headers in NEEDS.items():
            if name in headers and word not in room.may:
                yield f"{room.name} must not include <{name}>: no {word} here"

    def link_complaints(self, build):
        """Compares what the rooms' object files define with what they ask for."""
        defined, wanted = {}, []
        for source, object_file in objects_below(build):
            room = self.room_of(source)
            if room is None:
                continue
            for line in output("nm", object_file).split("\n"):
                kind, name = line.split()[-2:] if line.strip() else ("", "")
                if kind == "U":
                    wanted.append((source, room, name))
                elif kind in "TDBRVW" and kind:
                    defined.setdefault(name, set()).add(room.name)
        if not defined:
            sys.exit(f"check-stairs.py: no object files of rooms below {build}: build it first")
        for source, room, name in wanted:
            where = defined.get(name, set())
            if where and not where & (room.knows | {room.name}) and not source_may(source, room, where):
                yield f"{source}: {room.name} must not use {demangled(name)} of {', '.join(sorted(where))}"


def source_may(source, room, where):
    """Whether an `also` row of the room names a header of the room that the name comes from."""
    return any(header.split("/")[0] in where for header in room.also)


def objects_below(build):
    """Object files with the sources that they come from."""
    for path in glob.glob(os.path.join(build, "**", "CMakeFiles", "*.dir", "**", "*.o"), recursive=True):
        match = re.match(r"(.*)/CMakeFiles/[^/]+\.dir/(.*)\.o$", os.path.relpath(path, build))
        source = os.path.normpath(os.path.join(match.group(1), match.group(2)))
        if os.path.isfile(os.path.join(TOP, source)):
            yield source, path


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def demangled(name):
    return output("c++filt", name).strip()


def main():
    house = House()
    if len(sys.argv) == 3 and sys.argv[1] == "--links":
        found = list(house.link_complaints(sys.argv[2]))
        well = "No room links up the stairs."
    elif len(sys.argv) == 1:
        found = []
        for path in sources():
            misplaced = list(house.place_complaints(path))
            found += misplaced or list(house.include_complaints(path))
        well = "Each file is in its room, and the stairs go one way."
    else:
        sys.exit(__doc__)
    print("\n".join(found) if found else well)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""tidy-units.py TOGETHER ALONE FILE...: what clang-tidy is to be given so that each FILE is analysed once: lines with a
build folder and a source. TOGETHER is a unity build, whose sources each stand for several of the FILEs; those that stand
alone there are taken from the build ALONE.

The FILEs behind the sources of a target are dealt out anew, so that a file and one whose functions it calls come apart:
the analyzer follows each call into what it can see of it, and gives a function up that has become too much for it.
"""

import json
import os
import re
import sys


def included_by(unit):
    with open(unit, encoding="utf-8") as file:
        return [os.path.normpath(os.path.join(os.path.dirname(unit), name)) for name in re.findall('#include "(.*)"', file.read())]


def stem(path):
    return os.path.splitext(os.path.basename(path))[0]


def included_headers(source):
    with open(source, encoding="utf-8") as file:
        return re.findall(r'^ *#include "(.*\.h)"', file.read(), re.MULTILINE)


def headers_of(source):
    """By their names what the source includes, and what those beside it and its own include for their members."""
    names = included_headers(source)
    beside = [os.path.join(os.path.dirname(source), os.path.basename(name)) for name in names]
    return {stem(name) for name in names + [each for header in beside if os.path.exists(header) for each in included_headers(header)]}


def pairs_of_callers(files):
    """For each file those with which it has to do: one of the two knows the header of the other, which bears its name or
    the beginning of it."""
    headers = {name: headers_of(name) for name in files}
    own = {name: {header for header in headers[name] if stem(name).startswith(header)} for name in files}
    return {
        name: {other for other in files if other != name and (headers[name] & own[other] or headers[other] & own[name])}
        for name in files
    }


def dealt_out(files, count):
    """The files in so many parts of about one size, apart as far as it goes."""
    related = pairs_of_callers(files)
    most = -(-len(files) // count) + 1
    parts = [[] for _ in range(count)]
    for name in sorted(files, key=lambda name: (-len(related[name]), name)):
        free = [part for part in parts if len(part) < most]
        min(free, key=lambda part: (len(related[name].intersection(part)), len(part))).append(name)
    return parts


def deal_out_anew(units):
    targets = {}
    for unit in units:
        targets.setdefault(os.path.dirname(unit), []).append(unit)
    for of_target in targets.values():
        files = [name for unit in of_target for name in included_by(unit)]
        for unit, part in zip(of_target, dealt_out(files, len(of_target))):
            with open(unit, "w", encoding="utf-8") as file:
                file.writelines(f'#include "{name}"\n' for name in sorted(part))


def main(together, alone, files):
    wanted = {os.path.abspath(name): name for name in files}
    with open(os.path.join(together, "compile_commands.json"), encoding="utf-8") as file:
        units = sorted({command["file"] for command in json.load(file) if "/Unity/" in command["file"]})
    units = [unit for unit in units if any(name in wanted for name in included_by(unit))]
    deal_out_anew(units)
    seen = set()
    for unit in units:
        parts = [name for name in included_by(unit) if name in wanted and name not in seen]
        if len(parts) > 1:
            print(together, unit)
            seen.update(parts)
    for path, name in wanted.items():
        if path not in seen:
            print(alone, name)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], sys.argv[3:])

#!/usr/bin/env python3
"""tidy-units.py TOGETHER ALONE FILE...: what clang-tidy is to be given so that each FILE is analysed once: lines with a
build folder and a source. TOGETHER is a unity build, whose sources each stand for several of the FILEs; those that stand
alone there are taken from the build ALONE.
"""

import json
import os
import re
import sys


def included_by(unit):
    with open(unit, encoding="utf-8") as file:
        return [os.path.normpath(os.path.join(os.path.dirname(unit), name)) for name in re.findall('#include "(.*)"', file.read())]


def main(together, alone, files):
    wanted = {os.path.abspath(name): name for name in files}
    with open(os.path.join(together, "compile_commands.json"), encoding="utf-8") as file:
        units = sorted({command["file"] for command in json.load(file) if "/Unity/" in command["file"]})
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

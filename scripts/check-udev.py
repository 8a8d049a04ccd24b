#!/usr/bin/env python3
"""check-udev.py FILE...: whether files of udev rules can be read as rules.

Looks at what udev(7) says of a rule: keys and which of them have an attribute, the operators that each takes, quotes,
the commas between, and that each rule does something. Where there is `udevadm verify` (systemd 254), that is asked too.
"""
import re
import shutil
import subprocess
import sys

MATCH = {"==", "!="}
SET = {"=", ":="}
ADD = {"+="}
LIST = SET | ADD | {"-="}

# Key: operators, and whether it has an attribute in braces.
KEYS = {
    **dict.fromkeys(("ACTION", "DEVPATH", "KERNEL", "KERNELS", "SUBSYSTEM", "SUBSYSTEMS", "DRIVER", "DRIVERS"), (MATCH, False)),
    **dict.fromkeys(("TAGS", "RESULT"), (MATCH, False)),
    **dict.fromkeys(("ATTRS",), (MATCH, True)),
    **dict.fromkeys(("ATTR", "SYSCTL"), (MATCH | {"="}, True)),
    "ENV": (MATCH | {"=", "+="}, True),
    "NAME": (MATCH | {"=", ":="}, False),
    "SYMLINK": (MATCH | LIST, False),
    "TAG": (MATCH | LIST, False),
    **dict.fromkeys(("OWNER", "GROUP", "MODE"), (SET, False)),
    "PROGRAM": (MATCH | {"="}, False),
    "RUN": (LIST, None),
    "IMPORT": (MATCH | {"="}, True),
    **dict.fromkeys(("LABEL", "GOTO"), ({"="}, False)),
    "OPTIONS": (LIST, False),
}
TOKEN = re.compile(r'\s*([A-Z]+)(?:\{([^}]*)\})?\s*([=!+:-]=|=)\s*"((?:[^"\\]|\\.)*)"\s*')
MODE = re.compile(r"0?[0-7]{3}$")


def complaints(text):
    """Line number and what is wrong, for each thing that is."""
    begin, rule = 0, ""
    for number, line in enumerate(text.split("\n"), 1):
        if not rule:
            begin = number
            if line.lstrip().startswith("#"):
                continue
        if line.endswith("\\"):
            rule += line[:-1]
            continue
        rule += line
        if rule.strip():
            yield from ((begin, complaint) for complaint in of_rule(rule))
        rule = ""
    if rule:
        yield begin, "the last line goes on behind the end"


def of_rule(rule):
    at, does = 0, False
    while at < len(rule):
        token = TOKEN.match(rule, at)
        if not token:
            yield f"cannot be read from here on: {rule[at:].strip()}"
            return
        key, attribute, operator, value = token.groups()
        yield from of_token(key, attribute, operator, value)
        does = does or operator not in MATCH
        at = token.end()
        if at < len(rule):
            if rule[at] != ",":
                yield f"no comma behind {token.group(0).strip()}"
                return
            at += 1
    if not does:
        yield "matches and does nothing"


def of_token(key, attribute, operator, value):
    if key not in KEYS:
        yield f"there is no key {key}"
        return
    operators, braces = KEYS[key]
    if operator not in operators:
        yield f"{key} takes {' '.join(sorted(operators))}, not {operator}"
    if braces is not None and bool(attribute) != braces:
        yield f"{key} {'needs an attribute in braces' if braces else 'has no attribute'}"
    if key == "MODE" and not MODE.match(value):
        yield f"MODE {value} is not octal"


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__.split("\n", maxsplit=1)[0])
    found = False
    for path in sys.argv[1:]:
        with open(path, encoding="utf-8") as file:
            for number, complaint in complaints(file.read()):
                found = True
                print(f"{path}:{number}: {complaint}", file=sys.stderr)
    udevadm = shutil.which("udevadm")
    if udevadm and subprocess.run([udevadm, "verify", "--help"], capture_output=True, check=False).returncode == 0:
        found = subprocess.run([udevadm, "verify", "--resolve-names=never", *sys.argv[1:]], check=False).returncode != 0 or found
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()

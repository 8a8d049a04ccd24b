#!/usr/bin/env python3
"""Writes what the project has of the protocol's names and numbers from hostlink.toml.

    generate.py           writes what has changed
    generate.py --check   writes nothing and fails where something would change

Everything is read, checked and made up before the first file is written.
"""
import argparse
import pathlib
import sys

sys.dont_write_bytecode = True  # the tree may be somebody else's to write

import model
from backends import (dissector, documents, fuzz_dictionary, numbers_header, python, vocabulary_header,
                      vocabulary_rows, wire_layout)
from reading import Mistake

BACK_ENDS = (numbers_header, vocabulary_header, vocabulary_rows, wire_layout, fuzz_dictionary, documents, dissector,
             python)
SOURCE = "protocol/hostlink.toml"
TOP = pathlib.Path(__file__).resolve().parent.parent


def texts(top):
    """What each file is to hold, by its path from the top."""
    protocol = model.load(top / SOURCE)

    def read(path):
        return (top / path).read_text(encoding="utf-8")

    made = {}
    for back_end in BACK_ENDS:
        made.update(back_end.files(protocol, read))
    return made


def differs(path, text):
    return not path.is_file() or path.read_text(encoding="utf-8") != text


def main(words=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--check", action="store_true", help="write nothing, fail where something would change")
    parser.add_argument("--top", type=pathlib.Path, default=TOP, help="the project's folder")
    arguments = parser.parse_args(words)
    try:
        made = texts(arguments.top)
    except Mistake as mistake:
        print(f"{mistake.file or SOURCE}: {mistake}", file=sys.stderr)
        return 1
    except OSError as error:
        print(error, file=sys.stderr)
        return 1
    changed = {path: text for path, text in made.items() if differs(arguments.top / path, text)}
    for path, text in changed.items():
        if arguments.check:
            print(f"{path} is not what {SOURCE} says; mend it with: make protocol", file=sys.stderr)
        else:
            target = arguments.top / path
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text(text, encoding="utf-8")
            print(f"wrote {path}")
    if arguments.check and not changed:
        print(f"{len(made)} files are what {SOURCE} says.")
    return 1 if arguments.check and changed else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""counts.py BUILD [--check FILE | --renew FILE]: instructions and allocations of every case, counted in BUILD.

Prints the counts; --check compares them with those that FILE holds and fails where one differs by more than 2 %, --renew
writes them there. A count does not depend on how busy the machine is. Compared counts do not depend on its processor
either: the C library is told to take the same copying routine everywhere.
"""
import glob
import itertools
import os
import platform
import re
import subprocess
import sys
import tempfile

TOLERANCE = 0.02
# Above the baseline of x86-64 each of these gives memcpy another length.
SAME_ROUTINES = "glibc.cpu.hwcaps=-AVX2,-AVX_Fast_Unaligned_Load,-AVX512F,-AVX512VL,-ERMS,-FSRM"
PATHS = "whole path"  # counted one by one, by a program of their own


def callgrind(folder, command, environment, *options):
    """What the counter wrote: a text for each dump."""
    out = os.path.join(folder, "out")
    subprocess.run(["valgrind", "--quiet", "--tool=callgrind", "--collect-atstart=no", f"--callgrind-out-file={out}",
                    *options, *command], check=True, env=environment, stdout=subprocess.DEVNULL)
    texts = []
    for path in glob.glob(out + "*"):
        with open(path, encoding="utf-8", errors="replace") as file:
            texts.append(file.read())
        os.remove(path)
    return texts


def instructions(text):
    return int(re.search(r"^summary: (\d+)", text, re.MULTILINE)[1])


def count_cases(bin_folder, folder, environment):
    counts = {}
    for text in callgrind(folder, [f"{bin_folder}/bench_counts"], environment):
        name = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.MULTILINE)
        if name:
            counts[name[1]] = [instructions(text), None]
    lines = subprocess.run([f"{bin_folder}/bench_allocations"], check=True, capture_output=True, text=True).stdout
    for line in lines.splitlines():
        name, allocations = line.rsplit(" ", 1)
        counts[name][1] = int(allocations)
    return {name: pair for name, pair in counts.items()
            if not name.startswith(PATHS) or "|straight line|" in name}


def count_paths(bin_folder, folder, environment):
    """Each path and each message that the program says it knows."""
    program = f"{bin_folder}/bench_count"
    usage = subprocess.run([program], check=False, capture_output=True, text=True).stderr
    paths, messages = (words.split("|") for words in re.search(r"bench_count (\S+) (\S+) ", usage).groups())
    counts = {}
    for path, message, size in itertools.product(paths, messages, ("64", "256")):
        command = [program, path, message, size]
        told = subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()
        text, = callgrind(folder, command, environment, "--toggle-collect=countedRun")
        counts[f"{PATHS}|{path}|{message} {size}"] = [instructions(text), int(told) if told else None]
    return counts


def count(build, same_routines):
    environment = dict(os.environ)
    if same_routines:
        environment["GLIBC_TUNABLES"] = SAME_ROUTINES
    with tempfile.TemporaryDirectory() as folder:
        bin_folder = os.path.join(build, "bin")
        return {**count_paths(bin_folder, folder, environment), **count_cases(bin_folder, folder, environment)}


def read(path):
    counts = {}
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith("#"):
                continue
            made, asked, name = line.rstrip("\n").split(None, 2)
            counts[name] = [int(made), None if asked == "-" else int(asked)]
    return counts


def in_order(name):
    """Numbers by their size, words by the alphabet."""
    return [(not part.isdigit(), int(part) if part.isdigit() else 0, part) for part in re.split(r"(\d+)", name)]


def listed(counts):
    yield f"# {'instructions':>12} {'allocations':>11}  group|subject|point"
    for name in sorted(counts, key=in_order):
        made, asked = counts[name]
        yield f"{made:14} {'-' if asked is None else asked:>11}  {name}"


def differs(now, stored):
    if now is None or stored is None:
        return now is not stored
    return abs(now - stored) > TOLERANCE * stored


def complaints(now, stored):
    for name in sorted({*now, *stored}, key=in_order):
        if name not in now or name not in stored:
            yield f"{name}: {'not stored' if name in now else 'stored, but not counted'}"
            continue
        for what, one, other in zip(("instructions", "allocations"), now[name], stored[name]):
            if differs(one, other):
                yield f"{name}: {one} {what}, stored {other}"


def main():
    if len(sys.argv) not in (2, 4) or (len(sys.argv) == 4 and sys.argv[2] not in ("--check", "--renew")):
        sys.exit(__doc__)
    if platform.machine() != "x86_64" and len(sys.argv) == 4:
        print("bench-counts: the stored counts are those of x86-64; nothing to compare here")
        return
    counts = count(sys.argv[1], same_routines=len(sys.argv) == 4)
    if len(sys.argv) == 2:
        print(*listed(counts), sep="\n")
    elif sys.argv[2] == "--renew":
        with open(sys.argv[3], "w", encoding="utf-8") as file:
            print("# Written by `make bench-counts RENEW=1`; `make bench-counts` compares with it.", *listed(counts),
                  sep="\n", file=file)
        print(f"Wrote {len(counts)} counts to {sys.argv[3]}")
    else:
        found = list(complaints(counts, read(sys.argv[3])))
        if found:
            print(*found, sep="\n")
            sys.exit("bench-counts: these differ by more than 2 %. If they are meant to: make bench-counts RENEW=1, and "
                     "the commit says why")
        print(f"bench-counts: {len(counts)} counts as stored")


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""The program that README.md prints builds with the lines that README.md prints, as they stand, against an installation."""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

parser = argparse.ArgumentParser(description=__doc__)
parser.add_argument("source", type=pathlib.Path)
parser.add_argument("build")
parser.add_argument("cxx")
parser.add_argument("--toolchain", help="CMake toolchain file, for another architecture")
parser.add_argument("--emulator", help="what runs its programs")
told = parser.parse_args()
readme = (told.source / "README.md").read_text()


def block(after: str, language: str) -> str:
    """The first fenced block in `language` behind the line that begins with `after`."""
    start = re.search(f"^{re.escape(after)}", readme, re.MULTILINE)
    if start is None:
        sys.exit(f"readme_test: README.md has no line that begins with '{after}'")
    found = re.search(rf"^```{language}\n(.*?)^```$", readme[start.end():], re.MULTILINE | re.DOTALL)
    if found is None:
        sys.exit(f"readme_test: README.md has no {language} block behind '{after}'")
    return found[1]


def run(folder: pathlib.Path, command: list[str], **environment: str) -> None:
    done = subprocess.run(command, cwd=folder, env={**os.environ, **environment}, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if done.returncode != 0:
        sys.exit(f"readme_test: {command} ended with {done.returncode}:\n{done.stdout}")


def program() -> str:
    """The ten lines, with the includes and the start of the log of the example they are from."""
    example = (told.source / "examples/ten_lines.cpp").read_text()
    includes = "".join(re.findall(r"^#include .*\n", example, re.MULTILINE))
    log = "".join(re.findall(r"^    .*log4cplus.*\n", example, re.MULTILINE))
    return f"{includes}int main() {{\n{log}{block('## Ten lines', 'cpp')}return 0;\n}}\n"


def installation(folder: pathlib.Path) -> tuple[str, str]:
    """Installs; gives the folders of the pkg-config file and of the libraries."""
    run(folder, ["cmake", "--install", told.build, "--prefix", str(folder / "usr")])
    return (str(next(folder.rglob("zent-hostlink.pc")).parent), str(next(folder.rglob("libzent_hostLinkLib.so")).parent))


def try_it(folder: pathlib.Path, player: str, libraries: str) -> None:
    """Without a device the program says so and ends with 1; a program that does not start ends otherwise."""
    command = [told.emulator, player] if told.emulator else [player]
    done = subprocess.run(command, env={**os.environ, "LD_LIBRARY_PATH": libraries}, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
    if done.returncode != 1 or "Failed to initialize uart" not in done.stdout:
        sys.exit(f"readme_test: {player} ended with {done.returncode}:\n{done.stdout}")


with tempfile.TemporaryDirectory() as name:
    folder = pathlib.Path(name)
    packages, libraries = installation(folder)
    (folder / "player.cpp").write_text(program().replace("/dev/ttyS1", str(folder / "no-device")))

    lines = block("pkg-config:", "sh")
    if not lines.startswith("g++ "):
        sys.exit(f"readme_test: not a compiler's line: {lines}")
    run(folder, ["sh", "-c", f"'{told.cxx}' -Wall -Wextra -Werror {lines.removeprefix('g++ ')}"], PKG_CONFIG_PATH=packages)
    try_it(folder, str(folder / "player"), libraries)

    (folder / "CMakeLists.txt").write_text(block("CMake, a whole", "cmake"))
    compiler = f"-DCMAKE_TOOLCHAIN_FILE={told.toolchain}" if told.toolchain else f"-DCMAKE_CXX_COMPILER={told.cxx}"
    run(folder, ["cmake", "-S", ".", "-B", "build", f"-DCMAKE_PREFIX_PATH={folder}/usr", compiler])
    run(folder, ["cmake", "--build", "build"])
    try_it(folder, str(folder / "build/player"), libraries)
print("the program of README.md builds as README.md says")

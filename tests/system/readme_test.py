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
    """The program as it is printed; the example has the same lines."""
    printed = block("## Ten lines", "cpp")
    example = (told.source / "examples/ten_lines.cpp").read_text().replace('argc > 1 ? argv[1] : "/dev/ttyS1"', '"/dev/ttyS1"')
    for line in printed.splitlines():
        code = line.split(" //")[0].strip().replace("int main() {", "")
        if code not in example:
            sys.exit(f"readme_test: examples/ten_lines.cpp has no line '{code}'")
    return printed


def installation(folder: pathlib.Path) -> tuple[str, str]:
    """Installs; gives the folders of the pkg-config file and of the libraries."""
    run(folder, ["cmake", "--install", told.build, "--prefix", str(folder / "usr")])
    return (str(next(folder.rglob("zent-hostlink-client.pc")).parent), str(next(folder.rglob("libzent_hostLinkClient.so")).parent))


def try_it(folder: pathlib.Path, player: str, libraries: str) -> None:
    """Without a device the program says so, and ends at the end of its input."""
    command = [told.emulator, player] if told.emulator else [player]
    done = subprocess.run(command, env={**os.environ, "LD_LIBRARY_PATH": libraries}, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
    if done.returncode != 0 or "no-device: No such file or directory" not in done.stdout:
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

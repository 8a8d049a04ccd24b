#!/usr/bin/env python3
"""pack-firmware.py FOLDER: puts what a firmware needs into one new folder: function core, engine, headers, test vectors.

An IDE compiles every .cpp file of the folder and searches it for headers; README.txt there says the rest.
"""
import pathlib
import re
import shutil
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
SOURCES = TOP / "src"
CORE = SOURCES / "lib" / "hostlink" / "core"

README = """\
The host's side of the host link, for a micro-controller.

Compile every .cpp file of this folder, with this folder to search for headers and these options:

    -std=c++17 -ffreestanding -fno-exceptions -fno-rtti -fno-threadsafe-statics
    "-DHOSTLINK_ASSERT(condition)=((condition)?(void)0:__builtin_trap())"

Without the last one the C library's assert reports, and brings stdio and malloc along. memcpy, memmove and memset are
needed, and no C++ library. The headers read as C99 and as C++17:

    #include <host/HostLinkHostUart.h>                    the engine on a serial line
    #include <host/HostLinkHostBus.h>                     the engine on I2C or SPI
    #include <hostlink/HostLinkLib.h>                     messages: building and reading them
    #include <hostlink/HostLinkVocabularyNumbers.h>       states, tags and values

vectors/ has what a host hears on the line and what it answers, as text, for tests in any framework.
"""


def core_in_one_file():
    """An IDE compiles whatever it finds: the parts of the core stand in its one file, not beside it."""
    parts = re.findall(r'^#include "(\w+\.cpp)"$', (CORE / "HostLinkLib.cpp").read_text(encoding="utf-8"), re.MULTILINE)
    text = "// The function core: the files of src/lib/hostlink/core in one.\n"
    for part in parts:
        text += f"\n// ---- {part}\n" + (CORE / part).read_text(encoding="utf-8")
    return text


def headers_of_core():
    rows = (SOURCES / "public-headers.txt").read_text(encoding="utf-8").splitlines()
    return [row.split()[0] for row in rows if not row.startswith("#") and row.split()[1:] == ["core"]]


def pack(folder):
    folder.mkdir(parents=True)
    for header in headers_of_core():
        (folder / header).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(SOURCES / "lib" / header, folder / header)
    core = folder / "hostlink" / "core"
    core.mkdir()
    (core / "HostLinkLib.cpp").write_text(core_in_one_file(), encoding="utf-8")
    (folder / "host").mkdir()
    for path in [*CORE.glob("*.h"), *(SOURCES / "host").glob("*.h"), *(SOURCES / "host").glob("*.cpp")]:
        shutil.copyfile(path, (core if path.parent == CORE else folder / "host") / path.name)
    shutil.copytree(TOP / "firmware" / "vectors", folder / "vectors")
    (folder / "README.txt").write_text(README, encoding="utf-8")


def main():
    if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
        print(__doc__.split("\n", 1)[0], file=sys.stderr)
        return 2
    folder = pathlib.Path(sys.argv[1])
    try:
        pack(folder)
    except FileExistsError:
        print(f"pack-firmware.py: {folder} is there already; name a folder that is not", file=sys.stderr)
        return 1
    print(f"{folder}: {sum(1 for path in folder.rglob('*') if path.is_file())} files; begin with README.txt")
    return 0


if __name__ == "__main__":
    sys.exit(main())

"""pack_test.py FIRMWARE BUILD TEST: what is packed for a firmware's own project builds there, alone."""
import pathlib
import shutil
import subprocess
import sys
import tempfile

TOP = pathlib.Path(__file__).resolve().parents[2]
PACK = TOP / "scripts" / "pack-firmware.py"
CORE = TOP / "src" / "lib" / "hostlink" / "core" / "HostLinkLib.cpp"
COMPILER, C_COMPILER = "arm-none-eabi-g++", "arm-none-eabi-gcc"
OPTIONS = ["-mcpu=cortex-m0", "-mthumb", "-Os", "-ffreestanding", "-Wall", "-Wextra", "-Wpedantic", "-Werror"]
FROM_README = ["-std=c++17", "-fno-exceptions", "-fno-rtti", "-fno-threadsafe-statics",
               "-DHOSTLINK_ASSERT(condition)=((condition)?(void)0:__builtin_trap())"]

PROGRAM = """\
#include <host/HostLinkHostBus.h>
#include <host/HostLinkHostUart.h>
#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

static HOSTLINK_HOST_STORAGE(64, 512, 2, 4) storage;

uint32_t setUp(HostLinkHost* host, HostLinkHostSetup* setup) {
    hostLinkHostDefaults(setup);
    HOSTLINK_HOST_USE_STORAGE(setup, storage);
    return hostLinkHostInit(host, setup) + (uint32_t)STA_PlayerVolume;
}
"""


def run(*words, **other):
    return subprocess.run([str(word) for word in words], capture_output=True, text=True, check=False, **other)


def packed(folder):
    place = pathlib.Path(folder) / "hostlink"
    done = run(sys.executable, "-B", PACK, place)
    assert done.returncode == 0, done.stderr
    return place


def PackedFolderBuildsAlone():
    with tempfile.TemporaryDirectory() as folder:
        place = packed(folder)
        program = place / "program.c"
        program.write_text(PROGRAM, encoding="utf-8")
        objects = []
        for source in sorted(place.rglob("*.c*")):
            objects.append(source.with_suffix(".o"))
            how = [COMPILER, *FROM_README] if source.suffix == ".cpp" else [C_COMPILER, "-std=c99"]
            # From its own folder: nothing of the project is near.
            done = run(*how, *OPTIONS, "-I", place, "-c", source, "-o", objects[-1], cwd=place)
            assert done.returncode == 0, done.stderr
        whole = place / "whole.o"
        assert run("arm-none-eabi-ld", "-r", *objects, "-o", whole).returncode == 0
        needs = {line.split()[-1] for line in run("arm-none-eabi-nm", "-u", whole).stdout.splitlines()}
        assert needs - {"__gnu_thumb1_case_uqi"} == {"memcpy", "memmove", "memset"}, needs
        readme = (place / "README.txt").read_text(encoding="utf-8")
        for option in FROM_README:
            assert option in readme, option
        assert (place / "vectors" / "serial-line.txt").is_file()


def PackingNeedsANewFolder():
    with tempfile.TemporaryDirectory() as folder:
        place = packed(folder)
        done = run(sys.executable, "-B", PACK, place)
        assert done.returncode == 1 and "is there already" in done.stderr, done


def CoreCopiedAloneSaysWhatItNeeds():
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(CORE, folder)
        done = run(COMPILER, "-std=c++17", "-c", "HostLinkLib.cpp", cwd=folder)
        assert done.returncode != 0
        assert done.stderr.count("error:") == 1 and "scripts/pack-firmware.py" in done.stderr, done.stderr


if __name__ == "__main__":
    if not shutil.which(COMPILER):
        print(f"SKIPPED: no {COMPILER} here; scripts/install-packages.sh firmware installs it")
        sys.exit(77)
    globals()[sys.argv[3]]()

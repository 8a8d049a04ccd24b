#!/bin/sh
# build.sh PRESET [TARGET...]: configures build/PRESET where that has not been done, and builds.
set -eu
cd "$(dirname "$0")/.."
. scripts/one-make.sh

preset=$1
shift
jobs=${JOBS:-$(nproc)}
if [ -d "build/$preset" ] && [ ! -w "build/$preset" ]; then
    echo "build.sh: cannot write to $(pwd)/build/$preset: another user has built there; make clean as that user" >&2
    exit 1
fi
one_make "build/$preset"
# A terminal gets ninja's one moving line; a log does not need one for each file.
quiet=
if [ ! -t 1 ]; then
    quiet=--quiet
    if [ -f "build/$preset/.ninja_log" ]; then
        echo "Bringing build/$preset up to date"
    else
        echo "Building build/$preset for the first time, which takes some minutes"
    fi
fi
[ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" >/dev/null
cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} -- $quiet

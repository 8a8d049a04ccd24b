#!/bin/sh
# build.sh PRESET [TARGET...]: configures build/PRESET where that has not been done, and builds.
set -eu
cd "$(dirname "$0")/.."

preset=$1
shift
jobs=${JOBS:-$(nproc)}
[ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" >/dev/null
# A terminal gets ninja's one moving line; a log does not need one for each file.
quiet=
if [ ! -t 1 ]; then
    quiet=--quiet
    echo "Building build/$preset, which takes some minutes the first time"
fi
cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} -- $quiet

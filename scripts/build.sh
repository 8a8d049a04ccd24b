#!/bin/sh
# build.sh PRESET [TARGET...]: configures build/PRESET where that has not been done, and builds.
set -eu
cd "$(dirname "$0")/.."

preset=$1
shift
jobs=${JOBS:-$(nproc)}
[ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" >/dev/null
cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} -- --quiet

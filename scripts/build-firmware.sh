#!/bin/sh
# build-firmware.sh [DIRECTORY]: builds the firmware of all boards, in build/firmware where none is named.
set -eu
cd "$(dirname "$0")/.."
. scripts/one-make.sh
directory=${1:-build/firmware}
[ -f "$directory/build.ninja" ] ||
    cmake -S firmware -B "$directory" -G Ninja --toolchain "$(pwd)/firmware/arm-none-eabi.cmake" >/dev/null
cmake --build "$directory" -j "${JOBS:-$(nproc)}" -- --quiet

#!/bin/sh
# test-kernel.sh [amd64|arm64]: builds what the guest needs, and runs there what CTest labels "kernel". Where there can be no
# guest, it says why and is not a failure.
set -eu
cd "$(dirname "$0")/.."
arch=${1:-amd64}
case $arch in
amd64) preset=release groups="kernel" emulator=qemu-system-x86_64 ;;
arm64) preset=aarch64 groups="aarch64 kernel kernel-arm64" emulator=qemu-system-aarch64 ;;
*) echo "test-kernel.sh: there is no guest for $arch, only for amd64 and arm64" >&2; exit 2 ;;
esac
scripts/install-packages.sh build test $groups || echo "test-kernel.sh: going on with what is there" >&2
if ! command -v "$emulator" >/dev/null; then
    echo "The tests on a real kernel were SKIPPED: $emulator is missing" >&2
    exit 0
fi

scripts/build.sh release zent-hostsim # the far side of the guest's ports runs here
scripts/build.sh "$preset" kernel_guest_programs
scripts/build-kernel-guest.sh "$arch"
scripts/check-device-trees.sh
# A guest computes on one processor at a time, and waits more than it computes.
ctest --test-dir "build/$preset" -C kernel -L '^kernel$' --no-tests=error --output-on-failure -j "${KERNEL_JOBS:-2}"

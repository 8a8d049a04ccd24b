#!/bin/sh
# test.sh PRESET [--whole [--not-in OTHER]] [CTEST-OPTION...]: runs the suite of build/PRESET. When tests did not run, the
# last line says how many, and why. With --whole test programs run as they are, not one process for each test: the same
# tests, sooner; and those that look at the source tree alone (label: tree), which no build changes, only with the release
# build. With --not-in those are left out that build/OTHER runs in that way too. TEST_JOBS of them at a time; when not given,
# twice as many as there are processors, since tests wait more than they compute.
set -eu
cd "$(dirname "$0")/.."
preset=$1
shift
report=$(pwd)/build/$preset/tests.xml

# besides PRESET: the labels of what --whole leaves out.
besides() {
    if [ "$1" = release ]; then echo 'single'; else echo 'single|tree'; fi
}

if [ "${1:-}" = --whole ]; then
    shift
    if [ "${1:-}" = --not-in ]; then
        there=$(ctest --test-dir "build/$2" -N -C whole -LE "$(besides "$2")" |
            sed -n 's/^  *Test *#[0-9]*: \(.*\)/\1/p' | sed 's/[^A-Za-z0-9_]/[&]/g' | paste -sd '|')
        [ -n "$there" ] || { echo "test.sh: build/$2 has no tests; scripts/build.sh $2 comes first" >&2 && exit 1; }
        shift 2
        set -- -E "^($there)\$" "$@"
    fi
    set -- -C whole -LE "$(besides "$preset")" "$@"
fi

code=0
ctest --preset "$preset" --no-tests=error -j "${TEST_JOBS:-$((2 * $(nproc)))}" --output-junit "$report" "$@" || code=$?

# From the report's head, which has an attribute a line.
number() {
    sed -n "1,12s/^[[:space:]]*$1=\"\([0-9]*\)\"$/\1/p" "$report"
}
skipped=$(number skipped)
if [ "${skipped:-0}" -gt 0 ]; then
    why=$(scripts/run-in-rig.sh --busrig "build/$preset/bin/zent-busrig" --quiet true 2>&1) || true
    command -v qemu-system-arm >/dev/null ||
        why="${why:+$why }Without qemu-system-arm the firmware is not tried: scripts/install-packages.sh firmware"
    echo "$skipped of $(number tests) tests were SKIPPED. ${why:-The list above names them.}" >&2
elif ! grep -q '^ZENT_RIG_AVAILABLE:INTERNAL=ON' "build/$preset/CMakeCache.txt"; then
    echo "The tests of the I2C and SPI links were SKIPPED: the bus rig is not built; it needs libfuse3-dev and libcli11-dev" >&2
fi
exit "$code"

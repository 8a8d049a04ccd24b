#!/bin/sh
# test-aarch64.sh: runs the suite of build/aarch64 under user emulation, after checking that it is the suite of
# build/release, test by test. What the emulator cannot run is named in tests/aarch64-exceptions.txt, with the reason.
set -eu
cd "$(dirname "$0")/.."
exceptions=tests/aarch64-exceptions.txt
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Not built there: the client's tests, the firmware's, which has an emulator of its own, the Python package's, and those of
# whole programs that say the same on any processor (label "native").
names() {
    ctest --test-dir "build/$1" -N -LE 'client|firmware|native|python' | sed -n 's/^  *Test *#[0-9]*: //p' | sort
}
names release >"$folder/here"
names aarch64 >"$folder/there"
if ! diff "$folder/here" "$folder/there" >"$folder/differences"; then
    echo "test-aarch64: the suites of x86-64 (<) and AArch64 (>) differ:" >&2
    cat "$folder/differences" >&2
    exit 1
fi

sed -n 's/^\([^# ][^ ]*\) .*/\1/p' "$exceptions" | sort >"$folder/exceptions"
if unknown=$(grep -vxF -f "$folder/there" "$folder/exceptions"); then
    echo "test-aarch64: $exceptions names tests that do not exist:" "$unknown" >&2
    exit 1
fi

# Test programs run whole, since each start under the emulator takes long; the exceptions then go by GoogleTest's filter,
# and an entry of the rig by its suite. Names that the programs do not know do no harm.
# A hung emulator heeds no signal but KILL, which is what CTest sends at a test's time limit.
pattern=$(sed 's/[.]/[.]/g; s/.*/^&$/' "$folder/exceptions" | paste -sd '|')
filter=$(sed 's/^[a-z_]*_tests[.]\(.*\)/\1.*:*\/\1.*:\1\/*/' "$folder/exceptions" | paste -sd ':')
code=0
GTEST_FILTER="-$filter" ctest --preset aarch64 -C whole -LE 'single|tree' --no-tests=error -j "${TEST_JOBS:-$((2 * $(nproc)))}" \
    -E "$pattern" || code=$?

echo "$(wc -l <"$folder/there") tests, the same as on x86-64; $(wc -l <"$folder/exceptions") of them not run, which the emulator cannot:"
grep -v '^#' "$exceptions"
exit "$code"

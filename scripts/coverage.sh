#!/bin/sh
# coverage.sh: runs the suite of build/coverage, under AddressSanitizer, and tells how much of src/lib, src/exchange,
# src/items and src/sockets it has run. Below the gate it fails: every line, and 95 of 100 branches, those that only an exception takes
# left out. What cannot be reached bears the mark GCOVR_EXCL in the source, with the reason, and is listed.
set -eu
cd "$(dirname "$0")/.."
build=build/coverage

find "$build" -name '*.gcda' -delete
scripts/test.sh coverage --whole --quiet --output-log "$build/tests.log" || {
    grep -v '^ *Start \| Passed  ' "$build/tests.log" >&2
    echo "coverage: tests failed; the whole log: $build/tests.log" >&2
    exit 1
}

mkdir -p "$build/html"
gcovr --root . --filter src/lib/ --filter src/exchange/ --filter src/items/ --filter src/sockets/ \
    --exclude-throw-branches --exclude-unreachable-branches -j "${JOBS:-$(nproc)}" \
    --gcov-executable "'$(pwd)/scripts/gcov.sh'" --json "$build/coverage.json" "$build"
report() {
    gcovr --root . --add-tracefile "$build/coverage.json" "$@"
}
report --html-details "$build/html/index.html"
report --txt "$build/lines.txt"
report --branches --txt "$build/branches.txt"

# Rows whose two counts differ; a long file name stands on a line of its own.
incomplete() {
    awk '/^src/ { file = $1 }
        $(NF - 1) ~ /%$/ || $NF ~ /%$/ {
            at = 2; if ($1 !~ /^src/) at = 1
            if (file != "" && $at != $(at + 1)) print "  " file ": " $NF
            file = ""
        }' "$1" | grep . || echo "  none"
}
echo "Branches that no test takes, by line:"
incomplete "$build/branches.txt"
echo "Left out, because it cannot be reached:"
grep -rn 'GCOVR_EXCL' src/lib src/exchange src/items src/sockets || echo "  nothing"
echo "Lines that no test runs:"
incomplete "$build/lines.txt"
echo "Line by line: $build/html/index.html"
report --txt "$build/lines.txt" --print-summary --fail-under-line 100 --fail-under-branch 95

#!/bin/sh
# properties.sh [--preset PRESET] [--seed FIRST] --seeds N | --time SECONDS: random tests with other input.
#
# Runs the test programs with random tests of PRESET (release unless given; CTest's label "random"), which have been
# built, under N seeds from FIRST on, or until the time is over; at least once. FIRST is drawn unless given. Each seed is
# told; ends at the first that fails. The suite itself gives each test the same seed in every run.
set -eu
cd "$(dirname "$0")/.."

. scripts/seeds.sh
first=${first:-$(od -An -N4 -tu4 /dev/urandom | tr -d ' ')}
log=build/$preset/properties.log
done=0
while more_seeds "$done"; do
    seed=$((first + done))
    echo "random tests with HOSTLINK_TEST_SEED=$seed"
    if ! HOSTLINK_TEST_SEED=$seed ctest --preset "$preset" -C whole -L random --no-tests=error --quiet --output-log "$log" \
        -j "${TEST_JOBS:-2}"; then
        cat "$log"
        echo "random tests failed with HOSTLINK_TEST_SEED=$seed"
        exit 1
    fi
    done=$((done + 1))
done
echo "random tests   $done seeds from $first on, nothing found"

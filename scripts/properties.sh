#!/bin/sh
# properties.sh [--preset PRESET] [--seed FIRST] --seeds N | --time SECONDS: random tests with other input.
#
# Runs the test programs with random tests of PRESET (release unless given; CTest's label "random"), which have been
# built, under N seeds from FIRST on, or until the time is over; at least once. FIRST is drawn unless given. Each seed is
# told; ends at the first that fails. The suite itself gives each test the same seed in every run.
set -eu
cd "$(dirname "$0")/.."

preset=release
first=
seeds=
seconds=
while [ $# -gt 1 ]; do
    case $1 in
    --preset) preset=$2 ;;
    --seed) first=$2 ;;
    --seeds) seeds=$2 ;;
    --time) seconds=$2 ;;
    *) break ;;
    esac
    shift 2
done
case $#:${seeds:-0}${seconds:-0} in
0:*[!0-9]* | 0:00 | [!0]*)
    sed -n '2,/^set -eu/{/^#/s/^# \{0,1\}//p}' "$0" >&2
    exit 2
    ;;
esac

first=${first:-$(od -An -N4 -tu4 /dev/urandom | tr -d ' ')}
end=$(($(date +%s) + ${seconds:-0}))
log=build/$preset/properties.log
done=0
while [ "$done" -lt "${seeds:-1}" ] || [ "$(date +%s)" -lt "$end" ]; do
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

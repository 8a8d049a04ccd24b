#!/bin/sh
# hunt.sh [--preset PRESET] --seeds N | --time SECONDS: links under a scheduler that is against them.
#
# Runs every CTest entry "Hunt.*" of PRESET (release unless given), which has been built, under N seeds, or until the
# time is over; at least once. FIRST in the environment is the first seed, 1001 unless given: CI has tried those before.
# Ends at the first passage that fails, with what it said: the seed is in it.
set -eu
cd "$(dirname "$0")/.."

preset=release
seeds=
seconds=
while [ $# -gt 1 ]; do
    case $1 in
    --preset) preset=$2 ;;
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

first=${FIRST:-1001}
passage=5 # seeds of each: what fails is told after that many at the latest
end=$(($(date +%s) + ${seconds:-0}))
done=0
while [ "$done" -lt "${seeds:-1}" ] || [ "$(date +%s)" -lt "$end" ]; do
    [ -z "$seeds" ] || [ $((seeds - done)) -ge "$passage" ] || passage=$((seeds - done))
    if ! HOSTLINK_SCHEDULE_SEED=$((first + done)) SCHEDULE_SEEDS=$passage \
        ctest --preset "$preset" --quiet --output-log "build/$preset/hunt.log" -L hunt -j "${TEST_JOBS:-2}"; then
        cat "build/$preset/hunt.log"
        echo "hunt   failed under one of the seeds $((first + done)) to $((first + done + passage - 1))"
        exit 1
    fi
    done=$((done + passage))
done
echo "hunt   $done seeds from $first on, nothing found"

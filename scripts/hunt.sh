#!/bin/sh
# hunt.sh [--preset PRESET] [--seed FIRST] --seeds N | --time SECONDS: links under a scheduler that is against them.
#
# Runs every CTest entry "Hunt.*" of PRESET (release unless given), which has been built, under N seeds, or until the
# time is over; at least once. FIRST is 1001 unless given: CI has tried those before.
# Ends at the first passage that fails, with what it said: the seed is in it.
set -eu
cd "$(dirname "$0")/.."

. scripts/seeds.sh
first=${first:-1001}
passage=5 # seeds of each: what fails is told after that many at the latest
done=0
while more_seeds "$done"; do
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

#!/bin/sh
# bench.sh: instructions of one message from its values to the wire and back, counted by valgrind through the shared
# library. Counts do not depend on how busy the machine is.
set -eu
cd "$(dirname "$0")/.."
scripts/build.sh release bench_count
out=$(mktemp)
trap 'rm -f "$out"' EXIT

printf '%-8s %-8s %12s %14s\n' path message 'packet size' instructions
for path in core classes; do
    for message in typical item900; do
        for size in 64 256; do
            valgrind --quiet --tool=callgrind --callgrind-out-file="$out" --collect-atstart=no \
                --toggle-collect=countedRun build/release/bin/bench_count $path $message $size
            printf '%-8s %-8s %12s %14s\n' $path $message $size "$(awk '/^summary:/ { print $2 }' "$out")"
        done
    done
done

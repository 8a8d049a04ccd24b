#!/bin/sh
# bench.sh: measures the library beside its competitors and its floors, and writes docs/performance.md and its drawings.
# REPETITIONS=15 of each measurement, in random order.
set -eu
cd "$(dirname "$0")/.."
scripts/build.sh bench bench_count bench_counts bench_allocations bench_time

# On one processor, so that what is handed from thread to thread costs the same each time.
processor=$(taskset -cp $$ | sed 's/.*[ ,-]//')
echo "Measuring, which takes about three minutes"
read -r load _ </proc/loadavg
[ "${load%.*}" -lt 2 ] ||
    echo "The machine is busy (load $load): what is said about the serial link will be worth little" >&2
taskset -c "$processor" build/bench/bin/bench_time --benchmark_enable_random_interleaving=true \
    --benchmark_repetitions="${REPETITIONS:-15}" --benchmark_min_time=0.02 --benchmark_out_format=json \
    --benchmark_out=build/bench/times.json >build/bench/times.txt 2>&1 || {
    cat build/bench/times.txt >&2
    exit 1
}
python3 bench/report.py build/bench build/bench/times.json

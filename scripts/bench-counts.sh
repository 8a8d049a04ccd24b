#!/bin/sh
# bench-counts.sh [--renew]: counts instructions and allocations and compares them with bench/counts.txt; with --renew
# writes them there. Takes seconds, and the same on a busy machine.
set -eu
cd "$(dirname "$0")/.."
mode=--check
[ $# -eq 0 ] || mode=$1
scripts/build.sh release bench_count bench_counts bench_allocations
python3 bench/counts.py build/release "$mode" bench/counts.txt

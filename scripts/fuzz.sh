#!/bin/sh
# fuzz.sh [SECONDS [TARGET...]]: runs each fuzz target for so long, as many at a time as there are processors, and ends
#   with a table. New inputs go to build/fuzz/corpus/TARGET; an input that fails to build/fuzz/artifacts. SEED in the
#   environment is what they draw from; a new one each time unless given.
# fuzz.sh --merge [TARGET...]: adds to fuzz/corpus those of the new inputs that reach code which the stored ones do not.
# Both expect `scripts/build.sh fuzz fuzzers` to have been run, as `make fuzz` does.
set -eu
cd "$(dirname "$0")/.."
build=build/fuzz

# Freed memory is kept for a while to catch its use; a little of it is enough here, and keeps the sizes below honest.
export ASAN_OPTIONS="quarantine_size_mb=16${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
limits="-rss_limit_mb=768 -malloc_limit_mb=64 -timeout=20"

all_targets() {
    for source in fuzz/*_fuzz.cpp; do basename "$source" _fuzz.cpp; done
}

# Leaves a line of the table in build/fuzz/logs/TARGET.row.
run_one() {
    seconds=$1 target=$2
    log=$build/logs/$target.log
    mkdir -p "$build/corpus/$target" "$build/artifacts"
    verdict=
    # shellcheck disable=SC2086 # the limits are several words
    "$build/bin/fuzz_$target" $limits -seed="${SEED:-0}" -max_total_time="$seconds" -print_final_stats=1 \
        -dict=fuzz/hostlink.dict -artifact_prefix="$build/artifacts/$target-" "$build/corpus/$target" "fuzz/corpus/$target" \
        >"$log" 2>&1 || verdict=FAILED
    awk -v target="$target" -v verdict="$verdict" '
        /^stat::number_of_executed_units:/ { runs = $2 }
        /^stat::average_exec_per_sec:/ { rate = $2 }
        /^stat::new_units_added:/ { added = $2 }
        END { printf "%-14s %12d %9d %10d  %s\n", target, runs, rate, added, verdict }' "$log" >"$build/logs/$target.row"
    [ -z "$verdict" ] || tell_failure "$target" "$log"
}

tell_failure() {
    echo "fuzz target $1 failed (whole log: $2):"
    grep -aE 'Does not hold|ERROR:|runtime error|SUMMARY' "$2" | head -5 || true
    artifact=$(sed -n 's/.*Test unit written to //p' "$2" | tail -1)
    [ -z "$artifact" ] || echo "  input:      $artifact
  reproduce:  $build/bin/fuzz_$1 $artifact"
}

merge_one() {
    before=$(find "fuzz/corpus/$1" -type f | wc -l)
    [ ! -d "$build/corpus/$1" ] || "$build/bin/fuzz_$1" $limits -merge=1 -use_counters=0 "fuzz/corpus/$1" \
        "$build/corpus/$1" >"$build/logs/$1.merge.log" 2>&1
    echo "$1: $before inputs, now $(find "fuzz/corpus/$1" -type f | wc -l)"
}

mkdir -p "$build/logs"
case ${1:-} in
--one)
    run_one "$2" "$3"
    exit
    ;;
--merge)
    shift
    for target in ${*:-$(all_targets)}; do merge_one "$target"; done
    exit
    ;;
esac

seconds=${1:-20}
[ $# -eq 0 ] || shift
targets=${*:-$(all_targets)}
rm -f "$build"/logs/*.row
printf '%s\n' $targets | xargs -P "${JOBS:-$(nproc)}" -I{} scripts/fuzz.sh --one "$seconds" {}
echo
printf '%-14s %12s %9s %10s\n' target executions exec/s 'new units'
for target in $targets; do cat "$build/logs/$target.row"; done
! grep -q FAILED "$build"/logs/*.row

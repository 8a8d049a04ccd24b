#!/bin/sh
# soak.sh MINUTES: all links over a long time, in the bus rig.
#
#   half of MINUTES    every link up and idle: no thread wakes up, nothing grows
#   half of MINUTES    every link with traffic: nothing grows, no message is lost
#   TRUTH_MINUTES      the truth run: every kind of fault at every rate; a quarter of MINUTES unless given
#   10000 sets a minute    through the client over damaged packets: no confirmed one may be wrong
#   1000 requests a minute   through the client while answers are late, lost, repeated and swapped
#   a quarter of MINUTES   links under a scheduler that is against them, or SCHEDULE_SEEDS seeds of it when given
#   a twentieth of MINUTES   random tests with seeds from SEED on, each of them told
#
# SEED repeats a truth run; it is drawn unless given. The figures go to build/soak/reliability.csv. With REPORT=yes, or
# without REPORT when the truth run takes 20 minutes or more, docs/reliability.md and docs/reliability.svg are written
# anew from them; REPORT=no keeps them. The exit code is 0 when all is well.
set -eu
cd "$(dirname "$0")/.."

case ${1:-} in
-h | --help | "")
    sed -n '2,/^set -eu/{/^#/s/^# \{0,1\}//p}' "$0"
    exit 0
    ;;
*[!0-9]* | 0)
    echo "soak.sh: '$1' is not a number of minutes" >&2
    exit 2
    ;;
esac
minutes=$1
half=$((minutes * 30))
truth=$((minutes * 15))
[ -z "${TRUTH_MINUTES:-}" ] || truth=$((TRUTH_MINUTES * 60))
report=${REPORT:-$([ "$truth" -ge 1200 ] && echo yes || echo no)}
seed=${SEED:-$(od -An -N4 -tu4 /dev/urandom | tr -d ' ')}

build=build/release
out=build/soak
scripts/build.sh release zent-soak zent-busrig zent-busrig-run hunted random_tests
mkdir -p "$out"

in_rig() {
    scripts/run-in-rig.sh --busrig "$build/bin/zent-busrig" --quiet "$build/bin/zent-soak" "$@"
}

code=0
echo "soak   $half s idle, $half s with traffic, then $truth s of truth run with SEED=$seed"
in_rig watch --idle "$half" --traffic "$half" || code=$?
[ "$code" -ne 77 ] || exit 77 # no rig here
in_rig truth --time "$truth" --seed "$seed" --csv "$out/reliability.csv" || code=$?
"$build/bin/zent-soak" client --sets $((minutes * 10000)) --seed "$seed" || code=$?
"$build/bin/zent-soak" answers --requests $((minutes * 1000)) --seed "$seed" || code=$?
if [ -n "${SCHEDULE_SEEDS:-}" ]; then
    scripts/hunt.sh --seeds "$SCHEDULE_SEEDS" || code=$?
else
    scripts/hunt.sh --time $((minutes * 15)) || code=$?
fi
scripts/properties.sh --seed "$seed" --time $((minutes * 3)) || code=$?
if [ "$report" = yes ] && [ "$code" -eq 0 ]; then
    scripts/reliability-report.py "$out/reliability.csv" "make soak MINUTES=$minutes TRUTH_MINUTES=$((truth / 60)) SEED=$seed"
fi
[ "$code" -eq 0 ] && echo "SOAK PASSED" || echo "SOAK FAILED"
exit "$code"

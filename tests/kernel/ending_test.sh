#!/bin/sh
# ending_test.sh RUN_IN_KERNEL ARCH: a guest that hangs, and one that goes down, are failures and leave nothing behind.
set -u
run=$1
arch=$2
said=$(mktemp)
trap 'rm -f "$said"' EXIT

expect() {
    code=$1 text=$2
    shift 2
    "$run" --arch "$arch" "$@" >"$said" 2>&1
    got=$?
    if [ $got = 77 ]; then cat "$said"; exit 77; fi
    if [ $got = "$code" ] && grep -q "$text" "$said"; then return; fi
    echo "ended with $got, not $code, or did not say \"$text\": $*"
    cat "$said"
    exit 1
}
expect 70 "did not end within 3 s and was killed" --limit 3 sleep 1000
expect 70 "went down before its program had ended" --limit 400 sh -c 'echo c >/proc/sysrq-trigger'
expect 3 "ended with 3" --limit 400 sh -c 'exit 3'

#!/bin/sh
# demo_test.sh BUILD_DIRECTORY FILE_SIZE EXIT_CODE TEXT [SIMULATOR_OPTION...]: runs hostlink-demo against zent-hostsim with
# these options. The demo must end by itself with EXIT_CODE and print TEXT, and the simulator must end with 0.
set -eu
build=$1
file_size=$2
expected=$3
text=$4
shift 4

folder=$(mktemp -d)
simulator_pid=
finish() {
    [ -z "$simulator_pid" ] || kill "$simulator_pid" 2>/dev/null || true
    rm -rf "$folder"
}
trap finish EXIT

fail() {
    echo "FAILED: $*"
    echo "--- demo"
    cat "$folder/demo" 2>/dev/null || true
    echo "--- simulator"
    cat "$folder/said" "$folder/errors" 2>/dev/null || true
    exit 1
}

# Its first line says that the line is there; a named pipe waits for it.
mkfifo "$folder/ready"
"$build/bin/zent-hostsim" --link "$folder/host" --input-event-every 200 "$@" >"$folder/ready" 2>"$folder/errors" &
simulator_pid=$!
exec 3<"$folder/ready"
timeout 200 sh -c 'IFS= read -r line && echo "$line"' <&3 >"$folder/said" || fail "the simulator did not start"

code=0
timeout 200 "$build/bin/hostlink-demo" --device "$folder/host" --file-size "$file_size" >"$folder/demo" 2>&1 || code=$?
kill -TERM "$simulator_pid" || fail "the simulator ended before the demo"
simulator_code=0
wait "$simulator_pid" || simulator_code=$?
simulator_pid=
cat <&3 >>"$folder/said"

[ "$code" -eq "$expected" ] || fail "the demo ended with $code, not with $expected"
grep -qF -- "$text" "$folder/demo" || fail "the demo did not say: $text"
[ "$simulator_code" -eq 0 ] || fail "the simulator ended with $simulator_code"
tail -n 3 "$folder/demo"
cat "$folder/said"

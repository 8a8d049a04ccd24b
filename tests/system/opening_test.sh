#!/bin/sh
# opening_test.sh BUILD_DIRECTORY: what a user sees when the demo cannot open its port: exit code 1, the library's lines,
# and one line of the program's own.
set -eu
build=$1
folder=$(mktemp -d)
pids=
finish() {
    for pid in $pids; do kill "$pid" 2>/dev/null || true; done
    wait # or one would still be ending when the next test begins
    rm -rf "$folder"
}
trap finish EXIT

# expect NAME TEXT... : the command stands in $folder/run
expect() {
    name=$1
    shift
    code=0
    timeout 200 sh "$folder/run" >"$folder/out" 2>&1 || code=$?
    [ "$code" -eq 1 ] || { cat "$folder/out"; echo "FAILED: $name: exit code $code, not 1"; exit 1; }
    for text in "$@"; do
        grep -qF -- "$text" "$folder/out" || { cat "$folder/out"; echo "FAILED: $name: no line with: $text"; exit 1; }
    done
    echo "ok: $name"
}

demo=$build/bin/hostlink-demo
last="hostlink-demo: cannot open"

echo "'$demo' --device '$folder/none'" >"$folder/run"
expect "missing device" "$last $folder/none: No such file or directory"

echo "'$demo' --device /dev/null" >"$folder/run"
expect "no serial port" "not a serial port" "Failed to initialize uart" "$last"

mkfifo "$folder/ready"
"$build/bin/zent-hostsim" --link "$folder/host" >"$folder/ready" 2>/dev/null &
pids="$pids $!"
exec 3<"$folder/ready"
timeout 200 sh -c 'IFS= read -r line' <&3

# Somebody else holds the port: this shell.
exec 9<"$folder/host"
flock -n 9
echo "'$demo' --device '$folder/host'" >"$folder/run"
expect "device in use" "is in use by another program" "Failed to initialize uart" "$last"

exec 9<&-

# Only root can become somebody who may not open the port, and that user must reach the program.
if [ "$(id -u)" = 0 ] && setpriv --reuid=65534 --regid=65534 --clear-groups "$demo" --help >/dev/null 2>&1; then
    chmod 755 "$folder"
    port=$(readlink -f "$folder/host")
    chmod 600 "$port"
    echo "setpriv --reuid=65534 --regid=65534 --clear-groups '$demo' --device '$port'" >"$folder/run"
    expect "no permission" "$last $port: Permission denied (is this user in the group of the device file?)"
fi

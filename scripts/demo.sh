#!/bin/sh
# demo.sh BUILD_DIRECTORY [LINK]: starts the host simulator and lets hostlink-demo talk to it.
# LINK is uart (the default). The exit code is that of the demo.
set -eu
build=$1
link=${2:-uart}
here=$(dirname "$0")

fail() {
    echo "demo: $*" >&2
    exit 1
}

case $link in
uart) ;;
i2c | spi)
    # A bus needs a device behind it, which the rig puts in place.
    [ -x "$here/demo-bus.sh" ] || fail "LINK=$link is not available here"
    exec "$here/demo-bus.sh" "$build" "$link"
    ;;
*) fail "LINK=$link is not known; choose uart, i2c or spi" ;;
esac

simulator=$build/bin/zent-hostsim
demo=$build/bin/hostlink-demo
for program in "$simulator" "$demo"; do
    [ -x "$program" ] || fail "$program is missing; build it first"
done

folder=$(mktemp -d)
simulator_pid=
finish() {
    [ -z "$simulator_pid" ] || kill "$simulator_pid" 2>/dev/null || true
    rm -rf "$folder"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# A named pipe in place of polling: reading the first line waits for the simulator to be ready, and ends when it dies.
mkfifo "$folder/said"
"$simulator" --link "$folder/host" --input-event-every 500 >"$folder/said" </dev/null &
simulator_pid=$!
exec 3<"$folder/said"
timeout 10 sh -c 'IFS= read -r line && echo "$line"' <&3 || fail "the host simulator did not start"
echo

code=0
"$demo" --device "$folder/host" || code=$?

kill "$simulator_pid" 2>/dev/null || true
simulator_code=0
wait "$simulator_pid" || simulator_code=$?
simulator_pid=
echo
cat <&3
[ "$code" -ne 0 ] || code=$simulator_code

if [ "$code" -eq 0 ]; then
    cat <<END

What to try next:
  A host of your own that shows every packet; type 'help' there:
    $simulator --link ./host --verbose
  Talk to it from another terminal:
    $demo --device ./host
  The same with a host that misbehaves, or on a slow line:
    $simulator --link ./host --input-event-every 500 --nack-first 2 --garbage-every 3
    $simulator --link ./host --input-event-every 500 --baud 115200
  Everything else it can do:
    $simulator --help
END
else
    echo "demo: ended with exit code $code" >&2
fi
exit "$code"

#!/bin/sh
# demo.sh BUILD_DIRECTORY [LINK [HOST [OPTION...]]]: starts a host and lets hostlink-demo talk to it.
# LINK is uart (the default), i2c or spi. HOST is simulator (the default), or firmware: an emulated Cortex-M3. The exit
# code is that of the demo, which takes the options. FIRMWARE_BUILD says where the firmware was built, build/firmware when not told.
set -eu
build=$1
link=${2:-uart}
host=${3:-simulator}
if [ $# -gt 3 ]; then shift 3; else shift $#; fi
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

demo=$build/bin/hostlink-demo
case $host in
simulator)
    program=$build/bin/zent-hostsim
    start() { exec "$program" --link "$1" --input-event-every 500; }
    ;;
firmware)
    program=${FIRMWARE_BUILD:-$here/../build/firmware}/images/mps2-an385.elf
    start() { exec "$here/../firmware/emulator.py" "$program" --link "$1" --press-every 500; }
    ;;
*) fail "HOST=$host is not known; choose simulator or firmware" ;;
esac
for each in "$program" "$demo"; do
    [ -e "$each" ] || fail "$each is missing; build it first"
done

folder=$(mktemp -d)
host_pid=
finish() {
    [ -z "$host_pid" ] || kill "$host_pid" 2>/dev/null || true
    rm -rf "$folder"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# A named pipe in place of polling: reading the first line waits for the host to be ready, and ends when it dies.
mkfifo "$folder/said"
start "$folder/host" >"$folder/said" </dev/null &
host_pid=$!
exec 3<"$folder/said"
timeout 60 sh -c 'IFS= read -r line && echo "$line"' <&3 || fail "the host did not start"
echo

code=0
"$demo" --device "$folder/host" "$@" || code=$?

kill "$host_pid" 2>/dev/null || true
host_code=0
wait "$host_pid" || host_code=$?
host_pid=
echo
cat <&3
[ "$code" -ne 0 ] || code=$host_code

if [ "$code" -ne 0 ]; then
    echo "demo: ended with exit code $code" >&2
elif [ "$host" = firmware ]; then
    cat <<END

What to try next:
  A board that goes on running; type a digit there to press that button:
    firmware/emulator.py build/firmware/images/mps2-an385.elf --link ./host
  Talk to it from another terminal:
    $demo --device ./host
  How this becomes your board:
    docs/host-firmware.md
END
else
    cat <<END

What to try next:
  A host of your own that shows every packet; type 'help' there:
    $program --link ./host --verbose
  Talk to it from another terminal:
    $demo --device ./host
  The same with a host that misbehaves, or on a slow line:
    $program --link ./host --input-event-every 500 --nack-first 2 --garbage-every 3
    $program --link ./host --input-event-every 500 --baud 115200
  Everything else it can do:
    $program --help
END
fi
exit "$code"

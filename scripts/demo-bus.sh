#!/bin/sh
# demo-bus.sh BUILD_DIRECTORY i2c|spi [OPTIONS]: hostlink-demo over a bus, inside the rig that stands for bus, interrupt line
# and host; OPTIONS of the host as src/rig/README.md lists them. The exit code is that of the demo; 77 where the rig cannot run.
set -eu
build=$1
link=$2
here=$(dirname "$0")

case $link in
i2c) device=/dev/i2c-1 ;;
spi) device=/dev/spidev0.0 ;;
*)
    echo "demo-bus.sh: '$link' is not a bus; choose i2c or spi" >&2
    exit 2
    ;;
esac
for program in hostlink-demo zent-busrig zent-busrig-run; do
    if [ ! -x "$build/bin/$program" ]; then
        echo "demo-bus.sh: $build/bin/$program is missing; build it first" >&2
        exit 1
    fi
done

code=0
"$here/run-in-rig.sh" --busrig "$build/bin/zent-busrig" --quiet \
    --host-options "inputEventEveryMs=500${3:+,$3}" -- \
    "$build/bin/hostlink-demo" --link "$link" --device "$device" --gpio 17 || code=$?
if [ "$code" -eq 0 ]; then
    cat <<END

What to try next:
  A shell in which the bus, the interrupt line (GPIO 17) and the host are there, as on a board:
    $here/hostsim-bus.sh $build
  In it, the demo again, with every line that the library logs:
    $build/bin/hostlink-demo --link $link --device $device --gpio 17 --log-level trace
  and, before or after it, what the host knows and what you tell it:
    get PlayerVolume
    set PlayerVolume 20
    press 3
  The same with a host that misbehaves; src/rig/README.md lists all of it:
    $here/hostsim-bus.sh $build nackFirst=2,garbageEvery=3
END
fi
exit "$code"

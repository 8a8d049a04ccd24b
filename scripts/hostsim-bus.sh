#!/bin/sh
# hostsim-bus.sh BUILD_DIRECTORY [NAME=VALUE,...] [COMMAND...]: the simulated host on a bus, for a person.
#
# Opens a shell (or runs COMMAND) in which /dev/i2c-1 (address 0x42), /dev/spidev0.0 and the interrupt line, GPIO 17 under
# /sys/class/gpio, are there with the host behind them. In it `press`, `set`, `get`, `burst` and `counts` speak to the
# host. Leaving the shell takes all of it away. The options of the host are those that src/rig/README.md lists,
# for example nackFirst=2. A button is pressed every two seconds, unless inputEventEveryMs=... says otherwise.
set -eu
build=${1:?usage: hostsim-bus.sh BUILD_DIRECTORY [NAME=VALUE,...] [COMMAND...]}
options=${2:-}
[ $# -lt 2 ] && shift 1 || shift 2
here=$(dirname "$0")
rig=$here/run-in-rig.sh

for program in hostlink-demo zent-busrig zent-busrig-run zent-busrig-say; do
    if [ ! -x "$build/bin/$program" ]; then
        echo "hostsim-bus.sh: $build/bin/$program is missing; 'make demo LINK=i2c' builds it" >&2
        exit 1
    fi
done

ZENT_HOSTSIM_BUTTON="Button 1 is pressed as the options say."
case $options in
*inputEventEveryMs=*) ;;
*)
    options=inputEventEveryMs=2000${options:+,$options}
    ZENT_HOSTSIM_BUTTON="Button 1 is pressed every two seconds while somebody talks to it."
    ;;
esac
ZENT_HOSTSIM_BUILD=$(cd "$build" && pwd)
PATH=$(cd "$here/hostsim-bus" && pwd):$PATH
export ZENT_HOSTSIM_BUTTON ZENT_HOSTSIM_BUILD PATH

[ $# -gt 0 ] || set -- bash --rcfile "$here/hostsim-bus/shell.bash" -i
exec "$rig" --busrig "$build/bin/zent-busrig" --quiet --host-options "$options" -- "$@"

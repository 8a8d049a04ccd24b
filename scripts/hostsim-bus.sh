#!/bin/sh
# hostsim-bus.sh BUILD_DIRECTORY [NAME=VALUE,...] [COMMAND...]: the simulated host on a bus, for a person.
#
# Opens a shell (or runs COMMAND) in which /dev/i2c-1 (address 0x42), /dev/spidev0.0 and the interrupt line, GPIO 17 under
# /sys/class/gpio, are there with the host behind them. Leaving the shell takes all of it away. The options of the host
# are those that tests/support/rig/README.md lists, for example inputEventEveryMs=2000 or nackFirst=2.
set -eu
build=${1:?usage: hostsim-bus.sh BUILD_DIRECTORY [NAME=VALUE,...] [COMMAND...]}
options=${2:-}
[ $# -lt 2 ] && shift 1 || shift 2
[ $# -gt 0 ] || set -- "${SHELL:-/bin/sh}"
exec "$(dirname "$0")/../tests/support/rig/run-in-rig.sh" --busrig "$build/bin/zent-busrig" --host-options "$options" -- "$@"

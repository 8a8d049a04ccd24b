#!/bin/sh
# run-in-rig.sh [--busrig PROGRAM] [--quiet] [--host-options TEXT] CMD [ARGUMENT...]
#
# Runs CMD where /sys/class/gpio, /dev/i2c-* and /dev/spidev* are the rig's, with the simulated host behind them.
# The exit code is CMD's; 77, with the reason on the standard error, where the rig cannot run. See src/rig/README.md.
here=$(dirname -- "$(readlink -f -- "$0")")
busrig=$ZENT_BUSRIG
quiet=
options=
while [ $# -gt 0 ]; do
    case $1 in
    --busrig) busrig=$2; shift 2 ;;
    --quiet) quiet=--quiet; shift ;;
    --host-options) options=$2; shift 2 ;;
    --) shift; break ;;
    -*) echo "run-in-rig.sh: unknown option $1" >&2; exit 2 ;;
    *) break ;;
    esac
done
if [ $# -eq 0 ]; then
    echo "usage: run-in-rig.sh [--busrig PROGRAM] [--quiet] [--host-options TEXT] CMD [ARGUMENT...]" >&2
    exit 2
fi
if [ -z "$busrig" ]; then
    for candidate in "$here"/../build/*/bin/zent-busrig; do
        [ -x "$candidate" ] && busrig=$candidate && break
    done
    if [ -z "$busrig" ]; then
        echo "the bus rig cannot run here: zent-busrig is not built (it needs libfuse3-dev and libcli11-dev)" >&2
        exit 77
    fi
fi
if [ ! -x "$busrig" ]; then
    echo "run-in-rig.sh: no program $busrig" >&2
    exit 2
fi
exec "$busrig-run" --server "$busrig" $quiet --host-options "$options" -- "$@"
